#include "platform/FileCopy.h"

#include "platform/PartFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace kau {
namespace {

constexpr std::size_t kBlock = std::size_t{16} << 20; // per kernel copy, between stop checks
constexpr std::size_t kBuffer = std::size_t{256} << 10; // per read and write where the kernel can't copy

class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t put = ::write(fd, data, size);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        data += put;
        size -= static_cast<std::size_t>(put);
    }
    return true;
}

// Plain reads and writes, for file systems that can't copy in the kernel.
bool copyByBuffer(int in, int out, const std::stop_token& stop)
{
    std::vector<char> buffer(kBuffer);
    for (;;) {
        if (stop.stop_requested())
            return false;
        const ssize_t got = ::read(in, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        if (!writeAll(out, buffer.data(), static_cast<std::size_t>(got)))
            return false;
    }
}

bool copyContent(int in, int out, const std::stop_token& stop)
{
    for (bool first = true;; first = false) {
        if (stop.stop_requested())
            return false;
        const ssize_t copied = ::copy_file_range(in, nullptr, out, nullptr, kBlock, 0);
        if (copied > 0)
            continue;
        if (copied == 0)
            return true;
        if (errno == EINTR)
            continue;
        // Not possible between these two files: copy by hand, from the start.
        if (first && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP))
            return copyByBuffer(in, out, stop);
        return false;
    }
}

} // namespace

bool CopyFileOver(const std::string& source, const std::string& target, std::stop_token stop,
                  const std::function<bool()>& beforePlacing)
{
    // Non-blocking, so that a FIFO where a file should be is refused instead of waited for.
    const Descriptor in(::open(source.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (in.get() < 0 || ::fstat(in.get(), &info) != 0)
        return false;
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        return false;
    }
    PartFile part(target, info.st_mode);
    if (!part.isOpen())
        return false;
    errno = 0;
    if (!copyContent(in.get(), part.fd(), stop)) {
        const int error = errno;
        part.Discard();
        errno = error;
        return false;
    }
    if (stop.stop_requested() || (beforePlacing && !beforePlacing())) {
        part.Discard();
        errno = 0;
        return false;
    }
    return part.Commit();
}

mode_t NewFileMode(const std::string& path)
{
    char head[4] = {};
    const Descriptor in(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t got = in.get() < 0 ? 0 : ::read(in.get(), head, sizeof head);
    const bool elf = got == 4 && std::memcmp(head, "\x7f" "ELF", 4) == 0;
    const bool script = got >= 2 && head[0] == '#' && head[1] == '!';
    return elf || script ? 0755 : 0644;
}

} // namespace kau
