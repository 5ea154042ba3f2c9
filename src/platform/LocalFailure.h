#pragma once
// How a failure on the local disk is worded for the user: the path, then
// the system's reason in lower case ("…/data.pak: no space left on device").
#include <string>

namespace kau {

std::string LocalFailureText(const std::string& path, int error);

} // namespace kau
