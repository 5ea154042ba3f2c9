// The release notes fetch, driven directly with the real client and server.
#include "FtpServerProcess.h"
#include "SampleProduct.h"
#include "flows/ReleaseNotesFetch.h"
#include "server/CFtpFileClient.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <unistd.h>

using namespace kau;
using namespace kau::test;

namespace {

// Points the built-in account at the test server; a client takes it when made.
struct BuiltInAccount {
    BuiltInAccount(const std::string& server, const char* password)
    {
        ::setenv("KORAUTOUPDATE_FTP_SERVER", server.c_str(), 1);
        ::setenv("KORAUTOUPDATE_FTP_USER", kFtpUser, 1);
        ::setenv("KORAUTOUPDATE_FTP_PASSWORD", password, 1);
    }
};

class FetchReleaseNotesTest : public ::testing::Test {
protected:
    FetchReleaseNotesTest()
        : product(dir), server(product.serverRoot, kFtpUser, kFtpPassword),
          account(server.address(), kFtpPassword)
    {
    }

    // The client is free again: a new logon works (and is closed again).
    bool clientIsFree()
    {
        const bool connected = client.Connect("", "", "");
        client.Disconnect();
        return connected;
    }

    ScriptedBox box;
    TempDir dir;
    SampleProduct product;
    FtpServerProcess server;
    BuiltInAccount account;
    CFtpFileClient client;
};

} // namespace

TEST_F(FetchReleaseNotesTest, ShowsThePageWhileConnectedThenDisconnects)
{
    std::string shownPath;
    bool connectedWhileShown = false;
    const bool shown = FetchReleaseNotes(client, kProduct, product.installDir,
                                         [&](const std::string& path) {
                                             shownPath = path;
                                             // A second logon is refused while one stands.
                                             connectedWhileShown = !client.Connect("", "", "");
                                         });
    EXPECT_TRUE(shown);
    EXPECT_EQ(shownPath, product.installDir + "/LatestUpdate.html");
    EXPECT_TRUE(connectedWhileShown);
    EXPECT_EQ(dir.read("install/LatestUpdate.html"), dir.read("server/Sampler/LatestUpdate.html"));
    EXPECT_TRUE(clientIsFree());
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(FetchReleaseNotesTest, EmptyInstallDirectoryMeansTheCurrentOne)
{
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(product.installDir);
    std::string shownPath;
    const bool shown = FetchReleaseNotes(client, kProduct, "",
                                         [&](const std::string& path) { shownPath = path; });
    std::filesystem::current_path(previous);
    EXPECT_TRUE(shown);
    EXPECT_EQ(std::filesystem::path(shownPath),
              std::filesystem::canonical(product.installDir) / "LatestUpdate.html");
    EXPECT_TRUE(dir.exists("install/LatestUpdate.html"));
}

TEST_F(FetchReleaseNotesTest, EndsSilentlyAndFreeWhenThePageOrTheProductIsMissing)
{
    int calls = 0;
    const auto count = [&](const std::string&) { ++calls; };
    std::filesystem::remove(product.productDir + "/LatestUpdate.html");
    EXPECT_FALSE(FetchReleaseNotes(client, kProduct, product.installDir, count));
    EXPECT_TRUE(clientIsFree());
    EXPECT_FALSE(FetchReleaseNotes(client, "Nothing", product.installDir, count));
    EXPECT_TRUE(clientIsFree());
    // The page is there but the install directory can't take it.
    dir.write("server/Sampler/LatestUpdate.html", "<p>x</p>");
    EXPECT_FALSE(FetchReleaseNotes(client, kProduct, dir / "no/such/dir", count));
    EXPECT_TRUE(clientIsFree());
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(FetchReleaseNotesTest, AFailedLogonShowsOnlyTheClientsBox)
{
    const BuiltInAccount wrong(server.address(), "wrong");
    CFtpFileClient refused;
    bool called = false;
    EXPECT_FALSE(FetchReleaseNotes(refused, kProduct, product.installDir,
                                   [&](const std::string&) { called = true; }));
    EXPECT_FALSE(called);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text.rfind("Connection to the KORVANE server failed.", 0), 0u);
}

TEST_F(FetchReleaseNotesTest, AViewerThatThrowsStillLeavesTheClientFree)
{
    EXPECT_THROW(FetchReleaseNotes(client, kProduct, product.installDir,
                                   [](const std::string&) { throw std::runtime_error("view"); }),
                 std::runtime_error);
    EXPECT_TRUE(clientIsFree());
}
