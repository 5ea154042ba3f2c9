#include "korautoupdate.h"

#include "frontend/CReminderSetupDlg.h"
#include "frontend/ExportFrame.h"
#include "frontend/ReminderHost.h"

extern "C" KAU_API bool UpdateSetupScheduler(const char* productKey)
{
    return kau::runExport("UpdateSetupScheduler", true, [&] {
        std::string key = kau::exportArgument(productKey);
        if (!kau::g_pReminder)
            kau::g_pReminder = new kau::ReminderHost(key, {}, {});
        kau::g_pReminder->reminder().setProductKey(std::move(key));
        kau::CReminderSetupDlg& window = kau::g_pReminder->window();
        window.show();
        window.raise();
        window.activateWindow();
        return true;
    });
}
