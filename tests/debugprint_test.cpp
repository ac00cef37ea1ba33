// tests/debugprint_test.cpp
#include "debugprint.h"

#include <climits>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "message_capture.h"

namespace {

/// A buffer that counts how often it was flushed.
class counting_buffer : public std::stringbuf {
public:
    int flushes = 0;

protected:
    int sync() override
    {
        ++flushes;
        return 0;
    }
};

class DebugPrint : public testing::Test {
protected:
    DebugPrint() { trace.setostream(&out); }
    std::string written() const { return buffer.str(); }

    counting_buffer buffer;
    std::ostream out{&buffer};
    UT_DEBUG_PRINT trace;
};

TEST_F(DebugPrint, StartsAtDepth0WithAllFlags)
{
    const UT_DEBUG_PRINT fresh;
    EXPECT_EQ(fresh.getdepth(), 0);
    EXPECT_EQ(fresh.getflags(), ~0UL);
    EXPECT_EQ(fresh.getostream(), &std::cout);
}

TEST_F(DebugPrint, WritesToStandardOutputUnlessToldOtherwise)
{
    EXPECT_EQ(stdout_of([] { UT_DEBUG_PRINT().output("%d\n", 7); }), "7\n");
}

TEST_F(DebugPrint, IndentsEachLineAndLeavesTheLastOpen)
{
    trace.tabto(2);
    trace.output("a\nb");
    EXPECT_EQ(written(), "      a\n      b");
    trace.output("c\n");
    EXPECT_EQ(written(), "      a\n      bc\n");
    trace.output("%s", "d");
    EXPECT_EQ(written(), "      a\n      bc\n      d");
}

TEST_F(DebugPrint, IndentsEmptyLinesToo)
{
    trace.tab(1);
    trace.output("\n\na\n\n");
    EXPECT_EQ(written(), "   \n   \n   a\n   \n");
}

TEST_F(DebugPrint, FlushesOnceForEachTextAndNotForNone)
{
    trace.output("a\nb\nc\n");
    EXPECT_EQ(buffer.flushes, 1);
    trace.output("open");
    EXPECT_EQ(buffer.flushes, 2);
    trace.output("%s", "");
    EXPECT_EQ(buffer.flushes, 2);
    EXPECT_EQ(written(), "a\nb\nc\nopen");
    trace.flush();
    EXPECT_EQ(buffer.flushes, 3);
}

TEST_F(DebugPrint, NothingToWriteLeavesALineStartAsItIs)
{
    trace.tab(1);
    trace.output("%s", "");
    trace.output("a");
    EXPECT_EQ(written(), "   a");
}

TEST_F(DebugPrint, FormatsAsTheStringsOfTheLibraryDo)
{
    trace.output("%5.2f|%-4d|%04x|%s|%c|\n", 1.5, 7, 255, "100%n", 0);
    const std::string first = " 1.50|7   |00ff|100%n|*|\n";  // a NUL shows
    EXPECT_EQ(written(), first);
    const std::string longest(100'000, 'x');
    trace.output("%s\n", longest.c_str());
    EXPECT_EQ(written(), first + longest + "\n");
}

TEST_F(DebugPrint, TheFieldWidthOfTheStreamIsNotLookedAt)
{
    trace.tab(1);
    out << std::setw(20) << std::setfill('#');
    trace.output("a\n");
    EXPECT_EQ(written(), "   a\n");
}

TEST_F(DebugPrint, TheIndentHasTheSizeThatWasSet)
{
    trace.setindentsize(1);
    trace.tab(3);
    trace.output("a\n");
    trace.setindentsize(0);
    trace.output("b\n");
    EXPECT_EQ(written(), "   a\nb\n");
}

TEST_F(DebugPrint, IndentBeginsALine)
{
    trace.indent();  // at depth 0 too
    trace.tab(1);
    trace.output("a");
    EXPECT_EQ(written(), "a");
    trace.newline();
    trace.indent();
    trace.output("b\n");
    EXPECT_EQ(written(), "a\n   b\n");
}

TEST_F(DebugPrint, NewlineEndsALine)
{
    trace.tab(1);
    trace.output("a");
    trace.newline();
    trace.newline();
    trace.output("b");
    EXPECT_EQ(written(), "   a\n\n   b");
}

TEST_F(DebugPrint, TheDepthStaysBetween0AndTheLargest)
{
    trace.tabto(3);
    trace.untab(5);
    EXPECT_EQ(trace.getdepth(), 0);
    trace.tab(7);
    trace.untab(2);
    EXPECT_EQ(trace.getdepth(), 5);
    trace.untab(UINT_MAX);
    EXPECT_EQ(trace.getdepth(), 0);
    trace.tabto(UINT_MAX);
    EXPECT_EQ(trace.getdepth(), -1);  // the low 16 bits of INT_MAX
    trace.tab(UINT_MAX);
    EXPECT_EQ(trace.getdepth(), -1);
    trace.untab(INT_MAX - 1);
    EXPECT_EQ(trace.getdepth(), 1);
}

TEST_F(DebugPrint, TheDepthIsToldIn16Bits)
{
    trace.tabto(65'537);
    EXPECT_EQ(trace.getdepth(), 1);
    trace.setindentsize(1);
    trace.output("a");
    EXPECT_EQ(written(), std::string(65'537, ' ') + "a");
}

TEST_F(DebugPrint, FlagsSelect)
{
    EXPECT_TRUE(trace.matchflags(1UL << 63));
    trace.setflags(0x6UL);
    EXPECT_TRUE(trace.matchflags(0x4));
    EXPECT_TRUE(trace.matchflags(0xC));
    EXPECT_FALSE(trace.matchflags(0x9));
    EXPECT_FALSE(trace.matchflags(0));
    trace.setflags(-1L);
    EXPECT_EQ(trace.getflags(), ~0UL);
}

TEST_F(DebugPrint, TheDestructorFlushes)
{
    {
        UT_DEBUG_PRINT other;
        other.setostream(&out);
        other.newline();
        EXPECT_EQ(buffer.flushes, 0);
    }
    EXPECT_EQ(buffer.flushes, 1);
    EXPECT_EQ(written(), "\n");
}

TEST_F(DebugPrint, WithoutAStreamItIsSilent)
{
    trace.setostream(nullptr);
    trace.tab(1);
    trace.output("a\nb");
    trace.indent();
    trace.newline();
    trace.flush();
    EXPECT_EQ(trace.getostream(), nullptr);
    EXPECT_EQ(written(), "");
}

}  // namespace
