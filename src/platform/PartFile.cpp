#include "platform/PartFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kau {
namespace {

constexpr const char kPartMark[] = ".part-";
constexpr std::size_t kPartMarkSize = sizeof kPartMark - 1;
constexpr std::size_t kUniqueSize = 6; // mkstemp's XXXXXX

} // namespace

PartFile::PartFile(const std::string& target, mode_t mode) : m_target(target)
{
    const auto slash = target.rfind('/');
    const std::string parent = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const std::string bare = slash == std::string::npos ? target : target.substr(slash + 1);
    if (bare.empty())
        return;
    m_temp = parent + "." + bare + kPartMark + std::string(kUniqueSize, 'X');
    m_fd = ::mkstemp(m_temp.data());
    if (m_fd < 0) {
        m_temp.clear();
        return;
    }
    ::fchmod(m_fd, mode & 07777);
}

PartFile::~PartFile()
{
    Discard();
}

bool PartFile::Commit()
{
    if (m_fd < 0)
        return false;
    const bool closed = ::close(m_fd) == 0;
    m_fd = -1;
    if (closed && std::rename(m_temp.c_str(), m_target.c_str()) == 0) {
        m_temp.clear();
        return true;
    }
    const int error = errno;
    Discard();
    errno = error;
    return false;
}

void PartFile::Discard()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    if (!m_temp.empty())
        ::unlink(m_temp.c_str());
    m_temp.clear();
}

bool PartFile::IsPartFileName(const std::string& name)
{
    // "." + at least one character + ".part-" + six characters
    if (name.size() < 2 + kPartMarkSize + kUniqueSize || name[0] != '.')
        return false;
    const std::size_t mark = name.size() - kUniqueSize - kPartMarkSize;
    return name.compare(mark, kPartMarkSize, kPartMark) == 0
           && name.find('/', mark + kPartMarkSize) == std::string::npos;
}

void PartFile::RemoveLeftovers(const std::string& directory)
{
    DIR* listing = ::opendir(directory.c_str());
    if (!listing)
        return;
    const int at = ::dirfd(listing);
    while (const dirent* entry = ::readdir(listing)) {
        struct stat info {};
        if (IsPartFileName(entry->d_name) && ::fstatat(at, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISREG(info.st_mode))
            ::unlinkat(at, entry->d_name, 0);
    }
    ::closedir(listing);
}

} // namespace kau
