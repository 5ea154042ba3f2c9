// Arbitrary bytes: binary content, lines far longer than the read window, a
// CR LF split over the window's seam, and moves larger than one copy chunk.
// Every operation is checked against a plain in-memory model of the file.
#include "textfile/CTextFile.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <random>

namespace kau {
namespace {

// Starts of the lines of a byte string, in the CR LF model.
std::vector<std::size_t> lineStarts(const std::string& bytes)
{
    std::vector<std::size_t> starts;
    std::size_t pos = 0;
    while (pos < bytes.size()) {
        starts.push_back(pos);
        std::size_t end = bytes.find("\r\n", pos);
        pos = (end == std::string::npos ? bytes.size() : end) + 2;
    }
    return starts;
}

std::string lineAt(const std::string& bytes, std::size_t start)
{
    std::size_t end = bytes.find("\r\n", start);
    return bytes.substr(start, (end == std::string::npos ? bytes.size() : end) - start);
}

std::string randomBytes(std::mt19937& rng, std::size_t n)
{
    // Mostly CR and LF and NUL, so that pairs, lone CRs and lone LFs are common.
    std::uniform_int_distribution<int> pick(0, 9);
    std::uniform_int_distribution<int> any(0, 255);
    std::string s(n, '\0');
    for (char& c : s) {
        int k = pick(rng);
        c = static_cast<char>(k < 2 ? '\r' : k < 4 ? '\n' : k < 5 ? 0 : any(rng));
    }
    return s;
}

struct BytesFixture : ::testing::Test {
    test::TempDir dir;
    test::ScriptedBox box;
};

TEST_F(BytesFixture, RandomBinaryReadsAsTheModelSays)
{
    std::mt19937 rng(7);
    for (std::size_t size : {1u, 2u, 3u, 17u, 1000u, 70000u}) {
        std::string bytes = randomBytes(rng, size);
        dir.write("bin", bytes);
        CTextFile file;
        ASSERT_EQ(file.OpenRead(dir / "bin", false), 1);
        std::vector<std::size_t> starts = lineStarts(bytes);
        std::string line;
        for (std::size_t i = 0; i < starts.size(); ++i) {
            ASSERT_EQ(file.Position(), starts[i]);
            ASSERT_EQ(file.GetLineNumber(), i + 1);
            ASSERT_EQ(file.ReadLine(line), 1);
            ASSERT_EQ(line, lineAt(bytes, starts[i]));
            ASSERT_EQ(file.NextLine(1), i + 1 < starts.size() ? 1 : 0);
        }
        // Walk back up, one line at a time, to the top.
        for (std::size_t i = starts.size(); i-- > 0;) {
            ASSERT_EQ(file.PrevLine(1), 1);
            ASSERT_EQ(file.Position(), starts[i]) << "size " << size << " line " << i;
            ASSERT_EQ(file.GetLineNumber(), i + 1);
        }
        EXPECT_EQ(file.PrevLine(1), 0);
        EXPECT_EQ(file.GotoEnd(), starts.size() + 1);
    }
}

TEST_F(BytesFixture, PairOnTheWindowSeamAndVeryLongLines)
{
    for (std::size_t at : {65534u, 65535u, 65536u, 131071u}) {
        std::string bytes(at, 'x');
        bytes[at / 2] = '\r'; // a lone CR inside the line
        bytes += "\r\n";
        bytes += std::string(200000, 'y') + "\r";
        dir.write("long", bytes);
        CTextFile file;
        ASSERT_EQ(file.OpenRead(dir / "long", false), 1);
        std::string line;
        ASSERT_EQ(file.ReadLine(line), 1);
        EXPECT_EQ(line, bytes.substr(0, at));
        ASSERT_EQ(file.NextLine(1), 1);
        EXPECT_EQ(file.Position(), at + 2);
        ASSERT_EQ(file.ReadLine(line), 1);
        EXPECT_EQ(line, std::string(200000, 'y') + "\r");
        EXPECT_EQ(file.PrevLine(1), 1);
        EXPECT_EQ(file.Position(), 0u);
        EXPECT_EQ(file.GotoEnd(), 3u);
        EXPECT_EQ(file.Position(), bytes.size() + 2);
    }
}

TEST_F(BytesFixture, InsertAndDeleteMoveMoreThanOneChunk)
{
    std::mt19937 rng(11);
    std::string bytes = randomBytes(rng, 3 * 1024 * 1024 + 5) + "\r\n";
    dir.write("big", bytes);
    CTextFile file;
    ASSERT_EQ(file.OpenForWrite(dir / "big", false, false), 1);
    ASSERT_EQ(file.NextLine(3), 1);
    std::size_t at = file.Position();
    ASSERT_EQ(file.InsertLine("inserted"), 1);
    std::string expected = bytes.substr(0, at) + "inserted\r\n" + bytes.substr(at);
    ASSERT_EQ(dir.read("big"), expected);
    // The cursor stands on the old line again, which is now deleted.
    std::string line;
    ASSERT_EQ(file.ReadLine(line), 1);
    ASSERT_EQ(file.DeleteLine(), 1);
    std::size_t after = at + 10;
    expected = expected.substr(0, after) + expected.substr(after + line.size() + 2);
    EXPECT_EQ(dir.read("big"), expected);
}

TEST_F(BytesFixture, RandomOperationsNeverHang)
{
    std::mt19937 rng(3);
    for (int round = 0; round < 20; ++round) {
        dir.write("r", randomBytes(rng, 300));
        CTextFile file;
        ASSERT_EQ(file.OpenForWrite(dir / "r", false, false), 1);
        std::uniform_int_distribution<int> op(0, 9);
        for (int i = 0; i < 200; ++i) {
            std::string v;
            switch (op(rng)) {
            case 0: file.NextLine(3); break;
            case 1: file.PrevLine(2); break;
            case 2: file.GotoLine(rng() % 50); break;
            case 3: file.DeleteLine(); break;
            case 4: file.InsertLine("k=1"); break;
            case 5: file.FindSectionWrapped(std::string(1, static_cast<char>(rng()))); break;
            case 6: file.SetEntry("", "k", "2"); break;
            case 7: file.GetEntry("\r", "", v); break;
            case 8: file.GotoEnd(); break;
            case 9: file.GotoSectionEnd(); break;
            }
            std::string content = dir.read("r");
            // The model of the cursor: it stands at a line start or behind the end.
            if (file.Position() < content.size()) {
                std::vector<std::size_t> starts = lineStarts(content);
                ASSERT_TRUE(std::find(starts.begin(), starts.end(), file.Position()) != starts.end())
                    << "round " << round << " step " << i;
            }
        }
    }
}

} // namespace
} // namespace kau
