// tests/process/pack_child.cpp: writes a file packed: <in> <out> <bytes of the stream's buffer>.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "basutfile.h"
#include "basutstream.h"

int main(int count, char** argv)
{
    if (count < 4) return 2;
    std::ifstream file(argv[1], std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    // The manager gives a packed stream 16384 bytes at least; a smaller piece is flushed by hand.
    const auto piece = static_cast<std::size_t>(std::atol(argv[3]));
    UT_STREAM* const out = ut_file.open(argv[2], UT_ACCESS_WRITE | UT_ACCESS_PACKED, 1);
    if (out == nullptr) return 1;
    for (std::size_t at = 0; at < content.size(); at += piece) {
        const std::string part = content.substr(at, piece);
        out->write(reinterpret_cast<const unsigned char*>(part.data()), static_cast<int>(part.size()));
        out->flush();
    }
    return ut_file.close(out) != 0 ? 0 : 1;
}
