// The console front end: korautoupdate run as a child process against the real FTP server, the
// release notes fetch it uses driven with the real client, and its answers and HTML text as units.
#include "ConsoleBox.h"
#include "ConsoleRunView.h"
#include "HtmlText.h"
#include "flows/ReleaseNotesFetch.h"
#include "flows/UpdateRunTestSupport.h"
#include "platform/FixedNames.h"
#include "platform/InstallationLock.h"
#include "server/CFtpFileClient.h"
#include "support/FtpServer.h"
#include "support/ScopedEnv.h"
#include "support/ScriptedBox.h"
#include "support/TestCertificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <sstream>
#include <tuple>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kau;
using namespace kau::cli;
using namespace kau::test;
using namespace ::testing;
namespace fs = std::filesystem;

namespace {

// status: 128 + n for death by signal n; 137 (SIGKILL) when out of time.
struct Result { int status; std::string out, err; };

// Reads what the pipe (or terminal) holds now, without waiting.
void readAvailable(int fd, std::string& into)
{
    char buffer[4096];
    for (pollfd p{fd, POLLIN, 0}; ::poll(&p, 1, 0) == 1 && (p.revents & POLLIN);) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            return;
        into.append(buffer, static_cast<size_t>(n));
    }
}

// Runs the command to its end, stdin /dev/null, stderr a pseudo terminal when
// asked; whileRunning gets its pid and its output so far every few milliseconds meanwhile.
Result korautoupdate(std::vector<std::string> args, bool terminal = false,
                     const std::function<void(pid_t, const Result&)>& whileRunning = [](pid_t, const Result&) {})
{
    std::vector<char*> argv{const_cast<char*>(KAU_CLI_BINARY)};
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    // Close-on-exec: a command started at the same time from another thread must
    // not keep this one's pipes open, or reading them to the end waits for it.
    int out[2], err[2];
    if (::pipe2(out, O_CLOEXEC) != 0
        || (terminal ? ::openpty(err, err + 1, nullptr, nullptr, nullptr) : ::pipe2(err, O_CLOEXEC)) != 0)
        throw std::runtime_error("no pipe");
    if (terminal)
        for (const int fd : err)
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
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
    Result r{0, {}, {}};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (::waitpid(pid, &raw, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline)
            ::kill(pid, SIGKILL);
        readAvailable(out[0], r.out);
        whileRunning(pid, r);
        ::poll(nullptr, 0, 5);
    }
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    for (const auto& [fd, into] : {std::pair{out[0], &r.out}, {err[0], &r.err}}) {
        char buffer[4096];
        for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
            into->append(buffer, static_cast<size_t>(n));
        ::close(fd);
    }
    return r;
}

const std::string kDashes(58, '-');
const std::string kHead = " Message from: <KorAutoUpdate>-Tool  V 3.0.0\n" + kDashes + "\n\n";
const std::string kTail = "\n" + kDashes + "\n\n Click <yes> to see the KORVANE update notes \n"
                          " and to start the installation procedure ...\n";
const std::string kEndQuestion = " End of software update!\n" + kDashes + "\n\n Do you want to start the new released programm ?"
                                 "\n\n Press <yes> to start Sampler.exe\n\n[yes/no] no\n\n";
const std::string kNewFiles = kHead + " There are some newer files on the server:\n\n   3.10.02\t\t->> Sampler.exe \n"
                              "   1.04.00\t\t->> sampler.chm \n   \t\t->> Readme.txt \n" + kTail;

// The release notes below as text.
const std::string kNotesText = "Sampler & Co\n\nRelease 3.10.02\n\nFixes:\none <two> three\n\n- Filter.dll\n- help \xE2\x80\x93 A\n\nBye\n";

// The sample product, its release notes on the server beside it.
class Cli : public ::testing::Test, public SampleProduct {
protected:
    Cli()
    {
        server.write("Sampler/LatestUpdate.html",
                     "<!DOCTYPE html><html><head><title>Sampler &amp; Co</title><style>p {color: red}"
                     "</style><script>a = '<p>';</script></head>\n<body><h1>Release   3.10.02</h1>\n"
                     "<p>Fixes:<br>one &lt;two&gt;&nbsp;three</p><ul><li>Filter.dll</li>\n<li>help "
                     "&#8211; &#x41;</li></ul><!-- <p>hidden</p> --><p>Bye</p></body></html>");
    }

