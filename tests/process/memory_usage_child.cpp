// tests/process/memory_usage_child.cpp: a tool that reports its memory between its steps.
#include <cstdlib>
#include <iostream>
#include <string>

#include "basutmemusage.h"
#include "msgman.h"

int main(int argc, char** argv)
{
    const std::string scenario = argc > 1 ? argv[1] : "";
    const auto report = [] {
        UT_MEM_USAGE::reportCurrentUsage(*ut_msgman, "legacy", "");
        UT_MEM_USAGE::reportCurrentUsage(std::cout, "standard", "");
    };
    if (scenario == "report") report();
    if (scenario == "change") {
        report();
        ::setenv("QVS_REPORT_MEMORY", std::getenv("QVS_REPORT_MEMORY") != nullptr ? "0" : "1", 1);
        report();
    }
    if (scenario == "one first") {
        UT_MEM_USAGE::reportCurrentUsage(std::cout, "standard", "");
        ::setenv("QVS_REPORT_MEMORY", "1", 1);
        report();
    }
    std::cout << "end of main" << std::endl;
    if (scenario == "exit") std::exit(4);
    return 0;
}
