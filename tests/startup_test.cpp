// tests/startup_test.cpp: start and stop of the library as a parent process sees them, and the ways of
// loading it that have hurt users of such libraries.
#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "startup.h"
#include "stream_tools.h"
#include "temp_directory.h"

namespace {

using testing::HasSubstr;

constexpr int k_999 = 231;  ///< as a parent on this system reads 999

child_environment environment(const char* flow, const char* foundry)
{
    return {{"QVS_M_MSGFLOW", flow}, {"FOUNDRY", foundry}, {"ENV", nullptr}, {"TOOLRTF", nullptr}};
}

const child_environment k_legacy = environment("0", nullptr);
const child_environment k_database = environment(nullptr, TEST_SOURCE_DIR "/../data");
const child_environment k_no_messages = environment(nullptr, "/nowhere");

/// The two ways in which a report of the text alone comes out.
struct flow {
    const char* name;
    const child_environment& environment;
    std::string label;  ///< of an error
};
const flow k_flows[] = {{"legacy", k_legacy, "ERROR - "}, {"database", k_database, "ERROR <1009990> - "}};

child_result load(const std::string& scenario, const child_environment& environment,
                  const std::string& second_copy = "-")
{
    return run_child(child_program("startup_loader"), {scenario, TEST_LIBRARY, second_copy}, environment);
}

/// Expects the end of a run whose first report found no messages.
void expect_missing_index(const child_result& seen)
{
    EXPECT_EQ(seen.exit_status, k_999);
    EXPECT_EQ(seen.err, "");
    EXPECT_THAT(seen.out, HasSubstr("Exception Condition ID=0000000: process is terminated\n"
                                    "fails to load message index file msgindex.xml.\n"));
}

/// A second copy of the shared library, which goes with this object.
class library_copy {
public:
    library_copy() { std::filesystem::copy_file(TEST_LIBRARY, path()); }
    std::string path() const { return directory_ / "copy.so"; }

private:
    temp_directory directory_;
};

TEST(Startup, IsOverWhenATestRuns)
{
    EXPECT_FALSE(ketriope::starting_up());
}

class StartupProcess : public testing::TestWithParam<flow> {
protected:
    const child_environment& environment() const { return GetParam().environment; }
    std::string error(const std::string& text) const { return GetParam().label + text + '\n'; }
};
INSTANTIATE_TEST_SUITE_P(, StartupProcess, testing::ValuesIn(k_flows),
                         [](const auto& each) { return each.param.name; });

TEST_P(StartupProcess, AnotherLibrarysStaticConstructorAndDestructorMayReport)
{
    const auto result = run_child(child_program("startup_child"), {"nothing"}, environment());
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, error("from a static constructor") + error("from a static destructor"));
}

