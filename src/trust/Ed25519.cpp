#include "trust/Ed25519.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace kau::ed25519 {
namespace {

constexpr std::size_t kPublicKeyBytes = 32;
constexpr std::size_t kSignatureBytes = 64;

struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct ContextFree {
    void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
};
struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Context = std::unique_ptr<EVP_MD_CTX, ContextFree>;
using Bio = std::unique_ptr<BIO, BioFree>;

std::string encode(const unsigned char* bytes, std::size_t size)
{
    std::string text(4 * ((size + 2) / 3), '\0');
    const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes,
                                  static_cast<int>(size));
    text.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return text;
}

// Exactly `size` bytes from base64 text (blanks around it are fine).
bool decode(std::string text, std::size_t size, std::vector<unsigned char>& bytes)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    text = first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
    if (text.empty() || text.size() % 4 != 0 || text.size() > 4 * ((size + 2) / 3))
        return false;
    std::size_t padding = 0;
    while (padding < 2 && text[text.size() - 1 - padding] == '=')
        ++padding;
    bytes.assign(text.size() / 4 * 3, 0);
    const int n = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<int>(text.size()));
    if (n < 0 || static_cast<std::size_t>(n) - padding != size)
        return false;
    bytes.resize(size);
    return true;
}

Key privateKeyOf(const std::string& pem)
{
    Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    if (!bio)
        return nullptr;
    Key key(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
    if (!key || EVP_PKEY_get_id(key.get()) != EVP_PKEY_ED25519)
        return nullptr;
    return key;
}

std::string publicOf(EVP_PKEY* key)
{
    unsigned char raw[kPublicKeyBytes];
    std::size_t length = sizeof raw;
    if (EVP_PKEY_get_raw_public_key(key, raw, &length) != 1 || length != kPublicKeyBytes)
        return {};
    return encode(raw, length);
}

} // namespace

KeyPair Generate()
{
    EVP_PKEY* made = EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
    if (!made)
        throw std::runtime_error("no Ed25519 key could be made");
    const Key key(made);
    Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
        throw std::runtime_error("the Ed25519 key could not be written");
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return KeyPair{std::string(data, static_cast<std::size_t>(length)), publicOf(key.get())};
}

std::string PublicKeyOf(const std::string& privatePem)
{
    const Key key = privateKeyOf(privatePem);
    return key ? publicOf(key.get()) : std::string();
}

std::string Sign(const std::string& privatePem, const std::string& message)
{
    const Key key = privateKeyOf(privatePem);
    const Context ctx(EVP_MD_CTX_new());
    if (!key || !ctx || EVP_DigestSignInit(ctx.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return {};
    unsigned char signature[kSignatureBytes];
    std::size_t length = sizeof signature;
    if (EVP_DigestSign(ctx.get(), signature, &length,
                       reinterpret_cast<const unsigned char*>(message.data()), message.size())
        != 1)
        return {};
    return encode(signature, length);
}

bool Verify(const std::string& publicBase64, const std::string& message,
            const std::string& signatureBase64)
{
    std::vector<unsigned char> raw;
    std::vector<unsigned char> signature;
    if (!decode(publicBase64, kPublicKeyBytes, raw) || !decode(signatureBase64, kSignatureBytes, signature))
        return false;
    const Key key(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, raw.data(), raw.size()));
    const Context ctx(EVP_MD_CTX_new());
    if (!key || !ctx || EVP_DigestVerifyInit(ctx.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return false;
    return EVP_DigestVerify(ctx.get(), signature.data(), signature.size(),
                            reinterpret_cast<const unsigned char*>(message.data()), message.size())
           == 1;
}

} // namespace kau::ed25519
