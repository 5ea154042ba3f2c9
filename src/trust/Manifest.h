#pragma once
// The release manifest: what a release consists of, one line each, LF ends.
//
//   KorAutoUpdate manifest 1
//   sequence 12
//   file <sha256 in lower-case hex> <size in bytes> <name>
//   ...
//
// The name is the rest of the line, spelled as the revision file spells it.
// The sequence number grows with every release of a product. Anything else
// (an unknown line, a second entry of a name, a malformed number) makes the
// whole manifest unreadable.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kau {

inline constexpr const char* kManifestFile = "Release.manifest";
inline constexpr const char* kSignatureFile = "Release.manifest.sig";

struct ManifestEntry {
    std::string name;
    std::string sha256; // lower-case hex
    std::uint64_t size = 0;
};

class Manifest {
public:
    std::uint32_t sequence = 0;
    std::vector<ManifestEntry> entries;

    // The entry of name, or null.
    const ManifestEntry* Find(const std::string& name) const;

    // The text form above.
    std::string Text() const;
    // Reads the text form; nothing when it isn't one.
    static std::optional<Manifest> Parse(const std::string& text);
};

} // namespace kau
