// basutregmatch.cpp: the walk of a regular expression's program over a text.
//
// The walk is a depth-first search that never calls itself: each node that leaves a choice puts a record
// of it on a stack of its own, which grows on the heap, and a walk that comes to a dead end goes on from
// the latest record. So the memory bounds the search, and not the depth of calls.
// What can be seen to fail is not gone into: that saves time and records, and changes no result.
// The program is checked where it is read, since nothing else guards a damaged one.
#include "basutregexp.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "basutregprogram.h"
#include "contract.h"

using namespace ketriope::regprogram;

namespace {

/// Records on the heap; the first few stand in the object itself, so that short work allocates nothing.
template <class T, std::size_t First>
class growing_stack {
public:
    growing_stack() noexcept {}  // not defaulted: the first records need no value
    growing_stack(const growing_stack&) = delete;
    growing_stack& operator=(const growing_stack&) = delete;
    ~growing_stack() = default;

    std::size_t size() const noexcept { return size_; }
    const T& operator[](std::size_t index) const noexcept { return items_[index]; }
    void cut_to(std::size_t size) noexcept { size_ = size; }
    T pop() noexcept { return items_[--size_]; }
    void push(const T& item)
    {
        if (size_ == capacity_) grow();
        items_[size_++] = item;
    }

private:
    void grow()
    {
        auto larger = std::make_unique_for_overwrite<T[]>(2 * capacity_);
        std::copy_n(items_, size_, larger.get());
        heap_ = std::move(larger);
        items_ = heap_.get();
        capacity_ *= 2;
    }

    std::size_t size_ = 0;
    std::size_t capacity_ = First;
    T* items_ = first_;
    std::unique_ptr<T[]> heap_;
    T first_[First];
};

/// A way that the walk has not gone yet: the alternative at `node`, or fewer runs of the repeat there.
struct choice {
    std::size_t node;
    const unsigned char* input;  ///< where the node began
    std::size_t runs;            ///< the most that are left to a repeat
    std::size_t marks;           ///< how many there were
};

/// A group was opened or closed.
struct mark {
    ut_uint64 position;
    unsigned char code;
};
static_assert(sizeof(choice) <= 32 && sizeof(mark) <= 32);  // a long text needs millions

/// A program, read with care.
class program_view {
public:
    explicit program_view(const UT_STROBJ& program)
        : bytes_(reinterpret_cast<const unsigned char*>(program.getstring())), size_(program.length())
    {
    }

    /// True when a node at that offset lies within the program; 0 is the magic byte, and none.
    bool holds(std::size_t node) const { return node != 0 && node < size_ && size_ - node >= k_node_size; }
    bool is(std::size_t node, unsigned char code) const { return holds(node) && bytes_[node] == code; }
    unsigned char code(std::size_t node) const { return bytes_[node]; }
    /// Behind the node at `node`. Reading up to the first NUL is safe, since the program's text ends in one.
    const unsigned char* operand(std::size_t node) const { return bytes_ + node + k_node_size; }
    /// True when `byte` is one of the program's own, and not the terminator of its text.
    bool owns(const unsigned char* byte) const { return byte < bytes_ + size_; }
    /// The node that follows, 0 for none; it may lie anywhere.
    std::size_t next(std::size_t node) const
    {
        const std::size_t far = distance(bytes_ + node);
        if (far == 0) return 0;
        return bytes_[node] == k_back ? node - far : node + far;
    }
    /// True when another alternative stands behind that of the branch.
    bool has_choice(std::size_t branch) const { return is(next(branch), k_branch); }
    /// How many bytes of the literal at `node` stand at `at`. No literal holds the NUL that ends the text, so
    /// the count stops there.
    std::size_t equal_bytes(std::size_t node, const unsigned char* at) const
    {
        const unsigned char* const literal = operand(node);
        std::size_t count = 0;
        while (literal[count] != '\0' && literal[count] == at[count]) ++count;
        return count;
    }

private:
    const unsigned char* bytes_;
    std::size_t size_;
};

/// Opcodes that only lead on.
constexpr bool takes_nothing(unsigned char code) noexcept
{
    return code == k_nothing || opens_group(code) || closes_group(code);
}

/// Which bytes something takes; never the NUL.
using byte_set = std::array<unsigned char, 256>;

/// The sets of a program, spread out when they are needed first.
class set_cache {
public:
    /// What the set at `node` takes; null if it has no end. Lifetime: until the next call.
    const byte_set* at(const program_view& program, std::size_t node)
    {
        slot& home = slots_[node % slots_.size()];
        if (home.node != node && !spread(program, node, home)) return nullptr;
        return &home.bytes;
    }

private:
    struct slot {
        slot() noexcept {}  // not defaulted: the bytes need no value
        std::size_t node = 0;
        byte_set bytes;
    };

