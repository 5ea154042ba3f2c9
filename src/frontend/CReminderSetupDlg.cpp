#include "CReminderSetupDlg.h"

#include "flows/ApplicationPath.h"
#include "flows/UpdateCheck.h"

#include <QThread>

namespace kau {

CReminderSetupDlg* g_pReminderDlg = nullptr;

namespace {
constexpr int kNotesTimerMs = 100;
}

CReminderSetupDlg::CReminderSetupDlg(QWidget* parent) : QDialog(parent)
{
    m_notesTimer.setInterval(kNotesTimerMs);
    connect(&m_notesTimer, &QTimer::timeout, this, &CReminderSetupDlg::OnTimer);
}

CReminderSetupDlg::~CReminderSetupDlg() = default;

bool CReminderSetupDlg::CheckForUpdates(std::string productKey, std::string installDir,
                                        std::string exeName, bool bQuietIfCurrent)
{
    UpdateCheck check(m_ftpClient, m_strInstallDir, [this] { armNotesTimer(); });
    check.run(std::move(productKey), std::move(installDir), std::move(exeName), bQuietIfCurrent);
    return false;
}

void CReminderSetupDlg::armNotesTimer()
{
    if (QThread::currentThread() == thread())
        m_notesTimer.start();
    else
        QMetaObject::invokeMethod(this, [this] { m_notesTimer.start(); }, Qt::QueuedConnection);
}

void CReminderSetupDlg::OnTimer()
{
    m_notesTimer.stop();
    // The release notes road starts here.
}

bool EnsureReminderDlg(std::string productKey, std::string applicationPath, bool check)
{
    if (!g_pReminderDlg) {
        g_pReminderDlg = new CReminderSetupDlg();
        g_pReminderDlg->m_strProductKey = productKey;
        const ApplicationPath path = ApplicationPath::reminder(applicationPath);
        g_pReminderDlg->m_strInstallDir = path.installDir;
        g_pReminderDlg->m_strExeName = path.exeName;
        g_pReminderDlg->hide();
    }
    if (!check)
        return true;
    return g_pReminderDlg->CheckForUpdates(std::move(productKey), g_pReminderDlg->m_strInstallDir,
                                           g_pReminderDlg->m_strExeName, false);
}

} // namespace kau
