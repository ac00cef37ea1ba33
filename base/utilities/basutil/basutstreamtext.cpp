// basutstreamtext.cpp: what a stream does with text, delimited reading and formatted writing.
#include "basutstream.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <string_view>

#include "ascii.h"
#include "basutform.h"
#include "line_copy.h"

namespace {

constexpr std::string_view k_line_end = "\r\n";

/// A text that may be null.
std::string_view text_of(const char* text)
{
    return text != nullptr ? std::string_view(text) : std::string_view();
}

int as_count(std::size_t count)
{
    return static_cast<int>(std::min<std::size_t>(count, INT_MAX));
}

/// Ends a line of `length` bytes without its carriage return; returns the length left, plus one.
int end_line(char* line, std::size_t length)
{
    if (length > 0 && line[length - 1] == '\r') --length;
    line[length] = '\0';
    return static_cast<int>(length) + 1;
}

/// The bytes at which reading stops.
class terminators {
public:
    explicit terminators(const ketriope::stream_key& key)
        : only_(static_cast<unsigned char>(*key.first())), several_(key.count() > 1)
    {
        for (const char byte : std::string_view(key.first(), key.count()))
            set(static_cast<unsigned char>(byte));
    }

    /// How many of `count` bytes there are through the first terminator; 0 if there is none.
    std::size_t through(const unsigned char* from, std::size_t count) const
    {
        const unsigned char* const end = from + count;
        const unsigned char* found = end;
        if (several_)
            found = std::find_if(from, end, [this](unsigned char byte) { return has(byte); });
        else if (const void* at = std::memchr(from, only_, count))
            found = static_cast<const unsigned char*>(at);
        return found == end ? 0 : static_cast<std::size_t>(found - from) + 1;
    }

private:
    void set(unsigned char byte) { words_[byte / 64] |= std::uint64_t{1} << byte % 64; }
    bool has(unsigned char byte) const { return (words_[byte / 64] >> byte % 64 & 1) != 0; }

    unsigned char only_;
    bool several_;
    std::array<std::uint64_t, 4> words_{};
};

}  // namespace

// ---- pieces that end with a terminator

int UT_STREAM::readkey(unsigned char* out, int n, ketriope::stream_key key)
{
    const terminators ends(key);
    const std::size_t room = n > 0 ? static_cast<std::size_t>(n) : 0;
    std::size_t stored = 0;
    while (stored < room && has_bytes()) {
        const unsigned char* const next = buffer_ + buffer_offset_;
        const std::size_t seen = std::min(room - stored, buffered());
        const std::size_t ended = ends.through(next, seen);
        const std::size_t taken = ended != 0 ? ended : seen;
        std::memcpy(out + stored, next, taken);
        buffer_offset_ += taken;
        stored += taken;
        if (ended != 0) return static_cast<int>(stored);
    }
    if (stored == room || stored == 0) return static_cast<int>(stored);
    out[stored++] = '\0';
    return static_cast<int>(stored);
}

int UT_STREAM::readkey(char* out, int n, ketriope::stream_key key)
{
    return readkey(reinterpret_cast<unsigned char*>(out), n, key);
}

int UT_STREAM::peekkey(unsigned char* out, int n, ketriope::stream_key key)
{
    if (writes() || eof_ != 0 || n < 1) return 0;
    const terminators ends(key);
    // The buffer alone first, since what lies behind it is dear.
    const std::size_t near = std::min(static_cast<std::size_t>(n), buffered());
    std::size_t ended = ends.through(buffer_ + buffer_offset_, near);
    if (ended != 0)
        std::memcpy(out, buffer_ + buffer_offset_, ended);
    else
        ended = ends.through(out, static_cast<std::size_t>(peek(out, n)));
    return ended != 0 ? static_cast<int>(ended) : as_count(static_cast<std::size_t>(n) + 1);
}

int UT_STREAM::peekkey(char* out, int n, ketriope::stream_key key)
{
    return peekkey(reinterpret_cast<unsigned char*>(out), n, key);
}

