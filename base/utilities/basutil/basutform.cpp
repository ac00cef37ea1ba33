// basutform.cpp: the rings of short-lived text.
#include "basutform.h"

#include <array>
#include <cstdarg>

#include "basutstrobj.h"
#include "per_thread.h"

namespace {

/// The last texts of a thread. The index moves before a slot is used, so the first text stands in slot 1.
class text_ring {
public:
    UT_STROBJ& next() noexcept
    {
        current_ = (current_ + 1) % slots_.size();
        return slots_[current_];
    }
    char* current() const { return const_cast<char*>(slots_[current_].getstring()); }

private:
    std::array<UT_STROBJ, 32> slots_;
    std::size_t current_ = 0;
};

struct cform_ring;

/// The ring of `zeoform` and its kin.
text_ring& first_ring()
{
    return ketriope::per_thread<text_ring>();
}

/// The ring of `ut_Cform`, whose texts nobody sees.
text_ring& second_ring()
{
    return ketriope::per_thread<text_ring, cform_ring>();
}

}  // namespace

char* zeoform(const char* format, ...)
{
    text_ring& ring = first_ring();
    ut_va_list arguments;
    va_start(arguments, format);
    ring.next().vstr_format(format, arguments);
    va_end(arguments);
    return ring.current();
}

char* ut_Cform(const char* format, ...)
{
    ut_va_list arguments;
    va_start(arguments, format);
    second_ring().next().vstr_format(format, arguments);
    va_end(arguments);
    return first_ring().current();
}

char* zeodec(long value)
{
    return zeoform("%ld", value);
}

char* zeochr(char c)
{
    static constinit char text[2] = {};
    text[0] = c;
    return text;
}

char* zeohex(long /*value*/)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // the format is incomplete, and stays so
    return zeoform("%h");
#pragma GCC diagnostic pop
}
