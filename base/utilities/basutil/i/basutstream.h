/// \file i/basutstream.h
/// The buffered stream through which the suite reads and writes its files, binary and text.
///
/// A stream is made by `UT_FILEMANAGER::open`, or by a caller who hands it there. Numbers are stored
/// most significant byte first on every host. A stream either reads or writes: a mask with both is
/// outside the contract.
/// Errors: a failure of the descriptor is no broken contract. It shows in the result and, as the
/// `errno` of the last one, in `geterror()`.
/// Threads: no locks; a stream belongs to one thread at a time.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string_view>
#include <type_traits>

#include "basutio.h"
#include "utbyteorder.h"
#include "utgeometry.h"
#include "uttypes.h"

class UT_FILEMANAGER;

namespace ketriope {

class blowfish_cbc;

/// The terminators of `UT_STREAM::readkey`: the first byte of a text, even a NUL, and all its further
/// ones up to a NUL. So "" is a NUL alone, "\n" a line feed alone, and "\0\t " are three.
/// Lifetime: the text must stay while the key is used.
class stream_key {
public:
    /// From an array or a literal, beyond whose end nothing is looked at.
    template <std::size_t Size>
    stream_key(const char (&text)[Size]) : first_(text), count_(1)
    {
        while (count_ < Size && text[count_] != '\0') ++count_;
    }
    /// From a pointer. One byte behind the first is always looked at: give "\0" two NULs, not "".
    template <
        class Pointer,
        std::enable_if_t<std::is_same_v<Pointer, const char*> || std::is_same_v<Pointer, char*>, int> = 0>
    stream_key(const Pointer& text) : first_(text), count_(1)
    {
        if (text[1] != '\0') count_ += std::strlen(text + 1);
    }

    const char* first() const { return first_; }
    std::size_t count() const { return count_; }

private:
    const char* first_;
    std::size_t count_;
};

}  // namespace ketriope

class UT_EXPORT UT_STREAM : public UT_IO_DEVICE {
public:
    /// A stream on an open descriptor, or on none yet.
    ///
    /// Ownership: the descriptor stays the caller's or the owner's; a stream never closes it itself.
    /// `owner` is told of the stream's end; null means none, and the integer 1 means `ut_file`.
    /// Units: `buffer_length` in bytes, raised to 2048 and cut to 2^30.
    UT_STREAM(int fd, UT_ACCESS access, std::size_t buffer_length, UT_FILEMANAGER* owner);
    UT_STREAM(UT_ACCESS access, std::size_t buffer_length, UT_FILEMANAGER* owner);
    /// Shallow on purpose, as is assignment: a copy shares the buffer of its source, and only one of the
    /// two may be destroyed.
    UT_STREAM(const UT_STREAM&) = default;
    UT_STREAM& operator=(const UT_STREAM&) = default;
    /// Ends the compressors and leaves the owner, who closes the descriptor.
    ///
    /// What stands in the buffer is lost: it is `UT_FILEMANAGER::close` that flushes.
    /// Errors: what ends the compressors may break a contract. Nothing is thrown while another exception
    /// is on its way.
    ~UT_STREAM() noexcept(false) override;

    // ---- bytes

    /// Puts `n` bytes into the buffer, which goes out whenever it is full.
    ///
    /// Returns how many it took: fewer than `n` only where the device failed.
    int write(const unsigned char* from, int n);
    /// Reads up to `n` bytes, and returns how many there were.
    ///
    /// The end is noticed by a read that brings nothing more, not by the one that takes the last byte.
    int read(unsigned char* out, int n);
    /// As `read`, without moving on. 0 on a write stream.
    ///
    /// In a block-compressed file, a request for 16384 bytes or more beyond the buffer gets one block of
    /// them. Cost: beyond the end of the buffer a seek; on a compressed stream all up to here is read again.
    int peek(unsigned char* out, int n);
    /// The three with the bytes in the opposite order: the first byte of the file is the last one of the
    /// caller's memory.
    int swrite(const unsigned char* from, int n);
    int sread(unsigned char* out, int n);
    int speek(unsigned char* out, int n);
    /// Hands the buffer to the device. False if the device took less; the bytes are dropped even so.
    ///
    /// Without a descriptor the buffer is dropped. On a read stream the position goes back to the start
    /// of the buffer, which is then delivered again.
    unsigned char flush();
    /// Moves `n` bytes forward and returns how many there were. 0 on a write stream.
    long skip(long n);

    // ---- numbers, most significant byte first; a `long` has 4 bytes in the file

