#pragma once
// Test fixture: points XDG_CONFIG_HOME at a fresh temporary directory for the
// length of one test, so each test has its own store file.
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace kau::test {

class StoreEnv : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const char* old = std::getenv("XDG_CONFIG_HOME"))
            m_old = old;
        ::setenv("XDG_CONFIG_HOME", m_dir.str().c_str(), 1);
    }
    void TearDown() override
    {
        if (m_old)
            ::setenv("XDG_CONFIG_HOME", m_old->c_str(), 1);
        else
            ::unsetenv("XDG_CONFIG_HOME");
    }
    std::string storeFile() const { return m_dir / "Korvane/AutoUpdate.conf"; }
    std::string storeText() const { return m_dir.read("Korvane/AutoUpdate.conf"); }

    TempDir m_dir;

private:
    std::optional<std::string> m_old;
};

} // namespace kau::test