    static bool spread(const program_view& program, std::size_t node, slot& home)
    {
        const bool listed = program.code(node) == k_anyof;
        home.node = 0;
        home.bytes.fill(!listed);
        home.bytes[0] = false;
        const unsigned char* byte = program.operand(node);
        for (; *byte != '\0'; ++byte) home.bytes[*byte] = listed;
        if (!program.owns(byte)) return false;
        home.node = node;
        return true;
    }

    std::array<slot, 8> slots_;
};

/// What the first nodes of a program tell about the places where a match may start.
class start_finder {
public:
    /// `only` is the byte that every match begins with, or 0.
    start_finder(std::string_view text, const program_view& program, char only)
        : text_(text), only_(only), chosen_(only == '\0' && collect(program))
    {
    }

    /// The first place at or behind `position` that is worth a try; the end if there is none.
    ut_uint64 from(ut_uint64 position) const
    {
        if (position >= text_.size()) return position;
        if (only_ != '\0') return std::min(text_.find(only_, position), text_.size());
        if (chosen_)
            while (position < text_.size() && !first_[static_cast<unsigned char>(text_[position])])
                ++position;
        return position;
    }

private:
    static constexpr int k_most_steps = 64;

    bool collect(const program_view& program);
    bool add(const program_view& program, std::size_t node);

    std::string_view text_;
    char only_;
    byte_set first_;
    bool chosen_;  ///< `first_` holds what a match may begin with
};

/// Adds what the one simple node takes; false if that is too much to be worth it.
bool start_finder::add(const program_view& program, std::size_t node)
{
    if (!program.is(node, k_exactly) && !program.is(node, k_anyof)) return false;
    const unsigned char* byte = program.operand(node);
    if (program.code(node) == k_exactly)
        first_[*byte] = true;
    else
        for (; *byte != '\0'; ++byte) first_[*byte] = true;
    return program.owns(byte);
}

/// Follows all ways from the start to the first byte that they take. False where a way may take none, and
/// for a program that is long to follow or damaged, of which the walk itself will tell.
bool start_finder::collect(const program_view& program)
{
    first_.fill(false);
    growing_stack<std::size_t, 32> open;
    open.push(1);
    for (int steps = 0; open.size() != 0; ++steps) {
        const std::size_t node = open.pop();
        if (steps == k_most_steps || !program.holds(node)) return false;
        const unsigned char code = program.code(node);
        if (code == k_branch) {
            if (program.has_choice(node)) open.push(program.next(node));
            open.push(node + k_node_size);
        } else if (code == k_star || code == k_plus) {
            if (code == k_star) open.push(program.next(node));
            if (!add(program, node + k_node_size)) return false;
        } else if (code == k_bol || takes_nothing(code)) {
            open.push(program.next(node));
        } else if (!add(program, node)) {
            return false;
        }
    }
    return true;
}

/// Takes runs off until the byte behind the rest passes the test; false if there is no such rest.
template <class Test>
bool shorten(const unsigned char* first, std::size_t& runs, std::size_t least, Test test)
{
    while (!test(first[runs]))
        if (runs-- == least) return false;
    return true;
}

}  // namespace

