// tests/msgman_test.cpp
#include "msgman.h"

#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "basutstr.h"
#include "child_process.h"
#include "message_capture.h"
#include "message_files.h"
#include "scoped_environment.h"
#include "scoped_operations.h"

namespace {

/// A manager whose protected operations a test may call, as a derived class of a tool would.
class open_manager : public UT_MSGMAN {
public:
    using UT_MSGMAN::debug;
    using UT_MSGMAN::setmodname;
    using UT_MSGMAN::setpkgname;
    using UT_MSGMAN::setrcsrev;
    using UT_MSGMAN::write;

    std::vector<std::string> folded(const char* text)
    {
        short count = 0;
        char** lines = format(text, &count);
        std::vector<std::string> result(lines, lines + count);
        ut_strdelstrings(lines, count);
        return result;
    }
};

/// Writes to the console by itself for the time of a test.
class LegacyMessages : public testing::Test {
protected:
    LegacyMessages() { capture.use_legacy_flow(); }
    message_capture capture;  // also keeps a fatal message from ending the test
    open_manager man;
};

constexpr const char* k_support = "For support, contact Velmora Semiconductor technical support at "
                                  "1-800-555-0142, or +1-503-555-0143, or techsupport@velmora.example.";

// ---- construction and fields

TEST(UtMsgman, StartsWithItsDocumentedFields)
{
    const open_manager man;
    EXPECT_EQ(man.getpkgname(), nullptr);
    EXPECT_EQ(man.getprogname(), nullptr);
    EXPECT_EQ(man.getmodname(), nullptr);
    EXPECT_EQ(man.getrcsrev(), nullptr);
    EXPECT_EQ(man.getlinenbr(), -1);
    EXPECT_EQ(man.getexitval(), -1);
    EXPECT_EQ(man.getdata(), 0);
    EXPECT_EQ(man.getmaxlinewidth(), 76);
    EXPECT_EQ(man.getclean(), 1);
    EXPECT_EQ(man.getabortflag(), 0);
    EXPECT_EQ(man.getSuppressFlag(), 0);
    EXPECT_EQ(man.get_write_to_buf(), 0);
    EXPECT_EQ(man.get_num_errors(), 0);
    EXPECT_EQ(man.get_num_warnings(), 0);
    EXPECT_EQ(man.get_print_buffer(), "");
}

TEST(UtMsgman, SettersStoreTheirFields)
{
    UT_MSGMAN man;
    man.setmsgtype(UT_MSG_INFO);
    man.setlinenbr(12);
    man.setexitval(3);
    man.setdata(0x1'0000'0005L);
    man.setclean(0);
    man.setabortflag(1);
    man.setmaxlinewidth(40);
    man.set_write_to_buf(1);
    EXPECT_EQ(man.getmsgtype(), UT_MSG_INFO);
    EXPECT_EQ(man.getlinenbr(), 12);
    EXPECT_EQ(man.getexitval(), 3);
    EXPECT_EQ(man.getdata(), 5);  // the field has 32 bits
    EXPECT_EQ(man.getclean(), 0);
    EXPECT_EQ(man.getabortflag(), 1);
    EXPECT_EQ(man.getmaxlinewidth(), 40);
    EXPECT_EQ(man.get_write_to_buf(), 1);
}

TEST(UtMsgman, TheEnvironmentRaisesTheWidthAndNeverLowersIt)
{
    const struct {
        const char* value;
        short width;
    } rows[] = {{"76", 76}, {"75", 76},   {"77", 77},       {"", 76},        {"x", 76},
                {"-5", 76}, {"200", 200}, {"32767", 32767}, {"99999", 32767}};
    for (const auto& row : rows) {
        const scoped_environment set("QVS_MSG_WIDTH", row.value);
        EXPECT_EQ(UT_MSGMAN().getmaxlinewidth(), row.width) << row.value;
    }
}

TEST(UtMsgman, EveryConstructionTakesTheFlowFromTheEnvironment)
{
    const message_capture restores_the_flow;
    const struct {
        const char* value;
        int flow;
    } rows[] = {{"0", 0}, {"1", 1}, {"2", 2}, {"", 0}, {"abc", 0}};
    for (const auto& row : rows) {
        const scoped_environment set("QVS_M_MSGFLOW", row.value);
        UT_MSGMAN::m_msgFlow = 7;
        const UT_MSGMAN man;
        EXPECT_EQ(UT_MSGMAN::m_msgFlow, row.flow) << row.value;
    }
    const scoped_environment unset("QVS_M_MSGFLOW", nullptr);
    UT_MSGMAN::m_msgFlow = 7;
    const UT_MSGMAN man;
    EXPECT_EQ(UT_MSGMAN::m_msgFlow, 7);
}

TEST(UtMsgman, ProgramNameIsCopiedAndNullTakesItAway)
{
    UT_MSGMAN man;
    std::string name = "par";
    man.setprogname(name.c_str());
    name = "xxx";
    EXPECT_STREQ(man.getprogname(), "par");
    man.setprogname(man.getprogname());  // its own old value is a lawful argument
    EXPECT_STREQ(man.getprogname(), "par");
    man.setprogname(nullptr);
    EXPECT_EQ(man.getprogname(), nullptr);
}

TEST(UtMsgman, TagsAreUnmaskedAndNullCountsAsEmpty)
{
    open_manager man;
    man.setpkgname(nullptr);
    EXPECT_STREQ(man.getpkgname(), "");
    std::string masked = "secret";
    ut_strencode(masked.data());
    man.setmodname(masked.c_str());
    EXPECT_STREQ(man.getmodname(), "secret");
    man.setpkgname("plain");
    man.setpkgname(man.getpkgname());
    EXPECT_STREQ(man.getpkgname(), "plain");
}

TEST(UtMsgman, RevisionIsCutToItsNumber)
{
    const struct {
        const char* text;
        const char* kept;
    } rows[] = {
        {"$Revision: 1.6 $", "1.6"},
        {"$Revision:   1.7 $", "1.7"},
        {"$Revision: $", "$"},
        {"$Revision: ", "0.0"},
        {"$Revision:   ", "0.0"},
        {"$Revision:", "0.0"},
        {"$Revision:1.6$", "0.0"},
        {"$Revision", "$Revision"},
        {"1.2", "1.2"},
        {"", ""},
        {nullptr, ""},
        {"$Revision: \"1 2\" $", "\"1"},
        {"$Revision: 1.6\t$ x", "1.6\t$"},
    };
    open_manager man;
    for (const auto& row : rows) {
        man.setrcsrev(row.text);
        EXPECT_STREQ(man.getrcsrev(), row.kept) << (row.text != nullptr ? row.text : "null");
    }
}

TEST(UtMsgman, ACopySharesTheStringsAndOwnsItsPrintBuffer)
{
    const message_capture restores;
    auto* source = new UT_MSGMAN;
    source->setprogname("par");
    source->error("one", 0);
    auto* copy = new UT_MSGMAN(*source);  // never destroyed: only one of the two may be
    EXPECT_EQ(copy->getprogname(), source->getprogname());
    source->error("two", 0);
    EXPECT_EQ(copy->get_print_buffer(), "ERROR: one\n");
    EXPECT_EQ(copy->get_num_errors(), 1);
    static UT_MSGMAN* reachable = nullptr;
    reachable = copy;
    delete source;
    EXPECT_NE(reachable, nullptr);
}

// ---- the line: label, program name, stream

TEST_F(LegacyMessages, EachTypeHasItsLabelAndItsStream)
{
    struct row {
        void (open_manager::*member)(const char*, long);
        const char* plain;
        const char* named;
        bool on_stdout;
    };
    const row rows[] = {
        {&open_manager::error, "ERROR - x\n", "ERROR - par: x\n", false},
        {&open_manager::warning, "WARNING - x\n", "WARNING - par: x\n", false},
        {&open_manager::status, "x\n", "x\n", true},
        {&open_manager::debug, "DEBUG - x\n", "DEBUG - par: x\n", true},
        {&open_manager::info, "INFO - x\n", "INFO - par: x\n", false},
    };
    for (const row& each : rows) {
        for (const char* name : {static_cast<const char*>(nullptr), "par"}) {
            man.setprogname(name);
            std::string err;
            const std::string out = stdout_of([&] { err = stderr_of([&] { (man.*each.member)("x", 5); }); });
            const std::string line = name != nullptr ? each.named : each.plain;
            EXPECT_EQ(out, each.on_stdout ? line : "");
            EXPECT_EQ(err, each.on_stdout ? "" : line);
            EXPECT_EQ(man.getdata(), 5);
            EXPECT_EQ(man.getlinenbr(), -1);
            EXPECT_STREQ(man.getrcsrev(), "");
        }
    }
}

TEST_F(LegacyMessages, AnEmptyProgramNameStillShowsItsColon)
{
    man.setprogname("");
    EXPECT_EQ(stderr_of([&] { man.error("text", 0); }), "ERROR - : text\n");
}

TEST_F(LegacyMessages, InternalMessageNamesTheSiteAndReturns)
{
    const std::string err =
        stderr_of([&] { man.internal("broken", "pkg", "mod", 17, "$Revision: 1.6 $", 3); });
    EXPECT_EQ(err.substr(0, err.find("For")),
              "ERROR - broken\nINTERNAL CODE : pkg:mod:17:1.6\n                ");
    std::string support = err.substr(err.find("For"));
    for (std::size_t at; (at = support.find("\n                ")) != std::string::npos;)
        support.replace(at, 17, " ");
    EXPECT_EQ(support, std::string(k_support) + "\n");
    EXPECT_EQ(man.getmsgtype(), UT_MSG_INTERNAL);
    EXPECT_EQ(man.getclean(), 1);
    EXPECT_EQ(man.getdata(), 3);
}

TEST_F(LegacyMessages, FatalMessageEndsWithItsExitValue)
{
    std::string err;
    int value = 0;
    err = stderr_of(
        [&] { value = capture.exit_value_of([&] { man.fatal("dead", "p", "m", 1, "1.2", 42, 0); }); });
    EXPECT_EQ(value, 42);
    EXPECT_EQ(err.substr(0, err.find("For")), "ERROR - dead\nINTERNAL CODE : p:m:1:1.2\n                ");
}

TEST_F(LegacyMessages, TheAbortFlagMakesAnyMessageTheLast)
{
    man.setabortflag(1);
    man.setexitval(7);
    EXPECT_EQ(capture.exit_value_of([&] { stdout_of([&] { man.status("bye", 0); }); }), 7);
    testing::internal::GetCapturedStdout();
}

TEST_F(LegacyMessages, NullTextChangesNothing)
{
    man.setmsgtype(UT_MSG_INFO);
    man.setlinenbr(4);
    man.error(nullptr, 9);
    man.warning(nullptr, 9);
    man.message(UT_MSG_FATAL, nullptr, "p", "m", 1, "r", 9);
    EXPECT_EQ(man.getmsgtype(), UT_MSG_INFO);
    EXPECT_EQ(man.getlinenbr(), 4);
    EXPECT_EQ(man.getdata(), 0);
    EXPECT_EQ(man.get_num_errors(), 0);
    EXPECT_EQ(man.get_num_warnings(), 0);
    EXPECT_EQ(man.get_print_buffer(), "");
}

TEST_F(LegacyMessages, AnUnknownTypeIsReportedAsAnInternalMessage)
{
    const std::string err = stderr_of(
        [&] { man.message(static_cast<UT_MSGTYPE>(9), "hm", "pk", "mo", 3, "$Revision: 2.5 $", 0); });
    EXPECT_EQ(err.substr(0, err.find("For")), "ERROR - Unknown msg type '9' received for msg 'hm'.\n"
                                              "INTERNAL CODE : ut:mo:432:2.5\n                ");
    EXPECT_EQ(man.getmsgtype(), UT_MSG_INTERNAL);
}

TEST_F(LegacyMessages, TheLineNumberIsAShort)
{
    const std::string err =
        stderr_of([&] { man.internal("x", "p", "m", static_cast<short>(65535), "r", 0); });
    EXPECT_NE(err.find("INTERNAL CODE : p:m:-1:r\n"), std::string::npos);
}

TEST_F(LegacyMessages, TheTextMayBeAFieldOfTheManager)
{
    stderr_of([&] { man.internal("x", "pkg", "the module", 1, "rev", 0); });
    EXPECT_EQ(stderr_of([&] {
                  man.message(UT_MSG_INFO, man.getmodname(), man.getmodname(), man.getpkgname(), 1,
                              man.getrcsrev(), 0);
              }),
              "INFO - the module\n");
    EXPECT_STREQ(man.getpkgname(), "the module");
    EXPECT_STREQ(man.getmodname(), "pkg");
    EXPECT_STREQ(man.getrcsrev(), "rev");
}

TEST_F(LegacyMessages, TextIsNeverAFormat)
{
    EXPECT_EQ(stderr_of([&] { man.error("%n %s 100%", 0); }), "ERROR - %n %s 100%\n");
    EXPECT_EQ(stdout_of([&] { man.status("%n %s 100%", 0); }), "%n %s 100%\n");
    EXPECT_EQ(stdout_of([&] { man << "%n %s 100%"; }), "%n %s 100%");
    EXPECT_NE(
        stderr_of([&] { man.internal("%n", "%s", "%d", 1, "%x", 0); }).find("INTERNAL CODE : %s:%d:1:%x\n"),
        std::string::npos);
    EXPECT_NE(stderr_of([&] {
                  man.message(static_cast<UT_MSGTYPE>(-1), "%n %s", "", "", 1, "", 0);
              }).find("for msg '%n %s'."),
              std::string::npos);
    EXPECT_EQ(man.get_print_buffer(), "ERROR: %n %s 100%\n");
}

// ---- counting

TEST_F(LegacyMessages, ErrorsAndWarningsAreCountedAndKept)
{
    stderr_of([&] {
        man.error("one", 0);
        man.error("two\n", 0);
        man.error("", 0);
        man.warning("three", 0);
        man.info("not kept", 0);
        man.internal("not kept either", "", "", 1, "", 0);
    });
    EXPECT_EQ(man.get_num_errors(), 3);
    EXPECT_EQ(man.get_num_warnings(), 1);
    EXPECT_EQ(man.get_print_buffer(), "ERROR: one\nERROR: two\nERROR: WARNING: three\n");
}

// ---- the fold

TEST_F(LegacyMessages, ALongLineIsFoldedBehindItsLabel)
{
    std::string words;
    for (int i = 0; i < 60; ++i) words += "word ";  // 300 characters
    const auto lines = [&](const char* text) {
        man.setmsgtype(UT_MSG_WARNING);
        return man.folded(text);
    };
    const auto folded = lines(("WARNING - " + words).c_str());
    ASSERT_GT(folded.size(), 4U);
    for (const std::string& line : folded) EXPECT_LE(line.size(), 76U);
    EXPECT_EQ(folded[0].substr(0, 14), "WARNING - word");
    for (std::size_t i = 1; i < folded.size(); ++i) {
        EXPECT_EQ(folded[i].substr(0, 10), std::string(10, ' '));
    }
    EXPECT_EQ(lines(("ERROR - " + words).c_str())[1].substr(0, 9), "        w");
}

TEST_F(LegacyMessages, TheIndentFollowsTheFirstHyphenOrColon)
{
    const std::string tail(90, 'y');
    const struct {
        const char* head;
        std::size_t indent;
    } rows[] = {{"ab: ", 4}, {"ab - c: ", 5}, {"a: b - ", 3}, {"abc ", 3}, {"-", 2}, {":", 2}};
    man.setmsgtype(UT_MSG_INFO);
    for (const auto& row : rows) {
        const auto lines = man.folded((row.head + tail + " " + tail).c_str());
        ASSERT_GT(lines.size(), 1U);
        EXPECT_EQ(lines.back().find_first_not_of(' '), row.indent) << row.head;
    }
}

TEST_F(LegacyMessages, StatusTextHasNoIndent)
{
    man.setmsgtype(UT_MSG_STATUS);
    const auto lines = man.folded((std::string("a: ") + std::string(70, 'x') + " tail").c_str());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], "tail");
}

