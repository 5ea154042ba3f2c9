#include "RestoresCommand.h"

#include "ExitCodes.h"
#include "Installation.h"
#include "catalogue/InstallNames.h"
#include "catalogue/RestoreArchive.h"
#include "catalogue/RevisionList.h"
#include "flows/ApplicationPath.h"

#include <algorithm>

namespace kau::cli {

int runRestores(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    const std::optional<ApplicationPath> installation = ExistingInstallation(line, err);
    if (!installation)
        return kExitFailed;
    const ApplicationPath& app = *installation;
    RestoreDirectoryList directories;
    ListRestoreDirectories(directories, app.installDir);
    if (!line.restoreStamp) {
        for (std::size_t i = 0; i < directories.m_aDirectories.size(); ++i)
            out << directories.m_aDirectories[i] << "  " << directories.m_aTexts[i] << "\n";
        return kExitOk;
    }
    // Only a listed restore directory is opened: its revision file may be
    // created by the listing, which must never happen elsewhere.
    const auto& names = directories.m_aDirectories;
    if (std::find(names.begin(), names.end(), *line.restoreStamp) == names.end()) {
        err << "korautoupdate: no restore directory " << *line.restoreStamp << " in "
            << app.installDir << "\n";
        return kExitFailed;
    }
    LocalRevisionList files;
    ListRestoreDirectoryFiles(app.installDir + "/" + *line.restoreStamp, files);
    for (std::size_t i = 0; i < files.m_aNames.size(); ++i)
        out << EscapeControls(std::string(files.m_aNames[i])) << "  " << EscapeControls(std::string(files.m_aVersions[i])) << "\n";
    return kExitOk;
}

} // namespace kau::cli
