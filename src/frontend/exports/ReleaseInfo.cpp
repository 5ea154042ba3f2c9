#include "korautoupdate.h"

#include "frontend/ExportFrame.h"
#include "notes/CReleaseNotesDlg.h"

extern "C" KAU_API bool ReleaseInfo(const char* pagePath)
{
    return kau::runExport("ReleaseInfo", true, [&] {
        kau::CReleaseNotesDlg dialog;
        dialog.m_strPage = kau::exportArgument(pagePath);
        dialog.DoModal();
        return true;
    });
}
