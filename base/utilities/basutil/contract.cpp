// contract.cpp: the two routes of a report, known here and nowhere else.
#include "contract.h"

#include <cstdio>
#include <exception>
#include <string>

#include "msgdatabase.h"
#include "msgman.h"
#include "msgterminate.h"
#include "runtime_format.h"

namespace ketriope {
namespace {

short line_of(const site& where, const source_location& at) noexcept
{
    return where.line != 0 ? where.line : static_cast<short>(at.line());
}

}  // namespace

void contract_failed(const site& where, const char* text, source_location at)
{
    const short line = line_of(where, at);
    const bool may_throw = !where.in_destructor || std::uncaught_exceptions() == 0;
    const auto post = [&](message_database& db) {
        try {
            db.post_contract(where.module, line, text);
        } catch (int) {  // the database has no messages; that is what its status tells from now on
            if (may_throw) throw;
        }
    };
    if (posted_to_database(post)) {
        if (may_throw) msg_throw(-1);
        return;
    }
    if (ut_msgman != nullptr) {
        ut_msgman->fatal(text, where.package, where.module, line, where.revision, where.exit_value, 0);
        return;
    }
    std::fprintf(stderr, "ERROR - %s\n", text);  // a report from before the start
    leave_process(where.exit_value);
}

void internal_report(const site& where, const char* text, source_location at)
{
    if (ut_msgman != nullptr)
        ut_msgman->internal(text, where.package, where.module, line_of(where, at), where.revision, 0);
    else
        std::fprintf(stderr, "ERROR - %s\n", text);
}

void numbered_message(const numbered& which, const char* format, ...)
{
    ut_va_list arguments;
    va_start(arguments, format);
    const bool posted = posted_to_database(
        [&](message_database& db) { db.post_numbered(which.category, which.number, arguments); });
    va_end(arguments);
    if (posted) return;
    va_start(arguments, format);
    const std::string text = runtime_format(format, arguments);
    va_end(arguments);
    (which.route == numbered::legacy::error ? ut_error : ut_warning)(text.c_str());
}

}  // namespace ketriope
