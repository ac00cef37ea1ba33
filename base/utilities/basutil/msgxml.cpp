// msgxml.cpp
#include "msgxml.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

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
    char piece[65'536];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get())) out.append(piece, count);
    return std::ferror(file.get()) == 0;
}

/// Where what begins with `text[at]`, a `<`, ends: behind its `>`, which is none within quotes.
std::size_t end_of_tag(std::string_view text, std::size_t at)
{
    constexpr std::string_view k_unparsed[][2] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}};
    for (const auto& [opens, closes] : k_unparsed) {
        if (!text.substr(at).starts_with(opens)) continue;
        const std::size_t end = text.find(closes, at + opens.size());
        return end == k_npos ? text.size() : end + closes.size();
    }
    for (at = text.find_first_of("\"'>", at); at != k_npos; at = text.find_first_of("\"'>", at + 1)) {
        if (text[at] == '>') return at + 1;
        at = text.find(text[at], at + 1);
        if (at == k_npos) break;
    }
    return text.size();
}

bool is_too_deep(std::string_view text)
{
    int depth = 0;
    for (std::size_t at = text.find('<'); at != k_npos;) {
        const std::size_t end = end_of_tag(text, at);
        const std::string_view tag = text.substr(at, end - at);
        if (tag.starts_with("</"))
            depth = std::max(depth - 1, 0);
        else if (!tag.starts_with("<!") && !tag.starts_with("<?") && !tag.ends_with("/>"))
            ++depth;
        if (depth > k_deepest) return true;
        at = text.find('<', end);
    }
    return false;
}

}  // namespace

std::unique_ptr<TiXmlDocument> load_xml(const std::string& path)
{
    std::string text;
    if (!read_whole(path, text) || is_too_deep(text)) return nullptr;
    auto document = std::make_unique<TiXmlDocument>();
    return document->LoadFile(path.c_str()) ? std::move(document) : nullptr;
}

}  // namespace ketriope
