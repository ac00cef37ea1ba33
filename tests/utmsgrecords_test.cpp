// tests/utmsgrecords_test.cpp: what a single file and a single message answer. The decision whether a post
// is shown is tested with the posts.
#include "utmsgrecords.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "basutstr.h"
#include "msgmid.h"
#include "msgtypes.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A file entry with a document of its own.
std::unique_ptr<msgFileCache> file_entry(const char* key, const char* xml)
{
    auto entry = std::make_unique<msgFileCache>(key);
    entry->m_document = new TiXmlDocument;
    entry->m_document->Parse(xml);
    entry->m_fileElement = entry->m_document->FirstChildElement("messageFile");
    return entry;
}

/// The record of a message with its element.
class message {
public:
    explicit message(const char* xml) : record_("3000001")
    {
        document_.Parse(xml);
        record_.m_element = document_.FirstChildElement("msg");
    }
    msgCache* operator->() { return &record_; }

private:
    TiXmlDocument document_;
    msgCache record_;
};

std::string text_of(const char* text)
{
    return text != nullptr ? text : "none";
}

}  // namespace

// ---- files

TEST(MsgFileCache, StartsWithoutADocument)
{
    msgFileCache empty;
    EXPECT_EQ(empty.m_key, nullptr);
    msgFileCache named("tool");
    EXPECT_STREQ(named.m_key, "tool");
    for (const msgFileCache* entry : {&empty, &named}) {
        EXPECT_EQ(entry->m_fid, nullptr);
        EXPECT_EQ(entry->m_alias, nullptr);
        EXPECT_EQ(entry->m_otherDocument, nullptr);
        EXPECT_EQ(entry->m_document, nullptr);
        EXPECT_EQ(entry->m_fileElement, nullptr);
        EXPECT_EQ(entry->m_mainEntry, nullptr);
        EXPECT_EQ(entry->m_owner + entry->m_description, "");
        EXPECT_FALSE(entry->isLoaded());
    }
    std::vector<int> uids{99};
    EXPECT_EQ(named.getMessageUIDs(uids), 0);
    EXPECT_THAT(uids, IsEmpty());
}

TEST(MsgFileCache, KeepsACopyOfItsKey)
{
    std::string key = "tool";
    const msgFileCache entry(key.c_str());
    key = "gone";
    EXPECT_STREQ(entry.m_key, "tool");
}

TEST(MsgFileCache, TellsNothingOfAFileThatIsNotLoaded)
{
    msgFileCache entry("tool");
    entry.m_fid = ut_strdup("300");
    entry.m_alias = ut_strdup("alias");
    entry.m_owner = "owner";
    for (int item = 0; item <= 15; ++item)
        EXPECT_EQ(entry.getKeyData(static_cast<eMessageDB_Data>(item)), nullptr) << item;
}

TEST(MsgFileCache, TellsWhatIsStoredBeforeWhatTheFileSays)
{
    const auto entry = file_entry("tool", "<messageFile name='n' fid='f' alias='a'><owner text='o'/>"
                                          "<description text='d'/></messageFile>");
    entry->m_fid = ut_strdup("300");
    entry->m_alias = ut_strdup("stored alias");
    entry->m_owner = "stored owner";
    entry->m_description = "stored description";
    EXPECT_STREQ(entry->getKeyData(MSGDB_ALIAS), "stored alias");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_OWNER), "stored owner");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_DESCRIPTION), "stored description");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_FID), "300");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_NAME), "tool");
    for (const int item : {0, 1, 2, 3, 4, 5, 6, 7, 13, 14, 15})
        EXPECT_EQ(entry->getKeyData(static_cast<eMessageDB_Data>(item)), nullptr) << item;
}

TEST(MsgFileCache, TellsWhatTheFileSaysWhereNothingIsStored)
{
    const auto entry = file_entry(nullptr, "<messageFile name='n' fid='f' alias='a'><owner text='o'/>"
                                           "<description>within</description></messageFile>");
    EXPECT_STREQ(entry->getKeyData(MSGDB_ALIAS), "a");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_OWNER), "o");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_DESCRIPTION), "within");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_FID), "f");
    EXPECT_STREQ(entry->getKeyData(MSGDB_FILE_NAME), "n");
}

TEST(MsgFileCache, TellsNothingThatIsNowhere)
{
    const auto entry = file_entry(nullptr, "<messageFile/>");
    for (int item = 0; item <= 15; ++item)
        EXPECT_EQ(entry->getKeyData(static_cast<eMessageDB_Data>(item)), nullptr) << item;
}

TEST(MsgFileCache, CountsAsLoadedByItsOtherDocument)
{
    msgFileCache entry("tool");
    int other = 0;
    entry.m_otherDocument = &other;
    EXPECT_TRUE(entry.isLoaded());
    EXPECT_STREQ(entry.getKeyData(MSGDB_FILE_NAME), "tool");
    EXPECT_EQ(entry.getKeyData(MSGDB_FILE_OWNER), nullptr);
}

