// The progress dialog through the export UpdateFiles: the real dialog under offscreen Qt, the real
// FTP server, real files, boxes answered by the scripted box.
#include "UpdateDlgTestSupport.h"
#include "flows/UpdateRunTestSupport.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/QuitHost.h"
#include "korautoupdate.h"
#include "support/FtpServer.h"
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Lines = std::vector<std::string>;

namespace {

CUpdateDlg* shownDialog() { return qobject_cast<CUpdateDlg*>(QApplication::activeModalWidget()); }

Lines logOf(const CUpdateDlg& dialog)
{
    Lines lines;
    for (int i = 0; i < dialog.logList()->count(); ++i)
        lines.push_back(dialog.logList()->item(i)->text().toStdString());
    return lines;
}

const std::string kEndQuestion = " End of software update!\n" + std::string(58, '-')
                                 + "\n\n Do you want to start the new released programm ?\n\n Press <yes> to start Sampler.exe\n";

struct UpdateDlgRunTest : DialogTest {
    SampleProduct product;
    FtpServer server{product.server.path()};
    ScriptedBox box;
    const std::string program = product.install / "Sampler.exe";
    const std::map<std::string, std::string> before = filesBelow(product.install.path());
    // Runs the export in the host's loop; action acts on its dialog once cond holds.
    void updateFiles(std::function<bool()> cond, std::function<void(CUpdateDlg&)> action, bool* endedByQuit = nullptr,
                     const std::string& path = {})
    {
        runInAppLoop([&] {
            onceTrue([&] { return shownDialog() && cond(); }, [&] { action(*shownDialog()); });
            UpdateFiles(SampleProduct::kKey, (path.empty() ? program : path).c_str(), false);
        }, endedByQuit);
    }
    bool stalled() const { return server.waitForStall(std::chrono::milliseconds(0)); }
};

} // namespace

TEST_F(UpdateDlgRunTest, RunShowsTheLogAsksTheEndQuestionAndNoKeepsTheDialog)
{
    updateFiles([&] { return box.count() == 1; }, [&](CUpdateDlg& dialog) {
        EXPECT_EQ(logOf(dialog), (Lines{"... Preparing download from server!", "... connect to the KORVANE server",
                                        "... set path (Sampler)", "... check remote revision file", "... check local revision file",
                                        "... compare new files", "---- start transfer ----", "  ok!    Sampler.exe",
                                        "  ok!    sampler.chm", "  ok!    Readme.txt", "---- end transfer ----",
                                        "... update local revision file", "  ok!  updated local revision file", "   ",
                                        "  End of download procedure!! "}));
        EXPECT_EQ(dialog.windowTitle().toStdString(), "  KORVANE  software updater");
        EXPECT_EQ(dialog.infoText()->text().toStdString(), "Check for new updated files \non <KORVANE> ftp-server. \nPlease wait while "
                                             "this programm loads the actual software on your computer ...");
        EXPECT_EQ(dialog.progressBar()->maximum(), 4);
        EXPECT_EQ(dialog.progressBar()->value(), 0) << "the end timer empties the bar before the question";
        EXPECT_TRUE(dialog.okButton()->isEnabled() && !dialog.abortButton()->isEnabled());
        EXPECT_TRUE(dialog.isVisible()) << "No (the box's careful answer) keeps the dialog until OK";
        dialog.okButton()->click();
    });
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, kEndQuestion);
    EXPECT_TRUE(box.shown()[0].buttons == BoxButtons::YesNo && box.shown()[0].icon == BoxIcon::Question);
}

