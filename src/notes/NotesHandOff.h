#pragma once
// What the install buttons of the release notes need from the front end that
// opens them: the restore dialog and the quit of the host. The notes sit below
// the front end, so the opener passes these in.
#include <functional>
#include <optional>
#include <string>

namespace kau {

struct NotesHandOff {
    // Lets the user choose a restore directory below installDir: its name
    // ("" when nothing was selected), or nothing when the user cancelled.
    std::function<std::optional<std::string>(const std::string& installDir)> chooseRestoreRevision;
    // Tells the host to end; the notes dialog's loop ends with it.
    std::function<void()> quitHost;
};

} // namespace kau
