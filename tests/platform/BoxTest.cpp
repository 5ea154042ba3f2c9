#include "support/ScriptedBox.h"

#include <gtest/gtest.h>

using namespace kau;

TEST(Box, ScriptedAnswersInOrderThenCarefulOnes)
{
    test::ScriptedBox box;
    box.answer(BoxAnswer::Yes);
    EXPECT_EQ(showBox("first", BoxButtons::YesNo, BoxIcon::Question), BoxAnswer::Yes);
    EXPECT_EQ(showBox("second", BoxButtons::YesNo), BoxAnswer::No);
    EXPECT_EQ(showBox("third", BoxButtons::OkCancel), BoxAnswer::Cancel);
    ASSERT_EQ(box.count(), 3u);
    EXPECT_EQ(box.shown()[0].icon, BoxIcon::Question);
    EXPECT_EQ(box.shown()[2].text, "third");
}

TEST(Box, UninstallingRestoresThePreviousBox)
{
    test::ScriptedBox outer;
    {
        test::ScriptedBox inner;
        showBox("to inner");
        EXPECT_EQ(inner.count(), 1u);
    }
    showBox("to outer");
    EXPECT_EQ(outer.count(), 1u);
}
