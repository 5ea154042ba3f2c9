#pragma once
// The console's view of a run: the log as it stands at the end of the run,
// one line at a time on stdout, and a progress bar on stderr for terminals.
//
// The run may take its latest line back (a transfer line is replaced by its
// outcome), so the newest line is held back until the next one comes; the
// bar shows it meanwhile.
#include <mutex>
#include <optional>
#include <ostream>
#include <string>

namespace kau::cli {

class ConsoleRunView {
public:
    // bar: whether the progress bar is drawn on err (stderr is a terminal).
    ConsoleRunView(std::ostream& out, std::ostream& err, bool bar);

    void addLine(const std::string& line);
    void deleteLastLine();
    void setRange(int lower, int upper);
    void setPosition(int position);
    // Prints the line held back and clears the bar.
    void finish();

private:
    void clearBar();
    void drawBar();

    std::ostream& m_out;
    std::ostream& m_err;
    bool m_bar;
    std::mutex m_mutex;
    std::optional<std::string> m_held;
    int m_lower = 0;
    int m_upper = 100;
    int m_position = 0;
    bool m_barShown = false;
};

} // namespace kau::cli
