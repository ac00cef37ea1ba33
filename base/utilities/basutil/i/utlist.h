/// \file i/utlist.h
/// Linked lists of pointers: ordered, first in first out, and last in first out.
#pragma once
#include "utcollection.h"
#include "uttypes.h"
#include <cstddef>

/// A node of a list.
class UT_EXPORT Element {
public:
    Element() = default;
    explicit Element(void* element, Element* follower = nullptr) : next(follower), data(element) {}
    Element(const Element&) = default;
    Element& operator=(const Element&) = default;
    virtual ~Element();

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

    Element* next = nullptr;
    void* data = nullptr;
};

/// A list in ascending order, without duplicates.
class UT_EXPORT utList : public utCollection {
public:
    utList() = default;
    utList(const utList&) = default;  // shallow on purpose, as is assignment
    utList& operator=(const utList&) = default;
    ~utList() override;

    const char* className() override;
    void* first() override;
    void* last() override;
    /// Puts `data` in front of the first greater element, and nowhere if there is an equal one. It relies on
    /// the order: where `replace` has broken it, neither is promised.
    ///
    /// Cost: linear; constant for what belongs at the end.
    int insert(void* data) override;
    /// Returns the element that was taken out; null if there is none.
    void* remove(void* data) override;
    /// Takes out the head.
    void* remove() override;
    void* find(int index) override;
    void* find(void* data) override;
    /// The order is the caller's business here: `data` takes the place whatever stands beside it, and though
    /// it may be in the list already.
    void* replace(void* data, int index) override;
    utColGen* newGen() override;

protected:
    /// Puts `data` at either end. Returns the size.
    int push_front(void* data);
    int push_back(void* data);

private:
    friend class utListGen;

    struct place {
        Element* previous = nullptr;  ///< null in front of the head
        Element* node = nullptr;      ///< null behind the tail
    };

    place place_of(void* data) const;
    Element* node_at(int index) const;
    void link(Element* previous, Element* node) noexcept;
    void* take(const place& from) noexcept;
    Element* take_all() noexcept;

    Element* _head = nullptr;
    Element* _tail = nullptr;
};

/// First in, first out: `insert` appends.
class UT_EXPORT utQueue : public utList {
public:
    utQueue() = default;
    utQueue(const utQueue&) = default;
    utQueue& operator=(const utQueue&) = default;
    ~utQueue() override;

    const char* className() override;
    int insert(void* data) override;
};

/// Last in, first out: `insert` puts at the head.
class UT_EXPORT utStack : public utList {
public:
    utStack() = default;
    utStack(const utStack&) = default;
    utStack& operator=(const utStack&) = default;
    ~utStack() override;

    const char* className() override;
    int insert(void* data) override;
};

/// Walks a list from its head.
class UT_EXPORT utListGen : public utColGen {
public:
    utListGen() = default;
    explicit utListGen(utList* list);

    /// Stands in front of the head of `list`; a collection that is no list, and null, have no elements.
    void init(utCollection* list);
    const char* className() override;
    void* next() override;

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    Element* _next = nullptr;
};