/// One match: the program, the text, how far the walk has come, and what it has left undone.
struct UT_REGEXP::REGEXEC_STATE {
    REGEXEC_STATE(const UT_STROBJ& of_program, std::string_view of_text)
        : program(of_program), text(reinterpret_cast<const unsigned char*>(of_text.data())), input(text)
    {
    }

    // Reports of a damaged program: they end the match, so each comes once. Always false.
    bool corrupted_pointers();
    bool foulup();

    void begin(ut_uint64 position);
    ut_uint64 position() const { return static_cast<ut_uint64>(input - text); }

    // The first four take something from the text, or fail. All may meet a fault and then fail, too.
    bool take_one_of_set(std::size_t node);
    bool take_literal(std::size_t node);
    bool take_runs(std::size_t node, const unsigned char* first, std::size_t runs);
    bool take_alternative(std::size_t& node);
    bool resume(std::size_t& node);
    void settle(UT_STRKEYS& keys) const;

    std::size_t leading_repeat() const;
    std::size_t decider(std::size_t node) const;
    bool may_match(std::size_t node);
    std::size_t alternative(std::size_t node, std::size_t most);
    bool fit_runs(std::size_t next, const unsigned char* first, std::size_t& runs, std::size_t least);

    static constexpr std::size_t k_few = 8;  // so that one of thousands that matches is found in short time
    static constexpr std::size_t k_all = ~std::size_t{0};

    const program_view program;
    const unsigned char* const text;
    const unsigned char* input;  ///< the next byte of the text, at most its terminator
    bool damaged = false;        ///< a fault of the program was met and reported
    growing_stack<choice, 32> choices;
    growing_stack<mark, 32> marks;
    set_cache sets;
};

bool UT_REGEXP::REGEXEC_STATE::corrupted_pointers()
{
    damaged = true;
    ketriope::numbered_message({.number = "1415"}, "UT_REGEXP: Regular Expression corrupted pointers");
    return false;
}

bool UT_REGEXP::REGEXEC_STATE::foulup()
{
    damaged = true;
    ketriope::numbered_message({.number = "1406"}, "UT_REGEXP: Regular Expression internal foulup");
    return false;
}

void UT_REGEXP::REGEXEC_STATE::begin(ut_uint64 position)
{
    input = text + position;
    choices.cut_to(0);
    marks.cut_to(0);
}

bool UT_REGEXP::REGEXEC_STATE::take_one_of_set(std::size_t node)
{
    const byte_set* const set = sets.at(program, node);
    if (set == nullptr) return corrupted_pointers();
    if (!(*set)[*input]) return false;
    ++input;
    return true;
}

bool UT_REGEXP::REGEXEC_STATE::take_literal(std::size_t node)
{
    const std::size_t length = program.equal_bytes(node, input);
    if (program.operand(node)[length] != '\0') return false;
    if (!program.owns(program.operand(node) + length)) return corrupted_pointers();
    input += length;
    return true;
}

/// Takes at most `runs` runs of the repeat that began at `first`, and leaves fewer open.
bool UT_REGEXP::REGEXEC_STATE::take_runs(std::size_t node, const unsigned char* first, std::size_t runs)
{
    const std::size_t least = program.code(node) == k_plus ? 1 : 0;
    if (runs < least || !fit_runs(program.next(node), first, runs, least)) return false;
    if (runs > least) choices.push({node, first, runs - 1, marks.size()});
    input = first + runs;
    return true;
}

/// Goes from a branch into its alternative, or the first behind it that may match, and leaves others open.
bool UT_REGEXP::REGEXEC_STATE::take_alternative(std::size_t& node)
{
    if (program.has_choice(node)) {
        const std::size_t taken = alternative(node, k_all);
        if (taken == 0) return false;
        const std::size_t other = alternative(program.next(taken), k_few);
        if (other != 0) choices.push({other, input, 0, marks.size()});
        node = taken;
    }
    node += k_node_size;
    return true;
}

