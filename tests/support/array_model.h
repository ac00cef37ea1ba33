// tests/support/array_model.h: what the arrays of 32-bit elements are meant to do, on a standard vector.
//
// A model knows how long its block is and what stands in it, also behind the count. An element that nobody
// has written is unknown, and takes part in no comparison of contents. `versus` makes the same calls to an
// array and to its model and tells the first difference, down to the order in which elements were compared.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "basutbarray.h"
#include "basutdarray.h"

namespace array_model {

using pairs = std::vector<std::pair<int, int>>;

/// The pairs that `compare` was called with.
inline pairs& compared()
{
    thread_local pairs list;
    return list;
}

/// Values in groups of four, whose members are equal and yet can be told apart.
inline int order_of(int a, int b)
{
    return (a >> 2) - (b >> 2);
}

inline int compare(const void* a, const void* b)
{
    const int x = *static_cast<const int*>(a);
    const int y = *static_cast<const int*>(b);
    compared().emplace_back(x, y);
    return order_of(x, y);
}

class model {
public:
    using slots = std::vector<std::optional<int>>;
    struct insertion {
        bool add = false;
        bool unique = false;
    };

    model(long step, bool zero) : step_(step), zero_(zero) {}
    model(const model&) = delete;
    model& operator=(const model&) = delete;
    virtual ~model() = default;

    virtual void reach(long index) = 0;
    virtual void reset(long n) = 0;
    virtual void shift(long index, int direction) = 0;
    /// How many elements `a_makearray` gives of a whole array.
    virtual long copied() const = 0;

    long count() const { return count_; }
    long capacity() const { return static_cast<long>(slots_.size()); }
    void set_step(long step) { step_ = step; }
    bool zero() const { return zero_; }
    void set_zero(bool zero) { zero_ = zero; }
    std::optional<int>& slot(long index) { return slots_.at(static_cast<std::size_t>(index)); }
    const pairs& compared_here() const { return pairs_; }
    void forget_pairs() { pairs_.clear(); }

    void sort(long first, long last)
    {
        if (count_ < 1) return;
        if (last == -1) last = count_ - 1;
        if (first >= last) return;
        reach(last);
        complete();
        quicksort(first, last);
        for (long i = first + 1; i <= last; ++i) compare_values(value(i - 1), value(i));
    }

    long search(int key, insertion mode, bool& inserted)
    {
        inserted = false;
        long low = 0;
        long high = count_ - 1;
        long middle = 0;
        bool found = false;
        while (low <= high && !found) {
            middle = (low + high) / 2;
            const int order = compare_values(key, value(middle));
            found = order == 0;
            if (order > 0) low = middle + 1;
            if (order < 0) high = middle - 1;
        }
        while (found && middle > 0 && compare_values(key, value(middle - 1)) == 0) --middle;
        if (!mode.add && !(mode.unique && !found)) return found ? middle : -1;
        inserted = true;
        if (middle < count_) {
            if (compare_values(key, value(middle)) > 0) ++middle;
            shift(middle, 1);
        }
        reach(middle);
        slot(middle) = key;
        return middle;
    }

protected:
    virtual void complete() {}

    std::optional<int> fresh() const { return zero_ ? std::optional(0) : std::nullopt; }
    int value(long index)
    {
        reach(index);
        return slot(index).value();
    }
    int compare_values(int a, int b)
    {
        pairs_.emplace_back(a, b);
        return order_of(a, b);
    }
    void quicksort(long first, long last)
    {
        if (first >= last) return;
        std::swap(slot((first + last) / 2), slot(first));
        long marker = first;
        bool all_equal = true;
        for (long i = first + 1; i <= last; ++i) {
            const int order = compare_values(value(i), value(first));
            if (order != 0) all_equal = false;
            if (order <= 0 && ++marker != i) std::swap(slot(i), slot(marker));
        }
        std::swap(slot(first), slot(marker));
        if (all_equal) return;
        const std::pair left(first, marker - 1);
        const std::pair right(marker + 1, last);
        const bool right_first = marker - first >= last - marker;
        quicksort(right_first ? right.first : left.first, right_first ? right.second : left.second);
        quicksort(right_first ? left.first : right.first, right_first ? left.second : right.second);
    }

    slots slots_;  ///< as many as the capacity
    long count_ = 0;
    long step_;
    bool zero_;

private:
    pairs pairs_;
};

/// `UT_DARRAY`.
class in_one_block : public model {
public:
    in_one_block(long step, bool zero) : model(step, zero)
    {
        slots_.assign(static_cast<std::size_t>(step), fresh());
    }

