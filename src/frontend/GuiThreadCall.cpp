#include "GuiThreadCall.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kau {
namespace {

struct Request {
    bool done = false;      // answered or cancelled
    bool completed = false; // the work ran to its end
};

// Never destroyed: the library's last static destructors still cancel.
struct State {
    std::mutex mutex;
    std::condition_variable answered;
    std::vector<std::shared_ptr<Request>> waiting;
    bool quitting = false; // until the GUI thread handles events again
};

State& state()
{
    static State* s = new State;
    return *s;
}

} // namespace

bool GuiThreadCall::runQueued(std::function<void()> work)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return false;
    if (QThread::currentThread() == app->thread()) {
        work();
        return true;
    }
    State& s = state();
    auto request = std::make_shared<Request>();
    {
        std::lock_guard lock(s.mutex);
        if (s.quitting)
            return false;
        s.waiting.push_back(request);
    }
    QMetaObject::invokeMethod(
        app,
        [request, work = std::move(work)] {
            {
                std::lock_guard lock(state().mutex);
                if (request->done)
                    return;
            }
            work();
            std::lock_guard lock(state().mutex);
            if (!request->done) {
                request->done = request->completed = true;
                state().answered.notify_all();
            }
        },
        Qt::QueuedConnection);
    std::unique_lock lock(s.mutex);
    s.answered.wait(lock, [&] { return request->done; });
    std::erase(s.waiting, request);
    return request->completed;
}

void GuiThreadCall::cancelAll()
{
    {
        State& s = state();
        std::lock_guard lock(s.mutex);
        for (const auto& request : s.waiting)
            request->done = true;
        s.quitting = true;
        s.answered.notify_all();
    }
    // Behind every call already queued: the GUI thread serves calls again.
    if (QCoreApplication* app = QCoreApplication::instance()) {
        QMetaObject::invokeMethod(
            app,
            [] {
                std::lock_guard lock(state().mutex);
                state().quitting = false;
            },
            Qt::QueuedConnection);
    }
}

void GuiThreadCall::tieToApplication()
{
    static QPointer<QCoreApplication> tiedTo;
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || tiedTo == app)
        return;
    tiedTo = app;
    {
        std::lock_guard lock(state().mutex);
        state().quitting = false;
    }
    QObject::connect(app, &QCoreApplication::aboutToQuit, &GuiThreadCall::cancelAll);
    QObject::connect(app, &QObject::destroyed, &GuiThreadCall::cancelAll);
}

int GuiThreadCall::waiting()
{
    std::lock_guard lock(state().mutex);
    return static_cast<int>(std::count_if(state().waiting.begin(), state().waiting.end(),
                                          [](const auto& request) { return !request->done; }));
}

} // namespace kau
