// The compact text list: views of a mapped source kept as they are, other texts copied, entries
// replaced, kept and copied, as the revision lists use them.
#include "catalogue/TextList.h"

#include "textfile/CTextFile.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace kau;
using namespace kau::test;
using Names = std::vector<std::string>;

namespace {

std::shared_ptr<const MappedBytes> mapped(const TempDir& dir, const std::string& bytes)
{
    dir.write("source", bytes);
    CTextFile file;
    EXPECT_EQ(file.OpenRead(dir / "source", false), 1);
    return file.MapWhole();
}

bool inside(std::string_view part, std::string_view whole)
{
    const std::less_equal<const char*> notAfter;
    return notAfter(whole.data(), part.data()) && notAfter(part.data() + part.size(), whole.data() + whole.size());
}

} // namespace

TEST(TextList, SourceViewsStayInTheSourceOtherTextsAreCopiedAndBothMix)
{
    TempDir dir;
    const auto source = mapped(dir, "alpha;1\r\nbeta;22\r\n");
    const std::string_view bytes = source->view();
    std::string outside = "gamma";
    TextList list;
    list.UseSource(source);
    list.push_back(bytes.substr(0, 5));
    list.push_back(outside);
    list.push_back(bytes.substr(9, 4));
    list.push_back("");
    outside = "changed";
    EXPECT_EQ(list.Texts(), (Names{"alpha", "gamma", "beta", ""}));
    EXPECT_TRUE(list[0].data() == bytes.data() && inside(list[2], bytes) && !inside(list[1], bytes));
    // A replaced entry reads its new text; the others keep theirs, also a text taken from the list itself.
    list.set(2, "delta");
    list.set(0, list[1]);
    EXPECT_EQ(list.Texts(), (Names{"gamma", "gamma", "delta", ""}));
    EXPECT_THROW(list.set(4, "x"), std::out_of_range);
    // A list that holds entries already takes no source: the source's views are copied.
    TextList late{"x"};
    late.UseSource(source);
    late.push_back(bytes.substr(0, 5));
    EXPECT_TRUE(late.Texts() == (Names{"x", "alpha"}) && !inside(late[1], bytes));
}

TEST(TextList, RetainKeepsTheMarkedEntriesInOrderAndCopiesOutliveTheOriginal)
{
    TempDir dir;
    const auto source = mapped(dir, "one two three");
    TextList list;
    list.UseSource(source);
    for (const std::size_t at : {0u, 4u, 8u})
        list.push_back(source->view().substr(at, at == 8 ? 5 : 3));
    list.push_back("four");
    list.push_back("five");
    // Entries beyond the marks stay.
    list.Retain({false, true, true, false});
    EXPECT_EQ(list.Texts(), (Names{"two", "three", "five"}));
    list.Retain({});
    EXPECT_EQ(list.size(), 3u);
    // A copy holds the source itself.
    TextList copy;
    {
        TextList original = list;
        copy = original;
    }
    EXPECT_EQ(copy.Texts(), (Names{"two", "three", "five"}));
    copy.clear();
    EXPECT_TRUE(copy.empty() && copy.Texts().empty());
    copy.push_back("again");
    EXPECT_EQ(copy.Texts(), Names{"again"});
}
