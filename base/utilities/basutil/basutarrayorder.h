/// \file basutarrayorder.h
/// Sorting, searching and sorted insertion, for whatever way an array has to find its elements.
///
/// `Addresses` is that way: `at(i)` is the address of element i, and `hold(i)` makes sure that the elements
/// up to i have one. A comparison is code of the caller and may do anything to the array, so after each call
/// of it the addresses are asked for again.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace ketriope {

using compare_function = int (*)(const void*, const void*);

/// Releases what `malloc` gave.
struct free_block {
    void operator()(std::byte* block) const noexcept { std::free(block); }
};
using heap_block = std::unique_ptr<std::byte, free_block>;

/// A block of `bytes` bytes, or null where memory is out.
inline heap_block new_block(std::size_t bytes) noexcept
{
    return heap_block(static_cast<std::byte*>(std::malloc(bytes)));
}

/// A copy of an element, which no shift of the array reaches.
class element_copy {
public:
    element_copy(const void* element, std::size_t size)
    {
        if (size > small_.size()) large_ = new_block(size);
        data_ = size > small_.size() ? large_.get() : small_.data();
        if (data_ != nullptr) std::memcpy(data_, element, size);
    }
    element_copy(const element_copy&) = delete;
    element_copy& operator=(const element_copy&) = delete;

    /// Null where memory is out.
    const void* get() const noexcept { return data_; }

private:
    std::array<std::byte, 256> small_;
    heap_block large_;
    std::byte* data_;
};

/// Exchanges two elements of `Size` bytes, which may be one and the same.
template <std::size_t Size>
struct exchange_of {
    void operator()(std::byte* a, std::byte* b) const noexcept
    {
        struct bytes {
            std::byte of[Size];
        } x, y;
        std::memcpy(&x, a, Size);
        std::memcpy(&y, b, Size);
        std::memcpy(a, &y, Size);
        std::memcpy(b, &x, Size);
    }
    /// Exchanges only if `wanted`, and reads and writes either way: nothing to guess for the processor.
    void operator()(bool wanted, std::byte* a, std::byte* b) const noexcept
    {
        struct bytes {
            std::byte of[Size];
        } x, y;
        std::memcpy(&x, a, Size);
        std::memcpy(&y, b, Size);
        std::memcpy(wanted ? b : a, &x, Size);
        std::memcpy(wanted ? a : b, &y, Size);
    }
};

/// The same for a size that is known when it runs: word by word, then the bytes that are left.
class exchange_any {
public:
    explicit exchange_any(std::size_t size) noexcept : size_(size) {}

    void operator()(std::byte* a, std::byte* b) const noexcept
    {
        constexpr std::size_t word = sizeof(std::uint64_t);
        std::size_t at = 0;
        for (; at + word <= size_; at += word) exchange_of<word>()(a + at, b + at);
        for (; at < size_; ++at) exchange_of<1>()(a + at, b + at);
    }
    void operator()(bool wanted, std::byte* a, std::byte* b) const noexcept
    {
        if (wanted && a != b) (*this)(a, b);
    }

private:
    std::size_t size_;
};

/// One partition of first .. last. The result is where the pivot came to lie, and whether the range is in
/// order: all keys were equal, or the array lost its elements.
template <class Addresses, class Exchange>
std::pair<long, bool> partition(Addresses& elements, const Exchange& exchange, long first, long last,
                                compare_function cmp)
{
    if (!elements.hold(last)) return {first, true};
    const long middle = first + (last - first) / 2;
    exchange(elements.at(middle), elements.at(first));
    long marker = first;
    bool all_equal = true;
    for (long i = first + 1; i <= last; ++i) {
        const int order = cmp(elements.at(i), elements.at(first));
        if (!elements.hold(last)) return {first, true};
        const bool below = order <= 0;
        all_equal &= order == 0;
        marker += below ? 1 : 0;
        exchange(below, elements.at(marker), elements.at(i));
    }
    exchange(elements.at(first), elements.at(marker));
    return {marker, all_equal};
}

