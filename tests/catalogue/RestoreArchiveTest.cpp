#include "catalogue/RestoreArchive.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace kau;
using kau::test::ScriptedBox;
using kau::test::TempDir;
using Names = std::vector<std::string>;

TEST(RestoreArchive, DateText)
{
    EXPECT_EQ(RestoreDateText("201406021405"), "2014-06-02   (14:05)");
    EXPECT_EQ(RestoreDateText("20abcdefghij"), "20ab-cd-ef   (gh:ij)");
}

TEST(RestoreArchive, ListingTakesOnlyStampNamedDirectoriesInOrder)
{
    TempDir dir;
    for (const char* name : {"201409011630", "201402100915", "20140513112", "2014051311200",
                             "199912312359", "20abcdefghij", "201405131120"})
        std::filesystem::create_directory(dir.path() / name);
    dir.write("201501010000", "a file named like a stamp");
    RestoreDirectoryList list;
    ASSERT_TRUE(ListRestoreDirectories(list, dir.str()));
    EXPECT_EQ(list.m_aDirectories,
              (Names{"201402100915", "201405131120", "201409011630", "20abcdefghij"}));
    EXPECT_EQ(list.m_aTexts[0], "2014-02-10   (09:15)");
    EXPECT_EQ(list.m_aTexts[3], "20ab-cd-ef   (gh:ij)");

    TempDir empty;
    list.m_aDirectories.push_back("stale");
    EXPECT_FALSE(ListRestoreDirectories(list, empty.str()));
    EXPECT_TRUE(list.m_aDirectories.empty());
    EXPECT_FALSE(ListRestoreDirectories(list, empty / "missing"));
}

TEST(RestoreArchive, GrowthOfOneRun)
{
    TempDir dir;
    dir.write("RelInfoLocal.rel", "Sampler; 1\r\n");
    dir.write("Sampler", "old program");
    dir.write("Plugins/Filter.so", "old filter");
    const std::string restore = BeginRestoreDirectory(dir.str(), "201406021405");
    EXPECT_EQ(restore, dir / "201406021405");
    EXPECT_EQ(dir.read("201406021405/RelInfoLocal.rel"), "Sampler; 1\r\n");

    KeepOldCopy(dir.str(), restore, "Sampler");
    KeepOldCopy(dir.str(), restore, "Plugins\\Filter.so");
    KeepOldCopy(dir.str(), restore, "NewFile");             // nothing to keep
    KeepOldCopy(dir.str(), restore, "%Data\\settings.ini");  // never archived
    EXPECT_EQ(dir.read("201406021405/Sampler"), "old program");
    EXPECT_EQ(dir.read("201406021405/Plugins/Filter.so"), "old filter");
    EXPECT_FALSE(dir.exists("201406021405/NewFile"));
    EXPECT_FALSE(dir.exists("201406021405/%Data"));
    EXPECT_TRUE(std::filesystem::is_directory(dir / "%Data"));

    // A second run in the same minute shares the directory; later copies win.
    dir.write("RelInfoLocal.rel", "Sampler; 2\r\n");
    dir.write("Sampler", "newer program");
    EXPECT_EQ(BeginRestoreDirectory(dir.str(), "201406021405"), restore);
    KeepOldCopy(dir.str(), restore, "Sampler");
    EXPECT_EQ(dir.read("201406021405/RelInfoLocal.rel"), "Sampler; 2\r\n");
    EXPECT_EQ(dir.read("201406021405/Sampler"), "newer program");

    // Without a local revision file the directory is made all the same.
    TempDir fresh;
    BeginRestoreDirectory(fresh.str(), "201406021406");
    EXPECT_TRUE(std::filesystem::is_directory(fresh / "201406021406"));
    EXPECT_FALSE(fresh.exists("201406021406/RelInfoLocal.rel"));
}

class CollectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir.write("201402100915/RelInfoLocal.rel", "");
        dir.write("201402100915/Sampler.exe", "1");
        dir.write("201405131120/RelInfoLocal.rel", "");
        dir.write("201405131120/Sampler.exe", "2");
        dir.write("201405131120/sampler.chm", "2");
        dir.write("201405131120/Plugins/Filter.dll", "sub");
        dir.write("201409011630/RelInfoLocal.rel", "");
        dir.write("201409011630/Sampler.exe", "3");
    }
    TempDir dir;
};

