#include "UpdateCommand.h"

#include "ConsoleRunView.h"
#include "ExitCodes.h"
#include "InterruptWatcher.h"
#include "flows/ApplicationPath.h"
#include "flows/RunFrame.h"
#include "flows/UpdateRun.h"
#include "platform/Box.h"

#include <stop_token>

#include <unistd.h>

namespace kau::cli {
namespace {

// A box shown during the run stands below the log line it belongs to.
class LogFirstBox : public Box {
public:
    LogFirstBox(Box* inner, ConsoleRunView& view) : m_inner(inner), m_view(view) {}
    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) override
    {
        m_view.flushHeld();
        if (m_inner)
            return m_inner->show(text, buttons, icon);
        return carefulAnswer(buttons);
    }

private:
    Box* m_inner;
    ConsoleRunView& m_view;
};

// Installs a box for a scope and puts the previous one back.
class BoxInstalled {
public:
    explicit BoxInstalled(Box* box) : m_previous(installBox(box)) {}
    ~BoxInstalled() { installBox(m_previous); }
    BoxInstalled(const BoxInstalled&) = delete;
    BoxInstalled& operator=(const BoxInstalled&) = delete;

private:
    Box* m_previous;
};

int exitStatus(const UpdateRun::Result& result)
{
    switch (result.outcome) {
    case UpdateRun::Outcome::NothingNew:
        return kExitOk;
    case UpdateRun::Outcome::Transferred:
        return result.failedFiles == 0 && result.revisionsWritten ? kExitOk : kExitFailed;
    case UpdateRun::Outcome::Stopped:
        return kExitInterrupted;
    case UpdateRun::Outcome::OtherRun:
        return kExitOtherRun;
    case UpdateRun::Outcome::NoConnection:
    case UpdateRun::Outcome::NoProductDirectory:
    case UpdateRun::Outcome::NoRevisionFile:
    case UpdateRun::Outcome::RevisionFileFailed:
    case UpdateRun::Outcome::Failed:
        break;
    }
    return kExitFailed;
}

} // namespace

int runUpdate(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    const ApplicationPath app = ApplicationPath::plain(line.applicationPath);
    ConsoleRunView view(out, err, ::isatty(STDERR_FILENO) == 1);
    std::stop_source stop;
    UpdateRun::Result result;
    bool interrupted = false;
    {
        LogFirstBox box(installedBox(), view);
        const BoxInstalled installed(&box);
        // Ctrl-C asks the run to stop, as "abort and exit" does in the dialog.
        InterruptWatcher watcher([&stop] { stop.request_stop(); });
        view.AddLine(kPreparingDownloadLine);
        UpdateRun run(view, view, stop.get_token());
        result = run.run(line.productKey, app.installDir, line.allFiles);
        view.finish();
        interrupted = watcher.interrupted();
    }
    if (interrupted || result.outcome == UpdateRun::Outcome::Stopped) {
        err << "korautoupdate: update stopped; files not yet fetched are offered again next time\n";
        return kExitInterrupted;
    }
    const int status = exitStatus(result);
    if (result.failedFiles > 0)
        err << "korautoupdate: " << result.failedFiles << " of " << result.files
            << " files did not arrive\n";
    // The log says where the run ended; this line says why.
    if (!result.reason.empty())
        err << "korautoupdate: " << result.reason << "\n";
    // The other run is replacing the program: not started in its midst.
    if (result.outcome == UpdateRun::Outcome::OtherRun)
        return status;
    AskToStartProgram(app.installDir, app.exeName);
    return status;
}

} // namespace kau::cli