TEST_F(LegacyMessages, CleaningTurnsLineFeedsIntoBlanks)
{
    EXPECT_EQ(stderr_of([&] { man.error("x\n", 0); }), "ERROR - x \n");
    EXPECT_EQ(stdout_of([&] { man.status("a\nb\tc", 0); }), "a b c\n");
    EXPECT_EQ(stdout_of([&] { man.status("", 0); }), "\n");
}

TEST_F(LegacyMessages, WithoutCleaningOneFinalLineFeedGoesAndOthersBreakLines)
{
    man.setclean(0);
    EXPECT_EQ(stdout_of([&] { man.status("a\nb\n", 0); }), "a\nb\n");
    EXPECT_EQ(stdout_of([&] { man.status("a\n\n", 0); }), "a\n\n");
    EXPECT_EQ(stderr_of([&] { man.error("a\nb", 0); }), "ERROR - a\n        b\n");
    EXPECT_EQ(stdout_of([&] { man.status("", 0); }), "\n");
}

// ---- suppression

TEST_F(LegacyMessages, TheSuppressFlagDropsConsoleOutputAndSwitchesTheDatabase)
{
    man.setSuppressFlag(1);
    EXPECT_EQ(man.getSuppressFlag(), 1);
    EXPECT_EQ(stderr_of([&] { man.error("x", 0); }), "");
    EXPECT_EQ(stdout_of([&] { man << "x" << 5 << std::endl; }), "");
    EXPECT_EQ(man.get_num_errors(), 1);
    man.setSuppressFlag(2);
    EXPECT_EQ(stderr_of([&] { man.error("x", 0); }), "");  // any flag but 0 drops
    man.setSuppressFlag(0);
    EXPECT_EQ(stderr_of([&] { man.error("x", 0); }), "ERROR - x\n");
    EXPECT_EQ(capture.type_switches(),
              (std::vector<std::pair<int, bool>>{{511, false}, {511, true}, {511, true}}));
}