TEST_F(UpdateDlgRunTest, YesStartsTheProgramAndQuitsTheHostAlsoWhenItCannotStart)
{
    // Release 2 of the program is a script that leaves a marker with the path it was started by.
    const std::string marker = product.install / "started";
    product.server.write("Sampler/Sampler.exe", "#!/bin/sh\necho \"$0\" > '" + marker + ".tmp'; mv '" + marker
                                                    + ".tmp' '" + marker + "'\n");
    fs::permissions(program, fs::perms::owner_all); // release 1 is a program; the new release keeps that
    for (const std::string& path : {program, product.install / "Missing.exe"}) {
        SCOPED_TRACE(path);
        box.answer(BoxAnswer::Yes);
        bool endedByQuit = false;
        runInAppLoop([&] { UpdateFiles(SampleProduct::kKey, path.c_str(), false); }, &endedByQuit);
        EXPECT_TRUE(endedByQuit);
    }
    EXPECT_EQ(box.count(), 2u);
    ASSERT_TRUE(waitUntil([&] { return fs::exists(marker); })) << "the new program was not started";
    EXPECT_EQ(readFile(marker), program + "\n");
}

TEST_F(UpdateDlgRunTest, ConnectionRefusedStillEndsWithTheQuestionButAOneLetterNameGetsNone)
{
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    for (const std::string& path : {program, product.install / "S"}) {
        box.answer(BoxAnswer::Ok); // the client's box; the end question gets No
        updateFiles([&] { return shownDialog()->logList()->count() == 4 && !shownDialog()->workerRunning()
                                 && !shownDialog()->endTimerActive(); },
                    [&](CUpdateDlg& dialog) {
                        EXPECT_EQ(logOf(dialog), (Lines{"... Preparing download from server!",
                                                        "... connect to the KORVANE server", "   ",
                                                        "  End of download procedure!! "}));
                        dialog.okButton()->click();
                    }, nullptr, path);
    }
    ASSERT_EQ(box.count(), 3u);
    EXPECT_TRUE(box.shown()[0].text.starts_with("Connection to the KORVANE server failed."));
    EXPECT_EQ(box.shown()[1].text, kEndQuestion);
    EXPECT_TRUE(box.shown()[2].text.starts_with("Connection to the KORVANE server failed."));
    EXPECT_EQ(filesBelow(product.install.path()), before);
}

TEST_F(UpdateDlgRunTest, OkOrAbortInTheFirstSecondEndsWithoutARun)
{
    for (auto button : {&CUpdateDlg::okButton, &CUpdateDlg::abortButton})
        updateFiles([] { return true; }, [&](CUpdateDlg& dialog) { (dialog.*button)()->click(); });
    EXPECT_TRUE(server.commands().empty()) << "no connection was made";
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(filesBelow(product.install.path()), before);
}

TEST_F(UpdateDlgRunTest, WhileTheServerStallsAbortClosesAtOnceAndAQuitFromAnotherThreadEndsTheLoop)
{
    server.stallDownloadOf("sampler.chm");
    std::map<std::string, std::string> atClose;
    std::chrono::steady_clock::time_point closedAt;
    updateFiles([&] { return stalled(); }, [&](CUpdateDlg& dialog) {
        dialog.accept();
        EXPECT_TRUE(dialog.isVisible() && !dialog.okButton()->isEnabled()) << "OK does not end a running dialog";
        closedAt = std::chrono::steady_clock::now();
        dialog.abortButton()->click();
        EXPECT_FALSE(dialog.isVisible()) << "the dialog closes at once";
        atClose = filesBelow(product.install.path());
    });
    EXPECT_LT(std::chrono::steady_clock::now() - closedAt, std::chrono::seconds(1)) << "the export returns at once";
    EXPECT_EQ(box.count(), 0u) << "no question after an abort";
    // After the close only a partial download of the file in transfer may have been cleared away.
    auto after = filesBelow(product.install.path());
    for (const auto& [name, content] : atClose)
        if (name.find("sampler.chm") != std::string::npos && name.find('/') == std::string::npos && name != "upd_sampler.chm")
            after.try_emplace(name, content);
    EXPECT_EQ(after, atClose);

    std::thread other;
    bool endedByQuit = false;
    updateFiles([&] { return stalled(); }, [&](CUpdateDlg&) { other = std::thread([] { QuitHost(); }); }, &endedByQuit);
    other.join();
    EXPECT_TRUE(endedByQuit);
}
