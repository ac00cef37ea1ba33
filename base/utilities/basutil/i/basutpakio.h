/// \file i/basutpakio.h
/// Bits in and out of a device, the lowest bit of a byte first.
///
/// An object either reads or writes: the first transfer decides.
/// Ownership: the device stays the caller's, and outlives the object.
/// Threads: no locks; an object belongs to its stream.
#pragma once
#include <cstdint>
#include <memory>

#include "basutio.h"
#include "uttypes.h"

class UT_EXPORT UT_PAKIO {
public:
    explicit UT_PAKIO(UT_IO_DEVICE* device);
    UT_PAKIO(const UT_PAKIO&) = delete;
    UT_PAKIO& operator=(const UT_PAKIO&) = delete;
    /// Writes out what the buffer holds, the last byte filled up with zero bits.
    ///
    /// Errors: as `flush`. Nothing is thrown while another exception is on its way.
    ~UT_PAKIO() noexcept(false);

    /// Writes out what the buffer holds.
    ///
    /// Shape: a byte in progress goes out with zeros for the bits it lacks, and the next bit takes the same
    /// place in a new byte. Within a stream of bits this is no use: it is for its end.
    /// Errors: a device that takes less breaks the contract, exit value 19; what it did not take is lost.
    void flush() { unload_next_buffer(); }

    /// The next bit; 0 beyond the end.
    unsigned char getbit()
    {
        unsigned char bit = take_low_bit();
        if (register_ == 0) {  // that was the marker
            load_register();
            bit = take_low_bit();
        }
        return bit;
    }
    /// The next `n` bits as a number, its lowest bit first; where the input ends, what there is of it.
    ///
    /// Shape: `n` above 32 counts as 32.
    unsigned long getbits(unsigned n);
    /// Writes a 1 for every value but 0.
    void putbit(unsigned char bit) { putbits(bit != 0, 1); }
    /// Writes the lowest `n` bits of `value`, the lowest first. Beyond 32 they are zeros.
    void putbits(unsigned long value, unsigned n);

    /// Tells how many raw bytes are used up. Units: bytes, modulo 2^32.
    ///
    /// Shape: reading, those whose bits are at hand count, three at a time; writing, whole bytes count.
    long get_curr_offset() const;
    /// True once a bit beyond the last byte was asked for.
    unsigned char is_end_of_pakio() const { return state_ == k_ended; }

protected:
    enum : std::int32_t {
        k_fresh = 0,
        k_reading = 1,
        k_reading_last = 2,  ///< the device gave less than the buffer holds
        k_ended = 3,
        k_writing = 4
    };

    /// Takes the next bytes of the buffer to the register.
    void load_register()
    {
        if (bytes_left_ >= k_bytes_at_once)
            load_whole_register();
        else
            slow_load_register();
    }
    /// Fills the buffer from the device, unless it has bytes left.
    void load_next_buffer();
    /// Gives the buffer's bytes to the device, the one in progress with them.
    void unload_next_buffer();
    /// The place of the highest set bit of the register: how many bits it holds. 0 for none.
    unsigned find_marker_bit() const;
    /// `n`, or the count of bits in the register if that is less.
    unsigned have_enough_bits(unsigned n) const;

    static constexpr std::uint32_t k_bytes_at_once = 3;
    static constexpr std::uint32_t k_whole_marker = 0x1000000;  ///< above the bits of three bytes

    std::int32_t state_ = k_fresh;
    UT_IO_DEVICE* device_;
    std::unique_ptr<unsigned char[]> buffer_;
    unsigned char* current_;        ///< next byte to read, or the one being filled
    unsigned char* last_;           ///< the buffer's last byte
    std::uint32_t buffer_size_;     ///< bytes
    std::uint32_t bytes_left_ = 0;  ///< read into the buffer and not yet at hand
    std::uint32_t register_ = 0;    ///< bits at hand, the next one lowest, and a marker bit above the last
    std::uint32_t mask_ = 1;        ///< the bit to write; 1: the current byte is empty
    std::uint32_t offset_ = 0;      ///< raw bytes of earlier buffers

private:
    unsigned char take_low_bit()
    {
        const auto bit = static_cast<unsigned char>(register_ & 1);
        register_ >>= 1;
        return bit;
    }
    void load_whole_register()
    {
        register_ =
            k_whole_marker | std::uint32_t{current_[2]} << 16 | std::uint32_t{current_[1]} << 8 | current_[0];
        current_ += k_bytes_at_once;
        bytes_left_ -= k_bytes_at_once;
    }
    void slow_load_register();
    void next_byte();
};
