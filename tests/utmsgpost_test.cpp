// The way of a post through the message database.
#include <atomic>
#include <climits>
#include <cstdio>
#include <limits>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "message_files.h"
#include "message_sinks.h"
#include "stream_tools.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using texts = std::vector<std::string>;

/// A database with one message of each type in "tool", its UID being the type's value.
class MsgPost : public testing::Test {
protected:
    MsgPost()
    {
        files.tool({{"0001", "Error", "e $$s"},
                    {"0002", "Critical", "c $$s"},
                    {"0004", "Warning", "w $$s"},
                    {"0008", "Info", "i $$s"},
                    {"0016", "Status", "s $$s"},
                    {"0256", "Debug", "d $$s"},
                    {"0099", "x", "n $$s"},
                    {"0012", "Error", "Cannot open $$s at $$d"},
                    {"0013", "Info", "plain"},
                    {"0014", "Info"}});
    }
    ~MsgPost() override { ut_msgman->setprogname(nullptr); }

    int post(const char* uid, const char* argument = "x")
    {
        return msgManager("tool").postMsg(uid, argument);
    }
    msgPosted* record(int sid) { return files.database().retrieveMsgPosted(sid); }
    std::string shown(int sid)
    {
        std::string text;
        msgManager("tool").retrieveMsgString(sid, text);
        return text;
    }
    std::string display(const char* mid, const texts& arguments, int type = 0, bool bare = false)
    {
        texts given = arguments;
        std::string out;
        return files.database().composedMessageDisplay(mid, given, out, type, bare) != nullptr ? out
                                                                                               : "(null)";
    }

    message_files files;
    told_calls told_about;
};

// ---- whether a post is shown

struct decision {
    const char* what;
    int limit = msgSetting::k_no_limit;  ///< of a setting; `no_setting` for none
    texts hidden = {};
    texts arguments = {};
    int type_switch = -1;
    int print_count = -1;
    int printed_before = 0;
    int decrement = 1;
    bool count_disabled = false;
    int answer = -1;
    int limit_after = msgSetting::k_no_limit;
};
constexpr int no_setting = INT_MIN;

TEST_F(MsgPost, IsShownAsTheTableOfDecisionsSays)
{
    const std::vector<decision> table{
        {.what = "no setting", .limit = no_setting},
        {.what = "a setting without limit"},
        {.what = "a hidden text",
         .limit = 5,
         .hidden = {" a 7"},
         .arguments = {"a", "7"},
         .answer = 0,
         .limit_after = 5},
        {.what = "another text", .hidden = {" a 7"}, .arguments = {"a", "8"}},
        {.what = "another text with a limit",
         .limit = 2,
         .hidden = {" a"},
         .arguments = {"b"},
         .answer = 2,
         .limit_after = 1},
        {.what = "a hidden empty text needs an argument", .hidden = {""}},
        {.what = "a limit counts down", .limit = 3, .answer = 3, .limit_after = 2},
        {.what = "a limit of one", .limit = 1, .answer = 1, .limit_after = 0},
        {.what = "a limit that is only asked for", .limit = 3, .decrement = 0, .answer = 3, .limit_after = 3},
        {.what = "limits that do not count",
         .limit = 3,
         .count_disabled = true,
         .answer = 3,
         .limit_after = 3},
        {.what = "a limit of zero", .limit = 0, .answer = 0, .limit_after = 0},
        {.what = "a limit below -1", .limit = -2, .answer = -2, .limit_after = -2},
        {.what = "a limit goes before the switch",
         .limit = 3,
         .type_switch = 0,
         .answer = 3,
         .limit_after = 2},
        {.what = "below -1 goes before the switch",
         .limit = -7,
         .type_switch = 0,
         .answer = -7,
         .limit_after = -7},
        {.what = "a limit goes before the print count",
         .limit = 3,
         .print_count = 0,
         .answer = 3,
         .limit_after = 2},
        {.what = "switched off", .type_switch = 0, .answer = 0},
        {.what = "switched off without setting", .limit = no_setting, .type_switch = 0, .answer = 0},
        {.what = "switched on", .type_switch = 1},
        {.what = "print count of zero", .print_count = 0, .answer = 0},
        {.what = "print count not reached", .arguments = {"a"}, .print_count = 2, .printed_before = 1},
        {.what = "print count reached",
         .arguments = {"a"},
         .print_count = 2,
         .printed_before = 2,
         .answer = 0},
        {.what = "no print count", .arguments = {"a"}, .print_count = -1, .printed_before = 9},
        {.what = "print count without arguments", .print_count = 1, .printed_before = 1, .answer = 0},
        {.what = "a switch that is on does not beat the print count",
         .type_switch = 1,
         .print_count = 0,
         .answer = 0},
    };
    for (const decision& row : table) {
        SCOPED_TRACE(row.what);
        msgCache message("3000004");
        message.m_record = new msgInDb;
        message.m_record->m_type = MSG_WARNING;
        if (row.limit != no_setting) {
            message.setting().m_displayCount = row.limit;
            message.setting().m_disabled = row.hidden;
        }
        texts arguments = row.arguments;
        std::string merged;
        mergeDynamicInfo(arguments, merged);
        for (int i = 0; i < row.printed_before; ++i) message.m_printed.insert(merged);
        msgCache::g_WarningPrint = row.type_switch;
        msgCache::g_PrintCount = row.print_count;
        msgCache::g_msgDisplayCntDisabled = row.count_disabled;
        EXPECT_EQ(message.msgIsPrintable(arguments, row.decrement), row.answer);
        if (row.limit == no_setting) continue;
        EXPECT_EQ(message.setting().m_displayCount, row.limit_after);
    }
}

TEST_F(MsgPost, TheSwitchOfATypeHidesThatTypeAlone)
{
    const std::vector<std::pair<int, int*>> switches{{1, &msgCache::g_ErrorPrint},
                                                     {2, &msgCache::g_CriticalPrint},
                                                     {4, &msgCache::g_WarningPrint},
                                                     {8, &msgCache::g_InfoPrint},
                                                     {16, &msgCache::g_StatusPrint}};
    for (const auto& [off, off_switch] : switches) {
        msgCache::msgTypeSetPrintable(MSG_ALL, -1);
        msgCache::msgTypeSetPrintable(off, 0);
        EXPECT_EQ(*off_switch, 0);
        for (const int type : {1, 2, 4, 8, 16, 32, 64, 128, 256}) {
            msgCache message("3000000");
            message.m_record = new msgInDb;
            message.m_record->m_type = type;
            texts none;
            EXPECT_EQ(message.msgIsPrintable(none, 1), type == off ? 0 : -1) << off << " " << type;
        }
    }
}

