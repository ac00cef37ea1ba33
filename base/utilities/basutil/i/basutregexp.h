/// \file i/basutregexp.h
/// Regular expressions, and the keys that tell what a match found. Matching itself is
/// `UT_STROBJ::match_reg_exp`.
///
/// The language. An expression is alternatives between `|`; an alternative is a sequence of pieces, and
/// may be empty. A piece is an atom, and one of `*` (any number, none included), `+` (one or more) or `?`
/// (one or none) may follow it. Atoms are:
///  - `^`, the start of the text, and `$`, its end; a line feed means nothing to them;
///  - `.`, any character;
///  - `[...]`, one character of a set, and `[^...]`, one outside it. `a-z` is a range, in the order of
///    unsigned bytes; a `]` or `-` directly behind the opening, and a `-` in front of the closing `]`,
///    stand for themselves, and so does a backslash;
///  - `(...)`, a group, of which there may be 19;
///  - a backslash and a character, which stands for just that character;
///  - any other character, for itself.
/// What `*` or `+` repeats must not be able to match the empty text, and operators do not follow each
/// other.
///
/// The match. The leftmost start wins; from there, alternatives are tried in their order and repeats take
/// as much as they can. A NUL ends the pattern. In the text it ends each try, while the search for a
/// start goes on behind it.
#pragma once
#include "basutstrobj.h"
#include "uttypes.h"
#include <cstddef>

/// Where a match and its groups lie. Key 0 is the whole match, and key n what group n matched last.
///
/// Units: offsets in bytes from the start of the text, wherever the search began.
class UT_EXPORT UT_STRKEYS {
public:
    /// No match: no keys.
    UT_STRKEYS();
    UT_STRKEYS(const UT_STRKEYS&) = default;
    UT_STRKEYS& operator=(const UT_STRKEYS&) = default;
    ~UT_STRKEYS() = default;

    /// 0 for no match, else one more than the highest group that took part, and so at least 1.
    int num_keys() const { return count_; }
    /// Where key `k` begins; 0 for a `k` outside 0 .. num_keys() - 1.
    ///
    /// A group below the highest one that took no part begins and ends at 4294967295.
    ut_uint64 key_start(int k) const { return has(k) ? starts_[k] : 0; }
    /// Where key `k` ends, one behind its last character; the edges are those of `key_start`.
    ut_uint64 key_end(int k) const { return has(k) ? ends_[k] : 0; }
    /// How long key `k` is; 0 for a `k` outside and for a group that took no part.
    ut_uint64 key_length(int k) const { return has(k) ? ends_[k] - starts_[k] : 0; }

private:
    friend class UT_REGEXP;

    static constexpr int k_most_keys = 20;
    static constexpr ut_uint64 k_unset = 0xFFFFFFFF;

    bool has(int k) const { return k >= 0 && k < count_; }

    ut_long count_;
    ut_uint64 starts_[k_most_keys];
    ut_uint64 ends_[k_most_keys];
};

/// A compiled regular expression.
///
/// Ownership: a true value; copies share what the compilation made and may be destroyed in any order.
/// Threads: several threads may match at a time, each with objects that it compiled itself; an object
/// that is being compiled or copied belongs to one thread.
class UT_EXPORT UT_REGEXP {
public:
    /// An expression that was never compiled: it matches nothing, and its message is empty.
    UT_REGEXP();
    /// Compiles `pattern`; `ok` and `error` tell how that went.
    explicit UT_REGEXP(const UT_STROBJ& pattern);
    UT_REGEXP(const UT_REGEXP&) = default;
    UT_REGEXP& operator=(const UT_REGEXP&) = default;
    ~UT_REGEXP() = default;

    /// Compiles `pattern` up to its first NUL in place of what was compiled before.
    ///
    /// Errors: false for an expression that is not well formed; the first fault from left to right is in
    /// `error`, nothing is posted, and the object matches nothing.
    bool compile(const UT_STROBJ& pattern);
    /// True when the last compilation succeeded.
    bool ok() const { return ok_ != 0; }
    /// The message of the last compilation; empty when it succeeded, and before the first.
    UT_STROBJ error() const { return error_; }

protected:
    friend class UT_STROBJ;

    struct REGCOMP_STATE;  ///< how far the parser has come
    struct REGEXEC_STATE;  ///< how far the matcher has come

    /// Finds the first match that begins at `start` or behind it; no keys if there is none.
    ///
    /// A start behind the end of the text finds nothing, and so does an object that is not `ok`.
    /// Errors: a program that is damaged posts 1415 or 1406 and gives no match.
    /// Cost: at worst exponential in the length of the text, for repeats within repeats; the choices
    /// still open are kept on the heap, however many they are.
    UT_STRKEYS match(const UT_STROBJ& text, ut_uint64 start) const;

    // The parser. Each part returns the first node that it made, or null behind a fault.
    static unsigned char* reg(bool paren, int& flags, REGCOMP_STATE& state);
    static unsigned char* regbranch(int& flags, REGCOMP_STATE& state);
    static unsigned char* regpiece(int& flags, REGCOMP_STATE& state);
    static unsigned char* regatom(int& flags, REGCOMP_STATE& state);
    static unsigned char* regset(REGCOMP_STATE& state);
    static unsigned char* regliteral(std::size_t length, REGCOMP_STATE& state);
    static unsigned char* regnode(int opcode, REGCOMP_STATE& state);
    static void regc(int byte, REGCOMP_STATE& state);
    static void reginsert(int opcode, unsigned char* operand, REGCOMP_STATE& state);
    static void regtail(unsigned char* chain, unsigned char* target);
    static void regoptail(unsigned char* branch, unsigned char* target);
    static unsigned char* regnext(unsigned char* node);
    void optimise(unsigned char* branch, int flags);

    // The matcher. A node is named by its offset in the program, and 0 is none.
    static bool regtry(REGEXEC_STATE& state, ut_uint64 position, UT_STRKEYS& keys);
    static bool regmatch(REGEXEC_STATE& state, std::size_t node);
    static std::size_t regrepeat(REGEXEC_STATE& state, std::size_t operand);
    static std::size_t regnext(const REGEXEC_STATE& state, std::size_t node);

    static unsigned char _regdummy;  ///< the place of output while sizes are counted; never written

    ut_long ok_;         ///< true after a compilation that succeeded
    char regstart_;      ///< what every match begins with, or 0
    char reganch_;       ///< true when only the start position can match
    UT_STROBJ regmust_;  ///< a literal that every match contains, or empty
    int regnpar_;        ///< number of groups plus one
    UT_STROBJ program_;  ///< magic byte and nodes
    UT_STROBJ error_;    ///< message of the last compilation
};
