// CFtpFileClient against the real test FTP server.
#include "server/CFtpFileClient.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

#include <sys/resource.h>

using namespace kau;
using namespace kau::test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

// How long f took: the bound that tells a failure from a hang.
template <class F> static std::chrono::steady_clock::duration timed(F f)
{
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::steady_clock::now() - start;
}

class ClientTest : public ::testing::Test {
protected:
    ClientTest()
    {
        remote.write("prod/RelInfoRemote.rel", "rel\r\n");
        remote.write("prod/big.bin", std::string(300000, 'x'));
        remote.write("prod/sub/deep.txt", "deep");
        remote.write("other/x.txt", "x");
    }
    void connectToProd()
    {
        ASSERT_TRUE(client.Connect("", "", ""));
        ASSERT_TRUE(client.ChangeDirectory("prod"));
    }
    TempDir remote;
    TempDir local;
    FtpServer server{remote.path()};
    ScriptedBox box;
    CFtpFileClient client;
};

TEST_F(ClientTest, AFlowLogsOnOnceNothingWorksAfterDisconnectAndARefusedLogonKeepsTheSession)
{
    EXPECT_TRUE(client.Disconnect());  // on a new client: nothing to do
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_EQ(server.commands().at(0), "USER svcfeed");  // the built-in account
    EXPECT_EQ(client.CurrentDirectory(), "/");
    EXPECT_FALSE(client.Connect("", "", ""));  // already connected: no box, no logon
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str()));
    EXPECT_TRUE(client.Disconnect());
    EXPECT_EQ(server.loginCount(), 1);
    const auto heard = server.commands();
    EXPECT_LE(std::ranges::count_if(heard, [](auto& c) { return c.starts_with("CWD"); }), 2);
    EXPECT_TRUE(box.count() == 0 && !client.hasSession());
    EXPECT_FALSE(client.ChangeDirectory("prod") || client.FindFile("RelInfoRemote.rel")
                 || client.DownloadFile("RelInfoRemote.rel", local / "again") || local.exists("again")
                 || client.UploadFile(local / "RelInfoRemote.rel"));
    EXPECT_EQ(client.NextFoundFile() + client.CurrentDirectory() + client.CurrentDirectoryUrl(), "");
    EXPECT_EQ(server.commands(), heard);

    // The next flow logs on anew; refused, it shows libcurl's text and keeps the session.
    server.refuseLogin(true);
    EXPECT_FALSE(client.Connect("", "", ""));
    EXPECT_EQ(server.loginCount(), 2);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text,
              "Connection to the KORVANE server failed.\nCannot check the new software updates.\n"
              "You can inactivate this feature if no internet line is available!\n\n"
              "ERROR!  Access denied: 530\n\nFTP Server: <" + server.address() + ">");
    EXPECT_EQ(std::pair(box.shown()[0].buttons, box.shown()[0].icon),
              std::pair(BoxButtons::Ok, BoxIcon::None));
    EXPECT_TRUE(client.currentUrl().empty());
    const void* session = client.session();
    server.refuseLogin(false);
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_EQ(client.session(), session);
    EXPECT_TRUE(client.Disconnect());
    // A server nobody listens on fails within the connect time-out, naming that server.
    const std::string gone = "127.0.0.1:" + std::to_string(FtpServer::unusedPort());
    client.setTimeouts(1000ms, 1000ms);
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.Connect(gone, "", "")); }), 5s);
    ASSERT_EQ(box.count(), 2u);
    EXPECT_NE(box.shown()[1].text.find("FTP Server: <" + gone + ">"), std::string::npos);
}

TEST_F(ClientTest, DirectoriesAndFindFollowTheServer)
{
    connectToProd();
    const std::string prod = "ftp://" + server.address() + "/prod/";
    EXPECT_FALSE(client.ChangeDirectory("missing"));
    server.refuseCwd("other");
    EXPECT_FALSE(client.ChangeDirectory("/other"));
    EXPECT_EQ(client.currentUrl(), prod);  // where the server really is
    EXPECT_EQ(client.CurrentDirectoryUrl(), prod);
    EXPECT_FALSE(client.FindFile("NoSuch.rel"));
    ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));  // still connected
    EXPECT_FALSE(client.FindFile("RelInfo*.re"));
    EXPECT_FALSE(client.findActive());
    EXPECT_EQ(client.lastFind(), "RelInfoRemote.rel");  // a failed find keeps the last one
    ASSERT_TRUE(client.FindFile("*.rel"));
    EXPECT_EQ(client.NextFoundFile(), "RelInfoRemote.rel");
    EXPECT_EQ(client.NextFoundFile(), "");
    ASSERT_TRUE(client.FindFile("sub\\deep.txt"));
    EXPECT_EQ(client.NextFoundFile(), "sub/deep.txt");
    EXPECT_TRUE(client.FindFile("sub"));  // a directory is an entry too
    ASSERT_TRUE(client.ChangeDirectory("sub"));
    EXPECT_EQ(client.CurrentDirectory(), "/prod/sub/");
    EXPECT_TRUE(client.FindFile("deep.txt"));
    server.unknownOn("MLST");  // a server without MLST: the listing decides
    EXPECT_TRUE(client.FindFile("deep.txt"));
    EXPECT_FALSE(client.FindFile("NoSuch.rel"));
}

