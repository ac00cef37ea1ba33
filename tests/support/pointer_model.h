// tests/support/pointer_model.h: the fix-up table as two maps and a list say it, beside the real one.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "basutptrfil.h"

/// The bucket that an old address is in.
inline std::uint32_t model_bucket(std::uintptr_t address)
{
    const auto low = static_cast<std::uint32_t>(address);
    return ((low >> 26) + (low >> 18) + (low >> 10) + (low >> 2)) & 16383;
}

/// Few addresses, of which some share a bucket, and objects and places for them.
struct pointer_model {
    static constexpr std::size_t k_addresses = 96;
    static constexpr std::size_t k_places = 400;

    struct record {
        void* now = nullptr;
        std::vector<std::size_t> waiting;  ///< numbers of places
    };

    static void* address(std::size_t number)
    {
        // Those that differ in the high half alone share a bucket; of the low half all bits take part.
        const std::uintptr_t high = number % 4, low = number / 4 + 1;
        return reinterpret_cast<void*>((high << 40) + (low * 0x9e37'79b1 & 0xffff'fffc));
    }
    void* object(std::size_t number) { return &objects[number]; }
    /// The record of an address, which is made if need be.
    record& of(void* old)
    {
        if (records.find(old) == records.end()) age.push_back(old);
        return records[old];
    }
    /// All that wait, in the order of a walk.
    std::vector<void**> walk()
    {
        std::vector<void*> order(age.rbegin(), age.rend());  // the youngest first
        std::ranges::stable_sort(
            order, {}, [](void* old) { return model_bucket(reinterpret_cast<std::uintptr_t>(old)); });
        std::vector<void**> result;
        for (void* old : order)
            for (const std::size_t place : records[old].waiting) result.push_back(&places[place]);
        return result;
    }

    std::map<void*, record> records;
    std::vector<void*> age;
    std::array<char, k_addresses> objects{};
    std::array<void*, k_places> places{};    ///< what the real table is given
    std::array<void*, k_places> expected{};  ///< what they should hold
    std::array<bool, k_places> in_use{};
};

/// One operation on both, chosen by `next(n)`, which gives a number below n. False if they differ.
template <class Next>
bool pointer_step(UT_PTRFIXTABLE& table, pointer_model& model, Next next)
{
    const std::size_t operation = next(64);
    const std::size_t number = next(pointer_model::k_addresses);
    void* const old = pointer_model::address(number);
    if (operation == 0) {
        table.flush_fixtable();
        model.records.clear();
        model.age.clear();
        model.in_use.fill(false);
    } else if (operation < 3) {
        std::vector<void**> shown;
        while (void** const place = table.checkptrs()) shown.push_back(place);
        if (shown != model.walk()) return false;
    } else if (operation < 8) {
        void* const now = operation == 3 ? nullptr : model.object(number);
        pointer_model::record& record = model.of(old);
        if (now == nullptr && record.now != nullptr) return true;  // that would break the contract
        table.registerptr(old, now);
        if (now != nullptr) {
            record.now = now;
            for (const std::size_t place : record.waiting) {
                model.expected[place] = now;
                model.in_use[place] = false;
            }
            record.waiting.clear();
        }
    } else {
        const std::size_t place = next(pointer_model::k_places);
        if (model.in_use[place]) return true;  // it waits already
        pointer_model::record& record = model.of(old);
        model.places[place] = old;
        model.expected[place] = record.now != nullptr ? record.now : old;
        if (record.now == nullptr) {
            record.waiting.push_back(place);
            model.in_use[place] = true;
        }
        table.fixptr(&model.places[place]);
    }
    return model.places == model.expected;
}
