#pragma once
// Which files of the server are new for this installation.
#include "catalogue/RevisionList.h"

#include <string>
#include <cstdint>
#include <vector>

namespace kau {

// A version text split for comparing: the text with "00000000" behind it,
// major as atoi reads it (a number beyond 32 bits stops at the largest
// 32-bit value), minor as atof reads it from offset 2 (major <= 9)
// or 3 (major > 9).
struct ReleaseNumbers {
    int major = 0;
    double minor = 0.0;
};
ReleaseNumbers SplitVersion(const std::string& version);

// True if the remote version counts as newer than the local one.
bool IsNewerRelease(const std::string& remoteVersion, const std::string& localVersion);

// Case-blind index of a list of names: the first occurrence of a name wins.
// It refers to the vector, which may grow as long as add() follows each
// append.
class NameIndex {
public:
    explicit NameIndex(const std::vector<std::string>& names);
    // Index of the first entry equal to name ignoring case, or -1.
    long find(const std::string& name) const;
    // Records names[index], unless an equal name is known already.
    void add(long index);

private:
    struct Slot {
        std::uint64_t hash = 0;
        long index = -1;
    };
    void grow();
    std::size_t slotOf(const std::string& name, std::uint64_t hash) const;

    const std::vector<std::string>& m_names;
    std::vector<Slot> m_slots;  // open addressing, size a power of two
    std::size_t m_used = 0;
};

// Removes from remote.m_aNames/m_aVersions every entry that is not new
// against local (m_aTransferred stays). With bInstallAll nothing is
// removed and the result is true; otherwise true if an entry stayed.
bool CompareReleases(const LocalRevisionList& local, RemoteRevisionList& remote, bool bInstallAll);

} // namespace kau
