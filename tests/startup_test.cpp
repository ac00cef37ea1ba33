// tests/startup_test.cpp: start and stop of the library as a parent process sees them, and the ways of
// loading it that have hurt users of such libraries.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "startup.h"

namespace {

using testing::HasSubstr;

const child_environment k_legacy{{"QVS_M_MSGFLOW", "0"}};

child_result load(const std::string& scenario, const std::string& second_copy = "-")
{
    return run_child(child_program("startup_loader"), {scenario, TEST_LIBRARY, second_copy}, k_legacy);
}

/// A second copy of the shared library under another name, which goes with this object.
class library_copy {
public:
    explicit library_copy(const std::string& name) : path_(std::filesystem::path(std::getenv("TEMP")) / name)
    {
        std::filesystem::copy_file(TEST_LIBRARY, path_, std::filesystem::copy_options::overwrite_existing);
    }
    ~library_copy() { std::filesystem::remove(path_); }
    library_copy(const library_copy&) = delete;
    library_copy& operator=(const library_copy&) = delete;
    std::string path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

TEST(Startup, IsOverWhenATestRuns)
{
    EXPECT_FALSE(ketriope::starting_up());
}

TEST(StartupProcess, AnotherLibrarysStaticConstructorAndDestructorMayReport)
{
    const auto result = run_child(child_program("startup_child"), {"nothing"}, k_legacy);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "ERROR - from a static constructor\nERROR - from a static destructor\n");
}

TEST(StartupProcess, AnIntThrownInTheLibraryIsCaughtByItsConsumer)
{
    const auto result = run_child(child_program("startup_child"), {"int"}, k_legacy);
    EXPECT_EQ(result.out, "caught -7\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, AnExportedExceptionCrossesTheBordersOfLibraries)
{
    const auto result = run_child(child_program("startup_child"), {"exception"}, k_legacy);
    EXPECT_EQ(result.out, "caught 5 thrown elsewhere\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, AReportAfterTheLibrarysOwnEndReachesStandardError)
{
    const auto result = load("report after the end");
    EXPECT_EQ(result.err, "ERROR - after the end\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, AFatalReportAfterTheLibrarysOwnEndStillGivesItsExitStatus)
{
    const auto result = load("fatal after the end");
    EXPECT_EQ(result.err, "ERROR - after the end\n");
    EXPECT_EQ(result.exit_status, 6);
}

TEST(StartupProcess, TheLibraryMayBeLoadedUsedAndUnloadedAgain)
{
    const auto result = load("load twice");
    EXPECT_EQ(result.err, "ERROR - round 1\nERROR - round 2\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, TwoSeparateCopiesWorkSideBySide)
{
    const library_copy second("ketriope_copy_a.so");
    const auto result = load("two copies", second.path());
    EXPECT_EQ(result.err, "ERROR - first\nERROR - second\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, ACopyInAProgramThatLinksTheLibraryUsesItsGlobals)
{
    const library_copy second("ketriope_copy_b.so");
    child_environment environment = k_legacy;
    environment.emplace_back("ASAN_OPTIONS", "detect_odr_violation=0");  // two copies are what is tried
    const auto result = run_child(child_program("startup_child"), {"copy", second.path()}, environment);
    EXPECT_THAT(result.err, HasSubstr("ERROR - through the copy\n"));
    EXPECT_EQ(result.out, "same manager\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupProcess, WithoutTempEveryProgramEndsWith19)
{
    const auto result =
        run_child(child_program("startup_child"), {"nothing"}, {{"QVS_M_MSGFLOW", "0"}, {"TEMP", nullptr}});
    EXPECT_EQ(result.exit_status, 19);
    EXPECT_THAT(result.err, HasSubstr("ERROR - Environment variable 'TEMP' not defined"));
    EXPECT_EQ(result.out, "");
    // The database's flow makes no difference: a tool that cannot start still says why.
    const auto other = run_child(child_program("startup_child"), {"nothing"},
                                 {{"QVS_M_MSGFLOW", nullptr}, {"TEMP", nullptr}});
    EXPECT_EQ(other.exit_status, 19);
    EXPECT_EQ(other.err, result.err);
}

}  // namespace