    // The command on the sample product: sampler({"check", "--yes"}).
    Result sampler(std::vector<std::string> args,
                   const std::function<void(pid_t, const Result&)>& whileRunning = [](pid_t, const Result&) {})
    {
        args.insert(args.end(), {"--product", "Sampler", "--app=" + app});
        return korautoupdate(args, false, whileRunning);
    }

    const std::string dir = install.str(), app = install / "Sampler.exe";
    const std::string local = install.read("RelInfoLocal.rel");
    FtpServer ftp{server.path()};
};

} // namespace

TEST_F(Cli, CheckListsTheNewFilesExits100AndShowsTheNotesAsTextOnYes)
{
    Result r = sampler({"check", "--no"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] no\n\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(install.read("RelInfoLocal.rel"), local);
    EXPECT_FALSE(install.exists("LatestUpdate.html"));

    r = korautoupdate({"check", "--product", "Sampler", "--app", dir, "--yes"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] yes\n\nRelease notes (" + dir + "/LatestUpdate.html):\n\n" + kNotesText);

    fs::remove(server / "Sampler/LatestUpdate.html");
    r = sampler({"check", "--yes"});
    EXPECT_EQ(r.status, 100);
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] yes\n\n");
    EXPECT_EQ(r.err, "korautoupdate: the release notes could not be fetched\n");
}

TEST_F(Cli, NotesPrintsAPageFromAPathOrAUrlAsText)
{
    const std::string page = server / "Sampler/LatestUpdate.html";
    for (const std::string& where : {page, "file://" + page,
                                     "ftp://" + ftp.user() + ":" + ftp.password() + "@" + ftp.address() + "/Sampler/LatestUpdate.html"}) {
        SCOPED_TRACE(where);
        const Result r = korautoupdate({"notes", where});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, kNotesText);
    }
    Result r = korautoupdate({"notes", server / "Sampler/NoSuchPage.html"});
    EXPECT_EQ(std::tie(r.status, r.out, r.err), std::make_tuple(1, std::string(), "korautoupdate: cannot read " + server / "Sampler/NoSuchPage.html" + "\n"));
    r = korautoupdate({"notes", "ftp://" + ftp.address() + "/Sampler/LatestUpdate.html"}); // refused logon
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, StartsWith("korautoupdate: ftp://"));
    for (const auto& args : {std::vector<std::string>{"notes"}, {"notes", page, page}, {"notes", "--app", "x"}})
        EXPECT_EQ(korautoupdate(args).status, 2) << args.size();
}

