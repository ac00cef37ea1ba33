// tests/msgstr_test.cpp
#include "msgstr.h"

#include <cstring>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "message_capture.h"
#include "message_files.h"
#include "stream_tools.h"
#include "virtual_slots.h"

namespace {

using testing::HasSubstr;
using testing::Not;

static_assert(std::is_base_of_v<UT_MSGMAN, UT_MSGSTR>);
static_assert(sizeof(UT_MSGSTR) >= sizeof(UT_MSGMAN) + 2 * sizeof(void*) + 2 * sizeof(short) + 1);

/// A manager whose protected operations a test may call, as a derived class of a tool would.
class open_manager : public UT_MSGSTR {
public:
    using UT_MSGSTR::write;
};

/// A UT_STREAM on a file of its own.
class filed_stream {
public:
    filed_stream(const message_files& files, const std::string& name)
        : path_(files / name), file_(path_, k_to_write), stream_(file_, UT_ACCESS_WRITE, 4096, nullptr)
    {
    }
    UT_STREAM& operator*() { return stream_; }
    UT_STREAM* operator->() { return &stream_; }
    /// All that it was given so far.
    std::string text()
    {
        stream_.flush();
        return file_bytes(path_);
    }

private:
    std::string path_;
    descriptor file_;
    open_stream stream_;
};

/// Hands a finished line to the database, which serves its lists; what the console gets of it.
std::string given_by_the_database(const std::string& text)
{
    return stderr_of([&] { msgManager().postUtMsgMgr(MSG_UT_ERROR, text.c_str(), 1); });
}

class UtMsgstr : public testing::Test {
protected:
    UtMsgstr() { ut_msgman_before_ = ut_msgman; }
    ~UtMsgstr() override { ut_msgman = ut_msgman_before_; }