TEST(MsgFileCache, CollectsTheUidsOfItsMessages)
{
    const auto entry =
        file_entry("tool", "<messageFile><msg uid='7'/><messages><msg uid='0012'/><msg uid='-3'/>"
                           "<msg/><note uid='5'/><msg uid='x'/></messages></messageFile>");
    std::vector<int> uids{99};
    EXPECT_EQ(entry->getMessageUIDs(uids), 3);
    EXPECT_THAT(uids, ElementsAre(12, -3, 0));
}

TEST(MsgFileCache, DeletesItsDocument)
{
    struct watched : TiXmlDocument {
        explicit watched(bool& gone) : gone_(gone) {}
        ~watched() override { gone_ = true; }
        bool& gone_;
    };
    bool gone = false;
    {
        msgFileCache entry("tool");
        entry.m_document = new watched(gone);
    }
    EXPECT_TRUE(gone);
}

// ---- messages

TEST(MsgCache, StartsEmpty)
{
    const msgCache record("3000001");
    EXPECT_STREQ(record.msgID(), "3000001");
    EXPECT_EQ(record.m_record, nullptr);
    EXPECT_EQ(record.m_setting, nullptr);
    EXPECT_EQ(record.m_element, nullptr);
    EXPECT_TRUE(record.m_printed.empty());
    EXPECT_EQ(record.msgString(), nullptr);
    EXPECT_EQ(record.msgAlias(), nullptr);
    EXPECT_EQ(record.msgWebId(), nullptr);
    EXPECT_EQ(record.msgOnLineId(), nullptr);
    EXPECT_EQ(record.msgDataSheet(), nullptr);
    EXPECT_EQ(record.msgLevel(), 0);
}

TEST(MsgCache, AnswersFromItsElement)
{
    message full("<msg text=' t ' alias='a' level='2'><help web='w' online='o' datasheet='d'/></msg>");
    EXPECT_STREQ(full->msgString(), " t ");
    EXPECT_STREQ(full->msgAlias(), "a");
    EXPECT_STREQ(full->msgWebId(), "w");
    EXPECT_STREQ(full->msgOnLineId(), "o");
    EXPECT_STREQ(full->msgDataSheet(), "d");
    EXPECT_EQ(full->msgLevel(), 2);
}

TEST(MsgCache, AnElementThatSaysNothingGivesNothing)
{
    for (const char* xml : {"<msg/>", "<msg><help/></msg>"}) {
        message bare(xml);
        msgInDb unused;
        unused.m_text = unused.m_alias = unused.m_webId = unused.m_onlineId = "of the definition";
        bare->m_record = new msgInDb(unused);
        EXPECT_EQ(text_of(bare->msgString()), "none");
        EXPECT_EQ(text_of(bare->msgAlias()), "none");
        EXPECT_EQ(text_of(bare->msgWebId()), "none");
        EXPECT_EQ(text_of(bare->msgOnLineId()), "none");
        EXPECT_EQ(text_of(bare->msgDataSheet()), "none");
        EXPECT_EQ(bare->msgLevel(), 0);
    }
}

TEST(MsgCache, AnswersFromItsDefinitionWithoutAnElement)
{
    msgCache record("3000001");
    record.m_record = new msgInDb{"t", "o", "w", "n", "a", 7, MSG_ERROR};
    EXPECT_STREQ(record.msgString(), "t");
    EXPECT_STREQ(record.msgAlias(), "a");
    EXPECT_STREQ(record.msgWebId(), "w");
    EXPECT_STREQ(record.msgOnLineId(), "o");
    EXPECT_EQ(record.msgDataSheet(), nullptr);
    EXPECT_EQ(record.msgLevel(), 7);
}

TEST(MsgInDb, StartsAsAnInfoOfLevelOne)
{
    const msgInDb definition;
    for (const char* text : {definition.m_text, definition.m_onlineId, definition.m_webId,
                             definition.m_navigationTool, definition.m_alias})
        EXPECT_EQ(text, nullptr);
    EXPECT_EQ(definition.m_level, 1);
    EXPECT_EQ(definition.m_type, 8);
}

TEST(MsgCache, OnlyTheLevelsOneAndTwoAreLevels)
{
    const struct {
        const char* xml;
        int level;
    } rows[] = {
        {"<msg level='1'/>", 1}, {"<msg level='2'/>", 2},  {"<msg level=' 2x'/>", 2}, {"<msg level='7'/>", 0},
        {"<msg level='0'/>", 0}, {"<msg level='-1'/>", 0}, {"<msg level='x'/>", 0},   {"<msg/>", 0}};
    for (const auto& row : rows) EXPECT_EQ(message(row.xml)->msgLevel(), row.level) << row.xml;
}

