#pragma once
// Starting another program without waiting for it: the installer at a
// hand-off, the application again at the end of a run.
//
// A command line is split at blanks (space, tab) into the program and its
// arguments; nothing is quoted, so a blank in a path makes two tokens. The
// program is looked up on PATH and started in a process group of its own,
// with the caller's environment and current directory, with /dev/null as its
// standard input and outputs and no other descriptor of the caller. Nobody
// waits for it, and it leaves no zombie behind when it ends.
#include <string>
#include <vector>

namespace kau {

// The tokens of a command line, as the program receives them.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

// True if the process was created; otherwise errno says why.
bool LaunchProgram(std::string commandLine);

// Writes "AutoInstall.sh" in the current directory, one line: the current
// directory, "/", commandLine; then starts "/bin/sh AutoInstall.sh". True if
// the file was written and the process created. The file stays behind.
bool LaunchViaBatch(std::string commandLine);

} // namespace kau
