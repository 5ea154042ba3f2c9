#include "flows/UpdateRunTestSupport.h"
#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/Reminder.h"
#include "reminder/ReminderStore.h"
#include "reminder/StartSchedule.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <QSettings>
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/wait.h>

using namespace kau;
using namespace std::chrono;
namespace rem = kau::reminder;

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;
const std::string kKey = rem::KeyPath("Prod");
constexpr std::uint32_t kWrites = 60;
using Num = std::pair<int, std::uint32_t>;
using Text = std::pair<int, std::string>;

// Each test has a store file of its own: XDG_CONFIG_HOME points at a fresh directory.
class Store : public ::testing::Test {
protected:
    Store() { ::setenv("XDG_CONFIG_HOME", m_dir.str().c_str(), 1); }
    std::string storeFile() const { return m_dir / "Korvane/AutoUpdate.conf"; }
    // The status of a read and what it gave (the out value is set before the read).
    Num num(const std::string& key, const char* name) { std::uint32_t n = 42; return {reg.ReadDword(kHive, key, name, n), n}; }
    Text text(const std::string& key, const char* name) { std::string s = "x"; return {reg.ReadString(kHive, key, name, s), s}; }
    void store(std::uint32_t active, std::uint32_t check, std::uint32_t interval, std::string last)
    {
        ASSERT_EQ(reg.WriteValues(kHive, kKey, {{rem::kActive, active}, {rem::kCheck, check},
                                                {rem::kInterval, interval}, {rem::kLastUpdate, last}}), 0);
    }

    test::TempDir m_dir;
    CRegistryAccess reg;
    // A check that counts its calls, notes its key and LastUpdate as it found it, and throws (as it may).
    std::atomic<int> calls{0};
    std::string seen, seenKey;
    const StartSchedule::Check probe = [this](const std::string& key) {
        seenKey = key;
        seen = text(rem::KeyPath(key), rem::kLastUpdate).second;
        ++calls;
        throw std::runtime_error("no server");
    };
};
using Schedule = Store;

// The file reads as a whole: no error, and Keep/Count, the last value in it, is still 7.
bool whole(const std::string& path)
{
    QSettings file(QString::fromStdString(path), QSettings::IniFormat);
    return file.status() == QSettings::NoError && file.value("Keep/Count").toString() == "7";
}

// A child process writing a counter and a text of changing length kWrites times (or until killed); 0 if all succeeded.
pid_t startWriter(const std::string& product, bool endless)
{
    const pid_t pid = ::fork();
    if (pid == 0)
        ::alarm(60);  // one that hangs dies
    for (std::uint32_t i = 1, bad = 0; pid == 0; ++i) {
        const std::string key = rem::KeyPath(product), text(1 + i % 90, char('a' + i % 26));
        bad += CRegistryAccess().WriteDword(kHive, key, "Count", i) != 0;
        bad += CRegistryAccess().WriteString(kHive, key, "LastUpdate", text) != 0;
        if (!endless && i == kWrites)
            ::_exit(bad != 0);
    }
    return pid;
}

} // namespace

