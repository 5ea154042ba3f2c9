#pragma once
// korautoupdate restore: plays the restore directories back down to the one
// named, with the log on stdout and the progress bar on stderr; Ctrl-C stops
// it the way "abort and exit" does.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runRestore(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
