#include "FileWindow.h"

#include "CrLfLines.h"
#include "MappedBytes.h"
#include "TextFileError.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace kau {
namespace {

[[noreturn]] void fail(const char* what)
{
    throw TextFileError(std::string(what) + ": " + std::strerror(errno));
}

std::int64_t nanos(const timespec& t)
{
    return static_cast<std::int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

} // namespace

FileWindow::~FileWindow() { close(); }

bool FileWindow::open(const std::string& path, int flags, int& err)
{
    close();
    int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) {
        err = errno;
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        err = S_ISDIR(st.st_mode) ? EISDIR : errno;
        ::close(fd);
        return false;
    }
    m_fd = fd;
    drop();
    m_statSize = -1;
    return true;
}

void FileWindow::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    drop();
    m_statSize = -1;
}

std::uint64_t FileWindow::length()
{
    if (m_held > 0 && m_fresh)
        return static_cast<std::uint64_t>(m_statSize);
    struct stat st {};
    if (::fstat(m_fd, &st) != 0)
        fail("stat");
    if (st.st_size != m_statSize || st.st_ino != m_statIno || nanos(st.st_mtim) != m_statMtime
        || nanos(st.st_ctim) != m_statCtime) {
        drop();
        m_statSize = st.st_size;
        m_statIno = st.st_ino;
        m_statMtime = nanos(st.st_mtim);
        m_statCtime = nanos(st.st_ctim);
    }
    m_fresh = true;
    return static_cast<std::uint64_t>(st.st_size);
}

