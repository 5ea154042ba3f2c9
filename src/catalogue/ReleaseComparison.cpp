#include "catalogue/ReleaseComparison.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace kau {

ReleaseNumbers SplitVersion(const std::string& version)
{
    const std::string padded = version + "00000000";
    ReleaseNumbers numbers;
    numbers.major = std::atoi(padded.c_str());
    const std::size_t offset = numbers.major > 9 ? 3 : 2;
    numbers.minor = offset < padded.size() ? std::atof(padded.c_str() + offset) : 0.0;
    return numbers;
}

bool IsNewerRelease(const std::string& remoteVersion, const std::string& localVersion)
{
    const ReleaseNumbers remote = SplitVersion(remoteVersion);
    const ReleaseNumbers local = SplitVersion(localVersion);
    if (remote.major != local.major)
        return remote.major > local.major;
    return remote.minor > local.minor;
}

std::string LowerName(const std::string& name)
{
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

NameIndex::NameIndex(const std::vector<std::string>& names)
{
    m_index.reserve(names.size());
    for (std::size_t j = 0; j < names.size(); ++j)
        m_index.emplace(LowerName(names[j]), static_cast<long>(j));
}

long NameIndex::find(const std::string& name) const
{
    const auto it = m_index.find(LowerName(name));
    return it == m_index.end() ? -1 : it->second;
}

void NameIndex::add(const std::string& name, long index)
{
    m_index.emplace(LowerName(name), index);
}

bool CompareReleases(const LocalRevisionList& local, RemoteRevisionList& remote, bool bInstallAll)
{
    if (bInstallAll)
        return true;
    const NameIndex index(local.m_aNames);
    // Each entry is judged on its own, so one forward pass that keeps the
    // new entries in place gives what the backward walk with removals gives.
    std::size_t kept = 0;
    const std::size_t count = std::min(remote.m_aNames.size(), remote.m_aVersions.size());
    for (std::size_t i = 0; i < count; ++i) {
        const long j = index.find(remote.m_aNames[i]);
        const bool isNew = j < 0 || IsNewerRelease(remote.m_aVersions[i], local.m_aVersions[static_cast<std::size_t>(j)]);
        if (!isNew)
            continue;
        if (kept != i) {
            remote.m_aNames[kept] = std::move(remote.m_aNames[i]);
            remote.m_aVersions[kept] = std::move(remote.m_aVersions[i]);
        }
        ++kept;
    }
    remote.m_aNames.resize(kept);
    remote.m_aVersions.resize(kept);
    return !remote.m_aNames.empty();
}

} // namespace kau
