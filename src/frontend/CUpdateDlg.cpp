#include "CUpdateDlg.h"

#include "QuitHost.h"
#include "flows/RestoreRun.h"
#include "flows/RunFrame.h"
#include "flows/UpdateRun.h"
#include "resources/DialogFrame.h"
#include "ui_UpdateDlg.h"

#include <QCoreApplication>

#include <algorithm>

namespace kau {
namespace {

constexpr int kStartTimerId = 999;
constexpr int kEndTimerId = 1000;
constexpr int kStartDelayMs = 1000;
constexpr int kEndDelayMs = 100;

QString fromBytes(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

CUpdateDlg::CUpdateDlg(QWidget* parent) : QDialog(parent), m_ui(std::make_unique<Ui::UpdateDlg>())
{
    m_ui->setupUi(this);
    m_listLog = m_ui->listLog;
    m_progress = m_ui->progress;
    SetModalDialogFrame(*this);
    CallOnFirstShow(*this, [this] { OnInitDialog(); });

    connect(m_ui->okButton, &QPushButton::clicked, this, &CUpdateDlg::accept);
    connect(m_ui->abortButton, &QPushButton::clicked, this, &CUpdateDlg::reject);

    m_startTimer.setSingleShot(true);
    m_startTimer.setInterval(kStartDelayMs);
    connect(&m_startTimer, &QTimer::timeout, this, [this] { OnTimer(kStartTimerId); });
    m_endTimer.setSingleShot(true);
    m_endTimer.setInterval(kEndDelayMs);
    connect(&m_endTimer, &QTimer::timeout, this, [this] { OnTimer(kEndTimerId); });
}

CUpdateDlg::~CUpdateDlg()
{
    FinishWorker();
}

int CUpdateDlg::DoModal()
{
    const int result = exec();
    FinishWorker();
    return result;
}

void CUpdateDlg::RunModal(bool restoreMode, const std::string& source, const ApplicationPath& path,
                          bool allFiles)
{
    CUpdateDlg dialog;
    dialog.m_bRestoreMode = restoreMode;
    dialog.m_bAllFiles = allFiles;
    dialog.m_strSource = source;
    dialog.m_strInstallDir = path.installDir;
    dialog.m_strExeName = path.exeName;
    dialog.DoModal();
}

QListWidget* CUpdateDlg::logList() const { return m_ui->listLog; }
QProgressBar* CUpdateDlg::progressBar() const { return m_ui->progress; }
QPushButton* CUpdateDlg::okButton() const { return m_ui->okButton; }
QPushButton* CUpdateDlg::abortButton() const { return m_ui->abortButton; }
QLabel* CUpdateDlg::infoText() const { return m_ui->textInfo; }
bool CUpdateDlg::workerRunning() const { return m_bWorkerRunning; }

void CUpdateDlg::OnInitDialog()
{
    m_strRemoteRevFile = kRemoteRevisionFile;
    m_strLocalRevFile = kLocalRevisionFile;
    m_startTimer.start();
    if (m_bRestoreMode) {
        m_ui->textInfo->setText(fromBytes("Restore older revision of software\n >> " + m_strSource
                                          + " !!\n"
                                            "Please wait while this programm loads the older "
                                            "software back..."));
        m_listLog->addItem(QString::fromUtf8(kPreparingRestoreLine));
    } else {
        m_listLog->addItem(QString::fromUtf8(kPreparingDownloadLine));
    }
}

void CUpdateDlg::OnTimer(int id)
{
    if (id == kStartTimerId) {
        m_startTimer.stop();
        StartWorker();
        return;
    }
    if (id != kEndTimerId)
        return;
    m_endTimer.stop();
    m_progress->setValue(m_progress->minimum());
    // A program name of fewer than two characters gives no question, and a
    // program that another run is replacing is not offered.
    if (m_bOtherRun || !AskToStartProgram(m_strInstallDir, m_strExeName))
        return;
    accept();
    QuitHost();
}

void CUpdateDlg::StartWorker()
{
    m_ui->okButton->setEnabled(false);
    if (m_hWorker.joinable())
        return;
    try {
        m_bWorkerRunning = true;
        m_hWorker = std::thread(&CUpdateDlg::UpdateThreadProc, this, m_stop.get_token());
    } catch (const std::system_error&) {
        // No worker: the dialog stays as it is; "abort and exit" ends it.
        m_bWorkerRunning = false;
    }
}

void CUpdateDlg::UpdateThreadProc(std::stop_token stop)
{
    bool otherRun = false;
    try {
        if (m_bRestoreMode) {
            RestoreRun run(*this, *this, stop);
            otherRun = run.run(m_strSource, m_strInstallDir).otherRun;
        } else {
            UpdateRun run(*this, *this, stop);
            otherRun = run.run(m_strSource, m_strInstallDir, m_bAllFiles).outcome
                       == UpdateRun::Outcome::OtherRun;
        }
    } catch (...) {
        // A run that broke off still ends like any other: the dialog gets its
        // end block and the host goes on.
    }

    GuiThreadCall::runUnder(m_gate, [this, otherRun] {
        m_bOtherRun = otherRun;
        m_endTimer.start();
        m_ui->okButton->setEnabled(true);
        if (!m_bRestoreMode)
            m_ui->abortButton->setEnabled(false);
        m_bWorkerRunning = false;
    });

    {
        std::lock_guard lock(m_mutex);
        m_workerDone = true;
    }
    // Wakes the dialog's thread if it is waiting for this worker to end.
    QMetaObject::invokeMethod(this, &CUpdateDlg::workerEnded, Qt::QueuedConnection);
}

void CUpdateDlg::accept()
{
    if (m_bWorkerRunning)
        return;
    m_startTimer.stop();
    m_endTimer.stop();
    QDialog::accept();
}

void CUpdateDlg::reject()
{
    m_startTimer.stop();
    m_endTimer.stop();
    if (m_bWorkerRunning) {
        m_gate.close();
        m_stop.request_stop(); // aborts a transfer in progress
    }
    QDialog::reject();
}

void CUpdateDlg::FinishWorker()
{
    m_startTimer.stop();
    m_endTimer.stop();
    m_gate.close();
    m_stop.request_stop();
    if (!m_hWorker.joinable())
        return;
    // The worker may still wait for this thread (a box of its own); serve the
    // events until it has ended, then join.
    for (;;) {
        {
            std::lock_guard lock(m_mutex);
            if (m_workerDone)
                break;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    m_hWorker.join();
    m_bWorkerRunning = false;
}

void CUpdateDlg::AddLine(const std::string& line)
{
    GuiThreadCall::runUnder(m_gate, [this, text = fromBytes(line)] { m_listLog->addItem(text); });
}

void CUpdateDlg::ReplaceLastLine(const std::string& line)
{
    GuiThreadCall::runUnder(m_gate, [this, text = fromBytes(line)] {
        if (m_listLog->count() > 0)
            delete m_listLog->takeItem(m_listLog->count() - 1);
        m_listLog->addItem(text);
    });
}

void CUpdateDlg::ScrollToEnd()
{
    GuiThreadCall::runUnder(m_gate, [this] { m_listLog->scrollToBottom(); });
}

void CUpdateDlg::SetRange(int lower, int upper)
{
    GuiThreadCall::runUnder(m_gate, [this, lower, upper] { m_progress->setRange(lower, upper); });
}

void CUpdateDlg::SetPosition(int position)
{
    GuiThreadCall::runUnder(m_gate, [this, position] {
        m_progress->setValue(std::clamp(position, m_progress->minimum(), m_progress->maximum()));
    });
}

} // namespace kau
