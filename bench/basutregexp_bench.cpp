// bench/basutregexp_bench.cpp: 40 patterns over 1,000 lines of a tool's log, where the match lies and its
// groups.
#include "basutregexp.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <re2/re2.h>

namespace {

constexpr int k_lines = 1'000;

/// What people look for in a log, in the language that all contenders share.
constexpr std::array k_patterns = {
    // words, alone and in a choice
    "ERROR", "WARNING:Route", "xyzzy", "unrouted|unplaced|unconnected", "(clk|rst)_[a-z]+",
    "(error|warning|fatal)", "LUT[1-6]", "done$",
    // the head of a line
    "^ERROR", "^(INFO|WARNING):[A-Za-z]+", "^[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+", "^ *Phase [0-9]+",
    // numbers
    "[0-9]+:[0-9]+:[0-9]+", "[0-9]+\\.[0-9]+ ns", "0x[0-9a-f]+", "slack +-[0-9.]+", "memory: *[0-9]+ MB",
    "([0-9]+)%", "took ([0-9.]+) s", "\\[[0-9]+:[0-9]+\\]",
    // names
    "net '([^']*)'", "([a-z_0-9]+)/([a-z_0-9]+)\\[([0-9]+)\\]", "(core[0-9]/)+(alu|fpu)",
    "[a-z]+@[a-z]+\\.[a-z]+", "/[a-z_/]+\\.v", R"("[^"]*")", "user=([a-z]+)", "[A-Z][A-Z]+[0-9]+",
    "[xyz][0-9]+q", "(ERROR|WARNING):([A-Za-z]+):([0-9]+)",
    // several things in a row
    "Phase [0-9]+\\.[0-9]+.*took", "(placed|routed) ([0-9]+) of ([0-9]+)", "net '[^']*' .*skew",
    ".*timing.*met", "CRC .* mismatch", "pid=[0-9]+ .*exit=[1-9]", "([^ ]+) ([^ ]+) ([^ ]+)", "(.*): (.*)",
    "(a|b|c)+d", "[a-z]+ing "};
static_assert(k_patterns.size() == 40);

std::vector<std::string> log_lines()
{
    std::mt19937 random(1'914);
    const auto below = [&](unsigned n) { return std::to_string(random() % n); };
    const auto path = [&] {
        static constexpr std::array k_blocks = {"alu", "fpu", "lsu", "clk_gen", "rst_sync", "fifo"};
        return "top/core" + below(8) + "/" + k_blocks[random() % k_blocks.size()] + "/data[" + below(64) +
               "]";
    };
    const auto time = [&] {
        return "2026-03-1" + below(9) + " 0" + below(9) + ":" + below(60) + ":" + below(60);
    };
    std::vector<std::string> lines;
    while (lines.size() != k_lines) {
        switch (random() % 10) {
        case 0:
            lines.emplace_back("  Phase " + below(12) + "." + below(9) +
                               " Local placement optimisation took " + below(90) + "." + below(9) +
                               " s, memory: " + below(9000) + " MB");
            break;
        case 1:
            lines.emplace_back("INFO:Place:" + below(900) + " - placed " + below(70'000) +
                               " of 70000 components, " + below(100) + "% complete");
            break;
        case 2:
            lines.emplace_back("WARNING:Route:" + below(900) + " - net '" + path() +
                               "' may have excessive skew because " + below(30) +
                               " pins were not routed by a clock template");
            break;
        case 3:
            lines.emplace_back("ERROR:Pack:" + below(900) + " - The signal " + path() +
                               " is unconnected; see \"" + path() + "\" for its driver");
            break;
        case 4:
            lines.emplace_back(time() + " par[" + below(30'000) + "]: user=operator pid=" + below(30'000) +
                               " command finished exit=" + below(3));
            break;
        case 5:
            lines.emplace_back(time() + " Slack for path " + path() + " to " + path() + ": slack -" +
                               below(9) + "." + below(999) + " ns (requirement 5.000 ns)");
            break;
        case 6:
            lines.emplace_back("Loading device data from /opt/suite/data/parts/family.nph and "
                               "/home/designer/project/rtl/datapath_top.v, version 14.7");
            break;
        case 7:
            lines.emplace_back("   LUT" + below(7) + " at SLICE_X" + below(90) + "Y" + below(90) +
                               " initialised to 0x" + below(99'999) + "af, bus [" + below(64) + ":0]");
            break;
        case 8:
            lines.emplace_back("All timing constraints of group " + below(90) +
                               " were met; 0 unrouted, total score " + below(9'999));
            break;
        default:
            lines.emplace_back("Writing the bit file for design version " + below(99) +
                               ", contact support@example.com when this is done");
            break;
        }
    }
    return lines;
}

/// A match: where it begins and ends; both 0 if there is none.
using span = std::pair<std::size_t, std::size_t>;

class ours {
public:
    using line = UT_STROBJ;
    explicit ours(const char* pattern) : expression_(UT_STROBJ(pattern)) {}
    span find(const line& text) const
    {
        const UT_STRKEYS keys = text.match_reg_exp(expression_, 0);
        return {keys.key_start(0), keys.key_end(0)};
    }

private:
    UT_REGEXP expression_;
};

class standard {
public:
    using line = std::string;
    explicit standard(const char* pattern) : expression_(pattern, std::regex::optimize) {}
    span find(const line& text) const
    {
        std::smatch keys;
        if (!std::regex_search(text, keys, expression_)) return {};
        return {keys.position(), keys.position() + keys.length()};
    }

private:
    std::regex expression_;
};

class automaton {
public:
    using line = std::string;
    explicit automaton(const char* pattern) : expression_(std::make_unique<re2::RE2>(pattern)) {}
    span find(const line& text) const
    {
        std::array<re2::StringPiece, 20> keys;
        if (!expression_->Match(text, 0, text.size(), re2::RE2::UNANCHORED, keys.data(),
                                expression_->NumberOfCapturingGroups() + 1))
            return {};
        const auto start = static_cast<std::size_t>(keys[0].data() - text.data());
        return {start, start + keys[0].size()};
    }

private:
    std::unique_ptr<re2::RE2> expression_;
};

/// The expressions of one contender, and the lines as it likes them.
template <class Contender>
struct job {
    job()
    {
        for (const char* pattern : k_patterns) expressions.emplace_back(pattern);
        for (const std::string& line : log_lines()) lines.emplace_back(line.c_str());
    }

    std::vector<span> run() const
    {
        std::vector<span> found;
        found.reserve(expressions.size() * lines.size());
        for (const Contender& expression : expressions)
            for (const auto& line : lines) found.push_back(expression.find(line));
        return found;
    }

    std::vector<Contender> expressions;
    std::vector<typename Contender::line> lines;
};

template <class Contender>
void match(benchmark::State& state)
{
    const job<Contender> work;
    if (work.run() != job<ours>().run()) {
        state.SkipWithError("the contenders found different matches");
        return;
    }
    for (auto _ : state) {
        std::size_t found = 0;
        for (const Contender& expression : work.expressions)
            for (const auto& line : work.lines) found += expression.find(line).second;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_patterns.size()) * k_lines);
}

BENCHMARK(match<ours>)->Name("match/UT_REGEXP")->Unit(benchmark::kMillisecond);
BENCHMARK(match<standard>)->Name("match/std::regex")->Unit(benchmark::kMillisecond);
BENCHMARK(match<automaton>)->Name("match/RE2")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
