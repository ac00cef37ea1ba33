// tests/platform_test.cpp: every operation of the table, as the units rely on it. What is checked
// against comes from the system by other calls.
#include "platform.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "scoped_environment.h"
#include "temp_directory.h"

using namespace ketriope::platform;

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A descriptor of the table that is closed with the test.
class opened {
public:
    opened(const std::string& name, unsigned flags) : descriptor_(os().open(name.c_str(), flags)) {}
    ~opened()
    {
        if (descriptor_ >= 0) os().close(descriptor_);
    }
    opened(const opened&) = delete;
    opened& operator=(const opened&) = delete;
    operator int() const { return descriptor_; }

private:
    int descriptor_;
};

std::string all_of(int descriptor)
{
    std::string bytes(100, '\0');
    const std::int64_t count = os().read(descriptor, bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

// ---- the table

TEST(PlatformTable, IsTheNativeOneUntilATestReplacesIt)
{
    EXPECT_EQ(&os(), &native());
    operations other = native();
    other.process_number = [] { return -7; };
    use_operations(&other);
    EXPECT_EQ(os().process_number(), -7);
    use_operations(nullptr);
    EXPECT_EQ(&os(), &native());
}

// ---- the end of the process, and its environment

TEST(PlatformProcessDeathTest, EndProcessRunsTheExitHandlers)
{
    const auto leave = [] {
        std::atexit([] { std::fputs("handler ran", stderr); });
        os().end_process(7);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(7), "handler ran");
}

TEST(PlatformProcessDeathTest, EndProcessNowRunsNone)
{
    const auto leave = [] {
        std::atexit([] { std::fputs("handler ran", stderr); });
        os().end_process_now(8);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(8), Not(HasSubstr("handler")));
}

TEST(PlatformProcessDeathTest, AbortProcessAsksForACoreImage)
{
    EXPECT_EXIT(os().abort_process(), testing::KilledBySignal(SIGABRT), "");
}

TEST(PlatformProcess, EnvironmentGivesTheValueOrNull)
{
    const scoped_environment set("KETRIOPE_TEST_VALUE", "x y");
    EXPECT_STREQ(os().environment("KETRIOPE_TEST_VALUE"), "x y");
    const scoped_environment unset("KETRIOPE_TEST_VALUE", nullptr);
    EXPECT_EQ(os().environment("KETRIOPE_TEST_VALUE"), nullptr);
}

// ---- files by descriptor

TEST(PlatformFile, OpeningWhatIsNotThereFailsUnlessItIsToBeMade)
{
    const temp_directory place;
    errno = 0;
    EXPECT_EQ(os().open((place / "a").c_str(), open_read), -1);
    EXPECT_EQ(errno, ENOENT);
    const opened file(place / "a", open_write | open_create);
    EXPECT_GE(file, 0);
}

TEST(PlatformFile, ANewFileHasThePermissions0666LessTheMask)
{
    const temp_directory place;
    const ::mode_t before = ::umask(0027);
    const opened file(place / "a", open_write | open_create);
    ::umask(before);
    struct stat found {};
    ASSERT_EQ(::stat((place / "a").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0640u);
}

TEST(PlatformFile, WritingKeepsTheOldBytesUnlessTheFileIsCut)
{
    const temp_directory place;
    write_file(place / "a", "abcdef");
    {
        const opened kept(place / "a", open_write | open_create);
        EXPECT_EQ(os().write(kept, "XY", 2), 2);
    }
    EXPECT_EQ(file_bytes(place / "a"), "XYcdef");
    {
        const opened cut(place / "a", open_write | open_create | open_truncate);
        EXPECT_EQ(os().write(cut, "Z", 1), 1);
    }
    EXPECT_EQ(file_bytes(place / "a"), "Z");
}

TEST(PlatformFile, AFreshOneMustNotExist)
{
    const temp_directory place;
    const opened first(place / "a", open_write | open_create | open_fresh);
    EXPECT_GE(first, 0);
    errno = 0;
    EXPECT_EQ(os().open((place / "a").c_str(), open_write | open_create | open_fresh), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST(PlatformFile, TheFlagsSayWhichTransfersArePossible)
{
    const temp_directory place;
    write_file(place / "a", "abc");
    const opened reads(place / "a", open_read);
    const opened writes(place / "a", open_write);
    const opened both(place / "a", open_read | open_write);
    char byte = 0;
    EXPECT_EQ(os().write(reads, "x", 1), -1);
    EXPECT_EQ(os().read(writes, &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(os().write(both, "x", 1), 1);
    EXPECT_EQ(all_of(both), "bc");
}

TEST(PlatformFile, ReadBringsLessAtTheEndAndThenNothing)
{
    const temp_directory place;
    write_file(place / "a", "abc");
    const opened file(place / "a", open_read);
    EXPECT_EQ(all_of(file), "abc");
    char byte = 0;
    EXPECT_EQ(os().read(file, &byte, 1), 0);
}

TEST(PlatformFile, AllBytesPassUnchanged)
{
    const temp_directory place;
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    bytes += "\r\n\n\x1a";
    {
        const opened file(place / "a", open_write | open_create);
        EXPECT_EQ(os().write(file, bytes.data(), bytes.size()), static_cast<std::int64_t>(bytes.size()));
    }
    EXPECT_EQ(file_bytes(place / "a"), bytes);
}

TEST(PlatformFile, AFullDeviceTakesNothingAndSaysWhy)
{
    const opened full("/dev/full", open_write);
    errno = 0;
    EXPECT_EQ(os().write(full, "abc", 3), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST(PlatformFile, NothingToWriteIsNoFailure)
{
    const temp_directory place;
    const opened file(place / "a", open_write | open_create);
    EXPECT_EQ(os().write(file, nullptr, 0), 0);
}

TEST(PlatformFileDeathTest, AWriteThatStopsHalfwayTellsHowFarItCame)
{
    const temp_directory place;
    const std::string name = place / "a";
    const auto write_past_the_limit = [&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const ::rlimit limit{4, 4};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const int file = os().open(name.c_str(), open_write | open_create);
        errno = 0;
        const std::int64_t count = os().write(file, "abcdefghij", 10);
        ::_exit(count == 4 && errno == EFBIG ? 0 : 1);
    };
    EXPECT_EXIT(write_past_the_limit(), testing::ExitedWithCode(0), "");
}

TEST(PlatformFile, SeekCountsFromTheStartFromHereAndFromTheEnd)
{
    const temp_directory place;
    write_file(place / "a", "abcdef");
    const opened file(place / "a", open_read);
    EXPECT_EQ(os().seek(file, 4, seek_from::start), 4);
    EXPECT_EQ(os().seek(file, -1, seek_from::here), 3);
    EXPECT_EQ(all_of(file), "def");
    EXPECT_EQ(os().seek(file, -2, seek_from::end), 4);
    EXPECT_EQ(os().seek(file, 3'000'000'000, seek_from::start), 3'000'000'000);
    errno = 0;
    EXPECT_EQ(os().seek(file, -1, seek_from::start), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(PlatformFile, AClosedDescriptorFailsEverywhere)
{
    const temp_directory place;
    write_file(place / "a", "abc");
    const int file = os().open((place / "a").c_str(), open_read);
    EXPECT_EQ(os().close(file), 0);
    char byte = 0;
    EXPECT_EQ(os().read(file, &byte, 1), -1);
    EXPECT_EQ(os().write(file, "x", 1), -1);
    EXPECT_EQ(os().seek(file, 0, seek_from::here), -1);
    EXPECT_EQ(os().close(file), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(PlatformFile, NoDescriptorOfTheTableReachesAChild)
{
    const temp_directory place;
    const opened written(place / "a", open_write | open_create);
    const opened read(place / "a", open_read);
    void* const scan = os().open_directory(place.path().c_str());
    os().process_memory();
    std::set<std::string> named;  // the child tells by exit code 1 that it sees one of them
    std::string condition = "false";
    for (int descriptor = 3; descriptor < 64; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1) continue;
        std::array<char, 4096> target{};
        const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
        if (::readlink(link.c_str(), target.data(), target.size() - 1) < 0) continue;
        if (std::string(target.data()).find(place.path()) == std::string::npos) continue;
        named.insert(target.data());
        condition += " || test -e " + link;
    }
    EXPECT_EQ(named, (std::set<std::string>{place.path(), place / "a"}));
    const std::string command = "if " + condition + "; then exit 1; fi";
    const std::array<const char*, 4> argv{"sh", "-c", command.c_str(), nullptr};
    EXPECT_EQ(os().spawn_and_wait(argv.data()), 0);
    os().close_directory(scan);
}

// ---- files and directories by name

TEST(PlatformName, StatusTellsKindSizeTimeAndTheOwnersPermissions)
{
    const temp_directory place;
    write_file(place / "a", "abcdef");
    const std::filesystem::path name = place / "a";
    const std::array<::timespec, 2> times{::timespec{1'000'000'000, 0}, ::timespec{1'000'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), times.data(), 0), 0);
    ASSERT_EQ(::chmod(name.c_str(), 0400), 0);
    file_status found;
    ASSERT_TRUE(os().status(name.c_str(), found));
    EXPECT_EQ(found.kind, file_kind::file);
    EXPECT_EQ(found.size, 6);
    EXPECT_EQ(found.modified, 1'000'000'000);
    EXPECT_TRUE(found.owner_may_read);
    EXPECT_FALSE(found.owner_may_write);
    ASSERT_EQ(::chmod(name.c_str(), 0277), 0);
    ASSERT_TRUE(os().status(name.c_str(), found));
    EXPECT_FALSE(found.owner_may_read);
    EXPECT_TRUE(found.owner_may_write);
}

TEST(PlatformName, StatusTellsADirectoryFromADevice)
{
    const temp_directory place;
    file_status found;
    ASSERT_TRUE(os().status(place.path().c_str(), found));
    EXPECT_EQ(found.kind, file_kind::directory);
    ASSERT_TRUE(os().status("/dev/null", found));
    EXPECT_EQ(found.kind, file_kind::other);
    errno = 0;
    EXPECT_FALSE(os().status((place / "none").c_str(), found));
    EXPECT_EQ(errno, ENOENT);
}

TEST(PlatformName, RemoveFileLeavesDirectoriesAlone)
{
    const temp_directory place;
    write_file(place / "a", "");
    EXPECT_TRUE(os().remove_file((place / "a").c_str()));
    EXPECT_FALSE(std::filesystem::exists(place / "a"));
    EXPECT_FALSE(os().remove_file((place / "a").c_str()));
    EXPECT_EQ(errno, ENOENT);
    ASSERT_TRUE(os().make_directory((place / "d").c_str()));
    EXPECT_FALSE(os().remove_file((place / "d").c_str()));
    EXPECT_TRUE(std::filesystem::exists(place / "d"));
}

TEST(PlatformName, RenameFileMovesTheContent)
{
    const temp_directory place;
    write_file(place / "a", "abc");
    EXPECT_TRUE(os().rename_file((place / "a").c_str(), (place / "b").c_str()));
    EXPECT_EQ(file_bytes(place / "b"), "abc");
    EXPECT_FALSE(os().rename_file((place / "a").c_str(), (place / "b").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST(PlatformName, DirectoriesAreMadeAndRemovedWhenEmpty)
{
    const temp_directory place;
    EXPECT_TRUE(os().make_directory((place / "d").c_str()));
    EXPECT_FALSE(os().make_directory((place / "d").c_str()));
    EXPECT_EQ(errno, EEXIST);
    write_file(place / "d/a", "");
    EXPECT_FALSE(os().remove_directory((place / "d").c_str()));
    EXPECT_TRUE(os().remove_file((place / "d/a").c_str()));
    EXPECT_TRUE(os().remove_directory((place / "d").c_str()));
    EXPECT_FALSE(std::filesystem::exists(place / "d"));
}

TEST(PlatformName, TheCurrentDirectoryFollowsChangeDirectory)
{
    const temp_directory place;
    const std::filesystem::path before = std::filesystem::current_path();
    EXPECT_TRUE(os().change_directory(place.path().c_str()));
    std::string found;
    EXPECT_TRUE(os().current_directory(found));
    EXPECT_EQ(found, std::filesystem::canonical(place.path()));
    EXPECT_FALSE(os().change_directory((place / "none").c_str()));
    std::filesystem::current_path(before);
}

TEST(PlatformName, CurrentDirectoryFailsWhereItWasRemoved)
{
    const temp_directory place;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory(place / "gone");
    std::filesystem::current_path(place / "gone");
    std::filesystem::remove(place / "gone");
    std::string found = "kept";
    EXPECT_FALSE(os().current_directory(found));
    EXPECT_EQ(found, "kept");
    std::filesystem::current_path(before);
}

TEST(PlatformName, TemporaryNamesAreNotInUseAndNeverTheSame)
{
    const temp_directory place;
    std::set<std::string> names;
    for (int i = 0; i < 100; ++i) {
        std::string name;
        ASSERT_TRUE(os().temporary_name(place.path().c_str(), "zeo_", name));
        EXPECT_THAT(name, StartsWith(place / "zeo_"));
        EXPECT_FALSE(std::filesystem::exists(name));
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 100u);
}

TEST(PlatformName, ATemporaryNamePassesByWhatIsInUse)
{
    const temp_directory place;
    std::string first;
    ASSERT_TRUE(os().temporary_name(place.path().c_str(), "zeo_", first));
    const std::size_t digits = first.rfind('_') + 1;
    const unsigned long next = std::stoul(first.substr(digits)) + 1;
    const std::string taken = first.substr(0, digits) + std::to_string(next);
    std::filesystem::create_symlink("nowhere", taken);  // a name in use, though nothing is behind it
    std::string second;
    ASSERT_TRUE(os().temporary_name(place.path().c_str(), "zeo_", second));
    EXPECT_NE(second, taken);
}

// ---- directory scan

TEST(PlatformScan, GivesEveryEntryOnceWithoutTheTwoDots)
{
    const temp_directory place;
    const std::set<std::string> expected{"a", "b c", ".hidden", "d"};
    for (const auto& name : expected) write_file(place / name, "");
    void* const scan = os().open_directory(place.path().c_str());
    ASSERT_NE(scan, nullptr);
    std::multiset<std::string> found;
    for (std::string name; os().next_entry(scan, name);) found.insert(name);
    os().close_directory(scan);
    EXPECT_EQ(found, (std::multiset<std::string>(expected.begin(), expected.end())));
}

TEST(PlatformScan, OfWhatIsNoDirectoryIsNull)
{
    const temp_directory place;
    write_file(place / "a", "");
    EXPECT_EQ(os().open_directory((place / "a").c_str()), nullptr);
    EXPECT_EQ(os().open_directory((place / "none").c_str()), nullptr);
}

// ---- console and dialogs

TEST(PlatformConsole, PollingTheKeyboardReadsNothing)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const int before = ::dup(STDIN_FILENO);
    ::dup2(ends[0], STDIN_FILENO);
    ASSERT_EQ(::write(ends[1], "k", 1), 1);
    os().poll_keyboard();
    char key = 0;
    EXPECT_EQ(::read(STDIN_FILENO, &key, 1), 1);
    EXPECT_EQ(key, 'k');
    ::dup2(before, STDIN_FILENO);
    for (const int end : {before, ends[0], ends[1]}) ::close(end);
}

TEST(PlatformConsole, ThereAreNoDialogs)
{
    EXPECT_FALSE(os().show_dialog("title", "text"));
}

// ---- clocks and figures

TEST(PlatformFigures, TheWallClockCountsSecondsSince1970)
{
    const std::int64_t before = ::time(nullptr);
    const std::int64_t told = os().wall_clock();
    EXPECT_GE(told, before);
    EXPECT_LE(told, ::time(nullptr));
}

TEST(PlatformFigures, LocalTimeFollowsTheZone)
{
    std::tm time{};
    {
        const scoped_environment zone("TZ", "XYZ-2");  // two hours east
        ::tzset();
        ASSERT_TRUE(os().local_time(1'000'000'000, time));
    }
    ::tzset();
    EXPECT_EQ(time.tm_year, 101);
    EXPECT_EQ(time.tm_mon, 8);
    EXPECT_EQ(time.tm_mday, 9);
    EXPECT_EQ(time.tm_hour, 3);
    EXPECT_EQ(time.tm_min, 46);
    EXPECT_EQ(time.tm_sec, 40);
    EXPECT_EQ(time.tm_wday, 0);
    EXPECT_FALSE(os().local_time(INT64_MAX, time));  // a year that no int can hold
}

TEST(PlatformFigures, ProcessorTimeOnlyGrows)
{
    cpu_times first;
    ASSERT_TRUE(os().process_times(first));
    EXPECT_GE(first.user, 0);
    EXPECT_GE(first.system, 0);
    while (std::clock() < 20'000) {}  // microseconds of both kinds together
    cpu_times second;
    ASSERT_TRUE(os().process_times(second));
    EXPECT_GE(second.user, first.user);
    EXPECT_GE(second.system, first.system);
    EXPECT_GE(second.user + second.system, 20'000 - 10'000);  // the two clocks round by themselves
}

/// The peak as the system's own table shows it, found in another way than the library does.
std::uint64_t peak_shown_by_the_system()
{
    std::ifstream rows("/proc/self/status");
    for (std::string word; rows >> word;) {
        std::uint64_t kilobytes = 0;
        if (word == "VmHWM:" && rows >> kilobytes) return kilobytes * 1024;
    }
    return 0;
}

TEST(PlatformFigures, ThePeakOfTheMemoryIsNeverBelowItsCurrentUse)
{
    const memory_use before = os().process_memory();
    EXPECT_GT(before.current, 0u);
    EXPECT_GE(before.peak, before.current);
    constexpr std::size_t k_much = 64u << 20;
    {
        std::vector<char> touched(k_much);
        volatile char* const page = touched.data();  // seen by others, as far as a compiler can tell
        for (std::size_t i = 0; i < k_much; i += 1024) page[i] = 'x';
        const memory_use during = os().process_memory();
        EXPECT_GE(during.peak, during.current);
    }
    const memory_use after = os().process_memory();
    EXPECT_GE(after.peak, k_much);
    EXPECT_GE(after.peak, after.current);
    const double shown = static_cast<double>(peak_shown_by_the_system());
    EXPECT_NEAR(static_cast<double>(after.peak), shown, 16 << 20);
}

TEST(PlatformFigures, NumberAndPathAreThoseOfThisProcess)
{
    EXPECT_EQ(os().process_number(), ::getpid());
    std::string path;
    ASSERT_TRUE(os().program_path(path));
    EXPECT_TRUE(std::filesystem::equivalent(path, "/proc/self/exe"));
    EXPECT_THAT(path, EndsWith("/platform_test"));
}

TEST(PlatformFigures, TheVersionNamesTheOneMachineTypeOfThisPlatform)
{
    EXPECT_LT(os().system_version(), 0x80000000ul);
}

// ---- accounts and host

TEST(PlatformAccount, IsThatOfTheEffectiveUser)
{
    const ::passwd* row = ::getpwuid(::geteuid());
    if (row == nullptr) GTEST_SKIP() << "this user has no account";
    account found;
    ASSERT_TRUE(os().user_account(found));
    EXPECT_EQ(found.name, row->pw_name);
    EXPECT_EQ(found.home, row->pw_dir);
    EXPECT_EQ(found.id, static_cast<long>(::geteuid()));
}

TEST(PlatformAccount, TheHostHasItsName)
{
    std::array<char, 300> name{};
    ASSERT_EQ(::gethostname(name.data(), name.size() - 1), 0);
    std::string found;
    ASSERT_TRUE(os().host_name(found));
    EXPECT_EQ(found, name.data());
}

// ---- child processes

int run_in_shell(const char* command)
{
    const std::array<const char*, 4> argv{"sh", "-c", command, nullptr};
    return os().spawn_and_wait(argv.data());
}

TEST(PlatformChild, SpawnAndWaitGivesTheExitCode)
{
    EXPECT_EQ(run_in_shell("exit 0"), 0);
    EXPECT_EQ(run_in_shell("exit 42"), 42);
    EXPECT_EQ(run_in_shell("kill -9 $$"), 128 + SIGKILL);
}

TEST(PlatformChild, AProgramThatIsNotThereGivesMinusOne)
{
    const std::array<const char*, 2> argv{"ketriope-no-such-program", nullptr};
    errno = 0;
    EXPECT_EQ(os().spawn_and_wait(argv.data()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(PlatformChild, ADetachedOneIsNotWaitedForAndNotOurs)
{
    const temp_directory place;
    const std::string go = place / "go";
    const std::string done = place / "done";
    const std::string command = "while ! test -e '" + go + "'; do sleep 0.01; done; echo $PPID > '" + done +
                                ".part'; mv '" + done + ".part' '" + done + "'";
    ASSERT_TRUE(os().start_detached(command.c_str()));  // returns though the command cannot end yet
    EXPECT_FALSE(std::filesystem::exists(done));
    write_file(go, "");
    while (!std::filesystem::exists(done)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_NE(std::stoi(file_bytes(done)), ::getpid());
}

TEST(PlatformChild, ExitCodeIs259WhileItRuns)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[1]);
        char byte = 0;
        while (::read(ends[0], &byte, 1) > 0) {}  // until the parent lets go
        ::_exit(5);
    }
    ::close(ends[0]);
    int code = 0;
    EXPECT_TRUE(os().exit_code_of(child, code));
    EXPECT_EQ(code, 259);
    ::close(ends[1]);
    while (os().exit_code_of(child, code) && code == 259) std::this_thread::yield();
    EXPECT_EQ(code, 5);
    EXPECT_FALSE(os().exit_code_of(child, code));  // it is gone, and its number may be another's
    EXPECT_FALSE(os().exit_code_of(1, code));
}

// ---- crash dumps

TEST(PlatformDump, TheTemporaryDirectoryEndsInASeparator)
{
    std::string found;
    {
        const scoped_environment none("TMPDIR", nullptr);
        ASSERT_TRUE(os().temporary_directory(found));
        EXPECT_EQ(found, "/tmp/");
    }
    {
        const scoped_environment empty("TMPDIR", "");
        ASSERT_TRUE(os().temporary_directory(found));
        EXPECT_EQ(found, "/tmp/");
    }
    {
        const scoped_environment own("TMPDIR", "/own");
        ASSERT_TRUE(os().temporary_directory(found));
        EXPECT_EQ(found, "/own/");
    }
    const scoped_environment ended("TMPDIR", "/own/");
    ASSERT_TRUE(os().temporary_directory(found));
    EXPECT_EQ(found, "/own/");
}

TEST(PlatformDump, ThereAreNone)
{
    const temp_directory place;
    EXPECT_FALSE(os().write_crash_dump((place / "a.dmp").c_str()));
    EXPECT_FALSE(std::filesystem::exists(place / "a.dmp"));
}

// ---- dates

/// 2 March 2005, 06:07:08 UTC, a Wednesday.
constexpr std::int64_t k_instant = 1'109'743'628;

TEST(PlatformDates, UniversalTimeHasNoZone)
{
    const scoped_zone ahead("XYZ-2");
    std::tm fields{};
    ASSERT_TRUE(os().utc_time(k_instant, fields));
    EXPECT_EQ(fields.tm_year, 105);
    EXPECT_EQ(fields.tm_mon, 2);
    EXPECT_EQ(fields.tm_mday, 2);
    EXPECT_EQ(fields.tm_hour, 6);
    EXPECT_EQ(fields.tm_min, 7);
    EXPECT_EQ(fields.tm_sec, 8);
    EXPECT_EQ(fields.tm_wday, 3);
    EXPECT_FALSE(os().utc_time(std::numeric_limits<std::int64_t>::max(), fields));
}

TEST(PlatformDates, AreWrittenInTheWordsOfTheCLocale)
{
    std::tm fields{};
    ASSERT_TRUE(os().utc_time(k_instant, fields));
    std::array<char, 64> text{};
    const char* const written = "Wed Wednesday Mar March 03/02/05 06:07:08 AM";
    EXPECT_EQ(os().format_time(text.data(), text.size(), "%a %A %b %B %x %X %p", fields),
              std::string_view(written).size());
    EXPECT_STREQ(text.data(), written);
}

TEST(PlatformDates, ATextThatDoesNotFitHasLength0)
{
    std::tm fields{};
    std::array<char, 5> text{};
    EXPECT_EQ(os().format_time(text.data(), text.size(), "1234", fields), 4U);
    EXPECT_STREQ(text.data(), "1234");
    EXPECT_EQ(os().format_time(text.data(), text.size(), "12345", fields), 0U);
}

// ---- numbers; the whole suite runs once more under a locale with a decimal comma

TEST(PlatformNumbers, AreThoseOfTheCLocale)
{
    std::array<char, 32> text{};
    EXPECT_EQ(os().format_real(text.data(), text.size(), "%.3f", -1234.5), 9);
    EXPECT_STREQ(text.data(), "-1234.500");
    EXPECT_EQ(os().format_real(text.data(), text.size(), "%e", 0.5), 12);
    EXPECT_STREQ(text.data(), "5.000000e-01");
    char* end = nullptr;
    EXPECT_EQ(os().parse_real("1.25x", &end), 1.25);
    EXPECT_STREQ(end, "x");
    EXPECT_EQ(os().parse_real("1,5", &end), 1.0);
    EXPECT_STREQ(end, ",5");
    EXPECT_EQ(os().parse_real("none", &end), 0.0);
    EXPECT_STREQ(end, "none");
}

TEST(PlatformNumbers, FormatRealCutsAtTheBufferAndTellsTheWholeLength)
{
    std::array<char, 4> text{'?', '?', '?', '?'};
    EXPECT_EQ(os().format_real(text.data(), text.size(), "%.5f", 1.0), 7);
    EXPECT_STREQ(text.data(), "1.0");
}

}  // namespace
