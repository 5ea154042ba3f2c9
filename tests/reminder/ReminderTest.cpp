#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"
#include "reminder/StartSchedule.h"
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
    Num num(const std::string& key, const char* name)
    {
        std::uint32_t n = 42;
        return {reg.ReadDword(kHive, key, name, n), n};
    }
    Text text(const std::string& key, const char* name)
    {
        std::string s = "stale";
        return {reg.ReadString(kHive, key, name, s), s};
    }
    void store(std::uint32_t active, std::uint32_t check, std::uint32_t interval, std::string last)
    {
        ASSERT_EQ(reg.WriteValues(kHive, kKey, {{rem::kActive, active}, {rem::kCheck, check},
                                                {rem::kInterval, interval}, {rem::kLastUpdate, last}}), 0);
    }

    test::TempDir m_dir;
    CRegistryAccess reg;
    // A check that counts its calls, notes LastUpdate as it found it, and throws (as it may).
    std::atomic<int> calls{0};
    std::string seen;
    const std::function<void()> probe = [this] {
        seen = text(kKey, rem::kLastUpdate).second;
        ++calls;
        throw std::runtime_error("no server");
    };
};
using Schedule = Store;

// "" when the file is whole: each value a number or one letter repeated, Keep/Count 7.
std::string tornValue(const std::string& path)
{
    QSettings file(QString::fromStdString(path), QSettings::IniFormat);
    for (const QString& key : file.allKeys()) {
        const std::string v = file.value(key).toString().toStdString();
        const std::string allowed = std::isdigit(v[0]) ? "0123456789" : v.substr(0, 1);
        if (v.empty() || v.find_first_not_of(allowed) != v.npos)
            return key.toStdString() + "=" + v;
    }
    if (file.status() != QSettings::NoError)
        return "unreadable";
    return file.value("Keep/Count").toString() == "7" ? "" : "Keep/Count lost";
}

// A child process that writes a counter and a text of changing length, kWrites times
// or until killed; exits with 0 when every write succeeded.
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

TEST_F(Store, KeysAndValuesGiveTheirStatusCodes)
{
    EXPECT_EQ(num(kKey, "Active"), Num(-1, 0));
    EXPECT_EQ(text(kKey, "LastUpdate"), Text(-1, ""));
    EXPECT_EQ(reg.ProbeKey(kHive, kKey), -1);
    EXPECT_EQ(reg.DeleteValue(kHive, kKey, "Active"), -1);
    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), 0);
    EXPECT_EQ(reg.ProbeKey(kHive, kKey), 0);
    EXPECT_EQ(num(kKey, "Check"), Num(-1, 0));
    EXPECT_EQ(text(kKey, "LastUpdate"), Text(-3, ""));
    EXPECT_EQ(reg.DeleteValue(kHive, kKey, "Check"), -3);
    // A backslash in the product key makes a nested group.
    ASSERT_EQ(reg.WriteDword(kHive, rem::KeyPath("Suite\\Pro"), "Active", 0), 0);
    ASSERT_EQ(reg.WriteString(kHive, rem::KeyPath("Suite"), "LastUpdate", "1.5"), 0);
    EXPECT_EQ(num(rem::KeyPath("Suite\\Pro"), "Active"), Num(0, 0));
    QSettings file(QString::fromStdString(storeFile()), QSettings::IniFormat);
    EXPECT_EQ(file.value("Suite/Pro/Active").toString(), "0");
    EXPECT_EQ(file.value("Suite/LastUpdate").toString(), "1.5");
}

TEST_F(Store, ValuesReadOnlyWithinTheFourByteAndHundredByteLimits)
{
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

TEST_F(Store, StoreThatCannotBeWrittenGivesMinusFour)
{
    m_dir.write("Korvane", "not a directory");  // the store's directory can't be made
    EXPECT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), -4);
    EXPECT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", "1.0"), -4);
    EXPECT_EQ(reg.WriteValues(kHive, kKey, {{"Active", std::uint32_t(1)}}), -4);
    EXPECT_EQ(num(kKey, "Active"), Num(-1, 0));
}

