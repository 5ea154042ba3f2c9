#pragma once
// Staged files ("upd_" in front of the bare file name) and local paths.
#include <string>

namespace kau {

// The install directory, "/", the name with every "\" turned into "/".
std::string LocalPath(const std::string& installDir, const std::string& name);

// "upd_" in front of the part behind the last "\" (or, without one, the last
// "/"); the joint is "/". a\b/c.dll gives a/upd_b/c.dll.
std::string StagedName(const std::string& path);

// Renames an existing file to its staged name, replacing an older staged
// file. A missing file is nothing to stage: true. False if the rename failed.
bool StageFile(const std::string& path);

// Puts the staged file of path back under its own name, when nothing stands
// there. True if it is back; false if there was nothing to put back or the
// rename failed.
bool UnstageFile(const std::string& path);

// Deletes the staged file of path, if any. True unless something threw.
bool DeleteStagedFile(const std::string& path);

// Creates the directory the path's file lies in, one level only. True if it
// exists or was made, or if the path has no directory part.
bool CreateParentDirectory(const std::string& path);

} // namespace kau
