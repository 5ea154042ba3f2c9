// The revision catalogue: revision files and their comparison, the local file's rewrite after a run,
// staged files, and the restore archive of one directory per update run, named by its date stamp.
#include "catalogue/LocalRevisionUpdate.h"
#include "catalogue/ReleaseComparison.h"
#include "catalogue/RestoreArchive.h"
#include "catalogue/RevisionFile.h"
#include "catalogue/StagedFiles.h"

#include "support/ScriptedBox.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace kau;
using namespace kau::test;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

TEST(RevisionFile, FieldsRecordsAndFilesThatAreNotThere)
{
    // Fields keep their blanks; one separator at the very end opens no further field.
    for (const auto& [n, line, field] : {std::tuple{1, "abc", "abc"}, {3, "a;b;c", "c"}, {4, "a;b;c", ""},
                                         {2, "a;b;", "b"}, {3, "a;b;", ""}, {2, ";", ""}, {2, " x ; 1.0 ", " 1.0 "}})
        EXPECT_EQ(GetField(n, line, ";"), field) << n << " of \"" << line << "\"";
    struct Case { std::string bytes; Names names, versions; };
    const std::string seam = std::string(65531, 'n') + ";1.0"; // its CR LF straddles the 64 kB read block
    const std::string mega(1 << 20, 'm');
    const Case cases[] = {
        {"a;", {"a"}, {""}}, {";", {}, {}}, {" ; b", {}, {}}, {"a;b;", {"a"}, {"b"}}, {"a;;c", {"a"}, {""}},
        {"[files]", {"[files]"}, {""}}, {"", {}, {}}, {"\r\n", {}, {}}, {"\t\v a b \f; 1 2 ;x", {"a b"}, {"1 2"}},
        {"Sampler.exe;1\r\nSAMPLER.EXE;2", {"Sampler.exe", "SAMPLER.EXE"}, {"1", "2"}},
        {"a;1\nb;2\n", {"a"}, {"1\nb"}}, {"a\rb;1", {"a\rb"}, {"1"}}, // only CR LF ends a line
        {std::string("a\0b;\xff\x01\r\n\x7f", 9), {std::string("a\0b", 3), "\x7f"}, {"\xff\x01", ""}},
        {seam + "\r\n" + mega + ";2", {std::string(65531, 'n'), mega}, {"1.0", "2"}},
    };
    TempDir dir;
    for (const Case& c : cases) {
        dir.write("r.rel", c.bytes);
        LocalRevisionList list;
        ASSERT_TRUE(ReadLocalRevisions(list, dir / "r.rel"));
        EXPECT_EQ(list.m_aNames.Texts(), c.names) << c.bytes.substr(0, 20);
        EXPECT_EQ(list.m_aVersions.Texts(), c.versions) << c.bytes.substr(0, 20);
    }
    // Missing: false, nothing shown, the list as it was. A directory under the name: the box, then no lines.
    ScriptedBox box;
    LocalRevisionList local{{"kept"}, {"1"}};
    RemoteRevisionList remote;
    EXPECT_TRUE(!ReadLocalRevisions(local, dir / "RelInfoLocal.rel") && local.m_aNames.size() == 1);
    EXPECT_FALSE(ReadRemoteRevisions(remote, dir / "RelInfoRemote.rel"));
    dir.write("sub/x", "");
    EXPECT_TRUE(ReadRemoteRevisions(remote, dir / "sub") && remote.m_aNames.empty());
    ASSERT_EQ(box.count(), 1u); // none for the missing ones
    EXPECT_EQ(box.shown()[0].text, "Error occurred! \nIs a directory\n");
}

