#pragma once
// Whether a release on the server may be used, judged by its manifest and
// signature, and the check of every file fetched for it.
//
// With a public key configured the product directory must hold the manifest
// and its valid signature, and the manifest's sequence number must not be
// lower than the highest one accepted before for the product (kept in the
// reminder settings store as kAcceptedSequence). Without a key, a manifest
// that is present is still used for the hashes and sizes of the files; its
// signature and number are not looked at. Without either, nothing changes.
#include "server/DownloadCheck.h"
#include "trust/Manifest.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kau {

class CFtpFileClient;

// The environment variable that names the vendor's public key at run time.
inline constexpr char kPublicKeyVariable[] = "KORAUTOUPDATE_PUBLIC_KEY";

// Name of the remembered sequence number in the product's settings.
inline constexpr const char* kAcceptedSequence = "ReleaseSequence";

class ReleaseTrust {
public:
    // publicKey: base64 Ed25519 key; empty: none configured.
    explicit ReleaseTrust(std::string productKey, std::string publicKey = ConfiguredPublicKey());

    // KORAUTOUPDATE_PUBLIC_KEY when set, else the key built into the library
    // (the CMake value KAU_PUBLIC_KEY); empty when neither is.
    static std::string ConfiguredPublicKey();

    // In the product directory: reads the manifest and its signature from the
    // server and judges them. False when the release must not be used.
    bool Load(CFtpFileClient& client);

    // The judgement of Load on texts already read (nothing: not on the server).
    // An accepted signed manifest's number is remembered.
    bool Judge(const std::optional<std::string>& manifestText,
               const std::optional<std::string>& signatureText);

    bool hasManifest() const { return m_manifest.has_value(); }
    // The check of a download of name; null without a manifest. A name the
    // manifest doesn't list gets a check that lets no byte through.
    std::unique_ptr<DownloadCheck> CheckOf(const std::string& name) const;
    // Why the release was refused; empty when it wasn't.
    const std::string& reason() const { return m_reason; }

    // The highest sequence number accepted so far for productKey (0: none).
    static std::uint32_t AcceptedSequence(const std::string& productKey);

private:
    bool refuse(std::string reason);

    std::string m_productKey;
    std::string m_publicKey;
    std::optional<Manifest> m_manifest;
    std::string m_reason;
};

} // namespace kau
