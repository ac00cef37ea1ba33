// tests/process/startup_reporter.cpp: a library of a tool that reports while it is loaded and unloaded.
#include "startup_reporter.h"

#include "exceptions.h"
#include "msgman.h"

namespace {

struct reports_both_ends {
    reports_both_ends() { ut_error("from a static constructor"); }
    ~reports_both_ends() { ut_error("from a static destructor"); }
} const both_ends;

}  // namespace

void throw_an_exception()
{
    throw UT_EXCEPTION(5, nullptr, 1, "thrown elsewhere");
}
