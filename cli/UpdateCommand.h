#pragma once
// korautoupdate update: the update run, its log on stdout and its progress
// bar on stderr; Ctrl-C stops it the way "abort and exit" does.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runUpdate(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
