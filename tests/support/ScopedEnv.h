#pragma once
// An environment variable set (or, given nullptr, removed) while the object lives.
#include <cstdlib>
#include <optional>
#include <string>

namespace kau::test {

class ScopedEnv {
public:
    ScopedEnv(std::string name, const char* value) : m_name(std::move(name))
    {
        if (const char* old = std::getenv(m_name.c_str()))
            m_old = old;
        value ? ::setenv(m_name.c_str(), value, 1) : ::unsetenv(m_name.c_str());
    }
    ScopedEnv(std::string name, const std::string& value) : ScopedEnv(std::move(name), value.c_str()) {}
    ~ScopedEnv() { m_old ? ::setenv(m_name.c_str(), m_old->c_str(), 1) : ::unsetenv(m_name.c_str()); }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_old;
};

} // namespace kau::test
