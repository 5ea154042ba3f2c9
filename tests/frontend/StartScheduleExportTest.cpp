// The export UpdateStartSchedule end to end: a real settings store in a
// temporary XDG_CONFIG_HOME, the real FTP server, the reminder object's
// worker, and the host's event loop serving the check's question.
#include "UpdateDlgTestSupport.h"

#include "frontend/CReminderSetupDlg.h"
#include "korautoupdate.h"
#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"
#include "support/FtpServer.h"

#include <QAbstractButton>
#include <QMessageBox>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;

namespace {

constexpr const char* kKey = "Sampler";
constexpr auto kBound = std::chrono::seconds(15);

std::string crlf(const std::vector<std::string>& lines)
{
    std::string text;
    for (const auto& line : lines)
        text += line + "\r\n";
    return text;
}

class StartScheduleExport : public DialogTest {
protected:
    void SetUp() override
    {
        DialogTest::SetUp();
        if (const char* old = std::getenv("XDG_CONFIG_HOME"))
            m_oldConfig = old;
        ::setenv("XDG_CONFIG_HOME", m_config.str().c_str(), 1);
        writeFile(install / "RelInfoLocal.rel", crlf({"Sampler.exe; 3.10.01"}));
        writeFile(install / "upd_Sampler.exe", "left over");
        fs::create_directories(root.path() / kKey);
        offer({"Sampler.exe; 3.10.01"});
    }
    void TearDown() override
    {
        if (g_pReminderDlg) {
            EXPECT_TRUE(g_pReminderDlg->StopSchedule());
        }
        if (m_oldConfig)
            ::setenv("XDG_CONFIG_HOME", m_oldConfig->c_str(), 1);
        else
            ::unsetenv("XDG_CONFIG_HOME");
    }

    void offer(const std::vector<std::string>& lines)
    {
        writeFile(root.path() / kKey / "RelInfoRemote.rel", crlf(lines));
    }
    std::string program() const { return install / "Sampler.exe"; }
    std::string storeText() const { return m_config.read("Korvane/AutoUpdate.conf"); }

    std::optional<std::uint32_t> number(const char* name) const
    {
        std::uint32_t value = 0;
        if (CRegistryAccess().ReadDword(RegistryHive::LocalMachine, reminder::KeyPath(kKey), name,
                                        value) != 0)
            return std::nullopt;
        return value;
    }
    std::string lastUpdate() const
    {
        std::string text;
        CRegistryAccess().ReadString(RegistryHive::LocalMachine, reminder::KeyPath(kKey),
                                     reminder::kLastUpdate, text);
        return text;
    }
    void setSettings(std::uint32_t active, std::uint32_t check, std::uint32_t interval,
                     double lastUpdateDays)
    {
        ASSERT_EQ(CRegistryAccess().WriteValues(
                      RegistryHive::LocalMachine, reminder::KeyPath(kKey),
                      {{reminder::kActive, active},
                       {reminder::kCheck, check},
                       {reminder::kInterval, interval},
                       {reminder::kLastUpdate, Moment(lastUpdateDays).format()}}),
                  0);
    }
    bool workerEnds() const
    {
        return g_pReminderDlg && g_pReminderDlg->schedule().waitUntilIdle(kBound);
    }

    TempDir m_config;
    TempDir install;
    TempDir root;
    FtpServer server{root.path()};

private:
    std::optional<std::string> m_oldConfig;
};

} // namespace

TEST_F(StartScheduleExport, FirstStartWritesTheDefaultsAndChecksQuietlyOneSecondLater)
{
    ScriptedBox box;
    const double before = Moment::now().days();
    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));

    // At once: the defaults are in the store, the worker waits, the server
    // has heard nothing yet.
    EXPECT_EQ(number(reminder::kActive), 1u);
    EXPECT_EQ(number(reminder::kCheck), 0u);
    EXPECT_EQ(number(reminder::kInterval), 5u);
    const std::string firstStamp = lastUpdate();
    EXPECT_GE(Moment::parse(firstStamp).days(), before - 1e-6);
    EXPECT_TRUE(g_pReminderDlg->schedule().isRunning());
    EXPECT_EQ(server.loginCount(), 0);

    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_EQ(box.count(), 0u) << "a check that finds all current stays quiet";
    EXPECT_GT(Moment::parse(lastUpdate()).days(), Moment::parse(firstStamp).days())
        << "the worker renews LastUpdate before its check";
    EXPECT_FALSE(fs::exists(install / "upd_Sampler.exe")) << "the check sweeps staged leftovers";
}

TEST_F(StartScheduleExport, InactiveProductStartsNothingAndLeavesTheStoreAlone)
{
    ScriptedBox box;
    setSettings(0, 0, 5, 1000.0);
    const std::string stored = storeText();

    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    EXPECT_FALSE(g_pReminderDlg->schedule().isRunning());
    EXPECT_EQ(storeText(), stored);
    EXPECT_EQ(server.loginCount(), 0);
}

TEST_F(StartScheduleExport, IntervalNotYetPassedStartsNothing)
{
    ScriptedBox box;
    setSettings(1, 1, 5, Moment::now().days() - 4.9);
    const std::string stored = storeText();

    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    EXPECT_FALSE(g_pReminderDlg->schedule().isRunning());
    EXPECT_EQ(storeText(), stored);
}

