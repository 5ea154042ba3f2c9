#pragma once
// The real FTP server of the tests (ftp_server.py, pyftpdlib) on 127.0.0.1 at a
// free port, serving root while the object lives. Meanwhile
// KORAUTOUPDATE_FTP_SERVER/USER/PASSWORD point at it (restored afterwards).
// Faults switched while it runs take effect from the next command it receives.
// Made with Ftps it speaks explicit TLS only, and the server setting is
// "ftpes://127.0.0.1:port".
#include "TempDir.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kau::test {

struct Ftps {
    std::string certificate;  // the server's certificate and key, one PEM file
    std::string trustedCa;    // KORAUTOUPDATE_FTP_CA_FILE while the server lives; "" leaves it
    bool requireSessionReuse = false; // a data connection must resume the control's TLS session
};

class FtpServer {
public:
    explicit FtpServer(const std::filesystem::path& root, std::string user = "svcfeed",
                       std::string password = "mintrav42");
    FtpServer(const std::filesystem::path& root, const Ftps& tls);
    ~FtpServer();
    FtpServer(const FtpServer&) = delete;
    FtpServer& operator=(const FtpServer&) = delete;

    int port() const { return m_port; }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // What KORAUTOUPDATE_FTP_SERVER says: address(), with "ftpes://" for TLS.
    std::string setting() const { return (m_tls ? "ftpes://" : "") + address(); }
    const std::string& user() const { return m_user; }
    const std::string& password() const { return m_password; }

    void refuseLogin(bool on);
    void refuseCwd(const std::string& dir);   // adds dir (relative to the root); "" clears all
    void dropDownloadAfter(long bytes);       // < 0: no more drops
    void dropDownloadOf(const std::string& name, long bytes); // only this file; < 0: off
    void stallDownloadOf(const std::string& name, bool on = true); // RETR of this file never answered
    void serveEndlessly(const std::string& name, bool on);  // RETR of this file never ends
    bool waitForStall(std::chrono::milliseconds limit) const; // a stalled RETR has come
    void throttle(long bytesPerSecond);       // downloads no faster; 0: off
    void stallReplies(int ms);                // every reply this late; 0: off
    void stallDownloads(bool on);             // RETR is never answered
    void garbageOn(const std::string& cmd);   // "" off
    void unknownOn(const std::string& cmd);   // answered as an unknown command; "" off
    void closeOn(const std::string& cmd);     // "" off
    void strayAfter(const std::string& cmd);  // an unasked reply behind cmd's; "" off

    // Every command received so far, one line each ("USER svcfeed", "RETR x"),
    // and with TLS each data connection's handshake ("TLS data resumed", "TLS data new").
    std::vector<std::string> commands() const;
    int loginCount() const;                   // number of USER commands
    // Waits (bounded) until a command starting with prefix was received.
    bool waitForCommand(const std::string& prefix, std::chrono::milliseconds limit) const;

    // A port on 127.0.0.1 where nothing listens.
    static int unusedPort();

private:
    void start(const std::filesystem::path& root, std::vector<std::string> extraArguments);
    void setEnvironment(const char* name, const std::string& value);
    void setSwitch(const std::string& name, const std::string& content, bool on);

    TempDir m_control; // the switches and commands.log
    std::string m_user;
    std::string m_password;
    int m_pid = -1;
    int m_port = 0;
    bool m_tls = false;
    std::vector<std::pair<std::string, std::optional<std::string>>> m_savedEnv;
};

} // namespace kau::test
