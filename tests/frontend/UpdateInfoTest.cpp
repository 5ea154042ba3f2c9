// The export UpdateInfo end to end: the reminder object it makes, the update
// check against the real test FTP server, the boxes the user gets and what
// is left behind in the install directory and on the client.
#include "korautoupdate.h"

#include "flows/UpdateRunTestSupport.h"
#include "frontend/CReminderSetupDlg.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace kau;
using namespace kau::test;

namespace {

const std::string kDashes = "\n----------------------------------------------------------\n\n";
const std::string kHead = " Message from: <KorAutoUpdate>-Tool  V 3.0.0" + kDashes;
const std::string kNewFilesIntro = " There are some newer files on the server:\n\n";
const std::string kLatest = " Your programm is working with the latest version!\n\n";
const std::string kTail = kDashes + " Click <yes> to see the KORVANE update notes \n"
                          " and to start the installation procedure ...";
const std::string kNoConnection =
    "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!";
const std::string kConnectFailedIntro =
    "Connection to the KORVANE server failed.\nCannot check the new software updates.\n"
    "You can inactivate this feature if no internet line is available!\n\n";

std::string listed(const std::string& version, const std::string& name)
{
    return "   " + version + "\t\t->> " + name + " \n";
}

class UpdateInfoTest : public ::testing::Test {
protected:
    static constexpr const char* kKey = "Tracer";

    UpdateInfoTest()
    {
        freshLibrary();
        std::filesystem::create_directories(install);
        remote.write("Other/LatestUpdate.html", "<html></html>");
    }
    ~UpdateInfoTest() override { freshLibrary(); }

    // As in a process that has just loaded the library: no reminder object.
    static void freshLibrary()
    {
        delete g_pReminderDlg;
        g_pReminderDlg = nullptr;
    }

    void publish(const std::string& key, const std::vector<std::string>& lines) const
    {
        remote.write(key + "/RelInfoRemote.rel", revisionFile(lines));
    }
    void installed(const std::vector<std::string>& lines) const
    {
        writeFile(std::filesystem::path(install) / "RelInfoLocal.rel", revisionFile(lines));
    }
    bool updateInfo(const std::string& key = kKey) const
    {
        return UpdateInfo(key.c_str(), (install + "/tool.exe").c_str());
    }
    bool inInstall(const std::string& name) const
    {
        return std::filesystem::exists(std::filesystem::path(install) / name);
    }
    int count(const std::string& prefix) const
    {
        const auto all = server.commands();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const std::string& c) {
            return c.rfind(prefix, 0) == 0;
        }));
    }
    // The box asked for on the way out of a check that found the server unusable.
    static void expectNoConnectionBox(const ShownBox& box)
    {
        EXPECT_EQ(box.text, kNoConnection);
        EXPECT_EQ(box.buttons, BoxButtons::Ok);
        EXPECT_EQ(box.icon, BoxIcon::Question);
    }

    TempDir remote;
    TempDir home;
    // A capital in the path: the install directory is kept as written.
    const std::string install = home / "App";
    FtpServer server{remote.path()};
    ScriptedBox box;
};

} // namespace

TEST_F(UpdateInfoTest, NewFilesAreListedUpToTenAndOnlyYesArmsTheNotes)
{
    installed({"tool.exe; 1.00.00", "old.dll; 2.00.05", "same.dll; 1.00.00"});
    std::vector<std::string> lines = {"tool.exe; 1.00.01", "old.dll; 2.00.01", "same.dll; 1.00.00"};
    std::string tenListed = listed("1.00.01", "tool.exe");
    for (int i = 1; i <= 9; ++i) {
        lines.push_back("f" + std::to_string(i) + ".dat; 1.00.0" + std::to_string(i));
        tenListed += listed("1.00.0" + std::to_string(i), "f" + std::to_string(i) + ".dat");
    }
    publish(kKey, lines);

    box.answer(BoxAnswer::No);
    EXPECT_FALSE(updateInfo());
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, kHead + kNewFilesIntro + tenListed + kTail);
    EXPECT_EQ(box.shown()[0].buttons, BoxButtons::YesNo);
    EXPECT_EQ(box.shown()[0].icon, BoxIcon::Question);
    EXPECT_FALSE(g_pReminderDlg->notesTimerActive());
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
    // Only the revision file came over.
    EXPECT_EQ(readFile(std::filesystem::path(install) / "RelInfoRemote.rel"), revisionFile(lines));
    EXPECT_FALSE(inInstall("tool.exe"));
    EXPECT_FALSE(inInstall("f1.dat"));

    // One more: the eleventh is summarised. The same client serves the second check.
    lines.push_back("z.dat; 1.00.00");
    publish(kKey, lines);
    box.answer(BoxAnswer::Yes);
    EXPECT_FALSE(updateInfo());
    ASSERT_EQ(box.count(), 2u);
    EXPECT_EQ(box.shown()[1].text,
              kHead + kNewFilesIntro + tenListed + " ... and more ... \n" + kTail);
    EXPECT_TRUE(g_pReminderDlg->notesTimerActive());
    EXPECT_EQ(server.loginCount(), 2);
    EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
}