TEST(MsgCache, TheNavigationIsThatOfTheElement)
{
    std::vector<std::string> menus{"left over"};
    std::vector<std::string> commands{"left over"};
    message full(
        "<msg><navigation><fun menu='one' cmd='go'/><other menu='x'/><fun cmd='run'/><fun menu='three'/>"
        "</navigation></msg>");
    EXPECT_EQ(full->msgNavigationTool(menus, commands), 3);
    EXPECT_THAT(menus, ElementsAre("one", "", "three"));
    EXPECT_THAT(commands, ElementsAre("go", "run", ""));
    EXPECT_EQ(message("<msg/>")->msgNavigationTool(menus, commands), 0);
    EXPECT_THAT(menus, IsEmpty());
    EXPECT_THAT(commands, IsEmpty());
}

TEST(MsgCache, TheNavigationOfADefinitionIsOneMenu)
{
    std::vector<std::string> menus{"left over"};
    std::vector<std::string> commands{"left over"};
    msgCache record("3000001");
    EXPECT_EQ(record.msgNavigationTool(menus, commands), 0);
    record.m_record = new msgInDb;
    EXPECT_EQ(record.msgNavigationTool(menus, commands), 0);
    record.m_record->m_navigationTool = "tool";
    EXPECT_EQ(record.msgNavigationTool(menus, commands), 1);
    EXPECT_THAT(menus, ElementsAre("tool"));
    EXPECT_THAT(commands, IsEmpty());
}

// ---- types

namespace {

struct type_row {
    const char* xml;  ///< null for no element
    int setting;      ///< -1 for none
    int definition;   ///< -1 for none
    bool use_setting;
    int type;
    const char* name;
    const char* level;
};

constexpr type_row k_types[] = {
    // the letter of the element
    {"<msg type='Error'/>", -1, -1, true, 1, "Error", "2"},
    {"<msg type='e'/>", -1, -1, true, 1, "Error", "2"},
    {"<msg type='Critical'/>", -1, -1, true, 2, "Critical", "2"},
    {"<msg type='c'/>", -1, -1, true, 2, "Critical", "2"},
    {"<msg type='Warning'/>", -1, -1, true, 4, "Warning", "2"},
    {"<msg type='warn'/>", -1, -1, true, 4, "Warning", "2"},
    {"<msg type='Info'/>", -1, -1, true, 8, "Info", "2"},
    {"<msg type='i'/>", -1, -1, true, 8, "Info", "2"},
    {"<msg type='Status'/>", -1, -1, true, 16, "Status", "2"},
    {"<msg type='s'/>", -1, -1, true, 16, "Status", "2"},
    {"<msg type='Debug'/>", -1, -1, true, 256, "Debug", "2"},
    {"<msg type='d'/>", -1, -1, true, 256, "Debug", "2"},
    {"<msg/>", -1, -1, true, 16, "Status", "2"},
    {"<msg type='x'/>", -1, -1, true, 0, "", "2"},
    {"<msg type=''/>", -1, -1, true, 0, "", "2"},
    {"<msg type=' Error'/>", -1, -1, true, 0, "", "2"},
    {"<msg type='\xc5rror'/>", -1, -1, true, 0, "", "2"},
    // the level, of a warning alone
    {"<msg type='Warning' level='1'/>", -1, -1, true, 4, "Warning", "1"},
    {"<msg type='Warning' level='7'/>", -1, -1, true, 4, "Warning", "7"},
    {"<msg type='Warning' level=''/>", -1, -1, true, 4, "Warning", ""},
    {"<msg type='Error' level='1'/>", -1, -1, true, 1, "Error", "2"},
    {"<msg level='1'/>", -1, -1, true, 16, "Status", "2"},
    // a setting goes before
    {"<msg type='Warning' level='1'/>", 1, -1, true, 1, "Error", "2"},
    {"<msg type='Warning' level='1'/>", 1, -1, false, 4, "Warning", "1"},
    {"<msg type='Warning' level='1'/>", 511, -1, true, 4, "Warning", "1"},
    {"<msg type='Info'/>", 4, -1, true, 4, "Warning", "2"},
    {"<msg type='Info'/>", 2, -1, true, 2, "Critical", "2"},
    {"<msg type='Info'/>", 16, -1, true, 16, "Status", "2"},
    {"<msg type='Info'/>", 32, -1, true, 32, "Error", "2"},
    {"<msg type='Info'/>", 64, -1, true, 64, "Error", "2"},
    {"<msg type='Info'/>", 128, -1, true, 128, "Error", "2"},
    {"<msg type='Info'/>", 256, -1, true, 256, "Debug", "2"},
    {"<msg type='Info'/>", 3, -1, true, 3, "", "2"},
    {"<msg type='Info'/>", 0, -1, true, 0, "", "2"},
    {nullptr, 8, -1, true, 8, "Info", "2"},
    // without an element the definition
    {nullptr, -1, -1, true, 16, "Status", "2"},
    {nullptr, -1, 4, true, 4, "Warning", "2"},
    {nullptr, -1, 511, true, 16, "Status", "2"},
    {nullptr, -1, 5, false, 5, "", "2"},
    {nullptr, 1, 4, true, 1, "Error", "2"},
    {nullptr, 1, 4, false, 4, "Warning", "2"},
    {"<msg type='Info'/>", -1, 4, true, 8, "Info", "2"},
};

class MsgCacheType : public testing::TestWithParam<type_row> {};

}  // namespace

