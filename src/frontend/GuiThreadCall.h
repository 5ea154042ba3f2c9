#pragma once
// Runs a piece of work on the GUI thread for another thread, which waits for
// it while the GUI thread's event loop goes on. Used for the boxes and file
// dialogs a worker asks for.
//
// When the application quits (or its object goes), every waiting thread is
// released at once without a result, and until the GUI thread handles events
// again a new call from another thread ends at once: a worker never waits on
// a GUI thread that is blocked waiting for the worker, or gone.
#include <functional>
#include <memory>
#include <optional>

namespace kau {

struct GateState;

class GuiThreadCall {
public:
    // The calls of one owner (a dialog and its worker), released together when
    // the owner goes: once closed, its waiting calls end without a result,
    // work of them that has not begun never runs, and new calls end at once.
    class Gate {
    public:
        Gate();
        // From any thread; for good.
        void close();
        bool closed() const;

    private:
        friend class GuiThreadCall;
        std::shared_ptr<GateState> m_state;
    };

    // Runs work on the GUI thread (directly when called there) and waits for
    // it; nothing when there is no application or the wait was cancelled.
    template <class T>
    static std::optional<T> run(std::function<T()> work)
    {
        auto result = std::make_shared<std::optional<T>>();
        if (!runQueued([result, work = std::move(work)] { *result = work(); }))
            return std::nullopt;
        return *result;
    }

    // Runs work on the GUI thread under gate and waits for it; true if it ran
    // to its end, false if the gate was (or got) closed first.
    static bool runUnder(const Gate& gate, std::function<void()> work)
    {
        return runQueued(std::move(work), gate.m_state);
    }

    // Releases every waiting thread without a result (see above).
    static void cancelAll();
    // Ties cancelAll to the end of the current application (once per application).
    static void tieToApplication();
    // How many threads wait for the GUI thread right now.
    static int waiting();

private:
    // True when work ran to its end for the caller.
    static bool runQueued(std::function<void()> work, std::shared_ptr<GateState> gate = {});
};

} // namespace kau
