#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kau::test {

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "kau-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
}

TempDir::~TempDir()
{
    std::error_code ec;
    // Give back permissions a test may have taken away, so the tree can go.
    for (auto it = std::filesystem::recursive_directory_iterator(m_path, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
        std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(m_path, ec);
}

std::string readFile(const std::filesystem::path& path)
{
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    if (!(std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes))
        throw std::runtime_error("cannot write " + path.string());
}

} // namespace kau::test
