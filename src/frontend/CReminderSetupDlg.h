#pragma once
// The process-wide object of the reminder flows. Its window stays hidden until
// the user asks for the reminder settings; it owns the FTP client that the
// update check and the release notes fetch share, the notes timer, and the
// worker of the start-up schedule.
#include "reminder/StartSchedule.h"
#include "server/CFtpFileClient.h"

#include <QDialog>
#include <QTimer>
#include <atomic>
#include <string>

namespace kau {

class CReminderSetupDlg : public QDialog {
    Q_OBJECT
public:
    explicit CReminderSetupDlg(QWidget* parent = nullptr);
    ~CReminderSetupDlg() override;

    // The update check; false on every way out. Runs on the host's thread or
    // on the schedule worker. While another flow uses the client, the check
    // takes the road of a connection that failed.
    bool CheckForUpdates(std::string productKey, std::string installDir, std::string exeName,
                         bool bQuietIfCurrent);

    // Decides from the reminder settings of m_strProductKey whether a check is
    // due and, if so, starts the quiet check on the schedule worker one second
    // later. False only when the worker was needed and could not be started.
    bool RunStartSchedule();

    // Ends the schedule worker: its transfer is aborted, a worker that has not
    // begun its check ends at once, a running check is waited for (about five
    // seconds at most). Called when the application quits and when the
    // library is unloaded. True when no worker is left.
    bool StopSchedule();
    const StartSchedule& schedule() const { return m_schedule; }

    // Arms the notes timer (100 ms); callable from any thread.
    void armNotesTimer();
    bool notesTimerActive() const { return m_notesTimer.isActive(); }

    std::string m_strProductKey;
    std::string m_strInstallDir;
    std::string m_strExeName;
    CFtpFileClient m_ftpClient;

private:
    void OnTimer();

    QTimer m_notesTimer;
    std::atomic_flag m_clientInUse; // set while a flow uses m_ftpClient
    StartSchedule m_schedule;
};

// The one reminder object of the process; null until the first export needs it.
extern CReminderSetupDlg* g_pReminderDlg;

// Creates the reminder object once per process (storing productKey and the
// install directory and program name of applicationPath), then, if check is
// set, runs the update check for productKey. Returns true without a check.
bool EnsureReminderDlg(std::string productKey, std::string applicationPath, bool check);

} // namespace kau
