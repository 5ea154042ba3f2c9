#pragma once
// Front-end test helpers: a Qt application, the host's event loop, acting on or waiting for a condition.
#include "frontend/CKorAutoUpdateApp.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"
#include "support/WorkDir.h"
#include <QtWidgets>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace kau::test {

// Runs body inside the host's event loop, as a host that has loaded the library does. The loop ends when
// body returns or, untilQuit, at a quit request (not at a closed window); true if it ended so (within a bound).
inline bool runInAppLoop(const std::function<void()>& body, bool untilQuit = false)
{
    CKorAutoUpdateApp::ensureQtApplication();
    QApplication::setQuitOnLastWindowClosed(false);
    QTimer bound;
    bound.setSingleShot(true);
    QObject::connect(&bound, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
    QTimer::singleShot(0, qApp, [&] { body(); untilQuit ? bound.start(10000) : QCoreApplication::exit(0); });
    const bool ended = QApplication::exec() == 0;
    bound.stop();
    QCoreApplication::processEvents(); // leftovers of this test must not reach the next one
    QCoreApplication::sendPostedEvents();
    return ended;
}

// Calls action on the GUI thread once cond holds; if it does not within 20 s, the test fails and every loop ends.
inline void onceTrue(std::function<bool()> cond, std::function<void()> action)
{
    auto* timer = new QTimer(qApp);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    QObject::connect(timer, &QTimer::timeout, qApp, [=] {
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

template <class W> W* modal() { return qobject_cast<W*>(QApplication::activeModalWidget()); }
// Calls action with the modal widget of type W once it is shown and cond holds for it.
template <class W> void atModal(std::function<void(W&)> action, std::function<bool(W&)> cond = [](W&) { return true; })
{
    onceTrue([=] { return modal<W>() && cond(*modal<W>()); }, [=] { action(*modal<W>()); });
}

} // namespace kau::test
