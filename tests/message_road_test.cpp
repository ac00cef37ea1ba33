// tests/message_road_test.cpp: the road of one message, from a tool to all its destinations: step by step
// in this process, and whole in a process of its own.
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "message_capture.h"
#include "message_files.h"
#include "message_log.h"
#include "stream_tools.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
    return count;
}

/// What the call-back was told.
std::vector<std::string> calls;

class MessageRoad : public testing::Test {
protected:
    MessageRoad()
    {
        calls.clear();
        files_.tool({{"1108", "Error", "Unable to open command file &quot;$$s&quot;"},
                     {"1413", "Warning", "path '$$s/$$s' ignored  -- exceeds length limit of $$d"}});
    }

    const msgPosted& record(int sid) { return *files_.database().retrieveMsgPosted(sid); }

    /// Expects a post that is recorded, counted for its object, and logged, but not shown.
    void expect_held_back(void (*hold_back)(msgManager&))
    {
        msgManager messages("tool");
        hold_back(messages);
        const std::string log = files_ / "log.xml";
        messages.startMsgLogFile(log.c_str(), MSG_ERROR);
        int sid = 0;
        EXPECT_EQ(stderr_of([&] { sid = messages.postMsg("1108", "x"); }), "");
        EXPECT_EQ(sid, 1);
        EXPECT_EQ(record(sid).m_display, 0);
        EXPECT_EQ(messages.getErrorPosted(1), 1U);
        EXPECT_EQ(messages.getErrorPosted(0), 0U);  // of the process: the shown ones
        files_.database().forceClosed();
        EXPECT_THAT(message_log(log).lines, ElementsAre(logged{"3001108", "Error", {"x"}}));
    }

    message_files files_;
};

// ---- step 1: the first manager of a category

TEST_F(MessageRoad, TheFirstManagerOfACategoryLoadsItsFileAndTakesItsNumber)
{
    EXPECT_FALSE(files_.debug_says("successfully load"));
    const msgManager first("tool");
    EXPECT_EQ(first.getFID(), "300");
    const msgManager second("tool");
    EXPECT_EQ(second.getFID(), "300");
    EXPECT_EQ(occurrences(files_.debug_text(), "successfully load message index file"), 1U);
    EXPECT_EQ(occurrences(files_.debug_text(), "successfully load message file"), 1U);
}

// ---- step 2: the number and the arguments

TEST_F(MessageRoad, FourCharactersTakeTheCategorysNumberAndEachConversionAnArgument)
{
    msgManager messages("tool");
    int sid = 0;
    stdout_of([&] { sid = messages.postMsg("1413", "a", "b", 1024); });
    std::string mid;
    EXPECT_NE(messages.retrieveMsgID(sid, mid), 0);
    EXPECT_EQ(mid, "3001413");
    EXPECT_THAT(record(sid).m_dynamic, ElementsAre("a", "b", "1024"));
}

// ---- step 3: the record

TEST_F(MessageRoad, APostIsRecordedUnderTheNextSerialNumberAndCounted)
{
    msgManager messages("tool");
    int first = 0;
    int second = 0;
    stderr_of([&] {
        first = messages.postMsg("1108", "x");
        second = messages.postMsg("1108", "x");
    });
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(messages.retrieveLatestMsgPosted(), 2);
    EXPECT_EQ(messages.getErrorPosted(1), 2U);
    EXPECT_EQ(messages.getErrorPosted(0), 2U);
}

TEST_F(MessageRoad, TheRecordHoldsWhatWasPostedWithLongArgumentsCut)
{
    msgManager messages("tool");
    int sid = 0;
    stderr_of([&] { sid = messages.postMessage(7, "1108", std::string(501, 'x').c_str()); });
    EXPECT_EQ(record(sid).m_flags, 7U);
    EXPECT_NE(record(sid).m_display, 0);
    EXPECT_THAT(record(sid).m_dynamic,
                ElementsAre(std::string(325, 'x') + "   ....   " + std::string(165, 'x')));
}

TEST_F(MessageRoad, ASettingHoldsItBack)
{
    expect_held_back([](msgManager& messages) { messages.disableMsg("1108", 0); });
}

TEST_F(MessageRoad, TheSwitchOfItsTypeHoldsItBack)
{
    expect_held_back([](msgManager& messages) { messages.disableMsgType(MSG_ERROR); });
}

TEST_F(MessageRoad, ThePrintCountHoldsItBack)
{
    expect_held_back([](msgManager& messages) { messages.setPrintCount(0); });
}

// ---- step 4: the text

