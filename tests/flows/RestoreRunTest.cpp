// The restore run on real restore directories: the worked example, the runs that restore nothing,
// copies that fail without losing a file, the modes of programs, and a stop.
#include "UpdateRunTestSupport.h"
#include "flows/RestoreRun.h"
#include "platform/FileCopy.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Lines = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

namespace {

const Lines kClosing = {"   ", "  End of restore procedure!! "};

struct RestoreRunTest : ::testing::Test, RestoreExample, RunRecord {
    RestoreRun::Result run(const std::string& stamp, std::stop_token stop = {})
    {
        clear();
        return RestoreRun(*this, *this, stop).run(stamp, install.str());
    }
    // The files of the installation itself, not those in restore directories.
    Files installed() const
    {
        Files files;
        for (const auto& [name, content] : filesBelow(install.path()))
            if (name.find('/') == std::string::npos)
                files[name] = content;
        return files;
    }
    Files archive() const
    {
        Files files = filesBelow(install.path());
        std::erase_if(files, [](const auto& f) { return f.first.find('/') == std::string::npos; });
        return files;
    }
};

} // namespace

TEST_F(RestoreRunTest, TheMiddleStateComesBackThroughTheNewerDirectoryAndTheNewestAloneComesBackByItself)
{
    const Files archived = archive();
    const auto result = run(kMiddle);
    EXPECT_EQ(lines, restoreLog(kMiddle, middleRestored()));
    EXPECT_EQ(bar, (Lines{"0..100", "1", "0..6", "1", "2", "3", "4", "5", "100"}));
    EXPECT_TRUE(result.collected && result.files == 5 && result.failedFiles == 0 && !result.stopped);
    EXPECT_EQ(installed(), (Files{{"RelInfoLocal.rel", state(2)}, {"Sampler.exe", "program 2\n"}, {"sampler.chm", "help 2\n"}}));
    EXPECT_EQ(archive(), archived) << "the archive is only read";

    run(kNewest);
    EXPECT_EQ(lines, restoreLog(kNewest, {"  ok!    201409011630/RelInfoLocal.rel", "  ok!    201409011630/Sampler.exe"}));
    EXPECT_EQ(installed(), (Files{{"RelInfoLocal.rel", state(3)}, {"Sampler.exe", "program 3\n"}, {"sampler.chm", "help 2\n"}}));
    EXPECT_EQ(archive(), archived);
}

TEST_F(RestoreRunTest, ANameThatIsNoRestoreDirectoryRestoresNothingAndAnEmptyNewestDirectoryOnlyTheOlderOnes)
{
    install.write("201501010000", "a plain file of twelve characters");
    const Files before = filesBelow(install.path());
    const std::string outside = "../" + install.path().filename().string() + "/" + kNewest;
    for (const std::string& stamp : Lines{"", "209912312359", "201501010000", "2014051311", outside}) {
        const auto result = run(stamp);
        EXPECT_EQ(lines, kClosing) << stamp;
        EXPECT_EQ(bar, (Lines{"0..100", "1", "100"}));
        EXPECT_TRUE(!result.collected && result.files == 0 && !result.stopped);
        EXPECT_EQ(filesBelow(install.path()), before) << stamp;
    }
    fs::create_directory(install / "201412241800");
    EXPECT_TRUE(run("201412241800").collected);
    EXPECT_EQ(lines, restoreLog("201412241800", {}));
    EXPECT_EQ(filesBelow(install.path()), before);
}

TEST_F(RestoreRunTest, AFailedCopyLeavesTheInstalledFileADirectoryIsNeverPutAsideAndTheRunGoesOn)
{
    // A source that vanished after the listing, and a file whose name is a directory of the installation now.
    fs::create_symlink(install / "gone", install / (std::string(kNewest) + "/Readme.txt"));
    install.write("Readme.txt", "read me 4\n");
    install.write(std::string(kNewest) + "/Plugins", "a file once");
    install.write("Plugins/Filter.dll", "filter 4\n");
    const auto result = run(kNewest);
    EXPECT_EQ(lines, restoreLog(kNewest, {" fail!    201409011630/Plugins", " fail!    201409011630/Readme.txt",
                                     "  ok!    201409011630/RelInfoLocal.rel", "  ok!    201409011630/Sampler.exe"}));
    EXPECT_EQ(result.failedFiles, 2u);
    EXPECT_EQ(install.read("Plugins/Filter.dll"), "filter 4\n");
    EXPECT_FALSE(install.exists("upd_Plugins"));
    EXPECT_EQ(install.read("Readme.txt"), "read me 4\n") << "the installed file stays where it was";
    EXPECT_FALSE(install.exists("upd_Readme.txt"));
    EXPECT_EQ(install.read("Sampler.exe"), "program 3\n");
    EXPECT_FALSE(install.exists("upd_Sampler.exe"));
}