TEST_F(UpdateInfoTest, UpToDateStillAsksAndYesLeadsToTheNotes)
{
    installed({"tool.exe; 1.00.01", "f.dat; 1.00.00"});
    publish(kKey, {"tool.exe; 1.00.01", "f.dat; 1.00.00"});
    box.answer(BoxAnswer::Yes);
    EXPECT_FALSE(updateInfo());
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, kHead + kLatest + kTail);
    EXPECT_EQ(box.shown()[0].buttons, BoxButtons::YesNo);
    EXPECT_EQ(box.shown()[0].icon, BoxIcon::Question);
    EXPECT_TRUE(g_pReminderDlg->notesTimerActive());
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
}

TEST_F(UpdateInfoTest, MissingLocalRevisionFileMakesEveryFileNew)
{
    publish(kKey, {"tool.exe; 1.00.01"});
    EXPECT_FALSE(updateInfo());
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, kHead + kNewFilesIntro + listed("1.00.01", "tool.exe") + kTail);
}

TEST_F(UpdateInfoTest, RefusedLogonGivesTheClientBoxThenTheCheckBox)
{
    publish(kKey, {"tool.exe; 1.00.01"});
    server.refuseLogin(true);
    box.answer(BoxAnswer::Yes); // would arm the notes if the check asked a question
    EXPECT_FALSE(updateInfo());
    const auto shown = box.shown();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text.rfind(kConnectFailedIntro + "ERROR!  ", 0), 0u) << shown[0].text;
    const std::string serverLine = "\n\nFTP Server: <" + server.address() + ">";
    EXPECT_TRUE(shown[0].text.ends_with(serverLine)) << shown[0].text;
    EXPECT_EQ(shown[0].buttons, BoxButtons::Ok);
    EXPECT_EQ(shown[0].icon, BoxIcon::None);
    expectNoConnectionBox(shown[1]);
    EXPECT_FALSE(g_pReminderDlg->notesTimerActive());
    EXPECT_EQ(count("CWD"), 0);
    EXPECT_FALSE(inInstall("RelInfoRemote.rel"));

    // The failed logon leaves nothing in the way of the next check.
    server.refuseLogin(false);
    EXPECT_FALSE(updateInfo());
    ASSERT_EQ(box.count(), 3u);
    EXPECT_EQ(box.shown()[2].text, kHead + kNewFilesIntro + listed("1.00.01", "tool.exe") + kTail);
}

TEST_F(UpdateInfoTest, ServerWithoutTheProductOrItsRevisionFileGivesTheCheckBox)
{
    publish(kKey, {"tool.exe; 1.00.01"});
    server.refuseCwd("Refused");
    remote.write("Refused/RelInfoRemote.rel", revisionFile({"tool.exe; 1.00.01"}));
    const struct {
        const char* key;
        const char* why;
    } cases[] = {
        {"Absent", "no such directory on the server"},
        {"Refused", "the server refuses to change into it"},
        {"Other", "the directory holds no RelInfoRemote.rel"},
    };
    std::size_t boxes = 0;
    int logons = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        box.answer(BoxAnswer::Yes);
        EXPECT_FALSE(updateInfo(c.key));
        ASSERT_EQ(box.count(), ++boxes);
        expectNoConnectionBox(box.shown().back());
        EXPECT_EQ(server.loginCount(), ++logons);
        EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
        EXPECT_FALSE(g_pReminderDlg->notesTimerActive());
        EXPECT_EQ(count("RETR"), 0);
        EXPECT_FALSE(inInstall("RelInfoRemote.rel"));
    }
    // The reminder object still names the product of the first call.
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, "Absent");
}

TEST_F(UpdateInfoTest, DroppedDownloadOfTheRevisionFileEndsWithoutAWord)
{
    std::vector<std::string> lines;
    for (int i = 0; i < 200; ++i)
        lines.push_back("file" + std::to_string(i) + ".dat; 1.00.01");
    publish(kKey, lines);
    server.dropDownloadAfter(100);
    box.answer(BoxAnswer::Yes);
    EXPECT_FALSE(updateInfo());
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(count("RETR"), 1);
    EXPECT_FALSE(inInstall("RelInfoRemote.rel"));
    for (const auto& entry : std::filesystem::directory_iterator(install))
        ADD_FAILURE() << "left behind: " << entry.path();
    EXPECT_FALSE(g_pReminderDlg->notesTimerActive());
    EXPECT_EQ(server.loginCount(), 1);
    EXPECT_FALSE(g_pReminderDlg->m_ftpClient.isConnected());
}

