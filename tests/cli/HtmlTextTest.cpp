#include "HtmlText.h"

#include <gtest/gtest.h>

using kau::cli::htmlToText;

TEST(HtmlText, BreaksLinesAtBlocksAndDecodesEntities)
{
    const std::string page =
        "<!DOCTYPE html><html><head><title>Sampler &amp; Co</title>"
        "<style>p { color: red; }</style><script>var a = '<p>';</script></head>\n"
        "<body><h1>Release   3.10.02</h1>\n<p>Fixes:<br>one &lt;two&gt;&nbsp;three</p>"
        "<ul><li>Filter.dll</li>\n<li>sampler.chm &#8211; help &#x41;</li></ul>"
        "<!-- <p>hidden</p> --><p>Bye</p></body></html>";
    EXPECT_EQ(htmlToText(page), "Sampler & Co\n"
                                "\n"
                                "Release 3.10.02\n"
                                "\n"
                                "Fixes:\n"
                                "one <two> three\n"
                                "\n"
                                "- Filter.dll\n"
                                "- sampler.chm \xE2\x80\x93 help A\n"
                                "\n"
                                "Bye\n");
}

TEST(HtmlText, SurvivesBrokenMarkup)
{
    EXPECT_EQ(htmlToText(""), "");
    EXPECT_EQ(htmlToText("plain   text\n\nonly"), "plain text only\n");
    EXPECT_EQ(htmlToText("a & b &bogus; &#xZZ; &#0;"), "a & b &bogus; &#xZZ; \xEF\xBF\xBD\n");
    EXPECT_EQ(htmlToText("text <b unfinished"), "text\n");
    EXPECT_EQ(htmlToText("x<script>never closed"), "x\n");
    EXPECT_EQ(htmlToText("<p><p><p>a<br><br><br><br>b"), "a\nb\n");
}
