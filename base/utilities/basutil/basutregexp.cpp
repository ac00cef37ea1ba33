// basutregexp.cpp: the keys, the object, and the parser that writes its program.
//
// The parser runs twice over the pattern. At first the place of output is `_regdummy` and bytes are only
// counted; then they are written into a program of that size. So it needs no other record of the pattern
// than the call stack, whose depth the number of groups bounds.
#include "basutregexp.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <iterator>
#include <vector>

#include "basutregprogram.h"

using namespace ketriope::regprogram;

namespace {

/// What is known of a piece of pattern.
enum flag : int {
    k_has_width = 1,    ///< cannot match the empty text
    k_simple = 2,       ///< one node that `k_star` and `k_plus` can repeat
    k_starts_loose = 4  ///< begins with a repeat that may match nothing
};

constexpr char k_metacharacters[] = "^$.[()|?+*\\";

constexpr bool is_repeat(char c) noexcept
{
    return c == '*' || c == '+' || c == '?';
}

constexpr int byte_of(char c) noexcept
{
    return static_cast<unsigned char>(c);
}

UT_STROBJ stored(const std::vector<unsigned char>& program)
{
    UT_STROBJ bytes(program.size(), '\0', 1);
    for (std::size_t i = 0; i < program.size(); ++i) bytes[i] = static_cast<char>(program[i]);
    return bytes;
}

}  // namespace

UT_STRKEYS::UT_STRKEYS() : count_(0)
{
    std::fill(std::begin(starts_), std::end(starts_), k_unset);
    std::fill(std::begin(ends_), std::end(ends_), k_unset);
}

struct UT_REGEXP::REGCOMP_STATE {
    const char* parse;            ///< the next character of the pattern
    unsigned char* emit;          ///< where the next byte goes, or `&_regdummy`
    int groups = 1;               ///< the number that the next group gets
    std::size_t size = 0;         ///< bytes so far
    const char* error = nullptr;  ///< the first fault

    bool sizing() const { return emit == &_regdummy; }

    bool take(char c)
    {
        if (*parse != c) return false;
        ++parse;
        return true;
    }

    unsigned char* fail(const char* text)
    {
        error = text;
        return nullptr;
    }
};

unsigned char UT_REGEXP::_regdummy = 0;

UT_REGEXP::UT_REGEXP() : ok_(0), regstart_(0), reganch_(0), regnpar_(0) {}

UT_REGEXP::UT_REGEXP(const UT_STROBJ& pattern) : UT_REGEXP()
{
    compile(pattern);
}

bool UT_REGEXP::compile(const UT_STROBJ& pattern)
{
    const UT_STROBJ text = pattern;  // which may be a field of ours
    *this = UT_REGEXP();
    int flags = 0;
    REGCOMP_STATE counted{.parse = text.getstring(), .emit = &_regdummy};
    regc(k_magic, counted);
    if (reg(false, flags, counted) != nullptr && counted.size >= k_too_big)
        counted.fail("regular expression is too big to be compiled");
    if (counted.error != nullptr) {
        error_ = counted.error;
        return false;
    }
    std::vector<unsigned char> program(counted.size);
    REGCOMP_STATE written{.parse = text.getstring(), .emit = program.data()};
    regc(k_magic, written);
    reg(false, flags, written);
    assert(written.error == nullptr && written.size == counted.size);
    optimise(program.data() + 1, flags);
    program_ = stored(program);
    regnpar_ = written.groups;
    ok_ = 1;
    return true;
}

/// Notes what spares the matcher hopeless tries. With several alternatives there is nothing to note.
void UT_REGEXP::optimise(unsigned char* branch, int flags)
{
    if (*regnext(branch) != k_end) return;
    const unsigned char* const first = branch + k_node_size;
    if (*first == k_exactly) regstart_ = static_cast<char>(first[k_node_size]);
    if (*first == k_bol) reganch_ = 1;
    if ((flags & k_starts_loose) == 0) return;
    const char* longest = "";
    for (unsigned char* node = branch + k_node_size; node != nullptr; node = regnext(node)) {
        if (*node != k_exactly) continue;
        const char* const literal = reinterpret_cast<const char*>(node + k_node_size);
        if (std::strlen(literal) >= std::strlen(longest)) longest = literal;
    }
    regmust_ = longest;
}

