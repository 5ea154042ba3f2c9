#pragma once
// The process-wide object of the reminder flows. Its window stays hidden until
// the user asks for the reminder settings; it owns the FTP client that the
// update check and the release notes fetch share, and the notes timer.
#include "server/CFtpFileClient.h"

#include <QDialog>
#include <QTimer>
#include <string>

namespace kau {

class CReminderSetupDlg : public QDialog {
    Q_OBJECT
public:
    explicit CReminderSetupDlg(QWidget* parent = nullptr);
    ~CReminderSetupDlg() override;

    // The update check; false on every way out.
    bool CheckForUpdates(std::string productKey, std::string installDir, std::string exeName,
                         bool bQuietIfCurrent);

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
};

// The one reminder object of the process; null until the first export needs it.
extern CReminderSetupDlg* g_pReminderDlg;

// Creates the reminder object once per process (storing productKey and the
// install directory and program name of applicationPath), then, if check is
// set, runs the update check for productKey. Returns true without a check.
bool EnsureReminderDlg(std::string productKey, std::string applicationPath, bool check);

} // namespace kau