TEST_F(Store, StatusCodesNestedKeysAndTheLimitsOfValues)
{
    // No key yet; a store that can't be written; the key there, its values not.
    EXPECT_EQ(std::tuple(num(kKey, "Active"), text(kKey, "LastUpdate"), reg.ProbeKey(kHive, kKey),
                         reg.DeleteValue(kHive, kKey, "Active")), std::tuple(Num(-1, 0), Text(-1, ""), -1, -1));
    m_dir.write("Korvane", "not a directory");
    EXPECT_EQ(std::tuple(reg.WriteDword(kHive, kKey, "Active", 1), reg.WriteString(kHive, kKey, "LastUpdate", "1.0"),
                         reg.WriteValues(kHive, kKey, {{"Active", std::uint32_t(1)}})), std::tuple(-4, -4, -4));
    std::filesystem::remove(m_dir / "Korvane");
    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), 0);
    EXPECT_EQ(std::tuple(reg.ProbeKey(kHive, kKey), num(kKey, "Check"), text(kKey, "LastUpdate"),
                         reg.DeleteValue(kHive, kKey, "Check")), std::tuple(0, Num(-1, 0), Text(-3, ""), -3));
    // A backslash in the product key makes a nested group.
    ASSERT_EQ(reg.WriteDword(kHive, rem::KeyPath("Suite\\Pro"), "Active", 0), 0);
    EXPECT_EQ(num(rem::KeyPath("Suite\\Pro"), "Active"), Num(0, 0));
    EXPECT_EQ(QSettings(QString::fromStdString(storeFile()), QSettings::IniFormat).value("Suite/Pro/Active").toString(), "0");
    // Values are read only within the four-byte and the hundred-byte limits.
    const struct { const char* stored; Num read; } numbers[] = {
        {"4294967295", {0, 4294967295u}}, {"4294967296", {-1, 0}}, {"-1", {0, 0xFFFFFFFFu}},
        {"-2147483648", {0, 0x80000000u}}, {"-2147483649", {-1, 0}}, {"12abc", {-1, 0}},
        {"", {-1, 0}}, {" 17 ", {0, 17}}};
    for (const auto& c : numbers) {
        ASSERT_EQ(reg.WriteString(kHive, kKey, "Interval", c.stored), 0);
        EXPECT_EQ(num(kKey, "Interval"), c.read) << c.stored;
    }
    const std::string umlauts = QString(50, QChar(0xE4)).toStdString();  // 50 letters, 100 bytes
    for (const std::string& stored : {std::string(100, 'x'), umlauts, umlauts + "a", std::string(101, 'x')}) {
        ASSERT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", stored), 0);
        EXPECT_EQ(text(kKey, "LastUpdate"), stored.size() <= 100 ? Text(0, stored) : Text(-3, ""));
    }
}

