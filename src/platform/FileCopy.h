#pragma once
// Copying one file over another, as the archive and the restore run do.
#include <stop_token>
#include <string>

#include <sys/types.h>

namespace kau {

// Copies the regular file source over target, content and permission bits,
// through a hidden part file beside target: target is either the complete
// copy or untouched. The copy is made by the kernel in large blocks, so
// memory does not grow with the file's size; a stop request is looked at
// between blocks and leaves target untouched. True if target holds the copy.
bool CopyFileOver(const std::string& source, const std::string& target, std::stop_token stop = {});

// The permission bits for a file that arrives new, with nothing it replaces:
// 0755 for a program (an ELF header or "#!" in its first bytes), else 0644.
mode_t NewFileMode(const std::string& path);

} // namespace kau
