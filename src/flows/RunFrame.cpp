#include "RunFrame.h"

#include "RunLog.h"
#include "RunProgress.h"
#include "platform/Box.h"
#include "platform/FixedNames.h"
#include "platform/LogCategories.h"
#include "platform/ProcessLauncher.h"

namespace kau {

std::string EndQuestion(const std::string& exeName)
{
    return std::string(" End of software update!\n") + kDashLine + "\n"
           + "\n"
             " Do you want to start the new released programm ?\n"
             "\n"
             " Press <yes> to start "
           + exeName + "\n";
}

void EndBlock(RunLog& log, RunProgress& progress, const char* closingLine)
{
    progress.SetPosition(100);
    log.ScrollToEnd();
    log.AddLine("   ");
    log.AddLine(closingLine);
    log.ScrollToEnd();
}

bool AskToStartProgram(const std::string& installDir, const std::string& exeName)
{
    if (exeName.size() < 2)
        return false;
    if (showBox(EndQuestion(exeName), BoxButtons::YesNo, BoxIcon::Question) != BoxAnswer::Yes)
        return false;
    LaunchProgram(installDir + "/" + exeName);
    return true;
}

InstallationLock::State EnterInstallation(InstallationLock& lock, RunLog& log, std::stop_token stop)
{
    using State = InstallationLock::State;
    State state = lock.Acquire(std::chrono::milliseconds::zero(), stop);
    if (state == State::Busy) {
        qCInfo(lcRun, "%s is held by another run; waiting", lock.path().c_str());
        log.AddLine(kWaitForOtherRunLine);
        state = lock.Acquire(kInstallationLockWait, stop);
        if (state == State::Busy) {
            qCWarning(lcRun, "%s is still held by another run; this run does nothing",
                      lock.path().c_str());
            log.AddLine(kOtherRunLine);
        }
    }
    if (state == State::Unavailable)
        qCWarning(lcRun, "running without a lock: %s", lock.error().c_str());
    return state;
}

std::string OtherRunReason(const std::string& installDir)
{
    return "another update or restore is running in " + installDir
           + "; nothing was changed, try again when it has ended";
}

} // namespace kau
