// The Qt file dialog: the filter text as Qt name filters, the real dialog
// answered under offscreen in real temporary directories, a request from a
// worker thread, the application's end, and a text file that asks the user.
#include "UpdateDlgTestSupport.h"

#include "frontend/QtFileChooser.h"
#include "textfile/CTextFile.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include <atomic>
#include <thread>

inline void PrintTo(const QString& text, std::ostream* os) { *os << '"' << text.toStdString() << '"'; }

using namespace kau;
using namespace kau::test;

namespace {

const char* const kTextFilter = "All Files (*.*)|*.*|Text Files (*.txt)|*.txt||";

// Installs a chooser for the lifetime of a test.
class Installed {
public:
    explicit Installed(FileChooser* chooser) : m_previous(installFileChooser(chooser)) {}
    ~Installed() { installFileChooser(m_previous); }

private:
    FileChooser* m_previous;
};

QFileDialog* shownFileDialog() { return qobject_cast<QFileDialog*>(QApplication::activeModalWidget()); }

// Calls action with the file dialog once it is shown.
void atFileDialog(std::function<void(QFileDialog&)> action)
{
    onceTrue([] { return shownFileDialog() != nullptr; },
             [action = std::move(action)] { action(*shownFileDialog()); });
}

QLineEdit* nameEdit(QFileDialog& dialog) { return dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit")); }

QPushButton* acceptButton(QFileDialog& dialog)
{
    auto* box = dialog.findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"));
    return box->button(dialog.acceptMode() == QFileDialog::AcceptOpen ? QDialogButtonBox::Open
                                                                      : QDialogButtonBox::Save);
}

void typeAndAccept(QFileDialog& dialog, const QString& text)
{
    nameEdit(dialog)->setText(text);
    acceptButton(dialog)->click();
}

void cancel(QFileDialog& dialog)
{
    dialog.findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))->button(QDialogButtonBox::Cancel)->click();
}

FileChoice textChoice(const std::string& directory, bool forOpen)
{
    FileChoice choice;
    choice.title = forOpen ? "open file..." : "save file...";
    choice.filter = kTextFilter;
    choice.initialDirectory = directory;
    choice.defaultExtension = "*.txt";
    choice.forOpen = forOpen;
    return choice;
}

class QtFileChooserTest : public DialogTest {
protected:
    // Runs the chooser on the GUI thread inside the event loop; act answers
    // the dialog once it is shown.
    std::optional<std::string> chooseWith(const FileChoice& choice, std::function<void(QFileDialog&)> act)
    {
        std::optional<std::string> result{"not run"};
        runInAppLoop([&] {
            atFileDialog(std::move(act));
            result = chooser.choose(choice);
        });
        return result;
    }

    QtFileChooser chooser;
    TempDir dir;
};

} // namespace

TEST(QtFileChooserFilterTest, PairsBecomeQtNameFilters)
{
    EXPECT_EQ(QtFileChooser::nameFilters(kTextFilter),
              (QStringList{"All Files (*.*) (*)", "Text Files (*.txt) (*.txt)"}));
    EXPECT_EQ(QtFileChooser::nameFilters("Logs|*.log"), (QStringList{"Logs (*.log)"}));
    EXPECT_EQ(QtFileChooser::nameFilters("Pictures|*.png;*.jpg; *.gif ;|Lists|*.rel||"),
              (QStringList{"Pictures (*.png *.jpg *.gif)", "Lists (*.rel)"}));
}

TEST(QtFileChooserFilterTest, OddInputEndsOrSkipsButNeverBreaks)
{
    for (const char* empty : {"", "|", "||", "|||", "Label", "Label|", "Label||*.a", "|*.a|B|*.b"})
        EXPECT_TRUE(QtFileChooser::nameFilters(empty).isEmpty()) << empty;
    // The list ends at the first empty field, a dangling label is left out.
    EXPECT_EQ(QtFileChooser::nameFilters("A|*.a||B|*.b"), (QStringList{"A (*.a)"}));
    EXPECT_EQ(QtFileChooser::nameFilters("A|*.a|B"), (QStringList{"A (*.a)"}));
    // A pair without a usable pattern is skipped; brackets would confuse Qt.
    EXPECT_EQ(QtFileChooser::nameFilters("A|;; |B|(*.b)|C| *.c) "), (QStringList{"B (*.b)", "C (*.c)"}));
    EXPECT_EQ(QtFileChooser::nameFilters("  Ärger  |*.ä"), (QStringList{"Ärger (*.ä)"}));
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += i % 7 ? "x|" : "|";
    EXPECT_NO_THROW(QtFileChooser::nameFilters(many));
    EXPECT_NO_THROW(QtFileChooser::nameFilters(std::string("A\0B|*.\0a", 9)));
}

