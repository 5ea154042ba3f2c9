#include "RunFrame.h"

#include "RunLog.h"
#include "RunProgress.h"
#include "platform/Box.h"
#include "platform/FixedNames.h"
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

} // namespace kau
