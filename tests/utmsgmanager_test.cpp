// The facade of the message database.
#include "utmsgmanager.h"

#include <climits>
#include <cstdarg>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "message_files.h"
#include "message_sinks.h"
#include "stream_tools.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using texts = std::vector<std::string>;

class MsgManager : public testing::Test {
protected:
    MsgManager()
    {
        files.tool({{"0001", "Error", "e $$s", "alias=\"AL1\"", "<help web=\"W\" online=\"O\" />"},
                    {"0002", "Critical", "c"},
                    {"0004", "Warning", "w $$s"},
                    {"0008", "Info", "i $$s"},
                    {"0012", "Error", "Cannot open $$s at $$d"},
                    {"0016", "Status", "s $$s", "", "<navigation><fun menu=\"M\" cmd=\"C\" /></navigation>"},
                    {"0256", "Debug", "d"},
                    {"0099", "x", "n"},
                    {"0050", "Info"}});
    }

    template <class Work>
    int posted(Work work)
    {
        int sid = INT_MIN;
        seen = console_of([&] { sid = work(); });
        return sid;
    }
    std::string text_of_last()
    {
        std::string text;
        msgManager().retrieveMsgString(msgManager().retrieveLatestMsgPosted(), text);
        return text;
    }

    message_files files;
    told_calls told_about;
    console_text seen;
};

// ---- life

TEST_F(MsgManager, AnObjectOfNoCategoryHasTheFid000)
{
    msgManager any;
    EXPECT_EQ(any.getFID(), "000");
    EXPECT_EQ(any.postMsg("0012"), 0);  // asks for 0000012, which no file has
    EXPECT_TRUE(files.debug_says("message file with FID=<000>does not exist"));
    EXPECT_EQ(posted([&] { return any.postMsg(1009990, "x"); }), 1);  // an integer is a whole MID
    EXPECT_EQ(seen.err, "ERROR <1009990> - x\n");
}

TEST_F(MsgManager, AnObjectTakesTheFidOfItsFile)
{
    EXPECT_EQ(msgManager("tool").getFID(), "300");
    EXPECT_EQ(msgManager("300").getFID(), "300");
    EXPECT_EQ(msgManager("common").getFID(), "100");
}

TEST_F(MsgManager, AFileOutsideOfTheIndexIsMadeKnown)
{
    files.file("extra", "400", {{"0001", "Info", "extra"}});
    msgManager extra("extra");
    EXPECT_EQ(extra.getFID(), "400");
    EXPECT_EQ(posted([&] { return extra.postMsg("0001"); }), 1);
    EXPECT_EQ(seen.out, "INFO <4000001> - extra\n");
}

TEST_F(MsgManager, AFileThatIsNotFoundLeavesTheObjectEmpty)
{
    msgManager none("nowhere");
    EXPECT_EQ(none.getFID(), "");
    for (const char* mid : {"0001", "1009990"}) EXPECT_EQ(none.postMsg(mid, "x"), 0);
    EXPECT_TRUE(files.debug_says("this object has no message file loaded"));
    EXPECT_EQ(none.postMsg(1009990, "x"), 0);
    msgManager null(static_cast<const char*>(nullptr));
    EXPECT_EQ(null.getFID(), "");
}

TEST_F(MsgManager, AFileOfTheIndexThatIsMissingGivesItsFidAndNoMessages)
{
    files.remove("tool.xml");
    files.restart();
    msgManager tool("tool");
    EXPECT_EQ(tool.getFID(), "300");
    EXPECT_EQ(posted([&] { return tool.postMsg("0001", "x"); }), 0);
    EXPECT_EQ(seen, console_text{});
    std::string mid;
    texts dynamic;
    texts navigation;
    EXPECT_EQ(tool.findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "0000000");
    EXPECT_THAT(dynamic, ElementsAre(HasSubstr("does not exist")));
}

TEST_F(MsgManager, ASecondObjectOfACategoryDoesNotLoadItsFileAgain)
{
    msgManager first("tool");
    files.remove("tool.xml");
    EXPECT_EQ(posted([] { return msgManager("tool").postMsg("0008", "x"); }), 1);
    EXPECT_EQ(seen.out, "INFO <3000008> - i x\n");
}

TEST_F(MsgManager, AMissingIndexThrowsWhereItIsNeeded)
{
    files.remove("msgindex.xml");
    files.restart();
    EXPECT_NO_THROW(msgManager());
    EXPECT_THROW(msgManager("tool"), int);
    EXPECT_THROW(delete new msgManager("tool"), int);
    msgManager any;
    EXPECT_THROW(any.postMsg(1009990, "x"), int);
    EXPECT_THROW(any.postErrorStatus("1000000", "a", 1, "b"), int);
    EXPECT_THROW(any.queryMsgType("1009990"), int);
    EXPECT_THROW(any.getMsgMID("tool", "0001"), int);
    EXPECT_NO_THROW(any.disableMsgType(MSG_INFO));
    // The section is free again: another thread gets in.
    std::thread([] { msgManager().retrieveLatestMsgPosted(); }).join();
    // An index that comes later is found by the next database: this one remembers where it has looked.
    files.index({{"tool", "300"}});
    EXPECT_THROW(msgManager("tool"), int);
    files.restart();
    EXPECT_EQ(msgManager("tool").getFID(), "300");
}

TEST_F(MsgManager, ACopyHasFileFidAndCounters)
{
    msgManager tool("tool");
    posted([&] { return tool.postMsg("0001", "x"); });
    const msgManager copy(tool);
    EXPECT_EQ(copy.getFID(), "300");
    EXPECT_EQ(msgManager(copy).getErrorPosted(1), 1U);
    msgManager other;
    other = tool;
    EXPECT_EQ(other.getErrorPosted(1), 1U);
    posted([&] { return other.postMsg("0001", "x"); });
    EXPECT_EQ(tool.getErrorPosted(1), 1U);
}