TEST_F(ClientTest, TransfersGoWhereTheyAreToldOrFailKeepingTheOldFileAndLeavingNothing)
{
    connectToProd();
    for (const std::string& dir : {local.str() + "/", local.str() + "\\", local.str()}) {
        local.write("RelInfoRemote.rel", "old content that is longer");
        ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", dir)) << dir;
        EXPECT_EQ(local.read("RelInfoRemote.rel"), "rel\r\n") << dir;
    }
    // Only the last level of the directory is made; remote parts take either separator.
    fs::create_directories(local.path() / "new" / "sub");
    ASSERT_TRUE(client.DownloadFile("sub\\deep.txt", local / "new"));
    EXPECT_EQ(local.read("new/sub/deep.txt"), "deep");
    EXPECT_FALSE(client.DownloadFile("RelInfoRemote.rel", local / "a/b")
                 || client.DownloadFile("sub/deep.txt", local.str())  // local "sub" is missing
                 || client.DownloadFile("NoSuch.bin", local.str()) || client.UploadFile(local / "missing.txt"));
    local.write("big.bin", "old");
    server.dropDownloadAfter(1000);
    EXPECT_FALSE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(local.read("big.bin"), "old");
    // Nothing else is left: no "a", no part files.
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(local.path()), {}), 5);
    server.dropDownloadAfter(-1);  // the next download sees the file whole
    uint64_t last = 0, total = 0;
    client.setProgress([&](uint64_t done, uint64_t size) { last = done, total = size; });
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(local.read("big.bin"), remote.read("prod/big.bin"));
    EXPECT_EQ(std::pair(last, total), std::pair(uint64_t(300000), uint64_t(300000)));
    local.write("up.txt", "uploaded");
    ASSERT_TRUE(client.UploadFile(local / "up.txt"));  // the bare name, into the current directory
    EXPECT_EQ(remote.read("prod/up.txt"), "uploaded");
}

// Garbage, a hang-up and a stall each end in a failure, within the time-outs.
TEST_F(ClientTest, MisbehavingServerGivesFailuresNotHangsOrCrashes)
{
    client.setTimeouts(1000ms, 1000ms);
    server.garbageOn("PASS");
    EXPECT_FALSE(client.Connect("", "", ""));
    EXPECT_EQ(box.count(), 1u);
    server.garbageOn("");
    server.closeOn("RETR");
    connectToProd();
    EXPECT_FALSE(client.DownloadFile("big.bin", local.str()));
    server.closeOn("");
    EXPECT_TRUE(client.DownloadFile("big.bin", local.str()));  // logged on again by itself
    server.stallDownloads(true);
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.DownloadFile("big.bin", local.str())); }), 8s);
    EXPECT_EQ(local.read("big.bin").size(), 300000u);  // the old file is kept
    server.stallReplies(60000);
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.ChangeDirectory("sub")); }), 8s);
}

TEST_F(ClientTest, AbortFromAnotherThreadStopsAStalledTransferAtOnce)
{
    connectToProd();
    server.stallDownloads(true);
    std::thread aborter([&] { server.waitForCommand("RETR", 20s); client.Abort(); });
    // The default time-outs are far longer than this bound.
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.DownloadFile("big.bin", local.str())); }), 3s);
    aborter.join();
    EXPECT_FALSE(local.exists("big.bin"));
    EXPECT_FALSE(client.FindFile("big.bin"));  // everything fails after an abort...
    // ...until Disconnect, which doesn't wait for a server that has stopped answering.
    server.stallReplies(60000);
    EXPECT_LT(timed([&] { EXPECT_TRUE(client.Disconnect()); }), 1s);
    server.stallReplies(0);
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_TRUE(client.FindFile("prod/big.bin"));
}

// Why an operation failed: the server's reply, or the local file and its error text.
TEST_F(ClientTest, FailureReasonNamesTheServersReplyOrTheLocalFileAndItsError)
{
    client.setTimeouts(1000ms, 1000ms);
    connectToProd();
    EXPECT_EQ(client.FailureReason(), "");
    EXPECT_FALSE(client.ChangeDirectory("nope"));
    EXPECT_TRUE(client.FailureReason().starts_with("the server replied \"550 ")) << client.FailureReason();
    EXPECT_FALSE(client.DownloadFile("missing.bin", local.str()));
    EXPECT_TRUE(client.FailureReason().starts_with("the server replied \"550 ")) << client.FailureReason();
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(client.FailureReason(), "") << "a success leaves no reason behind";

    // The local side: a directory that is a file, and a write the file size limit cuts off.
    local.write("plain", "a file");
    EXPECT_FALSE(client.DownloadFile("big.bin", local / "plain"));
    EXPECT_EQ(client.FailureReason(), (local / "plain/big.bin") + ": not a directory");
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = ::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = 1000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool arrived = client.DownloadFile("big.bin", local / "limited");
    ::setrlimit(RLIMIT_FSIZE, &old);
    ::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(arrived);
    EXPECT_EQ(client.FailureReason(), (local / "limited/big.bin") + ": file too large");

    // A line that is no reply at all is named as the server sent it.
    server.garbageOn("CWD");
    EXPECT_FALSE(client.ChangeDirectory("/other"));
    EXPECT_NE(client.FailureReason().find("this is no reply"), std::string::npos) << client.FailureReason();
}

TEST_F(ClientTest, AReplyNobodyAskedForStopsNeitherTheNextRequestsNorTheNextLogon)
{
    // The unasked reply arrives with CWD's and waits on the kept connection;
    // the requests after it must come to an end (they may fail: the server is
    // out of step), and a new logon serves as before.
    server.strayAfter("CWD");
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    server.strayAfter("");
    std::string content;
    EXPECT_LT(timed([&] {
        client.FindFile("RelInfoRemote.rel");
        client.ChangeDirectory("prod");
        client.ReadFile("RelInfoRemote.rel", content, 100);
    }), 8s);
    client.Disconnect();
    connectToProd();
    EXPECT_TRUE(client.FindFile("RelInfoRemote.rel"));
    EXPECT_TRUE(client.ReadFile("RelInfoRemote.rel", content, 100));
    EXPECT_EQ(content, "rel\r\n");
}
