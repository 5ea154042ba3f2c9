// Programs started without waiting, directly and through the batch file.
#include "platform/ProcessLauncher.h"
#include "support/ScriptedBox.h"
#include "support/WorkDir.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using Lines = std::vector<std::string>;

namespace {

// Whether process pid has gone without a trace within the bound: a zombie keeps its /proc entry.
bool gone(int pid) { return waitUntil([pid] { return !fs::exists("/proc/" + std::to_string(pid)); }); }

} // namespace

TEST(ProcessLauncher, StartsFromPathInAGroupOfItsOwnWithTheCallersSurroundingsNoWaitNoZombieAlsoThroughTheBatchFile)
{
    WorkDir work;
    // Records its arguments, whether it leads its own process group, its directory, an inherited
    // variable and where its descriptors point.
    work.script("kau-recorder", "STD=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2 | tr '\\n' ' ')\n"
                                "FDS=$(for f in /proc/$$/fd/*; do readlink $f; done | tr '\\n' ' ')\n"
                                "LEADER=$([ \"$(cut -d' ' -f5 /proc/$$/stat)\" = $$ ] && echo yes)\n"
                                "printf '%s\\n' $$ \"args:$*\" \"count:$#\" \"leader:$LEADER\" \"cwd:$(pwd)\" \"env:$KAU_LAUNCH_PROBE\" \\\n"
                                "  \"std:$STD\" \"fds:$FDS\" > record.tmp; mv record.tmp record");
    ::setenv("KAU_LAUNCH_PROBE", "inherited", 1);
    const int leaked = ::open("/dev/zero", O_RDONLY); // deliberately without O_CLOEXEC
    ASSERT_TRUE(LaunchProgram("kau-recorder\tinstcomplete Key  /opt/app dir/prog \"c d\" ")); // nothing is quoted
    ::close(leaked);
    const std::string record = work.readWhenThere("record");
    for (const std::string& line : Lines{"args:instcomplete Key /opt/app dir/prog \"c d\"", "count:6", "leader:yes",
                                         "cwd:" + fs::current_path().string(), "env:inherited", "std:/dev/null /dev/null /dev/null "})
        EXPECT_NE(record.find(line + "\n"), std::string::npos) << line << " in\n" << record;
    EXPECT_EQ(record.find("/dev/zero"), std::string::npos) << "a descriptor reached the program: " << record;
    EXPECT_TRUE(gone(std::atoi(record.c_str()))) << "a zombie is left";

    work.script("kau-lingering", "echo $$ > pid.tmp; mv pid.tmp pid; exec sleep 60");
    ASSERT_TRUE(LaunchProgram("kau-lingering"));
    const int pid = std::atoi(work.readWhenThere("pid").c_str());
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(fs::exists("/proc/" + std::to_string(pid))) << "the program runs on after the call";
    ::kill(pid, SIGTERM);
    EXPECT_TRUE(gone(pid)) << "a zombie is left";

    work.write("kau-not-executable", "#!/bin/sh\nexit 0\n");
    for (const char* line : {"kau-no-such-program-here a b", "/nonexistent/dir/prog", "kau-not-executable", "", "   "})
        EXPECT_FALSE(LaunchProgram(line)) << "'" << line << "'";

    // The batch file: one line with the current directory, emptied first; a file that can't be written is reported.
    fs::create_directory(work.path() / "AutoInstall.sh");
    ScriptedBox box;
    EXPECT_FALSE(LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    EXPECT_TRUE(box.count() == 1 && box.shown()[0].text.starts_with("Error occurred! \n") && box.shown()[0].buttons == BoxButtons::Ok);
    fs::remove(work.path() / "AutoInstall.sh");
    work.write("AutoInstall.sh", std::string(500, 'x') + "\n");
    work.script("KorAutoInstall", "echo \"$*\" > args.tmp; mv args.tmp args");
    ASSERT_TRUE(LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    EXPECT_EQ(work.read("AutoInstall.sh"), fs::current_path().string() + "/KorAutoInstall Key /opt/app/prog\n");
    EXPECT_EQ(work.readWhenThere("args"), "Key /opt/app/prog\n");
}

