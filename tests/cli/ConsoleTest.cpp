// The console's pieces as units; the command tests see them at work.
#include "ConsoleBox.h"
#include "HtmlText.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

using namespace kau;
using namespace kau::cli;

TEST(ConsoleBox, AsksOnlyATerminalAndTakesAnythingButYesAsNo)
{
    // The flag, a terminal or not, what is typed; the buttons, the answer, what is printed.
    const std::tuple<Answer, bool, std::string, BoxButtons, BoxAnswer, std::string> cases[] = {
        {Answer::No, true, "yes\n", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no] no\n\n"},
        {Answer::Ask, true, "  Yes\n", BoxButtons::YesNo, BoxAnswer::Yes, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "nope\n", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no]? \n"},
        {Answer::Ask, true, "", BoxButtons::YesNo, BoxAnswer::No, "Q?\n[yes/no]? \n\n"}, // no input
        {Answer::Ask, true, "ok\n", BoxButtons::OkCancel, BoxAnswer::Ok, "Q?\n[ok/cancel]? \n"},
        {Answer::Ask, false, "ok", BoxButtons::OkCancel, BoxAnswer::Cancel,
         "Q?\n[ok/cancel] cancel\n\n"},
    };
    for (const auto& [answer, terminal, typed, buttons, expected, printed] : cases) {
        SCOPED_TRACE(printed + typed);
        std::ostringstream out;
        std::istringstream in(typed);
        ConsoleBox box(answer, out, in, terminal);
        EXPECT_EQ(box.show("Q?", buttons, BoxIcon::Question), expected);
        EXPECT_EQ(out.str(), printed);
    }
}

TEST(HtmlText, SurvivesBrokenMarkup)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain   text\n\nonly", "plain text only\n"},
        {"a & b &bogus; &#xZZ; &#0;", "a & b &bogus; &#xZZ; \xEF\xBF\xBD\n"},
        {"text <b unfinished", "text\n"},
        {"x<script>never closed", "x\n"},
        {"<p><p><p>a<br><br><br><br>b", "a\nb\n"},
    };
    for (const auto& [html, text] : cases) {
        SCOPED_TRACE(html);
        EXPECT_EQ(htmlToText(html), text);
    }
}
