// bench/utmsgmemory_bench.cpp: the memory of a million posts, beside the bytes of their texts.
#include <cstddef>
#include <string>

#include <benchmark/benchmark.h>

#include "bytes_in_use.h"
#include "message_catalogue.h"

namespace {

constexpr int k_posts = 1'000'000;

std::string net_name(int post)
{
    return "top/core" + std::to_string(post % 64) + "/alu/carry[" + std::to_string(post) + "]";
}

void posts_memory(benchmark::State& state)
{
    const message_catalogue catalogue(20);
    msgManager messages(k_category);
    messages.setPostMsgFun(shown_by_tool);
    messages.postMsg("0007", "", 0);  // the files are loaded
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t before = bytes_in_use();
        for (int i = 0; i < k_posts; ++i) messages.postMsg("0007", net_name(i).c_str(), i % 100);
        bytes = bytes_in_use() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes) / k_posts;
}

/// The characters of the same texts, and nothing else.
void texts_memory(benchmark::State& state)
{
    const message_catalogue catalogue(20);
    msgManager messages(k_category);
    messages.setPostMsgFun(shown_by_tool);
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = 0;
        std::string text;
        for (int i = 0; i < k_posts; ++i) {
            const int sid = messages.postMsg("0007", net_name(i).c_str(), i % 100);
            messages.retrieveMsgString(sid, text);
            bytes += text.size();
            messages.resetMsgBuffer(MSG_ALL);
        }
    }
    state.counters["bytes"] = static_cast<double>(bytes) / k_posts;
}

BENCHMARK(posts_memory)->Name("posts_memory/msgManager")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(texts_memory)->Name("posts_memory/texts")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
