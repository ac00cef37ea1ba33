// fuzz/msgtemplate_fuzz.cpp: any template, with arguments of the right types, does what a simple model says.
#include "msgtemplate.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_check.h"

namespace {

using texts = std::vector<std::string>;

constexpr std::size_t k_most_places = 128;
constexpr std::size_t k_most_characters = 2'024;
constexpr std::string_view k_plain = "Xcdfisux";

bool is_flag(char c)
{
    return c == '-' || c == '.' || (c >= '0' && c <= '9');
}

bool holds(std::string_view set, char c)
{
    return set.find(c) != std::string_view::npos;
}

// ---- expansion

/// One `$$` of a template.
struct place {
    std::size_t letter;   ///< where the conversion stands
    std::string flags;    ///< what stands in front of it
    std::string letters;  ///< the conversion as the formatter gets it; "" for an unknown letter
};

std::vector<place> places_of(const std::string& text)
{
    std::vector<place> result;
    for (std::size_t at = text.find("$$"); at != std::string::npos; at = text.find("$$", at)) {
        place next{};
        for (at += 2; at < text.size() && is_flag(text[at]); ++at) next.flags += text[at];
        next.letter = at;
        if (at < text.size() && text[at] == 'l')
            next.letters = at + 1 < text.size() && holds("Xdioxu", text[at + 1]) ? text.substr(at, 2) : "ld";
        else if (at < text.size() && holds(k_plain, text[at]))
            next.letters = text[at];
        result.push_back(next);
        // The letters are passed over, so that no mark begins within them; an unknown one is not.
        if (at < text.size() && (text[at] == 'l' || holds(k_plain, text[at]))) ++at;
    }
    return result;
}

/// What the argument of a place is read as.
char kind_of(const place& asked)
{
    if (asked.letters.empty()) return '\0';
    if (asked.letters.size() == 2) return 'l';
    return holds("sf", asked.letters[0]) ? asked.letters[0] : 'd';
}

/// The template with places of one kind only: to all others an unknown letter is given.
std::string only(std::string text, char kind)
{
    for (const place& each : places_of(text))
        if (kind_of(each) != '\0' && kind_of(each) != kind) text[each.letter] = 'e';
    return text;
}

texts expanded(const char* text, ...)
{
    va_list list;
    va_start(list, text);
    texts out;
    ketriope::expand_arguments(text, list, 0, out);
    va_end(list);
    return out;
}

template <class Value, std::size_t... Places>
texts expanded_with(const std::string& text, Value value, std::index_sequence<Places...>)
{
    return expanded(text.c_str(), (static_cast<void>(Places), value)...);
}

/// True for flags that the formatter understands, with small numbers.
bool is_tame(std::string_view flags)
{
    const auto pass_digits = [&flags] {
        const std::size_t count = std::min(flags.find_first_not_of("0123456789"), flags.size());
        flags.remove_prefix(count);
        return count <= 3;
    };
    flags.remove_prefix(std::min(flags.find_first_not_of("-0"), flags.size()));
    if (!pass_digits()) return false;
    if (flags.starts_with('.')) {
        flags.remove_prefix(1);
        if (!pass_digits()) return false;
    }
    return flags.empty();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // each format is of the type of the value
template <class Value>
void check_expansion(const std::string& text, char kind, Value value)
{
    const std::string own = only(text, kind);
    std::vector<place> places = places_of(own);
    places.resize(std::min(places.size(), k_most_places));
    std::erase_if(places, [](const place& each) { return each.letters.empty(); });
    const texts made = expanded_with(own, value, std::make_index_sequence<k_most_places>());
    FUZZ_CHECK(made.size() == places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (!is_tame(places[i].flags)) continue;
        char out[4'096];
        std::snprintf(out, sizeof out, ("%" + places[i].flags + places[i].letters).c_str(), value);
        FUZZ_CHECK(made[i] == out);
    }
}
#pragma GCC diagnostic pop

// ---- composition

std::string composed_by_model(std::string_view text, const texts& arguments)
{
    std::string resolved;
    for (std::size_t i = 0; i < text.size() && resolved.size() < k_most_characters; ++i) {
        const bool escape = text[i] == '\\' && i + 1 < text.size() && holds("nt", text[i + 1]);
        resolved += !escape ? text[i] : text[++i] == 'n' ? '\n' : '\t';
    }
    std::string out;
    std::size_t argument = 0;
    for (std::size_t i = 0; i < resolved.size();) {
        if (resolved.compare(i, 2, "$$") != 0) {
            out += resolved[i++];
            continue;
        }
        for (i += 2; i < resolved.size() && is_flag(resolved[i]);) ++i;
        if (resolved.compare(i, 2, "lu") == 0 || resolved.compare(i, 2, "ld") == 0)
            i += 2;
        else if (i < resolved.size() && (resolved[i] == 'l' || holds(k_plain, resolved[i])))
            ++i;
        if (argument < arguments.size()) out += arguments[argument];
        ++argument;
    }
    return out;
}

void check_composition(const std::string& text, const texts& arguments)
{
    std::string out = "kept ";
    ketriope::compose_text(text, arguments, out);
    FUZZ_CHECK(out == "kept " + composed_by_model(text, arguments));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string text = bytes.c_str();
    check_expansion(text, 'd', 42);
    check_expansion(text, 'l', 5'000'000'000L);
    check_expansion(text, 'f', -2.5);
    check_expansion(text, 's', "some text");
    check_composition(bytes, {});
    check_composition(bytes, {"a", "$$s", "\\n"});
    check_composition(bytes, texts(2'000, "v"));
    return 0;
}
