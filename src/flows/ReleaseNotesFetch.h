#pragma once
// Fetches the release notes page of a product and hands its local path to
// whoever shows it, while the connection still stands.
#include <functional>
#include <string>

namespace kau {

class CFtpFileClient;

inline constexpr const char* kReleaseNotesPage = "LatestUpdate.html";

// Connects with the built-in account, enters productKey, fetches
// "LatestUpdate.html" into installDir (the current directory when empty) and
// calls show with the page's path before disconnecting. Returns whether the
// page was shown. A failed Connect has shown the client's own box; every
// other failure ends the fetch without a word, and the client is left
// disconnected.
bool FetchReleaseNotes(CFtpFileClient& client, const std::string& productKey,
                       std::string installDir,
                       const std::function<void(const std::string& pagePath)>& show);

} // namespace kau
