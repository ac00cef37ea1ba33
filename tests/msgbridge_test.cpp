#include "msgbridge.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contract.h"
#include "message_files.h"
#include "message_sinks.h"

namespace {

using texts = std::vector<std::string>;
using ketriope::numbered;

/// The seam with the real database behind it, and its two messages for reports of the library.
class MsgBridge : public testing::Test {
protected:
    MsgBridge()
    {
        files.index({{"common", "100"}, {"framework", "101"}});
        files.file("common", "100",
                   {{"0000", "Error", "Internal error in $$s at line $$d: $$s"},
                    {"9990", "Error", "$$s"},
                    {"9991", "Warning", "$$s"},
                    {"9992", "Info", "$$s"},
                    {"9993", "Status", "$$s"}});
        files.file("framework", "101", {{"1413", "Warning", "path '$$s/$$s' ignored, limit $$d"}});
        files.restart();
        UT_MSGMAN::m_msgFlow = 1;
    }
    ~MsgBridge() override { ketriope::install_database(before); }

    texts status(std::string& mid)
    {
        texts dynamic;
        texts navigation;
        msgManager().findErrorStatus(mid, dynamic, navigation);
        return dynamic;
    }

    message_files files;
    ketriope::message_database* before = ketriope::install_database(&ketriope::message_bridge());
};

TEST_F(MsgBridge, ABrokenContractIsKeptAsErrorStatusAndThrows)
{
    const ketriope::site where{.module = "basutdarray", .line = 42};
    int thrown = 0;
    EXPECT_EQ(console_of([&] {
                  try {
                      ketriope::contract_failed(where, "Bad index.");
                  } catch (int code) {
                      thrown = code;
                  }
              }),
              console_text{});
    EXPECT_EQ(thrown, -1);
    std::string mid;
    EXPECT_EQ(status(mid), (texts{"basutdarray", "42", "Bad index."}));
    EXPECT_EQ(mid, "1000000");
    EXPECT_EQ(msgManager().retrieveLatestMsgPosted(), 0);
}

TEST_F(MsgBridge, ABrokenContractWithoutIndexTellsOfTheMissingIndex)
{
    files.remove("msgindex.xml");
    files.restart();
    EXPECT_THROW(ketriope::contract_failed({.module = "basutdarray"}, "Bad index."), int);
    std::string mid;
    EXPECT_EQ(status(mid), texts{"fails to load message index file msgindex.xml."});
    EXPECT_EQ(mid, "0000000");
}

TEST_F(MsgBridge, ANumberedMessageIsPostedWithItsArguments)
{
    EXPECT_EQ(console_of([] {
                  ketriope::numbered_message({.number = "1413"}, "path '%s/%s' ignored, limit %d", "a", "b",
                                             1024);
              }).out,
              "WARNING <1011413> - path 'a/b' ignored, limit 1024\n");
    EXPECT_EQ(msgManager().retrieveLatestMsgPosted(), 1);
}

TEST_F(MsgBridge, FreeTextIsPostedUnderItsOwnNumber)
{
    EXPECT_EQ(console_of([] { ut_error("100% $$s"); }).err, "ERROR <1009990> - 100% $$s\n");
    EXPECT_EQ(console_of([] { ut_warning("w"); }).out, "WARNING <1009991> - w\n");
    EXPECT_EQ(console_of([] { ut_info("i"); }).out, "INFO <1009992> - i\n");
    EXPECT_EQ(msgManager().getErrorPosted(0), 1U);
}

TEST_F(MsgBridge, AFinishedLineIsTakenAsItIs)
{
    EXPECT_EQ(console_of([] { ut_c_error("e"); }).err, "ERROR - e\n");
    EXPECT_EQ(console_of([] { ut_status("s"); }).out, "s\n");
    std::string text;
    texts dynamic;
    EXPECT_EQ(msgManager().retrieveMsgDynamicInfo(1, dynamic), 1);
    EXPECT_EQ(dynamic, texts{"e"});
}

TEST_F(MsgBridge, SuppressionSwitchesAllTypes)
{
    ut_msgman->setSuppressFlag(1);
    EXPECT_EQ(msgCache::g_ErrorPrint, 0);
    EXPECT_EQ(msgCache::g_StatusPrint, 0);
    EXPECT_EQ(console_of([] { ut_error("no"); }), console_text{});
    ut_msgman->setSuppressFlag(0);
    EXPECT_EQ(msgCache::g_ErrorPrint, 1);
    EXPECT_EQ(console_of([] { ut_error("yes"); }).err, "ERROR <1009990> - yes\n");
}

TEST_F(MsgBridge, TheBridgeIsAlwaysTheSame)
{
    EXPECT_EQ(&ketriope::message_bridge(), &ketriope::message_bridge());
}

}  // namespace
