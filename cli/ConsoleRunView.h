#pragma once
// The console's view of a run: the log as it stands at the end of the run,
// one line at a time on stdout, each printed and flushed as soon as it is
// final, and a progress bar on stderr for terminals.
//
// The line of a file in transfer is replaced by its outcome, so it is held
// back until then (or until the next line comes); the bar shows it meanwhile.
#include "flows/RunLog.h"
#include "flows/RunProgress.h"

#include <mutex>
#include <optional>
#include <ostream>
#include <string>

namespace kau::cli {

class ConsoleRunView : public RunLog, public RunProgress {
public:
    // bar: whether the progress bar is drawn on err (stderr is a terminal).
    ConsoleRunView(std::ostream& out, std::ostream& err, bool bar);

    void AddLine(const std::string& line) override;
    void AddPendingLine(const std::string& line) override;
    void ReplaceLastLine(const std::string& line) override;
    void ScrollToEnd() override {}
    void SetRange(int lower, int upper) override;
    void SetPosition(int position) override;
    // Prints the line held back, so that what comes next (a box) stands
    // below it; the bar stays.
    void flushHeld();
    // Prints the line held back and clears the bar.
    void finish();

private:
    void addLocked(const std::string& line, bool pending);
    void printHeld();
    void clearBar();
    void drawBar();

    std::ostream& m_out;
    std::ostream& m_err;
    bool m_bar;
    std::mutex m_mutex;
    std::optional<std::string> m_held; // a pending line not yet printed
    std::string m_status;              // the newest line, for the bar
    int m_lower = 0;
    int m_upper = 100;
    int m_position = 0;
    bool m_barShown = false;
};

} // namespace kau::cli
