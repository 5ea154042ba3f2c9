#pragma once
// The check of a download against its manifest entry: more bytes than the
// listed size stop the transfer at once; at the end size and SHA-256 must
// both match.
#include "server/DownloadCheck.h"
#include "trust/Manifest.h"
#include "trust/Sha256.h"

#include <cstdint>

namespace kau {

class ListedFileCheck : public DownloadCheck {
public:
    explicit ListedFileCheck(ManifestEntry entry) : m_entry(std::move(entry)) {}

    bool Accept(const char* data, std::size_t size) override;
    bool Complete() override;

private:
    ManifestEntry m_entry;
    Sha256 m_hash;
    std::uint64_t m_received = 0;
};

// The check of a file the manifest doesn't list: nothing may arrive.
class UnlistedFileCheck : public DownloadCheck {
public:
    bool Accept(const char*, std::size_t) override { return false; }
    bool Complete() override { return false; }
};

} // namespace kau
