// basutbitstream.cpp
#include "basutbitstream.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::size_t k_step = 1024;
constexpr std::size_t k_spare = 8;  // behind the capacity, so that every byte of it begins a window
constexpr int k_most = 32;          // bits of a number

constexpr std::uint64_t low_mask(int count)
{
    return (std::uint64_t{1} << count) - 1;
}

/// A block for `bytes` and the spare ones, at the place of `old` or at another. What is new is undefined.
unsigned char* resized(unsigned char* old, std::size_t bytes)
{
    auto* block = static_cast<unsigned char*>(std::realloc(old, bytes + k_spare));
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

/// `start` moved by `bytes`, to a place that need not be in the buffer: so it is reckoned in addresses.
unsigned char* moved(unsigned char* start, std::uintptr_t bytes)
{
    return std::bit_cast<unsigned char*>(reinterpret_cast<std::uintptr_t>(start) + bytes);
}

std::uintptr_t distance(const unsigned char* from, const unsigned char* to)
{
    return reinterpret_cast<std::uintptr_t>(to) - reinterpret_cast<std::uintptr_t>(from);
}

/// A window: eight bytes as one number, the first of them lowest. Compilers make one move of each.
template <std::size_t... Byte>
std::uint64_t load(const unsigned char* from, std::index_sequence<Byte...>)
{
    return ((std::uint64_t{from[Byte]} << 8 * Byte) | ...);
}
template <std::size_t... Byte>
void store(unsigned char* to, std::uint64_t window, std::index_sequence<Byte...>)
{
    ((to[Byte] = static_cast<unsigned char>(window >> 8 * Byte)), ...);
}
constexpr std::make_index_sequence<8> k_window;

/// The count of a block in bits: 32 bits of it on every host, and none below 1.
int block_bits(const void* block, long bits)
{
    return block == nullptr ? 0 : std::max(static_cast<ut_long>(bits), 0);
}

}  // namespace

UT_BITSTREAM::UT_BITSTREAM()
    : buffer_(resized(nullptr, k_step)), capacity_(k_step), read_(buffer_), write_(buffer_)
{
    std::memset(buffer_, 0, capacity_ + k_spare);
}

UT_BITSTREAM::UT_BITSTREAM(const unsigned char* data, long bits)
    : capacity_(std::max<std::size_t>(1, (static_cast<std::size_t>(block_bits(data, bits)) + 7) / 8))
{
    buffer_ = resized(nullptr, capacity_);
    std::memset(buffer_, 0, capacity_ + k_spare);
    read_ = write_ = buffer_;
    putblock(data, bits);
}

UT_BITSTREAM::~UT_BITSTREAM()
{
    std::free(buffer_);
}

void UT_BITSTREAM::putubits(unsigned long value, int count)
{
    if (count < 1) return;
    make_room(static_cast<std::size_t>(count));
    put_some(static_cast<std::uint32_t>(value), std::min(count, k_most));
    while ((count -= k_most) > 0) put_some(0, std::min(count, k_most));
}

void UT_BITSTREAM::putblock(const unsigned char* data, long bits)
{
    int count = block_bits(data, bits);
    if (count == 0) return;
    const std::uintptr_t offset = distance(buffer_, data);
    const bool ours = offset < capacity_;
    make_room(static_cast<std::size_t>(count));
    if (ours) data = buffer_ + offset;
    for (; count >= 8; count -= 8) put_some(*data++, 8);
    if (count > 0) put_some(*data, count);
}

unsigned long UT_BITSTREAM::getubits(int count)
{
    if (count < 1) return 0;
    const std::uint32_t value = next_bits(std::min(count, k_most));
    if (count > k_most) skip(count - k_most);
    return value;
}

long UT_BITSTREAM::getbits(int count)
{
    if (count < 1) return 0;
    const int above = std::max(k_most - count, 0);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(getubits(count)) << above) >> above;
}