    int write(char value) { return put(value); }
    int write(unsigned char value) { return put(value); }
    int write(short value) { return put(value); }
    int write(unsigned short value) { return put(value); }
    int write(int value) { return put(value); }
    int write(unsigned int value) { return put(value); }
    int write(long value) { return put(static_cast<ut_long>(value)); }
    int write(unsigned long value) { return put(static_cast<std::uint32_t>(value)); }
    int write(ut_uint64 value) { return put(value); }
    int write(float value) { return put(value); }
    int write(double value) { return put(value); }
    int write(const UT_POINT& point)
    {
        const int count = write(point.x);
        return count + write(point.y);
    }
    /// The order in the file is first, third, second, fourth member.
    int write(const UT_EXTREMA& extrema)
    {
        int count = write(extrema.xmin);
        count += write(extrema.ymin);
        count += write(extrema.xmax);
        return count + write(extrema.ymax);
    }

    /// These return the count of bytes read. Where the file ends within a number, the bytes that came
    /// are its most significant ones, and the others of the variable stay as they were.
    int read(char& value) { return get(value); }
    int read(unsigned char& value) { return get(value); }
    int read(short& value) { return get(value); }
    int read(unsigned short& value) { return get(value); }
    int read(int& value) { return get(value); }
    int read(unsigned int& value) { return get(value); }
    /// All of the variable is set, the missing bytes as 0, unless nothing came.
    int read(long& value) { return get_narrow<ut_long>(value); }
    int read(unsigned long& value) { return get_narrow<std::uint32_t>(value); }
    int read(ut_uint64& value) { return get(value); }
    int read(float& value) { return get(value); }
    int read(double& value) { return get(value); }
    int read(UT_POINT& point)
    {
        const int count = read(point.x);
        return count + read(point.y);
    }
    int read(UT_EXTREMA& extrema)
    {
        int count = read(extrema.xmin);
        count += read(extrema.ymin);
        count += read(extrema.xmax);
        return count + read(extrema.ymax);
    }

    int writechar(char value) { return write(value); }
    int writebyte(unsigned char value) { return write(value); }
    int writeshort(short value) { return write(value); }
    int writeushort(unsigned short value) { return write(value); }
    int writeint(int value) { return write(value); }
    int writeuint(unsigned int value) { return write(value); }
    int writelong(long value) { return write(value); }
    int writeulong(unsigned long value) { return write(value); }
    int writeulonglong(ut_uint64 value) { return write(value); }
    int writefloat(float value) { return write(value); }
    int writedouble(double value) { return write(value); }

    /// These return the number; 0 in place of every byte that the file lacks.
    char readchar() { return value_of<char>(); }
    unsigned char readbyte() { return value_of<unsigned char>(); }
    short readshort() { return value_of<short>(); }
    unsigned short readushort() { return value_of<unsigned short>(); }
    int readint() { return value_of<int>(); }
    unsigned int readuint() { return value_of<unsigned int>(); }
    long readlong() { return value_of<long>(); }
    unsigned long readulong() { return value_of<unsigned long>(); }
    ut_uint64 readulonglong() { return value_of<ut_uint64>(); }
    float readfloat() { return value_of<float>(); }
    double readdouble() { return value_of<double>(); }

    // ---- pieces that end with a terminator

    /// Reads through a terminator of `key`, at most `n` bytes, and returns the count of bytes stored.
    ///
    /// Shape: the terminator is stored and counted. A file that ends first gives a NUL behind the bytes,
    /// which is counted, too, if there is room for it. So the count does not tell whether a terminator
    /// came: look at the last byte. `n` bytes without a terminator are stored with no NUL.
    int readkey(unsigned char* out, int n, ketriope::stream_key key);
    int readkey(char* out, int n, ketriope::stream_key key);
    /// Tells what `readkey` would store, without moving on: the count through the terminator, or `n` + 1
    /// when there is none among the next `n` bytes. 0 on a write stream and at the end.
    ///
    /// Only the bytes through the terminator are defined in `out`.
    int peekkey(unsigned char* out, int n, ketriope::stream_key key);
    int peekkey(char* out, int n, ketriope::stream_key key);
    /// Reads a line and returns the length of its text plus one; 0 at the end.
    ///
    /// Shape: the line feed, with a carriage return in front of it, becomes one NUL. A line of `n` - 1 or
    /// more bytes gives the first `n` - 1 of them with a NUL behind and returns `n` - 1; the rest is the
    /// next line. The last byte of `out` is always set to NUL. `n` below 2 stores nothing and returns 0.
    /// A NUL within the line shortens the result.
    int readline(char* out, int n);
    /// Reads a text with its terminating NUL and returns its length.
    ///
    /// A text of `n` or more bytes is cut: its first `n` bytes are consumed, and the NUL replaces the
    /// last of them.
    int readstring(char* out, int n);
    /// Reads the next word and returns its length; what ends it (NUL, tab, line feed, carriage return or
    /// blank) is consumed, and so is the line feed of a CR LF.
    ///
    /// White space in front of the word is skipped, vertical tab and form feed included, though these two
    /// do not end a word. A word of `n` bytes or more loses its `n`-th one to the NUL.
    int readtoken(char* out, int n);
    /// Writes the text with its NUL and returns the count of bytes.
    int writestring(const char* text);
    /// Writes the text, a carriage return and a line feed, and returns the count of bytes.
    int writeline(const char* text);
    /// Writes the text and a blank, and returns the count of bytes.
    ///
    /// For the length of the call the blank stands in place of the text's NUL: give no literal.
    int writetoken(char* text);

