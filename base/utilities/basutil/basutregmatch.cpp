// basutregmatch.cpp: the walk of a regular expression's program over a text.
//
// The walk is a depth-first search that never calls itself: each node that leaves a choice puts a record
// of it on a stack of its own, which grows on the heap, and a walk that comes to a dead end goes on from
// the latest record. So the length of the text bounds the search, and not the depth of calls.
// The program is checked where it is read, since nothing else guards a damaged one.
#include "basutregexp.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
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
static_assert(sizeof(choice) <= 32 && sizeof(mark) <= 32);

/// Which bytes something takes; never the NUL.
using byte_set = std::array<bool, 256>;

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
    /// True when the NUL at `end` is one of the program's own bytes.
    bool owns(const unsigned char* end) const { return end < bytes_ + size_; }
    /// The node that follows, 0 for none; it may lie anywhere.
    std::size_t next(std::size_t node) const
    {
        const std::size_t far = distance(bytes_ + node);
        if (far == 0) return 0;
        return bytes_[node] == k_back ? node - far : node + far;
    }

private:
    const unsigned char* bytes_;
    std::size_t size_;
};

/// Steps after which the first nodes are not looked at any further.
constexpr int k_most_steps = 64;

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
    start_finder(const UT_STROBJ& text, const program_view& program, set_cache& sets, char only)
        : text_(text.getstring(), text.length()), only_(only)
    {
        if (only_ == '\0') chosen_ = collect(program, sets);
    }

    /// The first place at or behind `position` that is worth a try; the end if there is none.
    ut_uint64 from(ut_uint64 position) const
    {
        if (position >= text_.size()) return position;
        if (only_ != '\0') return std::min(text_.find(only_, position), text_.size());
        if (chosen_) {
            while (position < text_.size() && !first_[static_cast<unsigned char>(text_[position])])
                ++position;
        }
        return position;
    }

private:
    bool collect(const program_view& program, set_cache& sets);
    bool add(const program_view& program, set_cache& sets, std::size_t node);

    std::string_view text_;
    char only_;
    bool chosen_ = false;  ///< `first_` says what a match may begin with
    byte_set first_;
};

/// Adds what the one simple node takes; false if that is nearly everything.
bool start_finder::add(const program_view& program, set_cache& sets, std::size_t node)
{
    if (!program.holds(node)) return false;
    const unsigned char code = program.code(node);
    if (code == k_exactly) {
        first_[*program.operand(node)] = true;
        return !first_[0];
    }
    if (code != k_anyof && code != k_anybut) return false;
    const byte_set* const set = sets.at(program, node);
    if (set == nullptr) return false;
    std::transform(first_.begin(), first_.end(), set->begin(), first_.begin(), std::logical_or<>());
    return true;
}

/// Follows all ways from the start to the first byte that they take. False where a way may take none, and
/// for a program that is long to follow or damaged, of which the walk itself will tell.
bool start_finder::collect(const program_view& program, set_cache& sets)
{
    first_.fill(false);
    growing_stack<std::size_t, 32> open;
    open.push(1);
    for (int steps = 0; open.size() != 0; ++steps) {
        const std::size_t node = open.pop();
        if (steps == k_most_steps || !program.holds(node)) return false;
        switch (const unsigned char code = program.code(node)) {
        case k_branch:
            if (program.is(program.next(node), k_branch)) open.push(program.next(node));
            open.push(node + k_node_size);
            break;
        case k_star: open.push(program.next(node)); [[fallthrough]];
        case k_plus:
            if (!add(program, sets, node + k_node_size)) return false;
            break;
        case k_bol:
        case k_nothing: open.push(program.next(node)); break;
        default:
            if (opens_group(code) || closes_group(code))
                open.push(program.next(node));
            else if (!add(program, sets, node))
                return false;
        }
    }
    return true;
}

/// The repeat that every match begins with, 0 if there is none.
std::size_t leading_repeat(const program_view& program)
{
    std::size_t node = 1;
    while (program.holds(node)) {
        const unsigned char code = program.code(node);
        if (code == k_star || code == k_plus) return node;
        if (code == k_branch && !program.is(program.next(node), k_branch))
            node += k_node_size;
        else if (opens_group(code))
            node = program.next(node);
        else
            return 0;
    }
    return 0;
}

constexpr ketriope::numbered k_corrupted_pointers{.number = "1415"};
constexpr ketriope::numbered k_foulup{.number = "1406"};

}  // namespace

/// One match: the program, the text, how far the walk has come, and what it has left undone.
struct UT_REGEXP::REGEXEC_STATE {
    REGEXEC_STATE(const UT_STROBJ& of_program, const UT_STROBJ& of_text)
        : program(of_program), text(reinterpret_cast<const unsigned char*>(of_text.getstring())), input(text)
    {
    }

    /// Ends the match: nothing is tried any more. The result is always false.
    bool corrupted_pointers()
    {
        damaged = true;
        ketriope::numbered_message(k_corrupted_pointers, "UT_REGEXP: Regular Expression corrupted pointers");
        return false;
    }
    bool foulup()
    {
        damaged = true;
        ketriope::numbered_message(k_foulup, "UT_REGEXP: Regular Expression internal foulup");
        return false;
    }

    void begin(ut_uint64 position)
    {
        input = text + position;
        choices.cut_to(0);
        marks.cut_to(0);
    }
    ut_uint64 position() const { return static_cast<ut_uint64>(input - text); }
    bool take_one_of_set(std::size_t node);
    bool take_literal(std::size_t node);
    std::size_t take_branch(std::size_t node);
    bool take_runs(std::size_t node, const unsigned char* first, std::size_t runs);
    bool resume(std::size_t& node);
    void settle(UT_STRKEYS& keys) const;

