#pragma once
// Plain text of an HTML page, for printing the release notes on a terminal.
#include <string>

namespace kau::cli {

// Drops tags, comments, scripts and styles; <br>, <p>, <div>, headings, rows
// and list items become line breaks (a list item starts with "- "); runs of
// white space become one blank; the common entities and numeric character
// references are decoded (as UTF-8). Lines are trimmed and at most one empty
// line stands between two lines of text.
std::string htmlToText(const std::string& html);

} // namespace kau::cli
