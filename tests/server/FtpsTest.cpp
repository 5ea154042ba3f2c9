// The server setting's scheme, and the client over explicit TLS against the
// real test server (pyftpdlib's TLS handler) with certificates made for the test.
#include "platform/ServerAccount.h"
#include "server/CFtpFileClient.h"
#include "server/ServerAddress.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"
#include "support/TestCertificates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

using namespace kau;
using namespace kau::test;
using namespace ::testing;
using namespace std::chrono_literals;

namespace {

long countOf(const std::vector<std::string>& commands, const std::string& prefix)
{
    return std::ranges::count_if(commands, [&](const std::string& c) { return c.starts_with(prefix); });
}

class FtpsTest : public ::testing::Test {
protected:
    FtpsTest()
    {
        remote.write("prod/RelInfoRemote.rel", "rel\r\n");
        remote.write("prod/big.bin", std::string(300000, 'x'));
    }
    // A client that fails to log on: it shows the box, says why, and never sent the account.
    void expectRefused(CFtpFileClient& client, const FtpServer& server, const std::string& setting,
                       const std::string& reason)
    {
        const auto accountSent = [&] { return countOf(server.commands(), "USER") + countOf(server.commands(), "PASS"); };
        const std::size_t boxes = box.count();
        const long sentBefore = accountSent();
        EXPECT_FALSE(client.Connect(setting, "", ""));
        EXPECT_THAT(client.FailureReason(), HasSubstr(reason));
        ASSERT_EQ(box.count(), boxes + 1);
        EXPECT_THAT(box.shown().back().text, HasSubstr("ERROR!  " + client.FailureReason() + "\n"));
        EXPECT_EQ(accountSent(), sentBefore);
        client.Disconnect();
    }
    const TestCertificates& certificates = TestCertificates::shared();
    kau::test::TempDir remote;
    kau::test::TempDir local;
    ScriptedBox box;
};

} // namespace

TEST(ServerAddress, TheSchemeChoosesTlsAndOnlyFtpSchemesNameAServer)
{
    const std::tuple<std::string, std::string, bool> good[] = {
        {"updates.example", "updates.example", false},
        {"updates.example:2121", "updates.example:2121", false},
        {"ftp://updates.example:2121/", "updates.example:2121", false},
        {"ftpes://updates.example", "updates.example", true},
        {"FTPES://[::1]:2121", "[::1]:2121", true},
    };
    for (const auto& [text, hostPort, tls] : good) {
        const ServerAddress address = ServerAddress::parse(text);
        EXPECT_EQ(std::make_tuple(address.hostPort, address.tls, address.error),
                  std::make_tuple(hostPort, tls, std::string())) << text;
    }
    EXPECT_EQ(ServerAddress::parse("FTPES://h:21/").url(), "ftpes://h:21");
    EXPECT_EQ(ServerAddress::parse("h").url(), "ftp://h");

    // Nothing else is taken for a server, least of all one that would go in clear.
    const std::pair<std::string, std::string> bad[] = {
        {"ftps://updates.example", "ftpes://"}, {"sftp://updates.example", "\"sftp://\""},
        {"http://updates.example", "no FTP server"}, {"ftpes://", "no server host"},
        {"ftpes://:21", "no server host"}, {"", "no server host"},
        {"ftpes://updates.example/dir", "no host[:port]"}, {"user@updates.example", "no host[:port]"},
        {"ftpes://up dates", "no host[:port]"}, {"ftp://h\r\nUSER x", "no host[:port]"},
    };
    for (const auto& [text, error] : bad) {
        const ServerAddress address = ServerAddress::parse(text);
        EXPECT_THAT(address.error, HasSubstr(error)) << text;
        EXPECT_EQ(address.hostPort, "") << text;
    }
}

