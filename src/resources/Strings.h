#pragma once
// Fixed texts of the library that are not part of one dialog.

namespace kau::strings {

// The tool version shown in the check's message.
inline constexpr const char* kToolVersion = "3.0.0";
// Key path of the reminder settings; the product key follows it.
inline constexpr const char* kRegistryPath = "Software\\Korvane\\AutoUpdate\\";
// Caption of the library's message boxes.
inline constexpr const char* kBoxCaption = "KorAutoUpdate";

} // namespace kau::strings
