// tests/process/exceptions_child.cpp: dumps the exception that its argument names.
#include <cstdlib>
#include <string>

#include "exceptions.h"

int main(int, char** argv)
{
    const std::string what = argv[1];
    const char* const file = what == "message" || what == "neither" ? nullptr : "f.c";
    const char* const message = what == "file" || what == "neither" ? nullptr : "m %n";
    // Its strings are never released, so a leak checker must still find it.
    static const UT_EXCEPTION fault(1, file, 3, message);
    fault.dumpMessage();
    if (what != "switch later") return 0;
    ::setenv("QVS_REPORT_EXCEPTION_LOCATION", "1", 1);
    fault.dumpMessage();
    return 0;
}