TEST_F(MsgPost, SwitchesAreSetByMaskAndToldByTheLowestBit)
{
    msgDbManager& db = files.database();
    db.disableMsgType(MSG_WARNING | MSG_STATUS);
    EXPECT_EQ(msgCache::g_ErrorPrint, -1);
    EXPECT_EQ(msgCache::g_CriticalPrint, -1);
    EXPECT_EQ(msgCache::g_WarningPrint, 0);
    EXPECT_EQ(msgCache::g_InfoPrint, -1);
    EXPECT_EQ(msgCache::g_StatusPrint, 0);
    const std::vector<std::pair<int, bool>> table{
        {1, true},      {4, false},  {16, false}, {4 | 16, false}, {1 | 4, true}, {4 | 8, false},
        {8 | 16, true}, {511, true}, {0, true},   {256, true},     {32, true},    {32 | 16, false}};
    for (const auto& [types, on] : table) EXPECT_EQ(db.isMsgTypePrintable(types), on) << types;
    db.enableMsgType(MSG_ALL);
    EXPECT_EQ(msgCache::g_WarningPrint, 1);
    db.resetMsgTypePrintable(MSG_ALL);
    EXPECT_EQ(msgCache::g_WarningPrint, -1);
}

TEST_F(MsgPost, TheThirdIdenticalPostIsRecordedAndNotShown)
{
    msgManager("tool").setPrintCount(2);
    int sid = 0;
    EXPECT_EQ(console_of([&] {
                  post("0008", "a");
                  post("0008", "a");
              }).out,
              "INFO <3000008> - i a\nINFO <3000008> - i a\n");
    EXPECT_EQ(console_of([&] { sid = post("0008", "a"); }), console_text{});
    EXPECT_EQ(sid, 3);
    ASSERT_NE(record(3), nullptr);
    EXPECT_EQ(record(3)->m_display, 0);
    EXPECT_EQ(console_of([&] { post("0008", "b"); }).out, "INFO <3000008> - i b\n");
    msgManager("tool").setPrintCount(2);  // forgets what was printed
    EXPECT_EQ(console_of([&] { post("0008", "a"); }).out, "INFO <3000008> - i a\n");
}

TEST_F(MsgPost, ALimitOfOneShowsOnceAndACountThatIsDisabledShowsAlways)
{
    msgManager tool("tool");
    tool.disableMsg("0008", 1);
    EXPECT_EQ(console_of([&] { post("0008"); }).out, "INFO <3000008> - i x\n");
    EXPECT_EQ(console_of([&] { post("0008"); }).out, "");
    tool.disableMsg("0008", 1);
    msgManager::setMsgDisplayCntDisabled(true);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(console_of([&] { post("0008"); }).out, "INFO <3000008> - i x\n");
}

TEST_F(MsgPost, AHiddenTextIsComparedWithTheReducedArguments)
{
    const std::string large(600, 'a');
    texts arguments{large};
    files.database().disableMsg("3000008", arguments);
    EXPECT_NE(console_of([&] { post("0008", large.c_str()); }).out, "");
    texts reduced;
    dynamicDataReduction(arguments, reduced);
    files.database().disableMsg("3000008", reduced);
    EXPECT_EQ(console_of([&] { post("0008", large.c_str()); }).out, "");
}

// ---- the record and the counts

TEST_F(MsgPost, TheRecordHoldsAllThatWasPosted)
{
    texts dynamic{"a", std::string(501, 'l'), "surplus"};
    texts navigation{"up", "down"};
    int sid = 0;
    console_of([&] { sid = files.database().postMsg("3000012", dynamic, navigation, 77); });
    ASSERT_EQ(sid, 1);
    const msgPosted* const post = record(sid);
    ASSERT_NE(post, nullptr);
    EXPECT_STREQ(post->m_msgSymId_sym->c_str(), "3000012");
    EXPECT_EQ(post->m_sid, 1);
    EXPECT_EQ(post->m_flags, 77U);
    ASSERT_EQ(post->m_dynamic.size(), 3U);
    EXPECT_EQ(post->m_dynamic[0], "a");
    EXPECT_EQ(post->m_dynamic[1].size(), 500U);
    EXPECT_EQ(post->m_dynamic[2], "surplus");
    ASSERT_EQ(post->m_navigation.size(), 2U);
    EXPECT_STREQ(post->m_navigation[0]->c_str(), "up");
    EXPECT_STREQ(post->m_navigation[1]->c_str(), "down");
    EXPECT_EQ(post->m_display, -1);
    EXPECT_EQ(dynamic[1].size(), 501U);  // the caller's stays
}

TEST_F(MsgPost, SidsRiseByOneAndTheLatestIsTold)
{
    msgDbManager& db = files.database();
    EXPECT_EQ(db.retrieveLatestMsgPosted(), 0);
    console_of([&] {
        EXPECT_EQ(post("0001"), 1);
        EXPECT_EQ(post("0016"), 2);
        EXPECT_EQ(db.postUtMsgMgr(MSG_WARNING, "WARNING - a", 1), 3);
        EXPECT_EQ(post("0008"), 4);
    });
    EXPECT_EQ(db.retrieveLatestMsgPosted(), 4);
    std::vector<int> sids{99};
    EXPECT_EQ(db.retrieveAllMsgPosted(sids), 4);
    EXPECT_THAT(sids, UnorderedElementsAre(1, 2, 3, 4));
}

struct database_at : msgDbManager {
    explicit database_at(int sid) { m_lastSid = sid; }
    void go_back() { m_lastSid = 0; }
};

TEST_F(MsgPost, TheSidBehind0x7FFFFFFEIsOne)
{
    delete msgDbManager::findUniqueDbManager();
    msgDbManager::setUniqueDbManager(new database_at(0x7FFFFFFD));
    console_of([&] {
        EXPECT_EQ(post("0008"), 0x7FFFFFFE);
        EXPECT_EQ(post("0008"), 1);
        EXPECT_EQ(post("0008"), 2);
    });
}

TEST_F(MsgPost, ARecordUnderATakenSidIsReplaced)
{
    delete msgDbManager::findUniqueDbManager();
    auto* const db = new database_at(0);
    msgDbManager::setUniqueDbManager(db);
    console_of([&] {
        post("0008", "old");
        db->go_back();
        EXPECT_EQ(post("0012", "new"), 1);
    });
    std::vector<int> sids;
    EXPECT_EQ(db->retrieveAllMsgPosted(sids), 1);
    EXPECT_STREQ(record(1)->m_msgSymId_sym->c_str(), "3000012");
}

TEST_F(MsgPost, OnlyShownPostsCountForTheProcessAndAllForTheObject)
{
    msgManager tool("tool");
    msgDbManager& db = files.database();
    console_of([&] {
        for (const char* uid :
             {"0001", "0002", "0002", "0004", "0004", "0004", "0008", "0016", "0256", "0099"})
            tool.postMsg(uid, "x");
        tool.disableMsg("0001", 0);
        tool.postMsg("0001", "x");
    });
    EXPECT_EQ(db.getErrorPosted(), 1U);
    EXPECT_EQ(db.getCriticalPosted(), 2U);
    EXPECT_EQ(db.getWarningPosted(), 3U);
    EXPECT_EQ(db.getInfoPosted(), 1U);
    EXPECT_EQ(db.getStatusPosted(), 1U);
    EXPECT_EQ(tool.getErrorPosted(1), 2U);
    EXPECT_EQ(tool.getErrorPosted(0), 1U);
}

