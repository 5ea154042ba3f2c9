// The Qt file dialog: filters, the real dialog, a worker's request, the application's end, a text file asking.
#include "UpdateDlgTestSupport.h"
#include "frontend/QtFileChooser.h"
#include "textfile/CTextFile.h"
#include <QtWidgets>

inline void PrintTo(const QString& text, std::ostream* os) { *os << '"' << text.toStdString() << '"'; }

using namespace kau;
using namespace kau::test;
using Dialog = QFileDialog;
using Button = QDialogButtonBox::StandardButton;

namespace {

const char* const kTextFilter = "All Files (*.*)|*.*|Text Files (*.txt)|*.txt||";

FileChoice textChoice(const std::string& at, bool open = true) { return {"", "", kTextFilter, at, "*.txt", open}; }
QLineEdit& nameEdit(Dialog& dialog) { return *dialog.findChild<QLineEdit*>("fileNameEdit"); }
QPushButton& button(Dialog& dialog, Button which) { return *dialog.findChild<QDialogButtonBox*>()->button(which); }
void typeAndAccept(Dialog& dialog, const QString& text)
{
    nameEdit(dialog).setText(text);
    button(dialog, dialog.acceptMode() == Dialog::AcceptOpen ? Button::Open : Button::Save).click();
}
// The chooser on the GUI thread in the host's loop; act answers the dialog.
std::optional<std::string> chooseWith(const FileChoice& choice, std::function<void(Dialog&)> act)
{
    std::optional<std::string> result{"not run"};
    runInAppLoop([&] { atModal(std::move(act)); result = chooseFile(choice); });
    return result;
}

struct QtFileChooserTest : ::testing::Test {
    void SetUp() override { CKorAutoUpdateApp::ensureQtApplication(); installFileChooser(nullptr); QtFileChooser::installDefault(); }
    TempDir dir;
};

} // namespace

TEST(QtFileChooserFilter, PairsBecomeQtNameFiltersAndOddInputNeverBreaks)
{
    const struct { std::string text; QStringList filters; } cases[] = {
        {kTextFilter, {"All Files (*.*) (*)", "Text Files (*.txt) (*.txt)"}},
        {"Pictures|*.png;*.jpg; *.gif ;|Lists|*.rel||", {"Pictures (*.png *.jpg *.gif)", "Lists (*.rel)"}},
        {"A|*.a||B|*.b", {"A (*.a)"}}, {"A|*.a|B", {"A (*.a)"}}, // ends at an empty field; a lone label goes
        {"A|;; |B|(*.b)|C| *.c) ", {"B (*.b)", "C (*.c)"}},   // no usable pattern; no brackets for Qt
        {"  Ärger  |*.ä", {"Ärger (*.ä)"}}, {"", {}}, {"Label||*.a", {}}, {"|*.a|B|*.b", {}}};
    for (const auto& c : cases)
        EXPECT_EQ(QtFileChooser::nameFilters(c.text), c.filters) << c.text;
    // Odd bytes: a NUL stays inside its field, a byte that is no UTF-8 becomes U+FFFD.
    const QString replaced = QString(QChar::ReplacementCharacter);
    EXPECT_EQ(QtFileChooser::nameFilters(std::string(5000, '|') + "x"), QStringList());
    EXPECT_EQ(QtFileChooser::nameFilters(std::string("A\0B|*.\0a|\xff\xfe|\x80", 13)),
              QStringList({QString::fromUtf8("A\0B (*.\0a)", 10), replaced + replaced + " (" + replaced + ")"}));
    const std::pair<const char*, const char*> suffixes[] = {{"*.txt", "txt"}, {".txt", "txt"}, {"txt", "txt"},
        {"tar.gz", "tar.gz"}, {"", ""}, {"*.*", ""}, {"*.t?t", ""}, {"a b", ""}, {"*.a;*.b", ""}, {"x/y", ""}};
    for (const auto& [extension, suffix] : suffixes)
        EXPECT_EQ(QtFileChooser::defaultSuffix(extension), QString(suffix)) << extension;
}

