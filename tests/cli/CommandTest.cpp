// korautoupdate run as a child process against the real FTP server.
#include "ChildProcess.h"
#include "FtpServerProcess.h"
#include "SampleProduct.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include <signal.h>

using namespace kau::test;
namespace fs = std::filesystem;

namespace {

const std::string kDashes(58, '-');

const std::string kNewFilesBox =
    " Message from: <KorAutoUpdate>-Tool  V 3.0.0\n" + kDashes + "\n\n"
    " There are some newer files on the server:\n\n"
    "   3.10.02\t\t->> Sampler.exe \n"
    "   1.04.00\t\t->> sampler.chm \n"
    "   \t\t->> Readme.txt \n"
    "\n" + kDashes + "\n\n"
    " Click <yes> to see the KORVANE update notes \n"
    " and to start the installation procedure ...\n";

const std::string kUpdateLog = "... Preparing download from server!\n"
                               "... connect to the KORVANE server\n"
                               "... set path (Sampler)\n"
                               "... check remote revision file\n"
                               "... check local revision file\n"
                               "... compare new files\n"
                               "---- start transfer ----\n"
                               "  ok!    Sampler.exe\n"
                               "  ok!    sampler.chm\n"
                               "  ok!    Readme.txt\n"
                               "---- end transfer ----\n"
                               "... update local revision file\n"
                               "  ok!  updated local revision file\n"
                               "   \n"
                               "  End of download procedure!! \n";

const std::string kEndQuestion = " End of software update!\n" + kDashes + "\n\n"
                                 " Do you want to start the new released programm ?\n\n"
                                 " Press <yes> to start Sampler.exe\n\n";

class Korautoupdate : public ::testing::Test {
protected:
    Korautoupdate() : product(dir) {}

    // Runs the command with the test server as its built-in account.
    RunResult run(std::vector<std::string> args, int port = -1)
    {
        args.insert(args.begin(), KAU_CLI_BINARY);
        return runProgram(args, environment(port));
    }

    std::map<std::string, std::string> environment(int port = -1)
    {
        ensureServer();
        return {{"KORAUTOUPDATE_FTP_SERVER",
                 "127.0.0.1:" + std::to_string(port < 0 ? server->port() : port)},
                {"KORAUTOUPDATE_FTP_USER", kFtpUser},
                {"KORAUTOUPDATE_FTP_PASSWORD", kFtpPassword}};
    }

    void ensureServer(int throttle = 0)
    {
        if (!server)
            server = std::make_unique<FtpServerProcess>(product.serverRoot, kFtpUser,
                                                        kFtpPassword, throttle);
    }

    std::vector<std::string> restoreDirectories() const
    {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(product.installDir))
            if (e.is_directory() && e.path().filename().string().rfind("20", 0) == 0)
                names.push_back(e.path().filename().string());
        return names;
    }

    TempDir dir;
    SampleProduct product;
    std::unique_ptr<FtpServerProcess> server;
};

} // namespace

TEST_F(Korautoupdate, CheckListsTheNewFilesAndExits100WithoutTouchingTheInstallation)
{
    const std::string before = dir.read("install/RelInfoLocal.rel");
    const RunResult r = run({"check", "--product", "Sampler", "--app", product.program, "--no"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFilesBox + "[yes/no] no\n\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"), before);
    EXPECT_FALSE(dir.exists("install/LatestUpdate.html"));
    EXPECT_TRUE(dir.exists("install/RelInfoRemote.rel")); // as the check leaves it
}

TEST_F(Korautoupdate, CheckWithYesFetchesTheNotesIntoTheInstallDirectoryAndPrintsThemAsText)
{
    const RunResult r = run({"check", "--product", "Sampler", "--app", product.installDir, "--yes"});
    EXPECT_EQ(r.status, 100) << r.err;
    EXPECT_EQ(r.out, kNewFilesBox + "[yes/no] yes\n\n" + "Release notes (" + product.installDir
                         + "/LatestUpdate.html):\n\n"
                           "Sampler 3.10.02\n\nNew in this release:\n\n- faster & smaller\n"
                           "- new help\n");
    EXPECT_EQ(dir.read("install/LatestUpdate.html"), dir.read("server/Sampler/LatestUpdate.html"));
}

TEST_F(Korautoupdate, CheckWithYesAndNoPageOnTheServerSaysSoOnStderr)
{
    fs::remove(product.productDir + "/LatestUpdate.html");
    const RunResult r = run({"check", "--product", "Sampler", "--app", product.program, "--yes"});
    EXPECT_EQ(r.status, 100);
    EXPECT_EQ(r.out, kNewFilesBox + "[yes/no] yes\n\n");
    EXPECT_EQ(r.err, "korautoupdate: the release notes could not be fetched\n");
}

