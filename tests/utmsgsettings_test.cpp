// tests/utmsgsettings_test.cpp: settings and their file, statistics, help and navigation data, and the
// numbers of other message systems.
#include "utmsgdbmanager.h"

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "environment.h"
#include "message_capture.h"
#include "message_files.h"
#include "utmsgmanager.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using texts = std::vector<std::string>;

namespace {

/// What only a class derived from the database may reach.
struct opened : msgDbManager {
    static msgCache* record(msgDbManager& db, const char* mid) { return (db.*&opened::_getMsgInCache)(mid); }
};

constexpr const char* k_error = "3000001";
constexpr const char* k_critical = "3000002";
constexpr const char* k_warning = "3000004";
constexpr const char* k_info = "3000008";
constexpr const char* k_status = "3000016";
constexpr const char* k_unnamed = "3000099";

class UtMsgSettings : public testing::Test {
protected:
    UtMsgSettings()
    {
        files_.tool({{"0001", "Error", "e $$s"},
                     {"0002", "Critical", "c $$s"},
                     {"0004", "Warning", "w $$s"},
                     {"0008", "Info", "i $$s"},
                     {"0016", "Status", "s $$s"},
                     {"0256", "Debug", "d $$s"},
                     {"0099", "x", "n $$s"}});
    }

    msgDbManager& db() { return files_.database(); }
    std::string out_path() const { return files_ / "out"; }
    std::string written() const { return file_bytes(out_path()); }
    std::vector<std::string> lines() const
    {
        std::istringstream in(written());
        std::vector<std::string> all;
        for (std::string line; std::getline(in, line);) all.push_back(line);
        return all;
    }

    /// Number and type of the settings with that flag.
    std::map<int, int> types(bool internal = false)
    {
        std::vector<int> mids{99};
        std::vector<eMessage_Type> found{MSG_ALL};
        const int count = db().findMsgTypeSetting(mids, found, internal);
        EXPECT_EQ(static_cast<std::size_t>(count), mids.size());
        EXPECT_EQ(found.size(), mids.size());
        std::map<int, int> all;
        for (std::size_t i = 0; i < mids.size(); ++i) all[mids[i]] = found[i];
        return all;
    }
    std::vector<std::pair<int, int>> counts(bool internal = false)
    {
        std::vector<std::pair<int, int>> all{{99, 99}};
        const int count = db().findMsgDisplayCnt(all, internal);
        EXPECT_EQ(static_cast<std::size_t>(count), all.size());
        return all;
    }
    std::vector<int> disabled(bool internal = false)
    {
        std::vector<int> all{99};
        const int count = db().findMsgDisabledSetting(all, internal);
        EXPECT_EQ(static_cast<std::size_t>(count), all.size());
        return all;
    }
    const msgSetting* setting(const char* mid) { return opened::record(db(), mid)->m_setting; }
    std::vector<std::string> hidden(const char* mid)
    {
        return setting(mid) != nullptr ? setting(mid)->m_disabled : texts{};
    }
    void hide(const char* mid, texts arguments) { db().disableMsg(mid, arguments); }

    /// Reads a file of these entries.
    int read(const std::string& entries)
    {
        write_file(files_ / "in.xml", "<?xml version=\"1.0\"?>\n<userSetting>" + entries + "</userSetting>");
        return db().setMsgSetting((files_ / "in.xml").c_str());
    }

    message_files files_;
};

}  // namespace

// ---- types

TEST_F(UtMsgSettings, ATypeIsSetForTheUserOrForTheTool)
{
    EXPECT_EQ(db().setMsgType(k_warning, MSG_ERROR, false), MSG_ERROR);
    EXPECT_EQ(db().setMsgType(k_info, MSG_WARNING, true), MSG_WARNING);
    EXPECT_THAT(types(false), ElementsAre(Pair(3000004, 1)));
    EXPECT_THAT(types(true), ElementsAre(Pair(3000008, 4)));
    EXPECT_EQ(db().setMsgType(k_warning, MSG_INFO, true), MSG_INFO);
    EXPECT_THAT(types(false), IsEmpty());
    EXPECT_THAT(types(true), ElementsAre(Pair(3000004, 8), Pair(3000008, 4)));
}

TEST_F(UtMsgSettings, AMessageThatCannotBeGetsNoType)
{
    EXPECT_EQ(db().setMsgType("123", MSG_ERROR, false), 0);
    EXPECT_EQ(db().setMsgType("8880001", MSG_ERROR, false), 0);
    EXPECT_EQ(db().setMsgType(nullptr, MSG_ERROR, false), 0);
    EXPECT_THAT(types(), IsEmpty());
}

TEST_F(UtMsgSettings, AMessageThatIsNotDefinedMayBeSet)
{
    EXPECT_EQ(db().setMsgType("3000077", MSG_ERROR, false), MSG_ERROR);
    EXPECT_THAT(types(), ElementsAre(Pair(3000077, 1)));
}

TEST_F(UtMsgSettings, AWarningThatIsSetCountsAndShowsAsAnError)
{
    db().setMsgType(k_warning, MSG_ERROR, false);
    msgManager tool("tool");
    std::string shown;
    EXPECT_EQ(stdout_of([&] { shown = stderr_of([&] { tool.postMsg("0004", "x"); }); }), "");
    EXPECT_THAT(shown, StartsWith("ERROR <3000004> - "));
    EXPECT_EQ(tool.getErrorPosted(1), 1U);
    EXPECT_EQ(tool.getWarningPosted(1), 0U);
    EXPECT_EQ(db().getErrorPosted(), 1U);
    std::string name;
    std::string level;
    opened::record(db(), k_warning)->msgType(name, level, false);
    EXPECT_EQ(name, "Warning");
}

