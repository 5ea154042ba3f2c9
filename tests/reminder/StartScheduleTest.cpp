#include "reminder/StartSchedule.h"

#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"

#include "StoreEnv.h"

#include <atomic>
#include <cstdio>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

using kau::CRegistryAccess;
using kau::Moment;
using kau::RegistryHive;
using kau::StartSchedule;
using namespace std::chrono_literals;
namespace reminder = kau::reminder;

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;
const std::string kProduct = "Prod";
const std::string kKey = reminder::KeyPath(kProduct);
constexpr auto kBound = 10s;  // upper bound for any wait on a worker

// The "%f" text of a moment some days ago, rounded down to the last digit the
// text keeps (plain rounding could put a just-taken moment into the future).
std::string daysAgo(double days)
{
    return Moment(std::floor((Moment::now() - days).days() * 1e6) / 1e6).format();
}

// Counts the checks and remembers what the store held when the check began.
struct CheckProbe {
    std::atomic<int> calls{0};
    std::string lastUpdateSeen;

    std::function<void()> fn()
    {
        return [this] {
            CRegistryAccess().ReadString(kHive, kKey, reminder::kLastUpdate, lastUpdateSeen);
            ++calls;
        };
    }
};

class Schedule : public kau::test::StoreEnv {
protected:
    void writeSettings(std::uint32_t active, std::uint32_t check, std::uint32_t interval,
                       const std::string& lastUpdate)
    {
        CRegistryAccess reg;
        ASSERT_EQ(reg.WriteDword(kHive, kKey, reminder::kActive, active), 0);
        ASSERT_EQ(reg.WriteDword(kHive, kKey, reminder::kCheck, check), 0);
        ASSERT_EQ(reg.WriteDword(kHive, kKey, reminder::kInterval, interval), 0);
        ASSERT_EQ(reg.WriteString(kHive, kKey, reminder::kLastUpdate, lastUpdate), 0);
    }
    std::uint32_t dword(const char* name)
    {
        std::uint32_t n = 0;
        EXPECT_EQ(CRegistryAccess().ReadDword(kHive, kKey, name, n), 0) << name;
        return n;
    }
    std::string lastUpdate()
    {
        std::string s;
        CRegistryAccess().ReadString(kHive, kKey, reminder::kLastUpdate, s);
        return s;
    }
    // Runs the schedule once without a start delay and waits for its worker.
    int checksAfterOneStart()
    {
        StartSchedule schedule(0ms);
        CheckProbe probe;
        EXPECT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
        EXPECT_TRUE(schedule.waitUntilIdle(kBound));
        return probe.calls;
    }
};

} // namespace

TEST(ScheduleRule, DueWhenCheckIsZeroOrTheIntervalHasPassed)
{
    EXPECT_TRUE(StartSchedule::IsCheckDue(0, 5, 100.0, 100.0));
    EXPECT_TRUE(StartSchedule::IsCheckDue(0, 5, 200.0, 100.0));
    EXPECT_FALSE(StartSchedule::IsCheckDue(1, 5, 100.0, 104.9));
    EXPECT_TRUE(StartSchedule::IsCheckDue(1, 5, 100.0, 105.0));  // equal is due
    EXPECT_TRUE(StartSchedule::IsCheckDue(2, 5, 100.0, 105.5));
    EXPECT_TRUE(StartSchedule::IsCheckDue(1, 0, 100.0, 100.0));
    EXPECT_FALSE(StartSchedule::IsCheckDue(1, 0, 100.0, 99.9));  // clock behind LastUpdate
    EXPECT_FALSE(StartSchedule::IsCheckDue(1, 4294967295u, 0.0, 50000.0));
}

TEST_F(Schedule, FirstStartWritesDefaultsAndChecksAtOnce)
{
    StartSchedule schedule;  // the real one-second delay
    CheckProbe probe;
    const Moment before = Moment::now();
    ASSERT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    EXPECT_TRUE(schedule.isRunning());

    // The defaults are in place before the worker has done anything.
    EXPECT_EQ(dword(reminder::kActive), 1u);
    EXPECT_EQ(dword(reminder::kCheck), 0u);
    EXPECT_EQ(dword(reminder::kInterval), 5u);
    const std::string first = lastUpdate();
    EXPECT_NEAR(Moment::parse(first) - before, 0.0, 60.0 / 86400) << first;
    EXPECT_EQ(probe.calls, 0);

    ASSERT_TRUE(schedule.waitUntilIdle(kBound));
    EXPECT_EQ(probe.calls, 1);
    // The worker renewed LastUpdate a second later, before its check.
    EXPECT_GT(Moment::parse(probe.lastUpdateSeen).days(), Moment::parse(first).days());
    EXPECT_EQ(probe.lastUpdateSeen, lastUpdate());
}