TEST_F(MsgManager, DeletedObjectsAreHandedOutAgain)
{
    auto* const first = new msgManager("tool");
    const void* const place = first;
    delete first;
    auto* const second = new msgManager;
    EXPECT_EQ(second, place);
    EXPECT_EQ(second->getFID(), "000");
    EXPECT_EQ(second->getErrorPosted(1), 0U);
    delete second;
}

TEST_F(MsgManager, ADerivedObjectOfAnotherSizeLivesOnTheHeap)
{
    struct larger : msgManager {
        char more[64] = {};
    };
    delete new msgManager;
    auto* const derived = new larger;
    auto* const plain = new msgManager;
    EXPECT_NE(static_cast<void*>(derived), static_cast<void*>(plain));
    delete plain;
    delete derived;
    alignas(msgManager) unsigned char memory[sizeof(msgManager)];
    auto* const placed = new (memory) msgManager;
    EXPECT_EQ(static_cast<void*>(placed), static_cast<void*>(memory));
    placed->~msgManager();
}

TEST_F(MsgManager, ReNewSetsTheCountersOfTheObjectToZero)
{
    msgManager tool("tool");
    posted([&] {
        for (const char* uid : {"0001", "0002", "0004", "0008", "0016"}) tool.postMsg(uid, "x");
        return 0;
    });
    EXPECT_EQ(tool.getErrorPosted(1), 1U);
    EXPECT_EQ(tool.getCriticalPosted(1), 1U);
    EXPECT_EQ(tool.getWarningPosted(1), 1U);
    EXPECT_EQ(tool.getInfoPosted(1), 1U);
    EXPECT_EQ(tool.getStatusPosted(1), 1U);
    EXPECT_EQ(tool.reNew(), 1);
    EXPECT_EQ(tool.getErrorPosted(1) + tool.getCriticalPosted(1) + tool.getWarningPosted(1) +
                  tool.getInfoPosted(1) + tool.getStatusPosted(1),
              0U);
    EXPECT_EQ(tool.getErrorPosted(0), 1U);
    EXPECT_EQ(tool.getCriticalPosted(0), 1U);
    EXPECT_EQ(tool.getWarningPosted(0), 1U);
    EXPECT_EQ(tool.getInfoPosted(0), 1U);
    EXPECT_EQ(tool.getStatusPosted(0), 1U);
}

TEST_F(MsgManager, AFreshObjectHasCountedNothing)
{
    posted([] { return msgManager("tool").postMsg("0001", "x"); });
    msgManager fresh("tool");
    EXPECT_EQ(fresh.getErrorPosted(1), 0U);
    EXPECT_EQ(fresh.getErrorPosted(0), 1U);
}

TEST_F(MsgManager, TheMidOfACategoryIsANumber)
{
    msgManager any;
    EXPECT_EQ(any.getMsgMID("tool", "0012"), 3'000'012);
    EXPECT_EQ(any.getMsgMID("300", "9999"), 3'009'999);
    EXPECT_EQ(any.getMsgMID("tool", "abc"), 3'000'000);
    EXPECT_EQ(any.getMsgMID("nowhere", "0001"), 0);
    EXPECT_EQ(any.getMsgMID(nullptr, "0001"), 0);
    EXPECT_EQ(any.getMsgMID("tool", nullptr), 0);
}

TEST_F(MsgManager, AnObjectOutlivesTheDatabaseAndPostsThroughANewOne)
{
    msgManager tool("tool");
    files.restart();
    EXPECT_EQ(posted([&] { return tool.postMsg("0008", "late"); }), 1);
    EXPECT_EQ(seen.out, "INFO <3000008> - i late\n");
}

// ---- posting

int post_list(msgManager& tool, int form, const char* mid, ...)
{
    std::string first = "first";
    va_list args;
    va_start(args, mid);
    const int sid = form == 1   ? tool.postMsgVaList(mid, args)
                    : form == 2 ? tool.postMsgVaList(9U, mid, args)
                                : tool.postMsgVaList(mid, first, args);
    va_end(args);
    return sid;
}

TEST_F(MsgManager, EveryFormOfPostingExpandsItsArguments)
{
    msgManager tool("tool");
    const std::string whole = "ERROR <3000012> - Cannot open a at 7";
    EXPECT_EQ(posted([&] { return tool.postMsg("0012", "a", 7); }), 1);
    EXPECT_EQ(seen.err, whole + "\n");
    EXPECT_EQ(posted([&] { return tool.postMsg("3000012", "a", 7); }), 2);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(posted([&] { return tool.postMsg(3000012, "a", 7); }), 3);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(posted([&] { return tool.postMessage(5U, 3000012, "a", 7); }), 4);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(tool.retrieveMsgFlag(4), 5U);
    EXPECT_EQ(posted([&] { return tool.postMessage(6U, "0012", "a", 7); }), 5);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(tool.retrieveMsgFlag(5), 6U);
    EXPECT_EQ(posted([&] { return post_list(tool, 1, "0012", "a", 7); }), 6);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(posted([&] { return post_list(tool, 2, "0012", "a", 7); }), 7);
    EXPECT_EQ(text_of_last(), whole);
    EXPECT_EQ(tool.retrieveMsgFlag(7), 9U);
    EXPECT_EQ(posted([&] { return post_list(tool, 3, "0012", 7); }), 8);
    EXPECT_EQ(text_of_last(), "ERROR <3000012> - Cannot open first at 7");
}