TEST_F(UtMsgSettings, TypesAreTakenBackOneByOneOrAllAtOnce)
{
    for (const char* mid : {k_error, k_warning, k_info}) db().setMsgType(mid, MSG_STATUS, false);
    db().disableMsg(k_info, 3);
    EXPECT_EQ(db().resetMsgType(k_error), 1);
    EXPECT_THAT(types(), ElementsAre(Pair(3000004, 16), Pair(3000008, 16)));
    EXPECT_EQ(db().resetMsgType("8880001"), 1);
    EXPECT_EQ(db().resetMsgType(k_critical), 1);
    EXPECT_EQ(db().resetMsgType(nullptr), 1);
    EXPECT_THAT(types(), IsEmpty());
    EXPECT_THAT(counts(), ElementsAre(Pair(3000008, 3)));  // the limits stay
}

TEST_F(UtMsgSettings, TheTypeOfAMessageIsFoundWithItsSetting)
{
    const struct {
        const char* mid;
        int type;
    } rows[] = {{k_error, 1},   {k_critical, 2},  {k_warning, 4},  {k_info, 8},
                {k_status, 16}, {"3000256", 256}, {"3000077", 16}, {"8880001", 16}};
    for (const auto& row : rows) EXPECT_EQ(db().findMsgType(row.mid), row.type) << row.mid;
    EXPECT_FALSE(files_.debug_says("unexpected error"));
    EXPECT_EQ(db().findMsgType(k_unnamed), 0);
    EXPECT_TRUE(files_.debug_says("unexpected error"));
    for (const int type : {1, 2, 4, 8, 16, 32, 64, 128, 256, 3}) {
        db().setMsgType(k_warning, static_cast<eMessage_Type>(type), false);
        EXPECT_EQ(db().findMsgType(k_warning), type);
    }
    db().setMsgType(k_warning, MSG_ALL, false);
    EXPECT_EQ(db().findMsgType(k_warning), MSG_WARNING);
}

// ---- limits

TEST_F(UtMsgSettings, AMessageIsHiddenOrLimited)
{
    db().disableMsg(k_error, 0);
    std::string mid = k_warning;
    db().disableMsg(mid, 5);
    db().disableMsg(k_info, -7);
    db().disableMsg("8880001", 0);
    db().disableMsg(static_cast<const char*>(nullptr), 0);
    EXPECT_THAT(disabled(), ElementsAre(3000001));
    EXPECT_THAT(counts(), ElementsAre(Pair(3000001, 0), Pair(3000004, 5)));
    EXPECT_EQ(setting(k_info)->m_displayCount, -7);
    EXPECT_THAT(disabled(true), IsEmpty());
    EXPECT_THAT(counts(true), IsEmpty());
    db().setMsgType(k_warning, MSG_ERROR, true);
    EXPECT_THAT(counts(true), ElementsAre(Pair(3000004, 5)));
}

TEST_F(UtMsgSettings, ArgumentsAreHiddenOnce)
{
    hide(k_error, {"a", "b"});
    hide(k_error, {"a", "b"});
    hide(k_error, {"c"});
    hide(k_error, {});
    hide("8880001", {"a"});
    EXPECT_THAT(hidden(k_error), ElementsAre(" a b", " c", ""));
    EXPECT_EQ(setting(k_error)->m_displayCount, -1);

    texts arguments{"a", "b"};
    db().enableMsg(k_error, arguments);
    EXPECT_THAT(hidden(k_error), ElementsAre(" c", ""));
    db().enableMsg(k_error, arguments);
    db().enableMsg(k_info, arguments);
    db().enableMsg(nullptr, arguments);
    EXPECT_THAT(hidden(k_error), ElementsAre(" c", ""));
}

TEST_F(UtMsgSettings, AMessageIsShownAgainAndItsHiddenArgumentsStay)
{
    db().disableMsg(k_error, 0);
    hide(k_error, {"a"});
    db().enableMsg(k_error);
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_THAT(hidden(k_error), ElementsAre(" a"));
    db().disableMsg(k_error, 3);
    std::string mid = k_error;
    db().enableMsg(mid);
    EXPECT_THAT(counts(), IsEmpty());
    db().enableMsg("8880001");
    db().enableMsg(k_info);
    EXPECT_EQ(setting(k_info), nullptr);  // none is made
}

TEST_F(UtMsgSettings, AllMessagesAreShownAgainWhateverTheirArguments)
{
    db().disableMsg(k_error, 0);
    db().disableMsg(k_info, 2);
    db().setMsgType(k_info, MSG_WARNING, false);
    hide(k_error, {"a"});
    db().enableMsg(static_cast<const char*>(nullptr));
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_THAT(hidden(k_error), IsEmpty());
    EXPECT_THAT(types(), ElementsAre(Pair(3000008, 4)));
}

TEST_F(UtMsgSettings, AnObjectCompletesTheNumbersOfItsFile)
{
    msgManager tool("tool");
    EXPECT_EQ(tool.setMsgType("0004", MSG_ERROR), MSG_ERROR);
    EXPECT_EQ(tool.findMsgType("0004"), MSG_ERROR);
    tool.disableMsg("0001", 0);
    std::string mid = "0008";
    tool.disableMsg(mid, 2);
    texts arguments{"a"};
    tool.disableMsg("0002", arguments);
    EXPECT_THAT(types(), ElementsAre(Pair(3000004, 1)));
    EXPECT_THAT(counts(), ElementsAre(Pair(3000001, 0), Pair(3000008, 2)));
    EXPECT_THAT(hidden(k_critical), ElementsAre(" a"));
    tool.enableMsg("0001");
    tool.enableMsg(mid);
    tool.enableMsg("0002", arguments);
    tool.resetMsgType("0004");
    EXPECT_THAT(types(), IsEmpty());
    EXPECT_THAT(counts(), IsEmpty());
    EXPECT_THAT(hidden(k_critical), IsEmpty());
}

