// tests/process/memory_unload_loader.cpp: a program that loads the library and lets it go again.
#include <cstdio>
#include <new>

#include <dlfcn.h>

int main(int, char** argv)
{
    const std::new_handler mine = [] { throw std::bad_alloc(); };
    std::set_new_handler(mine);
    void* const library = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::puts(::dlerror());
        return 3;
    }
    std::puts(std::get_new_handler() != mine ? "the library's" : "mine");
    ::dlclose(library);
    const bool gone = ::dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) == nullptr;
    // The loader may keep the library where it is; then its handler is still there, too.
    std::puts(!gone || std::get_new_handler() == mine ? "one that is there" : "one that is gone");
    return 0;
}