    // ---- position, in bytes of content

    unsigned char seekstart() { return setfoffset(0); }
    /// Moves to the end of a plain file, and to the start of a compressed one.
    unsigned char seekend();
    /// Moves to `position`, all ones (-1 or 0xFFFFFFFF) meaning the end. False if the device cannot.
    ///
    /// The stream then names `position` as its own even where the content ends in front of it.
    /// Cost: on a compressed stream everything up to the position is read.
    unsigned char setfoffset(long position);
    long getfoffset() const;

    // ---- text

    /// Writes a number as decimal text, a character as it is, an address as the low 32 bits in
    /// hexadecimal; every line feed goes out as carriage return and line feed.
    UT_STREAM& operator<<(char value);
    UT_STREAM& operator<<(unsigned char value);
    UT_STREAM& operator<<(short value);
    UT_STREAM& operator<<(unsigned short value);
    UT_STREAM& operator<<(int value);
    UT_STREAM& operator<<(unsigned int value);
    UT_STREAM& operator<<(long value);
    UT_STREAM& operator<<(unsigned long value);
    UT_STREAM& operator<<(void* value);
    UT_STREAM& operator<<(ut_uint64 value);
    /// Null writes nothing.
    UT_STREAM& operator<<(const char* text);
    /// Ends the line and flushes, whatever manipulator is given: it is not called.
    UT_STREAM& operator<<(std::ostream& (*manipulator)(std::ostream&));

    // ---- state

    UT_ACCESS getaccess() const { return access_; }
    /// Which general compressor's signature the first write puts in front: 16, 32 or none.
    UT_ACCESS get_gc_access() const { return gc_access_; }
    void set_gc_access(UT_ACCESS access) { gc_access_ = access; }
    unsigned char geteof() const { return eof_; }
    int geterror() const { return error_; }
    void clearerror() { error_ = 0; }
    int getfid() const { return descriptor_; }
    unsigned char is_access_compressed() const { return (access_ & k_compressed) != 0; }

    /// A plain counter; message streams leave out a stream whose counter is not 0.
    void push() { ++stack_position_; }
    void pop() { --stack_position_; }
    int stackPos() const { return stack_position_; }

    /// Says that the payload begins behind the signature of packed data, or of a general compressor.
    void adjust_compress_foffset() { start_offset_ = 9; }
    void adjust_compress_gc_foffset() { start_offset_ = 7; }
    /// Prints the state to standard output.
    void dump() const;

    // ---- enciphered stretches of a read stream: Blowfish in cipher block chaining form

    /// Takes the key of `length` bytes: 0 means 8, and of more than 56 the first 56 count.
    ///
    /// The chain starts at zero here, and nowhere else. A null key does nothing.
    /// Errors: a buffer length that is no multiple of 8 breaks the contract, exit value 1.
    void setup_enc_key(unsigned char* key, std::size_t length);
    /// Deciphers from the current position on. Errors: a missing key, an unmatched call and a write
    /// stream break the contract, exit value 1.
    void enc_begin();
    /// Ends the stretch at the next multiple of 8 bytes from the start of the buffer. Errors: as above.
    void enc_end();
    /// False: the library does not encipher.
    unsigned char encpack_available() const { return 0; }

    int get_rawdata(unsigned char* out, int count) override;
    /// Puts the signature in front of the first bytes of a compressed file.
    ///
    /// A signature that cannot be written gives 0, or -1 for a `count` of 0.
    int set_rawdata(unsigned char* from, int count) override;
    /// On a compressed stream 0 is the start of the payload, and no other place can be reached.
    long set_rawoffset(long position) override;
    long get_rawoffset() override;

protected:
    /// Ends the compressors. A packed file to which nothing was written gets its signature.
    void destroy_me();

private:
    friend class UT_FILEMANAGER;

    static constexpr int k_compressed = UT_ACCESS_PACKED | UT_ACCESS_GCA | UT_ACCESS_GCB;
    static constexpr int k_general = UT_ACCESS_GCA | UT_ACCESS_GCB;

