#pragma once
// A cursor on a disk text file whose lines end in CR LF.
//
// The class keeps no copy of the file: every operation seeks to the cursor
// (a byte offset and a line number) and works on the file there. Results are
// 1 for success and 0 for failure. A failed open tells the user itself,
// through the box seam, so that callers only test the result.
#include <cstdint>
#include <string>

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

    // Read-only views of the cursor and the names, for callers and tests.
    std::uint32_t Position() const;
    const std::string& Name() const;
    const std::string& Directory() const;

    // Writing side and configuration layer: declared by their owners below.
};

} // namespace kau