TEST_F(QtFileChooserTest, OpenTakesOnlyAnExistingFileSaveAddsTheSuffixAndAsksBeforeOverwriting)
{
    dir.write("old.txt", "keep");
    EXPECT_EQ(chooseWith(textChoice(dir.str()), [&](Dialog& dialog) {
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), dir.str());
        EXPECT_EQ(dialog.nameFilters(), QtFileChooser::nameFilters(kTextFilter));
        nameEdit(dialog).setText("missing.txt");
        EXPECT_FALSE(button(dialog, Button::Open).isEnabled()) << "an open dialog takes existing files only";
        typeAndAccept(dialog, "old.txt");
    }), dir / "old.txt");
    EXPECT_EQ(chooseWith(textChoice(dir.str()), [](Dialog& d) { button(d, Button::Cancel).click(); }), std::nullopt);
    EXPECT_EQ(chooseWith(textChoice(dir.str(), false), [](Dialog& d) { typeAndAccept(d, "report"); }), dir / "report.txt");
    EXPECT_FALSE(dir.exists("report.txt")) << "choosing writes nothing";
    int questions = 0;
    EXPECT_EQ(chooseWith(textChoice(dir.str(), false), [&](Dialog& dialog) {
        atModal<QMessageBox>([&](QMessageBox& question) { ++questions; question.button(QMessageBox::Yes)->click(); });
        typeAndAccept(dialog, "old");
    }), dir / "old.txt");
    EXPECT_TRUE(questions == 1 && dir.read("old.txt") == "keep");
}

TEST_F(QtFileChooserTest, WorkerRequestIsShownOnTheGuiThreadAndCancelAllOrTheQuitEndItsWait)
{
    // The GUI thread serves no events here (as when the library goes): only the cancel ends the wait.
    std::optional<std::string> result{"not run"};
    std::thread worker([&] { result = chooseFile(textChoice(dir.str())); });
    EXPECT_TRUE(waitUntil([] { return QtFileChooser::waiting() == 1; }));
    QtFileChooser::cancelAll();
    worker.join();
    EXPECT_EQ(result, std::nullopt);
    // Served on the GUI thread while the worker waits; a quit while the dialog is up gives no file.
    dir.write("picked.txt", "");
    for (const bool quit : {false, true}) {
        bool workerWaits = false;
        EXPECT_TRUE(runInAppLoop([&] {
            atModal<Dialog>([&](Dialog& dialog) {
                workerWaits = QtFileChooser::waiting() == 1;
                quit ? QCoreApplication::quit() : typeAndAccept(dialog, "picked.txt");
            });
            worker = std::thread([&] {
                result = chooseFile(textChoice(dir.str()));
                if (!quit)
                    QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
            });
        }, true));
        worker.join();
        EXPECT_TRUE(workerWaits);
        EXPECT_EQ(result, quit ? std::nullopt : std::optional(dir / "picked.txt"));
    }
}

TEST_F(QtFileChooserTest, TextFileThatCannotOpenAsksTheDialogAndWritesTheChosenFile)
{
    ScriptedBox box;
    dir.write("chosen.txt", "first");
    CTextFile file;
    int opened = -1;
    runInAppLoop([&] {
        atModal<Dialog>([&](Dialog& dialog) {
            EXPECT_EQ(dialog.windowTitle().toStdString(), "open file..." + dir / "gone/data.txt");
            typeAndAccept(dialog, QString::fromStdString(dir / "chosen.txt"));
        });
        opened = file.OpenForWrite(dir / "gone/data.txt", false, true);
    });
    ASSERT_EQ(opened, 1);
    EXPECT_EQ(file.AppendLine("second"), 1);
    file.Close();
    EXPECT_EQ(dir.read("chosen.txt"), "first\r\nsecond\r\n");
    EXPECT_TRUE(!dir.exists("gone") && box.count() == 0);
}
