// CFtpFileClient against the real test FTP server.
#include "server/CFtpFileClient.h"

#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

using namespace kau;
using namespace kau::test;
using namespace std::chrono_literals;

namespace {

const std::string kConnectFailedIntro =
    "Connection to the KORVANE server failed.\nCannot check the new software updates.\n"
    "You can inactivate this feature if no internet line is available!\n\n";

class ClientTest : public ::testing::Test {
protected:
    ClientTest()
    {
        remote.write("prod/RelInfoRemote.rel", "rel\r\n");
        remote.write("prod/LatestUpdate.html", "<html></html>");
        remote.write("prod/big.bin", std::string(300000, 'x'));
        remote.write("prod/sub/deep.txt", "deep");
        remote.write("other/x.txt", "x");
    }
    int count(const std::string& prefix) const
    {
        const auto all = server.commands();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const std::string& c) {
            return c.rfind(prefix, 0) == 0;
        }));
    }

    TempDir remote;
    TempDir local;
    FtpServer server{remote.path()};
    ScriptedBox box;
    CFtpFileClient client;
};

template <class F> std::chrono::milliseconds timed(F f)
{
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now()
                                                                 - start);
}

} // namespace

TEST_F(ClientTest, ConnectWithEmptyArgumentsUsesBuiltInAccountAndRefusesASecondConnect)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(client.server(), server.address());
    EXPECT_EQ(client.currentUrl(), "ftp://" + server.address() + "/");
    EXPECT_EQ(client.CurrentDirectory(), "/");
    EXPECT_EQ(server.commands().at(0), "USER svcfeed");

    EXPECT_FALSE(client.Connect("", "", ""));
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(server.loginCount(), 1);
}

TEST_F(ClientTest, RefusedLogonShowsTheBoxKeepsTheSessionAndTheNextAttemptReusesIt)
{
    server.refuseLogin(true);
    EXPECT_FALSE(client.Connect("", "", ""));
    ASSERT_EQ(box.count(), 1u);
    const auto shown = box.shown()[0];
    EXPECT_EQ(shown.text, kConnectFailedIntro + "ERROR!  Access denied: 530\n\nFTP Server: <"
                              + server.address() + ">");
    EXPECT_EQ(shown.buttons, BoxButtons::Ok);
    EXPECT_EQ(shown.icon, BoxIcon::None);
    EXPECT_FALSE(client.isConnected());
    EXPECT_TRUE(client.hasSession());
    EXPECT_TRUE(client.currentUrl().empty());
    const void* session = client.session();

    server.refuseLogin(false);
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_EQ(client.session(), session);
    EXPECT_EQ(box.count(), 1u);
}

TEST_F(ClientTest, UnreachableServerFailsWithinTheConnectTimeOutAndNamesTheServerGiven)
{
    client.setTimeouts(1000ms, 1000ms);
    // A port nobody listens on: the server is gone.
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.Connect("127.0.0.1:1", "", "")); }), 5000ms);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_NE(box.shown()[0].text.find("FTP Server: <127.0.0.1:1>"), std::string::npos);
    EXPECT_EQ(client.server(), "127.0.0.1:1"); // kept for later calls
}

TEST_F(ClientTest, DisconnectOnANewClientAndEveryOperationAfterDisconnect)
{
    EXPECT_TRUE(client.Disconnect());
    EXPECT_FALSE(client.hasSession());

    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));
    EXPECT_TRUE(client.Disconnect());
    EXPECT_FALSE(client.isConnected());
    EXPECT_FALSE(client.hasSession());
    EXPECT_FALSE(client.hasFind());
    const auto before = server.commands().size();

    EXPECT_FALSE(client.ChangeDirectory("prod"));
    EXPECT_TRUE(client.currentUrl().empty());
    EXPECT_FALSE(client.FindFile("RelInfoRemote.rel"));
    EXPECT_FALSE(client.DownloadFile("RelInfoRemote.rel", local.str()));
    EXPECT_FALSE(client.UploadFile(local / "x"));
    EXPECT_EQ(client.NextFoundFile(), "");
    EXPECT_EQ(client.CurrentDirectory(), "");
    EXPECT_EQ(client.CurrentDirectoryUrl(), "");
    EXPECT_FALSE(local.exists("RelInfoRemote.rel"));
    EXPECT_EQ(server.commands().size(), before); // the server heard nothing
}

