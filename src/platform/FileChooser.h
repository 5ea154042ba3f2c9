#pragma once
// The seam of the file dialog. Plain code asks chooseFile(); the front end
// installs the implementation that fits it (a Qt file dialog, a scripted
// chooser in tests). With nothing installed the dialog counts as cancelled.
#include <optional>
#include <string>

namespace kau {

struct FileChoice {
    std::string title;            // the dialog's caption
    std::string name;             // the suggested file name
    std::string filter;           // "Label|pattern|Label|pattern||" pairs
    std::string initialDirectory; // where the dialog starts
    std::string defaultExtension; // added to a typed name without one
    bool forOpen = true;          // an open dialog, else a save dialog (which asks before overwriting)
};

class FileChooser {
public:
    virtual ~FileChooser() = default;
    // Blocks until the user has chosen; the full path of the chosen file, or
    // nothing when the dialog was cancelled.
    virtual std::optional<std::string> choose(const FileChoice& choice) = 0;
};

// Installs the process-wide chooser (not owned); nullptr restores the default.
// Returns the chooser that was installed before.
FileChooser* installFileChooser(FileChooser* chooser);
FileChooser* installedFileChooser();

std::optional<std::string> chooseFile(const FileChoice& choice);

} // namespace kau
