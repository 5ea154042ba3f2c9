#include "InterruptWatcher.h"

#include <pthread.h>

namespace kau::cli {
namespace {

// SIGUSR2 only wakes the watcher when it is to end.
sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    sigaddset(&set, SIGUSR2);
    return set;
}

} // namespace

InterruptWatcher::InterruptWatcher(std::function<void()> onInterrupt)
    : m_onInterrupt(std::move(onInterrupt))
{
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, &m_previousMask);
    m_thread = std::thread([this] { watch(); });
}

InterruptWatcher::~InterruptWatcher()
{
    m_done = true;
    pthread_kill(m_thread.native_handle(), SIGUSR2);
    m_thread.join();
    // A Ctrl-C that came after the watch ended stays pending; let it go by
    // rather than kill the process on the way out.
    const sigset_t set = watchedSignals();
    const timespec none{0, 0};
    while (sigtimedwait(&set, nullptr, &none) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr);
}

void InterruptWatcher::watch()
{
    const sigset_t set = watchedSignals();
    while (!m_done) {
        int signal = 0;
        if (sigwait(&set, &signal) != 0)
            continue;
        if (signal == SIGUSR2 || m_done)
            continue;
        if (!m_interrupted.exchange(true) && m_onInterrupt)
            m_onInterrupt();
    }
}

} // namespace kau::cli
