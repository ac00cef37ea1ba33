// startup.cpp: builds the global objects, in this order, and ends them in the reverse one.
//
//   1. ut_msgman   on the heap, never destroyed: a report may come after everything else has ended
//   2. ut_file     closes what is open when it ends, and checks TEMP when it begins
//
// No other unit has a global that needs a constructor to run: what the constructors here can reach is
// constant-initialised or made on first use.
#include "startup.h"

#include <cstdio>

#include "msgman.h"
#include "platform.h"

namespace ketriope {
namespace {

constinit bool building = false;
constinit bool exit_begun = false;

}  // namespace

bool starting_up() noexcept
{
    return building;
}

void note_exit_begun() noexcept
{
    exit_begun = true;
}

void leave_process(int exit_value)
{
    if (!exit_begun) return platform::os().end_process(exit_value);
    std::fflush(stdout);
    std::fflush(stderr);
    platform::os().end_process_now(exit_value);
}

}  // namespace ketriope

UT_MSGMAN* ut_msgman = new UT_MSGMAN;
