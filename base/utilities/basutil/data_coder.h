/// \file data_coder.h
/// The seam between a device and the compressors behind it.
///
/// A device asks for a coder at its first transfer and ends it when the stream is rewound or closed. It
/// knows nothing else of the compressors: that is in `make_coder` alone.
#pragma once
#include <cstddef>
#include <memory>

#include "basutio.h"

namespace ketriope {

/// The two bytes behind the signature of packed data.
struct coder_versions {
    char pak = 0;
    char huf = 0;
};

/// One run of content through a compressor, in one direction, from its start to its end.
class data_coder {
public:
    data_coder() = default;
    data_coder(const data_coder&) = delete;
    data_coder& operator=(const data_coder&) = delete;
    virtual ~data_coder() = default;

    /// Reads up to `count` bytes of content; 0 at the end. See `UT_IO_DEVICE::get_data` on the room that
    /// `out` must have.
    virtual std::size_t read(unsigned char* out, std::size_t count) = 0;
    /// Reads up to `count` bytes and drops them; returns how many there were.
    std::size_t skip(std::size_t count);
    virtual void write(const unsigned char* from, std::size_t count) = 0;
    /// Completes what was written; nothing else is called afterwards. A broken contract may be raised.
    virtual void finish() = 0;
    /// The `errno` of a failure that the device has not seen, which is then forgotten; 0 without one.
    virtual int take_error() { return 0; }
    /// How many blocks of compressed data were read or written so far.
    virtual ut_uint64 blocks() const { return 0; }
    /// True when the compressed data ended where they could not end, as in a file that was cut.
    virtual bool is_cut_short() const { return false; }
    /// What a packer writes; not asked of the others.
    virtual coder_versions versions() const { return {}; }

private:
    /// Reads and drops a piece of up to `count` bytes; a small one, so that no block is read whole.
    virtual std::size_t drop_piece(std::size_t count);
};

/// Makes a coder for the device, which outlives it. The mode is not `UT_IO_RAW`.
///
/// The versions stand in the device. Mask and descriptor are those of the `UT_STREAM` that the device is.
using coder_maker = std::unique_ptr<data_coder> (*)(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode);

/// The coder of `mode`, or null where there is none.
std::unique_ptr<data_coder> make_coder(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode);

/// Puts `maker` in place, or none; returns the one before.
coder_maker install_coders(coder_maker maker) noexcept;

}  // namespace ketriope
