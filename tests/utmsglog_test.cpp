// The logs, streams and debug channel of the message database.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "environment.h"
#include "message_files.h"
#include "message_sinks.h"
#include "stream_tools.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using texts = std::vector<std::string>;

constexpr const char* k_end_lines = "  </postMsgs>\n</messageLogFile>\n";

class MsgLog : public testing::Test {
protected:
    MsgLog()
    {
        files.tool({{"0001", "Error", "e $$s"},
                    {"0002", "Critical", "c"},
                    {"0004", "Warning", "w"},
                    {"0008", "Info", "i"},
                    {"0016", "Status", "s"},
                    {"0256", "Debug", "d"},
                    {"0099", "x", "n"}});
    }

    msgDbManager& db() { return files.database(); }
    unsigned int start(const char* name, int mask = MSG_ALL)
    {
        return db().startMsgLogFile((files / name).c_str(), static_cast<eMessage_Type>(mask));
    }
    void post(const char* mid, texts dynamic = {}, texts navigation = {})
    {
        console_of([&] { db().postMsg(mid, dynamic, navigation, 0); });
    }
    /// What stands between the head and the end lines of a log that is finished.
    std::string posts_in(const char* name)
    {
        const std::string bytes = file_bytes(files / name);
        EXPECT_THAT(bytes, EndsWith(k_end_lines));
        const std::string head = "  <postMsgs>\n";
        const std::size_t begin = bytes.find(head) + head.size();
        return bytes.substr(begin, bytes.size() - begin - std::string_view(k_end_lines).size());
    }

    message_files files;
};

// ---- the file

TEST_F(MsgLog, ALogHasHeadLinesPostsAndEndLines)
{
    const unsigned int id = start("log");
    EXPECT_NE(id, 0U);
    const std::string head = file_bytes(files / "log");  // each line is flushed at once
    std::string version;
    dl_Environment().findVersion(version);
    EXPECT_THAT(head, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<messageLogFile name=\"" +
                                 (files / "log") + "\" version=\"" + version + "\" date=\""));
    EXPECT_THAT(head, EndsWith("\" vendor=\"Velmora Semiconductor Corporation\" >\n  <postMsgs>\n"));
    post("3000008");
    const std::string line =
        "    <postMsg mid=\"3000008\" type=\"Info\" dynamic=\"0\" navigation=\"0\"  />\n";
    EXPECT_EQ(file_bytes(files / "log"), head + line);
    db().finishMsgLogFile(id);
    EXPECT_EQ(file_bytes(files / "log"), head + line + k_end_lines);
}

TEST_F(MsgLog, TheTypeIsQuotedAndStatusEndsInABlank)
{
    const std::vector<std::pair<int, const char*>> table{
        {1, "\"Error\""},   {32, "\"Error\""}, {64, "\"Error\""},  {128, "\"Error\""},  {2, "\"Critical\""},
        {4, "\"Warning\""}, {8, "\"Info\""},   {256, "\"Debug\""}, {16, "\"Status\" "}, {3, "\"Status\" "}};
    const scoped_environment show("QVS_SHOW_DEBUG_MESSAGE", "1");
    for (const auto& [type, quoted] : table) {
        files.restart();
        const unsigned int id = start("log");
        db().setMsgType("3000008", static_cast<eMessage_Type>(type), false);
        post("3000008");
        db().finishMsgLogFile(id);
        EXPECT_EQ(posts_in("log"), std::string("    <postMsg mid=\"3000008\" type=") + quoted +
                                       " dynamic=\"0\" navigation=\"0\"  />\n");
    }
}

TEST_F(MsgLog, AStatusLineHasTwoBlanksBeforeDynamic)
{
    const unsigned int id = start("log");
    post("3000016");
    db().finishMsgLogFile(id);
    EXPECT_THAT(posts_in("log"), HasSubstr("type=\"Status\"  dynamic="));
}

