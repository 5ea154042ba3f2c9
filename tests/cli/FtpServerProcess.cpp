#include "FtpServerProcess.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace kau::test {

FtpServerProcess::FtpServerProcess(const std::string& root, const std::string& user,
                                   const std::string& password, int throttle)
    : m_portFile(root + ".port")
{
    std::filesystem::remove(m_portFile);
    m_process = std::make_unique<ChildProcess>(std::vector<std::string>{
        "/usr/bin/python3", KAU_CLI_FTP_SERVER_SCRIPT, "--root", root, "--user", user,
        "--password", password, "--port-file", m_portFile, "--throttle",
        std::to_string(throttle)});
    const bool listening = m_process->waitForOutput(
        [this](const std::string&, const std::string&) {
            return std::filesystem::exists(m_portFile);
        },
        std::chrono::seconds(20));
    if (!listening)
        throw std::runtime_error("FTP server did not start: " + m_process->err());
    std::ifstream(m_portFile) >> m_port;
}

} // namespace kau::test
