// Which names from the server may become files of an installation, with real directories and links.
#include "catalogue/InstallNames.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace kau;
using namespace kau::test;
namespace fs = std::filesystem;

namespace {

// An installation one level below a scratch directory, so that "outside" is a real place.
struct Installation {
    TempDir root;
    const std::string dir = root / "app";
    Installation()
    {
        writeFile(dir + "/Sampler.exe", "program");
        writeFile(dir + "/Plugins/Filter.dll", "filter");
        writeFile(dir + "/201405131120/Sampler.exe", "old program");
        writeFile(root / "outside/victim.txt", "victim");
        fs::create_directory_symlink(root / "outside", dir + "/Shared");      // a directory link leading out
        fs::create_symlink(root / "outside/victim.txt", dir + "/victim.txt"); // a file link leading out
        fs::create_symlink(root / "outside/none.txt", dir + "/gone.txt");     // leads out, to nothing
        fs::create_symlink("Plugins/Filter.dll", dir + "/Filter.dll");        // stays inside
        fs::create_directory_symlink("Plugins", dir + "/Modules");            // stays inside, a directory
        fs::create_symlink(dir + "/loop", dir + "/loop");
    }
};

} // namespace

TEST(InstallNames, OrdinaryNamesPassAndEveryHostileKindIsRefused)
{
    Installation app;
    for (const std::string name : {"Sampler.exe", "Readme.txt", "Plugins\\Filter.dll", "Plugins/New.dll", "New/Sub/x.dll",
                                   "%Tool.sh", "Filter.dll", "Modules/Filter.dll", "./Readme.txt", "Plugins//./New.dll", "relinfo.rel",
                                   "2014051311.txt", "Sampler.exe\xC2\xA0", "caf\xC3\xA9.txt", "my upd_notes.txt"})
        EXPECT_TRUE(IsSafeInstallName(app.dir, name)) << name;
    const std::string refused[] = {
        "", "../x", "..", "a/../../x", "a\\..\\..\\x", "Plugins/../Sampler.exe", "/tmp/x", "\\x", "C:\\x", app.root / "x",
        "Shared/x", "Shared\\victim.txt", "victim.txt", "gone.txt", "loop",             // out through links, or nowhere
        "Plugins", "Plugins/", "Modules", ".", "201405131120", "201405131120/Sampler.exe", // directories and the archive
        "RelInfoLocal.rel", "RelInfoRemote.rel", "relinfolocal.REL", "upd_Sampler.exe", "Plugins\\upd_Filter.dll",
        "./RelInfoLocal.rel", ".//RelInfoRemote.rel", "./201405131120/x", "./upd_Sampler.exe", "Plugins/.",
        ".korautoupdate.lock", ".KorAutoUpdate.lock", "./.korautoupdate.lock", "Plugins/.korautoupdate.lock",
        "evil\x1b[31m.txt", "a\rb", std::string("a\0b", 3), "bell\a", "del\x7f", "csi\xC2\x9B" "2J"};
    for (const std::string& name : refused)
        EXPECT_FALSE(IsSafeInstallName(app.dir, name)) << EscapeControls(name);
    // The same hold for an installation given by a relative path or by a link to it.
    fs::create_directory_symlink(app.dir, app.root / "link");
    EXPECT_TRUE(IsSafeInstallName(app.root / "link", "Plugins/New.dll"));
    EXPECT_FALSE(IsSafeInstallName(app.root / "link", "Shared/x"));
    EXPECT_FALSE(IsSafeInstallName(app.root / "no/such/dir", "Readme.txt")) << "no installation, nothing inside it";
}

TEST(InstallNames, StaysInsideFollowsLinksAndJudgesMissingPartsByTheirParent)
{
    Installation app;
    EXPECT_TRUE(StaysInside(app.dir, "201405131120/Sampler.exe"));
    EXPECT_TRUE(StaysInside(app.dir, "Missing/deeper/x"));
    EXPECT_TRUE(StaysInside(app.dir, "Modules/x"));
    fs::create_symlink(app.dir + "/not-yet", app.dir + "/dangling-inside");
    EXPECT_TRUE(StaysInside(app.dir, "dangling-inside")) << "made inside when it is made";
    for (const std::string path : {"Shared/victim.txt", "Shared/new/x", "victim.txt", "gone.txt", "loop", "Missing/../../x"})
        EXPECT_FALSE(StaysInside(app.dir, path)) << path;
}

TEST(InstallNames, EscapeShowsEachControlCharacterAndNothingElse)
{
    EXPECT_EQ(EscapeControls("plain caf\xC3\xA9 \\ text"), "plain caf\xC3\xA9 \\ text");
    EXPECT_EQ(EscapeControls("a\x1b[31mb\r\n\t\x7f"), "a\\x1B[31mb\\x0D\\x0A\\x09\\x7F");
    EXPECT_EQ(EscapeControls(std::string("\0\xC2\x9B\xC2\xA0\xC2", 6)), "\\x00\\xC2\\x9B\xC2\xA0\xC2");
    EXPECT_EQ(EscapeControls("line\n\tnext\r", "\n\t"), "line\n\tnext\\x0D");
}
