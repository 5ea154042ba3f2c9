// Calls from a worker to the GUI thread under a gate: served while open, released when closed.
#include "UpdateDlgTestSupport.h"
#include "frontend/GuiThreadCall.h"

#include <QCoreApplication>

#include <atomic>
#include <future>

using namespace kau;
using namespace kau::test;

namespace {

// Serves the GUI thread's events until cond holds (bounded).
bool serveUntil(const std::function<bool()>& cond)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!cond() && std::chrono::steady_clock::now() < deadline)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return cond();
}

} // namespace

TEST(GuiThreadCallGate, OpenGateServesClosedGateReleasesItsWaitersAndHoldsBackTheirWork)
{
    CKorAutoUpdateApp::ensureQtApplication();
    GuiThreadCall::Gate gate, other;
    std::atomic<int> ran{0};
    const auto work = [&ran] { ++ran; };

    // Open: the worker waits until the GUI thread has run the work.
    auto served = std::async(std::launch::async, [&] { return GuiThreadCall::runUnder(gate, work); });
    ASSERT_TRUE(serveUntil([&] { return served.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_TRUE(served.get());
    EXPECT_EQ(ran, 1);

    // Two workers wait while the GUI thread is busy; closing one gate releases only its own.
    auto released = std::async(std::launch::async, [&] { return GuiThreadCall::runUnder(gate, work); });
    auto kept = std::async(std::launch::async, [&] { return GuiThreadCall::runUnder(other, work); });
    ASSERT_TRUE(waitUntil([] { return GuiThreadCall::waiting() == 2; }));
    gate.close();
    EXPECT_TRUE(gate.closed() && !other.closed());
    ASSERT_EQ(released.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_FALSE(released.get());
    EXPECT_EQ(kept.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    // The released call's work, already queued, never runs; the other one does.
    ASSERT_TRUE(serveUntil([&] { return kept.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_TRUE(kept.get());
    QCoreApplication::processEvents();
    EXPECT_EQ(ran, 2);

    // After the close: at once and without running, from a worker and on the GUI thread itself.
    EXPECT_FALSE(std::async(std::launch::async, [&] { return GuiThreadCall::runUnder(gate, work); }).get());
    EXPECT_FALSE(GuiThreadCall::runUnder(gate, work));
    EXPECT_TRUE(GuiThreadCall::runUnder(other, work));
    EXPECT_EQ(ran, 3);
}
