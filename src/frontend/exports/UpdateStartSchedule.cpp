#include "korautoupdate.h"

#include "frontend/ReminderHost.h"
#include "frontend/ExportFrame.h"

extern "C" KAU_API bool UpdateStartSchedule(const char* productKey, const char* applicationPath)
{
    return kau::runExport("UpdateStartSchedule", false, [&] {
        kau::EnsureReminderDlg(kau::exportArgument(productKey),
                               kau::exportArgument(applicationPath), false);
        return kau::g_pReminder->reminder().RunStartSchedule();
    });
}