std::size_t FileWindow::readAt(char* buf, std::size_t n, std::uint64_t off)
{
    std::size_t done = 0;
    while (done < n) {
        ssize_t got = ::pread(m_fd, buf + done, n - done, static_cast<off_t>(off + done));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            fail("read");
        }
        if (got == 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void FileWindow::writeAt(const char* buf, std::size_t n, std::uint64_t off)
{
    drop();
    std::size_t done = 0;
    while (done < n) {
        ssize_t put = ::pwrite(m_fd, buf + done, n - done, static_cast<off_t>(off + done));
        if (put < 0) {
            if (errno == EINTR)
                continue;
            fail("write");
        }
        done += static_cast<std::size_t>(put);
    }
}

void FileWindow::load(std::uint64_t start, std::size_t n)
{
    m_win.resize(kWindow);
    m_winLen = 0;
    m_winLen = readAt(m_win.data(), n, start);
    m_winOff = start;
}

const char* FileWindow::forward(std::uint64_t off, std::uint64_t len, std::size_t& avail)
{
    if (!(off >= m_winOff && off < m_winOff + m_winLen))
        load(off, static_cast<std::size_t>(std::min<std::uint64_t>(kWindow, len - off)));
    std::uint64_t end = std::min<std::uint64_t>(m_winOff + m_winLen, len);
    avail = off < end ? static_cast<std::size_t>(end - off) : 0;
    return m_win.data() + (off - m_winOff);
}

const char* FileWindow::backward(std::uint64_t end, std::uint64_t& start)
{
    // The window serves if it holds end's neighbourhood: all of the file
    // before end, or a good stretch of it.
    bool covers = end <= m_winOff + m_winLen && end > m_winOff
                  && (m_winOff == 0 || end - m_winOff >= kWindow / 2);
    if (!covers) {
        std::uint64_t from = end > kWindow ? end - kWindow : 0;
        load(from, static_cast<std::size_t>(end - from));
        if (m_winOff + m_winLen < end)
            end = m_winOff + m_winLen; // the file has shrunk under us
    }
    start = m_winOff;
    return m_win.data();
}

std::uint64_t FileWindow::findLineEnd(std::uint64_t from, std::uint64_t len, std::string* out)
{
    std::uint64_t off = from;
    bool pendingCr = false; // a CR at the end of the previous window, not yet placed
    while (off < len) {
        std::size_t avail = 0;
        const char* p = forward(off, len, avail);
        if (avail == 0)
            return off; // the file has shrunk under us
        if (pendingCr) {
            pendingCr = false;
            if (p[0] == '\n')
                return off - 1;
            if (out)
                out->push_back('\r');
        }
        std::string_view view(p, avail);
        std::size_t k = view.find("\r\n");
        if (k != std::string_view::npos) {
            if (out)
                out->append(p, k);
            return off + k;
        }
        std::size_t take = avail;
        if (p[avail - 1] == '\r' && off + avail < len) {
            pendingCr = true;
            --take;
        }
        if (out)
            out->append(p, take);
        off += avail;
    }
    if (pendingCr && out)
        out->push_back('\r');
    return len;
}

std::int64_t FileWindow::findPairEndingBy(std::uint64_t last)
{
    // Candidates are pairs wholly inside [0, last].
    std::uint64_t end = last + 1;
    while (end >= 2) {
        std::uint64_t start = 0;
        const char* p = backward(end, start);
        std::size_t n = static_cast<std::size_t>(std::min(end, m_winOff + m_winLen) - start);
        std::string_view view(p, n);
        std::size_t k = view.rfind("\r\n");
        if (k != std::string_view::npos)
            return static_cast<std::int64_t>(start + k);
        if (start == 0 || n < 2)
            break;
        end = start + 1; // one byte of overlap keeps a pair across the seam
    }
    return -1;
}

std::uint32_t FileWindow::scanLines(std::uint64_t from, std::uint64_t len,
                                    const std::function<void(std::string_view)>& visit, bool& terminated)
{
    // buf holds the unfinished line of the last block at its front and the
    // new block behind it; a line longer than the buffer makes it grow.
    std::vector<char> buf(static_cast<std::size_t>(std::min<std::uint64_t>(kScanBlock, len - from)));
    std::size_t kept = 0;
    std::uint32_t lines = 0;
    terminated = false;
    std::uint64_t off = from;
    while (off < len) {
        if (kept == buf.size())
            buf.resize(buf.size() * 2);
        const std::size_t want =
            static_cast<std::size_t>(std::min<std::uint64_t>(buf.size() - kept, len - off));
        const std::size_t got = readAt(buf.data() + kept, want, off);
        if (got == 0)
            break; // the file has shrunk under us
        off += got;
        const std::string_view block(buf.data(), kept + got);
        const std::size_t rest = VisitCrLfLines(block, [&](std::string_view line) {
            visit(line);
            ++lines;
        });
        kept = block.size() - rest;
        std::memmove(buf.data(), buf.data() + rest, kept);
    }
    if (kept > 0) {
        visit(std::string_view(buf.data(), kept));
        ++lines;
    } else {
        terminated = lines > 0;
    }
    return lines;
}

std::shared_ptr<const MappedBytes> FileWindow::map(std::uint64_t len) const
{
    return MappedBytes::Map(m_fd, len);
}

std::string FileWindow::read(std::uint64_t off, std::size_t n)
{
    std::string bytes(n, '\0');
    bytes.resize(readAt(bytes.data(), n, off));
    return bytes;
}

void FileWindow::write(std::uint64_t off, const std::string& bytes)
{
    writeAt(bytes.data(), bytes.size(), off);
}

void FileWindow::insert(std::uint64_t off, const std::string& bytes, std::uint64_t len)
{
    const std::uint64_t shift = bytes.size();
    if (shift == 0)
        return;
    if (off < len) {
        // Move the tail up from its end down, so that no byte is overwritten
        // before it has been copied.
        std::vector<char> buf(static_cast<std::size_t>(std::min<std::uint64_t>(kMoveChunk, len - off)));
        std::uint64_t end = len;
        while (end > off) {
            std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(buf.size(), end - off));
            std::uint64_t src = end - n;
            std::size_t got = readAt(buf.data(), n, src);
            if (got != n) {
                errno = EIO;
                fail("read");
            }
            writeAt(buf.data(), n, src + shift);
            end = src;
        }
    }
    writeAt(bytes.data(), bytes.size(), off);
}

void FileWindow::remove(std::uint64_t off, std::uint64_t n, std::uint64_t len)
{
    if (off >= len)
        return;
    if (off + n < len) {
        std::vector<char> buf(static_cast<std::size_t>(std::min<std::uint64_t>(kMoveChunk, len - off - n)));
        std::uint64_t src = off + n;
        while (src < len) {
            std::size_t m = static_cast<std::size_t>(std::min<std::uint64_t>(buf.size(), len - src));
            std::size_t got = readAt(buf.data(), m, src);
            if (got != m) {
                errno = EIO;
                fail("read");
            }
            writeAt(buf.data(), m, src - n);
            src += m;
        }
    }
    std::uint64_t newLen = off + n < len ? len - n : off;
    drop();
    if (::ftruncate(m_fd, static_cast<off_t>(newLen)) != 0)
        fail("set length");
}

} // namespace kau
