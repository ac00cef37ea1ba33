// fuzz/basutgcomp_fuzz.cpp: a file in blocks is read within bounds whatever its bytes are, and what is
// written is read again, however it was cut into blocks and wherever the reading begins.
#include <algorithm>
#include <cstdint>
#include <string>

#include "basutstream.h"
#include "fuzz_check.h"
#include "memory_file.h"

namespace {

constexpr std::size_t k_block = 16'384;
constexpr std::size_t k_most = 200'000;  ///< bytes that are read of one file

UT_ACCESS mask(int direction, bool first_form)
{
    return static_cast<UT_ACCESS>(direction | (first_form ? UT_ACCESS_GCA : UT_ACCESS_GCB));
}

/// Reads what the file holds, from `place` on, in pieces of `piece` bytes.
std::string read_from(UT_STREAM& stream, std::size_t place, std::size_t piece)
{
    stream.setfoffset(static_cast<long>(place));
    std::string all, part(piece, '\0');
    while (all.size() < k_most) {
        const int got = stream.read(reinterpret_cast<unsigned char*>(part.data()), static_cast<int>(piece));
        if (got <= 0) break;
        all.append(part, 0, static_cast<std::size_t>(got));
    }
    return all;
}

void read_hostile(const std::string& bytes, bool first_form, std::size_t place, std::size_t piece)
{
    memory_file::hold("7 bytes" + bytes);
    memory_file::position = 7;
    UT_STREAM stream(memory_file::k_descriptor, mask(UT_ACCESS_READ, first_form), k_block, nullptr);
    stream.adjust_compress_gc_foffset();
    FUZZ_CHECK(read_from(stream, place, piece).size() < k_most + piece);
    FUZZ_CHECK(read_from(stream, 0, piece).size() < k_most + piece);
}

void round_trip(const std::string& content, bool first_form, std::size_t place, std::size_t piece)
{
    memory_file::hold("");
    {
        UT_STREAM stream(memory_file::k_descriptor, mask(UT_ACCESS_WRITE, first_form), k_block, nullptr);
        for (std::size_t at = 0; at < content.size(); at += piece) {
            const std::size_t count = std::min(piece, content.size() - at);
            stream.write(reinterpret_cast<const unsigned char*>(content.data()) + at,
                         static_cast<int>(count));
            if (piece % 2 == 0) stream.flush();
        }
        stream.flush();
    }
    if (content.empty()) return FUZZ_CHECK(memory_file::content.empty());
    memory_file::position = 7;
    UT_STREAM stream(memory_file::k_descriptor, mask(UT_ACCESS_READ, first_form), k_block, nullptr);
    stream.adjust_compress_gc_foffset();
    // A seek behind the start stages the blocks, so that the short ones do not end the reading.
    const std::size_t from = 1 + place % content.size();
    FUZZ_CHECK(read_from(stream, from, piece) == content.substr(from));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    memory_file::use();
    if (size < 4) return 0;
    const bool first_form = (data[0] & 1) != 0;
    const bool hostile = (data[0] & 2) != 0;
    const std::size_t piece = data[1] + std::size_t{1};
    const std::size_t place = std::size_t{data[2]} << 8 | data[3];
    const std::string bytes(reinterpret_cast<const char*>(data) + 4, size - 4);
    if (hostile)
        read_hostile(bytes, first_form, place, piece);
    else
        round_trip(bytes, first_form, place, piece);
    return 0;
}
