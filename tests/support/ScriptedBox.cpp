#include "ScriptedBox.h"

namespace kau::test {

void ScriptedBox::answer(BoxAnswer a)
{
    std::lock_guard lock(m_mutex);
    m_answers.push_back(a);
}

BoxAnswer ScriptedBox::show(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    std::lock_guard lock(m_mutex);
    m_shown.push_back({text, buttons, icon});
    if (m_answers.empty())
        return carefulAnswer(buttons);
    const BoxAnswer a = m_answers.front();
    m_answers.pop_front();
    return a;
}

std::vector<ShownBox> ScriptedBox::shown() const
{
    std::lock_guard lock(m_mutex);
    return m_shown;
}

} // namespace kau::test
