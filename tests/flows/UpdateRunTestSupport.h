#pragma once
// What the tests of the update run share: a log and a bar that record what
// they are told, the sample product at two releases, and the FTP server the
// run talks to.
#include "flows/RunLog.h"
#include "flows/RunProgress.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kau::test {

class RecordingLog : public RunLog {
public:
    void AddLine(const std::string& line) override
    {
        std::lock_guard lock(m_mutex);
        m_lines.push_back(line);
    }
    void ReplaceLastLine(const std::string& line) override
    {
        std::lock_guard lock(m_mutex);
        if (!m_lines.empty())
            m_lines.pop_back();
        m_lines.push_back(line);
        ++m_replacements;
    }
    void ScrollToEnd() override
    {
        std::lock_guard lock(m_mutex);
        ++m_scrolls;
    }
    std::vector<std::string> lines() const
    {
        std::lock_guard lock(m_mutex);
        return m_lines;
    }
    bool contains(const std::string& line) const
    {
        for (const auto& l : lines())
            if (l == line)
                return true;
        return false;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    int m_replacements = 0;
    int m_scrolls = 0;
};

class RecordingProgress : public RunProgress {
public:
    void SetRange(int lower, int upper) override
    {
        std::lock_guard lock(m_mutex);
        m_lower = lower;
        m_upper = upper;
        m_events.push_back("range " + std::to_string(lower) + ".." + std::to_string(upper));
    }
    void SetPosition(int position) override
    {
        std::lock_guard lock(m_mutex);
        m_position = position;
        m_events.push_back("pos " + std::to_string(position));
    }
    std::vector<std::string> events() const
    {
        std::lock_guard lock(m_mutex);
        return m_events;
    }
    int position() const
    {
        std::lock_guard lock(m_mutex);
        return m_position;
    }
    int upper() const
    {
        std::lock_guard lock(m_mutex);
        return m_upper;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
    int m_lower = 0, m_upper = 0, m_position = 0;
};

// Lines joined with CR LF, each ended by it: a revision file.
inline std::string revisionFile(const std::vector<std::string>& lines)
{
    std::string text;
    for (const auto& line : lines)
        text += line + "\r\n";
    return text;
}

// The sample product: release 1 installed, release 2 on the server under
// the product key "Sampler".
struct SampleProduct {
    TempDir server; // the FTP root
    TempDir install;

    static constexpr const char* kKey = "Sampler";

    SampleProduct()
    {
        install.write("sampler.chm", "help release 1\n");
        install.write("Plugins/Filter.dll", "filter 2.00.07\n");
        install.write("RelInfoLocal.rel", revisionFile({"Sampler.exe; 3.10.01",
                                                       "Plugins\\Filter.dll; 2.00.07",
                                                       "sampler.chm; 1.03.00"}));
        // The names as a revision file gives them; the program itself is
        // "Sampler.exe" on the server as in the catalogue's example.
        install.write("Sampler.exe", "program release 1\n");
        server.write("Sampler/RelInfoRemote.rel",
                     revisionFile({"; files of the Sampler folder", "", "Sampler.exe; 3.10.02",
                                   "sampler.chm;1.04.00;help pages",
                                   "Plugins\\Filter.dll  ;  2.00.07 ;", "Readme.txt"}));
        server.write("Sampler/Sampler.exe", "program release 2\n" + std::string(70000, 'p'));
        server.write("Sampler/sampler.chm", "help release 2\n" + std::string(70000, 'h'));
        server.write("Sampler/Plugins/Filter.dll", "filter 2.00.07\n");
        server.write("Sampler/Readme.txt", "read me\n");
    }

    // The restore directories below the install directory.
    std::vector<std::filesystem::path> restoreDirectories() const
    {
        std::vector<std::filesystem::path> dirs;
        for (const auto& entry : std::filesystem::directory_iterator(install.path()))
            if (entry.is_directory() && entry.path().filename().string().size() == 12
                && entry.path().filename().string().rfind("20", 0) == 0)
                dirs.push_back(entry.path());
        return dirs;
    }
};

// Points the library's built-in account at a server for the lifetime of the
// object.
class ServerAccountOverride {
public:
    explicit ServerAccountOverride(const std::string& address, const std::string& user = "svcfeed",
                                   const std::string& password = "mintrav42")
    {
        ::setenv("KORAUTOUPDATE_FTP_SERVER", address.c_str(), 1);
        ::setenv("KORAUTOUPDATE_FTP_USER", user.c_str(), 1);
        ::setenv("KORAUTOUPDATE_FTP_PASSWORD", password.c_str(), 1);
    }
    ~ServerAccountOverride()
    {
        ::unsetenv("KORAUTOUPDATE_FTP_SERVER");
        ::unsetenv("KORAUTOUPDATE_FTP_USER");
        ::unsetenv("KORAUTOUPDATE_FTP_PASSWORD");
    }
};

} // namespace kau::test
