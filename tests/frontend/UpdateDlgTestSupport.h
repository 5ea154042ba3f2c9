#pragma once
// Front-end test helpers: a Qt application, the host's event loop, acting on or waiting for a condition.
#include "frontend/CKorAutoUpdateApp.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"
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

// Waits on this thread until cond holds, at most 20 s; true if it did.
inline bool waitUntil(const std::function<bool()>& cond)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!cond() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return cond();
}

// A directory that is the current directory and the first of PATH while the object lives.
struct WorkDir : TempDir {
    const std::string oldPath = std::getenv("PATH");
    const std::filesystem::path oldCwd = std::filesystem::current_path();
    WorkDir() { ::setenv("PATH", (str() + ":" + oldPath).c_str(), 1); std::filesystem::current_path(path()); }
    ~WorkDir() { ::setenv("PATH", oldPath.c_str(), 1); std::filesystem::current_path(oldCwd); }
    void script(const std::string& name, const std::string& body) const
    {
        write(name, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(path() / name, std::filesystem::perms::owner_all);
    }
    // What a script wrote to name.tmp and then renamed to name.
    std::string readWhenThere(const std::string& name) const
    {
        return waitUntil([&] { return exists(name); }) ? read(name) : "";
    }
};

} // namespace kau::test
