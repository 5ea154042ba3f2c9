#include "catalogue/StagedFiles.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace kau;
using kau::test::TempDir;

TEST(StagedFiles, NamesAndPaths)
{
    const std::pair<const char*, const char*> staged[] = {
        {"Sampler.exe", "upd_Sampler.exe"},
        {"/opt/Sampler/Sampler", "/opt/Sampler/upd_Sampler"},
        {"Plugins\\Filter.dll", "Plugins/upd_Filter.dll"},
        {"Plugins/Filter.dll", "Plugins/upd_Filter.dll"},
        {"a\\b/c.dll", "a/upd_b/c.dll"},
    };
    for (const auto& [path, name] : staged)
        EXPECT_EQ(StagedName(path), name) << path;
    EXPECT_EQ(LocalPath("/opt/app", "Plugins\\sub/Filter.dll"), "/opt/app/Plugins/sub/Filter.dll");
    EXPECT_EQ(LocalPath("/opt/app", "%x"), "/opt/app/%x");
}

TEST(StagedFiles, StageAndDelete)
{
    TempDir dir;
    const std::string file = dir / "Sampler";
    // Nothing to stage.
    EXPECT_TRUE(StageFile(file));
    EXPECT_FALSE(dir.exists("upd_Sampler"));
    EXPECT_TRUE(DeleteStagedFile(file));

    // An older staged file is replaced by the file itself.
    dir.write("Sampler", "new old");
    dir.write("upd_Sampler", "older");
    EXPECT_TRUE(StageFile(file));
    EXPECT_FALSE(dir.exists("Sampler"));
    EXPECT_EQ(dir.read("upd_Sampler"), "new old");
    EXPECT_TRUE(DeleteStagedFile(file));
    EXPECT_FALSE(dir.exists("upd_Sampler"));
}

TEST(StagedFiles, RenameThatFailsGivesFalse)
{
    TempDir dir;
    dir.write("x/keep", "k");  // a non-empty directory under the staged name
    dir.write("upd_x/keep", "k");
    EXPECT_FALSE(StageFile(dir / "x"));
    EXPECT_EQ(dir.read("x/keep"), "k");
    EXPECT_TRUE(DeleteStagedFile(dir / "x"));  // leaves the directory alone
    EXPECT_TRUE(dir.exists("upd_x/keep"));
}

TEST(StagedFiles, ParentDirectoryOneLevel)
{
    TempDir dir;
    EXPECT_TRUE(CreateParentDirectory("bare"));
    EXPECT_TRUE(CreateParentDirectory(dir / "file"));               // exists
    EXPECT_TRUE(CreateParentDirectory(dir / "Plugins/Filter.dll")); // one new level
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Plugins"));
    EXPECT_FALSE(CreateParentDirectory(dir / "a/b/c.dll"));         // two new levels
    EXPECT_FALSE(dir.exists("a"));
}
