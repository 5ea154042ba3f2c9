// The export UpdateStartSchedule end to end: a settings store in a temporary
// XDG_CONFIG_HOME, the real FTP server, the schedule worker, and the host's
// event loop serving the check's question.
#include "UpdateDlgTestSupport.h"

#include "flows/UpdateRunTestSupport.h"
#include "frontend/CReminderSetupDlg.h"
#include "korautoupdate.h"
#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"
#include "support/FtpServer.h"

#include <QAbstractButton>
#include <QMessageBox>

#include <cstdlib>
#include <utility>

using namespace kau;
using namespace kau::test;

namespace {

constexpr auto kHive = RegistryHive::LocalMachine;
const std::string kPath = reminder::KeyPath("Sampler");

class StartScheduleExport : public DialogTest {
protected:
    StartScheduleExport()
    {
        ::setenv("XDG_CONFIG_HOME", config.str().c_str(), 1);
        delete std::exchange(g_pReminderDlg, nullptr);
        install.write("RelInfoLocal.rel", revisionFile({"Sampler.exe; 3.10.01"}));
        install.write("upd_Sampler.exe", "left over");
        offer("Sampler.exe; 3.10.01");
    }
    ~StartScheduleExport() override
    {
        EXPECT_TRUE(!g_pReminderDlg || g_pReminderDlg->StopSchedule());
        delete std::exchange(g_pReminderDlg, nullptr);
        m_oldConfig.empty() ? ::unsetenv("XDG_CONFIG_HOME") : ::setenv("XDG_CONFIG_HOME", m_oldConfig.c_str(), 1);
    }
    void offer(const std::string& line) const { root.write("Sampler/RelInfoRemote.rel", revisionFile({line})); }
    std::string program() const { return install / "Sampler.exe"; }
    bool start() const { return UpdateStartSchedule("Sampler", program().c_str()); }
    std::string storeText() const { return config.read("Korvane/AutoUpdate.conf"); }
    bool running() const { return g_pReminderDlg->schedule().isRunning(); }
    bool workerEnds() const { return g_pReminderDlg->schedule().waitUntilIdle(std::chrono::seconds(15)); }

    const std::string m_oldConfig = std::getenv("XDG_CONFIG_HOME") ? std::getenv("XDG_CONFIG_HOME") : "";
    TempDir config, install, root;
    CRegistryAccess reg;
    FtpServer server{root.path()};
};

} // namespace

TEST_F(StartScheduleExport, FirstStartWritesTheDefaultsAndChecksQuietlyOneSecondLaterOnceOnly)
{
    ScriptedBox box;
    ASSERT_TRUE(start());
    // At once: the defaults are stored, the worker waits, the server has heard nothing.
    for (const auto& [name, value] :
         {std::pair{reminder::kActive, 1u}, {reminder::kCheck, 0u}, {reminder::kInterval, 5u}}) {
        std::uint32_t stored = 99;
        EXPECT_TRUE(reg.ReadDword(kHive, kPath, name, stored) == 0 && stored == value) << name;
    }
    const std::string afterStart = storeText();
    EXPECT_NE(afterStart.find("LastUpdate="), std::string::npos) << afterStart;
    EXPECT_TRUE(running() && server.loginCount() == 0);
    // Later calls while the worker runs: no second check, the first product stays.
    ASSERT_TRUE(start());
    ASSERT_TRUE(UpdateStartSchedule("Other", "/elsewhere/other.exe"));
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, "Sampler");
    EXPECT_EQ(g_pReminderDlg->m_strInstallDir + "/" + g_pReminderDlg->m_strExeName, program());

    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(server.loginCount(), 1);
    for (const auto& command : server.commands())
        EXPECT_EQ(command.find("Other"), std::string::npos) << command;
    EXPECT_EQ(box.count(), 0u) << "a check that finds all current stays quiet";
    EXPECT_NE(storeText(), afterStart) << "the worker renews LastUpdate";
    EXPECT_FALSE(install.exists("upd_Sampler.exe")) << "the check sweeps staged leftovers";
}

TEST_F(StartScheduleExport, NoCheckDueOrAStopBeforeTheWorkerBeginsTouchesNeitherServerNorStore)
{
    ScriptedBox box;
    const struct { std::uint32_t active, check; double lastUpdate; bool due; } cases[] = {
        {0, 0, 1000.0, false}, {1, 1, Moment::now().days() - 4.9, false}, {1, 0, 1000.0, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.active + c.check);
        ASSERT_EQ(reg.WriteValues(kHive, kPath, {{reminder::kActive, c.active}, {reminder::kCheck, c.check},
                  {reminder::kInterval, 5u}, {reminder::kLastUpdate, Moment(c.lastUpdate).format()}}), 0);
        const std::string stored = storeText();
        ASSERT_TRUE(start());
        EXPECT_EQ(running(), c.due);
        EXPECT_TRUE(g_pReminderDlg->StopSchedule());
        EXPECT_FALSE(running());
        EXPECT_EQ(storeText(), stored);
    }
    EXPECT_TRUE(server.loginCount() == 0 && box.count() == 0);
}

TEST_F(StartScheduleExport, NewFilesAskOnTheHostThreadWhileItsLoopKeepsRunningAndYesArmsTheNotes)
{
    offer("Sampler.exe; 3.20.00"); // no scripted box: the real message box, clicked
    const auto shown = [] { return qobject_cast<QMessageBox*>(QApplication::activeModalWidget()); };
    int ticks = 0; // of a host timer while the question stands
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ticks += shown() != nullptr; });
    bool quitEnded = false;
    runInAppLoop([&] {
        ASSERT_TRUE(start());
        ticker.start(5);
        onceTrue([&] { return ticks >= 10; }, [&] {
            EXPECT_NE(shown()->text().toStdString().find("3.20.00\t\t->> Sampler.exe"), std::string::npos);
            EXPECT_TRUE(running()) << "only the worker waits for the answer";
            shown()->button(QMessageBox::Yes)->click();
        });
        onceTrue([] { return g_pReminderDlg->notesTimerActive(); }, [] { QCoreApplication::quit(); });
    }, &quitEnded);
    EXPECT_TRUE(quitEnded);
}

TEST_F(StartScheduleExport, WhileTheCheckStallsUpdateInfoTakesTheFailedRoadAndAQuitEndsTheWorkerPromptly)
{
    ScriptedBox box;
    offer("Sampler.exe; 3.20.00");
    server.stallDownloads(true);
    ASSERT_TRUE(start());
    ASSERT_TRUE(server.waitForStall(std::chrono::seconds(15)));
    // The scheduled check holds the client.
    EXPECT_FALSE(UpdateInfo("Sampler", program().c_str()));
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!");
    bool quitEnded = false;
    const auto quitAt = std::chrono::steady_clock::now();
    runInAppLoop([] { QCoreApplication::quit(); }, &quitEnded);
    EXPECT_TRUE(quitEnded);
    EXPECT_FALSE(running());
    EXPECT_LT(std::chrono::steady_clock::now() - quitAt, std::chrono::seconds(5));

    // Once the worker has let the client go, an explicit check works as usual.
    server.stallDownloads(false);
    EXPECT_FALSE(UpdateInfo("Sampler", program().c_str()));
    ASSERT_EQ(box.count(), 2u);
    EXPECT_NE(box.shown()[1].text.find("There are some newer files"), std::string::npos);
}
