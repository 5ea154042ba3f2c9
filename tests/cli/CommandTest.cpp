// korautoupdate run as a child process against the real FTP server, and the
// release notes fetch it uses, driven directly with the real client.
#include "flows/ReleaseNotesFetch.h"
#include "server/CFtpFileClient.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kau;
using namespace kau::test;
using namespace ::testing;
namespace fs = std::filesystem;

namespace {

struct Result {
    int status; // 128 + n for death by signal n; 137 (SIGKILL) when out of time
    std::string out, err;
};

// Runs the command to its end, stdin /dev/null, stderr a pseudo terminal when
// asked; whileRunning gets its pid every few milliseconds meanwhile.
Result korautoupdate(std::vector<std::string> args, bool terminal = false,
                     const std::function<void(pid_t)>& whileRunning = [](pid_t) {})
{
    args.insert(args.begin(), KAU_CLI_BINARY);
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    int out[2], err[2];
    const int pty = terminal ? ::openpty(err, err + 1, nullptr, nullptr, nullptr) : ::pipe(err);
    if (::pipe(out) != 0 || pty != 0)
        throw std::runtime_error("no pipe");
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::signal(SIGINT, SIG_DFL); // a shell may have started the tests with it ignored
        ::dup2(::open("/dev/null", O_RDONLY), 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    if (pid < 0)
        throw std::runtime_error("no fork");
    int raw = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (::waitpid(pid, &raw, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline)
            ::kill(pid, SIGKILL);
        whileRunning(pid);
        ::poll(nullptr, 0, 5);
    }
    // The output is small enough to wait in the pipe (or terminal) until the end.
    Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw), {}, {}};
    for (const auto& [fd, into] : {std::pair{out[0], &r.out}, {err[0], &r.err}}) {
        char buffer[4096];
        for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
            into->append(buffer, static_cast<size_t>(n));
        ::close(fd);
    }
    return r;
}

const std::string kDashes(58, '-');
const std::string kNewFiles =
    " Message from: <KorAutoUpdate>-Tool  V 3.0.0\n" + kDashes + "\n\n"
    " There are some newer files on the server:\n\n   3.10.02\t\t->> Sampler.exe \n"
    "   1.04.00\t\t->> sampler.chm \n   \t\t->> Readme.txt \n\n" + kDashes + "\n\n"
    " Click <yes> to see the KORVANE update notes \n"
    " and to start the installation procedure ...\n";
const std::string kUpdateLog =
    "... Preparing download from server!\n... connect to the KORVANE server\n"
    "... set path (Sampler)\n... check remote revision file\n... check local revision file\n"
    "... compare new files\n---- start transfer ----\n  ok!    Sampler.exe\n"
    "  ok!    sampler.chm\n  ok!    Readme.txt\n---- end transfer ----\n"
    "... update local revision file\n  ok!  updated local revision file\n"
    "   \n  End of download procedure!! \n";
const std::string kNoConnection =
    "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!\n\n";

// Release 1 installed in dir/install, release 2 on the server in dir/Sampler.
class SampleProduct : public ::testing::Test {
protected:
    SampleProduct()
    {
        dir.write("install/Sampler.exe", "Sampler release 1\n");
        dir.write("install/sampler.chm", "help release 1\n");
        dir.write("install/Plugins/Filter.dll", "filter\n");
        dir.write("install/RelInfoLocal.rel", "Sampler.exe; 3.10.01\r\nPlugins\\Filter.dll; "
                                              "2.00.07\r\nsampler.chm; 1.03.00\r\n");
        dir.write("Sampler/Sampler.exe", "Sampler release 2\n");
        dir.write("Sampler/sampler.chm", "help release 2\n");
        dir.write("Sampler/Plugins/Filter.dll", "filter\n");
        dir.write("Sampler/Readme.txt", "read me\n");
        dir.write("Sampler/RelInfoRemote.rel",
                  "; files of Sampler\r\n\r\nSampler.exe; 3.10.02\r\nsampler.chm;1.04.00;help\r\n"
                  "Plugins\\Filter.dll  ;  2.00.07 ;\r\nReadme.txt");
        dir.write("Sampler/LatestUpdate.html",
                  "<!DOCTYPE html><html><head><title>Sampler &amp; Co</title><style>p {color: red}"
                  "</style><script>a = '<p>';</script></head>\n<body><h1>Release   3.10.02</h1>\n"
                  "<p>Fixes:<br>one &lt;two&gt;&nbsp;three</p><ul><li>Filter.dll</li>\n<li>help "
                  "&#8211; &#x41;</li></ul><!-- <p>hidden</p> --><p>Bye</p></body></html>");
    }