// ---- the file of settings: writing

TEST_F(UtMsgSettings, TheFileHasALineForEachMessageWithSomethingToSay)
{
    db().setMsgType(k_error, MSG_ERROR, false);
    db().setMsgType(k_critical, MSG_CRITICAL, true);
    db().setMsgType(k_warning, MSG_WARNING, false);
    db().setMsgType(k_info, MSG_INFO, true);
    db().setMsgType(k_status, MSG_STATUS, false);
    db().disableMsg(k_error, 0);
    db().disableMsg(k_critical, 4);
    db().disableMsg(k_warning, -3);
    db().disableMsg("3000020", 0);
    db().disableMsg("3000021", 12);
    for (const int unwritten : {32, 64, 128, 256, 3, 0, 511})
        db().setMsgType(("30001" + std::to_string(10 + unwritten % 90)).c_str(),
                        static_cast<eMessage_Type>(unwritten), true);
    hide("3000022", {"a"});
    EXPECT_EQ(db().saveMsgSetting(out_path().c_str()), 1);
    const auto all = lines();
    ASSERT_GE(all.size(), 3U);
    EXPECT_EQ(all[0], "<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    std::string version;
    dl_Environment environment;
    environment.findVersion(version);
    EXPECT_THAT(all[1],
                StartsWith("<userSetting name=\"" + out_path() + "\" version=\"" + version + "\" date=\""));
    EXPECT_THAT(all[1], EndsWith("\" vendor=\"Velmora Semiconductor Corporation\" >"));
    EXPECT_EQ(all.back(), "</userSetting>");
    EXPECT_THAT(texts(all.begin() + 2, all.end() - 1),
                UnorderedElementsAre(
                    "  <msg mid=\"3000001\" type=\"Error\" disabled=\"true\" />",
                    "  <msg mid=\"3000002\" type=\"Critical\" internal=\"true\" cnt=\"4\" />",
                    "  <msg mid=\"3000004\" type=\"Warning\" />",
                    "  <msg mid=\"3000008\" type=\"Info\" internal=\"true\" />",
                    "  <msg mid=\"3000016\" type=\"Status\" />",
                    "  <msg mid=\"3000020\" disabled=\"true\" />", "  <msg mid=\"3000021\" cnt=\"12\" />"));
    EXPECT_THAT(written(), EndsWith("</userSetting>\n"));
}

TEST_F(UtMsgSettings, ANumberThatIsNoneIsReadBackAllTheSame)
{
    db().disableMsg("300<\"'&", 3);
    EXPECT_EQ(db().saveMsgSetting(out_path().c_str()), 1);
    files_.restart();
    EXPECT_EQ(db().setMsgSetting(out_path().c_str()), 1);
    EXPECT_EQ(setting("300<\"'&")->m_displayCount, 3);
}

TEST_F(UtMsgSettings, TheSameSettingsWriteTheSameLines)
{
    const auto settings = [&](const texts& order) {
        files_.restart();
        for (const std::string& mid : order) db().disableMsg(mid.c_str(), 0);
        db().saveMsgSetting(out_path().c_str());
        texts all = lines();
        all.erase(all.begin() + 1);  // the date
        return all;
    };
    texts order;
    for (int i = 0; i < 60; ++i) order.push_back(std::to_string(3000000 + i * 37 % 61));
    const texts first = settings(order);
    EXPECT_EQ(first.size(), order.size() + 2);
    EXPECT_EQ(settings(texts(order.rbegin(), order.rend())), first);
}

TEST_F(UtMsgSettings, TheFileHasALineForWarningsAndInfosThatAreOff)
{
    db().disableMsgType(MSG_WARNING | MSG_INFO | MSG_ERROR);
    EXPECT_EQ(db().saveMsgSetting(out_path().c_str()), 1);
    const auto all = lines();
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[2], "  <msg mtype=\"warning\" disabled=\"true\" />");
    EXPECT_EQ(all[3], "  <msg mtype=\"info\" disabled=\"true\" />");
    db().enableMsgType(MSG_INFO);
    db().resetMsgTypePrintable(MSG_WARNING);
    db().saveMsgSetting(out_path().c_str());
    EXPECT_EQ(lines().size(), 3U);
}

TEST_F(UtMsgSettings, SwitchesDoNotReachTheTextsOfTheLegacyManager)
{
    db().disableMsgType(MSG_ALL);
    EXPECT_EQ(stderr_of([] { msgManager().postUtMsgMgr(MSG_WARNING, "WARNING - all the same", 1); }),
              "WARNING - all the same\n");
}

TEST_F(UtMsgSettings, AFileThatCannotBeOpenedIsNotWritten)
{
    EXPECT_EQ(db().saveMsgSetting((files_ / "no/such/file").c_str()), 0);
    EXPECT_EQ(db().saveMsgSetting(files_.path().c_str()), 0);
    EXPECT_EQ(db().saveMsgSetting(nullptr), 0);
}

