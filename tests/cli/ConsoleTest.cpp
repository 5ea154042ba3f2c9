#include "ConsoleBox.h"
#include "ConsoleRunView.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace kau;
using namespace kau::cli;

TEST(ConsoleBox, AnswersQuestionsByFlagTerminalOrCarefully)
{
    struct Case {
        Answer answer;
        bool interactive;
        std::string typed;
        BoxAnswer expected;
        std::string printed;
    };
    const Case cases[] = {
        {Answer::Yes, false, "", BoxAnswer::Yes, "Q?\n[yes/no] yes\n\n"},
        {Answer::No, true, "yes\n", BoxAnswer::No, "Q?\n[yes/no] no\n\n"},
        {Answer::Ask, false, "yes\n", BoxAnswer::No, "Q?\n[yes/no] no\n\n"},
        {Answer::Ask, true, "  Yes\n", BoxAnswer::Yes, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "nope\n", BoxAnswer::No, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "", BoxAnswer::No, "Q?\n[yes/no]? \n\n"}, // end of input
    };
    for (const Case& c : cases) {
        std::ostringstream out;
        std::istringstream in(c.typed);
        ConsoleBox box(c.answer, out, in, c.interactive);
        EXPECT_EQ(box.show("Q?", BoxButtons::YesNo, BoxIcon::Question), c.expected) << c.typed;
        EXPECT_EQ(out.str(), c.printed) << c.typed;
    }
}

TEST(ConsoleBox, OkBoxesArePrintedAndOkCancelFollowsTheFlag)
{
    std::ostringstream out;
    std::istringstream in;
    ConsoleBox box(Answer::No, out, in, false);
    EXPECT_EQ(box.show("Error in ftp connection", BoxButtons::Ok, BoxIcon::None), BoxAnswer::Ok);
    EXPECT_EQ(box.show("Go on?", BoxButtons::OkCancel, BoxIcon::Stop), BoxAnswer::Cancel);
    EXPECT_EQ(out.str(), "Error in ftp connection\n\nGo on?\n[ok/cancel] cancel\n\n");
}

TEST(ConsoleRunView, PrintsTheLogAsItStandsAtTheEnd)
{
    std::ostringstream out, err;
    ConsoleRunView view(out, err, false);
    view.AddLine("---- start transfer ----");
    view.AddLine(" copy -> a.txt");
    EXPECT_EQ(out.str(), "---- start transfer ----\n"); // the transfer line is held back
    view.ReplaceLastLine("  ok!    a.txt");
    view.AddLine(" copy -> b.txt");
    view.ReplaceLastLine(" fail!    b.txt");
    view.finish();
    EXPECT_EQ(out.str(), "---- start transfer ----\n  ok!    a.txt\n fail!    b.txt\n");
    EXPECT_EQ(err.str(), ""); // no bar unless asked for
}

TEST(ConsoleRunView, DrawsTheBarWithTheCurrentLineAndClearsItBeforeEachLogLine)
{
    std::ostringstream out, err;
    ConsoleRunView view(out, err, true);
    view.SetRange(0, 3);
    view.SetPosition(1);
    view.AddLine(" copy -> Plugins\\Filter.dll");
    EXPECT_NE(err.str().find("\r[##########....................] 1/3  copy -> Plugins\\Filter.dll"),
              std::string::npos)
        << err.str();
    view.SetPosition(100); // above the range: a full bar
    EXPECT_NE(err.str().find("[##############################] 3/3"), std::string::npos);
    view.finish();
    EXPECT_EQ(err.str().substr(err.str().size() - 4), "\r\033[K");
    EXPECT_EQ(out.str(), " copy -> Plugins\\Filter.dll\n");
}
