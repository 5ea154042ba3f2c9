#pragma once
// Names from the server that may become files of the installation, and names
// made fit to print. A name is refused if it is empty, absolute (also "X:"),
// has a ".." part (either separator) or a control character, ends in a
// separator, lands outside the install directory (symbolic links followed),
// names a directory of the installation, something inside a restore
// directory, RelInfoLocal.rel, RelInfoRemote.rel, the lock file of a run or a
// staged ("upd_") name.
#include "catalogue/RevisionList.h"

#include <string>
#include <string_view>
#include <vector>

namespace kau {

// True if the update may archive, stage and write installDir/name.
bool IsSafeInstallName(const std::string& installDir, const std::string& name);

// True if installDir/relative, with every symbolic link followed as far as
// the links and directories exist, stays inside installDir. A part that does
// not exist yet would be made inside its existing parent.
bool StaysInside(const std::string& installDir, const std::string& relative);

// Removes the entries whose index is marked in dropped (names, versions and
// transferred marks alike).
void DropEntries(RemoteRevisionList& list, const std::vector<bool>& dropped);

// The text with each control character (C0, DEL and the UTF-8 C1 range)
// written as \xHH; characters in `kept` stay as they are.
std::string EscapeControls(const std::string& text, std::string_view kept = {});

} // namespace kau
