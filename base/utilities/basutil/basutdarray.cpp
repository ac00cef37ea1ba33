// basutdarray.cpp
#include "basutdarray.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "basutarrayorder.h"
#include "contract.h"
#include "growth_step.h"
#include "utgetenv.h"

namespace {

constexpr ketriope::site k_site{.module = "basutdarray"};
constexpr std::int64_t k_most_elements = std::numeric_limits<std::int32_t>::max();

/// `index` rounded up past the next step, and at least a doubling. All in elements.
constexpr std::int64_t grown(std::int64_t index, std::int64_t capacity, std::int64_t step) noexcept
{
    return std::max(index + step - index % step, 2 * capacity);
}
static_assert(grown(9, 4, 4) == 12 && grown(4, 4, 1) == 8);

/// The smallest multiple of `step` that holds `count` elements, and at least one step.
constexpr std::int64_t shrunk(std::int64_t count, std::int64_t step) noexcept
{
    const std::int64_t last = std::max<std::int64_t>(count - 1, 0);
    return last - last % step + step;
}
static_assert(shrunk(0, 4) == 4 && shrunk(4, 4) == 4 && shrunk(5, 4) == 8);

int step_of(int asked, int element_size) noexcept
{
    if (asked >= 1) return asked;
    const int usual = ketriope::default_growth_step();
    return usual >= 1 ? usual : std::max(2048 / std::max(element_size, 1), 16);
}

}  // namespace

/// What `getaddr` gives, without a call of it where the element is there.
class UT_DARRAY::addresses {
public:
    explicit addresses(UT_DARRAY& array) : array_(array) {}

    std::byte* at(long index, std::size_t size) const
    {
        return array_.block() + static_cast<std::size_t>(index) * size;
    }
    void expect(long index, std::size_t size) const
    {
        ketriope::prefetch(at(std::min<long>(index, array_.elements_allocated_ - 1), size));
    }
    bool hold(long index) const
    {
        if (index < array_.num_elements_ && index < array_.elements_allocated_) return true;
        return array_.getaddr(index) != nullptr;
    }

private:
    UT_DARRAY& array_;
};

UT_DARRAY::UT_DARRAY(void** variable, int element_size, int allocation_size, unsigned char zeromem)
    : UT_BASE_ARRAY(element_size, step_of(allocation_size, element_size), zeromem), variable_(variable)
{
    set_block(nullptr);
    if (reallocate(step()))
        UT_BASE_ARRAY::clearmem(block(), bytes_of(elements_allocated_));
    else
        ketriope::contract_failed(k_site, "Memory allocation failed.");
}

UT_DARRAY::~UT_DARRAY()
{
    release();
}

void* UT_DARRAY::getaddr(long index)
{
    if (index < 0 || index >= elements_allocated_) [[unlikely]]
        return expand_to(index);
    if (index >= num_elements_) num_elements_ = static_cast<std::int32_t>(index + 1);
    return block() + bytes_of(index);
}

void* UT_DARRAY::expand_to(long index)
{
    if (index < 0) {
        ketriope::contract_failed(k_site, "Bad index.");
        return nullptr;
    }
    if (!grow_for(index)) {
        ketriope::contract_failed(k_site, "Memory allocation failed.");
        return nullptr;
    }
    num_elements_ = std::max(num_elements_, static_cast<std::int32_t>(index + 1));
    return block() + bytes_of(index);
}

/// Makes the block one that holds element `index`, which it does not yet: the wanted size or, where that is
/// not to be had, the largest of ever smaller steps above the old one.
bool UT_DARRAY::grow_for(long index)
{
    if (index >= k_most_elements) return false;
    const std::int64_t old = std::max(elements_allocated_, 0);
    bool fits = reallocate(grown(index, old, step()));
    for (std::int64_t more = old / 2; !fits && more > 0; more /= 2)
        fits = old + more > index && reallocate(old + more);
    if (fits) clear_elements(old, elements_allocated_);
    return fits;
}

/// Gives the block room for `capacity` elements. False leaves everything as it was.
bool UT_DARRAY::reallocate(std::int64_t capacity)
{
    if (capacity > k_most_elements) return false;
    void* const moved = std::realloc(block(), bytes_of(capacity));
    if (moved == nullptr) return false;
    set_block(moved);
    elements_allocated_ = static_cast<std::int32_t>(capacity);
    return true;
}

