#pragma once
// The one road to the update server: a blocking FTP client over libcurl.
// One easy handle (the "session") lives from the first Connect to
// Disconnect, so one control connection and one logon serve a whole flow.
// Active mode, binary transfers. The current directory is kept here and
// checked on the server when it changes. An "ftpes://" server is spoken to
// with explicit TLS only (see ServerAddress), its certificate checked against
// the named CA file or the system's trusted certificates, and its data
// connections are passive and protected. A dead or stalled server turns
// into a failed operation after the connect or no-progress time-out.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "server/DownloadCheck.h"
#include "server/ServerAddress.h"

namespace kau {

class CFtpFileClient {
public:
    using Progress = std::function<void(uint64_t done, uint64_t total)>;

    CFtpFileClient();
    ~CFtpFileClient();
    CFtpFileClient(const CFtpFileClient&) = delete;
    CFtpFileClient& operator=(const CFtpFileClient&) = delete;

    // Empty arguments keep the built-in values. Shows its own box on failure.
    bool Connect(std::string server, std::string user, std::string password);
    bool Disconnect();
    bool ChangeDirectory(std::string directory);
    bool FindFile(std::string name);
    // The file arrives under a hidden name and replaces the local one only when
    // complete. check, if given, sees every byte as it arrives and may stop the
    // transfer, and at the end judges the whole file; beforePlacing, if given,
    // runs just before the replacement. When either says no the download is
    // dropped and the local file stays.
    bool DownloadFile(std::string remoteName, std::string localDirectory,
                      const std::function<bool()>& beforePlacing = {},
                      DownloadCheck* check = nullptr);
    // A small file of the current directory into content; false when it
    // isn't there, doesn't arrive or holds more than maxBytes.
    bool ReadFile(std::string remoteName, std::string& content, std::size_t maxBytes);
    bool UploadFile(std::string localPath);
    std::string NextFoundFile();
    std::string CurrentDirectory() const;     // "/" or "/dir/sub/", empty when not connected
    std::string CurrentDirectoryUrl() const;  // "ftp://host:port/dir/" (ftpes://), empty when not connected

    // Why the last operation failed, for a person to read: the local file's
    // path and error text or a server setting that names no server, else
    // what went wrong with TLS, else the server's reply, else the transfer
    // library's message. Empty when nothing is known.
    std::string FailureReason() const;

    // From any thread: stops a running transfer at once; every later
    // operation fails until Disconnect.
    void Abort();
    // Called during downloads with the bytes so far and the size (0: unknown).
    void setProgress(Progress progress) { m_progress = std::move(progress); }
    void setTimeouts(std::chrono::milliseconds connect, std::chrono::milliseconds noProgress);

    bool isConnected() const { return m_bConnected; }
    bool hasSession() const { return m_pSession != nullptr; }
    bool hasFind() const { return m_bHasFind; }
    bool findActive() const { return m_bFindActive; }
    const std::string& lastFind() const { return m_strLastFind; }
    const std::string& currentUrl() const { return m_strCurrentUrl; }
    const std::string& server() const { return m_strServer; }
    const void* session() const { return m_pSession; }

private:
    friend struct FtpCallbacks; // libcurl's trampolines

    void applyOptions();
    void applyServerOptions(); // what the server's scheme asks for
    void resetRequest();
    int perform(); // a CURLcode
    int performRequest();
    void noteLocalFailure(const std::string& path, int error);
    // FindFile's two ways: 1 found, 0 not there, -1 the server can't say.
    int findPlainName(const std::string& dir, const std::string& name);
    bool listDirectory(const std::string& dir, std::string& listing);
    std::string escapedPath(const std::string& serverPath) const;
    std::string urlOf(const std::string& serverPath) const;         // for people: with the scheme
    std::string transferUrlOf(const std::string& serverPath) const; // for libcurl: ftp://
    std::string requestUrlOf(const std::string& serverPath) const;  // the same, from the root
    std::string lastError(int code) const;

    bool m_bConnected = false;
    bool m_bFindActive = false;
    bool m_bHasFind = false;
    std::string m_strServer;
    std::string m_strUser;
    std::string m_strPassword;
    std::string m_strCaFile;
    ServerAddress m_address; // m_strServer as understood at the last Connect
    std::string m_strCurrentUrl;
    std::string m_strLastFind;
    std::string m_strDirectory; // relative to the logon directory, "" or "dir/sub/"
    std::string m_strEntryPath; // the logon directory as the server named it ("/home/x")
    std::vector<std::string> m_aFound;
    size_t m_nFoundPos = 0;

    void* m_pSession = nullptr; // CURL*
    void* m_pMulti = nullptr;   // CURLM*
    std::mutex m_multiLock;  // guards m_pMulti against Abort from another thread
    std::mutex m_socketLock; // guards m_sockets
    std::set<int> m_sockets; // open sockets, shut down by Abort
    std::atomic<bool> m_bAbort{false};
    char m_errorBuffer[256] = {}; // CURL_ERROR_SIZE
    int m_lastCode = 0;           // CURLcode of the last request
    std::string m_strLastReply;   // the server's last reply line in the last request
    std::string m_strLocalFailure; // "path: error text" when a local file failed, or
                                   // why the server setting names no server
    std::string m_strLocalTarget;  // the file being downloaded
    int m_fd = -1;
    bool m_bDownloading = false;
    DownloadCheck* m_check = nullptr; // of the download in progress
    Progress m_progress;
    std::chrono::milliseconds m_connectTimeout{15000};
    std::chrono::milliseconds m_noProgressTimeout{30000};
};

} // namespace kau
