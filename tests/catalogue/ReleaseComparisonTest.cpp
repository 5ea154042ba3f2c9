#include "catalogue/ReleaseComparison.h"

#include <gtest/gtest.h>

using namespace kau;

TEST(ReleaseComparison, VersionNumbers)
{
    struct Case { const char* text; int major; double minor; };
    const Case cases[] = {
        {"3.10.02", 3, 10.02}, {"0.00.00", 0, 0.0}, {"10.01.00", 10, 1.0},
        {"3.5", 3, 500000000.0}, {"5", 500000000, 0.0}, {"", 0, 0.0}, {"x1.2", 0, 0.2},
    };
    for (const Case& c : cases) {
        const ReleaseNumbers n = SplitVersion(c.text);
        EXPECT_EQ(n.major, c.major) << c.text;
        EXPECT_DOUBLE_EQ(n.minor, c.minor) << c.text;
    }
}

TEST(ReleaseComparison, RuleTable)
{
    struct Case { const char* remote; const char* local; bool isNew; };
    const Case cases[] = {
        {"3.10.02", "3.10.01", true},  {"3.10.02", "3.10.02", false}, {"3.09.00", "3.10.00", false},
        {"3.5.0", "3.10.0", false},    {"3.10.2", "3.10.10", true},   {"3.10.02", "3.10.020", false},
        {"10.00.01", "9.99.99", true}, {"10.01.00", "10.00.99", true}, {"2.00.00", "3.00.00", false},
        {"0.00.01", "0.00.00", true},  {"1.00.00", "", true},         {"", "1.00.00", false},
        {"3.1", "3.10.00", true},      {"0.00.00", "0.00.00", false}, {"", "0.00.00", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IsNewerRelease(c.remote, c.local), c.isNew) << c.remote << " vs " << c.local;
        LocalRevisionList local{{"f"}, {c.local}};
        RemoteRevisionList remote{{"F"}, {c.remote}, {"0"}};
        EXPECT_EQ(CompareReleases(local, remote, false), c.isNew) << c.remote << " vs " << c.local;
        EXPECT_EQ(remote.m_aNames.size(), c.isNew ? 1u : 0u);
        EXPECT_EQ(remote.m_aTransferred.size(), 1u);
    }
}

TEST(ReleaseComparison, WorkedExampleKeepsFileOrder)
{
    LocalRevisionList local{{"Sampler.exe", "Plugins\\Filter.dll", "sampler.chm", "gone.dll"},
                            {"3.10.01", "2.00.07", "1.03.00", "1.0"}};
    RemoteRevisionList remote{{"Sampler.exe", "sampler.chm", "Plugins\\Filter.dll", "Readme.txt"},
                              {"3.10.02", "1.04.00", "2.00.07", ""},
                              {"0", "0", "0", "0"}};
    EXPECT_TRUE(CompareReleases(local, remote, false));
    EXPECT_EQ(remote.m_aNames, (std::vector<std::string>{"Sampler.exe", "sampler.chm", "Readme.txt"}));
    EXPECT_EQ(remote.m_aVersions, (std::vector<std::string>{"3.10.02", "1.04.00", ""}));
    EXPECT_EQ(remote.m_aTransferred.size(), 4u);
    EXPECT_EQ(local.m_aNames.size(), 4u);
}

TEST(ReleaseComparison, NamesAndFlags)
{
    {   // Case-blind names, first local match wins, slash and backslash differ.
        LocalRevisionList local{{"SAMPLER.EXE", "sampler.exe", "a/b.dll"}, {"2.00.00", "1.00.00", "9.0"}};
        RemoteRevisionList remote{{"Sampler.exe", "a\\b.dll"}, {"1.50.00", "1.0"}, {"0", "0"}};
        EXPECT_TRUE(CompareReleases(local, remote, false));
        EXPECT_EQ(remote.m_aNames, (std::vector<std::string>{"a\\b.dll"}));
    }
    {   // Empty local list: everything stays.
        LocalRevisionList local;
        RemoteRevisionList remote{{"a", "b"}, {"", "1"}, {"0", "0"}};
        EXPECT_TRUE(CompareReleases(local, remote, false));
        EXPECT_EQ(remote.m_aNames.size(), 2u);
    }
    {   // Empty remote list.
        LocalRevisionList local{{"a"}, {"1"}};
        RemoteRevisionList remote;
        EXPECT_FALSE(CompareReleases(local, remote, false));
        EXPECT_TRUE(CompareReleases(local, remote, true));
    }
    {   // Install-all keeps older entries.
        LocalRevisionList local{{"a"}, {"5.00.00"}};
        RemoteRevisionList remote{{"a"}, {"1.00.00"}, {"0"}};
        EXPECT_TRUE(CompareReleases(local, remote, true));
        EXPECT_EQ(remote.m_aNames.size(), 1u);
    }
}
