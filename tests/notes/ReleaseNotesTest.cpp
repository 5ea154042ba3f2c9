// The release notes: the export as a plain viewer, a page in each view (shown, and shown safely), and
// the three ways on to the installer.
#include "frontend/CRestoreDlg.h"
#include "frontend/FrontEndNotesHandOff.h"
#include "frontend/QuitHost.h"
#include "frontend/UpdateDlgTestSupport.h"
#include "korautoupdate.h"
#include "notes/CExplorer1.h"
#include "notes/CReleaseNotesDlg.h"
#include "support/ScopedEnv.h"
#include <QDesktopServices>
#include <QTcpServer>
#include <QTest>
#include <QTextBrowser>
#include <set>
#ifdef KAU_HAVE_WEBENGINE
#include <QWebEnginePage>
#include <QWebEngineView>
#endif
#include <unistd.h>

using namespace kau;
using namespace kau::test;

namespace {

const std::string kVersionTitle = "KorAutoUpdate Release Notes Version: 3.0.0";
const std::string kPage = "<html><body><h1>Sampler 3.1</h1><p>Fixed the printing.</p></body></html>";

enum class View { Web, Text };

// Selects the view the dialog ends up with; the web view as a host would run it (as root without the
// sandbox, which only the host may decide).
struct ViewChoice {
    ScopedEnv noWeb, sandbox;
    explicit ViewChoice(View view)
        : noWeb("KORAUTOUPDATE_NO_WEBENGINE", view == View::Text ? "1" : nullptr),
          sandbox("QTWEBENGINE_DISABLE_SANDBOX", view == View::Web && ::geteuid() == 0 ? "1" : std::getenv("QTWEBENGINE_DISABLE_SANDBOX"))
    {
    }
};

std::string text(const QString& s) { return s.toStdString(); }

// Hands the shown page's plain text to then, once the view has it.
void plainTextOf(CReleaseNotesDlg& dialog, std::function<void(std::string)> then)
{
#ifdef KAU_HAVE_WEBENGINE
    if (auto* web = qobject_cast<QWebEngineView*>(dialog.view()->widget()))
        return web->page()->toPlainText([then](const QString& s) { then(text(s)); });
#endif
    then(text(qobject_cast<QTextBrowser*>(dialog.view()->widget())->toPlainText()));
}

// Runs the dialog in the host's loop; once the page is shown calls check, which ends the dialog when done.
bool runShowing(CReleaseNotesDlg& dialog, const std::function<void()>& check)
{
    bool shown = false;
    QObject::connect(&dialog, &CReleaseNotesDlg::pageShown, &dialog, [&](bool ok) { shown = ok; });
    return runInAppLoop([&] {
        onceTrue([&] { return shown; }, check);
        dialog.DoModal();
    });
}

// Accepts the connections of whoever asks for something on 127.0.0.1.
struct TraceServer : QTcpServer {
    int connections = 0;
    TraceServer()
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                ++connections;
                socket->setParent(this);
            }
        });
    }
    std::string url(const std::string& name) const { return "http://127.0.0.1:" + std::to_string(serverPort()) + "/" + name; }
};

} // namespace

// Records the links that the dialog hands to the system's browser.
class LinkRecorder : public QObject {
    Q_OBJECT
public:
    LinkRecorder() { QDesktopServices::setUrlHandler("http", this, "open"); }
    ~LinkRecorder() override { QDesktopServices::unsetUrlHandler("http"); }
    std::vector<std::string> links;
public slots:
    void open(const QUrl& url) { links.push_back(text(url.toString())); }
};

TEST(ReleaseInfo, PlainViewerWithoutButtonsEndsOnCloseAfterTheWebViewsBoxInTheTextView)
{
    ViewChoice textView(View::Text);
    CKorAutoUpdateApp::ensureQtApplication();
    WorkDir work;
    work.write("notes.html", kPage);
    ScriptedBox box;
    bool checked = false;
    atModal<CReleaseNotesDlg>(
        [&](CReleaseNotesDlg& d) {
            EXPECT_EQ(text(d.windowTitle()), kVersionTitle);
            for (QPushButton* b : {d.exitButton(), d.installNewButton(), d.installAllButton(), d.restoreOlderButton()})
                EXPECT_FALSE(b->isVisible()) << text(b->text());
            EXPECT_FALSE(d.placeholder()->isVisible());
            EXPECT_EQ(d.view()->widget()->geometry(), d.rect()) << "the view fills the client area";
            EXPECT_NE(text(qobject_cast<QTextBrowser*>(d.view()->widget())->toPlainText()).find("Sampler 3.1"), std::string::npos);
            checked = true;
            d.close();
        },
        [](CReleaseNotesDlg& d) { return d.isVisible() && d.view(); });
    ASSERT_TRUE(runInAppLoop([] { EXPECT_TRUE(ReleaseInfo("notes.html")); })); // relative to the current directory
    EXPECT_TRUE(checked);
    ASSERT_EQ(box.count(), 1u);
    EXPECT_EQ(box.shown()[0].text,
              "Last Error from Window:\nthe web view is switched off (KORAUTOUPDATE_NO_WEBENGINE)");
    EXPECT_EQ(box.shown()[0].buttons, BoxButtons::Ok);
}

