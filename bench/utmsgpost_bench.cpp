// bench/utmsgpost_bench.cpp: a message on its way, beside a logger that gets the finished text.
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <tinyxml.h>
#include <unistd.h>

#include "message_catalogue.h"
#include "msgman.h"

namespace {

constexpr const char* k_net = "top/core0/alu/carry[0:7]";
constexpr int k_loads = 17;
constexpr int k_remembered = 4'096;  ///< posts, before they are forgotten

/// Posts one message over and over, and forgets the records now and then, as a tool that runs for days.
void post_over_and_over(benchmark::State& state, msgManager& messages, const char* uid)
{
    int posts = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(messages.postMsg(uid, k_net, k_loads));
        if (++posts % k_remembered == 0) messages.resetMsgBuffer(MSG_ALL);
    }
}

// ---- to a file

class open_file {
public:
    explicit open_file(const char* path) : file_(std::fopen(path, "we")) {}
    ~open_file() { std::fclose(file_); }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;
    std::FILE* get() const { return file_; }

private:
    std::FILE* file_;
};

void post_to_file(benchmark::State& state)
{
    const message_catalogue catalogue(100);
    const open_file out("/dev/null");
    msgManager messages(k_category);
    messages.setPostMsgFun(shown_by_tool);
    messages.addMsgLogFile(out.get());
    post_over_and_over(state, messages, "0042");
    messages.delMsgLogFile(out.get());
}

/// `flushed` as the database does it, behind each line, or when its buffer is full.
void log_to_file(benchmark::State& state, bool flushed)
{
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::basic_file_sink_mt>("/dev/null"));
    logger.set_pattern("%v");
    if (flushed) logger.flush_on(spdlog::level::warn);
    for (auto _ : state)
        logger.warn("WARNING <5000042> - Net {} has {} loads and no driver.", k_net, k_loads);
}

BENCHMARK(post_to_file)->Name("post_to_file/msgManager");
BENCHMARK_CAPTURE(log_to_file, flushed, true)->Name("post_to_file/spdlog");
BENCHMARK_CAPTURE(log_to_file, buffered, false)->Name("post_to_file/spdlog_unflushed");

// ---- held back

void post_held_back(benchmark::State& state)
{
    const message_catalogue catalogue(100);
    msgManager messages(k_category);
    messages.disableMsg("0042", 0);
    post_over_and_over(state, messages, "0042");
}

/// Drops what is about nets without a driver: a choice that is made at run time, by the text.
class filtering_sink final : public spdlog::sinks::base_sink<std::mutex> {
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        const std::string_view text(message.payload.data(), message.payload.size());
        if (text.find(unwanted_) == std::string_view::npos) std::fwrite(text.data(), 1, text.size(), stderr);
    }
    void flush_() override {}

    std::string unwanted_ = "loads and no driver.";
};

void log_held_back(benchmark::State& state)
{
    spdlog::logger logger("bench", std::make_shared<filtering_sink>());
    logger.set_pattern("%v");
    for (auto _ : state)
        logger.warn("WARNING <5000042> - Net {} has {} loads and no driver.", k_net, k_loads);
}

BENCHMARK(post_held_back)->Name("held_back/msgManager");
BENCHMARK(log_held_back)->Name("held_back/spdlog");

// ---- legacy text

/// The console goes to /dev/null while one lives.
class silent_console {
public:
    silent_console()
    {
        std::fflush(stdout);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            before_[stream] = ::fcntl(stream, F_DUPFD_CLOEXEC, 3);
            const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
            ::dup2(nowhere, stream);
            ::close(nowhere);
        }
    }
    ~silent_console()
    {
        std::fflush(stdout);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            ::dup2(before_[stream], stream);
            ::close(before_[stream]);
        }
    }
    silent_console(const silent_console&) = delete;
    silent_console& operator=(const silent_console&) = delete;

private:
    int before_[3] = {};
};

constexpr const char* k_first_line = "Net top/core0/alu/carry[0:7] has 17 loads and no driver, so it";
constexpr const char* k_second_line = "keeps the value that it had at power-up.";

void write_legacy_line(benchmark::State& state)
{
    UT_MSGMAN::m_msgFlow = 0;
    const silent_console console;
    const std::string text = std::string(k_first_line) + " " + k_second_line;
    for (auto _ : state) ut_msgman->info(text.c_str(), 0);
    UT_MSGMAN::m_msgFlow = 1;
}

void format_and_write(benchmark::State& state)
{
    const silent_console console;
    for (auto _ : state) {
        const std::string text = fmt::format("INFO - {}\n       {}\n", k_first_line, k_second_line);
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
}

BENCHMARK(write_legacy_line)->Name("legacy_line/UT_MSGMAN");
BENCHMARK(format_and_write)->Name("legacy_line/fmt");

// ---- the first post, and the size of the catalogue

constexpr int k_large = 2'000;

void first_post(benchmark::State& state)
{
    const message_catalogue catalogue(k_large);
    for (auto _ : state) {
        message_catalogue::restart();
        msgManager messages(k_category);
        messages.setPostMsgFun(shown_by_tool);
        benchmark::DoNotOptimize(messages.postMsg("1042", k_net, k_loads));
    }
}

void load_alone(benchmark::State& state)
{
    const message_catalogue catalogue(k_large);
    for (auto _ : state) {
        TiXmlDocument index;
        TiXmlDocument messages;
        if (!index.LoadFile(catalogue.index_path().c_str()) ||
            !messages.LoadFile(catalogue.messages_path().c_str()))
            state.SkipWithError("the files do not load");
        benchmark::DoNotOptimize(messages.RootElement());
    }
}

BENCHMARK(first_post)->Name("first_post/msgManager")->Unit(benchmark::kMillisecond);
BENCHMARK(load_alone)->Name("first_post/TinyXML")->Unit(benchmark::kMillisecond);

void post_from_catalogue(benchmark::State& state, int size)
{
    const message_catalogue catalogue(size);
    msgManager messages(k_category);
    messages.setPostMsgFun(shown_by_tool);
    post_over_and_over(state, messages, message_catalogue::number(size).c_str());
}

BENCHMARK_CAPTURE(post_from_catalogue, large, k_large)->Name("post_of_2000/msgManager");
BENCHMARK_CAPTURE(post_from_catalogue, small, 20)->Name("post_of_2000/of_20");

}  // namespace

BENCHMARK_MAIN();