TEST_F(MessageRoad, TheTextHasItsLabelItsNumberAndItsArgumentsInPlace)
{
    msgManager messages("tool");
    std::vector<std::string> dynamic{"cmd $$s %s"};
    std::string text;
    messages.queryMsgDisplayString("1108", dynamic, text, 0, false);
    EXPECT_EQ(text, "ERROR <3001108> - Unable to open command file \"cmd $$s %s\"");
    messages.queryMsgDisplayString("1108", dynamic, text, 0, true);
    EXPECT_EQ(text, "Unable to open command file \"cmd $$s %s\"");
}

// ---- step 5: the destinations

int take_a_call(int sid, const char* mid, eMessage_Type type, std::string& text,
                std::vector<std::string>& dynamic, std::vector<std::string>& navigation)
{
    calls.push_back(std::to_string(sid) + ' ' + mid + ' ' + std::to_string(type) + ' ' + text + ' ' +
                    std::to_string(dynamic.size()) + ' ' + std::to_string(navigation.size()));
    return 0;
}

int take_a_call_of_a_type(int sid, const char* mid)
{
    calls.push_back(std::to_string(sid) + ' ' + mid);
    return 0;
}

TEST_F(MessageRoad, TheConsoleIsServedByTypeAndThenEveryDestination)
{
    msgManager messages("tool");
    std::ostringstream stream;
    std::FILE* const file = std::fopen((files_ / "file").c_str(), "we");
    descriptor number(files_ / "ut_stream", k_to_write);
    open_stream ut_stream(number, UT_ACCESS_WRITE, 4096, nullptr);
    messages.addMsgLogFile(file);
    messages.addstream(stream);
    messages.addUTstream(&ut_stream);
    messages.startMsgLogFile((files_ / "errors.xml").c_str(), MSG_ERROR);
    messages.startMsgLogFile((files_ / "warnings.xml").c_str(), MSG_WARNING);

    const std::string error = "ERROR <3001108> - Unable to open command file \"<x>\"";
    const std::string warning = "WARNING <3001413> - path 'a/b' ignored  -- exceeds length limit of 1024";
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(stdout_of([&] { messages.postMsg("1108", "<x>"); }), ""); }),
              error + "\n");
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(stdout_of([&] { messages.postMsg("1413", "a", "b", 1024); }), warning + "\n");
              }),
              "");
    ut_stream.flush();
    EXPECT_EQ(stream.str(), error + "\n" + warning + "\n");
    EXPECT_EQ(file_bytes(files_ / "file"), stream.str());
    EXPECT_EQ(file_bytes(files_ / "ut_stream"), error + "\r\n" + warning + "\r\n");
    files_.database().forceClosed();
    EXPECT_THAT(message_log(files_ / "errors.xml").lines, ElementsAre(logged{"3001108", "Error", {"<x>"}}));
    EXPECT_THAT(message_log(files_ / "warnings.xml").lines,
                ElementsAre(logged{"3001413", "Warning", {"a", "b", "1024"}}));
    std::fclose(file);
}

TEST_F(MessageRoad, ACallBackTakesThePlaceOfTheConsoleAlone)
{
    msgManager messages("tool");
    std::ostringstream stream;
    messages.addstream(stream);
    messages.setCallbackMsgFun(take_a_call);
    messages.setCallbackMsgFun(take_a_call_of_a_type, MSG_ERROR);
    EXPECT_EQ(stderr_of([&] { messages.postMsg("1108", "x"); }), "");
    const std::string text = "ERROR <3001108> - Unable to open command file \"x\"";
    EXPECT_EQ(stream.str(), text + "\n");
    EXPECT_THAT(calls, ElementsAre("1 3001108 1 " + text + " 1 0", "1 3001108"));
}

// ---- step 6: the serial number

TEST_F(MessageRoad, APostMayBeAskedForAgain)
{
    msgManager messages("tool");
    int sid = 0;
    stderr_of([&] { sid = messages.postMsg("1108", "x"); });
    msgManager another;  // of any category
    std::string text;
    EXPECT_NE(another.retrieveMsgString(sid, text), 0);
    EXPECT_EQ(text, "ERROR <3001108> - Unable to open command file \"x\"");
    EXPECT_EQ(another.retrieveMsgString(sid + 1, text), 0);
}

// ---- the whole road, in a process of its own, with the messages of the product

