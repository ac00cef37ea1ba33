/// \file i/basutio.h
/// The layer between the buffer of a stream and its raw descriptor: it holds the compressors.
///
/// The bytes that pass are the caller's; whether the device stores them as they are, packed, or in
/// compressed blocks depends on the mode alone.
/// Threads: no locks; a device belongs to one thread at a time.
#pragma once
#include <cstddef>
#include <cstdint>

#include "uttypes.h"

namespace ketriope {
class data_coder;
}

/// How a file is opened: bits that are or-ed. The values stand in files and programs.
enum UT_ACCESS : int {
    UT_ACCESS_READ = 1,    ///< the buffer works as a read buffer
    UT_ACCESS_WRITE = 2,   ///< the buffer works as a write buffer
    UT_ACCESS_APPEND = 4,  ///< with write: writing begins at the end of the file
    UT_ACCESS_PACKED = 8,  ///< the file holds packed data
    UT_ACCESS_GCA = 16,    ///< the file holds blocks of the first general compressor
    UT_ACCESS_GCB = 32     ///< the file holds blocks of the second one; the first wins where both are set
};

constexpr UT_ACCESS operator|(UT_ACCESS one, UT_ACCESS other) noexcept
{
    return static_cast<UT_ACCESS>(static_cast<int>(one) | static_cast<int>(other));
}

/// The path through a device.
enum UT_IO_DEVICE_MODE : int {
    UT_IO_PAK = 0,  ///< through the packer
    UT_IO_GCA = 1,  ///< through the first general compressor
    UT_IO_GCB = 2,  ///< through the second one
    UT_IO_RAW = 3   ///< straight to the raw operations
};

class UT_EXPORT UT_IO_DEVICE {
public:
    UT_IO_DEVICE() = default;
    /// Shallow on purpose, as is assignment: a copy shares the compressors of its source.
    UT_IO_DEVICE(const UT_IO_DEVICE&) = default;
    UT_IO_DEVICE& operator=(const UT_IO_DEVICE&) = default;
    /// Errors: a packer that `destroy_me` has not ended breaks the contract, exit value 1. Nothing is
    /// thrown while another exception is on its way.
    virtual ~UT_IO_DEVICE() noexcept(false);

    // The order of these declarations is the order of the slots.

    /// Reads up to `count` stored bytes; fewer only at the end or on failure. Never negative.
    virtual int get_rawdata(unsigned char* out, int count) = 0;
    /// Writes `count` bytes as they are to be stored, and returns how many were written.
    virtual int set_rawdata(unsigned char* from, int count) = 0;
    /// Moves to a stored byte; -1 where that fails.
    virtual long set_rawoffset(long position) = 0;
    virtual long get_rawoffset() = 0;

    /// True when the bytes go through a compressor.
    unsigned char is_compressed() const { return mode_ < UT_IO_RAW; }
    char get_pak_version() const { return pak_version_; }
    char get_huf_version() const { return huf_version_; }
    /// How many blocks of compressed data the compressor in use has read or written so far.
    ut_uint64 get_block_count() const;
    /// True when compressed data ended where they could not end, as in a file that was cut. It is noticed
    /// by the read that meets the end.
    unsigned char is_cut_short() const;

protected:
    /// Reads up to `count` bytes of content.
    ///
    /// A block-compressed device delivers one whole block of up to 32768 bytes for a `count` above 16383
    /// if no smaller one was asked before, whatever `count` is: `out` must have room for it.
    long get_data(unsigned char* out, std::size_t count);
    /// Writes `count` bytes of content, and returns how many the device took.
    long set_data(unsigned char* from, std::size_t count);
    /// Moves to a byte of the content and returns the position reached. All ones (-1 or 0xFFFFFFFF) mean
    /// the end.
    ///
    /// With a compressor this rewinds and reads up to the position; one below 1, the end included, is
    /// the start, and so is the result.
    /// Errors: a compressed device that cannot be rewound breaks the contract, exit value 1.
    long set_offset(long position);
    /// The position in the content.
    long get_offset();

    /// Writes the two version bytes to `fd`; a version of 0 is written as "1". False if it cannot.
    unsigned char write_version(int fd);
    /// Reads the two version bytes from `fd`. False if it cannot.
    unsigned char read_version(int fd);

    /// Ends the compressors, which completes their output, and lets go of them.
    ///
    /// Returns the `errno` of what of that output could not be written, or 0.
    int destroy_me();
    UT_IO_DEVICE_MODE get_io_mode() const { return mode_; }
    void set_io_mode(UT_IO_DEVICE_MODE mode) { mode_ = mode; }

    /// True for both forms of the position that means the end, -1 and 0xFFFFFFFF.
    static constexpr bool is_end_mark(long position) { return position == -1 || position == k_end_mark; }
    /// Puts position and version bytes back to 0.
    void reset_device();
    /// The `errno` of a failure of the compressor, which is then forgotten: `ENOTSUP` when content could not
    /// pass because no compressor of the mode can be had. 0 without one.
    int take_coder_error();

private:
    static constexpr ut_int64 k_end_mark = 0xffffffff;

    ketriope::data_coder*& coder_slot();
    const ketriope::data_coder* coder_in_use() const;
    ketriope::data_coder* coder();

    UT_IO_DEVICE_MODE mode_ = UT_IO_RAW;
    ketriope::data_coder* pak_ = nullptr;    ///< null until first used
    ketriope::data_coder* gcomp_ = nullptr;  ///< null until first used
    std::uint32_t position_ = 0;             ///< bytes of content since the last rewind, modulo 2^32
    char pak_version_ = 0;
    char huf_version_ = 0;
};