    message_files files_;
    std::ostringstream first_;
    std::ostringstream second_;
    open_manager man_;

private:
    UT_MSGMAN* ut_msgman_before_;
};

class LegacyMsgstr : public UtMsgstr {
protected:
    LegacyMsgstr() { UT_MSGMAN::m_msgFlow = 0; }
};

// ---- the class

#if defined(TEST_KNOWS_SLOTS)
TEST(UtMsgstrClass, NewOperationsFollowTheLastOneOfTheBaseInTheirOrder)
{
    const std::size_t last =
        slot_of(static_cast<UT_MSGMAN& (UT_MSGSTR::*)(const char*)>(&UT_MSGSTR::operator<<));
    EXPECT_EQ(last, slot_of(static_cast<UT_MSGMAN& (UT_MSGMAN::*)(const char*)>(&UT_MSGMAN::operator<<)));
    EXPECT_EQ(slot_of(&UT_MSGSTR::saveStatus), last + 1);
    EXPECT_EQ(slot_of(&UT_MSGSTR::restoreStatus), last + 2);
    EXPECT_EQ(slot_of(static_cast<void (UT_MSGSTR::*)(UT_STREAM&)>(&UT_MSGSTR::addstream)), last + 3);
    EXPECT_EQ(slot_of(static_cast<void (UT_MSGSTR::*)(std::ostream&)>(&UT_MSGSTR::addstream)), last + 4);
    EXPECT_EQ(slot_of(static_cast<void (UT_MSGSTR::*)(UT_STREAM&)>(&UT_MSGSTR::delstream)), last + 5);
    EXPECT_EQ(slot_of(static_cast<void (UT_MSGSTR::*)(std::ostream&)>(&UT_MSGSTR::delstream)), last + 6);
    EXPECT_EQ(slot_of(&UT_MSGSTR::setclean), last + 7);
}
#endif

TEST(UtMsgstrClass, ThereIsOneOfTheProcess)
{
    UT_MSGSTR* const made = UT_MSGSTR::getInstance();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(UT_MSGSTR::getInstance(), made);
}

TEST_F(UtMsgstr, ConstructionTakesTheFlowFromTheEnvironmentAsTheBaseDoes)
{
    const scoped_environment flow("QVS_M_MSGFLOW", "3");
    const UT_MSGSTR another;
    EXPECT_EQ(UT_MSGMAN::m_msgFlow, 3);
}

TEST_F(UtMsgstr, SetcleanSetsTheFlagOfTheBase)
{
    EXPECT_EQ(man_.getclean(), 1);
    man_.setclean(0);
    EXPECT_EQ(man_.getclean(), 0);
    static_cast<UT_MSGSTR&>(man_).setclean(7);
    EXPECT_EQ(man_.getclean(), 7);
}

TEST_F(LegacyMsgstr, ACopySharesTheLists)
{
    man_.addstream(first_);
    // Both would release the lists, so the copy is never destroyed.
    alignas(UT_MSGSTR) unsigned char memory[sizeof(UT_MSGSTR)];
    auto* const copy = new (memory) UT_MSGSTR(man_);
    *copy << "a";
    *copy = man_;
    *copy << "b";
    EXPECT_EQ(first_.str(), "ab");
}

// ---- the console's place is taken

TEST_F(LegacyMsgstr, MessagesGoToTheStreamsAndNotToTheConsole)
{
    filed_stream file(files_, "stream");
    man_.addstream(first_);
    man_.addstream(second_);
    man_.addstream(*file);
    const std::string shown = stderr_of([&] {
        EXPECT_EQ(stdout_of([&] {
                      man_.error("e", 0);
                      man_.status("s %d", 0);
                  }),
                  "");
    });
    EXPECT_EQ(shown, "");
    EXPECT_EQ(first_.str(), "ERROR - e\ns %d\n");
    EXPECT_EQ(second_.str(), first_.str());
    EXPECT_EQ(file.text(), "ERROR - e\r\ns %d\r\n");
}

TEST_F(LegacyMsgstr, WithoutStreamsMessagesGoNowhere)
{
    EXPECT_EQ(stderr_of([&] { man_.error("e", 0); }), "");
    EXPECT_EQ(man_.get_num_errors(), 1);
}

TEST_F(LegacyMsgstr, LongMessagesAreFoldedIntoLines)
{
    filed_stream file(files_, "stream");
    man_.addstream(first_);
    man_.addstream(*file);
    const std::string words(60, 'a');
    man_.warning((words + " " + words).c_str(), 0);
    EXPECT_EQ(first_.str(), "WARNING - " + words + "\n          " + words + "\n");
    EXPECT_EQ(file.text(), "WARNING - " + words + "\r\n          " + words + "\r\n");
}

TEST_F(LegacyMsgstr, TheSuppressFlagDropsEverything)
{
    man_.addstream(first_);
    man_.setSuppressFlag(1);
    man_.error("e", 0);
    man_ << "text" << std::endl;
    man_.write("w");
    EXPECT_EQ(first_.str(), "");
    man_.setSuppressFlag(0);
    man_.write("w");
    EXPECT_EQ(first_.str(), "w\n");
}

TEST_F(LegacyMsgstr, WidthAndFillOfAStreamAreItsOwnersBusiness)
{
    man_.addstream(first_);
    first_.width(30);
    man_.status("s", 0);
    man_ << "t";
    EXPECT_EQ(first_.str(), "s\nt");
}

TEST_F(LegacyMsgstr, StandardOutputIsAStreamLikeOthers)
{
    man_.addstream(std::cout);
    EXPECT_EQ(stdout_of([&] { man_.error("e", 0); }), "ERROR - e\n");
    man_.delstream(std::cout);
    EXPECT_EQ(stdout_of([&] { man_.error("e", 0); }), "");
}

// ---- stream operators

TEST_F(UtMsgstr, StreamOperatorsWriteAsTheyAreInBothFlows)
{
    filed_stream file(files_, "stream");
    man_.addstream(first_);
    man_.addstream(*file);
    const std::string wide(200, 'w');
    for (const int flow : {0, 1}) {
        UT_MSGMAN::m_msgFlow = flow;
        first_.str("");
        EXPECT_EQ(stdout_of([&] {
                      man_ << "a %s" << 5 << 'c' << static_cast<short>(-3) << 7UL;
                      man_ << wide.c_str() << static_cast<const char*>(nullptr);
                  }),
                  "");
        EXPECT_EQ(first_.str(), "a %s5c-37" + wide);
        EXPECT_EQ(man_.getmsgtype(), UT_MSG_STATUS);
    }
    EXPECT_EQ(file.text(), "a %s5c-37" + wide + "a %s5c-37" + wide);
}

/// Counts its flushes.
class counting_buffer final : public std::stringbuf {
public:
    int flushes = 0;

private:
    int sync() override { return ++flushes, 0; }
};

TEST_F(UtMsgstr, AManipulatorEndsTheLineAndFlushesTheStreams)
{
    counting_buffer buffer;
    std::ostream counted(&buffer);
    man_.addstream(counted);
    EXPECT_EQ(&(man_ << "x" << std::ends), &man_);  // whichever it is: it is not called
    EXPECT_EQ(buffer.str(), "x\n");
    EXPECT_EQ(buffer.flushes, 1);
    man_.delstream(counted);
}

TEST_F(UtMsgstr, FlushReachesEveryStreamButTheSuspendedOnesAndNotTheConsole)
{
    filed_stream file(files_, "stream");
    man_.addstream(*file);
    man_ << "x";
    EXPECT_EQ(file_bytes(files_ / "stream"), "");
    file->push();
    man_.flush();
    EXPECT_EQ(file_bytes(files_ / "stream"), "");
    file->pop();
    man_.flush();
    EXPECT_EQ(file_bytes(files_ / "stream"), "x");
}

// ---- the lists

TEST_F(LegacyMsgstr, AStreamIsInTheListOfItsKindOnceButAUtStreamAsOftenAsItWasAdded)
{
    filed_stream file(files_, "stream");
    for (int i = 0; i < 2; ++i) {
        man_.addstream(first_);
        man_.addstream(*file);
    }
    man_.status("1", 0);
    EXPECT_EQ(first_.str(), "1\n");
    EXPECT_EQ(file.text(), "1\r\n1\r\n");
    man_.delstream(*file);
    man_.delstream(first_);
    man_.status("2", 0);
    EXPECT_EQ(first_.str(), "1\n");
    EXPECT_EQ(file.text(), "1\r\n1\r\n2\r\n");
    man_.delstream(*file);
    man_.delstream(*file);  // in silence
    man_.status("3", 0);
    EXPECT_EQ(file.text(), "1\r\n1\r\n2\r\n");
}

TEST_F(LegacyMsgstr, TakingAStreamOffClosesTheGap)
{
    std::vector<std::ostringstream> many(5);
    for (std::ostringstream& each : many) man_.addstream(each);
    man_.delstream(many[0]);
    man_.delstream(many[2]);
    man_.delstream(many[4]);
    man_.status("s", 0);
    const char* const expected[] = {"", "s\n", "", "s\n", ""};
    for (std::size_t i = 0; i < many.size(); ++i) EXPECT_EQ(many[i].str(), expected[i]) << i;
}

TEST_F(UtMsgstr, AnUnknownStreamIsReportedButChangesNothing)
{
    message_capture capture;
    man_.addstream(first_);
    man_.delstream(second_);
    ASSERT_EQ(capture.posts().size(), 2U);
    EXPECT_EQ(capture.posts()[0],
              (post{"", "128", "", "ERROR - Unable to delete requested message stream."}));
    EXPECT_THAT(capture.posts()[1].text, HasSubstr("INTERNAL CODE : ut:msgstr:119:1.6\nFor support"));
    EXPECT_TRUE(files_.debug_says("cannot locate caller provided ostream"));
    man_ << "still there";
    EXPECT_EQ(first_.str(), "still there");
}

TEST_F(LegacyMsgstr, AnUnknownStreamIsReportedByTheGlobalManager)
{
    man_.addstream(first_);
    ut_msgman = &man_;
    EXPECT_EQ(stderr_of([&] { man_.delstream(second_); }), "");
    EXPECT_THAT(first_.str(), HasSubstr("ERROR - Unable to delete requested message stream.\n"
                                        "INTERNAL CODE : ut:msgstr:119:1.6\n"));
}

TEST_F(LegacyMsgstr, SavedStatesNest)
{
    filed_stream file(files_, "stream");
    man_.addstream(first_);
    man_.addstream(*file);
    man_.saveStatus();
    man_.saveStatus();
    man_.status("1", 0);
    man_ << "2";
    man_.restoreStatus();
    man_.status("3", 0);
    EXPECT_EQ(file.text(), "");
    EXPECT_EQ(first_.str(), "1\n23\n");  // other streams are not suspended
    man_.restoreStatus();
    man_.status("4", 0);
    EXPECT_EQ(file.text(), "4\r\n");
}

TEST_F(LegacyMsgstr, TheStateOfAStreamIsKeptOncePerEntry)
{
    filed_stream twice(files_, "twice");
    filed_stream late(files_, "late");
    man_.addstream(*twice);
    man_.addstream(*twice);
    man_.saveStatus();
    EXPECT_EQ(twice->stackPos(), 2);
    man_.addstream(*late);
    man_.restoreStatus();
    EXPECT_EQ(twice->stackPos(), 0);
    EXPECT_EQ(late->stackPos(), -1);  // added in between, it is silent
    man_.status("s", 0);
    EXPECT_EQ(late.text(), "");
    EXPECT_EQ(twice.text(), "s\r\ns\r\n");
}

// ---- the database in charge

TEST_F(UtMsgstr, WithTheDatabaseInChargeEachStreamGetsAMessageOnceAndTheConsoleToo)
{
    filed_stream file(files_, "stream");
    man_.addstream(first_);
    man_.addstream(first_);
    man_.addstream(*file);
    const std::string words(100, 'w');
    EXPECT_EQ(stderr_of([&] { man_.error(words.c_str(), 0); }), "ERROR - " + words + "\n");
    EXPECT_EQ(first_.str(), "ERROR - " + words + "\n");  // a finished line is not folded
    EXPECT_EQ(file.text(), "ERROR - " + words + "\r\n");
    EXPECT_EQ(stderr_of([] { ut_error("catalogued"); }), "ERROR <1009990> - catalogued\n");
    EXPECT_THAT(first_.str(), HasSubstr("\nERROR <1009990> - catalogued\n"));
    man_.delstream(first_);
    man_.delstream(*file);
    EXPECT_EQ(given_by_the_database("ERROR - later"), "ERROR - later\n");
    EXPECT_THAT(first_.str(), Not(HasSubstr("later")));
    EXPECT_THAT(file.text(), Not(HasSubstr("later")));
}

TEST_F(UtMsgstr, ASuspendedStreamTakesNoMessagesOfTheDatabaseEither)
{
    filed_stream file(files_, "stream");
    man_.addstream(*file);
    man_.saveStatus();
    man_.saveStatus();
    man_.restoreStatus();
    stderr_of([&] { man_.error("1", 0), ut_error("2"); });
    EXPECT_EQ(file.text(), "");
    man_.restoreStatus();
    stderr_of([&] { man_.error("3", 0); });
    EXPECT_EQ(file.text(), "ERROR - 3\r\n");
}

TEST_F(UtMsgstr, StandardOutputIsTakenHereAndRefusedByTheDatabase)
{
    man_.addstream(std::cout);
    EXPECT_EQ(stdout_of([&] { man_.status("once", 0); }), "once\n");
    EXPECT_EQ(stdout_of([&] { man_ << "raw"; }), "raw");
    man_.delstream(std::cout);
}

TEST_F(UtMsgstr, ADestroyedManagerLeavesItsStreamsToTheDatabase)
{
    {
        UT_MSGSTR passing;
        passing.addstream(first_);
    }
    given_by_the_database("ERROR - later");
    EXPECT_EQ(first_.str(), "ERROR - later\n");
}

TEST_F(LegacyMsgstr, TheListsOfTheDatabaseAreKeptInThisFlowToo)
{
    man_.addstream(first_);
    EXPECT_EQ(given_by_the_database("ERROR - x"), "ERROR - x\n");
    EXPECT_EQ(first_.str(), "ERROR - x\n");
}

// ---- streams that misbehave

/// Does something at its first character.
class acting_buffer final : public std::streambuf {
public:
    explicit acting_buffer(void (*act)()) : act_(act) {}

private:
    int_type overflow(int_type character) override { return act_(), character; }
    std::streamsize xsputn(const char*, std::streamsize count) override { return act_(), count; }
    int sync() override { return act_(), 0; }

