// The revision file readers and the comparison of two releases. The input is
// the local revision file, a NUL byte, and the remote one.
#include "FuzzInput.h"
#include "FuzzTempDir.h"

#include "catalogue/ReleaseComparison.h"
#include "catalogue/RevisionFile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

bool sameIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
        if (lower(static_cast<unsigned char>(a[i])) != lower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

// The comparison the slow way: the first local entry of the same name decides.
bool staysNew(const kau::LocalRevisionList& local, std::string_view name, std::string_view version)
{
    for (std::size_t j = 0; j < local.m_aNames.size(); ++j)
        if (sameIgnoringCase(local.m_aNames[j], name))
            return kau::IsNewerRelease(version, local.m_aVersions[j]);
    return true;
}

using kau::fuzz::check;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto* text = reinterpret_cast<const char*>(data);
    const void* nul = std::memchr(text, 0, size);
    const std::size_t localSize = nul ? static_cast<const char*>(nul) - text : size;
    const std::size_t remoteStart = nul ? localSize + 1 : size;

    const std::string localPath = kau::fuzz::writeScratchFile("RelInfoLocal.rel", text, localSize);
    const std::string remotePath =
        kau::fuzz::writeScratchFile("RelInfoRemote.rel", text + remoteStart, size - remoteStart);

    kau::LocalRevisionList local;
    kau::RemoteRevisionList remote;
    check(kau::ReadLocalRevisions(local, localPath), "an existing local file reads");
    check(kau::ReadRemoteRevisions(remote, remotePath), "an existing remote file reads");
    check(local.m_aNames.size() == local.m_aVersions.size(), "local lists of one length");
    check(remote.m_aNames.size() == remote.m_aVersions.size()
              && remote.m_aNames.size() == remote.m_aTransferred.size(),
          "remote lists of one length");
    for (const std::string& name : remote.m_aNames.Texts())
        check(!name.empty() && kau::TrimField(name) == name, "names are trimmed and not empty");

    // The record-by-record reading sees what the list reading kept.
    std::size_t visited = 0;
    std::size_t expected = 0;
    kau::VisitRevisions(
        localPath,
        [&](std::string_view name, std::string_view version) {
            check(visited < local.m_aNames.size() && local.m_aNames[visited] == name
                      && local.m_aVersions[visited] == version,
                  "visit and list agree");
            // The check compares the views as the reader hands them on.
            check(!kau::IsNewerRelease(version, version), "a version is not newer than itself");
            ++visited;
        },
        [&](std::size_t lines) { expected = lines; });
    check(visited == local.m_aNames.size() && visited <= expected, "visit count");

    kau::RemoteRevisionList all = remote;
    check(kau::CompareReleases(local, all, true), "install-all keeps everything");
    check(all.m_aNames.Texts() == remote.m_aNames.Texts(), "install-all leaves the list");

    std::vector<std::string> wanted;
    for (std::size_t i = 0; i < remote.m_aNames.size(); ++i)
        if (staysNew(local, remote.m_aNames[i], remote.m_aVersions[i]))
            wanted.emplace_back(remote.m_aNames[i]);
    const bool any = kau::CompareReleases(local, remote, false);
    check(any == !wanted.empty(), "result says whether an entry stayed");
    check(remote.m_aNames.Texts() == wanted, "the new entries, in order");
    return 0;
}
