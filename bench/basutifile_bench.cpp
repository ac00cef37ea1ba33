// bench/basutifile_bench.cpp: a container file of 100,000 small segments is made, listed and read, beside a
// zip archive of as many stored entries.
#include "basutifile.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <zip.h>

#include "basutstream.h"

namespace {

constexpr std::size_t k_segments = 100'000;
constexpr std::size_t k_bytes = 200;  ///< of a segment

/// Names as designs have them, and one content for all.
struct material {
    material()
    {
        for (std::size_t i = 0; i < k_segments; ++i)
            names.push_back("top/core" + std::to_string(i % 64) + "/alu/carry[" + std::to_string(i) + "]");
        for (std::size_t i = 0; i < k_bytes; ++i) content += static_cast<char>(' ' + i % 64);
    }
    std::vector<std::string> names;
    std::string content;
};

const material& the_material()
{
    static const material made;
    return made;
}

std::string path_of(const char* name)
{
    const char* const temp = std::getenv("TEMP");
    return (std::filesystem::path(temp != nullptr ? temp : "/tmp") / name).string();
}

/// A file that goes with the benchmark.
class scratch {
public:
    explicit scratch(const char* name) : path_(path_of(name)) {}
    ~scratch() { std::remove(path_.c_str()); }
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

void require(bool holds)
{
    if (!holds) std::abort();
}

struct ours {
    static constexpr const char* k_name = "indexed.idx";

    static void create(const char* path)
    {
        const material& from = the_material();
        UT_IFILE file;
        require(file.create(path) != 0);
        for (const std::string& name : from.names) {
            UT_STREAM* const stream = file.putdataseg(name.c_str(), 1, 0);
            stream->write(reinterpret_cast<const unsigned char*>(from.content.data()),
                          static_cast<int>(from.content.size()));
            file.enddataseg();
        }
        require(file.unload() != 0);
    }

    static std::size_t list(const char* path)
    {
        UT_IFILE file;
        require(file.load(path) != 0);
        std::size_t bytes = 0;
        UT_IFILESEGINFO info;
        while (file.getnextseginfo(info, 0)) bytes += static_cast<std::size_t>(info.getsize());
        file.unload();
        return bytes;
    }

    static std::size_t read(const char* path)
    {
        UT_IFILE file;
        require(file.load(path) != 0);
        std::size_t bytes = 0;
        unsigned char content[k_bytes];
        for (const std::string& name : the_material().names) {
            UT_STREAM* const stream = file.getdataseg(name.c_str(), 1, nullptr);
            bytes += static_cast<std::size_t>(stream->read(content, k_bytes));
            file.enddataseg();
        }
        file.unload();
        return bytes;
    }
};

struct peer {
    static constexpr const char* k_name = "archive.zip";

    static void create(const char* path)
    {
        const material& from = the_material();
        zip_t* const archive = zip_open(path, ZIP_CREATE | ZIP_TRUNCATE, nullptr);
        require(archive != nullptr);
        for (const std::string& name : from.names) {
            zip_source_t* const source =
                zip_source_buffer(archive, from.content.data(), from.content.size(), 0);
            const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_RAW);
            require(index >= 0);
            zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
        }
        require(zip_close(archive) == 0);
    }

    static std::size_t list(const char* path)
    {
        zip_t* const archive = zip_open(path, ZIP_RDONLY, nullptr);
        require(archive != nullptr);
        std::size_t bytes = 0;
        const auto entries = static_cast<zip_uint64_t>(zip_get_num_entries(archive, 0));
        zip_stat_t info;
        for (zip_uint64_t i = 0; i < entries; ++i)
            if (zip_stat_index(archive, i, 0, &info) == 0) bytes += info.size;
        zip_close(archive);
        return bytes;
    }

    static std::size_t read(const char* path)
    {
        zip_t* const archive = zip_open(path, ZIP_RDONLY, nullptr);
        require(archive != nullptr);
        std::size_t bytes = 0;
        unsigned char content[k_bytes];
        for (const std::string& name : the_material().names) {
            zip_file_t* const entry = zip_fopen(archive, name.c_str(), 0);
            bytes += static_cast<std::size_t>(zip_fread(entry, content, k_bytes));
            zip_fclose(entry);
        }
        zip_close(archive);
        return bytes;
    }
};

template <class Container>
void segments_create(benchmark::State& state)
{
    const scratch file(Container::k_name);
    for (auto _ : state) {
        std::remove(file.path());
        Container::create(file.path());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_segments));
}

template <class Container>
const char* finished_file()
{
    static const scratch file((std::string("finished_") + Container::k_name).c_str());
    [[maybe_unused]] static const bool made = (Container::create(file.path()), true);
    return file.path();
}

template <class Container, std::size_t (*Work)(const char*)>
void segments_with(benchmark::State& state)
{
    const char* const path = finished_file<Container>();
    for (auto _ : state) require(Work(path) == k_segments * k_bytes);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_segments));
}

BENCHMARK(segments_create<ours>)
    ->Name("segments_create/UT_IFILE")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(segments_create<peer>)
    ->Name("segments_create/libzip")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(segments_with<ours, ours::list>)
    ->Name("segments_list/UT_IFILE")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
BENCHMARK(segments_with<peer, peer::list>)
    ->Name("segments_list/libzip")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
BENCHMARK(segments_with<ours, ours::read>)
    ->Name("segments_read/UT_IFILE")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
BENCHMARK(segments_with<peer, peer::read>)
    ->Name("segments_read/libzip")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
