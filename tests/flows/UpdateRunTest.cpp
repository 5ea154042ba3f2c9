// The update run against the real FTP server with real files: what lands on disk, the restore
// directory, the rewritten local revision file and the log, for the ordinary run and each failure.
#include "UpdateRunTestSupport.h"
#include "flows/RunLog.h"
#include "flows/RunProgress.h"
#include "flows/UpdateRun.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"

#include <future>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Outcome = UpdateRun::Outcome;
using Lines = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

namespace {

// The log of a run: `opened` opening lines, middle (in the transfer's frame if it ran), the closing lines.
Lines logOf(std::size_t opened, Lines middle, bool transfer = false)
{
    if (transfer) {
        middle.insert(middle.begin(), "---- start transfer ----");
        middle.insert(middle.end(), {"---- end transfer ----", "... update local revision file", "  ok!  updated local revision file"});
    }
    Lines all = {"... connect to the KORVANE server", "... set path (Sampler)", "... check remote revision file",
                 "... check local revision file", "... compare new files"};
    all.resize(opened);
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), {"   ", "  End of download procedure!! "});
    return all;
}

struct UpdateRunTest : ::testing::Test, RunLog, RunProgress {
    SampleProduct product;
    FtpServer server{product.server.path()};
    ScriptedBox box;
    Lines lines, bar;
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    void AddLine(const std::string& line) override { lines.push_back(line); }
    void ReplaceLastLine(const std::string& line) override { lines.back() = line; }
    void ScrollToEnd() override {}
    void SetRange(int lower, int upper) override { bar.push_back(std::to_string(lower) + ".." + std::to_string(upper)); }
    void SetPosition(int position) override { bar.push_back(std::to_string(position)); }
    UpdateRun::Result run(bool allFiles = false, std::stop_token stop = {})
    {
        lines.clear();
        bar.clear();
        return UpdateRun(*this, *this, stop).run(SampleProduct::kKey, product.install.str(), allFiles);
    }
};

} // namespace

TEST_F(UpdateRunTest, NewReleaseArrivesWithOldCopiesKeptAndAllFilesBringsTheUnchangedOneToo)
{
    const std::string newLocal = revisionFile(
        {"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07", "sampler.chm; 1.04.00", "Readme.txt; "});
    const fs::path restore = run().restoreDirectory;
    EXPECT_EQ(lines, logOf(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Readme.txt"}, true));
    // The bar counts files: 0..files+1, one step as each file begins, 100 at the end.
    EXPECT_EQ(bar, (Lines{"0..100", "1", "0..4", "1", "2", "3", "100"}));
    EXPECT_EQ(box.count(), 0u);
    for (const std::string name : {"Sampler.exe", "sampler.chm", "Readme.txt", "Plugins/Filter.dll", "RelInfoRemote.rel"})
        EXPECT_EQ(product.install.read(name), product.server.read("Sampler/" + name)) << name;
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), newLocal);
    // The restore directory keeps the old copies of the replaced files and the old list; nothing else is left.
    EXPECT_EQ(filesBelow(restore), (Files{{"RelInfoLocal.rel", oldLocal}, {"Sampler.exe", "program release 1\n"},
                                          {"sampler.chm", "help release 1\n"}}));
    EXPECT_EQ(filesBelow(product.install.path()).size(), 6u + 3u);
    // With all files asked for, the unchanged one comes as well.
    EXPECT_EQ(readFile(fs::path(run(true).restoreDirectory) / "Plugins/Filter.dll"), "filter 2.00.07\n");
    EXPECT_EQ(lines, logOf(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Plugins\\Filter.dll",
                                   "  ok!    Readme.txt"}, true));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), newLocal);
}

TEST_F(UpdateRunTest, FilesDroppedMidTransferFailAndLeaveNoPartialFile)
{
    server.dropDownloadOf("sampler.chm", 1000);
    server.dropDownloadOf("Readme.txt", 2);
    const fs::path restore = run().restoreDirectory;
    EXPECT_EQ(lines, logOf(5, {"  ok!    Sampler.exe", " fail!    sampler.chm", " fail!    Readme.txt"}, true));
    // A known file keeps its old version, a new one gets 0.00.00: both are offered again.
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                                                                      "sampler.chm; 1.03.00", "Readme.txt; 0.00.00"}));
    // Nothing under the real names; the old version lies staged and in the restore directory.
    const Files left = filesBelow(product.install.path());
    EXPECT_EQ(left.size(), 5u + 3u) << "a partial file is left";
    EXPECT_EQ(left.count("sampler.chm") + left.count("Readme.txt"), 0u);
    EXPECT_EQ(left.at("upd_sampler.chm"), "help release 1\n");
    EXPECT_EQ(readFile(restore / "sampler.chm"), "help release 1\n");
}

