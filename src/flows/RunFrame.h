#pragma once
// What every run does around its own steps: the log line a front end opens
// it with, the closing lines every way through a run reaches, and the
// question it ends with, so that both runs, the progress dialog and the
// console say the same.
#include <string>

namespace kau {

class RunLog;
class RunProgress;

inline constexpr const char* kPreparingDownloadLine = "... Preparing download from server!";
inline constexpr const char* kPreparingRestoreLine = "... Preparing restore from directory!";
inline constexpr const char* kEndOfDownloadLine = "  End of download procedure!! ";
inline constexpr const char* kEndOfRestoreLine = "  End of restore procedure!! ";

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
