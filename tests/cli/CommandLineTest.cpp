#include "CommandLine.h"

#include <gtest/gtest.h>

using namespace kau::cli;

namespace {
ParseResult parse(std::vector<std::string> args) { return parseCommandLine(args); }
} // namespace

TEST(CommandLine, ReadsEveryOptionOfUpdateInBothSpellings)
{
    const ParseResult r = parse({"update", "--product", "Sampler", "--app=/opt/s/Sampler", "--all",
                                 "--yes", "--server", "127.0.0.1:2121", "--user=u",
                                 "--password", "p w"});
    ASSERT_EQ(r.error, "");
    EXPECT_EQ(r.line.command, Command::Update);
    EXPECT_EQ(r.line.productKey, "Sampler");
    EXPECT_EQ(r.line.applicationPath, "/opt/s/Sampler");
    EXPECT_TRUE(r.line.allFiles);
    EXPECT_EQ(r.line.answer, Answer::Yes);
    EXPECT_EQ(r.line.server.value_or(""), "127.0.0.1:2121");
    EXPECT_EQ(r.line.user.value_or(""), "u");
    EXPECT_EQ(r.line.password.value_or(""), "p w");
}

TEST(CommandLine, DefaultsLeaveTheQuestionOpenAndTheAccountBuiltIn)
{
    const ParseResult r = parse({"check", "--product", "P", "--app", "."});
    ASSERT_EQ(r.error, "");
    EXPECT_EQ(r.line.answer, Answer::Ask);
    EXPECT_FALSE(r.line.allFiles);
    EXPECT_FALSE(r.line.server || r.line.user || r.line.password);
}

TEST(CommandLine, RejectsWhatEachCommandDoesNotKnow)
{
    struct Case {
        std::vector<std::string> args;
        std::string error;
    };
    const Case cases[] = {
        {{}, "no command given"},
        {{"install"}, "unknown command 'install'"},
        {{"check", "--app", "."}, "--product KEY is required"},
        {{"check", "--product", "P"}, "--app PATH is required"},
        {{"check", "--product", "P", "--app", ".", "--all"}, "unknown option '--all' for check"},
        {{"restores", "--app", ".", "--yes"}, "unknown option '--yes' for restores"},
        {{"restores", "--app", ".", "--server", "h"}, "unknown option '--server' for restores"},
        {{"update", "--product", "P", "--app", ".", "extra"},
         "unexpected argument 'extra' for update"},
        {{"update", "--product", "P", "--app"}, "--app needs a value"},
        {{"update", "--product", "P", "--app", ".", "--all=1"}, "--all takes no value"},
        {{"update", "--product", "P", "--app", ".", "--yes", "--no"},
         "--yes and --no exclude each other"},
        {{"check", "--product", "P", "--app", ".", "--server="}, "--server needs a host"},
        {{"restores", "--app", ".", "--files", ""}, "--files needs a restore directory name"},
    };
    for (const Case& c : cases) {
        std::string joined;
        for (const auto& a : c.args)
            joined += a + " ";
        EXPECT_EQ(parse(c.args).error, c.error) << joined;
    }
}

TEST(CommandLine, HelpNeedsNothingElseAndEachCommandHasItsOwn)
{
    EXPECT_TRUE(parse({"--help"}).line.help);
    const ParseResult r = parse({"restores", "--help"});
    EXPECT_EQ(r.error, "");
    EXPECT_TRUE(r.line.help);
    EXPECT_EQ(r.line.command, Command::Restores);
    EXPECT_NE(helpText(Command::Check).find("100 newer files"), std::string::npos);
    EXPECT_NE(helpText(Command::Update).find("130 stopped by Ctrl-C"), std::string::npos);
    EXPECT_NE(helpText(Command::Restores).find("--files STAMP"), std::string::npos);
    EXPECT_NE(helpText(Command::None).find("restores"), std::string::npos);
}
