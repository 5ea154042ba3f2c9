#include "server/CFtpFileClient.h"

#include "platform/Box.h"
#include "platform/LocalFailure.h"
#include "platform/LogCategories.h"
#include "platform/PartFile.h"
#include "platform/ServerAccount.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <sys/socket.h>
#include <unistd.h>

#include <curl/curl.h>

namespace kau {

static_assert(CURL_ERROR_SIZE <= 256);

namespace {

const char kConnectFailed[] =
    "Connection to the KORVANE server failed.\nCannot check the new software updates.\n"
    "You can inactivate this feature if no internet line is available!\n\n";

// Receive buffer of a transfer. libcurl's default of 16 KiB means one
// recvfrom and one write per 16 KiB; on a 256 MiB file over the loopback
// 1 MiB took the run from about 1.15 times curl's time to about half of it,
// and made no difference to many small files (256 KiB and 512 KiB lay in
// between). It costs 1 MiB per connection.
constexpr long kTransferBufferBytes = 1024 * 1024;

CURL* easy(void* p) { return static_cast<CURL*>(p); }

CURLM* multi(void* p) { return static_cast<CURLM*>(p); }

// A request without a transfer may, on the kept connection, read before it
// sends anything (a CWD into the directory it is in needs no command). A reply
// nobody asked for that waits on the connection is then read by libcurl 7.88
// through the freed buffer of the request before: it loops without end or
// crashes (curl pull request 12752; fixed in curl 8.6.0). Such requests therefore
// begin with a NOOP, whose failure ("*") is no failure of the request.
curl_slist* leadingNoop()
{
    static curl_slist* const noop = curl_slist_append(nullptr, "*NOOP");
    return noop;
}

// Both separators mean a directory on the server; leading ones are dropped.
std::vector<std::string> components(const std::string& path)
{
    std::vector<std::string> parts;
    std::string part;
    for (char c : path + "/") {
        if (c == '/' || c == '\\') {
            if (part == "..") {
                if (!parts.empty())
                    parts.pop_back();
            } else if (!part.empty() && part != ".") {
                parts.push_back(part);
            }
            part.clear();
        } else {
            part += c;
        }
    }
    return parts;
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string text;
    for (const auto& p : parts)
        text += p + "/";
    return text;
}

std::string slashes(std::string text)
{
    for (char& c : text)
        if (c == '\\')
            c = '/';
    return text;
}

bool isTlsFailure(int code)
{
    switch (code) {
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
        return true;
    default:
        return false;
    }
}

struct CurlInit {
    CurlInit() { curl_global_init(CURL_GLOBAL_DEFAULT); }
};

} // namespace

struct FtpCallbacks {
    static size_t writeToFd(char* data, size_t size, size_t count, void* self)
    {
        auto* client = static_cast<CFtpFileClient*>(self);
        const size_t total = size * count;
        if (client->m_check && !client->m_check->Accept(data, total)) {
            client->m_strLocalFailure = client->m_strLocalTarget + ": more than its listed size";
            return 0; // refused: the transfer stops here
        }
        size_t done = 0;
        while (done < total) {
            const ssize_t n = ::write(client->m_fd, data + done, total - done);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                client->noteLocalFailure(client->m_strLocalTarget, errno);
                return 0; // disk full or the like: the transfer fails
            }
            done += static_cast<size_t>(n);
        }
        return total;
    }
    // Every line the server sends on the control connection.
    static size_t onReply(char* data, size_t size, size_t count, void* self)
    {
        std::string line(data, size * count);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
            line.pop_back();
        if (!line.empty())
            static_cast<CFtpFileClient*>(self)->m_strLastReply = std::move(line);
        return size * count;
    }
    static size_t writeToString(char* data, size_t size, size_t count, void* target)
    {
        static_cast<std::string*>(target)->append(data, size * count);
        return size * count;
    }
    struct Bounded {
        std::string* text;
        size_t limit;
    };
    static size_t writeToBoundedString(char* data, size_t size, size_t count, void* target)
    {
        auto* bounded = static_cast<Bounded*>(target);
        if (size * count > bounded->limit - bounded->text->size())
            return 0;
        bounded->text->append(data, size * count);
        return size * count;
    }
    static size_t readFromFd(char* data, size_t size, size_t count, void* self)
    {
        auto* client = static_cast<CFtpFileClient*>(self);
        if (client->m_bAbort)
            return CURL_READFUNC_ABORT;
        const ssize_t n = ::read(client->m_fd, data, size * count);
        return n < 0 ? CURL_READFUNC_ABORT : static_cast<size_t>(n);
    }
    static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address)
    {
        auto* client = static_cast<CFtpFileClient*>(self);
        const int fd = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
        if (fd < 0)
            return CURL_SOCKET_BAD;
        std::lock_guard lock(client->m_socketLock);
        client->m_sockets.insert(fd);
        return fd;
    }
    static int closeSocket(void* self, curl_socket_t fd)
    {
        auto* client = static_cast<CFtpFileClient*>(self);
        std::lock_guard lock(client->m_socketLock);
        client->m_sockets.erase(fd);
        return ::close(fd);
    }
    static int onProgress(void* self, curl_off_t dltotal, curl_off_t dlnow, curl_off_t, curl_off_t)
    {
        auto* client = static_cast<CFtpFileClient*>(self);
        if (client->m_bAbort)
            return 1;
        if (client->m_bDownloading && client->m_progress)
            client->m_progress(static_cast<uint64_t>(dlnow), static_cast<uint64_t>(dltotal));
        return 0;
    }
};

