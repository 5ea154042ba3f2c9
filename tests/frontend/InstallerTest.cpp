// KorAutoInstall: its command lines, its wait for the application, and the program itself, from
// a wrong command line to the whole hand-off against the test server.
#include "ApplicationWait.h"
#include "InstallCommand.h"
#include "UpdateDlgTestSupport.h"
#include "flows/UpdateRunTestSupport.h"
#include "support/FtpServer.h"
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace fs = std::filesystem;
using namespace kau::installer;
using namespace kau::test;

namespace {

// Starts program with args, its output and errors into the file output.
pid_t spawn(const std::string& program, std::vector<std::string> args, const std::string& output = "/dev/null")
{
    args.insert(args.begin(), program);
    posix_spawn_file_actions_t io;
    posix_spawn_file_actions_init(&io);
    posix_spawn_file_actions_addopen(&io, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&io, 1, 2);
    std::vector<char*> argv;
    for (auto& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    EXPECT_EQ(posix_spawn(&pid, argv[0], &io, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&io);
    return pid;
}

// A stand-in for the application: a copy of sleep under the application's program path.
struct FakeApplication {
    pid_t pid = 0;
    explicit FakeApplication(const fs::path& program)
    {
        fs::copy_file("/bin/sleep", program, fs::copy_options::overwrite_existing);
        pid = spawn(program, {"60"});
    }
    ~FakeApplication() { end(); }
    void end()
    {
        if (pid > 0 && ::kill(pid, SIGKILL) == 0)
            ::waitpid(pid, nullptr, 0);
        pid = 0;
    }
};

} // namespace

TEST(InstallCommandLine, FormsTokensAndRefusals)
{
    using K = InstallCommand::Kind;
    const struct {
        std::vector<std::string> args;
        std::optional<K> kind = {}; // none: refused with a reason
        std::string key = {}, revision = {}, path = {};
    } cases[] = {
        {{"REST=", "/opt/s/Sampler"}, K::Restore, "", "", "/opt/s/Sampler"}, // restore dialog without a selection
        {{"InstComplete", "/opt/x"}, K::Update, "InstComplete", "", "/opt/x"}, // the word is lower case only
        // Nothing is quoted: blanks in the path arrive as tokens and are joined again.
        {{"instcomplete", "Sampler", "/home/u/My", "Apps/Sampler"}, K::UpdateAll, "Sampler", "", "/home/u/My Apps/Sampler"},
        {{"REST=2014", "/x", "y"}, K::Restore, "", "2014", "/x y"},
        {{"Sampler"}}, {{"instcomplete"}}, {{"REST=2014"}}, {{"--force", "S", "/x"}}, {{"--help", "x"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        std::string error;
        const auto command = ParseInstallCommand(c.args, error);
        ASSERT_EQ(command.has_value(), c.kind.has_value()) << error;
        EXPECT_EQ(error.empty(), c.kind.has_value());
        if (command) {
            EXPECT_EQ(std::tie(command->kind, command->productKey, command->revision, command->applicationPath),
                      std::tie(*c.kind, c.key, c.revision, c.path));
        }
    }
}

TEST(InstallerWait, FindsTheApplicationByItsProgramAndWaitsForItsEndWithABound)
{
    TempDir dir;
    fs::create_directory(dir.path() / "app");
    const fs::path program = dir.path() / "app/Sampler";
    FakeApplication app(program);
    EXPECT_EQ(ProgramOfApplicationPath(dir / "app/./Sampler"), fs::canonical(program).string());
    EXPECT_EQ(ProgramOfApplicationPath(dir / "app/"), "") << "a directory: nothing to wait for";
    EXPECT_EQ(ProcessesRunning(program), std::vector<pid_t>{app.pid});
    EXPECT_TRUE(ProcessesRunning(dir / "app/Other").empty());
    // An earlier update put a new file in place while it ran: still the application.
    dir.write("app/Sampler.new", "new version");
    fs::rename(dir.path() / "app/Sampler.new", program);
    EXPECT_EQ(ProcessesRunning(program), std::vector<pid_t>{app.pid});
    EXPECT_FALSE(WaitForProgramEnd(program, std::chrono::milliseconds(50)));
    app.end();
    EXPECT_TRUE(WaitForProgramEnd(program, std::chrono::seconds(10)));
}

TEST(InstallerProgram, WrongCommandLinesRunNothingARightOneWaitsForTheApplicationThenUpdates)
{
    SampleProduct product;
    FtpServer server(product.server.path());
    const std::string program = product.install / "Sampler.exe", output = product.install / "output";
    const std::string usage = "usage: KorAutoInstall <productKey> <applicationPath>";
    const struct {
        std::vector<std::string> args;
        int exitCode;
        std::string text;
    } cases[] = {
        {{}, 2, usage},
        {{"instcomplete", program}, 2, usage},
        {{"REST=201406021405", program}, 3, "(REST=201406021405) is not available yet"},
        {{"--help"}, 0, "instcomplete <productKey> <applicationPath>"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        int status = -1;
        ::waitpid(spawn(KAU_INSTALLER_PROGRAM, c.args, output), &status, 0);
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, c.exitCode);
        EXPECT_NE(readFile(output).find(c.text), std::string::npos) << readFile(output);
    }
    EXPECT_TRUE(server.commands().empty()) << "an update ran";

    // The hand-off: the installer waits while the application runs, then updates.
    FakeApplication app(program);
    const pid_t installer = spawn(KAU_INSTALLER_PROGRAM, {"Sampler", program}, output);
    EXPECT_TRUE(waitUntil([&] { return readFile(output).find("waiting for " + program + " to end") != std::string::npos; }))
        << readFile(output);
    EXPECT_TRUE(server.commands().empty()) << "the update began while the application ran";
    app.end();
    // The run has ended once the local revision file names the new release; the installer then
    // asks whether to start the program, and is ended here.
    EXPECT_TRUE(waitUntil([&] { return product.install.read("RelInfoLocal.rel").find("Sampler.exe; 3.10.02") != std::string::npos; }));
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    ::kill(installer, SIGKILL);
    ::waitpid(installer, nullptr, 0);
}
