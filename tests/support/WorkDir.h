#pragma once
// Waiting on a condition with a bound, and a working directory that is also first on PATH.
#include "support/TempDir.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace kau::test {

// Waits on this thread until cond holds, at most 20 s; true if it did.
inline bool waitUntil(const std::function<bool()>& cond)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!cond() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return cond();
}

// A directory that is the current directory and the first of PATH while the object lives.
struct WorkDir : TempDir {
    const std::string oldPath = std::getenv("PATH");
    const std::filesystem::path oldCwd = std::filesystem::current_path();
    WorkDir() { ::setenv("PATH", (str() + ":" + oldPath).c_str(), 1); std::filesystem::current_path(path()); }
    ~WorkDir() { ::setenv("PATH", oldPath.c_str(), 1); std::filesystem::current_path(oldCwd); }
    void script(const std::string& name, const std::string& body) const
    {
        write(name, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(path() / name, std::filesystem::perms::owner_all);
    }
    // What a script wrote to name.tmp and then renamed to name.
    std::string readWhenThere(const std::string& name) const
    {
        return waitUntil([&] { return exists(name); }) ? read(name) : "";
    }
};

} // namespace kau::test