TEST_F(MsgLog, ArgumentsAndNavigationAreNumberedOn)
{
    const unsigned int id = start("log");
    post("3000001", {"a", "b"}, {"up", "down"});
    db().finishMsgLogFile(id);
    EXPECT_EQ(posts_in("log"), "    <postMsg mid=\"3000001\" type=\"Error\" dynamic=\"2\" navigation=\"2\" "
                               "arg0=\"a\" arg1=\"b\" arg2=\"up\" arg3=\"down\"  />\n");
}

TEST_F(MsgLog, SevenCharactersAreEscapedAndAllOthersStay)
{
    const unsigned int id = start("log");
    post("3000001", {"\t\n\"&'<>", "\r a;/\x7F\xC3\x28"}, {"<>"});
    db().finishMsgLogFile(id);
    EXPECT_EQ(
        posts_in("log"),
        "    <postMsg mid=\"3000001\" type=\"Error\" dynamic=\"2\" navigation=\"1\" "
        "arg0=\"&#x9;&#xA;&quot;&amp;&apos;&lt;&gt;\" arg1=\"\r a;/\x7F\xC3\x28\" arg2=\"&lt;&gt;\"  />\n");
}

TEST_F(MsgLog, ThePathIsNotEscaped)
{
    const unsigned int id = start("a&b");
    db().finishMsgLogFile(id);
    EXPECT_THAT(file_bytes(files / "a&b"), HasSubstr("a&b\" version="));
}

TEST_F(MsgLog, ALogTakesTheTypesOfItsMask)
{
    const unsigned int errors = start("errors", MSG_ERROR);
    const unsigned int warnings = start("warnings", MSG_WARNING);
    const unsigned int both = start("both", MSG_ERROR | MSG_INFO);
    for (const char* mid : {"3000001", "3000002", "3000004", "3000008", "3000016", "3000099"}) post(mid);
    for (const unsigned int id : {errors, warnings, both}) db().finishMsgLogFile(id);
    EXPECT_EQ(posts_in("errors"),
              "    <postMsg mid=\"3000001\" type=\"Error\" dynamic=\"0\" navigation=\"0\"  />\n");
    EXPECT_EQ(posts_in("warnings"),
              "    <postMsg mid=\"3000004\" type=\"Warning\" dynamic=\"0\" navigation=\"0\"  />\n");
    EXPECT_EQ(posts_in("both"),
              "    <postMsg mid=\"3000001\" type=\"Error\" dynamic=\"0\" navigation=\"0\"  />\n"
              "    <postMsg mid=\"3000008\" type=\"Info\" dynamic=\"0\" navigation=\"0\"  />\n");
}

TEST_F(MsgLog, AHiddenPostIsLogged)
{
    const unsigned int id = start("log");
    db().disableMsg("3000004", 0);
    post("3000004");
    db().finishMsgLogFile(id);
    EXPECT_THAT(posts_in("log"), HasSubstr("3000004"));
}

TEST_F(MsgLog, ALongArgumentIsLoggedReduced)
{
    const unsigned int id = start("log");
    post("3000001", {std::string(501, 'a')});
    db().finishMsgLogFile(id);
    EXPECT_THAT(posts_in("log"),
                HasSubstr("\"" + std::string(325, 'a') + "   ....   " + std::string(165, 'a') + "\""));
}

TEST_F(MsgLog, AnArgumentEndsAtItsFirstNul)
{
    std::string large(600, 'a');
    large[3] = '\0';
    const unsigned int id = start("log");
    post("3000001", {large, std::string("b\0c", 3)});
    db().finishMsgLogFile(id);
    EXPECT_THAT(posts_in("log"), EndsWith(" arg0=\"aaa\" arg1=\"b\"  />\n"));
}

// ---- its life

