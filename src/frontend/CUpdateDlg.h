#pragma once
// The progress dialog of the update run and the restore run: a log, a bar,
// "OK" and "abort and exit". One second after it appears it starts the run on
// a worker thread; when the run has ended it offers to start the program.
//
// The worker reaches the dialog only through the log and progress interfaces
// below. Each call waits until the dialog's thread has shown it, and returns
// at once without touching anything once the dialog is closing. Closing
// requests the worker to stop (which aborts a transfer), keeps serving the
// event loop until the worker has ended, joins it, and only then lets the
// widgets go.
#include "flows/ApplicationPath.h"
#include "GuiThreadCall.h"
#include "flows/RunLog.h"
#include "flows/RunProgress.h"

#include <QDialog>
#include <QTimer>

#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

class QListWidget;
class QProgressBar;
class QPushButton;
class QLabel;
namespace Ui {
class UpdateDlg;
}

namespace kau {

class CUpdateDlg : public QDialog, public RunLog, public RunProgress {
    Q_OBJECT
public:
    explicit CUpdateDlg(QWidget* parent = nullptr);
    ~CUpdateDlg() override;

    // Shows the dialog modally; returns once it has closed and its worker has
    // ended.
    int DoModal();

    // The dialog of one run, made, filled and shown modally: the update run
    // of productKey, or in restore mode the restore of the directory source.
    static void RunModal(bool restoreMode, const std::string& source, const ApplicationPath& path,
                         bool allFiles = false);

    // RunLog and RunProgress, for the worker thread. Without effect once the
    // dialog is closing.
    void AddLine(const std::string& line) override;
    void ReplaceLastLine(const std::string& line) override;
    void ScrollToEnd() override;
    void SetRange(int lower, int upper) override;
    void SetPosition(int position) override;

    bool m_bRestoreMode = false;
    bool m_bAllFiles = false;
    std::string m_strSource;     // update: the product key; restore: the restore directory
    std::string m_strInstallDir; // no trailing separator
    std::string m_strExeName;    // may be empty
    std::string m_strRemoteRevFile;
    std::string m_strLocalRevFile;

    // For tests and the screenshot tool.
    QListWidget* logList() const;
    QProgressBar* progressBar() const;
    QPushButton* okButton() const;
    QPushButton* abortButton() const;
    QLabel* infoText() const;
    bool workerRunning() const;
    bool startTimerActive() const { return m_startTimer.isActive(); }
    bool endTimerActive() const { return m_endTimer.isActive(); }

public slots:
    void accept() override; // OnOK
    void reject() override; // OnCancel

signals:
    void workerEnded();

private:
    void OnInitDialog();
    void OnTimer(int id);
    void StartWorker();
    void UpdateThreadProc(std::stop_token stop);
    void FinishWorker();

    std::unique_ptr<Ui::UpdateDlg> m_ui;
    QListWidget* m_listLog = nullptr;
    QProgressBar* m_progress = nullptr;
    QTimer m_startTimer; // 999
    QTimer m_endTimer;   // 1000

    std::thread m_hWorker;
    bool m_bWorkerRunning = false; // dialog's thread only
    bool m_bOtherRun = false;      // dialog's thread only: another run kept the installation
    std::stop_source m_stop;

    // The worker's calls to the dialog's thread; closed as the dialog closes.
    GuiThreadCall::Gate m_gate;
    std::mutex m_mutex;
    bool m_workerDone = false; // guarded by m_mutex
};

} // namespace kau
