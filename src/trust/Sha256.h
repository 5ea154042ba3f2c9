#pragma once
// SHA-256 over OpenSSL's EVP interface, fed piece by piece.
#include <cstddef>
#include <memory>
#include <string>

namespace kau {

class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(const void* data, std::size_t size);
    // The digest in lower-case hex (64 characters); the object starts over.
    std::string FinishHex();

    // Of a whole file, in lower-case hex; false when it can't be read.
    static bool OfFile(const std::string& path, std::string& hex, unsigned long long& size);

private:
    struct Context;
    std::unique_ptr<Context> m_context;
};

} // namespace kau