// ---- stream operators

TEST_F(LegacyMessages, StreamOperatorsWriteAsTheyAreAndEndNoLine)
{
    const std::string out = stdout_of([&] {
        man << "a" << 5 << std::endl;
        man << short{-3} << ' ' << static_cast<unsigned short>(65535) << ' ' << 7U << ' ' << -8L << ' ' << 9UL
            << ' ' << ut_uint64{18446744073709551615U} << ' ' << static_cast<unsigned char>('c') << '\0'
            << "|" << reinterpret_cast<void*>(std::uintptr_t{0xabc}) << std::flush;
    });
    EXPECT_EQ(out, "a5\n-3 65535 7 -8 9 18446744073709551615 c|abc\n");  // each manipulator ends the line
    EXPECT_EQ(man.getmsgtype(), UT_MSG_STATUS);
}

TEST_F(LegacyMessages, LongValuesArePrintedWhole)
{
    EXPECT_EQ(stdout_of([&] {
                  man << 5'000'000'000L << ' ' << 18446744073709551615UL << ' '
                      << std::numeric_limits<long>::min();
              }),
              "5000000000 18446744073709551615 -9223372036854775808");
    EXPECT_EQ(stdout_of([&] { man << reinterpret_cast<void*>(~std::uintptr_t{0}); }), "ffffffffffffffff");
    EXPECT_EQ(stdout_of([&] { man << static_cast<const char*>(nullptr); }), "");
}

