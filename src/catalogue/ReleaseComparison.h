#pragma once
// Which files of the server are new for this installation.
#include "catalogue/RevisionList.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace kau {

// A version text split for comparing: the text with "00000000" behind it,
// major as atoi reads it, minor as atof reads it from offset 2 (major <= 9)
// or 3 (major > 9).
struct ReleaseNumbers {
    int major = 0;
    double minor = 0.0;
};
ReleaseNumbers SplitVersion(const std::string& version);

// True if the remote version counts as newer than the local one.
bool IsNewerRelease(const std::string& remoteVersion, const std::string& localVersion);

// Lower-cased copy of a name, for the catalogue's case-blind comparisons.
std::string LowerName(const std::string& name);

// Lower-cased name -> index of its first occurrence in names.
class NameIndex {
public:
    explicit NameIndex(const std::vector<std::string>& names);
    // Index of the first entry equal to name ignoring case, or -1.
    long find(const std::string& name) const;
    // Records a name appended at index, unless the name is known already.
    void add(const std::string& name, long index);

private:
    std::unordered_map<std::string, long> m_index;
};

// Removes from remote.m_aNames/m_aVersions every entry that is not new
// against local (m_aTransferred stays). With bInstallAll nothing is
// removed and the result is true; otherwise true if an entry stayed.
bool CompareReleases(const LocalRevisionList& local, RemoteRevisionList& remote, bool bInstallAll);

} // namespace kau
