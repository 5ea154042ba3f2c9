#pragma once
// korautoupdate restores: the restore directories of an installation, or the
// files and versions kept in one of them.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runRestores(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
