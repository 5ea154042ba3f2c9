// The update run against a real FTP server with real files: what lands on
// disk, the restore directory, the rewritten local revision file and the log
// line by line, for the ordinary run and for each way it can go wrong.
#include "UpdateRunTestSupport.h"

#include "flows/UpdateRun.h"
#include "flows/UpdateRunTestServer.h"
#include "support/ScriptedBox.h"

#include <future>
#include <thread>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;

namespace {

const std::vector<std::string> kOpening = {
    "... connect to the KORVANE server",
    "... set path (Sampler)",
    "... check remote revision file",
    "... check local revision file",
    "... compare new files",
};
const std::vector<std::string> kClosing = {"   ", "  End of download procedure!! "};

std::vector<std::string> join(std::initializer_list<std::vector<std::string>> parts)
{
    std::vector<std::string> all;
    for (const auto& p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

class UpdateRunTest : public ::testing::Test {
protected:
    SampleProduct product;
    RunTestServer server{product.server.str()};
    ServerAccountOverride account{server.address(), server.user(), server.password()};
    RecordingLog log;
    RecordingProgress progress;
    ScriptedBox box;

    UpdateRun::Result run(bool allFiles = false, std::stop_token stop = {})
    {
        UpdateRun updateRun(log, progress, stop);
        return updateRun.run(SampleProduct::kKey, product.install.str(), allFiles);
    }
};

} // namespace

TEST_F(UpdateRunTest, NewReleaseArrivesWithRestoreDirectoryAndRecordedVersions)
{
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    const UpdateRun::Result result = run();

    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    EXPECT_EQ(result.files, 3u);
    EXPECT_EQ(result.failedFiles, 0u);
    EXPECT_TRUE(result.revisionsWritten);
    EXPECT_EQ(log.lines(), join({kOpening,
                                 {"---- start transfer ----", "  ok!    Sampler.exe",
                                  "  ok!    sampler.chm", "  ok!    Readme.txt",
                                  "---- end transfer ----", "... update local revision file",
                                  "  ok!  updated local revision file"},
                                 kClosing}));
    EXPECT_EQ(box.count(), 0u);

    // The new files, under their names; the unchanged one untouched.
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    EXPECT_EQ(product.install.read("sampler.chm"), product.server.read("Sampler/sampler.chm"));
    EXPECT_EQ(product.install.read("Readme.txt"), "read me\n");
    EXPECT_EQ(product.install.read("Plugins/Filter.dll"), "filter 2.00.07\n");
    EXPECT_EQ(product.install.read("RelInfoRemote.rel"), product.server.read("Sampler/RelInfoRemote.rel"));
    // No staged file and no temporary file stays behind.
    for (const auto& entry : fs::recursive_directory_iterator(product.install.path())) {
        const std::string name = entry.path().filename().string();
        EXPECT_NE(name.rfind("upd_", 0), 0u) << entry.path();
        EXPECT_EQ(name.find(".part"), std::string::npos) << entry.path();
    }

    EXPECT_EQ(product.install.read("RelInfoLocal.rel"),
              revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                            "sampler.chm; 1.04.00", "Readme.txt; "}));

    // The restore directory of the run keeps the old copies and the old list.
    const auto restore = product.restoreDirectories();
    ASSERT_EQ(restore.size(), 1u);
    EXPECT_EQ(restore[0].filename().string(), result.restoreDirectory.substr(result.restoreDirectory.size() - 12));
    EXPECT_EQ(readFile(restore[0] / "RelInfoLocal.rel"), oldLocal);
    EXPECT_EQ(readFile(restore[0] / "Sampler.exe"), "program release 1\n");
    EXPECT_EQ(readFile(restore[0] / "sampler.chm"), "help release 1\n");
    EXPECT_FALSE(fs::exists(restore[0] / "Readme.txt")) << "a new file has no old copy";
    EXPECT_FALSE(fs::exists(restore[0] / "Plugins")) << "an unchanged file is not copied";

    // The bar counts files: 0..100 at first, then 0..files+1, one step a
    // file, and 100 at the end.
    EXPECT_EQ(progress.events(),
              (std::vector<std::string>{"range 0..100", "pos 1", "range 0..4", "pos 1", "pos 2",
                                        "pos 3", "pos 100"}));
}