void UT_DARRAY::clear_elements(std::int64_t first, std::int64_t end)
{
    if (first < end) clearmem(block() + bytes_of(first), bytes_of(end - first));
}

void UT_DARRAY::a_resetnum(long n)
{
    n = std::max(n, 0L);
    if (n > num_elements_) return static_cast<void>(getaddr(n - 1));
    if (n == num_elements_) return;
    const std::int64_t end = std::min(num_elements_, elements_allocated_);
    num_elements_ = static_cast<std::int32_t>(n);
    const bool spare = elements_allocated_ != step() && elements_allocated_ - n >= step();
    const bool smaller = spare && reallocate(shrunk(n, step()));
    clear_elements(n, smaller ? elements_allocated_ : end);
}

unsigned char UT_DARRAY::resizebuffer(long n)
{
    const std::int32_t count = num_elements_;
    a_resetnum(n);
    num_elements_ = count;
    return 1;
}

void UT_DARRAY::a_shift(long index, int direction)
{
    const long count = num_elements_;
    const bool opens = direction > 0;
    if (index < (opens ? 0 : 1) || index > count || !complete()) return;
    if (opens && getaddr(count) == nullptr) return;
    std::byte* const from = block() + bytes_of(index);
    std::memmove(opens ? from + element_size_ : from - element_size_, from, bytes_of(count - index));
    if (!opens) a_resetnum(count - 1);
}

void UT_DARRAY::qsort(long first, long last, compare_function cmp)
{
    if (first >= last || cmp == nullptr) return;
    if (first < 0) return static_cast<void>(getaddr(first));  // which reports it
    if (!complete()) return;
    addresses array(*this);
    ketriope::sort_elements(array, element_bytes(), first, last, cmp);
}

long UT_DARRAY::a_bsearch(const void* key, compare_function cmp)
{
    if (key == nullptr || cmp == nullptr) return -1;
    if (num_elements_ <= elements_allocated_) return ordered_search(key, cmp);
    const ketriope::element_copy copy(key,
                                      element_bytes());  // looking may move the block, and the key with it
    if (copy.get() != nullptr) return ordered_search(copy.get(), cmp);
    ketriope::contract_failed(k_site, "Memory allocation failed.");
    return -1;
}

long UT_DARRAY::ordered_search(const void* key, compare_function cmp)
{
    const ketriope::held_mode mode;
    addresses array(*this);
    const auto [position, found] = ketriope::search(array, element_bytes(), num_elements_, key, cmp);
    if (mode.inserts(found)) return insert_found(key, cmp, position);
    return found ? position : -1;
}

long UT_DARRAY::intgetindex(void* element)
{
    const auto distance = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(element) -
                                                    reinterpret_cast<std::uintptr_t>(block()));
    if (distance < 0 || distance % element_size_ != 0) return -1;
    return static_cast<long>(distance / element_size_);
}

void* UT_DARRAY::a_makearray()
{
    if (num_elements_ < 1 || !complete()) return nullptr;
    ketriope::heap_block made = ketriope::new_block(bytes_of(elements_allocated_));
    if (made != nullptr) std::memcpy(made.get(), block(), bytes_of(elements_allocated_));
    return made.release();
}

/// The block, read as bytes: the caller's variable is some T*.
std::byte* UT_DARRAY::block() const noexcept
{
    std::byte* first = nullptr;
    std::memcpy(&first, variable_, sizeof first);
    return first;
}

void UT_DARRAY::set_block(void* block) noexcept
{
    std::memcpy(variable_, &block, sizeof block);
}

void UT_DARRAY::release() noexcept
{
    std::free(block());
    set_block(nullptr);
}

namespace ketriope {

int default_growth_step() noexcept
{
    static const int step = [] {
        const char* const value = ut_getenv("DARRAY_DEFAULT_ELE_CNT");
        if (value == nullptr) return 1;
        const long number =
            std::strtol(value, nullptr, 10);  // as `atoi`, which may do anything with a huge number
        return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
    }();
    return step;
}

}  // namespace ketriope