TEST_F(Korautoupdate, CheckOfAnInstallationThatIsUpToDateExits0)
{
    dir.write("install/RelInfoLocal.rel", dir.read("server/Sampler/RelInfoRemote.rel"));
    const RunResult r = run({"check", "--product", "Sampler", "--app", product.program});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find(" Your programm is working with the latest version!\n"), std::string::npos);
    EXPECT_NE(r.out.find("[yes/no] no\n"), std::string::npos); // stdin is no terminal
}

TEST_F(Korautoupdate, CheckExits1WhenTheServerIsNotUsable)
{
    // An unknown product: the logon works, the directory does not.
    RunResult r = run({"check", "--product", "Nothing", "--app", product.program});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!\n\n");

    // A wrong password given on the command line beats the environment.
    r = run({"check", "--product", "Sampler", "--app", product.program, "--password", "wrong"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out.rfind("Connection to the KORVANE server failed.\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("FTP Server: <127.0.0.1:" + std::to_string(server->port()) + ">"),
              std::string::npos) << r.out;
    EXPECT_NE(r.out.find("No connection to the KORVANE ftp server!"), std::string::npos);

    // The revision file can't be put down: the install directory's parent is missing.
    r = run({"check", "--product", "Sampler", "--app", dir / "no/such/"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, ""); // the check itself ends without a word here
    EXPECT_EQ(r.err, "korautoupdate: the remote revision file could not be fetched or read\n");

    // No revision file in the product directory.
    fs::remove(product.productDir + "/RelInfoRemote.rel");
    r = run({"check", "--product", "Sampler", "--app", product.program});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!\n\n");
}

TEST_F(Korautoupdate, ServerOptionsReplaceTheBuiltInAccount)
{
    ensureServer();
    const RunResult r = runProgram(
        {KAU_CLI_BINARY, "check", "--product", "Sampler", "--app", product.program, "--server",
         server->address(), "--user", kFtpUser, "--password", kFtpPassword},
        {{"KORAUTOUPDATE_FTP_SERVER", "127.0.0.1:1"}, {"KORAUTOUPDATE_FTP_USER", "nobody"}});
    EXPECT_EQ(r.status, 100) << r.out;
}

TEST_F(Korautoupdate, UpdatePrintsTheLogAsItStandsAtTheEndAndKeepsTheOldFiles)
{
    const std::string oldLocal = dir.read("install/RelInfoLocal.rel");
    const RunResult r = run({"update", "--product", "Sampler", "--app", product.program});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, kUpdateLog + kEndQuestion + "[yes/no] no\n\n");
    EXPECT_EQ(r.err, ""); // no bar: stderr is no terminal
    EXPECT_EQ(dir.read("install/Sampler.exe"), "Sampler release 2\n");
    EXPECT_EQ(dir.read("install/sampler.chm"), "help release 2\n");
    EXPECT_EQ(dir.read("install/Readme.txt"), "read me\n");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"),
              "Sampler.exe; 3.10.02\r\nPlugins\\Filter.dll; 2.00.07\r\nsampler.chm; 1.04.00\r\n"
              "Readme.txt; \r\n");
    EXPECT_FALSE(dir.exists("install/upd_Sampler.exe"));

    const auto stamps = restoreDirectories();
    ASSERT_EQ(stamps.size(), 1u);
    const std::string archive = "install/" + stamps[0] + "/";
    EXPECT_EQ(dir.read(archive + "RelInfoLocal.rel"), oldLocal);
    EXPECT_EQ(dir.read(archive + "Sampler.exe"), "Sampler release 1\n");
    EXPECT_EQ(dir.read(archive + "sampler.chm"), "help release 1\n");
    EXPECT_FALSE(dir.exists(archive + "Readme.txt"));

    // The restore archive as the command lists it.
    RunResult listing = run({"restores", "--app", product.program});
    EXPECT_EQ(listing.status, 0);
    const std::string& s = stamps[0];
    EXPECT_EQ(listing.out, s + "  " + s.substr(0, 4) + "-" + s.substr(4, 2) + "-" + s.substr(6, 2)
                               + "   (" + s.substr(8, 2) + ":" + s.substr(10, 2) + ")\n");
    listing = run({"restores", "--app", product.program, "--files", s});
    EXPECT_EQ(listing.status, 0);
    EXPECT_EQ(listing.out, "RelInfoLocal.rel  -\nSampler.exe  3.10.01\nsampler.chm  1.03.00\n");

    // And now the check finds nothing new.
    EXPECT_EQ(run({"check", "--product", "Sampler", "--app", product.program}).status, 0);
    const RunResult again = run({"update", "--product", "Sampler", "--app", product.installDir});
    EXPECT_EQ(again.status, 0);
    EXPECT_NE(again.out.find("... compare new files\n end! No updates found!\n   \n"),
              std::string::npos) << again.out;
    EXPECT_EQ(again.out.find("End of software update!"), std::string::npos); // no program name
}

TEST_F(Korautoupdate, UpdateExits1WhenAFileFailsOrTheServerIsNotUsable)
{
    fs::remove(product.productDir + "/Readme.txt");
    RunResult r = run({"update", "--product", "Sampler", "--app", product.program, "--all"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("  ok!    Plugins\\Filter.dll\n fail!    Readme.txt\n---- end transfer"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.err, "korautoupdate: 1 of 4 files did not arrive\n");
    EXPECT_NE(dir.read("install/RelInfoLocal.rel").find("Readme.txt; 0.00.00\r\n"),
              std::string::npos);

    ensureServer();
    r = run({"update", "--product", "Sampler", "--app", product.program}, 1); // nobody listens
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("... connect to the KORVANE server\nConnection to the KORVANE server failed."),
              std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  End of download procedure!! \n"), std::string::npos);

    r = run({"update", "--product", "Nothing", "--app", product.program});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("... set path (Nothing)\n   \n"), std::string::npos) << r.out;
}

TEST_F(Korautoupdate, CtrlCStopsTheUpdateInTheMiddleOfATransferWithNothingHalfWritten)
{
    const std::string big(512 * 1024, 'x');
    dir.write("server/Sampler/Sampler.exe", big); // 16 s at the throttled rate
    const std::string oldLocal = dir.read("install/RelInfoLocal.rel");
    ensureServer(32 * 1024);
    ChildProcess child({KAU_CLI_BINARY, "update", "--product", "Sampler", "--app", product.program},
                       environment());
    // The installed file is set aside just before its transfer begins.
    const std::string staged = product.installDir + "/upd_Sampler.exe";
    const std::string target = product.program;
    ASSERT_TRUE(child.waitForOutput(
        [&](const std::string&, const std::string&) { return fs::exists(staged); },
        std::chrono::seconds(20)))
        << child.out() << child.err();
    child.signal(SIGINT);
    EXPECT_EQ(child.wait(std::chrono::seconds(10)), 130);
    EXPECT_NE(child.err().find("update stopped"), std::string::npos) << child.err();
    EXPECT_EQ(child.out().find("End of download procedure"), std::string::npos);
    // No partial file under the real name; the old one lies under its staged name.
    std::error_code ec;
    const bool complete = fs::exists(target) && dir.read("install/Sampler.exe") == big;
    EXPECT_TRUE(!fs::exists(target) || complete) << fs::file_size(target, ec);
    EXPECT_EQ(dir.read("install/upd_Sampler.exe"), "Sampler release 1\n");
    EXPECT_EQ(dir.read("install/RelInfoLocal.rel"), oldLocal);
}

TEST_F(Korautoupdate, RestoresListsNothingForAnEmptyArchiveAndRefusesWhatIsNotInIt)
{
    fs::create_directories(product.installDir + "/19990101120");  // not a restore directory
    fs::create_directories(product.installDir + "/2014060214051"); // 13 characters
    RunResult r = run({"restores", "--app", product.program});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");

    r = run({"restores", "--app", product.program, "--files", "Plugins"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korautoupdate: no restore directory Plugins in " + product.installDir + "\n");
    EXPECT_FALSE(dir.exists("install/Plugins/RelInfoLocal.rel"));

    r = run({"restores", "--app", dir / "missing/"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korautoupdate: no install directory " + (dir / "missing") + "\n");
}

TEST_F(Korautoupdate, BadUsageExits2WithTheErrorOnStderrAndHelpExits0)
{
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{}, {"frobnicate"}, {"check", "--app", "x"},
          {"update", "--product", "P", "--app", "x", "--yes", "--no"},
          {"restores", "--app", "x", "--all"}}) {
        const RunResult r = run(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("korautoupdate: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find("--help"), std::string::npos);
    }
    for (const char* command : {"check", "update", "restores"}) {
        const RunResult r = run({command, "--help"});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out.rfind(std::string("usage: korautoupdate ") + command, 0), 0u) << r.out;
    }
    EXPECT_EQ(run({"--help"}).status, 0);
}

TEST_F(Korautoupdate, UpdateDrawsAProgressBarOnStderrWhenItIsATerminal)
{
    const auto env = environment();
    const RunResult r = runProgram(
        {KAU_CLI_BINARY, "update", "--product", "Sampler", "--app", product.installDir}, env, {},
        true);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kUpdateLog); // the log itself is the same
    // The bar counts files: 3 new ones in a range of 4, the current line beside it.
    EXPECT_NE(r.err.find("] 1/4  copy -> Sampler.exe"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("] 3/4  copy -> Readme.txt"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("[##############################] 4/4"), std::string::npos);
    EXPECT_EQ(r.err.substr(r.err.size() - 4), "\r\033[K"); // cleared at the end
}
