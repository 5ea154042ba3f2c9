#pragma once
// Which KorAutoInstall a hand-off starts.
//
// The installer that came with the library is preferred over any other one:
// relative to the directory of the loaded libkorautoupdate.so, the installed
// libexec directory is tried first, then the installed bin directory (on a
// usual installation <prefix>/libexec and <prefix>/bin next to <prefix>/lib).
// Only an executable file counts, and a directory with a blank or tab in its
// path is passed over, since the command line is split at blanks. When
// neither holds one, the bare name "KorAutoInstall" is returned and the
// program is looked up on PATH when it is started.
#include <string>

namespace kau {

// The program to start for a hand-off: a full path, or "KorAutoInstall".
std::string InstallerProgram();

// The same search from the directory libraryDirectory instead of the one the
// library was loaded from.
std::string InstallerProgramFrom(const std::string& libraryDirectory);

} // namespace kau
