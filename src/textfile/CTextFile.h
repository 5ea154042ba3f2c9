#pragma once
// A cursor on a disk text file whose lines end in CR LF.
//
// The class keeps no copy of the file: every operation seeks to the cursor
// (a byte offset and a line number) and works on the file there. Results are
// 1 for success and 0 for failure. A failed open tells the user itself,
// through the box seam, so that callers only test the result. A seek, read or
// write that fails on an open file raises TextFileError; nothing here catches
// it, and the cursor keeps the values it had.
//
// Only the pair CR LF ends a line; a lone CR or LF is part of the line. The
// last line may lack its CR LF, and a file of 0 bytes has no lines.
#include "platform/Box.h"
#include "textfile/FileWindow.h"
#include "textfile/MappedBytes.h"
#include "textfile/TextFileError.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kau {

class CTextFile {
public:
    CTextFile();
    ~CTextFile();
    CTextFile(const CTextFile&) = delete;
    CTextFile& operator=(const CTextFile&) = delete;

    // Reading side
    int OpenRead(const std::string& name, bool bAskUser);
    int Close();
    bool IsOpen() const;
    int Rewind();
    int ReadLine(std::string& out);
    int NextLine(int n);
    std::uint32_t GetLineNumber() const;
    // The whole-file scan: hands every line from the cursor to the end of the
    // file to visit, in order and without its CR LF, as the loop of ReadLine
    // and NextLine(1) would, and leaves the cursor where that loop leaves it.
    // It reads in large blocks, so a big file costs a few system calls. A line
    // handed on lives only during the call. 0 if closed or at the end.
    int ScanLines(const std::function<void(std::string_view)>& visit);
    // The whole file, from its start to its end, mapped read-only into
    // memory, for a reader that keeps views of its text (VisitAllCrLfLines
    // splits it into lines); the cursor stays. Null if closed.
    std::shared_ptr<const MappedBytes> MapWhole();

    // The box of a failed open: "Error occurred! \n%s\n" with the platform's
    // text of errno value err. For callers that open a file by other means.
    static void ReportOpenFailure(int err);

    // Read-only views of the cursor and the names, for callers and tests.
    std::uint32_t Position() const;
    const std::string& Name() const;
    const std::string& Directory() const;

    // Writing side. A file opened for writing ends in CR LF from the open on
    // (if it has 2 bytes or more). Writing inserts at the cursor and pushes
    // the rest of the file behind the new text.
    int OpenForWrite(const std::string& name, bool bTruncate, bool bAskUser);
    int OpenForWriteNamed(const std::string& name, bool bTruncate, bool bAskUser);
    // Asks the user for a file through the installed FileChooser and opens the
    // chosen one for reading and writing. An empty filter means all files and
    // text files; an empty initialDir the current directory.
    int ChooseFile(const std::string& name, const std::string& filter, const std::string& initialDir,
                   bool bOpen);
    bool SetLineBreak(bool bLineBreak);
    int WriteText(const std::string& text);
    int AppendLine(const std::string& text);

    // Configuration layer: [section] heads, key = value entries, // comments.
    int FindSection(const std::string& name);
    int FindSectionWrapped(const std::string& name);
    int GotoSectionEnd();
    int GetEntry(const std::string& section, const std::string& key, std::string& value);
    int SetEntry(const std::string& section, const std::string& key, const std::string& value);
    BoxAnswer ReportEntryFault(const std::string& section, const std::string& entry);
    int PrevLine(int n);
    int GotoLine(std::uint32_t n);
    std::uint32_t GotoEnd();
    int InsertLine(const std::string& text);
    int InsertFirstLine(const std::string& text);
    int DeleteLine();

    // Read-only views of the section memo and the work buffer.
    const std::string& SectionName() const { return m_strSection; }
    std::int32_t SectionLine() const { return m_nSectionLine; }
    const std::string& LineBuffer() const { return m_strLine; }
    bool LineBreak() const { return m_bLineBreak; }

private:
    // Current length of the open file.
    std::uint64_t fileLength() { return m_file.length(); }
    void setPosition(std::uint64_t pos);
    // Fills m_strName and m_strDirectory from the opened path.
    void takeNames(const std::string& path);
    void reportNotOpened(const std::string& name);
    // Puts CR LF behind a last line that lacks it.
    void repairLastLineEnd();
    bool openWritable(const std::string& name, int flags, int& err);

    std::uint32_t m_nPosition = 0;
    std::int32_t m_nSectionLine = -1;
    std::uint32_t m_nLine = 1;
    bool m_bLineBreak = true;
    std::string m_strSection;
    std::string m_strName;
    std::string m_strDirectory;
    bool m_bOpen = false;
    std::string m_strLine;
    std::string m_strPath; // the path the file was opened under
    FileWindow m_file;
};

} // namespace kau
