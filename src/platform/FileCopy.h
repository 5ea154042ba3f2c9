#pragma once
// Copying one file over another, as the archive and the restore run do.
#include <functional>
#include <stop_token>
#include <string>

#include <sys/types.h>

namespace kau {

// Copies the regular file source over target, content and permission bits,
// through a hidden part file beside target: target is either the complete
// copy or untouched. The copy is made by the kernel in large blocks, so
// memory does not grow with the file's size; a stop request is looked at
// between blocks and leaves target untouched. beforePlacing, if given, runs
// once the copy is complete, just before it replaces target; when it says no
// the copy is dropped. True if target holds the copy; else false with errno
// telling why (0 when a stop request or beforePlacing ended it).
bool CopyFileOver(const std::string& source, const std::string& target, std::stop_token stop = {},
                  const std::function<bool()>& beforePlacing = {});

// The permission bits for a file that arrives new, with nothing it replaces:
// 0755 for a program (an ELF header or "#!" in its first bytes), else 0644.
mode_t NewFileMode(const std::string& path);

} // namespace kau
