// msgxml.cpp: what stands between a file that may be damaged and the parser. The parser follows nested
// elements by calling itself, and trusts the first byte of a UTF-8 character to tell how many follow.
#include "msgxml.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include "ascii.h"
#include "platform.h"

namespace ketriope {
namespace {

constexpr int k_deepest = 500;
constexpr std::size_t k_npos = std::string_view::npos;

using file_closer = decltype([](std::FILE* file) { std::fclose(file); });
using file_holder = std::unique_ptr<std::FILE, file_closer>;

bool read_whole(const std::string& path, std::string& out)
{
    platform::file_status status;
    if (!platform::os().status(path.c_str(), status) || status.kind == platform::file_kind::directory)
        return false;
    const file_holder file(platform::os().open_stream(path.c_str(), "rb"));
    if (!file) return false;
    out.reserve(static_cast<std::size_t>(std::max<std::int64_t>(status.size, 0)));
    char piece[65'536];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get())) out.append(piece, count);
    return std::ferror(file.get()) == 0;
}

/// Ends each line in a line feed alone, as the parser does with a file that it reads by itself.
void make_lines_plain(std::string& text)
{
    auto out = std::ranges::find(text, '\r');
    for (auto in = out; in != text.end(); ++in) {
        if (*in == '\r' && in + 1 != text.end() && in[1] == '\n') ++in;
        *out++ = *in == '\r' ? '\n' : *in;
    }
    text.erase(out, text.end());
}

// ---- characters

/// Bytes of the UTF-8 character that begins so, as the parser counts them.
constexpr std::size_t length_of_character(unsigned char first) noexcept
{
    return first < 0xc2 || first > 0xf4 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
}

/// True if no UTF-8 character lacks a byte, so that none takes the markup behind it for a part of itself.
bool has_whole_characters(std::string_view text)
{
    const auto is_tail = [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; };
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = length_of_character(static_cast<unsigned char>(text[at]));
        const std::string_view tail = text.substr(at + 1, length - 1);
        if (tail.size() != length - 1 || !std::ranges::all_of(tail, is_tail)) return false;
        at += length;
    }
    return true;
}

// ---- depth

/// The place behind the next `mark`; the end if there is none.
std::size_t behind(std::string_view text, std::string_view mark, std::size_t from)
{
    const std::size_t found = text.find(mark, from);
    return found == k_npos ? text.size() : found + mark.size();
}

/// Behind the tag of an element: the first `>` that is not within quotes.
std::size_t behind_tag(std::string_view text, std::size_t at)
{
    for (; at < text.size(); ++at) {
        if (text[at] == '>') return at + 1;
        if (text[at] == '"' || text[at] == '\'') at = std::min(text.find(text[at], at + 1), text.size() - 1);
    }
    return text.size();
}

bool begins_element(std::string_view text)
{
    const char first = text.size() > 1 ? text[1] : '\0';
    return is_letter(first) || first == '_' || static_cast<unsigned char>(first) > 0x7e;
}

/// True if the parser, too, takes the `>` of a declaration for its end: it may think that a value goes on.
bool has_plain_end(std::string_view declaration)
{
    for (const char quote : {'"', '\''}) {
        std::size_t at = declaration.rfind(quote);
        if (at == k_npos) continue;
        at = declaration.find_last_not_of(" \t\n\r\v\f", at - 1);
        if (at != k_npos && declaration[at] == '=') return false;
    }
    return declaration.ends_with('>');
}

/// A fault at that place of the text.
xml_fault fault_at(std::string_view text, std::size_t at, const char* what)
{
    return {static_cast<int>(std::ranges::count(text.substr(0, at), '\n')) + 1, what};
}

/// What keeps the parser, which reads markup by these very rules, from following `text` safely.
std::optional<xml_fault> find_danger(std::string_view text)
{
    int depth = 0;
    std::size_t end = 0;
    for (std::size_t at = text.find('<'); at != k_npos; at = text.find('<', end)) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<!--")) {
            end = behind(text, "-->", at + 4);
        } else if (rest.starts_with("<![CDATA[")) {
            end = behind(text, "]]>", at + 9);
        } else if (begins_element(rest)) {
            end = behind_tag(text, at);
            if (!text.substr(at, end - at).ends_with("/>") && ++depth > k_deepest)
                return fault_at(text, at, "Error: the elements are nested too deep.");
        } else {  // the end of an element, a declaration, or something that the parser only passes over
            end = behind(text, ">", at);
            if (rest.starts_with("</")) depth = std::max(depth - 1, 0);
            if (rest.starts_with("<?") && !has_plain_end(text.substr(at, end - at)))
                return fault_at(text, at, "Error: the end of the declaration is not plain.");
        }
    }
    return std::nullopt;
}

}  // namespace

std::unique_ptr<TiXmlDocument> load_xml(const std::string& path, xml_fault* fault)
{
    const auto refused = [fault](xml_fault why) -> std::unique_ptr<TiXmlDocument> {
        if (fault != nullptr) *fault = std::move(why);
        return nullptr;
    };
    std::string text;
    if (!read_whole(path, text)) return refused({0, "Error: the file cannot be read."});
    text.resize(std::min(text.find('\0'), text.size()));
    make_lines_plain(text);
    if (auto danger = find_danger(text)) return refused(*std::move(danger));
    // Where a character is broken each byte is one: the text is then kept as it stands.
    const TiXmlEncoding encoding =
        has_whole_characters(text) ? TIXML_ENCODING_UNKNOWN : TIXML_ENCODING_LEGACY;
    auto document = std::make_unique<TiXmlDocument>(path.c_str());
    document->Parse(text.c_str(), nullptr, encoding);
    if (document->Error()) return refused({document->ErrorRow(), document->ErrorDesc()});
    return document;
}

}  // namespace ketriope
