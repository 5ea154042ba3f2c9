#pragma once
// The restore run: plays the restore directories of an installation back,
// from the newest down to the chosen one, so that the installation returns to
// the state before the update that made the chosen directory.
//
// Plain C++ like the update run: it reports through a log and a progress bar,
// and a stop request ends it at its next step (a copy in progress is dropped
// and leaves its target as it was); after that nothing more is written.
#include <cstddef>
#include <stop_token>
#include <string>

#include "RunContext.h"

namespace kau {

class RestoreRun {
public:
    struct Result {
        bool collected = false;      // the chosen directory is in the archive
        std::size_t files = 0;       // copies the run had to make
        std::size_t failedFiles = 0; // of those, the ones that failed
        bool stopped = false;        // stopped from outside before its end
        bool otherRun = false;       // another run kept the installation; nothing done
    };

    RestoreRun(RunLog& log, RunProgress& progress, std::stop_token stop = {});

    // revision: the chosen restore directory's name; installDir: where the
    // installation lies (the current directory if empty). Ends with the
    // closing lines of the log unless stopped.
    Result run(const std::string& revision, const std::string& installDir);

private:
    bool stopped() const { return m_run.stopped(); }

    RunContext m_run;
};

} // namespace kau
