// Configuration layer: sections, entries, the section memo and the line moves.
#include "textfile/CTextFile.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"
#include "textfile/TextFileTestUtil.h"

#include <gtest/gtest.h>

namespace kau {
namespace {

using test::crlf;

const std::string kAuto = "\t\t// ....... auto insert";

struct ConfigFixture : ::testing::Test {
    test::TempDir dir;
    test::ScriptedBox box;
    CTextFile file;

    void open(const std::string& bytes)
    {
        dir.write("c.ini", bytes);
        ASSERT_EQ(file.OpenForWrite(dir / "c.ini", false, false), 1);
    }
    std::string content() const { return dir.read("c.ini"); }
    std::string entry(const std::string& section, const std::string& key, int expectFound = 1)
    {
        std::string value = "stale";
        EXPECT_EQ(file.GetEntry(section, key, value), expectFound) << section << "/" << key;
        if (!expectFound) {
            EXPECT_EQ(value, "");
        }
        return value;
    }
};

TEST_F(ConfigFixture, SectionHeadsAnywhereInTheLine)
{
    open(crlf({"x", "// [Old] commented", "  [A] trailing", "]z[", "[B]"}));
    EXPECT_EQ(file.FindSection("Old"), 1);
    EXPECT_EQ(file.GetLineNumber(), 2u);
    EXPECT_EQ(file.FindSection("A"), 1);
    EXPECT_EQ(file.SectionName(), "A");
    EXPECT_EQ(file.SectionLine(), 3);
    EXPECT_EQ(file.Position(), 23u);
    EXPECT_EQ(file.FindSection(""), 1); // ] before [ names the section ""
    EXPECT_EQ(file.SectionLine(), 4);
    EXPECT_EQ(file.FindSection("b"), 0);
    EXPECT_EQ(file.SectionName(), "");
    EXPECT_EQ(file.SectionLine(), -1);
    EXPECT_EQ(file.FindSection(" A"), 0);
}

TEST_F(ConfigFixture, WrappedSearchGoesRoundOnce)
{
    open(crlf({"[A]", "a=1", "[B]", "b=2", "[C]"}));
    ASSERT_EQ(file.GotoLine(4), 1);
    EXPECT_EQ(file.FindSectionWrapped("C"), 1);
    EXPECT_EQ(file.GetLineNumber(), 5u);
    EXPECT_EQ(file.FindSectionWrapped("A"), 1);
    EXPECT_EQ(file.GetLineNumber(), 1u);
    EXPECT_EQ(file.SectionLine(), 1);
    ASSERT_EQ(file.GotoLine(2), 1);
    EXPECT_EQ(file.FindSectionWrapped("D"), 0);
    EXPECT_EQ(file.SectionName(), "");
    EXPECT_EQ(file.SectionLine(), 1); // not reset by the wrapped search
    // Starting on the head itself finds it at once.
    ASSERT_EQ(file.GotoLine(3), 1);
    EXPECT_EQ(file.FindSectionWrapped("B"), 1);
    EXPECT_EQ(file.GetLineNumber(), 3u);
}

TEST_F(ConfigFixture, SectionEndBeforeTheNextHead)
{
    open(crlf({"[A]", "k = 1", "", "[B]", "m = 2"}));
    ASSERT_EQ(file.SetEntry("A", "x", "9"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "k = 1", "", "\tx\t= 9" + kAuto, "[B]", "m = 2"}));
    EXPECT_EQ(file.GetLineNumber(), 5u);
    EXPECT_EQ(entry("A", "X"), "9");
}

TEST_F(ConfigFixture, SectionEndBeforeBlankLinesAtTheEnd)
{
    open(crlf({"[A]", "k = 1", "", ""}));
    ASSERT_EQ(file.SetEntry("A", "x", "9"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "k = 1", "\tx\t= 9" + kAuto, "", ""}));
}

TEST_F(ConfigFixture, SectionEndAtTheEndOfTheFile)
{
    open(crlf({"[A]"}));
    ASSERT_EQ(file.SetEntry("A", "x", "9"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "\tx\t= 9" + kAuto}));
    // An unterminated last line got its CR LF at the open.
    open("[A]\r\nk = 1");
    ASSERT_EQ(file.SetEntry("A", "y", "2"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "k = 1", "\ty\t= 2" + kAuto}));
}

TEST_F(ConfigFixture, ValueReplacementKeepsBlanksAndComments)
{
    open(crlf({"[A]", "k = 1 // note", "e =   ", "f=", "g = 5 // one 5", "h = 1 = 2"}));
    ASSERT_EQ(file.SetEntry("A", "k", "22"), 1);
    EXPECT_EQ(file.GetLineNumber(), 3u);
    ASSERT_EQ(file.SetEntry("A", "E", "22"), 1);
    ASSERT_EQ(file.SetEntry("A", "f", "x"), 1);
    ASSERT_EQ(file.SetEntry("A", "g", "6"), 1);
    ASSERT_EQ(file.SetEntry("A", "h", "3"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "k = 22 // note", "e =22   ", "f=x", "g = 6 // one 5", "h = 3"}));
}

