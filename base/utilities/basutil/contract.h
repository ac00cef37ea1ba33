/// \file contract.h
/// The one door for reports about the library itself: broken contracts and numbered messages.
///
/// A site says what happened; the functions here know the two routes, through the message database or
/// through the legacy message manager. The header stands on the lowest floor: it names no class of
/// either, so that strings and containers may report without knowing who listens.
#pragma once
#include "uttypes.h"
#include <cstdint>
#include <source_location>

namespace ketriope {

#if defined(__cpp_lib_source_location)
using source_location = std::source_location;
#else
/// What is used here of the standard's class, for a compiler (clang 14) whose runtime lacks it.
class source_location {
public:
    static constexpr source_location current(std::uint_least32_t line = __builtin_LINE()) noexcept
    {
        return source_location(line);
    }
    constexpr std::uint_least32_t line() const noexcept { return line_; }

private:
    explicit constexpr source_location(std::uint_least32_t line) noexcept : line_(line) {}
    std::uint_least32_t line_;
};
#endif

/// Who reports. The tags and the revision show in the INTERNAL CODE line of the legacy route only.
struct site {
    const char* module;                         ///< token of the source unit, such as "basutdarray"
    int exit_value = 19;                        ///< of the process, on the legacy route
    const char* package = "ut";                 ///< first tag
    const char* revision = "$Revision: 1.0 $";  ///< of the source unit
    short line = 0;                             ///< 0: the line of the call
    bool in_destructor = false;                 ///< never throws while another exception is on its way
};

/// Reports that a caller broke the contract of a class, and does not return but in the cases below.
///
/// With the database in charge the text is posted as "common" 0000 and an `int` -1 is thrown. Otherwise
/// `UT_MSGMAN::fatal` ends the process with the site's exit value.
/// It returns where a derived message manager survives `fatal()`, and for a site in a destructor that
/// runs because of another exception: the caller then leaves without doing harm.
void contract_failed(const site& where, const char* text, source_location at = source_location::current());

/// Reports `text` by `UT_MSGMAN::internal`, whatever route is chosen for broken contracts, and returns.
void internal_report(const site& where, const char* text, source_location at = source_location::current());

/// A message that the catalogue knows by number.
struct numbered {
    enum class legacy : unsigned char { error, warning };
    const char* number;                  ///< four digits, such as "1413"
    legacy route = legacy::warning;      ///< which function takes the text when the database is not in charge
    const char* category = "framework";  ///< whose numbers these are
};

/// Posts a numbered message: its arguments to the database, or else the formatted text to
/// `ut_error` or `ut_warning`.
UT_PRINTF_LIKE(2, 3) void numbered_message(const numbered& which, const char* format, ...);

}  // namespace ketriope
