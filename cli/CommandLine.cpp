#include "CommandLine.h"

#include "server/ServerAddress.h"

#include <algorithm>
#include <initializer_list>

namespace kau::cli {
namespace {

struct Option {
    const char* name;
    bool takesValue;
};

constexpr Option kServerOptions[] = {{"--server", true}, {"--user", true}, {"--password", true},
                                     {"--ca-file", true}, {"--public-key", true}};

std::vector<Option> optionsOf(Command command)
{
    std::vector<Option> options{{"--help", false}};
    switch (command) {
    case Command::Check:
        options.insert(options.end(), {{"--product", true}, {"--app", true}, {"--yes", false},
                                       {"--no", false}});
        options.insert(options.end(), std::begin(kServerOptions), std::end(kServerOptions));
        break;
    case Command::Update:
        options.insert(options.end(), {{"--product", true}, {"--app", true}, {"--all", false},
                                       {"--yes", false}, {"--no", false}});
        options.insert(options.end(), std::begin(kServerOptions), std::end(kServerOptions));
        break;
    case Command::Restore:
        options.insert(options.end(), {{"--app", true}, {"--yes", false}, {"--no", false}});
        break;
    case Command::Restores:
        options.insert(options.end(), {{"--app", true}, {"--files", true}});
        break;
    case Command::Keygen:
        options.insert(options.end(), {{"--key", true}});
        break;
    case Command::Publish:
        options.insert(options.end(), {{"--dir", true}, {"--previous", true}, {"--version", true},
                                       {"--key", true}});
        break;
    case Command::Notes:
    case Command::None:
        break;
    }
    return options;
}

Command commandNamed(const std::string& name)
{
    if (name == "check")
        return Command::Check;
    if (name == "update")
        return Command::Update;
    if (name == "restore")
        return Command::Restore;
    if (name == "restores")
        return Command::Restores;
    if (name == "notes")
        return Command::Notes;
    if (name == "keygen")
        return Command::Keygen;
    if (name == "publish")
        return Command::Publish;
    return Command::None;
}

// Stores one option; returns an error text or "".
std::string apply(CommandLine& line, const std::string& name, const std::string& value)
{
    if (name == "--help")
        line.help = true;
    else if (name == "--product")
        line.productKey = value;
    else if (name == "--app")
        line.applicationPath = value;
    else if (name == "--all")
        line.allFiles = true;
    else if (name == "--yes" || name == "--no") {
        const Answer answer = name == "--yes" ? Answer::Yes : Answer::No;
        if (line.answer != Answer::Ask && line.answer != answer)
            return "--yes and --no exclude each other";
        line.answer = answer;
    } else if (name == "--files")
        line.restoreStamp = value;
    else if (name == "--server")
        line.server = value;
    else if (name == "--ca-file")
        line.caFile = value;
    else if (name == "--user")
        line.user = value;
    else if (name == "--password")
        line.password = value;
    else if (name == "--public-key")
        line.publicKey = value;
    else if (name == "--key")
        line.keyFile = value;
    else if (name == "--dir")
        line.releaseDirectory = value;
    else if (name == "--previous")
        line.previousRevisions = value;
    else if (name == "--version")
        line.releaseVersion = value;
    return {};
}

std::string checkRequired(const CommandLine& line)
{
    if (line.command == Command::Notes)
        return line.page.empty() ? "PATH or URL of the page is required" : "";
    if (line.command == Command::Keygen)
        return line.keyFile.empty() ? "--key FILE is required" : "";
    if (line.command == Command::Publish) {
        if (line.releaseDirectory.empty())
            return "--dir RELEASE_DIR is required";
        return line.releaseVersion.empty() ? "--version X.YY.ZZ is required" : "";
    }
    const bool needsProduct = line.command == Command::Check || line.command == Command::Update;
    if (needsProduct && line.productKey.empty())
        return "--product KEY is required";
    if (line.applicationPath.empty())
        return "--app PATH is required";
    if (line.server && line.server->empty())
        return "--server needs a host";
    if (line.server) {
        if (const std::string error = ServerAddress::parse(*line.server).error; !error.empty())
            return "--server: " + error;
    }
    if (line.caFile && line.caFile->empty())
        return "--ca-file needs a file";
    if (line.command == Command::Restores && line.restoreStamp && line.restoreStamp->empty())
        return "--files needs a restore directory name";
    if (line.command == Command::Restore && !line.restoreStamp)
        return "the restore directory STAMP is required";
    return {};
}

} // namespace

std::string commandName(Command command)
{
    switch (command) {
    case Command::Check: return "check";
    case Command::Update: return "update";
    case Command::Restore: return "restore";
    case Command::Restores: return "restores";
    case Command::Notes: return "notes";
    case Command::Keygen: return "keygen";
    case Command::Publish: return "publish";
    case Command::None: break;
    }
    return {};
}

ParseResult parseCommandLine(const std::vector<std::string>& args)
{
    ParseResult result;
    CommandLine& line = result.line;
    if (args.empty()) {
        result.error = "no command given";
        return result;
    }
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        line.help = true;
        return result;
    }
    if (args[0] == "--version") {
        line.version = true;
        return result;
    }
    line.command = commandNamed(args[0]);
    if (line.command == Command::None) {
        result.error = "unknown command '" + args[0] + "'";
        return result;
    }
    const std::vector<Option> options = optionsOf(line.command);
    for (std::size_t i = 1; i < args.size(); ++i) {
        std::string name = args[i];
        std::optional<std::string> value;
        if (const auto eq = name.find('='); name.rfind("--", 0) == 0 && eq != std::string::npos) {
            value = name.substr(eq + 1);
            name.erase(eq);
        }
        if (name == "-h")
            name = "--help";
        // restore takes the restore directory, notes the page, as their one plain argument.
        if (line.command == Command::Restore && !name.starts_with("-") && !line.restoreStamp) {
            line.restoreStamp = name;
            continue;
        }
        if (line.command == Command::Notes && line.page.empty() && !name.starts_with("-")) {
            line.page = name;
            continue;
        }
        const auto option = std::find_if(options.begin(), options.end(),
                                         [&](const Option& o) { return name == o.name; });
        if (option == options.end()) {
            result.error = (name.rfind("-", 0) == 0 ? "unknown option '" : "unexpected argument '")
                           + name + "' for " + commandName(line.command);
            return result;
        }
        if (option->takesValue && !value) {
            if (i + 1 >= args.size()) {
                result.error = name + " needs a value";
                return result;
            }
            value = args[++i];
        } else if (!option->takesValue && value) {
            result.error = name + " takes no value";
            return result;
        }
        if (std::string error = apply(line, name, value.value_or("")); !error.empty()) {
            result.error = error;
            return result;
        }
    }
    if (!line.help)
        result.error = checkRequired(line);
    return result;
}