void UT_BITSTREAM::getblock(unsigned char* out, long bits)
{
    int count = block_bits(out, bits);
    for (; count >= 8; count -= 8) *out++ = getubyte();
    if (count > 0) *out = static_cast<unsigned char>(getubits(count));
}

void UT_BITSTREAM::getstate(UT_BSTATE& state) const
{
    state = {static_cast<ut_int64>(read_offset()), read_bit_};
}

void UT_BITSTREAM::setstate(const UT_BSTATE& state)
{
    read_ = moved(buffer_, static_cast<std::uintptr_t>(state.byte));
    read_bit_ = state.bit & 7;
}

long UT_BITSTREAM::numremainingbits() const
{
    const int bits = write_bit_ - read_bit_;
    return static_cast<long>(distance(read_, write_) * 8 + static_cast<std::uintptr_t>(bits));
}

long UT_BITSTREAM::totalbits() const
{
    return (write_ - buffer_) * 8 + write_bit_;
}

void UT_BITSTREAM::flush()
{
    const std::size_t first = read_offset();
    const auto last = static_cast<std::size_t>(write_ - buffer_);
    if (first == 0 || first > last) return;
    const std::size_t kept = std::min(last + 1, capacity_) - first;
    std::memmove(buffer_, read_, kept);
    std::memset(buffer_ + kept, 0, capacity_ - kept);
    read_ = buffer_;
    write_ -= first;
}

/// Raises the capacity, which is below `bytes`, to the next multiple of a step that holds them. Nothing of
/// what lies behind the write position stays.
void UT_BITSTREAM::extend(std::size_t bytes)
{
    const std::size_t capacity = (bytes + k_step - 1) / k_step * k_step;
    const std::uintptr_t read_at = read_offset();
    const std::uintptr_t write_at = distance(buffer_, write_);
    buffer_ = resized(buffer_, capacity);
    capacity_ = capacity;
    read_ = moved(buffer_, read_at);
    write_ = buffer_ + write_at;
    *write_ = static_cast<unsigned char>(*write_ & low_mask(write_bit_));
    std::memset(write_ + 1, 0, capacity_ + k_spare - write_at - 1);
}

/// Sees to it that `bits` more fit.
void UT_BITSTREAM::make_room(std::size_t bits)
{
    const auto wanted = (static_cast<std::size_t>(totalbits()) + bits + 7) / 8;
    if (wanted > capacity_) extend(wanted);
}

/// Writes the low `count` bits, 1 to 32, for which there is room.
void UT_BITSTREAM::put_some(std::uint32_t value, int count)
{
    const std::uint64_t mask = low_mask(count);
    const std::uint64_t others = load(write_, k_window) & ~(mask << write_bit_);
    store(write_, others | (value & mask) << write_bit_, k_window);
    write_bit_ += count;
    write_ += write_bit_ / 8;
    write_bit_ %= 8;
}

/// The eight bytes to read from, of which those outside the buffer are 0.
std::uint64_t UT_BITSTREAM::window_outside() const
{
    std::uint64_t window = 0;
    for (std::uintptr_t i = 0; i < 8; ++i) {
        const std::uintptr_t offset = read_offset() + i;
        if (offset < capacity_) window |= std::uint64_t{buffer_[offset]} << 8 * i;
    }
    return window;
}

/// The next `count` bits, 1 to 32.
std::uint32_t UT_BITSTREAM::next_bits(int count)
{
    const std::uint64_t window = read_offset() < capacity_ ? load(read_, k_window) : window_outside();
    const std::uint64_t value = window >> read_bit_ & low_mask(count);
    skip(count);
    return static_cast<std::uint32_t>(value);
}

void UT_BITSTREAM::skip(int count)
{
    const std::int64_t bit = std::int64_t{read_bit_} + count;
    read_ = moved(read_, static_cast<std::uintptr_t>(bit / 8));
    read_bit_ = static_cast<std::int32_t>(bit % 8);
}

/// In bytes from the start of the buffer; a place in front of it is larger than any in it.
std::uintptr_t UT_BITSTREAM::read_offset() const
{
    return distance(buffer_, read_);
}
