// fuzz/basutfileencode_fuzz.cpp: a hostile pack gives a piece of itself or a refusal; what is written as a
// pack is read again, and reading goes through the content without a gap.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "basutfile.h"
#include "basutfileencode.h"
#include "fuzz_check.h"
#include "memory_file.h"

namespace {

/// Leads the size of every file to the one in memory, too.
void use_memory_file()
{
    memory_file::use();
    static ketriope::platform::operations table = ketriope::platform::os();
    table.status = [](const char*, ketriope::platform::file_status& out) {
        out = {.kind = ketriope::platform::file_kind::file,
               .size = static_cast<std::int64_t>(memory_file::content.size()),
               .owner_may_read = true,
               .owner_may_write = true};
        return true;
    };
    table.remove_file = [](const char*) { return true; };
    ketriope::platform::use_operations(&table);
}

std::string content_of(const UT_FILEENCODE& file)
{
    std::string bytes(memory_file::content.size() + 1, '\0');
    bytes.resize(static_cast<std::size_t>(file.peek(bytes.data(), static_cast<long>(bytes.size()))));
    return bytes;
}

/// Reads from the start in pieces, by lines or through a key, and compares where that leads.
void read_through(UT_FILEENCODE& file, const std::string& content, long n, bool by_lines)
{
    FUZZ_CHECK(file.setfoffset(0) != 0);
    std::string all;
    for (long before = 0; file.geteof() == 0; before = file.getfoffset()) {
        std::string piece(static_cast<std::size_t>(n), '?');
        piece.shrink_to_fit();
        const long count = by_lines ? file.readline(piece.data(), n) : file.readkey(piece.data(), n, "\n;");
        FUZZ_CHECK(count >= 0 && count <= n);
        FUZZ_CHECK(file.getfoffset() > before && file.getfoffset() - before <= n);
        const std::string taken = content.substr(static_cast<std::size_t>(before),
                                                 static_cast<std::size_t>(file.getfoffset() - before));
        if (by_lines)
            FUZZ_CHECK(taken.compare(0, static_cast<std::size_t>(count), piece.c_str()) == 0);
        else
            FUZZ_CHECK(piece.compare(0, taken.size(), taken) == 0);
        all += taken;
    }
    FUZZ_CHECK(all == content);
}

void read_hostile(const std::string& bytes, unsigned char direct)
{
    memory_file::hold(bytes);
    UT_FILEENCODE file("pack", 0);
    const bool found = file.load("some/a", direct) != 0;
    const std::string content = content_of(file);
    FUZZ_CHECK(found || content.empty());
    const bool as_it_is =
        bytes.empty() || std::string_view("\x06\x5a\x5b\x5c").find(bytes[0]) == std::string::npos;
    if (as_it_is) FUZZ_CHECK(bytes.find(content) != std::string::npos);  // neither scrambled nor compressed
    read_through(file, content, 2 + static_cast<long>(bytes.size() % 17), true);
    read_through(file, content, 1 + static_cast<long>(bytes.size() % 13), false);
}

/// Two files as members of one pack; the bytes themselves are the first, so they may be scrambled already.
void round_trip(const std::string& bytes, unsigned char encode)
{
    memory_file::hold(bytes);
    UT_FILEENCODE single(nullptr, 0);
    if (single.load("a", 1) == 0) return;
    const std::string first = content_of(single);
    UT_FILEENCODE file("own", 1);
    memory_file::hold(bytes);
    FUZZ_CHECK(file.catalog("a", "pack") != 0);
    file.createcatalog();
    FUZZ_CHECK(file.writeline("second") != 0);
    FUZZ_CHECK(file.dump("pack", encode) != 0);
    const std::string written = memory_file::content;
    FUZZ_CHECK(file.dump("pack", encode) != 0 && memory_file::content == written);

    UT_FILEENCODE reader("pack", 0);
    FUZZ_CHECK(reader.load("a", 0) != 0 && content_of(reader) == first);
    FUZZ_CHECK(reader.load("own", 0) != 0 && content_of(reader) == "second\n");
    FUZZ_CHECK(reader.load("b", 0) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.starts_with("\x5a\x5a"))
        return 0;  // packed data may break contracts, and has a target of its own
    use_memory_file();
    read_hostile(bytes, 0);
    read_hostile(bytes, 1);
    round_trip(bytes, 0);
    round_trip(bytes, 1);
    return 0;
}
