#include "FtpServer.h"

#include "platform/ServerAccount.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kau::test {

template <class F> static bool waitUntil(F done, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (; !done(); std::this_thread::sleep_for(std::chrono::milliseconds(2)))
        if (std::chrono::steady_clock::now() > deadline)
            return false;
    return true;
}

FtpServer::FtpServer(const std::filesystem::path& root, std::string user, std::string password)
    : m_user(std::move(user)), m_password(std::move(password))
{
    start(root, {});
}

FtpServer::FtpServer(const std::filesystem::path& root, const Ftps& tls)
    : m_user("svcfeed"), m_password("mintrav42"), m_tls(true)
{
    std::vector<std::string> extra{"--tls", tls.certificate};
    if (tls.requireSessionReuse)
        extra.push_back("--require-reuse");
    start(root, extra);
    if (!tls.trustedCa.empty())
        setEnvironment(kCaFileVariable, tls.trustedCa);
}

void FtpServer::start(const std::filesystem::path& root, std::vector<std::string> extraArguments)
{
    std::vector<std::string> args{"/usr/bin/python3", KAU_FTP_SERVER_SCRIPT, "--root", root.string(),
                                  "--port", "0", "--user", m_user, "--password", m_password,
                                  "--control", m_control.str()};
    args.insert(args.end(), extraArguments.begin(), extraArguments.end());
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || (m_pid = ::fork()) < 0)
        throw std::runtime_error("FtpServer: cannot start python3");
    if (m_pid == 0) { // a process group of its own, so that all of it can be ended
        ::setpgid(0, 0);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    // Wait, bounded, for "PORT <n>\n" (python may write it in pieces).
    std::string line;
    char buf[64];
    pollfd p{out[0], POLLIN, 0};
    for (ssize_t n; line.find('\n') == std::string::npos && ::poll(&p, 1, 20000) > 0
                    && (n = ::read(out[0], buf, sizeof buf)) > 0;)
        line.append(buf, static_cast<size_t>(n));
    ::close(out[0]);
    if (std::sscanf(line.c_str(), "PORT %d", &m_port) != 1 || m_port <= 0) {
        ::kill(-m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        throw std::runtime_error("FtpServer: the server did not start");
    }
    setEnvironment(kServerVariable, setting());
    setEnvironment(kUserVariable, m_user);
    setEnvironment(kPasswordVariable, m_password);
}

void FtpServer::setEnvironment(const char* name, const std::string& value)
{
    const char* old = std::getenv(name);
    m_savedEnv.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    ::setenv(name, value.c_str(), 1);
}

FtpServer::~FtpServer()
{
    ::kill(-m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    for (const auto& [name, old] : m_savedEnv)
        old ? ::setenv(name.c_str(), old->c_str(), 1) : ::unsetenv(name.c_str());
}

void FtpServer::setSwitch(const std::string& name, const std::string& content, bool on)
{
    if (!on)
        return (void)std::filesystem::remove(m_control / name);
    // Written beside and renamed, so the server never reads half a switch.
    m_control.write(name + ".new", content);
    std::filesystem::rename(m_control / (name + ".new"), m_control / name);
}

void FtpServer::refuseLogin(bool on) { setSwitch("refuse_login", "", on); }
void FtpServer::refuseCwd(const std::string& dir)
{
    setSwitch("refuse_cwd", m_control.read("refuse_cwd") + dir + "\n", !dir.empty());
}
void FtpServer::dropDownloadAfter(long n) { setSwitch("drop_after", std::to_string(n), n >= 0); }
void FtpServer::dropDownloadOf(const std::string& name, long n)
{
    setSwitch("drop." + name, std::to_string(n), n >= 0);
}
void FtpServer::stallDownloadOf(const std::string& name, bool on) { setSwitch("stall." + name, "", on); }
void FtpServer::serveEndlessly(const std::string& name, bool on) { setSwitch("endless." + name, "", on); }
void FtpServer::throttle(long n) { setSwitch("throttle", std::to_string(n), n > 0); }
void FtpServer::stallReplies(int ms) { setSwitch("stall_ms", std::to_string(ms), ms > 0); }
void FtpServer::stallDownloads(bool on) { setSwitch("stall_retr", "", on); }
void FtpServer::garbageOn(const std::string& cmd) { setSwitch("garbage_on", cmd, !cmd.empty()); }
void FtpServer::unknownOn(const std::string& cmd) { setSwitch("unknown_on", cmd, !cmd.empty()); }
void FtpServer::closeOn(const std::string& cmd) { setSwitch("close_on", cmd, !cmd.empty()); }
void FtpServer::strayAfter(const std::string& cmd) { setSwitch("stray_after", cmd, !cmd.empty()); }

bool FtpServer::waitForStall(std::chrono::milliseconds limit) const
{
    return waitUntil([&] { return m_control.exists("stalled"); }, limit);
}

std::vector<std::string> FtpServer::commands() const
{
    std::vector<std::string> result;
    std::istringstream in(m_control.read("commands.log"));
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

int FtpServer::loginCount() const
{
    const auto user = [](const std::string& c) { return c.starts_with("USER "); };
    return static_cast<int>(std::ranges::count_if(commands(), user));
}

bool FtpServer::waitForCommand(const std::string& prefix, std::chrono::milliseconds limit) const
{
    const auto said = [&](const std::string& c) { return c.starts_with(prefix); };
    return waitUntil([&] { return std::ranges::any_of(commands(), said); }, limit);
}

int FtpServer::unusedPort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof a;
    ::bind(s, reinterpret_cast<sockaddr*>(&a), length);
    ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &length);
    ::close(s);
    return ntohs(a.sin_port);
}

} // namespace kau::test
