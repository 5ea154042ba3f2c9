// The exports end to end, each test as in a process that has just loaded the library: the sample product, the
// test FTP server, settings in a temporary XDG_CONFIG_HOME, the scripted box, real dialogs, the host's loop.
#include "UpdateDlgTestSupport.h"
#include "flows/UpdateRunTestSupport.h"
#include "frontend/CReminderSetupDlg.h"
#include "frontend/ReminderHost.h"
#include "frontend/CUpdateDlg.h"
#include "frontend/QuitHost.h"
#include "korautoupdate.h"
#include "notes/CReleaseNotesDlg.h"
#include "flows/RunFrame.h"
#include "platform/FixedNames.h"
#include "platform/InstallationLock.h"
#include "platform/Moment.h"
#include "support/FtpServer.h"
#include <QtWidgets>
#include <optional>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Lines = std::vector<std::string>;

namespace {

const std::string kDashes = "\n" + std::string(58, '-') + "\n\n";
const std::string kNewFiles = " There are some newer files on the server:\n\n";
const std::string kNoConnection = "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!";
const std::string kRefused = "Connection to the KORVANE server failed.";
const std::string kEndQuestion = " End of software update!" + kDashes
                                 + " Do you want to start the new released programm ?\n\n Press <yes> to start Sampler.exe\n";

std::string listed(const std::string& v, const std::string& name) { return "   " + v + "\t\t->> " + name + " \n"; }
Lines logOf(const CUpdateDlg& dialog)
{
    Lines lines;
    for (int i = 0; i < dialog.logList()->count(); ++i)
        lines.push_back(dialog.logList()->item(i)->text().toStdString());
    return lines;
}

struct ExportTest : ::testing::Test {
    ExportTest() { ::setenv("XDG_CONFIG_HOME", config.str().c_str(), 1); freshLibrary(); }
    ~ExportTest() override { EXPECT_TRUE(!g_pReminder || g_pReminder->reminder().StopSchedule()); freshLibrary(); }
    static void freshLibrary() { delete std::exchange(g_pReminder, nullptr); }
    void offer(const Lines& lines) const { product.server.write("Sampler/RelInfoRemote.rel", revisionFile(lines)); }
    bool updateInfo(const char* key = "Sampler") const { return UpdateInfo(key, program.c_str()); }
    bool start() const { return UpdateStartSchedule("Sampler", program.c_str()); }
    std::string storeText() const { return config.read("Korvane/AutoUpdate.conf"); }
    bool running() const { return g_pReminder->reminder().schedule().isRunning(); }
    // Boxes so far, what the last one says; one login per check, the client let go, the notes timer.
    void expectCheck(std::size_t boxes, const std::string& lastBoxHas, int logins, bool notesArmed) const
    {
        EXPECT_EQ(server.loginCount(), logins);
        EXPECT_FALSE(g_pReminder->reminder().client().isConnected());
        EXPECT_EQ(g_pReminder->notesTimerActive(), notesArmed);
        ASSERT_EQ(box->count(), boxes);
        EXPECT_NE(box->shown().back().text.find(lastBoxHas), std::string::npos) << box->shown().back().text;
    }
    // UpdateFiles in the host's loop; action acts on its dialog once cond holds. True if a quit ended the loop.
    bool updateFiles(std::function<bool(CUpdateDlg&)> cond, std::function<void(CUpdateDlg&)> action,
                     bool untilQuit = false, const std::string& path = {})
    {
        return runInAppLoop([&] {
            atModal<CUpdateDlg>(std::move(action), std::move(cond));
            UpdateFiles(SampleProduct::kKey, (path.empty() ? program : path).c_str(), false);
        }, untilQuit);
    }
    TempDir config;
    SampleProduct product;
    const TempDir& install = product.install;
    const std::string program = install / "Sampler.exe";
    FtpServer server{product.server.path()};
    std::optional<ScriptedBox> box{std::in_place};
};

} // namespace

