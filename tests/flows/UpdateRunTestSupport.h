#pragma once
// The sample product at two releases, for the tests of the update run (flows, front end, console).
#include "flows/RunLog.h"
#include "flows/RunProgress.h"
#include "support/TempDir.h"

#include <functional>

#include <map>
#include <vector>

namespace kau::test {

// Lines joined with CR LF, each ended by it: a revision file.
inline std::string revisionFile(const std::vector<std::string>& lines)
{
    std::string text;
    for (const auto& line : lines)
        text += line + "\r\n";
    return text;
}

// Release 1 installed; on the server release 2: Sampler.exe and sampler.chm newer, Readme.txt new.
struct SampleProduct {
    TempDir server; // the FTP root
    TempDir install;
    static constexpr const char* kKey = "Sampler";
    SampleProduct()
    {
        install.write("Sampler.exe", "program release 1\n");
        install.write("sampler.chm", "help release 1\n");
        install.write("Plugins/Filter.dll", "filter 2.00.07\n");
        install.write("RelInfoLocal.rel", revisionFile({"Sampler.exe; 3.10.01", "Plugins\\Filter.dll; 2.00.07", "sampler.chm; 1.03.00"}));
        server.write("Sampler/RelInfoRemote.rel",
                     revisionFile({"; files of the Sampler folder", "", "Sampler.exe; 3.10.02",
                                   "sampler.chm;1.04.00;help pages", "Plugins\\Filter.dll  ;  2.00.07 ;", "Readme.txt"}));
        server.write("Sampler/Sampler.exe", "program release 2\n" + std::string(70000, 'p'));
        server.write("Sampler/sampler.chm", "help release 2\n" + std::string(70000, 'h'));
        server.write("Sampler/Plugins/Filter.dll", "filter 2.00.07\n");
        server.write("Sampler/Readme.txt", "read me\n");
    }
};

// An installation at its fourth state with the restore directories of the three updates that led
// there, each holding what stood before it (the old copies and the local revision file).
struct RestoreExample {
    TempDir install;
    static constexpr const char* kOldest = "201402100915";
    static constexpr const char* kMiddle = "201405131120";
    static constexpr const char* kNewest = "201409011630";
    // The lines of the files a restore to kMiddle plays back: the newer directory's first.
    static std::vector<std::string> middleRestored()
    {
        return {"  ok!    201409011630/RelInfoLocal.rel", "  ok!    201409011630/Sampler.exe", "  ok!    201405131120/RelInfoLocal.rel",
                "  ok!    201405131120/Sampler.exe", "  ok!    201405131120/sampler.chm"};
    }
    static std::string state(int n) { return revisionFile({"Sampler.exe; 3.10.0" + std::to_string(n), "sampler.chm; 1.0" + std::to_string(n)}); }
    RestoreExample()
    {
        install.write("RelInfoLocal.rel", state(4));
        install.write("Sampler.exe", "program 4\n");
        install.write("sampler.chm", "help 4\n");
        install.write(std::string(kOldest) + "/RelInfoLocal.rel", state(1));
        install.write(std::string(kOldest) + "/Sampler.exe", "program 1\n");
        install.write(std::string(kMiddle) + "/RelInfoLocal.rel", state(2));
        install.write(std::string(kMiddle) + "/Sampler.exe", "program 2\n");
        install.write(std::string(kMiddle) + "/sampler.chm", "help 2\n");
        install.write(std::string(kNewest) + "/RelInfoLocal.rel", state(3));
        install.write(std::string(kNewest) + "/Sampler.exe", "program 3\n");
    }
};

// The update run's log: `opened` of its opening lines, then middle (in the transfer's frame if it
// ran), then its closing lines.
inline std::vector<std::string> updateLog(std::size_t opened, const std::vector<std::string>& middle, bool transfer = false)
{
    std::vector<std::string> all = {"... connect to the KORVANE server", "... set path (Sampler)", "... check remote revision file",
                                    "... check local revision file", "... compare new files", "---- start transfer ----"};
    all.resize(opened + transfer);
    all.insert(all.end(), middle.begin(), middle.end());
    if (transfer)
        all.insert(all.end(), {"---- end transfer ----", "... update local revision file", "  ok!  updated local revision file"});
    all.insert(all.end(), {"   ", "  End of download procedure!! "});
    return all;
}

// The restore run's log: the restored files' lines between its opening and closing lines.
inline std::vector<std::string> restoreLog(const std::string& stamp, const std::vector<std::string>& middle)
{
    std::vector<std::string> all = {"---- start restore to " + stamp};
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), {"   ", "  End of restore procedure!! "});
    return all;
}

// Lines as a program prints them, each ended by "\n".
inline std::string printed(const std::vector<std::string>& lines)
{
    std::string text;
    for (const auto& line : lines)
        text += line + "\n";
    return text;
}

// The log and the bar of a run as plain lists: the bar as "lower..upper" ranges and positions.
struct RunRecord : RunLog, RunProgress {
    std::vector<std::string> lines, bar;
    std::function<void()> onLine = [] {};
    void AddLine(const std::string& line) override { lines.push_back(line), onLine(); }
    void ReplaceLastLine(const std::string& line) override { lines.back() = line; }
    void ScrollToEnd() override {}
    void SetRange(int lower, int upper) override { bar.push_back(std::to_string(lower) + ".." + std::to_string(upper)); }
    void SetPosition(int position) override { bar.push_back(std::to_string(position)); }
    void clear() { lines.clear(), bar.clear(); }
};

// Every file below dir, by its path relative to dir, with its content.
inline std::map<std::string, std::string> filesBelow(const std::filesystem::path& dir)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir))
        if (entry.is_regular_file())
            files[std::filesystem::relative(entry.path(), dir).string()] = readFile(entry.path());
    return files;
}

} // namespace kau::test
