// Starting programs without waiting: the command line as tokens, the new
// process's surroundings, failures, and the batch variant.
#include "platform/ProcessLauncher.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using kau::test::TempDir;

namespace {

// Waits until cond holds, at most limit; true if it did.
bool waitFor(const std::function<bool()>& cond,
             std::chrono::milliseconds limit = std::chrono::seconds(10))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
        ::usleep(2000);
    }
    return true;
}

void writeScript(const fs::path& path, const std::string& body)
{
    std::ofstream(path) << "#!/bin/sh\n" << body;
    fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
}

// Puts a directory in front of PATH for the lifetime of the object.
class PathPrefix {
public:
    explicit PathPrefix(const std::string& dir) : m_old(std::getenv("PATH") ? std::getenv("PATH") : "")
    {
        ::setenv("PATH", (dir + ":" + m_old).c_str(), 1);
    }
    ~PathPrefix() { ::setenv("PATH", m_old.c_str(), 1); }

private:
    std::string m_old;
};

class CurrentDirectory {
public:
    explicit CurrentDirectory(const fs::path& dir) : m_old(fs::current_path()) { fs::current_path(dir); }
    ~CurrentDirectory() { fs::current_path(m_old); }

private:
    fs::path m_old;
};

std::string readWhenThere(const fs::path& path)
{
    if (!waitFor([&] { return fs::exists(path); }))
        return {};
    return kau::test::readFile(path);
}

// A script that records what it was started with: its arguments, whether it
// leads its own process group, its directory, an environment variable and
// where its descriptors point. The record appears under its final name only
// when complete.
constexpr const char* kRecorder =
    "D0=$(readlink /proc/$$/fd/0); D1=$(readlink /proc/$$/fd/1); D2=$(readlink /proc/$$/fd/2)\n"
    "FDS=$(for f in /proc/$$/fd/*; do readlink $f; done | tr '\\n' ' ')\n"
    "PG=$(cut -d' ' -f5 /proc/$$/stat)\n"
    "{ echo \"args:$*\"; echo \"count:$#\"; echo \"leader:$([ \"$PG\" = \"$$\" ] && echo yes || echo no)\";\n"
    "  echo \"cwd:$(pwd)\"; echo \"env:$KAU_LAUNCH_PROBE\"; echo \"std:$D0 $D1 $D2\"; echo \"fds:$FDS\"; }"
    " > \"$MARKER.tmp\"\n"
    "mv \"$MARKER.tmp\" \"$MARKER\"\n";

} // namespace

TEST(CommandLineSplit, BlanksSeparateAndNothingIsQuoted)
{
    using V = std::vector<std::string>;
    EXPECT_EQ(kau::SplitCommandLine("KorAutoInstall key /opt/app/prog"),
              (V{"KorAutoInstall", "key", "/opt/app/prog"}));
    EXPECT_EQ(kau::SplitCommandLine("KorAutoInstall REST= /opt/app/prog"),
              (V{"KorAutoInstall", "REST=", "/opt/app/prog"}));
    EXPECT_EQ(kau::SplitCommandLine("  a\t b  \"c d\"  "), (V{"a", "b", "\"c", "d\""}));
    EXPECT_EQ(kau::SplitCommandLine("/opt/my app/prog"), (V{"/opt/my", "app/prog"}));
    EXPECT_TRUE(kau::SplitCommandLine("").empty());
    EXPECT_TRUE(kau::SplitCommandLine("  \t ").empty());
}

TEST(LaunchProgram, StartsProgramFromPathInItsOwnGroupWithCallersSurroundings)
{
    TempDir bin, work;
    writeScript(bin.path() / "kau-recorder", kRecorder);
    PathPrefix path(bin.str());
    CurrentDirectory cwd(work.path());
    const fs::path marker = work.path() / "record";
    ::setenv("MARKER", marker.c_str(), 1);
    ::setenv("KAU_LAUNCH_PROBE", "inherited", 1);

    // A descriptor of the caller that must not reach the new process.
    const int leaked = ::open("/dev/zero", O_RDONLY); // deliberately without O_CLOEXEC
    ASSERT_GE(leaked, 3);

    ASSERT_TRUE(kau::LaunchProgram("kau-recorder instcomplete Key  /opt/app dir/prog"));
    ::close(leaked);

    const std::string record = readWhenThere(marker);
    ASSERT_FALSE(record.empty());
    EXPECT_NE(record.find("args:instcomplete Key /opt/app dir/prog\n"), std::string::npos) << record;
    EXPECT_NE(record.find("count:4\n"), std::string::npos) << record;
    EXPECT_NE(record.find("leader:yes\n"), std::string::npos) << record;
    EXPECT_NE(record.find("cwd:" + fs::canonical(work.path()).string() + "\n"), std::string::npos)
        << record;
    EXPECT_NE(record.find("env:inherited\n"), std::string::npos) << record;
    EXPECT_NE(record.find("std:/dev/null /dev/null /dev/null\n"), std::string::npos) << record;
    EXPECT_EQ(record.find("/dev/zero"), std::string::npos) << "a descriptor reached the program: " << record;
    ::unsetenv("MARKER");
    ::unsetenv("KAU_LAUNCH_PROBE");
}

