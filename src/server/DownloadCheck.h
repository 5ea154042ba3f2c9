#pragma once
// Watches the bytes of one download as they arrive: it may stop the transfer
// at once, and it decides at the end whether what arrived may take the
// target's place.
#include <cstddef>

namespace kau {

class DownloadCheck {
public:
    virtual ~DownloadCheck() = default;
    // A piece of the file as received; false stops the transfer at once.
    virtual bool Accept(const char* data, std::size_t size) = 0;
    // The transfer ended well: whether the whole file is right. False leaves
    // the target as it was.
    virtual bool Complete() = 0;
};

} // namespace kau