TEST_F(RestoreRunTest, AProgramComesBackWithTheModeItsCopyWasKeptWith)
{
    const std::string copy = install / (std::string(kNewest) + "/Sampler.exe");
    fs::permissions(copy, fs::perms(0750));
    fs::permissions(install / "Sampler.exe", fs::perms(0600));
    run(kNewest);
    EXPECT_EQ(fs::status(install / "Sampler.exe").permissions(), fs::perms(0750));
    // A program that arrives new is runnable; any other new file is not.
    for (const auto& [bytes, mode] : {std::pair{std::string("\x7f" "ELF\x02\x01"), 0755}, {"#!/bin/sh\n", 0755}, {"#", 0644}, {"", 0644}}) {
        install.write("new", bytes);
        EXPECT_EQ(NewFileMode(install / "new"), static_cast<mode_t>(mode)) << bytes;
    }
}

TEST_F(RestoreRunTest, AStopEndsTheRunAtItsNextStepWithNothingMoreWritten)
{
    std::stop_source stop;
    onLine = [&] {
        if (lines.size() == 3) // the second file's line: its copy never starts
            stop.request_stop();
    };
    EXPECT_TRUE(run(kMiddle, stop.get_token()).stopped);
    EXPECT_EQ(lines, (Lines{"---- start restore to 201405131120", "  ok!    201409011630/RelInfoLocal.rel",
                            " restore -> 201409011630/Sampler.exe"}));
    EXPECT_EQ(install.read("RelInfoLocal.rel"), state(3));
    EXPECT_EQ(install.read("Sampler.exe"), "program 4\n");
    EXPECT_FALSE(install.exists("upd_Sampler.exe"));
}

TEST_F(RestoreRunTest, OnlyRestoreDirectoriesAndCopiesInsideTheInstallationAreRead)
{
    TempDir outside;
    outside.write("201501010000/Sampler.exe", "from elsewhere\n");
    outside.write("secret.txt", "secret\n");
    fs::create_directory_symlink(outside / "201501010000", install / "201501010000");
    fs::create_symlink(outside / "secret.txt", install / (std::string(kNewest) + "/sampler.chm"));
    const Files before = installed();
    // A linked directory is no restore directory: nothing to restore from it, nothing changes.
    EXPECT_FALSE(run("201501010000").collected);
    EXPECT_EQ(installed(), before);
    // From the newest one, the copy that leads out fails and the installed file stays where it was.
    const auto result = run(kNewest);
    EXPECT_EQ(lines, restoreLog(kNewest, {"  ok!    201409011630/RelInfoLocal.rel", "  ok!    201409011630/Sampler.exe",
                                     " fail!    201409011630/sampler.chm"}));
    EXPECT_EQ(result.failedFiles, 1u);
    EXPECT_EQ(install.read("sampler.chm"), "help 4\n");
    EXPECT_FALSE(install.exists("upd_sampler.chm"));
    EXPECT_EQ(outside.read("secret.txt"), "secret\n");
}

TEST_F(RestoreRunTest, WhatAKilledRestoreLeftIsPutBackOrCleared)
{
    // Killed while placing Sampler.exe, and while copying sampler.chm: the file only under its
    // staged name, part files beside the target and in a restore directory. The rerun's copy of
    // Sampler.exe fails: the file put back stays.
    fs::rename(install / "Sampler.exe", install / "upd_Sampler.exe");
    install.write(".sampler.chm.part-a1B2c3", "help ");
    install.write(std::string(kNewest) + "/.Sampler.exe.part-d4E5f6", "prog");
    fs::remove(install / (std::string(kNewest) + "/Sampler.exe"));
    fs::create_symlink(install / "gone", install / (std::string(kNewest) + "/Sampler.exe"));
    Files archived = archive();
    std::erase_if(archived, [](const auto& f) { return f.first.find(".part-") != std::string::npos; });
    const auto result = run(kNewest);
    EXPECT_EQ(lines, restoreLog(kNewest, {"  ok!    201409011630/RelInfoLocal.rel", " fail!    201409011630/Sampler.exe"}));
    EXPECT_EQ(result.failedFiles, 1u);
    EXPECT_EQ(installed(), (Files{{"RelInfoLocal.rel", state(3)}, {"Sampler.exe", "program 4\n"}, {"sampler.chm", "help 4\n"}}));
    EXPECT_EQ(archive(), archived) << "the part file in the archive is gone, nothing else";
}
