#pragma once
// A manifest entry that lists content under name, as the publisher would write it.
#include "trust/Manifest.h"
#include "trust/Sha256.h"

#include <string>

namespace kau::test {

inline ManifestEntry listedEntry(const std::string& name, const std::string& content)
{
    Sha256 hash;
    hash.Add(content.data(), content.size());
    return ManifestEntry{name, hash.FinishHex(), content.size()};
}

} // namespace kau::test
