#pragma once
// The byte layer under CTextFile: one open file descriptor, positional reads
// and writes, and a read window that lets line scans run over memory instead
// of two bytes per system call.
//
// The window is trusted only while the file's size, times and inode are what
// they were when it was filled; every length() looks at them again, and every
// write of our own drops the window. Failures raise TextFileError.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kau {

class MappedBytes;

class FileWindow {
public:
    FileWindow() = default;
    ~FileWindow();
    FileWindow(const FileWindow&) = delete;
    FileWindow& operator=(const FileWindow&) = delete;

    // Opens with the open(2) flags given; on failure returns false with errno's
    // value in err and leaves the object closed. A directory never opens.
    bool open(const std::string& path, int flags, int& err);
    void close();
    bool isOpen() const { return m_fd >= 0; }

    // Current length of the file.
    std::uint64_t length();

    // While a Hold lives, the file is taken to change only through this
    // object: length() skips looking at the file again after its first look.
    // A composite operation (a section search, say) holds the file for its run.
    class Hold {
    public:
        explicit Hold(FileWindow& f) : m_f(f) { ++m_f.m_held; }
        ~Hold()
        {
            if (--m_f.m_held == 0)
                m_f.m_fresh = false;
        }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        FileWindow& m_f;
    };

    // Offset of the CR of the first CR LF pair that lies wholly at or behind
    // from, or len if there is none. With out, the bytes from `from` up to that
    // offset are appended to it.
    std::uint64_t findLineEnd(std::uint64_t from, std::uint64_t len, std::string* out);
    // Offset q of the last CR LF pair with q + 1 <= last, or -1 if there is none.
    std::int64_t findPairEndingBy(std::uint64_t last);

    // Hands each line of [from, len) to visit, without its CR LF, reading in
    // large blocks past the window. Returns the number of lines and sets
    // terminated to whether the last one ended in CR LF.
    std::uint32_t scanLines(std::uint64_t from, std::uint64_t len,
                            const std::function<void(std::string_view)>& visit, bool& terminated);

    // The first len bytes of the file, mapped read-only.
    std::shared_ptr<const MappedBytes> map(std::uint64_t len) const;

    std::string read(std::uint64_t off, std::size_t n);
    void write(std::uint64_t off, const std::string& bytes);
    // Moves the bytes [off, len) to off + bytes.size() and writes bytes at off.
    void insert(std::uint64_t off, const std::string& bytes, std::uint64_t len);
    // Removes the n bytes at off: the rest moves down, the file gets shorter.
    void remove(std::uint64_t off, std::uint64_t n, std::uint64_t len);

private:
    static constexpr std::size_t kWindow = 64 * 1024;
    static constexpr std::size_t kMoveChunk = 1024 * 1024;
    static constexpr std::size_t kScanBlock = 256 * 1024;

    // Bytes at [off, off + avail) from the window, loading it if need be.
    const char* forward(std::uint64_t off, std::uint64_t len, std::size_t& avail);
    // Bytes at [start, end) ending at end, loading the window if need be.
    const char* backward(std::uint64_t end, std::uint64_t& start);
    void load(std::uint64_t start, std::size_t n);
    std::size_t readAt(char* buf, std::size_t n, std::uint64_t off);
    void writeAt(const char* buf, std::size_t n, std::uint64_t off);
    void drop()
    {
        m_winLen = 0;
        m_fresh = false;
    }

    int m_fd = -1;
    std::vector<char> m_win;
    std::uint64_t m_winOff = 0;
    std::size_t m_winLen = 0;
    int m_held = 0;
    bool m_fresh = false; // the stat values below are current (only kept under a Hold)
    // What the file looked like when the window was filled.
    off_t m_statSize = -1;
    ino_t m_statIno = 0;
    std::int64_t m_statMtime = 0;
    std::int64_t m_statCtime = 0;
};

} // namespace kau