    // The command on the sample product: sampler({"check", "--yes"}).
    Result sampler(std::vector<std::string> args, bool terminal = false,
                   const std::function<void(pid_t)>& whileRunning = [](pid_t) {})
    {
        args.insert(args.end(), {"--product", "Sampler", "--app=" + app});
        return korautoupdate(args, terminal, whileRunning);
    }

    kau::test::TempDir dir;
    const std::string install = dir / "install", app = dir / "install/Sampler.exe";
    FtpServer server{dir.path()};
};

} // namespace

TEST_F(SampleProduct, CheckListsTheNewFilesExits100AndShowsTheNotesAsTextOnYes)
{
    const std::string local = dir.read("install/RelInfoLocal.rel");
    Result r = sampler({"check", "--no"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] no\n\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"), local);
    EXPECT_FALSE(dir.exists("install/LatestUpdate.html"));

    r = korautoupdate({"check", "--product", "Sampler", "--app", install, "--yes"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] yes\n\nRelease notes (" + install + "/LatestUpdate.html)"
                         ":\n\nSampler & Co\n\nRelease 3.10.02\n\nFixes:\none <two> three\n\n"
                         "- Filter.dll\n- help \xE2\x80\x93 A\n\nBye\n");
    EXPECT_EQ(dir.read("install/LatestUpdate.html"), dir.read("Sampler/LatestUpdate.html"));

    fs::remove(dir / "Sampler/LatestUpdate.html");
    r = sampler({"check", "--yes"});
    EXPECT_EQ(r.status, 100);
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] yes\n\n");
    EXPECT_EQ(r.err, "korautoupdate: the release notes could not be fetched\n");
}

