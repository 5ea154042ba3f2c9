#include "CReminderSetupDlg.h"

#include "QtBox.h"
#include "flows/ApplicationPath.h"
#include "flows/UpdateCheck.h"

#include <QCoreApplication>
#include <QThread>

namespace kau {

CReminderSetupDlg* g_pReminderDlg = nullptr;

namespace {

constexpr int kNotesTimerMs = 100;

// Holds the client for one flow, unless another flow has it already.
class ClientUse {
public:
    explicit ClientUse(std::atomic_flag& flag) : m_flag(flag), m_mine(!flag.test_and_set()) {}
    ~ClientUse()
    {
        if (m_mine)
            m_flag.clear();
    }
    ClientUse(const ClientUse&) = delete;
    ClientUse& operator=(const ClientUse&) = delete;
    bool mine() const { return m_mine; }

private:
    std::atomic_flag& m_flag;
    bool m_mine;
};

// When the library goes (unload or process end) no schedule worker may be
// left running in its code.
struct ScheduleStopAtUnload {
    ~ScheduleStopAtUnload()
    {
        if (g_pReminderDlg) {
            QtBox::cancelAll();
            g_pReminderDlg->StopSchedule();
        }
    }
} g_scheduleStopAtUnload;

} // namespace

CReminderSetupDlg::CReminderSetupDlg(QWidget* parent) : QDialog(parent)
{
    m_notesTimer.setInterval(kNotesTimerMs);
    connect(&m_notesTimer, &QTimer::timeout, this, &CReminderSetupDlg::OnTimer);
    if (QCoreApplication* app = QCoreApplication::instance())
        connect(app, &QCoreApplication::aboutToQuit, this, [this] { StopSchedule(); });
}

CReminderSetupDlg::~CReminderSetupDlg()
{
    StopSchedule();
}

bool CReminderSetupDlg::CheckForUpdates(std::string productKey, std::string installDir,
                                        std::string exeName, bool bQuietIfCurrent)
{
    ClientUse use(m_clientInUse);
    UpdateCheck check(m_ftpClient, m_strInstallDir, [this] { armNotesTimer(); });
    check.setClientBusy(!use.mine());
    check.run(std::move(productKey), std::move(installDir), std::move(exeName), bQuietIfCurrent);
    return false;
}

bool CReminderSetupDlg::RunStartSchedule()
{
    // The worker gets its own copies: the fields may change while it waits.
    return m_schedule.RunStartSchedule(
        m_strProductKey,
        [this, key = m_strProductKey, dir = m_strInstallDir, exe = m_strExeName] {
            CheckForUpdates(key, dir, exe, true);
        });
}

bool CReminderSetupDlg::StopSchedule()
{
    if (!m_schedule.isRunning())
        return true;
    m_ftpClient.Abort();
    const bool stopped = m_schedule.stop();
    if (stopped) {
        // The abort holds until the next Disconnect; later flows start clean.
        ClientUse use(m_clientInUse);
        if (use.mine())
            m_ftpClient.Disconnect();
    }
    return stopped;
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
