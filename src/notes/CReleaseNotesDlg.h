#pragma once
// The release notes: one page in a browser control that fills the dialog.
// Opened for an update, it offers the ways on (install the new files, install
// all files, go back to an older release, or leave); as a plain viewer it has
// no button at all. A way on starts the installer and tells the host to quit;
// nothing goes back to the opener.
#include "NotesHandOff.h"

#include <QDialog>
#include <memory>
#include <string>

class QPushButton;
class QWidget;
namespace Ui {
class ReleaseNotesDlg;
}

namespace kau {

class BrowserView;

class CReleaseNotesDlg : public QDialog {
    Q_OBJECT
public:
    explicit CReleaseNotesDlg(QWidget* parent = nullptr);
    ~CReleaseNotesDlg() override;

    // Makes the view, opens the page and shows the dialog modally; returns
    // once it has closed.
    int DoModal();

    std::string m_strTitle;      // stands ahead of the standard title; may be empty
    std::string m_strPage;       // local path or URL
    std::string m_strProductKey; // for the installer's command lines
    std::string m_strExeName;    // may be empty
    std::string m_strInstallDir; // no trailing separator
    bool m_bInstallButtons = false;
    NotesHandOff m_handOff;

    // The view that shows the page (null if none could be made), and the
    // buttons: for tests and the screenshot tool.
    BrowserView* view() const;
    QPushButton* exitButton() const;
    QPushButton* installNewButton() const;
    QPushButton* installAllButton() const;
    QPushButton* restoreOlderButton() const;
    QWidget* placeholder() const;

signals:
    // The view has shown the page (true) or given up on it (false).
    void pageShown(bool ok);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void OnInitDialog();
    bool OpenPageInExplorer();
    bool OpenPageInWebBrowser();
    bool OpenPageIn(std::unique_ptr<BrowserView>& field, std::unique_ptr<BrowserView> made);
    void OnInstallNew();
    void OnInstallAll();
    void OnRestoreOlder();
    // Starts the installer with the command line, then tells the host to quit.
    void HandOff(const std::string& commandLine);

    std::unique_ptr<Ui::ReleaseNotesDlg> m_ui;
    std::unique_ptr<BrowserView> m_pWebBrowser; // second choice
    std::unique_ptr<BrowserView> m_pExplorer;   // first choice
};

} // namespace kau
