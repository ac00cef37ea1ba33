// tests/support/strobj_tools.h: what a test sees of a counted string beyond its text.
#pragma once
#include <string>
#include <string_view>

#include "basutstrobj.h"

/// The text with its NULs.
inline std::string text_of(const UT_STROBJ& string)
{
    return {string.getstring(), string.length()};
}

/// A string of these characters, NULs among them.
inline UT_STROBJ string_of(std::string_view text)
{
    UT_STROBJ made(text.size(), ' ', 1);
    for (std::size_t i = 0; i < text.size(); ++i) made[i] = text[i];
    return made;
}

/// What `sizeme` reports for the block.
inline ut_uint64 share_of(const UT_STROBJ& string)
{
    return string.sizeme() - sizeof(UT_STROBJ);
}

/// Characters that the block of a string without sharers can hold, and those of them in front of the text.
inline ut_uint64 area_of(const UT_STROBJ& string)
{
    return share_of(string) - 9;
}
inline ut_uint64 room_of(const UT_STROBJ& string)
{
    return area_of(string) - string.length();
}

/// Where the terminator stands; the same as before if the block was kept.
inline const char* end_of(const UT_STROBJ& string)
{
    return string.getstring() + string.length();
}

/// True if both look at the same characters of one block.
inline bool share_text(const UT_STROBJ& a, const UT_STROBJ& b)
{
    return end_of(a) == end_of(b);
}

/// Opens the protected interface.
struct open_string : UT_STROBJ {
    using UT_STROBJ::check_bounds_inline_error;
    using UT_STROBJ::construct_sprintf;
    using UT_STROBJ::decr_num_refs;
    using UT_STROBJ::delete_string;
    using UT_STROBJ::get_num_refs;
    using UT_STROBJ::incr_num_refs;
    using UT_STROBJ::is_only_ref;
    using UT_STROBJ::make_larger_buffer;
    using UT_STROBJ::make_writeable;
    using UT_STROBJ::set_num_refs;
    using UT_STROBJ::UT_STROBJ;
    using UT_STROBJ::operator=;
    explicit open_string(const UT_STROBJ& other) : UT_STROBJ(other) {}
};