TEST(UtMsgman, StreamTextGoesToTheConsoleWithTheDatabaseInChargeToo)
{
    const message_capture capture;
    UT_MSGMAN man;
    const std::string wide(300, 'w');
    EXPECT_EQ(stdout_of([&] { man << wide.c_str() << std::endl; }), wide + "\n");
    EXPECT_TRUE(capture.posts().empty());
}

// ---- the database in charge

TEST(UtMsgman, FinishedLinesGoToTheDatabaseWithTheirSeverity)
{
    message_capture capture;
    open_manager man;
    man.setprogname("par");
    const std::string shown = stderr_of([&] {
        man.error("e\n", 0);
        man.warning("w", 0);
        man.status("s", 0);
        man.debug("d", 0);
        man.info("i", 0);
        man.internal("x", "p", "m", 2, "1.1", 0);
    });
    EXPECT_EQ(shown, "");
    const std::vector<post> expected{
        {"", "32", "", "ERROR - par: e\n"},  // neither cleaned nor folded
        {"", "4", "", "WARNING - par: w"},
        {"", "16", "", "s"},
        {"", "256", "", "DEBUG - par: d"},
        {"", "8", "", "INFO - par: i"},
        {"", "128", "", "ERROR - par: x"},
        {"", "128", "", std::string("INTERNAL CODE : p:m:2:1.1\n") + k_support},
    };
    EXPECT_EQ(capture.posts(), expected);
    EXPECT_EQ(man.get_num_errors(), 1);
    EXPECT_EQ(man.get_print_buffer(), "ERROR: e\nWARNING: w\n");
    capture.clear();
    EXPECT_EQ(capture.exit_value_of([&] { man.fatal("f", "p", "m", 2, "1.1", 91, 0); }), 91);
    EXPECT_EQ(capture.posts().front(), (post{"", "64", "", "ERROR - par: f"}));
}

