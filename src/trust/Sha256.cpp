#include "trust/Sha256.h"

#include <openssl/evp.h>

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

namespace kau {

struct Sha256::Context {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ~Context() { EVP_MD_CTX_free(ctx); }
};

Sha256::Sha256() : m_context(std::make_unique<Context>())
{
    if (!m_context->ctx || EVP_DigestInit_ex(m_context->ctx, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
}

Sha256::~Sha256() = default;

void Sha256::Add(const void* data, std::size_t size)
{
    EVP_DigestUpdate(m_context->ctx, data, size);
}

std::string Sha256::FinishHex()
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(m_context->ctx, digest, &length);
    EVP_DigestInit_ex(m_context->ctx, EVP_sha256(), nullptr);
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 15];
    }
    return hex;
}

bool Sha256::OfFile(const std::string& path, std::string& hex, unsigned long long& size)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    Sha256 hash;
    std::vector<char> buffer(1 << 20);
    size = 0;
    for (;;) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0) {
            ::close(fd);
            return false;
        }
        if (n == 0)
            break;
        hash.Add(buffer.data(), static_cast<std::size_t>(n));
        size += static_cast<unsigned long long>(n);
    }
    ::close(fd);
    hex = hash.FinishHex();
    return true;
}

} // namespace kau