TEST_F(ExportTest, UpdateInfoListsUpToTenNewFilesTheLatestVersionAsksTooAndOnlyYesArmsTheNotes)
{
    install.write("RelInfoLocal.rel", revisionFile({"Sampler.exe; 1.00.00", "old.dll; 2.00.05", "same.dll; 1.00.00"}));
    Lines lines = {"Sampler.exe; 1.00.01", "old.dll; 2.00.01", "same.dll; 1.00.00"};
    std::string tenListed = listed("1.00.01", "Sampler.exe");
    for (const std::string n : {"1", "2", "3", "4", "5", "6", "7", "8", "9"}) {
        lines.push_back("f" + n + ".dat; 1.00.0" + n);
        tenListed += listed("1.00.0" + n, "f" + n + ".dat");
    }
    offer(lines);
    box->answer(BoxAnswer::No);
    EXPECT_FALSE(updateInfo());
    expectCheck(1, kNewFiles + tenListed + kDashes, 1, false);
    EXPECT_TRUE(box->shown()[0].buttons == BoxButtons::YesNo && box->shown()[0].icon == BoxIcon::Question);
    EXPECT_EQ(install.read("RelInfoRemote.rel"), revisionFile(lines));
    EXPECT_FALSE(install.exists("f1.dat")) << "the check fetches the revision file only";

    offer({"Sampler.exe; 1.00.00", "same.dll; 1.00.00"});
    box->answer(BoxAnswer::Yes);
    EXPECT_FALSE(updateInfo());
    expectCheck(2, " Your programm is working with the latest version!\n\n" + kDashes, 2, true);

    lines.push_back("z.dat; 1.00.00"); // the eleventh is summarised
    offer(lines);
    EXPECT_FALSE(updateInfo());
    expectCheck(3, kNewFiles + tenListed + " ... and more ... \n" + kDashes, 3, true);
}

TEST_F(ExportTest, UpdateInfoOnAFailingServerGivesTheCheckBoxOrNothingAndSweepsStagedFilesEvenWithTheServerDown)
{
    server.refuseLogin(true);
    EXPECT_FALSE(updateInfo());
    expectCheck(2, kNoConnection, 1, false);
    const auto shown = box->shown(); // the client's box naming the server, then the check's
    EXPECT_TRUE(shown[0].text.starts_with(kRefused) && shown[0].text.ends_with("\n\nFTP Server: <" + server.address() + ">"))
        << shown[0].text;
    EXPECT_TRUE(shown[1].text == kNoConnection && shown[1].buttons == BoxButtons::Ok && shown[1].icon == BoxIcon::Question);
    EXPECT_FALSE(server.waitForCommand("CWD", {}));

    // No product directory, a refused one, no revision file: the check's box; a dropped download: nothing.
    server.refuseLogin(false);
    server.refuseCwd("Refused");
    product.server.write("Refused/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.02"}));
    product.server.write("Empty/LatestUpdate.html", "<html></html>");
    server.dropDownloadAfter(100);
    const auto before = filesBelow(install.path());
    int checks = 1;
    for (const char* key : {"Absent", "Refused", "Empty"}) { // each call checks its own key
        box->answer(BoxAnswer::Yes);
        EXPECT_FALSE(updateInfo(key));
        ++checks;
        expectCheck(checks + 1, kNoConnection, checks, false);
        EXPECT_FALSE(server.waitForCommand("RETR", {})) << key;
    }
    offer(Lines(200, "file.dat; 1.00.01"));
    EXPECT_FALSE(updateInfo());
    expectCheck(5, kNoConnection, 5, false); // a dropped download ends without a word
    EXPECT_TRUE(server.waitForCommand("RETR", {}));
    EXPECT_EQ(filesBelow(install.path()), before) << "no partial revision file is left";

    // Nobody listens; the account is read as the library makes its objects (the server object restores it).
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    freshLibrary();
    install.write("upd_Sampler.exe", "staged program");
    install.write("upd_kept/inside.txt", "a directory under a staged name stays");
    install.write("Plugins/upd_Filter.dll", "only the install directory itself is swept");
    install.write(".Sampler.exe.part-a1B2c3", "a download a killed run left unfinished");
    install.write("upd_Lost.dll", "left only under its staged name");
    install.write(".part-a1B2c3", "no name before the mark: not a part file");
    install.write(".Sampler.exe.part-a1B2c", "five characters after the mark: not a part file");
    EXPECT_FALSE(updateInfo());
    expectCheck(7, kNoConnection, 5, false);
    EXPECT_FALSE(install.exists("upd_Sampler.exe") || install.exists(".Sampler.exe.part-a1B2c3"));
    EXPECT_TRUE(install.read("Lost.dll") == "left only under its staged name" && !install.exists("upd_Lost.dll"));
    EXPECT_TRUE(install.exists("upd_kept/inside.txt") && install.exists("Plugins/upd_Filter.dll"));
    EXPECT_TRUE(install.exists(".part-a1B2c3") && install.exists(".Sampler.exe.part-a1B2c"));
}

