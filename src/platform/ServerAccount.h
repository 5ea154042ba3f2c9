#pragma once
// The built-in update server account: compile-time defaults, overridden at
// run time by KORAUTOUPDATE_FTP_SERVER, KORAUTOUPDATE_FTP_USER and
// KORAUTOUPDATE_FTP_PASSWORD. The server text may carry a port ("host:port").
#include <string>

namespace kau {

struct ServerAccount {
    std::string server;
    std::string user;
    std::string password;

    static ServerAccount builtIn();
};

} // namespace kau
