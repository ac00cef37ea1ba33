// fuzz/basutstream_fuzz.cpp: what the readers of a stream store and return must be what a reader says
// that goes byte by byte over a plain text, whatever the text, the lengths asked and the buffer's borders.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "basutstream.h"
#include "fuzz_check.h"
#include "memory_file.h"

namespace {

using namespace std::string_literals;

using memory_file::content;

// ---- the model

struct result {
    int count;
    std::string bytes;  ///< what is defined of the caller's memory
    bool operator==(const result&) const = default;
};

class model {
public:
    bool at_end() const { return eof_; }
    std::size_t position() const { return position_; }

    result read(int n)
    {
        std::string out;
        if (has_byte())
            while (static_cast<int>(out.size()) < n && has_byte()) out += content[position_++];
        return {static_cast<int>(out.size()), out};
    }
    result readkey(int n, std::string_view key)
    {
        std::string out;
        while (static_cast<int>(out.size()) < n && has_byte()) {
            out += content[position_++];
            if (key.find(out.back()) != key.npos) return {static_cast<int>(out.size()), out};
        }
        if (!out.empty() && static_cast<int>(out.size()) < n) out += '\0';
        return {static_cast<int>(out.size()), out};
    }
    result peekkey(int n, std::string_view key)
    {
        if (eof_ || n < 1) return {0, ""};
        model ahead = *this;
        const std::string seen = ahead.read(n).bytes;
        const std::size_t at = seen.find_first_of(key);
        if (at == seen.npos) return {n + 1, ""};
        return {static_cast<int>(at) + 1, seen.substr(0, at + 1)};
    }
    result readline(int n)
    {
        if (n < 2) return {0, ""};
        result line = readkey(n - 1, "\n");
        if (line.count < 1 || line.bytes.back() != '\n') return line;
        line.bytes.pop_back();
        if (line.bytes.ends_with('\r')) line.bytes.pop_back();
        line.bytes += '\0';
        line.count = static_cast<int>(std::strlen(line.bytes.c_str())) + 1;
        return line;
    }
    result readstring(int n)
    {
        if (n < 1) return {0, ""};
        std::string out = readkey(n, "\0"s).bytes;
        if (out.empty()) out = "\0"s;
        out.back() = '\0';
        return {static_cast<int>(std::strlen(out.c_str())), out};
    }
    result readtoken(int n)
    {
        if (n < 1) return {0, ""};
        while (!eof_ && position_ < content.size() && is_white(content[position_])) ++position_;
        std::string out = readkey(n, "\0\t\n\r "s).bytes;
        const bool line_feed =
            out.ends_with('\r') && position_ < content.size() && content[position_] == '\n';
        if (line_feed) ++position_;
        if (out.empty()) out = "\0"s;
        out.back() = '\0';
        return {static_cast<int>(out.size()) - 1, out};
    }
    result skip(int n) { return {n > 0 ? read(n).count : 0, ""}; }
    void seek(std::size_t position)
    {
        position_ = position;
        eof_ = false;
        has_byte();
    }

private:
    static bool is_white(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    bool has_byte()
    {
        if (position_ >= content.size()) eof_ = true;
        return !eof_;
    }

    std::size_t position_ = 0;
    bool eof_ = false;
};

// ---- one run: a script of calls, then a text that is repeated over the borders of the buffer

constexpr std::size_t k_most_content = 12'000;

class script {
public:
    explicit script(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::size_t next()
    {
        if (bytes_.empty()) return 0;
        const std::size_t byte = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return byte;
    }
    std::span<const std::uint8_t> take(std::size_t count)
    {
        count = std::min(count, bytes_.size());
        const auto taken = bytes_.first(count);
        bytes_ = bytes_.subspan(count);
        return taken;
    }
    bool empty() const { return bytes_.empty(); }
    std::span<const std::uint8_t> rest() const { return bytes_; }

private:
    std::span<const std::uint8_t> bytes_;
};

/// Runs a reader on memory of exactly `n` bytes, so that the sanitizer sees one byte too many.
template <class Read>
void compare(const result& expected, int n, bool store, Read read)
{
    std::string memory(static_cast<std::size_t>(std::max(n, 0)), '?');
    memory.shrink_to_fit();
    const int count = read(memory.data(), n);
    FUZZ_CHECK(count == expected.count);
    if (store) FUZZ_CHECK(memory.compare(0, expected.bytes.size(), expected.bytes) == 0);
}

void step(UT_STREAM& stream, model& expected, std::size_t operation, int n)
{
    const auto bytes = [](char* out) { return reinterpret_cast<unsigned char*>(out); };
    switch (operation % 10) {
    case 0:
        return compare(expected.readline(n), n, true,
                       [&](char* out, int m) { return stream.readline(out, m); });
    case 1:
        return compare(expected.readtoken(n), n, true,
                       [&](char* out, int m) { return stream.readtoken(out, m); });
    case 2:
        return compare(expected.readstring(n), n, true,
                       [&](char* out, int m) { return stream.readstring(out, m); });
    case 3:
        return compare(expected.readkey(n, "\n"), n, true,
                       [&](char* out, int m) { return stream.readkey(out, m, "\n"); });
    case 4:
        return compare(expected.readkey(n, ";,"), n, true,
                       [&](char* out, int m) { return stream.readkey(out, m, ";,"); });
    case 5:
        return compare(expected.peekkey(n, "\n"), n, true,
                       [&](char* out, int m) { return stream.peekkey(out, m, "\n"); });
    case 6:
        return compare(expected.peekkey(n, "\0 "s), n, true,
                       [&](char* out, int m) { return stream.peekkey(out, m, "\0 "); });
    case 7:
        return compare(expected.read(n), n, true,
                       [&](char* out, int m) { return stream.read(bytes(out), m); });
    case 8:
        return compare(expected.skip(n), n, false,
                       [&](char*, int m) { return static_cast<int>(stream.skip(m)); });
    default: FUZZ_CHECK(stream.setfoffset(n) != 0); expected.seek(static_cast<std::size_t>(std::max(n, 0)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    memory_file::use();
    script input({data, size});
    const std::size_t repeats = input.next() + 1;
    script calls(input.take(3 * (input.next() % 64)));
    const std::string once(input.rest().begin(), input.rest().end());
    content.clear();
    for (std::size_t i = 0; i < repeats && content.size() + once.size() <= k_most_content; ++i)
        content += once;
    memory_file::position = 0;

    UT_STREAM stream(memory_file::k_descriptor, UT_ACCESS_READ, 0, nullptr);
    model expected;
    while (!calls.empty()) {
        const std::size_t operation = calls.next();
        const std::size_t high = calls.next();
        step(stream, expected, operation, static_cast<int>((high % 32) * 256 + calls.next()));
        FUZZ_CHECK((stream.geteof() != 0) == expected.at_end());
        FUZZ_CHECK(expected.at_end() || stream.getfoffset() == static_cast<long>(expected.position()));
    }
    FUZZ_CHECK(stream.geterror() == 0);
    ketriope::platform::use_operations(nullptr);
    return 0;
}
