/// \file basutarrayorder.h
/// Sorting, searching and sorted insertion, for whatever way an array has to find its elements.
///
/// `Addresses` is that way: `hold(i)` makes sure that the elements up to i have an address, `at(i, size)` is
/// that of element i, of `size` bytes, and `expect(i, size)` says that it may be asked for soon. A comparison
/// is code of the caller and may do anything to the array, so after each call all is asked for again.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <type_traits>
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

/// Brings a place of memory near, if there is one at `address`.
inline void prefetch([[maybe_unused]] const void* address) noexcept
{
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
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

/// Elements of `Size` bytes, as the sort exchanges them.
template <std::size_t Size>
struct elements_of {
    static constexpr std::size_t size() noexcept { return Size; }

    /// Exchanges two elements if `wanted`, which may be one and the same. It reads and writes either way, so
    /// that there is nothing to guess for the processor.
    static void exchange(std::byte* a, std::byte* b, bool wanted = true) noexcept
    {
        using word = std::conditional_t<Size % 8 == 0, std::uint64_t, std::uint32_t>;
        using words = std::array<word, Size / sizeof(word)>;
        const word mask = word{0} - static_cast<word>(wanted);
        words x;
        words y;
        std::memcpy(&x, a, Size);
        std::memcpy(&y, b, Size);
        for (std::size_t w = 0; w < x.size(); ++w) {
            const word change = (x[w] ^ y[w]) & mask;
            x[w] ^= change;
            y[w] ^= change;
        }
        std::memcpy(a, &x, Size);
        std::memcpy(b, &y, Size);
    }
};

/// The same for a size that is known when it runs: word by word, then the bytes that are left.
class elements_of_any {
public:
    explicit elements_of_any(std::size_t size) noexcept : size_(size) {}

    std::size_t size() const noexcept { return size_; }

    void exchange(std::byte* a, std::byte* b, bool wanted = true) const noexcept
    {
        if (!wanted || a == b) return;
        const std::size_t in_words = size_ / 8 * 8;
        for (std::size_t at = 0; at < in_words; at += 8) elements_of<8>::exchange(a + at, b + at);
        std::swap_ranges(a + in_words, a + size_, b + in_words);
    }

private:
    std::size_t size_;
};

/// One partition of first .. last. The result is where the pivot came to lie, and whether the range is in
/// order: all keys were equal, or the array lost its elements.
template <class Addresses, class Elements>
std::pair<long, bool> partition(Addresses& array, const Elements& kind, long first, long last,
                                compare_function cmp)
{
    if (!array.hold(last)) return {first, true};
    const auto at = [&](long index) { return array.at(index, kind.size()); };
    kind.exchange(at(first + (last - first) / 2), at(first));
    long marker = first;
    bool all_equal = true;
    for (long i = first + 1; i <= last; ++i) {
        const int order = cmp(at(i), at(first));
        if (!array.hold(last)) return {first, true};
        all_equal &= order == 0;
        kind.exchange(at(marker + 1), at(i), order <= 0);
        marker += order <= 0 ? 1 : 0;
    }
    kind.exchange(at(first), at(marker));
    return {marker, all_equal};
}

/// The quicksort of all arrays. Which elements meet in `cmp`, and how equal ones end, is a part of its
/// promise.
template <class Addresses, class Elements>
void quicksort(Addresses& array, const Elements& kind, long first, long last, compare_function cmp)
{
    while (first < last) {
        const auto [marker, in_order] = partition(array, kind, first, last, cmp);
        if (in_order) return;
        if (marker - first >= last - marker) {
            quicksort(array, kind, marker + 1, last, cmp);
            last = marker - 1;
        } else {
            quicksort(array, kind, first, marker - 1, cmp);
            first = marker + 1;
        }
    }
}

/// `quicksort` for elements of `size` bytes.
template <class Addresses>
void sort_elements(Addresses& array, std::size_t size, long first, long last, compare_function cmp)
{
    switch (size) {
    case 4: return quicksort(array, elements_of<4>(), first, last, cmp);
    case 8: return quicksort(array, elements_of<8>(), first, last, cmp);
    case 16: return quicksort(array, elements_of<16>(), first, last, cmp);
    case 32: return quicksort(array, elements_of<32>(), first, last, cmp);
    default: return quicksort(array, elements_of_any(size), first, last, cmp);
    }
}

/// How `key` compares with element `index`; one that has no address is above all keys.
template <class Addresses>
int compare_at(Addresses& array, std::size_t size, long index, const void* key, compare_function cmp)
{
    return array.hold(index) ? cmp(key, array.at(index, size)) : -1;
}

/// Where a search ended: at the first equal element, or at the last one it looked at.
struct search_end {
    long position;
    bool found;
};

/// Searches `count` elements in order for `key`, which `cmp` gets first.
template <class Addresses>
search_end search(Addresses& array, std::size_t size, long count, const void* key, compare_function cmp)
{
    long low = 0;
    long high = count - 1;
    long middle = 0;
    while (low <= high) {
        middle = low + (high - low) / 2;
        const long eighth = (high - low) / 8;  // near these four is the look after the next one
        for (const long near : {low + eighth, middle - eighth, middle + eighth, high - eighth})
            array.expect(near, size);
        const int order = compare_at(array, size, middle, key, cmp);
        if (order == 0) {
            while (middle > 0 && compare_at(array, size, middle - 1, key, cmp) == 0) --middle;
            return {middle, true};
        }
        // By arithmetic, as no processor can guess which way the search goes.
        const long right = -static_cast<long>(order > 0);
        low += (middle + 1 - low) & right;
        high += (middle - 1 - high) & ~right;
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