TEST_F(MsgPost, ATypeSetByAUserDecidesStreamLabelAndCount)
{
    msgManager tool("tool");
    tool.setMsgType("0004", MSG_ERROR);
    EXPECT_EQ(console_of([&] { tool.postMsg("0004", "x"); }), (console_text{"", "ERROR <3000004> - w x\n"}));
    EXPECT_EQ(tool.getErrorPosted(0), 1U);
    EXPECT_EQ(tool.getErrorPosted(1), 1U);
    EXPECT_EQ(tool.getWarningPosted(1), 0U);
}

// ---- debug messages

TEST_F(MsgPost, ADebugMessageHeldBackIsRecordedAndNotLogged)
{
    const unsigned int log = files.database().startMsgLogFile((files / "log").c_str(), MSG_ALL);
    int sid = 0;
    EXPECT_EQ(console_of([&] { sid = post("0256"); }), console_text{});
    EXPECT_EQ(sid, -1);
    EXPECT_EQ(files.database().retrieveLatestMsgPosted(), 1);
    ASSERT_NE(record(1), nullptr);
    EXPECT_EQ(record(1)->m_display, -1);
    {
        const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "");
        EXPECT_EQ(console_of([&] { sid = post("0256"); }).out, "DEBUG <3000256> - d x\n");
        EXPECT_EQ(sid, 2);
    }
    msgManager("tool").disableMsg("0256", 0);  // hidden by a count, it is logged
    EXPECT_EQ(console_of([&] { sid = post("0256"); }), console_text{});
    EXPECT_EQ(sid, 3);
    files.database().finishMsgLogFile(log);
    const std::string written = file_bytes(files / "log");
    int lines = 0;
    for (std::size_t at = 0; (at = written.find("<postMsg mid", at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, 2);
}

// ---- the label, and the stream of the console

struct console_row {
    const char* mid;
    int set_type;  ///< a user's setting; 0 for none
    bool on_error_stream;
    const char* text;
};

TEST_F(MsgPost, LabelAndStreamFollowFromTheType)
{
    const std::vector<console_row> table{
        {"3000001", 0, true, "ERROR <3000001> - e x\n"},
        {"3000002", 0, false, "CRITICAL <3000002> - c x\n"},
        {"3000004", 0, false, "WARNING <3000004> - w x\n"},
        {"3000008", 0, false, "INFO <3000008> - i x\n"},
        {"3000016", 0, false, "s x\n"},
        {"3000256", 0, false, "DEBUG <3000256> - d x\n"},
        {"3000099", 0, false, "n x\n"},
        {"3000008", MSG_UT_ERROR, true, "i x\n"},
        {"3000008", MSG_UT_FATAL, true, "i x\n"},
        {"3000008", MSG_UT_INTERNAL, true, "i x\n"},
        {"3000008", 3, false, "i x\n"},
    };
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    for (const console_row& row : table) {
        SCOPED_TRACE(std::string(row.mid) + " as " + std::to_string(row.set_type));
        msgManager tool("tool");
        if (row.set_type != 0) tool.setMsgType(row.mid, static_cast<eMessage_Type>(row.set_type));
        const console_text seen = console_of([&] { tool.postMsg(row.mid, "x"); });
        EXPECT_EQ(seen, (row.on_error_stream ? console_text{"", row.text} : console_text{row.text, ""}));
    }
}

TEST_F(MsgPost, TheProgramNameFollowsTheLabelButForStatus)
{
    ut_msgman->setprogname("par");
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    const std::vector<std::pair<const char*, const char*>> table{{"0001", "ERROR <3000001> - par: e x"},
                                                                 {"0002", "CRITICAL <3000002> - par: c x"},
                                                                 {"0004", "WARNING <3000004> - par: w x"},
                                                                 {"0008", "INFO <3000008> - par: i x"},
                                                                 {"0016", "s x"},
                                                                 {"0256", "DEBUG <3000256> - par: d x"},
                                                                 {"0099", "par: n x"}};
    for (const auto& [uid, text] : table) {
        const console_text seen = console_of([&, uid = uid] { post(uid); });
        EXPECT_EQ(seen.out + seen.err, std::string(text) + "\n");
    }
    ut_msgman->setprogname("");
    EXPECT_EQ(console_of([&] { post("0008"); }).out, "INFO <3000008> - i x\n");
}

TEST_F(MsgPost, TheBridgeOfErrorsIsLabelledWithItsNumber)
{
    EXPECT_EQ(console_of([] { ut_error("x"); }), (console_text{"", "ERROR <1009990> - x\n"}));
    EXPECT_EQ(console_of([] { ut_warning("x"); }), (console_text{"WARNING <1009991> - x\n", ""}));
    EXPECT_EQ(console_of([] { ut_info("x"); }), (console_text{"INFO <1009992> - x\n", ""}));
}

// ---- the text

TEST_F(MsgPost, ComposingTakesTypeAndLabelAsAsked)
{
    EXPECT_EQ(display("3000012", {"a", "7"}), "ERROR <3000012> - Cannot open a at 7");
    EXPECT_EQ(display("3000012", {"a", "7"}, MSG_WARNING), "WARNING <3000012> - Cannot open a at 7");
    EXPECT_EQ(display("3000012", {"a", "7"}, MSG_STATUS), "Cannot open a at 7");
    EXPECT_EQ(display("3000012", {"a", "7"}, 0, true), "Cannot open a at 7");
    EXPECT_EQ(display("3000012", {"a"}), "ERROR <3000012> - Cannot open a at ");
    EXPECT_EQ(display("3000012", {"a", "b", "c"}), "ERROR <3000012> - Cannot open a at b");
    EXPECT_EQ(display("3000014", {"a"}), "INFO <3000014> - ");
}

TEST_F(MsgPost, ComposingWhatIsNotThereGivesNull)
{
    EXPECT_EQ(display("9990001", {}), "(null)");
    EXPECT_TRUE(files.debug_says("message is not existed in message cache"));
    EXPECT_EQ(display("1", {}), "(null)");
    EXPECT_EQ(display(nullptr, {}), "(null)");
}

TEST_F(MsgPost, TheTemplatesEscapesAreResolvedInTheDisplay)
{
    files.tool({{"0001", "Status", "a\\nb\\tc $$s"}});
    files.restart();
    EXPECT_EQ(console_of([&] { post("0001", "\\n"); }).out, "a\nb\tc \\n\n");
}

TEST_F(MsgPost, FormatStringFoldsWithTheHangingIndent)
{
    struct {
        std::string text;
        int width;
        std::string folded;
    } const table[] = {
        {"", 75, "\n"},
        {"short", 75, "short\n"},
        {"ERROR - one two three four", 20, "ERROR - one two\n        three four\n"},
        {"a: one two three four", 12, "a: one two\n   three four\n"},
        {"one two three four", 13, "one two three\n   four\n"},
        {"a\nb\tc\x01\x7F\xC3", 75, "a b c   \n"},
    };
    for (const auto& row : table) {
        std::string out = "old";
        EXPECT_EQ(files.database().formatString(row.text.c_str(), out, row.width),
                  static_cast<int>(row.folded.size()));
        EXPECT_EQ(out, row.folded);
    }
    std::string out;
    EXPECT_EQ(files.database().formatString(nullptr, out, 75), 1);
    files.database().formatString("some text", out, -5);
    EXPECT_EQ(out, "some text\n");  // a line has room for ten characters at least
    EXPECT_EQ(files.database().formatString("some text", out, INT_MAX), 10);
}

TEST_F(MsgPost, ATextOf2100CharactersAndManyMarksAreCutWithoutHarm)
{
    const std::string large(2'100, 'x');
    std::string marks;
    for (int i = 0; i < 200; ++i) marks += "$$d";
    const std::string bad_bytes = "\xC3\x28\xFF $$s";
    files.tool({{"0001", "Status", large.c_str()},
                {"0002", "Status", marks.c_str()},
                {"0003", "Status", bad_bytes.c_str()},
                {"0004", "Status", "tail $$"}});
    files.restart();
    EXPECT_EQ(display("3000001", {}), std::string(2'024, 'x'));
    EXPECT_EQ(display("3000002", texts(200, "1")), std::string(200, '1'));
    EXPECT_EQ(display("3000003", {"\xFE"}), "\xC3\x28\xFF \xFE");
    EXPECT_EQ(console_of([&] { post("0004", "no"); }).out, "tail \n");
    EXPECT_EQ(console_of([&] { post("0003", "\xFE"); }).out, "\xC3\x28\xFF \xFE\n");
}

// ---- destinations

TEST_F(MsgPost, EveryDestinationGetsTheLineOfAShownPost)
{
    std::ostringstream stream;
    descriptor file(files / "ut", k_to_write);
    UT_STREAM ut(file, UT_ACCESS_WRITE, 4096, nullptr);
    std::FILE* const plain = std::fopen((files / "plain").c_str(), "we");
    msgManager tool("tool");
    tool.addstream(stream);
    tool.addUTstream(&ut);
    tool.addMsgLogFile(plain);
    const console_text seen = console_of([&] {
        tool.postMsg("0001", "a\nb");
        EXPECT_EQ(file_bytes(files / "plain"), "ERROR <3000001> - e a\nb\n");  // flushed
        tool.disableMsg("0004", 0);
        tool.postMsg("0004", "hidden");
        tool.postMsg("0016", "c");
    });
    EXPECT_EQ(seen, (console_text{"s c\n", "ERROR <3000001> - e a\nb\n"}));
    EXPECT_EQ(stream.str(), "ERROR <3000001> - e a\nb\ns c\n");
    tool.delstream(stream);
    tool.delUTstream(&ut);
    tool.delMsgLogFile(plain);
    console_of([&] { tool.postMsg("0001", "later"); });
    std::fclose(plain);
    EXPECT_EQ(file_bytes(files / "plain"), "ERROR <3000001> - e a\nb\ns c\n");
    EXPECT_EQ(stream.str(), "ERROR <3000001> - e a\nb\ns c\n");
    ut.flush();
    EXPECT_EQ(file_bytes(files / "ut"), "ERROR <3000001> - e a\r\nb\r\ns c\r\n");
}

TEST_F(MsgPost, ASuspendedUtStreamGetsNothing)
{
    descriptor file(files / "ut", k_to_write);
    UT_STREAM ut(file, UT_ACCESS_WRITE, 4096, nullptr);
    msgManager tool("tool");
    tool.addUTstream(&ut);
    console_of([&] {
        ut.push();
        tool.postMsg("0008", "no");
        tool.postUtMsgMgr(MSG_INFO, "INFO - no", 1);
        ut.pop();
        tool.postMsg("0008", "yes");
    });
    tool.delUTstream(&ut);
    ut.flush();
    EXPECT_EQ(file_bytes(files / "ut"), "INFO <3000008> - i yes\r\n");
}

TEST_F(MsgPost, StreamsAreServedAlsoWhenACallBackShowsThePost)
{
    std::ostringstream stream;
    msgManager tool("tool");
    tool.addstream(stream);
    for (const bool with_callback : {true, false}) {
        tool.setCallbackMsgFun(with_callback ? told_calls::callback : nullptr);
        tool.setPostMsgFun(with_callback ? nullptr : told_calls::post_function);
        EXPECT_EQ(console_of([&] { tool.postMsg("0001", "x"); }), console_text{});
    }
    EXPECT_EQ(stream.str(), "ERROR <3000001> - e x\nERROR <3000001> - e x\n");
    tool.delstream(stream);
}

TEST_F(MsgPost, PipingWritesTheLogLineInPlaceOfTheText)
{
    std::ostringstream stream;
    msgManager tool("tool");
    tool.addstream(stream);
    tool.setMsgPiping(1);
    EXPECT_EQ(console_of([&] { tool.postMsg("0001", "<"); }),
              (console_text{"    <postMsg mid=\"3000001\" type=\"Error\" dynamic=\"1\" navigation=\"0\" "
                            "arg0=\"&lt;\"  />\n",
                            ""}));
    EXPECT_EQ(stream.str(), "ERROR <3000001> - e <\n");
    EXPECT_EQ(console_of([&] { tool.postMsg("0016", "x"); }).out, "s x\n");  // status is not piped
    tool.disableMsg("0001", 0);
    EXPECT_EQ(console_of([&] { tool.postMsg("0001", "x"); }), console_text{});
    EXPECT_EQ(console_of([&] { tool.postUtMsgMgr(MSG_UT_ERROR, "ERROR - t", 1); }).err, "ERROR - t\n");
    tool.setCallbackMsgFun(told_calls::callback);
    EXPECT_NE(console_of([&] { tool.postMsg("0008", "x"); }).out, "");
    EXPECT_EQ(told_about.calls.size(), 1U);
    tool.setMsgPiping(2);  // only 1 turns it on
    tool.setCallbackMsgFun(static_cast<msgCallback>(nullptr));
    EXPECT_EQ(console_of([&] { tool.postMsg("0008", "x"); }).out, "INFO <3000008> - i x\n");
    tool.delstream(stream);
}

// ---- destinations that misbehave

TEST_F(MsgPost, AStreamThatPostsIsNotServedWithItsOwnPost)
{
    acting_stream stream;
    std::ostringstream other;
    msgManager tool("tool");
    tool.addstream(stream);
    tool.addstream(other);
    stream.then = [&] { post("0008", "inner"); };
    EXPECT_EQ(console_of([&] { tool.postMsg("0016", "outer"); }).out, "s outer\nINFO <3000008> - i inner\n");
    EXPECT_EQ(stream.text, "s outer\n");
    EXPECT_EQ(other.str(), "s outer\n");
    stream.then = nullptr;
    console_of([&] { tool.postMsg("0016", "next"); });
    EXPECT_EQ(stream.text, "s outer\ns next\n");
    EXPECT_EQ(files.database().retrieveLatestMsgPosted(), 3);
}

TEST_F(MsgPost, AStreamThatThrowsHarmsNobody)
{
    acting_stream first;
    acting_stream second;
    first.exceptions(std::ios::badbit);
    first.then = [] { throw -1; };
    msgManager tool("tool");
    tool.addstream(first);
    tool.addstream(second);
    const unsigned int log = tool.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    int sid = 0;
    EXPECT_NO_THROW(console_of([&] { sid = tool.postMsg("0016", "a"); }));
    EXPECT_EQ(sid, 1);
    EXPECT_EQ(second.text, "s a\n");
    EXPECT_NO_THROW(console_of([&] { tool.postMsg("0016", "b"); }));
    EXPECT_EQ(second.text, "s a\ns b\n");
    tool.finishMsgLogFile(log);
    EXPECT_NE(file_bytes(files / "log").find("arg0=\"b\""), std::string::npos);
}

TEST_F(MsgPost, AStreamMayTakeItselfOrOthersOffWhileItIsServed)
{
    acting_stream first;
    acting_stream second;
    acting_stream third;
    msgManager tool("tool");
    tool.addstream(first);
    tool.addstream(second);
    tool.addstream(third);
    first.then = [&] {
        tool.delstream(first);
        tool.delstream(second);
    };
    console_of([&] { tool.postMsg("0016", "a"); });
    EXPECT_EQ(first.text, "s a\n");
    EXPECT_EQ(second.text, "");
    EXPECT_EQ(third.text, "s a\n");
    third.then = [&] { tool.addstream(second); };  // one that comes meanwhile waits for the next post
    console_of([&] { tool.postMsg("0016", "b"); });
    EXPECT_EQ(second.text, "");
    third.then = nullptr;
    console_of([&] { tool.postMsg("0016", "c"); });
    EXPECT_EQ(second.text, "s c\n");
}

TEST_F(MsgPost, AStreamMayForgetAllPostsWhileItIsServed)
{
    acting_stream stream;
    msgManager tool("tool");
    tool.addstream(stream);
    const unsigned int log = tool.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    stream.then = [&] { tool.resetMsgBuffer(MSG_ALL); };
    const std::string argument(300, 'a');
    console_of([&] { EXPECT_EQ(tool.postMsg("0016", argument.c_str()), 1); });
    tool.finishMsgLogFile(log);
    EXPECT_NE(file_bytes(files / "log").find(argument), std::string::npos);
}

TEST_F(MsgPost, AFailingUtStreamReportsToAllOthersAndNotToItself)
{
    descriptor full("/dev/full", ketriope::platform::open_write);
    UT_STREAM ut(full, UT_ACCESS_WRITE, 2048, nullptr);
    std::ostringstream stream;
    msgManager tool("tool");
    tool.addUTstream(&ut);
    tool.addstream(stream);
    const std::string large(500, 'a');
    EXPECT_NO_THROW(console_of([&] {
        for (int i = 0; i < 20; ++i) tool.postMsg("0016", large.c_str());
    }));
    tool.delUTstream(&ut);
    tool.delstream(stream);
    EXPECT_EQ(files.database().retrieveLatestMsgPosted() >= 20, true);
    EXPECT_NE(stream.str().find("s " + large + "\n"), std::string::npos);
}

TEST_F(MsgPost, AFullDiskStopsNothing)
{
    std::FILE* const full = std::fopen("/dev/full", "we");
    ASSERT_NE(full, nullptr);
    msgManager tool("tool");
    tool.addMsgLogFile(full);
    EXPECT_EQ(console_of([&] { EXPECT_EQ(tool.postMsg("0016", "a"), 1); }).out, "s a\n");
    tool.delMsgLogFile(full);
    std::fclose(full);
}

// ---- call-backs

TEST_F(MsgPost, TheCallBackIsToldAllInPlaceOfTheConsole)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::callback);
    tool.setPostMsgFun(told_calls::post_function);
    std::string mid = "0012";
    texts dynamic{"a", "7"};
    texts navigation{"up"};
    EXPECT_EQ(console_of([&] { tool.postMsg(mid, dynamic, navigation, 0); }), console_text{});
    EXPECT_THAT(told_about.calls,
                ElementsAre(told{
                    1, "3000012", MSG_ERROR, "ERROR <3000012> - Cannot open a at 7", {"a", "7"}, {"up"}}));
}

TEST_F(MsgPost, ThePostFunctionIsToldWhereThereIsNoCallBack)
{
    msgManager tool("tool");
    tool.setPostMsgFun(told_calls::post_function);
    EXPECT_EQ(console_of([&] { tool.postMsg("0012", "a", 7); }), console_text{});
    EXPECT_THAT(told_about.calls,
                ElementsAre(told{1, "", MSG_ERROR, "ERROR <3000012> - Cannot open a at 7", {}, {}}));
}

TEST_F(MsgPost, AHiddenPostOrOneWithoutTypeIsToldToNobody)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::callback);
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_ERROR);
    tool.disableMsg("0001", 0);
    EXPECT_EQ(tool.postMsg("0001", "x"), 1);
    EXPECT_EQ(tool.postMsg("0099", "x"), 2);
    EXPECT_EQ(tool.postMsg("0256", "x"), -1);
    EXPECT_THAT(told_about.calls, IsEmpty());
    EXPECT_EQ(tool.getErrorPosted(1), 1U);
}

