// fuzz/basutpath_fuzz.cpp: the parts of a path make up the path again, whatever it is.
#include "basutpath.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"

namespace {

/// A part as text and as its place in the path; the place is npos where there is none.
struct part {
    std::string text;
    std::size_t place;
};

part part_of(char* (*get)(const char*, char*), const std::string& path)
{
    std::vector<char> out(path.size() + 1, '#');
    const char* result = get(path.c_str(), out.data());
    FUZZ_CHECK(get(path.c_str(), nullptr) == result);
    if (result == nullptr) return {out.data(), std::string::npos};
    const auto place = static_cast<std::size_t>(result - path.c_str());
    FUZZ_CHECK(place <= path.size());
    return {out.data(), place};
}

void check_parts(const std::string& path)
{
    const part tail = part_of(ut_pathgettail, path);
    const part head = part_of(ut_pathgethead, path);
    if (head.place == path.npos) {
        FUZZ_CHECK(path.find('/') == path.npos && head.text.empty() && tail.text == path);
    } else {
        FUZZ_CHECK(head.text + '/' + tail.text == path && head.place == tail.place);
    }
    FUZZ_CHECK(tail.text.find('/') == tail.text.npos && path.substr(tail.place) == tail.text);

    const part extension = part_of(ut_pathgetext, path);
    const part root = part_of(ut_pathgetroot, path);
    FUZZ_CHECK(root.place == extension.place);
    if (extension.place == path.npos) {
        FUZZ_CHECK(root.text == path && extension.text.empty() && tail.text.find('.') == path.npos);
    } else {
        FUZZ_CHECK(root.text + '.' + extension.text == path &&
                   extension.text.find_first_of("./") == path.npos);
    }

    const part base = part_of(ut_pathgetbase, path);
    FUZZ_CHECK(base.place == tail.place && tail.text.starts_with(base.text));
    FUZZ_CHECK(tail.text == "." || tail.text == ".." || path.substr(0, base.place) + base.text == root.text);
}

void check_forms(const std::string& path)
{
    std::string inner = path;
    FUZZ_CHECK(ut_internal_path(inner.data()) == inner.data());
    FUZZ_CHECK(inner.find('\\') == inner.npos);
    std::string outer = inner;
    FUZZ_CHECK(ut_external_path(outer.data()) == outer.data() && outer.find('/') == outer.npos);
    ut_internal_path(outer.data());
    FUZZ_CHECK(outer == inner);
}

bool is_dos_name(std::string_view name)
{
    if (name == "." || name == "..") return true;
    for (const char c : name)
        if (c < 32 || c > 126 || std::string_view("\":<>\\|").find(c) != std::string_view::npos) return false;
    const std::size_t dot = name.rfind('.');
    return dot == name.npos ? !name.empty() : dot > 0;
}

/// The same judgement, from the front of the path.
bool is_dos_path(std::string_view path)
{
    if (path.empty()) return false;
    const bool letter = (path[0] >= 'a' && path[0] <= 'z') || (path[0] >= 'A' && path[0] <= 'Z');
    if (letter && path.size() > 1 && path[1] == ':') path.remove_prefix(2);
    if (path.empty()) return true;
    if (path.front() == '/') path.remove_prefix(1);
    while (true) {
        const std::size_t slash = path.find('/');
        if (!is_dos_name(path.substr(0, slash))) return false;
        if (slash == path.npos) return true;
        path.remove_prefix(slash + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path(data, std::find(data, data + size, 0));
    check_parts(path);
    check_forms(path);
    FUZZ_CHECK(ut_pathisdos(path.c_str()) == is_dos_path(path));
    return 0;
}
