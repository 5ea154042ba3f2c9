#pragma once
// korautoupdate check: the update check, with the release notes as text on Yes.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

// Runs the check for line.productKey and line.applicationPath; its box goes
// through the installed box. Returns the exit status (ExitCodes.h).
int runCheck(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
