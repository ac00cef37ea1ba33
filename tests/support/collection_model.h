// tests/support/collection_model.h: what each collection of pointers does, in vectors, and runs of
// operations that compare a collection with its model. The random tests and the fuzz target share it.
//
// The hash table's model is the rule as it is told: a new bucket is current at once, and the way down goes
// from the newest position to the oldest.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utarray.h"
#include "utcollection.h"
#include "uthashtable.h"
#include "utlist.h"

namespace collection_model {

/// The element of a number; that of 0 is null. Elements are never followed.
inline void* element(std::uintptr_t number)
{
    return reinterpret_cast<void*>(number);
}
inline std::uintptr_t number_of(const void* element)
{
    return reinterpret_cast<std::uintptr_t>(element);
}

/// The fields of a collection, as the programs that were compiled against them see them.
struct collection_fields {
    void* slots;
    std::int32_t size;
    utCollection::delete_function del;
    utCollection::hash_function hash;
    utCollection::compare_function compare;
};
struct array_fields : collection_fields {
    std::int32_t capacity;
    void** buffer;
    const utArray* next;
};
struct list_fields : collection_fields {
    const Element* head;
    const Element* tail;
};
struct table_fields : collection_fields {
    std::int32_t initial_size;
    array_fields buckets;
};
struct linked_table_fields : table_fields {
    list_fields order;
};
template <class Fields, class Collection>
Fields fields_of(const Collection& collection)
{
    static_assert(sizeof(Fields) == sizeof(Collection));
    Fields fields{};
    std::memcpy(static_cast<void*>(&fields), static_cast<const void*>(&collection), sizeof fields);
    return fields;
}

/// The functions of a collection; null stands for what it does without.
struct functions {
    utCollection::hash_function hash = nullptr;
    utCollection::compare_function compare = nullptr;

    void set(utCollection& collection) const
    {
        collection.setHashFun(hash);
        collection.setCompFun(compare);
    }
    unsigned hash_of(void* some) const
    {
        return hash != nullptr ? hash(some) : static_cast<unsigned>(number_of(some) % 0x10000000);
    }
    int order(void* a, void* b) const
    {
        if (compare != nullptr) return compare(a, b);
        return number_of(a) < number_of(b) ? -1 : number_of(a) == number_of(b) ? 0 : 1;
    }
    bool equal(void* a, void* b) const { return order(a, b) == 0; }
};

/// Four neighbours are equal, though they are different pointers.
inline int compare_fours(void* a, void* b)
{
    const std::uintptr_t left = number_of(a) / 4, right = number_of(b) / 4;
    return left < right ? -7 : left == right ? 0 : 7;
}
inline unsigned hash_fours(void* some)
{
    return static_cast<unsigned>(number_of(some) / 4) * 2654435761U;
}
inline int compare_backwards(void* a, void* b)
{
    return number_of(a) > number_of(b) ? -1 : number_of(a) == number_of(b) ? 0 : 1;
}
inline unsigned hash_of_few(void* some)
{
    return static_cast<unsigned>(number_of(some) % 5) * 0x10101010U;
}

/// Pairs that fit each other.
inline const std::vector<functions>& all_functions()
{
    static const std::vector<functions> all = {{nullptr, nullptr},
                                               {hash_fours, compare_fours},
                                               {nullptr, compare_backwards},
                                               {hash_of_few, nullptr}};
    return all;
}

/// A copy of a collection, which shares its storage: only one of the two may be destroyed, and it is not
/// this one.
template <class Collection>
class shared_copy {
public:
    explicit shared_copy(const Collection& source) : copy_(new (memory_) Collection(source)) {}
    shared_copy(const shared_copy&) = delete;
    shared_copy& operator=(const shared_copy&) = delete;
    Collection* operator->() const { return copy_; }

private:
    alignas(Collection) std::byte memory_[sizeof(Collection)];
    Collection* copy_;
};

/// What all models have: the interface of the collections.
class model {
public:
    explicit model(functions with) : with_(with) {}
    virtual ~model() = default;

    virtual void insert(void* data) = 0;
    virtual void* remove(void* data) = 0;
    virtual void* remove() = 0;
    virtual void* find(void* data) const = 0;
    virtual void* replace(void* data, std::size_t index) = 0;
    virtual std::vector<void*> all() const = 0;
    virtual std::size_t size() const = 0;
    virtual bool has_order() const { return true; }

protected:
    functions with_;
};

/// A model in one vector.
class sequence_model : public model {
public:
    using model::model;

