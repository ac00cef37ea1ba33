/// \file runtime_format.h
/// Text made by the runtime's formatter, of whatever length and free of the locale.
#pragma once
#include "platform.h"
#include "uttypes.h"
#include <algorithm>
#include <cstdarg>
#include <string>

namespace ketriope {

/// Errors: a format that the runtime refuses gives the empty text.
UT_PRINTF_LIKE(1, 0) inline std::string runtime_format(const char* format, ut_va_list arguments)
{
    ut_va_list again;
    va_copy(again, arguments);
    const int length = platform::os().format_list(nullptr, 0, format, arguments);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    if (length > 0) platform::os().format_list(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace ketriope