TEST_F(ClientTest, RefusedOrMissingDirectoryLeavesTheRealDirectory)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    EXPECT_EQ(client.currentUrl(), "ftp://" + server.address() + "/prod/");

    EXPECT_FALSE(client.ChangeDirectory("missing"));
    EXPECT_EQ(client.currentUrl(), "ftp://" + server.address() + "/prod/");
    EXPECT_TRUE(client.isConnected());

    server.refuseCwd("other");
    EXPECT_FALSE(client.ChangeDirectory("/other"));
    EXPECT_EQ(client.CurrentDirectoryUrl(), "ftp://" + server.address() + "/prod/");
    EXPECT_EQ(client.CurrentDirectory(), "/prod/");

    ASSERT_TRUE(client.ChangeDirectory("sub"));
    EXPECT_EQ(client.CurrentDirectory(), "/prod/sub/");
    ASSERT_TRUE(client.FindFile("deep.txt"));
}

TEST_F(ClientTest, FindFileTellsExistenceAndStepsThroughEntries)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    EXPECT_FALSE(client.FindFile("NoSuch.rel"));
    EXPECT_TRUE(client.hasFind());
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(client.lastFind(), "");

    ASSERT_TRUE(client.FindFile("LatestUpdate.html"));
    EXPECT_EQ(client.lastFind(), "LatestUpdate.html");
    EXPECT_FALSE(client.FindFile("Latest*.htm"));
    EXPECT_FALSE(client.findActive());
    EXPECT_EQ(client.lastFind(), "LatestUpdate.html"); // a failed find keeps the last one

    ASSERT_TRUE(client.FindFile("*.rel"));
    EXPECT_EQ(client.NextFoundFile(), "RelInfoRemote.rel");
    EXPECT_EQ(client.NextFoundFile(), "");

    ASSERT_TRUE(client.FindFile("sub\\deep.txt"));
    EXPECT_EQ(client.NextFoundFile(), "sub/deep.txt");
}

TEST_F(ClientTest, DownloadIntoDirectoryWithOrWithoutTrailingSeparator)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str() + "/"));
    EXPECT_EQ(local.read("RelInfoRemote.rel"), "rel\r\n");
    local.write("RelInfoRemote.rel", "old content that is longer");
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str() + "\\"));
    EXPECT_EQ(local.read("RelInfoRemote.rel"), "rel\r\n"); // overwritten
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str()));
    EXPECT_EQ(local.read("RelInfoRemote.rel"), "rel\r\n");

    // The last level of the directory is made; remote directory parts use either separator.
    std::filesystem::create_directories(local.path() / "new" / "sub");
    ASSERT_TRUE(client.DownloadFile("sub\\deep.txt", local / "new"));
    EXPECT_EQ(local.read("new/sub/deep.txt"), "deep");

    // Nothing else is left behind: no part files.
    int files = 0;
    for (auto& e : std::filesystem::recursive_directory_iterator(local.path()))
        files += e.is_regular_file();
    EXPECT_EQ(files, 2);
}

TEST_F(ClientTest, DownloadFailsWithMissingParentOrMissingRemoteFile)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    EXPECT_FALSE(client.DownloadFile("RelInfoRemote.rel", local / "a/b"));
    EXPECT_FALSE(std::filesystem::exists(local.path() / "a"));
    EXPECT_FALSE(client.DownloadFile("sub/deep.txt", local.str())); // local "sub" is missing
    EXPECT_FALSE(client.DownloadFile("NoSuch.bin", local.str()));
    EXPECT_TRUE(std::filesystem::is_empty(local.path()));
    EXPECT_TRUE(client.isConnected());
    EXPECT_TRUE(client.DownloadFile("LatestUpdate.html", local.str()));
}

TEST_F(ClientTest, DroppedTransferLeavesTheOldFileIntactAndNoPartialFile)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    local.write("big.bin", "old");
    server.dropDownloadAfter(1000);
    EXPECT_FALSE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(local.read("big.bin"), "old");
    int files = 0;
    for (auto& e : std::filesystem::directory_iterator(local.path()))
        files += e.is_regular_file();
    EXPECT_EQ(files, 1);

    server.dropDownloadAfter(-1);
    EXPECT_TRUE(client.isConnected());
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(local.read("big.bin").size(), 300000u);
}