TEST(LaunchProgram, ReturnsWithoutWaitingAndLeavesNoZombie)
{
    TempDir bin;
    const fs::path pidFile = bin.path() / "pid";
    writeScript(bin.path() / "kau-lingerer",
                "echo $$ > \"$1.tmp\"; mv \"$1.tmp\" \"$1\"; exec sleep 60\n");
    PathPrefix path(bin.str());

    ASSERT_TRUE(kau::LaunchProgram("kau-lingerer " + pidFile.string()));
    const std::string text = readWhenThere(pidFile);
    ASSERT_FALSE(text.empty());
    const pid_t pid = std::stoi(text);
    const fs::path proc = "/proc/" + std::to_string(pid);
    EXPECT_TRUE(fs::exists(proc)) << "the program should still run after the call returned";

    ASSERT_EQ(::kill(pid, SIGTERM), 0);
    // Once it has ended, nothing of it may stay (a zombie keeps its /proc entry).
    EXPECT_TRUE(waitFor([&] { return !fs::exists(proc); })) << "process " << pid << " left a zombie";
}

TEST(LaunchProgram, ProgramThatEndsAtOnceIsReapedAsWell)
{
    TempDir bin;
    const fs::path pidFile = bin.path() / "pid";
    writeScript(bin.path() / "kau-quick", "echo $$ > \"$1.tmp\"; mv \"$1.tmp\" \"$1\"\n");
    PathPrefix path(bin.str());
    ASSERT_TRUE(kau::LaunchProgram("kau-quick " + pidFile.string()));
    const std::string text = readWhenThere(pidFile);
    ASSERT_FALSE(text.empty());
    const fs::path proc = "/proc/" + std::to_string(std::stoi(text));
    EXPECT_TRUE(waitFor([&] { return !fs::exists(proc); }));
}

TEST(LaunchProgram, FailsForMissingProgramOrEmptyCommandLine)
{
    TempDir bin;
    writeScript(bin.path() / "kau-not-executable", "exit 0\n");
    fs::permissions(bin.path() / "kau-not-executable", fs::perms::owner_read | fs::perms::owner_write);
    PathPrefix path(bin.str());
    EXPECT_FALSE(kau::LaunchProgram("kau-no-such-program-here a b"));
    EXPECT_FALSE(kau::LaunchProgram("/nonexistent/dir/prog"));
    EXPECT_FALSE(kau::LaunchProgram(""));
    EXPECT_FALSE(kau::LaunchProgram("   "));
}

TEST(LaunchViaBatch, WritesOneLineWithTheCurrentDirectoryAndRunsIt)
{
    TempDir work;
    CurrentDirectory cwd(work.path());
    const std::string dir = fs::current_path().string();
    writeScript(work.path() / "KorAutoInstall", "echo \"$*\" > \"$0.args.tmp\"; mv \"$0.args.tmp\" \"$0.args\"\n");
    // An old batch file is emptied first.
    work.write("AutoInstall.sh", std::string(500, 'x') + "\n");

    ASSERT_TRUE(kau::LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    EXPECT_EQ(work.read("AutoInstall.sh"), dir + "/KorAutoInstall Key /opt/app/prog\n");
    EXPECT_EQ(readWhenThere(work.path() / "KorAutoInstall.args"), "Key /opt/app/prog\n");
    EXPECT_TRUE(work.exists("AutoInstall.sh")) << "the batch file stays behind";
}

TEST(LaunchViaBatch, UnwritableBatchFileIsReportedAndStartsNothing)
{
    TempDir work;
    CurrentDirectory cwd(work.path());
    fs::create_directory(work.path() / "AutoInstall.sh"); // a directory cannot be opened for writing
    kau::test::ScriptedBox box;
    EXPECT_FALSE(kau::LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text.rfind("Error occurred! \n", 0), 0u) << box.shown()[0].text;
    EXPECT_EQ(box.shown()[0].buttons, kau::BoxButtons::Ok);
}
