// basutstrtoken.cpp: tokens of a line.
#include "basutstr.h"

#include <array>
#include <cstring>
#include <utility>

#include "ascii.h"
#include "heap_text.h"
#include "platform.h"

namespace {

/// The token being read, in a place of fixed size: a longer one is a fault of the caller.
class token_buffer {
public:
    void store(char c)
    {
        if (length_ == k_most_characters) return ketriope::platform::os().abort_process();
        text_[length_++] = c;
    }
    bool empty() const noexcept { return length_ == 0; }
    /// A copy of the token; the next one begins.
    ketriope::heap_text taken() { return ketriope::heap_copy({text_.data(), std::exchange(length_, 0)}); }

private:
    static constexpr std::size_t k_most_characters = 999;

    std::array<char, k_most_characters> text_;  // unset: only what was stored is read
    std::size_t length_ = 0;
};

/// Gives each token of `text` to `take`, and returns their number.
template <class Take>
int for_each_token(const char* text, char delim1, char delim2, Take take)
{
    token_buffer token;
    int count = 0;
    const auto finish = [&] {
        if (token.empty()) return;
        take(token.taken());
        ++count;
    };
    bool in_double = false;
    bool in_single = false;
    for (char before = '\0'; *text != '\0'; before = *text++) {
        const char c = *text;
        const bool quote = c == '"' || c == '\'';
        if (quote && before != '\\') {
            bool& inside = c == '"' ? in_double : in_single;
            if (inside && before == c && token.empty()) token.store(' ');
            inside = !inside;
        } else if (!quote && !in_double && !in_single && (c == delim1 || c == delim2)) {
            finish();
        } else {
            token.store(c);
        }
    }
    finish();
    return count;
}

}  // namespace

char ut_strgettoken(char* line, char* token, const char* delimiters, int quoted)
{
    if (token == nullptr) return 0;
    *token = '\0';
    if (line == nullptr || delimiters == nullptr) return 0;

    const char* begin = line;
    while (*begin != '\0' && !ketriope::is_visible(*begin)) ++begin;
    if (quoted != 0 && *begin == '"') {
        ++begin;
        delimiters = "\"";
    }
    const std::size_t length = std::strcspn(begin, delimiters);
    const char found = begin[length];
    std::memcpy(token, begin, length);
    token[length] = '\0';

    const char* rest = begin + length + (found != '\0' ? 1 : 0);
    std::memmove(line, rest, std::strlen(rest) + 1);
    return found == '\0' && length > 0 ? '\1' : found;
}

bool ut_strsplit(const char* text, int& count, char** out, char delim1, char delim2)
{
    count = 0;
    if (text == nullptr || out == nullptr) return false;
    count =
        for_each_token(text, delim1, delim2, [&](ketriope::heap_text token) { *out++ = token.release(); });
    return count > 0;
}

bool ut_strsplit(const char* text, int& count, std::vector<char*>& out, char delim1, char delim2)
{
    count = 0;
    if (text == nullptr) return false;
    count = for_each_token(text, delim1, delim2, [&](ketriope::heap_text token) {
        out.push_back(token.get());
        token.release();
    });
    return count > 0;
}