TEST_F(Cli, CheckExits1WhenTheServerIsNotUsableAndOptionsReplaceTheAccount)
{
    // The revision file can't be put down: a directory stands under its name.
    fs::create_directory(install.path() / "RelInfoRemote.rel");
    Result r = sampler({"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "korautoupdate: the remote revision file could not be fetched or read\n");
    fs::remove(install.path() / "RelInfoRemote.rel");

    // A wrong built-in account (the server puts the environment back when it goes).
    const std::string nowhere = "127.0.0.1:" + std::to_string(FtpServer::unusedPort());
    ::setenv("KORAUTOUPDATE_FTP_SERVER", nowhere.c_str(), 1);
    ::setenv("KORAUTOUPDATE_FTP_USER", "nobody", 1);
    fs::remove(server / "Sampler/RelInfoRemote.rel");
    r = sampler({"check", "--server", ftp.address(), "--user=" + ftp.user(), "--password", ftp.password()});
    EXPECT_EQ(r.status, 1); // logged on, but there is no revision file
    EXPECT_EQ(r.out, "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!\n\n");
}

TEST_F(Cli, UpdatePrintsItsLogKeepsTheOldFilesAndBarsATerminal)
{
    Result r = korautoupdate({"update", "--product", "Sampler", "--app", app}, true);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "... Preparing download from server!\n"
                         + printed(updateLog(5, {"  ok!    Sampler.exe", "  ok!    sampler.chm", "  ok!    Readme.txt"}, true))
                         + kEndQuestion);
    // The bar counts files, 3 new ones of 4, with the line being transferred beside it; cleared at the end.
    EXPECT_THAT(r.err, HasSubstr("\r[#######.......................] 1/4  copy -> Sampler.exe"));
    EXPECT_THAT(r.err, HasSubstr("\r[##############################] 4/4"));
    EXPECT_THAT(r.err, EndsWith("\r\033[K"));

    // The restore directory of the run, its date as text, and the old versions in it.
    r = korautoupdate({"restores", "--app", app});
    const std::string s = r.out.substr(0, r.out.find(' '));
    EXPECT_EQ(r.out, s + "  " + s.substr(0, 4) + "-" + s.substr(4, 2) + "-" + s.substr(6, 2)
                         + "   (" + s.substr(8, 2) + ":" + s.substr(10, 2) + ")\n");
    r = korautoupdate({"restores", "--app", app, "--files", s});
    EXPECT_EQ(r.out, "RelInfoLocal.rel  -\nSampler.exe  3.10.01\nsampler.chm  1.03.00\n");
    r = korautoupdate({"restores", "--app", app, "--files", "Plugins"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korautoupdate: no restore directory Plugins in " + dir + "\n");
    EXPECT_FALSE(install.exists("Plugins/RelInfoLocal.rel"));

    r = sampler({"check"}); // stdin is no terminal: no
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, kHead + " Your programm is working with the latest version!\n\n" + kTail + "[yes/no] no\n\n");
    r = korautoupdate({"update", "--product", "Sampler", "--app", dir});
    EXPECT_EQ(r.status, 0);
    EXPECT_THAT(r.out, EndsWith(" No updates found!\n   \n  End of download procedure!! \n"));
}

TEST_F(Cli, CheckAndUpdateGoOverFtpesWithTheNamedCaAndATlsFailureSaysWhyOnStderr)
{
    const TestCertificates& certificates = TestCertificates::shared();
    FtpServer tls(server.path(), Ftps{certificates.server(), ""});
    const std::string ftpes = "--server=" + tls.setting();
    Result r = sampler({"check", "--no", ftpes, "--ca-file", certificates.trustedCa()});
    EXPECT_EQ(r.status, 100) << r.out << r.err;
    EXPECT_EQ(r.out, kNewFiles + "[yes/no] no\n\n");
    EXPECT_EQ(r.err, "");
    r = sampler({"update", ftpes, "--ca-file", certificates.trustedCa()});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("  ok!    Sampler.exe\n  ok!    sampler.chm\n  ok!    Readme.txt\n"));
    EXPECT_EQ(install.read("Readme.txt"), server.read("Sampler/Readme.txt"));
    const auto heard = tls.commands();
    EXPECT_GE(std::ranges::count(heard, "TLS data resumed"), 4) << "the revision file and three files";
    EXPECT_EQ(std::ranges::count(heard, "TLS data new"), 0) << PrintToString(heard);

    // Without the CA file the system's certificates decide, and they don't know this CA:
    // the logon's box on stdout, the reason on stderr.
    const std::string unknownIssuer = "SSL certificate problem: unable to get local issuer certificate";
    r = sampler({"check", "--no", ftpes});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, StartsWith("Connection to the KORVANE server failed.\n"));
    EXPECT_THAT(r.out, HasSubstr("ERROR!  " + unknownIssuer + "\n\nFTP Server: <" + tls.setting() + ">\n"));
    EXPECT_EQ(r.err, "korautoupdate: the server is not usable: " + unknownIssuer + "\n");
    r = sampler({"update", ftpes}); // the log ends after the logon, below the client's box
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, StartsWith("... Preparing download from server!\n... connect to the KORVANE server\n"
                                  "Connection to the KORVANE server failed.\n"));
    EXPECT_THAT(r.out, HasSubstr("ERROR!  " + unknownIssuer + "\n"));
    EXPECT_THAT(r.out, HasSubstr(">\n\n   \n  End of download procedure!! \n End of software update!\n"));
    EXPECT_EQ(r.err, "korautoupdate: no logon to the server: " + unknownIssuer + "\n");

    // A server without TLS never hears the account.
    r = sampler({"update", "--server", "ftpes://" + ftp.address()});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, StartsWith("korautoupdate: no logon to the server: the server does not offer TLS "
                                  "(it replied \"500 "));
    EXPECT_THAT(ftp.commands(), Each(StartsWith("AUTH ")));

    r = sampler({"check", "--server", "ftps://" + tls.address()});
    EXPECT_EQ(r.status, 2);
    EXPECT_THAT(r.err, StartsWith("korautoupdate: --server: ftps:// (TLS from the first byte) is not supported"));
}