CFtpFileClient::CFtpFileClient()
{
    static CurlInit init;
    const ServerAccount account = ServerAccount::builtIn();
    m_strServer = account.server;
    m_strUser = account.user;
    m_strPassword = account.password;
    m_strCaFile = account.caFile;
    m_pMulti = curl_multi_init();
}

CFtpFileClient::~CFtpFileClient()
{
    if (m_pSession)
        curl_easy_cleanup(easy(m_pSession));
    std::lock_guard lock(m_multiLock);
    if (m_pMulti)
        curl_multi_cleanup(multi(m_pMulti));
    m_pMulti = nullptr;
}

void CFtpFileClient::setTimeouts(std::chrono::milliseconds connect,
                                 std::chrono::milliseconds noProgress)
{
    m_connectTimeout = connect;
    m_noProgressTimeout = noProgress;
    if (m_pSession)
        applyOptions();
}

void CFtpFileClient::applyOptions()
{
    CURL* h = easy(m_pSession);
    const long noProgressSeconds =
        std::max<long>(1, static_cast<long>((m_noProgressTimeout.count() + 999) / 1000));
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_ERRORBUFFER, m_errorBuffer);
    curl_easy_setopt(h, CURLOPT_FTPPORT, "-");
    curl_easy_setopt(h, CURLOPT_TRANSFERTEXT, 0L);
    curl_easy_setopt(h, CURLOPT_FTP_FILEMETHOD, static_cast<long>(CURLFTPMETHOD_SINGLECWD));
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_connectTimeout.count()));
    curl_easy_setopt(h, CURLOPT_ACCEPTTIMEOUT_MS, static_cast<long>(m_connectTimeout.count()));
    curl_easy_setopt(h, CURLOPT_SERVER_RESPONSE_TIMEOUT, noProgressSeconds);
    curl_easy_setopt(h, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(h, CURLOPT_LOW_SPEED_TIME, noProgressSeconds);
    curl_easy_setopt(h, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, &FtpCallbacks::onProgress);
    curl_easy_setopt(h, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(h, CURLOPT_USERAGENT, "Zelmor Connection");
    curl_easy_setopt(h, CURLOPT_OPENSOCKETFUNCTION, &FtpCallbacks::openSocket);
    curl_easy_setopt(h, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(h, CURLOPT_CLOSESOCKETFUNCTION, &FtpCallbacks::closeSocket);
    curl_easy_setopt(h, CURLOPT_CLOSESOCKETDATA, this);
    curl_easy_setopt(h, CURLOPT_BUFFERSIZE, kTransferBufferBytes);
    // TLS, where the server asks for it: its certificate must be valid for
    // its name and come from a trusted CA, the named ones alone when a CA file
    // is given. A data connection resumes the control connection's TLS
    // session, as servers that guard against a stolen data connection demand.
    curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(h, CURLOPT_SSL_SESSIONID_CACHE, 1L);
    curl_easy_setopt(h, CURLOPT_FTPSSLAUTH, static_cast<long>(CURLFTPAUTH_TLS));
    if (!m_strCaFile.empty()) {
        curl_easy_setopt(h, CURLOPT_CAINFO, m_strCaFile.c_str());
        curl_easy_setopt(h, CURLOPT_CAPATH, nullptr);
    }
}

void CFtpFileClient::applyServerOptions()
{
    CURL* h = easy(m_pSession);
    // With TLS nothing goes in clear: a server that doesn't offer it fails
    // the logon before the account is sent.
    curl_easy_setopt(h, CURLOPT_USE_SSL,
                     static_cast<long>(m_address.tls ? CURLUSESSL_ALL : CURLUSESSL_NONE));
    // Active mode for plain FTP. With TLS the data connections are passive:
    // libcurl before 8.0 puts no TLS on a data connection it accepts (the
    // transfer hangs), and no NAT or firewall can read the port out of an
    // encrypted PORT command.
    curl_easy_setopt(h, CURLOPT_FTPPORT, m_address.tls ? nullptr : "-");
}

void CFtpFileClient::resetRequest()
{
    CURL* h = easy(m_pSession);
    curl_easy_setopt(h, CURLOPT_NOBODY, 0L);
    curl_easy_setopt(h, CURLOPT_DIRLISTONLY, 0L);
    curl_easy_setopt(h, CURLOPT_UPLOAD, 0L);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &FtpCallbacks::writeToString);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, nullptr);
    curl_easy_setopt(h, CURLOPT_READFUNCTION, &FtpCallbacks::readFromFd);
    curl_easy_setopt(h, CURLOPT_READDATA, this);
    curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &FtpCallbacks::onReply);
    curl_easy_setopt(h, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(h, CURLOPT_USERNAME, m_strUser.c_str());
    curl_easy_setopt(h, CURLOPT_PASSWORD, m_strPassword.c_str());
    m_bDownloading = false;
}