/// Alternatives, up to the end of the pattern or, with `paren`, of the group.
unsigned char* UT_REGEXP::reg(bool paren, int& flags, REGCOMP_STATE& state)
{
    if (paren && state.groups == k_groups_end) return state.fail("regular expression has to many ( )'s");
    const int group = paren ? state.groups++ : 0;
    unsigned char* const open = paren ? regnode(k_open + group, state) : nullptr;
    unsigned char* first = nullptr;
    unsigned char* last = open;
    int all = k_has_width;
    int any = 0;
    do {
        int of_branch = 0;
        unsigned char* const branch = regbranch(of_branch, state);
        if (branch == nullptr) return nullptr;
        if (last != nullptr) regtail(last, branch);
        if (first == nullptr) first = branch;
        last = branch;
        all &= of_branch;
        any |= of_branch & k_starts_loose;
    } while (state.take('|'));
    flags = all | any;

    unsigned char* const end = regnode(paren ? k_close + group : int{k_end}, state);
    regtail(last, end);
    for (unsigned char* branch = first; branch != nullptr; branch = regnext(branch)) regoptail(branch, end);

    if (paren && !state.take(')')) return state.fail("regular expression has unmatched unmatched ( )'s");
    if (!paren && *state.parse == ')') return state.fail("regular expression has unmatched ( )'s");
    if (!paren && *state.parse != '\0') return state.fail("regular expression has junk on end");
    return paren ? open : first;
}

/// One alternative: pieces in a row, or a node of its own for none.
unsigned char* UT_REGEXP::regbranch(int& flags, REGCOMP_STATE& state)
{
    unsigned char* const branch = regnode(k_branch, state);
    unsigned char* last = nullptr;
    flags = 0;
    while (*state.parse != '\0' && *state.parse != '|' && *state.parse != ')') {
        int of_piece = 0;
        unsigned char* const piece = regpiece(of_piece, state);
        if (piece == nullptr) return nullptr;
        flags |= of_piece & k_has_width;
        if (last == nullptr)
            flags |= of_piece & k_starts_loose;
        else
            regtail(last, piece);
        last = piece;
    }
    if (last == nullptr) regnode(k_nothing, state);
    return branch;
}

/// An atom with what repeats it. A loop that could make no way is refused here, so the matcher meets none.
unsigned char* UT_REGEXP::regpiece(int& flags, REGCOMP_STATE& state)
{
    unsigned char* const atom = regatom(flags, state);
    const char repeat = *state.parse;
    if (atom == nullptr || !is_repeat(repeat)) return atom;
    if (repeat != '?' && (flags & k_has_width) == 0)
        return state.fail("regular expression *+ operand could be empty");
    const bool simple = (flags & k_simple) != 0;
    flags = repeat == '+' ? k_has_width : k_starts_loose;

    if (repeat == '*' && simple) {
        reginsert(k_star, atom, state);
    } else if (repeat == '+' && simple) {
        reginsert(k_plus, atom, state);
    } else if (repeat == '*') {  // (atom and back | nothing)
        reginsert(k_branch, atom, state);
        regoptail(atom, regnode(k_back, state));
        regoptail(atom, atom);
        regtail(atom, regnode(k_branch, state));
        regtail(atom, regnode(k_nothing, state));
    } else if (repeat == '+') {  // atom (back | nothing)
        unsigned char* const again = regnode(k_branch, state);
        regtail(atom, again);
        regtail(regnode(k_back, state), atom);
        regtail(again, regnode(k_branch, state));
        regtail(atom, regnode(k_nothing, state));
    } else {  // (atom | nothing)
        reginsert(k_branch, atom, state);
        regtail(atom, regnode(k_branch, state));
        unsigned char* const nothing = regnode(k_nothing, state);
        regtail(atom, nothing);
        regoptail(atom, nothing);
    }
    ++state.parse;
    if (is_repeat(*state.parse)) return state.fail("regular expression has nested *?+");
    return atom;
}

