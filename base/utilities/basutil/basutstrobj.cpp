// basutstrobj.cpp
#include "basutstrobj.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <mutex>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "basutformat.h"
#include "basutregexp.h"
#include "basutstr.h"
#include "contract.h"
#include "masking.h"
#include "per_thread.h"

namespace {

constexpr ut_uint64 k_fresh_room = 10;                      // of a string made from nothing
constexpr ut_uint64 k_overhead = sizeof(std::int32_t) + 1;  // of a block: its count and its terminator
constexpr ut_uint64 k_most_characters = SIZE_MAX - k_overhead;

static_assert(sizeof(UT_STROBJ) <= 140, "the size classes of the small-object pools end there");

std::string_view view_of(const char* text)
{
    return text != nullptr ? std::string_view(text) : std::string_view();
}

/// The characters that a C string names. NUL is always one, as a search of the C library finds the
/// terminator, too.
class character_set {
public:
    explicit character_set(const char* members)
    {
        members_.set(0);
        for (const char c : view_of(members)) members_.set(static_cast<unsigned char>(c));
    }
    bool has(char c) const { return members_[static_cast<unsigned char>(c)]; }

private:
    std::bitset<256> members_;
};

char upper_of(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

char lower_of(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool is_printable(char c)
{
    return c >= ' ' && c <= '~';
}

struct getstring_ring {
    std::array<UT_STROBJ, 10> slots;
    std::size_t next = 0;
};

}  // namespace

/// What a new string of the exact size is put together from.
struct UT_STROBJ::pieces {
    std::string_view first;
    std::string_view second = {};
    std::string_view third = {};
};

// Construction.

UT_STROBJ::UT_STROBJ() : buffer_(new_block(k_fresh_room)), offset_(k_head + k_fresh_room), length_(0) {}

UT_STROBJ::UT_STROBJ(const char* text) : UT_STROBJ(pieces{view_of(text)}) {}

UT_STROBJ::UT_STROBJ(ut_uint64 n, char c, int fill) : buffer_(new_block(n)), offset_(k_head), length_(n)
{
    std::memset(text(), fill != 0 ? c : '\0', n);
}

UT_STROBJ::UT_STROBJ(const pieces& parts)
    : offset_(k_head), length_(parts.first.size() + parts.second.size() + parts.third.size())
{
    buffer_ = new_block(length_);
    char* out = std::copy(parts.first.begin(), parts.first.end(), text());
    out = std::copy(parts.second.begin(), parts.second.end(), out);
    std::copy(parts.third.begin(), parts.third.end(), out);
}

namespace {

struct first_value {
    UT_STROBJ::VALUES value;
    UT_STROBJ::value_kind kind;
};

template <class Integer>
first_value first_of(Integer value)
{
    static_assert(std::is_integral_v<Integer>);
    return {{.integer = static_cast<ut_int64>(value)}, UT_STROBJ::value_kind::integer};
}

first_value first_of(double value)
{
    return {{.real = value}, UT_STROBJ::value_kind::real};
}

first_value first_of(void* value)
{
    return {{.pointer = value}, UT_STROBJ::value_kind::pointer};
}

first_value first_of(const char* value)
{
    return {{.text = value}, UT_STROBJ::value_kind::text};
}

first_value first_of(const UT_STROBJ& value)
{
    return {{.counted = {value.getstring(), value.length()}}, UT_STROBJ::value_kind::counted};
}

}  // namespace

// Only a macro can name the last parameter to `va_start`. Some of the types here are promoted when they
// are passed in an argument list, and then the standard promises nothing of `va_start`; the compilers do,
// as theirs looks at no type. The constructor with a string is not marked as printf-like.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#endif
#define UT_FORMATTED_CONSTRUCTOR(type)                                                                       \
    UT_STROBJ::UT_STROBJ(const char* format, type value, ...) : UT_STROBJ(no_block())                        \
    {                                                                                                        \
        const first_value first = first_of(value);                                                           \
        va_list args;                                                                                        \
        va_start(args, value);                                                                               \
        construct_sprintf(format, first.value, first.kind, args);                                            \
        va_end(args);                                                                                        \
    }
UT_FORMATTED_CONSTRUCTOR(const char*)
UT_FORMATTED_CONSTRUCTOR(void*)
UT_FORMATTED_CONSTRUCTOR(char)
UT_FORMATTED_CONSTRUCTOR(short)
UT_FORMATTED_CONSTRUCTOR(unsigned short)
UT_FORMATTED_CONSTRUCTOR(int)
UT_FORMATTED_CONSTRUCTOR(unsigned int)
UT_FORMATTED_CONSTRUCTOR(long)
UT_FORMATTED_CONSTRUCTOR(unsigned long)
UT_FORMATTED_CONSTRUCTOR(double)
UT_FORMATTED_CONSTRUCTOR(UT_STROBJ)
#undef UT_FORMATTED_CONSTRUCTOR
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

// The buffer and its sharers.

/// A block for one owner, with its terminator and room for `capacity` characters. Exhausted memory calls
/// the new-handler, as `new` does.
char* UT_STROBJ::new_block(ut_uint64 capacity)
{
    if (capacity > k_most_characters) throw std::bad_alloc();
    void* memory = nullptr;
    while ((memory = std::malloc(k_overhead + capacity)) == nullptr) {
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
    auto* block = static_cast<char*>(memory);
    count_of(block) = 1;
    block[k_head + capacity] = '\0';
    return block;
}

void UT_STROBJ::free_block(char* block) noexcept
{
    std::free(block);
}

int UT_STROBJ::get_num_refs() const
{
    return buffer_ != nullptr ? count_of(buffer_) : 0;
}

void UT_STROBJ::set_num_refs(int count)
{
    const std::lock_guard guard(mutex_);
    if (buffer_ != nullptr) count_of(buffer_) = count;
}

int UT_STROBJ::incr_num_refs()
{
    const std::lock_guard guard(mutex_);
    return buffer_ != nullptr ? ++count_of(buffer_) : 0;
}

int UT_STROBJ::decr_num_refs()
{
    const std::lock_guard guard(mutex_);
    return buffer_ != nullptr ? --count_of(buffer_) : 0;
}

void UT_STROBJ::delete_string()
{
    adopt(nullptr, 0, 0);
}

/// Gives up the share in the buffer and takes over a share of `other`, without counting it.
void UT_STROBJ::adopt(char* other, ut_uint64 offset, ut_uint64 length)
{
    const std::lock_guard guard(mutex_);
    release(std::exchange(buffer_, other));
    offset_ = offset;
    length_ = length;
}

/// Leaves `count` characters in front out of the view.
void UT_STROBJ::narrow(ut_uint64 count)
{
    offset_ += count;
    length_ -= count;
}

ut_uint64 UT_STROBJ::front_room() const
{
    return buffer_ != nullptr ? offset_ - k_head : 0;
}

bool UT_STROBJ::make_writeable()
{
    if (is_only_ref()) return true;
    char* own = new_block(length_);
    std::memcpy(own + k_head, text(), length_);
    adopt(own, k_head, length_);
    return true;
}

char* UT_STROBJ::make_larger_buffer(char* old, ut_uint64 old_length, ut_uint64 new_capacity)
{
    if (new_capacity > k_most_characters) return nullptr;
    auto* larger = static_cast<char*>(std::calloc(k_overhead + new_capacity, 1));
    if (larger == nullptr) return nullptr;
    count_of(larger) = 1;
    if (old != nullptr) std::memcpy(larger, old, k_head + old_length);
    std::free(old);
    return larger;
}

void* UT_STROBJ::operator new(std::size_t size)
{
    return ::operator new(size);
}

void UT_STROBJ::operator delete(void* object) noexcept
{
    ::operator delete(object);
}

// Assignment and building.

UT_STROBJ& UT_STROBJ::operator=(const UT_STROBJ& other)
{
    const std::lock_guard guard(mutex_);
    if (buffer_ != other.buffer_) {
        if (other.buffer_ != nullptr) ++count_of(other.buffer_);
        release(buffer_);
    }
    buffer_ = other.buffer_;
    offset_ = other.offset_;
    length_ = other.length_;
    return *this;
}

UT_STROBJ& UT_STROBJ::operator=(const char* new_text)
{
    const std::lock_guard guard(mutex_);
    if (buffer_ != nullptr && new_text == text()) return *this;
    const std::string_view source = view_of(new_text);
    if (buffer_ != nullptr && is_only_ref() && front_room() + length_ >= source.size()) {
        narrow(length_);
        offset_ -= source.size();
        length_ = source.size();
        if (!source.empty()) std::memmove(text(), source.data(), source.size());  // it may be a part of ours
        return *this;
    }
    char* own = new_block(source.size());
    std::copy(source.begin(), source.end(), own + k_head);
    adopt(own, k_head, source.size());
    return *this;
}

/// Appends a text, which may be a part of the own one: it then moves down with it.
void UT_STROBJ::add(std::string_view addition)
{
    if (addition.empty()) return;
    const std::lock_guard guard(mutex_);
    const ut_uint64 count = addition.size();
    if (!is_only_ref() || front_room() < count) {
        *this = UT_STROBJ(pieces{view(), addition});
        return;
    }
    const std::less<> before;  // in one order for all pointers, which `<` does not promise
    const bool own = !before(addition.data(), text()) && before(addition.data(), text() + length_);
    const char* source = own ? addition.data() - count : addition.data();
    offset_ -= count;
    std::memmove(text(), text() + count, length_);
    std::memcpy(text() + length_, source, count);
    length_ += count;
}

UT_STROBJ& UT_STROBJ::operator+=(const UT_STROBJ& addition)
{
    add(addition.view());
    return *this;
}

UT_STROBJ& UT_STROBJ::operator+=(const char* addition)
{
    add(view_of(addition));
    return *this;
}

UT_STROBJ& UT_STROBJ::operator+=(char c)
{
    add({&c, 1});
    return *this;
}

const char* UT_STROBJ::append(const char* addition)
{
    *this += addition;
    return getstring();
}

/// Puts a text in front, which may be a part of the own one.
void UT_STROBJ::add_in_front(std::string_view addition)
{
    if (addition.empty()) return;
    if (!is_only_ref() || front_room() < addition.size()) {
        *this = UT_STROBJ(pieces{addition, view()});
        return;
    }
    offset_ -= addition.size();
    length_ += addition.size();
    std::memcpy(text(), addition.data(), addition.size());
}

UT_STROBJ& UT_STROBJ::prepend(const UT_STROBJ& addition)
{
    add_in_front(addition.view());
    return *this;
}

UT_STROBJ& UT_STROBJ::prepend(const char* addition)
{
    add_in_front(view_of(addition));
    return *this;
}

UT_STROBJ& UT_STROBJ::str_format(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    vstr_format(format, args);
    va_end(args);
    return *this;
}

UT_STROBJ& UT_STROBJ::vstr_format(const char* format, ut_va_list args)
{
    construct_sprintf(format, {.integer = 0}, value_kind::none, args);
    return *this;
}

/// The text is complete before the old buffer is written or given up, since arguments may lie in it.
void UT_STROBJ::construct_sprintf(const char* format, const VALUES& value, value_kind use_value,
                                  ut_va_list args)
{
    const std::string_view given = view_of(format);
    if (given.empty()) return make_empty();
    const ut_uint64 estimate = ketriope::estimated_capacity(given);
    const ut_uint64 own_area = front_room() + length_;
    const bool reuses = buffer_ != nullptr && is_only_ref() && own_area >= estimate;
    ketriope::format_area area(reuses ? own_area : estimate);
    ketriope::format_arguments arguments(value, use_value, args);
    ketriope::format_text(area, given, arguments);
    take_formatted(area.text(), area.capacity(), reuses && area.capacity() == own_area);
}

/// An existing text becomes empty without its buffer being written, which may be shared.
void UT_STROBJ::make_empty()
{
    if (buffer_ != nullptr) return narrow(length_);
    adopt(new_block(0), k_head, 0);
}

/// Stores a finished text at the end of the own buffer or of a new one with room for `capacity`.
void UT_STROBJ::take_formatted(std::string_view made, ut_uint64 capacity, bool reuses)
{
    if (!reuses) {
        char* larger = make_larger_buffer(nullptr, 0, capacity);
        if (larger == nullptr) ketriope::out_of_memory_for_text();
        adopt(larger, k_head + capacity, 0);
    }
    offset_ = k_head + capacity - made.size();
    length_ = made.size();
    std::copy(made.begin(), made.end(), text());
}

// Concatenation.

UT_STROBJ UT_STROBJ::operator+(const UT_STROBJ& other) const
{
    return UT_STROBJ(pieces{view(), other.view()});
}

UT_STROBJ UT_STROBJ::operator+(const char* other) const
{
    return UT_STROBJ(pieces{view(), view_of(other)});
}

UT_STROBJ UT_STROBJ::operator+(char c) const
{
    return UT_STROBJ(pieces{view(), {&c, 1}});
}

UT_STROBJ operator+(const char* text, const UT_STROBJ& string)
{
    return UT_STROBJ(UT_STROBJ::pieces{view_of(text), string.view()});
}

// Access.

ut_uint64 UT_STROBJ::strlen() const
{
    return std::strlen(getstring());
}

const char* UT_STROBJ::getstring(bool copy) const
{
    if (!copy) return buffer_ != nullptr ? text() : "";
    auto& ring = ketriope::per_thread<getstring_ring>();
    UT_STROBJ& slot = ring.slots[ring.next];
    ring.next = (ring.next + 1) % ring.slots.size();
    slot = *this;
    return slot.getstring();
}

char* UT_STROBJ::strdup() const
{
    return ut_strdup(getstring());
}

UT_STROBJ_REF& UT_STROBJ_REF::operator=(char c)
{
    if (string_.check_bounds_inline_error(index_) || *this == c) return *this;
    string_.make_writeable();
    string_.text()[index_] = c;
    return *this;
}

// Substrings and shaping.

UT_STROBJ UT_STROBJ::left(ut_uint64 n) const
{
    if (n >= length_) return *this;
    return UT_STROBJ(pieces{view().substr(0, n)});
}

UT_STROBJ UT_STROBJ::right(ut_uint64 n) const
{
    UT_STROBJ result(*this);
    if (n < length_) result.narrow(length_ - n);
    return result;
}

UT_STROBJ UT_STROBJ::right_from(ut_uint64 pos) const
{
    UT_STROBJ result(*this);
    result.chop_before(pos);
    return result;
}

UT_STROBJ UT_STROBJ::mid(ut_uint64 pos, ut_uint64 n) const
{
    return right_from(pos < length_ ? pos : 0).left(n);
}

UT_STROBJ UT_STROBJ::cut(ut_uint64 pos, ut_uint64 n) const
{
    const std::string_view all = view();
    const ut_uint64 start = pos < length_ ? pos : 0;
    return UT_STROBJ(pieces{all.substr(0, start), all.substr(start + std::min(n, length_ - start))});
}

UT_STROBJ UT_STROBJ::insert(ut_uint64 pos, const UT_STROBJ& inserted) const
{
    const std::string_view all = view();
    const ut_uint64 start = std::min(pos, length_);
    return UT_STROBJ(pieces{all.substr(0, start), inserted.view(), all.substr(start)});
}

UT_STROBJ UT_STROBJ::upper() const
{
    UT_STROBJ result(*this);
    result.toupper();
    return result;
}

UT_STROBJ UT_STROBJ::lower() const
{
    UT_STROBJ result(*this);
    result.tolower();
    return result;
}

/// The text behind `in_front` characters of a field that is longer than it.
UT_STROBJ UT_STROBJ::justified(ut_uint64 n, char c, ut_uint64 in_front) const
{
    UT_STROBJ result(n, c, 1);
    std::memcpy(result.text() + in_front, getstring(), length_);
    return result;
}

UT_STROBJ UT_STROBJ::left_justify(ut_uint64 n, char c) const
{
    return n <= length_ ? *this : justified(n, c, 0);
}

UT_STROBJ UT_STROBJ::right_justify(ut_uint64 n, char c) const
{
    return n <= length_ ? *this : justified(n, c, n - length_);
}

UT_STROBJ UT_STROBJ::center_justify(ut_uint64 n, char c) const
{
    return n <= length_ ? *this : justified(n, c, (n - length_) / 2);
}

UT_STROBJ UT_STROBJ::trim_front(const char* set) const
{
    UT_STROBJ result(*this);
    result.narrow(find_non_delim(set));
    return result;
}

UT_STROBJ UT_STROBJ::trim_back(const char* set) const
{
    const character_set trimmed(set);
    ut_uint64 kept = length_;
    while (kept != 0 && trimmed.has(text()[kept - 1])) --kept;
    return left(kept);
}

UT_STROBJ UT_STROBJ::trim(const char* set) const
{
    return trim_back(set).trim_front(set);
}

UT_STROBJ UT_STROBJ::replace(char from, char to, ut_uint64 start) const
{
    UT_STROBJ result(*this);
    if (start >= length_) return result;
    result.make_writeable();
    std::replace(result.text() + start, result.text() + length_, from, to);
    return result;
}

namespace {
template <class From, class To>
UT_STROBJ mapped(UT_STROBJ string, const From& from_set, const To& to_set, ut_uint64 start)
{
    string.mapInPlace(from_set, to_set, start);
    return string;
}
}  // namespace

UT_STROBJ UT_STROBJ::map(const char* from_set, const char* to_set, ut_uint64 start) const
{
    return mapped(*this, from_set, to_set, start);
}

UT_STROBJ UT_STROBJ::map(const char* from_set, const UT_STROBJ& to_set, ut_uint64 start) const
{
    return mapped(*this, from_set, to_set, start);
}

UT_STROBJ UT_STROBJ::map(const UT_STROBJ& from_set, const char* to_set, ut_uint64 start) const
{
    return mapped(*this, from_set, to_set, start);
}

UT_STROBJ UT_STROBJ::map(const UT_STROBJ& from_set, const UT_STROBJ& to_set, ut_uint64 start) const
{
    return mapped(*this, from_set, to_set, start);
}

namespace {
/// Writes the four characters that stand for one that is not printable. Its number is that of a signed
/// character widened, FFxx, of which only the first two digits have a place.
char* show_hidden(char* out, char c)
{
    const auto byte = static_cast<unsigned char>(c);
    const unsigned shown = byte < 0x80 ? byte : 0xFFU;
    constexpr char k_digits[] = "0123456789ABCDEF";
    const char form[] = {'<', k_digits[shown / 16], k_digits[shown % 16], '>'};
    return std::copy(std::begin(form), std::end(form), out);
}
}  // namespace

UT_STROBJ UT_STROBJ::printable() const
{
    const std::string_view all = view();
    const auto shown = static_cast<ut_uint64>(std::count_if(all.begin(), all.end(), is_printable));
    if (shown == length_) return *this;
    UT_STROBJ result(shown + 4 * (length_ - shown), '\0', 0);
    char* out = result.text();
    for (const char c : all) out = is_printable(c) ? std::fill_n(out, 1, c) : show_hidden(out, c);
    return result;
}

// Searching.

namespace {

/// A hash of a text that moves on by one character at a time.
///
/// Rolling does not give the true hash of the next window: 0xF100 joins before the shift, and all is
/// 32-bit arithmetic that wraps. Which texts collide is a part of what `find` promises.
class rolling_hash {
public:
    explicit rolling_hash(std::string_view text)
    {
        for (const char c : text) value_ = (value_ * k_base + widened(c)) % k_modulus;
    }
    /// Leaves out the first character, of weight `weight`, and takes in a new last one.
    void roll(char out, char in, std::uint32_t weight)
    {
        value_ = ((value_ - widened(out) * weight + k_bias) * k_base + widened(in)) % k_modulus;
    }
    bool operator==(const rolling_hash&) const = default;

    /// Weight of the first of `count` characters.
    static std::uint32_t weight_of_first(std::size_t count)
    {
        std::uint32_t weight = 1;
        while (--count != 0) weight = weight * k_base % k_modulus;
        return weight;
    }

private:
    static constexpr std::uint32_t k_base = 256;
    static constexpr std::uint32_t k_modulus = 0xFF00F1;
    static constexpr std::uint32_t k_bias = 0xF100;

    static std::uint32_t widened(char c)
    {
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(c)));
    }

    std::uint32_t value_ = 0;
};

bool begins_with(const char* at, std::string_view text)
{
    return *at == text.front() && std::memcmp(at, text.data(), text.size()) == 0;
}

}  // namespace

ut_uint64 UT_STROBJ::find(const UT_STROBJ& wanted, ut_uint64 start) const
{
    const std::string_view pattern = wanted.view();
    if (start >= length_ || pattern.size() > length_ - start) return length_;
    const std::string_view rest = view().substr(start);
    if (pattern.size() == rest.size()) return pattern == rest ? 0 : length_;

    const rolling_hash hash(pattern);
    rolling_hash window(rest.substr(0, pattern.size()));
    if (window == hash) return start;
    const std::uint32_t weight = rolling_hash::weight_of_first(pattern.size());
    const std::size_t last = rest.size() - pattern.size();
    const char* at = rest.data();
    for (std::size_t i = 0;; ++at) {  // one window goes past the last: its end is the terminator
        if (begins_with(at, pattern)) return start + i;
        if (i > last) return length_;
        window.roll(at[0], at[pattern.size()], weight);
        ++i;
        if (window == hash) return start + i;
    }
}

namespace {
/// The position that a search of the standard library found, or `length`.
ut_uint64 or_length(std::size_t found, ut_uint64 length)
{
    return found != std::string_view::npos ? found : length;
}
}  // namespace

ut_uint64 UT_STROBJ::find_char(char c, ut_uint64 start) const
{
    return or_length(view().find(c, start), length_);
}

ut_uint64 UT_STROBJ::reverse_find_char(char c, ut_uint64 start) const
{
    return or_length(view().rfind(c, start), length_);
}

ut_uint64 UT_STROBJ::find_delim(const char* set, ut_uint64 start) const
{
    return find_member(set, start, true);
}

ut_uint64 UT_STROBJ::find_non_delim(const char* set, ut_uint64 start) const
{
    return find_member(set, start, false);
}

/// The first position from `start` on whose character is in `set`, or is not, as `wanted` says.
ut_uint64 UT_STROBJ::find_member(const char* set, ut_uint64 start, bool wanted) const
{
    const character_set members(set);
    ut_uint64 i = std::min(start, length_);
    while (i < length_ && members.has(text()[i]) != wanted) ++i;
    return i;
}

// Regular expressions.

UT_STRKEYS UT_STROBJ::match_reg_exp(const UT_REGEXP& pattern, ut_uint64 start) const
{
    return pattern.match(*this, start);
}

UT_STRKEYS UT_STROBJ::match_reg_exp(const UT_STROBJ& pattern, ut_uint64 start) const
{
    return UT_REGEXP(pattern).match(*this, start);
}

UT_STROBJ UT_STROBJ::get_key(const UT_STRKEYS& keys, int k) const
{
    return mid(keys.key_start(k), keys.key_length(k));
}

UT_STROBJ UT_STROBJ::replace_key(const UT_STRKEYS& keys, int k, const UT_STROBJ& replacement) const
{
    if (k < 0 || k >= keys.num_keys()) return *this;
    return cut(keys.key_start(k), keys.key_length(k)).insert(keys.key_start(k), replacement);
}

// Comparison.

int UT_STROBJ::strcmp(const UT_STROBJ& other) const
{
    const ut_uint64 common = std::min(length_, other.length_);
    const int order = view().substr(0, common).compare(other.view().substr(0, common));
    if (order != 0) return order;
    return length_ < other.length_ ? -1 : length_ > other.length_ ? 1 : 0;
}

int UT_STROBJ::strcmp(const char* other) const
{
    if (other == nullptr) return length_ == 0 ? 0 : 1;
    const int order = std::strcmp(getstring(), other);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

bool UT_STROBJ::operator==(const UT_STROBJ& other) const
{
    return view() == other.view();
}

// Editing in place.

void UT_STROBJ::toupper()
{
    make_writeable();
    std::transform(text(), text() + length_, text(), upper_of);
}

void UT_STROBJ::tolower()
{
    make_writeable();
    std::transform(text(), text() + length_, text(), lower_of);
}

/// Maps the whole text: `start` is nothing but a guard.
void UT_STROBJ::map_all(std::string_view from_set, std::string_view to_set, ut_uint64 start)
{
    if (start >= length_) return;
    std::array<char, 256> table;
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<char>(i);
    for (std::size_t i = from_set.size(); i-- != 0;) {  // backwards, so that the first of two counts
        const auto from = static_cast<unsigned char>(from_set[i]);
        table[from] = i < to_set.size() ? to_set[i] : from_set[i];
    }
    make_writeable();
    std::transform(text(), text() + length_, text(),
                   [&](char c) { return table[static_cast<unsigned char>(c)]; });
}

void UT_STROBJ::mapInPlace(const char* from_set, const char* to_set, ut_uint64 start)
{
    map_all(view_of(from_set), view_of(to_set), start);
}

void UT_STROBJ::mapInPlace(const char* from_set, const UT_STROBJ& to_set, ut_uint64 start)
{
    map_all(view_of(from_set), to_set.view(), start);
}

void UT_STROBJ::mapInPlace(const UT_STROBJ& from_set, const char* to_set, ut_uint64 start)
{
    map_all(from_set.view(), view_of(to_set), start);
}

void UT_STROBJ::mapInPlace(const UT_STROBJ& from_set, const UT_STROBJ& to_set, ut_uint64 start)
{
    map_all(from_set.view(), to_set.view(), start);
}

void UT_STROBJ::truncate_last(ut_uint64 n)
{
    if (n == 0 || n > length_) return;
    make_writeable();
    std::memmove(text() + n, text(), length_ - n);  // the terminator stays where it is
    narrow(n);
}

void UT_STROBJ::truncate_from(ut_uint64 pos)
{
    if (pos < length_) truncate_last(length_ - pos);
}

void UT_STROBJ::chop_before(ut_uint64 pos)
{
    if (pos <= length_) narrow(pos);
}

void UT_STROBJ::encode()
{
    make_writeable();
    for (ut_uint64 i = 0; i < length_; ++i) text()[i] = ketriope::masked(text()[i], i);
}

void UT_STROBJ::decode()
{
    make_writeable();
    if (length_ == 0 || !ketriope::is_masked(*text())) return;
    for (ut_uint64 i = 0; i < length_; ++i) text()[i] = ketriope::unmasked(text()[i], i);
}

// Output and diagnostics.

std::ostream& operator<<(std::ostream& out, const UT_STROBJ& string)
{
    std::string shown(string.getstring(), string.length());
    std::replace(shown.begin(), shown.end(), '\0', '*');
    return out.write(shown.data(), static_cast<std::streamsize>(shown.size()));
}

ut_uint64 UT_STROBJ::sizeme() const
{
    if (buffer_ == nullptr) return sizeof *this;
    const int sharers = get_num_refs();
    const ut_uint64 size = offset_ + length_ + 5;
    return sizeof *this + (sharers > 1 ? size / static_cast<ut_uint64>(sharers) : size);
}

bool UT_STROBJ::checkme(bool report) const
{
    using ketriope::numbered;
    using ketriope::numbered_message;
    constexpr auto k_error = numbered::legacy::error;
    const bool counted = get_num_refs() != 0;
    if (!counted && report) numbered_message({"1100", k_error}, "UT_STROBJ has zero reference count.");
    if (buffer_ == nullptr) {
        if (report) numbered_message({"1101", k_error}, "UT_STROBJ has NULL buffer");
        return false;
    }
    const bool terminated = text()[length_] == '\0';
    if (!terminated && report)
        numbered_message({"1102", k_error}, "UT_STROBJ buffer is not terminated correctly");
    return counted && terminated;
}
