#pragma once
// The frame every export runs in: a Qt application, a box and a file dialog
// exist, string arguments are copied, and no exception crosses the C boundary.
#include <functional>
#include <string>

namespace kau {

// A C string argument as the library keeps it; null is the empty string.
std::string exportArgument(const char* text);

// Runs body inside the frame; returns onFailure if an exception escapes it.
bool runExport(const char* exportName, bool onFailure, const std::function<bool()>& body);

} // namespace kau
