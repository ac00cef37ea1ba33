/// \file i/basutstrobj.h
/// The string of the library: a view on a character buffer that its copies share.
///
/// Shape: a text is `length()` bytes, which may include NUL, and a terminator behind them. Several
/// strings may be suffixes of one buffer, since all end at its one terminator; an operation that cuts
/// the end of the text copies or moves it. Spare room lies in front of the text, never behind it.
/// Positions and counts are in bytes; one outside the text never fails but has the effect told here.
/// A search that finds nothing gives `length()`. A set of characters is a C string; null is empty.
/// Threads: assignment, `+=` and the counting of sharers hold the lock of their object; all else has
/// none, and the count belongs to all sharers, so strings that share belong to one thread at a time.
/// Errors: exhausted memory throws `std::bad_alloc` unless an operation says otherwise.
#pragma once
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "basutsmallmutex.h"
#include "uttypes.h"

class UT_REGEXP;
class UT_STREAM;
class UT_STRKEYS;
class UT_STROBJ_REF;

class UT_EXPORT UT_STROBJ {
public:
    /// An empty string with front room for ten characters.
    UT_STROBJ();
    /// A copy of a C string; null makes the empty string.
    UT_STROBJ(const char* text);
    /// A string of `n` characters: all `c` when `fill` is not zero, else all NUL.
    UT_STROBJ(ut_uint64 n, char c, int fill);
    /// Shares the buffer of `other`. Cost: a few instructions.
    UT_STROBJ(const UT_STROBJ& other) : buffer_(other.buffer_), offset_(other.offset_), length_(other.length_)
    {
        if (buffer_ != nullptr) ++count_of(buffer_);
    }
    /// A formatted text (see `str_format`) whose first argument has a type that the compiler knows.
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, const char* value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, void* value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, char value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, short value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, unsigned short value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, int value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, unsigned int value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, long value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, unsigned long value, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ(const char* format, double value, ...);
    UT_STROBJ(const char* format, UT_STROBJ value, ...);  // unmarked: compilers know another `%S`
    ~UT_STROBJ() { release(buffer_); }  // without the lock: nobody else may use an object that ends

    /// Shares the buffer of `other`.
    UT_STROBJ& operator=(const UT_STROBJ& other);
    /// Copies `text`, into the own buffer if it has room and is not shared; null makes the text empty.
    UT_STROBJ& operator=(const char* text);

    /// Appends. Cost: no allocation while the buffer is not shared and its front room suffices; otherwise
    /// a new buffer of the exact size, so that a long chain of appends copies the text at each step.
    UT_STROBJ& operator+=(const UT_STROBJ& text);
    UT_STROBJ& operator+=(const char* text);  ///< null adds nothing
    UT_STROBJ& operator+=(char c);            ///< a NUL becomes part of the text
    /// Appends as `+=` does and returns `getstring()`.
    const char* append(const char* text);
    /// Puts text in front; into the front room when that is possible.
    UT_STROBJ& prepend(const UT_STROBJ& text);
    UT_STROBJ& prepend(const char* text);

    /// Makes the text anew from a format and its arguments, which may be parts of the old text.
    ///
    /// A conversion is `%`, flags of "+- #", a width, `.` and a precision, one modifier `l` or `h`, and
    /// a character. Width and precision are digits, or zeros and `*`, which takes an `int`. A negative
    /// width means left-justified, one that begins with 0 fills numbers with zeros; a precision below 1
    /// from `*` means none. The characters are
    /// - `d i o u x X`: an integer, `int`, with `l` a `long`, with `h` cut to 16 bits;
    /// - `e E f g G`: a `double`, with a decimal point in every locale;
    /// - `p`: a pointer; `c`: an `int`, of which the low byte is stored, a NUL too;
    /// - `s`: a C string, null shows as "NULL"; `S`: a `const UT_STROBJ*`, with its NULs;
    /// - any other: that character, no argument. The format's end stores a NUL.
    ///
    /// There are no 64-bit modifiers: "%lld" prints "ld".
    /// Errors: a field too long for the memory breaks the contract ("system runs out of memory").
    UT_PRINTF_LIKE(2, 3) UT_STROBJ& str_format(const char* format, ...);
    UT_PRINTF_LIKE(2, 0) UT_STROBJ& vstr_format(const char* format, ut_va_list args);

    /// Concatenations, as new strings of the exact size. A null `const char*` counts as empty.
    UT_STROBJ operator+(const UT_STROBJ& text) const;
    UT_STROBJ operator+(const char* text) const;
    UT_STROBJ operator+(char c) const;