TEST(ReleaseComparison, RuleNamesAndFlags)
{
    // The zeros behind the text lengthen its last number: 3.5 has the minor 500000000, 5 the major 500000000.
    struct Case { const char* remote; const char* local; bool isNew; };
    const Case cases[] = {
        {"3.10.02", "3.10.01", true}, {"3.10.02", "3.10.02", false}, {"3.09.00", "3.10.00", false},
        {"3.5.0", "3.10.0", false}, {"3.10.2", "3.10.10", true}, {"3.10.02", "3.10.020", false},
        {"10.00.01", "9.99.99", true}, {"10.01.00", "10.00.99", true}, {"2.00.00", "3.00.00", false},
        {"0.00.01", "0.00.00", true}, {"1.00.00", "", true}, {"", "1.00.00", false}, {"3.1", "3.10.00", true},
        {"", "0.00.00", false}, {"3.5", "3.400000000.0", true}, {"5", "400000000.0.0", true},
        {"x1.2", "0.00.00", true}, {"10.01.60", "10.01.50", true}, // the minor of a two-digit major from offset 3
        // A major beyond 32 bits stops at the largest (smallest) 32-bit value, however far beyond it is;
        // two such majors are equal and the minors decide.
        {"2147483648", "1.0", true}, {"3000000000", "1.0", true}, {"99999999999999999999999", "1.0", true},
        {"3000000000", "2147483648", false}, {"-3000000000", "-1.0", false}, {"1.0", "-99999999999", true},
    };
    // An empty version as the reader hands it on, a view without any data, reads as empty text.
    EXPECT_TRUE(IsNewerRelease("1.00.00", std::string_view()) && !IsNewerRelease(std::string_view(), "1.00.00"));
    for (const Case& c : cases) {
        LocalRevisionList local{{"f"}, {c.local}};
        RemoteRevisionList remote{{"F"}, {c.remote}, {false}};
        EXPECT_EQ(CompareReleases(local, remote, false), c.isNew) << c.remote << " vs " << c.local;
        EXPECT_EQ(remote.m_aNames.size() + remote.m_aVersions.size(), c.isNew ? 2u : 0u);
        EXPECT_EQ(remote.m_aTransferred.size(), 1u);
    }
    // Case-blind names, first local match wins, slash and backslash differ.
    LocalRevisionList local{{"SAMPLER.EXE", "sampler.exe", "a/b.dll"}, {"2.00.00", "1.00.00", "9.0"}};
    RemoteRevisionList remote{{"Sampler.exe", "a\\b.dll"}, {"1.50.00", "1.0"}, {false, false}};
    EXPECT_TRUE(CompareReleases(local, remote, false));
    EXPECT_EQ(remote.m_aNames.Texts(), (Names{"a\\b.dll"}));
    // Install-all keeps older entries and is true even for an empty list.
    RemoteRevisionList older{{"a"}, {"1.00.00"}, {false}}, empty;
    EXPECT_TRUE(CompareReleases({{"a"}, {"5.00.00"}}, older, true) && older.m_aNames.size() == 1);
    EXPECT_TRUE(!CompareReleases(local, empty, false) && CompareReleases(local, empty, true));
    EXPECT_TRUE(CompareReleases({}, remote, false) && remote.m_aNames.size() == 1); // an empty local list keeps all
}

// The index over many names, duplicates in other case included, against a plain search that lets the
// first case-blind match win.
TEST(ReleaseComparison, ManyNamesAgreeWithAPlainSearch)
{
    const auto lower = [](std::string s) {
        for (char& c : s)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    LocalRevisionList local;
    RemoteRevisionList remote;
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "Dir\\File" + std::to_string(i % 2500) + (i % 3 ? ".dll" : ".DLL");
        local.m_aNames.push_back(i % 7 ? name : lower(name));
        local.m_aVersions.push_back("1.0" + std::to_string((i + i / 2500 * 3) % 10) + ".00");
        remote.m_aNames.push_back("dir\\file" + std::to_string((i * 7) % 3500) + ".dll");
        remote.m_aVersions.push_back("1.0" + std::to_string((i * 3) % 10) + ".00");
        remote.m_aTransferred.push_back(false);
    }
    Names expected;
    for (std::size_t i = 0; i < remote.m_aNames.size(); ++i) {
        std::size_t j = 0;
        while (j < local.m_aNames.size() && lower(std::string(local.m_aNames[j])) != lower(std::string(remote.m_aNames[i])))
            ++j;
        if (j == local.m_aNames.size() || IsNewerRelease(remote.m_aVersions[i], local.m_aVersions[j]))
            expected.emplace_back(remote.m_aNames[i]);
    }
    ASSERT_TRUE(CompareReleases(local, remote, false));
    EXPECT_EQ(remote.m_aNames.Texts(), expected);
    EXPECT_TRUE(expected.size() > 500 && expected.size() < 2500) << expected.size(); // both kinds occur
}

