#include "trust/ReleaseTrust.h"

#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"
#include "server/CFtpFileClient.h"
#include "trust/Ed25519.h"
#include "trust/ListedFileCheck.h"

#include <cstdlib>

namespace kau {
namespace {

// A manifest of a few thousand files stays far below this.
constexpr std::size_t kManifestLimit = 16u << 20;
constexpr std::size_t kSignatureLimit = 1024;

std::optional<std::string> readFromServer(CFtpFileClient& client, const char* name, std::size_t limit)
{
    std::string text;
    if (!client.ReadFile(name, text, limit))
        return std::nullopt;
    return text;
}

} // namespace

ReleaseTrust::ReleaseTrust(std::string productKey, std::string publicKey)
    : m_productKey(std::move(productKey)), m_publicKey(std::move(publicKey))
{
}

std::string ReleaseTrust::ConfiguredPublicKey()
{
    if (const char* key = std::getenv(kPublicKeyVariable))
        return key;
    return KAU_PUBLIC_KEY;
}

bool ReleaseTrust::Load(CFtpFileClient& client)
{
    const std::optional<std::string> manifest = readFromServer(client, kManifestFile, kManifestLimit);
    // The signature matters only with a key: without one it isn't fetched.
    std::optional<std::string> signature;
    if (!m_publicKey.empty() && manifest)
        signature = readFromServer(client, kSignatureFile, kSignatureLimit);
    return Judge(manifest, signature);
}

bool ReleaseTrust::Judge(const std::optional<std::string>& manifestText,
                         const std::optional<std::string>& signatureText)
{
    m_manifest.reset();
    m_reason.clear();
    if (m_publicKey.empty()) {
        if (manifestText) {
            m_manifest = Manifest::Parse(*manifestText);
            if (!m_manifest)
                return refuse(std::string(kManifestFile) + " is malformed");
        }
        return true;
    }
    if (!manifestText)
        return refuse(std::string("the server has no ") + kManifestFile);
    if (!signatureText)
        return refuse(std::string("the server has no ") + kSignatureFile);
    if (!ed25519::Verify(m_publicKey, *manifestText, *signatureText))
        return refuse(std::string(kSignatureFile) + " is not a valid signature by the configured key");
    std::optional<Manifest> manifest = Manifest::Parse(*manifestText);
    if (!manifest)
        return refuse(std::string(kManifestFile) + " is malformed");
    const std::uint32_t accepted = AcceptedSequence(m_productKey);
    if (manifest->sequence < accepted)
        return refuse("release " + std::to_string(manifest->sequence)
                      + " is older than release " + std::to_string(accepted)
                      + " accepted before (rollback)");
    if (manifest->sequence > accepted)
        CRegistryAccess().WriteDword(RegistryHive::LocalMachine, reminder::KeyPath(m_productKey),
                                     kAcceptedSequence, manifest->sequence);
    m_manifest = std::move(manifest);
    return true;
}

std::unique_ptr<DownloadCheck> ReleaseTrust::CheckOf(const std::string& name) const
{
    if (!m_manifest)
        return nullptr;
    if (const ManifestEntry* entry = m_manifest->Find(name))
        return std::make_unique<ListedFileCheck>(*entry);
    return std::make_unique<UnlistedFileCheck>();
}

std::uint32_t ReleaseTrust::AcceptedSequence(const std::string& productKey)
{
    std::uint32_t sequence = 0;
    CRegistryAccess().ReadDword(RegistryHive::LocalMachine, reminder::KeyPath(productKey),
                                kAcceptedSequence, sequence);
    return sequence;
}

bool ReleaseTrust::refuse(std::string reason)
{
    m_manifest.reset();
    m_reason = std::move(reason);
    return false;
}

} // namespace kau
