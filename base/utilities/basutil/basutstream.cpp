// basutstream.cpp: the buffer, the descriptor under it, and the position. What works on text is in
// basutstreamtext.cpp, what switches to enciphered data in basutstreamenc.cpp.
#include "basutstream.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <utility>
#include <vector>

#include "basutblowfish.h"
#include "basutfile.h"
#include "contract.h"
#include "platform.h"
#include "storage_form.h"

using ketriope::platform::os;
using ketriope::platform::seek_from;

namespace {

constexpr ketriope::site k_site{.module = "basutstream", .exit_value = 1};

constexpr std::size_t k_least_buffer = 2048;
constexpr std::size_t k_most_buffer = std::size_t{1} << 30;
constexpr std::size_t k_largest_block = 32768;  ///< of content in a file of a general compressor

UT_FILEMANAGER* resolved(UT_FILEMANAGER* owner)
{
    return reinterpret_cast<std::uintptr_t>(owner) == 1 ? &ut_file : owner;
}

/// The bytes of a number go the opposite way where the host has its least significant one first.
constexpr bool k_numbers_reversed = std::endian::native == std::endian::little;

/// A count of bytes that a caller gave; a negative one is none.
std::size_t size_of(int count)
{
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool writes_whole(int descriptor, const ketriope::file_signature& bytes)
{
    return os().write(descriptor, bytes.data(), bytes.size()) == static_cast<std::int64_t>(bytes.size());
}

/// Copies bytes in their order, or in the opposite one.
void copy_bytes(const unsigned char* from, std::size_t count, unsigned char* out, bool reversed)
{
    if (reversed)
        std::reverse_copy(from, from + count, out);
    else
        std::copy_n(from, count, out);
}

}  // namespace

// ---- construction and end

UT_STREAM::UT_STREAM(int fd, UT_ACCESS access, std::size_t buffer_length, UT_FILEMANAGER* owner)
    : UT_STREAM(access, buffer_length, owner)
{
    descriptor_ = fd;
}

UT_STREAM::UT_STREAM(UT_ACCESS access, std::size_t buffer_length, UT_FILEMANAGER* owner)
    : owner_(resolved(owner))
{
    init(buffer_length, access, 0);
}

UT_STREAM::~UT_STREAM() noexcept(false)
{
    std::exception_ptr failure;  // a step that raises does not keep the others from being done
    const auto attempt = [&failure](auto step) {
        try {
            step();
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    };
    attempt([this] {
        if (enciphered_ != 0 && descriptor_ >= 0) enc_end();
    });
    attempt([this] { destroy_me(); });
    delete std::exchange(cipher_, nullptr);
    delete[] std::exchange(buffer_, nullptr);
    descriptor_ = -1;
    attempt([this] {
        if (owner_ != nullptr) std::exchange(owner_, nullptr)->rm_ofile(this);
    });
    if (failure && std::uncaught_exceptions() == 0) std::rethrow_exception(failure);
}

void UT_STREAM::destroy_me()
{
    // A packed file without content consists of its signature alone.
    const bool owes_signature = get_io_mode() == UT_IO_PAK && writes() && descriptor_ >= 0 &&
                                start_offset_ == 0 && get_offset() == 0 &&
                                os().seek(descriptor_, 0, seek_from::here) == 0;
    if (owes_signature) set_rawdata(nullptr, 0);
    if (const int failure = UT_IO_DEVICE::destroy_me()) error_ = failure;
}

void UT_STREAM::init(std::size_t buffer_length, UT_ACCESS access, unsigned char reuse)
{
    access_ =
        reuse == 0 ? access : static_cast<UT_ACCESS>((access & ~k_compressed) | (access_ & k_compressed));
    stack_position_ = 0;
    descriptor_ = -1;
    file_offset_ = 0;
    gc_access_ = UT_ACCESS{};
    eof_ = 0;
    eof_on_load_ = 0;
    buffer_offset_ = 0;
    buffer_end_ = 0;
    error_ = 0;
    start_offset_ = 0;
    enciphered_ = 0;
    delete std::exchange(cipher_, nullptr);
    reset_device();
    follow_mask();
    if (reuse == 0) resize_buffer(buffer_length);
}

void UT_STREAM::take_form(UT_ACCESS access, std::size_t buffer_length)
{
    access_ = access;
    follow_mask();
    resize_buffer(buffer_length);
}

void UT_STREAM::follow_mask()
{
    set_io_mode((access_ & UT_ACCESS_PACKED) != 0 ? UT_IO_PAK
                : (access_ & UT_ACCESS_GCA) != 0  ? UT_IO_GCA
                : (access_ & UT_ACCESS_GCB) != 0  ? UT_IO_GCB
                                                  : UT_IO_RAW);
}

void UT_STREAM::resize_buffer(std::size_t buffer_length)
{
    const std::size_t length = std::clamp(buffer_length, k_least_buffer, k_most_buffer);
    // A load under a general compressor takes a whole block, whatever the length. What the buffer holds
    // is kept. There is room for the rest of a cipher block.
    const auto held = static_cast<std::size_t>(std::max(buffer_offset_, buffer_end_));
    const bool in_blocks = (access_ & k_general) != 0 || delivers_blocks();
    const std::size_t capacity = std::max(in_blocks ? std::max(2 * length, k_largest_block) : length, held);
    auto* const memory = new unsigned char[capacity + ketriope::blowfish::k_block];
    if (buffer_ != nullptr) std::copy_n(buffer_, held, memory);
    delete[] std::exchange(buffer_, memory);
    buffer_length_ = length;
}

// ---- the buffer

/// Loads the buffer from its start; false when nothing came, or nothing could be tried.
bool UT_STREAM::load()
{
    buffer_offset_ = 0;
    if (eof_on_load_ != 0 || descriptor_ < 0) return false;
    // A derived class may have chosen the mode by itself: the mask gave no room for a whole block then.
    if (delivers_blocks() && (access_ & k_general) == 0) resize_buffer(buffer_length());
    const auto count = static_cast<std::size_t>(fetch(buffer_, buffer_length()));
    if (enciphered_ != 0) decipher(count);
    file_offset_ += static_cast<ut_int64>(count);
    buffer_end_ = count;
    eof_on_load_ = count < buffer_length_;
    return count > 0;
}

void UT_STREAM::loadbuf()
{
    if (!load()) eof_ = 1;
}

/// True when the buffer has a byte to read, be it after a load; otherwise the end is noticed.
bool UT_STREAM::has_bytes()
{
    if (eof_ == 0 && buffered() == 0) loadbuf();
    return eof_ == 0;
}

long UT_STREAM::fetch(unsigned char* out, std::size_t count)
{
    const long got = get_data(out, count);
    note_coder();
    return std::max(got, 0L);
}

unsigned char UT_STREAM::flush()
{
    if (buffer_offset_ == 0) return 1;
    if (descriptor_ < 0 || reads()) {
        buffer_offset_ = 0;
        return 1;
    }
    const auto filled = static_cast<std::size_t>(buffer_offset_);
    const std::size_t rest = enciphered_ != 0 ? filled % ketriope::blowfish::k_block : 0;
    const std::size_t whole = filled - rest;
    // Empties the buffer of what was handed out, when the device raises, too.
    struct emptying {
        UT_STREAM& stream;
        std::size_t handed_out, kept;
        ~emptying()
        {
            std::copy_n(stream.buffer_ + handed_out, kept, stream.buffer_);
            stream.buffer_offset_ = kept;
        }
    } const at_the_end{*this, whole, rest};
    const long taken = std::max(set_data(buffer_, whole), 0L);
    const bool coded = note_coder();
    file_offset_ += taken;
    return coded && static_cast<std::size_t>(taken) == whole;
}

/// Takes over a failure that only the compressor has seen; false when there was one.
bool UT_STREAM::note_coder()
{
    const int failure = take_coder_error();
    if (failure != 0) error_ = failure;
    return failure == 0;
}

/// Puts bytes into the buffer and returns how many; it ends early where the device failed.
std::size_t UT_STREAM::put_bytes(const unsigned char* from, std::size_t count, bool reversed)
{
    if (buffer_offset_ >= buffer_length_ && flush() == 0) return 0;
    std::size_t done = 0;
    while (done < count) {
        const auto room = static_cast<std::size_t>(buffer_length_ - buffer_offset_);
        const std::size_t piece = std::min(count - done, room);
        copy_bytes(reversed ? from + (count - done - piece) : from + done, piece, buffer_ + buffer_offset_,
                   reversed);
        buffer_offset_ += piece;
        done += piece;
        if (piece == room && flush() == 0) break;
    }
    return done;
}

/// Takes bytes out of the buffer and returns how many.
std::size_t UT_STREAM::get_bytes(unsigned char* out, std::size_t count, bool reversed)
{
    if (!has_bytes()) return 0;  // the end is noticed by a read of nothing, too
    std::size_t done = 0;
    while (done < count && has_bytes()) {
        const std::size_t piece = std::min(count - done, buffered());
        copy_bytes(buffer_ + buffer_offset_, piece, reversed ? out + (count - done - piece) : out + done,
                   reversed);
        buffer_offset_ += piece;
        done += piece;
    }
    return done;
}

/// Reads what follows the buffer straight from the device, which is then put back.
std::size_t UT_STREAM::peek_device(unsigned char* out, std::size_t count)
{
    if (eof_on_load_ != 0 || descriptor_ < 0) return 0;
    std::size_t got = 0;
    if (delivers_blocks()) {
        std::vector<unsigned char> block(std::max(count, k_largest_block));  // for a whole one, if it comes
        got = std::min(static_cast<std::size_t>(fetch(block.data(), count)), count);
        std::copy_n(block.data(), got, out);
    } else {
        got = static_cast<std::size_t>(fetch(out, count));
    }
    set_offset(static_cast<long>(file_offset_));
    return got;
}

/// The next byte, or -1. The end is left to be noticed by the next read.
int UT_STREAM::next_byte()
{
    if (eof_ != 0) return -1;
    if (buffered() == 0 && (eof_on_load_ != 0 || !load())) return -1;
    return buffer_[buffer_offset_];
}

// ---- bytes

int UT_STREAM::write(const unsigned char* from, int n)
{
    return static_cast<int>(put_bytes(from, size_of(n)));
}

int UT_STREAM::swrite(const unsigned char* from, int n)
{
    return static_cast<int>(put_bytes(from, size_of(n), true));
}

int UT_STREAM::read(unsigned char* out, int n)
{
    return static_cast<int>(get_bytes(out, size_of(n)));
}

int UT_STREAM::sread(unsigned char* out, int n)
{
    return static_cast<int>(get_bytes(out, size_of(n), true));
}

int UT_STREAM::peek(unsigned char* out, int n)
{
    if (writes() || eof_ != 0 || n < 1) return 0;
    const std::size_t wanted = size_of(n);
    const std::size_t near = std::min(wanted, buffered());
    std::copy_n(buffer_ + buffer_offset_, near, out);
    if (near == wanted) return n;
    return static_cast<int>(near + peek_device(out + near, wanted - near));
}

int UT_STREAM::speek(unsigned char* out, int n)
{
    if (n < 1) return 0;
    std::vector<unsigned char> ahead(size_of(n));
    const int count = peek(ahead.data(), n);
    std::reverse_copy(ahead.data(), ahead.data() + count, out + (n - count));
    return count;
}

long UT_STREAM::skip(long n)
{
    if (writes()) return 0;
    long done = 0;
    while (done < n && has_bytes()) {
        const long piece = std::min(n - done, static_cast<long>(buffered()));
        buffer_offset_ += static_cast<ut_uint64>(piece);
        done += piece;
    }
    return done;
}

int UT_STREAM::put_slow(const void* value, int size)
{
    return static_cast<int>(
        put_bytes(static_cast<const unsigned char*>(value), size_of(size), k_numbers_reversed));
}

int UT_STREAM::get_slow(void* value, int size)
{
    return static_cast<int>(get_bytes(static_cast<unsigned char*>(value), size_of(size), k_numbers_reversed));
}

// ---- position

unsigned char UT_STREAM::setfoffset(long position)
{
    if (writes()) flush();
    if (set_offset(position) < 0) {
        error_ = errno;
        return 0;
    }
    restart_at(position);
    if (reads()) loadbuf();
    return 1;
}

unsigned char UT_STREAM::seekend()
{
    if (writes()) flush();
    const long end = set_offset(-1);
    if (writes()) flush();
    if (end < 0) {
        error_ = errno;
        return 0;
    }
    return setfoffset(end);
}

long UT_STREAM::getfoffset() const
{
    const ut_int64 behind = writes() ? 0 : static_cast<ut_int64>(buffer_end_);
    return static_cast<long>(static_cast<ut_int64>(buffer_offset_) + file_offset_ - behind);
}

/// Takes the position of the device as the stream's own, with nothing in the buffer.
void UT_STREAM::restart_at(ut_int64 position)
{
    file_offset_ = position;
    eof_ = 0;
    eof_on_load_ = 0;
    buffer_offset_ = 0;
    buffer_end_ = 0;
}

// ---- the descriptor

int UT_STREAM::get_rawdata(unsigned char* out, int count)
{
    int done = 0;
    while (done < count) {
        const std::int64_t got = os().read(descriptor_, out + done, size_of(count - done));
        if (got < 0) error_ = errno;
        if (got <= 0) break;
        done += static_cast<int>(got);
    }
    return done;
}

int UT_STREAM::set_rawdata(unsigned char* from, int count)
{
    if (start_offset_ == 0 && !sign()) return count == 0 ? -1 : 0;
    const std::int64_t wrote = os().write(descriptor_, from, size_of(count));
    if (wrote < count) error_ = errno;
    return static_cast<int>(std::max<std::int64_t>(wrote, 0));
}

/// Puts the signature in front, if the file is to have one; false if it cannot be written.
bool UT_STREAM::sign()
{
    const bool packed = (access_ & UT_ACCESS_PACKED) != 0;
    if (!packed && (gc_access_ & k_general) == 0) return true;
    const std::int64_t at = os().seek(descriptor_, 0, seek_from::here);
    if (at > 0) {
        ketriope::internal_report(k_site, "UT_STREAM: File mode miss match.  No signature.");
        return true;
    }
    const ketriope::storage_form& form = packed                              ? ketriope::k_packed_form
                                         : (gc_access_ & UT_ACCESS_GCA) != 0 ? ketriope::k_gca_form
                                                                             : ketriope::k_gcb_form;
    const bool signed_now =
        at == 0 && writes_whole(descriptor_, form.signature) && (!packed || write_version(descriptor_) != 0);
    if (!signed_now) {
        error_ = errno;
        return false;
    }
    if (packed)
        adjust_compress_foffset();
    else
        adjust_compress_gc_foffset();
    return true;
}

/// The position, or -1 with the reason kept where it is negative.
long UT_STREAM::checked(ut_int64 position)
{
    if (position >= 0) return static_cast<long>(position);
    error_ = errno;
    return -1;
}

long UT_STREAM::set_rawoffset(long position)
{
    const bool to_end = is_end_mark(position);
    if (is_access_compressed() == 0)
        return checked(
            os().seek(descriptor_, to_end ? 0 : position, to_end ? seek_from::end : seek_from::start));
    if (to_end) {
        os().seek(descriptor_, 0, seek_from::end);
        error_ = errno;
        return -1;
    }
    if (position != 0) {
        ketriope::internal_report(k_site, "UT_STREAM: Inavlid seek request.");
        return 0;
    }
    if (start_offset_ == 0) ketriope::internal_report(k_site, "UT_STREAM: Invalid start offset.");
    return checked(os().seek(descriptor_, start_offset_, seek_from::start) - start_offset_);
}

long UT_STREAM::get_rawoffset()
{
    const std::int64_t at = os().seek(descriptor_, 0, seek_from::here);
    return checked(is_access_compressed() != 0 && at > 0 ? at - start_offset_ : at);
}

// ---- state

void UT_STREAM::dump() const
{
    const auto line = [](const char* label, ut_int64 value, const char* end = "  \n") {
        std::printf("%-44s%d%s", label, static_cast<int>(value), end);
    };
    line("File descriptor:", descriptor_);
    line("Current file byte offset:", file_offset_);
    line("Access is:", access_, " \n");
    line("EOF was reached:", eof_);
    line("EOF was reached on last buffer load:", eof_on_load_);
    line("Byte offset of the tranparent buffer:", static_cast<ut_int64>(buffer_offset_));
    line("Byte offset of the last byte in the buffer:", static_cast<ut_int64>(buffer_end_));
    line("Length of the transparent buffer:", static_cast<ut_int64>(buffer_length_));
    line("Error status code:", error_);
    line("Start offset:", start_offset_);
}