TEST(UtMsgman, TheSuppressFlagDoesNotHoldBackWhatGoesToTheDatabase)
{
    message_capture capture;
    UT_MSGMAN man;
    man.setSuppressFlag(1);
    man.status("s", 0);
    EXPECT_EQ(capture.last(), (post{"", "16", "", "s"}));
}

TEST(UtMsgman, WithoutADatabaseTheConsoleIsUsedInBothFlows)
{
    const message_capture restores;
    ketriope::install_database(nullptr);
    UT_MSGMAN man;
    EXPECT_EQ(stderr_of([&] { man.error("x", 0); }), "ERROR - x\n");
}

/// A database that refuses a finished line, as one without its catalogue refuses a post.
class refusing_database final : public ketriope::message_database {
public:
    void post_contract(const char*, int, const char*) override { throw -1; }
    void post_numbered(const char*, const char*, ut_va_list) override { throw -1; }
    void post_text(const char*, const char*) override { throw -1; }
    void post_finished(int, const char*) override { throw -1; }
    void show_types(int, bool) override {}
};

TEST(UtMsgman, AThrowOutOfTheDatabaseLeavesTheCleanFlagAsItWas)
{
    const message_capture restores;
    refusing_database refusing;
    ketriope::install_database(&refusing);
    UT_MSGMAN man;
    EXPECT_THROW(man.internal("x", "p", "m", 1, "r", 0), int);
    EXPECT_EQ(man.getclean(), 1);
    EXPECT_THROW(ut_error("x"), int);
    EXPECT_THROW(ut_userfatal("x", 5), int);
    EXPECT_EQ(ut_msgman->getexitval(), -1);  // the value is stored behind the post
}

// ---- the database itself in charge

class MessagesToTheDatabase : public testing::Test {
protected:
    MessagesToTheDatabase() { UT_MSGMAN::m_msgFlow = 1; }
    ~MessagesToTheDatabase() override { ut_msgman->setprogname(nullptr); }

    std::vector<int> posts()
    {
        std::vector<int> sids;
        msgManager().retrieveAllMsgPosted(sids);
        return sids;
    }

    message_files files_;
    open_manager man_;
};

