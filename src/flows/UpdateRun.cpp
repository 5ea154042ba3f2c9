#include "UpdateRun.h"

#include "ApplicationPath.h"

#include "RunFrame.h"
#include "RunLog.h"
#include "RunProgress.h"
#include "catalogue/InstallNames.h"
#include "catalogue/LocalRevisionUpdate.h"
#include "catalogue/ReleaseComparison.h"
#include "catalogue/RestoreArchive.h"
#include "catalogue/RevisionFile.h"
#include "catalogue/RevisionList.h"
#include "catalogue/StagedFiles.h"
#include "platform/FileCopy.h"
#include "platform/LocalFailure.h"
#include "platform/LogCategories.h"
#include "platform/PartFile.h"
#include "server/CFtpFileClient.h"
#include "trust/ReleaseTrust.h"

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

namespace kau {
namespace {

std::optional<std::filesystem::perms> permissionsOf(const std::string& path)
{
    std::error_code ec;
    const std::filesystem::file_status status = std::filesystem::status(path, ec);
    if (ec || !std::filesystem::is_regular_file(status))
        return std::nullopt;
    return status.permissions();
}

void keepPermissions(const std::string& path, std::filesystem::perms mode)
{
    std::error_code ec;
    std::filesystem::permissions(path, mode, std::filesystem::perm_options::replace, ec);
}

// Why a run ended as it did, for the diagnostic log.
const char* outcomeText(UpdateRun::Outcome outcome)
{
    switch (outcome) {
    case UpdateRun::Outcome::NoConnection: return "no logon to the server";
    case UpdateRun::Outcome::NoProductDirectory: return "the server has no directory of the product";
    case UpdateRun::Outcome::NoRevisionFile: return "the product directory holds no revision file";
    case UpdateRun::Outcome::RevisionFileFailed: return "the revision file could not be fetched or read";
    case UpdateRun::Outcome::NothingNew: return "nothing newer than the installed files";
    case UpdateRun::Outcome::Transferred: return "transfer done";
    case UpdateRun::Outcome::Stopped: return "stopped";
    case UpdateRun::Outcome::OtherRun: return "another run holds the installation";
    case UpdateRun::Outcome::Failed: break;
    }
    return "broken off";
}

void logEnd(const UpdateRun::Result& result)
{
    qCInfo(lcRun, "update run ended: %s; %lu files, %lu failed", outcomeText(result.outcome),
           static_cast<unsigned long>(result.files), static_cast<unsigned long>(result.failedFiles));
}

// what, and the client's account of why, if it has one.
std::string withCause(const std::string& what, const CFtpFileClient& client)
{
    const std::string cause = client.FailureReason();
    return cause.empty() ? what : what + ": " + cause;
}

std::string directoryOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

UpdateRun::Result stoppedResult()
{
    UpdateRun::Result result;
    result.outcome = UpdateRun::Outcome::Stopped;
    return result;
}

} // namespace

UpdateRun::UpdateRun(RunLog& log, RunProgress& progress, std::stop_token stop)
    : m_run(log, progress, std::move(stop))
{
}

std::string UpdateRun::DateStamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M", &local);
    return text;
}

