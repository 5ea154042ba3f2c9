// The update run against the real FTP server and real files, in the ordinary run and each failure.
#include "UpdateRunTestSupport.h"
#include "flows/UpdateRun.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"

#include <ctime>
#include <future>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Outcome = UpdateRun::Outcome;
using Lines = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

namespace {

struct UpdateRunTest : ::testing::Test, RunRecord {
    SampleProduct product;
    FtpServer server{product.server.path()};
    ScriptedBox box;
    const std::string oldLocal = product.install.read("RelInfoLocal.rel");
    UpdateRun::Result run(bool allFiles = false, std::stop_token stop = {})
    {
        clear();
        return UpdateRun(*this, *this, stop).run(SampleProduct::kKey, product.install.str(), allFiles);
    }
};

// The restore directory names of this minute and the next: a run started now makes one of them.
Lines stampsFromNow()
{
    Lines stamps;
    for (const std::time_t at : {std::time(nullptr), std::time(nullptr) + 60}) {
        std::tm local{};
        localtime_r(&at, &local);
        char text[16];
        std::strftime(text, sizeof text, "%Y%m%d%H%M", &local);
        stamps.emplace_back(text);
    }
    return stamps;
}

} // namespace

TEST_F(UpdateRunTest, NewReleaseArrivesWithOldCopiesKeptAndAllFilesBringsTheUnchangedOneToo)
{
    // A name with "%" comes like any other, but no old copy of it is kept.
    product.server.write("Sampler/RelInfoRemote.rel", product.server.read("Sampler/RelInfoRemote.rel") + "%Tool.sh; 1.00\r\n");
    product.server.write("Sampler/%Tool.sh", "tool 1.00\n");
    product.install.write("%Tool.sh", "old tool\n");
    fs::permissions(product.install / "Sampler.exe", fs::perms(0700));
    const fs::path restore = run().restoreDirectory;
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Readme.txt", "  ok!    %Tool.sh"}, true));
    // The bar counts files: 0..files+1, one step as each file begins, 100 at the end.
    EXPECT_EQ(bar, (Lines{"0..100", "1", "0..5", "1", "2", "3", "4", "100"}));
    for (const std::string name : {"Sampler.exe", "sampler.chm", "Readme.txt", "%Tool.sh", "Plugins/Filter.dll", "RelInfoRemote.rel"})
        EXPECT_EQ(product.install.read(name), product.server.read("Sampler/" + name)) << name;
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                                                                      "sampler.chm; 1.04.00", "Readme.txt; ", "%Tool.sh; 1.00"}));
    // The restore directory keeps the old copies of the replaced files and the old list; nothing else is left.
    EXPECT_EQ(filesBelow(restore), (Files{{"RelInfoLocal.rel", oldLocal}, {"Sampler.exe", "program release 1\n"},
                                          {"sampler.chm", "help release 1\n"}}));
    EXPECT_EQ(filesBelow(product.install.path()).size(), 7u + 3u);
    // A replaced file keeps its mode, in place and in the archive; a new one is runnable only as a program.
    const auto mode = [](const fs::path& p) { return fs::status(p).permissions(); };
    EXPECT_TRUE(mode(product.install / "Sampler.exe") == fs::perms(0700) && mode(restore / "Sampler.exe") == fs::perms(0700));
    EXPECT_EQ(mode(product.install / "Readme.txt"), fs::perms(0644));
    fs::remove(product.install / "%Tool.sh");
    product.server.write("Sampler/%Tool.sh", "#!/bin/sh\n");
    EXPECT_EQ(readFile(fs::path(run(true).restoreDirectory) / "Plugins/Filter.dll"), "filter 2.00.07\n");
    EXPECT_EQ(mode(product.install / "%Tool.sh"), fs::perms(0755));
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Plugins\\Filter.dll",
                               "  ok!    Readme.txt", "  ok!    %Tool.sh"}, true));
}

