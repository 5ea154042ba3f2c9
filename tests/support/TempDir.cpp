#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

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

void TempDir::write(const std::string& name, const std::string& bytes) const
{
    writeFile(m_path / name, bytes);
}

std::string TempDir::read(const std::string& name) const { return readFile(m_path / name); }

bool TempDir::exists(const std::string& name) const
{
    return std::filesystem::exists(m_path / name);
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + path.string());
}

} // namespace kau::test