TEST_F(Schedule, InactiveStartsNothingAndWritesNothing)
{
    CRegistryAccess().WriteDword(kHive, kKey, reminder::kActive, 0);
    const std::string before = storeText();
    StartSchedule schedule(0ms);
    CheckProbe probe;
    EXPECT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    EXPECT_FALSE(schedule.isRunning());
    EXPECT_EQ(storeText(), before);
    EXPECT_EQ(probe.calls, 0);
}

TEST_F(Schedule, OnlyActiveMissingRewritesTheOtherDefaults)
{
    writeSettings(1, 1, 30, "46000.000000");
    ASSERT_EQ(CRegistryAccess().DeleteValue(kHive, kKey, reminder::kActive), 0);
    EXPECT_EQ(checksAfterOneStart(), 1);
    EXPECT_EQ(dword(reminder::kActive), 1u);
    EXPECT_EQ(dword(reminder::kCheck), 0u);
    EXPECT_EQ(dword(reminder::kInterval), 5u);
}

TEST_F(Schedule, IntervalDecidesWhenCheckIsSet)
{
    const Moment now = Moment::now();
    writeSettings(1, 1, 5, (now - 4.9).format());
    EXPECT_EQ(checksAfterOneStart(), 0);
    EXPECT_EQ(lastUpdate(), (now - 4.9).format());  // nothing renewed

    writeSettings(1, 1, 5, daysAgo(5.0));
    EXPECT_EQ(checksAfterOneStart(), 1);
    EXPECT_NEAR(Moment::parse(lastUpdate()) - Moment::now(), 0.0, 60.0 / 86400);

    // Interval 0: every start checks.
    writeSettings(1, 1, 0, daysAgo(0));
    EXPECT_EQ(checksAfterOneStart(), 1);
    writeSettings(1, 1, 0, daysAgo(0));
    EXPECT_EQ(checksAfterOneStart(), 1);
}

TEST_F(Schedule, LastUpdateInTheFutureWaitsForTheIntervalAfterIt)
{
    writeSettings(1, 1, 5, (Moment::now() + 2.0).format());
    EXPECT_EQ(checksAfterOneStart(), 0);
    writeSettings(1, 1, 0, (Moment::now() + 0.01).format());
    EXPECT_EQ(checksAfterOneStart(), 0);
    // Check 0 ignores the time altogether.
    writeSettings(1, 0, 5, (Moment::now() + 2.0).format());
    EXPECT_EQ(checksAfterOneStart(), 1);
}

TEST_F(Schedule, MissingOrUnreadableLastUpdateIsDue)
{
    writeSettings(1, 1, 3650, "");
    EXPECT_EQ(checksAfterOneStart(), 1);

    writeSettings(1, 1, 3650, "not a moment");
    EXPECT_EQ(checksAfterOneStart(), 1);

    // Too long for the store's text limit: reads as empty.
    writeSettings(1, 1, 3650, Moment::now().format() + std::string(100, '0'));
    EXPECT_EQ(checksAfterOneStart(), 1);

    writeSettings(1, 1, 3650, "1.0");
    ASSERT_EQ(CRegistryAccess().DeleteValue(kHive, kKey, reminder::kLastUpdate), 0);
    EXPECT_EQ(checksAfterOneStart(), 1);
}

TEST_F(Schedule, MissingCheckOrIntervalCountAsZero)
{
    writeSettings(1, 1, 5, Moment::now().format());
    ASSERT_EQ(CRegistryAccess().DeleteValue(kHive, kKey, reminder::kCheck), 0);
    EXPECT_EQ(checksAfterOneStart(), 1);  // Check 0: each start

    writeSettings(1, 1, 5, daysAgo(0));
    ASSERT_EQ(CRegistryAccess().DeleteValue(kHive, kKey, reminder::kInterval), 0);
    EXPECT_EQ(checksAfterOneStart(), 1);  // 0 days have always passed
}

TEST_F(Schedule, SecondStartWhileTheWorkerRunsStartsNoSecondWorker)
{
    StartSchedule schedule;
    CheckProbe probe;
    ASSERT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    ASSERT_TRUE(schedule.isRunning());
    EXPECT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    EXPECT_TRUE(schedule.RunStartSchedule("Other", probe.fn()));
    ASSERT_TRUE(schedule.waitUntilIdle(kBound));
    EXPECT_EQ(probe.calls, 1);

    // Once it has ended, the next due start runs a new worker.
    EXPECT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    ASSERT_TRUE(schedule.waitUntilIdle(kBound));
    EXPECT_EQ(probe.calls, 2);
}

