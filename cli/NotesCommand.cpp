#include "NotesCommand.h"

#include "ExitCodes.h"
#include "NotesText.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace kau::cli {
namespace {

constexpr long kTimeoutSeconds = 30;

bool hasScheme(const std::string& text, const char* scheme)
{
    const std::string prefix = std::string(scheme) + ":";
    return text.size() >= prefix.size()
        && std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

std::optional<std::string> readLocal(const std::string& path, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot read " + path;
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::size_t appendBody(char* data, std::size_t size, std::size_t count, void* body)
{
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

std::optional<std::string> readRemote(const std::string& url, std::string& error)
{
    CURL* curl = curl_easy_init();
    if (!curl) {
        error = "no transfer handle";
        return std::nullopt;
    }
    std::string body;
    char buffer[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https,ftp");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, kTimeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, buffer);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    if (result != CURLE_OK) {
        error = url + ": " + (buffer[0] ? buffer : curl_easy_strerror(result));
        return std::nullopt;
    }
    return body;
}

} // namespace

int runNotes(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    std::string error;
    std::optional<std::string> html;
    if (hasScheme(line.page, "http") || hasScheme(line.page, "https") || hasScheme(line.page, "ftp"))
        html = readRemote(line.page, error);
    else if (hasScheme(line.page, "file"))
        html = readLocal(line.page.substr(line.page.rfind("file://", 0) == 0 ? 7 : 5), error);
    else
        html = readLocal(line.page, error);
    if (!html) {
        err << "korautoupdate: " << error << "\n";
        return kExitFailed;
    }
    out << notesToText(*html) << std::flush;
    return kExitOk;
}

} // namespace kau::cli