TEST_F(MsgManager, TheFormsWithAStringTakeTheArgumentsAsTheyAre)
{
    msgManager tool("tool");
    std::string mid = "0012";
    texts dynamic{"%d", "b"};
    texts navigation{"up"};
    EXPECT_EQ(posted([&] { return tool.postMsg(mid); }), 1);
    EXPECT_EQ(seen.err, "ERROR <3000012> - Cannot open  at \n");
    EXPECT_EQ(posted([&] { return tool.postMsg(mid, 3U); }), 2);
    EXPECT_EQ(tool.retrieveMsgFlag(2), 3U);
    EXPECT_EQ(posted([&] { return tool.postMsg(mid, dynamic, 4U); }), 3);
    EXPECT_EQ(seen.err, "ERROR <3000012> - Cannot open %d at b\n");
    EXPECT_EQ(tool.retrieveMsgFlag(3), 4U);
    EXPECT_EQ(posted([&] { return tool.postMsg(mid, dynamic, navigation, 5U); }), 4);
    texts kept;
    EXPECT_EQ(tool.retrieveMsgNavigationInfo(4, kept), 1);
    EXPECT_EQ(kept, navigation);
    EXPECT_EQ(mid, "0012");
}

TEST_F(MsgManager, FourCharactersTakeTheFidAndFewerAreRefused)
{
    msgManager tool("tool");
    EXPECT_EQ(posted([&] { return tool.postMsg("0012", "a", 7); }), 1);
    std::string mid;
    EXPECT_EQ(tool.retrieveMsgID(1, mid), 1);
    EXPECT_EQ(mid, "3000012");
    EXPECT_TRUE(files.debug_says("post message <3000012> using const char* mid"));
    EXPECT_EQ(tool.postMsg("012", "a", 7), 0);
    EXPECT_TRUE(files.debug_says("caller provided invalid message ID=<012>"));
    EXPECT_EQ(tool.postMsg(static_cast<const char*>(nullptr)), 0);
    std::string small = "01";
    EXPECT_EQ(tool.postMsg(small), 0);
    EXPECT_TRUE(files.debug_says("caller provided msgID <01> is not valid"));
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 1);
}

TEST_F(MsgManager, AnUnknownMessageOrOneWithoutTextPostsNothing)
{
    msgManager tool("tool");
    EXPECT_EQ(posted([&] { return tool.postMsg("7777", "a"); }), 0);
    EXPECT_TRUE(files.debug_says("message MID=<3007777> is not defined"));
    EXPECT_EQ(tool.postMsg("0050"), 0);
    EXPECT_EQ(tool.postMsg(-5), 0);
    EXPECT_EQ(tool.postMsg(INT_MIN), 0);
    EXPECT_EQ(tool.postMsg(INT_MAX), 0);
    EXPECT_EQ(tool.postMsg("123456789012"), 0);  // a file half that is too long
    std::string unknown = "3007777";
    EXPECT_EQ(tool.postMsg(unknown), 0);
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 0);
    EXPECT_EQ(tool.newMsgDB("7777", "found now"), 1);
    EXPECT_EQ(posted([&] { return tool.postMsg("7777"); }), 1);
    EXPECT_EQ(seen.out, "found now\n");
}

TEST_F(MsgManager, APostGoesThroughTheVirtualOperation)
{
    struct refusing : msgDbManager {
        using msgDbManager::postMsg;
        int postMsg(const char*, texts&, texts&, unsigned int) override { return 4711; }
    };
    delete msgDbManager::findUniqueDbManager();
    msgDbManager::setUniqueDbManager(new refusing);
    msgManager tool("tool");
    EXPECT_EQ(tool.postMsg("0001", "x"), 4711);  // no record: no further step
    EXPECT_EQ(tool.getErrorPosted(1), 0U);
}

// ---- error status

TEST_F(MsgManager, AnErrorStatusIsKeptAndGivesMinusOne)
{
    msgManager tool("tool");
    std::string mid;
    texts dynamic;
    texts navigation;
    EXPECT_EQ(posted([&] { return tool.postErrorStatus("0012", "a", 7); }), -1);
    EXPECT_EQ(seen, console_text{});
    EXPECT_EQ(tool.findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "3000012");
    EXPECT_EQ(dynamic, (texts{"a", "7"}));
    texts given{"b"};
    EXPECT_EQ(tool.postErrorStatus("1009990", given, navigation), -1);
    EXPECT_EQ(tool.findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "1009990");
    std::string other = "0001";
    given = {"c"};
    EXPECT_EQ(tool.postErrorStatus(other, given, navigation), -1);
    EXPECT_EQ(tool.findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "3000001");
    EXPECT_EQ(dynamic, given);
    tool.resetErrorStatus();
    EXPECT_EQ(tool.findErrorStatus(mid, dynamic, navigation), 0);
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 0);
}

TEST_F(MsgManager, AnErrorStatusThatIsNotKnownGivesZero)
{
    msgManager tool("tool");
    msgManager none("nowhere");
    texts empty;
    EXPECT_EQ(none.postErrorStatus("0012", "a", 7), 0);
    EXPECT_TRUE(files.debug_says("this object has no message file loaded"));
    tool.resetErrorStatus();  // of the file that was looked for
    EXPECT_EQ(tool.postErrorStatus("12", "a", 7), 0);
    EXPECT_TRUE(files.debug_says("invalid message ID <12>"));
    EXPECT_EQ(tool.postErrorStatus("7777"), 0);
    EXPECT_TRUE(files.debug_says("message ID <3007777> is not valid; it has no message string defined"));
    EXPECT_EQ(tool.postErrorStatus("0050", empty, empty), 0);
    std::string mid;
    EXPECT_EQ(tool.findErrorStatus(mid, empty, empty), 0);
}

// ---- text without a post

