// The progress dialog on its own: its layout, its states, the end question,
// the hand-off at a Yes, and closing while a worker runs. The worker here is
// a stand-in run (the dialog's restore slot); the update run against a real
// server is in UpdateDlgRunTest.cpp.
#include "UpdateDlgTestSupport.h"

#include "frontend/CUpdateDlg.h"
#include "frontend/QuitHost.h"
#include "flows/RunFrame.h"

#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>

#include <atomic>
#include <condition_variable>
#include <thread>

using namespace kau;
using namespace kau::test;

namespace {

class UpdateDlgTest : public DialogTest {};

} // namespace

TEST_F(UpdateDlgTest, LayoutFollowsTheTemplate)
{
    CUpdateDlg dialog;
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("  KORVANE  software updater"));
    EXPECT_EQ(dialog.infoText()->text().toStdString(),
              "Check for new updated files \non <KORVANE> ftp-server. \nPlease wait while this "
              "programm loads the actual software on your computer ...");
    EXPECT_EQ(dialog.infoText()->textFormat(), Qt::PlainText);
    EXPECT_EQ(dialog.okButton()->text(), QStringLiteral("OK"));
    EXPECT_TRUE(dialog.okButton()->isDefault());
    EXPECT_EQ(dialog.abortButton()->text(), QStringLiteral("abort and exit"));
    EXPECT_EQ(dialog.logList()->count(), 0);
    EXPECT_FALSE(dialog.logList()->isSortingEnabled());
    EXPECT_EQ(dialog.logList()->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_FALSE(dialog.progressBar()->isTextVisible());

    dialog.show();
    const QRect ok = dialog.okButton()->geometry();
    const QRect abort = dialog.abortButton()->geometry();
    const QRect text = dialog.infoText()->geometry();
    const QRect list = dialog.logList()->geometry();
    const QRect bar = dialog.progressBar()->geometry();
    EXPECT_LT(ok.bottom(), abort.top()) << "OK above abort";
    EXPECT_GT(ok.left(), text.right()) << "buttons right of the text";
    EXPECT_LT(text.bottom(), list.top());
    EXPECT_LT(abort.bottom(), list.top());
    EXPECT_LT(list.bottom(), bar.top()) << "bar below the log";
    EXPECT_GT(list.height(), 3 * text.height() / 2);
    dialog.hide();
}

