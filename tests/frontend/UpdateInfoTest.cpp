// The export UpdateInfo end to end against the real test FTP server: the boxes
// the user gets, the notes timer, and what is left in the install directory.
#include "korautoupdate.h"

#include "flows/UpdateRunTestSupport.h"
#include "frontend/CReminderSetupDlg.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <utility>

using namespace kau;
using namespace kau::test;

namespace {

const std::string kDashes = "\n----------------------------------------------------------\n\n";
const std::string kNewFiles = " There are some newer files on the server:\n\n";
const std::string kNoConnection = "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!";

std::string listed(const std::string& v, const std::string& name) { return "   " + v + "\t\t->> " + name + " \n"; }

class UpdateInfoTest : public ::testing::Test {
protected:
    // Each test runs as in a process that has just loaded the library.
    UpdateInfoTest() { freshLibrary(); }
    ~UpdateInfoTest() override { freshLibrary(); }
    static void freshLibrary() { delete std::exchange(g_pReminderDlg, nullptr); }
    bool updateInfo(const char* key = "Tracer") const { return UpdateInfo(key, (install / "tool.exe").c_str()); }
    bool received(const std::string& command) const { return server.waitForCommand(command, {}); }
    // Boxes so far, what the last one says; one login per check, the client let go, the notes timer.
    void expectCheck(std::size_t boxes, const std::string& lastBoxHas, int logins, bool notesArmed) const
    {
        EXPECT_EQ(server.loginCount(), logins);
        EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
        EXPECT_EQ(g_pReminderDlg->notesTimerActive(), notesArmed);
        ASSERT_EQ(box.count(), boxes);
        EXPECT_NE(box.shown().back().text.find(lastBoxHas), std::string::npos) << box.shown().back().text;
    }

    TempDir remote, install;
    FtpServer server{remote.path()};
    ScriptedBox box;
};

} // namespace

TEST_F(UpdateInfoTest, NewFilesAreListedUpToTenTheLatestVersionAsksTooAndOnlyYesArmsTheNotes)
{
    install.write("RelInfoLocal.rel", revisionFile({"tool.exe; 1.00.00", "old.dll; 2.00.05", "same.dll; 1.00.00"}));
    std::vector<std::string> lines = {"tool.exe; 1.00.01", "old.dll; 2.00.01", "same.dll; 1.00.00"};
    std::string tenListed = listed("1.00.01", "tool.exe");
    for (int i = 1; i <= 9; ++i) {
        const std::string n = std::to_string(i);
        lines.push_back("f" + n + ".dat; 1.00.0" + n);
        tenListed += listed("1.00.0" + n, "f" + n + ".dat");
    }
    remote.write("Tracer/RelInfoRemote.rel", revisionFile(lines));
    box.answer(BoxAnswer::No);
    EXPECT_FALSE(updateInfo());
    expectCheck(1, kNewFiles + tenListed + kDashes, 1, false);
    EXPECT_TRUE(box.shown()[0].buttons == BoxButtons::YesNo && box.shown()[0].icon == BoxIcon::Question);
    EXPECT_EQ(install.read("RelInfoRemote.rel"), revisionFile(lines));
    EXPECT_FALSE(install.exists("f1.dat")) << "the check fetches the revision file only";

    remote.write("Tracer/RelInfoRemote.rel", revisionFile({"tool.exe; 1.00.00", "same.dll; 1.00.00"}));
    box.answer(BoxAnswer::Yes);
    EXPECT_FALSE(updateInfo());
    expectCheck(2, " Your programm is working with the latest version!\n\n" + kDashes, 2, true);

    lines.push_back("z.dat; 1.00.00"); // the eleventh is summarised
    remote.write("Tracer/RelInfoRemote.rel", revisionFile(lines));
    EXPECT_FALSE(updateInfo());
    expectCheck(3, "", 3, true);
    EXPECT_EQ(box.shown()[2].text, " Message from: <KorAutoUpdate>-Tool  V 3.0.0" + kDashes + kNewFiles + tenListed
                                       + " ... and more ... \n" + kDashes
                                       + " Click <yes> to see the KORVANE update notes \n"
                                         " and to start the installation procedure ...");
}

TEST_F(UpdateInfoTest, FailedConnectionGivesTwoBoxesAndStagedFilesAreSweptEvenWithTheServerDown)
{
    remote.write("Tracer/RelInfoRemote.rel", revisionFile({"tool.exe; 1.00.01"}));
    server.refuseLogin(true);
    EXPECT_FALSE(updateInfo());
    expectCheck(2, kNoConnection, 1, false);
    const auto shown = box.shown(); // the client's box naming the server, then the check's
    EXPECT_TRUE(shown[0].text.starts_with("Connection to the KORVANE server failed.")) << shown[0].text;
    EXPECT_TRUE(shown[0].text.ends_with("\n\nFTP Server: <" + server.address() + ">")) << shown[0].text;
    EXPECT_TRUE(shown[1].text == kNoConnection && shown[1].buttons == BoxButtons::Ok
                && shown[1].icon == BoxIcon::Question);
    EXPECT_FALSE(received("CWD"));

    // Nothing is in the way of the next check; with no local revision file
    // every file is new.
    server.refuseLogin(false);
    EXPECT_FALSE(updateInfo());
    expectCheck(3, kNewFiles + listed("1.00.01", "tool.exe") + kDashes, 2, false);

    // Nobody listens; the account is read as the library makes its objects (the server object restores it).
    ::setenv("KORAUTOUPDATE_FTP_SERVER", ("127.0.0.1:" + std::to_string(FtpServer::unusedPort())).c_str(), 1);
    freshLibrary();
    install.write("upd_tool.exe", "staged program");
    install.write("upd_kept/inside.txt", "a directory under a staged name stays");
    install.write("Plugins/upd_Filter.dll", "only the install directory itself is swept");
    EXPECT_FALSE(updateInfo());
    expectCheck(5, kNoConnection, 2, false);
    EXPECT_FALSE(install.exists("upd_tool.exe"));
    EXPECT_TRUE(install.exists("upd_kept/inside.txt"));
    EXPECT_TRUE(install.exists("Plugins/upd_Filter.dll"));
}

TEST_F(UpdateInfoTest, UnusableServerGivesTheCheckBoxAFailedDownloadNothing)
{
    server.refuseCwd("Refused");
    remote.write("Refused/RelInfoRemote.rel", revisionFile({"tool.exe; 1.00.01"}));
    remote.write("Empty/LatestUpdate.html", "<html></html>");
    server.dropDownloadAfter(100);
    int checks = 0;
    for (const char* key : {"Absent", "Refused", "Empty"}) {
        SCOPED_TRACE(key);
        box.answer(BoxAnswer::Yes);
        EXPECT_FALSE(updateInfo(key));
        ++checks;
        expectCheck(checks, kNoConnection, checks, false);
        EXPECT_FALSE(received("RETR"));
    }
    // The object keeps the first key; each call checks its own.
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, "Absent");
    remote.write("Tracer/RelInfoRemote.rel", revisionFile(std::vector<std::string>(200, "file.dat; 1.00.01")));
    EXPECT_FALSE(updateInfo());
    expectCheck(3, kNoConnection, 4, false); // a dropped download ends without a word
    EXPECT_TRUE(received("RETR"));
    EXPECT_TRUE(std::filesystem::is_empty(install.path())) << "no partial revision file is left";
}
