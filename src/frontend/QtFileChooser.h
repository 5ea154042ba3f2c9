#pragma once
// The file dialog as Qt shows it: Qt's own QFileDialog (never the desktop's
// native one, so it looks and behaves the same everywhere). A file asked for
// on another thread is chosen on the GUI thread while only the asking thread
// waits. Without a QApplication, or once the application quits, the dialog
// counts as cancelled.
#include "platform/FileChooser.h"

#include <QString>
#include <QStringList>

namespace kau {

class QtFileChooser : public FileChooser {
public:
    std::optional<std::string> choose(const FileChoice& choice) override;

    // Installs a QtFileChooser unless a chooser is installed already, and
    // ties it to the application's end.
    static void installDefault();

    // Ends every wait for the GUI thread with no file. Until the GUI thread
    // handles events again, a new request from another thread ends at once.
    static void cancelAll();

    // How many threads wait for the GUI thread's dialog right now.
    static int waiting();

    // Runs the dialog on the calling thread, which must be the GUI thread.
    static std::optional<std::string> chooseHere(const FileChoice& choice);

    // "Label|pattern|Label|pattern||" as Qt name filters "Label (pattern)".
    // Several patterns of one pair ("*.a;*.b") become "*.a *.b"; "*.*" means
    // every file, as "*". The list ends at the first empty field; a label
    // without a pattern is left out.
    static QStringList nameFilters(const std::string& filter);

    // "*.txt", ".txt" or "txt" as the suffix Qt adds to a typed name ("txt");
    // empty when nothing usable is left.
    static QString defaultSuffix(const std::string& extension);
};

} // namespace kau
