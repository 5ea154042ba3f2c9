#include "catalogue/RevisionFile.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kau;
using kau::test::ScriptedBox;
using kau::test::TempDir;

TEST(GetField, FieldsOfALine)
{
    struct Case { int n; const char* line; const char* field; };
    const Case cases[] = {
        {1, "a;b;c", "a"}, {2, "a;b;c", "b"}, {3, "a;b;c", "c"}, {4, "a;b;c", ""},
        {1, "abc", "abc"}, {2, "abc", ""}, {1, "", ""}, {2, "", ""},
        {2, "a;b;", "b"}, {3, "a;b;", ""}, {1, "a;", "a"}, {2, "a;", ""},
        {1, ";", ""}, {2, ";", ""}, {2, "a;;c", ""}, {3, "a;;c", "c"},
        {2, " x ; 1.0 ", " 1.0 "}, {1, "x", "x"}, {2, "a;b", "b"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(GetField(c.n, c.line, ";"), c.field) << c.n << " of \"" << c.line << "\"";
}

TEST(RevisionReader, WorkedExampleOfTheRemoteFile)
{
    TempDir dir;
    dir.write("RelInfoRemote.rel", "; files of the Sampler folder\r\n\r\nSampler.exe; 3.10.02\r\n"
                                   "sampler.chm;1.04.00;help pages\r\n"
                                   "Plugins\\Filter.dll  ;  2.00.07 ;\r\nReadme.txt");
    RemoteRevisionList list;
    ASSERT_TRUE(ReadRemoteRevisions(list, dir / "RelInfoRemote.rel"));
    EXPECT_EQ(list.m_aNames, (std::vector<std::string>{"Sampler.exe", "sampler.chm",
                                                       "Plugins\\Filter.dll", "Readme.txt"}));
    EXPECT_EQ(list.m_aVersions, (std::vector<std::string>{"3.10.02", "1.04.00", "2.00.07", ""}));
    EXPECT_EQ(list.m_aTransferred, (std::vector<std::string>{"0", "0", "0", "0"}));
}

TEST(RevisionReader, LinesAndTheirRecords)
{
    struct Case { const char* bytes; std::vector<std::string> names, versions; };
    const std::vector<Case> cases = {
        {"a;", {"a"}, {""}},
        {";", {}, {}},
        {" ; b", {}, {}},
        {"a;b;", {"a"}, {"b"}},
        {"a;;c", {"a"}, {""}},
        {"[files]", {"[files]"}, {""}},
        {"x", {"x"}, {""}},
        {"", {}, {}},
        {"\r\n", {}, {}},
        {"a;1\r\nb;2\r\n", {"a", "b"}, {"1", "2"}},
        // Only CR LF ends a line: bare LF and lone CR stay in the text.
        {"a;1\nb;2\n", {"a"}, {"1\nb"}},
        {"a\rb;1", {"a\rb"}, {"1"}},
        {"Sampler.exe;1\r\nSAMPLER.EXE;2", {"Sampler.exe", "SAMPLER.EXE"}, {"1", "2"}},
        {"\t a b \t; 1 2 ;x", {"a b"}, {"1 2"}},
    };
    for (const Case& c : cases) {
        TempDir dir;
        dir.write("r.rel", c.bytes);
        LocalRevisionList list;
        ASSERT_TRUE(ReadLocalRevisions(list, dir / "r.rel"));
        EXPECT_EQ(list.m_aNames, c.names) << c.bytes;
        EXPECT_EQ(list.m_aVersions, c.versions) << c.bytes;
    }
}

TEST(RevisionReader, MissingFileLeavesTheListAndShowsNothing)
{
    ScriptedBox box;
    TempDir dir;
    LocalRevisionList local{{"kept"}, {"1"}};
    EXPECT_FALSE(ReadLocalRevisions(local, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(local.m_aNames.size(), 1u);
    RemoteRevisionList remote;
    EXPECT_FALSE(ReadRemoteRevisions(remote, dir / "RelInfoRemote.rel"));
    EXPECT_EQ(box.count(), 0u);
}

TEST(RevisionReader, ReadersAppendToTheList)
{
    TempDir dir;
    dir.write("r.rel", "b;2\r\n");
    LocalRevisionList list{{"a"}, {"1"}};
    ASSERT_TRUE(ReadLocalRevisions(list, dir / "r.rel"));
    EXPECT_EQ(list.m_aNames, (std::vector<std::string>{"a", "b"}));
}

TEST(RevisionReader, FileThatCannotBeOpenedTellsTheUserAndReadsEmpty)
{
    ScriptedBox box;
    TempDir dir;
    dir.write("sub/x", "");  // makes the directory
    RemoteRevisionList remote;
    EXPECT_TRUE(ReadRemoteRevisions(remote, dir / "sub"));  // a directory under the name
    EXPECT_TRUE(remote.m_aNames.empty());
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text.rfind("Error occurred! \n", 0), 0u);

    if (::geteuid() != 0) {
        dir.write("locked.rel", "a;1\r\n");
        ::chmod((dir / "locked.rel").c_str(), 0);
        LocalRevisionList local;
        EXPECT_TRUE(ReadLocalRevisions(local, dir / "locked.rel"));
        EXPECT_TRUE(local.m_aNames.empty());
        EXPECT_EQ(box.count(), 2u);
    }
}
