// bench/pack_growth.cpp: prints how the speed of packing depends on the size and the kind of the content, as
// a table in Markdown. Not a part of scripts/bench: it takes a few minutes.
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

#include "data_mix.h"
#include "memory_file.h"

namespace {

std::string repeated(const std::string& unit, std::size_t size)
{
    return data_mix::filled(size, [&](std::string& out) { out += unit; });
}

/// `prefix` again and again, parted by two bytes of noise: almost every earlier place matches, and hardly
/// one matches further than the prefix.
std::string chains(const std::string& prefix, std::size_t size)
{
    data_mix::numbers random(7);
    return data_mix::filled(size, [&](std::string& out) {
        out += prefix;
        out += static_cast<char>(128 + random.below(128));
        out += static_cast<char>(128 + random.below(128));
    });
}

/// Numbered names that come again after 30,000 bytes.
std::string counters(std::size_t size)
{
    std::uint32_t next = 0;
    return data_mix::filled(size, [&](std::string& out) {
        char name[16];
        std::snprintf(name, sizeof name, "abc%04u ", next++ % 3'750);
        out += name;
    });
}

/// MB/s of processor time, from as many runs as fill a quarter of a second.
double speed(const std::string& content)
{
    const std::clock_t begin = std::clock();
    double seconds = 0;
    std::size_t bytes = 0;
    do {
        packed(content);
        bytes += content.size();
        seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    } while (seconds < 0.25);
    return static_cast<double>(bytes) / seconds / 1e6;
}

}  // namespace

int main()
{
    const struct {
        const char* name;
        std::string (*make)(std::size_t size);
    } kinds[] = {{"mix", [](std::size_t size) { return data_mix::all(size); }},
                 {"one byte", [](std::size_t size) { return repeated("a", size); }},
                 {"two bytes", [](std::size_t size) { return repeated("ab", size); }},
                 {"chains of 3", [](std::size_t size) { return chains("abc", size); }},
                 {"chains of 6", [](std::size_t size) { return chains("abcdef", size); }},
                 {"counters", counters},
                 {"noise", [](std::size_t size) { return data_mix::noise(size, 3); }}};
    std::printf("| size |");
    for (const auto& kind : kinds) std::printf(" %s |", kind.name);
    std::printf("\n|--:|");
    for ([[maybe_unused]] const auto& kind : kinds) std::printf("--:|");
    for (const std::size_t kib : {1, 16, 256, 4'096, 65'536, 262'144}) {
        std::printf("\n| %zu KiB |", kib);
        for (const auto& kind : kinds) {
            std::printf(" %.1f |", speed(kind.make(kib * 1'024)));
            std::fflush(stdout);
        }
    }
    std::printf("\n");
}
