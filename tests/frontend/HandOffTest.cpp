// The hand-off: programs started without waiting, and KorAutoInstall from a wrong command line to its update.
#include "ApplicationWait.h"
#include "InstallCommand.h"
#include "UpdateDlgTestSupport.h"
#include "flows/UpdateRunTestSupport.h"
#include "platform/ProcessLauncher.h"
#include "support/FtpServer.h"
#include <csignal>
#include <fcntl.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::installer;
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

TEST(InstallCommandLine, KnowsTheKindsAndJoinsThePathTokens)
{
    using K = InstallCommand::Kind;
    const std::pair<Lines, InstallCommand> cases[] = {
        {{"REST=", "/opt/s/Sampler"}, {K::Restore, "", "", "/opt/s/Sampler"}}, // restore dialog without a selection
        {{"InstComplete", "/opt/x"}, {K::Update, "InstComplete", "", "/opt/x"}}, // the word is lower case only
        {{"instcomplete", "Sampler", "/home/u/My", "Apps/Sampler"}, {K::UpdateAll, "Sampler", "", "/home/u/My Apps/Sampler"}},
        {{"REST=2014", "/x", "y"}, {K::Restore, "", "2014", "/x y"}}};
    for (const auto& [args, expected] : cases) {
        std::string error;
        const auto command = ParseInstallCommand(args, error);
        ASSERT_TRUE(command) << error;
        EXPECT_EQ(std::tie(command->kind, command->productKey, command->revision, command->applicationPath),
                  std::tie(expected.kind, expected.productKey, expected.revision, expected.applicationPath));
    }
}

TEST(InstallerProgram, WrongCommandLinesRunNothingARightOneWaitsForTheApplicationThenUpdates)
{
    SampleProduct product;
    FtpServer server(product.server.path());
    const std::string program = product.install / "Sampler.exe", output = product.install / "output";
    const std::string usage = "usage: KorAutoInstall <productKey> <applicationPath>";
    const struct { QStringList args; int exitCode; std::string text; } cases[] = {
        {{}, 2, usage}, {{"Sampler"}, 2, usage}, {{"instcomplete", program.c_str()}, 2, usage}, {{"REST=2014"}, 2, usage},
        {{"--force", "S", "/x"}, 2, usage}, {{"--help", "x"}, 2, usage}, {{"--help"}, 0, usage},
        {{"REST=201406021405", program.c_str()}, 3, "(REST=201406021405) is not available yet"}};
    for (const auto& c : cases) {
        QProcess installer;
        installer.setProcessChannelMode(QProcess::MergedChannels);
        installer.start(KAU_INSTALLER_PROGRAM, c.args);
        EXPECT_TRUE(installer.waitForFinished() && installer.exitStatus() == QProcess::NormalExit);
        const std::string said = installer.readAll().toStdString();
        EXPECT_EQ(installer.exitCode(), c.exitCode) << said;
        EXPECT_NE(said.find(c.text), std::string::npos) << said;
    }
    EXPECT_TRUE(server.commands().empty()) << "an update ran";

    // The wait: the application is found by its program, also once a new file has replaced it, within a bound.
    QProcess app;
    fs::copy_file("/bin/sleep", program, fs::copy_options::overwrite_existing);
    app.start(QString::fromStdString(program), {"60"});
    ASSERT_TRUE(app.waitForStarted());
    product.install.write("Sampler.new", "new version");
    fs::rename(product.install / "Sampler.new", program);
    EXPECT_EQ(ProcessesRunning(program), std::vector<pid_t>{static_cast<pid_t>(app.processId())});
    EXPECT_TRUE(ProcessesRunning(product.install / "Other").empty());
    EXPECT_FALSE(WaitForProgramEnd(program, std::chrono::milliseconds(50)));
    EXPECT_EQ(ProgramOfApplicationPath(product.install / "./Sampler.exe"), fs::canonical(program).string());
    EXPECT_EQ(ProgramOfApplicationPath(product.install / ""), "") << "a directory: nothing to wait for";
    // The hand-off: the installer waits while the application runs, then updates.
    QProcess installer; // ended here once it asks whether to start the program
    installer.setProcessChannelMode(QProcess::MergedChannels);
    installer.setStandardOutputFile(QString::fromStdString(output));
    installer.start(KAU_INSTALLER_PROGRAM, {"Sampler", program.c_str()});
    EXPECT_TRUE(waitUntil([&] { return readFile(output).find("waiting for " + program + " to end") != std::string::npos; }))
        << readFile(output);
    EXPECT_TRUE(server.commands().empty()) << "the update began while the application ran";
    app.close(); // killed
    // The run has ended once the local revision file names the new release.
    EXPECT_TRUE(waitUntil([&] { return product.install.read("RelInfoLocal.rel").find("Sampler.exe; 3.10.02") != std::string::npos; }))
        << product.install.read("RelInfoLocal.rel");
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    installer.close();
}