UpdateRun::Result UpdateRun::run(const std::string& productKey, const std::string& installDirectory,
                                 bool allFiles)
{
    const std::string installDir = ApplicationPath::orCurrentDirectory(installDirectory);
    const std::string remoteRevisions = LocalPath(installDir, kRemoteRevisionFile);
    const std::string localRevisions = LocalPath(installDir, kLocalRevisionFile);
    Result result;
    qCInfo(lcRun, "update run of %s in %s%s", productKey.c_str(), installDir.c_str(),
           allFiles ? ", every file" : "");

    if (stopped())
        return stoppedResult();
    m_run.progress.SetRange(0, 100);
    m_run.progress.SetPosition(1);

    InstallationLock lock(installDir);
    const InstallationLock::State entry = EnterInstallation(lock, m_run.log, m_run.stop);
    if (entry == InstallationLock::State::Stopped)
        return stoppedResult();
    if (entry == InstallationLock::State::Busy) {
        result.outcome = Outcome::OtherRun;
        result.reason = OtherRunReason(installDir);
        logEnd(result);
        EndBlock(m_run.log, m_run.progress, kEndOfDownloadLine);
        return result;
    }
    // A run that was killed on its way may have left part files behind;
    // only the holder of the installation may take them for leftovers.
    RemoveLeftoverPartFiles(installDir);

    LocalRevisionList local;
    RemoteRevisionList remote;
    CFtpFileClient client;
    // A stop request aborts whatever the client is waiting for.
    std::stop_callback abortTransfer(m_run.stop, [&client] { client.Abort(); });

    m_run.log.AddLine("... connect to the KORVANE server");
    if (stopped())
        return stoppedResult();
    if (!client.Connect("", "", "")) {
        if (stopped())
            return stoppedResult();
        result.outcome = Outcome::NoConnection;
        result.reason = withCause("no logon to the server", client);
        logEnd(result);
        EndBlock(m_run.log, m_run.progress, kEndOfDownloadLine);
        return result;
    }

    try {
        result.outcome = Outcome::Failed;
        [&] {
            m_run.log.AddLine("... set path (" + productKey + ")");
            if (stopped())
                return;
            if (!client.ChangeDirectory(productKey)) {
                result.outcome = Outcome::NoProductDirectory;
                result.reason = withCause("no product directory \"" + productKey + "\" on the server", client);
                return;
            }
            m_run.log.AddLine("... check remote revision file");
            if (stopped())
                return;
            if (!client.FindFile(kRemoteRevisionFile)) {
                result.outcome = Outcome::NoRevisionFile;
                result.reason = withCause(std::string("no ") + kRemoteRevisionFile + " in \"" + productKey
                                              + "\" on the server", client);
                return;
            }
            if (stopped())
                return;
            // An untrusted release is no usable revision file either.
            ReleaseTrust trust(productKey);
            if (!trust.Load(client)) {
                qCWarning(lcRun, "release refused: %s", trust.reason().c_str());
                result.reason = "release refused: " + trust.reason();
                result.outcome = Outcome::NoRevisionFile;
                return;
            }
            if (stopped())
                return;

            // This run's restore directory, with the local revision file as it
            // stands before the run.
            const std::string stamp = DateStamp();
            result.restoreDirectory = BeginRestoreDirectory(installDir, stamp);
            if (result.restoreDirectory.empty()) {
                // Without the way back no file may be replaced.
                result.reason = "no restore directory: " + LocalFailureText(installDir + "/" + stamp, errno);
                return;
            }

            result.outcome = Outcome::RevisionFileFailed;
            if (stopped())
                return;
            if (!client.DownloadFile(kRemoteRevisionFile, installDir, {},
                                     trust.CheckOf(kRemoteRevisionFile).get())) {
                result.reason = withCause(std::string(kRemoteRevisionFile) + " did not arrive", client);
                return;
            }
            if (stopped())
                return;
            if (!ReadRemoteRevisions(remote, remoteRevisions)) {
                result.reason = remoteRevisions + " could not be read";
                return;
            }

            m_run.log.AddLine("... check local revision file");
            if (stopped())
                return;
            ReadLocalRevisions(local, localRevisions);

            m_run.log.AddLine("... compare new files");
            if (stopped())
                return;
            if (!CompareReleases(local, remote, allFiles)) {
                m_run.log.AddLine(" end! No updates found!");
                result.outcome = Outcome::NothingNew;
                return;
            }

            result.files = remote.m_aNames.size();
            m_run.progress.SetRange(0, static_cast<int>(remote.m_aNames.size()) + 1);
            m_run.log.AddLine("---- start transfer ----");

            std::vector<bool> refused(remote.m_aNames.size());
            // Directories of the files, each cleared once of what a killed run left there.
            std::set<std::string> swept{installDir, result.restoreDirectory};
            auto sweepDirectoryOf = [&swept](const std::string& path) {
                if (swept.insert(directoryOf(path)).second)
                    PartFile::RemoveLeftovers(directoryOf(path));
            };
            for (std::size_t i = 0; i < remote.m_aNames.size(); ++i) {
                const std::string name(remote.m_aNames[i]);
                const std::string installed = LocalPath(installDir, name);
                if (stopped())
                    return;
                if (!IsSafeInstallName(installDir, name)) {
                    // Never archived, staged, written or recorded; the run goes on.
                    refused[i] = true;
                    m_run.progress.SetPosition(static_cast<int>(i) + 1);
                    m_run.log.AddLine(" fail!    " + EscapeControls(name));
                    ++result.failedFiles;
                    continue;
                }
                m_run.progress.SetPosition(static_cast<int>(i) + 1);
                m_run.log.AddPendingLine(" copy -> " + name);
                m_run.log.ScrollToEnd();
                if (stopped())
                    return;
                CreateParentDirectory(installed);
                sweepDirectoryOf(installed);
                sweepDirectoryOf(LocalPath(result.restoreDirectory, name));
                // The file arrives under a hidden name first. Only once it is
                // complete, and the run still goes on, is the old copy kept,
                // the installed file put aside and the new one renamed into
                // place, in one step that no stop request cuts: a run stopped
                // before it leaves the installed file where it was. A file
                // whose old copy can't be kept is not replaced.
                std::optional<std::filesystem::perms> mode;
                int notKept = 0;
                const auto keepOldCopy = [&] {
                    if (stopped())
                        return false;
                    if (!KeepOldCopy(installDir, result.restoreDirectory, name)) {
                        notKept = errno != 0 ? errno : EIO;
                        return false;
                    }
                    mode = permissionsOf(installed);
                    return true;
                };
                const auto fetch = [&](const PlacingCheck& beforePlacing) {
                    return client.DownloadFile(name, installDir, beforePlacing, trust.CheckOf(name).get());
                };
                const bool arrived = ReplaceStaged(installed, keepOldCopy, fetch);
                if (arrived) {
                    // A file that replaces another takes its mode; a new one
                    // is runnable when it is a program.
                    keepPermissions(installed, mode ? *mode : static_cast<std::filesystem::perms>(
                                                                  NewFileMode(installed)));
                    qCInfo(lcRun, "replaced %s", installed.c_str());
                }
                if (stopped())
                    return;
                if (arrived) {
                    m_run.log.ReplaceLastLine("  ok!    " + name);
                    remote.m_aTransferred[i] = true;
                } else {
                    const std::string why = notKept == 0 ? withCause(name + " did not arrive", client)
                        : name + " was not replaced, its old copy could not be kept: "
                              + LocalFailureText(LocalPath(result.restoreDirectory, name), notKept);
                    qCWarning(lcRun, "%s; the installed file stays", why.c_str());
                    m_run.log.ReplaceLastLine(" fail!    " + name);
                    if (result.failedFiles++ == 0)
                        result.reason = why;
                }
            }

            m_run.log.AddLine("---- end transfer ----");
            m_run.log.ScrollToEnd();
            m_run.log.AddLine("... update local revision file");
            if (stopped())
                return;
            DropEntries(remote, refused);
            result.revisionsWritten = UpdateLocalRevisions(local, remote, localRevisions);
            if (!result.revisionsWritten && result.reason.empty())
                result.reason = localRevisions + " could not be written";
            m_run.log.AddLine(result.revisionsWritten ? "  ok!  updated local revision file"
                                                  : " fail! no update in local revision file");
            result.outcome = Outcome::Transferred;
        }();
    } catch (...) {
        // Something below broke off the run; it ends like any other.
        result.outcome = Outcome::Failed;
        result.reason = "the run broke off";
    }

    if (stopped()) {
        // Left off where it stood: no further line, nothing more on disk.
        result.outcome = Outcome::Stopped;
        logEnd(result);
        return result;
    }
    logEnd(result);
    client.Disconnect();
    EndBlock(m_run.log, m_run.progress, kEndOfDownloadLine);
    return result;
}


} // namespace kau