int UT_STREAM::readline(char* out, int n)
{
    if (n < 2) return 0;
    out[n - 1] = '\0';
    // The usual case in one pass: the line lies whole in the buffer, fits, and has no NUL.
    if (eof_ == 0) {
        const unsigned char* const line = buffer_ + buffer_offset_;
        const std::size_t seen = std::min(static_cast<std::size_t>(n) - 1, buffered());
        const std::size_t length = ketriope::copy_to_line_mark(line, seen, out);
        if (length < seen && line[length] == '\n') {
            buffer_offset_ += length + 1;
            return end_line(out, length);
        }
    }
    const int count = readkey(out, n - 1, "\n");
    if (count < 1 || out[count - 1] != '\n') return count;
    end_line(out, static_cast<std::size_t>(count) - 1);
    return static_cast<int>(std::strlen(out)) + 1;  // callers know that a NUL within the line shortens it
}

int UT_STREAM::readstring(char* out, int n)
{
    if (n < 1) return 0;
    const int count = std::max(readkey(out, n, ""), 1);
    out[count - 1] = '\0';
    return count - 1;
}

int UT_STREAM::readtoken(char* out, int n)
{
    if (n < 1) return 0;
    while (reads()) {
        const int next = next_byte();
        if (next < 0 || !ketriope::is_space(static_cast<char>(next))) break;
        ++buffer_offset_;
    }
    const int count = readkey(out, n, "\0\t\n\r ");
    if (count > 0 && out[count - 1] == '\r' && next_byte() == '\n') ++buffer_offset_;
    const int length = std::max(count, 1) - 1;
    out[length] = '\0';
    return length;
}

int UT_STREAM::writestring(const char* text)
{
    return text != nullptr ? as_count(put_text({text, std::strlen(text) + 1})) : 0;
}

int UT_STREAM::writeline(const char* text)
{
    if (text == nullptr) return 0;
    const std::size_t count = put_text(text);
    return as_count(count + put_text(k_line_end));
}

int UT_STREAM::writetoken(char* text)
{
    if (text == nullptr) return 0;
    char& end = text[std::strlen(text)];
    end = ' ';
    const std::size_t count = put_text({text, static_cast<std::size_t>(&end - text) + 1});
    end = '\0';
    return as_count(count);
}

std::size_t UT_STREAM::put_text(std::string_view text)
{
    return put_bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

// ---- formatted text

UT_STREAM& UT_STREAM::operator<<(char value)
{
    return *this << zeoform("%c", value);
}

UT_STREAM& UT_STREAM::operator<<(unsigned char value)
{
    return *this << zeoform("%c", value);
}

UT_STREAM& UT_STREAM::operator<<(short value)
{
    return *this << zeoform("%hd", value);
}

UT_STREAM& UT_STREAM::operator<<(unsigned short value)
{
    return *this << zeoform("%hu", value);
}

UT_STREAM& UT_STREAM::operator<<(int value)
{
    return *this << zeoform("%d", value);
}

UT_STREAM& UT_STREAM::operator<<(unsigned int value)
{
    return *this << zeoform("%u", value);
}

UT_STREAM& UT_STREAM::operator<<(long value)
{
    return *this << zeoform("%ld", value);
}

UT_STREAM& UT_STREAM::operator<<(unsigned long value)
{
    return *this << zeoform("%lu", value);
}

UT_STREAM& UT_STREAM::operator<<(void* value)
{
    return *this << zeoform("%x", static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(value)));
}

UT_STREAM& UT_STREAM::operator<<(ut_uint64 value)
{
    // Not by zeoform, whose conversions have no second `l`.
    std::array<char, 24> digits{};
    std::to_chars(digits.data(), digits.data() + digits.size() - 1, value);
    return *this << digits.data();
}

UT_STREAM& UT_STREAM::operator<<(const char* text)
{
    std::string_view rest = text_of(text);
    for (;;) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        put_text(line);
        if (line.size() == rest.size()) return *this;
        put_text(k_line_end);
        rest.remove_prefix(line.size() + 1);
    }
}

UT_STREAM& UT_STREAM::operator<<(std::ostream& (*)(std::ostream&))
{
    put_text(k_line_end);
    flush();
    return *this;
}