TEST_F(UpdateRunTest, FilesDroppedMidTransferFailAndLeaveNoPartialFile)
{
    server.dropDownloadOf("sampler.chm", 1000);
    server.dropDownloadOf("Readme.txt", 2);
    const UpdateRun::Result result = run();
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", " fail!    sampler.chm", " fail!    Readme.txt"}, true));
    // A known file keeps its old version, a new one gets 0.00.00: both are offered again.
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                                                                      "sampler.chm; 1.03.00", "Readme.txt; 0.00.00"}));
    // A file that did not arrive stays installed as it was; nothing is put aside or kept for it.
    const Files left = filesBelow(product.install.path());
    EXPECT_EQ(left.size(), 5u + 2u) << "a partial file is left";
    EXPECT_EQ(left.at("sampler.chm"), "help release 1\n");
    EXPECT_FALSE(left.contains("Readme.txt") || left.contains("upd_sampler.chm"));
    EXPECT_FALSE(left.contains(result.restoreDirectory.substr(product.install.str().size() + 1) + "/sampler.chm"));
}

TEST_F(UpdateRunTest, RunsThatMoveNoFile)
{
    // Nothing new: a restore directory with only the local list, which stays as it was.
    product.server.write("Sampler/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.01"}));
    EXPECT_EQ(filesBelow(run().restoreDirectory), (Files{{"RelInfoLocal.rel", oldLocal}}));
    EXPECT_EQ(lines, updateLog(5, {" end! No updates found!"}));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), oldLocal);

    // All files from an empty server list: the transfer runs no file but still rewrites the local list.
    product.server.write("Sampler/RelInfoRemote.rel", "; nothing released\r\n");
    product.install.write("RelInfoLocal.rel", "; a comment\r\nSampler.exe;3.10.01\r\n");
    run(true);
    EXPECT_EQ(lines, updateLog(5, {}, true));
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.01"}));

    // No revision file, then no product directory, then no logon: the log ends there and nothing changes.
    const Files before = filesBelow(product.install.path());
    fs::remove(product.server.path() / "Sampler/RelInfoRemote.rel");
    EXPECT_EQ(run().outcome, Outcome::NoRevisionFile);
    EXPECT_EQ(lines, updateLog(3, {}));
    fs::rename(product.server.path() / "Sampler", product.server.path() / "Other");
    EXPECT_EQ(run().outcome, Outcome::NoProductDirectory);
    EXPECT_EQ(lines, updateLog(2, {}));
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    EXPECT_EQ(run().outcome, Outcome::NoConnection);
    EXPECT_EQ(lines, updateLog(1, {}));
    EXPECT_EQ(filesBelow(product.install.path()), before) << "no restore directory, nothing changed";
    ASSERT_EQ(box.count(), 1u); // only a failed logon tells the user, by the client's box
    EXPECT_TRUE(box.shown()[0].text.starts_with("Connection to the KORVANE server failed."));
}

TEST_F(UpdateRunTest, StopWhileTheServerStallsEndsAtOnceAndWritesNothingMore)
{
    server.stallDownloadOf("sampler.chm");
    std::stop_source stop;
    auto running = std::async(std::launch::async, [&] { return run(false, stop.get_token()); });
    ASSERT_TRUE(server.waitForStall(std::chrono::seconds(20)));
    stop.request_stop();
    ASSERT_EQ(running.wait_for(std::chrono::seconds(1)), std::future_status::ready) << "the stop waits for the server";
    const UpdateRun::Result result = running.get();
    EXPECT_EQ(result.outcome, Outcome::Stopped);
    EXPECT_EQ(lines.back(), " copy -> sampler.chm") << "no outcome and no closing lines after the stop";
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), oldLocal);
    // The file being fetched stays where it was: not put aside, no old copy kept, no part file.
    const Files left = filesBelow(product.install.path());
    EXPECT_EQ(left.at("sampler.chm"), "help release 1\n");
    EXPECT_FALSE(left.contains("upd_sampler.chm") || left.contains("Readme.txt"));
    EXPECT_EQ(filesBelow(result.restoreDirectory), (Files{{"RelInfoLocal.rel", oldLocal}, {"Sampler.exe", "program release 1\n"}}));
    for (const auto& [name, content] : left)
        EXPECT_EQ(name.find(".part-"), std::string::npos) << name;
}

