#pragma once
// The restore archive: one directory per update run below the install
// directory, named by the run's date stamp ("%Y%m%d%H%M", 12 characters),
// holding the old copies and the local revision file as they stood before.
#include "catalogue/RevisionList.h"

#include <string>
#include <vector>

namespace kau {

struct RestoreDirectoryList {
    std::vector<std::string> m_aDirectories;  // names, ascending
    std::vector<std::string> m_aTexts;        // date text of each
};

struct RestoreFileList {
    std::vector<std::string> m_aSources;  // restore directory name, "/", bare file name
    std::vector<std::string> m_aNames;    // bare file name = target relative to the install dir
};

// "2014-06-02   (14:05)" for "201406021405": "%s-%s-%s   (%s:%s)" of the
// name's first four, next two, next two, next two characters and the rest.
std::string RestoreDateText(const std::string& name);

// True for a name of 12 characters beginning with "20".
bool IsRestoreDirectoryName(const std::string& name);

// Start of an update run: makes installDir/stamp (an existing one is used as
// it is) and copies RelInfoLocal.rel of the install directory into it, unless
// it holds one already: a second run in the same minute keeps the state before
// the first. Returns the restore directory's path; empty, with errno telling
// why, when the directory can't be made or an existing RelInfoLocal.rel can't
// be kept in it, since without the old state no file may be replaced.
std::string BeginRestoreDirectory(const std::string& installDir, const std::string& stamp);

// Before a file is staged: a name beginning with "%" gets no old copy, only
// its parent directory below the install directory; any other name is copied
// from the install directory into the restore directory under its name
// (directory parts included), unless a copy lies there already: the oldest
// copy of a minute is the one kept. True when the old copy is there, or there
// is nothing to keep (a missing file, a "%" name); false, with errno telling
// why, when an installed file could not be copied.
bool KeepOldCopy(const std::string& installDir, const std::string& restoreDirectory,
                 const std::string& name);

// Removes the hidden part files (see PartFile) that a broken-off run left in
// the install directory and directly in its restore directories.
void RemoveLeftoverPartFiles(const std::string& installDir);

// Restore directories of installDir, ascending by name. True if any.
bool ListRestoreDirectories(RestoreDirectoryList& list, std::string installDir);

// Files directly in one restore directory (part files left by a broken-off
// copy are no files of the archive) with the versions its
// RelInfoLocal.rel gives them ("-" if none). A missing RelInfoLocal.rel is
// created empty, and one whose last line lacks CR LF gets it. True if found.
bool ListRestoreDirectoryFiles(std::string directory, LocalRevisionList& files);

// path is installDir "/" chosen name. The files of the restore directories
// from the newest down to the chosen one, newest first. False if the chosen
// directory is not in the archive.
bool CollectRestoreFiles(std::string path, RestoreFileList& files);

} // namespace kau
