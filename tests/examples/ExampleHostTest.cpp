// The example host on the whole road: its start-up check asks, a Yes opens the notes, "Install new updates..."
// starts the installer with the product and the program and quits the host; its menu opens the library's windows.
#include "ExampleWindow.h"
#include "frontend/CReminderSetupDlg.h"
#include "frontend/ReminderHost.h"
#include "frontend/UpdateDlgTestSupport.h"
#include "flows/UpdateRunTestSupport.h"
#include "notes/CReleaseNotesDlg.h"
#include "support/FtpServer.h"

using namespace kau;
using namespace kau::test;

namespace {

QAction* menuEntry(const ExampleWindow& window, const QString& text)
{
    for (QAction* action : window.findChildren<QAction*>())
        if (action->text() == text)
            return action;
    ADD_FAILURE() << "no menu entry " << text.toStdString();
    return nullptr;
}

} // namespace

TEST(ExampleHost, StartUpCheckYesNotesAndInstallHandOverToTheInstallerAndTheMenuOpensTheLibrarysWindows)
{
    TempDir config;
    ::setenv("XDG_CONFIG_HOME", config.str().c_str(), 1);
    SampleProduct product;
    product.server.write("Sampler/LatestUpdate.html", "<html><body><h1>Sampler 3.10.02</h1></body></html>");
    FtpServer server{product.server.path()};
    ScriptedBox box;
    WorkDir work; // the stand-in KorAutoInstall records its arguments
    work.script("KorAutoInstall", "echo \"$*\" > args.tmp; mv args.tmp args");
    const std::string program = product.install / "Sampler.exe";

    box.answer(BoxAnswer::Yes); // the start-up check's question
    std::unique_ptr<ExampleWindow> host;
    std::string notesTitle;
    EXPECT_TRUE(runInAppLoop([&] {
        host = std::make_unique<ExampleWindow>("Sampler", program, "Sampler 3.10.01");
        host->show();
        atModal<CReleaseNotesDlg>([&](CReleaseNotesDlg& notes) {
            notesTitle = notes.windowTitle().toStdString();
            box.answer(BoxAnswer::Ok); // to stop the application
            notes.installNewButton()->click();
        });
    }, true)) << "the host was not told to quit";
    EXPECT_EQ(work.readWhenThere("args"), "Sampler " + program + "\n");
    EXPECT_NE(notesTitle.find("Last Software Updates on <" + server.address() + ">"), std::string::npos) << notesTitle;
    ASSERT_FALSE(box.shown().empty());
    EXPECT_NE(box.shown().front().text.find("There are some newer files on the server"), std::string::npos);
    EXPECT_NE(config.read("Korvane/AutoUpdate.conf").find("[Sampler]\nActive=1\nCheck=0\nInterval=5\n"), std::string::npos);

    // The menu: the settings window shows the stored values; the release notes show the fetched page, without buttons.
    menuEntry(*host, "Update settings…")->trigger();
    CReminderSetupDlg* settings = g_pReminder->existingWindow();
    ASSERT_TRUE(settings && settings->isVisible());
    EXPECT_TRUE(settings->findChild<QCheckBox*>("activeCheck")->isChecked());
    std::string page;
    EXPECT_TRUE(runInAppLoop([&] {
        atModal<CReleaseNotesDlg>([&](CReleaseNotesDlg& notes) {
            page = notes.m_strPage;
            EXPECT_FALSE(notes.installNewButton()->isVisible());
            notes.reject();
        });
        menuEntry(*host, "Release notes")->trigger();
    }));
    EXPECT_EQ(page, product.install / "LatestUpdate.html");
    // And a check on demand: all is new against an empty install directory's list; No.
    std::filesystem::remove(product.install / "RelInfoLocal.rel");
    box.answer(BoxAnswer::No);
    menuEntry(*host, "Check for updates…")->trigger();
    EXPECT_NE(box.shown().back().text.find("3.10.02\t\t->> Sampler.exe"), std::string::npos);
    host.reset();
    EXPECT_TRUE(g_pReminder->reminder().StopSchedule());
}
