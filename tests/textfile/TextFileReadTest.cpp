// Reading side: the line model, the cursor, and the opens that fail.
#include "textfile/CTextFile.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"
#include "textfile/TextFileTestUtil.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace kau {
namespace {

using test::crlf;

struct ReadFixture : ::testing::Test {
    test::TempDir dir;
    test::ScriptedBox box;
    CTextFile file;

    void open(const std::string& bytes)
    {
        dir.write("f.txt", bytes);
        ASSERT_EQ(file.OpenRead(dir / "f.txt", false), 1);
    }
    std::vector<std::string> allLines()
    {
        std::vector<std::string> lines;
        std::string line;
        file.Rewind();
        while (file.ReadLine(line)) {
            lines.push_back(line);
            if (!file.NextLine(1))
                break;
        }
        return lines;
    }
};

TEST_F(ReadFixture, EmptyFileHasNoLines)
{
    open("");
    std::string line = "stale";
    EXPECT_EQ(file.ReadLine(line), 0);
    EXPECT_EQ(line, "");
    EXPECT_EQ(file.NextLine(1), 0);
    EXPECT_EQ(file.Position(), 0u);
    EXPECT_EQ(file.GetLineNumber(), 1u);
}

TEST_F(ReadFixture, OnlyCrLfEndsALine)
{
    open("one\ntwo\rthree\r\nfour");
    EXPECT_EQ(allLines(), (std::vector<std::string>{"one\ntwo\rthree", "four"}));
}

TEST_F(ReadFixture, UnterminatedLastLineStepsTwoPastTheEnd)
{
    open("a\r\nb");
    std::string line;
    EXPECT_EQ(file.ReadLine(line), 1);
    EXPECT_EQ(line, "a");
    EXPECT_EQ(file.NextLine(1), 1);
    EXPECT_EQ(file.Position(), 3u);
    EXPECT_EQ(file.ReadLine(line), 1);
    EXPECT_EQ(line, "b");
    EXPECT_EQ(file.NextLine(1), 0);
    EXPECT_EQ(file.Position(), 6u);
    EXPECT_EQ(file.GetLineNumber(), 3u);
    EXPECT_EQ(file.ReadLine(line), 0);
    EXPECT_EQ(file.NextLine(1), 0);
    EXPECT_EQ(file.GetLineNumber(), 3u);
}

TEST_F(ReadFixture, FinalCrLfOpensNoEmptyLine)
{
    open("a\r\nb\r\n");
    EXPECT_EQ(allLines(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(file.GetLineNumber(), 3u);
    EXPECT_EQ(file.Position(), 6u);
}

TEST_F(ReadFixture, CrLfAloneIsOneEmptyLine)
{
    open("\r\n");
    std::string line = "x";
    EXPECT_EQ(file.ReadLine(line), 1);
    EXPECT_EQ(line, "");
    EXPECT_EQ(file.NextLine(1), 0);
}

TEST_F(ReadFixture, ReadLineDoesNotMoveAndNextLineCounts)
{
    open(crlf({"l1", "", "l3", "l4"}));
    std::string first, second;
    file.ReadLine(first);
    file.ReadLine(second);
    EXPECT_EQ(first, "l1");
    EXPECT_EQ(second, "l1");
    EXPECT_EQ(file.NextLine(0), 1);
    EXPECT_EQ(file.NextLine(-3), 1);
    EXPECT_EQ(file.Position(), 0u);
    EXPECT_EQ(file.NextLine(2), 1);
    EXPECT_EQ(file.GetLineNumber(), 3u);
    file.ReadLine(first);
    EXPECT_EQ(first, "l3");
    // Running out in the middle of a multi-line step stops at the end.
    EXPECT_EQ(file.NextLine(10), 0);
    EXPECT_EQ(file.GetLineNumber(), 5u);
    EXPECT_EQ(file.Rewind(), 1);
    EXPECT_EQ(file.Position(), 0u);
    EXPECT_EQ(file.GetLineNumber(), 1u);
}

TEST_F(ReadFixture, OpenKeepsTheLineNumberButNotThePosition)
{
    open(crlf({"a", "b", "c"}));
    file.NextLine(2);
    EXPECT_EQ(file.Close(), 1);
    EXPECT_EQ(file.Position(), 6u);
    EXPECT_EQ(file.GetLineNumber(), 3u);
    ASSERT_EQ(file.OpenRead(dir / "f.txt", false), 1);
    EXPECT_EQ(file.Position(), 0u);
    EXPECT_EQ(file.GetLineNumber(), 3u);
}

TEST_F(ReadFixture, ClosedObjectDoesNothing)
{
    std::string line = "stale";
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.ReadLine(line), 0);
    EXPECT_EQ(line, "");
    EXPECT_EQ(file.NextLine(1), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(file.Rewind(), 1);
    EXPECT_EQ(file.WriteText("x"), 0);
    EXPECT_EQ(file.AppendLine("x"), 0);
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(ReadFixture, OpenReadTakesBareNameAndDirectory)
{
    dir.write("sub/f.txt", "x");
    ASSERT_EQ(file.OpenRead(dir / "sub/../sub/f.txt", false), 1);
    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Name(), "f.txt");
    EXPECT_EQ(file.Directory(), (dir.path() / "sub").string() + "/");
}

TEST_F(ReadFixture, MissingFileShowsThePlatformText)
{
    EXPECT_EQ(file.OpenRead(dir / "missing.rel", false), 0);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.Name(), dir / "missing.rel");
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].text, "Error occurred! \nNo such file or directory\n");
    EXPECT_EQ(shown[0].buttons, BoxButtons::Ok);
    EXPECT_EQ(shown[0].icon, BoxIcon::None);
}