TEST(ReleaseNotes, WebViewShowsThePageUnderTheTitleWithItsButtonsOnTopAndRefusesRootWithItsSandbox)
{
    if (!CExplorer1::Built())
        GTEST_SKIP() << "built without Qt WebEngine";
    CKorAutoUpdateApp::ensureQtApplication();
    if (::geteuid() == 0) { // Chromium would end the process: refused before it is touched
        ScopedEnv sandbox("QTWEBENGINE_DISABLE_SANDBOX", nullptr);
        QWidget parent;
        CExplorer1 explorer;
        EXPECT_FALSE(explorer.Create(&parent, QRect(0, 0, 100, 100)));
        EXPECT_NE(explorer.failureReason().find("QTWEBENGINE_DISABLE_SANDBOX=1"), std::string::npos);
    }
    ViewChoice webView(View::Web);
    TempDir dir;
    dir.write("LatestUpdate.html", kPage);
    ScriptedBox box;
    CReleaseNotesDlg dialog;
    dialog.m_strPage = dir / "LatestUpdate.html";
    dialog.m_strTitle = " <<<  Last Software Updates on <localhost>  (KORVANE AG Varnland)  >>>";
    dialog.m_bInstallButtons = true;
    std::string shownText;
    ASSERT_TRUE(runShowing(dialog, [&] {
        EXPECT_EQ(text(dialog.windowTitle()), dialog.m_strTitle + kVersionTitle);
#ifdef KAU_HAVE_WEBENGINE
        ASSERT_TRUE(qobject_cast<QWebEngineView*>(dialog.view()->widget()));
#endif
        for (QPushButton* b : {dialog.exitButton(), dialog.installNewButton(), dialog.installAllButton(), dialog.restoreOlderButton()})
            EXPECT_EQ(dialog.childAt(b->mapTo(&dialog, b->rect().center())), b) << text(b->text()) << " is reachable";
        plainTextOf(dialog, [&](std::string s) { shownText = s; dialog.close(); });
    }));
    EXPECT_NE(shownText.find("Sampler 3.1\n\nFixed the printing."), std::string::npos) << shownText;
    EXPECT_EQ(box.count(), 0u);
}

