#pragma once
// korautoupdate notes: a release notes page as plain text.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runNotes(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