TEST_F(MsgPost, ThePerTypeCallBackFollowsEveryPostOfItsType)
{
    msgManager tool("tool");
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    for (const int type : {1, 2, 4, 8, 16, 32, 256})
        tool.setCallbackMsgFun(told_calls::type_callback, static_cast<eMessage_Type>(type));
    console_of([&] {
        for (const char* uid : {"0001", "0002", "0004", "0008", "0016", "0256"}) tool.postMsg(uid, "x");
    });
    std::vector<std::string> mids;
    for (const told& call : told_about.calls) mids.push_back(call.mid);
    EXPECT_EQ(mids, (texts{"3000001", "3000002", "3000004", "3000008", "3000016"}));
    EXPECT_EQ(told_about.calls.front().sid, 1);
    for (const int type : {1, 2, 4, 8, 16})
        EXPECT_EQ(files.database().findCallbackMsgFun(static_cast<eMessage_Type>(type)),
                  &told_calls::type_callback);
    EXPECT_EQ(files.database().findCallbackMsgFun(MSG_DEBUG), nullptr);
}

TEST_F(MsgPost, ACallBackThatPostsTheSameTypeIsNotEnteredAgain)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_INFO);
    told_about.then = [&] { post("0008", "inner"); };
    console_of([&] { tool.postMsg("0008", "outer"); });
    EXPECT_EQ(told_about.calls.size(), 1U);
    told_about.then = nullptr;
    console_of([&] { tool.postMsg("0008", "outer"); });
    EXPECT_EQ(told_about.calls.size(), 2U);
}