TEST_F(FtpsTest, ACheckAndTransfersGoOverTlsAndEachDataConnectionResumesTheSession)
{
    // This server refuses a data connection that doesn't resume the control connection's session.
    FtpServer server(remote.path(), Ftps{certificates.server(), certificates.trustedCa(), true});
    CFtpFileClient client;
    ASSERT_TRUE(client.Connect("", "", "")) << (box.count() ? box.shown()[0].text : "");
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    EXPECT_EQ(client.CurrentDirectoryUrl(), "ftpes://" + server.address() + "/prod/");
    ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));
    ASSERT_TRUE(client.FindFile("*.bin")); // a listing: a data connection
    EXPECT_EQ(client.NextFoundFile(), "big.bin");
    ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str()));
    ASSERT_TRUE(client.DownloadFile("big.bin", local.str()));
    std::string content;
    // A missing file is found missing on the control connection: a data connection
    // that ended unclean would spoil the session for the next one.
    EXPECT_FALSE(client.ReadFile("Release.manifest", content, 100));
    ASSERT_TRUE(client.ReadFile("RelInfoRemote.rel", content, 100));
    local.write("sent.txt", "sent");
    ASSERT_TRUE(client.UploadFile(local / "sent.txt"));
    EXPECT_TRUE(client.Disconnect());
    EXPECT_EQ(local.read("RelInfoRemote.rel") + content, "rel\r\nrel\r\n");
    EXPECT_EQ(local.read("big.bin"), remote.read("prod/big.bin"));
    EXPECT_EQ(remote.read("prod/sent.txt"), "sent");
    EXPECT_EQ(box.count(), 0u);

    // TLS before the account, the data connections protected and passive.
    const auto heard = server.commands();
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard[0], "AUTH TLS");
    const auto at = [&](const std::string& c) { return std::ranges::find(heard, c) - heard.begin(); };
    EXPECT_LT(at("PROT P"), std::min(at("EPSV"), at("PASV"))) << "protected before the first data connection";
    EXPECT_EQ(countOf(heard, "PORT") + countOf(heard, "EPRT"), 0);
    EXPECT_EQ(countOf(heard, "EPSV"), 5);
    EXPECT_EQ(countOf(heard, "TLS data resumed"), 5);
    EXPECT_EQ(countOf(heard, "TLS data new"), 0);
}

TEST_F(FtpsTest, AServerWithoutTlsIsRefusedBeforeTheAccountIsSent)
{
    FtpServer plain(remote.path());
    CFtpFileClient client;
    expectRefused(client, plain, "ftpes://" + plain.address(), "the server does not offer TLS (it replied \"");
    EXPECT_EQ(plain.commands().at(0), "AUTH TLS");
    EXPECT_THAT(box.shown().back().text, EndsWith("FTP Server: <ftpes://" + plain.address() + ">"));
    // The same client still speaks plain FTP to a server named so.
    ASSERT_TRUE(client.Connect(plain.address(), "", ""));
    EXPECT_EQ(client.CurrentDirectoryUrl(), "ftp://" + plain.address() + "/");
    EXPECT_TRUE(client.Disconnect());
    // A setting that names no server fails the logon the same way, with nothing sent.
    expectRefused(client, plain, "ftps://" + plain.address(), "ftpes://");
    EXPECT_EQ(plain.loginCount(), 1);
}

TEST_F(FtpsTest, ACertificateOfAnotherCaOrForAnotherNameIsRefused)
{
    const std::string unknownIssuer = "SSL certificate problem: unable to get local issuer certificate";
    struct Case {
        const char* what;
        std::string certificate, trustedCa, reason;
    };
    const Case cases[] = {
        {"signed by another CA", certificates.strangerServer(), certificates.trustedCa(), unknownIssuer},
        {"the named CA alone counts", certificates.server(), certificates.otherCa(), unknownIssuer},
        {"no CA named: the system's", certificates.server(), "", unknownIssuer},
        {"for another name", certificates.wrongNameServer(), certificates.trustedCa(),
         "no alternative certificate subject name matches target host name '127.0.0.1'"},
        {"no such CA file", certificates.server(), local / "missing.pem", "missing.pem"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ::unsetenv(kCaFileVariable);
        FtpServer server(remote.path(), Ftps{c.certificate, c.trustedCa});
        CFtpFileClient client; // reads the CA file's name now
        expectRefused(client, server, "", c.reason);
    }
}

TEST_F(FtpsTest, AbortStopsAStalledTransferOverTls)
{
    FtpServer server(remote.path(), Ftps{certificates.server(), certificates.trustedCa()});
    CFtpFileClient client;
    ASSERT_TRUE(client.Connect("", "", ""));
    ASSERT_TRUE(client.ChangeDirectory("prod"));
    server.throttle(20000);
    auto download = std::async(std::launch::async, [&] { return client.DownloadFile("big.bin", local.str()); });
    ASSERT_TRUE(server.waitForCommand("RETR", 10s));
    client.Abort();
    ASSERT_EQ(download.wait_for(5s), std::future_status::ready);
    EXPECT_FALSE(download.get());
    EXPECT_FALSE(local.exists("big.bin"));
    EXPECT_TRUE(client.Disconnect());
}

