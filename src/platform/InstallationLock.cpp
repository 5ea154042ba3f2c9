#include "platform/InstallationLock.h"

#include "platform/FixedNames.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kau {
namespace {

constexpr std::chrono::milliseconds kFirstPause{1};
constexpr std::chrono::milliseconds kLongestPause{50};
// Files that may vanish under one Acquire before it waits like for a holder.
constexpr int kFreshFiles = 16;

std::string failure(const char* call, const std::string& path, int error)
{
    return std::string(call) + " " + path + ": " + std::strerror(error);
}

// True if the name still leads to the file open on fd.
bool namesOpenFile(const std::string& path, int fd)
{
    struct stat opened {}, named {};
    return ::fstat(fd, &opened) == 0 && ::lstat(path.c_str(), &named) == 0
           && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Sleeps for pause unless a stop request comes first.
void pauseFor(std::chrono::milliseconds pause, const std::stop_token& stop)
{
    std::mutex mutex;
    std::condition_variable_any woken;
    std::unique_lock lock(mutex);
    woken.wait_for(lock, stop, pause, [] { return false; });
}

} // namespace

InstallationLock::InstallationLock(const std::string& installDir)
    : m_path(installDir.empty() ? std::string(kInstallationLockFile)
                                : installDir + "/" + kInstallationLockFile)
{
}

InstallationLock::~InstallationLock()
{
    Release();
}

InstallationLock::Attempt InstallationLock::tryOnce()
{
    // Read-only is enough for flock, so a lock file that another user made
    // serves as well; O_NOFOLLOW: a link in its place is not followed anywhere.
    const int fd = ::open(m_path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd < 0) {
        m_error = failure("cannot open", m_path, errno);
        return Attempt::Failed;
    }
    int locked;
    do
        locked = ::flock(fd, LOCK_EX | LOCK_NB);
    while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        const int error = errno;
        ::close(fd);
        if (error == EWOULDBLOCK)
            return Attempt::InUse;
        m_error = failure("cannot lock", m_path, error);
        return Attempt::Failed;
    }
    if (!namesOpenFile(m_path, fd)) {
        // The holder we waited for has removed it meanwhile.
        ::close(fd);
        return Attempt::Moved;
    }
    m_fd = fd;
    return Attempt::Taken;
}

InstallationLock::State InstallationLock::Acquire(std::chrono::milliseconds wait, std::stop_token stop)
{
    if (held())
        return m_state;
    m_error.clear();
    const auto deadline = std::chrono::steady_clock::now() + wait;
    std::chrono::milliseconds pause = kFirstPause;
    for (int fresh = 0;;) {
        const Attempt attempt = tryOnce();
        if (attempt == Attempt::Taken)
            return m_state = State::Held;
        if (attempt == Attempt::Failed)
            return m_state = State::Unavailable;
        // Its holder has just removed it: a fresh file, at once.
        if (attempt == Attempt::Moved && ++fresh < kFreshFiles)
            continue;
        if (stop.stop_requested())
            return m_state = State::Stopped;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left <= std::chrono::milliseconds::zero())
            return m_state = State::Busy;
        // flock has no timed wait: look again, less often the longer it takes.
        pauseFor(std::min({pause, left, kLongestPause}), stop);
        pause *= 2;
    }
}

void InstallationLock::Release()
{
    if (m_fd < 0)
        return;
    // Removed before it is unlocked: whoever gets the lock next on this file
    // sees that the name leads elsewhere and makes a new one.
    if (namesOpenFile(m_path, m_fd))
        ::unlink(m_path.c_str());
    ::close(m_fd);
    m_fd = -1;
    m_state = State::Free;
}

} // namespace kau