TEST_P(StartupProcess, AnIntThrownInTheLibraryIsCaughtByItsConsumer)
{
    const auto result = run_child(child_program("startup_child"), {"int"}, environment());
    EXPECT_EQ(result.out, "caught -7\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, AnExportedExceptionCrossesTheBordersOfLibraries)
{
    const auto result = run_child(child_program("startup_child"), {"exception"}, environment());
    EXPECT_EQ(result.out, "caught 5 thrown elsewhere\n");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, AReportAfterTheLibrarysOwnEndReachesStandardError)
{
    const auto result = load("report after the end", environment());
    EXPECT_EQ(result.err, error("after the end"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, AReportAfterTheEndOfTheDatabaseReachesStandardError)
{
    const auto result = load("report before and after the end", environment());
    EXPECT_EQ(result.err, error("before the end") + error("after the end"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, AFatalReportAfterTheLibrarysOwnEndStillGivesItsExitStatus)
{
    const auto result = load("fatal after the end", environment());
    EXPECT_EQ(result.err, error("after the end"));
    EXPECT_EQ(result.exit_status, 6);
}

TEST(Startup, TheFlatEntriesHavePlainNames)
{
    const auto result = run_child(child_program("startup_loader"), {"flat entry", TEST_LIBRARY, "-"},
                                  {{"QVS_M_MSGFLOW", "0"}});
    EXPECT_EQ(result.err, "ERROR - flat\n");
}

TEST_P(StartupProcess, TheLibraryMayBeLoadedUsedAndUnloadedAgain)
{
    const auto result = load("load twice", environment());
    EXPECT_EQ(result.err, error("round 1") + error("round 2"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, TwoSeparateCopiesWorkSideBySide)
{
    const library_copy second;
    const auto result = load("two copies", environment(), second.path());
    EXPECT_EQ(result.err, error("first") + error("second"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_P(StartupProcess, ACopyInAProgramThatLinksTheLibraryUsesItsGlobals)
{
    const library_copy second;
    child_environment changed = environment();
    changed.emplace_back("ASAN_OPTIONS", "detect_odr_violation=0");  // two copies are what is tried
    const auto result = run_child(child_program("startup_child"), {"copy", second.path()}, changed);
    EXPECT_THAT(result.err, HasSubstr(error("through the copy")));
    EXPECT_EQ(result.out, "same manager\n");
    EXPECT_EQ(result.exit_status, 0);
}

// ---- without messages, where the database owns the output

TEST(StartupWithoutMessages, AnotherLibrarysStaticConstructorEndsTheRun)
{
    expect_missing_index(run_child(child_program("startup_child"), {"nothing"}, k_no_messages));
}

TEST(StartupWithoutMessages, AReportAfterTheEndIsToldAsTheMissingIndex)
{
    expect_missing_index(load("report after the end", k_no_messages));
    expect_missing_index(load("fatal after the end", k_no_messages));
    expect_missing_index(load("report before and after the end, caught", k_no_messages));
}

TEST(StartupWithoutMessages, AProgramThatLoadsTheLibraryMayCatchTheThrow)
{
    const auto result = load("load twice, caught", k_no_messages);
    EXPECT_EQ(result.out, "caught -1\ncaught -1\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(StartupWithoutMessages, AnEndAfterUnloadingRunsNoCodeThatIsGone)
{
    const auto result = load("terminate after unloading", k_database);
    // The loader may keep the library where it is; then its handler is still there, too.
    EXPECT_TRUE(result.signal == SIGABRT || result.exit_status == k_999)
        << result.signal << ' ' << result.exit_status;
}

// ---- a start that fails

struct failed_start {
    const char* name;
    const char* temp;  ///< null: none
    std::string text;
};

const failed_start k_failed_starts[] = {
    {"NoTemp", nullptr,
     "Environment variable 'TEMP' not defined or points at a non-existant directory.  Please define it to a "
     "temporary directory location for temporary files."},
    {"BadTemp", "/nowhere/at/all",
     "Environment variable 'TEMP' is set to a non-writable location.  Please define it to a temporary "
     "directory location for temporary files."},
};

class FailedStart : public testing::TestWithParam<failed_start> {
protected:
    child_result start(child_environment environment) const
    {
        environment.emplace_back("TEMP", GetParam().temp);
        child_result seen = run_child(child_program("startup_child"), {"nothing"}, environment);
        EXPECT_EQ(seen.exit_status, 19);
        EXPECT_EQ(seen.out, "");
        return seen;
    }
};
INSTANTIATE_TEST_SUITE_P(, FailedStart, testing::ValuesIn(k_failed_starts),
                         [](const auto& each) { return each.param.name; });

TEST_P(FailedStart, IsToldByTheLegacyManagerWhereItOwnsTheOutput)
{
    const std::string expected = "ERROR - " + GetParam().text + " ";  // the end of a line, unfolded
    for (const char* foundry : {TEST_SOURCE_DIR "/../data", "/nowhere"})
        EXPECT_EQ(unfolded(start(environment("0", foundry)).err), expected);
}

TEST_P(FailedStart, IsPostedWhereTheDatabaseOwnsTheOutput)
{
    EXPECT_EQ(start(k_database).err, "ERROR <1009990> - " + GetParam().text + "\n");
}

TEST_P(FailedStart, IsToldEvenWithoutMessages)
{
    const temp_directory root;
    const std::string directory = root / "msgdata";
    std::filesystem::create_directory(directory);
    const std::string told = start(environment("0", nullptr)).err;
    EXPECT_EQ(start(k_no_messages).err, told);
    write_file(directory + "/msgindex.xml", "<no index");
    EXPECT_EQ(start(environment(nullptr, root.path().c_str())).err, told);
    // An index that names a file which is not there.
    write_file(directory + "/msgindex.xml",
               R"(<messageIndexFile><msgFile name="common" fid="100"/></messageIndexFile>)");
    EXPECT_EQ(start(environment(nullptr, root.path().c_str())).err, told);
    write_file(directory + "/common.xml", "<messageFile/>");  // without a number
    EXPECT_EQ(start(environment(nullptr, root.path().c_str())).err, told);
}

// ---- the first message

TEST(FirstMessage, MayComeFromTwoThreadsAtOnce)
{
    for (int round = 0; round < 20; ++round) {
        const auto result = run_child(child_program("first_message_child"), {}, k_database);
        ASSERT_EQ(result.exit_status, 0) << result.err;
        ASSERT_EQ(result.out, "one database, started once\nserial numbers 1 and 2\n");
        ASSERT_EQ(result.err, "ERROR <1009990> - x\nERROR <1009990> - x\n");
    }
}

}  // namespace
