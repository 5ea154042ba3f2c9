#include "FakeFtpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kau::fuzz {
namespace {

// How long a silent client is given before the next block goes out anyway.
constexpr int kQuietMs = 20;
// How long the server waits for the client to connect at all.
constexpr int kAcceptMs = 5000;

void sendAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n <= 0)
            return;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

bool startsWith(const std::string& text, const char* prefix)
{
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

} // namespace

FakeFtpServer::FakeFtpServer(std::vector<std::string> blocks) : m_blocks(std::move(blocks))
{
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (m_listener < 0 || ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0
        || ::listen(m_listener, 1) != 0
        || ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        std::perror("fake FTP server");
        std::abort();
    }
    m_port = ntohs(address.sin_port);
    m_trace = std::getenv("KAU_FAKE_FTP_TRACE") != nullptr;
    m_thread = std::thread([this] { serve(); });
}

FakeFtpServer::~FakeFtpServer()
{
    m_thread.join();
    if (m_listener >= 0)
        ::close(m_listener);
}

void FakeFtpServer::sendReply(int fd, const std::string& block)
{
    // Lines end in CR LF on the control connection.
    std::string wire;
    for (char c : block) {
        if (c == '\n' && (wire.empty() || wire.back() != '\r'))
            wire += '\r';
        wire += c;
    }
    wire += "\r\n";
    sendAll(fd, wire.data(), wire.size());
}

void FakeFtpServer::sendData(const std::string& block)
{
    if (m_dataPort <= 0 || m_dataPort > 65535)
        return;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(m_dataPort));
    if (fd >= 0 && ::inet_pton(AF_INET, m_dataHost.c_str(), &address.sin_addr) == 1
        && ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
        sendAll(fd, block.data(), block.size());
    if (fd >= 0)
        ::close(fd);
}

void FakeFtpServer::serve()
{
    pollfd waiting{m_listener, POLLIN, 0};
    if (::poll(&waiting, 1, kAcceptMs) != 1)
        return;
    const int control = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    ::close(m_listener); // a second connection is refused, not left waiting
    m_listener = -1;
    if (control < 0)
        return;

    if (m_next < m_blocks.size())
        sendReply(control, m_blocks[m_next++]);
    std::string pending;
    while (m_next < m_blocks.size()) {
        pollfd input{control, POLLIN, 0};
        const int ready = ::poll(&input, 1, kQuietMs);
        if (ready < 0)
            break;
        if (ready == 0) {
            sendReply(control, m_blocks[m_next++]);
            continue;
        }
        char buffer[4096];
        const ssize_t n = ::recv(control, buffer, sizeof buffer, 0);
        if (n <= 0)
            break;
        pending.append(buffer, static_cast<std::size_t>(n));
        for (std::size_t end; (end = pending.find('\n')) != std::string::npos && m_next < m_blocks.size();) {
            const std::string command = pending.substr(0, end);
            pending.erase(0, end + 1);
            if (m_trace)
                std::fprintf(stderr, "fake ftp: %s\n", command.c_str());
            unsigned h1, h2, h3, h4, p1, p2;
            char host[64];
            int port = 0;
            if (std::sscanf(command.c_str(), "PORT %u,%u,%u,%u,%u,%u", &h1, &h2, &h3, &h4, &p1, &p2) == 6) {
                m_dataHost = std::to_string(h1) + "." + std::to_string(h2) + "." + std::to_string(h3)
                             + "." + std::to_string(h4);
                m_dataPort = static_cast<int>(p1 * 256 + p2);
            } else if (std::sscanf(command.c_str(), "EPRT |1|%63[0-9.]|%d|", host, &port) == 2) {
                m_dataHost = host;
                m_dataPort = port;
            }
            const std::string& reply = m_blocks[m_next++];
            sendReply(control, reply);
            const bool transfer = startsWith(command, "RETR") || startsWith(command, "LIST")
                                  || startsWith(command, "NLST") || startsWith(command, "MLSD");
            if (transfer && !reply.empty() && reply[0] == '1' && m_next < m_blocks.size()) {
                sendData(m_blocks[m_next++]);
                if (m_next < m_blocks.size())
                    sendReply(control, m_blocks[m_next++]);
            }
        }
    }
    ::close(control);
}

} // namespace kau::fuzz
