#pragma once
// The update check: is there anything newer on the server than what is
// installed? Tells the user in one Yes/No box; transfers nothing but the
// remote revision file.
#include <functional>
#include <vector>
#include <string>

namespace kau {

class CFtpFileClient;

class UpdateCheck {
public:
    enum class Outcome {
        NewFiles,        // the box named newer files
        UpToDate,        // nothing newer (box only when not quiet)
        ServerUnusable,  // no logon, no product directory or no revision file
        Silent,          // the revision file did not arrive or could not be read
        Error,           // something unexpected; "Error in ftp connection" was shown
    };

    // client: the shared FTP client (left disconnected on every way out but
    // an unexpected error). sweepDirectory: where staged leftovers are removed.
    // onYes: what a Yes in the box leads to (the release notes).
    UpdateCheck(CFtpFileClient& client, std::string sweepDirectory, std::function<void()> onYes);

    Outcome run(std::string productKey, std::string installDir, std::string exeName,
                bool bQuietIfCurrent);

    // The client serves another flow at the moment: the check doesn't touch
    // it and takes the road of a connection that failed.
    void setClientBusy(bool busy) { m_clientBusy = busy; }
    // Why the last run did not trust the server's release; empty when it did.
    const std::string& refusal() const { return m_refusal; }

    // Removes every file directly in directory that a run left behind: the
    // staged ("upd_") files and unfinished downloads (".NAME.part-XXXXXX").
    // Directories stay. Nothing is removed while a run holds the installation
    // (or it can't be locked). Always true.
    static bool SweepStagedFiles(const std::string& directory);

    // The text of the box for the remote entries that stayed new (none: up to date).
    static std::string composeMessage(bool newFiles, const std::vector<std::string>& names,
                                      const std::vector<std::string>& versions);

private:
    CFtpFileClient& m_client;
    std::string m_sweepDirectory;
    std::function<void()> m_onYes;
    bool m_clientBusy = false;
    std::string m_refusal;
};

} // namespace kau