    void* find(void* data) const override
    {
        const auto found = place_of(data);
        return found == items_.end() ? nullptr : *found;
    }
    void* remove(void* data) override
    {
        const auto found = place_of(data);
        if (found == items_.end()) return nullptr;
        void* const removed = *found;
        items_.erase(found);
        return removed;
    }
    void* remove() override
    {
        if (items_.empty()) return nullptr;
        void* const removed = items_.front();
        items_.erase(items_.begin());
        return removed;
    }
    void* replace(void* data, std::size_t index) override
    {
        return index < items_.size() ? std::exchange(items_[index], data) : nullptr;
    }
    std::vector<void*> all() const override { return items_; }
    std::size_t size() const override { return items_.size(); }

protected:
    std::vector<void*>::const_iterator place_of(void* data) const
    {
        return std::find_if(items_.begin(), items_.end(),
                            [&](void* item) { return with_.equal(item, data); });
    }

    std::vector<void*> items_;
};

class array_model : public sequence_model {
public:
    array_model(functions with, std::size_t capacity) : sequence_model(with), first_segment_(capacity) {}

    void insert(void* data) override { items_.push_back(data); }
    void* remove(void* data) override
    {
        sequence_model::remove(data);
        return data;
    }
    void* remove() override
    {
        if (items_.empty()) return nullptr;
        void* const removed = items_.back();
        items_.pop_back();
        return removed;
    }
    void* find(void* data) const override
    {
        const auto found = static_cast<std::size_t>(place_of(data) - items_.begin());
        if (found == items_.size()) return nullptr;
        if (found < first_segment_) return items_[0];
        return items_[found - (found - first_segment_) % 16];
    }
    void resize(std::size_t capacity)
    {
        first_segment_ = capacity;
        if (items_.size() > capacity) items_.resize(capacity);
    }

private:
    std::size_t first_segment_;
};

class ordered_model : public sequence_model {
public:
    using sequence_model::sequence_model;
    void insert(void* data) override
    {
        std::size_t i = 0;
        while (i < items_.size() && with_.order(items_[i], data) < 0) ++i;
        if (i == items_.size() || !with_.equal(items_[i], data))
            items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(i), data);
    }
    /// It would leave the list without an order, about which nothing is promised.
    void* replace(void*, std::size_t) override { return nullptr; }
};

class queue_model : public sequence_model {
public:
    using sequence_model::sequence_model;
    void insert(void* data) override { items_.push_back(data); }
};

class stack_model : public sequence_model {
public:
    using sequence_model::sequence_model;
    void insert(void* data) override { items_.insert(items_.begin(), data); }
};

class table_model : public model {
public:
    explicit table_model(functions with, std::size_t buckets = 16)
        : model(with), buckets_(buckets), first_size_(buckets)
    {
    }

    void insert(void* data) override
    {
        if (look_up(data).where != nullptr) return;
        const std::size_t position = with_.hash_of(data) % buckets_.size();
        if (buckets_[position] && !current(position)) rehash(position);
        bucket& target = made(position);
        target.elements.push_back(data);
        ++size_;
        if (size_ > 7 * buckets_.size() && target.elements.size() > 7) buckets_.resize(2 * buckets_.size());
        const std::size_t top = with_.hash_of(data) % buckets_.size();
        if (buckets_[top] && !current(top))
            rehash(top);
        else
            rehash_below(top);
    }
    void* remove(void* data) override
    {
        const hit found = look_up(data);
        if (found.where == nullptr) return nullptr;
        return erase(*found.where, found.index);
    }
    void* remove() override
    {
        for (auto& here : buckets_)
            if (here && !here->elements.empty()) return erase(*here, 0);
        return nullptr;
    }
    void* find(void* data) const override
    {
        const hit found = look_up(data);
        return found.where == nullptr ? nullptr : found.where->elements[found.index];
    }
    void* replace(void* data, std::size_t index) override
    {
        if (index >= size_) return nullptr;
        void* const old = table_model::all()[index];
        return exchange(old, data) ? old : nullptr;
    }
    std::vector<void*> all() const override
    {
        std::vector<void*> elements;
        for (const auto& here : buckets_)
            if (here) elements.insert(elements.end(), here->elements.begin(), here->elements.end());
        return elements;
    }
    std::size_t size() const override { return size_; }
    bool has_order() const override { return false; }
    std::size_t buckets() const { return buckets_.size(); }

protected:
    bool exchange(void* old, void* data)
    {
        const hit equal = look_up(data);
        if (equal.where == nullptr) {
            table_model::insert(data);
            table_model::remove(old);
            return true;
        }
        void*& there = equal.where->elements[equal.index];
        if (there != old) return false;
        there = data;
        return true;
    }

private:
    struct bucket {
        std::size_t size;  ///< of the table at the last rehash
        std::vector<void*> elements;
    };
    struct hit {
        bucket* where = nullptr;
        std::size_t index = 0;
    };