TEST_F(MsgPost, APerTypeCallBackIsPutBackAfterAThrowAndOverANewOne)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_INFO);
    told_about.then = [] { throw 5; };
    console_of([&] { EXPECT_THROW(tool.postMsg("0008", "x"), int); });
    EXPECT_EQ(files.database().findCallbackMsgFun(MSG_INFO), &told_calls::type_callback);
    told_about.then = [&] { tool.setCallbackMsgFun([](int, const char*) { return 0; }, MSG_INFO); };
    console_of([&] { tool.postMsg("0008", "x"); });
    EXPECT_EQ(files.database().findCallbackMsgFun(MSG_INFO), &told_calls::type_callback);
}

TEST_F(MsgPost, ACallBackMayPostAndTakeItselfOff)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::callback);
    told_about.then = [&] {
        if (told_about.calls.size() == 1) post("0008", "inner");
        tool.setCallbackMsgFun(static_cast<msgCallback>(nullptr));
    };
    EXPECT_EQ(console_of([&] { tool.postMsg("0016", "outer"); }), console_text{});
    ASSERT_EQ(told_about.calls.size(), 2U);
    EXPECT_EQ(told_about.calls[1].text, "INFO <3000008> - i inner");
    EXPECT_EQ(console_of([&] { tool.postMsg("0016", "after"); }).out, "s after\n");
}