TEST_F(SampleProduct, CheckExits1WhenTheServerIsNotUsableAndOptionsReplaceTheAccount)
{
    Result r = korautoupdate({"check", "--product", "Nothing", "--app", app});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, kNoConnection);

    r = sampler({"check", "--password", "wrong"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, StartsWith("Connection to the KORVANE server failed.\n"));
    EXPECT_THAT(r.out, HasSubstr("FTP Server: <" + server.address() + ">\n"));

    // The revision file can't be put down: the install directory's parent is missing.
    r = korautoupdate({"check", "--product", "Sampler", "--app", dir / "no/such/"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "korautoupdate: the remote revision file could not be fetched or read\n");

    // A wrong built-in account (the server puts the environment back when it goes).
    const std::string nowhere = "127.0.0.1:" + std::to_string(FtpServer::unusedPort());
    ::setenv("KORAUTOUPDATE_FTP_SERVER", nowhere.c_str(), 1);
    ::setenv("KORAUTOUPDATE_FTP_USER", "nobody", 1);
    fs::remove(dir / "Sampler/RelInfoRemote.rel");
    r = sampler({"check", "--server", server.address(), "--user=" + server.user(), "--password",
                 server.password()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, kNoConnection); // logged on, but there is no revision file
}

TEST_F(SampleProduct, UpdatePrintsTheLogAtTheEndKeepsTheOldFilesAndBarsATerminal)
{
    fs::create_directories(install + "/19990101120");   // no restore directories:
    fs::create_directories(install + "/2014060214051"); // a character short or long
    const std::string local = dir.read("install/RelInfoLocal.rel");
    Result r = sampler({"update"}, true);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, kUpdateLog + " End of software update!\n" + kDashes
                         + "\n\n Do you want to start the new released programm ?\n\n"
                           " Press <yes> to start Sampler.exe\n\n[yes/no] no\n\n");
    // The bar counts files, 3 new ones of 4, with the line being transferred beside it.
    EXPECT_THAT(r.err, HasSubstr("\r[#######.......................] 1/4  copy -> Sampler.exe"));
    EXPECT_THAT(r.err, HasSubstr("\r[######################........] 3/4  copy -> Readme.txt"));
    EXPECT_THAT(r.err, HasSubstr("\r[##############################] 4/4"));
    EXPECT_THAT(r.err, EndsWith("\r\033[K")); // cleared at the end
    EXPECT_EQ(dir.read("install/Sampler.exe"), "Sampler release 2\n");
    EXPECT_EQ(dir.read("install/Readme.txt"), "read me\n");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"), "Sampler.exe; 3.10.02\r\nPlugins\\Filter.dll; "
              "2.00.07\r\nsampler.chm; 1.04.00\r\nReadme.txt; \r\n");
    EXPECT_FALSE(dir.exists("install/upd_Sampler.exe"));

    r = korautoupdate({"restores", "--app", app});
    const std::string s = r.out.substr(0, r.out.find(' '));
    EXPECT_EQ(r.out, s + "  " + s.substr(0, 4) + "-" + s.substr(4, 2) + "-" + s.substr(6, 2)
                         + "   (" + s.substr(8, 2) + ":" + s.substr(10, 2) + ")\n");
    EXPECT_EQ(dir.read("install/" + s + "/RelInfoLocal.rel"), local);
    EXPECT_EQ(dir.read("install/" + s + "/Sampler.exe"), "Sampler release 1\n");
    r = korautoupdate({"restores", "--app", app, "--files", s});
    EXPECT_EQ(r.out, "RelInfoLocal.rel  -\nSampler.exe  3.10.01\nsampler.chm  1.03.00\n");
    r = korautoupdate({"restores", "--app", app, "--files", "Plugins"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korautoupdate: no restore directory Plugins in " + install + "\n");
    EXPECT_FALSE(dir.exists("install/Plugins/RelInfoLocal.rel"));

    r = sampler({"check"}); // stdin is no terminal: no
    EXPECT_EQ(r.status, 0);
    EXPECT_THAT(r.out, HasSubstr(" Your programm is working with the latest version!\n"));
    EXPECT_THAT(r.out, EndsWith("[yes/no] no\n\n"));
    r = korautoupdate({"update", "--product", "Sampler", "--app", install});
    EXPECT_EQ(r.status, 0);
    EXPECT_THAT(r.out, EndsWith(" No updates found!\n   \n  End of download procedure!! \n"));
}

TEST_F(SampleProduct, UpdateExits1WhenAFileFailsOrTheServerIsNotUsable)
{
    server.dropDownloadOf("Readme.txt", 3);
    Result r = sampler({"update", "--all"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("  ok!    Plugins\\Filter.dll\n fail!    Readme.txt\n---- end"));
    EXPECT_EQ(r.err, "korautoupdate: 1 of 4 files did not arrive\n"); // and no bar
    EXPECT_THAT(dir.read("install/RelInfoLocal.rel"), HasSubstr("Readme.txt; 0.00.00\r\n"));
    EXPECT_FALSE(dir.exists("install/Readme.txt"));

    r = sampler({"update", "--server", "127.0.0.1:" + std::to_string(FtpServer::unusedPort())});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("server\nConnection to the KORVANE server failed."));
    EXPECT_THAT(r.out, HasSubstr("  End of download procedure!! \n"));
}

TEST_F(SampleProduct, CtrlCInTheMiddleOfATransferExits130WithNothingHalfWritten)
{
    dir.write("Sampler/Sampler.exe", std::string(512 * 1024, 'x')); // 16 s at this rate
    server.throttle(32 * 1024);
    const std::string local = dir.read("install/RelInfoLocal.rel");
    bool sent = false;
    const Result r = sampler({"update"}, false, [&](pid_t pid) {
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(install)) // the download's hidden file
            if (!sent && e.path().filename().string().rfind(".Sampler.exe.part", 0) == 0)
                sent = fs::file_size(e.path(), ec) > 0 && ::kill(pid, SIGINT) == 0;
    });
    EXPECT_TRUE(sent);
    EXPECT_EQ(r.status, 130) << r.out << r.err;
    EXPECT_THAT(r.err, HasSubstr("update stopped"));
    for (const auto& e : fs::directory_iterator(install))
        EXPECT_THAT(e.path().filename().string(), Not(StartsWith(".")));
    EXPECT_FALSE(dir.exists("install/Sampler.exe")); // the old one lies under its staged name
    EXPECT_EQ(dir.read("install/upd_Sampler.exe"), "Sampler release 1\n");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"), local);
}

TEST_F(SampleProduct, BadUsageExits2WithTheErrorOnStderrAndHelpExits0)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "no command given"},
        {{"install"}, "unknown command 'install'"},
        {{"check", "--app", "."}, "--product KEY is required"},
        {{"restores", "--app", ".", "--yes"}, "unknown option '--yes' for restores"},
        {{"update", "--product", "P", "--app"}, "--app needs a value"},
        {{"check", "--product=P", "--app=.", "--yes", "--no"}, "--yes and --no exclude each other"},
    };
    for (const auto& [args, error] : cases) {
        const Result r = korautoupdate(args);
        EXPECT_EQ(r.status, 2) << error;
        EXPECT_EQ(r.out, "");
        EXPECT_THAT(r.err, StartsWith("korautoupdate: " + error + "\nTry 'korautoupdate "));
    }
    for (const std::string name : {"check", "update", "restores", "--help"}) {
        const Result r = korautoupdate({name, "--help"}); // --help twice: the overview
        EXPECT_EQ(r.status, 0);
        EXPECT_THAT(r.out, StartsWith("usage: korautoupdate " + name.substr(0, name.find('-'))));
    }
}

