#pragma once
// Plain text of a release notes page for the console: htmlToText (see
// HtmlText.h), from the module installed beside the program and loaded on
// the first call. Raises std::runtime_error if the module can't be loaded.
#include <string>

namespace kau::cli {

std::string notesToText(const std::string& html);

} // namespace kau::cli
