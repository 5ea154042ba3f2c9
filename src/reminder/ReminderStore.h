#pragma once
// Where the reminder settings of a product live, and the names of its values.
//
// The store is a per-user INI file, $XDG_CONFIG_HOME/Korvane/AutoUpdate.conf
// ($HOME/.config when XDG_CONFIG_HOME is unset, empty or not absolute). The
// file's path is worked out again at every operation, so a changed
// XDG_CONFIG_HOME takes effect at once.
//
// A key path is kau::strings::kRegistryPath followed by the product key. The
// part behind kRegistryPath names the INI group of the values; each backslash
// in it (and each '/') opens a nested group, empty parts are skipped.
#include <string>

namespace kau::reminder {

inline constexpr const char* kActive = "Active";         // number: reminder on (not 0) or off
inline constexpr const char* kCheck = "Check";           // number: 0 check at each start, else by interval
inline constexpr const char* kInterval = "Interval";     // number: whole days
inline constexpr const char* kLastUpdate = "LastUpdate"; // text: moment of the last scheduled check, "%f"

// kRegistryPath followed directly by the product key.
std::string KeyPath(const std::string& productKey);

// Path of the store file for the current environment.
std::string StoreFilePath();

// INI group ("a/b") that a key path selects; empty for the top level.
std::string GroupOfKeyPath(const std::string& keyPath);

} // namespace kau::reminder
