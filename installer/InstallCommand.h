#pragma once
// The command lines KorAutoInstall is started with, and what each stands for:
//
//   KorAutoInstall <productKey> <applicationPath>               update the new files
//   KorAutoInstall instcomplete <productKey> <applicationPath>  update every file
//   KorAutoInstall REST=<restoreDirectory> <applicationPath>    restore an older release
//
// Whoever starts the installer joins these pieces with single blanks and
// quotes nothing, so a blank inside the application path arrives as further
// arguments; they are joined again with one blank each.
#include <optional>
#include <string>
#include <vector>

namespace kau::installer {

struct InstallCommand {
    enum class Kind { Update, UpdateAll, Restore, Help };
    Kind kind = Kind::Update;
    std::string productKey;      // Update, UpdateAll
    std::string revision;        // Restore: the restore directory's name (may be empty)
    std::string applicationPath; // the application's program path or directory
};

// args: the arguments behind the program name. On a wrong command line gives
// nothing and says why in error.
std::optional<InstallCommand> ParseInstallCommand(const std::vector<std::string>& args,
                                                  std::string& error);

// The usage text, for a wrong command line and for --help.
std::string InstallUsage(const std::string& programName);

} // namespace kau::installer
