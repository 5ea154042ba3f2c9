#include "catalogue/ReleaseComparison.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kau {
namespace {

// The leading number of text as atoi reads it (blanks, a sign, digits), but
// a value beyond the 32-bit range stops at its largest or smallest value
// instead of wrapping.
int leadingNumber(const char* text)
{
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    const std::int64_t limit = negative ? -static_cast<std::int64_t>(INT_MIN) : INT_MAX;
    std::int64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        value = std::min(value * 10 + (*text - '0'), limit);
    return static_cast<int>(negative ? -value : value);
}

} // namespace

ReleaseNumbers SplitVersion(std::string_view version)
{
    // Usual versions fit the stack buffer; longer texts take the heap.
    char local[64];
    std::string heap;
    const char* padded = local;
    const std::size_t size = version.size() + 8;
    if (size < sizeof local) {
        version.copy(local, version.size()); // an empty view may have no data at all
        std::memcpy(local + version.size(), "00000000", 9);
    } else {
        heap.assign(version).append("00000000");
        padded = heap.c_str();
    }
    ReleaseNumbers numbers;
    numbers.major = leadingNumber(padded);
    const std::size_t offset = numbers.major > 9 ? 3 : 2;
    numbers.minor = offset < size ? std::atof(padded + offset) : 0.0;
    return numbers;
}

bool IsNewerRelease(std::string_view remoteVersion, std::string_view localVersion)
{
    const ReleaseNumbers remote = SplitVersion(remoteVersion);
    const ReleaseNumbers local = SplitVersion(localVersion);
    if (remote.major != local.major)
        return remote.major > local.major;
    return remote.minor > local.minor;
}

namespace {

inline unsigned char lowerByte(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

std::uint32_t lowerHash(std::string_view name)
{
    std::uint64_t hash = 1469598103934665603ull;  // FNV-1a
    for (const char c : name) {
        hash ^= lowerByte(static_cast<unsigned char>(c));
        hash *= 1099511628211ull;
    }
    hash ^= hash >> 29;
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lowerByte(static_cast<unsigned char>(a[i])) != lowerByte(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

NameIndex::NameIndex(const TextList& names) : m_names(names)
{
    std::size_t size = 16;
    while (size < names.size() * 2)
        size *= 2;
    m_slots.resize(size);
    for (std::size_t j = 0; j < names.size(); ++j)
        add(static_cast<long>(j));
}

std::size_t NameIndex::slotOf(std::string_view name, std::uint32_t hash) const
{
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t at = static_cast<std::size_t>(hash) & mask;; at = (at + 1) & mask) {
        const Slot& slot = m_slots[at];
        if (slot.index < 0)
            return at;
        if (slot.hash == hash && equalIgnoringCase(m_names[static_cast<std::size_t>(slot.index)], name))
            return at;
    }
}

long NameIndex::find(std::string_view name) const
{
    return m_slots[slotOf(name, lowerHash(name))].index;
}

void NameIndex::add(long index)
{
    if ((m_used + 1) * 2 > m_slots.size())
        grow();
    const std::string_view name = m_names[static_cast<std::size_t>(index)];
    const std::uint32_t hash = lowerHash(name);
    Slot& slot = m_slots[slotOf(name, hash)];
    if (slot.index >= 0)
        return;  // the first occurrence stays
    slot.hash = hash;
    slot.index = static_cast<std::int32_t>(index);
    ++m_used;
}

void NameIndex::grow()
{
    std::vector<Slot> old(m_slots.size() * 2);
    old.swap(m_slots);
    const std::size_t mask = m_slots.size() - 1;
    for (const Slot& slot : old) {
        if (slot.index < 0)
            continue;
        std::size_t at = static_cast<std::size_t>(slot.hash) & mask;
        while (m_slots[at].index >= 0)
            at = (at + 1) & mask;
        m_slots[at] = slot;
    }
}

bool IsNewEntry(const NameIndex& index, const LocalRevisionList& local, std::string_view name,
                std::string_view version)
{
    const long j = index.find(name);
    return j < 0 || IsNewerRelease(version, local.m_aVersions[static_cast<std::size_t>(j)]);
}

bool CompareReleases(const LocalRevisionList& local, RemoteRevisionList& remote, bool bInstallAll)
{
    if (bInstallAll)
        return true;
    const NameIndex index(local.m_aNames);
    // Each entry is judged on its own, so one forward pass that marks the
    // new entries gives what the backward walk with removals gives.
    const std::size_t count = std::min(remote.m_aNames.size(), remote.m_aVersions.size());
    std::vector<bool> isNew(std::max(remote.m_aNames.size(), remote.m_aVersions.size()), false);
    for (std::size_t i = 0; i < count; ++i)
        isNew[i] = IsNewEntry(index, local, remote.m_aNames[i], remote.m_aVersions[i]);
    remote.m_aNames.Retain(isNew);
    remote.m_aVersions.Retain(isNew);
    return !remote.m_aNames.empty();
}

} // namespace kau
