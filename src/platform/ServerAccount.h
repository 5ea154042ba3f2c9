#pragma once
// The built-in update server account: compile-time defaults, each overridden
// at run time by its environment variable below. The server text may carry a
// port ("host:port") and a scheme ("ftpes://host" for explicit TLS).
#include <string>

namespace kau {

inline constexpr char kServerVariable[] = "KORAUTOUPDATE_FTP_SERVER";
inline constexpr char kUserVariable[] = "KORAUTOUPDATE_FTP_USER";
inline constexpr char kPasswordVariable[] = "KORAUTOUPDATE_FTP_PASSWORD";
// A PEM file of the CA certificates that alone vouch for a TLS server.
inline constexpr char kCaFileVariable[] = "KORAUTOUPDATE_FTP_CA_FILE";

struct ServerAccount {
    std::string server;
    std::string user;
    std::string password;
    std::string caFile; // empty: the system's trusted certificates

    static ServerAccount builtIn();
};

} // namespace kau
