#include "ConsoleRunView.h"

#include "catalogue/InstallNames.h"

#include <algorithm>

namespace kau::cli {
namespace {
constexpr int kBarWidth = 30;
constexpr std::size_t kStatusWidth = 40;
} // namespace

ConsoleRunView::ConsoleRunView(std::ostream& out, std::ostream& err, bool bar)
    : m_out(out), m_err(err), m_bar(bar)
{
}

void ConsoleRunView::AddLine(const std::string& line)
{
    std::lock_guard lock(m_mutex);
    addLocked(line, false);
}

void ConsoleRunView::AddPendingLine(const std::string& line)
{
    std::lock_guard lock(m_mutex);
    addLocked(line, true);
}

void ConsoleRunView::ReplaceLastLine(const std::string& line)
{
    std::lock_guard lock(m_mutex);
    // The outcome of the held line takes its place; a line already printed
    // stays, and its replacement follows it.
    m_held.reset();
    addLocked(line, false);
}

void ConsoleRunView::addLocked(const std::string& line, bool pending)
{
    // Nothing from the server reaches the terminal raw.
    const std::string shown = EscapeControls(line);
    printHeld();
    m_status = shown;
    if (pending) {
        m_held = shown;
    } else {
        clearBar();
        m_out << shown << '\n' << std::flush;
    }
    drawBar();
}

void ConsoleRunView::printHeld()
{
    if (!m_held)
        return;
    clearBar();
    m_out << *m_held << '\n' << std::flush;
    m_held.reset();
}

void ConsoleRunView::SetRange(int lower, int upper)
{
    std::lock_guard lock(m_mutex);
    m_lower = lower;
    m_upper = upper;
    drawBar();
}

void ConsoleRunView::SetPosition(int position)
{
    std::lock_guard lock(m_mutex);
    m_position = position;
    drawBar();
}

void ConsoleRunView::flushHeld()
{
    std::lock_guard lock(m_mutex);
    printHeld();
    drawBar();
}

void ConsoleRunView::finish()
{
    std::lock_guard lock(m_mutex);
    printHeld();
    clearBar();
    m_out << std::flush;
}

void ConsoleRunView::clearBar()
{
    if (m_barShown)
        m_err << "\r\033[K" << std::flush;
    m_barShown = false;
}

void ConsoleRunView::drawBar()
{
    if (!m_bar)
        return;
    const int span = std::max(1, m_upper - m_lower);
    // A position above the range shows as the top of the range.
    const int done = std::clamp(m_position - m_lower, 0, span);
    const int filled = done * kBarWidth / span;
    std::string status = m_status;
    status.erase(0, status.find_first_not_of(' '));
    if (status.size() > kStatusWidth)
        status = status.substr(0, kStatusWidth - 3) + "...";
    m_err << "\r[" << std::string(filled, '#') << std::string(kBarWidth - filled, '.') << "] "
          << done << "/" << span << "  " << status << "\033[K" << std::flush;
    m_barShown = true;
}

} // namespace kau::cli
