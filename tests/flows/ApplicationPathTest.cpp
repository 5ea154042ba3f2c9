#include "flows/ApplicationPath.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using kau::ApplicationPath;

TEST(ApplicationPath, RuleTableOfTheThreeForms)
{
    kau::test::TempDir tmp;
    tmp.write("Tool.EXE/marker", "x"); // a directory that looks like a program
    const std::string dir = tmp.str(), dirLikeProgram = tmp / "Tool.EXE", cwd = std::filesystem::current_path();
    const auto plain = &ApplicationPath::plain, reminder = &ApplicationPath::reminder, restore = &ApplicationPath::restore;
    const struct { ApplicationPath (*form)(const std::string&); std::string path, dir, exe; } cases[] = {
        {plain, "/opt/App/Tool.exe", "/opt/App", "Tool.exe"},
        {plain, "/opt/App/Tool.EXE", "/opt/App", "Tool.EXE"}, // not a directory: a program
        {plain, "/opt/App/", "/opt/App", ""},
        {plain, "Tool.exe", cwd, "Tool.exe"},
        {plain, "", cwd, ""},
        {plain, "/Tool.exe", "/", "Tool.exe"}, // only an empty directory is the current one
        {plain, "/", "/", ""},
        {reminder, "/Tool.EXE", "/", "Tool.EXE"},
        {restore, "/Tool", "/", "Tool"},
        {plain, "/opt/App/ Tool ", "/opt/App", "Tool "}, // leading blank goes, trailing stays
        {plain, dirLikeProgram, dirLikeProgram, ""}, // an existing directory without a trailing separator
        {reminder, dirLikeProgram, dir, "Tool.EXE"}, // the extension in any case, the case kept
        {reminder, "/Opt/App/Tool.exe", "/Opt/App", "Tool.exe"},
        {restore, dir, tmp.path().parent_path(), tmp.path().filename()}, // always split at the last separator
        {restore, "Tool", cwd, "Tool"},
    };
    for (const auto& c : cases) {
        const ApplicationPath p = c.form(c.path);
        EXPECT_EQ(std::pair(p.installDir, p.exeName), std::pair(c.dir, c.exe)) << "'" << c.path << "'";
    }
}