TEST_F(MsgLog, HandlesRiseAndAnUnknownOneDoesNothing)
{
    const unsigned int first = start("1");
    const unsigned int second = start("2");
    EXPECT_GT(second, first);
    db().finishMsgLogFile(0);
    db().finishMsgLogFile(second + 1'000);
    db().finishMsgLogFile(first);
    db().finishMsgLogFile(first);
    EXPECT_THAT(file_bytes(files / "1"), EndsWith("  <postMsgs>\n" + std::string(k_end_lines)));
    post("3000008");
    EXPECT_THAT(file_bytes(files / "2"), EndsWith("/>\n"));
    EXPECT_THAT(file_bytes(files / "1"), Not(HasSubstr("<postMsg ")));
    db().finishMsgLogFile(second);
}

TEST_F(MsgLog, ARecordBeginsWithoutFileAndTakesErrorsCriticalsAndWarnings)
{
    const logFileCache one;
    const logFileCache other;
    EXPECT_EQ(one.m_name, "");
    EXPECT_EQ(one.m_file, nullptr);
    EXPECT_EQ(one.m_types, 7);
    EXPECT_EQ(other.m_id, one.m_id + 1);
    EXPECT_EQ(logFileCache::logFileCacheId, other.m_id + 1);
}

TEST_F(MsgLog, ForceClosedCompletesEveryLogOnce)
{
    start("1");
    start("2", MSG_ERROR);
    db().forceClosed();
    db().forceClosed();
    post("3000001", {"late"});
    EXPECT_EQ(posts_in("1"), "");
    EXPECT_EQ(posts_in("2"), "");
}

TEST_F(MsgLog, TheEndOfTheDatabaseCompletesEveryLog)
{
    start("1");
    post("3000008");
    files.restart();
    EXPECT_THAT(posts_in("1"), HasSubstr("3000008"));
}

TEST_F(MsgLog, AFileThatCannotBeOpenedGivesZero)
{
    std::filesystem::create_directories(files / "dir");
    EXPECT_EQ(start("dir"), 0U);
    EXPECT_TRUE(files.debug_says("msgDbManager::createMsgInCache input msgId is invalid"));
    EXPECT_EQ(start("missing/log"), 0U);
    EXPECT_EQ(db().startMsgLogFile(nullptr, MSG_ALL), 0U);
    EXPECT_EQ(console_of([&] { start("dir"); }), console_text{});
    EXPECT_EQ(db().retrieveLatestMsgPosted(), 0);
    post("3000008");  // no log was entered
}

TEST_F(MsgLog, AFileThatCannotBeOpenedAsksForTheIndex)
{
    files.remove("msgindex.xml");
    files.restart();
    EXPECT_THROW(start("missing/log"), int);
    EXPECT_NE(start("log"), 0U);  // one that opens needs none
}

/// Whose virtual post is seen.
struct posted_by_log : msgDbManager {
    texts seen;
    using msgDbManager::postMsg;
    int postMsg(const char* mid, texts& dynamic, texts& navigation, unsigned int flags) override
    {
        seen = {mid, dynamic.empty() ? "" : dynamic.front(), std::to_string(dynamic.size()),
                std::to_string(navigation.size()), std::to_string(flags)};
        return 5;
    }
};

TEST_F(MsgLog, TheTroubleIsPostedByTheVirtualOperation)
{
    posted_by_log derived;
    EXPECT_EQ(derived.startMsgLogFile("/missing/log", MSG_ALL), 0U);
    EXPECT_EQ(derived.seen, (texts{"0003", "/missing/log", "1", "0", "0"}));
}

TEST_F(MsgLog, AFullDiskOrAVanishedDirectoryStopsNothing)
{
    const unsigned int full = db().startMsgLogFile("/dev/full", MSG_ALL);
    EXPECT_NE(full, 0U);
    std::filesystem::create_directories(files / "gone");
    const unsigned int gone = start("gone/log");
    const unsigned int good = start("good");
    std::filesystem::remove_all(files / "gone");
    for (int i = 0; i < 100; ++i) post("3000001", {std::string(400, 'a')});
    for (const unsigned int id : {full, gone, good}) db().finishMsgLogFile(id);
    EXPECT_EQ(db().retrieveLatestMsgPosted(), 100);
    const std::string lines = posts_in("good");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 100);
}