TEST_F(StartScheduleExport, LaterCallsWhileTheWorkerRunsKeepTheFirstProductAndStartNoSecondCheck)
{
    ScriptedBox box;
    setSettings(1, 1, 5, Moment::now().days() - 5.01);
    fs::create_directories(root.path() / "Other");
    writeFile(root.path() / "Other/RelInfoRemote.rel", crlf({"Other.exe; 9.00.00"}));

    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    ASSERT_TRUE(UpdateStartSchedule("Other", "/elsewhere/other.exe"));
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, kKey);
    EXPECT_EQ(g_pReminderDlg->m_strInstallDir + "/" + g_pReminderDlg->m_strExeName, program());

    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(server.loginCount(), 1) << "one start of the host, one check";
    for (const auto& command : server.commands())
        EXPECT_EQ(command.find("Other"), std::string::npos) << command;
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(StartScheduleExport, NewFilesAskOnTheHostThreadWhileItsLoopKeepsRunning)
{
    // No scripted box: the real message box, answered by a click.
    offer({"Sampler.exe; 3.20.00", "Readme.txt; 1.00.00"});
    int ticks = 0;
    QTimer ticker;
    ticker.setInterval(5);
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });

    std::string question;
    bool workerWaitedForTheAnswer = false;
    bool timerArmed = false;
    QTimer::singleShot(0, [&] {
        ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
        ticker.start();
        onceTrue([] { return qobject_cast<QMessageBox*>(QApplication::activeModalWidget()); },
                 [&] {
                     auto* shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                     question = shown->text().toStdString();
                     const int ticksAtBox = ticks;
                     // The host's timers go on firing while the question stands.
                     onceTrue([&, ticksAtBox] { return ticks >= ticksAtBox + 10; },
                              [&, shown] {
                                  workerWaitedForTheAnswer = g_pReminderDlg->schedule().isRunning();
                                  shown->button(QMessageBox::Yes)->click();
                              });
                 });
        onceTrue([] { return g_pReminderDlg->notesTimerActive(); },
                 [&] {
                     timerArmed = true;
                     QCoreApplication::exit(0);
                 });
    });
    EXPECT_EQ(QApplication::exec(), 0);

    EXPECT_NE(question.find("There are some newer files on the server:"), std::string::npos)
        << question;
    EXPECT_NE(question.find("3.20.00\t\t->> Sampler.exe"), std::string::npos) << question;
    EXPECT_TRUE(workerWaitedForTheAnswer) << "only the worker waits for the answer";
    EXPECT_TRUE(timerArmed) << "a Yes leads on to the release notes";
    EXPECT_TRUE(workerEnds());
}

TEST_F(StartScheduleExport, QuitWhileTheCheckStallsEndsTheWorkerPromptly)
{
    server.stallReplies(60000);
    bool quitEnded = false;
    std::chrono::steady_clock::duration quitTook{};
    runInAppLoop(
        [&] {
            ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
            onceTrue([&] { return !server.commands().empty(); },
                     [&] {
                         const auto start = std::chrono::steady_clock::now();
                         QObject::connect(qApp, &QCoreApplication::aboutToQuit, [&, start] {
                             quitTook = std::chrono::steady_clock::now() - start;
                         });
                         QCoreApplication::quit();
                     });
        },
        &quitEnded);
    EXPECT_TRUE(quitEnded);
    EXPECT_FALSE(g_pReminderDlg->schedule().isRunning());
    EXPECT_LT(quitTook, std::chrono::seconds(5));
}

TEST_F(StartScheduleExport, StopBeforeTheWorkerBeginsLeavesServerAndStoreAlone)
{
    ScriptedBox box;
    setSettings(1, 0, 5, 1000.0);
    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    ASSERT_TRUE(g_pReminderDlg->schedule().isRunning());

    EXPECT_TRUE(g_pReminderDlg->StopSchedule());
    EXPECT_FALSE(g_pReminderDlg->schedule().isRunning());
    EXPECT_EQ(lastUpdate(), Moment(1000.0).format());
    EXPECT_EQ(server.loginCount(), 0);
    EXPECT_EQ(box.count(), 0u);
}

// Holds the first box shown (on the worker) until released; later boxes are
// recorded and answered No at once.
class GateBox : public Box {
public:
    GateBox() : m_previous(installBox(this)) {}
    ~GateBox() override
    {
        release();
        installBox(m_previous);
    }
    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon) override
    {
        std::unique_lock lock(m_mutex);
        m_texts.push_back(text);
        m_changed.notify_all();
        if (m_texts.size() == 1)
            m_changed.wait_for(lock, kBound, [&] { return m_released; });
        return carefulAnswer(buttons);
    }
    bool waitForBoxes(std::size_t n)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, kBound, [&] { return m_texts.size() >= n; });
    }
    void release()
    {
        std::lock_guard lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }
    std::vector<std::string> texts()
    {
        std::lock_guard lock(m_mutex);
        return m_texts;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_texts;
    bool m_released = false;
    Box* m_previous;
};

TEST_F(StartScheduleExport, UpdateInfoWhileTheScheduledCheckHoldsTheClientTakesTheFailedRoad)
{
    GateBox box;
    offer({"Sampler.exe; 3.20.00"});
    setSettings(1, 0, 5, 1000.0);
    ASSERT_TRUE(UpdateStartSchedule(kKey, program().c_str()));
    ASSERT_TRUE(box.waitForBoxes(1)) << "the scheduled check asks about the new file";

    // The client serves the worker: the explicit check doesn't touch it.
    EXPECT_FALSE(UpdateInfo(kKey, program().c_str()));
    ASSERT_TRUE(box.waitForBoxes(2));
    EXPECT_EQ(box.texts()[1],
              "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!");
    EXPECT_EQ(server.loginCount(), 1);

    box.release();
    ASSERT_TRUE(workerEnds());
    // Once the worker has let the client go, an explicit check works as usual.
    EXPECT_FALSE(UpdateInfo(kKey, program().c_str()));
    ASSERT_EQ(box.texts().size(), 3u);
    EXPECT_NE(box.texts()[2].find("There are some newer files"), std::string::npos);
    EXPECT_EQ(server.loginCount(), 2);
}