TEST_F(UpdateInfoTest, StagedFilesAreSweptEvenWithTheServerDown)
{
    const std::filesystem::path dir(install);
    writeFile(dir / "upd_tool.exe", "staged program");
    writeFile(dir / "upd_Readme.txt", "staged");
    writeFile(dir / "upd_kept/inside.txt", "a directory under a staged name stays");
    writeFile(dir / "Plugins/upd_Filter.dll", "only the install directory itself is swept");
    writeFile(dir / "tool.exe", "program");
    // Nobody listens on port 1.
    ServerAccountOverride down("127.0.0.1:1");

    EXPECT_FALSE(updateInfo());
    EXPECT_FALSE(std::filesystem::exists(dir / "upd_tool.exe"));
    EXPECT_FALSE(std::filesystem::exists(dir / "upd_Readme.txt"));
    EXPECT_TRUE(std::filesystem::exists(dir / "upd_kept/inside.txt"));
    EXPECT_TRUE(std::filesystem::exists(dir / "Plugins/upd_Filter.dll"));
    EXPECT_EQ(readFile(dir / "tool.exe"), "program");

    const auto shown = box.shown();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text.rfind(kConnectFailedIntro, 0), 0u) << shown[0].text;
    EXPECT_TRUE(shown[0].text.ends_with("FTP Server: <127.0.0.1:1>")) << shown[0].text;
    expectNoConnectionBox(shown[1]);
    EXPECT_EQ(server.loginCount(), 0);
}

TEST_F(UpdateInfoTest, ProgramPathWithCapitalExtensionNamesTheDirectoryAsWritten)
{
    installed({"tool.exe; 1.00.01"});
    publish(kKey, {"tool.exe; 1.00.01"});
    EXPECT_FALSE(UpdateInfo(kKey, (install + "/Tool.EXE").c_str()));
    ASSERT_NE(g_pReminderDlg, nullptr);
    EXPECT_EQ(g_pReminderDlg->m_strInstallDir, install);
    EXPECT_EQ(g_pReminderDlg->m_strExeName, "Tool.EXE");
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, kKey);
    EXPECT_TRUE(g_pReminderDlg->isHidden());
    // The check looked into that directory: it found the local file current.
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, kHead + kLatest + kTail);
    EXPECT_TRUE(inInstall("RelInfoRemote.rel"));

    // A directory given with its separator: the directory, no program.
    freshLibrary();
    EXPECT_FALSE(UpdateInfo(kKey, (install + "/").c_str()));
    EXPECT_EQ(g_pReminderDlg->m_strInstallDir, install);
    EXPECT_EQ(g_pReminderDlg->m_strExeName, "");
    ASSERT_EQ(box.count(), 2u);
    EXPECT_EQ(box.shown()[1].text, kHead + kLatest + kTail);
}

TEST_F(UpdateInfoTest, LaterCallsCheckTheirOwnProductAgainstTheFirstInstallDirectory)
{
    installed({"tool.exe; 1.00.01"});
    publish(kKey, {"tool.exe; 1.00.01"});
    publish("Other", {"tool.exe; 1.00.02"});
    TempDir elsewhere;
    writeFile(elsewhere.path() / "RelInfoLocal.rel", revisionFile({"tool.exe; 1.00.02"}));

    EXPECT_FALSE(updateInfo());
    CReminderSetupDlg* const first = g_pReminderDlg;
    EXPECT_FALSE(UpdateInfo("Other", (elsewhere / "other.exe").c_str()));
    EXPECT_EQ(g_pReminderDlg, first);
    EXPECT_EQ(g_pReminderDlg->m_strProductKey, kKey);
    EXPECT_EQ(g_pReminderDlg->m_strInstallDir, install);
    EXPECT_EQ(g_pReminderDlg->m_strExeName, "tool.exe");

    // Other's release, compared with what the first directory holds.
    ASSERT_EQ(box.count(), 2u);
    EXPECT_EQ(box.shown()[0].text, kHead + kLatest + kTail);
    EXPECT_EQ(box.shown()[1].text, kHead + kNewFilesIntro + listed("1.00.02", "tool.exe") + kTail);
    EXPECT_EQ(readFile(std::filesystem::path(install) / "RelInfoRemote.rel"),
              revisionFile({"tool.exe; 1.00.02"}));
    EXPECT_FALSE(elsewhere.exists("RelInfoRemote.rel"));
    EXPECT_EQ(server.loginCount(), 2);
}
