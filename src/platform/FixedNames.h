#pragma once
// Names that every part of the system spells the same way: the two revision
// files, the prefix of a file put aside during a run, the lock file of a run,
// and the dashed rule of the boxes and the logs.
#include <string_view>

namespace kau {

inline constexpr const char* kRemoteRevisionFile = "RelInfoRemote.rel";
inline constexpr const char* kLocalRevisionFile = "RelInfoLocal.rel";
// In front of the bare file name: a/b.dll is put aside as a/upd_b.dll.
inline constexpr const char* kStagedPrefix = "upd_";
// In the install directory while a run or a sweep holds the installation.
inline constexpr const char* kInstallationLockFile = ".korautoupdate.lock";
inline constexpr const char* kDashLine = "----------------------------------------------------------";
static_assert(std::string_view(kDashLine).size() == 58);

} // namespace kau
