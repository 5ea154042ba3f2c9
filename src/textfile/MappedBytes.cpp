#include "MappedBytes.h"

#include "TextFileError.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <string>
#include <sys/mman.h>

namespace kau {

std::shared_ptr<const MappedBytes> MappedBytes::Map(int fd, std::uint64_t length)
{
    if (length == 0)
        return std::shared_ptr<const MappedBytes>(new MappedBytes(nullptr, 0));
    if (length > std::numeric_limits<std::size_t>::max())
        throw TextFileError("map: the file is too long");
    const auto size = static_cast<std::size_t>(length);
    void* data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (data == MAP_FAILED)
        throw TextFileError(std::string("map: ") + std::strerror(errno));
    // Read once from the front to the back.
    ::madvise(data, size, MADV_SEQUENTIAL);
    return std::shared_ptr<const MappedBytes>(new MappedBytes(static_cast<const char*>(data), size));
}

MappedBytes::~MappedBytes()
{
    if (m_size > 0)
        ::munmap(const_cast<char*>(m_data), m_size);
}

} // namespace kau