std::string listed(msgManager& tool, bool bare, const char* mid, ...)
{
    va_list args;
    va_start(args, mid);
    const std::string text = tool.queryMsgDisplayStrVaList(mid, args, bare);
    va_end(args);
    return text;
}

TEST_F(MsgManager, TextIsComposedWithoutAPost)
{
    msgManager tool("tool");
    EXPECT_EQ(tool.queryMsgDisplayStr("0012"), "ERROR <3000012> - Cannot open  at ");
    EXPECT_EQ(tool.queryMsgDisplayStr("7777"), "");
    EXPECT_EQ(tool.queryMsgDisplayStr("12"), "");
    EXPECT_TRUE(files.debug_says("msgID <12> is not valid"));
    EXPECT_EQ(listed(tool, false, "0012", "a", 7), "ERROR <3000012> - Cannot open a at 7");
    EXPECT_EQ(listed(tool, true, "0012", "a", 7), "Cannot open a at 7");
    EXPECT_EQ(listed(tool, true, "7777"), "");
    texts dynamic{"a", "b"};
    std::string out;
    EXPECT_STREQ(tool.queryMsgDisplayString("0012", dynamic, out, MSG_INFO, false),
                 "INFO <3000012> - Cannot open a at b");
    EXPECT_EQ(out, "INFO <3000012> - Cannot open a at b");
    EXPECT_EQ(tool.queryMsgDisplayString("9990001", dynamic, out, 0, false), nullptr);
    EXPECT_EQ(msgManager("nowhere").queryMsgDisplayStr("3000012"), "");
    EXPECT_EQ(tool.formatString("ERROR - one two three four", out, 20), 35);
    EXPECT_EQ(out, "ERROR - one two\n        three four\n");
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 0);
}

// ---- queries

