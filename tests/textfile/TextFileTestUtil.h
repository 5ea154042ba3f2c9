#pragma once
// Small helpers shared by the text file tests.
#include "platform/FileChooser.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace kau::test {

// The lines joined, each followed by CR LF.
inline std::string crlf(std::initializer_list<std::string> lines)
{
    std::string out;
    for (const std::string& l : lines)
        out += l + "\r\n";
    return out;
}

// A file dialog that answers from a script and records what it was asked.
class ScriptedChooser : public FileChooser {
public:
    explicit ScriptedChooser(std::optional<std::string> answer) : m_answer(std::move(answer))
    {
        m_previous = installFileChooser(this);
    }
    ~ScriptedChooser() override { installFileChooser(m_previous); }
    std::optional<std::string> choose(const FileChoice& choice) override
    {
        asked.push_back(choice);
        return m_answer;
    }
    std::vector<FileChoice> asked;

private:
    std::optional<std::string> m_answer;
    FileChooser* m_previous;
};

} // namespace kau::test
