#pragma once
// Exit statuses of korautoupdate, in the manner of package tools.

namespace kau::cli {

inline constexpr int kExitOk = 0;           // up to date / every transfer done / listed
inline constexpr int kExitFailed = 1;       // the server was not usable, a file failed, not found
inline constexpr int kExitUsage = 2;        // bad command line, --app in no directory
inline constexpr int kExitOtherRun = 75;    // another run kept the installation (EX_TEMPFAIL)
inline constexpr int kExitNewFiles = 100;   // check: newer files on the server
inline constexpr int kExitInterrupted = 130; // run stopped by Ctrl-C, SIGTERM or SIGHUP (128 + SIGINT)

} // namespace kau::cli
