#pragma once
// The reminder of one process: what the reminder flows share, apart from any
// window. It holds the product key, the install directory and program name,
// the FTP client of the update check and of the release notes, and the
// worker of the start-up schedule; it reads and writes the settings the
// setup dialog shows.
//
// Who fills what: the install directory and program name are fixed when the
// object is made (empty when the settings window was asked for first); the
// product key is set then and replaced by every request for the settings
// window. The worker reads the key when it runs, so a key changed during its
// one-second wait reaches it.
//
// The client has one user at a time: a check that finds it in use (the
// schedule's check, or the release notes while they are open) takes the road
// of a connection that failed.
//
// A Yes in the check's question leads to the release notes. The object does
// not show them itself: it calls the notes hook (from whichever thread ran
// the check, after the check has let the client go), and whoever owns the
// hook runs FetchReleaseNotes on its own thread a little later.
#include "reminder/StartSchedule.h"
#include "server/CFtpFileClient.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace kau {

// The three values of the settings window. A value that can't be read is 0.
struct ReminderSetup {
    std::uint32_t active = 0;   // 0: no reminder
    std::uint32_t check = 0;    // 0: at each start; 1: after the interval
    std::uint32_t interval = 0; // days

    // The interval as the window shows it ("%d": a signed number).
    static std::string IntervalText(std::uint32_t interval);
    // The number of an interval text as atoi reads it: empty or no digits give 0.
    static std::uint32_t IntervalOfText(const std::string& text);
};

class Reminder {
public:
    // What the release notes need to be shown: the fetched page and the
    // reminder's fields at that moment.
    struct Notes {
        std::string pagePath;   // installDir/LatestUpdate.html
        std::string productKey;
        std::string installDir; // the current directory when the reminder has none
        std::string exeName;
        std::string server;     // the client's server, for the title
    };
    using NotesHook = std::function<void()>;
    using ShowNotes = std::function<void(const Notes&)>;

    Reminder(std::string productKey, std::string installDir, std::string exeName,
             NotesHook armNotes = {},
             std::chrono::milliseconds startDelay = StartSchedule::kStartDelay);
    // Stops the schedule worker first (see StopSchedule).
    ~Reminder();
    Reminder(const Reminder&) = delete;
    Reminder& operator=(const Reminder&) = delete;

    std::string productKey() const;
    void setProductKey(std::string productKey);
    const std::string& installDir() const { return m_strInstallDir; }
    const std::string& exeName() const { return m_strExeName; }

    // The update check; false on every way out. Runs on the host's thread or
    // on the schedule worker. A Yes calls the notes hook once the client is
    // free again.
    bool CheckForUpdates(std::string productKey, std::string installDir, std::string exeName,
                         bool bQuietIfCurrent);

    // Decides from the settings of the product key whether a check is due
    // and, if so, starts the quiet check on the schedule worker one second
    // later. False only when the worker was needed and could not be started.
    bool RunStartSchedule();

    // Ends the schedule worker: its transfer is aborted, a worker that has not
    // begun its check ends at once, a running check is waited for (about five
    // seconds at most). True when no worker is left.
    bool StopSchedule();
    const StartSchedule& schedule() const { return m_schedule; }

    // What a Yes leads to: connects, enters the product's directory, fetches
    // "LatestUpdate.html" into the install directory (or the current one) and
    // calls show while the connection stands; disconnects afterwards. A
    // failed Connect has shown the client's box; everything else fails
    // without a word. True when the notes were shown.
    bool FetchReleaseNotes(const ShowNotes& show);

    // The settings of the current product key: read anew at each call; and
    // written as Active, Check, Interval in this order (LastUpdate stays).
    ReminderSetup ReadSetup() const;
    void WriteSetup(const ReminderSetup& setup) const;

    const CFtpFileClient& client() const { return m_ftpClient; }

private:
    CFtpFileClient m_ftpClient;
    mutable std::mutex m_keyLock; // the key is read by the worker
    std::string m_strProductKey;
    const std::string m_strInstallDir;
    const std::string m_strExeName;
    NotesHook m_armNotes;
    std::atomic_flag m_clientInUse; // set while a flow uses m_ftpClient
    StartSchedule m_schedule;
};

} // namespace kau