// The easy handle runs inside a multi handle, so Abort can wake it at once.
int CFtpFileClient::perform()
{
    m_errorBuffer[0] = '\0';
    m_strLastReply.clear();
    m_strLocalFailure.clear();
    m_lastCode = performRequest();
    return m_lastCode;
}

int CFtpFileClient::performRequest()
{
    if (m_bAbort)
        return CURLE_ABORTED_BY_CALLBACK;
    CURLM* m = multi(m_pMulti);
    CURL* h = easy(m_pSession);
    if (curl_multi_add_handle(m, h) != CURLM_OK)
        return CURLE_FAILED_INIT;
    CURLcode result = CURLE_OK;
    bool finished = false;
    for (;;) {
        int running = 0;
        if (curl_multi_perform(m, &running) != CURLM_OK) {
            result = CURLE_FAILED_INIT;
            break;
        }
        int left = 0;
        while (CURLMsg* msg = curl_multi_info_read(m, &left)) {
            if (msg->msg == CURLMSG_DONE) {
                result = msg->data.result;
                finished = true;
            }
        }
        if (finished || running == 0)
            break;
        if (m_bAbort) {
            result = CURLE_ABORTED_BY_CALLBACK;
            break;
        }
        curl_multi_poll(m, nullptr, 0, 1000, nullptr);
        if (m_bAbort) {
            result = CURLE_ABORTED_BY_CALLBACK;
            break;
        }
    }
    curl_multi_remove_handle(m, h);
    return result;
}

