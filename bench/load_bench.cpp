// bench/load_bench.cpp: a program that loads the library and ends, beside one that only ends.
#include <chrono>
#include <string>
#include <system_error>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Runs `program` to its end. Errors: one that cannot be started, or fails, throws.
void run(std::string program)
{
    char* const arguments[] = {program.data(), nullptr};
    pid_t child = 0;
    if (const int error = ::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ))
        throw std::system_error(error, std::generic_category(), program);
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0) throw std::runtime_error(program + " failed");
}

void load(benchmark::State& state, const char* program)
{
    using clock = std::chrono::steady_clock;
    const std::string path = std::string(LOAD_PROGRAM_DIR "/") + program;
    for (auto _ : state) {
        const auto start = clock::now();
        run(path);
        state.SetIterationTime(std::chrono::duration<double>(clock::now() - start).count());
    }
}

/// The median of a few hundred single runs, which no busy moment of the machine can move.
void single_runs(benchmark::internal::Benchmark* of)
{
    of->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(301)
        ->ReportAggregatesOnly();
}

BENCHMARK_CAPTURE(load, with, "load_with_library")->Name("load/ketriope")->Apply(single_runs);
BENCHMARK_CAPTURE(load, without, "load_without_library")->Name("load/nothing")->Apply(single_runs);

}  // namespace

BENCHMARK_MAIN();