TEST_F(MsgManager, QueriesAnswerTheItemsOfAMessage)
{
    msgManager tool("tool");
    std::string out = "old";
    EXPECT_EQ(tool.queryMsgString("0001", out), 1);
    EXPECT_EQ(out, "e $$s");
    EXPECT_EQ(tool.queryMsgAlias("0001", out), 1);
    EXPECT_EQ(out, "AL1");
    EXPECT_EQ(tool.queryMsgOnlineId("0001", out), 1);
    EXPECT_EQ(out, "O");
    EXPECT_EQ(tool.queryMsgWebId("3000001", out), 1);
    EXPECT_EQ(out, "W");
    EXPECT_EQ(tool.queryMsgAlias("0002", out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(tool.queryMsgString("1", out), 0);
    EXPECT_TRUE(files.debug_says("msgID <1> is not valid"));
    EXPECT_EQ(msgManager("nowhere").queryMsgString("0001", out), 0);
    texts answers;
    EXPECT_EQ(tool.queryMsgDB("0001", MSGDB_TEXT, answers), 1);
    EXPECT_EQ(answers, texts{"e $$s"});
    EXPECT_EQ(tool.queryMsgDB(nullptr, MSGDB_TEXT, answers), 0);
    EXPECT_THAT(answers, IsEmpty());
    texts menus;
    texts commands;
    EXPECT_EQ(tool.queryMsgNavigationTools("1", menus, commands), 0);
    std::vector<const char*> help;
    EXPECT_EQ(tool.queryMsgHelpDB("1", help), 0);
}

TEST_F(MsgManager, TypesAreToldByTheirNames)
{
    msgManager tool("tool");
    const std::vector<std::pair<const char*, int>> table{{"0001", 1},   {"0002", 2},  {"0004", 4},
                                                         {"0008", 8},   {"0016", 16}, {"0256", 256},
                                                         {"0099", 511}, {"7777", 16}, {"1", 511}};
    for (const auto& [uid, type] : table) {
        EXPECT_EQ(tool.queryMsgType(uid), type) << uid;
        EXPECT_EQ(tool.queryMsgXmlType(uid), type) << uid;
    }
    tool.setMsgType("0004", MSG_ERROR);
    EXPECT_EQ(tool.queryMsgType("0004"), MSG_ERROR);
    EXPECT_EQ(tool.queryMsgXmlType("0004"), MSG_WARNING);
    tool.setMsgType("0004", static_cast<eMessage_Type>(3));
    EXPECT_EQ(tool.queryMsgType("0004"), MSG_ALL);
}

TEST_F(MsgManager, TheItemsOfAFileAreTold)
{
    msgManager tool("tool");
    std::string out;
    EXPECT_EQ(tool.queryMsgFile(MSGDB_FILE_FID, out), 1);
    EXPECT_EQ(out, "300");
    EXPECT_EQ(tool.queryMsgFile(MSGDB_FILE_NAME, out), 1);
    EXPECT_EQ(out, "tool");
    EXPECT_EQ(tool.queryMsgFile(MSGDB_FILE_OWNER, out), 1);
    EXPECT_EQ(out, "no owner");
    EXPECT_EQ(tool.queryMsgFile(MSGDB_TEXT, out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(msgManager().queryMsgFile(MSGDB_FILE_NAME, out), 0);
}

// ---- posted records

TEST_F(MsgManager, PostedRecordsAreToldBySid)
{
    msgManager tool("tool");
    texts dynamic{"a", "7"};
    texts navigation{"up"};
    std::string mid = "0012";
    posted([&] { return tool.postMsg(mid, dynamic, navigation, 8U); });
    std::vector<int> sids;
    EXPECT_EQ(tool.retrieveAllMsgPosted(sids), 1);
    EXPECT_EQ(sids, std::vector<int>{1});
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 1);
    EXPECT_EQ(tool.retrieveMsgFlag(1), 8U);
    std::string out;
    EXPECT_EQ(tool.retrieveMsgID(1, out), 1);
    EXPECT_EQ(out, "3000012");
    EXPECT_EQ(tool.retrieveMsgString(1, out), 1);
    EXPECT_EQ(out, "ERROR <3000012> - Cannot open a at 7");
    EXPECT_EQ(tool.retrieveMsgType(1, out), MSG_ERROR);
    EXPECT_EQ(out, "Error");
    texts list;
    EXPECT_EQ(tool.retrieveMsgDynamicInfo(1, list), 2);
    EXPECT_EQ(list, dynamic);
    texts more{"down", "left"};
    EXPECT_EQ(tool.setMsgNavigationInfo(1, more), 1);
    EXPECT_EQ(tool.retrieveMsgNavigationInfo(1, list), 3);
    EXPECT_EQ(list, (texts{"up", "down", "left"}));
    tool.resetMsgBuffer(MSG_ALL);
    EXPECT_EQ(tool.retrieveAllMsgPosted(sids), 0);
    EXPECT_EQ(tool.retrieveLatestMsgPosted(), 1);
}

TEST_F(MsgManager, TypesOfPostsAreNamedAsTheTableSays)
{
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    msgManager tool("tool");
    const std::vector<std::tuple<const char*, int, const char*>> table{
        {"0001", 1, "Error"},   {"0002", 2, "Critical"}, {"0004", 4, "Warning"}, {"0008", 8, "Info"},
        {"0016", 16, "Status"}, {"0256", 256, ""},       {"0099", 0, ""}};
    for (const auto& [uid, type, name] : table) {
        const int sid = posted([&, uid = uid] { return tool.postMsg(uid, "x"); });
        std::string told_name = "old";
        EXPECT_EQ(tool.retrieveMsgType(sid, told_name), type);
        EXPECT_EQ(told_name, name);
    }
    EXPECT_TRUE(files.debug_says("unexpected error"));  // for the type without a name
}

TEST_F(MsgManager, ASidThatIsNoneIsRefusedByEveryMember)
{
    msgManager tool("tool");
    std::string out = "old";
    texts list{"old"};
    for (const int sid : {0, -1, 5, INT_MIN}) {
        EXPECT_EQ(tool.retrieveMsgFlag(sid), 0U);
        EXPECT_EQ(tool.retrieveMsgID(sid, out), 0);
        EXPECT_EQ(tool.retrieveMsgString(sid, out), 0);
        EXPECT_EQ(out, "");
        out = "old";
        EXPECT_EQ(tool.retrieveMsgType(sid, out), MSG_ALL);
        EXPECT_EQ(out, "");
        EXPECT_EQ(tool.retrieveMsgDynamicInfo(sid, list), 0);
        EXPECT_THAT(list, IsEmpty());
        EXPECT_EQ(tool.retrieveMsgNavigationInfo(sid, list), 0);
        EXPECT_EQ(tool.setMsgNavigationInfo(sid, list), 0);
    }
    for (const char* words :
         {"Invalid message SID==0 or -1 is provided", "caller provides non-existing msgSID",
          "caller provides an invalid msgSID", "fails to locate posted message"})
        EXPECT_TRUE(files.debug_says(words)) << words;
}

TEST_F(MsgManager, APostThatCannotBeComposedAgainIsADebugLine)
{
    msgManager tool("tool");
    const int sid = posted([&] { return tool.postUtMsgMgr(MSG_UT_ERROR, "ERROR - a", 1); });
    files.index({{"tool", "300"}});  // the file of the text is gone before it was ever read
    files.remove("common.xml");
    std::string out;
    EXPECT_EQ(tool.retrieveMsgString(sid, out), 0);
    EXPECT_TRUE(files.debug_says("fails to compose messsage for caller provided msgSID"));
}

TEST_F(MsgManager, ARecordWithoutSymbolIsAFailedAssertion)
{
    msgManager tool("tool");
    const int sid = posted([&] { return tool.postMsg("0008", "x"); });
    dl_Symbol*& symbol = files.database().retrieveMsgPosted(sid)->m_msgSymId_sym;
    delete symbol;
    symbol = nullptr;
    message_capture capture;
    std::string out;
    int ended = 0;
    EXPECT_THAT(stderr_of([&] { ended = capture.exit_value_of([&] { tool.retrieveMsgID(sid, out); }); }),
                HasSubstr("msg->m_msgSymId_sym"));
    EXPECT_EQ(ended, -134);
}

// ---- settings, forwarded

TEST_F(MsgManager, SettingsAreMadeUnderTheWholeMid)
{
    msgManager tool("tool");
    std::vector<int> mids;
    std::vector<eMessage_Type> types;
    std::vector<std::pair<int, int>> counts;
    EXPECT_EQ(tool.setMsgType("0004", MSG_ERROR, true), MSG_ERROR);
    EXPECT_EQ(tool.findMsgTypeSetting(mids, types, true), 1);
    EXPECT_EQ(mids, std::vector<int>{3000004});
    EXPECT_EQ(types, std::vector<eMessage_Type>{MSG_ERROR});
    EXPECT_EQ(tool.findMsgType("0004"), MSG_ERROR);
    EXPECT_EQ(tool.resetMsgType("0004"), 1);
    EXPECT_EQ(tool.findMsgType("0004"), MSG_WARNING);
    tool.disableMsg("0008", 0);
    std::string mid = "0001";
    tool.disableMsg(mid, 3);
    EXPECT_EQ(tool.findMsgDisabledSetting(mids, false), 1);
    EXPECT_EQ(mids, std::vector<int>{3000008});
    EXPECT_EQ(tool.findMsgDisplayCnt(counts, false), 2);
    EXPECT_THAT(counts, UnorderedElementsAre(std::pair(3000008, 0), std::pair(3000001, 3)));
    tool.enableMsg("0008");
    tool.enableMsg(mid);
    EXPECT_EQ(tool.findMsgDisplayCnt(counts, false), 0);
    texts dynamic{"x"};
    tool.disableMsg("0008", dynamic);
    EXPECT_EQ(posted([&] { return tool.postMsg("0008", "x"); }), 1);
    EXPECT_EQ(seen, console_text{});
    tool.enableMsg("0008", dynamic);
    posted([&] { return tool.postMsg("0008", "x"); });
    EXPECT_NE(seen, console_text{});
    tool.disableMsg("0008", 0);
    tool.enableMsg(static_cast<const char*>(nullptr));
    EXPECT_EQ(tool.findMsgDisplayCnt(counts, false), 0);
    tool.setMsgType("0004", MSG_ERROR);
    EXPECT_EQ(tool.resetMsgType(nullptr), 1);
    EXPECT_EQ(tool.findMsgType("0004"), MSG_WARNING);
}

TEST_F(MsgManager, SettingsOfAMidThatIsNoneAreRefused)
{
    msgManager tool("tool");
    texts dynamic;
    EXPECT_EQ(tool.setMsgType("1", MSG_ERROR), 0);
    EXPECT_EQ(tool.resetMsgType("1"), 0);
    EXPECT_EQ(tool.findMsgType("1"), 0);
    tool.disableMsg("1", 0);
    tool.disableMsg("1", dynamic);
    tool.enableMsg("1");
    tool.enableMsg("1", dynamic);
    EXPECT_TRUE(files.debug_says("msgID <1> is not valid"));
    std::vector<int> mids;
    EXPECT_EQ(tool.findMsgDisabledSetting(mids, false), 0);
}

TEST_F(MsgManager, SettingsGoToAFileAndComeBack)
{
    msgManager tool("tool");
    tool.disableMsg("0008", 0);
    EXPECT_EQ(tool.saveMsgSetting((files / "settings.xml").c_str()), 1);
    tool.enableMsg("0008");
    EXPECT_EQ(tool.setMsgSetting((files / "settings.xml").c_str()), 1);
    std::vector<int> mids;
    EXPECT_EQ(tool.findMsgDisabledSetting(mids, false), 1);
}

TEST_F(MsgManager, SwitchesAndCountsAreForwarded)
{
    msgManager tool("tool");
    tool.disableMsgType(MSG_INFO);
    EXPECT_FALSE(tool.isMsgTypePrintable(MSG_INFO));
    EXPECT_EQ(msgCache::g_InfoPrint, 0);
    tool.enableMsgType(MSG_INFO);
    EXPECT_EQ(msgCache::g_InfoPrint, 1);
    tool.resetMsgTypePrintable(MSG_INFO);
    EXPECT_EQ(msgCache::g_InfoPrint, -1);
    tool.setPrintCount(3);
    EXPECT_EQ(msgCache::g_PrintCount, 3);
    tool.resetPrintCount();
    EXPECT_EQ(msgCache::g_PrintCount, -1);
    msgManager::setMsgDisplayCntDisabled(true);
    EXPECT_TRUE(msgCache::g_msgDisplayCntDisabled);
}

// ---- destinations, forwarded

TEST_F(MsgManager, DestinationsAreForwarded)
{
    msgManager tool("tool");
    std::ostringstream stream;
    descriptor file(files / "ut", k_to_write);
    UT_STREAM ut(file, UT_ACCESS_WRITE, 4096, nullptr);
    std::FILE* const plain = std::fopen((files / "plain").c_str(), "we");
    const unsigned int log = tool.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    EXPECT_NE(log, 0U);
    tool.addstream(stream);
    tool.addUTstream(&ut);
    tool.addMsgLogFile(plain);
    tool.setMsgPiping(1);
    posted([&] { return tool.postMsg("0008", "x"); });
    EXPECT_THAT(seen.out, testing::StartsWith("    <postMsg"));
    tool.setMsgPiping(0);
    tool.delstream(stream);
    tool.delUTstream(&ut);
    tool.delMsgLogFile(plain);
    tool.finishMsgLogFile(log);
    posted([&] { return tool.postMsg("0008", "y"); });
    std::fclose(plain);
    ut.flush();
    const std::string line = "INFO <3000008> - i x";
    EXPECT_EQ(stream.str(), line + "\n");
    EXPECT_EQ(file_bytes(files / "plain"), line + "\n");
    EXPECT_EQ(file_bytes(files / "ut"), line + "\r\n");
    EXPECT_THAT(file_bytes(files / "log"), EndsWith("</messageLogFile>\n"));
    EXPECT_FALSE(files.debug_says("cannot locate"));
    tool.postDebugMsg("words", "place", 7);
    EXPECT_TRUE(files.debug_says("words <place:7>\n"));
}

TEST_F(MsgManager, ADebugLineIsWrittenWhileAnotherThreadHoldsTheSection)
{
    files.database().msgEnterCriticalSection();
    std::thread([] { msgManager().postDebugMsg("no lock", "a", 1); }).join();
    EXPECT_EQ(files.database().msgLeaveCriticalSection(), 1);
    EXPECT_TRUE(files.debug_says("no lock"));
}

TEST_F(MsgManager, TheSectionMayBeEnteredAgainByItsOwner)
{
    msgDbManager& db = files.database();
    EXPECT_EQ(db.msgEnterCriticalSection(), 1);
    EXPECT_EQ(posted([] { return msgManager("tool").postMsg("0008", "x"); }), 1);
    EXPECT_EQ(db.msgLeaveCriticalSection(), 1);
}

// ---- data

TEST_F(MsgManager, StatisticsAndOuterNumbersAreForwarded)
{
    msgManager tool("tool");
    posted([&] { return tool.postMsg("0008", "x"); });
    EXPECT_EQ(tool.saveMsgStatistic("run", (files / "statistic").c_str()), 1);
    EXPECT_EQ(file_bytes(files / "statistic"), "[run]\n3000008=1\n");
    tool.clearVerificMsgIDs();
    tool.storeVerificMsgID("a", "b", "c", 4);
    tool.storeVerificMsgID("", "b", "c", 5);
    EXPECT_EQ(tool.retrieveVerificMsgIDs(), (msgManager::outer_ids{{"a", {{"b", {"c", 4U}}}}}));
    tool.clearVerificMsgIDs();
    EXPECT_THAT(tool.retrieveVerificMsgIDs(), IsEmpty());
}

// ---- editing the store

TEST_F(MsgManager, MessagesAreListedAddedAndChanged)
{
    msgManager tool("tool");
    std::vector<int> uids;
    EXPECT_EQ(tool.getMessages(uids), 9);
    EXPECT_EQ(uids.front(), 1);
    EXPECT_EQ(msgManager().getMessages(uids), 0);
    EXPECT_THAT(uids, IsEmpty());
    EXPECT_EQ(tool.newMsgDB("0100", "new $$s"), 1);
    EXPECT_EQ(posted([&] { return tool.postMsg("0100", "x"); }), 1);
    EXPECT_EQ(seen.out, "new x\n");
    EXPECT_EQ(tool.updateMsgString("0100", "newer"), 1);
    EXPECT_EQ(tool.updateMsgType("0100", "Warning", 1), 1);
    posted([&] { return tool.postMsg("0100"); });
    EXPECT_EQ(seen.out, "WARNING <3000100> - newer\n");
    EXPECT_EQ(tool.exportMessageFile((files / "out.xml").c_str()), 1);
    EXPECT_THAT(file_bytes(files / "out.xml"), HasSubstr("newer"));
    EXPECT_EQ(msgManager().exportMessageFile((files / "none.xml").c_str()), 0);
    EXPECT_EQ(tool.exportMessageIndexFile((files / "index.xml").c_str()), 1);
    EXPECT_THAT(file_bytes(files / "index.xml"), HasSubstr("fid=\"300\""));
}

TEST_F(MsgManager, EditingAMidThatIsNoneIsRefused)
{
    msgManager tool("tool");
    EXPECT_EQ(tool.newMsgDB("1", "x"), 0);
    EXPECT_TRUE(files.debug_says("caller provided invalid message ID=<1>"));
    EXPECT_EQ(tool.updateMsgString("1", "x"), 0);
    EXPECT_EQ(tool.updateMsgType("1", "Error", 0), 0);
    EXPECT_EQ(tool.newMsgDB("9990001", "x"), 0);
    EXPECT_EQ(tool.updateMsgString("9990001", "x"), 0);
    EXPECT_EQ(tool.updateMsgType("7777", "Error", 0), 0);
}

TEST_F(MsgManager, ANewFileIsBoundToTheObject)
{
    const std::string here = std::filesystem::current_path();
    std::filesystem::current_path(files.path());  // copies for diagnosis go to the working directory
    msgManager tool("tool");
    EXPECT_EQ(tool.newMsgFile("tool", "999", nullptr), nullptr);
    EXPECT_EQ(tool.newMsgFile("fresh", "999", "fr"), &tool);
    EXPECT_EQ(tool.getFID(), "300");
    std::string out;
    EXPECT_EQ(tool.queryMsgFile(MSGDB_FILE_NAME, out), 1);
    EXPECT_EQ(out, "fresh");
    EXPECT_EQ(tool.exportMessageFile((files / "fresh.xml").c_str()), 1);
    EXPECT_THAT(file_bytes(files / "fresh.xml"), HasSubstr("fid=\"999\""));
    std::filesystem::current_path(here);
}

TEST_F(MsgManager, RetiredMembersSaySo)
{
    msgManager any;
    EXPECT_EQ(posted([&] { return any.updateMsgDB(); }), 1);
    EXPECT_EQ(seen.out, "msgManager::updateMsgDB is obsoleted\n");
    EXPECT_EQ(any.updateMsgFile(), 0);
    EXPECT_EQ(any.queryMsgInfoCount(), 0);
}

// ---- the end

TEST_F(MsgManager, EndingTheMessagesTwiceIsNoHarmAndALateReportMakesANewDatabase)
{
    const unsigned int log = msgManager().startMsgLogFile((files / "log").c_str(), MSG_ALL);
    EXPECT_NE(log, 0U);
    msgManager::endMessages();
    msgManager::endMessages();
    EXPECT_EQ(msgDbManager::findUniqueDbManager(), nullptr);
    EXPECT_EQ(msgManager::msgManagerInitPtr, nullptr);
    EXPECT_THAT(file_bytes(files / "log"), EndsWith("  </postMsgs>\n</messageLogFile>\n"));
    EXPECT_EQ(posted([] { return msgManager("tool").postMsg("0008", "late"); }), 1);
    EXPECT_EQ(seen.out, "INFO <3000008> - i late\n");
}

TEST_F(MsgManager, ACopyOfTheDatabaseSharesItsRecords)
{
    const unsigned int log = msgManager().startMsgLogFile((files / "log").c_str(), MSG_ALL);
    posted([] { return msgManager("tool").postMsg("0008", "x"); });
    {
        msgDbManager copy(files.database());
        EXPECT_EQ(copy.retrieveMsgPosted(1), files.database().retrieveMsgPosted(1));
    }
    // The end of the copy has completed the log, too.
    EXPECT_EQ(posted([] { return msgManager("tool").postMsg("0008", "y"); }), 2);
    msgManager().finishMsgLogFile(log);
    EXPECT_THAT(file_bytes(files / "log"), EndsWith("arg0=\"x\"  />\n  </postMsgs>\n</messageLogFile>\n"));
}

// ---- whole processes

child_result run(const message_files& files, const char* scenario, const child_environment& more = {})
{
    const std::string root = files.path();
    child_environment changes{{"FOUNDRY", root.c_str()}, {"ENV", nullptr}, {"TOOLRTF", nullptr}};
    changes.insert(changes.end(), more.begin(), more.end());
    return run_child(child_program("utmsgmanager_child"), {scenario, files / "log"}, changes);
}

struct format_row {
    const char* format;    ///< QVS_MSGMGR_FORMAT
    const char* shell_id;  ///< QVS_SHELL_MESSAGE_ID
    const char* line;
};

TEST_F(MsgManager, LabelsFollowTheTwoVariables)
{
    const std::vector<format_row> table{{nullptr, nullptr, "WARNING <3000004> - w x\n"},
                                        {"1", "1", "WARNING <3000004> - w x\n"},
                                        {"1", "2", "WARNING <3000004> - w x\n"},
                                        {"1", "0", "WARNING - w x\n"},
                                        {"1", "-1", "WARNING - w x\n"},
                                        {"1", "text", "WARNING - w x\n"},
                                        {"2", nullptr, "Warning <3000004> - w x\n"},
                                        {"2", "0", "Warning - w x\n"},
                                        {"0", nullptr, "Warning <3000004> - w x\n"},
                                        {"text", nullptr, "Warning <3000004> - w x\n"},
                                        {"-1", nullptr, "WARNING <3000004> - w x\n"},
                                        {"-2", nullptr, "Warning <3000004> - w x\n"},
                                        {"3", nullptr, "WARNING <3000004> - w x\n\n"},
                                        {"4", nullptr, "Warning <3000004> - w x\n\n"},
                                        {"7", "0", "WARNING - w x\n\n"}};
    for (const format_row& row : table) {
        const child_result seen_by_parent = run(
            files, "warning", {{"QVS_MSGMGR_FORMAT", row.format}, {"QVS_SHELL_MESSAGE_ID", row.shell_id}});
        EXPECT_EQ(seen_by_parent.out, row.line) << (row.format != nullptr ? row.format : "unset");
        EXPECT_EQ(seen_by_parent.exit_status, 0);
    }
}

TEST_F(MsgManager, EveryTypeHasItsLabelInBothFormats)
{
    EXPECT_EQ(run(files, "types", {{"QVS_MSGMGR_FORMAT", "2"}, {"QVS_SHOW_DEBUG_MESSAGE", "1"}}).out,
              "Critical <3000002> - c\nWarning <3000004> - w x\nInfo <3000008> - i x\ns x\nDebug <3000256> - "
              "d\nn\n");
    EXPECT_EQ(run(files, "types", {{"QVS_MSGMGR_FORMAT", "2"}, {"QVS_SHOW_DEBUG_MESSAGE", "1"}}).err,
              "Error <3000001> - e x\n");
}

TEST_F(MsgManager, AFoldedTextHangsAt75AndEndsInABlankLine)
{
    // 75 columns: the label and eleven words of five; the rest hangs behind the label's hyphen.
    const child_result child = run(files, "long", {{"QVS_MSGMGR_FORMAT", "3"}});
    std::string words;
    for (int i = 0; i < 10; ++i) words += " word";
    EXPECT_EQ(child.out, "INFO <3000008> - i" + words + " word\n" + std::string(17, ' ') + "word" +
                             words.substr(5 * 2) + "\n\n");
}

TEST_F(MsgManager, AFormatOfZeroIsReadAgainAtEachMessageAndAnyOtherOnce)
{
    EXPECT_EQ(run(files, "change", {{"QVS_MSGMGR_FORMAT", "0"}}).out,
              "Warning <3000004> - w a\nWARNING <3000004> - w b\n");
    EXPECT_EQ(run(files, "change", {{"QVS_MSGMGR_FORMAT", "2"}}).out,
              "Warning <3000004> - w a\nWarning <3000004> - w b\n");
}

TEST_F(MsgManager, AnUnlabelledTextIsFoldedOnceTheFormatIsKnown)
{
    EXPECT_EQ(run(files, "bare", {{"QVS_MSGMGR_FORMAT", "3"}}).out, "[w x][w x\n]");
}

TEST_F(MsgManager, ANormalEndCompletesTheLogs)
{
    const child_result child = run(files, "log");
    EXPECT_EQ(child.exit_status, 0);
    EXPECT_THAT(file_bytes(files / "log"), EndsWith("arg0=\"x\"  />\n  </postMsgs>\n</messageLogFile>\n"));
}

TEST_F(MsgManager, APostBehindTheEndOfTheDatabaseIsShown)
{
    const child_result child = run(files, "late");
    EXPECT_EQ(child.exit_status, 0);
    EXPECT_EQ(child.out, "INFO <3000008> - i early\nINFO <3000008> - i late\n");
    EXPECT_THAT(file_bytes(files / "log"),
                EndsWith("arg0=\"early\"  />\n  </postMsgs>\n</messageLogFile>\n"));
}

TEST_F(MsgManager, ThreadsMayMakeTheFirstObjectAtOnce)
{
    for (int i = 0; i < 5; ++i) {
        const child_result child = run(files, "race");
        EXPECT_EQ(child.exit_status, 0);
        EXPECT_EQ(child.out, "databases 1 sids 8\n");
    }
}

TEST_F(MsgManager, AnExitWhileThreadsPostIsCleanAndTheLogWellFormed)
{
    const child_result child = run(files, "exit");
    EXPECT_EQ(child.exit_status, 3);
    EXPECT_EQ(child.signal, 0);
    EXPECT_THAT(file_bytes(files / "log"), EndsWith("/>\n  </postMsgs>\n</messageLogFile>\n"));
}

}  // namespace
