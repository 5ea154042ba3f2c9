#pragma once
// The FTP server of the update run's tests: pyftpdlib on 127.0.0.1 at a free
// port, one account on a root directory, and two faults a test can switch on
// per file name: a download that the server drops after some bytes, and one
// that it never answers (a stall). Ends with the object, and with the test
// process.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kau::test {

class RunTestServer {
public:
    explicit RunTestServer(const std::string& root)
        : m_control(std::filesystem::temp_directory_path()
                    / ("kau-ftp-" + std::to_string(::getpid()) + "-" + std::to_string(++s_count)))
    {
        std::filesystem::remove_all(m_control);
        std::filesystem::create_directories(m_control);
        std::ofstream(m_control / "server.py") << kScript;
        const std::string script = (m_control / "server.py").string();
        const std::string control = m_control.string();
        m_pid = ::fork();
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (std::FILE* null = std::freopen("/dev/null", "w", stderr))
                (void)null;
            ::execl("/usr/bin/python3", "python3", script.c_str(), root.c_str(), control.c_str(),
                    kUser, kPassword, static_cast<char*>(nullptr));
            ::_exit(127);
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!std::filesystem::exists(m_control / "port")) {
            if (std::chrono::steady_clock::now() > deadline || ::waitpid(m_pid, nullptr, WNOHANG) != 0)
                throw std::runtime_error("the test FTP server did not start");
            ::usleep(2000);
        }
        std::ifstream(m_control / "port") >> m_port;
    }
    ~RunTestServer()
    {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        std::error_code ec;
        std::filesystem::remove_all(m_control, ec);
    }
    RunTestServer(const RunTestServer&) = delete;
    RunTestServer& operator=(const RunTestServer&) = delete;

    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    std::string user() const { return kUser; }
    std::string password() const { return kPassword; }

    // The next downloads of files of this bare name end after so many bytes.
    void dropDownloadAfter(const std::string& name, int bytes)
    {
        std::ofstream(m_control / ("drop." + name)) << bytes;
    }
    // Downloads of files of this bare name get no answer at all.
    void stallDownload(const std::string& name) { std::ofstream(m_control / ("stall." + name)); }
    // Whether a download has stalled, and waiting for it (bounded).
    bool stalled() const { return std::filesystem::exists(m_control / "stalled"); }
    bool waitForStall(std::chrono::milliseconds limit) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!stalled()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            ::usleep(2000);
        }
        return true;
    }

    // A port on 127.0.0.1 where nothing listens.
    static int unusedPort()
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

private:
    static constexpr const char* kUser = "runner";
    static constexpr const char* kPassword = "run-secret";
    static constexpr const char* kScript = R"PY(
import os, sys
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, DTPHandler
from pyftpdlib.servers import FTPServer

root, control, user, password = sys.argv[1:5]
authorizer = DummyAuthorizer()
authorizer.add_user(user, password, root, perm="elr")

class Dropping(DTPHandler):
    limit = None
    sent = 0
    def send(self, data):
        if Dropping.limit is not None:
            left = Dropping.limit - Dropping.sent
            if left <= 0:
                self.close()
                return 0
            data = data[:left]
        n = DTPHandler.send(self, data)
        Dropping.sent += n
        return n

class Handler(FTPHandler):
    dtp_handler = Dropping
    use_sendfile = False
    auth_failed_timeout = 0
    def ftp_RETR(self, file):
        name = os.path.basename(file)
        if os.path.exists(os.path.join(control, "stall." + name)):
            open(os.path.join(control, "stalled"), "w").close()
            return
        drop = os.path.join(control, "drop." + name)
        Dropping.limit = int(open(drop).read()) if os.path.exists(drop) else None
        Dropping.sent = 0
        return FTPHandler.ftp_RETR(self, file)

Handler.authorizer = authorizer
server = FTPServer(("127.0.0.1", 0), Handler)
tmp = os.path.join(control, "port.tmp")
with open(tmp, "w") as f:
    f.write(str(server.address[1]))
os.replace(tmp, os.path.join(control, "port"))
server.serve_forever()
)PY";

    static inline int s_count = 0;
    std::filesystem::path m_control;
    pid_t m_pid = 0;
    int m_port = 0;
};

} // namespace kau::test
