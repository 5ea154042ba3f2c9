#include "CReleaseNotesDlg.h"

#include "CExplorer1.h"
#include "CWebBrowser.h"
#include "ReportLastError.h"
#include "platform/Box.h"
#include "platform/InstallerProgram.h"
#include "platform/LogCategories.h"
#include "platform/FixedNames.h"
#include "platform/ProcessLauncher.h"
#include "resources/Strings.h"
#include "ui_ReleaseNotesDlg.h"

#include <chrono>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

namespace kau {
namespace {

constexpr auto kInstallAllWait = std::chrono::milliseconds(100);

const std::string kAttention = std::string(" Attention!!\n") + kDashLine + "\n\n";
const std::string kStopApplication = " to stop the running application!\n";

QString fromBytes(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool agreeToStop(const std::string& what, const std::string& tail = "")
{
    return showBox(kAttention + what + kStopApplication + tail, BoxButtons::OkCancel,
                   BoxIcon::Exclamation) == BoxAnswer::Ok;
}

} // namespace

CReleaseNotesDlg::CReleaseNotesDlg(QWidget* parent)
    : QDialog(parent), m_ui(std::make_unique<Ui::ReleaseNotesDlg>())
{
    m_ui->setupUi(this);
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                   | Qt::WindowCloseButtonHint);
    setWindowModality(Qt::ApplicationModal);
    // The placeholder keeps its place in the layout while hidden, so that the
    // view can follow it when the dialog is resized.
    QSizePolicy policy = m_ui->placeholder->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_ui->placeholder->setSizePolicy(policy);
    // Flat buttons over the page, on the dialog's own background.
    for (QPushButton* button : {exitButton(), installNewButton(), installAllButton(), restoreOlderButton()})
        button->setAutoFillBackground(true);

    connect(m_ui->buttonExit, &QPushButton::clicked, this, &CReleaseNotesDlg::accept);
    connect(m_ui->buttonInstallNew, &QPushButton::clicked, this, &CReleaseNotesDlg::OnInstallNew);
    connect(m_ui->buttonInstallAll, &QPushButton::clicked, this, &CReleaseNotesDlg::OnInstallAll);
    connect(m_ui->buttonRestoreOlder, &QPushButton::clicked, this, &CReleaseNotesDlg::OnRestoreOlder);
}

CReleaseNotesDlg::~CReleaseNotesDlg() = default;

int CReleaseNotesDlg::DoModal()
{
    OnInitDialog();
    raise();
    activateWindow();
    return exec();
}

BrowserView* CReleaseNotesDlg::view() const
{
    return m_pExplorer ? m_pExplorer.get() : m_pWebBrowser.get();
}
QPushButton* CReleaseNotesDlg::exitButton() const { return m_ui->buttonExit; }
QPushButton* CReleaseNotesDlg::installNewButton() const { return m_ui->buttonInstallNew; }
QPushButton* CReleaseNotesDlg::installAllButton() const { return m_ui->buttonInstallAll; }
QPushButton* CReleaseNotesDlg::restoreOlderButton() const { return m_ui->buttonRestoreOlder; }
QWidget* CReleaseNotesDlg::placeholder() const { return m_ui->placeholder; }

void CReleaseNotesDlg::OnInitDialog()
{
    if (!m_bInstallButtons) {
        // The plain viewer has no button at all, "Exit" included.
        m_ui->buttonInstallNew->hide();
        m_ui->buttonInstallAll->hide();
        m_ui->buttonRestoreOlder->hide();
        m_ui->buttonExit->hide();
    }
    const std::string standardTitle =
        std::string("KorAutoUpdate Release Notes Version: ") + strings::kToolVersion;
    if (!OpenPageInExplorer())
        OpenPageInWebBrowser();
    setWindowTitle(fromBytes(m_strTitle + standardTitle));
}

bool CReleaseNotesDlg::OpenPageInExplorer()
{
    return OpenPageIn(m_pExplorer, std::make_unique<CExplorer1>());
}

bool CReleaseNotesDlg::OpenPageInWebBrowser()
{
    return OpenPageIn(m_pWebBrowser, std::make_unique<CWebBrowser>());
}

bool CReleaseNotesDlg::OpenPageIn(std::unique_ptr<BrowserView>& field, std::unique_ptr<BrowserView> made)
{
    // The placeholder gives the rectangle: the whole client area.
    layout()->activate();
    const QRect rect = m_ui->placeholder->geometry();
    m_ui->placeholder->hide();
    try {
        if (!field)
            field = std::move(made);
        if (!field->widget()) {
            if (!field->Create(this, rect)) {
                ReportLastError(field->failureReason());
                field.reset();
                return false;
            }
            // The buttons stay reachable over the page.
            m_ui->buttonRow->raise();
        }
        field->setPageShownHandler([this](bool ok) { emit pageShown(ok); });
        field->Navigate(m_strPage);
    } catch (...) {
        // Whatever the control throws while it is made or opens the page, the
        // dialog opens as if all had gone well.
    }
    return true;
}

void CReleaseNotesDlg::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    if (BrowserView* shown = view(); shown && shown->widget())
        shown->widget()->setGeometry(m_ui->placeholder->geometry());
}

void CReleaseNotesDlg::OnInstallNew()
{
    if (!agreeToStop(" To install the new software release it is necessary\n"))
        return;
    HandOff(InstallerProgram() + " " + m_strProductKey + " " + m_strInstallDir + "/" + m_strExeName);
}

void CReleaseNotesDlg::OnInstallAll()
{
    if (!agreeToStop(" To install ALL files from KORVANE server it is necessary\n", "\n"))
        return;
    std::this_thread::sleep_for(kInstallAllWait);
    HandOff(InstallerProgram() + " instcomplete " + m_strProductKey + " " + m_strInstallDir + "/"
            + m_strExeName);
}

void CReleaseNotesDlg::OnRestoreOlder()
{
    if (!m_handOff.chooseRestoreRevision)
        return;
    const std::optional<std::string> revision = m_handOff.chooseRestoreRevision(m_strInstallDir);
    if (!revision)
        return;
    if (!agreeToStop(" To install the old software release it is necessary\n"))
        return;
    HandOff(InstallerProgram() + " REST=" + *revision + " " + m_strInstallDir + "/" + m_strExeName);
}

void CReleaseNotesDlg::HandOff(const std::string& commandLine)
{
    qCInfo(lcInstall, "starting %s", commandLine.c_str());
    if (!LaunchProgram(commandLine)) {
        // The host quits all the same; this line is the only trace of why
        // nothing was installed.
        std::fprintf(stderr, "KorAutoUpdate: the installer could not be started (%s): %s\n",
                     commandLine.c_str(), std::strerror(errno));
    }
    if (m_handOff.quitHost)
        m_handOff.quitHost();
}

} // namespace kau