    void reach(long i) override
    {
        const long step = step_used();
        if (i >= capacity()) lengthen(std::max(i + step - i % step, 2 * capacity()));
        count_ = std::max(count_, i + 1);
    }
    void reset(long n) override
    {
        n = std::max(n, 0L);
        if (n > count_) return reach(n - 1);
        if (n == count_) return;
        long end = std::min(count_, capacity());
        count_ = n;
        if (capacity() != step_used() && capacity() - n >= step_used()) {
            const long x = n == 0 ? 0 : n - 1;
            slots_.resize(static_cast<std::size_t>(x - x % step_used() + step_used()));
            end = capacity();
        }
        for (long i = n; zero_ && i < end; ++i) slot(i) = 0;
    }
    void shift(long index, int direction) override
    {
        if (index < (direction > 0 ? 0 : 1) || index > count_) return;
        complete();
        if (direction > 0) {
            reach(count_);
            std::copy_backward(slots_.begin() + index, slots_.begin() + count_ - 1, slots_.begin() + count_);
        } else {
            std::copy(slots_.begin() + index, slots_.begin() + count_, slots_.begin() + index - 1);
            reset(count_ - 1);
        }
    }
    long copied() const override { return count_ < 1 ? 0 : capacity(); }
    void resize_buffer(long n)
    {
        const long before = count_;
        reset(n);
        count_ = before;
    }

protected:
    void complete() override
    {
        if (count_ > capacity()) reach(count_ - 1);
    }

private:
    long step_used() const { return std::max(step_, 1L); }
    void lengthen(long capacity) { slots_.resize(static_cast<std::size_t>(capacity), fresh()); }
};

/// `UT_BARRAY`.
class in_many_blocks : public model {
public:
    in_many_blocks(long per_block, bool zero) : model(per_block, zero), per_block_(per_block)
    {
        slots_.assign(static_cast<std::size_t>(per_block), fresh());
    }

    void reach(long i) override
    {
        while (i >= capacity()) slots_.insert(slots_.end(), static_cast<std::size_t>(per_block_), fresh());
        count_ = std::max(count_, i + 1);
    }
    void reset(long n) override
    {
        if (n > count_) reach(n - 1);
        count_ = std::max(n, 0L);
    }
    void shift(long index, int direction) override
    {
        if (direction > 0 && index >= 0 && index < count_) {
            reach(count_);
            for (long i = count_ - 1; i > index; --i) slot(i) = slot(i - 1);
        }
        if (direction <= 0 && index > 0 && index <= count_) {
            for (long i = index; i < count_; ++i) slot(i - 1) = slot(i);
            --count_;
        }
    }
    long copied() const override { return count_; }

private:
    long per_block_;
};

/// Where the calls come from: a number of 0 .. bound - 1 at a time.
using number_source = std::function<unsigned(unsigned bound)>;

/// The bytes of a fuzzer's input as such numbers; 0 when they are used up.
class bytes_of_input {
public:
    bytes_of_input(const std::uint8_t* data, std::size_t size) : rest_(data, data + size) {}

    unsigned next(unsigned bound)
    {
        if (at_end()) return 0;
        return rest_[at_++] % bound;
    }
    bool at_end() const { return at_ == rest_.size(); }

private:
    std::vector<std::uint8_t> rest_;
    std::size_t at_ = 0;
};

/// An array beside its model.
template <class Array, class Model>
class versus {
public:
    versus(Array& array, Model& model, number_source next)
        : array_(array), model_(model), next_(std::move(next))
    {
    }

    /// Makes one call to both. The result says how they differ after it; it is empty where they do not.
    std::string step()
    {
        compared().clear();
        model_.forget_pairs();
        call_.str("");
        if (model_.count() > k_most)
            reset(0);
        else
            any_call();
        return difference();
    }

private:
    static constexpr long k_most = 150;

    long near_count() { return static_cast<long>(next_(static_cast<unsigned>(model_.count()) + 3)) - 1; }
    int value() { return static_cast<int>(next_(200)); }

    void any_call()
    {
        switch (next_(16)) {
        case 0: return append(static_cast<int>(next_(4)));
        case 1: return reset(near_count());
        case 2: return shift(near_count(), 1);
        case 3: return shift(near_count(), next_(2) == 0 ? -1 : 0);
        case 4: return sort(0, -1);
        case 5: return sort_some();
        case 6:
        case 7: return search({true, false});
        case 8:
        case 9: return search({false, true});
        case 10: return search({});
        case 11: return index_of(near_count());
        case 12: return make_array();
        case 13: return set_zero(next_(2) == 0);
        case 14: return set_step(static_cast<int>(next_(10)) - 1);
        default: return resize_buffer(near_count());
        }
    }