class MessageRoadProcess : public testing::Test {
protected:
    child_result tool(const child_environment& more = {}, const std::vector<std::string>& what = {"a.cmd"})
    {
        child_environment environment{{"FOUNDRY", TEST_SOURCE_DIR "/../data"},
                                      {"ENV", nullptr},
                                      {"TOOLRTF", nullptr},
                                      {"QVS_M_MSGFLOW", nullptr},
                                      {"QVS_MSGMGR_DEBUG", nullptr}};
        environment.insert(environment.end(), more.begin(), more.end());
        std::vector<std::string> arguments{directory_.path()};
        arguments.insert(arguments.end(), what.begin(), what.end());
        return run_child(child_program("message_road_child"), arguments, environment);
    }
    std::string bytes(const char* name) const { return file_bytes(directory_ / name); }

    temp_directory directory_;
};

TEST_F(MessageRoadProcess, ReachesEveryDestination)
{
    const std::string text = "ERROR <1011108> - par: Unable to open command file \"a.cmd\"";
    const child_result seen = tool();
    EXPECT_EQ(seen.exit_status, 0);
    EXPECT_EQ(seen.err, text + "\n");
    EXPECT_EQ(seen.out, "at first: no database\n"
                        "behind the first manager: a database\n"
                        "category: 101\n"
                        "serial number: 1\n"
                        "message: 1011108\n"
                        "argument: a.cmd\n"
                        "posted: 1 1\n"
                        "asked again: " +
                            text + "\n");
    EXPECT_EQ(bytes("file"), text + "\n");
    EXPECT_EQ(bytes("ostream"), text + "\n");
    EXPECT_EQ(bytes("ut_stream"), text + "\r\n");
    const message_log errors(directory_ / "errors.xml");
    EXPECT_TRUE(errors.well_formed);
    EXPECT_THAT(errors.lines, ElementsAre(logged{"1011108", "Error", {"a.cmd"}}));
    const message_log warnings(directory_ / "warnings.xml");
    EXPECT_TRUE(warnings.well_formed);
    EXPECT_THAT(warnings.lines, IsEmpty());
}

TEST_F(MessageRoadProcess, WhatTheToolLeavesIsClosedAtTheEnd)
{
    EXPECT_EQ(tool({}, {"a.cmd", "leave"}).exit_status, 0);
    const std::string text = "ERROR <1011108> - par: Unable to open command file \"a.cmd\"";
    EXPECT_EQ(bytes("ut_stream"), text + "\r\n");
    EXPECT_EQ(message_log(directory_ / "errors.xml").lines.size(), 1U);
}

TEST_F(MessageRoadProcess, LabelNumberAndFoldFollowTheEnvironment)
{
    const std::string words(80, 'w');
    const std::string open = "par: Unable to open command file \"";
    struct row {
        const char* format;
        const char* shows_number;
        std::string text;
    };
    const row k_rows[] = {
        {"1", nullptr, "ERROR <1011108> - " + open + words + "\"\n"},
        {"2", nullptr, "Error <1011108> - " + open + words + "\"\n"},
        {"1", "0", "ERROR - " + open + words + "\"\n"},
        {"2", "0", "Error - " + open + words + "\"\n"},
        // A folded text ends in a line feed of its own.
        {"3", "0",
         "ERROR - par: Unable to open command file\n        \"" + words.substr(0, 66) + "\n        " +
             words.substr(66) + "\"\n\n"},
    };
    for (const row& each : k_rows) {
        SCOPED_TRACE(each.text);
        const child_environment format{{"QVS_MSGMGR_FORMAT", each.format},
                                       {"QVS_SHELL_MESSAGE_ID", each.shows_number}};
        EXPECT_EQ(tool(format, {words}).err, each.text);
        EXPECT_EQ(bytes("file"), each.text);
    }
}

TEST_F(MessageRoadProcess, TheDebugChannelTellsTheSteps)
{
    const std::string directory = directory_.path();
    const child_result seen = tool({{"QVS_MSGMGR_DEBUG", "2"}, {"temp", directory.c_str()}});
    EXPECT_EQ(seen.exit_status, 0);
    const std::string steps = bytes("qvs_msgmgr_debug.txt");
    std::size_t at = 0;
    for (const char* step : {"successfully load message index file", "successfully load message file <",
                             "framework.xml", "post message <1011108> using const char* mid"}) {
        at = steps.find(step, at);
        ASSERT_NE(at, std::string::npos) << step << "\n" << steps;
    }
    EXPECT_THAT(steps, Not(HasSubstr("common.xml")));  // nothing asked for it
    EXPECT_THAT(seen.out, HasSubstr("post message <1011108> using const char* mid\n"));
}

}  // namespace