std::string CFtpFileClient::escapedPath(const std::string& serverPath) const
{
    // Each part between two "/" escaped; the separators stay.
    std::string path;
    CURL* h = easy(m_pSession);
    for (std::size_t start = 0;;) {
        const std::size_t slash = serverPath.find('/', start);
        const std::string part = serverPath.substr(start, slash - start);
        char* escaped = curl_easy_escape(h, part.c_str(), static_cast<int>(part.size()));
        path += escaped ? escaped : "";
        curl_free(escaped);
        if (slash == std::string::npos)
            return path;
        path += '/';
        start = slash + 1;
    }
}

std::string CFtpFileClient::urlOf(const std::string& serverPath) const
{
    // serverPath: relative to the logon directory; a trailing "/" names a directory.
    return m_address.url() + "/" + escapedPath(serverPath);
}

std::string CFtpFileClient::transferUrlOf(const std::string& serverPath) const
{
    // TLS or not is the session's option; libcurl's "ftps://" would be TLS from the first byte.
    return "ftp://" + m_address.hostPort + "/" + escapedPath(serverPath);
}

std::string CFtpFileClient::requestUrlOf(const std::string& serverPath) const
{
    // Spelt from the server's root: libcurl then changes into the directory
    // with one CWD, where a path relative to the logon directory would first
    // take it back there on the reused connection.
    if (m_strEntryPath.empty() || m_strEntryPath[0] != '/')
        return transferUrlOf(serverPath);
    std::string entry = m_strEntryPath.substr(1);
    if (!entry.empty() && entry.back() != '/')
        entry += '/';
    return "ftp://" + m_address.hostPort + "/%2F" + escapedPath(entry + serverPath);
}

std::string CFtpFileClient::lastError(int code) const
{
    // The buffer can hold stale text after a success: read only after a failure.
    if (m_errorBuffer[0] != '\0')
        return m_errorBuffer;
    return curl_easy_strerror(static_cast<CURLcode>(code));
}

void CFtpFileClient::noteLocalFailure(const std::string& path, int error)
{
    m_strLocalFailure = LocalFailureText(path, error);
}

std::string CFtpFileClient::FailureReason() const
{
    if (!m_strLocalFailure.empty())
        return m_strLocalFailure;
    if (m_lastCode == CURLE_OK)
        return {};
    if (m_lastCode == CURLE_USE_SSL_FAILED)
        return "the server does not offer TLS"
               + (m_strLastReply.empty() ? std::string() : " (it replied \"" + m_strLastReply + "\")");
    // The TLS layer's own words say which check failed ("SSL certificate
    // problem: ..."); no earlier message can stand in the buffer, as these
    // failures come first in a transfer.
    if (isTlsFailure(m_lastCode) && m_errorBuffer[0] != '\0')
        return m_errorBuffer;
    // A reply of the server says most; "2xx"/"3xx" replies went well.
    const bool goodReply = m_strLastReply.size() >= 3 && (m_strLastReply[0] == '1'
                           || m_strLastReply[0] == '2' || m_strLastReply[0] == '3');
    if (!m_strLastReply.empty() && !goodReply)
        return "the server replied \"" + m_strLastReply + "\"";
    // Not the error buffer: libcurl keeps the first message of a transfer
    // there, which may be a harmless one from before the failure.
    return curl_easy_strerror(static_cast<CURLcode>(m_lastCode));
}

