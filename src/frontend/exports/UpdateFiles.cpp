#include "korautoupdate.h"

#include "flows/ApplicationPath.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool UpdateFiles(const char* productKey, const char* applicationPath,
                                    bool allFiles)
{
    return kau::runExport("UpdateFiles", true, [&] {
        kau::CUpdateDlg dialog;
        dialog.m_bAllFiles = allFiles;
        dialog.m_strSource = kau::exportArgument(productKey);
        const kau::ApplicationPath path =
            kau::ApplicationPath::plain(kau::exportArgument(applicationPath));
        dialog.m_strInstallDir = path.installDir;
        dialog.m_strExeName = path.exeName;
        dialog.DoModal();
        return true;
    });
}
