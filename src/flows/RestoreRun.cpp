#include "RestoreRun.h"

#include "ApplicationPath.h"
#include "RunFrame.h"
#include "RunLog.h"
#include "RunProgress.h"
#include "catalogue/InstallNames.h"
#include "catalogue/RestoreArchive.h"
#include "catalogue/StagedFiles.h"
#include "platform/FileCopy.h"
#include "platform/LogCategories.h"

#include <sys/stat.h>

namespace kau {
namespace {

bool isDirectory(const std::string& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

RestoreRun::RestoreRun(RunLog& log, RunProgress& progress, std::stop_token stop)
    : m_run(log, progress, std::move(stop))
{
}

RestoreRun::Result RestoreRun::run(const std::string& revision, const std::string& installDirectory)
{
    const std::string installDir = ApplicationPath::orCurrentDirectory(installDirectory);
    Result result;
    result.stopped = true;
    if (stopped())
        return result;
    m_run.progress.SetRange(0, 100);
    m_run.progress.SetPosition(1);

    InstallationLock lock(installDir);
    const InstallationLock::State entry = EnterInstallation(lock, m_run.log, m_run.stop);
    if (entry == InstallationLock::State::Stopped)
        return result;
    if (entry == InstallationLock::State::Busy) {
        result.stopped = false;
        result.otherRun = true;
        EndBlock(m_run.log, m_run.progress, kEndOfRestoreLine);
        return result;
    }
    // A run that was killed on its way may have left part files behind;
    // only the holder of the installation may take them for leftovers.
    RemoveLeftoverPartFiles(installDir);

    // Only a restore directory of this installation is read.
    RestoreFileList files;
    result.collected = revision.find_first_of("/\\") == std::string::npos
                       && CollectRestoreFiles(installDir + "/" + revision, files);
    if (!result.collected)
        qCWarning(lcRun, "no restore directory %s in %s", revision.c_str(), installDir.c_str());
    if (result.collected) {
        result.files = files.m_aNames.size();
        qCInfo(lcRun, "restore to %s in %s: %lu files", revision.c_str(), installDir.c_str(),
               static_cast<unsigned long>(result.files));
        m_run.log.AddLine("---- start restore to " + revision);
        m_run.progress.SetRange(0, static_cast<int>(files.m_aNames.size()) + 1);
        for (std::size_t i = 0; i < files.m_aNames.size(); ++i) {
            const std::string& source = files.m_aSources[i];
            const std::string target = installDir + "/" + files.m_aNames[i];
            if (stopped())
                return result;
            m_run.log.AddPendingLine(" restore -> " + source);
            m_run.log.ScrollToEnd();
            m_run.progress.SetPosition(static_cast<int>(i) + 1);
            if (stopped())
                return result;
            // A directory of the installation is never put aside for a file,
            // and a copy is only read from inside the installation. The copy
            // is made beside the target first; only once it is complete is the
            // installed file put aside and the copy renamed into place, so a
            // failed or broken-off copy leaves the installed file where it was.
            bool copied = false;
            if (!isDirectory(target) && StaysInside(installDir, source)) {
                copied = ReplaceStaged(target, {}, [&](const PlacingCheck& beforePlacing) {
                    return CopyFileOver(installDir + "/" + source, target, m_run.stop, beforePlacing);
                });
            }
            if (stopped())
                return result;
            if (copied) {
                qCInfo(lcRun, "restored %s from %s", target.c_str(), source.c_str());
                m_run.log.ReplaceLastLine("  ok!    " + source);
            } else {
                qCWarning(lcRun, "%s could not be restored from %s", target.c_str(), source.c_str());
                m_run.log.ReplaceLastLine(" fail!    " + source);
                ++result.failedFiles;
            }
        }
    }
    if (stopped())
        return result;
    result.stopped = false;
    EndBlock(m_run.log, m_run.progress, kEndOfRestoreLine);
    return result;
}

} // namespace kau
