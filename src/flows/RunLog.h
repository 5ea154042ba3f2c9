#pragma once
// The log of a run as its user sees it: a list of lines that only grows,
// except that the line of a file in transfer is replaced by its outcome.
// Every call returns once the line is shown.
#include <string>

namespace kau {

class RunLog {
public:
    virtual ~RunLog() = default;
    // Adds a line below the others.
    virtual void AddLine(const std::string& line) = 0;
    // Adds a line that stands only until ReplaceLastLine gives the outcome
    // (the line of a file in transfer). A view that shows lines for good, one
    // after the other, holds it back; the others show it like any line.
    virtual void AddPendingLine(const std::string& line) { AddLine(line); }
    // Removes the last line and adds this one in its place.
    virtual void ReplaceLastLine(const std::string& line) = 0;
    // Brings the last line into view.
    virtual void ScrollToEnd() = 0;
};

} // namespace kau
