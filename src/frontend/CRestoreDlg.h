#pragma once
// The restore dialog: lists the restore directories of an installation, shows
// the files and versions of the one selected, and hands the chosen
// directory's name back to its opener. It changes nothing on the disk, except
// that listing a restore directory creates a missing RelInfoLocal.rel in it
// (empty) and completes one whose last line lacks its CR LF.
//
// The list fills 10 ms after the dialog has appeared. The two columns are
// plain labels that do not scroll; the slider beside them says which file is
// in their top line, and the columns follow it every 100 ms and when it is
// released.
#include "catalogue/RestoreArchive.h"
#include "catalogue/RevisionList.h"

#include <QDialog>
#include <QTimer>

#include <memory>
#include <optional>
#include <string>

class QLabel;
class QListWidget;
class QPushButton;
class QSlider;
namespace Ui {
class RestoreDlg;
}

namespace kau {

class CRestoreDlg : public QDialog {
    Q_OBJECT
public:
    explicit CRestoreDlg(QWidget* parent = nullptr);
    ~CRestoreDlg() override;

    // Shows the dialog modally; QDialog::Accepted means: restore m_strRevision
    // (empty when nothing was selected).
    int DoModal();

    std::string m_strRevision;   // result: the chosen restore directory's name, or empty
    std::string m_strInstallDir; // input, set before DoModal
    int m_nFirstShown = 0;       // index of the file in the columns' top line
    LocalRevisionList m_fileList;        // files of the directory selected last
    RestoreDirectoryList m_directories;  // behind the list: a row is an index here

    // For tests and the screenshot tool.
    QListWidget* restoreList() const;
    QSlider* slider() const;
    QLabel* filesColumn() const;
    QLabel* releasesColumn() const;
    QPushButton* restoreButton() const;
    QPushButton* abortButton() const;
    bool fillTimerActive() const { return m_fillTimer.isActive(); }

public slots:
    void accept() override; // OnOK, the button "Restore"
    void done(int result) override;

private:
    void OnInitDialog();
    void OnTimer(int id);
    void FillRestoreList();
    void OnSelectRestoreDirectory();
    void RefreshColumns();
    int selectedRow() const; // -1 when nothing is selected

    std::unique_ptr<Ui::RestoreDlg> m_ui;
    QListWidget* m_list = nullptr;
    QSlider* m_slider = nullptr;
    QTimer m_followTimer; // 1
    QTimer m_fillTimer;   // 1000
};

// Whether a restore directory's name is of a release that does not support
// restore: its first eight characters, read as atoi reads them (leading digits
// only, so "20xxxxxxxxxx" reads as 20), give a number below 20100329.
bool PredatesRestoreSupport(const std::string& directoryName);

// Opens the restore dialog modally for the installation in installDir. Gives the chosen
// restore directory's name ("" when "Restore" was pressed with nothing selected), or nothing
// when the user cancelled (the "abort" button, the window's close, or No to the warning).
std::optional<std::string> ChooseRestoreRevision(const std::string& installDir,
                                                 QWidget* parent = nullptr);

} // namespace kau
