/// \file i/utcollection.h
/// What the collections of pointers have in common, and how any of them is walked.
///
/// `utArray`, `utList`, `utQueue`, `utStack`, `utHashTable` and `utLinkedHashTable` stand behind one
/// interface. They hold `void*` and never look at what it points to, but for the caller's functions.
///
/// Ownership: a collection owns its storage and never its elements: nothing is released on removal, on
/// clearing or at the end. A copy shares the storage of its source, and only one of the two may be
/// destroyed.
/// Threads: no locks; a collection and its generators belong to one thread at a time.
/// Errors: `std::bad_alloc` where memory runs out; the collection is then as it was.
#pragma once
#include "uttypes.h"
#include <cstdint>

class utColGen;

class UT_EXPORT utCollection {
public:
    using delete_function = void (*)(void* element);
    using hash_function = unsigned (*)(void* element);
    using compare_function = int (*)(void* a, void* b);  ///< below 0, 0 or above 0, as a is to b

    utCollection() = default;
    utCollection(const utCollection&) = default;  // shallow on purpose, as is assignment: see above
    utCollection& operator=(const utCollection&) = default;

    // The order of these declarations is the order of the slots, which derived classes in the tools were
    // compiled against.

    virtual ~utCollection();
    /// The name of the object's own class.
    virtual const char* className();
    /// The first element in the order of the collection, null if it is empty.
    ///
    /// Errors: a collection without an order says so on standard output and gives null.
    virtual void* first();
    /// The last element in the order of the collection; its edges are those of `first`.
    virtual void* last();
    /// Puts `data` where the kind of the collection says. Returns the size.
    virtual int insert(void* data) = 0;
    /// Takes out the first element that equals `data`.
    virtual void* remove(void* data) = 0;
    /// Takes out the element that the kind of the collection gives first. Returns it; null if empty.
    virtual void* remove() = 0;
    /// The element at `index`, counted from 0; null for an index outside the collection.
    virtual void* find(int index) = 0;
    /// The first element that equals `data`; null if there is none.
    virtual void* find(void* data) = 0;
    /// Puts `data` in the place of the element at `index`. Returns that one; null, without an effect, for
    /// an index outside the collection.
    virtual void* replace(void* data, int index) = 0;
    /// A generator that stands in front of the first element.
    ///
    /// Ownership: the caller deletes it, before the collection ends.
    virtual utColGen* newGen() = 0;

    /// Calls `remove()` until the size is 0.
    void clear();
    /// True if `find(data)` is not null.
    bool contains(void* data) { return find(data) != nullptr; }

    /// Elements held.
    int Size() const { return _size; }
    /// Counts an element more or less, for derived classes; between 0 and 2147483647. Returns the size.
    int IncSize();
    int DecSize();

    /// The caller's functions; null stands for what the collection does without one. Set them while the
    /// collection is empty: what is in it is not looked at again.
    delete_function delFun() const { return _delFun; }
    hash_function hashFun() const { return _hashFun; }
    compare_function compFun() const { return _compFun; }
    /// How an element is released. No collection calls it; the string pool does.
    void setDelFun(delete_function function) { _delFun = function; }
    /// Which elements belong together in a hash table; equal elements must have equal values.
    void setHashFun(hash_function function) { _hashFun = function; }
    /// Which elements are equal, and how a list orders them.
    void setCompFun(compare_function function) { _compFun = function; }

protected:
    /// By `compFun`, or else -1, 0 or 1 as the addresses are.
    int Compare(void* a, void* b) const;
    /// By `hashFun`, or else the low 28 bits of the address.
    unsigned HashValue(void* key) const
    {
        if (_hashFun != nullptr) return _hashFun(key);
        return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(key) & 0xFFFFFFFU);
    }

    std::int32_t _size = 0;
    delete_function _delFun = nullptr;
    hash_function _hashFun = nullptr;
    compare_function _compFun = nullptr;
};

/// Gives the elements of a collection one by one; each kind of collection has its own.
///
/// Lifetime: it is void once its collection has ended or has changed; but from a list and from a hash table
/// the element just given may be taken out.
class UT_EXPORT utColGen {
public:
    utColGen() = default;
    utColGen(const utColGen&) = default;
    utColGen& operator=(const utColGen&) = default;

    virtual ~utColGen();
    /// The name of the object's own class.
    virtual const char* className();
    /// The next element; null behind the last.
    virtual void* next() = 0;
};

/// Walks any collection: `for (utGenerator g(all); void* element = g.next();)`.
///
/// Ownership: it owns its `utColGen`. A copy shares that one, and only one of the two may be destroyed.
class UT_EXPORT utGenerator {
public:
    utGenerator() = default;
    explicit utGenerator(utCollection& collection);
    utGenerator(const utGenerator&) = default;  // shallow on purpose, as is assignment: see above
    utGenerator& operator=(const utGenerator&) = default;
    ~utGenerator();

    /// Drops the generator it has, and begins with `collection`.
    void initGen(utCollection& collection);
    /// The next element; null behind the last, and without a collection.
    void* next();
    const char* className() const;

private:
    utColGen* _gen = nullptr;
};
