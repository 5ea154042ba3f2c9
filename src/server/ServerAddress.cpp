#include "ServerAddress.h"

#include <algorithm>
#include <cctype>

namespace kau {
namespace {

std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

ServerAddress ServerAddress::parse(const std::string& text)
{
    ServerAddress address;
    std::string rest = text;
    if (const auto mark = text.find("://"); mark != std::string::npos) {
        const std::string scheme = lowered(text.substr(0, mark));
        rest = text.substr(mark + 3);
        if (scheme == "ftpes") {
            address.tls = true;
        } else if (scheme == "ftps") {
            address.error = "ftps:// (TLS from the first byte) is not supported; "
                            "ftpes:// asks for TLS on the FTP port";
            return address;
        } else if (scheme != "ftp") {
            address.error = "\"" + scheme + "://\" is no FTP server; use ftp:// or ftpes://";
            return address;
        }
    }
    if (!rest.empty() && rest.back() == '/')
        rest.pop_back();
    const auto bad = std::ranges::find_if(rest, [](unsigned char c) {
        return c <= ' ' || c == 0x7f || c == '/' || c == '\\' || c == '@' || c == '?' || c == '#';
    });
    if (rest.empty() || rest.front() == ':')
        address.error = "no server host in \"" + text + "\"";
    else if (bad != rest.end())
        address.error = "\"" + text + "\" is no host[:port]";
    else
        address.hostPort = rest;
    return address;
}

std::string ServerAddress::url() const
{
    return (tls ? "ftpes://" : "ftp://") + hostPort;
}

} // namespace kau
