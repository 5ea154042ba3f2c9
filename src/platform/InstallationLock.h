#pragma once
// One run at a time on an installation: an exclusive flock(2) on a hidden
// file in the install directory. The kernel drops the lock with the last
// descriptor of its open file, so a killed process never leaves it held, and
// the file is opened close-on-exec, so a program a run starts never inherits
// it. Two objects in one process exclude each other like two processes do.
//
// The holder removes the file while it still holds the lock. A waiter that
// then gets the lock on the removed file sees that the name no longer leads
// to it and tries again on a fresh file, so no file is left behind by a run
// that ends normally, and two holders never meet.
#include <chrono>
#include <stop_token>
#include <string>

namespace kau {

// How long a run waits for another run on the same installation to end.
inline constexpr std::chrono::seconds kInstallationLockWait{5};

class InstallationLock {
public:
    enum class State {
        Free,        // not asked for yet, or given back
        Held,        // this object holds the installation
        Busy,        // another holder kept it for the whole wait
        Stopped,     // a stop request ended the wait
        Unavailable, // the lock file can't be made or locked; error() says why
    };

    explicit InstallationLock(const std::string& installDir);
    ~InstallationLock();
    InstallationLock(const InstallationLock&) = delete;
    InstallationLock& operator=(const InstallationLock&) = delete;

    // Takes the lock, waiting at most `wait` while someone else holds it; a
    // stop request ends the wait at once. Returns the state it ends in.
    State Acquire(std::chrono::milliseconds wait, std::stop_token stop = {});
    // Removes the lock file and gives the lock back. Nothing if not held.
    void Release();

    State state() const { return m_state; }
    bool held() const { return m_state == State::Held; }
    const std::string& path() const { return m_path; }
    // Why the lock is Unavailable: the call that failed and the system's reason.
    const std::string& error() const { return m_error; }

private:
    enum class Attempt { Taken, InUse, Moved, Failed };
    Attempt tryOnce();

    std::string m_path;
    std::string m_error;
    State m_state = State::Free;
    int m_fd = -1;
};

} // namespace kau
