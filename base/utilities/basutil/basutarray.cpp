// basutarray.cpp
#include "basutarray.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "basutarrayorder.h"
#include "contract.h"

namespace {

constexpr ketriope::site k_site{.module = "basutarray"};

}  // namespace

/// Elements as `getaddr` gives them, call by call.
class UT_BASE_ARRAY::addresses {
public:
    explicit addresses(UT_BASE_ARRAY& array) : array_(array) {}

    std::byte* at(long index, std::size_t) const { return static_cast<std::byte*>(array_.getaddr(index)); }
    void expect(long, std::size_t) const {}  // it may lie anywhere
    bool hold(long index) const { return index < array_.num_elements_ || array_.getaddr(index) != nullptr; }

private:
    UT_BASE_ARRAY& array_;
};

UT_BASE_ARRAY::UT_BASE_ARRAY(int element_size, int allocation_size, unsigned char zeromem)
    : zeromem_(zeromem), element_size_(std::max(element_size, 1)), elements_allocated_(0), num_elements_(0),
      allocation_size_(allocation_size)
{
}

UT_BASE_ARRAY::~UT_BASE_ARRAY() = default;

void UT_BASE_ARRAY::clearmem(void* p, ut_uint64 bytes)
{
    if (zeromem_ != 0 && bytes != 0) std::memset(p, 0, bytes);
}

void UT_BASE_ARRAY::qsort(long first, long last, compare_function cmp)
{
    if (first >= last || cmp == nullptr) return;
    if (first < 0) return static_cast<void>(getaddr(first));  // which reports it
    addresses array(*this);
    ketriope::sort_elements(array, element_bytes(), first, last, cmp);
}

void UT_BASE_ARRAY::a_shift(long index, int direction)
{
    const auto copy = [this](long to, long from) {
        void* const place = getaddr(to);
        const void* const element = getaddr(from);
        if (place != nullptr && element != nullptr) std::memcpy(place, element, element_bytes());
    };
    const long count = num_elements_;
    if (direction > 0) {
        if (index < 0 || index >= count || getaddr(count) == nullptr) return;
        for (long i = count; i > index; --i) copy(i, i - 1);
    } else {
        if (index <= 0 || index > count) return;
        for (long i = index; i < count; ++i) copy(i - 1, i);
        a_resetnum(count - 1);
    }
}

void UT_BASE_ARRAY::a_sort(compare_function cmp, long first, long last)
{
    if (num_elements_ < 1 || cmp == nullptr) return;
    if (last == -1) last = num_elements_ - 1;
    if (first < last && getaddr(first < 0 ? first : last) == nullptr) return;
    qsort(first, last, cmp);
    for (long i = first + 1; i <= last; ++i) {
        const void* const element = getaddr(i);  // first: what is below it has its address, too, then
        if (element == nullptr) return;
        if (cmp(getaddr(i - 1), element) > 0)
            return ketriope::contract_failed(k_site, "Sort produced an unsorted list.");
    }
}

long UT_BASE_ARRAY::a_sortadd(const void* key, compare_function cmp)
{
    const ketriope::insertion_scope scope(ketriope::insertion::add);
    return a_bsearch(key, cmp);
}

long UT_BASE_ARRAY::a_sortuadd(const void* key, compare_function cmp, unsigned char* inserted)
{
    const ketriope::insertion_scope scope(ketriope::insertion::unique);
    const long index = a_bsearch(key, cmp);
    if (inserted != nullptr) *inserted = scope.inserted() ? 1 : 0;
    return index;
}

long UT_BASE_ARRAY::a_bsearch(const void* key, compare_function cmp)
{
    if (key == nullptr || cmp == nullptr) return -1;
    const ketriope::held_mode mode;
    addresses array(*this);
    const auto [position, found] = ketriope::search(array, element_bytes(), num_elements_, key, cmp);
    if (mode.inserts(found)) return insert_found(key, cmp, position);
    return found ? position : -1;
}

long UT_BASE_ARRAY::insert_found(const void* key, compare_function cmp, long position)
{
    const ketriope::element_copy element(key, element_bytes());
    if (element.get() == nullptr) {
        ketriope::contract_failed(k_site, "Memory allocation failed.");
        return -1;
    }
    const long count = num_elements_;
    if (position < count) {
        const void* const here = getaddr(position);
        if (here == nullptr) return -1;
        if (cmp(key, here) > 0) ++position;
        a_shift(position, 1);  // at the count it may do nothing: the next line expands
    }
    void* const place = position <= count ? getaddr(position) : nullptr;
    if (place == nullptr || num_elements_ == count) return -1;
    std::memcpy(place, element.get(), element_bytes());
    ketriope::this_threads_insertion().inserted = true;
    return position;
}

void UT_BASE_ARRAY::a_resetnum(long n)
{
    n = std::max(n, 0L);
    if (n > num_elements_ && getaddr(n - 1) == nullptr) return;
    num_elements_ = static_cast<std::int32_t>(n);
}

void* UT_BASE_ARRAY::a_makearray()
{
    if (num_elements_ < 1) return nullptr;
    const std::size_t size = element_bytes();
    ketriope::heap_block made = ketriope::new_block(static_cast<std::size_t>(num_elements_) * size);
    std::byte* to = made.get();
    for (long i = 0; to != nullptr && i < num_elements_; ++i, to += size) {
        const void* const element = getaddr(i);
        if (element == nullptr) return nullptr;
        std::memcpy(to, element, size);
    }
    return made.release();
}

bool UT_BASE_ARRAY::testaddr(long index) const
{
    if (index >= 0 && index < num_elements_) return true;
    ketriope::contract_failed(k_site, "Element out of range. Use expand.");
    return false;
}

void UT_BASE_ARRAY::swap(void* a, void* b, int bytes)
{
    const ketriope::elements_of_any kind(static_cast<std::size_t>(std::max(bytes, 0)));
    kind.exchange(static_cast<std::byte*>(a), static_cast<std::byte*>(b));
}

namespace ketriope {

sorted_insertion& this_threads_insertion() noexcept
{
    thread_local constinit sorted_insertion state{insertion::none, false};
    return state;
}

}  // namespace ketriope