// Two writers run to their end while a third is killed in the middle of its writes.
TEST_F(Store, WritersInOtherProcessesNeitherTearTheFileNorLoseValuesEvenWhenKilled)
{
    ASSERT_EQ(reg.WriteDword(kHive, rem::KeyPath("Keep"), "Count", 7), 0);  // never lost
    const pid_t doomed = startWriter("Doomed", true), pids[] = {startWriter("Alpha", false), startWriter("Beta\\Sub", false)};
    int torn = 0;  // reads of the file while they write that found it torn
    const auto end = steady_clock::now() + 30s;
    while (num(rem::KeyPath("Doomed"), "Count").second <= 20 && steady_clock::now() < end)
        torn += !whole(storeFile());
    EXPECT_TRUE(::kill(doomed, SIGKILL) == 0 && ::waitpid(doomed, nullptr, 0) == doomed);
    for (const pid_t pid : pids) {
        int status = -1;
        while (::waitpid(pid, &status, WNOHANG) == 0 && steady_clock::now() < end)
            torn += !whole(storeFile());
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(num(rem::KeyPath("Alpha"), "Count"), Num(0, kWrites));
    EXPECT_EQ(num(rem::KeyPath("Beta\\Sub"), "Count"), Num(0, kWrites));
    EXPECT_GT(num(rem::KeyPath("Doomed"), "Count").second, 20u);
    EXPECT_EQ(torn + !whole(storeFile()), 0);
    EXPECT_EQ(reg.WriteDword(kHive, rem::KeyPath("Keep"), "Count", 8), 0);  // no lock of the dead writer in the way
    EXPECT_EQ(num(rem::KeyPath("Keep"), "Count"), Num(0, 8));
}

// Days since 1899-12-30 on the local clock, as "%f" text, read back the way atof reads.
TEST(Moment, CountsLocalDaysWritesAndReadsTheText)
{
    std::tm tm{};
    tm.tm_hour = 18, tm.tm_mday = 1, tm.tm_isdst = -1;  // 1900-01-01 18:00
    const auto tp = system_clock::from_time_t(std::mktime(&tm));
    EXPECT_DOUBLE_EQ(Moment::fromTimePoint(tp).days(), 2.75);
    EXPECT_EQ(Moment::fromTimePoint(tp).toTimePoint(), tp);
    EXPECT_EQ(Moment(46348.25).format(), "46348.250000");
    for (const char* text : {"46348.250000", "  46348.25xyz", "+46348.25"})
        EXPECT_DOUBLE_EQ(Moment::parse(text).days(), 46348.25) << text;
    for (const char* text : {"", "yesterday", "1e999", "nan"})
        EXPECT_DOUBLE_EQ(Moment::parse(text).days(), 0.0) << text;
}

// Each row is one start of the host on the settings given.
TEST_F(Schedule, ChecksExactlyWhenDue)
{
    EXPECT_TRUE(StartSchedule::IsCheckDue(1, 5, 100.0, 105.0));  // a difference equal to the interval
    const auto ago = [](double days) { return (Moment::now() - days).format(); };  // "%f" may round up by 43 ms
    const struct { std::uint32_t active, check, interval; std::string last; bool due;
                   const char* deleted = nullptr; } rows[] = {  // deleted: removed before the start
        {0, 0, 5, "46000.000000", false},
        {1, 0, 5, ago(-2), true},  // Check 0: at each start, whatever the time
        {1, 1, 5, ago(4.9), false},
        {1, 1, 5, ago(5.0001), true},
        {1, 1, 0, ago(0.0001), true},
        {1, 1, 0, ago(-0.01), false},  // the clock stands behind LastUpdate
        {1, 1, 4294967295u, "1.0", false},  // the interval is unsigned
        {1, 1, 3650, "not a moment", true},  // a LastUpdate that can't be read (or is too long) is day 0
        {1, 1, 3650, "1.0", true, rem::kLastUpdate},
        {1, 1, 5, ago(0), true, rem::kCheck},  // a missing Check or Interval is 0
        {1, 1, 5, ago(0.0001), true, rem::kInterval},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        store(row.active, row.check, row.interval, row.last);
        ASSERT_EQ(row.deleted ? reg.DeleteValue(kHive, kKey, row.deleted) : 0, 0);
        const std::string before = m_dir.read(storeFile());
        calls = 0;
        StartSchedule schedule(0ms);
        ASSERT_TRUE(schedule.RunStartSchedule("Prod", probe) && schedule.waitUntilIdle(10s));
        EXPECT_EQ(calls, row.due ? 1 : 0);
        if (row.due)  // renewed before the check
            EXPECT_NEAR(Moment::parse(seen) - Moment::now(), 0.0, 60.0 / 86400) << seen;
        else  // nothing written
            EXPECT_EQ(m_dir.read(storeFile()), before);
    }
}

// First use (Active can't be read) stores the four defaults over whatever else is there; a stop cuts the wait short.
TEST_F(Schedule, FirstUseOneWorkerAndAWorkerThatCannotStart)
{
    store(1, 1, 30, "46000.000000");
    ASSERT_EQ(reg.DeleteValue(kHive, kKey, rem::kActive), 0);
    StartSchedule schedule;  // the real one-second wait
    ASSERT_TRUE(schedule.RunStartSchedule("Prod", probe));
    const auto t0 = steady_clock::now();
    EXPECT_TRUE(schedule.stop());
    EXPECT_LT(steady_clock::now() - t0, 500ms);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(std::tuple(num(kKey, rem::kActive), num(kKey, rem::kCheck), num(kKey, rem::kInterval)),
              std::tuple(Num(0, 1), Num(0, 0), Num(0, 5)));
    const Text firstUse = text(kKey, rem::kLastUpdate);
    EXPECT_NEAR(Moment::parse(firstUse.second) - Moment::now(), 0, 60.0 / 86400);
    // A worker that can't start: false, and LastUpdate stays for the next start.
    pthread_attr_t huge, old;
    ASSERT_EQ(pthread_getattr_default_np(&old), 0);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t(1) << 50);  // more than any address space
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    const bool started = schedule.RunStartSchedule("Prod", probe);
    pthread_setattr_default_np(&old);
    EXPECT_FALSE(started);
    EXPECT_EQ(text(kKey, rem::kLastUpdate), firstUse);
    // The next due start runs a new worker, and only one.
    ASSERT_TRUE(schedule.RunStartSchedule("Prod", probe));
    EXPECT_TRUE(schedule.RunStartSchedule("Other", probe));
    ASSERT_TRUE(schedule.waitUntilIdle(10s));
    EXPECT_EQ(calls, 1);
}

// The key may change while the worker waits (the settings window sets it): the worker takes it as it stands then.
TEST_F(Schedule, TheWorkerTakesTheKeyAsItStandsAfterItsWait)
{
    store(1, 0, 5, "46000.000000");
    std::mutex lock;
    std::string key = "Prod";
    auto current = [&] { std::lock_guard l(lock); return key; };
    StartSchedule schedule(300ms);
    ASSERT_TRUE(schedule.RunStartSchedule(current, probe));
    { std::lock_guard l(lock); key = "Later"; }
    ASSERT_TRUE(schedule.waitUntilIdle(10s));
    EXPECT_EQ(std::tuple(calls.load(), seenKey), std::tuple(1, std::string("Later")));
    EXPECT_NEAR(Moment::parse(seen) - Moment::now(), 0.0, 60.0 / 86400) << "LastUpdate of the new key renewed";
    EXPECT_EQ(text(kKey, rem::kLastUpdate), Text(0, "46000.000000"));
}

