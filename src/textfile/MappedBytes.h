#pragma once
// The bytes of a file, mapped read-only into memory: what a whole-file read
// costs without copying the file into fresh memory. Text taken from the
// bytes stays valid as long as the object lives.
//
// The file must not shrink meanwhile: touching a mapped page past its new end
// ends the process. This system replaces its files by renaming a new one into
// place, which leaves a mapped one whole.
#include <cstdint>
#include <memory>
#include <string_view>

namespace kau {

class MappedBytes {
public:
    // The first length bytes of the open file fd (which stays the caller's).
    // Raises TextFileError if they can't be mapped.
    static std::shared_ptr<const MappedBytes> Map(int fd, std::uint64_t length);

    ~MappedBytes();
    MappedBytes(const MappedBytes&) = delete;
    MappedBytes& operator=(const MappedBytes&) = delete;

    std::string_view view() const { return {m_data, m_size}; }

private:
    MappedBytes(const char* data, std::size_t size) : m_data(data), m_size(size) {}

    const char* m_data;
    std::size_t m_size;
};

} // namespace kau
