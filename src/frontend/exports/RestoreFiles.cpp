#include "korautoupdate.h"

#include "flows/ApplicationPath.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool RestoreFiles(const char* revision, const char* applicationPath)
{
    return kau::runExport("RestoreFiles", true, [&] {
        kau::CUpdateDlg dialog;
        dialog.m_bRestoreMode = true;
        dialog.m_strSource = kau::exportArgument(revision);
        const kau::ApplicationPath path =
            kau::ApplicationPath::restore(kau::exportArgument(applicationPath));
        dialog.m_strInstallDir = path.installDir;
        dialog.m_strExeName = path.exeName;
        dialog.DoModal();
        return true;
    });
}