TEST_F(ExportTest, FirstStartWritesTheDefaultsAndChecksQuietlyOneSecondLaterOnceOnly)
{
    install.write("upd_Sampler.exe", "left over");
    offer({"Sampler.exe; 3.10.01"});
    ASSERT_TRUE(start());
    // At once: the defaults are stored, the worker waits, the server has heard nothing.
    const std::string afterStart = storeText();
    EXPECT_TRUE(afterStart.starts_with("[Sampler]\nActive=1\nCheck=0\nInterval=5\nLastUpdate=")) << afterStart;
    EXPECT_TRUE(running() && server.loginCount() == 0);
    // Later calls while the worker runs: no second check, the first product stays.
    ASSERT_TRUE(start() && UpdateStartSchedule("Other", "/elsewhere/other.exe"));
    const Reminder& reminder = g_pReminder->reminder();
    EXPECT_EQ(reminder.productKey() + reminder.installDir() + "/" + reminder.exeName(), "Sampler" + program);
    ASSERT_TRUE(g_pReminder->reminder().schedule().waitUntilIdle(std::chrono::seconds(15)));
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_EQ(box->count(), 0u) << "a check that finds all current stays quiet";
    EXPECT_NE(storeText(), afterStart) << "the worker renews LastUpdate";
    EXPECT_FALSE(install.exists("upd_Sampler.exe")) << "the check sweeps staged leftovers";
}

TEST_F(ExportTest, StartWithNoCheckDueOrAStopBeforeTheWorkerBeginsTouchesNeitherServerNorStore)
{
    const struct { const char* values; double lastUpdate; bool due; } cases[] = {{"Active=0\nCheck=0", 1000.0, false},
        {"Active=1\nCheck=1", Moment::now().days() - 4.9, false}, {"Active=1\nCheck=0", 1000.0, true}};
    for (const auto& c : cases) {
        const std::string stored = std::string("[Sampler]\n") + c.values + "\nInterval=5\nLastUpdate="
                                   + Moment(c.lastUpdate).format() + "\n";
        config.write("Korvane/AutoUpdate.conf", stored);
        ASSERT_TRUE(start());
        EXPECT_EQ(running(), c.due) << c.values;
        EXPECT_TRUE(g_pReminder->reminder().StopSchedule() && !running());
        EXPECT_EQ(storeText(), stored);
    }
    EXPECT_TRUE(server.loginCount() == 0 && box->count() == 0);
}

TEST_F(ExportTest, StartAsksOnTheHostThreadWhileItsLoopKeepsRunningAndYesArmsTheNotes)
{
    box.reset(); // the real message box, clicked
    offer({"Sampler.exe; 3.20.00"});
    int ticks = 0; // of a host timer while the question stands
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ticks += modal<QMessageBox>() != nullptr; });
    EXPECT_TRUE(runInAppLoop([&] {
        ASSERT_TRUE(start());
        ticker.start(5);
        atModal<QMessageBox>([&](QMessageBox& question) {
            EXPECT_NE(question.text().toStdString().find("3.20.00\t\t->> Sampler.exe"), std::string::npos);
            EXPECT_TRUE(running()) << "only the worker waits for the answer";
            question.button(QMessageBox::Yes)->click();
        }, [&](QMessageBox&) { return ticks >= 10; });
        onceTrue([] { return g_pReminder->notesTimerActive(); }, [] { QCoreApplication::quit(); });
    }, true));
}

