#pragma once
// A fresh directory under the system's temporary directory, removed with its
// contents when the object goes.
#include <filesystem>
#include <string>

namespace kau::test {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::string str() const { return m_path.string(); }
    // Path of a name below the directory.
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

    // Writes bytes to a file below the directory, creating its parent directories.
    void write(const std::string& name, const std::string& bytes) const;
    // Reads a whole file below the directory (or an absolute path); empty if missing.
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;

private:
    std::filesystem::path m_path;
};

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);

} // namespace kau::test
