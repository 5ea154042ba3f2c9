#include "CRestoreDlg.h"

#include "platform/Box.h"
#include "resources/DialogFrame.h"
#include "ui_RestoreDlg.h"

#include <algorithm>
#include <cstdlib>

namespace kau {
namespace {

constexpr int kFollowTimerId = 1;
constexpr int kFillTimerId = 1000;
constexpr int kFollowIntervalMs = 100;
constexpr int kFillDelayMs = 10;

// Restore directories named before this date hold releases that can't restore.
constexpr int kFirstRestoreDate = 20100329;

constexpr const char* kNoRestoreSupport =
    "This release does not support restore functionality!\n"
    "If you choose and restore this release, no other revisions can be restored.\n\n";
constexpr const char* kContinueQuestion =
    "Press <YES> to continue, or <NO> to cancel this action\n";

} // namespace

bool PredatesRestoreSupport(const std::string& directoryName)
{
    return std::atoi(directoryName.substr(0, 8).c_str()) < kFirstRestoreDate;
}

std::optional<std::string> ChooseRestoreRevision(const std::string& installDir, QWidget* parent)
{
    CRestoreDlg dialog(parent);
    dialog.m_strInstallDir = installDir;
    if (dialog.DoModal() != QDialog::Accepted)
        return std::nullopt;
    return dialog.m_strRevision;
}

CRestoreDlg::CRestoreDlg(QWidget* parent)
    : QDialog(parent), m_ui(std::make_unique<Ui::RestoreDlg>())
{
    m_ui->setupUi(this);
    m_list = m_ui->listRestore;
    m_slider = m_ui->slider;
    SetModalDialogFrame(*this);
    CallOnFirstShow(*this, [this] { OnInitDialog(); });

    connect(m_ui->restoreButton, &QPushButton::clicked, this, &CRestoreDlg::accept);
    connect(m_ui->abortButton, &QPushButton::clicked, this, &CRestoreDlg::reject);
    connect(m_list, &QListWidget::itemSelectionChanged, this,
            &CRestoreDlg::OnSelectRestoreDirectory);
    connect(m_slider, &QSlider::sliderReleased, this, &CRestoreDlg::RefreshColumns);

    m_followTimer.setInterval(kFollowIntervalMs);
    connect(&m_followTimer, &QTimer::timeout, this, [this] { OnTimer(kFollowTimerId); });
    m_fillTimer.setInterval(kFillDelayMs);
    connect(&m_fillTimer, &QTimer::timeout, this, [this] { OnTimer(kFillTimerId); });
}

CRestoreDlg::~CRestoreDlg() = default;

int CRestoreDlg::DoModal()
{
    return exec();
}

QListWidget* CRestoreDlg::restoreList() const { return m_ui->listRestore; }
QSlider* CRestoreDlg::slider() const { return m_ui->slider; }
QLabel* CRestoreDlg::filesColumn() const { return m_ui->textFiles; }
QLabel* CRestoreDlg::releasesColumn() const { return m_ui->textReleases; }
QPushButton* CRestoreDlg::restoreButton() const { return m_ui->restoreButton; }
QPushButton* CRestoreDlg::abortButton() const { return m_ui->abortButton; }

void CRestoreDlg::OnInitDialog()
{
    m_nFirstShown = 0;
    m_followTimer.start();
    m_fillTimer.start();
}

void CRestoreDlg::OnTimer(int id)
{
    if (id == kFollowTimerId) {
        if (m_slider->value() != m_nFirstShown)
            RefreshColumns();
    } else if (id == kFillTimerId) {
        m_fillTimer.stop();
        FillRestoreList();
    }
}

void CRestoreDlg::FillRestoreList()
{
    if (!ListRestoreDirectories(m_directories, m_strInstallDir))
        return;
    for (const std::string& text : m_directories.m_aTexts)
        m_list->addItem(QString::fromStdString(text));
}

int CRestoreDlg::selectedRow() const
{
    const QList<QListWidgetItem*> selected = m_list->selectedItems();
    if (selected.isEmpty())
        return -1;
    const int row = m_list->row(selected.first());
    return row < static_cast<int>(m_directories.m_aDirectories.size()) ? row : -1;
}

void CRestoreDlg::OnSelectRestoreDirectory()
{
    const int row = selectedRow();
    if (m_list->count() == 0 || row < 0)
        return;
    const std::string name = m_directories.m_aDirectories[static_cast<std::size_t>(row)];
    if (PredatesRestoreSupport(name))
        showBox(kNoRestoreSupport, BoxButtons::Ok, BoxIcon::None);
    // A directory without files leaves slider and columns as they were.
    if (!ListRestoreDirectoryFiles(m_strInstallDir + "/" + name, m_fileList))
        return;
    m_slider->setRange(0, static_cast<int>(m_fileList.m_aNames.size()) - 1);
    m_slider->setValue(0);
    m_nFirstShown = 0;
    RefreshColumns();
}

void CRestoreDlg::RefreshColumns()
{
    m_nFirstShown = m_slider->value();
    std::string names;
    std::string versions;
    for (std::size_t i = static_cast<std::size_t>(std::max(m_nFirstShown, 0));
         i < m_fileList.m_aNames.size(); ++i) {
        names.append(m_fileList.m_aNames[i]).append("\n");
        versions.append(m_fileList.m_aVersions[i]).append("\n");
    }
    m_ui->textFiles->setText(QString::fromStdString(names));
    m_ui->textReleases->setText(QString::fromStdString(versions));
}

void CRestoreDlg::accept()
{
    const int row = selectedRow();
    if (row < 0) {
        m_strRevision.clear();
        QDialog::accept();
        return;
    }
    m_strRevision = m_directories.m_aDirectories[static_cast<std::size_t>(row)];
    if (PredatesRestoreSupport(m_strRevision)
        && showBox(std::string(kNoRestoreSupport) + kContinueQuestion, BoxButtons::YesNo,
                   BoxIcon::Exclamation)
               == BoxAnswer::No) {
        m_strRevision.clear();
        QDialog::reject();
        return;
    }
    QDialog::accept();
}

void CRestoreDlg::done(int result)
{
    m_followTimer.stop();
    m_fillTimer.stop();
    QDialog::done(result);
}

} // namespace kau