TEST(QtFileChooserFilterTest, DefaultSuffixIsTheBareExtension)
{
    EXPECT_EQ(QtFileChooser::defaultSuffix("*.txt"), QStringLiteral("txt"));
    EXPECT_EQ(QtFileChooser::defaultSuffix(".txt"), QStringLiteral("txt"));
    EXPECT_EQ(QtFileChooser::defaultSuffix("txt"), QStringLiteral("txt"));
    EXPECT_EQ(QtFileChooser::defaultSuffix("tar.gz"), QStringLiteral("tar.gz"));
    for (const char* none : {"", "*", "*.*", ".", "*.t?t", "a b", "*.a;*.b", "x/y"})
        EXPECT_TRUE(QtFileChooser::defaultSuffix(none).isEmpty()) << none;
}

TEST_F(QtFileChooserTest, OpenDialogIsSetUpFromTheChoiceAndCancelGivesNothing)
{
    FileChoice choice = textChoice(dir.str(), true);
    choice.title = "open file...plan.txt";
    choice.name = "plan.txt";
    bool seen = false;
    const auto result = chooseWith(choice, [&](QFileDialog& dialog) {
        seen = true;
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("open file...plan.txt"));
        EXPECT_TRUE(dialog.testOption(QFileDialog::DontUseNativeDialog));
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptOpen);
        EXPECT_EQ(dialog.fileMode(), QFileDialog::ExistingFile);
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), dir.str());
        EXPECT_EQ(nameEdit(dialog)->text(), QStringLiteral("plan.txt"));
        EXPECT_EQ(dialog.defaultSuffix(), QStringLiteral("txt"));
        auto* types = dialog.findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
        ASSERT_NE(types, nullptr);
        ASSERT_EQ(types->count(), 2);
        EXPECT_EQ(types->itemText(0), QStringLiteral("All Files (*.*)"));
        EXPECT_EQ(types->itemText(1), QStringLiteral("Text Files (*.txt)"));
        cancel(dialog);
    });
    EXPECT_TRUE(seen);
    EXPECT_EQ(result, std::nullopt);
}

TEST_F(QtFileChooserTest, OpenDialogGivesTheFullPathOfAnExistingFileOnly)
{
    dir.write("notes.txt", "a\r\n");
    bool missingRefused = false;
    const auto result = chooseWith(textChoice(dir.str(), true), [&](QFileDialog& dialog) {
        nameEdit(dialog)->setText(QStringLiteral("missing.txt"));
        missingRefused = !acceptButton(dialog)->isEnabled();
        typeAndAccept(dialog, QStringLiteral("notes.txt"));
    });
    EXPECT_TRUE(missingRefused) << "an open dialog must not take a file that does not exist";
    EXPECT_EQ(result, dir / "notes.txt");
}

TEST_F(QtFileChooserTest, SaveDialogAddsTheDefaultExtensionToABareName)
{
    const auto bare = chooseWith(textChoice(dir.str(), false), [](QFileDialog& dialog) {
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptSave);
        typeAndAccept(dialog, QStringLiteral("report"));
    });
    EXPECT_EQ(bare, dir / "report.txt");
    EXPECT_FALSE(dir.exists("report.txt")) << "choosing writes nothing";

    const auto withOwn = chooseWith(textChoice(dir.str(), false),
                                    [](QFileDialog& dialog) { typeAndAccept(dialog, QStringLiteral("report.log")); });
    EXPECT_EQ(withOwn, dir / "report.log");
}

TEST_F(QtFileChooserTest, SaveDialogAsksBeforeOverwriting)
{
    dir.write("old.txt", "keep");
    int questions = 0;
    bool stayedAfterNo = false;
    const auto result = chooseWith(textChoice(dir.str(), false), [&](QFileDialog& dialog) {
        auto answer = [&](QMessageBox::StandardButton button, std::function<void()> then) {
            onceTrue([] { return qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) != nullptr; },
                     [&questions, button, then] {
                         auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                         ++questions;
                         question->button(button)->click();
                         then();
                     });
        };
        answer(QMessageBox::No, [&] {
            answer(QMessageBox::Yes, [] {});
            onceTrue([&] { return shownFileDialog() == &dialog; }, [&] {
                stayedAfterNo = dialog.isVisible();
                acceptButton(dialog)->click();
            });
        });
        typeAndAccept(dialog, QStringLiteral("old"));
    });
    EXPECT_EQ(questions, 2);
    EXPECT_TRUE(stayedAfterNo);
    EXPECT_EQ(result, dir / "old.txt");
    EXPECT_EQ(dir.read("old.txt"), "keep");
}

TEST_F(QtFileChooserTest, SuggestedNameWithADirectoryStartsThere)
{
    dir.write("sub/data.txt", "x");
    TempDir other;
    FileChoice choice = textChoice(other.str(), true);
    choice.name = dir / "sub/data.txt";
    const auto result = chooseWith(choice, [&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), dir / "sub");
        EXPECT_EQ(nameEdit(dialog)->text(), QStringLiteral("data.txt"));
        acceptButton(dialog)->click();
    });
    EXPECT_EQ(result, dir / "sub/data.txt");
}

