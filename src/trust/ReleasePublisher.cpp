#include "trust/ReleasePublisher.h"

#include "catalogue/RevisionFile.h"
#include "catalogue/RevisionList.h"
#include "trust/Ed25519.h"
#include "trust/Manifest.h"
#include "trust/Sha256.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace kau {
namespace fs = std::filesystem;
namespace {

constexpr const char* kRevisionFile = "RelInfoRemote.rel";
constexpr const char* kNotesPage = "LatestUpdate.html";

std::optional<std::string> slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool put(const fs::path& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    return static_cast<bool>(out.flush());
}

bool entryOf(const fs::path& path, const std::string& name, ManifestEntry& entry)
{
    unsigned long long size = 0;
    entry.name = name;
    if (!Sha256::OfFile(path.string(), entry.sha256, size))
        return false;
    entry.size = size;
    return true;
}

// What the previous release held: its manifest, or else the files beside
// its revision file.
struct PreviousRelease {
    fs::path directory;
    std::optional<Manifest> manifest;

    std::string hashOf(const std::string& name) const
    {
        if (manifest) {
            const ManifestEntry* entry = manifest->Find(name);
            return entry ? entry->sha256 : std::string();
        }
        ManifestEntry entry;
        if (directory.empty() || !fs::is_regular_file(directory / name) || !entryOf(directory / name, name, entry))
            return {};
        return entry.sha256;
    }
};

} // namespace

PublishResult PublishRelease(const PublishRequest& request)
{
    PublishResult result;
    const fs::path dir = request.releaseDirectory;
    if (!std::regex_match(request.version, std::regex("[0-9]+\\.[0-9]{2}\\.[0-9]{2}"))) {
        result.error = "the version must look like X.YY.ZZ";
        return result;
    }
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) {
        result.error = request.releaseDirectory + " is not a directory";
        return result;
    }

    RemoteRevisionList previous;
    PreviousRelease before;
    if (!request.previousRevisions.empty()) {
        if (!ReadRemoteRevisions(previous, request.previousRevisions)) {
            result.error = request.previousRevisions + " can't be read";
            return result;
        }
        before.directory = fs::path(request.previousRevisions).parent_path();
        if (const auto text = slurp(before.directory / kManifestFile)) {
            before.manifest = Manifest::Parse(*text);
            if (!before.manifest) {
                result.error = (before.directory / kManifestFile).string() + " is malformed";
                return result;
            }
        }
    }
    // By name with "/" between directories: the old list's spelling and version.
    std::map<std::string, std::pair<std::string, std::string>> previousEntries;
    for (std::size_t i = 0; i < previous.m_aNames.size() && i < previous.m_aVersions.size(); ++i) {
        std::string name(previous.m_aNames[i]);
        std::replace(name.begin(), name.end(), '\\', '/');
        previousEntries[name] = {std::string(previous.m_aNames[i]), std::string(previous.m_aVersions[i])};
    }

    // Every regular file of the release, by its name relative to the directory.
    std::vector<std::string> names;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file() || it->is_symlink())
            continue;
        const std::string name = fs::relative(it->path(), dir).generic_string();
        if (name == kRevisionFile || name == kManifestFile || name == kSignatureFile)
            continue;
        names.push_back(name);
    }
    if (ec) {
        result.error = request.releaseDirectory + " can't be read";
        return result;
    }
    std::sort(names.begin(), names.end());

    Manifest manifest;
    manifest.sequence = before.manifest ? before.manifest->sequence + 1 : 1;
    std::string revisions;
    for (const std::string& name : names) {
        // A file the old list named keeps its spelling there, so that an
        // installation sees the same file.
        const auto known = previousEntries.find(name);
        const std::string listed = known != previousEntries.end() ? known->second.first : name;
        ManifestEntry entry;
        if (!entryOf(dir / name, listed, entry)) {
            result.error = (dir / name).string() + " can't be read";
            return result;
        }
        manifest.entries.push_back(entry);
        if (name == kNotesPage)
            continue; // the notes page is shown, not installed
        const bool unchanged = known != previousEntries.end()
                               && (before.hashOf(listed) == entry.sha256 || before.hashOf(name) == entry.sha256);
        revisions += listed + "; " + (unchanged ? known->second.second : request.version) + "\r\n";
        ++result.files;
        if (!unchanged)
            ++result.changed;
    }

    if (!put(dir / kRevisionFile, revisions)) {
        result.error = "the revision file can't be written";
        return result;
    }
    ManifestEntry revisionEntry;
    if (!entryOf(dir / kRevisionFile, kRevisionFile, revisionEntry)) {
        result.error = "the revision file can't be read back";
        return result;
    }
    manifest.entries.insert(manifest.entries.begin(), revisionEntry);
    const std::string text = manifest.Text();
    if (!put(dir / kManifestFile, text)) {
        result.error = "the manifest can't be written";
        return result;
    }
    fs::remove(dir / kSignatureFile, ec); // an old signature would not match
    if (!request.privateKeyPem.empty()) {
        const std::string signature = ed25519::Sign(request.privateKeyPem, text);
        if (signature.empty()) {
            result.error = "the key is not an Ed25519 private key";
            return result;
        }
        if (!put(dir / kSignatureFile, signature + "\n")) {
            result.error = "the signature can't be written";
            return result;
        }
    }
    result.sequence = manifest.sequence;
    result.ok = true;
    return result;
}

} // namespace kau