    /// Shape: counts every byte of the text; `strlen()` counts those in front of the first NUL.
    ut_uint64 length() const { return length_; }
    ut_uint64 strlen() const;
    bool operator!() const { return length_ == 0; }  ///< true for the empty string
    bool check_bounds(ut_uint64 index) const { return index < length_; }
    char operator[](ut_uint64 index) const { return check_bounds(index) ? buffer_[offset_ + index] : '\0'; }
    UT_STROBJ_REF operator[](ut_uint64 index);
    /// Returns the text; it must not be written through.
    ///
    /// Lifetime: until this string changes or ends. With `copy` the text stays good for ten such calls
    /// of the thread, whatever happens to this string, which shares its buffer for as long.
    const char* getstring(bool copy = false) const;
    /// Ownership: a copy up to the first NUL, released by `free`.
    char* strdup() const;

    UT_STROBJ left(ut_uint64 n) const;   ///< the first `n` characters, or all
    UT_STROBJ right(ut_uint64 n) const;  ///< the last `n` characters, or all; shares the buffer
    /// The text from `pos` on, sharing the buffer. Cost: constant.
    /// Shape: 0 and everything past `length()` give the whole text; `length()` gives the empty one.
    UT_STROBJ right_from(ut_uint64 pos) const;
    /// Up to `n` characters from `pos` on.
    /// A `pos` at or past the length counts as 0: "abc".mid(3, 2) is "ab".
    UT_STROBJ mid(ut_uint64 pos, ut_uint64 n) const;
    /// The text without up to `n` characters at `pos`, which falls back to 0 as in `mid`.
    UT_STROBJ cut(ut_uint64 pos, ut_uint64 n) const;
    /// The text with another put in at `pos`, at its end if `pos` lies past it.
    UT_STROBJ insert(ut_uint64 pos, const UT_STROBJ& text) const;
    UT_STROBJ upper() const;  ///< ASCII letters only
    UT_STROBJ lower() const;  ///< ASCII letters only
    /// The text in a field of `n` characters filled with `c`; an odd one falls behind a centred text.
    UT_STROBJ left_justify(ut_uint64 n, char c) const;
    UT_STROBJ right_justify(ut_uint64 n, char c) const;
    UT_STROBJ center_justify(ut_uint64 n, char c) const;
    /// The text without the characters of `set` at its ends. NUL counts as a member of every set.
    UT_STROBJ trim_front(const char* set) const;
    UT_STROBJ trim_back(const char* set) const;
    UT_STROBJ trim(const char* set) const;
    /// The text with every character `from` at or behind `start` replaced.
    UT_STROBJ replace(char from, char to, ut_uint64 start = 0) const;
    /// A copy changed by `mapInPlace`.
    UT_STROBJ map(const char* from_set, const char* to_set, ut_uint64 start = 0) const;
    UT_STROBJ map(const char* from_set, const UT_STROBJ& to_set, ut_uint64 start = 0) const;
    UT_STROBJ map(const UT_STROBJ& from_set, const char* to_set, ut_uint64 start = 0) const;
    UT_STROBJ map(const UT_STROBJ& from_set, const UT_STROBJ& to_set, ut_uint64 start = 0) const;
    /// The text with each character outside blank to `~` shown as its number: `<0A>`. All characters
    /// above 127 show as `<FF>`.
    UT_STROBJ printable() const;

    /// Matches a regular expression from `start` on; the result counts no keys where nothing matches.
    UT_STRKEYS match_reg_exp(const UT_REGEXP& pattern, ut_uint64 start = 0) const;
    /// Compiles the pattern first; one that does not compile matches nothing.
    UT_STRKEYS match_reg_exp(const UT_STROBJ& pattern, ut_uint64 start = 0) const;
    /// The text of key `k`; "" for a key outside the count and for one that is not set.
    UT_STROBJ get_key(const UT_STRKEYS& keys, int k) const;
    /// The text with key `k` replaced; unchanged for a key outside the count. For a key that is not set
    /// the replacement goes to the end. Keys of another text are not noticed: see `cut` and `insert`.
    UT_STROBJ replace_key(const UT_STRKEYS& keys, int k, const UT_STROBJ& text) const;