TEST_F(MsgPost, ACallBackThatThrowsLeavesTheDatabaseUsable)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::callback);
    told_about.then = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(tool.postMsg("0016", "x"), std::runtime_error);
    const unsigned int log = tool.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    EXPECT_THROW(tool.postUtMsgMgr(MSG_INFO, "INFO - y", 1), std::runtime_error);
    tool.finishMsgLogFile(log);
    EXPECT_NE(file_bytes(files / "log").find("arg0=\"INFO - y\""), std::string::npos);
    // The section is free: another thread gets in.
    std::thread([&] { EXPECT_EQ(msgManager("tool").retrieveLatestMsgPosted(), 2); }).join();
}

TEST_F(MsgPost, CallBacksRunOutsideOfTheSection)
{
    msgManager tool("tool");
    for (const int which : {1, 2, 3}) {
        tool.setCallbackMsgFun(which == 1 ? told_calls::callback : nullptr);
        tool.setPostMsgFun(which == 2 ? told_calls::post_function : nullptr);
        tool.setCallbackMsgFun(which == 3 ? told_calls::type_callback : nullptr, MSG_INFO);
        // Another thread can post while the call lasts.
        told_about.then = [&] { std::thread([] { msgManager("tool").retrieveLatestMsgPosted(); }).join(); };
        console_of([&] { tool.postMsg("0008", "x"); });
        if (which < 3) console_of([&] { tool.postUtMsgMgr(MSG_INFO, "INFO - x", 1); });
    }
    EXPECT_EQ(told_about.calls.size(), 5U);
}

TEST_F(MsgPost, SettingAFunctionThatIsSetReplacesItWithADebugLine)
{
    msgManager tool("tool");
    tool.setCallbackMsgFun(told_calls::callback);
    EXPECT_FALSE(files.debug_says("existing"));
    const msgCallback other = [](int, const char*, eMessage_Type, std::string&, texts&, texts&) { return 0; };
    tool.setCallbackMsgFun(other);
    EXPECT_TRUE(files.debug_says("existing callback function will be overwritten"));
    EXPECT_EQ(tool.findCallbackMsgFun(), other);
    tool.setPostMsgFun(told_calls::post_function);
    EXPECT_FALSE(files.debug_says("existing destination function"));
    tool.setPostMsgFun(told_calls::post_function);
    EXPECT_TRUE(files.debug_says("existing destination function will be overwritten"));
    EXPECT_EQ(tool.findPostMsgFun(), &told_calls::post_function);
    files.restart();
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_INFO);
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_ERROR);
    EXPECT_FALSE(files.debug_says("existing"));
    tool.setCallbackMsgFun(told_calls::type_callback, MSG_INFO);
    EXPECT_TRUE(files.debug_says("existing callback function will be overwritten"));
}

// ---- text of the legacy manager

struct legacy_row {
    int type;
    const char* text;
    const char* kept;  ///< the recorded argument; null: nothing is recorded
    const char* mid;
    int told_type;
    bool on_error_stream;
};

TEST_F(MsgPost, LegacyTextGoesByItsOwnTable)
{
    const std::vector<legacy_row> table{
        {MSG_ERROR, "ERROR - a", "a", "1009990", 1, true},
        {MSG_UT_ERROR, "error - a", "a", "1009990", 1, true},
        {MSG_UT_FATAL, "Error - par: a", "par: a", "1009990", 1, true},
        {MSG_UT_INTERNAL, "INTERNAL CODE : a", "INTERNAL CODE : a", "1009990", 1, true},
        {MSG_WARNING, "WARNING - a", "a", "1009991", 4, true},
        {MSG_WARNING, "ERROR - WARNING - a", "WARNING - a", "1009991", 4, true},
        {MSG_INFO, "INFO - a", "a", "1009992", 8, true},
        {MSG_INFO, "INFO -a", "INFO -a", "1009992", 8, true},
        {MSG_INFO, "", "", "1009992", 8, true},
        {MSG_CRITICAL, "CRITICAL - a", nullptr, "1009993", 2, true},
        {MSG_STATUS, "ERROR - a", nullptr, "1009993", 16, false},
        {MSG_DEBUG, "DEBUG - a", nullptr, "1009993", 256, true},
        {512, "a", nullptr, "1009993", 512, true},
    };
    for (const legacy_row& row : table) {
        SCOPED_TRACE(std::to_string(row.type) + " " + row.text);
        files.restart();
        msgManager any;
        int sid = 0;
        const auto type = static_cast<eMessage_Type>(row.type);
        const std::string line = std::string(row.text) + "\n";
        EXPECT_EQ(console_of([&] { sid = any.postUtMsgMgr(type, row.text, 1); }),
                  (row.on_error_stream ? console_text{"", line} : console_text{line, ""}));
        EXPECT_EQ(sid, row.kept != nullptr ? 1 : -1);
        if (row.kept != nullptr) {
            ASSERT_NE(record(1), nullptr);
            EXPECT_STREQ(record(1)->m_msgSymId_sym->c_str(), row.mid);
            EXPECT_EQ(record(1)->m_dynamic, texts{row.kept});
            EXPECT_EQ(record(1)->m_display, 0);
            EXPECT_EQ(files.debug_says("unexpected message type"), std::string_view(row.kept) == row.text);
        }
        EXPECT_EQ(any.getErrorPosted(0) + any.getErrorPosted(1), 0U);  // nothing is counted
        told_about.calls.clear();
        any.setCallbackMsgFun(told_calls::callback);
        EXPECT_EQ(console_of([&] { sid = any.postUtMsgMgr(type, row.text, 1); }), console_text{});
        EXPECT_THAT(told_about.calls, ElementsAre(told{sid, row.mid, row.told_type, row.text, {}, {}}));
    }
}

TEST_F(MsgPost, LegacyStatusKeepsItsOpenLine)
{
    std::ostringstream stream;
    msgManager any;
    any.addstream(stream);
    EXPECT_EQ(console_of([&] { any.postUtMsgMgr(MSG_STATUS, "50%", 0); }).out, "50%");
    EXPECT_EQ(console_of([&] { any.postUtMsgMgr(MSG_STATUS, "100%", 1); }).out, "100%\n");
    EXPECT_EQ(console_of([&] { any.postUtMsgMgr(MSG_INFO, "INFO - i", 0); }).err, "INFO - i\n");
    EXPECT_EQ(stream.str(), "50%100%\nINFO - i\n");
    any.delstream(stream);
}

