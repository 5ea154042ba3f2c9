#pragma once
// The reminder of the process as the host's thread keeps it: the plain
// Reminder, the notes timer (100 ms) that a Yes in the check arms from any
// thread, and the settings window, made when it is first asked for.
//
// The first export that needs it makes it, on the host's thread, and it is
// never deleted: it lives until the process ends. When the application
// quits, or the library goes, the schedule worker is stopped.
#include "reminder/Reminder.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <string>

namespace kau {

class CReminderSetupDlg;

class ReminderHost : public QObject {
    Q_OBJECT
public:
    ReminderHost(std::string productKey, std::string installDir, std::string exeName);
    ~ReminderHost() override;

    Reminder& reminder() { return m_reminder; }
    // The settings window, made hidden when first asked for.
    CReminderSetupDlg& window();
    CReminderSetupDlg* existingWindow() const { return m_pWindow.get(); }
    bool notesTimerActive() const { return m_notesTimer.isActive(); }

private:
    void armNotesTimer();
    void OnTimer();

    QTimer m_notesTimer;
    Reminder m_reminder; // after the timer, so its worker has ended before the timer goes
    std::unique_ptr<CReminderSetupDlg> m_pWindow;
};

// The one reminder of the process; null until the first export needs it.
extern ReminderHost* g_pReminder;

// Makes the reminder once per process (storing productKey and the install
// directory and program name of applicationPath), then, if check is set,
// runs the update check for productKey. Returns true without a check.
bool EnsureReminderDlg(std::string productKey, std::string applicationPath, bool check);

} // namespace kau