TEST_F(MsgLog, DescriptorsOfLogsAreClosedInEveryChild)
{
    const int before = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    start("log");
    const int after = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(after, before + 2);
    EXPECT_NE(::fcntl(before + 1, F_GETFD) & FD_CLOEXEC, 0);
    ::close(before);
    ::close(after);
}

// ---- streams

TEST_F(MsgLog, TheStandardOutputIsRefusedAndTheErrorStreamTaken)
{
    db().addstream(std::cout);
    db().addstream(std::cerr);
    EXPECT_EQ(console_of([&] {
                  texts none;
                  db().postMsg("3000008", none, none, 0);
              }),
              (console_text{"INFO <3000008> - i\n", "INFO <3000008> - i\n"}));
    db().delstream(std::cout);
    EXPECT_TRUE(files.debug_says("cannot locate caller provided ostream"));
    db().delstream(std::cerr);
}

TEST_F(MsgLog, AStreamEnteredTwiceIsServedTwiceAndLeavesOneByOne)
{
    std::ostringstream stream;
    db().addstream(stream);
    db().addstream(stream);
    post("3000016");
    EXPECT_EQ(stream.str(), "s\ns\n");
    db().delstream(stream);
    post("3000016");
    EXPECT_EQ(stream.str(), "s\ns\ns\n");
    db().delstream(stream);
    EXPECT_FALSE(files.debug_says("cannot locate"));
    post("3000016");
    EXPECT_EQ(stream.str(), "s\ns\ns\n");
}

TEST_F(MsgLog, TakingOffWhatIsNotThereIsADebugLine)
{
    std::ostringstream stream;
    db().delstream(stream);
    EXPECT_TRUE(files.debug_says("cannot locate caller provided ostream"));
    db().delUTstream(&stream);
    EXPECT_TRUE(files.debug_says("cannot locate caller provided UT_STREAM"));
    db().delMsgLogFile(stderr);
    EXPECT_TRUE(files.debug_says("cannot locate caller provided FILE*"));
}

// ---- long arguments

