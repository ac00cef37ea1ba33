// tests/msgterminate_test.cpp: how a run ends, as the process that started it sees it, and the log that
// the run leaves behind.
#include "msgterminate.h"

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "message_log.h"
#include "scoped_operations.h"
#include "startup.h"
#include "temp_directory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int k_999 = 231;  ///< as a parent on this system reads 999

constexpr const char* k_product_data = TEST_SOURCE_DIR "/../data";
constexpr const char* k_no_index = "\nfails to load message index file msgindex.xml.";

/// What the terminate handler writes.
std::string report(const std::string& mid = "", const std::string& text = "")
{
    return "\n\nException Condition" + (mid.empty() ? "" : " ID=" + mid) + ": process is terminated" + text +
           "\nFor support, contact Velmora Semiconductor technical support\n"
           "\tat 1-800-555-0142, or +1-503-555-0143\n"
           "\ttechsupport@velmora.example\n";
}

const std::string k_contract_text = "Internal error in basutstream at line ";

/// A run of the tool, with a log.
struct run {
    child_result seen;
    message_log log;
};

class Ends : public testing::Test {
protected:
    /// `more` comes behind an environment in which the database owns the output and finds its files at
    /// `foundry`.
    run tool(const std::string& scenario, const char* foundry = k_product_data,
             const child_environment& more = {})
    {
        const std::string path = directory_ / "log.xml";
        child_environment environment{
            {"FOUNDRY", foundry}, {"ENV", nullptr}, {"TOOLRTF", nullptr}, {"QVS_M_MSGFLOW", nullptr}};
        environment.insert(environment.end(), more.begin(), more.end());
        const child_result seen =
            run_child(child_program("msgterminate_child"), {scenario, path}, environment);
        return {seen, message_log(path)};
    }
    run tool_without_index(const std::string& scenario, const child_environment& more = {})
    {
        return tool(scenario, directory_.path().c_str(), more);
    }

    temp_directory directory_;
};

/// Expects a whole log, and these marks of the run.
void expect_end(const run& end, int exit_status, const std::string& out, const std::string& err,
                int line = __builtin_LINE())
{
    const testing::ScopedTrace where(__FILE__, line, "this end");
    EXPECT_TRUE(end.log.well_formed);
    EXPECT_EQ(end.seen.signal, 0);
    EXPECT_EQ(end.seen.exit_status, exit_status);
    EXPECT_EQ(end.seen.out, out);
    EXPECT_EQ(end.seen.err, err);
}

// ---- what the handler tells

TEST_F(Ends, AThrowWithoutStatusAndPostIsToldWithoutNumberAndText)
{
    for (const char* thrown : {"throw", "throw 0", "std::exception"}) {
        SCOPED_TRACE(thrown);
        const run end = tool(thrown);
        expect_end(end, k_999, report(), "");
        EXPECT_THAT(end.log.lines, IsEmpty());
        expect_end(tool_without_index(thrown), k_999, report(), "");
    }
}

TEST_F(Ends, AThrowBehindAnErrorNamesItsNumber)
{
    const std::string error = "ERROR <1009990> - x\n";
    expect_end(tool("error, throw"), k_999, report("1009990"), error);
    // Status text of the older kind has no serial number, so the error is still the last post.
    expect_end(tool("error, status, throw"), k_999, "s\n" + report("1009990"), error);
    expect_end(tool("legacy error, throw"), k_999, report("1009990"), "ERROR - x\n");
}

TEST_F(Ends, APostThatIsNoErrorIsNotNamed)
{
    expect_end(tool("error, warning, throw"), k_999, "WARNING <1009991> - w\n" + report(),
               "ERROR <1009990> - x\n");
    expect_end(tool("error made a warning, throw"), k_999, "WARNING <1009990> - x\n" + report(), "");
}

TEST_F(Ends, ABrokenContractIsToldWithItsText)
{
    const run end = tool("contract");
    EXPECT_EQ(end.seen.exit_status, k_999);
    EXPECT_EQ(end.seen.err, "");
    EXPECT_TRUE(end.log.well_formed);
    EXPECT_THAT(end.log.lines, IsEmpty());  // it is kept, and not posted
    const std::string before =
        "\n\nException Condition ID=1000000: process is terminated\nERROR <1000000> - " + k_contract_text;
    EXPECT_EQ(end.seen.out.substr(0, before.size()), before);
    EXPECT_THAT(end.seen.out, HasSubstr("\nFor support, contact"));
}

