/// \file i/basutgcomp.h
/// The block-compressed forms of a file: each block is a count of bytes and that many compressed ones.
///
/// A file of this form has a signature of 7 bytes and then blocks of up to 32768 bytes of content. A block
/// is what the stream above handed over at once; it is compressed by itself.
/// Threads: no locks; an object belongs to its stream.
#pragma once
#include <cstdint>
#include <memory>

#include "basutio.h"
#include "uttypes.h"

class UT_STREAM;

/// One algorithm, without a state of its own. The base has none: its two operations do nothing, and leave the
/// count of bytes as it is.
class UT_EXPORT UT_GCOMPALG {
public:
    static constexpr unsigned int k_most = 32768;  ///< bytes that an operation may produce

    UT_GCOMPALG() = default;
    UT_GCOMPALG(const UT_GCOMPALG&) = default;
    UT_GCOMPALG& operator=(const UT_GCOMPALG&) = default;
    virtual ~UT_GCOMPALG();
    /// Both work on `source_length` bytes and store how many they produced; 0 is a failure, too.
    ///
    /// Shape: `destination` has room for `k_most` bytes, and no more are produced: what does not fit is lost.
    virtual void compress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                          unsigned int& destination_length);
    virtual void decompress(const unsigned char* source, unsigned int source_length,
                            unsigned char* destination, unsigned int& destination_length);
};

/// By zlib, at its default level.
class UT_EXPORT UT_GCA : public UT_GCOMPALG {
public:
    void compress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                  unsigned int& destination_length) override;
    void decompress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                    unsigned int& destination_length) override;
};

/// By bzip2, with a block size of 6.
class UT_EXPORT UT_GCB : public UT_GCOMPALG {
public:
    void compress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                  unsigned int& destination_length) override;
    void decompress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                    unsigned int& destination_length) override;
};

/// Reads or writes the blocks of one file, in its order, from the first to the last.
class UT_EXPORT UT_GCOMP {
public:
    /// Works on `fd`, which stays the caller's and stands in front of the first block, or at the start of
    /// a file to be written: the signature then comes first.
    ///
    /// `access` has bit 1 to read; otherwise the object writes. Bit 16 takes `UT_GCA`, bit 32 `UT_GCB`; the
    /// first wins, and without either nothing is produced.
    UT_GCOMP(UT_ACCESS access, int fd);
    UT_GCOMP(const UT_GCOMP&) = delete;
    UT_GCOMP& operator=(const UT_GCOMP&) = delete;
    /// Writes out what its stream still holds.
    ~UT_GCOMP();

    /// Writes `length` bytes as one block and returns `length`, also where the file took less: see
    /// `take_error`.
    ///
    /// Content that does not fit into 32768 compressed bytes is lost; 16384 bytes always fit.
    long write(const unsigned char* from, long length);
    /// Reads up to `count` bytes of content and returns how many there were; 0 at the end.
    ///
    /// Shape: a `count` below 0 or above 16383 brings one whole block of up to 32768 bytes, whatever `count`
    /// is: `out` must have room for it. The first smaller `count` ends that for good: from then on blocks are
    /// staged, and `count` bytes are delivered over the borders of blocks.
    /// A block that is cut short or whose count cannot be is the end; one that cannot be decompressed is
    /// empty.
    long read(unsigned char* out, long count);
    /// Writes out what the inner stream holds; false where the file took less.
    bool flush();
    /// Tells the `errno` of the last failure of the file, or `EFBIG` when content was lost in a block, and
    /// forgets it; 0 without one.
    int take_error();
    /// Whole blocks that were read or written so far.
    ut_uint64 get_block_count() const { return blocks_; }
    /// True once a read has met a block that is cut short, or a count that cannot be.
    unsigned char is_cut_short() const { return cut_short_ != 0; }

private:
    std::int32_t next_block();
    std::int32_t read_block(unsigned char* out);

    std::unique_ptr<UT_STREAM> inner_;          ///< on the same descriptor
    std::unique_ptr<unsigned char[]> block_;    ///< compressed bytes
    std::unique_ptr<unsigned char[]> staging_;  ///< content, made when it is first needed
    std::unique_ptr<UT_GCOMPALG> algorithm_;
    std::int32_t staged_ = 0;  ///< staging is in use
    std::int32_t next_ = 0;    ///< of the staged bytes, the next to deliver
    std::int32_t count_ = 0;   ///< staged bytes
    std::int32_t ended_ = 0;   ///< no further block is to be had
    std::int32_t lost_ = 0;    ///< content did not fit into a block
    std::int32_t cut_short_ = 0;
    ut_uint64 blocks_ = 0;
};