    bool current(std::size_t position) const { return buckets_[position]->size == buckets_.size(); }
    bucket& made(std::size_t position)
    {
        if (!buckets_[position]) buckets_[position] = bucket{buckets_.size(), {}};
        return *buckets_[position];
    }
    /// The next older position, by halving.
    std::size_t older(std::size_t position) const
    {
        std::size_t step = buckets_.size();
        while (step > position) step /= 2;
        return position - step;
    }
    /// Walks to the oldest position, whatever is current on the way.
    hit look_up(void* data) const
    {
        std::size_t position = with_.hash_of(data) % buckets_.size();
        for (;; position = older(position)) {
            if (const auto& here = buckets_[position]) {
                for (std::size_t i = 0; i < here->elements.size(); ++i)
                    if (with_.equal(here->elements[i], data)) return {const_cast<bucket*>(&*here), i};
            }
            if (position < first_size_) return {};
        }
    }
    void rehash(std::size_t position)
    {
        std::vector<void*> moved;
        moved.swap(buckets_[position]->elements);
        buckets_[position]->size = buckets_.size();
        for (void* data : moved) made(with_.hash_of(data) % buckets_.size()).elements.push_back(data);
        rehash_below(position);
    }
    void rehash_below(std::size_t position)
    {
        while (position >= first_size_) {
            position = older(position);
            if (!buckets_[position]) continue;
            if (!current(position)) rehash(position);
            return;
        }
    }
    void* erase(bucket& from, std::size_t index)
    {
        void* const removed = from.elements[index];
        from.elements.erase(from.elements.begin() + static_cast<std::ptrdiff_t>(index));
        --size_;
        return removed;
    }

    std::vector<std::optional<bucket>> buckets_;
    std::size_t first_size_;
    std::size_t size_ = 0;
};

class linked_table_model : public table_model {
public:
    using table_model::table_model;

    void insert(void* data) override
    {
        const std::size_t before = size();
        table_model::insert(data);
        if (size() != before) order_.push_back(data);
    }
    void* remove(void* data) override
    {
        const std::size_t before = size();
        void* const removed = table_model::remove(data);
        if (size() != before) order_.erase(std::find(order_.begin(), order_.end(), removed));
        return removed;
    }
    void* remove() override
    {
        if (order_.empty()) return nullptr;
        void* const oldest = order_.front();
        order_.erase(order_.begin());
        return table_model::remove(oldest);
    }
    void* replace(void* data, std::size_t index) override
    {
        if (index >= order_.size() || !exchange(order_[index], data)) return nullptr;
        return std::exchange(order_[index], data);
    }
    std::vector<void*> all() const override { return order_; }

private:
    std::vector<void*> order_;
};

/// The elements in the order of a walk.
inline std::vector<void*> walked(utCollection& collection)
{
    std::vector<void*> elements;
    utGenerator all(collection);
    for (int left = collection.Size(); left > 0; --left) elements.push_back(all.next());
    if (all.next() != nullptr) elements.push_back(nullptr);  // behind the last there is nothing
    return elements;
}

/// Choices of a fixed seed, as many as are asked for.
class random_choices {
public:
    explicit random_choices(unsigned seed, int operations) : random_(seed), left_(operations) {}
    bool next_operation() { return left_-- > 0; }
    unsigned below(unsigned bound) { return static_cast<unsigned>(random_()) % bound; }

private:
    std::mt19937 random_;
    int left_;
};

/// Choices of a fuzzer, until its bytes are used up.
class byte_choices {
public:
    explicit byte_choices(std::basic_string_view<std::uint8_t> bytes) : bytes_(bytes) {}
    bool next_operation() const { return !bytes_.empty(); }
    unsigned below(unsigned bound)
    {
        unsigned chosen = 0;
        for (unsigned reach = 1; reach < bound && !bytes_.empty(); reach *= 256) {
            chosen = chosen * 256 + bytes_.front();
            bytes_.remove_prefix(1);
        }
        return chosen % bound;
    }

private:
    std::basic_string_view<std::uint8_t> bytes_;
};

/// One run: the same operations on a collection and on its model.
template <class Choices>
class run {
public:
    /// Numbers of elements are below `numbers`; every `pace` operations all elements are compared.
    run(utCollection& tested, model& expected, Choices& choices, unsigned numbers, int pace)
        : tested_(tested), expected_(expected), choices_(choices), numbers_(numbers), pace_(pace)
    {
    }