    const program_view program;
    const unsigned char* const text;
    const unsigned char* input;  ///< the next byte of the text, at most its terminator
    bool damaged = false;        ///< a fault of the program was met and reported
    growing_stack<choice, 32> choices;
    growing_stack<mark, 32> marks;
    set_cache sets;
};

/// One character.
bool UT_REGEXP::REGEXEC_STATE::take_one_of_set(std::size_t node)
{
    const byte_set* const set = sets.at(program, node);
    if (set == nullptr) return corrupted_pointers();
    if (!(*set)[*input]) return false;
    ++input;
    return true;
}

/// The text's terminator differs from every byte of a literal, so the text's end is not passed.
bool UT_REGEXP::REGEXEC_STATE::take_literal(std::size_t node)
{
    const unsigned char* literal = program.operand(node);
    const unsigned char* at = input;
    for (; *literal != '\0'; ++literal, ++at)
        if (*literal != *at) return false;
    if (!program.owns(literal)) return corrupted_pointers();
    input = at;
    return true;
}

/// Goes into the first alternative that may match here, and leaves the others open.
std::size_t UT_REGEXP::REGEXEC_STATE::take_branch(std::size_t node)
{
    for (std::size_t other = program.next(node); program.is(other, k_branch); other = program.next(node)) {
        const std::size_t first = node + k_node_size;
        if (!program.is(first, k_exactly) || *program.operand(first) == *input) {
            choices.push({other, input, 0, marks.size()});
            break;
        }
        node = other;
    }
    return node + k_node_size;
}

/// Takes at most `runs` runs of the repeat that began at `first`, and leaves fewer open.
bool UT_REGEXP::REGEXEC_STATE::take_runs(std::size_t node, const unsigned char* first, std::size_t runs)
{
    const std::size_t least = program.is(node, k_plus) ? 1 : 0;
    if (runs < least) return false;
    if (const std::size_t next = program.next(node); program.is(next, k_exactly)) {
        const unsigned char wanted = *program.operand(next);
        while (runs > least && first[runs] != wanted) --runs;
        if (first[runs] != wanted) return false;
    }
    if (runs > least) choices.push({node, first, runs - 1, marks.size()});
    input = first + runs;
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
        if (program.is(node, k_branch)) return true;
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

std::size_t UT_REGEXP::regnext(const REGEXEC_STATE& state, std::size_t node)
{
    return state.program.next(node);
}

/// How often the simple node `operand` matches in a row from here.
std::size_t UT_REGEXP::regrepeat(REGEXEC_STATE& state, std::size_t operand)
{
    const program_view& program = state.program;
    const unsigned char* last = state.input;
    if (!program.holds(operand)) {
        state.corrupted_pointers();
        return 0;
    }
    switch (program.code(operand)) {
    case k_any: last += std::strlen(reinterpret_cast<const char*>(last)); break;
    case k_exactly:
        if (const unsigned char wanted = *program.operand(operand); wanted != '\0')
            while (*last == wanted) ++last;
        break;
    case k_anyof:
    case k_anybut: {
        const byte_set* const set = state.sets.at(program, operand);
        if (set == nullptr) {
            state.corrupted_pointers();
            break;
        }
        while ((*set)[*last]) ++last;
        break;
    }
    default: state.foulup();
    }
    return static_cast<std::size_t>(last - state.input);
}

/// Walks from `node` to the end of the program, which is true, or to a node that does not match.
bool UT_REGEXP::regmatch(REGEXEC_STATE& state, std::size_t node)
{
    for (;;) {
        if (!state.program.holds(node)) return state.corrupted_pointers();
        const unsigned char code = state.program.code(node);
        std::size_t next = regnext(state, node);
        switch (code) {
        case k_end: return true;
        case k_bol:
            if (state.input != state.text) return false;
            break;
        case k_eol:
            if (*state.input != '\0') return false;
            break;
        case k_any:
            if (*state.input == '\0') return false;
            ++state.input;
            break;
        case k_anyof:
        case k_anybut:
            if (!state.take_one_of_set(node)) return false;
            break;
        case k_exactly:
            if (!state.take_literal(node)) return false;
            break;
        case k_nothing:
        case k_back: break;
        case k_branch: next = state.take_branch(node); break;
        case k_star:
        case k_plus: {
            const std::size_t runs = regrepeat(state, node + k_node_size);
            if (state.damaged || !state.take_runs(node, state.input, runs)) return false;
            break;
        }
        default:
            if (!opens_group(code) && !closes_group(code)) return state.corrupted_pointers();
            state.marks.push({state.position(), code});
        }
        node = next;
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
    const std::string_view must(regmust_.getstring(), regmust_.length());
    if (std::string_view(text.getstring(), text.length()).find(must, start) == std::string_view::npos)
        return keys;

    REGEXEC_STATE state(program_, text);
    if (reganch_ != 0) {
        regtry(state, start, keys);
        return keys;
    }
    // A try that fails says as much of every start among the runs that it began with: from there the walk
    // would come to places that it has seen already.
    const std::size_t repeat = leading_repeat(state.program);
    const start_finder starts(text, state.program, state.sets, regstart_);
    for (ut_uint64 at = starts.from(start); at < text.length() || at == start; at = starts.from(at + 1)) {
        if (regtry(state, at, keys) || state.damaged) break;
        state.begin(at);
        if (repeat != 0) at += regrepeat(state, repeat + k_node_size);
    }
    return keys;
}
