#pragma once
// The failure of a seek, read or write on an open text file. The text file
// catches none of these: they go up to whoever called the line operation.
#include <stdexcept>
#include <string>

namespace kau {

class TextFileError : public std::runtime_error {
public:
    explicit TextFileError(const std::string& what) : std::runtime_error(what) {}
};

} // namespace kau