    /// The first operation in which the two differ, or "" if there is none.
    std::string disagreement()
    {
        for (int count = 1; choices_.next_operation(); ++count) {
            const std::string operation = one_operation();
            if (!agree_) return operation + " as operation " + std::to_string(count);
            if (count % pace_ == 0 && !all_agree())
                return "the walk behind operation " + std::to_string(count);
        }
        return all_agree() ? "" : "the walk at the end";
    }

    /// A further operation, of a kind that not all collections have.
    void also(void (*operation)(utCollection&, model&, Choices&)) { special_ = operation; }

private:
    /// In turns of a few thousand operations the collection grows and shrinks.
    std::string one_operation()
    {
        const bool growing = turn_++ / 4096 % 2 == 0;
        switch (const unsigned kind = choices_.below(32); kind) {
        case 0: return replace();
        case 1: return find_by_index();
        case 2: return remove_run(1);
        case 3: return ends();
        case 4:
            return choices_.below(64) == 0 ? clear()
                   : growing               ? insert_run()
                                           : remove_run(choices_.below(64));
        case 5: return special();
        case 6:
        case 7:
        case 8:
        case 9:
        case 10:
        case 11: return find();
        default: return (kind % 4 != 0) == growing ? insert(number()) : remove();
        }
    }
    unsigned number() { return choices_.below(numbers_); }
    std::size_t index() { return choices_.below(static_cast<unsigned>(expected_.size()) + 2); }
    template <class T>
    void agree(T tested, T expected)
    {
        agree_ = agree_ && tested == expected;
    }

    std::string insert(unsigned number)
    {
        expected_.insert(element(number));
        const int size = tested_.insert(element(number));
        agree(size, tested_.Size());
        return "insert";
    }
    std::string insert_run()
    {
        const unsigned first = number(), length = choices_.below(64), step = 1 + choices_.below(16);
        for (unsigned i = 0; i < length; ++i) insert((first + i * step) % numbers_);
        return "insert of a run";
    }
    std::string remove_run(unsigned length)
    {
        for (unsigned i = 0; i < length; ++i) agree(tested_.remove(), expected_.remove());
        return "remove()";
    }
    std::string remove()
    {
        void* const data = element(number());
        agree(tested_.remove(data), expected_.remove(data));
        return "remove(data)";
    }
    std::string find()
    {
        void* const data = element(number());
        agree(tested_.find(data), expected_.find(data));
        agree(tested_.contains(data), expected_.find(data) != nullptr);
        return "find(data)";
    }
    std::string find_by_index()
    {
        const std::vector<void*> all = expected_.all();
        const std::size_t at = index();
        agree(tested_.find(static_cast<int>(at)), at < all.size() ? all[at] : nullptr);
        return "find(index)";
    }
    std::string replace()
    {
        void* const data = element(number());
        const std::size_t at = index();
        if (dynamic_cast<ordered_model*>(&expected_) == nullptr)
            agree(tested_.replace(data, static_cast<int>(at)), expected_.replace(data, at));
        return "replace";
    }
    std::string ends()
    {
        if (!expected_.has_order()) return "";
        const std::vector<void*> all = expected_.all();
        agree(tested_.first(), all.empty() ? nullptr : all.front());
        agree(tested_.last(), all.empty() ? nullptr : all.back());
        return "first or last";
    }
    std::string clear()
    {
        tested_.clear();
        while (expected_.size() > 0) expected_.remove();
        agree(tested_.Size(), 0);
        return "clear";
    }
    std::string special()
    {
        if (special_ != nullptr) special_(tested_, expected_, choices_);
        return "a special operation";
    }
    bool all_agree()
    {
        const std::vector<void*> all = expected_.all();
        return tested_.Size() == static_cast<int>(all.size()) && walked(tested_) == all;
    }

    utCollection& tested_;
    model& expected_;
    Choices& choices_;
    unsigned numbers_;
    int pace_;
    int turn_ = 0;
    bool agree_ = true;
    void (*special_)(utCollection&, model&, Choices&) = nullptr;
};

template <class Choices>
std::string disagreement(utCollection& tested, model& expected, Choices& choices, unsigned numbers, int pace)
{
    return run<Choices>(tested, expected, choices, numbers, pace).disagreement();
}

/// The same for an array, which may be resized on the way.
template <class Choices>
std::string array_disagreement(utArray& tested, array_model& expected, Choices& choices, unsigned numbers,
                               int pace)
{
    run<Choices> both(tested, expected, choices, numbers, pace);
    both.also([](utCollection& array, model& other, Choices& more) {
        const unsigned capacity = more.below(512);
        static_cast<utArray&>(array).resize(static_cast<int>(capacity), element(99));
        static_cast<array_model&>(other).resize(capacity);
    });
    return both.disagreement();
}

}  // namespace collection_model