TEST_F(UpdateRunTest, PercentNameGetsNoOldCopyAndManyFilesOverrunTheBar)
{
    Lines remote = {"%Sampler.exe; 3.10.02"};
    product.server.write("Sampler/%Sampler.exe", "marked\n");
    product.install.write("%Sampler.exe", "old marked\n");
    for (int i = 1; i < 150; ++i) {
        remote.push_back("f" + std::to_string(i) + ".dat; 1.00.00");
        product.server.write("Sampler/f" + std::to_string(i) + ".dat", std::to_string(i));
    }
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile(remote));
    const fs::path restore = run().restoreDirectory;
    EXPECT_EQ(product.install.read("%Sampler.exe"), "marked\n");
    EXPECT_EQ(filesBelow(restore), (Files{{"RelInfoLocal.rel", oldLocal}}));
    // 100 of 151 at the end: a part of the bar, not a full one.
    EXPECT_EQ(Lines(bar.end() - 3, bar.end()), (Lines{"149", "150", "100"}));
    EXPECT_EQ(bar[2], "0..151");
}

TEST_F(UpdateRunTest, RunsThatMoveNoFile)
{
    const Files before = filesBelow(product.install.path());
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    EXPECT_EQ(run().outcome, Outcome::NoConnection);
    EXPECT_EQ(lines, logOf(1, {}));
    ::setenv("KORAUTOUPDATE_FTP_SERVER", server.address().c_str(), 1);
    fs::rename(product.server.path() / "Sampler", product.server.path() / "Other");
    EXPECT_EQ(run().outcome, Outcome::NoProductDirectory);
    EXPECT_EQ(lines, logOf(2, {}));
    fs::rename(product.server.path() / "Other", product.server.path() / "Sampler");
    fs::remove(product.server.path() / "Sampler/RelInfoRemote.rel");
    EXPECT_EQ(run().outcome, Outcome::NoRevisionFile);
    EXPECT_EQ(lines, logOf(3, {}));
    EXPECT_EQ(bar.back(), "100");
    EXPECT_EQ(filesBelow(product.install.path()), before) << "no restore directory, nothing changed";
    ASSERT_EQ(box.count(), 1u); // only a failed logon tells the user, by the client's box
    EXPECT_TRUE(box.shown()[0].text.starts_with("Connection to the KORVANE server failed."));

    // Nothing new: a restore directory with only the local list.
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.01"}));
    const fs::path restore = run().restoreDirectory;
    EXPECT_EQ(lines, logOf(5, {" end! No updates found!"}));
    EXPECT_EQ(filesBelow(restore), (Files{{"RelInfoLocal.rel", oldLocal}}));
    EXPECT_EQ(filesBelow(product.install.path()).size(), before.size() + 2) << "the restore copy and the remote list";

    // All files from an empty server list: the transfer runs no file but still rewrites the local list.
    product.server.write("Sampler/RelInfoRemote.rel", "; nothing released\r\n");
    product.install.write("RelInfoLocal.rel", "; a comment\r\nSampler.exe;3.10.01\r\n");
    run(true);
    EXPECT_EQ(lines, logOf(5, {}, true));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.01"}));
}

TEST_F(UpdateRunTest, StopWhileTheServerStallsEndsAtOnceAndWritesNothingMore)
{
    server.stallDownloadOf("sampler.chm");
    std::stop_source stop;
    auto running = std::async(std::launch::async, [&] { return run(false, stop.get_token()); });
    ASSERT_TRUE(server.waitForStall(std::chrono::seconds(20)));
    const auto t0 = std::chrono::steady_clock::now();
    stop.request_stop();
    ASSERT_EQ(running.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(1));
    EXPECT_EQ(running.get().outcome, Outcome::Stopped);
    EXPECT_EQ(lines.back(), " copy -> sampler.chm") << "no outcome and no closing lines after the stop";
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), oldLocal);
    EXPECT_FALSE(product.install.exists("Readme.txt") || product.install.exists("sampler.chm"));
}
