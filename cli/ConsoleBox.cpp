#include "ConsoleBox.h"

#include "catalogue/InstallNames.h"

#include <cctype>
#include <string>

namespace kau::cli {

ConsoleBox::ConsoleBox(Answer answer, std::ostream& out, std::istream& in, bool interactive)
    : m_answer(answer), m_out(out), m_in(in), m_interactive(interactive)
{
}

BoxAnswer ConsoleBox::show(const std::string& text, BoxButtons buttons, BoxIcon)
{
    std::lock_guard lock(m_mutex);
    m_out << EscapeControls(text, "\n\t") << '\n';
    switch (buttons) {
    case BoxButtons::Ok:
        m_out << '\n' << std::flush;
        return BoxAnswer::Ok;
    case BoxButtons::YesNo:
        return decide("yes", "no") ? BoxAnswer::Yes : BoxAnswer::No;
    case BoxButtons::OkCancel:
        return decide("ok", "cancel") ? BoxAnswer::Ok : BoxAnswer::Cancel;
    }
    return carefulAnswer(buttons);
}

bool ConsoleBox::decide(const char* yesWord, const char* noWord)
{
    const std::string prompt = std::string("[") + yesWord + "/" + noWord + "]";
    if (m_answer == Answer::Ask && m_interactive) {
        m_out << prompt << "? " << std::flush;
        std::string reply;
        if (!std::getline(m_in, reply))
            m_out << '\n';
        const auto first = reply.find_first_not_of(" \t");
        const bool yes = first != std::string::npos
                         && std::tolower(static_cast<unsigned char>(reply[first])) == yesWord[0];
        m_out << '\n' << std::flush;
        return yes;
    }
    const bool yes = m_answer == Answer::Yes;
    m_out << prompt << " " << (yes ? yesWord : noWord) << "\n\n" << std::flush;
    return yes;
}

} // namespace kau::cli
