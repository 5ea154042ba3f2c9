// The configuration layer of CTextFile: [section] heads, key = value entries
// and // comments, read and changed in place, one line at a time.
#include "CTextFile.h"

#include "platform/FixedNames.h"

#include <algorithm>

namespace kau {
namespace {

const char* const kWhite = " \t\r\n\v\f";

std::string trimLeft(const std::string& s)
{
    std::size_t b = s.find_first_not_of(kWhite);
    return b == std::string::npos ? std::string() : s.substr(b);
}

std::string trimRight(const std::string& s)
{
    std::size_t e = s.find_last_not_of(kWhite);
    return e == std::string::npos ? std::string() : s.substr(0, e + 1);
}

std::string upper(std::string s)
{
    for (char& c : s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return s;
}

bool isHead(const std::string& line)
{
    return line.find('[') != std::string::npos && line.find(']') != std::string::npos;
}

// The name of a head line: between its first [ and its first ], empty when
// the ] comes first.
bool isHeadNamed(const std::string& line, const std::string& name)
{
    std::size_t open = line.find('[');
    std::size_t close = line.find(']');
    if (open == std::string::npos || close == std::string::npos)
        return false;
    std::string found = close > open ? line.substr(open + 1, close - open - 1) : std::string();
    return found == name;
}

// Bytes of s from `from` up to `to` (npos: to the end); empty when `to` comes first.
std::string span(const std::string& s, std::size_t from, std::size_t to)
{
    if (to == std::string::npos)
        return from <= s.size() ? s.substr(from) : std::string();
    return to > from ? s.substr(from, to - from) : std::string();
}

std::string replaceAll(const std::string& s, const std::string& from, const std::string& to)
{
    std::string out;
    std::size_t at = 0;
    for (std::size_t hit; (hit = s.find(from, at)) != std::string::npos; at = hit + from.size())
        out += s.substr(at, hit - at) + to;
    return out + s.substr(at);
}

} // namespace

int CTextFile::FindSection(const std::string& name)
{
    FileWindow::Hold hold(m_file);
    m_strSection.clear();
    m_nSectionLine = -1;
    if (!m_bOpen)
        return 0;
    Rewind();
    for (;;) {
        if (!ReadLine(m_strLine))
            return 0;
        if (isHeadNamed(m_strLine, name))
            break;
        if (!NextLine(1))
            return 0;
    }
    m_strSection = name;
    m_nSectionLine = static_cast<std::int32_t>(m_nLine);
    return 1;
}

int CTextFile::FindSectionWrapped(const std::string& name)
{
    FileWindow::Hold hold(m_file);
    m_strSection.clear();
    if (!m_bOpen)
        return 0;
    const std::uint32_t start = m_nLine;
    bool wrapped = false;
    for (;;) {
        if (!ReadLine(m_strLine)) {
            if (wrapped)
                return 0;
            wrapped = true;
            Rewind();
        }
        if (wrapped && m_nLine > start)
            return 0;
        if (isHeadNamed(m_strLine, name)) {
            m_strSection = name;
            m_nSectionLine = static_cast<std::int32_t>(m_nLine);
            return 1;
        }
        if (!NextLine(1)) {
            if (wrapped)
                return 0;
            wrapped = true;
            Rewind();
        }
    }
}

int CTextFile::GotoSectionEnd()
{
    FileWindow::Hold hold(m_file);
    if (!m_bOpen)
        return 0;
    int blanks = 0;
    while (NextLine(1)) {
        ReadLine(m_strLine);
        blanks = m_strLine.empty() ? blanks + 1 : 0;
        if (isHead(m_strLine))
            break;
    }
    if (blanks > 0)
        PrevLine(blanks);
    return 1;
}

int CTextFile::GetEntry(const std::string& section, const std::string& key, std::string& value)
{
    FileWindow::Hold hold(m_file);
    if (!m_bOpen)
        return 0;
    value.clear();
    if (section == m_strSection)
        GotoLine(static_cast<std::uint32_t>(m_nSectionLine));
    else if (!FindSection(section))
        return 0;
    const std::string wanted = upper(key);
    for (;;) {
        if (!NextLine(1) || !ReadLine(m_strLine))
            return 0;
        if (m_strLine.substr(0, 5).find('[') != std::string::npos)
            return 0;
        const std::string raw = trimLeft(m_strLine);
        m_strLine = upper(raw);
        if (m_strLine.compare(0, wanted.size(), wanted) != 0)
            continue;
        std::size_t eq = m_strLine.find('=');
        if (eq == std::string::npos)
            return 0;
        if (trimRight(m_strLine.substr(0, eq)) != wanted)
            continue;
        value = trimRight(trimLeft(span(raw, eq + 1, raw.find("//"))));
        return 1;
    }
}

int CTextFile::SetEntry(const std::string& section, const std::string& key, const std::string& value)
{
    FileWindow::Hold hold(m_file);
    if (!m_bOpen)
        return 0;
    std::string old;
    const int found = GetEntry(section, key, old);
    m_strLine = old;
    if (found) {
        if (old == value)
            return 1;
        std::string raw;
        if (!ReadLine(raw))
            return 0;
        std::size_t eq = raw.find('=');
        if (eq == std::string::npos)
            return 0;
        std::size_t comment = raw.find("//");
        std::string head = raw.substr(0, eq + 1);
        std::string tail;
        if (!old.empty()) {
            tail = replaceAll(span(raw, eq + 1, comment), old, value);
            if (comment != std::string::npos)
                tail += raw.substr(comment);
        } else {
            tail = value + raw.substr(eq + 1);
        }
        if (!DeleteLine())
            return 0;
        return InsertLine(head + tail) ? 1 : 0;
    }
    if (!FindSection(section))
        return 0;
    GotoSectionEnd();
    return InsertLine("\t" + key + "\t= " + value + "\t\t// ....... auto insert") ? 1 : 0;
}

BoxAnswer CTextFile::ReportEntryFault(const std::string& section, const std::string& entry)
{
    std::string text = " A fault detected on reading the configuration file !\n";
    text += "  ->> " + m_strName;
    text += std::string("\n") + kDashLine + "\n";
    text += "\n";
    text += "Please check in the section " + section + " the entry " + entry + " ! \n\n";
    text += "[" + section + "] \n";
    text += "\t" + entry + " = ???? \n\n";
    text += "Please complete this entry and start the program again !\n";
    return showBox(text, BoxButtons::OkCancel, BoxIcon::Exclamation);
}

int CTextFile::PrevLine(int n)
{
    if (!m_bOpen || m_nPosition == 0)
        return 0;
    std::uint64_t len = fileLength();
    std::uint64_t pos = std::min<std::uint64_t>(m_nPosition, len);
    std::uint32_t line = m_nLine;
    for (int i = 0; i < n && pos > 0; ++i) {
        // The line above starts behind the last CR LF that ends before the
        // CR LF which closes it.
        std::int64_t pair = pos >= 2 ? m_file.findPairEndingBy(pos - 2) : -1;
        pos = pair < 0 ? 0 : static_cast<std::uint64_t>(pair) + 2;
        if (line > 1)
            --line;
    }
    if (pos == 0)
        line = 1;
    m_nPosition = static_cast<std::uint32_t>(pos);
    m_nLine = line;
    return 1;
}

int CTextFile::GotoLine(std::uint32_t n)
{
    FileWindow::Hold hold(m_file);
    if (n <= 1) {
        m_nPosition = 0;
        m_nLine = 1;
    }
    if (n > m_nLine)
        NextLine(static_cast<int>(n - m_nLine));
    else if (n < m_nLine)
        PrevLine(static_cast<int>(m_nLine - n));
    return n == m_nLine ? 1 : 0;
}

std::uint32_t CTextFile::GotoEnd()
{
    FileWindow::Hold hold(m_file);
    while (NextLine(1)) {
    }
    return m_nLine;
}

int CTextFile::InsertLine(const std::string& text) { return WriteText(text); }

int CTextFile::InsertFirstLine(const std::string& text)
{
    m_nPosition = 0;
    return WriteText(text);
}

int CTextFile::DeleteLine()
{
    if (!m_bOpen)
        return 0;
    std::uint64_t len = fileLength();
    if (m_nPosition >= len)
        return 0;
    std::string line;
    ReadLine(line);
    // An unterminated last line has no CR LF to take along: remove() stops at the end.
    m_file.remove(m_nPosition, line.size() + 2, len);
    return 1;
}

} // namespace kau
