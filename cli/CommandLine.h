#pragma once
// The command line of korautoupdate: a command, its options, and the help
// texts that describe them.
#include <optional>
#include <string>
#include <vector>

namespace kau::cli {

enum class Command { None, Check, Update, Restore, Restores, Notes, Keygen, Publish };

// How a question of the flows is answered.
enum class Answer { Ask, Yes, No };

struct CommandLine {
    Command command = Command::None;
    bool help = false;            // --help: print the help of the command (or the general one)
    bool version = false;         // --version: print the program's name and version
    std::string productKey;       // --product
    std::string applicationPath;  // --app
    bool allFiles = false;        // --all
    Answer answer = Answer::Ask;  // --yes / --no
    std::optional<std::string> restoreStamp; // restores --files, restore's STAMP
    std::string page;             // notes: the page's path or URL
    std::optional<std::string> server;       // --server [ftpes://]HOST[:PORT]
    std::optional<std::string> caFile;       // --ca-file
    std::optional<std::string> user;         // --user
    std::optional<std::string> password;     // --password
    std::optional<std::string> publicKey;    // --public-key (check, update)
    std::string keyFile;          // --key: keygen's output, publish's signing key
    std::string releaseDirectory; // publish --dir
    std::string previousRevisions; // publish --previous
    std::string releaseVersion;   // publish --version
};

struct ParseResult {
    CommandLine line;
    std::string error; // empty when the command line is usable
};

// Reads the arguments behind the program name.
ParseResult parseCommandLine(const std::vector<std::string>& args);

// The help text of a command; Command::None gives the overview.
std::string helpText(Command command);

// "korautoupdate VERSION", one line.
std::string versionText();

// "check", "update", "restore", "restores", "notes", "keygen", "publish";
// empty for None.
std::string commandName(Command command);

} // namespace kau::cli