TEST_F(UpdateRunTest, HostileNamesFailOneByOneWithNothingWrittenOutsideAndNoInstalledFileLost)
{
    // A sibling of the installation stands for the rest of the disk; the server offers a copy at each way out.
    TempDir outside;
    outside.write("victim.txt", "victim\n");
    outside.write("linked.txt", "linked\n");
    const std::string out = outside.path().filename().string();
    for (const std::string& name : Lines{out + "/victim.txt", "Sampler/Shared/victim.txt", "Sampler/linked.txt", "Sampler/upd_Sampler.exe",
                                   "Sampler/RelInfoLocal.rel", "Sampler/201405131120/Sampler.exe", "Sampler/Plugins/x"})
        product.server.write(name, "from the server\n");
    fs::create_directory_symlink(outside.path(), product.install / "Shared");
    fs::create_symlink(outside / "linked.txt", product.install / "linked.txt");
    product.install.write("201405131120/Sampler.exe", "program release 0\n");
    product.server.write("Sampler/RelInfoRemote.rel",
                         revisionFile({"Sampler.exe; 3.10.02", "../" + out + "/victim.txt; 1.0", "a\\..\\..\\" + out + "\\victim.txt; 1.0",
                                       outside / "abs.txt; 1.0", "Shared/victim.txt; 1.0", "linked.txt; 1.0", "Plugins; 1.0",
                                       "201405131120; 1.0", "201405131120/Sampler.exe; 1.0", "RelInfoLocal.rel; 1.0",
                                       "RelInfoRemote.rel; 1.0", "upd_Sampler.exe; 1.0", "evil\x1b[2J\a.txt; 1.0", "Readme.txt; 1.0"}));
    const Files outsideBefore = filesBelow(outside.path());
    Files installBefore = filesBelow(product.install.path());

    const UpdateRun::Result result = run();
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", " fail!    ../" + out + "/victim.txt", " fail!    a\\..\\..\\" + out + "\\victim.txt",
                               " fail!    " + outside / "abs.txt", " fail!    Shared/victim.txt", " fail!    linked.txt",
                               " fail!    Plugins", " fail!    201405131120", " fail!    201405131120/Sampler.exe",
                               " fail!    RelInfoLocal.rel", " fail!    RelInfoRemote.rel", " fail!    upd_Sampler.exe",
                               " fail!    evil\\x1B[2J\\x07.txt", "  ok!    Readme.txt"}, true));
    EXPECT_EQ(result.outcome, Outcome::Transferred);
    EXPECT_EQ(result.failedFiles, 12u);
    EXPECT_EQ(bar, (Lines{"0..100", "1", "0..15", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "14", "100"}));
    EXPECT_EQ(filesBelow(outside.path()), outsideBefore);
    EXPECT_TRUE(fs::is_symlink(product.install / "linked.txt") && fs::is_symlink(product.install / "Shared"));
    // Only the two good files changed; the archive holds the old program and list, and the list names no refused file.
    const std::string stamp = fs::path(result.restoreDirectory).filename().string();
    Files installAfter = filesBelow(product.install.path());
    for (const std::string name : {"Sampler.exe", "Readme.txt", "RelInfoRemote.rel", "RelInfoLocal.rel"})
        installBefore.erase(name), installAfter.erase(name);
    EXPECT_EQ(installAfter.erase(stamp + "/Sampler.exe") + installAfter.erase(stamp + "/RelInfoLocal.rel"), 2u);
    EXPECT_EQ(installAfter, installBefore);
    EXPECT_EQ(product.install.read("Readme.txt"), "read me\n");
    EXPECT_EQ(product.install.read("RelInfoLocal.rel"), revisionFile({"Sampler.exe; 3.10.02", "Plugins\\Filter.dll; 2.00.07",
                                                                      "sampler.chm; 1.03.00", "Readme.txt; 1.0"}));
}

