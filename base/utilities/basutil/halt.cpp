// halt.cpp
#include "halt.h"

#include "platform.h"
#include "startup.h"

constinit UT_HALT ut_haltobj;

unsigned char UT_HALT::checkhalt()
{
    ketriope::platform::os().poll_keyboard();
    return checkhalt_pl();
}

unsigned char UT_HALT::checkhalt_pl()
{
    if (notify_.load(std::memory_order_relaxed) != 0) {
        notify_.store(0, std::memory_order_relaxed);
        if (void (*const handler)() = handler_.load(std::memory_order_relaxed)) handler();
    }
    const unsigned char value = value_.load(std::memory_order_relaxed);
    if (value == 1) ketriope::leave_process(0);
    return value;
}

unsigned char ut_halted()
{
    return ut_haltobj.checkhalt() != 0 ? 1 : 0;
}