TEST_F(SampleProduct, ReleaseNotesFetchShowsThePageConnectedAndFailsSilentlyButForTheLogon)
{
    ScriptedBox box;
    CFtpFileClient client; // takes the built-in account, which the server has set
    std::string shown;
    EXPECT_TRUE(FetchReleaseNotes(client, "Sampler", install, [&](const std::string& path) {
        shown = path;
        EXPECT_FALSE(client.Connect("", "", "")); // a second logon is refused while one stands
    }));
    EXPECT_EQ(shown, install + "/LatestUpdate.html");
    EXPECT_EQ(dir.read("install/LatestUpdate.html"), dir.read("Sampler/LatestUpdate.html"));

    // Each failure ends disconnected, or the last logon here would be refused.
    const auto never = [&](const std::string&) { shown = "again"; };
    EXPECT_FALSE(FetchReleaseNotes(client, "Nothing", install, never));
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", dir / "no/such", never)); // can't be put
    EXPECT_THROW(FetchReleaseNotes(client, "Sampler", install,
                                   [](auto&) { throw std::runtime_error("view"); }),
                 std::runtime_error);
    fs::remove(dir / "Sampler/LatestUpdate.html");
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", install, never));
    EXPECT_TRUE(client.Connect("", "", ""));
    client.Disconnect();
    EXPECT_EQ(shown, install + "/LatestUpdate.html");
    EXPECT_EQ(box.count(), 0u);

    server.refuseLogin(true);
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", install, never));
    ASSERT_EQ(box.count(), 1u); // the client's own
    EXPECT_THAT(box.shown()[0].text, StartsWith("Connection to the KORVANE server failed."));
}