TEST_F(ExportTest, WhileTheStartCheckStallsUpdateInfoFailsAndAQuitEndsTheWorkerPromptly)
{
    offer({"Sampler.exe; 3.10.01"});
    server.stallDownloads(true);
    ASSERT_TRUE(start() && server.waitForStall(std::chrono::seconds(15)));
    EXPECT_FALSE(updateInfo()); // the scheduled check holds the client
    EXPECT_TRUE(box->count() == 1 && box->shown()[0].text == kNoConnection);
    const auto quitAt = std::chrono::steady_clock::now();
    EXPECT_TRUE(runInAppLoop([] { QCoreApplication::quit(); }, true));
    EXPECT_FALSE(running());
    EXPECT_LT(std::chrono::steady_clock::now() - quitAt, std::chrono::seconds(5));
    // Once the worker has let the client go, an explicit check works; with no local revision file all is new.
    server.stallDownloads(false);
    fs::remove(install / "RelInfoLocal.rel");
    EXPECT_FALSE(updateInfo());
    expectCheck(2, kNewFiles + listed("3.10.01", "Sampler.exe") + kDashes, 2, false);
}

TEST_F(ExportTest, UpdateFilesShowsTheLogAsksTheEndQuestionAndNoKeepsTheDialog)
{
    updateFiles([&](CUpdateDlg&) { return box->count() == 1; }, [&](CUpdateDlg& dialog) {
        Lines log = updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Readme.txt"}, true);
        log.insert(log.begin(), "... Preparing download from server!");
        EXPECT_EQ(logOf(dialog), log);
        EXPECT_EQ(dialog.windowTitle().toStdString(), "  KORVANE  software updater");
        EXPECT_EQ(dialog.infoText()->text().toStdString(), "Check for new updated files \non <KORVANE> ftp-server. \n"
                  "Please wait while this programm loads the actual software on your computer ...");
        EXPECT_EQ(std::pair(dialog.progressBar()->maximum(), dialog.progressBar()->value()), std::pair(4, 0))
            << "the end timer empties the bar before the question";
        EXPECT_TRUE(dialog.okButton()->isEnabled() && !dialog.abortButton()->isEnabled());
        EXPECT_TRUE(dialog.isVisible()) << "No (the box's careful answer) keeps the dialog until OK";
        dialog.okButton()->click();
    });
    ASSERT_EQ(box->count(), 1u);
    EXPECT_TRUE(box->shown()[0].text == kEndQuestion && box->shown()[0].buttons == BoxButtons::YesNo
                && box->shown()[0].icon == BoxIcon::Question) << box->shown()[0].text;
}

TEST_F(ExportTest, UpdateFilesYesStartsTheProgramAndQuitsTheHostAlsoWhenItCannotStart)
{
    // Release 2 of the program is a script that leaves a marker with the path it was started by.
    const std::string marker = install / "started";
    product.server.write("Sampler/Sampler.exe", "#!/bin/sh\necho \"$0\" > " + marker + ".tmp; mv " + marker + ".tmp " + marker);
    fs::permissions(program, fs::perms::owner_all); // release 1 is a program; the new release keeps that
    for (const std::string& path : {program, install / "Missing.exe"}) {
        box->answer(BoxAnswer::Yes);
        EXPECT_TRUE(runInAppLoop([&] { UpdateFiles(SampleProduct::kKey, path.c_str(), false); }, true)) << path;
    }
    EXPECT_EQ(box->count(), 2u);
    ASSERT_TRUE(waitUntil([&] { return fs::exists(marker); })) << "the new program was not started";
    EXPECT_EQ(readFile(marker), program + "\n");
}

TEST_F(ExportTest, UpdateFilesWithTheConnectionRefusedStillAsksTheEndQuestionButNotForAOneLetterName)
{
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    for (const std::string& path : {program, install / "S"}) { // the boxes get OK and No
        updateFiles([](CUpdateDlg& d) { return d.logList()->count() == 4 && !d.workerRunning() && !d.endTimerActive(); },
                    [](CUpdateDlg& dialog) {
            EXPECT_EQ(logOf(dialog), (Lines{"... Preparing download from server!", "... connect to the KORVANE server", "   ",
                                            "  End of download procedure!! "}));
            dialog.okButton()->click();
        }, false, path);
    }
    ASSERT_EQ(box->count(), 3u);
    EXPECT_TRUE(box->shown()[0].text.starts_with(kRefused) && box->shown()[2].text.starts_with(kRefused));
    EXPECT_EQ(box->shown()[1].text, kEndQuestion);
}

