// The installer's command lines, its wait for the application, and the
// program's answers to command lines it does not run.
#include "ApplicationWait.h"
#include "InstallCommand.h"
#include "flows/UpdateRunTestServer.h"
#include "flows/UpdateRunTestSupport.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <functional>
#include <fcntl.h>
#include <cstdio>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace fs = std::filesystem;
using kau::installer::InstallCommand;
using kau::installer::ParseInstallCommand;
using kau::test::TempDir;

namespace {

std::optional<InstallCommand> parse(std::vector<std::string> args, std::string* why = nullptr)
{
    std::string error;
    auto command = ParseInstallCommand(args, error);
    if (why)
        *why = error;
    EXPECT_EQ(command.has_value(), error.empty()) << error;
    return command;
}

// A stand-in for the application: a copy of cat that runs until its input
// is closed.
class FakeApplication {
public:
    explicit FakeApplication(const fs::path& program)
    {
        fs::copy_file("/bin/cat", program, fs::copy_options::overwrite_existing);
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[0], 0);
        posix_spawn_file_actions_addclose(&actions, fds[1]);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 01, 0);
        std::string path = program.string();
        char* argv[] = {path.data(), nullptr};
        const int rc = posix_spawn(&m_pid, path.c_str(), &actions, nullptr, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[0]);
        m_input = fds[1];
        if (rc != 0)
            throw std::runtime_error("spawn");
    }
    ~FakeApplication() { end(); }
    pid_t pid() const { return m_pid; }
    // Lets it end and collects it.
    void end()
    {
        if (m_input >= 0) {
            ::close(m_input);
            m_input = -1;
            int status = 0;
            ::waitpid(m_pid, &status, 0);
        }
    }

private:
    pid_t m_pid = 0;
    int m_input = -1;
};

struct ProgramRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs the installer program to its end with the given arguments.
ProgramRun runInstaller(const std::vector<std::string>& args, const TempDir& dir)
{
    std::string command = std::string("QT_QPA_PLATFORM=offscreen '") + KAU_INSTALLER_PROGRAM + "'";
    for (const auto& a : args)
        command += " '" + a + "'";
    command += " >'" + (dir / "out") + "' 2>'" + (dir / "err") + "'";
    ProgramRun run;
    const int status = std::system(command.c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = dir.read("out");
    run.err = dir.read("err");
    return run;
}

} // namespace

TEST(InstallCommandLine, TheThreeFormsAndWhatTheyStandFor)
{
    auto update = parse({"Sampler", "/opt/sampler/Sampler"});
    ASSERT_TRUE(update);
    EXPECT_EQ(update->kind, InstallCommand::Kind::Update);
    EXPECT_EQ(update->productKey, "Sampler");
    EXPECT_EQ(update->applicationPath, "/opt/sampler/Sampler");

    auto all = parse({"instcomplete", "Sampler", "/opt/sampler/"});
    ASSERT_TRUE(all);
    EXPECT_EQ(all->kind, InstallCommand::Kind::UpdateAll);
    EXPECT_EQ(all->productKey, "Sampler");
    EXPECT_EQ(all->applicationPath, "/opt/sampler/");

    auto restore = parse({"REST=201406021405", "/opt/sampler/Sampler"});
    ASSERT_TRUE(restore);
    EXPECT_EQ(restore->kind, InstallCommand::Kind::Restore);
    EXPECT_EQ(restore->revision, "201406021405");
    EXPECT_EQ(restore->applicationPath, "/opt/sampler/Sampler");

    // A restore dialog left without a selection: "REST=" stands alone.
    auto empty = parse({"REST=", "/opt/sampler/Sampler"});
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->revision, "");

    // The word is lower case only; anything else is a product key.
    auto key = parse({"InstComplete", "/opt/x"});
    ASSERT_TRUE(key);
    EXPECT_EQ(key->kind, InstallCommand::Kind::Update);
    EXPECT_EQ(key->productKey, "InstComplete");
}

TEST(InstallCommandLine, BlanksInThePathArriveAsTokensAndAreJoinedAgain)
{
    auto update = parse({"Sampler", "/home/u/My", "Apps/Sampler"});
    ASSERT_TRUE(update);
    EXPECT_EQ(update->applicationPath, "/home/u/My Apps/Sampler");
    auto all = parse({"instcomplete", "Sampler", "/a", "b", "c"});
    ASSERT_TRUE(all);
    EXPECT_EQ(all->applicationPath, "/a b c");
    auto restore = parse({"REST=2014", "/x", "y"});
    ASSERT_TRUE(restore);
    EXPECT_EQ(restore->applicationPath, "/x y");
}

