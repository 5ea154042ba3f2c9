// Writing side: the three opens, the CR LF repair, insertion at the cursor and
// the opens that fail.
#include "textfile/CTextFile.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"
#include "textfile/TextFileTestUtil.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace kau {
namespace {

using test::crlf;

struct WriteFixture : ::testing::Test {
    test::TempDir dir;
    test::ScriptedBox box;
    CTextFile file;
};

TEST_F(WriteFixture, OpenRepairsTheLastLineEnd)
{
    struct Case {
        std::string before, after;
    } cases[] = {{"", ""}, {"a", "a"}, {"ab", "ab\r\n"}, {"ab\r\n", "ab\r\n"}, {"a\r", "a\r\r\n"}, {"a\n", "a\n\r\n"}};
    for (const Case& c : cases) {
        dir.write("f", c.before);
        CTextFile f;
        ASSERT_EQ(f.OpenForWrite(dir / "f", false, false), 1);
        EXPECT_EQ(dir.read("f"), c.after) << "from " << c.before.size() << " bytes";
        EXPECT_EQ(f.Position(), 0u);
    }
    // The truncating open leaves nothing to repair.
    dir.write("f", "old");
    ASSERT_EQ(file.OpenForWrite(dir / "f", true, false), 1);
    EXPECT_EQ(dir.read("f"), "");
    EXPECT_EQ(file.Name(), dir / "f"); // OpenForWrite keeps the name as given
}

TEST_F(WriteFixture, MissingFileIsCreatedEmpty)
{
    ASSERT_EQ(file.OpenForWrite(dir / "new.rel", false, false), 1);
    EXPECT_TRUE(dir.exists("new.rel"));
    EXPECT_EQ(dir.read("new.rel"), "");
    std::string line;
    EXPECT_EQ(file.ReadLine(line), 0);
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(WriteFixture, InsertionPushesTheRestOfTheFile)
{
    dir.write("f", crlf({"one", "two", "three"}));
    ASSERT_EQ(file.OpenForWrite(dir / "f", false, false), 1);
    file.NextLine(1);
    ASSERT_EQ(file.WriteText("new"), 1);
    EXPECT_EQ(dir.read("f"), crlf({"one", "new", "two", "three"}));
    EXPECT_EQ(file.Position(), 10u);
    EXPECT_EQ(file.GetLineNumber(), 3u);
    EXPECT_EQ(file.LineBuffer(), "new\r\n");
    std::string line;
    file.ReadLine(line);
    EXPECT_EQ(line, "two");

    EXPECT_FALSE(file.SetLineBreak(false));
    ASSERT_EQ(file.WriteText("100% "), 1);
    EXPECT_EQ(dir.read("f"), crlf({"one", "new", "100% two", "three"}));
    EXPECT_TRUE(file.SetLineBreak(true));

    ASSERT_EQ(file.InsertFirstLine("top"), 1);
    EXPECT_EQ(dir.read("f"), crlf({"top", "one", "new", "100% two", "three"}));
    EXPECT_EQ(file.Position(), 5u);
}

TEST_F(WriteFixture, AppendLineWritesAtTheEnd)
{
    dir.write("f", "");
    ASSERT_EQ(file.OpenForWrite(dir / "f", false, false), 1);
    ASSERT_EQ(file.AppendLine("a; 1.00.00"), 1);
    EXPECT_EQ(dir.read("f"), "a; 1.00.00\r\n");
    EXPECT_EQ(file.Position(), 12u);
    EXPECT_EQ(file.GetLineNumber(), 2u);
    file.Rewind();
    ASSERT_EQ(file.AppendLine("b; 2.00.00"), 1);
    EXPECT_EQ(dir.read("f"), crlf({"a; 1.00.00", "b; 2.00.00"}));
}

TEST_F(WriteFixture, WriteBehindAnUnterminatedOneByteFileGoesToTheEnd)
{
    dir.write("f", "a");
    ASSERT_EQ(file.OpenForWrite(dir / "f", false, false), 1);
    EXPECT_EQ(file.NextLine(1), 0);
    EXPECT_EQ(file.Position(), 3u);
    ASSERT_EQ(file.WriteText("b"), 1);
    EXPECT_EQ(dir.read("f"), "ab\r\n");
    EXPECT_EQ(file.Position(), 4u);
}

TEST_F(WriteFixture, NamedOpenFillsNameAndDirectory)
{
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    const int opened = file.OpenForWriteNamed("AutoInstall.sh", true, false);
    std::filesystem::current_path(before);
    ASSERT_EQ(opened, 1);
    EXPECT_EQ(file.Name(), "AutoInstall.sh");
    EXPECT_EQ(file.Directory(), dir.str() + "/");
    file.SetLineBreak(false);
    file.AppendLine("/bin/true\n");
    file.Close();
    EXPECT_EQ(dir.read("AutoInstall.sh"), "/bin/true\n");
}

TEST_F(WriteFixture, DirectoryInTheWayFailsWithThePlatformText)
{
    std::filesystem::create_directory(dir.path() / "d");
    dir.write("plain", "x");
    struct Case {
        std::string path;
        bool truncate;
        std::string text;
    } cases[] = {{dir / "d", false, "Is a directory"},
                 {dir / "d", true, "Is a directory"},
                 {dir / "plain/f.txt", false, "Not a directory"},
                 {dir / "nodir/f.txt", true, "No such file or directory"}};
    for (const Case& c : cases) {
        CTextFile f;
        EXPECT_EQ(f.OpenForWriteNamed(c.path, c.truncate, false), 0);
        EXPECT_FALSE(f.IsOpen());
        EXPECT_EQ(f.Name(), c.path);
        EXPECT_EQ(f.Directory(), "");
    }
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 4u);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].text, "Error occurred! \n" + cases[i].text + "\n");
        EXPECT_EQ(shown[i].icon, BoxIcon::None);
    }
    EXPECT_EQ(dir.read("plain"), "x");
}

