#include "ApplicationWait.h"

#include <cerrno>
#include <filesystem>
#include <poll.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace kau::installer {
namespace {

constexpr std::string_view kDeleted = " (deleted)";
constexpr std::chrono::milliseconds kRescanInterval{50};

std::string resolved(const std::string& path)
{
    std::error_code ec;
    fs::path absolute = fs::absolute(path, ec);
    if (ec)
        return path;
    fs::path canonical = fs::weakly_canonical(absolute, ec);
    return ec ? absolute.lexically_normal().string() : canonical.string();
}

// Waits for one process to end, at most limit. Without pidfd support the
// caller's rescan does the work.
void waitForProcess(pid_t pid, std::chrono::milliseconds limit)
{
#ifdef SYS_pidfd_open
    const int fd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (fd >= 0) {
        pollfd entry{fd, POLLIN, 0};
        while (::poll(&entry, 1, static_cast<int>(limit.count())) < 0 && errno == EINTR) {
        }
        ::close(fd);
        return;
    }
    if (errno == ESRCH)
        return; // gone already
#endif
    ::poll(nullptr, 0, static_cast<int>(std::min(limit, kRescanInterval).count()));
}

} // namespace

std::string ProgramOfApplicationPath(const std::string& applicationPath)
{
    if (applicationPath.empty() || applicationPath.back() == '/')
        return {};
    std::error_code ec;
    if (applicationPath.find(".exe") == std::string::npos && fs::is_directory(applicationPath, ec))
        return {};
    return resolved(applicationPath);
}

std::vector<pid_t> ProcessesRunning(const std::string& program)
{
    std::vector<pid_t> pids;
    if (program.empty())
        return pids;
    const std::string wanted = resolved(program);
    const pid_t self = ::getpid();
    std::error_code ec;
    for (fs::directory_iterator it("/proc", ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        const pid_t pid = static_cast<pid_t>(std::stol(name));
        if (pid == self)
            continue;
        std::error_code linkError;
        std::string exe = fs::read_symlink(it->path() / "exe", linkError).string();
        if (linkError)
            continue; // another user's process, a kernel thread, or gone
        if (exe.size() > kDeleted.size() && exe.ends_with(kDeleted))
            exe.resize(exe.size() - kDeleted.size()); // replaced while it runs
        if (exe == wanted)
            pids.push_back(pid);
    }
    return pids;
}

bool WaitForProgramEnd(const std::string& program, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const std::vector<pid_t> running = ProcessesRunning(program);
        if (running.empty())
            return true;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        waitForProcess(running.front(), std::max(left, std::chrono::milliseconds(1)));
    }
}

} // namespace kau::installer
