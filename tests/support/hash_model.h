// tests/support/hash_model.h: a hash table of the library, driven beside chains of standard containers.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "basuthash.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_LOOKS_FOR_LEAKS 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define TEST_LOOKS_FOR_LEAKS 1
#endif
#if defined(TEST_LOOKS_FOR_LEAKS)
#include <sanitizer/lsan_interface.h>
#endif

namespace hash_model {

/// What is allocated while one lives may leak: a flush does not free the entries.
class leaks_allowed {
public:
#if defined(TEST_LOOKS_FOR_LEAKS)
    leaks_allowed()
    {
        __lsan_disable();
    }
    ~leaks_allowed()
    {
        __lsan_enable();
    }
#else
    leaks_allowed() {}
#endif
    leaks_allowed(const leaks_allowed&) = delete;
    leaks_allowed& operator=(const leaks_allowed&) = delete;
};

/// Key and data alike: the data must tell their key.
struct item {
    std::uint32_t number;
};

/// A table of items, which keeps account of what it releases.
class open_table : public UT_HASH {
public:
    using UT_HASH::flush;
    using UT_HASH::UT_HASH;

    /// Spreads badly, so that chains grow, and needs all 32 bits.
    static std::uint32_t hash_of(std::uint32_t number) { return 0xFFFFFFFF - number % 11 * 0x10000001; }

    std::uint32_t hash_func(const void* key) override
    {
        return hash_of(static_cast<const item*>(key)->number);
    }
    int comp_func(const void* key, void* data) override
    {
        ++comparisons;
        return static_cast<const item*>(key)->number == static_cast<item*>(data)->number ? 0 : -1;
    }
    void del_func(void* data) override { released.push_back(data); }

    int comparisons = 0;
    std::vector<void*> released;
};

enum class operation : unsigned char { add, s_add, add_key, find, remove, s_remove, process, flush };
constexpr unsigned k_operations = static_cast<unsigned>(operation::flush) + 1;

/// A table of the library and its model, which take the same steps.
class pair {
public:
    pair(std::uint32_t buckets, bool owner, std::uint32_t keys)
        : table_(buckets, static_cast<unsigned char>(owner)), owner_(owner), buckets_(buckets)
    {
        for (std::uint32_t number = 0; number < keys; ++number) keys_.push_back({number});
        data_ = keys_;
    }

    /// Takes a step with one of the keys. Null when both agree, else what they disagree about.
    const char* step(operation what, std::uint32_t key)
    {
        table_.comparisons = 0;
        const char* const wrong = result_of(what, key);
        if (wrong != nullptr) return wrong;
        if (table_.get_count() != count_) return "the count";
        return table_.get_unused() == buckets_.size() ? nullptr : "the buckets";
    }

private:
    using chain = std::deque<item*>;

    const char* result_of(operation what, std::uint32_t number)
    {
        const item* const key = &keys_[number];
        item* const data = &data_[number];
        const leaks_allowed entries;
        switch (what) {
        case operation::add: table_.add(key, data); return added(number, data);
        case operation::s_add: return table_.s_add(key, data) ? added(number, data) : "the result of s_add";
        case operation::add_key: table_.add(key, nullptr); return added(number, const_cast<item*>(key));
        case operation::find: return found(number, table_.find(key));
        case operation::remove: return removed(number, table_.remove(key));
        case operation::s_remove: return removed(number, table_.s_remove(key));
        case operation::process: return processed();
        case operation::flush: return flushed();
        }
        return "the operation";
    }

    chain& chain_of(std::uint32_t number) { return buckets_[open_table::hash_of(number) % buckets_.size()]; }
    static chain::iterator place_in(chain& here, std::uint32_t number)
    {
        return std::find_if(here.begin(), here.end(),
                            [&](const item* data) { return data->number == number; });
    }
    /// The comparisons of a search that ends at `place`.
    static int met(chain& here, chain::iterator place)
    {
        return static_cast<int>(place - here.begin()) + (place != here.end() ? 1 : 0);
    }

    const char* added(std::uint32_t number, item* data)
    {
        chain_of(number).push_front(data);
        ++count_;
        return table_.comparisons == 0 ? nullptr : "the comparisons of an addition";
    }
    const char* found(std::uint32_t number, void* result)
    {
        chain& here = chain_of(number);
        const auto place = place_in(here, number);
        if (table_.comparisons != met(here, place)) return "the comparisons of a search";
        if (result != (place != here.end() ? *place : nullptr)) return "find";
        return table_.s_find(&keys_[number]) == result ? nullptr : "s_find";
    }
    const char* removed(std::uint32_t number, void* result)
    {
        chain& here = chain_of(number);
        const auto place = place_in(here, number);
        if (table_.comparisons != met(here, place)) return "the comparisons of a removal";
        if (result != (place != here.end() ? *place : nullptr)) return "the data of a removal";
        if (place == here.end()) return nullptr;
        here.erase(place);
        --count_;
        return nullptr;
    }

    std::vector<void*> in_order() const
    {
        std::vector<void*> all;
        for (const chain& here : buckets_) all.insert(all.end(), here.begin(), here.end());
        return all;
    }
    const char* processed()
    {
        static std::vector<void*> seen;
        seen.clear();
        table_.process([](void* data) { seen.push_back(data); });
        return seen == in_order() ? nullptr : "the order of process";
    }
    const char* flushed()
    {
        table_.released.clear();
        table_.flush();
        if (table_.released != (owner_ ? in_order() : std::vector<void*>())) return "what a flush releases";
        if (owner_)
            for (chain& here : buckets_) here.clear();
        return nullptr;
    }

    open_table table_;
    bool owner_;
    std::vector<chain> buckets_;
    std::vector<item> keys_;
    std::vector<item> data_;
    std::uint32_t count_ = 0;  ///< goes on as if nothing were flushed
};

}  // namespace hash_model