TEST_F(ExportTest, UpdateFilesWhileAnotherRunHoldsTheInstallationWaitsSaysItDidNothingAndOffersNoProgram)
{
    InstallationLock other(install.str());
    ASSERT_EQ(other.Acquire(std::chrono::milliseconds::zero()), InstallationLock::State::Held);
    updateFiles([](CUpdateDlg& d) { return d.logList()->count() == 5 && !d.workerRunning() && !d.endTimerActive(); },
                [&](CUpdateDlg& dialog) {
        EXPECT_EQ(logOf(dialog), (Lines{"... Preparing download from server!", kWaitForOtherRunLine, kOtherRunLine, "   ",
                                        "  End of download procedure!! "}));
        dialog.okButton()->click();
    });
    EXPECT_EQ(box->count(), 0u) << "the end question offered the program that the other run replaces";
    EXPECT_EQ(server.loginCount(), 0);
    EXPECT_EQ(install.read("Sampler.exe"), "program release 1\n");
}

TEST_F(ExportTest, UpdateFilesWhileTheServerStallsClosesAtOnceOnAbortAndEndsTheLoopOnAQuitFromAnotherThread)
{
    server.stallDownloadOf("sampler.chm");
    std::map<std::string, std::string> atClose;
    std::chrono::steady_clock::time_point closedAt;
    updateFiles([&](CUpdateDlg&) { return server.waitForStall({}); }, [&](CUpdateDlg& dialog) {
        dialog.accept();
        EXPECT_TRUE(dialog.isVisible() && !dialog.okButton()->isEnabled()) << "OK does not end a running dialog";
        closedAt = std::chrono::steady_clock::now();
        dialog.abortButton()->click();
        EXPECT_FALSE(dialog.isVisible()) << "the dialog closes at once";
        atClose = filesBelow(install.path());
    });
    EXPECT_LT(std::chrono::steady_clock::now() - closedAt, std::chrono::seconds(1)) << "the export returns at once";
    EXPECT_EQ(box->count(), 0u) << "no question after an abort";
    // After the close only a partial download of the file in transfer and the run's lock file may
    // have been cleared away.
    auto after = filesBelow(install.path());
    for (const auto& [name, content] : atClose)
        if (name.find(".part-") != std::string::npos || name == kInstallationLockFile)
            after.try_emplace(name, content);
    EXPECT_EQ(after, atClose);
    // The file in transfer was neither put aside nor kept: it stays installed as it was.
    EXPECT_EQ(after.at("sampler.chm"), "help release 1\n");
    EXPECT_FALSE(after.contains("upd_sampler.chm"));

    std::thread other;
    EXPECT_TRUE(updateFiles([&](CUpdateDlg&) { return server.waitForStall({}); },
                            [&](CUpdateDlg&) { other = std::thread(QuitHost); }, true));
    other.join();
}

TEST_F(ExportTest, RestoreFilesPlaysTheChosenStateBackInRestoreModeAndAbortStaysUsableAtTheEnd)
{
    const RestoreExample archive;
    const std::string app = archive.install / "Sampler.exe";
    const auto restoreFiles = [&](const char* stamp, std::function<void(CUpdateDlg&)> atEnd) {
        runInAppLoop([&] {
            atModal<CUpdateDlg>(std::move(atEnd), [](CUpdateDlg& d) { return !d.workerRunning() && !d.endTimerActive()
                                                                          && d.logList()->count() > 2; });
            EXPECT_TRUE(RestoreFiles(stamp, app.c_str()));
        });
    };
    restoreFiles(RestoreExample::kMiddle, [&](CUpdateDlg& dialog) {
        Lines log = restoreLog(RestoreExample::kMiddle, RestoreExample::middleRestored());
        log.insert(log.begin(), "... Preparing restore from directory!");
        EXPECT_EQ(logOf(dialog), log);
        EXPECT_EQ(dialog.infoText()->text().toStdString(), "Restore older revision of software\n >> 201405131120 !!\n"
                  "Please wait while this programm loads the older software back...");
        EXPECT_TRUE(dialog.okButton()->isEnabled() && dialog.abortButton()->isEnabled());
        dialog.okButton()->click();
    });
    ASSERT_EQ(box->count(), 1u);
    EXPECT_EQ(box->shown()[0].text, kEndQuestion);
    EXPECT_EQ(archive.install.read("RelInfoLocal.rel"), RestoreExample::state(2));
    EXPECT_EQ(archive.install.read("Sampler.exe"), "program 2\n");

    // Nothing chosen: the log says that nothing was restored, and "abort and exit" ends the dialog.
    restoreFiles("", [&](CUpdateDlg& dialog) {
        EXPECT_EQ(logOf(dialog), (Lines{"... Preparing restore from directory!", "   ", "  End of restore procedure!! "}));
        dialog.abortButton()->click();
    });
    EXPECT_EQ(box->count(), 2u);
    EXPECT_EQ(archive.install.read("RelInfoLocal.rel"), RestoreExample::state(2));
}