TEST(ReleaseNotes, AnUntrustedPageRunsNoScriptLoadsNothingRemoteAndItsLinksGoToTheSystemsBrowser)
{
    for (View view : {View::Web, View::Text}) {
        if (view == View::Web && !CExplorer1::Built())
            continue;
        SCOPED_TRACE(view == View::Web ? "web view" : "text view");
        ViewChoice choice(view);
        CKorAutoUpdateApp::ensureQtApplication();
        TraceServer trace;
        LinkRecorder recorder;
        TempDir dir;
        // Each remote address would leave a connection on the trace server if it were loaded.
        dir.write("page.html", "<html><head><meta http-equiv=\"refresh\" content=\"0; url=" + trace.url("refresh") + "\">"
                               "<link rel=\"stylesheet\" href=\"" + trace.url("style.css") + "\"></head><body>"
                               "<script>document.title = 'script ran'; new Image().src = '" + trace.url("script") + "';</script>"
                               "<a href=\"" + trace.url("more") + "\" style=\"display:block;height:150px\">more</a>"
                               "<a href=\"" + trace.url("window") + "\" target=\"_blank\" style=\"display:block;height:150px\">window</a>"
                               "<img src=\"" + trace.url("image.png") + "\"><iframe src=\"" + trace.url("frame") + "\"></iframe>"
                               "</body></html>");
        ScriptedBox box;
        CReleaseNotesDlg dialog;
        dialog.m_strPage = dir / "page.html";
        QTcpSocket marker;
        QTimer clicker;
        ASSERT_TRUE(runShowing(dialog, [&] {
            QWidget* target = dialog.view()->widget();
            std::vector<QPoint> at{{100, 75}, {100, 225}}; // the two links
            if (auto* browser = qobject_cast<QTextBrowser*>(target)) {
                target = browser->viewport();
                const auto inside = [browser](const char* word) { // the middle of the word's second letter
                    QTextCursor c = browser->document()->find(word);
                    c.setPosition(c.selectionStart() + 2);
                    return browser->cursorRect(c).center() - QPoint(3, 0);
                };
                at = {inside("more"), inside("window")};
            } else {
                target = target->focusProxy();
            }
            // The web view takes clicks once it has drawn the page: click each link until it arrives.
            QObject::connect(&clicker, &QTimer::timeout, [&, target, at] {
                const std::set<std::string> arrived(recorder.links.begin(), recorder.links.end());
                QTest::mouseClick(target, Qt::LeftButton, {}, at[std::min<std::size_t>(arrived.size(), 1)]);
            });
            clicker.start(100);
            onceTrue([&] { return std::set<std::string>(recorder.links.begin(), recorder.links.end()).size() == 2; }, [&] {
                clicker.stop();
                // What the page asked for reached the server before it finished loading; the marker comes after.
                marker.connectToHost(QHostAddress::LocalHost, trace.serverPort());
                onceTrue([&] { return trace.connections > 0 && marker.state() == QAbstractSocket::ConnectedState; }, [&] {
                    plainTextOf(dialog, [&](std::string s) {
                        EXPECT_NE(s.find("more"), std::string::npos) << "still the page: " << s;
                        dialog.close();
                    });
                });
            });
        }));
        EXPECT_EQ(trace.connections, 1) << "only the marker reached the server";
        EXPECT_EQ(std::set<std::string>(recorder.links.begin(), recorder.links.end()),
                  (std::set<std::string>{trace.url("more"), trace.url("window")}));
        EXPECT_NE(text(dialog.windowTitle()), "script ran");
#ifdef KAU_HAVE_WEBENGINE
        if (auto* web = qobject_cast<QWebEngineView*>(dialog.view()->widget())) {
            EXPECT_NE(text(web->title()), "script ran");
            EXPECT_EQ(web->url().toLocalFile().toStdString(), dir / "page.html") << "the link was not followed inside";
        }
#endif
        if (auto* browser = qobject_cast<QTextBrowser*>(dialog.view()->widget())) {
            EXPECT_EQ(browser->source().toLocalFile().toStdString(), dir / "page.html");
        }
    }
}

namespace {

const std::string kAttention = " Attention!!\n----------------------------------------------------------\n\n";
const std::string kStop = " to stop the running application!\n";
const std::string kNewText = kAttention + " To install the new software release it is necessary\n" + kStop;
const std::string kAllText = kAttention + " To install ALL files from KORVANE server it is necessary\n" + kStop + "\n";
const std::string kOldText = kAttention + " To install the old software release it is necessary\n" + kStop;

enum class Way { New, All, Old };

QPushButton* button(CReleaseNotesDlg& d, Way way)
{
    return way == Way::New ? d.installNewButton() : way == Way::All ? d.installAllButton() : d.restoreOlderButton();
}

// The notes of an update, in the text view, with a stand-in KorAutoInstall on PATH that appends its
// arguments to "calls", and a restore dialog that gives what the test says.
struct UpdateNotes : WorkDir {
    ViewChoice textView{View::Text};
    ScriptedBox box;
    bool qtApp = (CKorAutoUpdateApp::ensureQtApplication(), true);
    CReleaseNotesDlg dialog;
    std::vector<std::optional<std::string>> choices; // what the restore dialog gives, in turn
    int restoreDialogs = 0;
    explicit UpdateNotes(const std::string& exeName = "Sampler", bool installer = true)
    {
        write("LatestUpdate.html", kPage);
        if (installer)
            script("KorAutoInstall", "printf '%s\\n' \"$*\" >> calls");
        dialog.m_strPage = *this / "LatestUpdate.html";
        dialog.m_bInstallButtons = true;
        dialog.m_strProductKey = "Sampler";
        dialog.m_strInstallDir = str() + "/my apps";
        dialog.m_strExeName = exeName;
        dialog.m_handOff.quitHost = QuitHost;
        dialog.m_handOff.chooseRestoreRevision = [this](const std::string& installDir) {
            EXPECT_EQ(installDir, dialog.m_strInstallDir);
            return choices.at(restoreDialogs++);
        };
        box.answer(BoxAnswer::Ok); // the web view's box
    }
    // Runs the dialog; act presses buttons once the page is shown. True if the host was told to quit.
    bool run(const std::function<void()>& act)
    {
        bool shown = false;
        QObject::connect(&dialog, &CReleaseNotesDlg::pageShown, &dialog, [&](bool ok) { shown = ok; });
        return runInAppLoop([&] {
            onceTrue([&] { return shown; }, act);
            dialog.DoModal();
        }, true);
    }
    // The ways-on boxes shown so far (after the web view's box).
    std::vector<std::string> texts() const
    {
        std::vector<std::string> out;
        for (const ShownBox& b : box.shown())
            if (!b.text.starts_with("Last Error from Window:")) {
                EXPECT_TRUE(b.buttons == BoxButtons::OkCancel && b.icon == BoxIcon::Exclamation) << b.text;
                out.push_back(b.text);
            }
        return out;
    }
    std::string calls() const
    {
        waitUntil([&] { const std::string c = read("calls"); return !c.empty() && c.back() == '\n'; });
        return read("calls");
    }
};

} // namespace

