#pragma once
// The real FTP server (pyftpdlib) serving a directory to the command under
// test, on 127.0.0.1 at a free port, for as long as the object lives.
#include "ChildProcess.h"

#include <memory>
#include <string>

namespace kau::test {

class FtpServerProcess {
public:
    // throttle: bytes a second every download is held to (0: full speed).
    FtpServerProcess(const std::string& root, const std::string& user,
                     const std::string& password, int throttle = 0);

    int port() const { return m_port; }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    std::string m_portFile;
    std::unique_ptr<ChildProcess> m_process;
    int m_port = 0;
};

} // namespace kau::test
