#pragma once
// Turns the application path a host passes into an install directory and a
// program name.
#include <string>

namespace kau {

struct ApplicationPath {
    std::string installDir; // no trailing separator but the root "/"; the current directory if empty
    std::string exeName;    // may be empty: then there is nothing to start

    // Update run: ".exe" (with case) or a name that is not a directory is a program.
    static ApplicationPath plain(const std::string& applicationPath);
    // Reminder: as plain, but ".exe" is recognised in any case.
    static ApplicationPath reminder(const std::string& applicationPath);
    // Restore run: always a program path; the directory is what stands before the last "/".
    static ApplicationPath restore(const std::string& applicationPath);

    // dir, or the process's current directory when dir is empty ("." if even
    // that can't be read).
    static std::string orCurrentDirectory(const std::string& dir);
};

} // namespace kau