TEST_F(Cli, HostileNamesAreNotOfferedFailInTheRunAndReachTheTerminalEscaped)
{
    server.write("Sampler/RelInfoRemote.rel", revisionFile({"Sampler.exe; 3.10.02", "../x.txt; 1.0", "/tmp/x; 1.0", "Plugins; 1.0",
                                                            "upd_Sampler.exe; 1.0", "evil\x1b]0\a.txt; 1.0"}));
    Result r = sampler({"check", "--no"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kHead + " There are some newer files on the server:\n\n   3.10.02\t\t->> Sampler.exe \n" + kTail + "[yes/no] no\n\n");
    server.write("Sampler/RelInfoRemote.rel", revisionFile({"../x.txt; 1.0", "evil\x1b]0\a.txt; 1.0"}));
    r = sampler({"check", "--no"});
    EXPECT_EQ(r.status, 0) << "nothing the run would take is new";

    // The run: one line for each, the escape shown as text on the terminal and in the bar, exit 1.
    r = korautoupdate({"update", "--product", "Sampler", "--app", app}, true);
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("---- start transfer ----\n fail!    ../x.txt\n fail!    evil\\x1B]0\\x07.txt\n---- end"));
    EXPECT_EQ(r.out.find_first_of("\x1b\a"), std::string::npos);
    EXPECT_EQ(r.err.find('\a'), std::string::npos);
    EXPECT_THAT(r.err, HasSubstr("2 of 2 files did not arrive"));
    EXPECT_EQ(install.read("RelInfoLocal.rel"), local);
    EXPECT_FALSE(fs::exists(install.path().parent_path() / "x.txt"));
}

TEST_F(Cli, CtrlCSigtermOrSighupInATransferExit130AndLeaveTheFileAsItWas)
{
    server.write("Sampler/Sampler.exe", std::string(512 * 1024, 'x')); // 16 s at this rate
    ftp.throttle(32 * 1024);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        bool sent = false;
        // The log so far is on stdout, a pipe, while the transfer runs: only its pending line is held back.
        const Result r = korautoupdate({"update", "--product", "Sampler", "--app", app}, false, [&](pid_t pid, const Result& now) {
            std::error_code ec;
            for (const auto& e : fs::directory_iterator(install.path())) // the download's hidden file
                if (!sent && e.path().filename().string().rfind(".Sampler.exe.part", 0) == 0 && fs::file_size(e.path(), ec) > 0
                    && now.out.ends_with("---- start transfer ----\n"))
                    sent = ::kill(pid, signal) == 0;
        });
        EXPECT_TRUE(sent) << signal << "\n" << r.out;
        EXPECT_EQ(r.status, 130) << r.out << r.err;
        EXPECT_THAT(r.err, HasSubstr("update stopped"));
        EXPECT_THAT(r.out, EndsWith("---- start transfer ----\n copy -> Sampler.exe\n"));
        // The file in transfer stays as it was: not put aside, not kept, no part file.
        for (const auto& e : fs::recursive_directory_iterator(install.path())) {
            EXPECT_THAT(e.path().filename().string(), Not(AnyOf(StartsWith("."), StartsWith("upd_"))));
            if (e.path().parent_path() != install.path()) { // the restore directory holds the old list only
                EXPECT_THAT(e.path().filename().string(), AnyOf(Eq("RelInfoLocal.rel"), Eq("Plugins"), Eq("Filter.dll")));
            }
        }
        EXPECT_EQ(install.read("Sampler.exe"), "program release 1\n");
        EXPECT_EQ(install.read("RelInfoLocal.rel"), local);
    }
}

