/// \file i/utsymbol.h
/// A handle on a string of the process's pool.
#pragma once
#include "uttypes.h"
#include <cstddef>

/// Two symbols of one text share its characters, and are compared by a look at their pointers.
///
/// Ownership: a true value; each symbol holds a reference, and the last one releases the string.
/// Threads: no locks; all symbols belong to one thread at a time.
class UT_EXPORT utSymbol {
public:
    /// Holds no string.
    utSymbol() = default;
    /// Null is no string.
    utSymbol(const char* text);
    utSymbol(const utSymbol& other);
    utSymbol& operator=(const utSymbol& other);
    utSymbol& operator=(const char* text);
    ~utSymbol();

    /// Null without a string.
    const char* c_str() const { return _text; }
    /// Compares by bytes: below 0, 0, above 0. No string, and null, count as "".
    int compareTo(const char* text) const;
    bool operator==(const utSymbol& other) const { return _text == other._text; }
    bool operator!=(const utSymbol& other) const { return _text != other._text; }

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    const char* _text = nullptr;
};
