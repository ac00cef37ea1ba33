// basutblist.cpp: both forms of the bag are one piece of work; they differ in the widths of their counters.
#include "basutblist.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include "contract.h"
#include "msgdatabase.h"

struct UT_BLIST_BLINK {
    UT_BLIST_BLINK* next;
    // the slots follow
};
static_assert(sizeof(UT_BLIST_BLINK) == sizeof(void*));

constinit std::uint32_t UT_BLIST::total_count = 0;
constinit std::uint32_t UT_BLIST::total_mem = 0;
constinit UT_FASTMEM* UT_BLIST::mem = nullptr;
constinit std::uint32_t UT_BLISTS::total_count = 0;
constinit std::uint32_t UT_BLISTS::total_mem = 0;
constinit UT_FASTMEM* UT_BLISTS::mem = nullptr;
constinit UT_FASTMEM* UT_BLIST_ITER::mem = nullptr;
constinit UT_FASTMEM* UT_BLISTS_ITER::mem = nullptr;

namespace {

constexpr ketriope::site k_site{.module = "basutblist"};
constexpr ketriope::site k_destructor{.module = "basutblist", .in_destructor = true};

void** slots_of(UT_BLIST_BLINK* block) noexcept
{
    return reinterpret_cast<void**>(block + 1);
}

}  // namespace

namespace ketriope {

template <class Bag>
struct bag_work {
    static void destroy(Bag& bag)
    {
        if (bag.iterators_ != 0) return contract_failed(k_destructor, "Cannot destroy list with iterators.");
        free_blocks(bag);
        --Bag::total_count;
    }

    static void append(Bag& bag, void* data, UT_BLIST_BLINK** link, int* index)
    {
        if (data == nullptr) return;
        if (++bag.count_ == 0) return contract_failed(k_site, "Maximum element count exceeded.");
        int slot = slot_above(bag);
        if (slot == bag.slots_) {
            if (!add_block(bag)) return contract_failed(k_site, "UT_BLIST:New failed.");
            slot = 0;
        }
        slots_of(bag.last_)[slot] = data;
        if (link != nullptr) *link = bag.last_;
        if (index != nullptr) *index = slot;
    }

    /// The slot that holds `data`, or null: that of the position, if there is one, before any other.
    static void** find(const Bag& bag, const void* data, UT_BLIST_BLINK* link = nullptr, int index = -1)
    {
        if (link != nullptr && index >= 0 && index < bag.slots_ && slots_of(link)[index] == data)
            return slots_of(link) + index;
        for (UT_BLIST_BLINK* block = bag.first_; block != nullptr; block = block->next) {
            void** const end = slots_of(block) + bag.slots_;
            void** const slot = std::find(slots_of(block), end, data);
            if (slot != end) return slot;
        }
        return nullptr;
    }

    static unsigned char remove(Bag& bag, const void* data, UT_BLIST_BLINK* link = nullptr, int index = -1)
    {
        void** const slot = data != nullptr ? find(bag, data, link, index) : nullptr;
        if (slot == nullptr) return 0;
        *slot = nullptr;
        --bag.count_;
        return 1;
    }

    /// Reports that there is no compression. The legacy manager takes that for no reason to end the process.
    static void compress(const Bag& bag, const char* has_iterators)
    {
        if (bag.iterators_ != 0) contract_failed(k_site, has_iterators);
        constexpr const char* k_not_yet = "List compression not yet implemented.";
        if (database_in_charge())
            contract_failed(k_site, k_not_yet);
        else
            internal_report(k_site, k_not_yet);
    }

    static void clear(Bag& bag)
    {
        Bag::total_mem -= block_bytes(bag) * free_blocks(bag);
        bag.first_ = bag.last_ = nullptr;
        bag.count_ = 0;
    }

    template <class Iterator>
    static void begin(Iterator& iterator)
    {
        auto& count = iterator.list_->iterators_;
        if (++count == 0) contract_failed(k_site, "Maximum iterator count exceeded.");
        reset(iterator);
    }

    template <class Iterator>
    static void end(Iterator& iterator)
    {
        auto& count = iterator.list_->iterators_;
        if (count == 0) return contract_failed(k_destructor, "Iterator count underflow.");
        --count;
    }

    template <class Iterator>
    static void reset(Iterator& iterator)
    {
        iterator.block_ = iterator.list_->first_;
        iterator.next_ = 0;
    }

    template <class Iterator>
    static void* next(Iterator& iterator)
    {
        const Bag& bag = *iterator.list_;
        if (iterator.block_ == nullptr || bag.first_ == nullptr) return nullptr;
        const auto begun_at = iterator.next_;
        for (;;) {
            while (iterator.next_ < bag.slots_)
                if (void* const data = slots_of(iterator.block_)[iterator.next_++]) return data;
            if (iterator.block_->next == nullptr) break;
            iterator.block_ = iterator.block_->next;
            iterator.next_ = 0;
        }
        iterator.next_ = begun_at;  // even if that was an index of an earlier block
        return nullptr;
    }

    static void* allocate(std::size_t size)
    {
        void* const memory = ::operator new(size);
        Bag::total_mem += static_cast<std::uint32_t>(size);
        return memory;
    }