namespace {

// The settings window as the user sees it: "on|off each:1 after:0 [7] enabled|disabled".
struct SetupWindow {
    CReminderSetupDlg* window = g_pReminder ? g_pReminder->existingWindow() : nullptr;
    template <class W> W* get(const char* name) const { return window->findChild<W*>(name); }
    QCheckBox* active() const { return get<QCheckBox>("activeCheck"); }
    QLineEdit* interval() const { return get<QLineEdit>("intervalEdit"); }
    QRadioButton* afterDays() const { return get<QRadioButton>("afterDaysRadio"); }
    void click(const char* button) const { get<QAbstractButton>(button)->click(); }
    std::string shown() const
    {
        const auto* each = get<QRadioButton>("eachStartRadio");
        const bool on = interval()->isEnabled();
        EXPECT_TRUE(each->isEnabled() == on && afterDays()->isEnabled() == on) << "the three go together";
        EXPECT_TRUE(get<QLabel>("daysLabel")->isEnabled()) << "day(s) is never touched";
        return std::string(active()->isChecked() ? "on" : "off") + " each:" + std::to_string(each->isChecked())
               + " after:" + std::to_string(afterDays()->isChecked()) + " [" + interval()->text().toStdString() + "] "
               + (on ? "enabled" : "disabled");
    }
};
int setupWindows()
{
    int n = 0;
    for (QWidget* w : QApplication::topLevelWidgets())
        n += qobject_cast<CReminderSetupDlg*>(w) != nullptr;
    return n;
}
std::string group(const std::string& key, const std::string& values) { return "[" + key + "]\n" + values; }

} // namespace

