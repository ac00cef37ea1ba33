// basutpakio.cpp
#include "basutpakio.h"

#include <algorithm>
#include <bit>

#include "contract.h"

namespace {

// Also raised from the end of a packer, which may come while another exception is on its way.
constexpr ketriope::site k_not_written{.module = "basutpakio", .in_destructor = true};

constexpr std::uint32_t k_buffer_size = 4096;
constexpr unsigned k_most_bits = 32;
constexpr int k_most_loads = 3;  ///< for 32 bits of three bytes at a time
constexpr unsigned k_byte_bits = 8;

}  // namespace

UT_PAKIO::UT_PAKIO(UT_IO_DEVICE* device)
    : device_(device), buffer_(std::make_unique<unsigned char[]>(k_buffer_size)), current_(buffer_.get()),
      last_(current_ + k_buffer_size - 1), buffer_size_(k_buffer_size)
{
}

UT_PAKIO::~UT_PAKIO() noexcept(false)
{
    if (state_ == k_fresh || state_ == k_writing) unload_next_buffer();
}

long UT_PAKIO::get_curr_offset() const
{
    const std::uint32_t used = offset_ + static_cast<std::uint32_t>(current_ - buffer_.get());
    return static_cast<long>(used);
}

// ---- input

void UT_PAKIO::load_next_buffer()
{
    if (bytes_left_ > 0) return;
    offset_ += static_cast<std::uint32_t>(current_ - buffer_.get());
    current_ = buffer_.get();
    if (state_ == k_fresh) state_ = k_reading;
    const auto size = static_cast<int>(buffer_size_);
    const int got = std::clamp(device_->get_rawdata(current_, size), 0, size);
    bytes_left_ = static_cast<std::uint32_t>(got);
    if (got == 0)
        state_ = k_ended;
    else if (got < size)
        state_ = k_reading_last;
}

void UT_PAKIO::slow_load_register()
{
    if (bytes_left_ == 0) load_next_buffer();
    if (bytes_left_ >= k_bytes_at_once) return load_whole_register();
    if (bytes_left_ == 0) {
        state_ = k_ended;
        register_ = 0;
        return;
    }
    register_ = 1;  // the marker, which each byte moves up
    for (std::uint32_t i = bytes_left_; i-- > 0;) register_ = register_ << k_byte_bits | current_[i];
    current_ += bytes_left_;
    bytes_left_ = 0;
}

unsigned UT_PAKIO::find_marker_bit() const
{
    return register_ < 2 ? 0 : static_cast<unsigned>(std::bit_width(register_)) - 1;
}

unsigned UT_PAKIO::have_enough_bits(unsigned n) const
{
    return n < k_most_bits && register_ >> n != 0 ? n : find_marker_bit();
}

unsigned long UT_PAKIO::getbits(unsigned n)
{
    const unsigned wanted = std::min(n, k_most_bits);
    unsigned long value = 0;
    unsigned done = 0;
    for (int loads = 0; done < wanted;) {
        const unsigned count = have_enough_bits(wanted - done);
        if (count == 0) {
            if (loads++ == k_most_loads) break;
            load_register();
            if (is_end_of_pakio()) break;
            continue;
        }
        const unsigned long piece = register_ & ((1UL << count) - 1);
        value |= piece << done;
        register_ >>= count;
        done += count;
    }
    return value;
}

// ---- output

void UT_PAKIO::next_byte()
{
    if (current_++ == last_) unload_next_buffer();
    *current_ = 0;
}

void UT_PAKIO::putbits(unsigned long value, unsigned n)
{
    auto rest = static_cast<std::uint32_t>(value);
    while (n > 0) {
        const auto place = static_cast<unsigned>(std::countr_zero(mask_));
        const unsigned count = std::min(n, k_byte_bits - place);
        const std::uint32_t piece = rest & ((1U << count) - 1);
        *current_ = static_cast<unsigned char>(*current_ | piece << place);
        rest >>= count;
        n -= count;
        mask_ = 1U << ((place + count) % k_byte_bits);
        if (mask_ == 1) next_byte();
    }
}

void UT_PAKIO::unload_next_buffer()
{
    unsigned char* const first = buffer_.get();
    const auto count = static_cast<int>(current_ - first) + (mask_ != 1 ? 1 : 0);
    if (count == 0) return;
    if (state_ == k_fresh) state_ = k_writing;
    const int wrote = device_->set_rawdata(first, count);
    offset_ += static_cast<std::uint32_t>(count);
    current_ = first;
    *current_ = 0;
    if (wrote < count) ketriope::contract_failed(k_not_written, "Unable to write compressed data.");
}