bool CFtpFileClient::Connect(std::string server, std::string user, std::string password)
{
    if (m_bConnected)
        return false;
    if (!server.empty())
        m_strServer = std::move(server);
    if (!user.empty())
        m_strUser = std::move(user);
    if (!password.empty())
        m_strPassword = std::move(password);
    if (!m_pSession) {
        m_pSession = curl_easy_init();
        if (!m_pSession) {
            m_strCurrentUrl.clear();
            return false;
        }
        applyOptions();
    }
    m_address = ServerAddress::parse(m_strServer);
    applyServerOptions();
    resetRequest();
    m_strDirectory.clear();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL, transferUrlOf("").c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_NOBODY, 1L);
    qCInfo(lcFtp, "logon to %s as %s", m_address.url().c_str(), m_strUser.c_str());
    const int code = m_address.error.empty() ? perform() : CURLE_URL_MALFORMAT;
    if (code != CURLE_OK) {
        if (!m_address.error.empty()) {
            m_lastCode = code;
            m_strLocalFailure = m_address.error;
        }
        // The server's refusal of TLS says more than libcurl's "SSL level" text.
        const std::string why = !m_address.error.empty() || code == CURLE_USE_SSL_FAILED
                                    ? FailureReason() : lastError(code);
        qCWarning(lcFtp, "logon to %s failed: %s", m_strServer.c_str(), why.c_str());
        const std::string text = std::string(kConnectFailed) + "ERROR!  " + why
                                 + "\n" + "\n" + "FTP Server: <" + m_strServer + ">";
        if (!m_bAbort) // a logon the user broke off needs no box
            showBox(text, BoxButtons::Ok, BoxIcon::None);
        m_strCurrentUrl.clear();
        return false;
    }
    m_strCurrentUrl = urlOf("");
    const char* entry = nullptr;
    curl_easy_getinfo(easy(m_pSession), CURLINFO_FTP_ENTRY_PATH, &entry);
    m_strEntryPath = entry ? entry : "";
    m_bConnected = true;
    qCInfo(lcFtp, "logged on, start directory %s", m_strEntryPath.c_str());
    return true;
}

bool CFtpFileClient::Disconnect()
{
    if (m_pSession)
        curl_easy_cleanup(easy(m_pSession));
    {
        // A new multi handle: the old one's pool holds the control connection.
        std::lock_guard lock(m_multiLock);
        if (m_pMulti)
            curl_multi_cleanup(multi(m_pMulti));
        m_pMulti = curl_multi_init();
    }
    m_pSession = nullptr;
    m_bHasFind = false;
    m_aFound.clear();
    m_nFoundPos = 0;
    m_strDirectory.clear();
    m_strCurrentUrl.clear();
    m_bConnected = false;
    m_bFindActive = false;
    m_bAbort = false;
    return true;
}

void CFtpFileClient::Abort()
{
    m_bAbort = true;
    {
        // A server that has stopped answering must not hold up the Disconnect that follows.
        std::lock_guard lock(m_socketLock);
        for (int fd : m_sockets)
            ::shutdown(fd, SHUT_RDWR);
    }
    std::lock_guard lock(m_multiLock);
    if (m_pMulti)
        curl_multi_wakeup(multi(m_pMulti));
}

bool CFtpFileClient::ChangeDirectory(std::string directory)
{
    if (!m_bConnected) {
        m_strCurrentUrl.clear();
        return false;
    }
    const bool absolute = !directory.empty() && (directory[0] == '/' || directory[0] == '\\');
    const std::string target =
        joined(components((absolute ? std::string() : m_strDirectory) + "/" + directory));
    resetRequest();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL, requestUrlOf(target).c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_NOBODY, 1L);
    curl_easy_setopt(easy(m_pSession), CURLOPT_QUOTE, leadingNoop());
    const int code = perform();
    curl_easy_setopt(easy(m_pSession), CURLOPT_QUOTE, nullptr);
    const bool changed = code == CURLE_OK;
    if (changed)
        m_strDirectory = target;
    if (changed)
        qCInfo(lcFtp, "directory /%s", target.c_str());
    else
        qCWarning(lcFtp, "no directory /%s: %s", target.c_str(), lastError(code).c_str());
    m_strCurrentUrl = urlOf(m_strDirectory);
    return changed;
}