/// The quicksort of all arrays. Which elements meet in `cmp`, and how equal ones end, is a part of its
/// promise.
template <class Addresses, class Exchange>
void quicksort(Addresses& elements, const Exchange& exchange, long first, long last, compare_function cmp)
{
    while (first < last) {
        const auto [marker, in_order] = partition(elements, exchange, first, last, cmp);
        if (in_order) return;
        if (marker - first >= last - marker) {
            quicksort(elements, exchange, marker + 1, last, cmp);
            last = marker - 1;
        } else {
            quicksort(elements, exchange, first, marker - 1, cmp);
            first = marker + 1;
        }
    }
}

/// `quicksort` for elements of `size` bytes.
template <class Addresses>
void sort_elements(Addresses& elements, std::size_t size, long first, long last, compare_function cmp)
{
    switch (size) {
    case 4: return quicksort(elements, exchange_of<4>(), first, last, cmp);
    case 8: return quicksort(elements, exchange_of<8>(), first, last, cmp);
    case 16: return quicksort(elements, exchange_of<16>(), first, last, cmp);
    case 32: return quicksort(elements, exchange_of<32>(), first, last, cmp);
    default: return quicksort(elements, exchange_any(size), first, last, cmp);
    }
}

/// How `key` compares with element `index`; one that has no address is above all keys.
template <class Addresses>
int compare_at(Addresses& elements, long index, const void* key, compare_function cmp)
{
    return elements.hold(index) ? cmp(key, elements.at(index)) : -1;
}

/// Where a search ended: at the first equal element, or at the last one it looked at.
struct search_end {
    long position;
    bool found;
};

/// Searches `count` elements in order for `key`, which `cmp` gets first.
template <class Addresses>
search_end search(Addresses& elements, long count, const void* key, compare_function cmp)
{
    long low = 0;
    long high = count - 1;
    long middle = 0;
    while (low <= high) {
        middle = low + (high - low) / 2;
        const int order = compare_at(elements, middle, key, cmp);
        if (order == 0) {
            while (middle > 0 && compare_at(elements, middle - 1, key, cmp) == 0) --middle;
            return {middle, true};
        }
        low = order > 0 ? middle + 1 : low;
        high = order > 0 ? high : middle - 1;
    }
    return {middle, false};
}

/// What a search does with a key besides looking for it.
enum class insertion : unsigned char { none, add, unique };

/// A thread's sorted insertion. It stands beside `a_bsearch` since that function has no argument for it.
struct sorted_insertion {
    insertion mode;
    bool inserted;
};
sorted_insertion& this_threads_insertion() noexcept;

/// Puts a sorted insertion in charge for as long as it lives, and then the one before.
class insertion_scope {
public:
    explicit insertion_scope(insertion mode) noexcept
        : state_(this_threads_insertion()), before_(std::exchange(state_, {mode, false}))
    {
    }
    ~insertion_scope() { state_ = before_; }
    insertion_scope(const insertion_scope&) = delete;
    insertion_scope& operator=(const insertion_scope&) = delete;

    bool inserted() const noexcept { return state_.inserted; }

private:
    sorted_insertion& state_;
    sorted_insertion before_;
};

/// Holds a search's mode while it runs, so that searches by its comparison find and do not insert.
class held_mode {
public:
    held_mode() noexcept
        : state_(this_threads_insertion()), mode_(std::exchange(state_.mode, insertion::none))
    {
    }
    ~held_mode() { state_.mode = mode_; }
    held_mode(const held_mode&) = delete;
    held_mode& operator=(const held_mode&) = delete;

    /// True if the key goes in after a search that `found` an equal one, or did not.
    bool inserts(bool found) const noexcept
    {
        return mode_ == insertion::add || (mode_ == insertion::unique && !found);
    }

private:
    sorted_insertion& state_;
    insertion mode_;
};

}  // namespace ketriope
