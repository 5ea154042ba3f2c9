#pragma once
// The vendor's side: turns a release directory into what the server offers.
// Writes into the directory the revision file for its files, the manifest
// with the next sequence number and, given a private key, its signature.
//
// A file keeps its version from the previous revision file when its content
// is unchanged; a changed or new one gets the new version. The content of
// the previous release is known from the manifest beside the previous
// revision file or, without one, from the files beside it.
#include <string>

namespace kau {

struct PublishRequest {
    std::string releaseDirectory;
    std::string previousRevisions; // the previous RelInfoRemote.rel; empty: a first release
    std::string version;           // X.YY.ZZ
    std::string privateKeyPem;     // empty: no signature
};

struct PublishResult {
    bool ok = false;
    std::string error;       // why not, when not ok
    unsigned files = 0;      // entries of the revision file
    unsigned changed = 0;    // of those, the ones with the new version
    unsigned sequence = 0;   // the manifest's number
};

PublishResult PublishRelease(const PublishRequest& request);

} // namespace kau