    // What the file manager does to a stream.

    /// Puts the stream back to its start, without descriptor and key. With `reuse` buffer and buffer
    /// length stay, and the new mask takes exactly the compressor bits of the old one.
    void init(std::size_t buffer_length, UT_ACCESS access, unsigned char reuse);
    /// Takes the mask, the mode that follows from it, and the buffer length with the memory it needs:
    /// twice the length, and no less than 32768 bytes, under a general compressor.
    void take_form(UT_ACCESS access, std::size_t buffer_length);
    void attach(int fd, UT_FILEMANAGER* owner)
    {
        descriptor_ = fd;
        owner_ = owner;
    }
    UT_FILEMANAGER* owner() const { return owner_; }
    /// Before the destruction of a stream whose descriptor its owner has closed.
    void disown() { attach(-1, nullptr); }
    std::size_t buffer_length() const { return static_cast<std::size_t>(buffer_length_); }

    bool reads() const { return (access_ & UT_ACCESS_READ) != 0; }
    bool writes() const { return (access_ & UT_ACCESS_WRITE) != 0; }
    void follow_mask();
    void resize_buffer(std::size_t buffer_length);

    bool load();
    void loadbuf();
    bool has_bytes();
    std::size_t buffered() const
    {
        return buffer_offset_ < buffer_end_ ? static_cast<std::size_t>(buffer_end_ - buffer_offset_) : 0;
    }
    long fetch(unsigned char* out, std::size_t count);
    bool note_coder();
    /// A large read of the device brings a whole block, whatever the count.
    bool delivers_blocks() const { return get_io_mode() == UT_IO_GCA || get_io_mode() == UT_IO_GCB; }
    std::size_t peek_device(unsigned char* out, std::size_t count);
    int next_byte();
    std::size_t put_bytes(const unsigned char* from, std::size_t count, bool reversed = false);
    std::size_t get_bytes(unsigned char* out, std::size_t count, bool reversed = false);
    std::size_t put_text(std::string_view text);
    bool sign();
    long checked(ut_int64 position);
    void decipher(std::size_t count);
    bool may_switch(bool active, const char* unmatched);
    void restart_at(ut_int64 position);

    int put_slow(const void* value, int size);
    int get_slow(void* value, int size);

    template <class Number>
    int put(Number value)
    {
        // Strictly less, since a buffer that has become full goes out at once.
        if (buffer_offset_ + sizeof value < buffer_length_) {
            ketriope::bits_of_size<sizeof value> bits{};
            std::memcpy(&bits, &value, sizeof value);
            ketriope::store_big(buffer_ + buffer_offset_, bits);
            buffer_offset_ += sizeof value;
            return sizeof value;
        }
        return put_slow(&value, sizeof value);
    }

    template <class Number>
    int get(Number& value)
    {
        if (eof_ == 0 && buffer_offset_ + sizeof value <= buffer_end_) {
            ketriope::bits_of_size<sizeof value> bits{};
            ketriope::load_big(buffer_ + buffer_offset_, bits);
            std::memcpy(&value, &bits, sizeof value);
            buffer_offset_ += sizeof value;
            return sizeof value;
        }
        return get_slow(&value, sizeof value);
    }

    template <class Filed, class Number>
    int get_narrow(Number& value)
    {
        Filed filed = 0;
        const int count = get(filed);
        if (count != 0) value = filed;
        return count;
    }

    template <class Number>
    Number value_of()
    {
        Number value{};
        read(value);
        return value;
    }

    std::int32_t stack_position_ = 0;
    std::int32_t descriptor_ = -1;
    ut_int64 file_offset_ = 0;  ///< reading: of the first byte behind the buffer; writing: of its first byte
    UT_ACCESS access_ = UT_ACCESS{};
    UT_ACCESS gc_access_ = UT_ACCESS{};
    unsigned char eof_ = 0;
    ut_int64 eof_on_load_ = 0;     ///< a short load was seen: no further one is tried
    ut_uint64 buffer_offset_ = 0;  ///< of the next byte in the buffer
    ut_uint64 buffer_end_ = 0;     ///< bytes loaded; may exceed the length under a general compressor
    ut_uint64 buffer_length_ = 0;
    unsigned char* buffer_ = nullptr;
    std::int32_t error_ = 0;
    UT_FILEMANAGER* owner_ = nullptr;
    ut_int64 start_offset_ = 0;  ///< bytes in front of the payload
    ut_int64 enciphered_ = 0;    ///< between enc_begin and enc_end
    ketriope::blowfish_cbc* cipher_ = nullptr;
};