/// Goes back to the latest choice that leads on, and gives the node to go on from.
bool UT_REGEXP::REGEXEC_STATE::resume(std::size_t& node)
{
    while (choices.size() != 0) {
        const choice last = choices.pop();
        marks.cut_to(last.marks);
        input = last.input;
        node = last.node;
        if (program.code(node) == k_branch) return true;
        if (!take_runs(node, last.input, last.runs)) continue;
        node = program.next(node);
        return true;
    }
    return false;
}

/// Gives each group the marks that it got last.
void UT_REGEXP::REGEXEC_STATE::settle(UT_STRKEYS& keys) const
{
    keys.count_ = 1;
    for (std::size_t i = marks.size(); i-- != 0;) {
        const auto [at, code] = marks[i];
        const bool closes = closes_group(code);
        const int group = code - (closes ? k_close : k_open);
        ut_uint64& key = (closes ? keys.ends_ : keys.starts_)[group];
        if (key == UT_STRKEYS::k_unset) key = at;
        if (closes) keys.count_ = std::max(keys.count_, group + 1);
    }
}

/// The repeat that every match begins with, 0 if there is none.
std::size_t UT_REGEXP::REGEXEC_STATE::leading_repeat() const
{
    std::size_t node = 1;
    while (program.holds(node)) {
        const unsigned char code = program.code(node);
        if (takes_nothing(code))
            node = regnext(*this, node);
        else if (code == k_branch && !program.has_choice(node))
            node += k_node_size;
        else
            return code == k_star || code == k_plus ? node : 0;
    }
    return 0;
}

/// The node that the walk from `node` meets first of those that look at the text; 0 if that depends.
std::size_t UT_REGEXP::REGEXEC_STATE::decider(std::size_t node) const
{
    while (program.holds(node)) {
        const unsigned char code = program.code(node);
        if (takes_nothing(code))
            node = program.next(node);
        else if (code == k_plus || (code == k_branch && !program.has_choice(node)))
            node += k_node_size;
        else
            return node;
    }
    return 0;
}

/// False when the walk from `node` is sure to fail on what comes next.
bool UT_REGEXP::REGEXEC_STATE::may_match(std::size_t node)
{
    node = decider(node);
    switch (node == 0 ? int{k_nothing} : program.code(node)) {
    case k_eol: return *input == '\0';
    case k_exactly: return program.operand(node)[program.equal_bytes(node, input)] == '\0';
    case k_anyof:
    case k_anybut: {
        const byte_set* const set = sets.at(program, node);
        return set == nullptr || (*set)[*input];
    }
    default: return true;
    }
}

/// The alternative at `node` or the first one behind it that may match here; 0 if there is none. Behind
/// `most` of them the next one is given as it is.
std::size_t UT_REGEXP::REGEXEC_STATE::alternative(std::size_t node, std::size_t most)
{
    for (; program.is(node, k_branch); node = program.next(node))
        if (most-- == 0 || may_match(node + k_node_size)) return node;
    return 0;
}

/// Takes runs off while the walk from `next` is sure to fail on the byte behind them.
bool UT_REGEXP::REGEXEC_STATE::fit_runs(std::size_t next, const unsigned char* first, std::size_t& runs,
                                        std::size_t least)
{
    const std::size_t node = decider(next);
    switch (node == 0 ? int{k_nothing} : program.code(node)) {
    case k_eol: return shorten(first, runs, least, [](unsigned char c) { return c == '\0'; });
    case k_exactly: {
        const unsigned char wanted = *program.operand(node);
        return shorten(first, runs, least, [wanted](unsigned char c) { return c == wanted; });
    }
    case k_anyof:
    case k_anybut: {
        const byte_set* const set = sets.at(program, node);
        return set == nullptr || shorten(first, runs, least, [set](unsigned char c) { return (*set)[c]; });
    }
    default: return true;
    }
}

std::size_t UT_REGEXP::regnext(const REGEXEC_STATE& state, std::size_t node)
{
    return state.program.next(node);
}

