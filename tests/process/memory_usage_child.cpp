// tests/process/memory_usage_child.cpp: a tool that reports its memory between its steps.
#include <cstdlib>
#include <iostream>
#include <string>

#include "basutmemusage.h"
#include "basutstream.h"
#include "msgman.h"

namespace {

/// Reports on a stream of the library that leads to standard output.
void report_on_stream()
{
    constexpr int k_standard_output = 1;
    UT_STREAM out(k_standard_output, UT_ACCESS_WRITE, 4096, nullptr);
    UT_MEM_USAGE::reportCurrentUsage(out, "stream", "");
    out.flush();
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string scenario = argc > 1 ? argv[1] : "";
    const auto report = [] {
        UT_MEM_USAGE::reportCurrentUsage(*ut_msgman, "legacy", "");
        report_on_stream();
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
