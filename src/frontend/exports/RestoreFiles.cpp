#include "korautoupdate.h"

#include "flows/ApplicationPath.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool RestoreFiles(const char* revision, const char* applicationPath)
{
    return kau::runExport("RestoreFiles", true, [&] {
        kau::CUpdateDlg::RunModal(true, kau::exportArgument(revision),
                                  kau::ApplicationPath::restore(kau::exportArgument(applicationPath)));
        return true;
    });
}