/// How often the simple node `operand` matches in a row from here.
std::size_t UT_REGEXP::regrepeat(REGEXEC_STATE& state, std::size_t operand)
{
    const program_view& program = state.program;
    if (!program.holds(operand)) return state.corrupted_pointers();
    const unsigned char* last = state.input;
    switch (program.code(operand)) {
    case k_any: last += std::strlen(reinterpret_cast<const char*>(last)); break;
    case k_exactly: {
        const unsigned char wanted = *program.operand(operand);
        while (wanted != '\0' && *last == wanted) ++last;
        break;
    }
    case k_anyof:
    case k_anybut: {
        const byte_set* const set = state.sets.at(program, operand);
        if (set == nullptr) return state.corrupted_pointers();
        while ((*set)[*last]) ++last;
        break;
    }
    default: return state.foulup();
    }
    return static_cast<std::size_t>(last - state.input);
}

/// Walks from `node` to the end of the program, which is true, or to a node that does not match.
bool UT_REGEXP::regmatch(REGEXEC_STATE& state, std::size_t node)
{
    // What a loop repeats has width, so no more loops go back at one place of the text than there are groups.
    const unsigned char* looped = state.input;
    int loops = 0;
    for (;;) {
        if (!state.program.holds(node)) return state.corrupted_pointers();
        const unsigned char code = state.program.code(node);
        bool matches = true;
        switch (code) {
        case k_end: return true;
        case k_branch:
            if (!state.take_alternative(node)) return false;
            continue;
        case k_bol: matches = state.input == state.text; break;
        case k_eol: matches = *state.input == '\0'; break;
        case k_any:
            matches = *state.input != '\0';
            state.input += matches;
            break;
        case k_anyof:
        case k_anybut: matches = state.take_one_of_set(node); break;
        case k_exactly: matches = state.take_literal(node); break;
        case k_nothing: break;
        case k_back:
            if (looped != state.input) loops = 0;
            if (++loops == k_groups_end) return state.corrupted_pointers();
            looped = state.input;
            break;
        case k_star:
        case k_plus: {
            const std::size_t runs = regrepeat(state, node + k_node_size);
            matches = !state.damaged && state.take_runs(node, state.input, runs);
            break;
        }
        default:
            if (!opens_group(code) && !closes_group(code)) return state.corrupted_pointers();
            state.marks.push({state.position(), code});
        }
        if (!matches) return false;
        node = state.program.next(node);
    }
}

/// One try: the walk, and behind each dead end another from the latest choice left.
bool UT_REGEXP::regtry(REGEXEC_STATE& state, ut_uint64 position, UT_STRKEYS& keys)
{
    state.begin(position);
    std::size_t node = 1;
    while (!regmatch(state, node))
        if (state.damaged || !state.resume(node)) return false;
    state.settle(keys);
    keys.starts_[0] = position;
    keys.ends_[0] = state.position();
    return true;
}

UT_STRKEYS UT_REGEXP::match(const UT_STROBJ& text, ut_uint64 start) const
{
    UT_STRKEYS keys;
    if (start > text.length() || !ok() || static_cast<unsigned char>(program_[0]) != k_magic) return keys;
    const std::string_view all(text.getstring(), text.length());
    const std::string_view must(regmust_.getstring(), regmust_.length());
    if (!must.empty() && all.find(must, start) == std::string_view::npos) return keys;

    REGEXEC_STATE state(program_, all);
    if (reganch_ != 0) {
        regtry(state, start, keys);
        return keys;
    }
    // A try that fails says as much of every start among the runs that it began with: from there the walk
    // would come to places that it has seen already.
    const std::size_t repeat = state.leading_repeat();
    const start_finder starts(all, state.program, regstart_);
    for (ut_uint64 at = starts.from(start); at < all.size() || at == start; at = starts.from(at + 1)) {
        if (regtry(state, at, keys) || state.damaged) break;
        if (repeat == 0) continue;
        state.begin(at);
        at += regrepeat(state, repeat + k_node_size);
    }
    return keys;
}