TEST_F(MsgPost, LegacyTextIsOutsideOfTheRules)
{
    std::FILE* const plain = std::fopen((files / "plain").c_str(), "we");
    msgManager any;
    any.addMsgLogFile(plain);
    any.disableMsgType(MSG_ALL);
    any.setPrintCount(0);
    any.disableMsg("1009990", 0);
    any.setMsgPiping(1);
    const std::string large(600, 'a');
    const std::string line = "ERROR - " + large;
    EXPECT_EQ(console_of([&] { any.postUtMsgMgr(MSG_UT_ERROR, line.c_str(), 1); }).err, line + "\n");
    EXPECT_EQ(record(1)->m_dynamic, texts{large});  // not reduced
    any.delMsgLogFile(plain);
    std::fclose(plain);
    EXPECT_EQ(file_bytes(files / "plain"), "");
}

TEST_F(MsgPost, LegacyTextNeedsNoIndex)
{
    files.remove("msgindex.xml");
    files.restart();
    msgManager any;
    EXPECT_EQ(console_of([&] { EXPECT_EQ(any.postUtMsgMgr(MSG_UT_ERROR, "ERROR - a", 1), 1); }).err,
              "ERROR - a\n");
    any.setPostMsgFun(told_calls::post_function);
    EXPECT_THROW(any.postUtMsgMgr(MSG_UT_ERROR, "ERROR - a", 1), int);
}

TEST_F(MsgPost, LegacyLogLineHoldsTheTextWithItsLabel)
{
    msgManager any;
    const unsigned int log = any.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    console_of([&] {
        any.postUtMsgMgr(MSG_UT_FATAL, "ERROR - a", 1);
        any.postUtMsgMgr(MSG_CRITICAL, "c", 1);
    });
    any.finishMsgLogFile(log);
    const std::string bytes = file_bytes(files / "log");
    EXPECT_NE(bytes.find("    <postMsg mid=\"1009990\" type=\"Error\" dynamic=\"1\" navigation=\"0\" "
                         "arg0=\"ERROR - a\"  />\n"),
              std::string::npos);
    EXPECT_NE(bytes.find("    <postMsg mid=\"1009993\" type=\"Critical\" dynamic=\"1\" navigation=\"0\" "
                         "arg0=\"c\"  />\n"),
              std::string::npos);
}

TEST_F(MsgPost, ThePostFunctionGetsARecordedLegacyTextComposed)
{
    msgManager any;
    any.setPostMsgFun(told_calls::post_function);
    EXPECT_EQ(console_of([&] {
                  any.postUtMsgMgr(MSG_UT_ERROR, "ERROR - a", 1);
                  any.postUtMsgMgr(MSG_WARNING, "WARNING - b", 1);
                  any.postUtMsgMgr(MSG_CRITICAL, "c", 1);
                  any.postUtMsgMgr(MSG_STATUS, "d", 0);
              }),
              console_text{});
    EXPECT_THAT(told_about.calls,
                ElementsAre(told{1, "", MSG_ERROR, "ERROR <1009990> - a", {}, {}},
                            told{2, "", MSG_WARNING, "WARNING <1009991> - b", {}, {}},
                            told{-1, "", MSG_CRITICAL, "c", {}, {}}, told{-1, "", MSG_STATUS, "d", {}, {}}));
}

TEST_F(MsgPost, ANullLegacyTextIsRefused)
{
    msgManager any;
    any.setPostMsgFun(told_calls::post_function);
    EXPECT_EQ(any.postUtMsgMgr(MSG_ERROR, nullptr, 1), 0);
    EXPECT_TRUE(files.debug_says("msgDbManager::postUtMsgMgr msgString==0"));
    EXPECT_THAT(told_about.calls, IsEmpty());
}

// ---- operations of an older generation

TEST_F(MsgPost, TheObsoletePostByTypeDeliversAndRecordsNothing)
{
    const std::string note =
        "obsoleted function msgDbManager::postMsg  (eMsgType msgType, const char* msgString)\n";
    msgDbManager& db = files.database();
    EXPECT_EQ(console_of([&] { EXPECT_EQ(db.postMsg(MSG_ERROR, "a"), -1); }), (console_text{note, "a\n"}));
    for (const auto type : {MSG_WARNING, MSG_STATUS, MSG_CRITICAL, MSG_UT_ERROR})
        EXPECT_EQ(console_of([&] { db.postMsg(type, "a"); }), (console_text{note + "a\n", ""})) << type;
    EXPECT_EQ(console_of([&] { db.postMsg(MSG_ERROR, nullptr); }), (console_text{note, "\n"}));
    db.setPostMsgFun(told_calls::post_function);
    EXPECT_EQ(console_of([&] { db.postMsg(MSG_INFO, "a"); }), (console_text{note, ""}));
    db.setCallbackMsgFun(told_calls::callback);
    EXPECT_EQ(console_of([&] { db.postMsg(MSG_INFO, nullptr); }), (console_text{note, ""}));
    EXPECT_THAT(told_about.calls,
                ElementsAre(told{-1, "", MSG_INFO, "a", {}, {}}, told{-1, "00000000", MSG_INFO, "", {}, {}}));
    EXPECT_EQ(db.retrieveLatestMsgPosted(), 0);
}

TEST_F(MsgPost, TheObsoletePostOfSixTextsOnlySaysSo)
{
    EXPECT_EQ(console_of([&] {
                  EXPECT_EQ(files.database().postMsg("a", "b", "c", "d", "e", "f", nullptr), -1);
              }).out,
              "obsoleted function msgDbManager::postMsg 5\n");
}

TEST_F(MsgPost, AnIntegerMidIsPrintedWithSevenDigits)
{
    files.index({{"common", "100"}, {"small", "000"}});
    files.file("small", "000", {{"0007", "Info", "seven"}});
    files.restart();
    texts none;
    EXPECT_EQ(console_of([&] { EXPECT_EQ(files.database().postMsg(7, none, none, 0), 1); }).out,
              "INFO <0000007> - seven\n");
}

TEST_F(MsgPost, AMessageThatCannotBeMadeGivesMinusOne)
{
    texts none;
    EXPECT_EQ(files.database().postMsg("9990001", none, none, 0), -1);
    EXPECT_TRUE(files.debug_says("unable to create message in message cache"));
    EXPECT_EQ(files.database().postMsg("0003", none, none, 0), -1);
    EXPECT_EQ(files.database().postMsg(static_cast<const char*>(nullptr), none, none, 0), -1);
    EXPECT_EQ(files.database().retrieveLatestMsgPosted(), 0);
}

// ---- error status

