#include "ReminderHost.h"

#include "CReminderSetupDlg.h"
#include "QtBox.h"
#include "FrontEndNotesHandOff.h"
#include "flows/ApplicationPath.h"
#include "notes/CReleaseNotesDlg.h"

#include <QCoreApplication>
#include <QThread>

namespace kau {

ReminderHost* g_pReminder = nullptr;

namespace {

constexpr int kNotesTimerMs = 100;

// When the library goes (unload or process end) no schedule worker may be
// left running in its code.
struct ScheduleStopAtUnload {
    ~ScheduleStopAtUnload()
    {
        if (g_pReminder) {
            QtBox::cancelAll();
            g_pReminder->reminder().StopSchedule();
        }
    }
} g_scheduleStopAtUnload;

} // namespace

ReminderHost::ReminderHost(std::string productKey, std::string installDir, std::string exeName)
    : m_reminder(std::move(productKey), std::move(installDir), std::move(exeName),
                 [this] { armNotesTimer(); })
{
    m_notesTimer.setInterval(kNotesTimerMs);
    connect(&m_notesTimer, &QTimer::timeout, this, &ReminderHost::OnTimer);
    if (QCoreApplication* app = QCoreApplication::instance())
        connect(app, &QCoreApplication::aboutToQuit, this, [this] { m_reminder.StopSchedule(); });
}

ReminderHost::~ReminderHost() = default;

CReminderSetupDlg& ReminderHost::window()
{
    if (!m_pWindow)
        m_pWindow = std::make_unique<CReminderSetupDlg>(m_reminder);
    return *m_pWindow;
}

void ReminderHost::armNotesTimer()
{
    if (QThread::currentThread() == thread())
        m_notesTimer.start();
    else
        QMetaObject::invokeMethod(this, [this] { m_notesTimer.start(); }, Qt::QueuedConnection);
}

void ReminderHost::OnTimer()
{
    m_notesTimer.stop(); // once for each Yes
    m_reminder.FetchReleaseNotes([](const Reminder::Notes& notes) {
        CReleaseNotesDlg dialog;
        dialog.m_strProductKey = notes.productKey;
        dialog.m_strInstallDir = notes.installDir;
        dialog.m_bInstallButtons = true;
        dialog.m_strPage = notes.pagePath;
        dialog.m_strExeName = notes.exeName;
        dialog.m_strTitle =
            " <<<  Last Software Updates on <" + notes.server + ">  (KORVANE AG Varnland)  >>>";
        dialog.m_handOff = FrontEndNotesHandOff();
        dialog.DoModal();
    });
}

bool EnsureReminderDlg(std::string productKey, std::string applicationPath, bool check)
{
    if (!g_pReminder) {
        const ApplicationPath path = ApplicationPath::reminder(applicationPath);
        g_pReminder = new ReminderHost(productKey, path.installDir, path.exeName);
    }
    if (!check)
        return true;
    Reminder& reminder = g_pReminder->reminder();
    return reminder.CheckForUpdates(std::move(productKey), reminder.installDir(),
                                    reminder.exeName(), false);
}

} // namespace kau
