// The writing side of CTextFile: opens for reading and writing, the file
// dialog fall-back, and insertion at the cursor.
#include "CTextFile.h"

#include "platform/FileChooser.h"

#include <fcntl.h>
#include <filesystem>
#include <limits>

namespace kau {
namespace {
const char* const kDefaultFilter = "All Files (*.*)|*.*|Text Files (*.txt)|*.txt||";
}

bool CTextFile::openWritable(const std::string& name, int flags, int& err)
{
    if (!m_file.open(name, O_RDWR | flags, err))
        return false;
    m_strPath = name;
    return true;
}

void CTextFile::repairLastLineEnd()
{
    std::uint64_t len = fileLength();
    if (len >= 2 && m_file.read(len - 2, 2) != "\r\n")
        m_file.write(len, "\r\n");
}

int CTextFile::OpenForWrite(const std::string& name, bool bTruncate, bool bAskUser)
{
    m_bOpen = false;
    m_strName = name;
    int err = 0;
    bool opened = false;
    if (bTruncate) {
        opened = openWritable(name, O_CREAT | O_TRUNC, err);
    } else if (!bAskUser) {
        int ignored = 0;
        opened = openWritable(name, 0, ignored) || openWritable(name, O_CREAT, err);
    } else {
        opened = openWritable(name, 0, err);
        if (!opened) {
            opened = ChooseFile(m_strName, "", "", true) != 0;
            if (!opened)
                reportNotOpened(name);
        }
    }
    if (!opened) {
        ReportOpenFailure(err);
        return 0;
    }
    m_bOpen = true;
    m_nPosition = 0;
    repairLastLineEnd();
    return 1;
}

int CTextFile::OpenForWriteNamed(const std::string& name, bool bTruncate, bool bAskUser)
{
    if (!OpenForWrite(name, bTruncate, bAskUser))
        return 0;
    takeNames(m_strPath);
    return 1;
}

int CTextFile::ChooseFile(const std::string& name, const std::string& filter, const std::string& initialDir,
                          bool bOpen)
{
    FileChoice choice;
    choice.title = (bOpen ? "open file..." : "save file...") + name;
    choice.name = name;
    choice.filter = filter.empty() ? kDefaultFilter : filter;
    choice.defaultExtension = "*.txt";
    choice.forOpen = bOpen;
    if (!initialDir.empty()) {
        choice.initialDirectory = initialDir;
    } else {
        std::error_code ec;
        choice.initialDirectory = std::filesystem::current_path(ec).string();
    }
    std::optional<std::string> chosen = chooseFile(choice);
    if (!chosen)
        return 0;
    return OpenForWriteNamed(*chosen, false, false);
}

bool CTextFile::SetLineBreak(bool bLineBreak)
{
    m_bLineBreak = bLineBreak;
    return m_bLineBreak;
}

int CTextFile::WriteText(const std::string& text)
{
    if (!m_bOpen)
        return 0;
    std::uint64_t len = fileLength();
    m_strLine = m_bLineBreak ? text + "\r\n" : text;
    // Behind an unterminated last line the cursor stands past the end; the
    // text then goes to the end.
    std::uint64_t pos = m_nPosition < len ? m_nPosition : len;
    std::uint64_t behind = pos + m_strLine.size();
    if (behind > std::numeric_limits<std::uint32_t>::max())
        throw TextFileError("write: the file would be too long for the line cursor");
    m_file.insert(pos, m_strLine, len);
    setPosition(behind);
    ++m_nLine;
    return 1;
}

int CTextFile::AppendLine(const std::string& text)
{
    if (!m_bOpen)
        return 0;
    setPosition(fileLength());
    return WriteText(text);
}

} // namespace kau
