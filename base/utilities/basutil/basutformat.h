/// \file basutformat.h
/// The printf engine of the counted string: from a format and its arguments to a text.
#pragma once
#include <cstddef>
#include <string_view>

#include "basutstrobj.h"

namespace ketriope {

/// Where the values of a format come from: a first one that the caller holds, then an argument list.
///
/// A first value of another kind than the conversion asks for gives 0 or the empty text.
class format_arguments {
public:
    format_arguments(const UT_STROBJ::VALUES& first, UT_STROBJ::value_kind first_kind, ut_va_list rest);
    format_arguments(const format_arguments&) = delete;
    format_arguments& operator=(const format_arguments&) = delete;
    ~format_arguments();

    long next_integer(char modifier);  ///< an `int`, cut to a `short` for `h`; a `long` for `l`
    unsigned long next_unsigned(char modifier);
    double next_real();
    const void* next_pointer();
    /// A text of at most `limit` characters; a null one shows as "NULL".
    std::string_view next_text(std::size_t limit);
    std::string_view next_counted(std::size_t limit);

private:
    using kind = UT_STROBJ::value_kind;
    bool take_first() noexcept;
    ut_int64 first_integer() const noexcept { return taken_ == kind::integer ? first_.integer : 0; }

    UT_STROBJ::VALUES first_;
    kind pending_;  ///< of the first value, until it is taken
    kind taken_ = kind::none;
    ut_va_list rest_;
};

/// The text being made, in memory that the thread keeps, so that an argument may lie in the string that
/// the text is meant for.
///
/// It reckons the capacity that the string's own block would have had if it had grown piece by piece:
/// by 20 characters when an ordinary character finds it full, by a field and 20 when a field does.
/// Threads: one per thread at a time. Errors: exhausted memory breaks the contract and throws.
class format_area {
public:
    explicit format_area(ut_uint64 capacity);
    format_area(const format_area&) = delete;
    format_area& operator=(const format_area&) = delete;
    ~format_area();

    std::string_view text() const noexcept { return {memory_.data, length_}; }
    ut_uint64 capacity() const noexcept { return capacity_; }

    void add_ordinary(std::string_view run);
    /// Makes a field of `count` characters and returns its place.
    char* add_field(std::size_t count);
    /// Makes a field of what `print(place, size)` writes, as `snprintf` would.
    template <class Print>
    void add_printed(Print print);

    /// The thread's memory: grows as needed.
    struct memory {
        char* data = nullptr;
        std::size_t size = 0;
        memory() = default;
        memory(const memory&) = delete;
        memory& operator=(const memory&) = delete;
        ~memory();
    };

private:
    char* reserve(std::size_t count);

    memory& memory_;
    std::size_t length_ = 0;
    ut_uint64 capacity_;
};

/// The capacity that a block for `format` begins with: 1, 30 for each `%`, 1 for each other character.
ut_uint64 estimated_capacity(std::string_view format) noexcept;

/// Adds the text that `format` makes of `arguments`.
void format_text(format_area& area, std::string_view format, format_arguments& arguments);

/// Reports that the memory does not suffice for a formatted text.
[[noreturn]] void out_of_memory_for_text();

}  // namespace ketriope
