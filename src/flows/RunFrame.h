#pragma once
// What every run does around its own steps: the log line a front end opens
// it with, the closing lines every way through a run reaches, and the
// question it ends with, so that both runs, the progress dialog and the
// console say the same.
#include "platform/InstallationLock.h"

#include <stop_token>
#include <string>

namespace kau {

class RunLog;
class RunProgress;

inline constexpr const char* kPreparingDownloadLine = "... Preparing download from server!";
inline constexpr const char* kPreparingRestoreLine = "... Preparing restore from directory!";
inline constexpr const char* kEndOfDownloadLine = "  End of download procedure!! ";
inline constexpr const char* kEndOfRestoreLine = "  End of restore procedure!! ";
inline constexpr const char* kWaitForOtherRunLine = "... wait for another run in this installation";
inline constexpr const char* kOtherRunLine = " fail! another run holds this installation";

// Takes the installation for a run. Another run's hold is waited for at most
// kInstallationLockWait, with a log line while it lasts; when the wait runs
// out the log says so (then Busy). An installation that can't be locked at
// all (a directory that allows no new file) is run unlocked: the run's own
// failures say what is wrong there.
InstallationLock::State EnterInstallation(InstallationLock& lock, RunLog& log, std::stop_token stop);

// Why a run did nothing when another one kept the installation.
std::string OtherRunReason(const std::string& installDir);

// The end block of a run: a full bar, a blank line and closingLine, the log
// scrolled to its end before and after.
void EndBlock(RunLog& log, RunProgress& progress, const char* closingLine);

// The text of the question at the end of a run, in both modes.
std::string EndQuestion(const std::string& exeName);

// Asks the end question through the box when the program name has at least
// two characters and, on Yes, starts installDir + "/" + exeName without
// waiting. Returns whether the answer was Yes (whether or not the program
// could be started).
bool AskToStartProgram(const std::string& installDir, const std::string& exeName);

} // namespace kau
