// basutstring.cpp
#include "basutstring.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr long k_least_capacity = 10;
constexpr long k_most_capacity = std::numeric_limits<ut_long>::max();

/// `old` made longer or shorter, with room for `capacity` characters and the terminator.
char* resized(char* old, ut_long capacity)
{
    auto* block = static_cast<char*>(std::realloc(old, static_cast<std::size_t>(capacity) + 1));
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

UT_STRING::UT_STRING(long capacity)
    : buffer_(nullptr),
      capacity_(static_cast<ut_long>(std::clamp(capacity, k_least_capacity, k_most_capacity))), length_(0)
{
    buffer_ = resized(nullptr, capacity_);
    *buffer_ = '\0';
}

UT_STRING::~UT_STRING()
{
    std::free(buffer_);
}

void UT_STRING::append(const char* text)
{
    for (; *text != '\0'; ++text) append(*text);
}

void UT_STRING::append(char c)
{
    if (c == '\0') return;
    if (length_ == capacity_) grow_buffer();
    buffer_[length_++] = c;
    buffer_[length_] = '\0';
}

void UT_STRING::reset()
{
    length_ = 0;
    *buffer_ = '\0';
}

void UT_STRING::grow_buffer()
{
    if (capacity_ > k_most_capacity / 2) throw std::bad_alloc();
    buffer_ = resized(buffer_, capacity_ * 2);
    capacity_ *= 2;
}
