// basutfstmem.cpp
#include "basutfstmem.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "contract.h"

namespace {

constexpr ketriope::site k_nothing_allocated{.module = "basutfstmem"};

constexpr std::uint64_t k_most_bytes = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t k_too_large = std::numeric_limits<std::uint32_t>::max();  ///< no multiple of 4

constexpr std::uint32_t rounded(std::uint64_t element_size)
{
    if (element_size > k_most_bytes) return k_too_large;
    const std::uint64_t size = element_size % 4 == 0 ? element_size : (element_size + 4) & ~std::uint64_t{3};
    return size > k_most_bytes ? k_too_large : static_cast<std::uint32_t>(size);
}
static_assert(rounded(10) == 12 && rounded(12) == 12 && rounded(0) == 0);
static_assert(rounded(k_most_bytes - 3) == k_most_bytes - 3 && rounded(k_most_bytes - 2) == k_too_large);

/// How far apart elements lie: each holds an address while it is free.
constexpr std::uint32_t stride(std::uint32_t element_size)
{
    return std::max<std::uint32_t>(element_size, sizeof(void*));
}

}  // namespace

constinit std::int32_t UT_FASTMEM::global_debug = 0;

UT_FASTMEM::UT_FASTMEM(unsigned long element_size, unsigned long elements_per_block)
    : element_size_(rounded(element_size)),
      elements_per_block_(static_cast<std::uint32_t>(
          std::clamp<std::uint64_t>(elements_per_block, 1, k_most_bytes / stride(element_size_)))),
      block_bytes_(stride(element_size_) * elements_per_block_)
{
}

/// Makes the block in front one with a free element.
void UT_FASTMEM::bring_room_forward()
{
    UT_FM_BLOCK_HEAD** link = &head_;
    while (*link != nullptr && (*link)->free == nullptr) link = &(*link)->next;
    if (*link == nullptr) {
        auto made = std::make_unique<UT_FM_BLOCK_HEAD>();
        init_block(made.get());
        *link = made.release();
    }
    move_to_front(link);
}

/// Makes the block of `element` the one in front; false if there is none.
bool UT_FASTMEM::bring_owner_forward(const void* element)
{
    if (head_ == nullptr) {
        ketriope::contract_failed(k_nothing_allocated, "Unable to free as memory was not allocated.");
        return false;
    }
    UT_FM_BLOCK_HEAD** link = &head_->next;
    while (*link != nullptr && !holds(**link, element)) link = &(*link)->next;
    if (*link == nullptr) return false;
    move_to_front(link);
    return true;
}

void UT_FASTMEM::move_to_front(UT_FM_BLOCK_HEAD** link)
{
    UT_FM_BLOCK_HEAD* const block = *link;
    *link = block->next;
    block->next = head_;
    head_ = block;
}

void UT_FASTMEM::release_head()
{
    const std::unique_ptr<UT_FM_BLOCK_HEAD> released(head_);
    head_ = released->next;
    ::operator delete(released->data);
}

void UT_FASTMEM::init_block(UT_FM_BLOCK_HEAD* block) const
{
    constexpr std::size_t k_more_than_there_is = std::numeric_limits<std::ptrdiff_t>::max();
    block->data = ::operator new(element_size_ == k_too_large ? k_more_than_there_is : block_bytes_);
    block->free = block->data;
    block->used = 0;
    auto* element = static_cast<std::byte*>(block->data);
    for (std::uint32_t left = elements_per_block_; left > 0; --left) {
        std::byte* const next = left > 1 ? element + stride(element_size_) : nullptr;
        std::memcpy(element, &next, sizeof next);
        element = next;
    }
}

/// A fault on purpose, for a debugger to stop at; nothing calls it.
void UT_FASTMEM::abort()
{
    volatile int* volatile nowhere = nullptr;
    *nowhere = 0;  // NOLINT(clang-analyzer-core.NullDereference)
}