TEST_F(ExportTest, SetupWindowShowsTheStoredValuesAnewEachTimeAndOkStoresWhatIsShownAlsoFromDisabledControls)
{
    const std::string last = "LastUpdate=46000.000000\n";
    const struct { const char* stored; const char* shown; std::function<void(const SetupWindow&)> act; const char* after; } rows[] = {
        {"Active=1\nCheck=1\nInterval=7\n", "on each:0 after:1 [7] enabled", {}, "Active=1\nCheck=1\nInterval=7\n"},
        {"Active=0\nCheck=2\nInterval=3\n", "off each:0 after:0 [3] disabled", {}, "Active=0\nCheck=0\nInterval=3\n"},
        {"Active=on\nCheck=x\nInterval=\n", "off each:1 after:0 [0] disabled", {}, "Active=0\nCheck=0\nInterval=0\n"},
        {"Active=1\nCheck=0\nInterval=4294967295\n", "on each:1 after:0 [-1] enabled", {}, "Active=1\nCheck=0\nInterval=4294967295\n"},
        {"Active=0\nCheck=0\nInterval=5\n", "on each:0 after:1 [] enabled", [](const SetupWindow& w) {
             w.click("activeCheck");
             w.interval()->clear();
             w.interval()->insert("4a"); // digits only: refused as a whole
             w.click("afterDaysRadio");
         }, "Active=1\nCheck=1\nInterval=0\n"},
        {"Active=1\nCheck=1\nInterval=5\n", "off each:0 after:1 [12] disabled", [](const SetupWindow& w) {
             w.interval()->setText("12");
             w.click("activeCheck");
         }, "Active=0\nCheck=1\nInterval=12\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.stored);
        config.write("Korvane/AutoUpdate.conf", group("Sampler", row.stored + last));
        // The store notices a change by hand by size and time to the millisecond: the rows keep the size.
        std::filesystem::last_write_time(config / "Korvane/AutoUpdate.conf",
                                         std::filesystem::file_time_type::clock::now() + std::chrono::hours(1 + (&row - rows)));
        ASSERT_TRUE(UpdateSetupScheduler("Sampler"));
        const SetupWindow w;
        ASSERT_TRUE(w.window && w.window->isVisible());
        EXPECT_EQ(w.window->windowTitle().toStdString(), "Automatic Update Reminder  Version: 3.0.0");
        if (row.act)
            row.act(w);
        EXPECT_EQ(w.shown(), row.shown);
        w.click("okButton");
        EXPECT_FALSE(w.window->isVisible());
        EXPECT_EQ(storeText(), group("Sampler", row.after + last)) << "LastUpdate stays";
    }
    // Cancel stores nothing, and the next showing reads the store, not what was typed.
    const std::string stored = storeText();
    const SetupWindow w;
    ASSERT_TRUE(UpdateSetupScheduler("Sampler"));
    w.interval()->setText("99");
    w.click("eachStartRadio");
    w.click("cancelButton");
    EXPECT_TRUE(!w.window->isVisible() && storeText() == stored);
    ASSERT_TRUE(UpdateSetupScheduler("Sampler"));
    EXPECT_EQ(w.shown(), "off each:0 after:1 [12] disabled");
    EXPECT_EQ(box->count(), 0u);
    EXPECT_EQ(server.loginCount(), 0);
}

TEST_F(ExportTest, SetupSchedulerFirstTwiceAndAfterTheStartMakesOneWindowAndEveryCallSetsTheKey)
{
    // First in the process: the product's values although no schedule has run; no install directory.
    config.write("Korvane/AutoUpdate.conf", group("Sampler", "Active=1\nCheck=1\nInterval=9\n"));
    ASSERT_TRUE(UpdateSetupScheduler("Sampler"));
    const SetupWindow first;
    EXPECT_EQ(first.shown(), "on each:0 after:1 [9] enabled");
    EXPECT_EQ(g_pReminder->reminder().installDir() + g_pReminder->reminder().exeName(), "");
    // Again while shown, with another key: the same window, nothing read anew, OK stores under the new key.
    ASSERT_TRUE(UpdateSetupScheduler("Other"));
    EXPECT_TRUE(SetupWindow().window == first.window && setupWindows() == 1);
    EXPECT_EQ(g_pReminder->reminder().productKey(), "Other");
    EXPECT_EQ(first.shown(), "on each:0 after:1 [9] enabled");
    first.click("okButton");
    EXPECT_EQ(storeText(), group("Other", "Active=1\nCheck=1\nInterval=9\n\n") + group("Sampler", "Active=1\nCheck=1\nInterval=9\n"));
    // A later start keeps what UpdateSetupScheduler left: its key, no install directory.
    ASSERT_TRUE(UpdateStartSchedule("Sampler", program.c_str()));
    EXPECT_EQ(g_pReminder->reminder().productKey() + g_pReminder->reminder().installDir(), "Other");
    EXPECT_TRUE(g_pReminder->reminder().StopSchedule());

    // After UpdateStartSchedule: the window comes with the first showing, once.
    freshLibrary();
    config.write("Korvane/AutoUpdate.conf", group("Sampler", "Active=0\nCheck=0\nInterval=5\n"));
    ASSERT_TRUE(start());
    EXPECT_EQ(setupWindows(), 0);
    ASSERT_TRUE(UpdateSetupScheduler("Sampler") && UpdateSetupScheduler("Sampler"));
    EXPECT_TRUE(setupWindows() == 1 && SetupWindow().window->isVisible());
    EXPECT_EQ(g_pReminder->reminder().installDir() + "/" + g_pReminder->reminder().exeName(), program);
}

TEST_F(ExportTest, AKeySetWhileTheStartCheckWaitsIsTheKeyItChecksAndRenews)
{
    config.write("Korvane/AutoUpdate.conf", group("Sampler", "Active=1\nCheck=0\nInterval=5\nLastUpdate=46000.000000\n"));
    product.server.write("Other/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.01"}));
    ASSERT_TRUE(start());
    ASSERT_TRUE(UpdateSetupScheduler("Other"));
    ASSERT_TRUE(g_pReminder->reminder().schedule().waitUntilIdle(std::chrono::seconds(15)));
    const Lines commands = server.commands();
    EXPECT_TRUE(std::ranges::any_of(commands, [](const std::string& c) { return c.find("Other") != std::string::npos; }));
    EXPECT_TRUE(std::ranges::none_of(commands, [](const std::string& c) { return c.find("Sampler") != std::string::npos; }));
    EXPECT_EQ(box->count(), 0u) << "all current: quiet";
    const std::string text = storeText();
    EXPECT_TRUE(text.starts_with("[Other]\nLastUpdate=") && text.ends_with("[Sampler]\nActive=1\nCheck=0\nInterval=5\nLastUpdate=46000.000000\n"))
        << text;
}