TEST_F(ConfigFixture, SameValueLeavesTheFileAlone)
{
    const std::string before = crlf({"[A]", "k =  Yes  // c"});
    open(before);
    ASSERT_EQ(file.SetEntry("A", "K", "Yes"), 1);
    EXPECT_EQ(content(), before);
    ASSERT_EQ(file.SetEntry("A", "k", "yes"), 1);
    EXPECT_EQ(content(), crlf({"[A]", "k =  yes  // c"}));
}

TEST_F(ConfigFixture, HowEntriesAreTakenApart)
{
    open(crlf({"[S]", "  k=1", "abc1=5", "abc\t = 7", "url = ftp://x", "eq = 1 = 2", "key", "ke = 3", "late = 0"}));
    EXPECT_EQ(entry("S", "k"), "1");
    EXPECT_EQ(file.GetLineNumber(), 2u);
    EXPECT_EQ(entry("S", "ABC"), "7");
    EXPECT_EQ(entry("S", "url"), "ftp:");
    EXPECT_EQ(entry("S", "eq"), "1 = 2");
    // "key" begins with K and has no "=": the search ends there.
    EXPECT_EQ(entry("S", "ke", 0), "");
    EXPECT_EQ(entry("S", "late"), "0");
    EXPECT_EQ(entry("s", "k", 0), "");
    EXPECT_EQ(entry("S", "missing", 0), "");
}

TEST_F(ConfigFixture, BracketInTheFirstFiveCharactersEndsTheSection)
{
    open(crlf({"[A]", "    [x", "k = 1"}));
    EXPECT_EQ(entry("A", "k", 0), "");
    open(crlf({"[A]", "     [x", "k = 1"}));
    EXPECT_EQ(entry("A", "k"), "1");
    open(crlf({"[A]", "a[ = 1", "k = 1"}));
    EXPECT_EQ(entry("A", "k", 0), "");
}

TEST_F(ConfigFixture, SectionMemoSkipsTheSearch)
{
    open(crlf({"[A]", "a = 1", "[B]", "b = 2", "c = 3"}));
    EXPECT_EQ(entry("B", "c"), "3");
    EXPECT_EQ(file.SectionLine(), 3);
    // With the memo set, GetEntry goes to the remembered line without looking:
    // a head moved away is not noticed.
    ASSERT_EQ(file.GotoLine(1), 1);
    ASSERT_EQ(file.DeleteLine(), 1);
    EXPECT_EQ(entry("B", "b", 0), "");
    EXPECT_EQ(entry("B", "c"), "3");
    ASSERT_EQ(file.FindSection("B"), 1);
    EXPECT_EQ(entry("B", "b"), "2");
    EXPECT_EQ(file.Close(), 1);
    EXPECT_EQ(file.SectionName(), "");
}

TEST_F(ConfigFixture, MissingSectionIsNotCreated)
{
    const std::string before = crlf({"[A]", "a = 1"});
    open(before);
    EXPECT_EQ(file.SetEntry("Z", "a", "2"), 0);
    EXPECT_EQ(content(), before);
    file.Close();
    EXPECT_EQ(file.SetEntry("A", "a", "2"), 0);
    std::string v;
    EXPECT_EQ(file.GetEntry("A", "a", v), 0);
    EXPECT_EQ(file.FindSection("A"), 0);
    EXPECT_EQ(file.FindSectionWrapped("A"), 0);
    EXPECT_EQ(file.GotoSectionEnd(), 0);
    EXPECT_EQ(file.DeleteLine(), 0);
    EXPECT_EQ(file.PrevLine(1), 0);
    EXPECT_EQ(content(), before);
}

TEST_F(ConfigFixture, LineMoves)
{
    open(crlf({"one", "", "three"}));
    EXPECT_EQ(file.PrevLine(1), 0); // on line 1 at offset 0
    EXPECT_EQ(file.GotoEnd(), 4u);
    EXPECT_EQ(file.PrevLine(1), 1);
    EXPECT_EQ(file.Position(), 7u);
    EXPECT_EQ(file.PrevLine(1), 1);
    EXPECT_EQ(file.Position(), 5u); // the empty line, on its CR
    EXPECT_EQ(file.GetLineNumber(), 2u);
    EXPECT_EQ(file.PrevLine(5), 1); // runs into the top: no failure
    EXPECT_EQ(file.GetLineNumber(), 1u);
    EXPECT_EQ(file.GotoLine(3), 1);
    EXPECT_EQ(file.Position(), 7u);
    EXPECT_EQ(file.GotoLine(1), 1);
    EXPECT_EQ(file.GotoLine(9), 0);
    EXPECT_EQ(file.GetLineNumber(), 4u);
    EXPECT_EQ(file.GotoLine(0), 0);
    EXPECT_EQ(file.GetLineNumber(), 1u);
    EXPECT_EQ(file.Position(), 0u);
}