TEST_F(Ends, ABrokenContractWithoutMessagesIsToldAsTheMissingIndex)
{
    expect_end(tool_without_index("contract"), k_999, report("0000000", k_no_index), "");
}

TEST_F(Ends, ABrokenContractMayBeCaught)
{
    expect_end(tool("contract, caught"), 0, "caught -1\n", "");
}

TEST_F(Ends, TheStatusOutlivesItsExceptionUntilItIsReset)
{
    EXPECT_THAT(tool("contract, caught, std::exception").seen.out,
                testing::AllOf(HasSubstr("caught -1\n\n\nException Condition ID=1000000: "),
                               HasSubstr(k_contract_text)));
    expect_end(tool("contract, caught, reset, throw"), k_999, "caught -1\n" + report(), "");
}

TEST_F(Ends, AStatusWithoutATextIsToldByItsNumber)
{
    expect_end(tool("status without a text, throw"), k_999, report("0000000"), "");
}

TEST_F(Ends, AStatusOfAnUnknownNumberIsShownWithItsLabelAlone)
{
    const run end = tool("status of an unknown number, throw");
    EXPECT_EQ(end.seen.exit_status, k_999);
    EXPECT_THAT(end.seen.out, HasSubstr("Exception Condition ID=1000077: process is terminated"));
}

TEST_F(Ends, AFailureInsideTheHandlerIsWhatIsTold)
{
    // The type of the last post stands in a message file, and looking for it finds no index.
    expect_end(tool_without_index("legacy error, throw"), k_999, report("0000000", k_no_index),
               "ERROR - x\n");
    expect_end(tool_without_index("status of an unknown number, throw"), k_999, report("0000000", k_no_index),
               "");
}

TEST_F(Ends, AThrowBeforeTheFirstMessageIsTheRuntimes)
{
    const child_result seen = run_child(child_program("msgterminate_child"), {"throw before any message"});
    EXPECT_EQ(seen.signal, SIGABRT);
    EXPECT_EQ(seen.out, "");
}

TEST_F(Ends, ThereIsNoCrashDumpHere)
{
    expect_end(tool("dump"), 0, "0 untouched\n", "");
}

// ---- the first report of a run without an index

class FirstReportWithoutIndex : public Ends, public testing::WithParamInterface<const char*> {};

