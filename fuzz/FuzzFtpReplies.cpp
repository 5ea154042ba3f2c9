// The FTP client against a server that answers with the input: the blocks
// of the input (separated by an empty line) are the server's replies in
// order, and after a 1xx reply to a transfer the contents of the data
// connection. The client logs on, changes directory, looks for files with
// and without a pattern, reads one into memory and downloads one.
#include "FuzzInput.h"
#include "FakeFtpServer.h"
#include "FuzzTempDir.h"

#include "platform/Box.h"
#include "server/CFtpFileClient.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

class SilentBox : public kau::Box {
public:
    kau::BoxAnswer show(const std::string&, kau::BoxButtons buttons, kau::BoxIcon) override
    {
        return kau::carefulAnswer(buttons);
    }
};

std::vector<std::string> blocksOf(const std::string& script)
{
    std::vector<std::string> blocks;
    std::size_t start = 0;
    for (std::size_t cut; (cut = script.find("\n\n", start)) != std::string::npos; start = cut + 2)
        blocks.push_back(script.substr(start, cut - start));
    blocks.push_back(script.substr(start));
    return blocks;
}

using kau::fuzz::check;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static SilentBox box;
    kau::installBox(&box);
    const std::string download = kau::fuzz::scratchDirectory() + "/install";

    kau::fuzz::FakeFtpServer server(blocksOf(std::string(reinterpret_cast<const char*>(data), size)));
    kau::CFtpFileClient client;
    client.setTimeouts(std::chrono::milliseconds(100), std::chrono::milliseconds(1000));
    if (client.Connect("127.0.0.1:" + std::to_string(server.port()), "fuzz", "secret")) {
        client.ChangeDirectory("Sampler");
        client.FindFile("RelInfoRemote.rel");
        std::string content;
        if (client.ReadFile("RelInfoRemote.rel", content, 512))
            check(content.size() <= 512, "a read file keeps to its bound");
        if (client.FindFile("*.rel")) {
            std::size_t found = 0;
            while (client.findActive()) {
                client.NextFoundFile();
                check(++found < 10000, "the found files end");
            }
        }
        client.DownloadFile("Sampler.exe", download);
        (void)client.FailureReason();
        (void)client.CurrentDirectory();
        (void)client.CurrentDirectoryUrl();
    }
    (void)client.FailureReason();
    client.Disconnect();
    return 0;
}