    /// Looks for `text` from `start` on, by a rolling hash.
    ///
    /// Names and files depend on its peculiarities, so they stay: a match of equal hashes is not
    /// compared by bytes (collisions are found as well), and a text that equals all that is left gives 0
    /// instead of `start`. An empty text is found at `start` if that is below the length.
    ut_uint64 find(const UT_STROBJ& text, ut_uint64 start = 0) const;
    ut_uint64 find_char(char c, ut_uint64 start = 0) const;
    /// The last position at or before `start`. The empty string gives 0, its length.
    ut_uint64 reverse_find_char(char c, ut_uint64 start = ~ut_uint64{0}) const;
    /// The first position from `start` on of a character in, or not in, `set`. NUL counts as a member
    /// of every set.
    ut_uint64 find_delim(const char* set, ut_uint64 start = 0) const;
    ut_uint64 find_non_delim(const char* set, ut_uint64 start = 0) const;

    /// Compares all bytes as unsigned: below 0, 0, above 0; -1 or 1 if one text begins the other.
    int strcmp(const UT_STROBJ& other) const;
    /// Compares up to the first NUL of each: -1, 0 or 1. Null equals the empty string and is less than
    /// any other.
    int strcmp(const char* other) const;
    bool operator==(const UT_STROBJ& other) const;
    bool operator!=(const UT_STROBJ& other) const { return !(*this == other); }
    bool operator<(const UT_STROBJ& other) const { return strcmp(other) < 0; }
    bool operator<=(const UT_STROBJ& other) const { return strcmp(other) <= 0; }
    bool operator>(const UT_STROBJ& other) const { return strcmp(other) > 0; }
    bool operator>=(const UT_STROBJ& other) const { return strcmp(other) >= 0; }
    bool operator==(const char* other) const { return strcmp(other) == 0; }
    bool operator!=(const char* other) const { return strcmp(other) != 0; }
    bool operator<(const char* other) const { return strcmp(other) < 0; }
    bool operator<=(const char* other) const { return strcmp(other) <= 0; }
    bool operator>(const char* other) const { return strcmp(other) > 0; }
    bool operator>=(const char* other) const { return strcmp(other) >= 0; }

    void toupper();  ///< ASCII letters only
    void tolower();  ///< ASCII letters only
    /// Replaces each character that stands at index i of `from_set` by `to_set[i]`, if there is one.
    ///
    /// The whole text is mapped, from position 0: a `start` at or past the length only prevents it.
    void mapInPlace(const char* from_set, const char* to_set, ut_uint64 start = 0);
    void mapInPlace(const char* from_set, const UT_STROBJ& to_set, ut_uint64 start = 0);
    void mapInPlace(const UT_STROBJ& from_set, const char* to_set, ut_uint64 start = 0);
    void mapInPlace(const UT_STROBJ& from_set, const UT_STROBJ& to_set, ut_uint64 start = 0);
    void truncate_last(ut_uint64 n);    ///< drops the last `n` characters; nothing if there are fewer
    void truncate_from(ut_uint64 pos);  ///< drops everything from `pos` on
    void chop_before(ut_uint64 pos);    ///< drops the first `pos` characters; nothing if there are fewer
    /// Masks the text so that it cannot be read by chance: its 7-bit characters, each by its position.
    void encode();
    /// Takes the mask off again; a text whose first character has a clear high bit stays.
    void decode();

    /// All five return true when the stream shows no error afterwards; the end of a file is none.
    ///
    /// Writes the length, in 4 bytes, and the characters. Errors: nothing, and false, past 2^32 - 1.
    bool write_strobj(UT_STREAM& stream) const;
    /// Reads what `write_strobj` wrote, as `read_nbytes` does.
    bool read_strobj(UT_STREAM& stream);
    /// Reads `n` characters as the new text; those that the stream lacks are NUL.
    /// Errors: a length for which there is no memory, and one past 2^26 that the stream lacks, gives false
    /// and the empty string.
    bool read_nbytes(UT_STREAM& stream, ut_uint64 n);
    /// Reads up to `delim`, which is dropped. The end of the file gives the empty string.
    bool read_line(UT_STREAM& stream, char delim);
    /// Writes the first byte: of the text, or of its terminator when the text is empty and the flag is set.
    /// It never writes more; no caller may take it for the whole text.
    bool write_chars(UT_STREAM& stream, bool with_terminator) const;

    /// Bytes of the object and of its share of the buffer, which is reckoned 4 bytes too large.
    ut_uint64 sizeme() const;
    /// True for a sound string. With `report` each fault found is posted.
    bool checkme(bool report) const;

    /// Objects come from the general heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object) noexcept;
    static void operator delete(void*, void*) noexcept {}