TEST_P(FirstReportWithoutIndex, EndsTheRunIfNobodyCatchesTheThrow)
{
    const run end = tool_without_index(GetParam());
    expect_end(end, k_999, report("0000000", k_no_index), "");
    EXPECT_THAT(end.log.lines, IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(, FirstReportWithoutIndex,
                         testing::Values("ut_error", "ut_warning", "ut_info", "ut_userfatal(text)",
                                         "ut_userfatal(text, value)", "msgManager(category)", "postMsg",
                                         "postErrorStatus", "queryMsgDB", "queryMsgDisplayStr", "getMsgMID",
                                         "contract"));

TEST_F(Ends, AFinishedLineNeedsTheIndexOnlyForAPostFunction)
{
    const run end = tool_without_index("postUtMsgMgr with a post function");
    expect_end(end, k_999, report("0000000", k_no_index), "");
    EXPECT_THAT(end.log.lines, ElementsAre(logged{"1009990", "Error", {"ERROR - x"}}));
    expect_end(tool("postUtMsgMgr with a post function"), 0, "shown: ERROR <1009990> - x\n", "");
}

TEST_F(Ends, TheLegacyManagerNeedsNoIndex)
{
    const run end = tool_without_index("what needs no index");
    EXPECT_TRUE(end.log.well_formed);
    EXPECT_EQ(end.seen.exit_status, 0);
    EXPECT_EQ(end.seen.out, "x\nx\ny5\n");
    EXPECT_EQ(end.seen.err.substr(0, 51), "WARNING - x\nERROR - x\nINFO - x\nERROR - x\nINTERNAL C");
    EXPECT_EQ(end.log.lines.size(), 7U);
}

// ---- ends that the tool asks for

TEST_F(Ends, ANormalEndLeavesACompleteLog)
{
    const run end = tool("normal end");
    expect_end(end, 0, "", "ERROR <1009990> - x\n");
    EXPECT_THAT(end.log.lines, ElementsAre(logged{"1009990", "Error", {"x"}}));
    EXPECT_EQ(end.log.name, directory_ / "log.xml");
    expect_end(tool("halt"), 0, "", "");
}

TEST_F(Ends, AFatalMessageGivesTheValueOfItsSiteWithTheDatabaseInCharge)
{
    const std::string support = "For support, contact Velmora Semiconductor technical support at "
                                "1-800-555-0142, or +1-503-555-0143, or techsupport@velmora.example.";
    for (const bool with_index : {true, false}) {
        const run end = with_index ? tool("fatal") : tool_without_index("fatal");
        expect_end(end, 42, "", "ERROR - dead\nINTERNAL CODE : p:m:1:r\n" + support + "\n");
        EXPECT_THAT(end.log.lines,
                    ElementsAre(logged{"1009990", "Error", {"ERROR - dead"}},
                                logged{"1009990", "Error", {"INTERNAL CODE : p:m:1:r\n" + support}}));
    }
}

TEST_F(Ends, AFatalMessageGivesTheValueOfItsSiteWithoutTheDatabase)
{
    const run end = tool("fatal", k_product_data, {{"QVS_M_MSGFLOW", "0"}});
    EXPECT_TRUE(end.log.well_formed);
    EXPECT_THAT(end.log.lines, IsEmpty());
    EXPECT_EQ(end.seen.exit_status, 42);
    EXPECT_EQ(end.seen.out, "");
    EXPECT_THAT(end.seen.err,
                HasSubstr("ERROR - dead\nINTERNAL CODE : p:m:1:r\n                For support"));
}

TEST_F(Ends, AUsersErrorEndsWithItsValue)
{
    const auto is_logged = ElementsAre(logged{"1009990", "Error", {"u"}});
    const run without = tool("userfatal");
    expect_end(without, 255, "", "ERROR <1009990> - u\n");
    EXPECT_THAT(without.log.lines, is_logged);
    const run with = tool("userfatal with a value");
    expect_end(with, 5, "", "ERROR <1009990> - u\n");
    EXPECT_THAT(with.log.lines, is_logged);
    for (const char* legacy : {"c_userfatal", "abort flag"}) {
        const run direct = tool(legacy);
        expect_end(direct, 255, "", "ERROR - u\n");
        EXPECT_THAT(direct.log.lines, ElementsAre(logged{"1009990", "Error", {"ERROR - u"}}));
        expect_end(tool_without_index(legacy), 255, "", "ERROR - u\n");
    }
}

TEST_F(Ends, AUsersErrorReturnsWhereTheEnvironmentSaysSo)
{
    // The flag that makes every message the last counts for the legacy manager's own messages alone.
    const child_environment back{{"QVS_MSG_ABORT_RETURN", ""}};
    for (const char* form : {"userfatal", "userfatal with a value", "c_userfatal"})
        EXPECT_EQ(tool(form, k_product_data, back).seen.exit_status, 0) << form;
    EXPECT_EQ(tool("abort flag", k_product_data, back).seen.exit_status, 255);
    EXPECT_EQ(tool("fatal", k_product_data, back).seen.exit_status, 42);
    EXPECT_EQ(tool("userfatal", k_product_data, {back[0], {"QVS_MSG_ABORT_CORE", ""}}).seen.signal, SIGABRT);
}

TEST_F(Ends, AKilledRunLeavesEveryPostedLine)
{
    const std::string path = directory_ / "log.xml";
    const run end = tool("kill");
    EXPECT_EQ(end.seen.signal, SIGKILL);
    EXPECT_FALSE(end.log.well_formed);
    const std::string bytes = file_bytes(path);
    for (int i = 0; i < 100; ++i)
        EXPECT_THAT(bytes,
                    HasSubstr("    <postMsg mid=\"1009990\" type=\"Error\" dynamic=\"1\" navigation=\"0\" "
                              "arg0=\"" +
                              std::to_string(i) + "\"  />\n"));
    write_file(path, bytes + "  </postMsgs>\n</messageLogFile>\n");  // what a person adds to read it
    EXPECT_EQ(message_log(path).lines.size(), 100U);
}

// ---- other threads

TEST_F(Ends, AThreadThatIsStuckInTheSectionDoesNotKeepAFailingRun)
{
    const run end = tool("throw while a thread is stuck in the section");
    EXPECT_EQ(end.seen.exit_status, k_999);
    EXPECT_EQ(end.seen.out, report());
}

TEST_F(Ends, AThreadThatIsAtWorkInTheSectionIsWaitedFor)
{
    const run end = tool("throw while a thread is at work in the section");
    expect_end(end, k_999, report("1009990"), "ERROR <1009990> - from the holder\n");
    EXPECT_THAT(end.log.lines, ElementsAre(logged{"1009990", "Error", {"from the holder"}}));
}

TEST_F(Ends, TheExitHandlerHasNothingToDoBehindTheTerminateHandler)
{
    expect_end(tool("throw, and a thread takes the section"), k_999, report(), "");
}

TEST_F(Ends, AThreadThatIsStuckInTheSectionDoesNotKeepANormalEnd)
{
    const run end = tool("normal end while a thread is stuck in the section");
    EXPECT_EQ(end.seen.exit_status, 0);
    EXPECT_EQ(end.seen.out, "");
}

TEST_F(Ends, TheFailingThreadMayBeInTheSection)
{
    expect_end(tool("throw while this thread is in the section"), k_999, report("1009990"),
               "ERROR <1009990> - x\n");
}

TEST_F(Ends, TwoThreadsThatFailAtOnceEndTheRunOnce)
{
    const run end = tool("two threads fail");
    EXPECT_TRUE(end.log.well_formed);
    EXPECT_EQ(end.log.lines.size(), 2U);
    EXPECT_EQ(end.seen.exit_status, k_999);
    EXPECT_THAT(end.seen.out, HasSubstr(report("1009990")));
}

// ---- behind the exit handler

TEST_F(Ends, AThrowBehindTheExitHandlerIsTold)
{
    const run end = tool("throw after the exit handler");
    expect_end(end, k_999, report(), "");
}

TEST_F(Ends, AUsersErrorBehindTheExitHandlerGivesItsValue)
{
    const run end = tool("userfatal after the exit handler");
    expect_end(end, 7, "", "ERROR <1009990> - late\n");
    EXPECT_THAT(end.log.lines, IsEmpty());  // the log was complete by then
    expect_end(tool_without_index("userfatal after the exit handler"), k_999, report("0000000", k_no_index),
               "");
}

// ---- the operations by themselves

TEST(MsgThrow, ThrowsItsArgumentAsAPlainInt)
{
    for (const int code : {-1, -2, 0, 7}) {
        try {
            msg_throw(code);
        } catch (int thrown) {
            EXPECT_EQ(thrown, code);
        }
    }
}

TEST(MsgCreateMiniDump, NamesTheFileAfterDirectoryAndProcess)
{
    static std::string written;
    scoped_operations os;
    os.table.temporary_directory = [](std::string& out) {
        out = "/dumps/";
        return true;
    };
    os.table.process_number = [] { return 4711; };
    os.table.write_crash_dump = [](const char* name) {
        written = name;
        return true;
    };
    std::string path = "before";
    EXPECT_NE(msgCreateMiniDump(path), 0);
    EXPECT_EQ(path, "/dumps/qvs_zirvane_4711.dmp");
    EXPECT_EQ(written, path);

    os.table.temporary_directory = [](std::string&) { return false; };
    EXPECT_NE(msgCreateMiniDump(path), 0);
    EXPECT_EQ(path, ".\\qvs_zirvane_4711.dmp");
}

TEST(MsgCreateMiniDump, ADumpThatFailsLeavesThePath)
{
    scoped_operations os;
    os.table.write_crash_dump = [](const char*) { return false; };
    std::string path = "before";
    EXPECT_EQ(msgCreateMiniDump(path), 0);
    EXPECT_EQ(path, "before");
}

TEST(LeaveProcess, RunsTheExitHandlersUnlessTheyAreRunning)
{
    static std::vector<std::string> ends;
    static bool within = false;
    ends.clear();
    within = false;
    scoped_operations os;
    os.table.end_process = [](int value) {
        ends.push_back("exit " + std::to_string(value));
        if (!std::exchange(within, true)) ketriope::leave_process(2);  // a report of an exit handler
    };
    os.table.end_process_now = [](int value) { ends.push_back("_Exit " + std::to_string(value)); };
    ketriope::leave_process(1);
    EXPECT_THAT(ends, ElementsAre("exit 1", "_Exit 2"));
    ends.clear();
    ketriope::leave_process(3);
    EXPECT_THAT(ends, ElementsAre("exit 3"));
}

}  // namespace
