// basutsmallmem.cpp
#include "basutsmallmem.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>

#include "startup.h"

namespace {

constexpr int k_bucket_bytes = 1000;        ///< of elements that a bucket stands for
constexpr int k_largest = 65532;            ///< the last multiple of 4 that 16 bits hold
constexpr int k_largest_in_face = 140;      ///< what UT_SM_SMALLMEM takes
constexpr std::uint32_t k_first_room = 10;  ///< entries of a table of buckets or of chunks

/// `size` if it is at most `largest`; otherwise the process ends.
int checked(int size, int largest)
{
    if (size > largest) {
        std::printf("SMALLMEM: elementsize (%d) too large.\n", size);
        ketriope::leave_process(-1);
    }
    return std::clamp(size, 1, largest);
}

constexpr int words(int size)
{
    return (size + 3) / 4;
}

/// The room behind a table whose capacity grows by one: it is moved only where it doubles.
constexpr std::uint32_t room(std::uint32_t capacity)
{
    return std::bit_ceil(capacity);
}

}  // namespace

// ---- the pool

UT_SM_INT_SMALLMEM::UT_SM_INT_SMALLMEM(int element_size, unsigned char track_chunks)
    : element_size_(static_cast<std::uint16_t>(4 * words(checked(element_size, k_largest)))),
      per_bucket_(static_cast<std::uint16_t>((k_bucket_bytes + element_size_ - 1) / element_size_))
{
    auto table = std::make_unique<void**[]>(room(k_first_room));
    auto first = std::make_unique_for_overwrite<void*[]>(per_bucket_);
    auto release = std::make_unique_for_overwrite<void*[]>(per_bucket_);
    auto chunks = track_chunks != 0 ? std::make_unique_for_overwrite<void*[]>(k_first_room) : nullptr;
    chunks_ = chunks.get();
    fillbucket(first.get());  // the last thing that may fail
    table_capacity_ = k_first_room;
    bucket_count_ = 1;
    buckets_ = table.release();
    buckets_[0] = first.release();
    release_bucket_ = release.release();
    chunks.release();  // it is chunks_ by now
}

UT_SM_INT_SMALLMEM::~UT_SM_INT_SMALLMEM()
{
    if (chunks_ != nullptr)
        for (std::uint32_t i = 0; i < chunk_count_; ++i) ::operator delete(chunks_[i]);
    delete[] chunks_;
    for (std::uint32_t i = 0; i < table_capacity_; ++i) delete[] buckets_[i];
    delete[] buckets_;
    delete[] release_bucket_;
}

/// Fills `bucket` with the elements of a new chunk of memory.
void UT_SM_INT_SMALLMEM::fillbucket(void** bucket)
{
    if (chunks_ != nullptr && chunk_count_ > 0 && chunk_count_ % k_first_room == 0) {
        auto grown = std::make_unique_for_overwrite<void*[]>(chunk_count_ + k_first_room);
        std::copy_n(chunks_, chunk_count_, grown.get());
        delete[] std::exchange(chunks_, grown.release());
    }
    auto* const chunk = static_cast<std::byte*>(::operator new (std::size_t{element_size_} * per_bucket_));
    if (chunks_ != nullptr) chunks_[chunk_count_] = chunk;
    ++chunk_count_;
    bucket[0] = chunk;
    for (std::size_t i = 1; i < per_bucket_; ++i) bucket[i] = chunk + i * element_size_;
}

/// Puts a full bucket in the place of the first one, whose elements are used up. That one stays behind the
/// last, for the next one that is needed.
void UT_SM_INT_SMALLMEM::renew_first_bucket()
{
    if (bucket_count_ == 1)
        fillbucket(buckets_[0]);
    else
        std::swap(buckets_[0], buckets_[--bucket_count_]);
    next_ = 0;
}

/// Makes the release bucket, with `element` as its last entry, the last one of the table.
void UT_SM_INT_SMALLMEM::fill_release_bucket(void* element)
{
    const bool table_is_full = bucket_count_ == table_capacity_;
    std::unique_ptr<void*[]> next;
    if (table_is_full || buckets_[bucket_count_] == nullptr)
        next = std::make_unique_for_overwrite<void*[]>(per_bucket_);
    if (table_is_full) grow_table();  // the last thing that may fail
    if (next != nullptr) buckets_[bucket_count_] = next.release();
    release_bucket_[released_] = element;
    std::swap(buckets_[bucket_count_++], release_bucket_);
    released_ = 0;
}

void UT_SM_INT_SMALLMEM::grow_table()
{
    if (room(table_capacity_ + 1) != room(table_capacity_)) {
        auto grown = std::make_unique<void**[]>(room(table_capacity_ + 1));
        std::copy_n(buckets_, table_capacity_, grown.get());
        delete[] std::exchange(buckets_, grown.release());
    }
    ++table_capacity_;
}

// ---- its faces

constinit UT_SM_MNGR* sm_memmngr = nullptr;

UT_SM_SMALLMEM::UT_SM_SMALLMEM(int element_size, unsigned char own) : own_(own)
{
    const int size = checked(element_size, k_largest_in_face);
    if (own_ == 0 && sm_memmngr == nullptr) sm_memmngr = new UT_SM_MNGR;
    pool_ = own_ != 0 ? new UT_SM_INT_SMALLMEM(size, 1) : sm_memmngr->getmemhandler(size);
}

UT_SM_SMALLMEM::~UT_SM_SMALLMEM()
{
    if (own_ != 0) delete pool_;
}

UT_SM_INT_SMALLMEM* UT_SM_MNGR::getmemhandler(int element_size)
{
    static_assert(words(k_largest_in_face) == k_classes - 1);
    const int number = words(checked(element_size, k_largest_in_face));
    UT_SM_INT_SMALLMEM*& pool = pools_[number];
    if (pool == nullptr) pool = new UT_SM_INT_SMALLMEM(4 * number, 0);
    return pool;
}