TEST_F(MessagesToTheDatabase, FreeTextAndACataloguedPostAreTwoThings)
{
    const int errors = ut_msgman->get_num_errors();
    ut_msgman->setmsgtype(UT_MSG_INFO);
    EXPECT_EQ(stderr_of([] { ut_error("x"); }), "ERROR <1009990> - x\n");
    EXPECT_EQ(ut_msgman->get_num_errors(), errors);
    EXPECT_EQ(ut_msgman->getmsgtype(), UT_MSG_INFO);
    EXPECT_EQ(stderr_of([] { ut_c_error("x"); }), "ERROR - x\n");
    EXPECT_EQ(ut_msgman->get_num_errors(), errors + 1);
    EXPECT_EQ(ut_msgman->getmsgtype(), UT_MSG_ERROR);

    // Catalogued warnings and informations go to standard output, finished lines to standard error.
    EXPECT_EQ(stdout_of([] { ut_warning("w"), ut_info("i"); }),
              "WARNING <1009991> - w\nINFO <1009992> - i\n");
    EXPECT_EQ(stderr_of([] { ut_c_warning("w"), ut_msgman->info("i", 0); }), "WARNING - w\nINFO - i\n");
    EXPECT_EQ(stderr_of([&] { man_.debug("d", 0); }), "DEBUG - d\n");
    EXPECT_EQ(stdout_of([] { ut_status("s"), ut_c_status("s"); }), "s\ns\n");
}

TEST_F(MessagesToTheDatabase, TheAbortFlagCountsForFinishedLinesAlone)
{
    scoped_operations os;
    os.table.end_process = [](int value) { throw value; };
    ut_msgman->setabortflag(1);
    EXPECT_EQ(stderr_of([] { ut_error("x"); }), "ERROR <1009990> - x\n");
    EXPECT_EQ(stderr_of([] { EXPECT_THROW(ut_c_error("x"), int); }), "ERROR - x\n");
    ut_msgman->setabortflag(0);
}

TEST_F(MessagesToTheDatabase, AReportAboutTheProgramIsTwoPosts)
{
    const std::string wide(200, 'w');
    const std::string text = stderr_of([&] { man_.internal((wide + '\n').c_str(), "p", "m", 2, "1.1", 0); });
    EXPECT_EQ(text, "ERROR - " + wide + "\n\nINTERNAL CODE : p:m:2:1.1\n" + k_support + "\n");
    EXPECT_EQ(posts().size(), 2U);
    EXPECT_TRUE(files_.debug_says("unexpected message type"));  // the second has no label
    std::string kept;
    msgManager().retrieveMsgString(1, kept);
    EXPECT_EQ(kept, "ERROR <1009990> - " + wide + "\n");
    msgManager().retrieveMsgString(2, kept);
    EXPECT_EQ(kept, std::string("ERROR <1009990> - INTERNAL CODE : p:m:2:1.1\n") + k_support);
    EXPECT_EQ(man_.getclean(), 1);
}

TEST_F(MessagesToTheDatabase, TheProgramNameStandsBehindTheLabelUnlessItIsEmpty)
{
    ut_msgman->setprogname("par");
    EXPECT_EQ(stderr_of([] { ut_error("x"), ut_c_error("x"); }),
              "ERROR <1009990> - par: x\nERROR - par: x\n");
    ut_msgman->setprogname("");
    EXPECT_EQ(stderr_of([] { ut_error("x"), ut_c_error("x"); }), "ERROR <1009990> - x\nERROR - : x\n");
}

TEST_F(MessagesToTheDatabase, TheSuppressFlagHoldsBackCataloguedPostsAlone)
{
    ut_msgman->setSuppressFlag(1);
    EXPECT_EQ(stderr_of([] { ut_error("x"), ut_c_error("x"); }), "ERROR - x\n");
    EXPECT_EQ(stdout_of([] { ut_warning("x"), ut_status("s"), *ut_msgman << "t"; }), "s\n");
    EXPECT_EQ(msgCache::g_ErrorPrint, 0);
    ut_msgman->setSuppressFlag(2);
    EXPECT_EQ(stderr_of([] { ut_error("x"); }), "ERROR <1009990> - x\n");
    EXPECT_EQ(msgCache::g_ErrorPrint, 1);  // switched on, and not back to the default
    ut_msgman->setSuppressFlag(0);
}

/// What a report throws; 0 for nothing.
int thrown_by(void (*report)(const char*))
{
    try {
        report("x");
    } catch (int code) {
        return code;
    }
    return 0;
}

TEST_F(MessagesToTheDatabase, WithoutAnIndexFreeTextThrows)
{
    files_.remove("msgindex.xml");
    for (void (*report)(const char*) : {ut_error, ut_warning, ut_info}) EXPECT_EQ(thrown_by(report), -1);
    const int value = ut_msgman->getexitval();
    EXPECT_EQ(thrown_by([](const char* text) { ut_userfatal(text, 5); }), -1);
    EXPECT_EQ(ut_msgman->getexitval(), value);
    files_.index({{"common", "100"}});
    EXPECT_EQ(thrown_by(ut_error), -1);  // the place where it was looked for is remembered
}

TEST_F(MessagesToTheDatabase, WithoutAnIndexFinishedLinesPass)
{
    files_.remove("msgindex.xml");
    EXPECT_EQ(stderr_of([] { ut_c_error("x"), ut_c_warning("x"); }), "ERROR - x\nWARNING - x\n");
    EXPECT_EQ(stdout_of([] { ut_status("x"); }), "x\n");
}

// ---- free functions