TEST_F(UtMsgSettings, WhatIsSavedIsReadBack)
{
    db().disableMsg(k_error, 0);
    db().disableMsg(k_critical, 4);
    db().setMsgType(k_info, MSG_WARNING, false);
    db().setMsgType(k_warning, MSG_STATUS, true);
    db().disableMsgType(MSG_WARNING);
    EXPECT_EQ(db().saveMsgSetting(out_path().c_str()), 1);
    EXPECT_THAT(written(), HasSubstr("<msg mid=\"3000001\" disabled=\"true\" />"));
    files_.restart();
    EXPECT_EQ(msgManager().setMsgSetting(out_path().c_str()), 1);
    EXPECT_THAT(counts(), ElementsAre(Pair(3000001, 0), Pair(3000002, 4)));
    EXPECT_THAT(types(), ElementsAre(Pair(3000008, 4)));
    EXPECT_THAT(types(true), ElementsAre(Pair(3000004, 16)));
    EXPECT_FALSE(db().isMsgTypePrintable(MSG_WARNING));
    EXPECT_TRUE(db().isMsgTypePrintable(MSG_INFO));
}

// ---- the file of settings: reading

namespace {

constexpr const char* k_bad_type = "incorrect message type specified in user setting file";
constexpr const char* k_bad_disabled = "incorrect message disabled specified in user setting file";
constexpr const char* k_bad_count = "incorrect message cnt specified in user setting file";

/// An entry for a message of type Info that is limited to 5 posts, and what it makes of the setting.
struct entry_row {
    const char* attributes;
    int type;
    bool internal;
    int count;
    const char* complaint;  ///< null for none
};

constexpr entry_row k_entries[] = {
    {"type='Error'", 1, false, -1, nullptr},
    {"type='e' disabled='false'", 1, false, -1, nullptr},
    {"type='Critical' disabled='true'", 2, false, 0, nullptr},
    {"type='W' cnt='3'", 4, false, 3, nullptr},
    {"type='info'", 8, false, -1, nullptr},
    {"type='sxx'", 16, false, -1, nullptr},
    {"type='Error' internal='true'", 1, true, -1, nullptr},
    {"type='Error' internal='TRUE'", 1, false, -1, nullptr},
    {"type='Error' internal='yes'", 1, false, -1, nullptr},
    {"internal='true'", 511, false, -1, nullptr},
    {"type='Debug' cnt='2'", 511, false, 2, k_bad_type},
    {"type='d' internal='true'", 511, false, -1, k_bad_type},
    {"type='x' disabled='true'", 511, false, 0, k_bad_type},
    {"type=''", 511, false, -1, k_bad_type},
    {"", 511, false, -1, nullptr},
    {"disabled='true'", 511, false, 0, nullptr},
    {"disabled='TRUE'", 511, false, 0, nullptr},
    {"disabled='true' mtype='warning'", 511, false, 0, nullptr},
    {"disabled='false'", 511, false, -1, nullptr},
    {"disabled='FALSE'", 511, false, -1, nullptr},
    {"disabled='True'", 511, false, 5, k_bad_disabled},
    {"disabled=''", 511, false, 5, k_bad_disabled},
    {"disabled='no' cnt='2' type='E'", 1, false, 2, k_bad_disabled},
    {"cnt='7'", 511, false, 7, nullptr},
    {"cnt='0'", 511, false, 0, nullptr},
    {"cnt='many'", 511, false, 0, nullptr},
    {"cnt='-1'", 511, false, -1, k_bad_count},
    {"cnt='-2' type='W'", 4, false, -1, k_bad_count},
    {"cnt='3' disabled='true'", 511, false, 3, nullptr},
};

class UtMsgSettingsEntry : public UtMsgSettings, public testing::WithParamInterface<entry_row> {};

}  // namespace

TEST_P(UtMsgSettingsEntry, OfAUserFileIsRead)
{
    const entry_row& row = GetParam();
    db().disableMsg(k_info, 5);
    EXPECT_EQ(read(std::string("<msg mid='3000008' ") + row.attributes + "/><msg mid='3000001' cnt='9'/>"),
              1);
    ASSERT_NE(setting(k_info), nullptr);
    EXPECT_EQ(setting(k_info)->m_type, row.type);
    EXPECT_EQ(setting(k_info)->m_internal, row.internal);
    EXPECT_EQ(setting(k_info)->m_displayCount, row.count);
    EXPECT_EQ(setting(k_error)->m_displayCount, 9);  // the next entry is read whatever this one says
    for (const char* complaint : {k_bad_type, k_bad_disabled, k_bad_count})
        EXPECT_EQ(files_.debug_says(complaint), complaint == row.complaint) << complaint;
}

INSTANTIATE_TEST_SUITE_P(Rows, UtMsgSettingsEntry, testing::ValuesIn(k_entries));

namespace {

/// An entry without a message, and what it does to the switches of warnings and infos.
struct switch_row {
    const char* attributes;
    int warning;  ///< 9 at first
    int info;     ///< 9 at first
    const char* complaint;
};

constexpr switch_row k_switches[] = {
    {"mtype='warning' disabled='true'", 0, 9, nullptr},
    {"mtype='warning' disabled='TRUE'", 0, 9, nullptr},
    {"mtype='info' disabled='true'", 9, 0, nullptr},
    {"mtype='warning' disabled='false'", -1, 9, nullptr},
    {"mtype='info' disabled='FALSE'", 9, -1, nullptr},
    {"mtype='note' disabled='true'", 9, 9, k_bad_type},
    {"mtype='Warning' disabled='true'", 9, 9, k_bad_type},
    {"mtype='error' disabled='false'", 9, 9, k_bad_type},
    {"disabled='true'", 9, 9, k_bad_type},
    {"mtype='warning' disabled='perhaps'", 9, 9, k_bad_disabled},
    {"mtype='warning'", 9, 9, nullptr},
    {"mtype='info' cnt='3'", 9, 9, nullptr},
    {"type='Error'", 9, 9, nullptr},
};

class UtMsgSettingsSwitch : public UtMsgSettings, public testing::WithParamInterface<switch_row> {};

}  // namespace

