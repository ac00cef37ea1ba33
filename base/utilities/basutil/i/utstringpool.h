/// \file i/utstringpool.h
/// Strings that are kept once, however many hold them.
///
/// Equal texts have one pointer, so that two of them are compared by comparing pointers.
#pragma once
#include "uthashtable.h"
#include "uttypes.h"
#include <cstddef>
#include <cstdint>
#include <string>

/// An entry of a string pool.
///
/// Ownership: the pool's; `text` goes with the entry.
struct UT_EXPORT utStringHashPoolEle {
    char* text = nullptr;
    std::int32_t refCount = 0;

    /// Up to ten blocks are kept for the next objects of the class.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}
};

/// A hash table of `utStringHashPoolEle*`, compared by their texts.
///
/// Ownership: an entry is released when its last reference is dropped. What is still referred to at the
/// end of the pool stays, since there is someone who uses it.
class UT_EXPORT utStringHashPool : public utHashTable {
public:
    utStringHashPool();
    explicit utStringHashPool(int expected);
    utStringHashPool(const utStringHashPool&) = default;  // shallow on purpose, as is assignment
    utStringHashPool& operator=(const utStringHashPool&) = default;
    ~utStringHashPool() override;

    const char* className() override;

    /// Takes a reference to the pool's copy of `text`; null, and no reference, for null.
    ///
    /// Lifetime: the text stays until `delReference` was called as often.
    const char* getReference(const char* text);
    /// The same, giving the entry.
    utStringHashPoolEle* getReferenceElement(const char* text);
    /// Drops a reference to `text`, and the entry with the last one. Null has none.
    ///
    /// Errors: a text that is not in the pool, and one without a reference, are told on `ut_msgman`.
    void delReference(const char* text);
    /// Writes how full the buckets are, and all strings with their references, to `ut_msgman`, and to
    /// `file` as well unless it is null or cannot be opened.
    void statistic(const char* file);

    /// The pool of the process, made at first use.
    ///
    /// Lifetime: never destroyed, so that the last of all destructors may still drop a reference.
    static utStringHashPool* getGlobalPool();
    static utStringHashPool* globalPool() { return getGlobalPool(); }
    /// `getReference` and `delReference` of that pool.
    static const char* newRefString(const char* text);
    static void delRefString(const char* text);

private:
    std::string bucket_line() const;
};

/// `getReference` and `delReference` of the pool of the process.
inline const char* newRefString(const char* text)
{
    return utStringHashPool::newRefString(text);
}
inline void delRefString(const char* text)
{
    utStringHashPool::delRefString(text);
}