TEST(UtMsgman, FreeFunctionsPostUnderTheNumbersKeptForThem)
{
    message_capture capture;
    ut_error("e");
    ut_warning("w");
    ut_info("i");
    ut_status("s");
    const std::vector<post> expected{
        {"", "1009990", "", "e"}, {"", "1009991", "", "w"}, {"", "1009992", "", "i"}, {"", "16", "", "s"}};
    EXPECT_EQ(capture.posts(), expected);
    EXPECT_EQ(ut_msgman->get_num_errors(), 0);  // only the member counts
}

TEST(UtMsgman, FreeFunctionsGoThroughTheGlobalManagerOtherwise)
{
    message_capture capture;
    capture.use_legacy_flow();
    UT_MSGMAN mine;
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = &mine;
    const std::string err = stderr_of([&] {
        ut_error("e");
        ut_warning("w");
        ut_info("i");
        ut_guimsg("g");
        ut_c_warning("cw");
        ut_c_error("ce");
        ut_c_debugfn();
    });
    const std::string out = stdout_of([&] {
        ut_status("s");
        ut_c_status("cs");
    });
    ut_msgman = nullptr;
    ut_error("nobody");
    ut_warning("nobody");
    ut_info("nobody");
    ut_msgman = before;
    EXPECT_EQ(err, "ERROR - e\nWARNING - w\nINFO - i\nWARNING - cw\nERROR - ce\n");
    EXPECT_EQ(out, "s\ncs\n");
    EXPECT_EQ(mine.get_num_errors(), 2);
    EXPECT_EQ(mine.get_num_warnings(), 2);
}

TEST(UtMsgman, DirectFreeFunctionsCallTheMembersInBothFlows)
{
    message_capture capture;
    UT_MSGMAN mine;
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = &mine;
    ut_c_error("e");
    ut_c_warning("w");
    ut_c_status("s");
    const int value = capture.exit_value_of([] { ut_c_userfatal("u"); });
    ut_msgman = before;
    EXPECT_EQ(value, -1);
    EXPECT_EQ(mine.get_num_errors(), 2);
    const std::vector<post> expected{{"", "32", "", "ERROR - e"},
                                     {"", "4", "", "WARNING - w"},
                                     {"", "16", "", "s"},
                                     {"", "32", "", "ERROR - u"}};
    EXPECT_EQ(capture.posts(), expected);
}

TEST(UtMsgman, UserFatalStoresItsValueAndLeavesTheAbortFlag)
{
    message_capture capture;
    UT_MSGMAN mine;
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = &mine;
    EXPECT_EQ(capture.exit_value_of([] { ut_userfatal("u", 5); }), 5);
    EXPECT_EQ(mine.getabortflag(), 0);
    EXPECT_EQ(mine.getexitval(), 5);
    EXPECT_EQ(capture.exit_value_of([] { ut_userfatal("v"); }), 5);
    EXPECT_EQ(mine.getabortflag(), 1);
    ut_msgman = before;
}

TEST(UtMsgman, AbortReturnsWhereTheEnvironmentSaysSo)
{
    message_capture capture;
    UT_MSGMAN mine;
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = &mine;
    {
        const scoped_environment set("QVS_MSG_ABORT_RETURN", "");
        EXPECT_EQ(capture.exit_value_of([] { ut_userfatal("u", 5); }), -999);
        EXPECT_EQ(capture.exit_value_of([] { ut_c_userfatal("u"); }), -999);
        EXPECT_EQ(capture.exit_value_of([] { ut_userfatal("u"); }), -999);  // a post looks at no abort flag
        EXPECT_EQ(capture.exit_value_of([&] { mine.fatal("f", "", "", 1, "", 6, 0); }), 6);  // this one ends
        capture.use_legacy_flow();
        mine.setabortflag(0);
        EXPECT_EQ(capture.exit_value_of([] { stderr_of([] { ut_userfatal("u"); }); }), 6);
        testing::internal::GetCapturedStderr();
        const scoped_environment core("QVS_MSG_ABORT_CORE", "1");
        EXPECT_EQ(capture.exit_value_of([&] { mine.abort(); }), -134);  // the core image wins
    }
    ut_msgman = before;
}

TEST(UtMsgman, TheDialogIsAskedForUnlessItIsSwitchedOff)
{
    static int dialogs;
    static std::string shown;
    dialogs = 0;
    message_capture capture;
    auto table = ketriope::platform::os();
    table.show_dialog = [](const char* title, const char* text) {
        ++dialogs;
        shown = std::string(title) + "|" + text;
        return true;
    };
    ketriope::platform::use_operations(&table);
    UT_MSGMAN man;
    capture.exit_value_of([&] { man.fatal("f", "p", "m", 2, "1.1", 1, 0); });
    EXPECT_EQ(dialogs, 1);
    EXPECT_EQ(shown,
              std::string("Velmora Semiconductor|ERROR - f\nINTERNAL CODE : p:m:2:1.1\n\n") + k_support);
    const scoped_environment set("QVS_MSG_NO_DIALOG", "");
    capture.exit_value_of([&] { man.fatal("f", "p", "m", 2, "1.1", 1, 0); });
    EXPECT_EQ(dialogs, 1);
}