// Record by record: the same records as the readers, and the line count first when asked for it.
TEST(RevisionFile, VisitingCountsTheLinesFirstWhenAsked)
{
    TempDir dir;
    dir.write("r.rel", "; comment\r\n\r\n a ; 1 \r\nb;2;x\r\n;\r\nc");
    std::vector<std::pair<std::string, std::string>> seen;
    std::vector<std::size_t> counts;
    const auto visit = [&](std::string_view name, std::string_view version) {
        EXPECT_EQ(counts.size(), 1u) << "the count comes before the first record";
        seen.emplace_back(name, version);
    };
    const auto expect = [&](std::size_t lines) { counts.push_back(lines); };
    ASSERT_TRUE(VisitRevisions(dir / "r.rel", visit, expect));
    EXPECT_EQ(counts, std::vector<std::size_t>{6});
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, std::string>>{{"a", "1"}, {"b", "2"}, {"c", ""}}));
    // Missing: false and no call; a directory under the name: its box, true, no call.
    ScriptedBox box;
    counts.clear();
    seen.clear();
    EXPECT_FALSE(VisitRevisions(dir / "none.rel", visit, expect));
    dir.write("sub/x", "");
    EXPECT_TRUE(VisitRevisions(dir / "sub", visit, expect));
    EXPECT_TRUE(counts.empty() && seen.empty() && box.count() == 1);
}