    void (*act_)();
};

TEST_F(LegacyMsgstr, AStreamThatThrowsIsPassedOver)
{
    acting_buffer buffer([] { throw std::runtime_error("full"); });
    std::ostream bad(&buffer);
    bad.exceptions(std::ios::badbit);
    man_.addstream(bad);
    man_.addstream(first_);
    man_.error("e", 0);
    man_ << "text" << std::endl;
    EXPECT_EQ(first_.str(), "ERROR - e\ntext\n");
}

TEST_F(LegacyMsgstr, WhatAStreamReportsWhileItIsServedGoesToTheConsole)
{
    acting_buffer buffer([] { ut_c_warning("stream"); });
    std::ostream reporting(&buffer);
    ut_msgman = &man_;
    man_.addstream(reporting);
    man_.addstream(first_);
    EXPECT_EQ(stderr_of([&] { man_ << "text"; }), "WARNING - stream\n");
    EXPECT_EQ(first_.str(), "text");
}

open_manager* the_manager = nullptr;
std::ostream* the_stream = nullptr;

TEST_F(LegacyMsgstr, AStreamMayTakeItselfOffWhileItIsServed)
{
    acting_buffer buffer([] { the_manager->delstream(*the_stream); });
    std::ostream leaving(&buffer);
    the_manager = &man_;
    the_stream = &leaving;
    man_.addstream(leaving);
    man_ << "text";
    man_.addstream(first_);
    man_ << "more";
    EXPECT_EQ(first_.str(), "more");
}

TEST_F(LegacyMsgstr, ManyStreamsMayBeAddedWhileOneIsServed)
{
    static std::vector<std::ostringstream> many(100);
    acting_buffer buffer([] {
        for (std::ostringstream& each : many) the_manager->addstream(each);
    });
    std::ostream adding(&buffer);
    the_manager = &man_;
    man_.addstream(adding);
    man_ << "text";
    for (const std::ostringstream& each : many) EXPECT_EQ(each.str(), "text");
    files_.restart();  // the database forgets them
}

TEST_F(UtMsgstr, AListThatIsFullBreaksTheContract)
{
    filed_stream file(files_, "stream");
    for (int i = 0; i < 32'767; ++i) man_.addstream(*file);
    message_capture capture;
    EXPECT_THROW(man_.addstream(*file), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "msgstr", "Too many message streams."}));
    files_.restart();
}

}  // namespace
