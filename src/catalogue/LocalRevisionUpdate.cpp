#include "catalogue/LocalRevisionUpdate.h"

#include "catalogue/ReleaseComparison.h"
#include "platform/PartFile.h"
#include "textfile/CTextFile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace kau {
namespace {

int writeAll(int fd, const std::string& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (put < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        done += static_cast<std::size_t>(put);
    }
    return 0;
}

std::string directoryOf(const std::string& path)
{
    const std::size_t at = path.rfind('/');
    if (at == std::string::npos)
        return ".";
    return at == 0 ? "/" : path.substr(0, at);
}

void syncDirectory(const std::string& path)
{
    const int fd = ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

} // namespace

int WriteRevisionFile(const LocalRevisionList& list, const std::string& path, bool& createFailed)
{
    createFailed = false;
    // Written under a hidden part name and renamed into place; a part file
    // that a killed run left behind is removed by the next run.
    PartFile part(path, 0644);
    if (!part.isOpen()) {
        createFailed = true;
        return errno;
    }
    std::string text;
    for (std::size_t i = 0; i < list.m_aNames.size(); ++i) {
        text += list.m_aNames[i];
        text += "; ";
        if (i < list.m_aVersions.size())
            text += list.m_aVersions[i];
        text += "\r\n";
    }
    int err = writeAll(part.fd(), text);
    if (err == 0 && ::fsync(part.fd()) != 0)
        err = errno;
    if (err != 0)
        return err; // the part file goes with part
    if (!part.Commit()) {
        createFailed = true;
        return errno;
    }
    syncDirectory(path);
    return 0;
}

bool UpdateLocalRevisions(LocalRevisionList& local, const RemoteRevisionList& remote, std::string path)
{
    try {
        NameIndex index(local.m_aNames);
        for (std::size_t i = 0; i < remote.m_aNames.size(); ++i) {
            const bool transferred = i < remote.m_aTransferred.size() && remote.m_aTransferred[i];
            const std::string_view version = i < remote.m_aVersions.size() ? remote.m_aVersions[i] : std::string_view();
            const long j = index.find(remote.m_aNames[i]);
            if (j >= 0) {
                if (transferred)
                    local.m_aVersions.set(static_cast<std::size_t>(j), version);
                continue;
            }
            local.m_aNames.push_back(remote.m_aNames[i]);
            local.m_aVersions.push_back(transferred ? version : std::string_view("0.00.00"));
            index.add(static_cast<long>(local.m_aNames.size() - 1));
        }
        bool createFailed = false;
        const int err = WriteRevisionFile(local, path, createFailed);
        if (err != 0 && createFailed)
            CTextFile::ReportOpenFailure(err);
        return err == 0;
    } catch (...) {
        return false;
    }
}

} // namespace kau