TEST_F(Cli, AnUpdateThatEndsEarlyOrLosesAFileSaysWhyOnStderrBelowTheUnchangedLog)
{
    // A wrong product key: the log ends after the directory it asked for.
    Result r = korautoupdate({"update", "--product", "Nope", "--app", app});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("... set path (Nope)\n   \n  End of download procedure!! \n"));
    EXPECT_THAT(r.err, MatchesRegex("korautoupdate: no product directory \"Nope\" on the server: "
                                    "the server replied \"550 [^\n]*\"\n"));
    // A file the list names but the server lacks; all files asked for, the unchanged one too.
    fs::remove(server.path() / "Sampler/Readme.txt");
    r = sampler({"update", "--all"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("  ok!    Plugins\\Filter.dll\n fail!    Readme.txt\n---- end transfer ----\n"));
    EXPECT_THAT(r.err, MatchesRegex("korautoupdate: 1 of 4 files did not arrive\n"
                                    "korautoupdate: Readme.txt did not arrive: the server replied \"550 [^\n]*\"\n"));
    // The install directory can't take the revision file: the local error, with the path.
    fs::remove(install.path() / "RelInfoRemote.rel");
    fs::create_directory(install.path() / "RelInfoRemote.rel");
    r = sampler({"update"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("... check remote revision file\n   \n"));
    EXPECT_EQ(r.err, "korautoupdate: RelInfoRemote.rel did not arrive: " + dir + "/RelInfoRemote.rel: is a directory\n");
}

TEST_F(Cli, EachLogLineReachesAPipeAsSoonAsItIsFinalAndSigtermStopsTheLogon)
{
    ftp.stallReplies(3000); // the logon takes seconds
    bool early = false;
    const Result r = sampler({"update"}, [&](pid_t pid, const Result& now) {
        const auto commands = ftp.commands();
        const bool loggedOn = std::any_of(commands.begin(), commands.end(), [](const std::string& c) { return c.starts_with("PASS"); });
        if (!early && now.out.ends_with("... connect to the KORVANE server\n") && !loggedOn)
            early = ::kill(pid, SIGTERM) == 0;
    });
    EXPECT_TRUE(early) << "the line came only with the logon:\n" << r.out;
    EXPECT_EQ(r.status, 130) << r.out << r.err;
    EXPECT_EQ(r.out, "... Preparing download from server!\n... connect to the KORVANE server\n");
}

TEST(Korautoupdate, CheckAndUpdateRefuseAnAppInNoDirectoryTheReadingCommandsJustFindNothing)
{
    kau::test::TempDir root;
    const std::string typo = root / "Sampelr/Sampler.exe", missing = root / "Sampelr";
    for (const std::string command : {"check", "update"}) {
        const Result r = korautoupdate({command, "--product", "Sampler", "--app", typo});
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "korautoupdate: --app " + typo + ": the directory " + missing + " does not exist\n");
    }
    const Result listed = korautoupdate({"restores", "--app", typo});
    EXPECT_EQ(listed.err, "korautoupdate: no install directory " + missing + "\n");
    const Result restored = korautoupdate({"restore", "--app", typo, "201405131120"});
    EXPECT_EQ(restored.status, 1);
    EXPECT_FALSE(fs::exists(missing)) << "a command made the directory";
}

TEST(KorautoupdateRestore, PlaysTheStateBackExits1ForAnUnknownStampOrAFailedCopyAnd130OnCtrlC)
{
    const RestoreExample archive;
    const std::string app = archive.install / "Sampler.exe";
    Result r = korautoupdate({"restore", "--app", app, RestoreExample::kMiddle});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "... Preparing restore from directory!\n" + printed(restoreLog(RestoreExample::kMiddle, RestoreExample::middleRestored()))
                         + kEndQuestion);
    EXPECT_EQ(archive.install.read("RelInfoLocal.rel"), RestoreExample::state(2));

    r = korautoupdate({"restore", "--app", archive.install.str(), "209912312359"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "... Preparing restore from directory!\n   \n  End of restore procedure!! \n");
    EXPECT_EQ(r.err, "korautoupdate: no restore directory '209912312359' in " + archive.install.str() + "; nothing was restored\n");
    fs::create_symlink(archive.install / "gone", archive.install / (std::string(RestoreExample::kNewest) + "/Gone.txt"));
    r = korautoupdate({"restore", "--app", app, RestoreExample::kNewest});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr(" fail!    201409011630/Gone.txt\n"));
    EXPECT_THAT(r.err, HasSubstr("1 of 3 files could not be restored"));

    // Ctrl-C while a large file is copied: it stops between blocks, and no part of the copy is left.
    const std::string big = archive.install / (std::string(RestoreExample::kNewest) + "/Big.dat");
    fs::remove(archive.install / (std::string(RestoreExample::kNewest) + "/Gone.txt"));
    writeFile(big, "big");
    fs::resize_file(big, std::uintmax_t{1} << 30);
    archive.install.write("Big.dat", "the installed one");
    bool sent = false;
    r = korautoupdate({"restore", "--app", app, RestoreExample::kNewest}, false, [&](pid_t pid, const Result&) {
        for (const auto& e : fs::directory_iterator(archive.install.path()))
            if (!sent && e.path().filename().string().rfind(".Big.dat.part", 0) == 0)
                sent = ::kill(pid, SIGINT) == 0;
    });
    EXPECT_TRUE(sent);
    EXPECT_EQ(r.status, 130) << r.out << r.err;
    EXPECT_THAT(r.err, HasSubstr("restore stopped"));
    for (const auto& e : fs::directory_iterator(archive.install.path()))
        EXPECT_THAT(e.path().filename().string(), Not(StartsWith(".")));
    EXPECT_EQ(archive.install.read("Big.dat"), "the installed one");
    EXPECT_FALSE(archive.install.exists("upd_Big.dat"));
}

