#pragma once
// Helpers for the tests of the progress dialog: a Qt application, the host's
// event loop, and acting on a dialog once a condition holds (with a bound).
#include "frontend/CKorAutoUpdateApp.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <QWidget>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <unistd.h>

namespace kau::test {

class DialogTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        CKorAutoUpdateApp::ensureQtApplication();
        // Only a quit request may end the loop, not the last dialog closing.
        QApplication::setQuitOnLastWindowClosed(false);
    }
};

// Runs body inside the host's event loop, as a host that has loaded the
// library does. Without quitExpected the loop ends when body returns. With
// it, the loop must be ended by a quit request within a bound; endedByQuit
// tells whether it was.
inline void runInAppLoop(const std::function<void()>& body, bool* endedByQuit = nullptr)
{
    const bool quitExpected = endedByQuit != nullptr;
    bool timedOut = false;
    QTimer bound;
    bound.setSingleShot(true);
    QObject::connect(&bound, &QTimer::timeout, qApp, [&] {
        timedOut = true;
        QCoreApplication::exit(1);
    });
    QTimer::singleShot(0, qApp, [&] {
        body();
        if (quitExpected)
            bound.start(10000);
        else
            QCoreApplication::exit(0);
    });
    QApplication::exec();
    bound.stop();
    if (endedByQuit)
        *endedByQuit = !timedOut;
    // Leftovers of this test must not reach the next one.
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
}

// Calls action on the GUI thread once cond holds. If it does not hold within
// limit, the test fails and every loop ends, so that nothing hangs.
inline void onceTrue(std::function<bool()> cond, std::function<void()> action,
                     std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    auto* timer = new QTimer(qApp);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    timer->setInterval(2);
    QObject::connect(timer, &QTimer::timeout, qApp,
                     [timer, deadline, cond = std::move(cond), action = std::move(action)] {
                         if (cond()) {
                             timer->stop();
                             timer->deleteLater();
                             action();
                         } else if (std::chrono::steady_clock::now() > deadline) {
                             timer->stop();
                             timer->deleteLater();
                             ADD_FAILURE() << "condition not reached in time";
                             QCoreApplication::exit(1);
                         }
                     });
    timer->start();
}

inline void atShown(QWidget& widget, std::function<void()> action)
{
    onceTrue([&widget] { return widget.isVisible(); }, std::move(action));
}

inline void writeExecutable(const std::string& path, const std::string& text)
{
    writeFile(path, text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

// Waits for a file that appears under its name only when complete.
inline bool waitForFile(const std::string& path,
                        std::chrono::milliseconds limit = std::chrono::seconds(10))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!std::filesystem::exists(path)) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        ::usleep(2000);
    }
    return true;
}

} // namespace kau::test
