// Which KorAutoInstall a hand-off starts: the one installed beside the
// library (libexec before bin), else the bare name for a PATH look-up.
#include "platform/InstallerProgram.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace kau;
namespace fs = std::filesystem;

namespace {

// An installation tree in the build's install layout.
struct Prefix {
    explicit Prefix(const std::string& below = "")
        : root(below.empty() ? dir.path() : dir.path() / below)
    {
        fs::create_directories(lib());
    }
    fs::path lib() const { return root / KAU_TEST_LIBDIR; }
    fs::path program(const char* where) const { return root / where / "KorAutoInstall"; }
    void put(const char* where, fs::perms mode = fs::perms::owner_all) const
    {
        test::writeFile(program(where), "#!/bin/sh\n");
        fs::permissions(program(where), mode);
    }
    test::TempDir dir;
    fs::path root;
};

} // namespace

TEST(InstallerProgram, TheInstalledOneBesideTheLibraryComesFirstLibexecBeforeBin)
{
    Prefix prefix;
    EXPECT_EQ(InstallerProgramFrom(prefix.lib()), "KorAutoInstall"); // none there: PATH
    prefix.put(KAU_TEST_BINDIR);
    EXPECT_EQ(InstallerProgramFrom(prefix.lib()), prefix.program(KAU_TEST_BINDIR).string());
    prefix.put(KAU_TEST_LIBEXECDIR);
    EXPECT_EQ(InstallerProgramFrom(prefix.lib()), prefix.program(KAU_TEST_LIBEXECDIR).string());
    EXPECT_EQ(InstallerProgramFrom(""), "KorAutoInstall"); // the library's place is unknown
}

TEST(InstallerProgram, OnlyAnExecutableFileOnAPathWithoutBlanksCounts)
{
    Prefix unusable;
    unusable.put(KAU_TEST_BINDIR, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_directories(unusable.program(KAU_TEST_LIBEXECDIR)); // a directory of that name
    EXPECT_EQ(InstallerProgramFrom(unusable.lib()), "KorAutoInstall");

    Prefix blank("my apps"); // the command line is split at blanks
    blank.put(KAU_TEST_BINDIR);
    EXPECT_EQ(InstallerProgramFrom(blank.lib()), "KorAutoInstall");
}
