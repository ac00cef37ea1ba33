// tests/process/startup_loader.cpp: a program that does not link the library but loads it at run time.
#include <cstdio>
#include <cstdlib>
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
    if (scenario == "report after the end") late.report = error_of(library);
    if (scenario == "fatal after the end")
        late.end = reinterpret_cast<void (*)(const char*, int)>(::dlsym(library, "_Z12ut_userfatalPKci"));
    if (scenario == "load twice") {
        error_of(library)("round 1");
        ::dlclose(library);
        library = open_library(argv[2]);
        error_of(library)("round 2");
        ::dlclose(library);
    }
    if (scenario == "two copies") {
        error_of(library)("first");
        error_of(open_library(argv[3]))("second");
    }
    return 0;
}
