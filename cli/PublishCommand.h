#pragma once
// korautoupdate publish: the revision file, manifest and signature of a
// release directory.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runPublish(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
