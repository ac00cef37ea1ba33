// tests/process/startup_loader.cpp: a program that does not link the library but loads it at run time.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <dlfcn.h>

namespace {

using text_function = void (*)(const char*);

void* open_library(const char* path)
{
    void* const library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library != nullptr) return library;
    std::puts(::dlerror());
    std::exit(3);
}

text_function error_of(void* library)
{
    return reinterpret_cast<text_function>(::dlsym(library, "_Z8ut_errorPKc"));
}

void report_and_catch(void* library, const char* text)
{
    try {
        error_of(library)(text);
    } catch (int code) {
        std::printf("caught %d\n", code);
    }
}

/// Built before the library is loaded, so it goes after the library's own end.
struct late_reporter {
    text_function report = nullptr;
    void (*end)(const char*, int) = nullptr;
    ~late_reporter()
    {
        if (report != nullptr) report("after the end");
        if (end != nullptr) end("after the end", 6);
    }
} late;

}  // namespace

int main(int, char** argv)
{
    const std::string scenario = argv[1];
    void* library = open_library(argv[2]);
    if (scenario.find("report") == 0) late.report = error_of(library);
    if (scenario == "report before and after the end") error_of(library)("before the end");
    if (scenario == "report before and after the end, caught") report_and_catch(library, "before the end");
    if (scenario == "fatal after the end")
        late.end = reinterpret_cast<void (*)(const char*, int)>(::dlsym(library, "_Z12ut_userfatalPKci"));
    if (scenario.find("load twice") == 0) {
        const auto report = scenario == "load twice"
                                ? [](void* from, const char* text) { error_of(from)(text); }
                                : report_and_catch;
        report(library, "round 1");
        ::dlclose(library);
        library = open_library(argv[2]);
        report(library, "round 2");
        ::dlclose(library);
    }
    if (scenario == "flat entry") reinterpret_cast<text_function>(::dlsym(library, "ut_c_error"))("flat");
    if (scenario == "terminate after unloading") {
        error_of(library)("x");
        ::dlclose(library);
        std::terminate();  // as an exception that nobody catches does
    }
    if (scenario == "two copies") {
        error_of(library)("first");
        error_of(open_library(argv[3]))("second");
    }
    return 0;
}
