// tests/contract_test.cpp
#include "contract.h"

#include <gtest/gtest.h>

#include "message_capture.h"
#include "message_files.h"
#include "msgman.h"

namespace {

constexpr ketriope::site k_site{.module = "basutarray", .exit_value = 19};
constexpr ketriope::site k_fixed_line{
    .module = "basutbitvec", .exit_value = 91, .revision = "$Revision: 3.2 $", .line = 119};

TEST(Contract, WithTheDatabaseInChargeItIsPostedAndThrown)
{
    message_capture capture;
    EXPECT_THROW(ketriope::contract_failed(k_site, "Bad index."), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutarray", "Bad index."}));
    try {
        ketriope::contract_failed(k_site, "again");
    } catch (int code) {
        EXPECT_EQ(code, -1);
    }
}

TEST(Contract, OtherwiseTheProcessEndsWithTheValueOfTheSite)
{
    message_capture capture;
    capture.use_legacy_flow();
    int value = 0;
    const std::string err = stderr_of(
        [&] { value = capture.exit_value_of([] { ketriope::contract_failed(k_fixed_line, "Bad %s."); }); });
    EXPECT_EQ(value, 91);
    EXPECT_EQ(err.substr(0, err.find("For")),
              "ERROR - Bad %s.\nINTERNAL CODE : ut:basutbitvec:119:3.2\n                ");
    EXPECT_TRUE(capture.posts().empty());
}

TEST(Contract, TheLineIsThatOfTheCallUnlessTheSiteFixesIt)
{
    message_capture capture;
    capture.use_legacy_flow();
    constexpr int k_line = __LINE__ + 1;
    const std::string err = stderr_of([] { ketriope::internal_report(k_site, "x"); });
    EXPECT_NE(err.find("INTERNAL CODE : ut:basutarray:" + std::to_string(k_line) + ":1.0\n"),
              std::string::npos)
        << err;
}

TEST(Contract, WithoutADatabaseTheLegacyRouteIsTakenInBothFlows)
{
    message_capture capture;
    ketriope::install_database(nullptr);
    int value = 0;
    stderr_of([&] { value = capture.exit_value_of([] { ketriope::contract_failed(k_site, "x"); }); });
    EXPECT_EQ(value, 19);
}

TEST(Contract, ABeforeTheStartReportStillShowsItsTextAndEnds)
{
    message_capture capture;
    capture.use_legacy_flow();
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = nullptr;
    int value = 0;
    const std::string err = stderr_of([&] {
        value = capture.exit_value_of([] { ketriope::contract_failed(k_site, "early %n"); });
        ketriope::internal_report(k_site, "early, too");
    });
    ut_msgman = before;
    EXPECT_EQ(value, 19);
    EXPECT_EQ(err, "ERROR - early %n\nERROR - early, too\n");
}

/// Breaks a contract when it ends.
struct reporting_end {
    static constexpr ketriope::site k_end{.module = "basutio", .exit_value = 1, .in_destructor = true};
    ~reporting_end() noexcept(false) { ketriope::contract_failed(k_end, "left over"); }
};

void end_alone()
{
    const reporting_end alone;
}

void end_because_of_another_exception()
{
    const reporting_end during;
    throw std::string("first");
}

TEST(Contract, ADestructorDoesNotThrowWhileAnotherExceptionIsOnItsWay)
{
    const message_capture capture;
    EXPECT_THROW(end_alone(), int);
    EXPECT_THROW(end_because_of_another_exception(), std::string);
    EXPECT_EQ(capture.posts().size(), 2U);
}

TEST(Contract, ADatabaseWithoutMessagesThrowsInItsPlaceButNotThenEither)
{
    message_files files;
    files.remove("msgindex.xml");
    UT_MSGMAN::m_msgFlow = 1;
    EXPECT_THROW(end_alone(), int);
    EXPECT_THROW(end_because_of_another_exception(), std::string);
    std::string mid;
    std::vector<std::string> dynamic;
    std::vector<std::string> navigation;
    EXPECT_EQ(msgManager().findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "0000000");
    EXPECT_EQ(dynamic, std::vector<std::string>{"fails to load message index file msgindex.xml."});
}

TEST(Contract, InternalReportsReturnOnBothRoutes)
{
    message_capture capture;
    ketriope::internal_report(k_fixed_line, "hm");
    ASSERT_EQ(capture.posts().size(), 2U);
    EXPECT_EQ(capture.posts()[0], (post{"", "128", "", "ERROR - hm"}));
    EXPECT_EQ(capture.posts()[1].text.substr(0, 39), "INTERNAL CODE : ut:basutbitvec:119:3.2\n");
}

TEST(Contract, ANumberedMessageIsPostedByNumber)
{
    message_capture capture;
    ketriope::numbered_message({.number = "1413"}, "path '%s' of %d", "p", 3);
    EXPECT_EQ(capture.last(), (post{"framework", "1413", "", ""}));
}

TEST(Contract, ANumberedMessageHasTheSameTextOnTheLegacyRoute)
{
    using legacy = ketriope::numbered::legacy;
    message_capture capture;
    capture.use_legacy_flow();
    const std::string err = stderr_of([] {
        ketriope::numbered_message({.number = "1413"}, "path '%s' of %d", "%n", 3);
        ketriope::numbered_message({.number = "1105", .route = legacy::error}, "Failed");
    });
    EXPECT_EQ(err, "WARNING - path '%n' of 3\nERROR - Failed\n");
}

}  // namespace
