/// \file i/dlsymbol.h
/// Interned strings: one entry for each text, and handles on it.
///
/// Entries stay for the process, also without a handle, so a text once given out stays good.
/// Threads: the table has a lock; a handle belongs to one thread at a time.
#pragma once
#include "uttypes.h"
#include <cstddef>

struct dl_SymTableEntry;

class UT_EXPORT dl_Symbol {
public:
    /// A handle on the entry for `text`, which is made if there is none; null counts as "".
    dl_Symbol(const char* text);
    dl_Symbol(const dl_Symbol& other);
    dl_Symbol& operator=(const dl_Symbol& other);
    ~dl_Symbol();

    /// Moves the handle to the entry for `text`.
    dl_Symbol& operator=(const char* text);

    /// The text; null for a null handle. Lifetime: the process.
    const char* c_str() const;
    /// Compares by bytes: below 0, 0, above 0. With an `ignoreCase` other than 0 the letters `A` to `Z`
    /// count as lower case. Null, and a null handle, count as "".
    int compare(const char* text, int ignoreCase) const;
    int compare(const dl_Symbol& other, int ignoreCase) const { return compare(other.c_str(), ignoreCase); }
    /// True when both are handles on the same entry.
    bool operator==(const dl_Symbol& other) const { return entry_ == other.entry_; }

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

protected:
    /// A null handle.
    dl_Symbol() = default;

private:
    dl_SymTableEntry* entry_ = nullptr;
};