TEST_F(QtFileChooserTest, WorkerThreadRequestIsShownOnTheGuiThread)
{
    dir.write("picked.txt", "");
    std::optional<std::string> result;
    std::atomic<bool> workerReturned{false};
    bool workerWaitedForTheDialog = false;
    bool dialogOnGuiThread = false;
    std::thread worker;
    bool endedByQuit = false;
    runInAppLoop(
        [&] {
            atFileDialog([&](QFileDialog& dialog) {
                workerWaitedForTheDialog = !workerReturned;
                dialogOnGuiThread = dialog.thread() == qApp->thread();
                typeAndAccept(dialog, QStringLiteral("picked.txt"));
            });
            worker = std::thread([&] {
                result = chooser.choose(textChoice(dir.str(), true));
                workerReturned = true;
                QMetaObject::invokeMethod(qApp, [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
            });
        },
        &endedByQuit);
    worker.join();
    EXPECT_TRUE(endedByQuit);
    EXPECT_TRUE(workerWaitedForTheDialog);
    EXPECT_TRUE(dialogOnGuiThread);
    EXPECT_EQ(result, dir / "picked.txt");
}

TEST_F(QtFileChooserTest, CancelAllEndsAWorkersWaitWithoutADialog)
{
    // The GUI thread handles no events here, so a worker's request can only
    // end through the cancel.
    std::optional<std::string> result{"not run"};
    QtFileChooser::cancelAll();
    std::thread after([&] { result = chooser.choose(textChoice(dir.str(), true)); });
    after.join();
    EXPECT_EQ(result, std::nullopt) << "a request after the cancel ends at once";
    QCoreApplication::processEvents();

    // A request queued before the cancel ends too, and is dropped, not shown.
    result = "not run";
    std::thread worker([&] { result = chooser.choose(textChoice(dir.str(), true)); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (QtFileChooser::waiting() == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(QtFileChooser::waiting(), 1);
    QtFileChooser::cancelAll();
    worker.join();
    EXPECT_EQ(result, std::nullopt);
    EXPECT_EQ(QtFileChooser::waiting(), 0);

    bool shown = false;
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [&] {
        if (QFileDialog* dialog = shownFileDialog()) {
            shown = true;
            dialog->reject();
        }
    });
    guard.start(2);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
    guard.stop();
    EXPECT_FALSE(shown);

    // Once the GUI thread has handled events, requests are served again.
    dir.write("again.txt", "");
    bool endedByQuit = false;
    runInAppLoop(
        [&] {
            atFileDialog([](QFileDialog& dialog) { typeAndAccept(dialog, QStringLiteral("again.txt")); });
            worker = std::thread([&] {
                result = chooser.choose(textChoice(dir.str(), true));
                QMetaObject::invokeMethod(qApp, [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
            });
        },
        &endedByQuit);
    worker.join();
    EXPECT_EQ(result, dir / "again.txt");
}

TEST_F(QtFileChooserTest, DefaultIsInstalledOnlyWhereNoneIsAndTheQuitEndsAWait)
{
    Installed none(nullptr);
    QtFileChooser mine;
    installFileChooser(&mine);
    QtFileChooser::installDefault();
    EXPECT_EQ(installedFileChooser(), &mine);
    installFileChooser(nullptr);
    QtFileChooser::installDefault();
    FileChooser* byDefault = installedFileChooser();
    EXPECT_NE(dynamic_cast<QtFileChooser*>(byDefault), nullptr);
    QtFileChooser::installDefault();
    EXPECT_EQ(installedFileChooser(), byDefault);

    // The application quits while a worker's dialog is up: the worker gets no file.
    std::optional<std::string> result{"not run"};
    std::thread worker;
    bool endedByQuit = false;
    runInAppLoop(
        [&] {
            atFileDialog([](QFileDialog&) { QCoreApplication::quit(); });
            worker = std::thread([&] { result = chooseFile(textChoice(dir.str(), true)); });
        },
        &endedByQuit);
    worker.join();
    EXPECT_TRUE(endedByQuit);
    EXPECT_EQ(result, std::nullopt);
}

TEST_F(QtFileChooserTest, TextFileThatCannotOpenAsksTheDialogAndWritesTheChosenFile)
{
    ScriptedBox box;
    Installed installed(&chooser);
    dir.write("chosen.txt", "first");
    const std::string unreachable = dir / "gone/data.txt";
    CTextFile file;
    int opened = -1;
    QString title;
    runInAppLoop([&] {
        atFileDialog([&](QFileDialog& dialog) {
            title = dialog.windowTitle();
            typeAndAccept(dialog, QString::fromStdString(dir / "chosen.txt"));
        });
        opened = file.OpenForWrite(unreachable, false, true);
    });
    ASSERT_EQ(opened, 1);
    EXPECT_EQ(title.toStdString(), "open file..." + unreachable);
    EXPECT_EQ(file.Name(), "chosen.txt");
    EXPECT_EQ(file.AppendLine("second"), 1);
    file.Close();
    EXPECT_EQ(dir.read("chosen.txt"), "first\r\nsecond\r\n");
    EXPECT_FALSE(dir.exists("gone"));
    EXPECT_EQ(box.count(), 0u);
}
