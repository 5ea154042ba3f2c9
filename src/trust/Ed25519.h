#pragma once
// Ed25519 key pairs and detached signatures over OpenSSL's EVP interface.
// A public key travels as the base64 text of its 32 bytes, a signature as
// the base64 text of its 64 bytes; a private key is a PKCS#8 PEM text.
#include <string>

namespace kau::ed25519 {

struct KeyPair {
    std::string privatePem;
    std::string publicBase64;
};

// A fresh key pair; throws when the library can't make one.
KeyPair Generate();

// The public key of a private one; empty when privatePem isn't an Ed25519 key.
std::string PublicKeyOf(const std::string& privatePem);

// The signature of message; empty when privatePem isn't an Ed25519 key.
std::string Sign(const std::string& privatePem, const std::string& message);

// Whether signatureBase64 is a valid signature of message by publicBase64.
// Malformed keys or signatures are simply not valid.
bool Verify(const std::string& publicBase64, const std::string& message,
            const std::string& signatureBase64);

} // namespace kau::ed25519
