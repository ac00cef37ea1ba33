// tests/process/startup_child.cpp: a tool that links the library, and another one that reports.
#include <cstdio>
#include <string>

#include <dlfcn.h>

#include "exceptions.h"
#include "msgman.h"
#include "msgterminate.h"
#include "startup_reporter.h"

namespace {

void catch_an_int()
{
    try {
        msg_throw(-7);
    } catch (int code) {
        std::printf("caught %d\n", code);
    }
}

void catch_an_exception()
{
    try {
        throw_an_exception();
    } catch (const UT_EXCEPTION& fault) {
        static const UT_EXCEPTION kept = fault;  // its strings are never released
        std::printf("caught %d %s\n", kept.getErrorCode(), kept.getMessage());
    }
}

void use_a_copy(const char* path)
{
    void* const copy = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (copy == nullptr) {
        std::puts(::dlerror());
        return;
    }
    reinterpret_cast<void (*)(const char*)>(::dlsym(copy, "_Z8ut_errorPKc"))("through the copy");
    // A copy asked by name gives its own variable, which it never uses: the loader bound it to ours.
    std::puts(ut_msgman != nullptr ? "same manager" : "no manager");
}

}  // namespace

int main(int, char** argv)
{
    const std::string scenario = argv[1];
    if (scenario == "int") catch_an_int();
    if (scenario == "exception") catch_an_exception();
    if (scenario == "copy") use_a_copy(argv[2]);
    return 0;
}
