#pragma once
// A fresh directory under the system's temporary directory, removed with its
// contents when the object goes.
#include <filesystem>
#include <string>

namespace kau::test {

std::string readFile(const std::filesystem::path& path); // empty if missing
void writeFile(const std::filesystem::path& path, const std::string& bytes); // makes the parents too

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

    // Names are below the directory (or absolute paths).
    void write(const std::string& name, const std::string& bytes) const { writeFile(m_path / name, bytes); }
    std::string read(const std::string& name) const { return readFile(m_path / name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(m_path / name); }

private:
    std::filesystem::path m_path;
};

} // namespace kau::test