namespace {

// A reminder without any window, on the sample product and the test server; the notes it shows are recorded.
struct Notes : Store {
    test::SampleProduct product;
    test::FtpServer server{product.server.path()};
    test::ScriptedBox box;
    std::vector<Reminder::Notes> shown;
    std::vector<std::string> pages;
    const Reminder::ShowNotes record = [this](const Reminder::Notes& notes) {
        shown.push_back(notes);
        pages.push_back(test::readFile(notes.pagePath));
    };
    static constexpr const char* kNoConnection = "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!";
};

} // namespace

TEST_F(Notes, AYesLeadsToTheNotesOnAFreeClientWhichAnotherCheckCannotTakeWhileTheyHoldIt)
{
    product.server.write("Sampler/LatestUpdate.html", "<p>release 2</p>");
    const std::string install = product.install.str();
    Reminder* self = nullptr;
    bool fetched = false;
    Reminder reminder("Sampler", install, "Sampler.exe", [&] { fetched = self->FetchReleaseNotes(record); });
    self = &reminder;
    box.answer(BoxAnswer::Yes);
    EXPECT_FALSE(reminder.CheckForUpdates("Sampler", install, "Sampler.exe", false));
    ASSERT_TRUE(fetched && shown.size() == 1);
    EXPECT_EQ(std::tuple(shown[0].pagePath, shown[0].productKey, shown[0].installDir, shown[0].exeName, shown[0].server),
              std::tuple(install + "/LatestUpdate.html", std::string("Sampler"), install, std::string("Sampler.exe"), server.address()));
    EXPECT_EQ(pages[0], "<p>release 2</p>");
    ASSERT_EQ(box.count(), 1u);
    EXPECT_NE(box.shown()[0].text.find("There are some newer files"), std::string::npos);
    EXPECT_EQ(server.loginCount(), 2);
    EXPECT_FALSE(reminder.client().isConnected());

    // A check (the schedule's) while the notes are still logging on, before the client counts as connected.
    server.stallReplies(300);
    std::thread notes([&] { reminder.FetchReleaseNotes(record); });
    for (const auto end = steady_clock::now() + 10s; server.loginCount() < 3 && steady_clock::now() < end;)
        std::this_thread::sleep_for(2ms);
    EXPECT_FALSE(reminder.client().isConnected());
    reminder.CheckForUpdates("Sampler", install, "Sampler.exe", true);
    server.stallReplies(0);
    notes.join();
    EXPECT_EQ(box.count(), 2u);
    EXPECT_EQ(box.shown().back().text, kNoConnection) << "the road of a failed connection";
    EXPECT_TRUE(shown.size() == 2 && server.loginCount() == 3);
}

TEST_F(Notes, WithoutThePageNothingShowsTheNextCheckConnectsAndAnEmptyInstallDirectoryMeansTheCurrentOne)
{
    Reminder reminder("Sampler", "", ""); // as when the settings window came first
    EXPECT_FALSE(reminder.FetchReleaseNotes(record));
    EXPECT_TRUE(shown.empty() && box.count() == 0 && !reminder.client().isConnected());
    EXPECT_TRUE(server.waitForCommand("CWD", 5s) && server.loginCount() == 1);
    box.answer(BoxAnswer::No);
    reminder.CheckForUpdates("Sampler", product.install.str(), "Sampler.exe", false);
    EXPECT_TRUE(box.count() == 1 && box.shown()[0].text.find("There are some newer files") != std::string::npos);
    EXPECT_EQ(server.loginCount(), 2);

    // The page of the key set last lands in the current directory.
    product.server.write("Other/LatestUpdate.html", "other notes");
    test::TempDir work;
    const auto oldCwd = std::filesystem::current_path();
    std::filesystem::current_path(work.path());
    reminder.setProductKey("Other");
    const bool fetched = reminder.FetchReleaseNotes(record);
    std::filesystem::current_path(oldCwd);
    ASSERT_TRUE(fetched && shown.size() == 1);
    EXPECT_EQ(std::tuple(shown[0].pagePath, shown[0].installDir, shown[0].productKey, pages[0]),
              std::tuple(work / "LatestUpdate.html", work.str(), std::string("Other"), std::string("other notes")));
}
