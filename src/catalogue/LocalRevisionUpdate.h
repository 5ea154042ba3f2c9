#pragma once
// Writing down what an update run achieved.
#include "catalogue/RevisionList.h"

#include <string>

namespace kau {

// Merges the run's results into local (a transferred file takes the server's
// version, a known file that failed keeps its own, a new file that failed is
// recorded with "0.00.00"), then writes path anew: "name; version" CR LF per
// entry. The new text is written beside the old file and renamed into place,
// so the file is always the old one or the complete new one. False if the
// file could not be written (the user is told when it can't be created).
bool UpdateLocalRevisions(LocalRevisionList& local, const RemoteRevisionList& remote, std::string path);

// Writes the list in the revision file's written form, crash-safe as above.
// Returns 0 on success, else the errno of the failure; createFailed tells
// whether the failure was in creating the file (before any line went out).
int WriteRevisionFile(const LocalRevisionList& list, const std::string& path, bool& createFailed);

} // namespace kau