TEST_F(Store, WritersInOtherProcessesNeitherTearTheFileNorLoseValuesEvenWhenKilled)
{
    ASSERT_EQ(reg.WriteDword(kHive, rem::KeyPath("Keep"), "Count", 7), 0);  // never lost
    const pid_t pids[] = {startWriter("Alpha", false), startWriter("Beta\\Sub", false)};
    int codes[] = {-2, -2}, status = 0;  // -2: still running
    std::string torn;  // read the file while they write
    for (auto end = steady_clock::now() + 30s; std::min(codes[0], codes[1]) == -2 && steady_clock::now() < end;) {
        torn += torn.empty() ? tornValue(storeFile()) : "";
        for (int i = 0; i < 2; ++i)
            if (codes[i] == -2 && ::waitpid(pids[i], &status, WNOHANG) == pids[i])
                codes[i] = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    EXPECT_EQ(std::pair(codes[0], codes[1]), std::pair(0, 0));
    EXPECT_EQ(num(rem::KeyPath("Alpha"), "Count"), Num(0, kWrites));
    EXPECT_EQ(num(rem::KeyPath("Beta\\Sub"), "Count"), Num(0, kWrites));
    const pid_t doomed = startWriter("Doomed", true);  // killed in the middle of its writes
    const auto end = steady_clock::now() + 30s;
    while (num(rem::KeyPath("Doomed"), "Count").second <= 20 && steady_clock::now() < end) {}
    EXPECT_EQ(::kill(doomed, SIGKILL), 0);
    ::waitpid(doomed, nullptr, 0);
    EXPECT_GT(num(rem::KeyPath("Doomed"), "Count").second, 20u);
    EXPECT_EQ(torn + tornValue(storeFile()), "");
    // No lock of the dead writer left in the way.
    EXPECT_EQ(reg.WriteDword(kHive, rem::KeyPath("Keep"), "Count", 8), 0);
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
    // The "%f" text of the moment some days ago (the text may round up by 43 ms).
    const auto ago = [](double days) { return (Moment::now() - days).format(); };
    const struct { std::uint32_t active, check, interval; std::string last;
                   const char* deleted; bool due; } rows[] = {  // deleted: removed before the start
        {0, 0, 5, "46000.000000", nullptr, false},
        {1, 0, 5, ago(-2), nullptr, true},  // Check 0: at each start, whatever the time
        {1, 1, 5, ago(4.9), nullptr, false},
        {1, 1, 5, ago(5.0001), nullptr, true},
        {1, 1, 5, ago(-2), nullptr, false},  // the clock stands behind LastUpdate
        {1, 1, 0, ago(0.0001), nullptr, true},
        {1, 1, 0, ago(-0.01), nullptr, false},
        {1, 1, 4294967295u, "1.0", nullptr, false},  // the interval is unsigned
        {1, 1, 3650, "", nullptr, true},  // a LastUpdate that can't be read is day 0
        {1, 1, 3650, "not a moment", nullptr, true},
        {1, 1, 3650, ago(0) + std::string(100, '0'), nullptr, true},
        {1, 1, 3650, "1.0", rem::kLastUpdate, true},
        {1, 1, 5, ago(0), rem::kCheck, true},  // a missing Check or Interval is 0
        {1, 1, 5, ago(0.0001), rem::kInterval, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        store(row.active, row.check, row.interval, row.last);
        ASSERT_EQ(row.deleted ? reg.DeleteValue(kHive, kKey, row.deleted) : 0, 0);
        const std::string before = m_dir.read(storeFile());
        calls = 0;
        StartSchedule schedule(0ms);
        EXPECT_TRUE(schedule.RunStartSchedule("Prod", probe));
        ASSERT_TRUE(schedule.waitUntilIdle(10s));
        EXPECT_EQ(calls, row.due ? 1 : 0);
        if (row.due)  // renewed before the check
            EXPECT_NEAR(Moment::parse(seen) - Moment::now(), 0.0, 60.0 / 86400) << seen;
        else  // nothing written
            EXPECT_EQ(m_dir.read(storeFile()), before);
    }
}

// Active can't be read: the four defaults replace whatever else is stored.
TEST_F(Schedule, FirstUseWritesTheDefaultsAndOneWorkerRunsAtATime)
{
    store(1, 1, 30, "46000.000000");
    ASSERT_EQ(reg.DeleteValue(kHive, kKey, rem::kActive), 0);
    StartSchedule schedule;  // the real one-second wait
    ASSERT_TRUE(schedule.RunStartSchedule("Prod", probe));
    EXPECT_TRUE(schedule.RunStartSchedule("Prod", probe));  // while the worker waits
    const auto t0 = steady_clock::now();
    EXPECT_TRUE(schedule.stop());
    EXPECT_LT(steady_clock::now() - t0, 500ms);  // the wait was cut short
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(std::tuple(num(kKey, rem::kActive), num(kKey, rem::kCheck), num(kKey, rem::kInterval)),
              std::tuple(Num(0, 1), Num(0, 0), Num(0, 5)));
    EXPECT_NEAR(Moment::parse(text(kKey, rem::kLastUpdate).second) - Moment::now(), 0, 60.0 / 86400);
    // After its end the next due start runs a new worker, and only one.
    ASSERT_TRUE(schedule.RunStartSchedule("Prod", probe));
    EXPECT_TRUE(schedule.RunStartSchedule("Other", probe));
    ASSERT_TRUE(schedule.waitUntilIdle(10s));
    EXPECT_EQ(calls, 1);
}

TEST_F(Schedule, WorkerThatCannotStartGivesFalseAndLeavesLastUpdate)
{
    store(1, 0, 5, "46000.000000");
    pthread_attr_t huge, old;
    ASSERT_EQ(pthread_getattr_default_np(&old), 0);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t(1) << 50);  // more than any address space
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    StartSchedule schedule(0ms);
    const bool started = schedule.RunStartSchedule("Prod", probe);
    pthread_setattr_default_np(&old);
    EXPECT_FALSE(started);
    EXPECT_FALSE(schedule.isRunning());
    EXPECT_EQ(text(kKey, rem::kLastUpdate), Text(0, "46000.000000"));
}
