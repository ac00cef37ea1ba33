// allocation_faults.cpp
#include "allocation_faults.h"

#include <cstdlib>
#include <new>

// The linker leads the library's calls to __wrap_ (--wrap), and __real_ to the C library's.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
}

namespace {

struct plan {
    long seen = 0;
    long first = 0;
    long last = 0;
    bool active = false;
};
thread_local constinit plan current;

/// Counts one allocation; true when it is to fail.
bool fails()
{
    if (!current.active) return false;
    const long number = current.seen++;
    return number >= current.first && number < current.last;
}

void* allocate_or_null(std::size_t size)
{
    return fails() ? nullptr : __real_malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size)
{
    for (;;) {
        if (void* const block = allocate_or_null(size)) return block;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}

void* allocate_nothrow(std::size_t size) noexcept
{
    try {
        return allocate(size);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

allocation_faults::allocation_faults(long first, long how_many) : first_(first)
{
    current = {0, first, first < LONG_MAX - how_many ? first + how_many : LONG_MAX, true};
}

allocation_faults::~allocation_faults()
{
    current.active = false;
}

long allocation_faults::counted() const
{
    return current.seen;
}

extern "C" {
void* __wrap_malloc(std::size_t size)
{
    return fails() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return fails() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size)
{
    return fails() ? nullptr : __real_realloc(block, size);
}
}

void* operator new(std::size_t size)
{
    return allocate(size);
}
void* operator new[](std::size_t size)
{
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate_nothrow(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate_nothrow(size);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete[](void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}
