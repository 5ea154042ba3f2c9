#include "catalogue/InstallNames.h"

#include "catalogue/RestoreArchive.h"
#include "platform/FixedNames.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kau {
namespace {

constexpr int kLinkDepth = 40;

// Length of the control character at text[at], 0 if there is none.
std::size_t controlAt(const std::string& text, std::size_t at)
{
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 || byte == 0x7f)
        return 1;
    if (byte == 0xc2 && at + 1 < text.size()) {
        const auto next = static_cast<unsigned char>(text[at + 1]);
        if (next >= 0x80 && next <= 0x9f)
            return 2;
    }
    return 0;
}

bool hasControl(const std::string& text)
{
    for (std::size_t i = 0; i < text.size(); ++i)
        if (controlAt(text, i) != 0)
            return true;
    return false;
}

std::vector<std::string> partsOf(const std::string& path)
{
    std::vector<std::string> parts(1);
    for (const char c : path) {
        if (c == '/' || c == '\\')
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

bool hasParentStep(const std::string& path)
{
    for (const std::string& part : partsOf(path))
        if (part == "..")
            return true;
    return false;
}

std::string realPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : std::string();
}

bool within(const std::string& path, const std::string& root)
{
    if (root == "/")
        return true;
    return path == root || (path.size() > root.size() && path.compare(0, root.size(), root) == 0
                            && path[root.size()] == '/');
}

std::string parentOf(const std::string& path)
{
    const std::size_t at = path.rfind('/');
    if (at == std::string::npos)
        return ".";
    return at == 0 ? "/" : path.substr(0, at);
}

// Where path lands once its links are followed: inside root or not. A link
// that leads nowhere counts by where its target would be made.
bool landsInside(std::string path, const std::string& root, int depth)
{
    for (;;) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) == 0) {
            const std::string real = realPath(path);
            if (!real.empty())
                return within(real, root);
            if (!S_ISLNK(info.st_mode) || depth == 0)
                return false;
            char target[PATH_MAX];
            const ssize_t size = ::readlink(path.c_str(), target, sizeof target - 1);
            if (size <= 0)
                return false;
            const std::string link(target, static_cast<std::size_t>(size));
            return landsInside(link[0] == '/' ? link : parentOf(path) + "/" + link, root, depth - 1);
        }
        // Missing: it would be made in its parent. A ".." below a missing
        // part can't be judged by its text.
        if ((errno != ENOENT && errno != ENOTDIR) || hasParentStep(path) || path == "/"
            || path.find('/') == std::string::npos)
            return false;
        path = parentOf(path);
    }
}

bool isAbsolute(const std::string& name)
{
    return name[0] == '/' || name[0] == '\\'
           || (name.size() >= 2 && std::isalpha(static_cast<unsigned char>(name[0])) && name[1] == ':');
}

bool isRevisionFile(const std::string& name)
{
    return ::strcasecmp(name.c_str(), "RelInfoLocal.rel") == 0
           || ::strcasecmp(name.c_str(), "RelInfoRemote.rel") == 0;
}

// Replacing it would let a second run lock a file of its own.
bool isLockFile(const std::string& name)
{
    return ::strcasecmp(name.c_str(), kInstallationLockFile) == 0;
}

bool isDirectory(const std::string& path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

bool IsSafeInstallName(const std::string& installDir, const std::string& name)
{
    if (name.empty() || hasControl(name) || isAbsolute(name) || hasParentStep(name))
        return false;
    // "./x" and "a//x" name what "x" and "a/x" name: judge them that way.
    std::vector<std::string> parts = partsOf(name);
    const std::string last = parts.back();
    std::erase_if(parts, [](const std::string& part) { return part.empty() || part == "."; });
    if (parts.empty() || parts.back() != last || last.rfind("upd_", 0) == 0)
        return false;
    if (isLockFile(last)) // at any depth: "./" or a link may lead back to the top
        return false;
    if (parts.size() == 1 ? isRevisionFile(last) : IsRestoreDirectoryName(parts.front()))
        return false;
    std::string local;
    for (const std::string& part : parts)
        local += (local.empty() ? "" : "/") + part;
    return StaysInside(installDir, local) && !isDirectory(installDir + "/" + local);
}

bool StaysInside(const std::string& installDir, const std::string& relative)
{
    const std::string root = realPath(installDir.empty() ? "." : installDir);
    return !root.empty() && !hasParentStep(relative) && landsInside(root + "/" + relative, root, kLinkDepth);
}

void DropEntries(RemoteRevisionList& list, const std::vector<bool>& dropped)
{
    std::vector<bool> keep(dropped.size());
    for (std::size_t i = 0; i < dropped.size(); ++i)
        keep[i] = !dropped[i];
    list.m_aNames.Retain(keep);
    list.m_aVersions.Retain(keep);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < list.m_aTransferred.size(); ++i)
        if (i >= keep.size() || keep[i])
            list.m_aTransferred[kept++] = list.m_aTransferred[i];
    list.m_aTransferred.resize(kept);
}

std::string EscapeControls(const std::string& text, std::string_view kept)
{
    static const char* const kHex = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t length = controlAt(text, i);
        if (length == 0 || kept.find(text[i]) != std::string_view::npos) {
            shown += text[i];
            continue;
        }
        for (std::size_t k = 0; k < length; ++k) {
            const auto byte = static_cast<unsigned char>(text[i + k]);
            shown += "\\x";
            shown += kHex[byte >> 4];
            shown += kHex[byte & 0xf];
        }
        i += length - 1;
    }
    return shown;
}

} // namespace kau
