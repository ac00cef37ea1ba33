/// \file i/basutdarray.h
/// Arrays in one block that moves as it grows, plain and typed.
///
/// Ownership, threads and errors are those of `UT_BASE_ARRAY`. The array owns the block that its caller's
/// variable names.
/// Lifetime: whatever can grow or shrink an array moves its block, and addresses given out before it are
/// void; only the variable is current.
#pragma once
#include "basutarray.h"
#include "uttypes.h"
#include <cstddef>
#include <cstdint>
#include <type_traits>

class UT_EXPORT UT_DARRAY : public UT_BASE_ARRAY {
public:
    /// An empty array with room for one growth step.
    ///
    /// `variable` is the address of the caller's pointer, of whatever type; it must outlive the array, and is
    /// null after it. Units: `element_size` in bytes; `allocation_size`, the growth step, in elements. A step
    /// below 1 stands for the default of the process: the environment variable DARRAY_DEFAULT_ELE_CNT as it
    /// was when the library was loaded, or 1 if it was not set. If that is below 1, too, the step is what
    /// fits 2048 bytes, at least 16. Errors: "Memory allocation failed."
    UT_DARRAY(void** variable, int element_size, int allocation_size, unsigned char zeromem);
    UT_DARRAY(const UT_DARRAY&) = default;  // shallow on purpose, as is assignment
    UT_DARRAY& operator=(const UT_DARRAY&) = default;
    ~UT_DARRAY() override;

    void qsort(long first, long last, compare_function cmp) override;
    void a_shift(long index, int direction) override;
    long a_bsearch(const void* key, compare_function cmp) override;
    /// Makes the count `n`. A lower one gives memory back: when the capacity is not the growth step and at
    /// least one step of it would be spare, the block shrinks to the steps that hold n elements.
    ///
    /// With `setzeromem` on, what lies behind the elements that are left is cleared.
    void a_resetnum(long n) override;
    /// The distance of `element` from the start of the block in elements, also where it is past the count; -1
    /// for an address in front of the block or between two elements.
    long intgetindex(void* element) override;
    /// The new block is as long as the capacity; its tail is what lay behind the count.
    void* a_makearray() override;

    /// Returns the address of element `index`, growing the array until it has one.
    ///
    /// Shape: the count becomes max(count, index + 1); the capacity at least doubles where it grows.
    /// Errors: "Bad index." for a negative one. "Memory allocation failed.", with the array as it was, when
    /// neither the doubled block nor a smaller one that holds `index` is to be had. Cost: amortised constant
    /// per appended element; no call into the system below the capacity.
    void* getaddr(long index) override;

    /// Makes the capacity what `a_resetnum(n)` leaves, and keeps the count. The result is 1.
    ///
    /// Elements that no longer fit are lost; where they are used again the array grows, and what they then
    /// hold is not defined (0 with `setzeromem` on). Until then the variable must not be indexed past the
    /// capacity.
    unsigned char resizebuffer(long n);

protected:
    /// Frees the block and clears the variable.
    void release() noexcept;
    /// Undoes a `resizebuffer` below the count: after it the block holds all elements, or the result is
    /// false.
    bool complete() { return num_elements_ <= elements_allocated_ || getaddr(num_elements_ - 1) != nullptr; }

private:
    class addresses;

    std::byte* block() const noexcept;
    void set_block(void* block) noexcept;
    void* expand_to(long index);
    bool grow_for(long index);
    bool reallocate(std::int64_t capacity);
    void clear_elements(std::int64_t first, std::int64_t end);
    long ordered_search(const void* key, compare_function cmp);

    void** variable_;  ///< the caller's variable; the block it names is ours
};

namespace ketriope {

/// Below 0, 0 or above 0 as `<` orders `a` and `b`.
template <class T>
int natural_order(const T& a, const T& b)
{
    static_assert(!std::is_pointer_v<T>, "addresses have no order that lasts: name a comparison");
    return static_cast<int>(b < a) - static_cast<int>(a < b);
}

}  // namespace ketriope

/// A `UT_DARRAY` of `T` that holds its own pointer variable.
///
/// A loop over it, and `append` below the capacity, call nothing. `T` is copied bytewise. Sorted operations
/// take the comparison as a template argument, any function that compares two `T` as `strcmp` does; without
/// one they go by `<`: `numbers.sort()`, `names.sort<std::strcmp>()`.
/// Ownership: a copy is a second name for the storage of its source. It must not be used once either has
/// grown, shrunk or been destroyed.
template <class T>
class UT_DARRAY_T : public UT_DARRAY {
    static_assert(std::is_trivially_copyable_v<T>, "elements are moved and copied as bytes");
    static_assert(alignof(T) <= alignof(std::max_align_t), "the heap aligns no better");

public:
    using value_type = T;

    explicit UT_DARRAY_T(int allocation_size = 0, unsigned char zeromem = 0)
        : UT_DARRAY(reinterpret_cast<void**>(&elements_), sizeof(T), allocation_size, zeromem)
    {
    }
    UT_DARRAY_T(const UT_DARRAY_T&) = default;  // shallow on purpose, as is assignment
    UT_DARRAY_T& operator=(const UT_DARRAY_T&) = default;
    ~UT_DARRAY_T() override { release(); }  // while the variable lives: the base finds it null

