// basutmemusage.cpp
#include "basutmemusage.h"

#include <array>
#include <cstdio>
#include <ostream>
#include <string>
#include <string_view>

#include "basutform.h"
#include "basutstream.h"
#include "mbytes.h"
#include "msgman.h"
#include "platform.h"
#include "startup.h"
#include "utgetenv.h"

using ketriope::mbytes;
using ketriope::platform::os;

namespace {

/// Whether the user wants the reports that tools put between their steps.
bool steps_wanted()
{
    const char* const asked = ut_getenv("QVS_REPORT_MEMORY");
    return asked != nullptr && *asked == '1';
}

/// The line of the two sinks of our own; a null shows as "NULL".
const char* step_line(const char* prefix, const char* suffix)
{
    const auto use = os().process_memory();
    return zeoform("%s current memory %.3f Mbytes/peak memory %.3f Mbytes %s", prefix, mbytes(use.current),
                   mbytes(use.peak), suffix);
}

std::string shown(ut_uint64 bytes)
{
    std::array<char, 40> text{};
    os().format_real(text.data(), text.size(), "%.3f", mbytes(bytes));
    return text.data();
}

std::string_view text_of(const char* text)
{
    return text != nullptr ? text : std::string_view();
}

/// The line of the peak; the number has no grouping, whatever the sink does to numbers.
std::string peak_line()
{
    return "QVS_MEMUSAGE - Peak memory usage is " + std::to_string(os().process_memory().peak) + " bytes.";
}

}  // namespace

constinit ut_uint64 UT_MEM_USAGE::_maxRecordedByteUsage = 0;

UT_MEM_USAGE::~UT_MEM_USAGE()
{
    if (!ketriope::has_ended()) return;  // another copy of the library lives on
    // The thread's formatted texts have ended before, and so `zeoform` and `ut_getenv` are out of reach.
    if (os().environment("QVS_MEMUSAGE") == nullptr) return;
    std::puts(peak_line().c_str());
    std::fflush(stdout);
}

ut_uint64 UT_MEM_USAGE::getCurrentByteUsage()
{
    return getCurrentByteUsageInternal();
}

ut_uint64 UT_MEM_USAGE::getCurrentMemoryUsage()
{
    return getCurrentByteUsageInternal();
}

ut_uint64 UT_MEM_USAGE::getPeakMemoryUsage()
{
    return getPeakByteUsageInternal();
}

ut_uint64 UT_MEM_USAGE::getCurrentByteUsageInternal()
{
    return os().process_memory().current;
}

ut_uint64 UT_MEM_USAGE::getPeakByteUsageInternal()
{
    return os().process_memory().peak;
}

void UT_MEM_USAGE::reportCurrentUsage(UT_MSGMAN& out)
{
    out << peak_line().c_str() << std::endl;
}

void UT_MEM_USAGE::reportCurrentUsage(UT_STREAM& out)
{
    out << peak_line().c_str() << std::endl;
}

void UT_MEM_USAGE::reportCurrentUsage(std::ostream& out)
{
    out << peak_line().c_str() << std::endl;
}

void UT_MEM_USAGE::reportCurrentUsage(UT_MSGMAN& out, const char* prefix, const char* suffix)
{
    static const bool wanted = steps_wanted();
    if (wanted) out << step_line(prefix, suffix) << std::endl;
}

void UT_MEM_USAGE::reportCurrentUsage(UT_STREAM& out, const char* prefix, const char* suffix)
{
    static const bool wanted = steps_wanted();
    if (wanted) out << step_line(prefix, suffix) << std::endl;
}

void UT_MEM_USAGE::reportCurrentUsage(std::ostream& out, const char* prefix, const char* suffix)
{
    static const bool wanted = steps_wanted();
    if (!wanted) return;
    const auto use = os().process_memory();
    std::string line;  // in one piece, so that no other line comes between
    if (const std::string_view head = text_of(prefix); !head.empty()) line.append(head) += ' ';
    line.append("Current memory ").append(shown(use.current)).append(" Mbytes/peak memory ");
    line.append(shown(use.peak)).append(" Mbytes");
    if (const std::string_view tail = text_of(suffix); !tail.empty())
        line.append(" ").append(tail);
    else
        line += '.';
    out << line << std::endl;
}
