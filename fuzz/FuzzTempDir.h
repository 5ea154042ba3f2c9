#pragma once
// A scratch directory for the whole fuzzing process, removed when it ends.
#include <string>

namespace kau::fuzz {

// The directory, made on first use.
const std::string& scratchDirectory();

// Writes bytes to the file name inside the scratch directory and gives its path.
std::string writeScratchFile(const std::string& name, const void* data, std::size_t size);

} // namespace kau::fuzz