TEST_F(WriteFixture, ReadOnlyDirectoryRefusesTheFile)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only directories";
    std::filesystem::create_directory(dir.path() / "ro");
    std::filesystem::permissions(dir.path() / "ro", std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(file.OpenForWrite(dir / "ro/f", false, false), 0);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, "Error occurred! \nPermission denied\n");
    std::filesystem::permissions(dir.path() / "ro", std::filesystem::perms::owner_all);
}

TEST_F(WriteFixture, FailedWriteThrowsAndKeepsTheCursor)
{
    if (!std::filesystem::exists("/dev/full"))
        GTEST_SKIP() << "no /dev/full";
    ASSERT_EQ(file.OpenForWrite("/dev/full", false, false), 1);
    EXPECT_THROW(file.AppendLine("x"), TextFileError);
    EXPECT_EQ(file.GetLineNumber(), 1u);
    EXPECT_THROW(file.InsertFirstLine("x"), TextFileError);
    EXPECT_EQ(file.GetLineNumber(), 1u);
    EXPECT_EQ(file.Close(), 1);
}

TEST_F(WriteFixture, TruncationNeverAsksTheUser)
{
    test::ScriptedChooser chooser(dir / "other");
    EXPECT_EQ(file.OpenForWrite(dir / "missing/f", true, true), 0);
    EXPECT_TRUE(chooser.asked.empty());
    ASSERT_EQ(box.count(), 1u);
}

TEST_F(WriteFixture, UpdateWithDialogCancelled)
{
    test::ScriptedChooser chooser(std::nullopt);
    EXPECT_EQ(file.OpenForWrite(dir / "missing.ini", false, true), 0);
    ASSERT_EQ(chooser.asked.size(), 1u);
    EXPECT_TRUE(chooser.asked[0].forOpen);
    EXPECT_FALSE(dir.exists("missing.ini"));
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text, "Sorry, can not open the file " + (dir / "missing.ini") + " !");
    EXPECT_EQ(shown[0].icon, BoxIcon::Stop);
    EXPECT_EQ(shown[1].text, "Error occurred! \nNo such file or directory\n");
}

TEST_F(WriteFixture, UpdateWithDialogOpensTheChosenFile)
{
    test::ScriptedChooser chooser(dir / "picked.ini");
    ASSERT_EQ(file.OpenForWrite(dir / "missing.ini", false, true), 1);
    EXPECT_TRUE(dir.exists("picked.ini"));
    EXPECT_EQ(file.Name(), "picked.ini");
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(WriteFixture, ChooseFileTitlesAndFilters)
{
    test::ScriptedChooser chooser(std::nullopt);
    EXPECT_EQ(file.ChooseFile("out.txt", "Ini (*.ini)|*.ini||", "/srv", false), 0);
    ASSERT_EQ(chooser.asked.size(), 1u);
    EXPECT_EQ(chooser.asked[0].title, "save file...out.txt");
    EXPECT_EQ(chooser.asked[0].name, "out.txt");
    EXPECT_EQ(chooser.asked[0].filter, "Ini (*.ini)|*.ini||");
    EXPECT_EQ(chooser.asked[0].initialDirectory, "/srv");
    EXPECT_FALSE(chooser.asked[0].forOpen);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(WriteFixture, ChosenFileThatCannotBeOpenedFails)
{
    std::filesystem::create_directory(dir.path() / "d");
    test::ScriptedChooser chooser(dir / "d");
    EXPECT_EQ(file.OpenRead(dir / "missing", true), 0);
    // The chosen directory's own failure, then the Sorry box and the first failure.
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_EQ(shown[0].text, "Error occurred! \nIs a directory\n");
    EXPECT_EQ(shown[1].icon, BoxIcon::Stop);
    EXPECT_EQ(shown[2].text, "Error occurred! \nNo such file or directory\n");
    EXPECT_FALSE(file.IsOpen());
}

} // namespace
} // namespace kau