    long size() const { return num_elements_; }
    bool is_empty() const { return num_elements_ == 0; }

    /// Element `index`, which must exist: there is no check, as with the pointer itself.
    T& operator[](long index) { return elements_[index]; }
    const T& operator[](long index) const { return elements_[index]; }
    /// Element `index`. Errors: "Element out of range. Use expand." if there is none.
    T& at(long index) { return testaddr(index) ? element(index) : nothing(); }
    const T& at(long index) const { return const_cast<UT_DARRAY_T*>(this)->at(index); }
    /// Element `index`, up to which the array grows first.
    T& expand(long index) { return element(index); }

    /// The elements in their order; valid until the array grows or shrinks.
    T* begin() { return complete() ? elements_ : nullptr; }
    T* end() { return complete() ? elements_ + (num_elements_ > 0 ? num_elements_ : 0) : nullptr; }
    const T* begin() const { return const_cast<UT_DARRAY_T*>(this)->begin(); }
    const T* end() const { return const_cast<UT_DARRAY_T*>(this)->end(); }

    /// Puts a copy of `value`, which may be an element of this array, behind the last element.
    void append(const T& value)
    {
        if (static_cast<std::uint32_t>(num_elements_) < static_cast<std::uint32_t>(elements_allocated_))
            elements_[num_elements_++] = value;
        else
            append_growing(value);
    }
    /// Puts a copy of `value` in front of element `index`, or behind the last one if `index` is the count.
    /// Errors: "Element out of range. Use expand." for any other index.
    void insert(long index, const T& value)
    {
        const T copy = value;
        const long before = num_elements_;
        if (index != before && !testaddr(index)) return;
        a_shift(index, 1);
        if (num_elements_ > before) elements_[index] = copy;
    }
    /// Takes element `index` out. Errors: "Element out of range. Use expand." if there is none.
    void remove(long index)
    {
        if (testaddr(index)) a_shift(index + 1, -1);
    }

    /// `a_sort` of all elements.
    template <auto compare = &ketriope::natural_order<T>>
    void sort()
    {
        a_sort(&compared_by<compare>);
    }
    /// `a_sortadd`: the result is the index of the new element.
    template <auto compare = &ketriope::natural_order<T>>
    long sort_add(const T& key)
    {
        return a_sortadd(&key, &compared_by<compare>);
    }
    /// `a_sortuadd`: the result is the index of the element that equals `key`; `*inserted` tells if it is
    /// new.
    template <auto compare = &ketriope::natural_order<T>>
    long sort_add_unique(const T& key, bool* inserted = nullptr)
    {
        unsigned char is_new = 0;
        const long index = a_sortuadd(&key, &compared_by<compare>, &is_new);
        if (inserted != nullptr) *inserted = is_new != 0;
        return index;
    }
    /// `a_bsearch`: the index of the first element that equals `key`, or -1.
    template <auto compare = &ketriope::natural_order<T>>
    long find(const T& key)
    {
        return a_bsearch(&key, &compared_by<compare>);
    }

private:
    template <auto compare>
    static int compared_by(const void* a, const void* b)
    {
        return compare(*static_cast<const T*>(a), *static_cast<const T*>(b));
    }

    T& element(long index)
    {
        if (index >= 0 && index < num_elements_ && index < elements_allocated_) return elements_[index];
        void* const address = getaddr(index);
        return address != nullptr ? *static_cast<T*>(address) : nothing();
    }
    /// What a report that came back leaves: an element of no array.
    static T& nothing()
    {
        thread_local T element;
        element = T();
        return element;
    }
    void append_growing(T value)
    {
        if (void* const place = getaddr(num_elements_)) *static_cast<T*>(place) = value;
    }

    T* elements_;  // without an initialiser: it has its value from the constructor of the base
};

class UT_EXPORT DARRAY_LONG : public UT_DARRAY_T<ut_long> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;
};

/// The texts belong to whoever put them in.
class UT_EXPORT DARRAY_NAME : public UT_DARRAY_T<char*> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;
};

class UT_EXPORT DARRAY_BYTE : public UT_DARRAY_T<unsigned char> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;
};

class UT_EXPORT DARRAY_UT_LIN_VALUE : public UT_DARRAY_T<double> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;
};

class UT_EXPORT DARRAY_UT_PTRPTR : public UT_DARRAY_T<void**> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;
};

/// A table of a compiled command format: its op codes, and the strings that op codes refer to by index.
///
/// Ownership: the strings belong to whoever put them in.
class UT_EXPORT DARRAY_UT_CMDOPS : public UT_DARRAY_T<ut_long> {
public:
    using UT_DARRAY_T::UT_DARRAY_T;

    DARRAY_NAME& strings() { return strings_; }
    const DARRAY_NAME& strings() const { return strings_; }

private:
    DARRAY_NAME strings_;
};
