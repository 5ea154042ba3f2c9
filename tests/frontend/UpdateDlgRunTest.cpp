// The export UpdateFiles end to end: the real dialog under offscreen Qt, the
// real FTP server, real files; boxes answered by the scripted box.
#include "UpdateDlgTestSupport.h"

#include "flows/RunFrame.h"
#include "flows/UpdateRunTestSupport.h"
#include "frontend/CUpdateDlg.h"
#include "korautoupdate.h"
#include "flows/UpdateRunTestServer.h"

#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>

#include <cstdlib>
#include <map>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;

namespace {

CUpdateDlg* activeUpdateDialog()
{
    return qobject_cast<CUpdateDlg*>(QApplication::activeModalWidget());
}

std::vector<std::string> logOf(const CUpdateDlg& dialog)
{
    std::vector<std::string> lines;
    for (int i = 0; i < dialog.logList()->count(); ++i)
        lines.push_back(dialog.logList()->item(i)->text().toStdString());
    return lines;
}

// Every file below a directory with its content.
std::map<std::string, std::string> snapshot(const fs::path& dir)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        files[fs::relative(entry.path(), dir).string()] =
            entry.is_regular_file() ? readFile(entry.path()) : std::string("<dir>");
    return files;
}

class UpdateDlgRunTest : public DialogTest {
protected:
    SampleProduct product;
    RunTestServer server{product.server.str()};
    ServerAccountOverride account{server.address(), server.user(), server.password()};
    ScriptedBox box;

    std::string programPath() const { return product.install / "Sampler.exe"; }
};

} // namespace

TEST_F(UpdateDlgRunTest, RunShowsTheLogAndAsksToStartTheProgram)
{
    box.answer(BoxAnswer::No);
    std::vector<std::string> shown;
    int barMaximum = -1, barValue = -1;
    bool okEnabled = false, abortEnabled = true;
    bool result = false;
    runInAppLoop([&] {
        onceTrue([&] { return box.count() == 1 && activeUpdateDialog(); }, [&] {
            CUpdateDlg* dialog = activeUpdateDialog();
            shown = logOf(*dialog);
            barMaximum = dialog->progressBar()->maximum();
            barValue = dialog->progressBar()->value();
            okEnabled = dialog->okButton()->isEnabled();
            abortEnabled = dialog->abortButton()->isEnabled();
            if (const char* shot = std::getenv("KAU_UPDATE_DLG_SCREENSHOT"))
                dialog->grab().save(QString::fromLocal8Bit(shot));
            dialog->okButton()->click();
        });
        result = UpdateFiles(SampleProduct::kKey, programPath().c_str(), false);
    });
    EXPECT_TRUE(result);
    EXPECT_EQ(shown, (std::vector<std::string>{
                         "... Preparing download from server!",
                         "... connect to the KORVANE server",
                         "... set path (Sampler)",
                         "... check remote revision file",
                         "... check local revision file",
                         "... compare new files",
                         "---- start transfer ----",
                         "  ok!    Sampler.exe",
                         "  ok!    sampler.chm",
                         "  ok!    Readme.txt",
                         "---- end transfer ----",
                         "... update local revision file",
                         "  ok!  updated local revision file",
                         "   ",
                         "  End of download procedure!! ",
                     }));
    EXPECT_EQ(barMaximum, 4);
    EXPECT_EQ(barValue, 0) << "timer 1000 empties the bar before the question";
    EXPECT_TRUE(okEnabled);
    EXPECT_FALSE(abortEnabled);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, EndQuestion("Sampler.exe"));
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"),
              revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                            "sampler.chm; 1.04.00", "Readme.txt; "}));
}

TEST_F(UpdateDlgRunTest, YesStartsTheNewProgramAndQuitsTheHost)
{
    // Release 2 of the program is a script that leaves a marker.
    const std::string marker = product.install / "started";
    product.server.write("Sampler/Sampler.exe", "#!/bin/sh\necho \"$@\" > '" + marker + ".tmp'; mv '"
                                                    + marker + ".tmp' '" + marker + "'\n");
    fs::permissions(programPath(), fs::perms::owner_all); // release 1 is a program
    box.answer(BoxAnswer::Yes);
    bool endedByQuit = false;
    runInAppLoop([&] { UpdateFiles(SampleProduct::kKey, programPath().c_str(), false); },
                 &endedByQuit);
    EXPECT_TRUE(endedByQuit);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_TRUE(waitForFile(marker)) << "the new program was not started";
}

