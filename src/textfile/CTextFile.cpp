#include "CTextFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits>

namespace kau {

CTextFile::CTextFile() = default;

CTextFile::~CTextFile() { Close(); }

void CTextFile::setPosition(std::uint64_t pos)
{
    if (pos > std::numeric_limits<std::uint32_t>::max())
        throw TextFileError("seek: the file is too long for the line cursor");
    m_nPosition = static_cast<std::uint32_t>(pos);
}

void CTextFile::takeNames(const std::string& path)
{
    std::error_code ec;
    std::filesystem::path full = std::filesystem::absolute(path, ec);
    if (ec)
        full = path;
    std::string fullText = full.lexically_normal().string();
    std::string bare = std::filesystem::path(fullText).filename().string();
    m_strName = bare;
    m_strDirectory = fullText.substr(0, fullText.size() - bare.size());
}

void CTextFile::ReportOpenFailure(int err)
{
    showBox("Error occurred! \n" + std::string(std::strerror(err)) + "\n", BoxButtons::Ok, BoxIcon::None);
}

void CTextFile::reportNotOpened(const std::string& name)
{
    showBox("Sorry, can not open the file " + name + " !", BoxButtons::Ok, BoxIcon::Stop);
}

int CTextFile::OpenRead(const std::string& name, bool bAskUser)
{
    m_bOpen = false;
    m_strName = name;
    int err = 0;
    if (m_file.open(name, O_RDONLY, err)) {
        m_strPath = name;
    } else if (!bAskUser || !ChooseFile(m_strName, "", "", true)) {
        if (bAskUser)
            reportNotOpened(name);
        ReportOpenFailure(err);
        return 0;
    }
    m_bOpen = true;
    m_nPosition = 0;
    takeNames(m_strPath);
    return 1;
}

int CTextFile::Close()
{
    m_bOpen = false;
    m_strSection.clear();
    if (!m_file.isOpen())
        return 0;
    m_file.close();
    return 1;
}

bool CTextFile::IsOpen() const { return m_bOpen; }

int CTextFile::Rewind()
{
    m_nPosition = 0;
    m_nLine = 1;
    return 1;
}

int CTextFile::ReadLine(std::string& out)
{
    out.clear();
    if (!m_bOpen)
        return 0;
    std::uint64_t len = fileLength();
    if (m_nPosition >= len)
        return 0;
    m_file.findLineEnd(m_nPosition, len, &out);
    return 1;
}

int CTextFile::NextLine(int n)
{
    if (!m_bOpen)
        return 0;
    std::uint64_t len = fileLength();
    if (m_nPosition >= len)
        return 0;
    std::uint64_t pos = m_nPosition;
    std::uint32_t line = m_nLine;
    int result = 1;
    for (int i = 0; i < n; ++i) {
        // Behind an unterminated last line this steps 2 past the end.
        pos = m_file.findLineEnd(pos, len, nullptr) + 2;
        ++line;
        if (pos >= len) {
            result = 0;
            break;
        }
    }
    setPosition(pos);
    m_nLine = line;
    return result;
}

std::uint32_t CTextFile::GetLineNumber() const { return m_nLine; }

int CTextFile::ScanLines(const std::function<void(std::string_view)>& visit)
{
    if (!m_bOpen)
        return 0;
    std::uint64_t len = fileLength();
    if (m_nPosition >= len)
        return 0;
    bool terminated = false;
    std::uint32_t lines = m_file.scanLines(m_nPosition, len, visit, terminated);
    // NextLine steps 2 past the end behind an unterminated last line.
    setPosition(terminated ? len : len + 2);
    m_nLine += lines;
    return 1;
}

std::shared_ptr<const MappedBytes> CTextFile::MapWhole()
{
    if (!m_bOpen)
        return nullptr;
    return m_file.map(fileLength());
}

std::uint32_t CTextFile::Position() const { return m_nPosition; }

const std::string& CTextFile::Name() const { return m_strName; }

const std::string& CTextFile::Directory() const { return m_strDirectory; }

} // namespace kau
