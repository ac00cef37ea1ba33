/// \file i/basutfileencode.h
/// The suite's own data files, single or packed together in one file "zeodata.etc" beside them.
///
/// The content of a file is held in memory and read like a stream. In the file it may be scrambled: each
/// byte is then changed by its position, so that it is no plain text, and no secret either.
/// Shape of a pack: five magic bytes if it is scrambled; the offset of the catalog in decimal and a line
/// feed; the members, back to back; the catalog, which is for each member its name and its end offset, each
/// with a line feed. Offsets count from behind the first line. A single file is the magic, if any, and bytes.
/// Ownership: a copy shares content and texts of its source, and only one of the two may be destroyed.
/// Errors: a success byte is 1 or 0. A file that cannot be opened, read or written whole gives 0; the
/// reason stands in `ut_file.geterror()`. So does a pack that contradicts itself, without a reason.
/// Threads: no locks; an object belongs to one thread at a time.
#pragma once
#include <cstdint>
#include <string_view>

#include "basutdarray.h"
#include "basutstream.h"
#include "uttypes.h"

class UT_EXPORT UT_FILEENCODE {
public:
    /// `pack_file` names the pack that `load` looks into, and the member that `dump` makes of the content;
    /// null leaves it open. With a non-zero `catalog`, `dump` writes packs.
    UT_FILEENCODE(const char* pack_file, unsigned char catalog);
    UT_FILEENCODE(const UT_FILEENCODE&) = default;  // shallow on purpose, as is assignment: see above
    UT_FILEENCODE& operator=(const UT_FILEENCODE&) = default;
    ~UT_FILEENCODE();

    // ---- files

    /// Writes the content to the file `name`, which is overwritten; a non-zero `encode` scrambles it.
    ///
    /// In catalog mode the file is a pack of the members entered so far. After `createcatalog` the content
    /// behind them is first entered as one more, named by the last component of the pack file's name.
    unsigned char dump(const char* name, unsigned char encode);

    /// Takes the content of the file `name`, in place of what was there, and goes to its start.
    ///
    /// With a non-zero `direct` that is the file itself if it can be opened. Otherwise it is the member of
    /// that name, directories left out, in the pack: the one of the constructor, or else "zeodata.etc" in
    /// the directory of `name`, which stays the pack from then on. False if there is none, and for null; the
    /// content is empty then. The name of the pack has at most 259 bytes.
    unsigned char load(const char* name, unsigned char direct);

    /// Adds the single file `from` behind the content, as a member named by its last component, and writes
    /// all members to the pack `to`, which is overwritten, scrambled if `from` is.
    ///
    /// Content behind the last member so far, such as that of `load`, becomes the beginning of the new one.
    unsigned char catalog(const char* from, const char* to);

    /// Makes `dump` enter the content as a member, until the next `load`.
    void createcatalog() { state_ = k_to_be_created; }

    // ---- the content

    /// Copies up to `n` bytes from the read position on and returns how many; the position stays.
    long peek(char* out, long n) const;
    /// Reads a line and returns the length of its text.
    ///
    /// Shape: at most `n` - 1 bytes are taken, through the line feed; that is left out, with a carriage
    /// return in front of it, and a NUL put behind the text. The rest of a longer line is the next one. A
    /// NUL within the line shortens the result.
    long readline(char* out, long n);
    /// Reads through a terminator of `key`, at most `n` bytes, and returns the count of bytes stored.
    ///
    /// Shape: the terminator is stored and counted. Where the content ends first, a NUL is, if there is
    /// room. `n` bytes without a terminator have no NUL.
    long readkey(char* out, long n, ketriope::stream_key key);
    /// Puts the text and a line feed behind the content, and returns the count of bytes.
    long writeline(const char* text);

    /// The read position.
    long getfoffset() const { return position_; }
    /// Moves there; false, and nothing moved, for a position outside the content.
    unsigned char setfoffset(long position);
    /// True once all of the content was read.
    unsigned char geteof() const { return eof_; }
    /// The name of the pack; null if there is none yet. Lifetime: that of the object.
    const char* getpackfile() const { return pack_file_; }

private:
    static constexpr std::int32_t k_to_be_created = 1;
    static constexpr std::int32_t k_loaded = 2;

    void decodebuff();
    void decodebuff(long start, long length);
    void encodebuff();
    void encodebuff(long start, long length);

    bool choose_pack(const char* name);
    bool take_member(UT_STREAM& in, std::string_view name, bool scrambled);
    bool put_pack(UT_STREAM& out, bool scrambled);
    bool put_members(UT_STREAM& out, bool scrambled);
    bool put_part(UT_STREAM& out, long start, long end, bool scrambled);
    bool enter(const char* name);
    void enter_own();
    void forget_members();

    long size() const { return content_.size(); }
    std::string_view text(long start, long end) const;
    /// Up to `n` bytes from the read position on.
    std::string_view ahead(long n) const
    {
        const long left = size() - position_;
        return text(position_, position_ + (n < left ? (n > 0 ? n : 0) : left));
    }
    std::string_view take_through(std::string_view ends, long n);
    bool append(std::string_view bytes);
    void move_to(long position);

    unsigned char eof_ = 0;
    DARRAY_BYTE content_;
    std::int32_t position_ = 0;
    char* pack_file_ = nullptr;
    unsigned char catalog_mode_;
    DARRAY_NAME names_;
    DARRAY_LONG ends_;
    std::int32_t count_ = 0;  ///< of members
    std::int32_t state_ = 0;
};
