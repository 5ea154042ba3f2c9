#include "catalogue/LocalRevisionUpdate.h"

#include "catalogue/ReleaseComparison.h"
#include "catalogue/RevisionFile.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kau;
using kau::test::ScriptedBox;
using kau::test::TempDir;

TEST(LocalRevisionUpdate, WorkedExample)
{
    TempDir dir;
    dir.write("RelInfoLocal.rel", "; old comment\r\nSampler.exe;3.10.01;x\r\n\r\n"
                                  "Plugins\\Filter.dll ; 2.00.07\r\nsampler.chm;1.03.00");
    LocalRevisionList local;
    ASSERT_TRUE(ReadLocalRevisions(local, dir / "RelInfoLocal.rel"));
    RemoteRevisionList remote{{"Sampler.exe", "sampler.chm", "Plugins\\Filter.dll", "Readme.txt"},
                              {"3.10.02", "1.04.00", "2.00.07", ""},
                              {"0", "0", "0", "0"}};
    ASSERT_TRUE(CompareReleases(local, remote, false));
    remote.m_aTransferred[0] = "1";  // Sampler.exe
    remote.m_aTransferred[2] = "1";  // Readme.txt; sampler.chm failed
    EXPECT_TRUE(UpdateLocalRevisions(local, remote, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(dir.read("RelInfoLocal.rel"),
              "Sampler.exe; 3.10.02\r\nPlugins\\Filter.dll; 2.00.07\r\nsampler.chm; 1.03.00\r\nReadme.txt; \r\n");
    EXPECT_FALSE(dir.exists("RelInfoLocal.rel.new"));
}

TEST(LocalRevisionUpdate, MergeRules)
{
    struct Case {
        const char* what;
        LocalRevisionList local;
        RemoteRevisionList remote;
        const char* written;
    };
    const std::vector<Case> cases = {
        {"new file failed gets 0.00.00", {}, {{"a"}, {"1.0"}, {"0"}}, "a; 0.00.00\r\n"},
        {"known file failed keeps its version", {{"a"}, {"1.0"}}, {{"a"}, {"2.0"}, {"0"}}, "a; 1.0\r\n"},
        {"transferred lower version is taken", {{"a"}, {"5.0"}}, {{"A"}, {"1.0"}, {"1"}}, "a; 1.0\r\n"},
        {"all failed still writes", {{"x"}, {"1"}}, {{"a", "b"}, {"1", "2"}, {"0", "0"}},
         "x; 1\r\na; 0.00.00\r\nb; 0.00.00\r\n"},
        {"server name twice, later transferred one decides", {},
         {{"a", "A"}, {"1", "2"}, {"1", "1"}}, "a; 2\r\n"},
        {"server name twice, second failed", {}, {{"a", "A"}, {"1", "2"}, {"1", "0"}}, "a; 1\r\n"},
        {"local name twice: first updated", {{"a", "a"}, {"1", "1"}}, {{"a"}, {"2"}, {"1"}},
         "a; 2\r\na; 1\r\n"},
        {"transferred counts as atoi > 0", {}, {{"a", "b"}, {"1", "2"}, {"7x", "-1"}},
         "a; 1\r\nb; 0.00.00\r\n"},
        {"empty lists write an empty file", {}, {}, ""},
    };
    for (Case c : cases) {
        TempDir dir;
        EXPECT_TRUE(UpdateLocalRevisions(c.local, c.remote, dir / "RelInfoLocal.rel")) << c.what;
        EXPECT_EQ(dir.read("RelInfoLocal.rel"), c.written) << c.what;
    }
}

TEST(LocalRevisionUpdate, FailedNewFileIsOfferedAgain)
{
    TempDir dir;
    LocalRevisionList local;
    RemoteRevisionList remote{{"a", "b"}, {"1.00.00", "0.00.00"}, {"0", "0"}};
    ASSERT_TRUE(UpdateLocalRevisions(local, remote, dir / "RelInfoLocal.rel"));
    LocalRevisionList again;
    ASSERT_TRUE(ReadLocalRevisions(again, dir / "RelInfoLocal.rel"));
    RemoteRevisionList next{{"a", "b"}, {"1.00.00", "0.00.00"}, {"0", "0"}};
    EXPECT_TRUE(CompareReleases(again, next, false));
    EXPECT_EQ(next.m_aNames, (std::vector<std::string>{"a"}));
}

TEST(LocalRevisionUpdate, LeftoverTemporaryFileIsReplaced)
{
    // What a crash between writing and renaming leaves behind.
    TempDir dir;
    dir.write("RelInfoLocal.rel", "a; 1\r\n");
    dir.write("RelInfoLocal.rel.new", "half a li");
    LocalRevisionList before;
    ASSERT_TRUE(ReadLocalRevisions(before, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(before.m_aVersions, (std::vector<std::string>{"1"}));

    RemoteRevisionList remote{{"a"}, {"2"}, {"1"}};
    ASSERT_TRUE(UpdateLocalRevisions(before, remote, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(dir.read("RelInfoLocal.rel"), "a; 2\r\n");
    EXPECT_FALSE(dir.exists("RelInfoLocal.rel.new"));
}

TEST(LocalRevisionUpdate, DirectoryInTheWayGivesBoxAndFalse)
{
    ScriptedBox box;
    TempDir dir;
    dir.write("RelInfoLocal.rel/inside", "x");
    LocalRevisionList local;
    RemoteRevisionList remote{{"a"}, {"1"}, {"1"}};
    EXPECT_FALSE(UpdateLocalRevisions(local, remote, dir / "RelInfoLocal.rel"));
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text.rfind("Error occurred! \n", 0), 0u);
    EXPECT_EQ(dir.read("RelInfoLocal.rel/inside"), "x");
    EXPECT_FALSE(dir.exists("RelInfoLocal.rel.new"));
}

TEST(LocalRevisionUpdate, FailureBeforeTheRenameKeepsTheOldFile)
{
    ScriptedBox box;
    TempDir dir;
    dir.write("RelInfoLocal.rel", "a; 1\r\n");
    dir.write("RelInfoLocal.rel.new/blocker", "x");  // the new text can't be put down
    LocalRevisionList local{{"a"}, {"1"}};
    RemoteRevisionList remote{{"a"}, {"2"}, {"1"}};
    EXPECT_FALSE(UpdateLocalRevisions(local, remote, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(box.count(), 1u);
    EXPECT_EQ(dir.read("RelInfoLocal.rel"), "a; 1\r\n");
}

TEST(LocalRevisionUpdate, UnwritableDirectoryKeepsTheOldFile)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes anywhere";
    ScriptedBox box;
    TempDir dir;
    dir.write("app/RelInfoLocal.rel", "a; 1\r\n");
    ::chmod((dir / "app").c_str(), 0555);
    LocalRevisionList local{{"a"}, {"1"}};
    RemoteRevisionList remote{{"a"}, {"2"}, {"1"}};
    EXPECT_FALSE(UpdateLocalRevisions(local, remote, dir / "app/RelInfoLocal.rel"));
    ::chmod((dir / "app").c_str(), 0755);
    EXPECT_EQ(box.count(), 1u);
    EXPECT_EQ(dir.read("app/RelInfoLocal.rel"), "a; 1\r\n");
}

TEST(LocalRevisionUpdate, MissingDirectoryGivesFalse)
{
    ScriptedBox box;
    TempDir dir;
    LocalRevisionList local;
    RemoteRevisionList remote{{"a"}, {"1"}, {"1"}};
    EXPECT_FALSE(UpdateLocalRevisions(local, remote, dir / "nowhere/RelInfoLocal.rel"));
    EXPECT_EQ(box.count(), 1u);
}