// From the server's file through the comparison to the rewritten local file.
TEST(LocalRevisionUpdate, WorkedExample)
{
    TempDir dir;
    dir.write("RelInfoRemote.rel", "; files of the Sampler folder\r\n\r\nSampler.exe; 3.10.02\r\n"
                                   "sampler.chm;1.04.00;help pages\r\nPlugins\\Filter.dll  ;  2.00.07 ;\r\nReadme.txt");
    dir.write("RelInfoLocal.rel", "; old comment\r\nSampler.exe;3.10.01;x\r\nPlugins\\Filter.dll ; 2.00.07\r\n"
                                  "sampler.chm;1.03.00");
    RemoteRevisionList remote;
    LocalRevisionList local;
    ASSERT_TRUE(ReadRemoteRevisions(remote, dir / "RelInfoRemote.rel"));
    EXPECT_EQ(remote.m_aNames.Texts(), (Names{"Sampler.exe", "sampler.chm", "Plugins\\Filter.dll", "Readme.txt"}));
    EXPECT_EQ(remote.m_aVersions.Texts(), (Names{"3.10.02", "1.04.00", "2.00.07", ""}));
    EXPECT_EQ(remote.m_aTransferred, std::vector<bool>(4, false));
    ASSERT_TRUE(ReadLocalRevisions(local, dir / "RelInfoLocal.rel") && CompareReleases(local, remote, false));
    EXPECT_EQ(remote.m_aNames.Texts(), (Names{"Sampler.exe", "sampler.chm", "Readme.txt"}));
    remote.m_aTransferred[0] = remote.m_aTransferred[2] = true; // sampler.chm failed
    EXPECT_TRUE(UpdateLocalRevisions(local, remote, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(dir.read("RelInfoLocal.rel"), "Sampler.exe; 3.10.02\r\nPlugins\\Filter.dll; 2.00.07\r\n"
                                            "sampler.chm; 1.03.00\r\nReadme.txt; \r\n");
}

// The worked example shows a known file that failed keeping its version.
TEST(LocalRevisionUpdate, MergeRules)
{
    struct Case { const char* what; LocalRevisionList local; RemoteRevisionList remote; const char* written; };
    const Case cases[] = {
        {"all failed: new ones get 0.00.00", {{"x"}, {"1"}}, {{"a", "b"}, {"1", "2"}, {false, false}},
         "x; 1\r\na; 0.00.00\r\nb; 0.00.00\r\n"},
        {"transferred lower version is taken", {{"a"}, {"5.0"}}, {{"A", "b"}, {"1.0", "2"}, {true, false}},
         "a; 1.0\r\nb; 0.00.00\r\n"},
        // The second finds the entry the first appended; the last transferred one decides.
        {"server name thrice", {}, {{"a", "A", "a"}, {"1", "2", "3"}, {true, true, false}}, "a; 2\r\n"},
        {"local name twice: first updated", {{"a", "a"}, {"1", "1"}}, {{"a"}, {"2"}, {true}}, "a; 2\r\na; 1\r\n"},
        {"empty lists write an empty file", {}, {}, ""},
    };
    for (Case c : cases) {
        TempDir dir;
        EXPECT_TRUE(UpdateLocalRevisions(c.local, c.remote, dir / "RelInfoLocal.rel")) << c.what;
        EXPECT_EQ(dir.read("RelInfoLocal.rel"), c.written) << c.what;
    }
}

TEST(LocalRevisionUpdate, CrashLeftoversAndFilesThatCannotBeWritten)
{
    ScriptedBox box;
    TempDir dir;
    // What a kill between writing and renaming leaves: the old file, readable, and a hidden part
    // file, which the next run's clean-up removes, and only that.
    dir.write("RelInfoLocal.rel", "a; 1\r\n");
    dir.write(".RelInfoLocal.rel.part-Xa3b9Q", "half a li");
    dir.write(".part-Xa3b9Q", "no part file: nothing before the mark");
    dir.write("201406021405/.Sampler.exe.part-k2Jd0w", "half a cop");
    LocalRevisionList local;
    ASSERT_TRUE(ReadLocalRevisions(local, dir / "RelInfoLocal.rel") && local.m_aVersions.Texts() == Names{"1"});
    ASSERT_TRUE(UpdateLocalRevisions(local, {{"a"}, {"2"}, {true}}, dir / "RelInfoLocal.rel"));
    EXPECT_EQ(dir.read("RelInfoLocal.rel"), "a; 2\r\n");
    RemoveLeftoverPartFiles(dir.str());
    EXPECT_FALSE(dir.exists(".RelInfoLocal.rel.part-Xa3b9Q") || dir.exists("201406021405/.Sampler.exe.part-k2Jd0w"));
    EXPECT_TRUE(dir.exists(".part-Xa3b9Q"));
    const auto entries = [&dir] {
        return std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator());
    };
    EXPECT_EQ(entries(), 3); // RelInfoLocal.rel, .part-Xa3b9Q and the restore directory
    // A directory in the way of the file, or no directory at all: the box and false.
    dir.write("dir.rel/x", "");
    for (const char* name : {"dir.rel", "nowhere/RelInfoLocal.rel"}) {
        EXPECT_FALSE(UpdateLocalRevisions(local, {{"a"}, {"3"}, {true}}, dir / name)) << name;
        EXPECT_TRUE(box.shown().back().text.starts_with("Error occurred! \n")) << name;
    }
    EXPECT_EQ(box.count(), 2u);
    EXPECT_EQ(entries(), 4) << "no part file stays behind a failed write"; // and dir.rel
}

TEST(StagedFiles, NamesStagingAndParentDirectories)
{
    for (const auto& [path, staged] : {std::pair{"S.exe", "upd_S.exe"}, {"/opt/S/S", "/opt/S/upd_S"},
                                       {"P\\F.dll", "P/upd_F.dll"}, {"a\\b/c.dll", "a/upd_b/c.dll"}})
        EXPECT_EQ(StagedName(path), staged) << path;
    TempDir dir;
    const std::string file = dir / "Sampler";
    EXPECT_TRUE(StageFile(file) && DeleteStagedFile(file)); // nothing to stage, nothing to delete
    dir.write("Sampler", "new old");
    dir.write("upd_Sampler", "older");
    // The older staged file is replaced; the file stays under its own name as well until a new one
    // is renamed over it, and staging is undone by dropping the second name.
    EXPECT_TRUE(StageFile(file) && dir.read("Sampler") == "new old" && dir.read("upd_Sampler") == "new old");
    EXPECT_TRUE(UnstageFile(file) && dir.read("Sampler") == "new old" && !dir.exists("upd_Sampler"));
    EXPECT_TRUE(StageFile(file));
    dir.write("Sampler.new", "newer");
    fs::rename(dir / "Sampler.new", file);
    EXPECT_EQ(dir.read("upd_Sampler"), "new old");
    EXPECT_FALSE(UnstageFile(file)) << "another file stands under the name now";
    EXPECT_TRUE(DeleteStagedFile(file) && !dir.exists("upd_Sampler") && dir.read("Sampler") == "newer");
    dir.write("x/keep", "k"); // non-empty directories under both names: the rename fails
    dir.write("upd_x/keep", "k");
    EXPECT_FALSE(StageFile(dir / "x"));
    EXPECT_TRUE(dir.exists("x/keep") && DeleteStagedFile(dir / "x") && dir.exists("upd_x/keep"));
    // Put back only where nothing stands under the name.
    dir.write("upd_Back", "staged");
    EXPECT_TRUE(UnstageFile(dir / "Back") && !dir.exists("upd_Back"));
    dir.write("upd_Back", "other");
    EXPECT_FALSE(UnstageFile(dir / "Back") || UnstageFile(dir / "None"));
    EXPECT_EQ(dir.read("Back") + dir.read("upd_Back"), "stagedother");
    EXPECT_EQ(LocalPath("/", "P\\F.dll") + " " + LocalPath("/opt/S", "P\\F.dll"), "/P/F.dll /opt/S/P/F.dll");
    // Only the last directory level is made.
    EXPECT_TRUE(CreateParentDirectory("bare") && CreateParentDirectory(dir / "P/F.dll") && fs::is_directory(dir / "P"));
    EXPECT_FALSE(CreateParentDirectory(dir / "a/b/c.dll") || dir.exists("a"));
}

// Restore directories as runs make them, with a second run in the same minute, their failures, and
// the dialog's listing of one. The old copies of an ordinary run are pinned by the update run's tests.
TEST(RestoreArchive, GrowthAndTheFilesOfOneDirectory)
{
    ScriptedBox box;
    TempDir dir;
    const std::string restore = BeginRestoreDirectory(dir.str(), "201406021405"); // no RelInfoLocal.rel to copy
    EXPECT_TRUE(KeepOldCopy(dir.str(), restore, "%Data\\settings.ini")); // a "%" name gets only its directory
    EXPECT_TRUE(KeepOldCopy(dir.str(), restore, "Missing.dll")); // nothing installed: nothing to keep
    EXPECT_TRUE(restore == dir / "201406021405" && fs::is_empty(restore) && fs::is_directory(dir / "%Data"));
    LocalRevisionList files;
    EXPECT_FALSE(ListRestoreDirectoryFiles(restore, files)); // makes an empty RelInfoLocal.rel
    EXPECT_TRUE(ListRestoreDirectoryFiles(restore, files) && files.m_aNames.Texts() == Names{"RelInfoLocal.rel"});

    // Versions go by exact name; the open completes the last line; a part file is no file of the archive.
    dir.write("RelInfoLocal.rel", "Sampler.exe; 3.10.01\r\nSAMPLER.CHM; 1.0\r\nnone;\r\nGone.dll; 1.0");
    const std::string second = BeginRestoreDirectory(dir.str(), "201406021406");
    for (const std::string name : {"Sampler.exe", "sampler.chm", "none", "Plugins/Filter.dll"}) {
        dir.write(name, "second");
        EXPECT_TRUE(KeepOldCopy(dir.str(), second, name)) << name;
    }
    dir.write("201406021406/.none.part-x8Yz0A", "half a cop");
    ASSERT_TRUE(ListRestoreDirectoryFiles(second, files));
    EXPECT_EQ(files.m_aNames.Texts(), (Names{"RelInfoLocal.rel", "Sampler.exe", "none", "sampler.chm"}));
    EXPECT_EQ(files.m_aVersions.Texts(), (Names{"-", "3.10.01", "-", "-"}));
    EXPECT_TRUE(dir.read("201406021406/RelInfoLocal.rel").ends_with("none;\r\nGone.dll; 1.0\r\n"));
    // A later run in the same minute adds to it but keeps what the first one kept: the state before
    // the first run, also after a killed run whose files had been replaced already.
    dir.write("RelInfoLocal.rel", "Sampler.exe; 3.10.02\r\n");
    dir.write("Sampler.exe", "third");
    dir.write("Readme.txt", "third");
    EXPECT_EQ(BeginRestoreDirectory(dir.str(), "201406021406"), second);
    EXPECT_TRUE(KeepOldCopy(dir.str(), second, "Sampler.exe") && KeepOldCopy(dir.str(), second, "Readme.txt"));
    EXPECT_EQ(dir.read("201406021406/Sampler.exe") + dir.read("201406021406/Readme.txt"), "secondthird");
    EXPECT_TRUE(dir.read("201406021406/RelInfoLocal.rel").starts_with("Sampler.exe; 3.10.01"));

    // Where no copy can be made, nothing says it is kept: a file in the way of the directory or of a
    // copy's directory.
    dir.write("201406021407", "a file");
    errno = 0;
    EXPECT_EQ(BeginRestoreDirectory(dir.str(), "201406021407"), "");
    EXPECT_EQ(errno, ENOTDIR);
    dir.write("Docs/Guide.txt", "guide");
    dir.write("201406021406/Docs", "a file");
    EXPECT_FALSE(KeepOldCopy(dir.str(), second, "Docs\\Guide.txt"));
    EXPECT_EQ(errno, ENOTDIR);

    // A one-byte revision file is too short to be completed; it is read as it stands.
    dir.write("201406021405/RelInfoLocal.rel", "x");
    ASSERT_TRUE(ListRestoreDirectoryFiles(restore, files));
    EXPECT_EQ(dir.read("201406021405/RelInfoLocal.rel"), "x");
    // A revision file that can't be opened: the box, and the versions stay "-".
    dir.write("201406021408/RelInfoLocal.rel/x", "");
    dir.write("201406021408/Sampler", "x");
    EXPECT_TRUE(ListRestoreDirectoryFiles(dir / "201406021408", files) && files.m_aVersions.Texts() == Names{"-"});
    EXPECT_EQ(box.count(), 1u);
    EXPECT_TRUE(!ListRestoreDirectoryFiles(dir / "missing", files) && files.m_aNames.empty());
}

TEST(RestoreArchive, ListingAndCollecting)
{
    TempDir dir;
    for (const char* file : {"201402100915/RelInfoLocal.rel", "201402100915/Sampler.exe", "201405131120/sampler.chm",
                             "201405131120/RelInfoLocal.rel", "201405131120/Sampler.exe", "201409011630/Sampler.exe",
                             "201409011630/RelInfoLocal.rel", "201405131120/P/F.dll", // never played back
                             "201409011630/.Sampler.exe.part-Q1w2e3"}) // nor a copy cut short
        dir.write(file, "");
    for (const char* name : {"20140513112", "2014051311200", "199912312359", "20abcdefghij", "201301010000"})
        fs::create_directory(dir.path() / name);
    dir.write("201501010000", "a file named like a stamp");
    RestoreDirectoryList list;
    ASSERT_TRUE(ListRestoreDirectories(list, dir.str()));
    EXPECT_EQ(list.m_aDirectories,
              (Names{"201301010000", "201402100915", "201405131120", "201409011630", "20abcdefghij"}));
    EXPECT_EQ(list.m_aTexts[4], "20ab-cd-ef   (gh:ij)");
    EXPECT_TRUE(!ListRestoreDirectories(list, dir / "201405131120") && list.m_aDirectories.empty());
    RestoreFileList files;
    ASSERT_TRUE(CollectRestoreFiles(dir / "201405131120", files));
    EXPECT_EQ(files.m_aSources, (Names{"201409011630/RelInfoLocal.rel", "201409011630/Sampler.exe",
                                       "201405131120/RelInfoLocal.rel", "201405131120/Sampler.exe",
                                       "201405131120/sampler.chm"}));
    EXPECT_EQ(files.m_aNames,
              (Names{"RelInfoLocal.rel", "Sampler.exe", "RelInfoLocal.rel", "Sampler.exe", "sampler.chm"}));
    ASSERT_TRUE(CollectRestoreFiles(dir / "201409011630", files)); // the newest: only itself
    EXPECT_EQ(files.m_aNames, (Names{"RelInfoLocal.rel", "Sampler.exe"}));
    ASSERT_TRUE(CollectRestoreFiles(dir / "201301010000", files)); // the oldest and empty: all the newer ones
    EXPECT_TRUE(files.m_aSources.size() == 7 && files.m_aSources.back() == "201402100915/Sampler.exe");
    for (const char* chosen : {"", "201401010000", "20140513112", "201405131120/201402100915"})
        EXPECT_TRUE(!CollectRestoreFiles(dir / chosen, files) && files.m_aSources.empty() && files.m_aNames.empty())
            << chosen;
}

TEST(RestoreArchive, TheListingNeverWritesThroughALink)
{
    ScriptedBox box;
    TempDir dir, outside;
    outside.write("list.rel", "Sampler.exe; 1.0"); // no CR LF: the listing would complete it
    dir.write("201406021405/Sampler.exe", "old");
    fs::create_symlink(outside / "list.rel", dir / "201406021405/RelInfoLocal.rel");
    LocalRevisionList files;
    EXPECT_TRUE(ListRestoreDirectoryFiles(dir / "201406021405", files));
    EXPECT_EQ(files.m_aVersions.Texts(), (Names{"-", "-"}));
    EXPECT_EQ(outside.read("list.rel"), "Sampler.exe; 1.0");
    EXPECT_EQ(box.count(), 1u) << "told like any revision file that can't be opened";
}
