#pragma once
// Turns Ctrl-C (SIGINT), SIGTERM and SIGHUP (the terminal closed) into a call
// on an ordinary thread, so that a run can be stopped cooperatively instead of
// being killed halfway.
#include <atomic>
#include <functional>
#include <thread>

#include <signal.h>

namespace kau::cli {

class InterruptWatcher {
public:
    // Blocks SIGINT, SIGTERM and SIGHUP in the calling thread (and so in every thread
    // it starts afterwards) and waits for them on a thread of its own, which
    // calls onInterrupt once, at the first of them. Construct it before any
    // other thread is started.
    explicit InterruptWatcher(std::function<void()> onInterrupt);
    ~InterruptWatcher(); // ends the watch and restores the signal mask
    InterruptWatcher(const InterruptWatcher&) = delete;
    InterruptWatcher& operator=(const InterruptWatcher&) = delete;

    bool interrupted() const { return m_interrupted.load(); }

private:
    void watch();

    std::function<void()> m_onInterrupt;
    std::atomic<bool> m_interrupted{false};
    std::atomic<bool> m_done{false};
    sigset_t m_previousMask;
    std::thread m_thread;
};

} // namespace kau::cli