TEST_P(MsgCacheType, IsThatOfSettingElementOrDefinition)
{
    const type_row& row = GetParam();
    message asked(row.xml != nullptr ? row.xml : "");
    if (row.setting != -1) asked->setting().m_type = row.setting;
    if (row.definition != -1)
        asked->m_record = new msgInDb{nullptr, nullptr, nullptr, nullptr, nullptr, 1, row.definition};
    std::string name = "left over";
    std::string level = "left over";
    EXPECT_EQ(asked->msgType(name, level, row.use_setting), row.type);
    EXPECT_EQ(name, row.name);
    EXPECT_EQ(level, row.level);
}

INSTANTIATE_TEST_SUITE_P(Rows, MsgCacheType, testing::ValuesIn(k_types));

TEST(MsgTypes, EveryTypeHasItsValueAndItsName)
{
    const struct {
        int type;
        int value;
        const char* name;
    } rows[] = {{MSG_ERROR, 1, "Error"},     {MSG_CRITICAL, 2, "Critical"},   {MSG_WARNING, 4, "Warning"},
                {MSG_INFO, 8, "Info"},       {MSG_STATUS, 16, "Status"},      {MSG_UT_ERROR, 32, "Error"},
                {MSG_UT_FATAL, 64, "Error"}, {MSG_UT_INTERNAL, 128, "Error"}, {MSG_DEBUG, 256, "Debug"},
                {MSG_ALL, 511, ""}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.type, row.value);
        EXPECT_STREQ(ketriope::name_of_type(row.type), row.name);
    }
    for (const int none : {0, 3, -1, 512}) EXPECT_STREQ(ketriope::name_of_type(none), "");
    for (const int counted : {1, 2, 4, 8, 16}) EXPECT_NE(ketriope::counted_type(counted), nullptr);
    for (const int other : {0, 32, 64, 128, 256, 511}) EXPECT_EQ(ketriope::counted_type(other), nullptr);
    EXPECT_EQ(ketriope::type_by_name("error"), nullptr);
    EXPECT_EQ(ketriope::type_by_name("Error")->type, MSG_ERROR);
}

TEST(MsgMid, NumbersHaveSevenDigitsAtLeast)
{
    EXPECT_EQ(ketriope::mid_text(0), "0000000");
    EXPECT_EQ(ketriope::mid_text(42), "0000042");
    EXPECT_EQ(ketriope::mid_text(1009990), "1009990");
    EXPECT_EQ(ketriope::mid_text(2147483647), "2147483647");
    EXPECT_EQ(ketriope::mid_text(-5), "-000005");
    EXPECT_EQ(ketriope::mid_text(-2147483647 - 1), "-2147483648");
}

// ---- settings

TEST(MsgSetting, StartsWithoutALimitAndWithoutAType)
{
    const msgSetting setting;
    EXPECT_FALSE(setting.m_internal);
    EXPECT_EQ(setting.m_displayCount, -1);
    EXPECT_EQ(setting.m_type, 511);
    EXPECT_TRUE(setting.m_disabled.empty());
}

TEST(MsgCache, ItsSettingIsMadeOnce)
{
    msgCache record("3000001");
    msgSetting& made = record.setting();
    EXPECT_EQ(record.m_setting, &made);
    EXPECT_EQ(&record.setting(), &made);
}

TEST(MsgMid, ANumberHasTwoHalves)
{
    const struct {
        const char* mid;
        const char* fid;
        const char* uid;
    } rows[] = {{"1000042", "100", "0042"}, {"10001", "1", "0001"}, {"12345670001", "1234567", "0001"},
                {"123456780001", "", ""},   {"0001", "", ""},       {"", "", ""}};
    for (const auto& row : rows) {
        EXPECT_EQ(ketriope::split_mid(row.mid).fid, row.fid) << row.mid;
        EXPECT_EQ(ketriope::split_mid(row.mid).uid, row.uid) << row.mid;
    }
}
