#pragma once
// The start-up schedule: at each start of the host it decides from the
// reminder settings whether a check for new software is due, and if so runs
// the check on one worker thread, one second later, so that the host's start
// never waits for the server.
//
// A check is due when Active is not 0 and either Check is 0 or the days since
// LastUpdate are at least Interval (a difference equal to the interval is
// due; a LastUpdate in the future is not due until the interval after it has
// passed). The first use of a product (Active can't be read) writes Active 1,
// Check 0, Interval 5 and LastUpdate now, in this order, and goes on as if
// Active were 1.
//
// The worker waits one second, takes the product key as it stands then (it
// may have changed during the wait), writes LastUpdate of that key the
// present moment, then calls the check once with the key and ends. ("%f" keeps six decimals, so the stored
// moment may lie up to about 43 ms ahead of the clock.) At most one worker runs: a RunStartSchedule
// while one runs starts nothing and returns true.
//
// Stopping. stop() (and the destructor) wakes the worker out of its one-second
// wait, so a worker that hasn't begun its check ends at once without writing
// or checking. A check that is already running is waited for up to
// kStopWait (5 s); if it is still running then, the thread is let go
// (detached) and stop() returns false. The worker itself then touches only
// state it owns, but the check callable must not outlive what it refers to:
// whoever binds it should make the check stop when asked (stopRequested()).
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <mutex>

namespace kau {

class StartSchedule {
public:
    static constexpr std::chrono::milliseconds kStartDelay{1000};
    static constexpr std::chrono::milliseconds kStopWait{5000};

    // startDelay: how long the worker waits before it renews LastUpdate and
    // checks (one second in the library; tests may shorten it).
    explicit StartSchedule(std::chrono::milliseconds startDelay = kStartDelay);
    // Stops the worker as stop() does.
    ~StartSchedule();
    StartSchedule(const StartSchedule&) = delete;
    StartSchedule& operator=(const StartSchedule&) = delete;

    // The product key as it stands at the moment of the call; called on the
    // caller's thread and, later, on the worker.
    using KeySource = std::function<std::string()>;
    using Check = std::function<void(const std::string& productKey)>;

    // Reads the settings of the key productKey gives now, writes the defaults
    // on first use, and starts the worker with check when a check is due.
    // Returns in a few milliseconds: it only reads (and at first use writes)
    // the store. Result: false only when the worker was needed and could not
    // be started; true says nothing on whether a check was begun.
    bool RunStartSchedule(KeySource productKey, Check check);
    // The same for a key that doesn't change.
    bool RunStartSchedule(const std::string& productKey, Check check);

    // True from the start of a worker until it has ended.
    bool isRunning() const;
    // Waits until no worker runs, at most for timeout; true when none runs.
    bool waitUntilIdle(std::chrono::milliseconds timeout) const;
    // True once stop() has been called for the current worker; a check may
    // look at it to end early.
    bool stopRequested() const;
    // Called on the worker's thread as its last step (also after a stop).
    void setOnFinished(std::function<void()> onFinished);

    // Interrupts the one-second wait and joins the worker; a check already
    // running is waited for up to kStopWait. True when no worker is left.
    bool stop();

    // The due rule on the values read (exposed for the setup dialog and tests).
    static bool IsCheckDue(std::uint32_t check, std::uint32_t intervalDays, double lastUpdateDays,
                           double nowDays);

private:
    struct Shared;

    // The worker: waits, renews LastUpdate, checks, and says it has ended.
    static void ScheduleThreadProc(std::shared_ptr<Shared> shared, KeySource productKey,
                                   Check check, std::chrono::milliseconds delay);

    std::chrono::milliseconds m_startDelay;
    std::shared_ptr<Shared> m_shared;
    std::mutex m_control;  // guards m_thread
    std::thread m_thread;
};

} // namespace kau