bool CFtpFileClient::FindFile(std::string name)
{
    if (!m_bConnected)
        return false;
    m_bHasFind = true;
    std::string path = slashes(name);
    std::string dir;
    std::string pattern = path;
    if (const auto slash = path.rfind('/'); slash != std::string::npos) {
        dir = joined(components(path.substr(0, slash)));
        pattern = path.substr(slash + 1);
    }
    std::string listing;
    m_aFound.clear();
    m_nFoundPos = 0;
    // A plain name is asked for on the control connection (one MLST); a
    // pattern, or a server without MLST, takes a listing.
    const bool wildcard = pattern.find_first_of("*?[\\") != std::string::npos;
    const int plain = pattern.empty() ? 0 : wildcard ? -1 : findPlainName(dir, pattern);
    if (plain == 1) {
        m_aFound.push_back(dir + pattern);
    } else if (plain < 0 && listDirectory(dir, listing)) {
        size_t start = 0;
        while (start < listing.size()) {
            size_t end = listing.find('\n', start);
            if (end == std::string::npos)
                end = listing.size();
            std::string entry = listing.substr(start, end - start);
            if (!entry.empty() && entry.back() == '\r')
                entry.pop_back();
            if (const auto slash = entry.rfind('/'); slash != std::string::npos)
                entry = entry.substr(slash + 1);
            if (!entry.empty() && ::fnmatch(pattern.c_str(), entry.c_str(), FNM_PERIOD) == 0)
                m_aFound.push_back(dir + entry);
            start = end + 1;
        }
    }
    m_bFindActive = !m_aFound.empty();
    qCInfo(lcFtp, "look for %s in /%s: %lu found", name.c_str(), m_strDirectory.c_str(),
           static_cast<unsigned long>(m_aFound.size()));
    if (m_bFindActive)
        m_strLastFind = name;
    return m_bFindActive;
}

int CFtpFileClient::findPlainName(const std::string& dir, const std::string& name)
{
    if (name.find_first_of("\r\n") != std::string::npos)
        return 0; // no file has such a name, and it must not reach the control connection
    resetRequest();
    curl_slist* command = curl_slist_append(nullptr, ("MLST " + name).c_str());
    if (!command)
        return -1;
    CURL* h = easy(m_pSession);
    curl_easy_setopt(h, CURLOPT_URL, requestUrlOf(m_strDirectory + dir).c_str());
    curl_easy_setopt(h, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(h, CURLOPT_QUOTE, leadingNoop());
    curl_easy_setopt(h, CURLOPT_POSTQUOTE, command);
    const int code = perform();
    curl_easy_setopt(h, CURLOPT_QUOTE, nullptr);
    curl_easy_setopt(h, CURLOPT_POSTQUOTE, nullptr);
    curl_slist_free_all(command);
    if (code == CURLE_OK)
        return 1;
    long reply = 0;
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &reply);
    // 500-504: the server doesn't know MLST (or its arguments); 550: no such entry.
    return code == CURLE_QUOTE_ERROR && reply >= 500 && reply <= 504 ? -1 : 0;
}

bool CFtpFileClient::listDirectory(const std::string& dir, std::string& listing)
{
    resetRequest();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL, requestUrlOf(m_strDirectory + dir).c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_DIRLISTONLY, 1L);
    curl_easy_setopt(easy(m_pSession), CURLOPT_WRITEDATA, &listing);
    return perform() == CURLE_OK;
}

std::string CFtpFileClient::NextFoundFile()
{
    if (!m_bConnected || !m_bHasFind || !m_bFindActive)
        return {};
    const std::string entry = m_aFound[m_nFoundPos++];
    m_bFindActive = m_nFoundPos < m_aFound.size();
    m_strCurrentUrl = urlOf(m_strDirectory);
    return entry;
}

std::string CFtpFileClient::CurrentDirectory() const
{
    return m_bConnected ? "/" + m_strDirectory : std::string();
}

std::string CFtpFileClient::CurrentDirectoryUrl() const
{
    return m_bConnected ? urlOf(m_strDirectory) : std::string();
}

