// KorAutoInstall: the installer a hand-off starts. It waits until the
// application has ended, then runs the update or the restore in the library's
// dialog and serves the Qt event loop until it is told to quit.
#include "ApplicationWait.h"
#include "InstallCommand.h"
#include "korautoupdate.h"

#include <QApplication>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kExitUsage = 2;
constexpr long kDefaultWaitSeconds = 30;

// How long to wait for the application: KORAUTOINSTALL_WAIT_SECONDS or 30 s.
std::chrono::milliseconds waitLimit()
{
    const char* text = std::getenv("KORAUTOINSTALL_WAIT_SECONDS");
    if (text && *text) {
        char* end = nullptr;
        const double seconds = std::strtod(text, &end);
        if (end && *end == '\0' && seconds >= 0 && seconds < 86400)
            return std::chrono::milliseconds(static_cast<long>(seconds * 1000));
    }
    return std::chrono::seconds(kDefaultWaitSeconds);
}

} // namespace

int main(int argc, char** argv)
{
    using kau::installer::InstallCommand;
    const std::string programName = "KorAutoInstall";
    const std::vector<std::string> args(argv + 1, argv + argc);

    std::string error;
    const std::optional<InstallCommand> command = kau::installer::ParseInstallCommand(args, error);
    if (!command) {
        std::fprintf(stderr, "%s: %s\n\n%s", programName.c_str(), error.c_str(),
                     kau::installer::InstallUsage(programName).c_str());
        return kExitUsage;
    }
    if (command->kind == InstallCommand::Kind::Help) {
        std::fputs(kau::installer::InstallUsage(programName).c_str(), stdout);
        return 0;
    }
    const std::string program = kau::installer::ProgramOfApplicationPath(command->applicationPath);
    if (!kau::installer::ProcessesRunning(program).empty()) {
        std::fprintf(stderr, "%s: waiting for %s to end\n", programName.c_str(), program.c_str());
        if (!kau::installer::WaitForProgramEnd(program, waitLimit()))
            std::fprintf(stderr, "%s: %s is still running; updating all the same.\n",
                         programName.c_str(), program.c_str());
    }

    QApplication app(argc, argv);
    QTimer::singleShot(0, &app, [&] {
        const char* path = command->applicationPath.c_str();
        if (command->kind == InstallCommand::Kind::Restore)
            RestoreFiles(command->revision.c_str(), path);
        else
            UpdateFiles(command->productKey.c_str(), path,
                        command->kind == InstallCommand::Kind::UpdateAll);
        // The run is over: a Yes at its end has asked to quit already; OK
        // ends the installer the same way.
        QCoreApplication::exit(0);
    });
    return app.exec();
}
