#include "korautoupdate.h"

#include "frontend/ReminderHost.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool UpdateInfo(const char* productKey, const char* applicationPath)
{
    return kau::runExport("UpdateInfo", false, [&] {
        return kau::EnsureReminderDlg(kau::exportArgument(productKey),
                                      kau::exportArgument(applicationPath), true);
    });
}