    template <class... Words>
    void note(const Words&... words)
    {
        (call_ << ... << words);
    }
    void expect(bool holds, const char* what)
    {
        if (!holds && wrong_.empty()) wrong_ = what;
    }

    void store(long index, int number)
    {
        *static_cast<int*>(array_.getaddr(index)) = number;
        model_.reach(index);
        model_.slot(index) = number;
    }
    void append(int times)
    {
        note("append ", times + 1);
        for (int i = 0; i <= times; ++i) store(model_.count(), value());
    }
    void reset(long n)
    {
        note("a_resetnum ", n);
        array_.a_resetnum(n);
        model_.reset(n);
    }
    void shift(long index, int direction)
    {
        note("a_shift ", index, ' ', direction);
        array_.a_shift(index, direction);
        model_.shift(index, direction);
    }
    /// Gives every element a value that both know. One that a shorter block has lost is 0 if storage is
    /// cleared.
    void fill()
    {
        if (model_.count() > model_.capacity() && !model_.zero()) store(model_.count() - 1, value());
        const long there = std::min(model_.count(), model_.capacity());
        for (long i = 0; i < there; ++i) {
            if (!model_.slot(i)) store(i, value());
        }
    }
    void sort(long first, long last)
    {
        note("a_sort ", first, ' ', last);
        if (last >= model_.count()) store(last, value());
        fill();
        array_.a_sort(compare, first, last);
        model_.sort(first, last);
    }
    void sort_some()
    {
        const long first = near_count();
        sort(std::max(first, 0L), near_count());
    }
    void search(model::insertion mode)
    {
        fill();
        int key = value();
        const void* place = &key;
        if (model_.count() > 0 && next_(4) == 0) {
            const long own = static_cast<long>(next_(static_cast<unsigned>(model_.count())));
            place = array_.getaddr(own);
            model_.reach(own);
            key = model_.slot(own).value();
        }
        note(mode.add ? "a_sortadd " : mode.unique ? "a_sortuadd " : "a_bsearch ", key);
        bool inserted = false;
        unsigned char told = 2;
        const long expected = model_.search(key, mode, inserted);
        const long index = mode.add      ? array_.a_sortadd(place, compare)
                           : mode.unique ? array_.a_sortuadd(place, compare, &told)
                                         : array_.a_bsearch(place, compare);
        expect(index == expected, "index");
        if (mode.unique) expect(told == (inserted ? 1 : 0), "inserted");
    }
    void index_of(long index)
    {
        note("intgetindex ", index);
        if (index < 0 || index >= model_.count() || index >= model_.capacity()) return;
        expect(array_.intgetindex(array_.getaddr(index)) == index, "index of an address");
    }
    void make_array()
    {
        note("a_makearray");
        if (model_.count() > 0) model_.reach(model_.count() - 1);
        const long expected = model_.copied();
        const std::unique_ptr<void, void (*)(void*)> copy(array_.a_makearray(), std::free);
        expect((copy != nullptr) == (expected > 0), "a_makearray");
        for (long i = 0; i < expected; ++i) {
            const std::optional<int> known = model_.slot(i);
            if (known) expect(static_cast<const int*>(copy.get())[i] == *known, "element of a_makearray");
        }
    }
    void set_zero(bool zero)
    {
        note("setzeromem ", zero);
        array_.setzeromem(zero ? 1 : 0);
        model_.set_zero(zero);
    }
    void set_step(int step)
    {
        note("setallocationsize ", step);
        array_.setallocationsize(step);
        model_.set_step(step);
    }
    void resize_buffer(long n)
    {
        if constexpr (std::is_base_of_v<UT_DARRAY, Array>) {
            note("resizebuffer ", n);
            expect(array_.resizebuffer(n) == 1, "result of resizebuffer");
            model_.resize_buffer(n);
        }
    }

    std::string difference()
    {
        expect(array_.getnumelements() == model_.count(), "count");
        expect(array_.getelemsallocated() == model_.capacity(), "capacity");
        expect(compared() == model_.compared_here(), "what was compared");
        const long there = std::min(model_.count(), model_.capacity());
        for (long i = 0; wrong_.empty() && i < there; ++i) {
            const std::optional<int> known = model_.slot(i);
            if (known) expect(*static_cast<const int*>(array_.getaddr(i)) == *known, "element");
        }
        return wrong_.empty() ? "" : wrong_ + " after " + call_.str();
    }

    Array& array_;
    Model& model_;
    number_source next_;
    std::ostringstream call_;
    std::string wrong_;
};

}  // namespace array_model
