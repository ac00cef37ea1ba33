// tests/basutmemmgr_test.cpp: the end of the memory. What only a parent sees is tried by a child that asks
// for more than there is.
#include "basutmemmgr.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <malloc.h>

#include "allocation_faults.h"
#include "child_process.h"
#include "message_capture.h"
#include "msgdatabase.h"
#include "msgman.h"
#include "scoped_environment.h"

namespace {

const post k_posted{"", "1009990", "", "Out of memory error."};
constexpr const char* k_line = "ERROR - Out of memory error.\n";

/// A tool's spare memory: each call does what the test says, and gives its answer.
struct spare final : ketriope::memory_recovery {
    std::function<unsigned char()> answer = [] { return 1; };
    int calls = 0;
    unsigned char recover() override
    {
        ++calls;
        return answer();
    }
};

/// The manager of the process with a recovery object, for the time of a test.
class with_recovery {
public:
    explicit with_recovery(ketriope::memory_recovery& object) { ut_memmgr.recovery = &object; }
    ~with_recovery() { ut_memmgr.recovery = nullptr; }
    with_recovery(const with_recovery&) = delete;
    with_recovery& operator=(const with_recovery&) = delete;
};

/// The handler of the library, which the tests do without otherwise.
class with_handler {
public:
    with_handler() : before_(std::set_new_handler(ut_new_handler)) {}
    ~with_handler() { std::set_new_handler(before_); }
    with_handler(const with_handler&) = delete;
    with_handler& operator=(const with_handler&) = delete;

private:
    std::new_handler before_;
};

/// The flags that a report leaves in the message manager, put back.
class kept_manager {
public:
    kept_manager() : abort_(ut_msgman->getabortflag()), value_(ut_msgman->getexitval()) {}
    ~kept_manager()
    {
        ut_msgman->setabortflag(abort_);
        ut_msgman->setexitval(value_);
    }
    kept_manager(const kept_manager&) = delete;
    kept_manager& operator=(const kept_manager&) = delete;

private:
    unsigned char abort_;
    int value_;
};

/// What a manager holds, as those who look at its fields know them.
struct stated_manager {
    ketriope::memory_recovery* recovery;
    void* first_reserve;
    void* second_reserve;
};
static_assert(sizeof(stated_manager) == sizeof(UT_MEMMGR));

stated_manager fields_of(const UT_MEMMGR& manager)
{
    stated_manager fields{};
    std::memcpy(&fields, &manager, sizeof fields);
    return fields;
}

class UtMemmgr : public testing::Test {
protected:
    ~UtMemmgr() override  // the second reserve is had anew, wherever a test has ended
    {
        UT_MSGMAN::m_msgFlow = 1;
        const scoped_environment returns("QVS_MSG_ABORT_RETURN", "");
        ut_memmgr.recovermem();
    }

    /// An allocation that fails `how_often` times.
    static void ask(long how_often = 1)
    {
        const allocation_faults faults(0, how_often);
        ::operator delete(::operator new(8));
    }

