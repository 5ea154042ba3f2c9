// KorAutoInstall: its command line, the wait for the application, and the update and restore it runs.
#include "ApplicationWait.h"
#include "InstallCommand.h"
#include "catalogue/RestoreArchive.h"
#include "flows/UpdateRunTestSupport.h"
#include "support/FtpServer.h"
#include "support/WorkDir.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::installer;
using namespace kau::test;
using Lines = std::vector<std::string>;

TEST(InstallCommandLine, KnowsTheKindsAndJoinsThePathTokens)
{
    using K = InstallCommand::Kind;
    const std::pair<Lines, InstallCommand> cases[] = {
        {{"REST=", "/opt/s/Sampler"}, {K::Restore, "", "", "/opt/s/Sampler"}}, // restore dialog without a selection
        {{"InstComplete", "/opt/x"}, {K::Update, "InstComplete", "", "/opt/x"}}, // the word is lower case only
        {{"instcomplete", "Sampler", "/home/u/My", "Apps/Sampler"}, {K::UpdateAll, "Sampler", "", "/home/u/My Apps/Sampler"}},
        {{"REST=2014", "/x", "y"}, {K::Restore, "", "2014", "/x y"}}};
    for (const auto& [args, expected] : cases) {
        std::string error;
        const auto command = ParseInstallCommand(args, error);
        ASSERT_TRUE(command) << error;
        EXPECT_EQ(std::tie(command->kind, command->productKey, command->revision, command->applicationPath),
                  std::tie(expected.kind, expected.productKey, expected.revision, expected.applicationPath));
    }
}

TEST(InstallerProgram, WrongCommandLinesRunNothingARightOneWaitsForTheApplicationThenUpdates)
{
    SampleProduct product;
    FtpServer server(product.server.path());
    const std::string program = product.install / "Sampler.exe", output = product.install / "output";
    const std::string usage = "usage: KorAutoInstall <productKey> <applicationPath>";
    const struct { QStringList args; int exitCode; std::string text; } cases[] = {
        {{}, 2, usage}, {{"Sampler"}, 2, usage}, {{"instcomplete", program.c_str()}, 2, usage}, {{"REST=2014"}, 2, usage},
        {{"--force", "S", "/x"}, 2, usage}, {{"--help", "x"}, 2, usage}, {{"--help"}, 0, usage}};
    for (const auto& c : cases) {
        QProcess installer;
        installer.setProcessChannelMode(QProcess::MergedChannels);
        installer.start(KAU_INSTALLER_PROGRAM, c.args);
        EXPECT_TRUE(installer.waitForFinished() && installer.exitStatus() == QProcess::NormalExit);
        const std::string said = installer.readAll().toStdString();
        EXPECT_EQ(installer.exitCode(), c.exitCode) << said;
        EXPECT_NE(said.find(c.text), std::string::npos) << said;
    }
    EXPECT_TRUE(server.commands().empty()) << "an update ran";

    // The wait: the application is found by its program, also once a new file has replaced it, within a bound.
    QProcess app;
    fs::copy_file("/bin/sleep", program, fs::copy_options::overwrite_existing);
    app.start(QString::fromStdString(program), {"60"});
    ASSERT_TRUE(app.waitForStarted());
    product.install.write("Sampler.new", "new version");
    fs::rename(product.install / "Sampler.new", program);
    EXPECT_EQ(ProcessesRunning(program), std::vector<pid_t>{static_cast<pid_t>(app.processId())});
    EXPECT_TRUE(ProcessesRunning(product.install / "Other").empty());
    EXPECT_FALSE(WaitForProgramEnd(program, std::chrono::milliseconds(50)));
    EXPECT_EQ(ProgramOfApplicationPath(product.install / "./Sampler.exe"), fs::canonical(program).string());
    EXPECT_EQ(ProgramOfApplicationPath(product.install / ""), "") << "a directory: nothing to wait for";
    // The hand-off: the installer waits while the application runs, then updates.
    QProcess installer; // ended here once it asks whether to start the program
    installer.setProcessChannelMode(QProcess::MergedChannels);
    installer.setStandardOutputFile(QString::fromStdString(output));
    installer.start(KAU_INSTALLER_PROGRAM, {"Sampler", program.c_str()});
    EXPECT_TRUE(waitUntil([&] { return readFile(output).find("waiting for " + program + " to end") != std::string::npos; }))
        << readFile(output);
    EXPECT_TRUE(server.commands().empty()) << "the update began while the application ran";
    app.close(); // killed
    // The run has ended once the local revision file names the new release.
    EXPECT_TRUE(waitUntil([&] { return product.install.read("RelInfoLocal.rel").find("Sampler.exe; 3.10.02") != std::string::npos; }))
        << product.install.read("RelInfoLocal.rel");
    EXPECT_EQ(product.install.read("Sampler.exe"), product.server.read("Sampler/Sampler.exe"));
    installer.close();

    // REST= with the update's restore directory plays the state before it back.
    RestoreDirectoryList archive;
    ASSERT_TRUE(ListRestoreDirectories(archive, product.install.str()));
    const std::string kept = product.install / archive.m_aDirectories.back();
    const std::string local = readFile(kept + "/RelInfoLocal.rel"), old = readFile(kept + "/Sampler.exe");
    installer.start(KAU_INSTALLER_PROGRAM, {QString::fromStdString("REST=" + archive.m_aDirectories.back()), program.c_str()});
    EXPECT_EQ(old, "new version");
    EXPECT_TRUE(waitUntil([&] { return product.install.read("RelInfoLocal.rel") == local && product.install.read("Sampler.exe") == old; }))
        << product.install.read("RelInfoLocal.rel");
    installer.close();
}
