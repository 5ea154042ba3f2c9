#include "RestoreCommand.h"

#include "ConsoleRunView.h"
#include "ExitCodes.h"
#include "Installation.h"
#include "InterruptWatcher.h"
#include "flows/ApplicationPath.h"
#include "flows/RestoreRun.h"
#include "flows/RunFrame.h"

#include <stop_token>

#include <unistd.h>

namespace kau::cli {

int runRestore(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    const std::optional<ApplicationPath> installation = ExistingInstallation(line, err);
    if (!installation)
        return kExitFailed;
    const ApplicationPath& app = *installation;
    const std::string& stamp = line.restoreStamp.value_or("");
    ConsoleRunView view(out, err, ::isatty(STDERR_FILENO) == 1);
    std::stop_source stop;
    RestoreRun::Result result;
    bool interrupted = false;
    {
        // Ctrl-C asks the run to stop, as "abort and exit" does in the dialog.
        InterruptWatcher watcher([&stop] { stop.request_stop(); });
        view.AddLine(kPreparingRestoreLine);
        result = RestoreRun(view, view, stop.get_token()).run(stamp, app.installDir);
        view.finish();
        interrupted = watcher.interrupted();
    }
    if (interrupted || result.stopped) {
        err << "korautoupdate: restore stopped; run it again to finish\n";
        return kExitInterrupted;
    }
    if (result.otherRun) {
        err << "korautoupdate: " << OtherRunReason(app.installDir) << "\n";
        return kExitOtherRun;
    }
    if (!result.collected) {
        err << "korautoupdate: no restore directory '" << stamp << "' in " << app.installDir
            << "; nothing was restored\n";
        return kExitFailed;
    }
    if (result.failedFiles > 0)
        err << "korautoupdate: " << result.failedFiles << " of " << result.files
            << " files could not be restored; the installed files stay as they were\n";
    AskToStartProgram(app.installDir, app.exeName);
    return result.failedFiles == 0 ? kExitOk : kExitFailed;
}

} // namespace kau::cli
