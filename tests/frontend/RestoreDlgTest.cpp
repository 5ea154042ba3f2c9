// The restore dialog through its opener, on real restore directories: the list, the columns and the
// slider that scrolls them, the warnings for releases that can't restore, and what the opener gets back.
#include "UpdateDlgTestSupport.h"
#include "frontend/CRestoreDlg.h"
#include "flows/UpdateRunTestSupport.h"
#include <QtWidgets>
#include <chrono>
#include <optional>

using namespace kau;
using namespace kau::test;
using Lines = std::vector<std::string>;
using Columns = std::pair<std::string, std::string>; // file names, versions

namespace {

const std::string kWarning = "This release does not support restore functionality!\n"
                             "If you choose and restore this release, no other revisions can be restored.\n\n";
const std::string kQuestion = kWarning + "Press <YES> to continue, or <NO> to cancel this action\n";

Lines listTexts(const CRestoreDlg& dialog)
{
    Lines texts;
    for (int row = 0; row < dialog.restoreList()->count(); ++row)
        texts.push_back(dialog.restoreList()->item(row)->text().toStdString());
    return texts;
}
// The two columns as the user reads them: file names, then versions.
Columns columns(const CRestoreDlg& dialog)
{
    return {dialog.filesColumn()->text().toStdString(), dialog.releasesColumn()->text().toStdString()};
}
void select(CRestoreDlg& dialog, int row) { dialog.restoreList()->setCurrentRow(row); }

struct RestoreDlgTest : ::testing::Test {
    // A restore directory holding files (content irrelevant) and, if given, its RelInfoLocal.rel.
    void archive(const std::string& stamp, const Lines& files, const Lines& revisions = {}) const
    {
        for (const std::string& file : files)
            install.write(stamp + "/" + file, "old copy of " + file);
        if (!revisions.empty())
            install.write(stamp + "/RelInfoLocal.rel", revisionFile(revisions));
    }
    // Opens the dialog through its opener and runs act on it once its list is filled.
    std::optional<std::string> choose(const std::function<void(CRestoreDlg&)>& act) const
    {
        std::optional<std::string> chosen{"not returned"};
        EXPECT_TRUE(runInAppLoop([&] {
            atModal<CRestoreDlg>(act, [](CRestoreDlg& dialog) { return !dialog.fillTimerActive(); });
            chosen = ChooseRestoreRevision(install.str());
        }));
        return chosen;
    }
    TempDir install;
    ScriptedBox box;
};

} // namespace

TEST_F(RestoreDlgTest, ListsTheArchiveAndItsColumnsShowTheSelectedDirectoryFromTheSlidersPositionOn)
{
    archive("201402100915", {"Sampler.exe"});
    archive("201405131120", {"Sampler.exe", "a.dll", "b.dll", "c.dat", "d.txt"},
            {"Sampler.exe; 1.02.00", "b.dll; 2.00.01", "d.txt; 4.00.00"});
    archive("201409011630", {"Sampler.exe", "e.dll"});

    const std::string allNames = "RelInfoLocal.rel\nSampler.exe\na.dll\nb.dll\nc.dat\nd.txt\n";
    const std::string allVersions = "-\n1.02.00\n-\n2.00.01\n-\n4.00.00\n";
    std::chrono::steady_clock::time_point moved;
    std::chrono::milliseconds followedAfter{};
    const auto chosen = choose([&](CRestoreDlg& dialog) {
        EXPECT_EQ(listTexts(dialog), (Lines{"2014-02-10   (09:15)", "2014-05-13   (11:20)", "2014-09-01   (16:30)"}));
        EXPECT_TRUE(dialog.restoreList()->selectedItems().isEmpty());
        EXPECT_EQ(columns(dialog), Columns("---", "---"));

        select(dialog, 1);
        EXPECT_EQ(columns(dialog), Columns(allNames, allVersions));
        EXPECT_EQ(dialog.slider()->minimum(), 0);
        EXPECT_EQ(dialog.slider()->maximum(), 5);

        // Dragging: the columns follow the slider on their own, top line = slider position.
        dialog.slider()->setValue(3);
        moved = std::chrono::steady_clock::now();
        onceTrue([&, d = &dialog] { return columns(*d).first == "b.dll\nc.dat\nd.txt\n"; }, [&, d = &dialog] {
            followedAfter = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - moved);
            EXPECT_EQ(columns(*d).second, "2.00.01\n-\n4.00.00\n");
            EXPECT_EQ(d->m_nFirstShown, 3);

            // Releasing the slider shows its position at once.
            d->slider()->setValue(1);
            emit d->slider()->sliderReleased();
            EXPECT_EQ(columns(*d).first, allNames.substr(allNames.find('\n') + 1));

            // Another directory starts again at the top; a single file gives the range 0 to 0.
            select(*d, 2);
            EXPECT_EQ(d->slider()->value(), 0);
            EXPECT_EQ(columns(*d), Columns("Sampler.exe\ne.dll\n", "-\n-\n"));
            select(*d, 0);
            EXPECT_EQ(d->slider()->maximum(), 0);
            EXPECT_EQ(columns(*d), Columns("Sampler.exe\n", "-\n"));
            d->abortButton()->click();
        });
    });
    EXPECT_EQ(chosen, std::nullopt);
    EXPECT_LT(followedAfter, std::chrono::milliseconds(2000)) << "the columns follow a 100 ms timer";
    EXPECT_EQ(box.count(), 0u);
}