    with_handler handler_;
    kept_manager manager_;
    message_capture capture_;
};

TEST_F(UtMemmgr, AFailedNewIsReportedToTheDatabaseAndEndsTheProcess)
{
    EXPECT_EQ(capture_.exit_value_of([] { ask(); }), -1);
    EXPECT_EQ(capture_.posts(), std::vector<post>{k_posted});
}

TEST_F(UtMemmgr, AFailedNewIsReportedOnTheConsoleAndEndsTheProcess)
{
    capture_.use_legacy_flow();
    int end = 0;
    EXPECT_EQ(stderr_of([&] { end = capture_.exit_value_of([] { ask(); }); }), k_line);
    EXPECT_EQ(end, -1);
}

TEST_F(UtMemmgr, TheProcessEndsWithTheValueThatTheManagerKeeps)
{
    ut_msgman->setexitval(7);
    EXPECT_EQ(capture_.exit_value_of([] { ask(); }), 7);
}

TEST_F(UtMemmgr, RecovermemReportsWithoutARecoveryObject)
{
    EXPECT_EQ(capture_.exit_value_of([] { ut_memmgr.recovermem(); }), -1);
    EXPECT_EQ(capture_.last(), k_posted);
}

TEST_F(UtMemmgr, NewTriesAgainWhenMemoryIsRecovered)
{
    spare memory;
    const with_recovery object(memory);
    ask();
    EXPECT_EQ(memory.calls, 1);
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtMemmgr, RecovermemGivesTheAnswerOfTheRecoveryObject)
{
    spare memory;
    const with_recovery object(memory);
    EXPECT_EQ(ut_memmgr.recovermem(), 1);
    memory.answer = [] { return 0; };
    EXPECT_EQ(ut_memmgr.recovermem(), 0);
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtMemmgr, WhatRecoversNothingEndsTheProcessWith1AndNoReport)
{
    spare memory;
    memory.answer = [] { return 0; };
    const with_recovery object(memory);
    EXPECT_EQ(capture_.exit_value_of([] { ask(); }), 1);
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtMemmgr, AReserveThatCannotBeHadAnewIsReportedNowAndNextTime)
{
    spare memory;
    const with_recovery object(memory);
    EXPECT_EQ(capture_.exit_value_of([] {
        const allocation_faults faults(0, 1);
        ut_memmgr.recovermem();
    }),
              -1);
    EXPECT_EQ(memory.calls, 1);
    EXPECT_EQ(capture_.posts(), std::vector<post>{k_posted});
    capture_.clear();
    EXPECT_EQ(capture_.exit_value_of([] { ut_memmgr.recovermem(); }), -1);
    EXPECT_EQ(memory.calls, 1);
    EXPECT_EQ(capture_.posts(), std::vector<post>{k_posted});
    // Where the report returns, the recovery object is asked even so, and the reserve is had again.
    const scoped_environment returns("QVS_MSG_ABORT_RETURN", "");
    EXPECT_EQ(ut_memmgr.recovermem(), 1);
    capture_.clear();
    EXPECT_EQ(ut_memmgr.recovermem(), 1);
    EXPECT_EQ(memory.calls, 3);
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtMemmgr, AFailureWithinTheRecoveryEndsTheProcessAtOnce)
{
    spare memory;
    memory.answer = [] { return (ask(), 1); };
    const with_recovery object(memory);
    int end = 0;
    EXPECT_EQ(stderr_of([&] { end = capture_.exit_value_of([] { ask(); }); }), k_line);
    EXPECT_EQ(end, 1);
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtMemmgr, AnyFailureWithinTheReportEndsTheProcessAtOnce)
{
    capture_.use_legacy_flow();
    bool hit = true;
    for (long n = 0; hit; ++n) {
        int end = 0;
        const std::string text = stderr_of([&] {
            end = capture_.exit_value_of([&] {
                const allocation_faults faults(n, 1);
                const struct note {
                    const allocation_faults& from;
                    bool& to;
                    ~note() { to = from.hit(); }
                } at_end{faults, hit};
                ut_new_handler();
            });
        });
        ASSERT_EQ(end, hit ? 1 : -1) << n;
        ASSERT_EQ(text.find(k_line), 0U) << n;  // it may come again where the failure is behind the report
    }
}

TEST_F(UtMemmgr, AReportThatReturnsEndsWith1)
{
    const scoped_environment returns("QVS_MSG_ABORT_RETURN", "");
    EXPECT_EQ(capture_.exit_value_of([] { ask(); }), 1);
    EXPECT_EQ(capture_.posts(), std::vector<post>{k_posted});
}

TEST_F(UtMemmgr, WithoutMessagesTheLegacyManagerReports)
{
    struct no_messages final : ketriope::message_database {
        void post_contract(const char*, int, const char*) override { throw -1; }
        void post_numbered(const char*, const char*, ut_va_list) override { throw -1; }
        void post_text(const char*, const char*) override { throw -1; }
        void post_finished(int, const char* text) override { finished = text; }
        void show_types(int, bool) override {}
        std::string finished;
    } database;
    ketriope::message_database* const before = ketriope::install_database(&database);
    const int end = capture_.exit_value_of([] { ask(); });
    ketriope::install_database(before);
    EXPECT_EQ(end, -1);
    EXPECT_EQ(database.finished, "ERROR - Out of memory error.");
}

/// A manager beside the one of the process, whose reserves go with it.
class other_manager : public UT_MEMMGR {
public:
    other_manager() = default;
    ~other_manager()
    {
        std::free(fields_of(*this).first_reserve);
        std::free(fields_of(*this).second_reserve);
    }
    other_manager(const other_manager&) = delete;
    other_manager& operator=(const other_manager&) = delete;
};

TEST_F(UtMemmgr, BeginsWithTwoReservesOf1536BytesAndNoRecoveryObject)
{
    const other_manager manager;
    const stated_manager fields = fields_of(manager);
    EXPECT_EQ(fields.recovery, nullptr);
    EXPECT_NE(fields.first_reserve, fields.second_reserve);
    for (void* const reserve : {fields.first_reserve, fields.second_reserve}) {
        ASSERT_NE(reserve, nullptr);
        EXPECT_GE(::malloc_usable_size(reserve), 1536U);
        EXPECT_LT(::malloc_usable_size(reserve), 1536U + 16U);  // a heap deals in pieces of so much
    }
}

TEST_F(UtMemmgr, TheSecondReserveIsFreeWhileTheRecoveryObjectWorks)
{
    other_manager manager;
    spare memory;
    stated_manager meanwhile{};
    memory.answer = [&] { return (meanwhile = fields_of(manager), 1); };
    manager.recovery = &memory;
    EXPECT_EQ(fields_of(manager).recovery, &memory);
    EXPECT_EQ(manager.recovermem(), 1);
    EXPECT_NE(meanwhile.first_reserve, nullptr);
    EXPECT_EQ(meanwhile.second_reserve, nullptr);
    EXPECT_NE(fields_of(manager).first_reserve, nullptr);
    EXPECT_NE(fields_of(manager).second_reserve, nullptr);
}

TEST_F(UtMemmgr, AReportIsPaidForByTheFirstReserve)
{
    other_manager manager;
    EXPECT_EQ(capture_.exit_value_of([&] { manager.recovermem(); }), -1);
    EXPECT_EQ(fields_of(manager).first_reserve, nullptr);
    EXPECT_NE(fields_of(manager).second_reserve, nullptr);
}

TEST_F(UtMemmgr, AManagerWithoutReservesReportsAndInstallsItsHandlerEvenSo)
{
    const scoped_environment returns("QVS_MSG_ABORT_RETURN", "");
    for (const long failing : {0, 1}) {  // of the two reserves; the other one is released
        std::set_new_handler(nullptr);
        capture_.clear();
        {
            allocation_faults faults(failing, 1);
            const other_manager manager;
            EXPECT_EQ(fields_of(manager).first_reserve, nullptr);
            EXPECT_EQ(fields_of(manager).second_reserve, nullptr);
        }
        EXPECT_EQ(capture_.posts(), std::vector<post>{k_posted});
        EXPECT_EQ(std::get_new_handler(), ut_new_handler);
    }
}

TEST_F(UtMemmgr, AManagerWithoutReservesEndsTheProcess)
{
    EXPECT_EQ(capture_.exit_value_of([&] {
        const allocation_faults faults(0, 1);
        const UT_MEMMGR manager;
    }),
              -1);
}

// ---- as a parent sees it

class UtMemmgrProcess : public testing::TestWithParam<const char*> {
protected:
    static bool legacy() { return std::string(GetParam()) == "0"; }
    static child_result run(const char* scenario, const char* foundry = TEST_SOURCE_DIR "/../data")
    {
        return run_child(
            child_program("memory_end_child"), {scenario},
            {{"QVS_M_MSGFLOW", GetParam()}, {"FOUNDRY", foundry}, {"ENV", nullptr}, {"TOOLRTF", nullptr}});
    }
    static std::string error(const std::string& text)
    {
        return (legacy() ? "ERROR - " : "ERROR <1009990> - ") + text + '\n';
    }
};
INSTANTIATE_TEST_SUITE_P(, UtMemmgrProcess, testing::Values("0", "1"), [](const auto& each) {
    return std::string(each.param) == "0" ? "legacy" : "database";
});

TEST_P(UtMemmgrProcess, TheHandlerIsInstalledAtLoad)
{
    EXPECT_EQ(run("installed").out, "ours\n");
}

TEST_P(UtMemmgrProcess, AFailedNewEndsItWith255)
{
    const child_result seen = run("refused");
    EXPECT_EQ(seen.exit_status, 255);
    EXPECT_EQ(seen.err, error("Out of memory error."));
    EXPECT_EQ(seen.out, "");
}

TEST_P(UtMemmgrProcess, AFailedNewWithoutMessagesEndsItWith255)
{
    const child_result seen = run("refused", "/nowhere");
    EXPECT_EQ(seen.exit_status, 255);
    EXPECT_EQ(seen.err, k_line);
}

TEST_P(UtMemmgrProcess, RecoveredMemoryIsGranted)
{
    const child_result seen = run("recovered");
    EXPECT_EQ(seen.out, "recover\nrecover\ngot it\n");
    EXPECT_EQ(seen.err, "");
    EXPECT_EQ(seen.exit_status, 0);
}

TEST_P(UtMemmgrProcess, NothingRecoveredEndsItWith1)
{
    const child_result seen = run("not recovered");
    EXPECT_EQ(seen.out, "recover\nrecover\n");
    EXPECT_EQ(seen.err, "");
    EXPECT_EQ(seen.exit_status, 1);
}

TEST_P(UtMemmgrProcess, NothingLeftForTheReportEndsItWith1)
{
    const child_result seen = run("nothing left");
    EXPECT_EQ(seen.exit_status, 1);
    EXPECT_EQ(seen.err, k_line);
}

TEST_P(UtMemmgrProcess, AToolMayPutAnotherHandlerInPlace)
{
    EXPECT_EQ(run("no handler").out, "bad_alloc\n");
}

#if !defined(__SANITIZE_ADDRESS__) &&                                                                        \
    !defined(__SANITIZE_THREAD__)  // they need more memory than the child has
TEST_P(UtMemmgrProcess, TheReserveIsEnoughForTheReport)
{
    const child_result seen = run("all taken after a message");
    EXPECT_EQ(seen.err, error("first") + error("Out of memory error."));
    EXPECT_EQ(seen.exit_status, 255);
}

TEST_P(UtMemmgrProcess, MessagesThatCannotBeLoadedAnyMoreAreToldOf)
{
    const child_result seen = run("all taken");
    EXPECT_EQ(seen.err, k_line);
    EXPECT_EQ(seen.exit_status, legacy() ? 255 : 1);
}
#endif

TEST(UtMemmgrAtUnload, GivesTheHandlerBack)
{
    const child_result seen = run_child(child_program("memory_unload_loader"), {TEST_LIBRARY});
    EXPECT_EQ(seen.out, "the library's\none that is there\n");
    EXPECT_EQ(seen.exit_status, 0);
}

}  // namespace
