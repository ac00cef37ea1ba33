// basutgcomp.cpp
#include "basutgcomp.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <bzlib.h>
#include <zlib.h>

#include "basutstream.h"

namespace {

constexpr std::size_t k_inner_buffer = 4096;
constexpr long k_least_whole = 16384;  ///< from this count on a read takes one whole block
constexpr int k_count_bytes = 4;

// How the second compressor is called. The values are those of every file written so far, though any reader
// takes others.
constexpr int k_block_size = 6;
constexpr int k_work_factor = 30;
constexpr int k_quiet = 0;
constexpr int k_fast = 0;

/// bzip2 takes its source as characters that may be written; it does not write there.
char* as_text(const unsigned char* bytes)
{
    return const_cast<char*>(reinterpret_cast<const char*>(bytes));
}
char* as_text(unsigned char* bytes)
{
    return reinterpret_cast<char*>(bytes);
}

std::unique_ptr<UT_GCOMPALG> algorithm_of(UT_ACCESS access)
{
    if ((access & UT_ACCESS_GCA) != 0) return std::make_unique<UT_GCA>();
    if ((access & UT_ACCESS_GCB) != 0) return std::make_unique<UT_GCB>();
    return std::make_unique<UT_GCOMPALG>();
}

}  // namespace

// ---- the algorithms

UT_GCOMPALG::~UT_GCOMPALG() = default;

void UT_GCOMPALG::compress(const unsigned char*, unsigned int, unsigned char*, unsigned int&) {}

void UT_GCOMPALG::decompress(const unsigned char*, unsigned int, unsigned char*, unsigned int&) {}

// After a failure the length is not defined, or tells of content that is not: it counts as nothing.

void UT_GCA::compress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                      unsigned int& destination_length)
{
    uLongf produced = k_most;
    const int result = ::compress(destination, &produced, source, source_length);
    destination_length = result == Z_OK ? static_cast<unsigned int>(produced) : 0;
}

void UT_GCA::decompress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                        unsigned int& destination_length)
{
    uLongf produced = k_most;
    const int result = ::uncompress(destination, &produced, source, source_length);
    destination_length = result == Z_OK ? static_cast<unsigned int>(produced) : 0;
}

void UT_GCB::compress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                      unsigned int& destination_length)
{
    destination_length = k_most;
    const int result = BZ2_bzBuffToBuffCompress(as_text(destination), &destination_length, as_text(source),
                                                source_length, k_block_size, k_quiet, k_work_factor);
    if (result != BZ_OK) destination_length = 0;
}

void UT_GCB::decompress(const unsigned char* source, unsigned int source_length, unsigned char* destination,
                        unsigned int& destination_length)
{
    destination_length = k_most;
    const int result = BZ2_bzBuffToBuffDecompress(as_text(destination), &destination_length, as_text(source),
                                                  source_length, k_fast, k_quiet);
    if (result != BZ_OK) destination_length = 0;
}

// ---- the blocks

UT_GCOMP::UT_GCOMP(UT_ACCESS access, int fd)
    : inner_(std::make_unique<UT_STREAM>(
          fd, (access & UT_ACCESS_READ) != 0 ? UT_ACCESS_READ : UT_ACCESS_WRITE, k_inner_buffer, nullptr)),
      block_(std::make_unique<unsigned char[]>(UT_GCOMPALG::k_most)), algorithm_(algorithm_of(access))
{
    inner_->set_gc_access(access);
}

UT_GCOMP::~UT_GCOMP()
{
    flush();
}

bool UT_GCOMP::flush()
{
    return inner_->flush() != 0;
}

int UT_GCOMP::take_error()
{
    const int of_file = inner_->geterror();
    inner_->clearerror();
    return std::exchange(lost_, 0) != 0 && of_file == 0 ? EFBIG : of_file;
}

long UT_GCOMP::write(const unsigned char* from, long length)
{
    if (length < 1) return length;
    unsigned int produced = 0;
    algorithm_->compress(from, static_cast<unsigned int>(length), block_.get(), produced);
    if (produced == 0) lost_ = 1;
    inner_->write(static_cast<int>(produced));
    inner_->write(block_.get(), static_cast<int>(produced));
    ++blocks_;
    return length;
}

long UT_GCOMP::read(unsigned char* out, long count)
{
    if (staged_ == 0 && (count < 0 || count >= k_least_whole)) return read_block(out);
    if (staged_ == 0) {
        staging_ = std::make_unique<unsigned char[]>(UT_GCOMPALG::k_most);
        staged_ = 1;
    }
    long done = 0;
    while (done < count) {
        if (next_ == count_) {
            next_ = 0;
            count_ = read_block(staging_.get());
            if (ended_ != 0) break;
        }
        const auto piece = static_cast<std::int32_t>(std::min<long>(count - done, count_ - next_));
        std::copy_n(staging_.get() + next_, piece, out + done);
        next_ += piece;
        done += piece;
    }
    return done;
}

/// Decompresses the next block and returns the bytes of content; 0 at the end, and for a damaged block.
std::int32_t UT_GCOMP::read_block(unsigned char* out)
{
    const std::int32_t size = next_block();
    if (size < 0) return 0;
    unsigned int produced = 0;
    algorithm_->decompress(block_.get(), static_cast<unsigned int>(size), out, produced);
    return static_cast<std::int32_t>(produced);
}

/// Takes the next block in hand and returns its size, or -1 at the end. A count that cannot be, and a block
/// cut short, are the end, too: what follows could not be told from content.
std::int32_t UT_GCOMP::next_block()
{
    if (ended_ != 0) return -1;
    int size = 0;
    const int counted = inner_->read(size);
    const bool whole = counted == k_count_bytes && size >= 0 &&
                       static_cast<unsigned int>(size) <= UT_GCOMPALG::k_most &&
                       inner_->read(block_.get(), size) == size;
    if (whole) {
        ++blocks_;
        return size;
    }
    ended_ = 1;
    cut_short_ = counted != 0;
    return -1;
}
