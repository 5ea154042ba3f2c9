// The FTP client's diagnostic log: silent until its category is switched on,
// then telling what was done and why something failed, never the password.
#include "platform/LogCategories.h"
#include "server/CFtpFileClient.h"
#include "support/FtpServer.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <QLoggingCategory>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

using namespace kau;
using namespace kau::test;

namespace {

std::mutex g_lock;
std::vector<std::string> g_lines; // "category: text"

void record(QtMsgType, const QMessageLogContext& context, const QString& text)
{
    std::lock_guard lock(g_lock);
    g_lines.push_back(std::string(context.category ? context.category : "") + ": "
                      + text.toStdString());
}

class DiagnosticLog : public ::testing::Test {
protected:
    DiagnosticLog()
    {
        remote.write("prod/RelInfoRemote.rel", "rel\r\n");
        g_lines.clear();
        m_previous = qInstallMessageHandler(record);
    }
    ~DiagnosticLog() override
    {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules({});
    }
    // Logon, a directory, a look-up, a download, a missing directory, a refused logon.
    void talk()
    {
        ASSERT_TRUE(client.Connect("", "", ""));
        ASSERT_TRUE(client.ChangeDirectory("prod"));
        ASSERT_TRUE(client.FindFile("RelInfoRemote.rel"));
        ASSERT_TRUE(client.DownloadFile("RelInfoRemote.rel", local.str()));
        EXPECT_FALSE(client.ChangeDirectory("/nowhere"));
        client.Disconnect();
        server.refuseLogin(true);
        EXPECT_FALSE(client.Connect("", "", ""));
        server.refuseLogin(false);
    }
    std::vector<std::string> lines()
    {
        std::lock_guard lock(g_lock);
        return g_lines;
    }

    TempDir remote;
    TempDir local;
    FtpServer server{remote.path(), "svcfeed", "Pa55-secret"};
    ScriptedBox box;
    CFtpFileClient client;

private:
    QtMessageHandler m_previous = nullptr;
};

bool has(const std::vector<std::string>& lines, const std::string& start)
{
    for (const std::string& line : lines)
        if (line.rfind(start, 0) == 0)
            return true;
    return false;
}

} // namespace

TEST_F(DiagnosticLog, IsSilentByDefault)
{
    talk();
    EXPECT_TRUE(lines().empty()) << lines().front();
    EXPECT_FALSE(lcFtp().isInfoEnabled() || lcFtp().isWarningEnabled());
    EXPECT_FALSE(lcRun().isInfoEnabled() || lcSchedule().isWarningEnabled());
}

TEST_F(DiagnosticLog, SwitchedOnTellsTheTalkAndItsFailuresButNeverThePassword)
{
    QLoggingCategory::setFilterRules("korautoupdate.ftp=true");
    talk();
    const std::vector<std::string> got = lines();
    EXPECT_TRUE(has(got, "korautoupdate.ftp: logon to ftp://" + server.address() + " as svcfeed"));
    EXPECT_TRUE(has(got, "korautoupdate.ftp: directory /prod/"));
    EXPECT_TRUE(has(got, "korautoupdate.ftp: look for RelInfoRemote.rel in /prod/: 1 found"));
    EXPECT_TRUE(has(got, "korautoupdate.ftp: fetched RelInfoRemote.rel into " + local.str()));
    EXPECT_TRUE(has(got, "korautoupdate.ftp: no directory /nowhere/: "));
    EXPECT_TRUE(has(got, "korautoupdate.ftp: logon to " + server.address() + " failed: "));
    for (const std::string& line : got) {
        EXPECT_EQ(line.find("Pa55-secret"), std::string::npos) << line;
        EXPECT_EQ(line.rfind("korautoupdate.ftp: ", 0), 0u) << line; // only what was asked for
    }
}
