#pragma once
// A box that answers from a script and records every box it was asked to show.
// Install it for the lifetime of a test; it restores the previous box when destroyed.
#include "platform/Box.h"

#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace kau::test {

struct ShownBox { std::string text; BoxButtons buttons; BoxIcon icon; };

class ScriptedBox : public Box {
public:
    ScriptedBox() : m_previous(installBox(this)) {}
    ~ScriptedBox() override { installBox(m_previous); }

    // Queues the answer for the next box; with no queued answer a box gets
    // the careful answer (No, Cancel or OK).
    void answer(BoxAnswer a);
    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) override;

    std::vector<ShownBox> shown() const;
    std::size_t count() const { return shown().size(); }

private:
    mutable std::mutex m_mutex;
    std::deque<BoxAnswer> m_answers;
    std::vector<ShownBox> m_shown;
    Box* m_previous;
};

} // namespace kau::test