TEST_F(UpdateRunTest, ReplacedFileKeepsItsPermissionsAndNewFileGetsTheDefault)
{
    fs::permissions(product.install.path() / "Sampler.exe", fs::perms(0750));
    run();
    EXPECT_EQ(fs::status(product.install.path() / "Sampler.exe").permissions(), fs::perms(0750));
    EXPECT_EQ(fs::status(product.install.path() / "Readme.txt").permissions() & fs::perms::owner_exec,
              fs::perms::none);
}

TEST_F(UpdateRunTest, SecondRunFindsNothingNewAndKeepsTheLocalFile)
{
    run();
    const std::string afterFirst = product.install.read("RelInfoLocal.rel");
    RecordingLog second;
    RecordingProgress bar;
    UpdateRun again(second, bar);
    const UpdateRun::Result result = again.run(SampleProduct::kKey, product.install.str(), false);

    EXPECT_EQ(result.outcome, UpdateRun::Outcome::NothingNew);
    EXPECT_EQ(second.lines(), join({kOpening, {" end! No updates found!"}, kClosing}));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), afterFirst);
    // Within the same minute both runs share one restore directory; the
    // second run's copy of the local file wins.
    const auto restore = product.restoreDirectories();
    ASSERT_GE(restore.size(), 1u);
    EXPECT_EQ(readFile(restore.back() / "RelInfoLocal.rel"), afterFirst);
}

TEST_F(UpdateRunTest, NothingNewLeavesARestoreDirectoryWithOnlyTheLocalFile)
{
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.01"}));
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::NothingNew);
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), oldLocal);
    const auto restore = product.restoreDirectories();
    ASSERT_EQ(restore.size(), 1u);
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(restore[0]))
        names.push_back(e.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"RelInfoLocal.rel"});
    EXPECT_EQ(progress.events().back(), "pos 100");
}

TEST_F(UpdateRunTest, FileDroppedMidTransferIsReportedAndKeepsItsOldVersion)
{
    server.dropDownloadAfter("sampler.chm", 1000);
    server.dropDownloadAfter("Readme.txt", 2);
    const UpdateRun::Result result = run();

    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    EXPECT_EQ(result.failedFiles, 2u);
    EXPECT_EQ(log.lines(), join({kOpening,
                                 {"---- start transfer ----", "  ok!    Sampler.exe",
                                  " fail!    sampler.chm", " fail!    Readme.txt",
                                  "---- end transfer ----", "... update local revision file",
                                  "  ok!  updated local revision file"},
                                 kClosing}));
    // Known file: old version recorded; new file: 0.00.00, so both are
    // offered again.
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"),
              revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                            "sampler.chm; 1.03.00", "Readme.txt; 0.00.00"}));
    // No file of the name and no partial one; the old version lies staged and
    // in the restore directory.
    EXPECT_FALSE(product.install.exists("sampler.chm"));
    EXPECT_FALSE(product.install.exists("Readme.txt"));
    EXPECT_EQ(product.install.read("upd_sampler.chm"), "help release 1\n");
    for (const auto& entry : fs::directory_iterator(product.install.path()))
        EXPECT_EQ(entry.path().filename().string().find("sampler.chm."), std::string::npos)
            << "partial file left: " << entry.path();
    const auto restore = product.restoreDirectories();
    ASSERT_EQ(restore.size(), 1u);
    EXPECT_EQ(readFile(restore[0] / "sampler.chm"), "help release 1\n");
}

TEST_F(UpdateRunTest, AllFilesFetchesEveryFileOfTheServer)
{
    const UpdateRun::Result result = run(true);
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    EXPECT_EQ(result.files, 4u);
    EXPECT_TRUE(log.contains("  ok!    Plugins\\Filter.dll"));
    const auto restore = product.restoreDirectories();
    ASSERT_EQ(restore.size(), 1u);
    EXPECT_EQ(readFile(restore[0] / "Plugins/Filter.dll"), "filter 2.00.07\n");
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"),
              revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                            "sampler.chm; 1.04.00", "Readme.txt; "}));
}

TEST_F(UpdateRunTest, AllFilesWithAnEmptyServerListStillRewritesTheLocalFile)
{
    product.server.write("Sampler/RelInfoRemote.rel", "; nothing released\r\n");
    product.install.write("RelInfoLocal.rel", "; a comment\r\nSampler.exe;3.10.01\r\n");
    const UpdateRun::Result result = run(true);
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    EXPECT_EQ(result.files, 0u);
    EXPECT_EQ(log.lines(), join({kOpening,
                                 {"---- start transfer ----", "---- end transfer ----",
                                  "... update local revision file",
                                  "  ok!  updated local revision file"},
                                 kClosing}));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.01"}));
}