    /// The first argument of the formatted constructors; an integer is widened by its own sign.
    union VALUES {
        ut_int64 integer;
        double real;
        const void* pointer;
        const char* text;
        struct {
            const char* text;
            ut_uint64 length;
        } counted;
    };
    enum class value_kind : unsigned char { none, integer, real, pointer, text, counted };

protected:
    // The sharers of the buffer; a null buffer has none. Both changes return the new count.
    int get_num_refs() const;
    void set_num_refs(int count);
    int incr_num_refs();
    int decr_num_refs();
    bool is_only_ref() const { return get_num_refs() < 2; }  ///< may be written in place
    void delete_string();                                    ///< gives up the share in the buffer
    bool make_writeable();                                   ///< takes an own buffer if it is shared; true
    bool check_bounds_inline_error(ut_uint64 index) const { return !check_bounds(index); }
    /// The engine behind `str_format`. Unless `use_value` is none, the first argument is `value`.
    UT_PRINTF_LIKE(2, 0)
    void construct_sprintf(const char* format, const VALUES& value, value_kind use_value, ut_va_list args);
    /// A zero-filled block for `new_capacity` characters with the count and the text of `old`, which is
    /// released; with a count of 1 if `old` is null. Null, and `old` stays, if there is no memory.
    static char* make_larger_buffer(char* old, ut_uint64 old_length, ut_uint64 new_capacity);

private:
    friend class UT_STROBJ_REF;
    friend UT_EXPORT UT_STROBJ operator+(const char* text, const UT_STROBJ& string);

    struct pieces;
    struct no_block {};
    using count_type = std::int32_t;
    static constexpr ut_uint64 k_head = sizeof(count_type);  ///< of a block: the count
    explicit UT_STROBJ(const pieces& parts);
    explicit UT_STROBJ(no_block) noexcept : buffer_(nullptr), offset_(0), length_(0) {}
    char* text() const { return buffer_ + offset_; }
    std::string_view view() const { return {text(), length_}; }
    ut_uint64 front_room() const;
    static count_type& count_of(char* block) { return *reinterpret_cast<count_type*>(block); }
    static char* new_block(ut_uint64 capacity);
    static void free_block(char* block) noexcept;
    static void release(char* block) noexcept
    {
        if (block != nullptr && --count_of(block) < 1) free_block(block);
    }
    void adopt(char* other, ut_uint64 offset, ut_uint64 length);
    static char* read_block(UT_STREAM& stream, ut_uint64 n);
    void narrow(ut_uint64 count);
    void add(std::string_view addition);
    void add_in_front(std::string_view addition);
    void make_empty();
    void take_formatted(std::string_view made, ut_uint64 capacity, bool reuses);
    UT_STROBJ justified(ut_uint64 n, char c, ut_uint64 in_front) const;
    ut_uint64 find_member(const char* set, ut_uint64 start, bool wanted) const;
    void map_all(std::string_view from_set, std::string_view to_set, ut_uint64 start);

    char* buffer_;      ///< a block: count of sharers, characters, terminator; null only during construction
    ut_uint64 offset_;  ///< of the text in the buffer
    ut_uint64 length_;  ///< of the text
    ketriope::small_mutex mutex_;
};

/// A character of a string that can be assigned to.
///
/// Lifetime: that of the string, which it refers to by position.
class UT_EXPORT UT_STROBJ_REF {
public:
    UT_STROBJ_REF(UT_STROBJ& string, ut_uint64 index) : string_(string), index_(index) {}
    UT_STROBJ_REF(const UT_STROBJ_REF&) = default;

    operator char() const { return static_cast<const UT_STROBJ&>(string_)[index_]; }
    /// Stores `c`; a shared buffer is copied first. An equal character, or an index outside the text,
    /// changes nothing.
    UT_STROBJ_REF& operator=(char c);
    UT_STROBJ_REF& operator=(const UT_STROBJ_REF& other) { return *this = static_cast<char>(other); }

private:
    UT_STROBJ& string_;
    ut_uint64 index_;
};

inline UT_STROBJ_REF UT_STROBJ::operator[](ut_uint64 index)
{
    return {*this, index};
}

/// Concatenation as a new string. A null `text` counts as empty.
UT_EXPORT UT_STROBJ operator+(const char* text, const UT_STROBJ& string);

/// Writes the text, with each embedded NUL shown as `*`. The stream's field width is not looked at.
UT_EXPORT std::ostream& operator<<(std::ostream& out, const UT_STROBJ& string);
