// fuzz/basutregexp_fuzz.cpp: expressions against the model that walks their syntax trees.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../tests/support/regexp_model.h"
#include "basutregexp.h"
#include "fuzz_check.h"

namespace {

constexpr std::size_t k_longest = 120;  // of the text; the model keeps the work in bounds

UT_STROBJ bytes(std::string_view text)
{
    UT_STROBJ result(text.size(), '\0', 1);
    for (std::size_t i = 0; i < text.size(); ++i) result[i] = text[i];
    return result;
}

std::vector<regexp_model::key> found(const UT_STRKEYS& keys)
{
    std::vector<regexp_model::key> result;
    result.reserve(static_cast<std::size_t>(keys.num_keys()));
    for (int k = 0; k < keys.num_keys(); ++k) result.push_back({keys.key_start(k), keys.key_end(k)});
    return result;
}

void compare(std::string_view pattern, std::string_view text, std::size_t start)
{
    const UT_REGEXP expression(bytes(pattern));
    const regexp_model::syntax tree(pattern);
    const UT_STROBJ message = expression.error();
    FUZZ_CHECK(expression.ok() == tree.error().empty());
    FUZZ_CHECK(std::string_view(message.getstring(), message.length()) == tree.error());
    regexp_model::search search(tree, std::string(text));
    const std::vector<regexp_model::key> expected =
        expression.ok() ? search.keys(start) : std::vector<regexp_model::key>();
    if (search.gave_up()) return;  // it may take the library as long
    FUZZ_CHECK(found(bytes(text).match_reg_exp(expression, start)) == expected);
}

}  // namespace

/// Two bytes, the length of the pattern and the start; then the pattern, and the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    const std::string_view rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::size_t pattern = std::min<std::size_t>(data[0], rest.size());
    compare(rest.substr(0, pattern), rest.substr(pattern, k_longest), data[1]);
    return 0;
}