TEST_F(UpdateDlgTest, OkInTheFirstSecondEndsWithoutARun)
{
    ScriptedBox box;
    std::atomic<bool> ran{false};
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_restoreBody = [&](CUpdateDlg&, std::stop_token) { ran = true; };
    dialog.m_strExeName = "Sampler";
    int result = -1;
    runInAppLoop([&] {
        atShown(dialog, [&] {
            EXPECT_TRUE(dialog.startTimerActive());
            dialog.okButton()->click();
        });
        result = dialog.DoModal();
    });
    EXPECT_EQ(result, QDialog::Accepted);
    EXPECT_FALSE(ran);
    EXPECT_FALSE(dialog.startTimerActive());
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(UpdateDlgTest, AbortInTheFirstSecondEndsWithoutARun)
{
    ScriptedBox box;
    std::atomic<bool> ran{false};
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_restoreBody = [&](CUpdateDlg&, std::stop_token) { ran = true; };
    int result = -1;
    runInAppLoop([&] {
        atShown(dialog, [&] { dialog.abortButton()->click(); });
        result = dialog.DoModal();
    });
    EXPECT_EQ(result, QDialog::Rejected);
    EXPECT_FALSE(ran);
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(UpdateDlgTest, RunningFinishingAndFinishedStates)
{
    ScriptedBox box;
    std::mutex mutex;
    std::condition_variable_any cv;
    bool release = false;
    bool sawRunningState = false;

    CUpdateDlg dialog;
    dialog.m_strExeName = "S"; // one character: no question at the end
    // Stand-in run: waits until the test lets it finish.
    dialog.m_bRestoreMode = true;
    dialog.m_restoreBody = [&](CUpdateDlg& dlg, std::stop_token stop) {
        dlg.AddLine("working");
        std::unique_lock lock(mutex);
        cv.wait(lock, stop, [&] { return release; });
    };
    runInAppLoop([&] {
        // Running: OK disabled, abort enabled; OK does nothing.
        onceTrue([&] { return dialog.logList()->count() == 2; }, [&] {
            sawRunningState = !dialog.okButton()->isEnabled() && dialog.abortButton()->isEnabled()
                              && dialog.workerRunning();
            dialog.accept();
            EXPECT_TRUE(dialog.isVisible()) << "OK must not end a running dialog";
            {
                std::lock_guard lock(mutex);
                release = true;
            }
            cv.notify_all();
            // Finished (no question for a one-letter name): OK enabled; restore
            // mode leaves abort enabled; the bar is empty again.
            onceTrue(
                [&] {
                    return !dialog.workerRunning() && !dialog.endTimerActive()
                           && dialog.okButton()->isEnabled();
                },
                [&] {
                    EXPECT_TRUE(dialog.abortButton()->isEnabled());
                    EXPECT_EQ(dialog.progressBar()->value(), dialog.progressBar()->minimum());
                    dialog.okButton()->click();
                });
        });
        dialog.DoModal();
    });
    EXPECT_TRUE(sawRunningState);
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(dialog.logList()->item(0)->text(), QStringLiteral("... Preparing restore from directory!"));
}

TEST_F(UpdateDlgTest, RestoreModeTexts)
{
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_strSource = "201406021405";
    dialog.m_restoreBody = [](CUpdateDlg&, std::stop_token) {};
    runInAppLoop([&] {
        atShown(dialog, [&] { dialog.reject(); });
        dialog.DoModal();
    });
    EXPECT_EQ(dialog.infoText()->text().toStdString(),
              "Restore older revision of software\n >> 201406021405 !!\nPlease wait while this "
              "programm loads the older software back...");
    ASSERT_EQ(dialog.logList()->count(), 1);
    EXPECT_EQ(dialog.logList()->item(0)->text(), QStringLiteral("... Preparing restore from directory!"));
}

TEST_F(UpdateDlgTest, EndQuestionTextAndNoLeavesTheDialogOpen)
{
    EXPECT_EQ(EndQuestion("Sampler"),
              " End of software update!\n"
              "----------------------------------------------------------\n"
              "\n"
              " Do you want to start the new released programm ?\n"
              "\n"
              " Press <yes> to start Sampler\n");

    ScriptedBox box;
    box.answer(BoxAnswer::No);
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_strExeName = "Sampler";
    dialog.m_restoreBody = [](CUpdateDlg&, std::stop_token) {};
    runInAppLoop([&] {
        onceTrue([&] { return box.count() == 1 && !dialog.endTimerActive(); },
                 [&] {
                     EXPECT_TRUE(dialog.isVisible()) << "No keeps the dialog";
                     dialog.okButton()->click();
                 });
        dialog.DoModal();
    });
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, EndQuestion("Sampler"));
    EXPECT_EQ(box.shown()[0].buttons, BoxButtons::YesNo);
    EXPECT_EQ(box.shown()[0].icon, BoxIcon::Question);
}

TEST_F(UpdateDlgTest, YesStartsTheProgramEndsTheDialogAndQuitsTheHost)
{
    TempDir dir;
    const std::string marker = dir / "started";
    writeExecutable(dir / "Sampler", "#!/bin/sh\necho \"$0\" > '" + marker + ".tmp'; mv '" + marker
                                         + ".tmp' '" + marker + "'\n");
    ScriptedBox box;
    box.answer(BoxAnswer::Yes);
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_strInstallDir = dir.str();
    dialog.m_strExeName = "Sampler";
    dialog.m_restoreBody = [](CUpdateDlg&, std::stop_token) {};
    int result = -1;
    bool loopEndedByQuit = false;
    runInAppLoop(
        [&] {
            result = dialog.DoModal();
            // The host's loop ends by the quit request, not by this test.
        },
        &loopEndedByQuit);
    EXPECT_EQ(result, QDialog::Accepted);
    EXPECT_TRUE(loopEndedByQuit);
    EXPECT_TRUE(waitForFile(marker)) << "the program was not started";
    EXPECT_EQ(readFile(marker), dir / "Sampler" + "\n");
}

TEST_F(UpdateDlgTest, YesQuitsAlsoWhenTheProgramCannotBeStarted)
{
    TempDir dir;
    ScriptedBox box;
    box.answer(BoxAnswer::Yes);
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_strInstallDir = dir.str();
    dialog.m_strExeName = "Missing";
    dialog.m_restoreBody = [](CUpdateDlg&, std::stop_token) {};
    int result = -1;
    bool loopEndedByQuit = false;
    runInAppLoop([&] { result = dialog.DoModal(); }, &loopEndedByQuit);
    EXPECT_EQ(result, QDialog::Accepted);
    EXPECT_TRUE(loopEndedByQuit);
}

TEST_F(UpdateDlgTest, AbortWhileTheWorkerIsBusyClosesAtOnceAndStopsIt)
{
    std::atomic<bool> stopSeen{false};
    std::atomic<int> linesAfterStop{0};
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_strExeName = "Sampler";
    // A worker that keeps writing to the log until it is told to stop, and
    // then tries once more: that call must return without touching anything.
    dialog.m_restoreBody = [&](CUpdateDlg& dlg, std::stop_token stop) {
        while (!stop.stop_requested())
            dlg.AddLine("busy");
        stopSeen = true;
        dlg.AddLine("after the stop");
        dlg.SetPosition(50);
        ++linesAfterStop;
    };
    int result = -1;
    std::chrono::steady_clock::duration closeTook{};
    runInAppLoop([&] {
        onceTrue([&] { return dialog.logList()->count() > 20; },
                 [&] {
                     const auto t0 = std::chrono::steady_clock::now();
                     dialog.abortButton()->click();
                     EXPECT_FALSE(dialog.isVisible()) << "the dialog closes at once";
                     closeTook = std::chrono::steady_clock::now() - t0;
                 });
        result = dialog.DoModal();
    });
    EXPECT_EQ(result, QDialog::Rejected);
    EXPECT_TRUE(stopSeen);
    EXPECT_EQ(linesAfterStop, 1);
    EXPECT_LT(closeTook, std::chrono::milliseconds(200));
    for (int i = 0; i < dialog.logList()->count(); ++i)
        EXPECT_NE(dialog.logList()->item(i)->text(), QStringLiteral("after the stop"));
    EXPECT_FALSE(dialog.endTimerActive());
}

TEST_F(UpdateDlgTest, QuitRequestFromAnotherThreadEndsTheModalDialogAndTheLoop)
{
    std::atomic<bool> stopSeen{false};
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = true;
    dialog.m_restoreBody = [&](CUpdateDlg& dlg, std::stop_token stop) {
        dlg.AddLine("running");
        std::mutex m;
        std::condition_variable_any cv;
        std::unique_lock lock(m);
        cv.wait(lock, stop, [] { return false; });
        stopSeen = true;
    };
    std::thread other;
    bool loopEndedByQuit = false;
    runInAppLoop(
        [&] {
            onceTrue([&] { return dialog.logList()->count() == 2; },
                     [&] { other = std::thread([] { QuitHost(); }); });
            dialog.DoModal();
        },
        &loopEndedByQuit);
    other.join();
    EXPECT_TRUE(loopEndedByQuit);
    EXPECT_TRUE(stopSeen) << "the worker is stopped when the dialog ends";
}
