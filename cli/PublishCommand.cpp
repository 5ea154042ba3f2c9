#include "PublishCommand.h"

#include "ExitCodes.h"
#include "trust/ReleasePublisher.h"

#include <fstream>
#include <sstream>

namespace kau::cli {

int runPublish(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    PublishRequest request{line.releaseDirectory, line.previousRevisions, line.releaseVersion, {}};
    if (!line.keyFile.empty()) {
        std::ifstream key(line.keyFile, std::ios::binary);
        std::ostringstream pem;
        pem << key.rdbuf();
        if (!key) {
            err << "korautoupdate: " << line.keyFile << " can't be read\n";
            return kExitFailed;
        }
        request.privateKeyPem = pem.str();
    }
    const PublishResult result = PublishRelease(request);
    if (!result.ok) {
        err << "korautoupdate: " << result.error << "\n";
        return kExitFailed;
    }
    out << "release " << result.sequence << ": " << result.files << " files, " << result.changed
        << " at " << line.releaseVersion << (request.privateKeyPem.empty() ? ", not signed" : ", signed")
        << "\n";
    return kExitOk;
}

} // namespace kau::cli
