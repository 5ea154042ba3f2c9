#pragma once
// The box that tells the user why a browser control could not be made.
#include <string>

namespace kau {

// Shows "Last Error from Window:\n" and the reason in an OK box; blocks until
// it is answered. An empty reason reads "unknown error".
void ReportLastError(const std::string& reason);

} // namespace kau