TEST_F(Schedule, StopDuringTheWaitEndsAtOnceWithoutCheckOrWrite)
{
    writeSettings(1, 0, 5, "46000.000000");
    std::atomic<bool> finished{false};
    CheckProbe probe;
    {
        StartSchedule schedule;  // waits one second before its check
        schedule.setOnFinished([&] { finished = true; });
        ASSERT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
        ASSERT_TRUE(schedule.isRunning());
        const auto t0 = std::chrono::steady_clock::now();
        EXPECT_TRUE(schedule.stop());
        // Well inside the one-second wait: the wait was interrupted.
        EXPECT_LT(std::chrono::steady_clock::now() - t0, 500ms);
        EXPECT_FALSE(schedule.isRunning());
        EXPECT_TRUE(finished);
        EXPECT_TRUE(schedule.stop());  // a second stop has nothing to do
    }
    EXPECT_EQ(probe.calls, 0);
    EXPECT_EQ(lastUpdate(), "46000.000000");
}

TEST_F(Schedule, DestructorStopsAWaitingWorker)
{
    CheckProbe probe;
    const auto t0 = std::chrono::steady_clock::now();
    {
        StartSchedule schedule;
        ASSERT_TRUE(schedule.RunStartSchedule(kProduct, probe.fn()));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - t0, 500ms);
    EXPECT_EQ(probe.calls, 0);
}

TEST_F(Schedule, StopWaitsForACheckThatIsRunningAndTellsItToEnd)
{
    StartSchedule schedule(0ms);
    std::mutex m;
    std::condition_variable cv;
    bool entered = false;
    std::atomic<bool> sawStop{false};
    ASSERT_TRUE(schedule.RunStartSchedule(kProduct, [&] {
        {
            std::lock_guard lock(m);
            entered = true;
        }
        cv.notify_all();
        const auto deadline = std::chrono::steady_clock::now() + kBound;
        while (!schedule.stopRequested() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        sawStop = schedule.stopRequested();
    }));
    {
        std::unique_lock lock(m);
        ASSERT_TRUE(cv.wait_for(lock, kBound, [&] { return entered; }));
    }
    EXPECT_TRUE(schedule.stop());
    EXPECT_TRUE(sawStop);
    EXPECT_FALSE(schedule.isRunning());
}

TEST_F(Schedule, ACheckThatThrowsStillEndsTheWorker)
{
    StartSchedule schedule(0ms);
    ASSERT_TRUE(schedule.RunStartSchedule(kProduct, [] { throw std::runtime_error("no server"); }));
    ASSERT_TRUE(schedule.waitUntilIdle(kBound));
    EXPECT_TRUE(schedule.RunStartSchedule(kProduct, [] {}));
    EXPECT_TRUE(schedule.waitUntilIdle(kBound));
}

TEST_F(Schedule, WorkerThatCannotStartGivesFalseAndLeavesLastUpdate)
{
    // The part that runs in a fresh copy of this program (started below), whose
    // address space is then limited so that no thread stack fits. A fresh
    // program, because a process that has run threads keeps their stacks for
    // reuse.
    if (const char* store = std::getenv("KAU_TEST_NO_THREAD_STORE")) {
        ::setenv("XDG_CONFIG_HOME", store, 1);
        long pages = 0;
        if (FILE* f = std::fopen("/proc/self/statm", "r")) {
            if (std::fscanf(f, "%ld", &pages) != 1)
                pages = 0;
            std::fclose(f);
        }
        if (pages == 0)
            ::_exit(3);
        const rlim_t limit = rlim_t(pages) * ::sysconf(_SC_PAGESIZE) + (2u << 20);
        const rlimit rl{limit, limit};
        if (::setrlimit(RLIMIT_AS, &rl) != 0)
            ::_exit(3);
        StartSchedule schedule(0ms);
        const bool started = schedule.RunStartSchedule(kProduct, [] {});
        ::_exit(started ? 1 : schedule.isRunning() ? 2 : 0);
    }

    writeSettings(1, 0, 5, "46000.000000");
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::setenv("KAU_TEST_NO_THREAD_STORE", m_dir.str().c_str(), 1);
        ::execl("/proc/self/exe", "/proc/self/exe",
                "--gtest_filter=Schedule.WorkerThatCannotStartGivesFalseAndLeavesLastUpdate",
                static_cast<char*>(nullptr));
        ::_exit(4);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0)
        << "1: started anyway, 2: flagged running, 3: no limit, 4: no exec";
    EXPECT_EQ(lastUpdate(), "46000.000000");
}
