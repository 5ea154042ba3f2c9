#include "ChildProcess.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace kau::test {

ChildProcess::ChildProcess(const std::vector<std::string>& argv,
                           const std::map<std::string, std::string>& env,
                           const std::string& workingDirectory, bool stderrTerminal)
{
    std::map<std::string, std::string> environment;
    for (char** e = environ; *e; ++e) {
        const std::string entry(*e);
        const auto eq = entry.find('=');
        if (eq != std::string::npos)
            environment[entry.substr(0, eq)] = entry.substr(eq + 1);
    }
    for (const auto& [k, v] : env)
        environment[k] = v;
    std::vector<std::string> envStrings;
    for (const auto& [k, v] : environment)
        envStrings.push_back(k + "=" + v);
    std::vector<char*> envp, args;
    for (auto& s : envStrings)
        envp.push_back(s.data());
    envp.push_back(nullptr);
    std::vector<std::string> argCopy = argv;
    for (auto& s : argCopy)
        args.push_back(s.data());
    args.push_back(nullptr);

    int outPipe[2], errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe failed");
    if (stderrTerminal) {
        if (openpty(&errPipe[0], &errPipe[1], nullptr, nullptr, nullptr) != 0)
            throw std::runtime_error("openpty failed");
        fcntl(errPipe[0], F_SETFD, FD_CLOEXEC);
        fcntl(errPipe[1], F_SETFD, FD_CLOEXEC);
    } else if (pipe2(errPipe, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
    if (!workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());
    // The child starts with default signal handling and nothing blocked.
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &all);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int rc = posix_spawn(&m_pid, args[0], &actions, &attr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    close(outPipe[1]);
    close(errPipe[1]);
    if (rc != 0) {
        close(outPipe[0]);
        close(errPipe[0]);
        throw std::runtime_error(std::string("cannot start ") + argv[0] + ": " + std::strerror(rc));
    }
    m_outReader = std::thread([this, fd = outPipe[0]] { collect(fd, m_out); });
    m_errReader = std::thread([this, fd = errPipe[0]] { collect(fd, m_err); });
}

ChildProcess::~ChildProcess()
{
    if (!m_reaped) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_outReader.joinable())
        m_outReader.join();
    if (m_errReader.joinable())
        m_errReader.join();
}

void ChildProcess::collect(int fd, std::string& into)
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break; // end of a pipe, or EIO once a terminal's other side has closed
        std::lock_guard lock(m_mutex);
        into.append(buffer, static_cast<std::size_t>(n));
    }
    close(fd);
}

bool ChildProcess::waitForOutput(
    const std::function<bool(const std::string&, const std::string&)>& condition,
    std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        {
            std::lock_guard lock(m_mutex);
            if (condition(m_out, m_err))
                return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // poll interval, not a wait for time
    }
    std::lock_guard lock(m_mutex);
    return condition(m_out, m_err);
}

void ChildProcess::signal(int signalNumber)
{
    if (!m_reaped)
        kill(m_pid, signalNumber);
}

int ChildProcess::wait(std::chrono::milliseconds timeout)
{
    if (m_reaped)
        return m_status;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int raw = 0;
    for (;;) {
        const pid_t done = waitpid(m_pid, &raw, WNOHANG);
        if (done == m_pid)
            break;
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, &raw, 0);
            m_reaped = true;
            m_status = -1;
            m_outReader.join();
            m_errReader.join();
            return m_status;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_reaped = true;
    m_status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    m_outReader.join();
    m_errReader.join();
    return m_status;
}

std::string ChildProcess::out() const
{
    std::lock_guard lock(m_mutex);
    return m_out;
}

std::string ChildProcess::err() const
{
    std::lock_guard lock(m_mutex);
    return m_err;
}

RunResult runProgram(const std::vector<std::string>& argv,
                     const std::map<std::string, std::string>& env,
                     const std::string& workingDirectory, bool stderrTerminal)
{
    ChildProcess child(argv, env, workingDirectory, stderrTerminal);
    const int status = child.wait();
    return {status, child.out(), child.err()};
}

} // namespace kau::test
