#include "ReleaseNotesFetch.h"

#include "ApplicationPath.h"

#include "server/CFtpFileClient.h"
#include "trust/ReleaseTrust.h"

namespace kau {
namespace {

bool fetchAndShow(CFtpFileClient& client, const std::string& productKey, std::string installDir,
                  const std::function<void(const std::string&)>& show)
{
    if (!client.ChangeDirectory(productKey) || !client.FindFile(kReleaseNotesPage))
        return false;
    // The page of an untrusted release is not shown either.
    ReleaseTrust trust(productKey);
    if (!trust.Load(client))
        return false;
    installDir = ApplicationPath::orCurrentDirectory(installDir);
    if (!client.DownloadFile(kReleaseNotesPage, installDir, {}, trust.CheckOf(kReleaseNotesPage).get()))
        return false;
    if (show) {
        std::string page = std::move(installDir);
        page += '/';
        page += kReleaseNotesPage;
        show(page);
    }
    return true;
}

} // namespace

bool FetchReleaseNotes(CFtpFileClient& client, const std::string& productKey,
                       std::string installDir,
                       const std::function<void(const std::string& pagePath)>& show)
{
    if (!client.Connect("", "", ""))
        return false;
    bool shown = false;
    try {
        shown = fetchAndShow(client, productKey, std::move(installDir), show);
    } catch (...) {
        client.Disconnect(); // whatever went wrong, the client is free again
        throw;
    }
    client.Disconnect();
    return shown;
}

} // namespace kau