std::string helpText(Command command)
{
    const std::string server =
        "  --server HOST[:PORT]  update server (default: built in, or KORAUTOUPDATE_FTP_SERVER);\n"
        "                        ftpes://HOST[:PORT] speaks FTP with explicit TLS only\n"
        "  --user NAME           FTP account (or KORAUTOUPDATE_FTP_USER)\n"
        "  --password TEXT       FTP password (or KORAUTOUPDATE_FTP_PASSWORD)\n"
        "  --ca-file FILE        an ftpes:// server's certificate must come from a CA in\n"
        "                        FILE (PEM) instead of the system's (or KORAUTOUPDATE_FTP_CA_FILE)\n"
        "  --public-key KEY      releases must be signed with KEY (default: built in,\n"
        "                        or KORAUTOUPDATE_PUBLIC_KEY)\n";
    switch (command) {
    case Command::Check:
        return "usage: korautoupdate check --product KEY --app PATH [--yes|--no] [server options]\n"
               "\n"
               "Asks the update server whether it releases files newer than the installation\n"
               "of PATH (the program or its directory) and prints the answer. The question\n"
               "whether to see the update notes is answered by --yes or --no, else on the\n"
               "terminal, else no. Yes fetches LatestUpdate.html into the install directory\n"
               "and prints it as text. The directory of PATH must exist.\n"
               "\n"
               "  --product KEY         the product's directory on the server\n"
               "  --app PATH            the installed program, or its directory\n"
               "  --yes, --no           answer to the question of the check\n"
               + server +
               "\n"
               "exit status: 0 up to date, 100 newer files on the server,\n"
               "             1 the server was not usable,\n"
               "             2 bad usage or no directory for --app\n";
    case Command::Update:
        return "usage: korautoupdate update --product KEY --app PATH [--all] [--yes|--no]\n"
               "                            [server options]\n"
               "\n"
               "Fetches the files that the server releases newer than the installation,\n"
               "keeps the old copies in a restore directory of the install directory and\n"
               "records the new versions in RelInfoLocal.rel. The log goes to stdout, each\n"
               "line as soon as it is final, a progress bar to stderr when that is a\n"
               "terminal; a run that ends early or loses a file says why on stderr.\n"
               "Ctrl-C, SIGTERM and SIGHUP stop the run; a file is then either in place or\n"
               "left as it was. The directory of PATH must exist. While another update or\n"
               "restore runs there, the run waits up to 5 seconds, then does nothing.\n"
               "\n"
               "  --product KEY         the product's directory on the server\n"
               "  --app PATH            the installed program, or its directory\n"
               "  --all                 fetch every released file, new or not\n"
               "  --yes                 start the program at the end (default: --no)\n"
               + server +
               "\n"
               "exit status: 0 every transfer succeeded or nothing was new,\n"
               "             1 the server was not usable or a file failed,\n"
               "             2 bad usage or no directory for --app,\n"
               "             75 another update or restore kept the installation,\n"
               "             130 stopped by Ctrl-C, SIGTERM or SIGHUP\n";
    case Command::Restore:
        return "usage: korautoupdate restore --app PATH STAMP [--yes|--no]\n"
               "\n"
               "Goes back to the state before the update that made the restore directory\n"
               "STAMP (see 'korautoupdate restores'): plays the restore directories back,\n"
               "from the newest down to STAMP, over the installed files and RelInfoLocal.rel.\n"
               "The restore directories stay as they are. The log goes to stdout, each\n"
               "line as soon as it is final, a progress bar to stderr when that is a\n"
               "terminal. Ctrl-C, SIGTERM and SIGHUP stop the run.\n"
               "\n"
               "  --app PATH            the installed program, or its directory\n"
               "  --yes                 start the program at the end (default: --no)\n"
               "\n"
               "exit status: 0 every file restored, 1 no such restore directory or a file\n"
               "             failed, 2 bad usage, 75 another update or restore kept the\n"
               "             installation, 130 stopped by Ctrl-C, SIGTERM or SIGHUP\n";
    case Command::Restores:
        return "usage: korautoupdate restores --app PATH [--files STAMP]\n"
               "\n"
               "Lists the restore directories that update runs left in the install\n"
               "directory, one a line as STAMP  DATE, or with --files the files of one\n"
               "of them with the versions they had, one a line as NAME  VERSION.\n"
               "\n"
               "  --app PATH            the installed program, or its directory\n"
               "  --files STAMP         the restore directory to show\n"
               "\n"
               "exit status: 0 listed (also an empty archive), 1 no such restore\n"
               "             directory, 2 bad usage\n";
    case Command::Notes:
        return "usage: korautoupdate notes PATH|URL\n"
               "\n"
               "Prints a release notes page as plain text: a local file, or a file:,\n"
               "http:, https: or ftp: URL. Scripts, styles and comments are left out.\n"
               "\n"
               "exit status: 0 printed, 1 the page could not be read, 2 bad usage\n";
    case Command::Keygen:
        return "usage: korautoupdate keygen --key FILE\n"
               "\n"
               "Makes an Ed25519 key pair for signing releases. Writes the private key to\n"
               "FILE (readable by its owner only; an existing FILE is left alone) and\n"
               "prints the public key, the value of the CMake cache entry KAU_PUBLIC_KEY\n"
               "and of --public-key.\n"
               "\n"
               "exit status: 0 written, 1 FILE exists or can't be written, 2 bad usage\n";
    case Command::Publish:
        return "usage: korautoupdate publish --dir RELEASE_DIR --version X.YY.ZZ\n"
               "                             [--previous OLD_RelInfoRemote.rel] [--key FILE]\n"
               "\n"
               "Writes into RELEASE_DIR what the server's product directory needs besides\n"
               "the files: RelInfoRemote.rel, where a file unchanged since the previous\n"
               "release keeps its version and a changed or new one gets X.YY.ZZ, the\n"
               "manifest Release.manifest with the next sequence number and, with --key,\n"
               "its signature Release.manifest.sig.\n"
               "\n"
               "  --dir RELEASE_DIR     the files of the release, as they are to be installed\n"
               "  --version X.YY.ZZ     the version of changed and new files\n"
               "  --previous FILE       the previous release's RelInfoRemote.rel\n"
               "  --key FILE            the private key from 'korautoupdate keygen'\n"
               "\n"
               "exit status: 0 written, 1 something could not be read or written,\n"
               "             2 bad usage\n";
    case Command::None:
        break;
    }
    return "usage: korautoupdate <command> [options]\n"
           "\n"
           "Keeps an installation in step with what its update server releases.\n"
           "\n"
           "commands:\n"
           "  check      ask the server whether newer files are released\n"
           "  update     fetch the newer files, keeping the old ones for a restore\n"
           "  restore    go back to the state before an update\n"
           "  restores   list the restore directories, or the files of one\n"
           "  notes      print a release notes page as plain text\n"
           "  keygen     make a key pair for signing releases\n"
           "  publish    write the revision file, manifest and signature of a release\n"
           "\n"
           "'korautoupdate <command> --help' shows the options of a command,\n"
           "'korautoupdate --version' the version.\n";
}

std::string versionText()
{
    return std::string("korautoupdate ") + KAU_VERSION + "\n";
}

} // namespace kau::cli