TEST(Korautoupdate, BadUsageExits2WithTheErrorOnStderrAndHelpExits0)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "no command given"},
        {{"install"}, "unknown command 'install'"},
        {{"check", "--app", "."}, "--product KEY is required"},
        {{"restores", "--app", ".", "--yes"}, "unknown option '--yes' for restores"},
        {{"update", "--product", "P", "--app"}, "--app needs a value"},
        {{"check", "--product=P", "--app=.", "--yes", "--no"}, "--yes and --no exclude each other"},
        {{"restore", "--app", "."}, "the restore directory STAMP is required"},
        {{"restore", "--app", ".", "201405131120", "201409011630"}, "unexpected argument '201409011630' for restore"},
    };
    for (const auto& [args, error] : cases) {
        const Result r = korautoupdate(args);
        EXPECT_EQ(r.status, 2) << error;
        EXPECT_EQ(r.out, "");
        EXPECT_THAT(r.err, StartsWith("korautoupdate: " + error + "\nTry 'korautoupdate "));
    }
    for (const std::string name : {"check", "update", "restore", "restores", "--help"}) {
        const Result r = korautoupdate({name, "--help"}); // --help twice: the overview
        EXPECT_EQ(r.status, 0);
        EXPECT_THAT(r.out, StartsWith("usage: korautoupdate " + name.substr(0, name.find('-'))));
    }
}

// Every failure ends disconnected, or the next logon of the same client would be refused.
TEST_F(Cli, ReleaseNotesFetchShowsThePageConnectedAndFailsSilentlyButForTheLogon)
{
    ScriptedBox box;
    CFtpFileClient client; // takes the built-in account, which the server has set
    const auto never = [](const std::string& path) { ADD_FAILURE() << path; };
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", install / "no/such", never)); // can't be put down
    EXPECT_THROW(FetchReleaseNotes(client, "Sampler", dir, [](auto&) { throw std::runtime_error("view"); }),
                 std::runtime_error);
    EXPECT_TRUE(FetchReleaseNotes(client, "Sampler", dir, [&](const std::string& path) {
        EXPECT_EQ(path, dir + "/LatestUpdate.html");
        EXPECT_FALSE(client.Connect("", "", "")); // a second logon is refused while one stands
    }));
    fs::remove(server / "Sampler/LatestUpdate.html");
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", dir, never));
    ftp.refuseLogin(true);
    EXPECT_FALSE(FetchReleaseNotes(client, "Sampler", dir, never));
    ASSERT_EQ(box.count(), 1u); // the client's own, and only for the refused logon
    EXPECT_THAT(box.shown()[0].text, StartsWith("Connection to the KORVANE server failed."));
}

