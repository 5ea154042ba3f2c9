// The configuration layer of the text file on a real file: the input is the
// file's first content followed by a list of operations (find a section, read
// or set an entry, move, insert and delete lines) with their arguments.
#include "FuzzInput.h"
#include "FuzzTempDir.h"

#include "textfile/CTextFile.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using kau::fuzz::check;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const std::string content = input.ConsumeRandomLengthString(1024);
    const std::string path = kau::fuzz::writeScratchFile("Config.ini", content.data(), content.size());

    kau::CTextFile file;
    check(file.OpenForWrite(path, false, false) == 1, "a scratch file opens");
    for (int step = 0; step < 24 && input.remaining_bytes() > 0; ++step) {
        const auto op = input.ConsumeIntegralInRange<int>(0, 17);
        const std::string a = input.ConsumeRandomLengthString(24);
        std::string out;
        switch (op) {
        case 0: file.FindSection(a); break;
        case 1: file.FindSectionWrapped(a); break;
        case 2: file.GotoSectionEnd(); break;
        case 3: {
            const std::string key = input.ConsumeRandomLengthString(24);
            file.GetEntry(a, key, out);
            break;
        }
        case 4: {
            const std::string key = input.ConsumeRandomLengthString(24);
            const std::string value = input.ConsumeRandomLengthString(24);
            file.SetEntry(a, key, value);
            break;
        }
        case 5: file.PrevLine(input.ConsumeIntegralInRange<int>(0, 8)); break;
        case 6: {
            const auto line = input.ConsumeIntegralInRange<std::uint32_t>(0, 40);
            if (file.GotoLine(line))
                check(file.GetLineNumber() == std::max<std::uint32_t>(line, 1), "GotoLine lands");
            break;
        }
        case 7: file.GotoEnd(); break;
        case 8: file.InsertLine(a); break;
        case 9: file.InsertFirstLine(a); break;
        case 10: file.DeleteLine(); break;
        case 11: file.ReadLine(out); break;
        case 12: file.NextLine(input.ConsumeIntegralInRange<int>(0, 8)); break;
        case 13: file.Rewind(); break;
        case 14: file.AppendLine(a); break;
        case 15: file.WriteText(a); break;
        case 16: file.SetLineBreak(input.ConsumeBool()); break;
        case 17: {
            std::uint32_t lines = 0;
            file.ScanLines([&lines](std::string_view) { ++lines; });
            break;
        }
        }
    }
    file.Close();

    // Whatever was done, the file reads again line by line to its end.
    kau::CTextFile again;
    check(again.OpenRead(path, false) == 1, "the changed file opens");
    std::string line;
    std::uint32_t lines = 0;
    while (again.ReadLine(line) && again.NextLine(1))
        check(++lines < 100000, "reading ends");
    return 0;
}
