// The text file cursor: line model, writing, failing opens and their boxes, configuration layer.
#include "textfile/CTextFile.h"
#include "textfile/CrLfLines.h"

#include "platform/FileChooser.h"
#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

namespace kau {
namespace {

using Cursor = std::pair<std::uint64_t, std::uint64_t>;

// The lines, each followed by CR LF.
std::string crlf(std::initializer_list<std::string> lines)
{
    std::string out;
    for (const std::string& l : lines)
        out += l + "\r\n";
    return out;
}

// Starts of the lines of a byte string: only CR LF ends a line.
std::vector<std::size_t> lineStarts(const std::string& bytes)
{
    std::vector<std::size_t> starts;
    for (std::size_t pos = 0; pos < bytes.size(); pos = std::min(bytes.find("\r\n", pos), bytes.size()) + 2)
        starts.push_back(pos);
    return starts;
}

// Half CR and LF, so that pairs, lone CRs and lone LFs are common.
std::string randomBytes(std::mt19937& rng, std::size_t n)
{
    std::string s(n, '\0');
    for (char& c : s)
        c = static_cast<char>(rng() % 2 ? "\r\n"[rng() % 2] : rng() % 256);
    return s;
}

struct TextFile : ::testing::Test {
    test::TempDir dir;
    test::ScriptedBox box;
    CTextFile file;
    // Puts bytes into the file "f" and opens it afresh, for writing unless told otherwise.
    void open(const std::string& bytes, bool forWrite = true)
    {
        file.Close();
        dir.write("f", bytes);
        ASSERT_EQ(forWrite ? file.OpenForWrite(dir / "f", false, false) : file.OpenRead(dir / "f", false), 1);
        file.Rewind();
    }
    std::string content() const { return dir.read("f"); }
    Cursor cursor() const { return {file.Position(), file.GetLineNumber()}; }
};
using Config = TextFile;

TEST_F(TextFile, LineModelDownAndUpAgainOverArbitraryBytes)
{
    std::vector<std::string> cases = {"", "\r\n", "\r\n\r\n", "a\r\nb", "a\r\nb\r\n", "one\ntwo\rthree\r\nfour"};
    std::mt19937 rng(7);
    for (std::size_t size : {1u, 2u, 3u, 17u, 1000u, 70000u})
        cases.push_back(randomBytes(rng, size));
    // A CR LF on the seam of the read window and of the scan's blocks, a lone CR inside, a long last line
    // ending in CR; then lines longer than a scan block.
    for (std::size_t at : {65534u, 65535u, 65536u, 131071u, 262143u, 262144u, 262145u})
        cases.push_back(std::string(at - 1, 'x').insert(at / 2, "\r") + "\r\n" + std::string(200000, 'y') + "\r");
    cases.push_back(crlf({"a", std::string(600000, 'l'), "", std::string(300000, 'm')}) + "\r\n\r\n");
    for (const std::string& bytes : cases) {
        SCOPED_TRACE(::testing::Message() << bytes.size() << " bytes");
        open(bytes, false);
        const std::vector<std::size_t> starts = lineStarts(bytes);
        const std::size_t behind = bytes.size() + (bytes.empty() || bytes.ends_with("\r\n") ? 0 : 2);
        // The whole-file scan sees what the walk below sees and stops where it stops.
        std::vector<std::string> scanned;
        ASSERT_EQ(file.ScanLines([&scanned](std::string_view l) { scanned.emplace_back(l); }), starts.empty() ? 0 : 1);
        ASSERT_EQ(scanned.size(), starts.size());
        EXPECT_EQ(cursor(), Cursor(behind, starts.size() + 1));
        // So does the split of the whole file mapped, wherever the cursor stands.
        std::vector<std::string> split;
        VisitAllCrLfLines(file.MapWhole()->view(), [&split](std::string_view l) { split.emplace_back(l); });
        ASSERT_EQ(split, scanned);
        file.Rewind();
        std::string line = "stale", again;
        for (std::size_t i = 0; i < starts.size(); ++i) {
            ASSERT_EQ(cursor(), Cursor(starts[i], i + 1));
            ASSERT_TRUE(file.ReadLine(line) && file.ReadLine(again) && again == line); // reading does not move
            ASSERT_EQ(line, bytes.substr(starts[i], std::min(bytes.find("\r\n", starts[i]), bytes.size()) - starts[i]));
            ASSERT_EQ(line, scanned[i]);
            ASSERT_EQ(file.NextLine(1), i + 1 < starts.size() ? 1 : 0);
        }
        EXPECT_EQ(cursor(), Cursor(behind, starts.size() + 1)); // two past the end behind an unterminated line
        EXPECT_TRUE(!file.ReadLine(line) && line.empty() && !file.NextLine(1));
        for (std::size_t i = starts.size(); i-- > 0;)
            ASSERT_TRUE(file.PrevLine(1) && cursor() == Cursor(starts[i], i + 1)) << "line " << i + 1;
        EXPECT_TRUE(!file.PrevLine(1) && file.GotoEnd() == starts.size() + 1);
    }
    // The scan starts at the cursor, counts on from its line number, and does nothing at the end or closed.
    open(crlf({"l1", "l2", "l3"}), false);
    std::vector<std::string> rest;
    const auto collect = [&rest](std::string_view l) { rest.emplace_back(l); };
    ASSERT_TRUE(file.NextLine(1) && file.ScanLines(collect) && rest == (std::vector<std::string>{"l2", "l3"}));
    EXPECT_TRUE(cursor() == Cursor(12, 4) && !file.ScanLines(collect) && rest.size() == 2);
    // The mapped bytes outlive the file's closing and see the whole file; closed, nothing is mapped.
    const std::shared_ptr<const MappedBytes> whole = file.MapWhole();
    file.Close();
    EXPECT_TRUE(!file.ScanLines(collect) && rest.size() == 2);
    EXPECT_TRUE(whole->view() == crlf({"l1", "l2", "l3"}) && !file.MapWhole());
    // n of 0 or less moves nothing; an open keeps the line number; another writer's change is seen at once.
    open(crlf({"l1", "", "l3"}), false);
    std::string line;
    ASSERT_TRUE(file.NextLine(0) && file.NextLine(-3) && file.Position() == 0 && !file.NextLine(10));
    ASSERT_TRUE(file.OpenRead(dir / "f", false) && file.ReadLine(line) && cursor() == Cursor(0, 4));
    dir.write("f", crlf({"uno", "dos", "tres"}));
    EXPECT_TRUE(file.NextLine(1) && file.ReadLine(line) && line == "dos");
}

TEST_F(TextFile, OpenForWriteAndWriting)
{
    const std::pair<std::string, std::string> cases[] = {{"", ""},           {"a", "a"},           {"ab", "ab\r\n"},
                                                         {"ab\r\n", "ab\r\n"}, {"a\r", "a\r\r\n"}, {"a\n", "a\n\r\n"}};
    for (const auto& [before, after] : cases) {
        open(before);
        EXPECT_EQ(content(), after) << before.size() << " bytes";
    }
    ASSERT_TRUE(file.OpenForWrite(dir / "new", false, false) && dir.exists("new"));
    ASSERT_TRUE(file.OpenForWriteNamed(dir / "./f", true, false) && content().empty());
    EXPECT_TRUE(file.Name() == "f" && file.Directory() == dir.str() + "/" && box.count() == 0);
    // Writing inserts at the cursor and leaves it behind the new text.
    ASSERT_TRUE(file.AppendLine("one") && cursor() == Cursor(5, 2));
    ASSERT_TRUE(file.Rewind() && file.AppendLine("three") && file.Rewind() && file.NextLine(1));
    EXPECT_TRUE(file.WriteText("two") && cursor() == Cursor(10, 3));
    ASSERT_TRUE(!file.SetLineBreak(false) && file.WriteText("100% ")); // taken literally
    ASSERT_TRUE(file.SetLineBreak(true) && file.InsertFirstLine("top"));
    EXPECT_EQ(content(), crlf({"top", "one", "two", "100% three"}));
    EXPECT_EQ(cursor(), Cursor(5, 5)); // the line number is not reset
    open("a"); // behind the unterminated line of a one-byte file the text goes to the end
    ASSERT_TRUE(!file.NextLine(1) && file.WriteText("b"));
    EXPECT_EQ(content(), "ab\r\n");
    // Failing writes throw and keep the cursor.
    open(crlf({"a", "b"}), false);
    file.NextLine(1);
    EXPECT_THROW(file.WriteText("x"), TextFileError);
    EXPECT_THROW(file.DeleteLine(), TextFileError);
    EXPECT_TRUE(cursor() == Cursor(3, 2) && content() == crlf({"a", "b"}));
}

// A file dialog that records what it was asked and is always cancelled.
struct CancellingChooser : FileChooser {
    ~CancellingChooser() override { installFileChooser(previous); }
    std::optional<std::string> choose(const FileChoice& c) override { return asked.push_back(c), std::nullopt; }
    std::vector<FileChoice> asked;
    FileChooser* previous = installFileChooser(this);
};

TEST_F(TextFile, FailureBoxesTheClosedObjectAndTheFileDialog)
{
    std::filesystem::create_directory(dir.path() / "d");
    open("x");
    const std::pair<std::string, std::string> cases[] = {
        {"d", "Is a directory"}, {"f/x", "Not a directory"}, {"nodir/x", "No such file or directory"}};
    for (const auto& [name, text] : cases)
        for (int how = 0; how < 3; ++how) { // read, update or create, truncate
            EXPECT_EQ(how ? file.OpenForWriteNamed(dir / name, how == 2, false) : file.OpenRead(dir / name, false), 0);
            EXPECT_EQ(file.Name(), dir / name) << how;
            EXPECT_EQ(box.shown().back().text, "Error occurred! \n" + text + "\n");
        }
    EXPECT_TRUE(box.shown()[0].buttons == BoxButtons::Ok && box.shown()[0].icon == BoxIcon::None);
    // The file open before went with the first failure: nothing works now, and nothing is shown.
    std::string text = "stale";
    const std::vector<int> results = {file.IsOpen(), file.ReadLine(text), file.GetEntry("A", "a", text),
                                      file.NextLine(1), file.Close(), file.WriteText("x"), file.AppendLine("x"),
                                      file.SetEntry("A", "a", "2"), file.FindSection("A"), file.FindSectionWrapped("A"),
                                      file.GotoSectionEnd(), file.DeleteLine(), file.PrevLine(1)};
    EXPECT_EQ(results, std::vector<int>(results.size(), 0));
    EXPECT_EQ(text, "");
    // The entry fault box names the file last given.
    box.answer(BoxAnswer::Ok);
    EXPECT_EQ(file.ReportEntryFault("Server", "Port"), BoxAnswer::Ok);
    EXPECT_EQ(file.ReportEntryFault("Server", "Port"), BoxAnswer::Cancel);
    const test::ShownBox shown = box.shown().at(9);
    EXPECT_EQ(shown.text, " A fault detected on reading the configuration file !\n  ->> " + (dir / "nodir/x")
                              + "\n----------------------------------------------------------\n\n"
                                "Please check in the section Server the entry Port ! \n\n[Server] \n\tPort = ???? \n\n"
                                "Please complete this entry and start the program again !\n");
    EXPECT_TRUE(shown.buttons == BoxButtons::OkCancel && shown.icon == BoxIcon::Exclamation);
    // The file dialog fall-back, cancelled. A file chosen in the real dialog: see the front end's tests.
    const std::string missing = dir / "missing.rel";
    test::ScriptedBox dialogBoxes;
    CancellingChooser chooser;
    EXPECT_EQ(file.OpenRead(missing, true), 0);
    EXPECT_TRUE(!file.OpenForWrite(missing, false, true) && !dir.exists("missing.rel"));
    EXPECT_EQ(file.OpenForWrite(dir / "new", true, true), 1); // truncation never asks
    EXPECT_EQ(file.ChooseFile("out.txt", "", "/srv", false), 0);
    ASSERT_EQ(chooser.asked.size(), 3u);
    EXPECT_TRUE(chooser.asked[0].title == "open file..." + missing && chooser.asked[0].forOpen);
    EXPECT_EQ(chooser.asked[0].filter, "All Files (*.*)|*.*|Text Files (*.txt)|*.txt||");
    EXPECT_EQ(chooser.asked[0].initialDirectory, std::filesystem::current_path().string());
    EXPECT_TRUE(chooser.asked[2].title == "save file...out.txt" && !chooser.asked[2].forOpen);
    ASSERT_EQ(dialogBoxes.count(), 4u);
    for (std::size_t i : {0u, 2u}) { // Sorry first, then the failure of the open
        EXPECT_EQ(dialogBoxes.shown()[i].text, "Sorry, can not open the file " + missing + " !");
        EXPECT_EQ(dialogBoxes.shown()[i].icon, BoxIcon::Stop);
        EXPECT_EQ(dialogBoxes.shown()[i + 1].text, "Error occurred! \nNo such file or directory\n");
    }
}

TEST_F(TextFile, ArbitraryBytesUnderEveryOperation)
{
    std::mt19937 rng(3);
    // Insertion and deletion move more than one copy chunk.
    const std::string bytes = randomBytes(rng, 3 * 1024 * 1024 + 5) + "\r\n";
    open(bytes);
    ASSERT_TRUE(file.NextLine(3) && file.InsertLine("inserted"));
    const std::size_t at = file.Position() - 10;
    ASSERT_TRUE(content() == bytes.substr(0, at) + "inserted\r\n" + bytes.substr(at));
    std::string v;
    ASSERT_TRUE(file.ReadLine(v) && file.DeleteLine()); // the old line, now behind the new one
    EXPECT_TRUE(content() == bytes.substr(0, at) + "inserted\r\n" + bytes.substr(at + v.size() + 2));
    const std::function<void()> ops[] = {
        [&] { file.NextLine(3); }, [&] { file.PrevLine(2); }, [&] { file.GotoLine(rng() % 50); },
        [&] { file.DeleteLine(); }, [&] { file.InsertLine("k=1"); }, [&] { file.SetEntry("", "k", "2"); },
        [&] { file.FindSectionWrapped(std::string(1, static_cast<char>(rng()))); },
        [&] { file.GetEntry("\r", "", v); }, [&] { file.GotoEnd(); }, [&] { file.GotoSectionEnd(); }};
    for (int round = 0; round < 20; ++round) {
        open(randomBytes(rng, 300));
        for (int step = 0; step < 200; ++step) {
            ops[rng() % 10](); // then the cursor stands on the start of a line, or at or behind the end
            const std::string now = content();
            ASSERT_TRUE(file.Position() >= now.size() || std::ranges::count(lineStarts(now), file.Position()) == 1)
                << "round " << round << " step " << step;
        }
    }
}

TEST_F(Config, SectionSearches)
{
    open(crlf({"x", "// [Old] commented", "  [A] trailing", "]z[", "[B]", "b=2"}));
    EXPECT_TRUE(file.FindSection("Old") && file.FindSection("")); // any line with [ and ] is a head; ]z[ names ""
    EXPECT_TRUE(file.FindSection("A") && cursor() == Cursor(23, 3));
    EXPECT_TRUE(!file.FindSection(" A") && !file.FindSection("b") && file.SectionLine() == -1);
    // The wrapped search starts at the cursor and goes round once.
    EXPECT_TRUE(file.GotoLine(6) && file.FindSectionWrapped("A") && file.GetLineNumber() == 3);
    // The second search for B starts on the head itself; a failed one does not reset the head's line.
    EXPECT_TRUE(file.FindSectionWrapped("B") && file.FindSectionWrapped("B") && file.GetLineNumber() == 5);
    EXPECT_TRUE(!file.FindSectionWrapped("D") && file.SectionName().empty() && file.SectionLine() == 5);
}

TEST_F(Config, NewEntryGoesToTheSectionEnd)
{
    const std::string added = "\tx\t= 9\t\t// ....... auto insert";
    const std::pair<std::string, std::string> cases[] = {
        {crlf({"[A]", "k = 1", "", "[B]", "m = 2"}), crlf({"[A]", "k = 1", "", added, "[B]", "m = 2"})},
        {crlf({"[A]", "k = 1", "", ""}), crlf({"[A]", "k = 1", added, "", ""})},
        {crlf({"[A]"}), crlf({"[A]", added})},
    };
    for (const auto& [before, after] : cases) {
        open(before);
        ASSERT_EQ(file.SetEntry("A", "x", "9"), 1);
        EXPECT_EQ(content(), after);
    }
    EXPECT_EQ(file.GetLineNumber(), 3u); // behind the new line
    EXPECT_EQ(file.SetEntry("Z", "x", "9"), 0); // a missing section is not created
    EXPECT_EQ(content(), crlf({"[A]", added}));
}

TEST_F(Config, HowEntriesAreTakenApart)
{
    open(crlf({"[S]", "  k=1", "abc1=5", "abc\t = 7", "url = ftp://x // y", "eq = 1 = 2", "key", "ke = 3"}));
    std::string value;
    for (const auto& [key, want] : {std::pair{"k", "1"}, {"ABC", "7"}, {"url", "ftp:"}, {"eq", "1 = 2"}})
        EXPECT_TRUE(file.GetEntry("S", key, value) && value == want) << key << ": " << value;
    EXPECT_EQ(file.GetLineNumber(), 6u); // on the entry's line
    EXPECT_TRUE(!file.GetEntry("S", "ke", value) && value.empty()); // "key" has no "=": the search ends there
    ASSERT_TRUE(file.GotoLine(1) && file.InsertLine("x")); // the memo of the head's line is trusted
    EXPECT_FALSE(file.GetEntry("S", "k", value) || file.GetEntry("s", "k", value));
    // A [ among the first five characters ends the section.
    for (const auto& [line, found] : {std::pair{"    [x", 0}, {"     [x", 1}, {"a[ = 1", 0}}) {
        open(crlf({"[A]", line, "k = 1"}));
        EXPECT_EQ(file.GetEntry("A", "k", value), found) << line;
    }
}

TEST_F(Config, LineMovesAndDeletes)
{
    open(crlf({"one", "", "three"}));
    EXPECT_TRUE(file.GotoLine(3) && file.PrevLine(5) && cursor() == Cursor(0, 1)); // into the top: no failure
    EXPECT_TRUE(!file.GotoLine(9) && cursor() == Cursor(14, 4));
    EXPECT_TRUE(!file.GotoLine(0) && cursor() == Cursor(0, 1));
    ASSERT_TRUE(file.GotoLine(3) && file.DeleteLine());
    EXPECT_EQ(content(), crlf({"one", ""}));
    EXPECT_EQ(file.DeleteLine(), 0); // at the end
    ASSERT_TRUE(file.GotoLine(1) && file.DeleteLine());
    EXPECT_EQ(content(), "\r\n");
    open("x"); // a last line without CR LF: only a one-byte file keeps one
    EXPECT_TRUE(file.DeleteLine() && content().empty());
}

// Values change in place, keeping blanks and comments; a missing key goes before even an indented head.
TEST_F(Config, RealisticFileChangedBySetEntry)
{
    open(crlf({"[Server]", "  Port     = 21   // 21 is the default", "Password =   ", "     [Proxy]", "",
               "[Paths]", "// Log = /var/log/old", "Log = /var/log", "Mode = Auto"}));
    const char* const calls[][3] = {{"Server", "PORT", "2121"}, {"Server", "Password", "secret"},
                                    {"Server", "Retries", "3"}, {"Paths", "Log", "/srv"}, {"Paths", "Mode", "auto"}};
    for (const auto& c : calls)
        ASSERT_EQ(file.SetEntry(c[0], c[1], c[2]), 1) << c[1];
    // The same value: the line stays, and the cursor on it.
    EXPECT_TRUE(file.SetEntry("Paths", "Log", "/srv") && file.GetLineNumber() == 9);
    EXPECT_EQ(content(), crlf({"[Server]", "  Port     = 2121   // 21 is the default", "Password =secret   ",
                               "\tRetries\t= 3\t\t// ....... auto insert", "     [Proxy]", "", "[Paths]",
                               "// Log = /var/log/old", "Log = /srv", "Mode = auto"}));
}

} // namespace
} // namespace kau
