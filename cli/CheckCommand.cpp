#include "CheckCommand.h"

#include "ExitCodes.h"
#include "NotesText.h"
#include "flows/ApplicationPath.h"
#include "flows/ReleaseNotesFetch.h"
#include "flows/UpdateCheck.h"
#include "server/CFtpFileClient.h"

#include <fstream>
#include <iterator>
#include <string>

namespace kau::cli {
namespace {

std::string readWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

int runCheck(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    const ApplicationPath app = ApplicationPath::reminder(line.applicationPath);
    CFtpFileClient client;
    const auto printPage = [&](const std::string& pagePath) {
        out << "Release notes (" << pagePath << "):\n\n" << notesToText(readWholeFile(pagePath))
            << std::flush;
    };
    // What a Yes leads to; the check has disconnected the client by then.
    const auto showNotes = [&] {
        if (!FetchReleaseNotes(client, line.productKey, app.installDir, printPage))
            err << "korautoupdate: the release notes could not be fetched\n";
    };
    UpdateCheck check(client, app.installDir, showNotes);
    const UpdateCheck::Outcome outcome = check.run(line.productKey, app.installDir, app.exeName, false);
    if (!check.refusal().empty())
        err << "korautoupdate: release refused: " << check.refusal() << "\n";
    switch (outcome) {
    case UpdateCheck::Outcome::UpToDate:
        return kExitOk;
    case UpdateCheck::Outcome::NewFiles:
        return kExitNewFiles;
    case UpdateCheck::Outcome::Silent:
        err << "korautoupdate: the remote revision file could not be fetched or read\n";
        return kExitFailed;
    case UpdateCheck::Outcome::ServerUnusable:
        // The box has said that; this line says why (logon, TLS, directory, file).
        if (const std::string why = client.FailureReason(); check.refusal().empty() && !why.empty())
            err << "korautoupdate: the server is not usable: " << why << "\n";
        break;
    case UpdateCheck::Outcome::Error:
        break;
    }
    return kExitFailed;
}

} // namespace kau::cli