TEST_F(CollectTest, WorkedExample)
{
    RestoreFileList files;
    ASSERT_TRUE(CollectRestoreFiles(dir / "201405131120", files));
    EXPECT_EQ(files.m_aSources, (Names{"201409011630/RelInfoLocal.rel", "201409011630/Sampler.exe",
                                       "201405131120/RelInfoLocal.rel", "201405131120/Sampler.exe",
                                       "201405131120/sampler.chm"}));
    EXPECT_EQ(files.m_aNames, (Names{"RelInfoLocal.rel", "Sampler.exe", "RelInfoLocal.rel",
                                     "Sampler.exe", "sampler.chm"}));
}

TEST_F(CollectTest, NewestOldestAndMissing)
{
    RestoreFileList files;
    ASSERT_TRUE(CollectRestoreFiles(dir / "201409011630", files));
    EXPECT_EQ(files.m_aNames, (Names{"RelInfoLocal.rel", "Sampler.exe"}));
    ASSERT_TRUE(CollectRestoreFiles(dir / "201402100915", files));
    EXPECT_EQ(files.m_aSources.size(), 7u);
    EXPECT_EQ(files.m_aSources.back(), "201402100915/Sampler.exe");

    EXPECT_FALSE(CollectRestoreFiles(dir / "", files));
    EXPECT_TRUE(files.m_aSources.empty());
    EXPECT_FALSE(CollectRestoreFiles(dir / "201401010000", files));
    TempDir empty;
    EXPECT_FALSE(CollectRestoreFiles(empty / "201402100915", files));

    // An empty chosen directory: the newer ones are played back all the same.
    std::filesystem::create_directory(dir.path() / "201301010000");
    ASSERT_TRUE(CollectRestoreFiles(dir / "201301010000", files));
    EXPECT_EQ(files.m_aSources.size(), 7u);
}

TEST(RestoreArchive, DirectoryFilesWithVersions)
{
    TempDir dir;
    const std::string restore = dir / "201405131120";
    dir.write("201405131120/RelInfoLocal.rel", "Sampler.exe; 3.10.01\r\nSAMPLER.CHM; 1.0\r\nnone;\r\n"
                                               "Gone.dll; 1.0");
    dir.write("201405131120/Sampler.exe", "x");
    dir.write("201405131120/sampler.chm", "x");
    dir.write("201405131120/none", "x");
    dir.write("201405131120/Plugins/Filter.dll", "x");
    LocalRevisionList files;
    ASSERT_TRUE(ListRestoreDirectoryFiles(restore, files));
    EXPECT_EQ(files.m_aNames, (Names{"RelInfoLocal.rel", "Sampler.exe", "none", "sampler.chm"}));
    EXPECT_EQ(files.m_aVersions, (Names{"-", "3.10.01", "-", "-"}));
    // The open completed the last line.
    EXPECT_EQ(dir.read("201405131120/RelInfoLocal.rel"),
              "Sampler.exe; 3.10.01\r\nSAMPLER.CHM; 1.0\r\nnone;\r\nGone.dll; 1.0\r\n");
}

TEST(RestoreArchive, DirectoryFilesSideEffectsAndFailures)
{
    ScriptedBox box;
    TempDir dir;
    // No revision file: one is created empty, and it is listed itself.
    std::filesystem::create_directory(dir.path() / "201405131120");
    LocalRevisionList files;
    EXPECT_FALSE(ListRestoreDirectoryFiles(dir / "201405131120", files));
    EXPECT_TRUE(dir.exists("201405131120/RelInfoLocal.rel"));
    EXPECT_EQ(dir.read("201405131120/RelInfoLocal.rel"), "");
    EXPECT_TRUE(ListRestoreDirectoryFiles(dir / "201405131120", files));
    EXPECT_EQ(files.m_aNames, (Names{"RelInfoLocal.rel"}));

    // A revision file that can't be opened: the box, and the versions stay "-".
    dir.write("201406021405/RelInfoLocal.rel/x", "");
    dir.write("201406021405/Sampler", "x");
    EXPECT_TRUE(ListRestoreDirectoryFiles(dir / "201406021405", files));
    EXPECT_EQ(files.m_aNames, (Names{"Sampler"}));
    EXPECT_EQ(files.m_aVersions, (Names{"-"}));
    EXPECT_EQ(box.count(), 1u);

    EXPECT_FALSE(ListRestoreDirectoryFiles(dir / "missing", files));
    EXPECT_TRUE(files.m_aNames.empty());
}
