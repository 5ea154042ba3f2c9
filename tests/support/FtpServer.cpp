#include "FtpServer.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <csignal>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace kau::test {

namespace {

std::filesystem::path makeControlDir()
{
    static int count = 0;
    auto dir = std::filesystem::temp_directory_path()
               / ("kau-ftpsrv-" + std::to_string(::getpid()) + "-" + std::to_string(++count));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

} // namespace

FtpServer::FtpServer(const std::filesystem::path& root, std::string user, std::string password)
    : m_control(makeControlDir()), m_user(std::move(user)), m_password(std::move(password))
{
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("FtpServer: no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attr, 0);
    const std::string rootText = root.string();
    const std::string control = m_control.string();
    const char* argv[] = {"/usr/bin/python3", KAU_FTP_SERVER_SCRIPT, "--root", rootText.c_str(),
                          "--port", "0", "--user", m_user.c_str(), "--password",
                          m_password.c_str(), "--control", control.c_str(), nullptr};
    const int rc = ::posix_spawn(&m_pid, argv[0], &actions, &attr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    ::close(out[1]);
    if (rc != 0) {
        ::close(out[0]);
        throw std::runtime_error("FtpServer: cannot start python3");
    }
    // Wait, bounded, for "PORT <n>".
    std::string line;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (line.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd p{out[0], POLLIN, 0};
        if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0)
            break;
        char buf[128];
        const ssize_t n = ::read(out[0], buf, sizeof buf);
        if (n <= 0)
            break;
        line.append(buf, static_cast<size_t>(n));
    }
    ::close(out[0]);
    if (line.rfind("PORT ", 0) == 0)
        m_port = std::atoi(line.c_str() + 5);
    if (m_port <= 0) {
        ::kill(-m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        throw std::runtime_error("FtpServer: the server did not start");
    }
    for (const auto& [name, value] : {std::pair<const char*, std::string>{"KORAUTOUPDATE_FTP_SERVER", address()},
                                      {"KORAUTOUPDATE_FTP_USER", m_user},
                                      {"KORAUTOUPDATE_FTP_PASSWORD", m_password}}) {
        if (const char* old = std::getenv(name))
            m_savedEnv.emplace_back(name, old);
        else
            m_unsetEnv.emplace_back(name);
        ::setenv(name, value.c_str(), 1);
    }
}

FtpServer::~FtpServer()
{
    ::kill(-m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    for (const auto& [name, value] : m_savedEnv)
        ::setenv(name.c_str(), value.c_str(), 1);
    for (const auto& name : m_unsetEnv)
        ::unsetenv(name.c_str());
    std::error_code ec;
    std::filesystem::remove_all(m_control, ec);
}

void FtpServer::setSwitch(const std::string& name, const std::string& content, bool on)
{
    const auto file = m_control / name;
    if (!on) {
        std::error_code ec;
        std::filesystem::remove(file, ec);
        return;
    }
    // Written beside and renamed, so the server never reads half a switch.
    const auto tmp = m_control / (name + ".new");
    std::ofstream(tmp) << content;
    std::filesystem::rename(tmp, file);
}

void FtpServer::refuseLogin(bool on) { setSwitch("refuse_login", "", on); }

void FtpServer::refuseCwd(const std::string& dir)
{
    if (dir.empty()) {
        setSwitch("refuse_cwd", "", false);
        return;
    }
    std::string all;
    if (std::ifstream in(m_control / "refuse_cwd"); in)
        all.assign(std::istreambuf_iterator<char>(in), {});
    setSwitch("refuse_cwd", all + dir + "\n", true);
}

void FtpServer::dropDownloadAfter(long bytes)
{
    setSwitch("drop_after", std::to_string(bytes), bytes >= 0);
}

void FtpServer::dropDownloadOf(const std::string& name, long bytes)
{
    setSwitch("drop." + name, std::to_string(bytes), bytes >= 0);
}

void FtpServer::stallDownloadOf(const std::string& name) { setSwitch("stall." + name, "", true); }

bool FtpServer::waitForStall(std::chrono::milliseconds limit) const
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!std::filesystem::exists(m_control / "stalled")) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void FtpServer::throttle(long bytesPerSecond)
{
    setSwitch("throttle", std::to_string(bytesPerSecond), bytesPerSecond > 0);
}

int FtpServer::unusedPort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t length = sizeof a;
    ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &length);
    ::close(s);
    return ntohs(a.sin_port);
}

void FtpServer::stallReplies(int ms) { setSwitch("stall_ms", std::to_string(ms), ms > 0); }
void FtpServer::stallDownloads(bool on) { setSwitch("stall_retr", "", on); }
void FtpServer::garbageOn(const std::string& cmd) { setSwitch("garbage_on", cmd, !cmd.empty()); }
void FtpServer::unknownOn(const std::string& cmd) { setSwitch("unknown_on", cmd, !cmd.empty()); }
void FtpServer::closeOn(const std::string& cmd) { setSwitch("close_on", cmd, !cmd.empty()); }

std::vector<std::string> FtpServer::commands() const
{
    std::vector<std::string> result;
    std::ifstream in(m_control / "commands.log");
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

int FtpServer::loginCount() const
{
    int n = 0;
    for (const auto& c : commands())
        if (c.rfind("USER ", 0) == 0)
            ++n;
    return n;
}

bool FtpServer::waitForCommand(const std::string& prefix, std::chrono::milliseconds limit) const
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        for (const auto& c : commands())
            if (c.rfind(prefix, 0) == 0)
                return true;
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace kau::test
