// One run at a time on an installation, in the flows: a run waits for another one's hold and then
// goes its usual road, and a stop ends the wait. (The console's test has the runs kept out.)
#include "UpdateRunTestSupport.h"
#include "flows/RestoreRun.h"
#include "flows/RunFrame.h"
#include "flows/RunLog.h"
#include "flows/RunProgress.h"
#include "flows/UpdateRun.h"
#include "platform/FixedNames.h"
#include "platform/InstallationLock.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/WorkDir.h"

#include <future>
#include <mutex>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

namespace {

// A log the test reads while the run writes it on another thread.
struct SharedLog : RunLog, RunProgress {
    mutable std::mutex mutex;
    Lines lines;
    void AddLine(const std::string& line) override { std::lock_guard lock(mutex); lines.push_back(line); }
    void ReplaceLastLine(const std::string& line) override { std::lock_guard lock(mutex); lines.back() = line; }
    void ScrollToEnd() override {}
    void SetRange(int, int) override {}
    void SetPosition(int) override {}
    Lines all() const { std::lock_guard lock(mutex); return lines; }
    bool has(const std::string& line) const
    {
        const Lines now = all();
        return std::find(now.begin(), now.end(), line) != now.end();
    }
};

struct RunLockTest : ::testing::Test, SampleProduct {
    FtpServer ftp{server.path()};
    ScriptedBox box;
    SharedLog log;
    InstallationLock other{install.str()}; // the other run
};

} // namespace

TEST_F(RunLockTest, AnUpdateWaitsForTheOtherRunAndThenGoesItsUsualRoad)
{
    ASSERT_EQ(other.Acquire(0ms), InstallationLock::State::Held);
    auto running = std::async(std::launch::async, [&] { return UpdateRun(log, log).run(kKey, install.str(), false); });
    ASSERT_TRUE(waitUntil([&] { return log.has(kWaitForOtherRunLine); }));
    EXPECT_EQ(filesBelow(install.path()).at("Sampler.exe"), "program release 1\n") << "nothing done while it waits";
    EXPECT_EQ(log.all().size(), 1u);
    other.Release();
    const UpdateRun::Result result = running.get();
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    const Lines lines = log.all();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[1], "... connect to the KORVANE server");
    EXPECT_EQ(lines.back(), kEndOfDownloadLine);
    EXPECT_EQ(install.read("Sampler.exe"), server.read("Sampler/Sampler.exe"));
    EXPECT_FALSE(install.exists(kInstallationLockFile)) << "the run gives the lock back";
}

TEST_F(RunLockTest, AStopEndsTheWaitAtOnceWithNothingDone)
{
    RestoreExample restore;
    InstallationLock holder(restore.install.str());
    ASSERT_EQ(holder.Acquire(0ms), InstallationLock::State::Held);
    const Files before = filesBelow(restore.install.path());
    std::stop_source stop;
    auto stopped = std::async(std::launch::async, [&] {
        return RestoreRun(log, log, stop.get_token()).run(RestoreExample::kMiddle, restore.install.str());
    });
    ASSERT_TRUE(waitUntil([&] { return log.has(kWaitForOtherRunLine); }));
    stop.request_stop();
    ASSERT_EQ(stopped.wait_for(1s), std::future_status::ready) << "the stop waits out the other run";
    const RestoreRun::Result result = stopped.get();
    EXPECT_TRUE(result.stopped && !result.otherRun);
    EXPECT_EQ(log.all(), (Lines{kWaitForOtherRunLine}));
    EXPECT_EQ(filesBelow(restore.install.path()), before);
}
