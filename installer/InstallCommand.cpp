#include "InstallCommand.h"

namespace kau::installer {
namespace {

constexpr const char* kAllFilesWord = "instcomplete";
constexpr const char* kRestorePrefix = "REST=";

std::string joinFrom(const std::vector<std::string>& args, std::size_t first)
{
    std::string joined;
    for (std::size_t i = first; i < args.size(); ++i) {
        if (i > first)
            joined += ' ';
        joined += args[i];
    }
    return joined;
}

} // namespace

std::optional<InstallCommand> ParseInstallCommand(const std::vector<std::string>& args,
                                                  std::string& error)
{
    error.clear();
    if (args.empty()) {
        error = "no arguments given";
        return std::nullopt;
    }
    const std::string& first = args[0];
    if (first == "--help" || first == "-h") {
        if (args.size() != 1) {
            error = "--help takes no further arguments";
            return std::nullopt;
        }
        return InstallCommand{InstallCommand::Kind::Help, {}, {}, {}};
    }
    if (!first.empty() && first[0] == '-') {
        error = "unknown option " + first;
        return std::nullopt;
    }

    InstallCommand command;
    std::size_t pathStart = 1;
    if (first == kAllFilesWord) {
        if (args.size() < 3) {
            error = args.size() == 1 ? "instcomplete needs a product key and the application path"
                                     : "instcomplete needs the application path after the product key";
            return std::nullopt;
        }
        command.kind = InstallCommand::Kind::UpdateAll;
        command.productKey = args[1];
        pathStart = 2;
    } else if (first.rfind(kRestorePrefix, 0) == 0) {
        command.kind = InstallCommand::Kind::Restore;
        command.revision = first.substr(std::string(kRestorePrefix).size());
    } else {
        command.kind = InstallCommand::Kind::Update;
        command.productKey = first;
    }
    if (args.size() <= pathStart) {
        error = "the application path is missing";
        return std::nullopt;
    }
    command.applicationPath = joinFrom(args, pathStart);
    return command;
}

std::string InstallUsage(const std::string& programName)
{
    return "usage: " + programName + " <productKey> <applicationPath>\n"
           "       " + programName + " instcomplete <productKey> <applicationPath>\n"
           "       " + programName + " REST=<restoreDirectory> <applicationPath>\n"
           "\n"
           "Waits until the application at <applicationPath> has ended, then updates its\n"
           "installation from the update server (instcomplete: every file), or restores\n"
           "the state before the update that made <restoreDirectory>.\n";
}

} // namespace kau::installer
