// basuthmatrix.cpp
#include "basuthmatrix.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace {

/// Cells of a matrix of `size` things, and one behind them that the last place of the diagonal falls on.
constexpr std::size_t allocated(std::int64_t size)
{
    return static_cast<std::size_t>(size * (size - 1) / 2 + 1);
}
static_assert(allocated(0) == 1 && allocated(1) == 1 && allocated(6) == 16);

}  // namespace

UT_HMATRIX::UT_HMATRIX(int n) : size_(std::max(n, 0)), cells_(new signed char[allocated(size_)]()) {}

UT_HMATRIX::UT_HMATRIX() : size_(0), cells_(nullptr) {}

UT_HMATRIX::~UT_HMATRIX()
{
    delete[] cells_;
}

void UT_HMATRIX::clear()
{
    if (cells_ != nullptr) std::fill_n(cells_, allocated(size_), static_cast<signed char>(0));
}

void UT_HMATRIX::clear(long)
{
    clear();
}

signed char UT_HMATRIX::get(int i, int j) const
{
    const signed char* const counter = cell(i, j);
    return counter != nullptr ? *counter : static_cast<signed char>(0);
}

void UT_HMATRIX::set(int i, int j, signed char value)
{
    if (signed char* const counter = cell(i, j)) *counter = value;
}

signed char UT_HMATRIX::inc(int i, int j)
{
    return add(i, j, 1);
}

signed char UT_HMATRIX::dec(int i, int j)
{
    return add(i, j, -1);
}

signed char* UT_HMATRIX::cell(int i, int j) const
{
    const auto [low, high] = std::minmax<std::int64_t>({i, j});
    return low >= 0 && high < size_ ? cells_ + low + high * (high - 1) / 2 : nullptr;
}

signed char UT_HMATRIX::add(int i, int j, int step)
{
    signed char* const counter = cell(i, j);
    return counter != nullptr ? std::exchange(*counter, static_cast<signed char>(*counter + step))
                              : static_cast<signed char>(0);
}