TEST_F(UpdateRunTest, NameWithPercentGetsNoOldCopy)
{
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile({"%Sampler.exe; 3.10.02"}));
    product.server.write("Sampler/%Sampler.exe", "marked\n");
    product.install.write("%Sampler.exe", "old marked\n");
    const UpdateRun::Result result = run();
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Transferred);
    EXPECT_EQ(product.install.read("%Sampler.exe"), "marked\n");
    const auto restore = product.restoreDirectories();
    ASSERT_EQ(restore.size(), 1u);
    EXPECT_FALSE(fs::exists(restore[0] / "%Sampler.exe"));
}

TEST_F(UpdateRunTest, ManyFilesLeaveTheBarAtOneHundredOfFilesPlusOne)
{
    std::vector<std::string> lines;
    for (int i = 0; i < 150; ++i) {
        const std::string name = "f" + std::to_string(i) + ".dat";
        lines.push_back(name + "; 1.00.00");
        product.server.write("Sampler/" + name, std::to_string(i));
    }
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile(lines));
    const UpdateRun::Result result = run();
    EXPECT_EQ(result.files, 150u);
    EXPECT_EQ(result.failedFiles, 0u);
    EXPECT_EQ(progress.upper(), 151);
    EXPECT_EQ(progress.position(), 100);
    EXPECT_EQ(product.install.read("f149.dat"), "149");
}

TEST(UpdateRunFailures, ConnectionRefusedShowsTheClientsBoxAndEnds)
{
    SampleProduct product;
    const std::string address = "127.0.0.1:" + std::to_string(RunTestServer::unusedPort());
    ServerAccountOverride account(address);
    ScriptedBox box;
    RecordingLog log;
    RecordingProgress progress;
    UpdateRun run(log, progress);
    const UpdateRun::Result result = run.run(SampleProduct::kKey, product.install.str(), false);
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::NoConnection);
    EXPECT_EQ(log.lines(), join({{"... connect to the KORVANE server"}, kClosing}));
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text.rfind("Connection to the KORVANE server failed.", 0), 0u);
    EXPECT_TRUE(product.restoreDirectories().empty());
    EXPECT_EQ(progress.events().back(), "pos 100");
}

TEST_F(UpdateRunTest, MissingProductDirectoryOrRevisionFileEndsWithoutARestoreDirectory)
{
    {
        UpdateRun updateRun(log, progress);
        const UpdateRun::Result result = updateRun.run("NoSuchProduct", product.install.str(), false);
        EXPECT_EQ(result.outcome, UpdateRun::Outcome::NoProductDirectory);
        EXPECT_EQ(log.lines(), join({{"... connect to the KORVANE server", "... set path (NoSuchProduct)"},
                                     kClosing}));
    }
    fs::remove(product.server.path() / "Sampler/RelInfoRemote.rel");
    RecordingLog second;
    UpdateRun updateRun(second, progress);
    const UpdateRun::Result result = updateRun.run(SampleProduct::kKey, product.install.str(), false);
    EXPECT_EQ(result.outcome, UpdateRun::Outcome::NoRevisionFile);
    EXPECT_EQ(second.lines(), join({{"... connect to the KORVANE server", "... set path (Sampler)",
                                     "... check remote revision file"},
                                    kClosing}));
    EXPECT_TRUE(product.restoreDirectories().empty());
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(UpdateRunTest, StopWhileTheServerStallsEndsAtOnceAndWritesNothingMore)
{
    server.stallDownload("sampler.chm");
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    std::stop_source stop;
    auto running = std::async(std::launch::async, [&] { return run(false, stop.get_token()); });
    ASSERT_TRUE(server.waitForStall(std::chrono::seconds(20)));

    const auto t0 = std::chrono::steady_clock::now();
    stop.request_stop();
    ASSERT_EQ(running.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    const auto took = std::chrono::steady_clock::now() - t0;
    const UpdateRun::Result result = running.get();

    EXPECT_EQ(result.outcome, UpdateRun::Outcome::Stopped);
    EXPECT_LT(took, std::chrono::seconds(1));
    // The log stops at the file in transfer: no outcome, no closing lines.
    const auto lines = log.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), " copy -> sampler.chm");
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), oldLocal);
    EXPECT_FALSE(product.install.exists("Readme.txt"));
    EXPECT_FALSE(product.install.exists("sampler.chm"));
}
