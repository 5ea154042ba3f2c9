#include "GuiThreadCall.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kau {

struct GateState {
    bool closed = false; // guarded by state().mutex
};

namespace {

struct Request {
    bool done = false;      // answered or cancelled
    bool completed = false; // the work ran to its end
    std::shared_ptr<GateState> gate; // may be null
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

bool gateClosed(const std::shared_ptr<GateState>& gate)
{
    return gate && gate->closed;
}

} // namespace

GuiThreadCall::Gate::Gate() : m_state(std::make_shared<GateState>()) {}

void GuiThreadCall::Gate::close()
{
    State& s = state();
    std::lock_guard lock(s.mutex);
    m_state->closed = true;
    for (const auto& request : s.waiting)
        if (request->gate == m_state)
            request->done = true;
    s.answered.notify_all();
}

bool GuiThreadCall::Gate::closed() const
{
    std::lock_guard lock(state().mutex);
    return m_state->closed;
}

bool GuiThreadCall::runQueued(std::function<void()> work, std::shared_ptr<GateState> gate)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return false;
    State& s = state();
    if (QThread::currentThread() == app->thread()) {
        {
            std::lock_guard lock(s.mutex);
            if (gateClosed(gate))
                return false;
        }
        work();
        return true;
    }
    auto request = std::make_shared<Request>();
    request->gate = std::move(gate);
    {
        std::lock_guard lock(s.mutex);
        if (s.quitting || gateClosed(request->gate))
            return false;
        s.waiting.push_back(request);
    }
    QMetaObject::invokeMethod(
        app,
        [request, work = std::move(work)] {
            {
                // Closing a gate marks its waiting requests done, so this
                // also holds back work whose owner has gone.
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