TEST_F(MsgPost, AnErrorStatusIsKeptUntilItIsResetAndShowsNothing)
{
    msgDbManager& db = files.database();
    std::string mid = "old";
    texts dynamic{"old"};
    texts navigation{"old"};
    EXPECT_EQ(db.findErrorStatus(mid, dynamic, navigation), 0);
    EXPECT_EQ(mid, "");
    EXPECT_THAT(dynamic, IsEmpty());
    EXPECT_THAT(navigation, IsEmpty());

    texts given{"a", "b"};
    texts menu{"up"};
    EXPECT_EQ(console_of([&] { db.postErrorStatus("3000001", given, menu); }), console_text{});
    EXPECT_EQ(db.findErrorStatus(mid, dynamic, navigation), 7);
    EXPECT_EQ(mid, "3000001");
    EXPECT_EQ(dynamic, given);
    EXPECT_THAT(navigation, IsEmpty());  // entries are replaced, and there was none
    given = {"c"};
    db.postErrorStatus("9", given, menu);
    EXPECT_EQ(db.findErrorStatus(mid, dynamic, navigation), 1);
    EXPECT_EQ(mid, "9");
    EXPECT_EQ(dynamic, given);
    db.resetErrorStatus();
    EXPECT_EQ(db.findErrorStatus(mid, dynamic, navigation), 0);
    EXPECT_EQ(mid, "");
    EXPECT_THAT(dynamic, IsEmpty());
    EXPECT_EQ(db.retrieveLatestMsgPosted(), 0);
}

// ---- posted records

TEST_F(MsgPost, PostsAreForgottenByTheFirstLetterOfTheirType)
{
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    const std::vector<std::pair<int, std::vector<int>>> table{{1, {2, 3, 4, 5, 6, 7}},
                                                              {2, {1, 3, 4, 5, 6, 7}},
                                                              {4, {1, 2, 4, 5, 6, 7}},
                                                              {8, {1, 2, 3, 5, 6, 7}},
                                                              {16, {1, 2, 3, 4, 6, 7}},
                                                              {256, {1, 2, 3, 4, 5, 7}},
                                                              {32, {1, 2, 3, 4, 5, 6, 7}},
                                                              {1 | 8, {2, 3, 5, 6, 7}},
                                                              {511, {}},
                                                              {0, {1, 2, 3, 4, 5, 6, 7}},
                                                              {255, {6, 7}}};
    for (const auto& [types, left] : table) {
        files.restart();
        console_of([&] {
            for (const char* uid : {"0001", "0002", "0004", "0008", "0016", "0256", "0099"}) post(uid);
        });
        files.database().resetMsgBuffer(static_cast<eMessage_Type>(types));
        std::vector<int> sids;
        files.database().retrieveAllMsgPosted(sids);
        EXPECT_THAT(sids, testing::UnorderedElementsAreArray(left)) << types;
    }
    EXPECT_EQ(files.database().retrieveMsgPosted(1), nullptr);
}

// ---- arguments

TEST_F(MsgPost, MergedArgumentsHaveABlankInFrontOfEach)
{
    std::string out = "old";
    texts none;
    EXPECT_EQ(mergeDynamicInfo(none, out), 0);
    EXPECT_EQ(out, "");
    texts some{"a", "", "b c"};
    EXPECT_EQ(mergeDynamicInfo(some, out), 7);
    EXPECT_EQ(out, " a  b c");
}

// ---- threads

/// Call-backs that post again, from any thread.
struct shared_calls {
    std::mutex lock;
    std::vector<int> sids;
    static shared_calls& all()
    {
        static shared_calls calls;
        return calls;
    }
    static int callback(int sid, const char* mid, eMessage_Type, std::string& text, texts&, texts&)
    {
        {
            const std::lock_guard held(all().lock);
            all().sids.push_back(sid);
        }
        if (std::string_view(mid) == "3000004") {
            msgManager tool("tool");
            tool.postMsg("0008", text.c_str());
        }
        return 0;
    }
};

int count_lines(const std::string& text, std::string_view begin, std::string_view end, int& broken)
{
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        broken += line.starts_with(begin) && line.ends_with(end) ? 0 : 1;
    return count;
}

TEST_F(MsgPost, EightThreadsAtOnceTearNoLineGiveNoSidTwiceAndCountExactly)
{
    constexpr int k_threads = 8;
    constexpr int k_rounds = 60;
    shared_calls::all().sids.clear();
    std::ostringstream whole_run;
    msgManager main("tool");
    main.addstream(whole_run);
    main.setCallbackMsgFun(shared_calls::callback);
    const unsigned int log = main.startMsgLogFile((files / "log").c_str(), MSG_ALL);
    std::atomic<unsigned int> own_warnings = 0;
    const auto work = [&](int number) {
        const std::string name = "t" + std::to_string(number);
        msgManager tool("tool");
        for (int i = 0; i < k_rounds; ++i) {
            std::ostringstream own;
            tool.addstream(own);
            const unsigned int own_log = tool.startMsgLogFile((files / name).c_str(), MSG_ERROR);
            const int sid = tool.postMsg("0004", (name + "!").c_str());
            std::string text;
            EXPECT_EQ(tool.queryMsgString("0004", text), 1);
            EXPECT_EQ(tool.retrieveMsgString(sid, text), 1);
            EXPECT_EQ(text, "WARNING <3000004> - w " + name + "!");
            auto* const made = new msgManager("common");
            delete made;
            tool.finishMsgLogFile(own_log);
            tool.delstream(own);
            EXPECT_NE(own.str().find("w " + name + "!\n"), std::string::npos);
        }
        own_warnings += tool.getWarningPosted(1);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i) threads.emplace_back(work, i);
    for (std::thread& each : threads) each.join();
    main.delstream(whole_run);
    main.finishMsgLogFile(log);

    constexpr unsigned int k_posts = k_threads * k_rounds;  // of each of the two messages
    EXPECT_EQ(own_warnings, k_posts);
    EXPECT_EQ(main.getWarningPosted(0), k_posts);
    EXPECT_EQ(main.getInfoPosted(0), k_posts);
    std::vector<int> sids;
    EXPECT_EQ(main.retrieveAllMsgPosted(sids), static_cast<int>(2 * k_posts));
    EXPECT_EQ(main.retrieveLatestMsgPosted(), static_cast<int>(2 * k_posts));
    const std::vector<int>& told_sids = shared_calls::all().sids;
    EXPECT_EQ(std::set<int>(told_sids.begin(), told_sids.end()).size(), 2 * k_posts);
    int broken = 0;
    EXPECT_EQ(count_lines(whole_run.str(), "", "!", broken), static_cast<int>(2 * k_posts));
    EXPECT_EQ(count_lines(file_bytes(files / "log"), "", ">", broken), static_cast<int>(2 * k_posts) + 5);
    EXPECT_EQ(broken, 0);
}

TEST_F(MsgPost, ThreadsDoNotMixTheirLinesOnTheConsole)
{
    const std::string text(300, 'z');
    const console_text seen = console_of([&] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int round = 0; round < 50; ++round) {
                    post("0001", text.c_str());
                    post("0008", text.c_str());
                    msgManager().postUtMsgMgr(MSG_UT_ERROR, ("ERROR <3000001> - e " + text).c_str(), 1);
                }
            });
        for (std::thread& each : threads) each.join();
    });
    int broken = 0;
    EXPECT_EQ(count_lines(seen.out, "INFO <3000008> - i " + text, "z", broken), 200);
    EXPECT_EQ(count_lines(seen.err, "ERROR <3000001> - e " + text, "z", broken), 400);
    EXPECT_EQ(broken, 0);
}

}  // namespace
