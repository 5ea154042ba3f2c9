#include "flows/ApplicationPath.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using kau::ApplicationPath;

namespace {

struct Case {
    const char* path;
    const char* dir; // "." stands for the current directory
    const char* exe;
};

std::string expectedDir(const char* dir)
{
    return std::string(dir) == "." ? std::filesystem::current_path().string() : dir;
}

void expectForm(ApplicationPath (*form)(const std::string&), const Case& c)
{
    const ApplicationPath p = form(c.path);
    EXPECT_EQ(p.installDir, expectedDir(c.dir)) << "path '" << c.path << "'";
    EXPECT_EQ(p.exeName, c.exe) << "path '" << c.path << "'";
}

} // namespace

TEST(ApplicationPath, PlainForm)
{
    kau::test::TempDir tmp;
    const std::string existing = tmp.str();
    const Case cases[] = {
        {"/opt/App/Tool.exe", "/opt/App", "Tool.exe"},
        {"/opt/App/Tool.EXE", "/opt/App", "Tool.EXE"}, // not a directory: a program
        {"/opt/App/", "/opt/App", ""},
        {"/opt/App/tool", "/opt/App", "tool"},
        {"Tool.exe", ".", "Tool.exe"},
        {"", ".", ""},
        {"/opt/App/ Tool ", "/opt/App", "Tool "}, // leading blank goes, trailing stays
        {"/opt/my.exe.d/run", "/opt/my.exe.d", "run"},
    };
    for (const Case& c : cases)
        expectForm(&ApplicationPath::plain, c);
    // An existing directory without a trailing separator is the install directory.
    expectForm(&ApplicationPath::plain, {existing.c_str(), existing.c_str(), ""});
}

TEST(ApplicationPath, ReminderFormFindsCapitalExtensionAndKeepsCase)
{
    kau::test::TempDir tmp;
    tmp.write("Tool.EXE/marker", "x"); // a directory that looks like a program
    const std::string dirLikeProgram = tmp / "Tool.EXE";
    expectForm(&ApplicationPath::plain, {dirLikeProgram.c_str(), dirLikeProgram.c_str(), ""});
    expectForm(&ApplicationPath::reminder, {dirLikeProgram.c_str(), tmp.str().c_str(), "Tool.EXE"});
    expectForm(&ApplicationPath::reminder, {"/Opt/App/Tool.exe", "/Opt/App", "Tool.exe"});
}

TEST(ApplicationPath, RestoreFormAlwaysSplitsAtTheLastSeparator)
{
    kau::test::TempDir tmp;
    const std::string existing = tmp.str();
    const std::string parent = tmp.path().parent_path().string();
    const std::string last = tmp.path().filename().string();
    expectForm(&ApplicationPath::restore, {existing.c_str(), parent.c_str(), last.c_str()});
    expectForm(&ApplicationPath::restore, {"/opt/App/", "/opt/App", ""});
    expectForm(&ApplicationPath::restore, {"Tool", ".", "Tool"});
}
