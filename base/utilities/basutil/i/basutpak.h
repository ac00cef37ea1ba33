/// \file i/basutpak.h
/// The packer of the suite: matches within the last 32 KiB of content, and two trees of words per block.
///
/// What one `pak` call is given is one block: a table of weights, and then literals and matches as words of
/// two trees that have their shape from the table. The weights themselves are words of a third tree, which
/// adapts. The bytes are read for decades: what the same calls write is the same on every host.
/// Threads: no locks; an object belongs to its stream.
#pragma once
#include <cstdint>
#include <memory>

#include "basuthuff.h"
#include "basutpakio.h"
#include "uttypes.h"

namespace ketriope {
class bit_window;
class match_finder;
class unpacking_tables;
struct found_word;
struct packed_tokens;
}  // namespace ketriope

/// A position in a list of them. Ownership: a bucket owns the chain behind it.
struct UT_EXPORT UTPAK_BUCKET {
    UTPAK_BUCKET() = default;
    UTPAK_BUCKET(UTPAK_BUCKET* behind, long at) : next(behind), position(static_cast<ut_long>(at)) {}
    UTPAK_BUCKET(const UTPAK_BUCKET&) = delete;
    UTPAK_BUCKET& operator=(const UTPAK_BUCKET&) = delete;
    ~UTPAK_BUCKET();

    UTPAK_BUCKET* next = nullptr;
    ut_long position = 0;
};

/// Packs content onto a device, or reads it back from one.
///
/// Lifetime: what was packed is complete when the object is destroyed, which writes the end mark.
class UT_EXPORT UTPAK_DATA : public UT_PAKIO {
public:
    /// Errors: a version other than "1", or 0, which means it, breaks the contract, exit value 19.
    UTPAK_DATA(UT_IO_DEVICE* device, char pak_version, char huf_version);
    UTPAK_DATA(const UTPAK_DATA&) = delete;
    UTPAK_DATA& operator=(const UTPAK_DATA&) = delete;
    /// Errors: a device that takes less breaks the contract, exit value 19. Nothing is thrown while another
    /// exception is on its way.
    ~UTPAK_DATA() noexcept(false);

    /// Packs `length` bytes as one block; above 2^30 bytes, as several. A `length` below 1 is an empty block.
    ///
    /// Errors: a device that takes less breaks the contract, exit value 19.
    void pak(char* data, long length);
    /// Reads up to `length` bytes of content, 2^30 at most, and returns how many there were.
    ///
    /// Shape: fewer only at the end; where the input was cut off, all that was complete. With a null `out`
    /// they are dropped.
    /// Errors: a match that begins in front of the content is message 1103, and the process ends with 1.
    long unpak(char* out, long length);
    void getversion(char& pak_version, char& huf_version) const;
    /// Blocks that were written, or whose table was read, so far.
    ut_uint64 get_block_count() const { return blocks_; }

protected:
    /// Where in the table the three bytes at `position` belong, 0 to 65535; -1 where fewer are left.
    long gethash(long position) const;
    /// Finds what the bytes at `position` repeat, among the positions entered and not above 32767 bytes back.
    ///
    /// Shape: the longest match of up to 321 bytes, of several the nearest; but the nearest of 7 bytes or
    /// more is as good as any. Without a match the result is 0, the position -1 and the length 0.
    unsigned char findlongestmatch(long position, long& match_position, long& match_length) const;
    /// Forgets content that is used up and more than 32768 bytes back: all positions fall by as much.
    void shrinkunpacked();
    /// A bucket in front of `next`, from the free list where it has one. Ownership: the caller's.
    UTPAK_BUCKET* getnewbucket(UTPAK_BUCKET* next, long position);
    /// Puts a whole chain into the free list.
    void freebuckets(UTPAK_BUCKET* first);

    ut_long window_end() const { return end_; }
    ut_long processed() const { return processed_; }

private:
    unsigned char* window() const { return window_ + dropped_; }
    void grow_window(ut_long end);
    void pak_block(const unsigned char* data, ut_long length);
    void find_tokens(ut_long begin, ketriope::packed_tokens& tokens) const;
    void put_tokens(const ketriope::packed_tokens& tokens);
    void put_weights();
    void put_weight(const UTHUF_TREE& tree, unsigned long word);
    void put_end();

    bool unpak_token();
    void unpak_tokens(ut_long target);
    bool unpak_match(ketriope::bit_window& bits, ketriope::found_word found);
    bool get_match(unsigned long word);
    bool get_weights();
    bool get_weight(UTHUF_TREE& tree, unsigned long word);
    void append_match(ut_long offset, ut_long length);
    void refuse_offset();

    char version_;
    unsigned char ended_ = 0;          ///< the end mark was read
    unsigned char* window_ = nullptr;  ///< memory of `malloc`
    ut_long end_ = 0;                  ///< bytes in the window
    ut_long processed_ = 0;            ///< of these, taken from the caller or handed out
    std::unique_ptr<UTHUF_ADAPTIVE_TREE> weights_;
    std::unique_ptr<UTHUF_TREE> literals_;
    std::unique_ptr<UTHUF_TREE> offsets_;
    std::unique_ptr<ketriope::match_finder> positions_;  ///< null in a reader
    std::unique_ptr<UTPAK_BUCKET> free_buckets_;
    std::unique_ptr<ketriope::unpacking_tables> tables_;  ///< null in a writer
    ut_long dropped_ = 0;   ///< bytes in front of the window, moved away at times
    ut_long capacity_ = 0;  ///< of the window's memory
    ut_uint64 blocks_ = 0;  ///< written, or begun to be read
};