TEST_F(UpdateRunTest, WhatAKilledRunLeftIsPutBackOrClearedAndItsOldCopiesStay)
{
    // A run killed on its way this minute: sampler.chm replaced already (its old copy kept),
    // Sampler.exe only under its staged name, part files of a transfer, of an archive copy, of the
    // rewrite and in a subdirectory.
    const std::string killed = stampsFromNow()[0];
    product.install.write(killed + "/RelInfoLocal.rel", oldLocal);
    product.install.write(killed + "/sampler.chm", "help release 1\n");
    product.install.write(killed + "/.Sampler.exe.part-Ab12Cd", "program rel");
    product.install.write("sampler.chm", product.server.read("Sampler/sampler.chm"));
    fs::rename(product.install / "Sampler.exe", product.install / "upd_Sampler.exe");
    for (const char* part : {".Readme.txt.part-Ef34Gh", ".RelInfoLocal.rel.part-Ij56Kl", "Plugins/.Filter.dll.part-Mn78Op"})
        product.install.write(part, "cut short");
    const UpdateRun::Result result = run(true);
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Plugins\\Filter.dll",
                               "  ok!    Readme.txt"}, true));
    const Files left = filesBelow(product.install.path());
    for (const auto& [name, content] : left)
        EXPECT_TRUE(name.find(".part-") == std::string::npos && name.find("upd_") == std::string::npos) << name;
    for (const std::string name : {"Sampler.exe", "sampler.chm", "Readme.txt"})
        EXPECT_EQ(left.at(name), product.server.read("Sampler/" + name));
    // The way back holds what stood before the killed run, not what it had put in place.
    EXPECT_EQ(left.at(killed + "/sampler.chm"), "help release 1\n");
    EXPECT_EQ(left.at(killed + "/RelInfoLocal.rel"), oldLocal);
    const std::string stamp = fs::path(result.restoreDirectory).filename().string();
    EXPECT_EQ(left.at(stamp + "/Sampler.exe"), "program release 1\n") << "put back, then kept like any other";
}

TEST_F(UpdateRunTest, AFileWhoseOldCopyCannotBeKeptIsNotReplacedAndNoRestoreDirectoryEndsTheRun)
{
    // A file where the copy of Plugins/Filter.dll would go, in whichever minute the run falls.
    product.server.write("Sampler/Plugins/Filter.dll", "filter 2.00.08\n");
    for (const std::string& stamp : stampsFromNow())
        product.install.write(stamp + "/Plugins", "in the way");
    UpdateRun::Result result = run(true);
    EXPECT_EQ(lines, updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", " fail!    Plugins\\Filter.dll",
                               "  ok!    Readme.txt"}, true));
    EXPECT_EQ(product.install.read("Plugins/Filter.dll"), "filter 2.00.07\n");
    EXPECT_FALSE(product.install.exists("Plugins/upd_Filter.dll"));
    EXPECT_EQ(result.failedFiles, 1u);
    EXPECT_EQ(result.reason, "Plugins\\Filter.dll was not replaced, its old copy could not be kept: "
                                 + result.restoreDirectory + "/Plugins/Filter.dll: not a directory");
    EXPECT_TRUE(product.install.read("RelInfoLocal.rel").find("Plugins\\Filter.dll; 2.00.07") != std::string::npos);

    // No restore directory at all: the run ends before the revision file is fetched.
    for (const std::string& stamp : stampsFromNow()) {
        fs::remove_all(product.install / stamp);
        product.install.write(stamp, "in the way");
    }
    const Files before = filesBelow(product.install.path());
    result = run(true);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(lines, updateLog(3, {}));
    EXPECT_TRUE(result.reason.starts_with("no restore directory: " + product.install.str() + "/20")) << result.reason;
    EXPECT_TRUE(result.reason.ends_with(": not a directory")) << result.reason;
    EXPECT_EQ(filesBelow(product.install.path()), before);
}
