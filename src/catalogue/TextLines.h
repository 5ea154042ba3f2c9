#pragma once
// Whole-file access to CR LF text files for the catalogue: the lines as the
// text-file cursor would give them, and the exact bytes of a revision file.
#include <string>
#include <vector>

namespace kau {

// Appends the lines of the file (only CR LF ends a line; the last line may
// lack it; an empty file has none). On an open failure shows
// "Error occurred! \n%s\n" and returns false. A read error throws
// std::runtime_error.
bool ReadTextLines(const std::string& path, std::vector<std::string>& lines);

// Splits bytes into lines by the same rule.
void SplitTextLines(const std::string& bytes, std::vector<std::string>& lines);

// Shows the box of a failed open with the platform's text for errnum.
void ShowOpenError(int errnum);

} // namespace kau
