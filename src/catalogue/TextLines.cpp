#include "catalogue/TextLines.h"

#include "platform/Box.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace kau {

void ShowOpenError(int errnum)
{
    showBox("Error occurred! \n" + std::string(std::strerror(errnum)) + "\n", BoxButtons::Ok,
            BoxIcon::None);
}

void SplitTextLines(const std::string& bytes, std::vector<std::string>& lines)
{
    std::size_t start = 0;
    while (start < bytes.size()) {
        const std::size_t end = bytes.find("\r\n", start);
        if (end == std::string::npos) {
            lines.push_back(bytes.substr(start));
            return;
        }
        lines.push_back(bytes.substr(start, end - start));
        start = end + 2;
    }
}

bool ReadTextLines(const std::string& path, std::vector<std::string>& lines)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        ShowOpenError(errno);
        return false;
    }
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
        ::close(fd);
        ShowOpenError(EISDIR);
        return false;
    }
    std::string bytes;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            const int err = errno;
            ::close(fd);
            throw std::runtime_error("read error on " + path + ": " + std::strerror(err));
        }
        if (got == 0)
            break;
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    SplitTextLines(bytes, lines);
    return true;
}

} // namespace kau
