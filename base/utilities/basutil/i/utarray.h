/// \file i/utarray.h
/// An array of pointers that grows by segments of 16 places, and never moves an element to do so.
#pragma once
#include "utcollection.h"
#include "uttypes.h"
#include <cstddef>
#include <cstdint>

class UT_EXPORT utArray : public utCollection {
public:
    utArray();
    /// Shape: the first segment has `capacity` places, all null; a negative one counts as 0.
    explicit utArray(int capacity);
    utArray(const utArray&) = default;  // shallow on purpose, as is assignment
    utArray& operator=(const utArray&) = default;
    ~utArray() override;

    const char* className() override;
    void* first() override;
    void* last() override;
    /// Appends `data`, chaining on a segment of 16 places behind the last one if that is full.
    ///
    /// Cost: constant.
    int insert(void* data) override;
    /// Takes out the first element that equals `data`; those behind it move down by one. Without a
    /// comparison function only the same pointer is equal.
    ///
    /// Returns `data`, whether or not it was found: the size tells.
    void* remove(void* data) override;
    /// Takes out the last element.
    void* remove() override;
    /// Cost: constant.
    void* find(int index) override;
    /// Tells whether an element equals `data`: the result is the first element of the segment that the
    /// match stands in, and not the match.
    ///
    /// It is null, and `contains` false, also for a match in a segment whose first element is null.
    void* find(void* data) override;
    void* replace(void* data, int index) override;
    utColGen* newGen() override;

    /// Makes the array one segment of `capacity` places; places that it did not have before hold `fill`.
    ///
    /// Shape: elements keep their indexes; those from `capacity` on are dropped.
    /// Errors: a negative capacity has no effect.
    void resize(int capacity, void* fill);

protected:
    /// The places of the first segment, and their number.
    void** Buffer() { return _buffer; }
    int BufferSize() const { return _capacity; }
    /// The index of the first element that equals `data`; -1 if there is none.
    int Find(void* data);
    /// Moves the elements behind `index` down by one; the last place becomes null.
    void Shift(int index);

private:
    friend class utHashTable;
    struct chained;  ///< the second segment, which knows all that follow it

    struct stretch;  ///< neighbouring places

    stretch stretch_from(int index) const;
    void chain_on();
    void drop_chain() noexcept;

    std::int32_t _capacity;
    void** _buffer;
    utArray* _next = nullptr;
};

/// Walks an array by index.
class UT_EXPORT utArrayGen : public utColGen {
public:
    utArrayGen() = default;
    explicit utArrayGen(utArray* array);

    const char* className() override;
    /// An element may be null, too: what is given behind the last one goes on being null.
    void* next() override;

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    utArray* _array = nullptr;
    std::int32_t _index = 0;
};
