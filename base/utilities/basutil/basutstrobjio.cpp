// basutstrobjio.cpp: how a counted string goes to a stream and comes back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "basutstream.h"
#include "basutstrobj.h"

namespace {

constexpr ut_uint64 k_most_at_once = 1U << 30U;  // a call of the stream counts in an int
constexpr ut_uint64 k_believed = 1U << 26U;      // a length up to this is taken without proof
constexpr int k_piece = 255;

/// Reads up to `count` bytes and returns how many there were.
ut_uint64 read_up_to(UT_STREAM& stream, char* out, ut_uint64 count)
{
    ut_uint64 done = 0;
    while (done < count) {
        const int asked = static_cast<int>(std::min(count - done, k_most_at_once));
        const int got = stream.read(reinterpret_cast<unsigned char*>(out) + done, asked);
        if (got > 0) done += static_cast<ut_uint64>(got);
        if (got < asked) break;
    }
    return done;
}

/// One piece of a line, without what ends it.
struct line_piece {
    char bytes[k_piece];
    int count;

    line_piece(UT_STREAM& stream, char delim)
    {
        const char key[] = {delim, '\0'};
        count = stream.readkey(bytes, k_piece, key);
        if (count > 0 && ends_with(delim, stream)) --count;
    }

private:
    /// True for the delimiter, and for the NUL that the stream puts behind the last bytes of a file.
    bool ends_with(char delim, const UT_STREAM& stream) const
    {
        const char last = bytes[count - 1];
        return last == delim || (last == '\0' && stream.geteof() != 0);
    }
};

}  // namespace

bool UT_STROBJ::write_strobj(UT_STREAM& stream) const
{
    if (length_ > std::numeric_limits<std::uint32_t>::max()) return false;
    stream.write(static_cast<unsigned long>(length_));
    const auto* bytes = reinterpret_cast<const unsigned char*>(getstring());
    for (ut_uint64 done = 0; done < length_; done += k_most_at_once)
        stream.write(bytes + done, static_cast<int>(std::min(length_ - done, k_most_at_once)));
    return stream.geterror() == 0;
}

bool UT_STROBJ::read_strobj(UT_STREAM& stream)
{
    unsigned long length = 0;
    const bool whole = stream.read(length) == sizeof(std::uint32_t);
    return read_nbytes(stream, whole ? length : 0);
}

bool UT_STROBJ::read_nbytes(UT_STREAM& stream, ut_uint64 n)
{
    if (buffer_ != nullptr && is_only_ref() && front_room() + length_ >= n) {
        narrow(length_);
        offset_ -= n;
        length_ = n;
        std::fill(text() + read_up_to(stream, text(), n), text() + n, '\0');
        return stream.geterror() == 0;
    }
    char* block = read_block(stream, n);
    if (block == nullptr) {
        make_empty();
        return false;
    }
    adopt(block, k_head, n);
    return stream.geterror() == 0;
}

/// A new block with `n` characters of the stream, or null if it cannot be had. A long one grows with what
/// arrives, so that a forged length costs no more memory than the stream has bytes.
char* UT_STROBJ::read_block(UT_STREAM& stream, ut_uint64 n)
{
    char* block = nullptr;
    ut_uint64 got = 0;
    for (ut_uint64 capacity = std::min(n, k_believed);; capacity = std::min(n, 2 * capacity)) {
        char* larger = make_larger_buffer(block, got, capacity);
        if (larger == nullptr) break;
        block = larger;
        got += read_up_to(stream, block + k_head + got, capacity - got);
        if (capacity == n && (got == n || n <= k_believed)) return block;
        if (got < capacity) break;
    }
    std::free(block);
    return nullptr;
}

/// The pieces are put together first: appending each to the string would copy the line again and again.
bool UT_STROBJ::read_line(UT_STREAM& stream, char delim)
{
    std::string line;
    for (bool more = true; more;) {
        const line_piece piece(stream, delim);
        line.append(piece.bytes, static_cast<std::size_t>(std::max(piece.count, 0)));
        more = piece.count == k_piece;
    }
    *this = "";
    add(line);
    return stream.geterror() == 0;
}

bool UT_STROBJ::write_chars(UT_STREAM& stream, bool with_terminator) const
{
    const bool count = length_ != 0 || with_terminator;  // a truth value, and yet the count of bytes
    stream.write(reinterpret_cast<const unsigned char*>(getstring()), count ? 1 : 0);
    return stream.geterror() == 0;
}
