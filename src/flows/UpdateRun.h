#pragma once
// The update run: fetches what the server has newer than the installation,
// keeps the old copies in this run's restore directory, puts the new files in
// place and records their versions in the local revision file.
//
// Plain C++: the run reaches its user through a log, a progress bar and the
// box seam (the client's connect failure), so the progress dialog and the
// console run the same flow. A stop request ends the run at its next step
// and aborts a transfer in progress; after that nothing more is written.
#include <cstddef>
#include <stop_token>
#include <string>

#include "RunContext.h"
#include "platform/FixedNames.h"

namespace kau {

class UpdateRun {
public:
    enum class Outcome {
        NoConnection,        // logon failed (the client has shown its box)
        NoProductDirectory,  // the server has no directory of the product key
        NoRevisionFile,      // the product directory holds no remote revision file
        RevisionFileFailed,  // it could not be fetched or read
        NothingNew,          // " end! No updates found!"
        Transferred,         // the transfer ran (some files may have failed)
        Stopped,             // stopped from outside; the run left off where it stood
        OtherRun,            // another run kept the installation for the whole wait; nothing done
        Failed,              // something unexpected broke off the run
    };

    struct Result {
        Outcome outcome = Outcome::Failed;
        std::size_t files = 0;          // files the comparison named
        std::size_t failedFiles = 0;    // of those, the ones that did not arrive
        std::string reason;             // why the run ended early, or the first file failed
        bool revisionsWritten = false;  // the local revision file was rewritten
        std::string restoreDirectory;   // this run's restore directory, if made
    };

    UpdateRun(RunLog& log, RunProgress& progress, std::stop_token stop = {});

    // productKey: the server directory; installDir: where the installation
    // lies (the current directory if empty); allFiles: every file of the
    // server counts as new. Ends with the closing lines of the log unless
    // stopped.
    Result run(const std::string& productKey, const std::string& installDir, bool allFiles);

    // "%Y%m%d%H%M" of the present local moment: the name of a restore directory.
    static std::string DateStamp();

private:
    bool stopped() const { return m_run.stopped(); }

    RunContext m_run;
};

} // namespace kau