TEST(ReleaseNotesButtons, OkStartsTheInstallerWithItsCommandLineAndQuitsTheHostEvenWhenItCantStart)
{
    const struct { Way way; std::optional<std::string> choice; std::string exe, box, args; } cases[] = {
        {Way::New, {}, "Sampler", kNewText, "Sampler %/my apps/Sampler"},
        {Way::All, {}, "Sampler", kAllText, "instcomplete Sampler %/my apps/Sampler"},
        {Way::Old, "201406021405", "Sampler", kOldText, "REST=201406021405 %/my apps/Sampler"},
        {Way::Old, "", "Sampler", kOldText, "REST= %/my apps/Sampler"}, // OK without a selection
        {Way::New, {}, "", kNewText, "Sampler %/my apps/"}};          // no program name
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        UpdateNotes notes(c.exe);
        notes.choices = {c.choice};
        notes.box.answer(BoxAnswer::Ok);
        const auto started = std::chrono::steady_clock::now();
        EXPECT_TRUE(notes.run([&] { button(notes.dialog, c.way)->click(); }));
        EXPECT_EQ(notes.texts(), std::vector<std::string>{c.box});
        std::string args = c.args;
        args.replace(args.find('%'), 1, notes.str());
        EXPECT_EQ(notes.calls(), args + "\n");
        if (c.way == Way::All) {
            EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(100));
        }
    }

    UpdateNotes noInstaller("Sampler", false);
    noInstaller.box.answer(BoxAnswer::Ok);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(noInstaller.run([&] { noInstaller.dialog.installNewButton()->click(); }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "KorAutoUpdate: the installer could not be started (KorAutoInstall Sampler " + noInstaller.str()
                  + "/my apps/Sampler): No such file or directory\n");
}

TEST(ReleaseNotesButtons, CancelStartsNothingAndTheButtonsWorkAgain)
{
    UpdateNotes notes;
    notes.choices = {std::nullopt, "201406021405", "201406021405"};
    for (BoxAnswer a : {BoxAnswer::Cancel, BoxAnswer::Cancel, BoxAnswer::Cancel, BoxAnswer::Ok})
        notes.box.answer(a);
    EXPECT_TRUE(notes.run([&] {
        notes.dialog.installNewButton()->click();
        notes.dialog.installAllButton()->click();
        notes.dialog.restoreOlderButton()->click(); // the restore dialog cancelled: no box
        EXPECT_EQ(notes.texts(), (std::vector<std::string>{kNewText, kAllText}));
        notes.dialog.restoreOlderButton()->click(); // chosen, then Cancel in the box
        EXPECT_TRUE(notes.dialog.isVisible());
        notes.dialog.restoreOlderButton()->click();
    }));
    EXPECT_EQ(notes.restoreDialogs, 3);
    EXPECT_EQ(notes.texts(), (std::vector<std::string>{kNewText, kAllText, kOldText, kOldText}));
    EXPECT_EQ(notes.calls(), "REST=201406021405 " + notes.str() + "/my apps/Sampler\n") << "only the last press started it";
}

TEST(ReleaseNotesButtons, TheRestoreRoadPassesTheStampChosenInTheRestoreDialog)
{
    UpdateNotes notes;
    notes.dialog.m_handOff = FrontEndNotesHandOff();
    notes.write("my apps/201406021405/Sampler", "old program");
    notes.write("my apps/201406021405/RelInfoLocal.rel", "Sampler 3.10.01\r\n");
    notes.box.answer(BoxAnswer::Ok);
    EXPECT_TRUE(notes.run([&] {
        atModal<CRestoreDlg>([](CRestoreDlg& restore) {
            restore.restoreList()->setCurrentRow(0);
            restore.restoreButton()->click();
        }, [](CRestoreDlg& restore) { return !restore.fillTimerActive() && restore.restoreList()->count() == 1; });
        notes.dialog.restoreOlderButton()->click();
    }));
    EXPECT_EQ(notes.texts(), std::vector<std::string>{kOldText});
    EXPECT_EQ(notes.calls(), "REST=201406021405 " + notes.str() + "/my apps/Sampler\n");
}

#include "ReleaseNotesTest.moc"