TEST_F(RestoreDlgTest, OldReleasesWarnOnSelectionAndAskOnRestoreYesGoesOnNoCancels)
{
    archive("201003282359", {"Sampler.exe"});
    archive("201003290000", {"Sampler.exe"});
    archive("20xxxxxxxxxx", {"Sampler.exe"});

    // The first day that supports restore gives no warning, the day before and a name with letters do;
    // the selection stays and the columns fill all the same. No to the question cancels.
    box.answer(BoxAnswer::Ok);
    box.answer(BoxAnswer::Ok);
    box.answer(BoxAnswer::No);
    EXPECT_EQ(choose([&](CRestoreDlg& dialog) {
                  select(dialog, 1);
                  EXPECT_EQ(box.count(), 0u);
                  select(dialog, 2);
                  select(dialog, 0);
                  EXPECT_EQ(dialog.restoreList()->currentRow(), 0);
                  EXPECT_EQ(columns(dialog).first, "Sampler.exe\n");
                  dialog.restoreButton()->click();
              }),
              std::nullopt);
    ASSERT_EQ(box.count(), 3u);
    for (const auto& [i, text, buttons, icon] : {std::tuple{0, kWarning, BoxButtons::Ok, BoxIcon::None},
                                                 {1, kWarning, BoxButtons::Ok, BoxIcon::None},
                                                 {2, kQuestion, BoxButtons::YesNo, BoxIcon::Exclamation}})
        EXPECT_TRUE(box.shown()[i].text == text && box.shown()[i].buttons == buttons && box.shown()[i].icon == icon) << i << box.shown()[i].text;

    box.answer(BoxAnswer::Ok);
    box.answer(BoxAnswer::Yes);
    EXPECT_EQ(choose([](CRestoreDlg& dialog) { select(dialog, 0); dialog.restoreButton()->click(); }), "201003282359");
    EXPECT_EQ(box.count(), 5u);

    EXPECT_EQ(choose([](CRestoreDlg& dialog) { select(dialog, 1); dialog.restoreButton()->click(); }), "201003290000");
    EXPECT_EQ(box.count(), 5u);
}

TEST_F(RestoreDlgTest, RestoreWithoutSelectionGivesAnEmptyNameAbortAndCloseGiveNothing)
{
    // Neither a directory of ten characters nor a file named like a stamp is a restore directory.
    install.write("2014060214/Sampler.exe", "x");
    install.write("201406021405", "x");
    EXPECT_EQ(choose([](CRestoreDlg& dialog) {
                  EXPECT_EQ(dialog.restoreList()->count(), 0);
                  dialog.restoreButton()->click();
              }),
              "");

    // Before the first selection the slider has nothing to show: moving it empties both columns.
    archive("201406021406", {"Sampler.exe"});
    EXPECT_EQ(choose([](CRestoreDlg& dialog) {
                  dialog.slider()->setValue(2);
                  onceTrue([d = &dialog] { return columns(*d) == Columns(); }, [d = &dialog] { d->restoreButton()->click(); });
              }),
              "");
    EXPECT_EQ(choose([](CRestoreDlg& dialog) { select(dialog, 0); dialog.abortButton()->click(); }), std::nullopt);
    EXPECT_EQ(choose([](CRestoreDlg& dialog) { select(dialog, 0); dialog.close(); }), std::nullopt);
    EXPECT_EQ(box.count(), 0u);
}
