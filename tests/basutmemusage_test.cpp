// tests/basutmemusage_test.cpp
#include "basutmemusage.h"

#include <functional>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "basutstream.h"
#include "child_process.h"
#include "message_capture.h"
#include "msgman.h"
#include "scoped_environment.h"
#include "scoped_operations.h"
#include "stream_tools.h"
#include "temp_directory.h"

namespace {

using testing::ContainsRegex;
using testing::MatchesRegex;

constexpr std::uint64_t k_current = 3'145'728;    ///< 3 Mbytes
constexpr std::uint64_t k_peak = 12'345'678'901;  ///< 11773.757 Mbytes

constexpr const char* k_peak_line = "QVS_MEMUSAGE - Peak memory usage is 12345678901 bytes.";
constexpr const char* k_figures = "3.000 Mbytes/peak memory 11773.757 Mbytes";

/// Every test of this program sees the figures above, and a user who wants the reports between steps: that is
/// read once in a process.
class UtMemUsage : public testing::Test {
protected:
    UtMemUsage()
    {
        system_.table.process_memory = [] { return ketriope::platform::memory_use{k_current, k_peak}; };
    }

    static std::string on_message_manager(const std::function<void()>& work) { return stdout_of(work); }

    template <class Report>
    static std::string on_ut_stream(Report report)
    {
        const temp_directory place;
        const std::string name = place / "report";
        {
            const descriptor file(name, k_to_write);
            UT_STREAM out(file, UT_ACCESS(2), 4096, nullptr);
            report(out);
            out.flush();
        }
        return file_bytes(name);
    }