TEST_P(UtMsgSettingsSwitch, OfAUserFileIsRead)
{
    const switch_row& row = GetParam();
    msgCache::msgTypeSetPrintable(MSG_ALL, 9);
    EXPECT_EQ(read(std::string("<msg ") + row.attributes + "/><msg mid='3000001' cnt='9'/>"), 1);
    EXPECT_EQ(msgCache::g_WarningPrint, row.warning);
    EXPECT_EQ(msgCache::g_InfoPrint, row.info);
    for (const int other : {msgCache::g_ErrorPrint, msgCache::g_CriticalPrint, msgCache::g_StatusPrint})
        EXPECT_EQ(other, 9);
    EXPECT_THAT(counts(), ElementsAre(Pair(3000001, 9)));
    for (const char* complaint : {k_bad_type, k_bad_disabled, k_bad_count})
        EXPECT_EQ(files_.debug_says(complaint), complaint == row.complaint) << complaint;
}

INSTANTIATE_TEST_SUITE_P(Rows, UtMsgSettingsSwitch, testing::ValuesIn(k_switches));

TEST_F(UtMsgSettings, EntriesOfAUserFileKeepTheHiddenArguments)
{
    hide(k_info, {"a"});
    read("<msg mid='3000008'/>");
    EXPECT_THAT(hidden(k_info), ElementsAre(" a"));
}

TEST_F(UtMsgSettings, AUserFileMayNameWhatDoesNotExist)
{
    EXPECT_EQ(
        read("<msg mid='8880001' type='E' disabled='true' cnt='1'/><msg mid='' type='E' cnt='1'/>"
             "<msg mid='123' disabled='false'/><note mid='3000001' cnt='1'/><msg mid='3000004' cnt='1'/>"),
        1);
    EXPECT_THAT(counts(), ElementsAre(Pair(3000004, 1)));
    EXPECT_THAT(types(), IsEmpty());
}

TEST_F(UtMsgSettings, AnObjectCompletesTheNumbersOfAUserFile)
{
    write_file(files_ / "in.xml", "<userSetting><msg mid='0004' type='Error' cnt='2'/></userSetting>");
    EXPECT_EQ(msgManager().setMsgSetting((files_ / "in.xml").c_str()), 1);
    EXPECT_THAT(types(), IsEmpty());
    EXPECT_EQ(msgManager("tool").setMsgSetting((files_ / "in.xml").c_str()), 1);
    EXPECT_THAT(types(), ElementsAre(Pair(3000004, 1)));
    EXPECT_THAT(counts(), ElementsAre(Pair(3000004, 2)));
}

TEST_F(UtMsgSettings, AUserFileWithoutItsRootIsReadWithoutEntries)
{
    write_file(files_ / "in.xml", "<settings><msg mid='3000001' cnt='1'/></settings>");
    EXPECT_EQ(db().setMsgSetting((files_ / "in.xml").c_str()), 1);
    EXPECT_THAT(counts(), IsEmpty());
}

