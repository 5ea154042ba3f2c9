#pragma once
// Front-end test helpers: a Qt application, the host's event loop, acting on or waiting for a condition.
#include "frontend/CKorAutoUpdateApp.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <QApplication>
#include <QTimer>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace kau::test {

struct DialogTest : ::testing::Test {
    void SetUp() override
    {
        CKorAutoUpdateApp::ensureQtApplication();
        QApplication::setQuitOnLastWindowClosed(false); // only a quit request ends the loop
    }
};

// Runs body inside the host's event loop, as a host that has loaded the library does. The loop ends
// when body returns, or with endedByQuit, by a quit request within a bound (endedByQuit: whether it did).
inline void runInAppLoop(const std::function<void()>& body, bool* endedByQuit = nullptr)
{
    QTimer bound;
    bound.setSingleShot(true);
    QObject::connect(&bound, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
    QTimer::singleShot(0, qApp, [&] {
        body();
        if (endedByQuit)
            bound.start(10000);
        else
            QCoreApplication::exit(0);
    });
    const int code = QApplication::exec();
    if (endedByQuit)
        *endedByQuit = code == 0 && bound.isActive();
    bound.stop();
    QCoreApplication::processEvents(); // leftovers of this test must not reach the next one
    QCoreApplication::sendPostedEvents();
}

// Calls action on the GUI thread once cond holds. If it does not hold within limit, the test
// fails and every loop ends, so that nothing hangs.
inline void onceTrue(std::function<bool()> cond, std::function<void()> action,
                     std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    auto* timer = new QTimer(qApp);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    QObject::connect(timer, &QTimer::timeout, qApp, [timer, deadline, cond = std::move(cond), action = std::move(action)] {
        const bool reached = cond();
        if (!reached && std::chrono::steady_clock::now() <= deadline)
            return;
        timer->stop();
        timer->deleteLater();
        if (reached)
            return action();
        ADD_FAILURE() << "condition not reached in time";
        QCoreApplication::exit(1);
    });
    timer->start(2);
}

// Waits on this thread until cond holds, at most limit; true if it did.
inline bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!cond() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return cond();
}

} // namespace kau::test