TEST_F(ClientTest, ProgressHookSeesTheWholeDownload)
{
    uint64_t last = 0, total = 0;
    client.setProgress([&](uint64_t done, uint64_t size) { last = done, total = size; });
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    EXPECT_EQ(last, 300000u);
    EXPECT_EQ(total, 300000u);
}

TEST_F(ClientTest, StalledServerFailsWithinTheTimeOutNotAHang)
{
    client.setTimeouts(1000ms, 1000ms);
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    server.stallDownloads(true);
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.DownloadFile("big.bin", local.str())); }), 8000ms);
    EXPECT_FALSE(local.exists("big.bin"));

    server.stallDownloads(false);
    server.stallReplies(60000);
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.ChangeDirectory("sub")); }), 8000ms);
    EXPECT_TRUE(client.Disconnect());
}

TEST_F(ClientTest, AbortFromAnotherThreadStopsAStalledTransferAtOnce)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    server.stallDownloads(true);
    std::thread aborter([&] {
        if (server.waitForCommand("RETR", 20s))
            client.Abort();
    });
    // Default time-outs are far longer than the bound below.
    EXPECT_LT(timed([&] { EXPECT_FALSE(client.DownloadFile("big.bin", local.str())); }), 3000ms);
    aborter.join();
    EXPECT_FALSE(local.exists("big.bin"));
    EXPECT_FALSE(client.FindFile("big.bin")); // everything fails after an abort...
    // ...until Disconnect, which doesn't wait for a server that has stopped answering.
    server.stallReplies(60000);
    EXPECT_LT(timed([&] { EXPECT_TRUE(client.Disconnect()); }), 1000ms);
    server.stallReplies(0);

    server.stallDownloads(false);
    ASSERT_TRUE(client.Connect("", "", ""));
    EXPECT_TRUE(client.FindFile("prod/big.bin"));
}

TEST_F(ClientTest, GarbageOrHangUpFromTheServerIsAFailureNotACrash)
{
    client.setTimeouts(1000ms, 1000ms);
    server.garbageOn("PASS");
    EXPECT_FALSE(client.Connect("", "", ""));
    EXPECT_EQ(box.count(), 1u);
    server.garbageOn("");

    server.closeOn("RETR");
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    EXPECT_FALSE(client.DownloadFile("big.bin", local.str()));
    EXPECT_FALSE(local.exists("big.bin"));
    server.closeOn("");
    // The client logs on again by itself after the hang-up.
    EXPECT_TRUE(client.DownloadFile("big.bin", local.str()));
    EXPECT_TRUE(client.Disconnect());
}

TEST_F(ClientTest, AWholeFlowLogsOnOnce)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str()));
    ASSERT_TRUE(client.DownloadFile("LatestUpdate.html", local.str()));
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    ASSERT_TRUE(client.Disconnect());
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_LE(count("CWD"), 2);
    EXPECT_LE(count("PWD"), 1);
    EXPECT_EQ(count("RETR"), 3);

    // A second flow on the same object logs on anew.
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.Disconnect());
    EXPECT_EQ(server.loginCount(), 2);
}

TEST_F(ClientTest, UploadPutsTheBareNameIntoTheCurrentDirectory)
{
    local.write("up.txt", "uploaded");
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("other"));
    ASSERT_TRUE(client.UploadFile(local / "up.txt"));
    EXPECT_EQ(remote.read("other/up.txt"), "uploaded");
    EXPECT_FALSE(client.UploadFile(local / "missing.txt"));
    EXPECT_TRUE(client.isConnected());
}

TEST_F(ClientTest, DisconnectAfterAbortDoesNotWaitForAStalledServer)
{
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    server.stallReplies(60000);
    client.Abort(); // between two operations: the control connection is idle and open
    EXPECT_FALSE(client.DownloadFile("big.bin", local.str()));
    EXPECT_LT(timed([&] { EXPECT_TRUE(client.Disconnect()); }), 1000ms);
}