    /// The memory of a bag or of an iterator; both count as much as a bag.
    static void release(void* memory)
    {
        if (memory == nullptr) return;
        Bag::total_mem -= static_cast<std::uint32_t>(sizeof(Bag));
        ::operator delete(memory);
    }

private:
    /// The slot above the highest occupied one of the last block; the number of slots if there is none.
    static int slot_above(const Bag& bag)
    {
        if (bag.last_ == nullptr) return bag.slots_;
        void* const* const slots = slots_of(bag.last_);
        int slot = bag.slots_;
        while (slot > 0 && slots[slot - 1] == nullptr) --slot;
        return slot;
    }

    static bool add_block(Bag& bag)
    {
        void* const memory = std::malloc((std::size_t{1} + bag.slots_) * sizeof(void*));
        if (memory == nullptr) return false;
        auto* const block = new (memory) UT_BLIST_BLINK{nullptr};
        std::fill_n(slots_of(block), bag.slots_, nullptr);
        (bag.last_ != nullptr ? bag.last_->next : bag.first_) = block;
        bag.last_ = block;
        Bag::total_mem += block_bytes(bag);
        return true;
    }

    /// Returns how many blocks there were; the bag still names them.
    static std::uint32_t free_blocks(const Bag& bag)
    {
        std::uint32_t blocks = 0;
        for (UT_BLIST_BLINK* block = bag.first_; block != nullptr; ++blocks) {
            UT_BLIST_BLINK* const next = block->next;
            std::free(block);
            block = next;
        }
        return blocks;
    }

    static std::uint32_t block_bytes(const Bag& bag) { return (bag.slots_ + 1U) * 8; }
};

}  // namespace ketriope

// ---- UT_BLIST

using large = ketriope::bag_work<UT_BLIST>;

UT_BLIST::UT_BLIST(unsigned short slots) : slots_(std::max<std::uint16_t>(slots, 1))
{
    ++total_count;
}
UT_BLIST::~UT_BLIST() noexcept(false)
{
    large::destroy(*this);
}
void UT_BLIST::l_append(void* data, UT_BLIST_BLINK** link, int* index)
{
    large::append(*this, data, link, index);
}
unsigned char UT_BLIST::l_find(void* data, UT_BLIST_BLINK* link, int index) const
{
    return large::find(*this, data, link, index) != nullptr;
}
unsigned char UT_BLIST::l_remove(void* data, UT_BLIST_BLINK* link, int index)
{
    return large::remove(*this, data, link, index);
}
void UT_BLIST::compress()
{
    large::compress(*this, "Cannot compress list with iterators.");
}
void UT_BLIST::clear()
{
    large::clear(*this);
}
void* UT_BLIST::operator new(std::size_t size)
{
    return large::allocate(size);
}
void UT_BLIST::operator delete(void* memory)
{
    large::release(memory);
}

UT_BLIST_ITER::UT_BLIST_ITER(UT_BLIST* list) : list_(list)
{
    large::begin(*this);
}
UT_BLIST_ITER::~UT_BLIST_ITER() noexcept(false)
{
    large::end(*this);
}
void UT_BLIST_ITER::reset()
{
    large::reset(*this);
}
void* UT_BLIST_ITER::l_next()
{
    return large::next(*this);
}
void* UT_BLIST_ITER::operator new(std::size_t size)
{
    return large::allocate(size);
}
void UT_BLIST_ITER::operator delete(void* memory)
{
    large::release(memory);
}
void UT_BLIST_ITER::add_total_mem(unsigned long bytes)
{
    UT_BLIST::total_mem += static_cast<std::uint32_t>(bytes);
}
void UT_BLIST_ITER::remove_total_mem(unsigned long bytes)
{
    UT_BLIST::total_mem -= static_cast<std::uint32_t>(bytes);
}

// ---- UT_BLISTS

using small = ketriope::bag_work<UT_BLISTS>;

UT_BLISTS::UT_BLISTS(unsigned char slots) : slots_(std::max<std::uint8_t>(slots, 1))
{
    ++total_count;
}
UT_BLISTS::~UT_BLISTS() noexcept(false)
{
    small::destroy(*this);
}
void UT_BLISTS::l_append(void* data)
{
    small::append(*this, data, nullptr, nullptr);
}
unsigned char UT_BLISTS::l_find(void* data) const
{
    return small::find(*this, data) != nullptr;
}
unsigned char UT_BLISTS::l_remove(void* data)
{
    return small::remove(*this, data);
}
void UT_BLISTS::compress()
{
    small::compress(*this, "Cannot compress lists with iterators.");
}
void UT_BLISTS::clear()
{
    small::clear(*this);
}
void* UT_BLISTS::operator new(std::size_t size)
{
    return small::allocate(size);
}
void UT_BLISTS::operator delete(void* memory)
{
    small::release(memory);
}

UT_BLISTS_ITER::UT_BLISTS_ITER(UT_BLISTS* list) : list_(list)
{
    small::begin(*this);
}
UT_BLISTS_ITER::~UT_BLISTS_ITER() noexcept(false)
{
    small::end(*this);
}
void UT_BLISTS_ITER::reset()
{
    small::reset(*this);
}
void* UT_BLISTS_ITER::l_next()
{
    return small::next(*this);
}
void* UT_BLISTS_ITER::operator new(std::size_t size)
{
    return small::allocate(size);
}
void UT_BLISTS_ITER::operator delete(void* memory)
{
    small::release(memory);
}
void UT_BLISTS_ITER::add_total_mem(unsigned long bytes)
{
    UT_BLISTS::total_mem += static_cast<std::uint32_t>(bytes);
}
void UT_BLISTS_ITER::remove_total_mem(unsigned long bytes)
{
    UT_BLISTS::total_mem -= static_cast<std::uint32_t>(bytes);
}
