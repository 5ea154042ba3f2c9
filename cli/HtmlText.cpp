#include "HtmlText.h"

#include <cctype>
#include <cstdlib>
#include <string_view>

namespace kau::cli {
namespace {

std::string lower(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

// A line of its own that asks for an empty line between the text around it.
constexpr const char* kParagraph = "\n\x01\n";

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

void appendUtf8(std::string& out, unsigned long code)
{
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        code = 0xFFFD;
    if (code < 0x20) {
        out += ' ';
    } else if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// Decodes the entity at html[pos] == '&'; returns the characters consumed (0: not an entity).
std::size_t decodeEntity(const std::string& html, std::size_t pos, std::string& out)
{
    const std::size_t semi = html.find(';', pos);
    if (semi == std::string::npos || semi - pos > 10)
        return 0;
    const std::string name = html.substr(pos + 1, semi - pos - 1);
    if (name.size() > 1 && name[0] == '#') {
        const bool hex = name[1] == 'x' || name[1] == 'X';
        const std::string digits = name.substr(hex ? 2 : 1);
        if (digits.empty())
            return 0;
        char* end = nullptr;
        const unsigned long code = std::strtoul(digits.c_str(), &end, hex ? 16 : 10);
        if (*end != '\0')
            return 0;
        appendUtf8(out, code == 160 ? ' ' : code);
        return semi - pos + 1;
    }
    static const struct { const char* name; const char* text; } kEntities[] = {
        {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"nbsp", " "}, {"quot", "\""}, {"apos", "'"},
    };
    for (const auto& e : kEntities) {
        if (name == e.name) {
            out += e.text;
            return semi - pos + 1;
        }
    }
    return 0;
}

bool breaksLine(const std::string& tag)
{
    static const char* const kBlocks[] = {"br", "p", "div", "li", "ul", "ol", "tr", "table",
                                          "h1", "h2", "h3", "h4", "h5", "h6", "hr", "pre",
                                          "title", "blockquote", "dt", "dd", "dl"};
    for (const char* block : kBlocks)
        if (tag == block)
            return true;
    return false;
}

// The raw text with tags turned into line breaks; white space still as written.
std::string stripTags(const std::string& html)
{
    std::string out;
    std::size_t pos = 0;
    while (pos < html.size()) {
        const char c = html[pos];
        if (c == '&') {
            if (const std::size_t used = decodeEntity(html, pos, out)) {
                pos += used;
                continue;
            }
            out += c;
            ++pos;
            continue;
        }
        if (c != '<') {
            out += isSpace(c) || c == '\x01' ? ' ' : c;
            ++pos;
            continue;
        }
        if (html.compare(pos, 4, "<!--") == 0) {
            const std::size_t end = html.find("-->", pos + 4);
            pos = end == std::string::npos ? html.size() : end + 3;
            continue;
        }
        const std::size_t close = html.find('>', pos);
        if (close == std::string::npos)
            break; // a tag that never ends: the rest is not text
        std::string tag = lower(std::string_view(html).substr(pos + 1, close - pos - 1));
        pos = close + 1;
        const bool endTag = !tag.empty() && tag[0] == '/';
        std::size_t nameEnd = endTag ? 1 : 0;
        while (nameEnd < tag.size() && std::isalnum(static_cast<unsigned char>(tag[nameEnd])))
            ++nameEnd;
        const std::string name = tag.substr(endTag ? 1 : 0, nameEnd - (endTag ? 1 : 0));
        if (!endTag && (name == "script" || name == "style" || name == "head")) {
            // Skip to the matching end tag; only a title is kept from the head.
            const std::string lowerRest = lower(std::string_view(html).substr(pos));
            const std::size_t end = lowerRest.find("</" + name);
            const std::string inside = lowerRest.substr(0, end);
            if (name == "head") {
                const std::size_t t = inside.find("<title");
                const std::size_t tEnd = inside.find("</title", t == std::string::npos ? 0 : t);
                if (t != std::string::npos && tEnd != std::string::npos)
                    out += stripTags(html.substr(pos + t, tEnd - t)) + kParagraph;
            }
            if (end == std::string::npos) {
                pos = html.size();
            } else {
                const std::size_t gt = html.find('>', pos + end);
                pos = gt == std::string::npos ? html.size() : gt + 1;
            }
            continue;
        }
        if (breaksLine(name)) {
            out += '\n';
            if (!endTag && name == "li")
                out += "- ";
            else if (name == "p" || name[0] == 'h' || name == "table")
                out += kParagraph;
        } else if (name == "td" || name == "th") {
            out += ' ';
        }
    }
    return out;
}

} // namespace

std::string htmlToText(const std::string& html)
{
    const std::string raw = stripTags(html);
    std::string text;
    std::size_t emptyLines = 0;
    std::size_t start = 0;
    while (start <= raw.size()) {
        std::size_t end = raw.find('\n', start);
        if (end == std::string::npos)
            end = raw.size();
        // Collapse blanks and trim.
        std::string line;
        for (std::size_t i = start; i < end; ++i) {
            if (raw[i] == ' ' && (line.empty() || line.back() == ' '))
                continue;
            line += raw[i];
        }
        while (!line.empty() && line.back() == ' ')
            line.pop_back();
        if (line == "\x01") {
            ++emptyLines;
        } else if (!line.empty() && line != "-") {
            if (!text.empty())
                text += emptyLines > 0 ? "\n\n" : "\n";
            text += line;
            emptyLines = 0;
        }
        start = end + 1;
    }
    if (!text.empty())
        text += '\n';
    return text;
}

} // namespace kau::cli
