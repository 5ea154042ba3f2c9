#pragma once
// Waiting for the application to end before its files are replaced. The
// application is told to quit in the moment the installer starts, so it may
// still be shutting down: every process whose executable is the given program
// is waited for, up to a limit.
#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kau::installer {

// The program an application path names, or empty when it names a directory
// (then there is no program to wait for). Relative paths are taken from the
// current directory.
std::string ProgramOfApplicationPath(const std::string& applicationPath);

// Processes (other than this one) whose executable is program.
std::vector<pid_t> ProcessesRunning(const std::string& program);

// Waits until no process runs program; false if one still does at the limit.
bool WaitForProgramEnd(const std::string& program, std::chrono::milliseconds limit);

} // namespace kau::installer
