/// \file i/basutbitstream.h
/// A buffer that grows, written and read bit by bit at two positions that do not know of each other.
///
/// Shape: bits fill each byte from the least significant one up, and numbers go low bits first. All bits
/// at and behind the write position are 0.
/// Units: a number given or returned as `long` has 32 bits on every host. Counts are in bits.
/// Ownership: a copy shares the buffer of its source, and only one of the two may be destroyed.
/// Threads: no locks; a stream belongs to one thread at a time.
/// Errors: exhausted memory throws `std::bad_alloc` and leaves the stream as it was.
#pragma once
#include <cstddef>
#include <cstdint>

#include "uttypes.h"

/// A place in a bit stream to read from.
struct UT_BSTATE {
    ut_int64 byte = 0;  ///< from the start of the buffer
    int bit = 0;        ///< of that byte, 0 to 7
};

class UT_EXPORT UT_BITSTREAM {
public:
    /// An empty stream with a buffer of 1024 bytes.
    UT_BITSTREAM();
    /// A stream that holds a copy of the first `bits` bits of `data`, to be read from the start and
    /// written behind them. Null and a count below 1 make an empty stream.
    UT_BITSTREAM(const unsigned char* data, long bits);
    UT_BITSTREAM(const UT_BITSTREAM&) = default;  // shallow on purpose, as is assignment: see above
    UT_BITSTREAM& operator=(const UT_BITSTREAM&) = default;
    ~UT_BITSTREAM();

    /// The buffer, of which (totalbits() + 7) / 8 bytes are written.
    /// Lifetime: until the next call that writes.
    unsigned char* getdata() { return buffer_; }

    /// Writes a 1 unless `bit` is 0.
    void putbit(char bit) { putubits(bit != 0 ? 1 : 0, 1); }
    /// Writes the low `count` bits of `value`; past 32 of them zeros. A count below 1 writes nothing.
    void putubits(unsigned long value, int count);
    void putbits(long value, int count) { putubits(static_cast<unsigned long>(value), count); }
    void putbyte(char value) { putubits(static_cast<unsigned char>(value), 8); }
    void putubyte(unsigned char value) { putubits(value, 8); }
    void putshort(short value) { putubits(static_cast<unsigned short>(value), 16); }
    void putushort(unsigned short value) { putubits(value, 16); }
    void putlong(long value) { putbits(value, 32); }
    void putulong(unsigned long value) { putubits(value, 32); }
    /// Writes the first `bits` bits of `data`, which are laid out as the stream's own and may be a part of
    /// it. Null and a count below 1 write nothing.
    void putblock(const unsigned char* data, long bits);

    // Reading goes on past the write position, and past the buffer: there are zeros. Ask `anybitsleft` or
    // `numremainingbits` first.

    int getbit() { return static_cast<int>(getubits(1)); }
    /// Reads `count` bits and returns the low 32 of them. A count below 1 reads nothing and gives 0.
    unsigned long getubits(int count);
    /// The same, extended from bit `count` - 1, or from bit 31 if there are more.
    long getbits(int count);
    signed char getbyte() { return static_cast<signed char>(getbits(8)); }
    unsigned char getubyte() { return static_cast<unsigned char>(getubits(8)); }
    short getshort() { return static_cast<short>(getbits(16)); }
    unsigned short getushort() { return static_cast<unsigned short>(getubits(16)); }
    long getlong() { return getbits(32); }
    unsigned long getulong() { return getubits(32); }
    /// Reads `bits` bits into (bits + 7) / 8 bytes, of which the last is filled up with zeros. Null and a
    /// count below 1 read nothing.
    void getblock(unsigned char* out, long bits);

    /// Tells the position to read from, and goes to one, which may lie outside the buffer.
    void getstate(UT_BSTATE& state) const;
    void setstate(const UT_BSTATE& state);
    /// True when the two positions differ, also when all has been read and more.
    bool anybitsleft() const { return read_ != write_ || read_bit_ != write_bit_; }
    /// The bits between the two positions; negative when reading has gone past writing. It wraps where
    /// a state from far outside makes them more than a `long` holds.
    long numremainingbits() const;
    long totalbits() const;  ///< those written, since the start or what `flush` has left
    /// Drops the bytes that have been read whole; the capacity stays.
    ///
    /// Lifetime: states taken before name other places afterwards.
    /// Edges: nothing is dropped when the byte to read from lies behind the one to write to.
    void flush();

private:
    void extend(std::size_t bytes);
    void make_room(std::size_t bits);
    void put_some(std::uint32_t value, int count);
    std::uint32_t next_bits(int count);
    std::uint64_t window_outside() const;
    void skip(int count);
    std::uintptr_t read_offset() const;

    unsigned char* buffer_;       ///< a few bytes longer than the capacity; what is not written is 0
    std::size_t capacity_;        ///< in bytes
    unsigned char* read_;         ///< may lie outside the buffer
    std::int32_t read_bit_ = 0;   ///< 0 to 7
    unsigned char* write_;        ///< at most one past the capacity
    std::int32_t write_bit_ = 0;  ///< 0 to 7
};