    scoped_environment wanted_{"QVS_REPORT_MEMORY", "10"};
    scoped_operations system_;
};

TEST_F(UtMemUsage, FiguresAreThoseOfTheSystemInBytes)
{
    EXPECT_EQ(UT_MEM_USAGE::getCurrentByteUsage(), k_current);
    EXPECT_EQ(UT_MEM_USAGE::getCurrentMemoryUsage(), k_current);
    EXPECT_EQ(UT_MEM_USAGE::getPeakMemoryUsage(), k_peak);
}

TEST_F(UtMemUsage, NothingIsKept)
{
    EXPECT_EQ(UT_MEM_USAGE::getPeakMemoryUsage(), k_peak);
    system_.table.process_memory = [] { return ketriope::platform::memory_use{1, 2}; };
    EXPECT_EQ(UT_MEM_USAGE::getCurrentByteUsage(), 1U);
    EXPECT_EQ(UT_MEM_USAGE::getCurrentMemoryUsage(), 1U);
    EXPECT_EQ(UT_MEM_USAGE::getPeakMemoryUsage(), 2U);
}

TEST_F(UtMemUsage, WhatTheSystemDoesNotTellIs0)
{
    system_.table.process_memory = [] { return ketriope::platform::memory_use{}; };
    EXPECT_EQ(UT_MEM_USAGE::getCurrentByteUsage(), 0U);
    EXPECT_EQ(UT_MEM_USAGE::getPeakMemoryUsage(), 0U);
}

TEST(UtMemUsageOfThisProcess, GrowsWithWhatIsTouched)
{
    constexpr std::size_t k_much = 64U << 20U;
    const ut_uint64 before = UT_MEM_USAGE::getCurrentMemoryUsage();
    std::vector<char> touched(k_much);
    volatile char* const page = touched.data();  // seen by others, as far as a compiler can tell
    for (std::size_t i = 0; i < k_much; i += 1024) page[i] = 'x';
    EXPECT_GE(UT_MEM_USAGE::getCurrentMemoryUsage(), before + k_much / 2);
    EXPECT_GE(UT_MEM_USAGE::getPeakMemoryUsage(), k_much);
}

TEST_F(UtMemUsage, ThePeakIsReportedOnEachSink)
{
    EXPECT_EQ(on_message_manager([] { UT_MEM_USAGE::reportCurrentUsage(*ut_msgman); }),
              std::string(k_peak_line) + '\n');
    EXPECT_EQ(on_ut_stream([](UT_STREAM& out) { UT_MEM_USAGE::reportCurrentUsage(out); }),
              std::string(k_peak_line) + "\r\n");
    std::ostringstream out;
    UT_MEM_USAGE::reportCurrentUsage(out);
    EXPECT_EQ(out.str(), std::string(k_peak_line) + '\n');
}

TEST_F(UtMemUsage, NumbersHaveNoGroupingWhateverTheLocaleOfTheSink)
{
    struct grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        char do_decimal_point() const override { return ';'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::ostringstream out;
    out.imbue(std::locale(std::locale::classic(), new grouping));
    UT_MEM_USAGE::reportCurrentUsage(out);
    UT_MEM_USAGE::reportCurrentUsage(out, "a", "b");
    EXPECT_EQ(out.str(), std::string(k_peak_line) + "\na Current memory " + k_figures + " b\n");
}

struct step {
    const char* prefix;
    const char* suffix;
    std::string ours;    ///< on a message manager and on a stream of the library
    std::string theirs;  ///< on a stream of the runtime
};

TEST_F(UtMemUsage, StepsAreReportedInTwoWordings)
{
    const std::string ours = std::string("current memory ") + k_figures;
    const std::string theirs = std::string("Current memory ") + k_figures;
    const step k_steps[] = {
        {"placed:", "so far", "placed: " + ours + " so far", "placed: " + theirs + " so far"},
        {"", "", " " + ours + " ", theirs + "."},
        {"", "so far", " " + ours + " so far", theirs + " so far"},
        {"placed:", "", "placed: " + ours + " ", "placed: " + theirs + "."},
        {nullptr, nullptr, "NULL " + ours + " NULL", theirs + "."},
        {"100% %s", "%n", "100% %s " + ours + " %n", "100% %s " + theirs + " %n"},
    };
    for (const auto& [prefix, suffix, on_ours, on_theirs] : k_steps) {
        EXPECT_EQ(on_message_manager([&, before = prefix, behind = suffix] {
                      UT_MEM_USAGE::reportCurrentUsage(*ut_msgman, before, behind);
                  }),
                  on_ours + '\n');
        EXPECT_EQ(on_ut_stream([before = prefix, behind = suffix](UT_STREAM& out) {
                      UT_MEM_USAGE::reportCurrentUsage(out, before, behind);
                  }),
                  on_ours + "\r\n");
        std::ostringstream out;
        UT_MEM_USAGE::reportCurrentUsage(out, prefix, suffix);
        EXPECT_EQ(out.str(), on_theirs + '\n');
    }
}

TEST_F(UtMemUsage, ALongPrefixIsShownWhole)
{
    const std::string prefix(10'000, 'x');
    std::ostringstream out;
    UT_MEM_USAGE::reportCurrentUsage(out, prefix.c_str(), nullptr);
    EXPECT_EQ(out.str(), prefix + " Current memory " + k_figures + ".\n");
    EXPECT_EQ(on_message_manager([&] { UT_MEM_USAGE::reportCurrentUsage(*ut_msgman, prefix.c_str(), ""); }),
              prefix + " current memory " + k_figures + " \n");
}

// ---- what is read once in a process, and at its end

child_result run(const char* scenario, const char* steps, const char* end)
{
    return run_child(child_program("memory_usage_child"), {scenario},
                     {{"QVS_REPORT_MEMORY", steps}, {"QVS_MEMUSAGE", end}});
}

#define FIGURES "[0-9]+\\.[0-9][0-9][0-9] Mbytes/peak memory [0-9]+\\.[0-9][0-9][0-9] Mbytes"
#define LEGACY_AND_STREAM "legacy current memory " FIGURES " \nstream current memory " FIGURES " \r\n"
#define ALL_THREE LEGACY_AND_STREAM "standard Current memory " FIGURES "\\.\n"
constexpr const char* k_one_report = ALL_THREE "end of main\n";
constexpr const char* k_two_reports = ALL_THREE ALL_THREE "end of main\n";
constexpr const char* k_without_the_third = LEGACY_AND_STREAM "end of main\n";
#undef ALL_THREE
#undef LEGACY_AND_STREAM
constexpr const char* k_end_report =
    "end of main\nQVS_MEMUSAGE - Peak memory usage is [1-9][0-9]+ bytes\\.\n";
#undef FIGURES

TEST(UtMemUsageProcess, StepsAreReportedWhereTheVariableBeginsWith1)
{
    for (const char* const value : {"1", "10", "1x"})
        EXPECT_THAT(run("report", value, nullptr).out, MatchesRegex(k_one_report)) << value;
    for (const char* const value : {static_cast<const char*>(nullptr), "", "0", "01", " 1", "yes"})
        EXPECT_EQ(run("report", value, nullptr).out, "end of main\n");
}

TEST(UtMemUsageProcess, TheVariableIsReadOnceByEachForm)
{
    EXPECT_THAT(run("change", "1", nullptr).out, MatchesRegex(k_two_reports));
    EXPECT_EQ(run("change", nullptr, nullptr).out, "end of main\n");
    EXPECT_THAT(run("one first", nullptr, nullptr).out, MatchesRegex(k_without_the_third));
}

TEST(UtMemUsageProcess, ThePeakIsReportedAtTheEndWhereTheVariableIsSet)
{
    for (const char* const value : {"1", "0", ""})
        EXPECT_THAT(run("", nullptr, value).out, MatchesRegex(k_end_report));
    EXPECT_EQ(run("", nullptr, nullptr).out, "end of main\n");
    const child_result exited = run("exit", nullptr, "1");
    EXPECT_THAT(exited.out, MatchesRegex(k_end_report));
    EXPECT_EQ(exited.exit_status, 4);
    EXPECT_EQ(exited.err, "");
}

TEST(UtMemUsageProcess, ThePeakIsReportedByAProgramThatLoadsTheLibraryAndLetsItGo)
{
    const child_result seen =
        run_child(child_program("memory_unload_loader"), {TEST_LIBRARY}, {{"QVS_MEMUSAGE", "1"}});
    EXPECT_THAT(seen.out, ContainsRegex("\nQVS_MEMUSAGE - Peak memory usage is [1-9][0-9]+ bytes\\.\n"));
    EXPECT_EQ(seen.exit_status, 0);
}

}  // namespace
