#pragma once
// What every front end of a run does around the flow itself: the log line it
// opens with and the question it ends with, so that the progress dialog and
// the console say the same.
#include <string>

namespace kau {

inline constexpr const char* kPreparingDownloadLine = "... Preparing download from server!";
inline constexpr const char* kPreparingRestoreLine = "... Preparing restore from directory!";

// The text of the question at the end of a run, in both modes.
std::string EndQuestion(const std::string& exeName);

// Asks the end question through the box when the program name has at least
// two characters and, on Yes, starts installDir + "/" + exeName without
// waiting. Returns whether the answer was Yes (whether or not the program
// could be started).
bool AskToStartProgram(const std::string& installDir, const std::string& exeName);

} // namespace kau
