#pragma once
// The installation that --app names, for the commands that read in it.
#include "CommandLine.h"
#include "flows/ApplicationPath.h"

#include <optional>
#include <ostream>

namespace kau::cli {

// The install directory and program name of --app; nothing, after a line on
// err, when that directory does not exist.
std::optional<ApplicationPath> ExistingInstallation(const CommandLine& line, std::ostream& err);

} // namespace kau::cli