TEST_F(MsgLog, ArgumentsOfMoreThan500CharactersAreReduced)
{
    std::string numbered(501, '-');
    for (std::size_t i = 0; i < numbered.size(); ++i) numbered[i] = static_cast<char>('a' + i % 26);
    texts given{numbered, std::string(500, 'x'), "", std::string("a\0b", 3), std::string(5'000, 'y')};
    texts out{"old"};
    EXPECT_EQ(dynamicDataReduction(given, out), 1);
    ASSERT_EQ(out.size(), 5U);
    EXPECT_EQ(out[0], numbered.substr(0, 325) + "   ....   " + numbered.substr(501 - 165));
    EXPECT_EQ(out[0].size(), 500U);
    EXPECT_EQ(out[1], std::string(500, 'x'));
    EXPECT_EQ(out[2], "");
    EXPECT_EQ(out[3], "a");
    EXPECT_EQ(out[4].size(), 500U);
    std::string with_nul(600, 'z');
    with_nul[1] = '\0';
    given = {with_nul};
    dynamicDataReduction(given, out);
    EXPECT_EQ(out[0].size(), 500U);
    EXPECT_EQ(out[0][1], '\0');
}

// ---- the debug channel, one process for each value of its variable

struct debug_run {
    child_result child;
    std::string file;
};

class MsgDebugChannel : public testing::Test {
protected:
    debug_run run(const char* value, const child_environment& more = {})
    {
        child_environment changes{
            {"QVS_MSGMGR_DEBUG", value}, {"temp", nullptr}, {"tmp", nullptr}, {"TMP", nullptr}};
        changes.insert(changes.end(), more.begin(), more.end());
        debug_run seen{run_child(child_program("utmsglog_child"), {"debug"}, changes), ""};
        EXPECT_EQ(seen.child.exit_status, 0);
        EXPECT_EQ(seen.child.err, "");
        return seen;
    }
    temp_directory root;
    static constexpr const char* k_name = "qvs_msgmgr_debug.txt";
};

TEST_F(MsgDebugChannel, ModesOtherThanOneAndTwoWriteNothing)
{
    for (const char* value : {static_cast<const char*>(nullptr), "3", "4", "-1"}) {
        EXPECT_EQ(run(value, {{"temp", root.path().c_str()}}).child.out, "");
        EXPECT_EQ(file_bytes(root / k_name), "");
    }
}

TEST_F(MsgDebugChannel, ModeOneWritesToStandardOutputAndMakesNoFile)
{
    EXPECT_EQ(run("1", {{"temp", root.path().c_str()}}).child.out, "first\nsecond\n");
    EXPECT_FALSE(std::filesystem::exists(root / k_name));
}

TEST_F(MsgDebugChannel, ModeTwoWritesToTheFileToo)
{
    EXPECT_EQ(run("2", {{"temp", root.path().c_str()}}).child.out, "first\nsecond\n");
    EXPECT_EQ(file_bytes(root / k_name), "first <a:1>\nsecond <b:22>\n");
}

TEST_F(MsgDebugChannel, ZeroWritesNothingAndIsReadAgain)
{
    // The child sets the variable to 1 between the two lines.
    EXPECT_EQ(run("0").child.out, "second\n");
    EXPECT_EQ(run("none").child.out, "second\n");
    EXPECT_EQ(run("").child.out, "second\n");
}

TEST_F(MsgDebugChannel, TheFirstOfFourVariablesSaysWhereTheFileIs)
{
    std::filesystem::create_directories(root / "1");
    std::filesystem::create_directories(root / "2");
    const std::string one = root / "1";
    const std::string two = root / "2";
    const std::vector<child_environment> table{{{"temp", one.c_str()}, {"tmp", two.c_str()}},
                                               {{"tmp", one.c_str()}, {"TEMP", two.c_str()}},
                                               {{"TEMP", one.c_str()}, {"TMP", two.c_str()}}};
    for (const child_environment& variables : table) {
        run("2", variables);
        EXPECT_TRUE(std::filesystem::remove(one + "/" + k_name)) << variables.front().first;
        EXPECT_FALSE(std::filesystem::exists(two + "/" + k_name));
    }
}

TEST_F(MsgDebugChannel, AFileThatCannotBeOpenedIsDoneWithout)
{
    EXPECT_EQ(run("2", {{"temp", (root / "missing").c_str()}}).child.out, "first\nsecond\n");
}

TEST(MsgLogProcess, TheFirstLogHasTheHandleOneAndTheDebugFileIsClosedInEveryChild)
{
    temp_directory root;
    const child_result seen = run_child(child_program("utmsglog_child"), {"first", root / "log"},
                                        {{"QVS_MSGMGR_DEBUG", "2"}, {"temp", root.path().c_str()}});
    EXPECT_EQ(seen.exit_status, 0);
    EXPECT_THAT(seen.out, HasSubstr("handle 1\nopens the file\nclosed in children: yes\n"));
    EXPECT_THAT(file_bytes(root / "log"), EndsWith(k_end_lines));  // by the end of the process
}

TEST(MsgLogProcess, AKilledProcessLeavesEveryPostedLine)
{
    message_files files;
    files.tool({{"0016", "Status", "s $$d"}});
    const child_result seen =
        run_child(child_program("utmsglog_child"), {"killed", files / "log"}, {{"ENV", nullptr}});
    EXPECT_EQ(seen.signal, 9);
    const std::string log = file_bytes(files / "log");
    EXPECT_THAT(log, EndsWith("arg0=\"99\"  />\n"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 3 + 100);
}

}  // namespace
