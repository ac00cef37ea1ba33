/// \file i/basutbarray.h
/// Arrays in equal blocks, whose elements never move.
///
/// Ownership, threads and errors are those of `UT_BASE_ARRAY`. The array owns the blocks and the table of
/// them that its caller's variable names; all are given back at its end and none before.
#pragma once
#include "basutarray.h"
#include "uttypes.h"
#include <cstddef>
#include <cstdint>

class UT_EXPORT UT_BARRAY : public UT_BASE_ARRAY {
public:
    /// An empty array with one block.
    ///
    /// `variable` is the address of the caller's table pointer, of whatever type; it must outlive the array,
    /// and is null after it. Element i is at `table[i / n]` plus `i % n` elements, with n elements per block.
    /// Units: `element_size` in bytes. `elements_per_block` below 1 stands for what fits 4096 bytes, at
    /// least 1. Errors: "Memory allocation failed."
    UT_BARRAY(void*** variable, int element_size, int elements_per_block, unsigned char zeromem);
    UT_BARRAY(const UT_BARRAY&) = default;  // shallow on purpose, as is assignment
    UT_BARRAY& operator=(const UT_BARRAY&) = default;
    ~UT_BARRAY() override;

    /// The index of the element that holds the byte at `element`, -1 if no block that has elements holds it.
    ///
    /// Cost: linear in the blocks.
    long intgetindex(void* element) override;

    /// Returns the address of element `index`, adding blocks until there is one.
    ///
    /// Shape: the count becomes max(count, index + 1); the capacity is a whole number of blocks.
    /// Lifetime: the address is good until the array is destroyed.
    /// Errors: "Bad expand index." for a negative one; "Memory allocation failed.", with the array as it was.
    void* getaddr(long index) override;

protected:
    long elements_per_block() const { return elements_per_block_; }

private:
    std::byte** table() const noexcept;
    void set_table(void* table) noexcept;
    bool add_blocks(std::int64_t blocks);
    std::byte* new_block();
    void release() noexcept;

    void*** variable_;  ///< the caller's variable; the table it names and the blocks are ours
    std::int32_t num_blocks_;
    std::int32_t block_bytes_;
    std::int32_t elements_per_block_;
};

class UT_NAME_ELEMENT;

/// Pointers to the elements of a name store.
///
/// Ownership: the elements belong to the store. A copy must not outlive its source.
class UT_EXPORT BARRAY_UT_NAME_ELEMENT_PTR : public UT_BARRAY {
public:
    explicit BARRAY_UT_NAME_ELEMENT_PTR(int elements_per_block = 0, unsigned char zeromem = 0)
        : UT_BARRAY(reinterpret_cast<void***>(&blocks_), sizeof(void*), elements_per_block, zeromem)
    {
    }

    long size() const { return num_elements_; }
    /// Element `index`, which must exist: there is no check.
    UT_NAME_ELEMENT*& operator[](long index)
    {
        return blocks_[index / elements_per_block()][index % elements_per_block()];
    }
    UT_NAME_ELEMENT* operator[](long index) const
    {
        return blocks_[index / elements_per_block()][index % elements_per_block()];
    }
    /// Puts `element` behind the last one.
    void append(UT_NAME_ELEMENT* element)
    {
        if (void* const place = getaddr(num_elements_)) *static_cast<UT_NAME_ELEMENT**>(place) = element;
    }

private:
    UT_NAME_ELEMENT*** blocks_;  // without an initialiser: it has its value from the constructor of the base
};
