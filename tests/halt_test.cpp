// tests/halt_test.cpp
#include "halt.h"

#include <thread>

#include <gtest/gtest.h>

#include "child_process.h"
#include "message_capture.h"
#include "scoped_operations.h"

namespace {

constinit UT_HALT built_without_code;  // so a handler kept before any constructor runs stays

int calls = 0;
UT_HALT* asked = nullptr;

void count_a_call()
{
    ++calls;
}

void ask_for_the_end()
{
    asked->sethaltvalue(1);
}

/// Counts the calls of its handler from 0, and stands in for the end of the process.
class Halt : public testing::Test {
protected:
    Halt()
    {
        calls = 0;
        asked = &halt;
    }
    ~Halt() override
    {
        ut_haltobj.sethaltvalue(0);
        ut_haltobj.sethandler(nullptr);
    }

    UT_HALT halt;
    message_capture capture;
};

TEST_F(Halt, StartsWithNothingAsked)
{
    EXPECT_EQ(halt.checkhalt(), 0);
    EXPECT_EQ(halt.checkhalt_pl(), 0);
    EXPECT_EQ(built_without_code.checkhalt(), 0);
    EXPECT_EQ(ut_halted(), 0);
}

TEST_F(Halt, ANoticeCallsTheHandlerOnce)
{
    halt.sethandler(count_a_call);
    EXPECT_EQ(halt.checkhalt(), 0);
    EXPECT_EQ(calls, 0);
    halt.setnotify();
    EXPECT_EQ(halt.checkhalt(), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(halt.checkhalt(), 0);
    EXPECT_EQ(calls, 1);
    halt.setnotify();
    EXPECT_EQ(halt.checkhalt_pl(), 0);
    EXPECT_EQ(calls, 2);
}

TEST_F(Halt, ANoticeWithoutAHandlerIsForgotten)
{
    halt.setnotify();
    EXPECT_EQ(halt.checkhalt(), 0);
    halt.sethandler(count_a_call);
    EXPECT_EQ(halt.checkhalt(), 0);
    EXPECT_EQ(calls, 0);
}

TEST_F(Halt, AValueOtherThan1IsReturned)
{
    for (const int value : {2, 3, 255}) {
        halt.sethaltvalue(static_cast<unsigned char>(value));
        EXPECT_EQ(halt.checkhalt(), value);
        EXPECT_EQ(halt.checkhalt_pl(), value);
    }
}

TEST_F(Halt, TheFreeFunctionTells1ForEveryOtherValue)
{
    for (const int value : {2, 3, 255}) {
        ut_haltobj.sethaltvalue(static_cast<unsigned char>(value));
        EXPECT_EQ(ut_halted(), 1);
        EXPECT_EQ(ut_haltobj.checkhalt(), value);
    }
}

TEST_F(Halt, TheValue1EndsTheProcessWithExitValue0)
{
    halt.sethaltvalue(1);
    EXPECT_EQ(capture.exit_value_of([&] { halt.checkhalt(); }), 0);
    EXPECT_EQ(capture.exit_value_of([&] { halt.checkhalt_pl(); }), 0);
    ut_haltobj.sethaltvalue(1);
    EXPECT_EQ(capture.exit_value_of([] { ut_halted(); }), 0);
}

TEST_F(Halt, TheHandlerMaySetTheValueThatEndsTheProcess)
{
    halt.sethandler(ask_for_the_end);
    halt.setnotify();
    EXPECT_EQ(capture.exit_value_of([&] { halt.checkhalt(); }), 0);
}

TEST_F(Halt, OnlyOneOfThePollsLooksAtTheConsole)
{
    static int polls = 0;
    polls = 0;
    scoped_operations replaced;
    replaced.table.poll_keyboard = [] { ++polls; };
    halt.checkhalt_pl();
    EXPECT_EQ(polls, 0);
    halt.checkhalt();
    ut_halted();
    EXPECT_EQ(polls, 2);
}

TEST_F(Halt, AnyThreadMayAskALoopToStop)
{
    std::thread button([] {
        ut_haltobj.sethandler(count_a_call);
        ut_haltobj.setnotify();
        ut_haltobj.sethaltvalue(2);
    });
    while (ut_halted() == 0) std::this_thread::yield();
    button.join();
    EXPECT_LE(calls, 1);
}

TEST(HaltProcess, RunsTheExitHandlersAndTellsItsParent0)
{
    for (const char* const poll : {"checkhalt", "checkhalt_pl", "ut_halted"}) {
        const child_result result = run_child(child_program("halt_child"), {poll});
        EXPECT_EQ(result.exit_status, 0) << poll;
        EXPECT_EQ(result.out, "handler\nnormal end\n") << poll;
    }
}

TEST(HaltProcess, ReadsNothingFromTheConsole)
{
    EXPECT_EQ(run_child(child_program("halt_child"), {"input"}).out, "typed\n");
}

}  // namespace
