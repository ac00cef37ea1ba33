// basutptrfil.cpp
#include "basutptrfil.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "basutfile.h"
#include "contract.h"

namespace {

constexpr ketriope::site k_site{.module = "basutptrfil"};
constexpr std::uint32_t k_buckets = 16'384;
constexpr std::uint32_t k_last_walked = 65'534;  ///< a walk is under way up to this bucket
constexpr std::uint32_t k_walk_over = 65'535;
constexpr std::uint32_t k_never_walked = 0xffff'ffff;
constexpr std::size_t k_buffer = 4096;

/// Which bucket an address belongs to: so the order of a walk is the same on every host.
std::uint32_t bucket_of(const void* old_address)
{
    const auto low = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(old_address));
    return ((low >> 26) + (low >> 18) + (low >> 10) + (low >> 2)) % k_buckets;
}

// A place is some T* of the caller's, so it is read and set as bytes.

void* value_of(const void* place)
{
    void* value = nullptr;
    std::memcpy(&value, place, sizeof value);
    return value;
}

void set_place(void* place, void* value)
{
    std::memcpy(place, &value, sizeof value);
}

/// Where the record of an address is: chains grow long, and walking one touches memory all over.
class address_index {
public:
    /// The record of an address, to be set if it is null. Good until the next call.
    UT_PTRFIXREC*& operator[](const void* address)
    {
        if (used_ >= slots_.size() / 2) grow();
        slot& found = slot_of(address);
        if (found.record == nullptr) {
            found.address = address;
            ++used_;
        }
        return found.record;
    }
    void clear()
    {
        slots_.clear();
        used_ = 0;
    }

private:
    struct slot {
        const void* address = nullptr;
        UT_PTRFIXREC* record = nullptr;  ///< null: the slot is free
    };
    static constexpr std::size_t k_fewest_slots = 64;

    /// The slot of an address, or the free one where it goes.
    slot& slot_of(const void* address)
    {
        constexpr std::uint64_t k_golden_ratio = 0x9e37'79b9'7f4a'7c15;
        const std::size_t mask = slots_.size() - 1;
        auto at =
            static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(address) * k_golden_ratio >> shift_);
        while (slots_[at].record != nullptr && slots_[at].address != address) at = (at + 1) & mask;
        return slots_[at];
    }

    void grow()
    {
        const std::vector<slot> before =
            std::exchange(slots_, std::vector<slot>(std::max(2 * slots_.size(), k_fewest_slots)));
        shift_ = 64 - std::countr_zero(slots_.size());
        for (const slot& each : before)
            if (each.record != nullptr) slot_of(each.address) = each;
    }

    std::vector<slot> slots_;  ///< a power of two of them, or none
    std::size_t used_ = 0;
    int shift_ = 0;
};

}  // namespace

/// The buckets give the order of a walk, the index finds a record.
struct ketriope::fixup_records {
    std::array<UT_PTRFIXREC*, k_buckets> buckets{};
    std::deque<UT_PTRFIXREC> records;
    address_index by_address;

    fixup_records() = default;
    fixup_records(const fixup_records&) = delete;
    fixup_records& operator=(const fixup_records&) = delete;
    ~fixup_records() { clear(); }

    void clear()
    {
        for (const UT_PTRFIXREC& record : records) delete record.places;
        records.clear();
        by_address.clear();
        buckets.fill(nullptr);
    }
};

// ---- the table

UT_PTRFIXTABLE::UT_PTRFIXTABLE() : records_(new ketriope::fixup_records), walk_bucket_(k_never_walked) {}

UT_PTRFIXTABLE::~UT_PTRFIXTABLE()
{
    delete records_;
}

/// The record of an address; a missing one is made, at the front of its bucket.
UT_PTRFIXREC& UT_PTRFIXTABLE::record_of(void* old_address)
{
    UT_PTRFIXREC*& record = records_->by_address[old_address];
    if (record == nullptr) {
        UT_PTRFIXREC*& front = records_->buckets[bucket_of(old_address)];
        front = &records_->records.emplace_back(UT_PTRFIXREC{front, old_address, nullptr, nullptr});
        record = front;
    }
    return *record;
}

void UT_PTRFIXTABLE::registerptr(void* old_address, void* new_address)
{
    UT_PTRFIXREC& record = record_of(old_address);
    if (record.new_address == new_address) return;
    if (record.new_address != nullptr) {
        ketriope::contract_failed(k_site, "Pointer already registered.");
        return;
    }
    record.new_address = new_address;
    if (record.places == nullptr) return;
    for (void** const place : *record.places) set_place(place, new_address);
    delete std::exchange(record.places, nullptr);
}

void UT_PTRFIXTABLE::fixptr(void** place)
{
    void* const old_address = place != nullptr ? value_of(place) : nullptr;
    if (old_address == nullptr) return;
    UT_PTRFIXREC& record = record_of(old_address);
    if (record.new_address != nullptr) {
        set_place(place, record.new_address);
        return;
    }
    if (record.places == nullptr) record.places = new DARRAY_UT_PTRPTR(1);
    record.places->append(place);
}

void** UT_PTRFIXTABLE::checkptrs()
{
    if (walk_bucket_ > k_last_walked) start_walk();
    for (;;) {
        for (; walk_record_ != nullptr; walk_record_ = walk_record_->next, walk_place_ = 0) {
            // Asked for anew each time: registerptr may have ended the array since the last call.
            const DARRAY_UT_PTRPTR* const places = walk_record_->places;
            if (places != nullptr && walk_place_ < places->size()) return (*places)[walk_place_++];
        }
        if (++walk_bucket_ >= k_buckets) break;
        walk_record_ = records_->buckets[walk_bucket_];
    }
    walk_bucket_ = k_walk_over;
    return nullptr;
}

void UT_PTRFIXTABLE::start_walk()
{
    walk_bucket_ = 0;
    walk_record_ = records_->buckets.front();
    walk_place_ = 0;
}

void UT_PTRFIXTABLE::flush_fixtable()
{
    records_->clear();
    walk_bucket_ = k_never_walked;
    walk_record_ = nullptr;
    walk_place_ = 0;
}

// ---- the file

UT_PTRFILE::UT_PTRFILE(UT_ACCESS access) : UT_STREAM(access, k_buffer, &ut_file) {}

UT_PTRFILE::~UT_PTRFILE() noexcept(false) = default;
