#pragma once
// The update server as its setting names it. A plain "host" or "host:port",
// or "ftp://host[:port]", is plain FTP. "ftpes://host[:port]" is FTP with
// explicit TLS: the client asks for TLS on the control connection before it
// logs on, protects every data connection, checks the server's certificate,
// and never falls back to plain FTP.
#include <string>

namespace kau {

struct ServerAddress {
    std::string hostPort; // "host" or "host:port"
    bool tls = false;
    std::string error;    // why the text names no usable server; empty when it does

    // A trailing "/" is allowed; the scheme is matched without regard to case.
    static ServerAddress parse(const std::string& text);

    // "ftp://host:port" or "ftpes://host:port", as people read it.
    std::string url() const;
};

} // namespace kau