TEST_F(ReadFixture, DirectoryDoesNotOpenForReading)
{
    EXPECT_EQ(file.OpenRead(dir.str(), false), 0);
    EXPECT_FALSE(file.IsOpen());
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text, "Error occurred! \nIs a directory\n");
}

TEST_F(ReadFixture, FailedOpenClosesTheFileOpenBefore)
{
    open("a\r\n");
    EXPECT_EQ(file.OpenRead(dir / "missing", false), 0);
    EXPECT_FALSE(file.IsOpen());
    std::string line;
    EXPECT_EQ(file.ReadLine(line), 0);
    EXPECT_EQ(file.Close(), 0);
}

TEST_F(ReadFixture, CancelledDialogShowsSorryThenError)
{
    test::ScriptedChooser chooser(std::nullopt);
    EXPECT_EQ(file.OpenRead(dir / "missing.rel", true), 0);
    ASSERT_EQ(chooser.asked.size(), 1u);
    EXPECT_EQ(chooser.asked[0].title, "open file..." + (dir / "missing.rel"));
    EXPECT_EQ(chooser.asked[0].filter, "All Files (*.*)|*.*|Text Files (*.txt)|*.txt||");
    EXPECT_EQ(chooser.asked[0].defaultExtension, "*.txt");
    EXPECT_EQ(chooser.asked[0].initialDirectory, std::filesystem::current_path().string());
    EXPECT_TRUE(chooser.asked[0].forOpen);
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text, "Sorry, can not open the file " + (dir / "missing.rel") + " !");
    EXPECT_EQ(shown[0].icon, BoxIcon::Stop);
    EXPECT_EQ(shown[1].text, "Error occurred! \nNo such file or directory\n");
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.Name(), dir / "missing.rel");
}

TEST_F(ReadFixture, NoChooserInstalledCountsAsCancelled)
{
    EXPECT_EQ(file.OpenRead(dir / "missing.rel", true), 0);
    EXPECT_EQ(box.count(), 2u);
}

TEST_F(ReadFixture, ChosenFileIsOpenedForWritingAndRepaired)
{
    dir.write("chosen.txt", "ab");
    test::ScriptedChooser chooser(dir / "chosen.txt");
    EXPECT_EQ(file.OpenRead(dir / "missing.rel", true), 1);
    EXPECT_EQ(box.count(), 0u);
    EXPECT_EQ(file.Name(), "chosen.txt");
    EXPECT_EQ(file.Directory(), dir.str() + "/");
    EXPECT_EQ(dir.read("chosen.txt"), "ab\r\n");
    // Opened for writing, so a write works.
    EXPECT_EQ(file.AppendLine("c"), 1);
    EXPECT_EQ(dir.read("chosen.txt"), "ab\r\nc\r\n");
}

TEST_F(ReadFixture, WriteOnAFileOpenedForReadingThrows)
{
    open(crlf({"a", "b"}));
    file.NextLine(1);
    EXPECT_THROW(file.WriteText("x"), TextFileError);
    EXPECT_EQ(file.Position(), 3u);
    EXPECT_EQ(file.GetLineNumber(), 2u);
    EXPECT_THROW(file.DeleteLine(), TextFileError);
    EXPECT_EQ(dir.read("f.txt"), crlf({"a", "b"}));
}

TEST_F(ReadFixture, FileChangedByAnotherWriterIsSeen)
{
    open(crlf({"one", "two"}));
    EXPECT_EQ(allLines(), (std::vector<std::string>{"one", "two"}));
    dir.write("f.txt", crlf({"uno", "dos", "tres"}));
    EXPECT_EQ(allLines(), (std::vector<std::string>{"uno", "dos", "tres"}));
}

} // namespace
} // namespace kau
