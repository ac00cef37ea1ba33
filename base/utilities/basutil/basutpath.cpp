// basutpath.cpp
#include "basutpath.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "ascii.h"

namespace {

constexpr std::size_t k_npos = std::string_view::npos;

/// Puts `part` into `out`, if there is one.
void give(std::string_view part, char* out) noexcept
{
    if (out == nullptr) return;
    part.copy(out, part.size());
    out[part.size()] = '\0';
}

/// The place `index` of a path, as the interface gives it.
char* place(const char* path, std::size_t index) noexcept
{
    return const_cast<char*>(path + index);
}

/// Where the last component begins.
std::size_t tail_of(std::string_view path) noexcept
{
    return path.rfind('/') + 1;  // no `/` at all gives 0
}
static_assert(k_npos + 1 == 0);

/// Where the `.` of the extension stands, or k_npos.
std::size_t dot_of(std::string_view path) noexcept
{
    const std::size_t dot = path.rfind('.');
    return dot != k_npos && dot >= tail_of(path) ? dot : k_npos;
}

bool keeps_its_dots(std::string_view component) noexcept
{
    return component == "." || component == "..";
}

bool is_dos_character(char c) noexcept
{
    return ketriope::is_printable(c) && std::string_view("\"/:<>\\|").find(c) == k_npos;
}

bool is_dos_component(std::string_view component) noexcept
{
    if (keeps_its_dots(component)) return true;
    const std::string_view base = component.substr(0, component.rfind('.'));
    return !base.empty() && std::all_of(component.begin(), component.end(), is_dos_character);
}

}  // namespace

char* ut_pathgetext(const char* path, char* out)
{
    give("", out);
    if (path == nullptr) return nullptr;
    const std::string_view all = path;
    const std::size_t dot = dot_of(all);
    if (dot == k_npos) return nullptr;
    give(all.substr(dot + 1), out);
    return place(path, dot + 1);
}

char* ut_pathgetroot(const char* path, char* out)
{
    give("", out);
    if (path == nullptr) return nullptr;
    const std::string_view all = path;
    const std::size_t dot = dot_of(all);
    give(all.substr(0, dot), out);
    return dot != k_npos ? place(path, dot + 1) : nullptr;
}

char* ut_pathgetbase(const char* path, char* out)
{
    give("", out);
    if (path == nullptr) return nullptr;
    const std::string_view all = path;
    const std::size_t begin = tail_of(all);
    const std::string_view tail = all.substr(begin);
    give(keeps_its_dots(tail) ? tail : tail.substr(0, tail.rfind('.')), out);
    return place(path, begin);
}

char* ut_pathgettail(const char* path, char* out)
{
    give("", out);
    if (path == nullptr) return nullptr;
    const std::string_view all = path;
    const std::size_t begin = tail_of(all);
    give(all.substr(begin), out);
    return place(path, begin);
}

char* ut_pathgethead(const char* path, char* out)
{
    give("", out);
    if (path == nullptr) return nullptr;
    const std::string_view all = path;
    const std::size_t slash = all.rfind('/');
    if (slash == k_npos) return nullptr;
    give(all.substr(0, slash), out);
    return place(path, slash + 1);
}

char* ut_internal_path(char* s)
{
    if (s == nullptr) return s;
    for (char* c = s; *c != '\0'; ++c) *c = *c == '\\' ? '/' : ketriope::to_lower(*c);
    return s;
}

char* ut_external_path(char* s)
{
    if (s != nullptr) std::replace(s, s + std::strlen(s), '/', '\\');
    return s;
}

bool ut_pathisdos(const char* path)
{
    std::string_view rest = path != nullptr ? path : "";
    if (rest.empty()) return false;
    if (rest.size() >= 2 && ketriope::is_letter(rest[0]) && rest[1] == ':') rest.remove_prefix(2);
    while (!rest.empty()) {  // from the end on: a leading `/` leaves an empty head and is no component
        const std::size_t begin = tail_of(rest);
        if (!is_dos_component(rest.substr(begin))) return false;
        rest = rest.substr(0, begin == 0 ? 0 : begin - 1);
    }
    return true;
}