TEST(ConsoleBox, AsksOnlyATerminalAndTakesAnythingButYesAsNo)
{
    // The flag, a terminal or not, what is typed; the buttons, the answer, what is printed.
    const std::tuple<Answer, bool, std::string, BoxButtons, BoxAnswer, std::string> cases[] = {
        {Answer::No, true, "yes\n", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no] no\n\n"},
        {Answer::Ask, true, "  Yes\n", BoxButtons::YesNo, BoxAnswer::Yes, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "nope\n", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no]? \n\n"}, // no input
        {Answer::Ask, true, "ok\n", BoxButtons::OkCancel, BoxAnswer::Ok, "Q?\n[ok/cancel]? \n"},
        {Answer::Ask, false, "ok", BoxButtons::OkCancel, BoxAnswer::Cancel, "Q?\n[ok/cancel] cancel\n\n"},
    };
    for (const auto& [answer, terminal, typed, buttons, expected, printed] : cases) {
        SCOPED_TRACE(printed + typed);
        std::ostringstream out;
        std::istringstream in(typed);
        ConsoleBox box(answer, out, in, terminal);
        EXPECT_EQ(box.show("Q?", buttons, BoxIcon::Question), expected);
        EXPECT_EQ(out.str(), printed);
    }
}

TEST(HtmlText, SurvivesBrokenMarkup)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain   text\n\nonly", "plain text only\n"},
        {"a & b &bogus; &#xZZ; &#0;", "a & b &bogus; &#xZZ;\n"},
        {"<table><tr><th>File</th><th>Version</th></tr><tr><td>Sampler</td><td>3.10.02</td></tr></table>after",
         "File Version\nSampler 3.10.02\nafter\n"},
        {"text <b unfinished", "text\n"},
        {"x<script>never closed", "x\n"},
        {"<p><p><p>a<br><br><br><br>b", "a\nb\n"},
    };
    for (const auto& [html, text] : cases) {
        SCOPED_TRACE(html);
        EXPECT_EQ(htmlToText(html), text);
    }
}

TEST(ConsoleOutput, ControlCharactersFromTheServerArePrintedAsText)
{
    std::ostringstream out, err, boxOut;
    ConsoleRunView view(out, err, true);
    view.AddPendingLine(" copy -> a\x1b[2Jb");
    view.ReplaceLastLine(" fail!    a\x1b[2Jb\r");
    view.finish();
    EXPECT_EQ(out.str(), " fail!    a\\x1B[2Jb\\x0D\n");
    EXPECT_THAT(err.str(), HasSubstr("] 0/100  copy -> a\\x1B[2Jb\033[K")) << "the bar's own sequences stay";

    std::istringstream in;
    ConsoleBox box(Answer::No, boxOut, in, false);
    box.show(" newer:\n\n   3.10.02\x1b]0;x\a\t\t->> a \n", BoxButtons::Ok, BoxIcon::None);
    EXPECT_EQ(boxOut.str(), " newer:\n\n   3.10.02\\x1B]0;x\\x07\t\t->> a \n\n\n");
}

TEST_F(Cli, KeygenAndPublishMakeASignedReleaseThatUpdateTrustsOnlyWithItsKey)
{
    kau::test::TempDir vendor, config; // the accepted release's number goes to config's store
    const ScopedEnv configHome("XDG_CONFIG_HOME", config.str());
    const std::string key = vendor / "release.key";
    Result r = korautoupdate({"keygen", "--key", key});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string publicKey = r.out.substr(0, r.out.find('\n'));
    EXPECT_EQ(publicKey.size(), 44u) << r.out;
    EXPECT_EQ(fs::status(key).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const std::string pem = readFile(key);
    r = korautoupdate({"keygen", "--key", key});
    EXPECT_EQ(r.status, 1) << "an existing key is never overwritten";
    EXPECT_EQ(readFile(key), pem);

    // Release 2 of the server's product directory, after release 1 as installed.
    fs::remove(server / "Sampler/RelInfoRemote.rel");
    r = korautoupdate({"publish", "--dir", server / "Sampler", "--previous", install / "RelInfoLocal.rel",
                       "--version", "3.10.02", "--key", key});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "release 1: 4 files, 3 at 3.10.02, signed\n");
    EXPECT_THAT(server.read("Sampler/RelInfoRemote.rel"), HasSubstr("Plugins\\Filter.dll; 2.00.07\r\n"));

    r = sampler({"update", "--public-key", publicKey});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(install.read("Sampler.exe"), server.read("Sampler/Sampler.exe"));

    // Another key: the server is not usable, and stderr says why.
    const std::string otherKey = korautoupdate({"keygen", "--key", vendor / "other.key"}).out;
    r = sampler({"check", "--public-key", otherKey.substr(0, 44)});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korautoupdate: release refused: Release.manifest.sig is not a valid signature by the configured key\n");
    EXPECT_THAT(readFile(config / "Korvane/AutoUpdate.conf"), HasSubstr("ReleaseSequence=1"));
}

