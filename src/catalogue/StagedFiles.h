#pragma once
// Staged files ("upd_" in front of the bare file name) and local paths.
#include <functional>
#include <string>

namespace kau {

// The install directory, "/", the name with every "\" turned into "/".
std::string LocalPath(const std::string& installDir, const std::string& name);

// "upd_" in front of the part behind the last "\" (or, without one, the last
// "/"); the joint is "/". a\b/c.dll gives a/upd_b/c.dll.
std::string StagedName(const std::string& path);

// Puts an existing file aside under its staged name, replacing an older
// staged file: as a second name (a hard link), so that the file stays under
// its own name until a new one is renamed over it; renamed where the file
// system has no hard links. A missing file is nothing to stage: true. False
// if the file could not be put aside.
bool StageFile(const std::string& path);

// Undoes StageFile where nothing replaced the file: the staged file goes back
// under its own name when nothing stands there, and a staged name that is
// only a second name of the file standing there goes. True if so; false if
// there was nothing staged, another file stands under the name, or the
// rename failed.
bool UnstageFile(const std::string& path);

// Asked by a writer once the new file is complete, just before it renames
// it over the old one: true to go on.
using PlacingCheck = std::function<bool()>;

// Replaces the file at path through write, which makes the new file beside
// it and asks the check it is given just before renaming it into place.
// There, ready (if given) may still refuse; then the old file is staged, so
// that it is never without a name. After a good rename the staged file is
// deleted, after a failed one it goes back. A file that a killed run left
// only under its staged name is put back first. Returns what write returned.
bool ReplaceStaged(const std::string& path, const PlacingCheck& ready,
                   const std::function<bool(const PlacingCheck& beforePlacing)>& write);

// Deletes the staged file of path, if any. True unless something threw.
bool DeleteStagedFile(const std::string& path);

// Creates the directory the path's file lies in, one level only. True if it
// exists or was made, or if the path has no directory part.
bool CreateParentDirectory(const std::string& path);

} // namespace kau
