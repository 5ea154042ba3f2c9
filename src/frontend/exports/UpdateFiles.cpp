#include "korautoupdate.h"

#include "flows/ApplicationPath.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool UpdateFiles(const char* productKey, const char* applicationPath,
                                    bool allFiles)
{
    return kau::runExport("UpdateFiles", true, [&] {
        kau::CUpdateDlg::RunModal(false, kau::exportArgument(productKey),
                                  kau::ApplicationPath::plain(kau::exportArgument(applicationPath)),
                                  allFiles);
        return true;
    });
}