TEST_F(Cli, ASecondRunOnTheInstallationWaitsThenRefusesWith75AndAKilledRunHoldsNothing)
{
    // The first run stalls in the transfer of sampler.chm: Sampler.exe is in place, its old copy kept.
    ftp.stallDownloadOf("sampler.chm");
    install.write("upd_Stale.dll", "left by a run long ago");
    std::atomic<pid_t> firstPid = 0;
    auto first = std::async(std::launch::async, [&] {
        return sampler({"update"}, [&](pid_t pid, const Result&) { firstPid = pid; });
    });
    ASSERT_TRUE(ftp.waitForStall(std::chrono::seconds(20)));
    const std::string stamp = korautoupdate({"restores", "--app", app}).out.substr(0, 12);
    const std::map<std::string, std::string> kept{{"RelInfoLocal.rel", local}, {"Sampler.exe", "program release 1\n"}};
    ASSERT_EQ(filesBelow(install / stamp), kept);
    const auto part = [&] {
        for (const auto& e : fs::directory_iterator(install.path()))
            if (e.path().filename().string().starts_with(".sampler.chm.part-"))
                return true;
        return false;
    };
    ASSERT_TRUE(part());

    // A second update and a restore wait, then do nothing; the check doesn't wait and sweeps nothing.
    auto second = std::async(std::launch::async, [&] { return sampler({"update"}); });
    auto restore = std::async(std::launch::async, [&] { return korautoupdate({"restore", "--app", app, stamp}); });
    const auto start = std::chrono::steady_clock::now();
    const Result check = sampler({"check", "--no"});
    EXPECT_EQ(check.status, 100) << check.err;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4)) << "the check waited";
    EXPECT_TRUE(part() && install.exists("upd_Stale.dll")) << "swept under a running update";
    for (Result r : {second.get(), restore.get()}) {
        EXPECT_EQ(r.status, 75) << r.out << r.err;
        EXPECT_EQ(r.err, "korautoupdate: another update or restore is running in " + dir
                             + "; nothing was changed, try again when it has ended\n");
        EXPECT_THAT(r.out, HasSubstr("\n... wait for another run in this installation\n"
                                     " fail! another run holds this installation\n   \n  End of "));
        EXPECT_THAT(r.out, Not(HasSubstr("connect"))) << "it reached for the server";
        EXPECT_THAT(r.out, Not(HasSubstr("[yes/no]"))) << "it offered to start the program in the midst of the other run";
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, kau::kInstallationLockWait);
    EXPECT_EQ(filesBelow(install / stamp), kept);
    EXPECT_EQ(install.read("sampler.chm"), "help release 1\n");
    EXPECT_EQ(install.read("RelInfoLocal.rel"), local);

    // Killed with SIGKILL, the first run holds nothing: the next run starts at once, finishes the
    // update and keeps the old copy of what it replaces.
    ::kill(firstPid, SIGKILL);
    EXPECT_EQ(first.get().status, 128 + SIGKILL);
    ftp.stallDownloadOf("sampler.chm", false);
    const Result rerun = sampler({"update"});
    EXPECT_EQ(rerun.status, 0) << rerun.out << rerun.err;
    EXPECT_THAT(rerun.out, StartsWith("... Preparing download from server!\n... connect to the KORVANE server\n"));
    EXPECT_EQ(install.read("sampler.chm"), server.read("Sampler/sampler.chm"));
    // The rerun's restore directory: the killed run's, or a newer one when the minute has turned.
    const std::string restores = korautoupdate({"restores", "--app", app}).out;
    const std::string rerunStamp = restores.substr(restores.rfind('\n', restores.size() - 2) + 1, 12);
    EXPECT_GE(rerunStamp, stamp);
    EXPECT_EQ(readFile(install / rerunStamp + "/sampler.chm"), "help release 1\n");
    EXPECT_FALSE(install.exists(kau::kInstallationLockFile));
    // Free now, the check sweeps what the killed run left.
    EXPECT_EQ(sampler({"check", "--no"}).status, 0);
    EXPECT_FALSE(part() || install.exists("upd_Stale.dll"));
}
