// basutbarray.cpp
#include "basutbarray.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "contract.h"

namespace {

constexpr ketriope::site k_site{.module = "basutbarray"};
constexpr int k_usual_bytes = 4096;
constexpr std::int64_t k_most = std::numeric_limits<std::int32_t>::max();

int elements_of(int asked, int element_size) noexcept
{
    return asked >= 1 ? asked : std::max(k_usual_bytes / std::max(element_size, 1), 1);
}

}  // namespace

UT_BARRAY::UT_BARRAY(void*** variable, int element_size, int elements_per_block, unsigned char zeromem)
    : UT_BASE_ARRAY(element_size, elements_of(elements_per_block, element_size), zeromem),
      variable_(variable), num_blocks_(0), block_bytes_(0), elements_per_block_(allocation_size_)
{
    // 0 stands for more bytes than a block may have: then none is to be had.
    const std::int64_t bytes = std::int64_t{element_size_} * elements_per_block_;
    if (bytes <= k_most) block_bytes_ = static_cast<std::int32_t>(bytes);
    set_table(nullptr);
    if (add_blocks(1)) return;
    release();  // a constructor that throws has no destructor
    ketriope::contract_failed(k_site, "Memory allocation failed.");
}

UT_BARRAY::~UT_BARRAY()
{
    release();
}

void UT_BARRAY::release() noexcept
{
    std::byte** const blocks = table();
    if (blocks != nullptr) std::for_each_n(blocks, num_blocks_, [](std::byte* block) { std::free(block); });
    std::free(blocks);
    set_table(nullptr);
}

void* UT_BARRAY::getaddr(long index)
{
    if (index < 0) {
        ketriope::contract_failed(k_site, "Bad expand index.");
        return nullptr;
    }
    const std::int64_t capacity = std::int64_t{num_blocks_} * elements_per_block_;
    if (index >= capacity && (index >= k_most || !add_blocks(index / elements_per_block_ + 1))) {
        ketriope::contract_failed(k_site, "Memory allocation failed.");
        return nullptr;
    }
    const auto place = static_cast<std::int32_t>(index);
    num_elements_ = std::max(num_elements_, place + 1);
    return table()[place / elements_per_block_] + bytes_of(place % elements_per_block_);
}

/// Makes it `blocks` blocks. False leaves the blocks and the counters as they were.
bool UT_BARRAY::add_blocks(std::int64_t blocks)
{
    if (block_bytes_ == 0 || blocks > k_most / elements_per_block_) return false;
    void* const moved = std::realloc(table(), static_cast<std::size_t>(blocks) * sizeof(std::byte*));
    if (moved == nullptr) return false;
    set_table(moved);
    std::byte** const all = table();
    for (std::int64_t made = num_blocks_; made < blocks; ++made) {
        all[made] = new_block();
        if (all[made] == nullptr) {
            std::for_each(all + num_blocks_, all + made, [](std::byte* block) { std::free(block); });
            return false;
        }
    }
    num_blocks_ = static_cast<std::int32_t>(blocks);
    elements_allocated_ = num_blocks_ * elements_per_block_;
    return true;
}

std::byte* UT_BARRAY::new_block()
{
    const auto bytes = static_cast<std::size_t>(block_bytes_);
    auto* const block = static_cast<std::byte*>(std::malloc(bytes));
    if (block != nullptr) UT_BASE_ARRAY::clearmem(block, bytes);
    return block;
}

long UT_BARRAY::intgetindex(void* element)
{
    const auto address = reinterpret_cast<std::uintptr_t>(element);
    const std::int64_t used = (std::int64_t{num_elements_} + elements_per_block_ - 1) / elements_per_block_;
    const long blocks = static_cast<long>(std::min<std::int64_t>(used, num_blocks_));
    for (long b = 0; b < blocks; ++b) {
        const auto start = reinterpret_cast<std::uintptr_t>(table()[b]);
        if (address >= start && address - start < static_cast<std::uintptr_t>(block_bytes_))
            return b * elements_per_block_ + static_cast<long>((address - start) / element_bytes());
    }
    return -1;
}

/// The table, read as bytes: the caller's variable is some T**.
std::byte** UT_BARRAY::table() const noexcept
{
    std::byte** blocks = nullptr;
    std::memcpy(&blocks, variable_, sizeof blocks);
    return blocks;
}

void UT_BARRAY::set_table(void* table) noexcept
{
    std::memcpy(variable_, &table, sizeof table);
}
