// Starting programs without waiting: the command line as tokens, the new process's surroundings,
// no zombie, failures, and the batch variant.
#include "UpdateDlgTestSupport.h"
#include "platform/ProcessLauncher.h"

#include <csignal>
#include <fcntl.h>

namespace fs = std::filesystem;
using namespace kau::test;

namespace {

// A directory that is the current directory and the first of PATH while the object lives.
struct WorkDir : TempDir {
    const std::string oldPath = std::getenv("PATH");
    const fs::path oldCwd = fs::current_path();
    WorkDir() { enter(str() + ":" + oldPath, path()); }
    ~WorkDir() { enter(oldPath, oldCwd); }
    static void enter(const std::string& pathVariable, const fs::path& dir)
    {
        ::setenv("PATH", pathVariable.c_str(), 1);
        fs::current_path(dir);
    }
    void script(const std::string& name, const std::string& body) const
    {
        write(name, "#!/bin/sh\n" + body);
        fs::permissions(path() / name, fs::perms::owner_all);
    }
    // What a script wrote to name.tmp and then renamed to name.
    std::string readWhenThere(const std::string& name) const
    {
        return waitUntil([&] { return exists(name); }) ? read(name) : std::string();
    }
};

} // namespace

TEST(LaunchProgram, StartsProgramFromPathInItsOwnGroupWithCallersSurroundings)
{
    WorkDir work;
    // Records its arguments, whether it leads its own process group, its directory, an inherited
    // variable and where its descriptors point.
    work.script("kau-recorder",
                "STD=\"$(readlink /proc/$$/fd/0) $(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2)\"\n"
                "FDS=$(for f in /proc/$$/fd/*; do readlink $f; done | tr '\\n' ' ')\n"
                "PG=$(cut -d' ' -f5 /proc/$$/stat)\n"
                "{ echo \"args:$*\"; echo \"count:$#\"; echo \"leader:$([ \"$PG\" = \"$$\" ] && echo yes)\";\n"
                "  echo \"cwd:$(pwd)\"; echo \"env:$KAU_LAUNCH_PROBE\"; echo \"std:$STD\"; echo \"fds:$FDS\"; }"
                " > record.tmp; mv record.tmp record\n");
    ::setenv("KAU_LAUNCH_PROBE", "inherited", 1);
    const int leaked = ::open("/dev/zero", O_RDONLY); // deliberately without O_CLOEXEC
    // Split at blanks and tabs, nothing quoted.
    ASSERT_TRUE(kau::LaunchProgram("kau-recorder\tinstcomplete Key  /opt/app dir/prog \"c d\" "));
    ::close(leaked);
    ::unsetenv("KAU_LAUNCH_PROBE");
    const std::string record = work.readWhenThere("record");
    for (const std::string& line : std::vector<std::string>{"args:instcomplete Key /opt/app dir/prog \"c d\"", "count:6", "leader:yes",
                                                            "cwd:" + fs::current_path().string(), "env:inherited",
                                                            "std:/dev/null /dev/null /dev/null"})
        EXPECT_NE(record.find(line + "\n"), std::string::npos) << line << " in\n" << record;
    EXPECT_EQ(record.find("/dev/zero"), std::string::npos) << "a descriptor reached the program: " << record;
}

TEST(LaunchProgram, ReturnsWithoutWaitingAndLeavesNoZombie)
{
    WorkDir work;
    for (const std::string rest : {"; exec sleep 60", ""}) { // one that lingers, one that ends at once
        SCOPED_TRACE(rest);
        fs::remove(work.path() / "pid");
        work.script("kau-child", "echo $$ > pid.tmp; mv pid.tmp pid" + rest + "\n");
        ASSERT_TRUE(kau::LaunchProgram("kau-child"));
        const std::string pid = work.readWhenThere("pid");
        ASSERT_FALSE(pid.empty());
        const fs::path proc = "/proc/" + pid.substr(0, pid.size() - 1);
        if (!rest.empty()) {
            EXPECT_TRUE(fs::exists(proc)) << "the program should still run after the call returned";
            ::kill(std::stoi(pid), SIGTERM);
        }
        // Once it has ended nothing of it may stay: a zombie keeps its /proc entry.
        EXPECT_TRUE(waitUntil([&] { return !fs::exists(proc); })) << "process " << pid << " left a zombie";
    }
}

TEST(LaunchProgram, FailsForMissingProgramOrEmptyCommandLine)
{
    WorkDir work;
    work.write("kau-not-executable", "#!/bin/sh\nexit 0\n");
    for (const char* line : {"kau-no-such-program-here a b", "/nonexistent/dir/prog", "kau-not-executable", "", "   "})
        EXPECT_FALSE(kau::LaunchProgram(line)) << "'" << line << "'";
}

TEST(LaunchViaBatch, WritesOneLineWithTheCurrentDirectoryRunsItAndReportsAnUnwritableFile)
{
    WorkDir work;
    fs::create_directory(work.path() / "AutoInstall.sh"); // a directory cannot be opened for writing
    ScriptedBox box;
    EXPECT_FALSE(kau::LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    ASSERT_EQ(box.count(), 1u);
    EXPECT_TRUE(box.shown()[0].text.starts_with("Error occurred! \n")) << box.shown()[0].text;
    EXPECT_EQ(box.shown()[0].buttons, kau::BoxButtons::Ok);
    fs::remove(work.path() / "AutoInstall.sh");
    work.write("AutoInstall.sh", std::string(500, 'x') + "\n"); // an old batch file is emptied first
    work.script("KorAutoInstall", "echo \"$*\" > args.tmp; mv args.tmp args\n");
    ASSERT_TRUE(kau::LaunchViaBatch("KorAutoInstall Key /opt/app/prog"));
    EXPECT_EQ(work.read("AutoInstall.sh"), fs::current_path().string() + "/KorAutoInstall Key /opt/app/prog\n");
    EXPECT_EQ(work.readWhenThere("args"), "Key /opt/app/prog\n");
}
