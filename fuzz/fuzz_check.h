// fuzz/fuzz_check.h: how a fuzz target states a property.
#pragma once
#include <cstdio>
#include <cstdlib>

/// Ends the run where `holds` is false, so that the fuzzer keeps the input.
inline void fuzz_check(bool holds, const char* text, const char* file, int line)
{
    if (holds) return;
    std::fprintf(stderr, "%s:%d: %s does not hold\n", file, line, text);
    std::abort();
}
#define FUZZ_CHECK(condition) fuzz_check(static_cast<bool>(condition), #condition, __FILE__, __LINE__)
