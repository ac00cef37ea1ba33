// tests/environment_test.cpp
#include "environment.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "message_capture.h"
#include "scoped_environment.h"
#include "scoped_operations.h"
#include "temp_directory.h"

using ketriope::platform::account;
using ketriope::platform::cpu_times;
using ketriope::platform::memory_use;

namespace {

static_assert(sizeof(dl_Environment) == sizeof(void*));

// ---- variables

TEST(EnvironmentSetting, IsReadOncePerProcess)
{
    dl_Environment environment;
    const scoped_environment set("ENVIRONMENT_TEST_ONCE", "before");
    const char* const value = environment.findEnvSetting("ENVIRONMENT_TEST_ONCE");
    EXPECT_STREQ(value, "before");
    ::setenv("ENVIRONMENT_TEST_ONCE", "after", 1);
    EXPECT_EQ(environment.findEnvSetting("ENVIRONMENT_TEST_ONCE"), value);
    dl_Environment other;
    EXPECT_EQ(other.findEnvSetting("ENVIRONMENT_TEST_ONCE"), value);
    EXPECT_STREQ(value, "before");
}

TEST(EnvironmentSetting, AnUnsetOneStaysNull)
{
    dl_Environment environment;
    const scoped_environment unset("ENVIRONMENT_TEST_UNSET", nullptr);
    EXPECT_EQ(environment.findEnvSetting("ENVIRONMENT_TEST_UNSET"), nullptr);
    ::setenv("ENVIRONMENT_TEST_UNSET", "late", 1);
    EXPECT_EQ(environment.findEnvSetting("ENVIRONMENT_TEST_UNSET"), nullptr);
    EXPECT_EQ(environment.findEnvSetting(nullptr), nullptr);
}

TEST(EnvironmentSetting, ThreadsMayAskAtOnce)
{
    const scoped_environment set("ENVIRONMENT_TEST_THREADS", "value");
    std::vector<std::thread> threads;
    std::vector<const char*> values(8);
    for (std::size_t i = 0; i < values.size(); ++i) {
        threads.emplace_back([&values, i] {
            const auto environment = std::unique_ptr<dl_Environment>(new dl_Environment);
            for (int round = 0; round < 100; ++round)
                environment->findEnvSetting(("ENVIRONMENT_TEST_" + std::to_string(round)).c_str());
            values[i] = environment->findEnvSetting("ENVIRONMENT_TEST_THREADS");
            std::string version;
            environment->findVersion(version);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const char* const value : values) EXPECT_EQ(value, values[0]);
    EXPECT_STREQ(values[0], "value");
}

// ---- processor time

std::int64_t now = 0;
cpu_times used;

/// Clocks that stand until the test moves them.
class EnvironmentTimer : public testing::Test {
protected:
    EnvironmentTimer()
    {
        move_to(1'000, 2'500'000, 500'000);
        replaced.table.wall_clock = [] { return now; };
        replaced.table.process_times = [](cpu_times& out) {
            out = used;
            return true;
        };
    }

    static void move_to(std::int64_t seconds, std::int64_t user, std::int64_t system)
    {
        now = seconds;
        used = {user, system};
    }
    void expect_mark(unsigned long wall, float user, float system)
    {
        unsigned long told_wall = 99;
        float told_user = 99;
        float told_system = 99;
        environment.markTimer(told_wall, told_user, told_system);
        EXPECT_EQ(told_wall, wall);
        EXPECT_FLOAT_EQ(told_user, user);
        EXPECT_FLOAT_EQ(told_system, system);
    }

    dl_Environment environment;
    scoped_operations replaced;
};

TEST_F(EnvironmentTimer, TellsZerosUntilItIsStarted)
{
    expect_mark(0, 0, 0);
}

TEST_F(EnvironmentTimer, TellsTheTimeSinceItsStart)
{
    environment.startTimer();
    expect_mark(0, 0, 0);
    move_to(1'007, 4'000'000, 750'000);
    expect_mark(7, 1.5F, 0.25F);
    expect_mark(7, 1.5F, 0.25F);
}

TEST_F(EnvironmentTimer, StartsFromZeroAgain)
{
    environment.startTimer();
    move_to(1'007, 4'000'000, 750'000);
    environment.startTimer();
    expect_mark(0, 0, 0);
    move_to(1'009, 5'000'000, 1'000'000);
    expect_mark(2, 1.0F, 0.25F);
    environment.stopTimer();
    expect_mark(0, 0, 0);
    environment.stopTimer();
}

TEST_F(EnvironmentTimer, AClockThatIsSetBackGivesZero)
{
    environment.startTimer();
    move_to(900, 2'500'000, 500'000);
    expect_mark(0, 0, 0);
}

TEST_F(EnvironmentTimer, CpuUsageStartsItAndTellsTheSum)
{
    float user = 99;
    float system = 99;
    EXPECT_EQ(environment.findCPUsage(user, system), 0.0F);
    EXPECT_EQ(user, 0.0F);
    EXPECT_EQ(system, 0.0F);
    move_to(1'003, 3'500'000, 2'000'000);
    EXPECT_FLOAT_EQ(environment.findCPUsage(user, system), 2.5F);
    EXPECT_FLOAT_EQ(user, 1.0F);
    EXPECT_FLOAT_EQ(system, 1.5F);
    expect_mark(3, 1.0F, 1.5F);
}

TEST_F(EnvironmentTimer, TimesThatCannotBeHadAreZero)
{
    replaced.table.process_times = [](cpu_times&) { return false; };
    environment.startTimer();
    expect_mark(0, 0, 0);
}

// ---- dates

/// 2 March 2005, 06:07:08 UTC, a Wednesday.
constexpr std::int64_t k_instant = 1'109'743'628;

class EnvironmentTime : public testing::Test {
protected:
    EnvironmentTime()
    {
        replaced.table.wall_clock = [] { return k_instant; };
    }

    scoped_zone ahead{"XYZ-2"};  // two hours ahead of universal time
    dl_Environment environment;
    scoped_operations replaced;
    std::string out = "old";
};

TEST_F(EnvironmentTime, HasADefaultFormat)
{
    EXPECT_STREQ(environment.findGMTTime(out, nullptr), "Wed Mar 02 06:07:08 2005");
    EXPECT_EQ(out, "Wed Mar 02 06:07:08 2005");
    EXPECT_STREQ(environment.findLocalTime(out, nullptr), "Wed Mar 02 08:07:08 2005");
    EXPECT_EQ(out, "Wed Mar 02 08:07:08 2005");
}

TEST_F(EnvironmentTime, TakesTheFormatsOfStrftime)
{
    EXPECT_STREQ(environment.findLocalTime(out, "%Y-%m-%d %H:%M:%S %Z 100%%"),
                 "2005-03-02 08:07:08 XYZ 100%");
    EXPECT_STREQ(environment.findGMTTime(out, "%A, %d %B, %x %p %j"), "Wednesday, 02 March, 03/02/05 AM 061");
    EXPECT_STREQ(environment.findGMTTime(out, ""), "");
    EXPECT_EQ(out, "");
}

TEST_F(EnvironmentTime, ATextBeyond1023BytesIsEmpty)
{
    EXPECT_EQ(environment.findGMTTime(out, std::string(1'023, 'x').c_str()), std::string(1'023, 'x'));
    EXPECT_STREQ(environment.findGMTTime(out, std::string(1'024, 'x').c_str()), "");
}

TEST_F(EnvironmentTime, ATimeThatCannotBeToldIsEmpty)
{
    replaced.table.local_time = [](std::int64_t, std::tm&) { return false; };
    EXPECT_STREQ(environment.findLocalTime(out, nullptr), "");
    EXPECT_EQ(out, "");
}

// ---- memory

TEST(EnvironmentMemory, IsToldInPowersOf1024)
{
    scoped_operations replaced;
    replaced.table.process_memory = [] { return memory_use{3'145'728, 10'737'418'240}; };
    dl_Environment environment;
    EXPECT_EQ(environment.findMemoryUsage(0), 3'145'728.0F);
    EXPECT_EQ(environment.findMemoryUsage(1), 3'072.0F);
    EXPECT_EQ(environment.findMemoryUsage(2), 3.0F);
    EXPECT_EQ(environment.findMemoryUsage(-1), 3'221'225'472.0F);
    EXPECT_EQ(environment.findMemoryUsage(std::numeric_limits<int>::max()), 0.0F);
    EXPECT_EQ(environment.findMemoryUsage(std::numeric_limits<int>::min()),
              std::numeric_limits<float>::infinity());
    EXPECT_EQ(environment.findPeakMemoryUsage(2), 10'240.0F);
    EXPECT_EQ(environment.findPeakMemoryUsage(3), 10.0F);
}

TEST(EnvironmentMemory, IsThatOfThisProcess)
{
    dl_Environment environment;
    const float megabytes = environment.findMemoryUsage(2);
    EXPECT_GT(megabytes, 0.5F);
    EXPECT_GE(environment.findPeakMemoryUsage(2), megabytes);
}

// ---- text

TEST(EnvironmentFormat, FormatsAndReturnsTheText)
{
    dl_Environment environment;
    std::string out = "old";
    EXPECT_STREQ(environment.format(out, "%s %d %.1f %lld", "100%n", 7, 1.5, 5'000'000'000LL),
                 "100%n 7 1.5 5000000000");
    EXPECT_EQ(out, "100%n 7 1.5 5000000000");
    EXPECT_EQ(environment.format(out, "<%s>", out.c_str()), out.c_str());
    EXPECT_EQ(out, "<100%n 7 1.5 5000000000>");
    EXPECT_STREQ(environment.format(out, "%s", ""), "");
}

TEST(EnvironmentFormat, OneByteTooManyReportsAndThrows)
{
    dl_Environment environment;
    std::string out;
    const std::string fits(1'023, 'x');
    EXPECT_EQ(environment.format(out, "%s", fits.c_str()), fits);
    const std::string err = stderr_of([&] {
        try {
            environment.format(out, "%sx", fits.c_str());
            ADD_FAILURE() << "nothing thrown";
        } catch (int code) {
            EXPECT_EQ(code, -1);
        }
    });
    EXPECT_EQ(err, " data size overflow\n");
    EXPECT_EQ(out, fits);
}

TEST(EnvironmentProcess, AnUncaughtOverflowIsTheRuntimesToEnd)
{
    const child_result result = run_child(child_program("environment_child"), {"overflow"});
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.find(" data size overflow\n"), 0U) << result.err;
}

// ---- account and host: each answer in a process of its own, since it is asked for once

/// Tells on standard error what three questions for each fact give, and how often the system was asked.
void tell_person(bool (*ask)(account&), bool (*ask_host)(std::string&))
{
    static int asked = 0;
    static bool (*answer)(account&) = nullptr;
    static bool (*answer_host)(std::string&) = nullptr;
    answer = ask;
    answer_host = ask_host;
    scoped_operations replaced;
    replaced.table.user_account = [](account& out) { return ++asked, answer(out); };
    replaced.table.host_name = [](std::string& out) { return ++asked, answer_host(out); };
    std::string name = "old";
    std::string home = "old";
    std::string host = "old";
    for (int round = 0; round < 3; ++round) {
        dl_Environment environment;
        if (environment.findUserName(name) != name.c_str()) std::exit(1);
        if (environment.findUserHome(home) != home.c_str()) std::exit(2);
        if (environment.findHostName(host) != host.c_str()) std::exit(3);
        if (round == 2)
            std::fprintf(stderr, "%s,%s,%ld,%s asked %d", name.c_str(), home.c_str(),
                         environment.findUserID(), host.c_str(), asked);
    }
    std::exit(0);
}

bool no_account(account&)
{
    return false;
}

bool no_host(std::string& out)
{
    out = "half";
    return false;
}

TEST(EnvironmentPersonDeathTest, TheSystemIsAskedOnce)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(tell_person(
                    [](account& out) {
                        out = {"ada", "/home/ada", 1'234};
                        return true;
                    },
                    [](std::string& out) {
                        out = "engine";
                        return true;
                    }),
                testing::ExitedWithCode(0), "^ada,/home/ada,1234,engine asked 2$");
}

TEST(EnvironmentPersonDeathTest, WhatTheSystemDoesNotKnowHasItsWords)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(tell_person(no_account, no_host), testing::ExitedWithCode(0),
                "^user,c:,-1,Localhost asked 2$");
}

TEST(EnvironmentPersonDeathTest, AnAccountWithoutAHome)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(tell_person(
                    [](account& out) {
                        out = {"daemon", "", 0};
                        return true;
                    },
                    no_host),
                testing::ExitedWithCode(0), "^daemon,c:,0,Localhost asked 2$");
}

// ---- installation

/// Tells on standard error where the installation is for a program of this path, without `FOUNDRY`.
void tell_root_of(const char* path)
{
    static const char* answer = nullptr;
    answer = path;
    ::unsetenv("FOUNDRY");
    scoped_operations replaced;
    replaced.table.program_path = [](std::string& out) {
        if (answer == nullptr) return false;
        out = answer;
        return true;
    };
    dl_Environment environment;
    std::fprintf(stderr, "%s %s", environment.findFoundry(), environment.findInstallationRoot());
    std::exit(0);
}

TEST(EnvironmentFoundryDeathTest, WithoutAVariableTheProgramsPathDecides)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exited = testing::ExitedWithCode(0);
    EXPECT_EXIT(tell_root_of("/opt/suite/bin/tool"), exited, R"(^\./ \.//\.\./$)");
    EXPECT_EXIT(tell_root_of(nullptr), exited, R"(^\./ \.//\.\./$)");
    EXPECT_EXIT(tell_root_of("/opt/suite/\\tool"), exited, R"(^\./ \.//\.\./$)");
    EXPECT_EXIT(tell_root_of("/opt/bin/nt/\\tool"), exited, R"(^/opt/ /opt//\.\./$)");
    EXPECT_EXIT(tell_root_of("/bin/a/bin/\\x/\\bin"), exited, R"(^/bin/a/ /bin/a//\.\./$)");
    EXPECT_EXIT(tell_root_of("bin/\\tool"), exited, R"(^ /\.\./$)");
}

child_result environment_child(const std::vector<std::string>& asked, const char* foundry)
{
    return run_child(child_program("environment_child"), asked, {{"FOUNDRY", foundry}});
}

TEST(EnvironmentProcess, TheVariableIsTakenAsItIs)
{
    EXPECT_EQ(environment_child({"roots"}, "C:\\a; b").out, "C:\\a; b C:\\a; b/../\nC:\\a; b C:\\a; b/../\n");
    EXPECT_EQ(environment_child({"roots"}, "").out, " /../\n /../\n");
    EXPECT_EQ(environment_child({"roots"}, nullptr).out, "./ .//../\n./ .//../\n");
}

class EnvironmentVersion : public testing::Test {
protected:
    std::string write_version(std::string_view directory, std::string_view content)
    {
        const std::string data = place / directory;
        std::filesystem::create_directories(data);
        write_file(data + "/orvsys.ini", content);
        return data + "/orvsys.ini";
    }
    std::string version_in(std::string_view root)
    {
        return environment_child({"version"}, (place / root).c_str()).out;
    }

    temp_directory place;
};

TEST_F(EnvironmentVersion, IsThatOfTheFile)
{
    write_version("root/data", "MajorVersion=3\r\nMinorVersion=11\r\nBuildNumber=0\r\n");
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 3.11.0|3|11|0|\n");
    write_version("root/data", "MajorVersion=3\nMinorVersion=11\nBuildNumber=0\nPatchNumber=p1, p2");
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 3.11.0  Patch Version(s) p1, p2|3|11|0|p1, p2\n");
}

TEST_F(EnvironmentVersion, WhatTheFileDoesNotTellIs0Point0)
{
    write_version("root/data", "BuildNumber=7\nMinorVersion=\nPatchNumber=\n");
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 0.0.0.0.7|0.0|0.0|7|\n");
    EXPECT_EQ(version_in("nowhere"), "Zirvane (64-bit) 0.0.0.0.0.0|0.0|0.0|0.0|\n");
    std::filesystem::create_directories(place / "directory/data/orvsys.ini");
    EXPECT_EQ(version_in("directory"), "Zirvane (64-bit) 0.0.0.0.0.0|0.0|0.0|0.0|\n");
}

TEST_F(EnvironmentVersion, TheFileMayLieInTheInstallationRoot)
{
    write_version("data", "MajorVersion=4\n");
    std::filesystem::create_directories(place / "root");
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 4.0.0.0.0|4|0.0|0.0|\n");
    write_version("root/data", "MajorVersion=5\n");
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 5.0.0.0.0|5|0.0|0.0|\n");
}

TEST_F(EnvironmentVersion, TheToolsRootIsNotLookedAt)
{
    write_version("root/data", "MajorVersion=3\n");
    write_version("tools/data", "MajorVersion=5\n");
    const scoped_environment tools("TOOLRTF", (place / "tools").c_str());
    EXPECT_EQ(version_in("root"), "Zirvane (64-bit) 3.0.0.0.0|3|0.0|0.0|\n");
}

TEST_F(EnvironmentVersion, TheFileIsReadOnce)
{
    const std::string file = write_version("root/data", "MajorVersion=3\n");
    const std::string line = "Zirvane (64-bit) 3.0.0.0.0|3|0.0|0.0|\n";
    EXPECT_EQ(environment_child({"version twice", file}, (place / "root").c_str()).out, line + line);
    EXPECT_EQ(file_bytes(file), "MajorVersion=99\nPatchNumber=99\n");
    // A file that comes into being later is not seen either.
    std::filesystem::create_directories(place / "late/data");
    const std::string later = place / "late/data/orvsys.ini";
    const std::string unknown = "Zirvane (64-bit) 0.0.0.0.0.0|0.0|0.0|0.0|\n";
    EXPECT_EQ(environment_child({"version twice", later}, (place / "late").c_str()).out, unknown + unknown);
}

// ---- objects

TEST(EnvironmentObject, AReleasedBlockIsTheNextOneHandedOut)
{
    auto* const first = new dl_Environment;
    first->startTimer();  // goes with the object
    auto* const second = new dl_Environment;
    delete first;
    delete second;
    const auto third = std::unique_ptr<dl_Environment>(new dl_Environment);
    EXPECT_EQ(third.get(), second);
    const auto fourth = std::unique_ptr<dl_Environment>(new dl_Environment);
    EXPECT_EQ(fourth.get(), first);
    unsigned long wall = 1;
    float user = 1;
    float system = 1;
    fourth->markTimer(wall, user, system);
    EXPECT_EQ(wall, 0U);
}

}  // namespace