TEST_F(ConfigFixture, DeleteLines)
{
    open(crlf({"a", "b", "c"}));
    ASSERT_EQ(file.GotoLine(3), 1);
    ASSERT_EQ(file.DeleteLine(), 1);
    EXPECT_EQ(content(), crlf({"a", "b"}));
    EXPECT_EQ(file.DeleteLine(), 0);
    ASSERT_EQ(file.GotoLine(1), 1);
    ASSERT_EQ(file.DeleteLine(), 1);
    EXPECT_EQ(content(), crlf({"b"}));
    std::string line;
    file.ReadLine(line);
    EXPECT_EQ(line, "b");
    // A last line without CR LF, which only a one-byte file can keep.
    open("x");
    ASSERT_EQ(file.DeleteLine(), 1);
    EXPECT_EQ(content(), "");
}

TEST_F(ConfigFixture, EntryFaultBox)
{
    open("");
    box.answer(BoxAnswer::Ok);
    EXPECT_EQ(file.ReportEntryFault("Server", "Port"), BoxAnswer::Ok);
    EXPECT_EQ(file.ReportEntryFault("Server", "Port"), BoxAnswer::Cancel);
    auto shown = box.shown();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text,
              " A fault detected on reading the configuration file !\n  ->> " + (dir / "c.ini")
                  + "\n----------------------------------------------------------\n\n"
                    "Please check in the section Server the entry Port ! \n\n[Server] \n\tPort = ???? \n\n"
                    "Please complete this entry and start the program again !\n");
    EXPECT_EQ(shown[0].buttons, BoxButtons::OkCancel);
    EXPECT_EQ(shown[0].icon, BoxIcon::Exclamation);
    EXPECT_EQ(content(), "");
}

// A configuration file of a few hundred lines, changed by a run of SetEntry
// calls, against the file written out by hand.
TEST_F(ConfigFixture, RoundTripOfARealisticFile)
{
    std::vector<std::string> lines = {"// Sampler configuration", "// generated 2026-11-01", ""};
    std::vector<std::string> expected = lines;
    auto both = [&](const std::string& in, const std::string& out) {
        lines.push_back(in);
        expected.push_back(out);
    };
    for (int s = 0; s < 20; ++s) {
        const std::string name = "Channel" + std::to_string(s);
        both("[" + name + "]", "[" + name + "]");
        both("  Gain     = " + std::to_string(s) + "   // dB", "  Gain     = " + std::to_string(s * 2) + "   // dB");
        both("Mode=Auto", s % 3 == 0 ? "Mode=Manual" : "Mode=Auto");
        for (int k = 0; k < 10; ++k)
            both("param" + std::to_string(k) + " = " + std::to_string(k * s), "param" + std::to_string(k) + " = "
                     + std::to_string(k == 4 ? k * s + 1 : k * s));
        both("Label =", s == 7 ? "Label =Seven" : "Label =");
        both("", "");
        if (s % 5 == 0)
            expected.push_back("\tExtra\t= on" + kAuto);
    }
    dir.write("c.ini", [&] {
        std::string b;
        for (auto& l : lines)
            b += l + "\r\n";
        return b;
    }());
    ASSERT_EQ(file.OpenForWrite(dir / "c.ini", false, false), 1);
    for (int s = 0; s < 20; ++s) {
        const std::string name = "Channel" + std::to_string(s);
        ASSERT_EQ(file.SetEntry(name, "gain", std::to_string(s * 2)), 1);
        if (s % 3 == 0) {
            ASSERT_EQ(file.SetEntry(name, "MODE", "Manual"), 1);
        }
        ASSERT_EQ(file.SetEntry(name, "param4", std::to_string(4 * s + 1)), 1);
        if (s == 7) {
            ASSERT_EQ(file.SetEntry(name, "Label", "Seven"), 1);
        }
        if (s % 5 == 0) {
            ASSERT_EQ(file.SetEntry(name, "Extra", "on"), 1);
        }
        ASSERT_EQ(file.SetEntry(name, "param9", std::to_string(9 * s)), 1); // unchanged
    }
    ASSERT_EQ(file.SetEntry("Missing", "a", "b"), 0);
    file.Close();
    std::string want;
    for (auto& l : expected)
        want += l + "\r\n";
    EXPECT_EQ(content(), want);
}

} // namespace
} // namespace kau