TEST(UtMsgman, MemoryFiguresAreShownInUnitsOf2To20Bytes)
{
    message_capture capture;
    auto table = ketriope::platform::os();
    table.process_memory = [] { return ketriope::platform::memory_use{3U << 20, 7U << 19}; };
    ketriope::platform::use_operations(&table);
    EXPECT_EQ(stdout_of([] { ut_report_memory_usage(); }),
              "Current memory 3.000 Mbytes/peak memory 3.500 Mbytes\n");
    UT_MSGMAN man;
    const auto fatal = [&] { capture.exit_value_of([&] { man.fatal("f", "", "", 1, "", 1, 0); }); };
    const auto user_fatal = [&] { capture.exit_value_of([&] { ut_userfatal("f", 1); }); };
    {
        const scoped_environment unset("INTERNAL_MEMUSAGE", nullptr);
        EXPECT_EQ(stdout_of(fatal), "");
        EXPECT_EQ(stdout_of(user_fatal), "");
    }
    const scoped_environment set("INTERNAL_MEMUSAGE", "");
    EXPECT_EQ(stdout_of(fatal), "PAR peak memory usage before fatal exit: 3.500 Mbytes.\n");
    EXPECT_EQ(stdout_of(user_fatal), "PAR peak memory usage before user fatal exit: 3.500 Mbytes.\n");
    ut_msgman->setexitval(-1);
}

// ---- whole processes

child_result run_scenario(const char* scenario, const child_environment& changes = {})
{
    return run_child(child_program("msgman_child"), {scenario}, changes);
}

TEST(UtMsgmanProcess, LegacyErrorGoesToStandardError)
{
    const auto result = run_scenario("error", {{"QVS_M_MSGFLOW", "0"}});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "ERROR - x\n");
    EXPECT_EQ(result.out, "");
}

TEST(UtMsgmanProcess, AFatalMessageGivesItsExitStatus)
{
    const auto result = run_scenario("fatal", {{"QVS_M_MSGFLOW", "0"}});
    EXPECT_EQ(result.exit_status, 42);
    EXPECT_EQ(result.err.substr(0, 13), "ERROR - dead\n");
}

TEST(UtMsgmanProcess, AnExitValueThatWasNeverSetReadsAs255)
{
    EXPECT_EQ(run_scenario("userfatal", {{"QVS_M_MSGFLOW", "0"}}).exit_status, 255);
    EXPECT_EQ(run_scenario("c_userfatal", {{"QVS_M_MSGFLOW", "0"}}).exit_status, 255);
    EXPECT_EQ(run_scenario("userfatal5", {{"QVS_M_MSGFLOW", "0"}}).exit_status, 5);
}

TEST(UtMsgmanProcess, TheCoreSwitchEndsByASignalAndWinsOverTheOther)
{
    const auto result = run_scenario(
        "userfatal5", {{"QVS_M_MSGFLOW", "0"}, {"QVS_MSG_ABORT_CORE", ""}, {"QVS_MSG_ABORT_RETURN", ""}});
    EXPECT_EQ(result.signal, 6);
    EXPECT_EQ(result.err, "ERROR - u\n");
}

TEST(UtMsgmanProcess, TheReturnSwitchGivesControlBack)
{
    const auto result = run_scenario("userfatal5", {{"QVS_M_MSGFLOW", "0"}, {"QVS_MSG_ABORT_RETURN", "1"}});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "back\n");
}

TEST(UtMsgmanProcess, DumpmemReportsOnlyAtLevel2AndAbove)
{
    EXPECT_EQ(run_scenario("dumpmem", {{"INTERNAL_MEMUSAGE", nullptr}}).out, "");
    EXPECT_EQ(run_scenario("dumpmem", {{"INTERNAL_MEMUSAGE", "1"}}).out, "");
    EXPECT_EQ(run_scenario("dumpmem", {{"INTERNAL_MEMUSAGE", "-1"}}).out, "");
    const std::string out = run_scenario("dumpmem", {{"INTERNAL_MEMUSAGE", "2"}}).out;
    EXPECT_THAT(
        out,
        testing::MatchesRegex(
            "memory check point -- here: [0-9]+ bytes\\.\nmemory check point -- again: [0-9]+ bytes\\.\n"));
}

TEST(UtMsgmanProcess, AUnsetFlowIsTheDatabases)
{
    EXPECT_EQ(run_scenario("flow", {{"QVS_M_MSGFLOW", nullptr}}).out, "1\n");
    EXPECT_EQ(run_scenario("flow", {{"QVS_M_MSGFLOW", "0"}}).out, "0\n");
}

}  // namespace