TEST_F(UpdateDlgRunTest, ConnectionRefusedStillEndsWithTheQuestion)
{
    ServerAccountOverride nowhere("127.0.0.1:" + std::to_string(RunTestServer::unusedPort()));
    box.answer(BoxAnswer::Ok);
    box.answer(BoxAnswer::No);
    const auto before = snapshot(product.install.path());
    runInAppLoop([&] {
        onceTrue([&] { return box.count() == 2 && activeUpdateDialog(); }, [&] {
            EXPECT_EQ(logOf(*activeUpdateDialog()),
                      (std::vector<std::string>{"... Preparing download from server!",
                                                "... connect to the KORVANE server", "   ",
                                                "  End of download procedure!! "}));
            activeUpdateDialog()->okButton()->click();
        });
        UpdateFiles(SampleProduct::kKey, programPath().c_str(), false);
    });
    ASSERT_EQ(box.count(), 2u);
    EXPECT_EQ(box.shown()[0].text.rfind("Connection to the KORVANE server failed.", 0), 0u);
    EXPECT_EQ(box.shown()[1].text, EndQuestion("Sampler.exe"));
    EXPECT_EQ(snapshot(product.install.path()), before);
}

TEST_F(UpdateDlgRunTest, OkInTheFirstSecondTouchesNothing)
{
    const auto before = snapshot(product.install.path());
    runInAppLoop([&] {
        onceTrue([&] { return activeUpdateDialog() != nullptr; },
                 [&] { activeUpdateDialog()->okButton()->click(); });
        UpdateFiles(SampleProduct::kKey, programPath().c_str(), false);
    });
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(snapshot(product.install.path()), before);
}

TEST_F(UpdateDlgRunTest, AbortWhileTheServerStallsClosesAtOnce)
{
    server.stallDownload("sampler.chm");
    std::map<std::string, std::string> atClose;
    std::chrono::steady_clock::time_point closedAt;
    std::chrono::steady_clock::time_point returnedAt;
    bool hiddenAtOnce = false;
    runInAppLoop([&] {
        onceTrue([&] { return server.stalled() && activeUpdateDialog(); }, [&] {
            CUpdateDlg* dialog = activeUpdateDialog();
            closedAt = std::chrono::steady_clock::now();
            dialog->abortButton()->click();
            hiddenAtOnce = !dialog->isVisible();
            atClose = snapshot(product.install.path());
        });
        UpdateFiles(SampleProduct::kKey, programPath().c_str(), false);
        returnedAt = std::chrono::steady_clock::now();
    });
    EXPECT_TRUE(hiddenAtOnce);
    EXPECT_LT(returnedAt - closedAt, std::chrono::seconds(1));
    EXPECT_EQ(box.count(), 0u) << "no question after an abort";
    // After the close nothing was added or changed; only the partial download
    // of the file in transfer may have been cleared away.
    const auto after = snapshot(product.install.path());
    for (const auto& [name, content] : after) {
        const auto it = atClose.find(name);
        ASSERT_NE(it, atClose.end()) << name << " appeared after the close";
        EXPECT_EQ(it->second, content) << name << " changed after the close";
    }
    for (const auto& [name, content] : atClose) {
        if (!after.count(name)) {
            EXPECT_TRUE(name.find("sampler.chm") != std::string::npos && name != "upd_sampler.chm")
                << name << " vanished after the close";
        }
    }
    EXPECT_EQ(product.install.read("upd_sampler.chm"), "help release 1\n");
    EXPECT_FALSE(product.install.exists("Readme.txt"));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"),
              revisionFile({"Sampler.exe; 3.10.01", "Plugins\\Filter.dll; 2.00.07",
                            "sampler.chm; 1.03.00"}));
}
