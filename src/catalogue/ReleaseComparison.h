#pragma once
// Which files of the server are new for this installation.
#include "catalogue/RevisionList.h"

#include <cstdint>
#include <string>
#include <string_view>
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
ReleaseNumbers SplitVersion(std::string_view version);

// True if the remote version counts as newer than the local one.
bool IsNewerRelease(std::string_view remoteVersion, std::string_view localVersion);

// Case-blind index of a list of names: the first occurrence of a name wins.
// It refers to the list, which may grow as long as add() follows each
// append.
class NameIndex {
public:
    explicit NameIndex(const TextList& names);
    // Index of the first entry equal to name ignoring case, or -1.
    long find(std::string_view name) const;
    // Records names[index], unless an equal name is known already.
    void add(long index);

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::int32_t index = -1;
    };
    void grow();
    std::size_t slotOf(std::string_view name, std::uint32_t hash) const;

    const TextList& m_names;
    std::vector<Slot> m_slots;  // open addressing, size a power of two
    std::size_t m_used = 0;
};

// True if the remote entry counts as new against the local list that index
// was made of: its name is not there, or its version is newer.
bool IsNewEntry(const NameIndex& index, const LocalRevisionList& local, std::string_view name,
                std::string_view version);

// Removes from remote.m_aNames/m_aVersions every entry that is not new
// against local (m_aTransferred stays). With bInstallAll nothing is
// removed and the result is true; otherwise true if an entry stayed.
bool CompareReleases(const LocalRevisionList& local, RemoteRevisionList& remote, bool bInstallAll);

} // namespace kau
