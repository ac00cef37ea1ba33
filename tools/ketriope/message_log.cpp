// message_log.cpp
#include "message_log.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <tinyxml.h>

#include "console.h"
#include "input_file.h"

namespace ketriope::tool {
namespace {

constexpr std::string_view k_blanks = " \t\r";
constexpr std::string_view k_post = "<postMsg ";
constexpr std::string_view k_head = "<messageLogFile ";
constexpr std::ptrdiff_t k_most_attributes = 512;  ///< the parser compares each with all before it

std::string_view trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(k_blanks), text.size()));
    return text.substr(0, text.find_last_not_of(k_blanks) + 1);
}

/// True for a line that the parser can read safely: one element, and no more attributes than there may be.
bool is_one_element(std::string_view line)
{
    return line.ends_with("/>") && line.find('<', 1) == std::string_view::npos &&
           line.find('\0') == std::string_view::npos && std::ranges::count(line, '=') <= k_most_attributes;
}

std::size_t type_in_log(std::string_view name)
{
    const auto* const found = std::ranges::find(k_log_types, name);
    return std::min(static_cast<std::size_t>(found - k_log_types.begin()), k_log_types.size() - 1);
}

/// The value of an attribute; "" for none.
std::string value_of(const TiXmlElement& element, const char* name)
{
    const char* const value = element.Attribute(name);
    return value != nullptr ? value : "";
}

/// The first `count` of the attributes that hold arguments; navigation stands behind them.
std::vector<std::string> arguments_of(const TiXmlElement& element, std::size_t count)
{
    std::vector<std::string> found;
    const TiXmlAttribute* each = element.FirstAttribute();
    for (; each != nullptr && found.size() < count; each = each->Next())
        if (std::string_view(each->Name()).starts_with("arg")) found.emplace_back(each->Value());
    return found;
}

}  // namespace

message_log::message_log(input_file& file)
try {
    ut_uint64 number = 0;
    for (line_reader reader(file); reader.next();) read_line(reader.line(), ++number);
} catch (const std::bad_alloc&) {
    file.fail("a line of it is too long for the memory");
}

void message_log::read_line(std::string_view line, ut_uint64 number)
{
    constexpr std::string_view k_silent[] = {"", "<postMsgs>", "</postMsgs>"};
    line = trimmed(line);
    if (line == "</messageLogFile>") {
        has_end_ = true;
        return;
    }
    if (line.starts_with(k_head) && read_head(std::string(line))) return;
    if (line.starts_with(k_post) && is_one_element(line) && read_post(std::string(line), number)) return;
    if (line.starts_with("<?xml ") || std::ranges::find(k_silent, line) != std::end(k_silent)) return;
    if (odd_.count++ == 0) odd_.first = number;
}

/// The head is an element that ends at the end of the file, so only what it says by its tag is looked at.
bool message_log::read_head(const std::string& line)
{
    if (line.back() != '>' || !is_one_element(line.substr(0, line.size() - 1) + "/>")) return false;
    TiXmlElement element("");
    const std::string closed = line.substr(0, line.size() - 1) + "/>";
    element.Parse(closed.c_str(), nullptr, TIXML_ENCODING_LEGACY);
    has_head_ = true;
    date_ = one_line(value_of(element, "date"));
    version_ = one_line(value_of(element, "version"));
    return true;
}

bool message_log::read_post(const std::string& line, ut_uint64 number)
{
    TiXmlElement element("");
    const char* const end = element.Parse(line.c_str(), nullptr, TIXML_ENCODING_LEGACY);
    logged_post post{.mid = value_of(element, "mid"), .type = 0, .arguments = {}, .line = number};
    if (end == nullptr || *end != '\0' || post.mid.empty()) return false;
    post.type = type_in_log(value_of(element, "type"));
    const int count = std::atoi(value_of(element, "dynamic").c_str());
    post.arguments = arguments_of(element, static_cast<std::size_t>(std::max(count, 0)));

    ++posts_;
    ++by_type_[post.type];
    logged_number& same = by_number_[{post.mid, post.type}];
    if (same.count++ == 0) same.first = post;
    if (!first_) first_ = post;
    last_ = std::move(post);
    has_end_ = false;  // a second run may have gone on behind the end of a first one
    return true;
}

std::vector<logged_number> message_log::numbers() const
{
    std::vector<logged_number> all;
    for (const auto& [key, number] : by_number_) all.push_back(number);
    std::ranges::stable_sort(all, std::ranges::greater(), &logged_number::count);
    return all;
}

}  // namespace ketriope::tool