bool CFtpFileClient::DownloadFile(std::string remoteName, std::string localDirectory,
                                  const std::function<bool()>& beforePlacing, DownloadCheck* check)
{
    if (!m_bConnected)
        return false;
    if (!localDirectory.empty() && (localDirectory.back() == '/' || localDirectory.back() == '\\'))
        localDirectory.pop_back();
    ::mkdir(localDirectory.c_str(), 0777); // only the last level; an existing one is fine
    const std::string remote = slashes(remoteName);
    const std::string localPath = localDirectory + "/" + remote;
    m_strLocalFailure.clear();
    m_strLocalTarget = localPath;

    // Into a hidden file beside the target, renamed into place when complete.
    struct stat old {};
    PartFile part(localPath, ::stat(localPath.c_str(), &old) == 0 ? old.st_mode : 0644);
    if (!part.isOpen()) {
        noteLocalFailure(localPath, errno);
        return false;
    }

    resetRequest();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL, requestUrlOf(m_strDirectory + remote).c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_WRITEFUNCTION, &FtpCallbacks::writeToFd);
    curl_easy_setopt(easy(m_pSession), CURLOPT_WRITEDATA, this);
    m_fd = part.fd();
    m_check = check;
    m_bDownloading = true;
    const int code = perform();
    m_bDownloading = false;
    m_check = nullptr;
    m_fd = -1;
    const bool refused = code == CURLE_OK && check && !check->Complete();
    if (refused)
        m_strLocalFailure = localPath + ": not its listed size and SHA-256";
    bool done = code == CURLE_OK && !refused && (!beforePlacing || beforePlacing());
    if (done && !part.Commit()) {
        noteLocalFailure(localPath, errno);
        done = false;
    }
    if (done)
        qCInfo(lcFtp, "fetched %s into %s", remote.c_str(), localDirectory.c_str());
    else
        qCWarning(lcFtp, "fetching %s into %s failed: %s", remote.c_str(), localDirectory.c_str(),
                  !m_strLocalFailure.empty() ? m_strLocalFailure.c_str()
                  : code == CURLE_OK ? "the file was not put in place" : lastError(code).c_str());
    return done; // the part file goes unless committed; the target stays as it was
}

bool CFtpFileClient::ReadFile(std::string remoteName, std::string& content, std::size_t maxBytes)
{
    content.clear();
    if (!m_bConnected)
        return false;
    // Over TLS a data connection opened for a file that isn't there ends
    // without a TLS goodbye, and OpenSSL then won't resume the session it
    // used: the next data connection would need a new one, which servers that
    // demand reuse refuse. So an optional file is asked for on the control
    // connection first.
    if (m_address.tls) {
        const std::string path = slashes(remoteName);
        const auto slash = path.rfind('/');
        const std::string dir = slash == std::string::npos ? "" : joined(components(path.substr(0, slash)));
        if (findPlainName(dir, path.substr(slash + 1)) == 0)
            return false;
    }
    FtpCallbacks::Bounded target{&content, maxBytes};
    resetRequest();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL,
                     requestUrlOf(m_strDirectory + slashes(remoteName)).c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_WRITEFUNCTION, &FtpCallbacks::writeToBoundedString);
    curl_easy_setopt(easy(m_pSession), CURLOPT_WRITEDATA, &target);
    const int code = perform();
    if (code != CURLE_OK) {
        content.clear();
        qCInfo(lcFtp, "reading %s failed: %s", remoteName.c_str(), lastError(code).c_str());
    }
    return code == CURLE_OK;
}

bool CFtpFileClient::UploadFile(std::string localPath)
{
    if (!m_bConnected)
        return false;
    auto cut = localPath.rfind('/');
    if (cut == std::string::npos)
        cut = localPath.rfind('\\');
    const std::string bare = cut == std::string::npos ? localPath : localPath.substr(cut + 1);
    if (bare.empty())
        return false;
    m_fd = ::open(localPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0)
        return false;
    resetRequest();
    curl_easy_setopt(easy(m_pSession), CURLOPT_URL, requestUrlOf(m_strDirectory + bare).c_str());
    curl_easy_setopt(easy(m_pSession), CURLOPT_UPLOAD, 1L);
    const int code = perform();
    ::close(m_fd);
    m_fd = -1;
    if (code == CURLE_OK)
        qCInfo(lcFtp, "sent %s to /%s", localPath.c_str(), m_strDirectory.c_str());
    else
        qCWarning(lcFtp, "sending %s failed: %s", localPath.c_str(), lastError(code).c_str());
    return code == CURLE_OK;
}

} // namespace kau
