#pragma once
// The message box of the console: prints the text and answers a question
// from the command line, from the terminal, or with the careful answer.
#include "CommandLine.h"
#include "platform/Box.h"

#include <istream>
#include <mutex>
#include <ostream>

namespace kau::cli {

class ConsoleBox : public Box {
public:
    // answer: what every question gets; Ask reads a line from `in` when
    // interactive is true and answers no otherwise.
    ConsoleBox(Answer answer, std::ostream& out, std::istream& in, bool interactive);

    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) override;

private:
    bool decide(const char* yesWord, const char* noWord);

    Answer m_answer;
    std::ostream& m_out;
    std::istream& m_in;
    bool m_interactive;
    std::mutex m_mutex;
};

} // namespace kau::cli
