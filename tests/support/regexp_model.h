// tests/support/regexp_model.h: what a regular expression means, found by walking its syntax tree.
//
// It shares nothing with the library: no byte program, no flags but "may this be empty", keys written on
// the way forward and taken back where a way fails. It is for small inputs, and gives up past a number of
// steps, since its time may double with every character.
#pragma once
#include <array>
#include <bitset>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace regexp_model {

struct piece;
using alternative = std::vector<piece>;

struct atom {
    enum kind { text_start, text_end, character, group };
    kind what = character;
    std::bitset<256> taken;  ///< by a character
    int number = 0;          ///< of a group
    std::vector<alternative> alternatives;
    bool may_be_empty = false;
};

struct piece {
    atom repeated;
    char times = '1';  ///< or '?', '*', '+'
    bool may_be_empty() const
    {
        return times == '?' || times == '*' || (times == '1' && repeated.may_be_empty);
    }
};

/// The syntax tree of a pattern, or the message that says why there is none.
class syntax {
public:
    explicit syntax(std::string_view pattern) : rest_(pattern.substr(0, pattern.find('\0')))
    {
        bool empty = false;
        top_ = alternatives(empty);
        if (error_.empty() && !rest_.empty()) error_ = "regular expression has unmatched ( )'s";
    }

    const std::vector<alternative>& top() const { return top_; }
    const std::string& error() const { return error_; }

private:
    void fail(const char* text)
    {
        if (error_.empty()) error_ = text;
        rest_ = {};
    }
    bool take(char c)
    {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    char take_any()
    {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }
    bool repeat_follows() const
    {
        return !rest_.empty() && std::string_view("*+?").find(rest_.front()) != std::string_view::npos;
    }

    std::vector<alternative> alternatives(bool& may_be_empty)
    {
        std::vector<alternative> result;
        do {
            alternative& pieces = result.emplace_back();
            bool empty = true;
            while (!rest_.empty() && rest_.front() != '|' && rest_.front() != ')') {
                pieces.push_back(next_piece());
                empty = empty && pieces.back().may_be_empty();
            }
            may_be_empty = may_be_empty || empty;
        } while (take('|'));
        return result;
    }

    piece next_piece()
    {
        piece result{next_atom()};
        if (!error_.empty() || !repeat_follows()) return result;
        result.times = take_any();
        if (result.times != '?' && result.repeated.may_be_empty)
            fail("regular expression *+ operand could be empty");
        else if (repeat_follows())
            fail("regular expression has nested *?+");
        return result;
    }

    atom next_atom()
    {
        atom result;
        const char c = take_any();
        switch (c) {
        case '^':
        case '$':
            result.what = c == '^' ? atom::text_start : atom::text_end;
            result.may_be_empty = true;
            break;
        case '.': result.taken.set(); break;
        case '[': set(result.taken); break;
        case '(': group(result); break;
        case '*':
        case '+':
        case '?': fail("regular expression has ?+* that follows nothing"); break;
        case '\\':
            if (rest_.empty())
                fail("regular expression has trailing \\");
            else
                result.taken.set(index(take_any()));
            break;
        default: result.taken.set(index(c));
        }
        result.taken.reset(0);
        return result;
    }

    void group(atom& result)
    {
        if (groups_ == 19) return fail("regular expression has to many ( )'s");
        result.what = atom::group;
        result.number = ++groups_;
        result.alternatives = alternatives(result.may_be_empty);
        if (error_.empty() && !take(')')) fail("regular expression has unmatched unmatched ( )'s");
    }

    void set(std::bitset<256>& taken)
    {
        const bool outside = take('^');
        std::size_t low = 0;  // the character in front
        for (bool first = true; !rest_.empty() && (first || rest_.front() != ']'); first = false) {
            const std::size_t c = index(take_any());
            if (c != '-' || first || rest_.empty() || rest_.front() == ']') {
                taken.set(low = c);
                continue;
            }
            const std::size_t high = index(take_any());
            if (low > high) return fail("regular expression has invalid [] range");
            for (; low < high; ++low) taken.set(low + 1);
        }
        if (!take(']')) return fail("regular expression has unmatched []'s");
        if (outside) taken.flip();
    }

    static std::size_t index(char c) { return static_cast<unsigned char>(c); }

    std::string_view rest_;
    int groups_ = 0;
    std::string error_;
    std::vector<alternative> top_;
};

struct key {
    std::size_t start = 0xFFFFFFFF;
    std::size_t end = 0xFFFFFFFF;
    bool operator==(const key&) const = default;
};

/// The search for a match of a syntax tree.
class search {
public:
    search(const syntax& pattern, std::string text, long most_steps = 200'000)
        : pattern_(pattern), text_(std::move(text)), steps_left_(most_steps)
    {
    }

    /// The keys of the first match from `start` on; empty if there is none.
    std::vector<key> keys(std::size_t start)
    {
        for (std::size_t at = start; at == start || at < text_.size(); ++at) {
            if (at > text_.size()) break;
            keys_.fill({});
            std::size_t behind = 0;
            if (!any_of(pattern_.top(), at, [&](std::size_t end) { return (behind = end, true); })) continue;
            keys_[0] = {at, behind};
            std::size_t count = keys_.size();
            while (keys_[count - 1] == key{}) --count;
            return {keys_.begin(), keys_.begin() + static_cast<std::ptrdiff_t>(count)};
        }
        return {};
    }
    bool gave_up() const { return steps_left_ <= 0; }

private:
    using then = std::function<bool(std::size_t)>;

    bool any_of(const std::vector<alternative>& alternatives, std::size_t at, const then& next)
    {
        for (const alternative& pieces : alternatives)
            if (all_of(pieces, 0, at, next)) return true;
        return false;
    }

    bool all_of(const alternative& pieces, std::size_t first, std::size_t at, const then& next)
    {
        if (first == pieces.size()) return next(at);
        return repeated(pieces[first], pieces[first].times, at,
                        [&, first](std::size_t end) { return all_of(pieces, first + 1, end, next); });
    }

    bool repeated(const piece& of, char times, std::size_t at, const then& next)
    {
        if (--steps_left_ <= 0) return false;
        const bool once = times == '1' || times == '?';
        const then again = [&](std::size_t end) { return repeated(of, '*', end, next); };
        if (one(of.repeated, at, once ? next : again)) return true;
        return (times == '?' || times == '*') && next(at);
    }

    bool one(const atom& of, std::size_t at, const then& next)
    {
        const char here = text_.c_str()[at];
        switch (of.what) {
        case atom::text_start: return at == 0 && next(at);
        case atom::text_end: return here == '\0' && next(at);
        case atom::character: return of.taken[static_cast<unsigned char>(here)] && next(at + 1);
        case atom::group: break;
        }
        return any_of(of.alternatives, at, [&](std::size_t end) {
            key& ours = keys_[static_cast<std::size_t>(of.number)];
            const key before = std::exchange(ours, {at, end});
            if (next(end)) return true;
            ours = before;
            return false;
        });
    }

    const syntax& pattern_;
    const std::string text_;
    long steps_left_;
    std::array<key, 20> keys_;
};

}  // namespace regexp_model
