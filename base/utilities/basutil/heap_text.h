/// \file heap_text.h
/// Memory that is handed to callers who release it by `free`.
#pragma once
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

namespace ketriope {

/// A block for `count` plain objects, at least one. Errors: exhausted memory throws `std::bad_alloc`.
template <class T>
T* heap_block(std::size_t count)
{
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
    void* block = std::malloc(count > 0 ? count * sizeof(T) : sizeof(T));
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<T*>(block);
}

struct heap_release {
    void operator()(void* block) const noexcept { std::free(block); }
};

/// Text that is ours until a caller takes it over.
using heap_text = std::unique_ptr<char, heap_release>;

/// `indent` blanks and `text`, terminated.
inline heap_text heap_copy(std::string_view text, std::size_t indent = 0)
{
    heap_text copy(heap_block<char>(indent + text.size() + 1));
    std::memset(copy.get(), ' ', indent);
    std::memcpy(copy.get() + indent, text.data(), text.size());
    copy.get()[indent + text.size()] = '\0';
    return copy;
}

}  // namespace ketriope