TEST(InstallCommandLine, WrongCommandLinesAreRefusedWithAReason)
{
    std::string why;
    EXPECT_FALSE(parse({}, &why));
    EXPECT_FALSE(why.empty());
    EXPECT_FALSE(parse({"Sampler"}, &why));
    EXPECT_NE(why.find("application path"), std::string::npos) << why;
    EXPECT_FALSE(parse({"instcomplete"}, &why));
    EXPECT_FALSE(parse({"instcomplete", "Sampler"}, &why));
    EXPECT_NE(why.find("application path"), std::string::npos) << why;
    EXPECT_FALSE(parse({"REST=2014"}, &why));
    EXPECT_FALSE(parse({"--force", "Sampler", "/x"}, &why));
    EXPECT_NE(why.find("--force"), std::string::npos) << why;
    EXPECT_FALSE(parse({"--help", "x"}, &why));

    auto help = parse({"--help"});
    ASSERT_TRUE(help);
    EXPECT_EQ(help->kind, InstallCommand::Kind::Help);
}

TEST(InstallerWait, ProgramOfAnApplicationPath)
{
    TempDir dir;
    dir.write("app/Sampler", "x");
    EXPECT_EQ(kau::installer::ProgramOfApplicationPath(dir / "app"), "");
    EXPECT_EQ(kau::installer::ProgramOfApplicationPath(dir / "app/"), "");
    EXPECT_EQ(kau::installer::ProgramOfApplicationPath(""), "");
    EXPECT_EQ(kau::installer::ProgramOfApplicationPath(dir / "app/Sampler"),
              fs::canonical(dir.path() / "app/Sampler").string());
    EXPECT_EQ(kau::installer::ProgramOfApplicationPath(dir / "app/./Sampler"),
              fs::canonical(dir.path() / "app/Sampler").string());
}

TEST(InstallerWait, WaitsForTheApplicationToEndAndGivesUpAtTheLimit)
{
    TempDir dir;
    const fs::path program = dir.path() / "Sampler";
    FakeApplication app(program);
    const auto running = kau::installer::ProcessesRunning(program.string());
    ASSERT_EQ(running.size(), 1u);
    EXPECT_EQ(running[0], app.pid());
    // Another program of the same content elsewhere is not the application.
    EXPECT_TRUE(kau::installer::ProcessesRunning((dir / "Other").c_str()).empty());

    EXPECT_FALSE(kau::installer::WaitForProgramEnd(program.string(), std::chrono::milliseconds(50)));
    app.end();
    EXPECT_TRUE(kau::installer::WaitForProgramEnd(program.string(), std::chrono::seconds(10)));
}

TEST(InstallerWait, ApplicationWhoseProgramWasReplacedIsStillFound)
{
    TempDir dir;
    const fs::path program = dir.path() / "Sampler";
    FakeApplication app(program);
    // An earlier update put a new file in place while it was running.
    dir.write("Sampler.new", "new version");
    fs::rename(dir.path() / "Sampler.new", program);
    EXPECT_EQ(kau::installer::ProcessesRunning(program.string()).size(), 1u);
    app.end();
    EXPECT_TRUE(kau::installer::ProcessesRunning(program.string()).empty());
}

TEST(InstallerProgram, WrongCommandLineGetsUsageAndNoRun)
{
    TempDir dir;
    for (const auto& args : std::vector<std::vector<std::string>>{
             {}, {"Sampler"}, {"instcomplete", "Sampler"}, {"-x", "a", "b"}}) {
        const ProgramRun run = runInstaller(args, dir);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("usage: KorAutoInstall <productKey> <applicationPath>"),
                  std::string::npos)
            << run.err;
        EXPECT_TRUE(run.out.empty());
    }
    const ProgramRun help = runInstaller({"--help"}, dir);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("instcomplete <productKey> <applicationPath>"), std::string::npos);
}

TEST(InstallerProgram, RestoreSaysItIsNotAvailableYet)
{
    TempDir dir;
    dir.write("app/Sampler", "x");
    const ProgramRun run = runInstaller({"REST=201406021405", dir / "app/Sampler"}, dir);
    EXPECT_NE(run.exitCode, 0);
    EXPECT_NE(run.err.find("restoring an older release (REST=201406021405) is not available yet"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(dir.read("app/Sampler"), "x");
}

TEST(InstallerProgram, WaitsForTheApplicationThenRunsTheUpdate)
{
    kau::test::SampleProduct product;
    kau::test::RunTestServer server(product.server.str());
    kau::test::ServerAccountOverride account(server.address(), server.user(), server.password());
    TempDir dir;
    const fs::path program = product.install.path() / "Sampler.exe";
    FakeApplication app(program);

    // The installer, as a hand-off starts it.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, (dir / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::string installer = KAU_INSTALLER_PROGRAM, key = "Sampler", path = program.string();
    char* argv[] = {installer.data(), key.data(), path.data(), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, installer.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);

    auto waitFor = [](const std::function<bool()>& cond) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!cond()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            ::usleep(2000);
        }
        return true;
    };
    EXPECT_TRUE(waitFor([&] { return dir.read("err").find("waiting for " + path + " to end") != std::string::npos; }))
        << dir.read("err");
    EXPECT_FALSE(product.install.exists("RelInfoRemote.rel")) << "the update began while the application ran";

    app.end();
    // The run has ended once the local revision file names the new release;
    // the installer then asks whether to start the program, and is ended here.
    EXPECT_TRUE(waitFor([&] {
        return product.install.read("RelInfoLocal.rel").find("Sampler.exe; 3.10.02") != std::string::npos;
    }));
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
}
