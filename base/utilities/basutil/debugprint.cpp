// debugprint.cpp
#include "debugprint.h"

#include <algorithm>
#include <cstdarg>
#include <iostream>
#include <limits>

#include "basutstrobj.h"

namespace {

/// `depth` as the writer keeps it.
int kept_depth(ut_int64 depth) noexcept
{
    return static_cast<int>(std::clamp<ut_int64>(depth, 0, std::numeric_limits<int>::max()));
}

}  // namespace

UT_DEBUG_PRINT::UT_DEBUG_PRINT() : out_(&std::cout) {}

UT_DEBUG_PRINT::~UT_DEBUG_PRINT()
{
    flush();
}

void UT_DEBUG_PRINT::output(const char* format, ...)
{
    UT_STROBJ text;
    ut_va_list arguments;
    va_start(arguments, format);
    text.vstr_format(format, arguments);
    va_end(arguments);
    if (!text) return;
    while (text.length() > 0) {
        const ut_uint64 end = text.find_char('\n');
        const bool ends_line = end < text.length();
        write(text.left(end), ends_line);
        text.chop_before(ends_line ? end + 1 : end);
    }
    flush();
}

void UT_DEBUG_PRINT::write(const UT_STROBJ& text, bool ends_line)
{
    if (at_line_start_) indent();
    if (out_ != nullptr) *out_ << text;
    if (ends_line) newline();
}

void UT_DEBUG_PRINT::indent()
{
    for (int step = 0; step < depth_ && out_ != nullptr; ++step)
        out_->write(step_.data(), static_cast<std::streamsize>(step_.size()));
    at_line_start_ = false;
}

void UT_DEBUG_PRINT::newline()
{
    if (out_ != nullptr) out_->put('\n');
    at_line_start_ = true;
}

void UT_DEBUG_PRINT::flush()
{
    if (out_ != nullptr) out_->flush();
}

void UT_DEBUG_PRINT::setindentsize(unsigned n)
{
    step_.assign(n, ' ');
}

void UT_DEBUG_PRINT::tab(unsigned n)
{
    depth_ = kept_depth(ut_int64{depth_} + n);
}

void UT_DEBUG_PRINT::untab(unsigned n)
{
    depth_ = kept_depth(ut_int64{depth_} - n);
}

void UT_DEBUG_PRINT::tabto(unsigned n)
{
    depth_ = kept_depth(n);
}