TEST_F(ExportTest, AYesOpensTheNotesWithInstallButtonsWhichHandOverToTheInstallerAndQuitTheHost)
{
    WorkDir work; // the stand-in KorAutoInstall records its arguments
    work.script("KorAutoInstall", "echo \"$*\" > args.tmp; mv args.tmp args");
    product.server.write("Sampler/LatestUpdate.html", "<html><body><h1>Sampler 3.10.02</h1></body></html>");
    box->answer(BoxAnswer::Yes);
    std::string title;
    EXPECT_TRUE(runInAppLoop([&] {
        EXPECT_FALSE(updateInfo());
        atModal<CReleaseNotesDlg>([&](CReleaseNotesDlg& notes) {
            title = notes.windowTitle().toStdString();
            EXPECT_TRUE(notes.installNewButton()->isVisible() && notes.installAllButton()->isVisible());
            EXPECT_EQ(notes.m_strPage, install / "LatestUpdate.html");
            EXPECT_TRUE(g_pReminder->reminder().client().isConnected()) << "the connection stands while the notes are up";
            EXPECT_FALSE(updateInfo()); // a check meanwhile can't have the client
            box->answer(BoxAnswer::Ok); // to stop the application
            notes.installNewButton()->click();
        });
    }, true)) << "the host was not told to quit";
    EXPECT_EQ(work.readWhenThere("args"), "Sampler " + program + "\n");
    EXPECT_EQ(readFile(install / "LatestUpdate.html"), "<html><body><h1>Sampler 3.10.02</h1></body></html>");
    EXPECT_TRUE(title.starts_with(" <<<  Last Software Updates on <" + server.address() + ">  (KORVANE AG Varnland)  >>>"))
        << title;
    auto shown = box->shown(); // but where the web view can't be had, which the notes tell in a box of their own
    std::erase_if(shown, [](const ShownBox& b) { return b.text.starts_with("Last Error from Window:"); });
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_EQ(shown[1].text, kNoConnection);
    EXPECT_NE(shown[2].text.find("To install the new software release it is necessary"), std::string::npos);
    EXPECT_FALSE(g_pReminder->reminder().client().isConnected());
    EXPECT_EQ(server.loginCount(), 2);
}

TEST_F(ExportTest, AYesWithoutNotesOnTheServerShowsNothingAndTheNextCheckConnectsAsUsual)
{
    box->answer(BoxAnswer::Yes);
    bool notesSeen = false;
    EXPECT_TRUE(runInAppLoop([&] {
        EXPECT_FALSE(updateInfo());
        EXPECT_TRUE(g_pReminder->notesTimerActive());
        onceTrue([&] { notesSeen |= modal<QWidget>() != nullptr; return !g_pReminder->notesTimerActive() && server.loginCount() == 2; },
                 [] { QCoreApplication::quit(); });
    }, true));
    EXPECT_FALSE(notesSeen);
    EXPECT_TRUE(server.waitForCommand("CWD", {}));
    EXPECT_FALSE(g_pReminder->reminder().client().isConnected());
    EXPECT_FALSE(install.exists("LatestUpdate.html"));
    EXPECT_FALSE(updateInfo());
    expectCheck(2, kNewFiles, 3, false);
}
