// korautoupdate: the console front end of the update check, the update run,
// the restore run, the restore archive, the release notes and the signing
// of releases.
#include "CheckCommand.h"
#include "CommandLine.h"
#include "ConsoleBox.h"
#include "ExitCodes.h"
#include "RestoreCommand.h"
#include "NotesCommand.h"
#include "RestoresCommand.h"
#include "KeygenCommand.h"
#include "PublishCommand.h"
#include "UpdateCommand.h"
#include "flows/ApplicationPath.h"
#include "platform/ServerAccount.h"
#include "trust/ReleaseTrust.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace {

// The server options stand in for the environment variables the built-in
// account reads; set before anything connects.
void applyServerOptions(const kau::cli::CommandLine& line)
{
    if (line.server)
        ::setenv(kau::kServerVariable, line.server->c_str(), 1);
    if (line.user)
        ::setenv(kau::kUserVariable, line.user->c_str(), 1);
    if (line.password)
        ::setenv(kau::kPasswordVariable, line.password->c_str(), 1);
    if (line.caFile)
        ::setenv(kau::kCaFileVariable, line.caFile->c_str(), 1);
    if (line.publicKey)
        ::setenv(kau::kPublicKeyVariable, line.publicKey->c_str(), 1);
}

// check and update write into the install directory; a path whose directory
// does not exist is most likely a typo, which would install into a new place.
// The other commands only read there and report what they don't find.
std::string missingInstallDirectory(const kau::cli::CommandLine& line)
{
    using kau::cli::Command;
    if (line.command != Command::Check && line.command != Command::Update)
        return {};
    const kau::ApplicationPath app = line.command == Command::Check
                                         ? kau::ApplicationPath::reminder(line.applicationPath)
                                         : kau::ApplicationPath::plain(line.applicationPath);
    std::error_code ec;
    return std::filesystem::is_directory(app.installDir, ec) ? std::string() : app.installDir;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace kau::cli;
    const ParseResult parsed = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    const CommandLine& line = parsed.line;
    if (!parsed.error.empty()) {
        std::cerr << "korautoupdate: " << parsed.error << "\n";
        const std::string name = commandName(line.command);
        std::cerr << "Try 'korautoupdate " << (name.empty() ? "" : name + " ") << "--help'.\n";
        return kExitUsage;
    }
    if (line.version) {
        std::cout << versionText();
        return kExitOk;
    }
    if (line.help) {
        std::cout << helpText(line.command);
        return kExitOk;
    }
    if (const std::string missing = missingInstallDirectory(line); !missing.empty()) {
        std::cerr << "korautoupdate: --app " << line.applicationPath << ": the directory " << missing
                  << " does not exist\n";
        return kExitUsage;
    }
    applyServerOptions(line);

    // A run asks only at its end, whether to start the program: no unless --yes.
    const bool run = line.command == Command::Update || line.command == Command::Restore;
    const Answer answer = run && line.answer == Answer::Ask ? Answer::No : line.answer;
    ConsoleBox box(answer, std::cout, std::cin, ::isatty(STDIN_FILENO) == 1);
    kau::installBox(&box);
    int status = kExitFailed;
    try {
        switch (line.command) {
        case Command::Check: status = runCheck(line, std::cout, std::cerr); break;
        case Command::Update: status = runUpdate(line, std::cout, std::cerr); break;
        case Command::Restore: status = runRestore(line, std::cout, std::cerr); break;
        case Command::Restores: status = runRestores(line, std::cout, std::cerr); break;
        case Command::Notes: status = runNotes(line, std::cout, std::cerr); break;
        case Command::Keygen: status = runKeygen(line, std::cout, std::cerr); break;
        case Command::Publish: status = runPublish(line, std::cout, std::cerr); break;
        case Command::None: break;
        }
    } catch (const std::exception& e) {
        std::cerr << "korautoupdate: " << e.what() << "\n";
        status = kExitFailed;
    }
    std::cout.flush();
    kau::installBox(nullptr);
    return status;
}
