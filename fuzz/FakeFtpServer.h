#pragma once
// A scripted FTP server on 127.0.0.1 for one client connection: it greets
// with the first block of its script and answers every command line with the
// next block, whatever the command. A block that answers RETR, LIST, NLST or
// MLSD with a 1xx reply after an EPRT or PORT is followed by the block sent
// over the data connection and then by the closing reply. A client that stays
// silent for a moment gets the next block anyway, so that a client waiting for
// the rest of a reply is never stuck; when the script ends the server hangs up.
// Only one connection is accepted: a client that comes back is refused at once.
// With KAU_FAKE_FTP_TRACE set the commands go to stderr, for writing seeds.
#include <string>
#include <thread>
#include <vector>

namespace kau::fuzz {

class FakeFtpServer {
public:
    explicit FakeFtpServer(std::vector<std::string> blocks);
    ~FakeFtpServer();
    FakeFtpServer(const FakeFtpServer&) = delete;
    FakeFtpServer& operator=(const FakeFtpServer&) = delete;

    int port() const { return m_port; }

private:
    void serve();
    void sendReply(int fd, const std::string& block);
    void sendData(const std::string& block);

    std::vector<std::string> m_blocks;
    std::size_t m_next = 0;
    int m_listener = -1;
    int m_port = 0;
    std::string m_dataHost;
    int m_dataPort = 0;
    bool m_trace = false; // KAU_FAKE_FTP_TRACE set: the commands go to stderr
    std::thread m_thread;
};

} // namespace kau::fuzz
