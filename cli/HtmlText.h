#pragma once
// Plain text of an HTML page, for printing the release notes on a terminal.
#include <string>

namespace kau::cli {

// The page as Qt's rich text (QTextDocument) reads it: scripts, styles and
// comments dropped, entities decoded (as UTF-8). The title comes first; each
// paragraph, heading, list item and table row, and each <br>, starts a line
// (a list item with "- ", the cells of a row joined by a blank); an empty
// line stands where a paragraph or heading has its margin. Runs of white
// space become one blank, lines are trimmed and empty ones dropped.
std::string htmlToText(const std::string& html);

} // namespace kau::cli