TEST_F(UtMsgSettings, AUserFileThatCannotBeReadChangesNothing)
{
    db().disableMsg(k_error, 3);
    db().setMsgType(k_info, MSG_ERROR, false);
    EXPECT_EQ(db().setMsgSetting(nullptr), 0);
    EXPECT_FALSE(files_.debug_says("fails to load"));

    std::string bomb = "<userSetting>";
    for (int i = 0; i < 100'000; ++i) bomb += "<msg>";
    const std::string path = files_ / "in.xml";
    for (const std::string& bytes : {std::string(), std::string("words"),
                                     std::string("<userSetting><msg mid='3000001' cnt='1'/>"), bomb}) {
        write_file(path, bytes);
        EXPECT_EQ(db().setMsgSetting(path.c_str()), 0) << bytes.substr(0, 40);
    }
    EXPECT_TRUE(files_.debug_says("fails to load user setting file " + path));
    for (const std::string& no_file : {files_ / "missing.xml", files_.path(), std::string()}) {
        EXPECT_EQ(db().setMsgSetting(no_file.c_str()), 0) << no_file;
        EXPECT_TRUE(files_.debug_says("fails to load user setting file " + no_file)) << no_file;
    }
    EXPECT_THAT(counts(), ElementsAre(Pair(3000001, 3)));
    EXPECT_THAT(types(), ElementsAre(Pair(3000008, 1)));
}

TEST_F(UtMsgSettings, AHostileUserFileIsReadEntryByEntry)
{
    EXPECT_EQ(read("<msg mid='\xf0\x9f' type='\xe2' disabled='\xff' cnt='\xc3'/><msg mid='" +
                   std::string(10'000'000, '9') +
                   "' cnt='1'/><msg mid='3000001' cnt='99999999999999999999'/>"
                   "<msg mid='3000004' cnt='1'/>"),
              1);
    EXPECT_TRUE(files_.debug_says(k_bad_type));
    EXPECT_TRUE(files_.debug_says(k_bad_disabled));
    EXPECT_EQ(setting(k_warning)->m_displayCount, 1);
}

// ---- statistics

TEST_F(UtMsgSettings, PostsAreCountedByMessage)
{
    msgManager tool("tool");
    db().disableMsg(k_info, 0);
    const auto post = [&] {
        for (const char* uid : {"0016", "0004", "0008", "0004", "0004"}) tool.postMsg(uid, "x");
        msgManager().postUtMsgMgr(MSG_ERROR, "ERROR - legacy", 1);
        msgManager().postUtMsgMgr(MSG_STATUS, "status", 1);  // not recorded
    };
    stderr_of([&] { stdout_of(post); });
    EXPECT_EQ(tool.saveMsgStatistic("a section", out_path().c_str()), 4);
    EXPECT_EQ(written(), "[a section]\n1009990=1\n3000004=3\n3000008=1\n3000016=1\n");
    EXPECT_EQ(tool.saveMsgStatistic(nullptr, out_path().c_str()), 4);
    EXPECT_THAT(written(), StartsWith("[]\n"));
}

TEST_F(UtMsgSettings, NoPostsMakeNoStatistic)
{
    EXPECT_EQ(db().saveMsgStatistic("s", out_path().c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(out_path()));
}

TEST_F(UtMsgSettings, AStatisticThatCannotBeWrittenCountsNothing)
{
    stdout_of([] { msgManager("tool").postMsg("0004", "x"); });
    EXPECT_EQ(db().saveMsgStatistic("s", nullptr), 0);
    EXPECT_EQ(db().saveMsgStatistic("s", (files_ / "no/such/file").c_str()), 0);
    EXPECT_EQ(db().saveMsgStatistic("s", out_path().c_str()), 1);
}

TEST_F(UtMsgSettings, APostWithoutANumberIsReportedAndPassedOver)
{
    stdout_of([] {
        for (int i = 0; i < 2; ++i) msgManager("tool").postMsg("0016", "x");
    });
    msgPosted& damaged = *db().retrieveMsgPosted(db().retrieveLatestMsgPosted());
    delete damaged.m_msgSymId_sym;
    damaged.m_msgSymId_sym = nullptr;
    EXPECT_EQ(db().saveMsgStatistic("s", out_path().c_str()), 1);
    EXPECT_EQ(written(), "[s]\n3000016=1\n");
    EXPECT_TRUE(files_.debug_says("caller provided msgSID is unable to retrieve a posted message"));
}

// ---- help data

namespace {

class UtMsgHelp : public UtMsgSettings {
protected:
    void help_file(const std::string& entries)
    {
        files_.raw_file("helpid.xml", "<helpidFile>" + entries + "</helpidFile>");
    }
    /// The first of the three answers; "none" if there are none.
    std::string help(const char* mid)
    {
        std::vector<const char*> out;
        const int count = db().queryMsgHelpDB(mid, out);
        EXPECT_EQ(static_cast<std::size_t>(count), out.size());
        return out.empty() ? "none" : out[0] != nullptr ? out[0] : "null";
    }
    void navigation_file(const std::string& entries)
    {
        files_.raw_file("navigation.xml", "<navigationFile>" + entries + "</navigationFile>");
    }
    /// The functions for a message, each as "menu/command/index".
    texts navigation(const char* mid)
    {
        texts menus{"left over"};
        texts commands{"left over"};
        texts indexes{"left over"};
        const int count = db().queryMsgNavigationTools(mid, menus, commands, indexes);
        EXPECT_EQ(menus.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(commands.size(), menus.size());
        EXPECT_EQ(indexes.size(), menus.size());
        texts all;
        for (std::size_t i = 0; i < menus.size(); ++i)
            all.push_back(menus[i] + '/' + commands[i] + '/' + indexes[i]);
        return all;
    }
};

}  // namespace

TEST_F(UtMsgHelp, ThreeAttributesAnswerForAMessage)
{
    help_file("<help mid='3000001' href='h' web='w' datasheet='d'/><help mid='3000002' web='only'/>");
    std::vector<const char*> out{"kept"};
    EXPECT_EQ(db().queryMsgHelpDB(k_error, out), 4);
    ASSERT_EQ(out.size(), 4U);
    EXPECT_STREQ(out[0], "kept");
    EXPECT_STREQ(out[1], "h");
    EXPECT_STREQ(out[2], "w");
    EXPECT_STREQ(out[3], "d");
    EXPECT_EQ(db().queryMsgHelpDB("3000009", out), 4);  // it stays as it is
    out.clear();
    EXPECT_EQ(msgManager("tool").queryMsgHelpDB("0002", out), 3);
    EXPECT_EQ(out[0], nullptr);
    EXPECT_STREQ(out[1], "only");
    EXPECT_EQ(out[2], nullptr);
}

TEST_F(UtMsgHelp, AnEntryAnswersForItsRangeOrForItsFile)
{
    help_file("<help mid='3000010' range='3000019' href='ten'/><help fid='300' range='400' href='file'/>"
              "<help mid='3000030' range='5' href='thirty'/><help mid='3000040' href='forty'/>"
              "<help href='neither'/><help range='3000050' href='neither'/><note mid='3000050' href='note'/>"
              "<help mid='4000001' fid='400' href='both'/>");
    EXPECT_EQ(help("3000009"), "file");
    EXPECT_EQ(help("3000010"), "ten");
    EXPECT_EQ(help("3000019"), "ten");
    EXPECT_EQ(help("3000020"), "file");
    EXPECT_EQ(help("3000030"), "thirty");
    EXPECT_EQ(help("3000031"), "file");
    EXPECT_EQ(help("3000040"), "forty");
    EXPECT_EQ(help("3000050"), "file");
    EXPECT_EQ(help("3010001"), "none");  // a file has no range
    EXPECT_EQ(help("4000001"), "both");
    EXPECT_EQ(help("4000002"), "none");
    EXPECT_EQ(help("300"), "file");  // by its whole number
    EXPECT_EQ(help(nullptr), "none");
    EXPECT_EQ(help("12"), "none");
    EXPECT_FALSE(files_.debug_says("Duplicated"));
}

TEST_F(UtMsgHelp, TheFirstEntryForANumberKeepsIt)
{
    help_file("<help mid='3000010' range='3000019' href='first'/><help mid='3000015' range='3000024' "
              "href='second'/>"
              "<help mid='3000000' range='3000030' href='third'/>");
    for (const auto& [mid, href] : std::map<const char*, const char*>{{"3000000", "third"},
                                                                      {"3000009", "third"},
                                                                      {"3000010", "first"},
                                                                      {"3000015", "first"},
                                                                      {"3000019", "first"},
                                                                      {"3000020", "second"},
                                                                      {"3000024", "second"},
                                                                      {"3000025", "third"},
                                                                      {"3000030", "third"},
                                                                      {"3000031", "none"}})
        EXPECT_EQ(help(mid), href) << mid;
    EXPECT_TRUE(files_.debug_says("Duplicated help data defined"));
}

TEST_F(UtMsgHelp, ARangeMayBeAsLargeAsNumbersAre)
{
    help_file("<help mid='-2147483648' range='2147483647' href='all'/><help mid='2147483647' href='last'/>");
    EXPECT_EQ(help("3000001"), "all");
    EXPECT_EQ(help("2147483647"), "all");
    EXPECT_EQ(help("-2147483648"), "all");
}

TEST_F(UtMsgHelp, TheDataIsReadOnFirstUse)
{
    help_file("<help mid='3000001' href='first'/>");
    EXPECT_EQ(help(k_error), "first");
    help_file("<help mid='3000001' href='second'/>");
    EXPECT_EQ(help(k_error), "first");
}

TEST_F(UtMsgHelp, TheDataMayStandWhereAVariableTells)
{
    help_file("<help mid='3000001' href='in its place'/>");
    {
        const scoped_environment variable("MSG_helpid", (files_ / "missing.xml").c_str());
        EXPECT_EQ(help(k_error), "none");
    }
    files_.restart();
    write_file(files_ / "other.xml", "<helpidFile><help mid='3000001' href='elsewhere'/></helpidFile>");
    const scoped_environment variable("MSG_helpid", (files_ / "other.xml").c_str());
    EXPECT_EQ(help(k_error), "elsewhere");
}

TEST_F(UtMsgHelp, DataThatIsMissingOrMalformedHelpsWithNothing)
{
    EXPECT_EQ(help(k_error), "none");
    EXPECT_TRUE(files_.debug_says("message file <helpid> does not exist"));
    EXPECT_THAT(navigation(k_error), IsEmpty());
    EXPECT_TRUE(files_.debug_says("message file <navigation> does not exist"));

    std::string bomb = "<helpidFile>";
    for (int i = 0; i < 100'000; ++i) bomb += "<help>";
    for (const std::string& bytes :
         {std::string(), std::string("words"), std::string("<helpidFile><help mid='3000001'"), bomb,
          std::string("<other><help mid='3000001' href='x'/></other>"), std::string("<helpidFile/>")}) {
        files_.restart();
        files_.raw_file("helpid.xml", bytes);
        files_.raw_file("navigation.xml", bytes);
        EXPECT_EQ(help(k_error), "none") << bytes.substr(0, 40);
        EXPECT_THAT(navigation(k_error), IsEmpty()) << bytes.substr(0, 40);
    }
    files_.restart();
    files_.remove("helpid.xml");
    std::filesystem::create_directories(files_ / "msgdata/helpid.xml");
    EXPECT_EQ(help(k_error), "none");
}

TEST_F(UtMsgHelp, OddNumbersAndBrokenCharactersDoNoHarm)
{
    help_file("<help mid='\xff' href='zero'/><help mid='' href='also'/><help mid='3000001' range='\xe2' "
              "href='\xf0'/>");
    EXPECT_EQ(help(k_error), "\xf0");
    EXPECT_EQ(help("words"), "zero");
}

// ---- navigation data

TEST_F(UtMsgHelp, TheFunctionsOfAnEntryAnswerForAMessage)
{
    navigation_file(
        "<navigation mid='3000001' range='3000003'><fun menu='m' cmd='c' index='first'/><other/>"
        "<fun menu='n' cmd='d'/></navigation><navigation fid='300'><fun menu='f' cmd='g'/></navigation>"
        "<navigation mid='3000005'/>");
    EXPECT_THAT(navigation("3000001"), ElementsAre("m/c/first", "n/d/both"));
    EXPECT_THAT(navigation("3000003"), ElementsAre("m/c/first", "n/d/both"));
    EXPECT_THAT(navigation("3000004"), ElementsAre("f/g/both"));
    EXPECT_THAT(navigation("3000005"), IsEmpty());
    EXPECT_THAT(navigation("3010005"), IsEmpty());
    EXPECT_THAT(navigation(nullptr), IsEmpty());
    texts menus;
    texts commands;
    EXPECT_EQ(db().queryMsgNavigationTools("3000001", menus, commands), 2);
    EXPECT_THAT(menus, ElementsAre("m", "n"));
    EXPECT_THAT(commands, ElementsAre("c", "d"));
    texts indexes;
    EXPECT_EQ(msgManager("tool").queryMsgNavigationTools("0004", menus, commands, indexes), 1);
    EXPECT_THAT(indexes, ElementsAre("both"));
}

TEST_F(UtMsgHelp, AFunctionWithoutMenuOrCommandIsPassedOver)
{
    navigation_file(
        "<navigation mid='3000001'><fun menu='m'/><fun cmd='c'/><fun/><fun menu='' cmd=''/></navigation>");
    EXPECT_THAT(navigation("3000001"), ElementsAre("//both"));
    EXPECT_TRUE(files_.debug_says("Incorrect novigation data"));
}

TEST_F(UtMsgHelp, TheFirstNavigationOfANumberKeepsIt)
{
    navigation_file("<navigation mid='3000001'><fun menu='a' cmd='b'/></navigation>"
                    "<navigation mid='3000001'><fun menu='c' cmd='d'/></navigation>");
    EXPECT_THAT(navigation("3000001"), ElementsAre("a/b/both"));
    EXPECT_TRUE(files_.debug_says("Duplicated navigation data defined"));
    EXPECT_FALSE(files_.debug_says("Duplicated help data defined"));
}

// ---- the numbers of other message systems

TEST_F(UtMsgSettings, NumbersOfAnotherSystemAreStored)
{
    msgManager messages;
    messages.clearVerificMsgIDs();
    messages.storeVerificMsgID("file", "one", "first", 1);
    messages.storeVerificMsgID("file", "one", "second", 2);
    messages.storeVerificMsgID("file", "two", "third", 3);
    messages.storeVerificMsgID("", "x", "x", 4);
    messages.storeVerificMsgID("x", "", "x", 4);
    messages.storeVerificMsgID("x", "x", "", 4);
    auto stored = msgManager().retrieveVerificMsgIDs();
    EXPECT_THAT(stored, ElementsAre(Pair("file", ElementsAre(Pair("one", Pair("second", 2U)),
                                                             Pair("two", Pair("third", 3U))))));
    stored.clear();  // a copy
    EXPECT_EQ(messages.retrieveVerificMsgIDs().size(), 1U);
    messages.clearVerificMsgIDs();
    EXPECT_THAT(messages.retrieveVerificMsgIDs(), IsEmpty());
}

namespace {

/// Another tool's numbers in the file of that tool, whose FID is 201.
class UtMsgExternal : public UtMsgSettings {
protected:
    UtMsgExternal()
    {
        files_.index({{"common", "100"}, {"tool", "300"}, {"synthesis", "201"}});
        files_.file("synthesis", "201",
                    {{"0001", "Warning", "a", "eid=\"CL111\""},
                     {"0002", "Warning", "b", "eid=\"CL222\""},
                     {"0003", "Warning", "c"},
                     {"0004", "Warning", "d", "eid=\"CL444\""},
                     {"0005", "Warning", "e", "eid=\"CL555\""}});
    }
};

}  // namespace

TEST_F(UtMsgExternal, AnExternalNumberIsFoundInTheObjectsFile)
{
    msgManager synthesis("synthesis");
    EXPECT_EQ(synthesis.queryInternalMsgId("CL222"), "2010002");
    EXPECT_EQ(synthesis.queryInternalMsgId("CL999"), "");
    EXPECT_EQ(msgManager("tool").queryInternalMsgId("CL444"), "2010004");  // known from then on
    EXPECT_EQ(msgManager().queryInternalMsgId("nowhere"), "");
    EXPECT_FALSE(files_.debug_says("input extMsgId is invalid"));
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(synthesis.queryInternalMsgId(none), "");
        EXPECT_TRUE(files_.debug_says("msgManager::queryInternalMsgId input extMsgId is invalid"));
    }
}

TEST_F(UtMsgExternal, TheExternalNumberOfAMessageStandsInItsFile)
{
    msgManager messages;
    EXPECT_EQ(messages.queryExternalMsgId("2010001"), "CL111");
    EXPECT_EQ(messages.queryExternalMsgId("2010003"), "");
    EXPECT_EQ(messages.queryExternalMsgId("2010099"), "");
    EXPECT_FALSE(files_.debug_says("queryExternalMsgId"));
    for (const char* bad : {static_cast<const char*>(nullptr), "", "0001", "8880001"}) {
        EXPECT_EQ(messages.queryExternalMsgId(bad), "");
        EXPECT_TRUE(files_.debug_says("msgManager::queryExternalMsgId input msgId is invalid"));
    }
}

TEST_F(UtMsgExternal, TheFilterFileHasErrorsFirst)
{
    msgManager messages;
    messages.setMsgType("2010001", MSG_WARNING);
    messages.setMsgType("2010002", MSG_ERROR);
    messages.setMsgType("2010003", MSG_ERROR);  // unknown to the other tool
    messages.setMsgType("2010004", MSG_WARNING);
    messages.setMsgType("2010005", MSG_INFO);
    messages.setMsgType(k_info, MSG_ERROR);
    EXPECT_TRUE(messages.saveSynpMsgFilterFile(out_path().c_str()));
    EXPECT_EQ(written(), "message_override -error CL222\nmessage_override -warning CL111 CL444\n");
    messages.setMsgType("2010002", MSG_ERROR, true);  // the tool's own
    messages.setMsgType("2010005", MSG_WARNING);
    EXPECT_TRUE(messages.saveSynpMsgFilterFile(out_path().c_str()));
    EXPECT_EQ(written(), "message_override -warning CL111 CL444 CL555\n");
}

TEST_F(UtMsgExternal, AFilterFileWithoutSettingsIsEmpty)
{
    write_file(out_path(), "left over");
    EXPECT_TRUE(msgManager().saveSynpMsgFilterFile(out_path().c_str()));
    EXPECT_TRUE(std::filesystem::exists(out_path()));
    EXPECT_EQ(written(), "");
    EXPECT_FALSE(msgManager().saveSynpMsgFilterFile(nullptr));
    EXPECT_FALSE(msgManager().saveSynpMsgFilterFile((files_ / "no/such/file").c_str()));
}