unsigned char* UT_REGEXP::regatom(int& flags, REGCOMP_STATE& state)
{
    if (std::size_t run = std::strcspn(state.parse, k_metacharacters); run != 0) {
        if (run > 1 && is_repeat(state.parse[run])) --run;  // which repeats the last character alone
        flags = run == 1 ? k_has_width | k_simple : k_has_width;
        return regliteral(run, state);
    }
    flags = k_has_width | k_simple;
    switch (*state.parse++) {
    case '^': flags = 0; return regnode(k_bol, state);
    case '$': flags = 0; return regnode(k_eol, state);
    case '.': return regnode(k_any, state);
    case '[': return regset(state);
    case '(': return reg(true, flags, state);
    case '\\':
        if (*state.parse == '\0') return state.fail("regular expression has trailing \\");
        return regliteral(1, state);
    case '?':
    case '+':
    case '*': return state.fail("regular expression has ?+* that follows nothing");
    case '\0':
    case '|':
    case ')': return state.fail("regular expression parser had an internal urp");
    default: return state.fail("regular expression parser had an internal disaster");
    }
}

/// The next `length` characters of the pattern, for themselves.
unsigned char* UT_REGEXP::regliteral(std::size_t length, REGCOMP_STATE& state)
{
    unsigned char* const node = regnode(k_exactly, state);
    for (; length != 0; --length) regc(*state.parse++, state);
    regc('\0', state);
    return node;
}

/// A set behind its bracket. A range adds to its low end, which stands in the set already.
unsigned char* UT_REGEXP::regset(REGCOMP_STATE& state)
{
    unsigned char* const node = regnode(state.take('^') ? k_anybut : k_anyof, state);
    if (*state.parse == ']' || *state.parse == '-') regc(*state.parse++, state);
    while (*state.parse != '\0' && *state.parse != ']') {
        const char* const at = state.parse;
        if (*at != '-' || at[1] == ']' || at[1] == '\0') {
            regc(*state.parse++, state);
            continue;
        }
        const int low = byte_of(at[-1]);
        const int high = byte_of(at[1]);
        if (low > high) return state.fail("regular expression has invalid [] range");
        for (int c = low + 1; c <= high; ++c) regc(c, state);
        state.parse += 2;
    }
    regc('\0', state);
    if (!state.take(']')) return state.fail("regular expression has unmatched []'s");
    return node;
}

/// A node that leads nowhere yet.
unsigned char* UT_REGEXP::regnode(int opcode, REGCOMP_STATE& state)
{
    unsigned char* const node = state.emit;
    regc(opcode, state);
    regc(0, state);
    regc(0, state);
    return node;
}

void UT_REGEXP::regc(int byte, REGCOMP_STATE& state)
{
    ++state.size;
    if (!state.sizing()) *state.emit++ = static_cast<unsigned char>(byte);
}

/// Puts a node in front of what was written last, `operand` and all behind it.
void UT_REGEXP::reginsert(int opcode, unsigned char* operand, REGCOMP_STATE& state)
{
    unsigned char* const end = state.emit;
    regnode(opcode, state);
    if (state.sizing()) return;
    std::rotate(operand, end, state.emit);
}

/// Lets the last node of the chain lead to `target`.
void UT_REGEXP::regtail(unsigned char* chain, unsigned char* target)
{
    if (chain == &_regdummy) return;
    unsigned char* last = chain;
    while (unsigned char* const next = regnext(last)) last = next;
    const std::ptrdiff_t distance = *last == k_back ? last - target : target - last;
    last[1] = static_cast<unsigned char>(distance >> 8);
    last[2] = static_cast<unsigned char>(distance);
}

/// The same for the chain within an alternative; other nodes have none.
void UT_REGEXP::regoptail(unsigned char* branch, unsigned char* target)
{
    if (branch != &_regdummy && *branch == k_branch) regtail(branch + k_node_size, target);
}

unsigned char* UT_REGEXP::regnext(unsigned char* node)
{
    if (node == &_regdummy || distance(node) == 0) return nullptr;
    return *node == k_back ? node - distance(node) : node + distance(node);
}
