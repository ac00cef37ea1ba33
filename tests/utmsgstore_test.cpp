// tests/utmsgstore_test.cpp: what messages exist: the index, the message files, and their records.
#include "utmsgdbmanager.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "message_capture.h"
#include "message_files.h"
#include "utmsgmanager.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

/// The operations that only a class derived from the database may reach, for a database of any class.
struct store : msgDbManager {
    static std::string directory(msgDbManager& db) { return (db.*&store::getMsgSrcDir)(); }
    static int build_index(msgDbManager& db) { return (db.*&store::buildIndexTableXML)(); }
    static void build_index_quietly(msgDbManager& db) { (db.*&store::buildIndexTable)(); }
    static std::unique_ptr<TiXmlDocument> load(msgDbManager& db, const char* name)
    {
        return std::unique_ptr<TiXmlDocument>((db.*&store::loadMsgFileXML)(name));
    }
    static msgFileCache* find_xml(msgDbManager& db, const char* key)
    {
        return (db.*&store::findMsgFileCacheXML)(key);
    }
    static msgFileCache* find(msgDbManager& db, const char* key)
    {
        return (db.*&store::findMsgFileCache)(key);
    }
    static msgFileCache* create_xml(msgDbManager& db, const char* name)
    {
        return (db.*&store::createMsgFileCacheXML)(name);
    }
    static msgFileCache* create(msgDbManager& db, const char* name)
    {
        return (db.*&store::createMsgFileCache)(name);
    }
    static msgCache* record(msgDbManager& db, const char* mid) { return (db.*&store::_getMsgInCache)(mid); }
    static msgCache* create_message(msgDbManager& db, const char* mid, msgCache* existing)
    {
        return (db.*&store::createMsgInCache)(mid, existing);
    }
    static int query(msgDbManager& db, int mid, eMessageDB_Data item, std::vector<std::string>& out)
    {
        using member = int (msgDbManager::*)(int, eMessageDB_Data, std::vector<std::string>&);
        return (db.*static_cast<member>(&store::queryMsgDB))(mid, item, out);
    }
};

/// What `work` throws; 0 for nothing.
template <class Work>
int thrown_by(Work work)
{
    try {
        work();
    } catch (int code) {
        return code;
    }
    return 0;
}

class UtMsgStore : public testing::Test {
protected:
    msgDbManager& db() { return files_.database(); }

    /// The text kept for the message system's own trouble; "" for none.
    std::string own_status()
    {
        std::string mid;
        std::vector<std::string> dynamic;
        std::vector<std::string> navigation;
        db().findErrorStatus(mid, dynamic, navigation);
        return mid == "0000000" && dynamic.size() == 1 ? dynamic[0] : mid;
    }

    std::vector<std::string> answers(const char* mid, eMessageDB_Data item, int count)
    {
        std::vector<std::string> out{"left over"};
        EXPECT_EQ(db().queryMsgDB(mid, item, out), count) << mid << ' ' << item;
        return out;
    }
    /// The text of a message; "none" for a message without one.
    std::string text_of(const char* mid)
    {
        std::vector<std::string> out;
        return db().queryMsgDB(mid, MSGDB_TEXT, out) != 0 ? out.at(0) : "none";
    }

    message_files files_;
};

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != text.npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

constexpr const char* k_tool_head = "<messageFile name='tool' fid='300'>";

}  // namespace

// ---- where the files are

namespace {

struct directory_row {
    const char* env;  ///< each a variable: null if it is not set, else '!' and a directory with an index, or
    const char* foundry;  ///< a directory without
    const char* toolrtf;
    const char* expected;  ///< with '#' for the root of the test
};

constexpr directory_row k_directories[] = {
    {"!env", "!foundry", "!tools", "#/env/msgdata"},
    {"!env", nullptr, nullptr, "#/env/msgdata"},
    {"env", "!foundry", "!tools", "#/foundry/msgdata"},
    {nullptr, "!foundry", nullptr, "#/foundry/msgdata"},
    {nullptr, "!foundry/", nullptr, "#/foundry//msgdata"},
    {"!two;parts", nullptr, nullptr, "#/two;parts/msgdata"},
    {"!Upper", nullptr, nullptr, "#/Upper/msgdata"},
    {"!back\\slash", nullptr, nullptr, "#/back\\slash/msgdata"},
    {"env", "foundry", "!tools", "#/tools/orvfpga/msgdata/msgindex.xml"},  // not cut
    {nullptr, nullptr, "!tools", "#/tools/orvfpga/msgdata/msgindex.xml"},
    {nullptr, nullptr, "tools", "."},
    {"env", "foundry", nullptr, "."},
    {nullptr, nullptr, nullptr, "."},
};

class UtMsgStoreDirectory : public UtMsgStore, public testing::WithParamInterface<directory_row> {
protected:
    /// The value of a variable, with its directory made.
    std::string made(const char* told, const std::string& below)
    {
        if (told == nullptr) return "";
        const bool has_index = *told == '!';
        std::string root = files_ / (has_index ? told + 1 : told);
        std::filesystem::create_directories(root + below);
        if (has_index) write_file(root + below + "/msgindex.xml", "<messageIndexFile/>");
        return root;
    }
};

}  // namespace

TEST_P(UtMsgStoreDirectory, IsFoundThroughTheEnvironment)
{
    const directory_row& row = GetParam();
    const std::string env = made(row.env, "/msgdata");
    const std::string foundry = made(row.foundry, "/msgdata");
    const std::string toolrtf = made(row.toolrtf, "/orvfpga/msgdata");
    const scoped_environment env_is("ENV", row.env != nullptr ? env.c_str() : nullptr);
    const scoped_environment foundry_is("FOUNDRY", row.foundry != nullptr ? foundry.c_str() : nullptr);
    const scoped_environment toolrtf_is("TOOLRTF", row.toolrtf != nullptr ? toolrtf.c_str() : nullptr);
    EXPECT_EQ(store::directory(db()), replaced(row.expected, "#", files_.path()));
}

INSTANTIATE_TEST_SUITE_P(Rows, UtMsgStoreDirectory, testing::ValuesIn(k_directories));

TEST_F(UtMsgStore, TheDirectoryIsFoundOnce)
{
    const std::string first = store::directory(db());
    EXPECT_EQ(first, files_ / "msgdata");
    const scoped_environment foundry("FOUNDRY", "/elsewhere");
    EXPECT_EQ(store::directory(db()), first);
    files_.restart();
    EXPECT_EQ(store::directory(db()), ".");
    const scoped_environment again("FOUNDRY", files_.path().c_str());
    EXPECT_EQ(store::directory(db()), ".");
}

TEST_F(UtMsgStore, ADirectoryIsTakenOnlyWhenTheDatabaseIsMade)
{
    msgDbManager* const before = msgDbManager::findUniqueDbManager();
    EXPECT_EQ(msgDbManager::initMsgDbManager("/ignored"), before);
    EXPECT_EQ(store::directory(db()), files_ / "msgdata");

    msgDbManager::setUniqueDbManager(nullptr);
    EXPECT_EQ(msgDbManager::findUniqueDbManager(), nullptr);
    msgDbManager* const made = msgDbManager::initMsgDbManager("/taken");
    EXPECT_EQ(msgDbManager::findUniqueDbManager(), made);
    EXPECT_EQ(msgDbManager::initMsgDbManager("/ignored"), made);
    EXPECT_EQ(store::directory(*made), "/taken");
    delete made;
    EXPECT_NE(made, before);
    msgDbManager::setUniqueDbManager(before);
}

TEST_F(UtMsgStore, WithOnlyToolrtfTheIndexIsLookedForBelowAFile)
{
    std::filesystem::create_directories(files_ / "orvfpga/msgdata");
    write_file(files_ / "orvfpga/msgdata/msgindex.xml", "<messageIndexFile/>");
    const scoped_environment foundry("FOUNDRY", nullptr);
    const scoped_environment toolrtf("TOOLRTF", files_.path().c_str());
    EXPECT_EQ(thrown_by([&] { text_of("3000001"); }), -1);
}

// ---- the index

TEST_F(UtMsgStore, EveryEntryOfTheIndexCountsTwo)
{
    files_.index({{"common", "100"}, {"tool", "300", "helper"}, {"third", "400"}});
    EXPECT_EQ(store::build_index(db()), 6);
    EXPECT_TRUE(files_.debug_says("successfully load message index file " + files_.path()));
}

TEST_F(UtMsgStore, AnIndexThatIsLoadedIsNotLoadedAgain)
{
    EXPECT_EQ(store::build_index(db()), 4);
    EXPECT_FALSE(files_.debug_says("why call buildIndexTableXML"));
    EXPECT_EQ(store::build_index(db()), 1);
    EXPECT_TRUE(files_.debug_says("why call buildIndexTableXML; index file was loaded already"));
    store::build_index_quietly(db());
    std::vector<std::string> names;
    EXPECT_EQ(db().getMessageFiles(names), 2);
}

TEST_F(UtMsgStore, FaultyEntriesOfTheIndexArePassedOverAndCount)
{
    files_.raw_file("msgindex.xml", "<messageIndexFile><msgFile fid='1'/><msgFile name='n'/><other/>"
                                    "<msgFile name='good' fid='2'/><msgFile/></messageIndexFile>");
    EXPECT_EQ(store::build_index(db()), 8);
    for (const char* index : {"[1]", "[3]", "[7]"})
        EXPECT_TRUE(files_.debug_says(std::string("Index file has invalid entry ") + index)) << index;
    EXPECT_FALSE(files_.debug_says("[5]"));
    std::vector<std::string> names;
    db().getMessageFiles(names);
    EXPECT_THAT(names, ElementsAre("good"));
}

TEST_F(UtMsgStore, EntriesThatShareANameOrAFidArePassedOverAndCount)
{
    files_.index({{"tool", "300"}, {"tool", "301"}, {"other", "300"}, {"300", "302"}, {"last", "tool"}});
    EXPECT_EQ(store::build_index(db()), 10);
    const std::string said = files_.debug_text();
    for (const char* name : {"tool", "other", "300", "last"})
        EXPECT_THAT(
            said, HasSubstr("Entry <" + std::string(name) + "> has information duplicated with other entry"));
    std::vector<std::string> names;
    db().getMessageFiles(names);
    EXPECT_THAT(names, ElementsAre("tool"));
    EXPECT_EQ(store::find(db(), "301"), nullptr);
}

TEST_F(UtMsgStore, AliasesAreNoKeys)
{
    files_.index({{"tool", "300", "same"}, {"same", "301", "tool"}});
    files_.tool({});
    EXPECT_EQ(store::build_index(db()), 4);
    std::vector<std::string> names;
    EXPECT_EQ(db().getMessageFiles(names), 2);
    EXPECT_STREQ(store::find(db(), "tool")->m_alias, "same");
}

TEST_F(UtMsgStore, AFileWhoseNameIsItsFidHasOneEntry)
{
    files_.index({{"300", "300"}});
    files_.file("300", "300", {{"0001", "Info", "text"}});
    EXPECT_EQ(store::build_index(db()), 2);
    EXPECT_EQ(text_of("3000001"), "text");
    std::vector<std::string> names;
    db().getMessageFiles(names);
    EXPECT_THAT(names, ElementsAre("300"));
}

TEST_F(UtMsgStore, AnIndexWithoutItsRootStaysLoadedAndNamesNothing)
{
    files_.raw_file("msgindex.xml", "<messageFile><msgFile name='tool' fid='300'/></messageFile>");
    EXPECT_EQ(store::build_index(db()), 0);
    EXPECT_EQ(store::build_index(db()), 1);
    EXPECT_EQ(text_of("3000001"), "none");
}

TEST_F(UtMsgStore, AMissingIndexThrowsAtEachUse)
{
    files_.remove("msgindex.xml");
    constexpr const char* k_text = "fails to load message index file msgindex.xml.";
    std::vector<std::string> out;
    std::vector<int> uids;
    EXPECT_EQ(thrown_by([&] { store::build_index(db()); }), -1);
    EXPECT_TRUE(files_.debug_says(k_text));
    EXPECT_EQ(own_status(), k_text);
    EXPECT_EQ(thrown_by([&] { db().queryMsgDB("3000001", MSGDB_TEXT, out); }), -1);
    EXPECT_EQ(thrown_by([&] { db().getMessages("tool", uids); }), -1);
    EXPECT_EQ(thrown_by([&] { db().getMessageFiles(out); }), -1);
    EXPECT_EQ(thrown_by([&] { msgManager("tool"); }), -1);
    EXPECT_EQ(thrown_by([&] { msgManager().postMsg("3000001"); }), -1);
    EXPECT_EQ(db().exportMessageIndexFile((files_ / "out.xml").c_str()), 0);
    // The place was remembered, and no index has come to it.
    files_.index({{"tool", "300"}});
    EXPECT_EQ(thrown_by([&] { text_of("3000001"); }), -1);
}

TEST_F(UtMsgStore, AnObjectWithoutACategoryNeedsNoIndex)
{
    files_.remove("msgindex.xml");
    EXPECT_EQ(thrown_by([] { msgManager(); }), 0);
    EXPECT_EQ(thrown_by([] { msgManager(static_cast<const char*>(nullptr)); }), 0);
}

TEST_F(UtMsgStore, AMalformedIndexThrowsUntilItIsMended)
{
    const std::string bomb = [] {
        std::string text;
        for (int i = 0; i < 100'000; ++i) text += "<a>";
        return text;
    }();
    for (const std::string& bytes :
         {std::string(), std::string("\0", 1), std::string("words"), std::string("<messageIndexFile>"),
          std::string("<messageIndexFile><msgFile name='tool' fid='300'"), "<messageIndexFile>" + bomb}) {
        files_.restart();
        files_.raw_file("msgindex.xml", bytes);
        EXPECT_EQ(thrown_by([&] { text_of("3000001"); }), -1) << bytes.substr(0, 60);
        EXPECT_EQ(own_status(), "fails to load message index file msgindex.xml.");
        files_.index({{"tool", "300"}});
        files_.tool({{"0001", "Info", "mended"}});
        EXPECT_EQ(text_of("3000001"), "mended");
    }
}

TEST_F(UtMsgStore, AnIndexThatIsADirectoryThrows)
{
    files_.remove("msgindex.xml");
    std::filesystem::create_directories(files_ / "msgdata/msgindex.xml");
    EXPECT_EQ(thrown_by([&] { text_of("3000001"); }), -1);
    EXPECT_EQ(store::directory(db()), files_ / "msgdata");  // such a file can be opened
}

TEST_F(UtMsgStore, AnIndexWithBrokenCharactersNamesItsFiles)
{
    files_.raw_file("msgindex.xml", "<?xml version='1.0' encoding='UTF-8'?><messageIndexFile>"
                                    "<msgFile name='caf\xe9' fid='299'/><msgFile name='tool' fid='300'/>"
                                    "</messageIndexFile>");
    files_.tool({{"0001", "Info", "text"}});
    EXPECT_EQ(text_of("3000001"), "text");
    std::vector<std::string> names;
    db().getMessageFiles(names);
    EXPECT_THAT(names, UnorderedElementsAre("caf\xe9", "tool"));
}

TEST_F(UtMsgStore, TheIndexIsExportedAsItIs)
{
    EXPECT_EQ(db().exportMessageIndexFile((files_ / "out.xml").c_str()), 0);
    store::build_index(db());
    EXPECT_EQ(db().exportMessageIndexFile((files_ / "out.xml").c_str()), 1);
    EXPECT_THAT(file_bytes(files_ / "out.xml"),
                HasSubstr("<messageIndexFile>\n    <msgFile name=\"common\" fid=\"100\" />"));
    EXPECT_EQ(db().exportMessageIndexFile((files_ / "no/such/out.xml").c_str()), 0);
    EXPECT_EQ(db().exportMessageIndexFile(nullptr), 0);
}

// ---- finding a message file

namespace {

/// Where "tool.xml" is looked for, in order.
constexpr const char* k_places[] = {"msgdata", "env/msgdata", "foundry/msgdata", "tools/data/msgdata",
                                    "tools/orvfpga/msgdata"};

}  // namespace

TEST_F(UtMsgStore, AMessageFileIsTakenFromTheFirstPlaceThatHasIt)
{
    store::directory(db());  // remembers msgdata below the root
    const scoped_environment env("ENV", (files_ / "env").c_str());
    const scoped_environment foundry("FOUNDRY", (files_ / "foundry").c_str());
    const scoped_environment toolrtf("TOOLRTF", (files_ / "tools").c_str());
    for (const char* place : k_places) std::filesystem::create_directories(files_ / place);
    const auto name_of = [&] {
        const auto document = store::load(db(), "tool");
        return document ? std::string(document->RootElement()->Attribute("name")) : "none";
    };
    EXPECT_EQ(name_of(), "none");
    for (std::size_t i = std::size(k_places); i-- > 0;) {
        const std::string path = files_ / (std::string(k_places[i]) + "/tool.xml");
        write_file(path, "<messageFile name='" + std::string(k_places[i]) + "' fid='300'/>");
        EXPECT_EQ(name_of(), k_places[i]);
        EXPECT_TRUE(files_.debug_says("successfully load message file <" + path + ">")) << path;
    }
    write_file(files_ / "msgdata/tool.xml", "<damaged");
    EXPECT_EQ(name_of(), k_places[1]);
}

TEST_F(UtMsgStore, AMessageFileThatIsNowhereLeavesAnErrorStatus)
{
    EXPECT_EQ(store::load(db(), "nowhere"), nullptr);
    EXPECT_EQ(own_status(), "message file <nowhere> does not exist");
    EXPECT_TRUE(files_.debug_says("message file <nowhere> does not exist"));
}

TEST_F(UtMsgStore, AVariableNamesTheOnlyPlaceOfAFile)
{
    files_.tool({{"0001", "Info", "in its place"}});
    write_file(files_ / "other.xml", "<messageFile name='x' fid='999'><messages>"
                                     "<msg uid='0001' text='elsewhere'/></messages></messageFile>");
    {
        const scoped_environment variable("MSG_tool", (files_ / "missing.xml").c_str());
        constexpr const char* k_text =
            "message file <tool>, based on environment variable setting, does not exist";
        EXPECT_EQ(store::load(db(), "tool"), nullptr);
        EXPECT_TRUE(files_.debug_says(k_text));
        EXPECT_EQ(own_status(), k_text);
        EXPECT_EQ(store::find_xml(db(), "tool"), nullptr);
    }
    const scoped_environment variable("MSG_tool", (files_ / "other.xml").c_str());
    EXPECT_EQ(text_of("3000001"), "elsewhere");  // by the FID of the index, whatever the file says
    EXPECT_EQ(text_of("9990001"), "none");
    EXPECT_TRUE(files_.debug_says("successfully load message file <" + (files_ / "other.xml") + ">"));
}

// ---- the entries of files

TEST_F(UtMsgStore, AFileIsFoundByItsNameAndByItsFid)
{
    files_.raw_file("tool.xml", "<messageFile name='tool' fid='300' alias='in the file'>"
                                "<description text='what it is'/><owner text='whose it is'/></messageFile>");
    files_.index({{"tool", "300", "in the index"}});
    msgFileCache* const entry = store::find(db(), "tool");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(store::find(db(), "300"), entry);
    EXPECT_EQ(store::find_xml(db(), "300"), entry);
    EXPECT_EQ(store::find_xml(db(), "tool"), entry);
    EXPECT_STREQ(entry->m_key, "tool");
    EXPECT_STREQ(entry->m_fid, "300");
    EXPECT_STREQ(entry->m_alias, "in the index");
    EXPECT_EQ(entry->m_description, "what it is");
    EXPECT_EQ(entry->m_owner, "whose it is");
    EXPECT_EQ(entry->m_mainEntry, nullptr);
    EXPECT_NE(entry->m_document, nullptr);
    EXPECT_EQ(entry->m_fileElement, entry->m_document->RootElement());
}

TEST_F(UtMsgStore, AFileWithoutOwnerAndDescriptionSaysSo)
{
    files_.raw_file("tool.xml", "<messageFile name='tool' fid='300'><owner/></messageFile>");
    msgFileCache* const entry = store::find(db(), "tool");
    EXPECT_EQ(entry->m_owner, "no owner");
    EXPECT_EQ(entry->m_description, "no description");
}

TEST_F(UtMsgStore, AFileIsReadOnce)
{
    files_.tool({{"0001", "Info", "first"}});
    TiXmlDocument* const document = store::find_xml(db(), "tool")->m_document;
    files_.tool({{"0001", "Info", "second"}});
    EXPECT_EQ(store::find(db(), "300")->m_document, document);
    EXPECT_EQ(text_of("3000001"), "first");
    // Loaded by a look-up of a message, it is not asked for its owner any more.
    EXPECT_EQ(store::find(db(), "tool")->m_owner, "");
}

TEST_F(UtMsgStore, AFileThatTheIndexDoesNotNameIsNotFound)
{
    files_.file("free", "500", {});
    EXPECT_EQ(store::find(db(), "free"), nullptr);
    EXPECT_EQ(store::find_xml(db(), "free"), nullptr);
    EXPECT_EQ(store::find(db(), nullptr), nullptr);
    EXPECT_EQ(store::find_xml(db(), ""), nullptr);
}

TEST_F(UtMsgStore, AFileThatIsMissingHasAnEntryWithoutADocument)
{
    EXPECT_EQ(store::find_xml(db(), "tool"), nullptr);
    msgFileCache* const entry = store::find(db(), "300");
    ASSERT_NE(entry, nullptr);
    EXPECT_FALSE(entry->isLoaded());
    EXPECT_EQ(entry->m_owner, "");
    files_.tool({{"0001", "Info", "it has come"}});
    EXPECT_EQ(store::find(db(), "tool"), entry);
    EXPECT_TRUE(entry->isLoaded());
    EXPECT_EQ(text_of("3000001"), "it has come");
}

TEST_F(UtMsgStore, PostsOfAMissingFileShowNothingAndLeaveAnErrorStatus)
{
    msgManager tool("tool");
    EXPECT_EQ(tool.getFID(), "300");
    int sid = -1;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(stdout_of([&] { sid = tool.postMsg("0001", "a"); }), ""); }), "");
    EXPECT_EQ(sid, 0);
    EXPECT_EQ(own_status(), "message file <tool> does not exist");
}

namespace {

struct malformed_row {
    const char* bytes;
    int code;          ///< what a look-up throws
    const char* text;  ///< what it leaves
};

constexpr const char* k_no_element = "message file <tool> does not have tag <messageFile>";
constexpr const char* k_no_number = "message file <tool> has no fid or name defined";
constexpr const char* k_not_there = "message file <tool> does not exist";

constexpr malformed_row k_malformed[] = {
    {"<messages/>", -2, k_no_element},
    {"<!-- nothing -->", -2, k_no_element},
    {"<MessageFile name='tool' fid='300'/>", -2, k_no_element},
    {"<messageFile/>", -3, k_no_number},
    {"<messageFile name='tool'/>", -3, k_no_number},
    {"<messageFile fid='300'/>", -3, k_no_number},
    {"", 0, k_not_there},
    {"not XML", 0, k_not_there},
    {"<messageFile name='tool' fid='300'>", 0, k_not_there},
    {"<messageFile name='tool' fid='300'><messages><msg uid='0001", 0, k_not_there},
    {"<?xml version='>'?><messageFile name='tool' fid='300'/>", 0, k_not_there},
};

class UtMsgStoreMalformed : public UtMsgStore, public testing::WithParamInterface<malformed_row> {};

}  // namespace

TEST_P(UtMsgStoreMalformed, FileFailsEachLookUpUntilItIsMended)
{
    const malformed_row& row = GetParam();
    files_.raw_file("tool.xml", row.bytes);
    for (msgFileCache* (*find)(msgDbManager&, const char*) : {store::find_xml, store::find}) {
        db().resetErrorStatus();
        EXPECT_EQ(thrown_by([&] { find(db(), "tool"); }), row.code);
        EXPECT_EQ(own_status(), row.text);
        EXPECT_TRUE(files_.debug_says(row.text));
    }
    EXPECT_EQ(thrown_by([&] { msgManager("tool").postMsg("0001"); }), row.code);
    files_.tool({{"0001", "Info", "mended"}});
    EXPECT_EQ(text_of("3000001"), "mended");
}

INSTANTIATE_TEST_SUITE_P(Rows, UtMsgStoreMalformed, testing::ValuesIn(k_malformed));

TEST_F(UtMsgStore, HostileMessageFilesAreRefusedOrRead)
{
    std::filesystem::create_directories(files_ / "msgdata/tool.xml");
    EXPECT_EQ(text_of("3000001"), "none");
    EXPECT_EQ(own_status(), k_not_there);
    std::filesystem::remove(files_ / "msgdata/tool.xml");

    std::string bomb = k_tool_head;
    for (int i = 0; i < 100'000; ++i) bomb += "<messages>";
    files_.raw_file("tool.xml", bomb);
    EXPECT_EQ(text_of("3000001"), "none");

    files_.raw_file("tool.xml", std::string("<?xml version='1.0' encoding='UTF-8'?>") + k_tool_head +
                                    "<messages><msg uid='0001' text='\xf0\x9f\xff'/>"
                                    "<msg uid='0002' text='\xe2'/></messages></messageFile>");
    EXPECT_EQ(text_of("3000001"), "\xf0\x9f\xff");
    EXPECT_EQ(text_of("3000002"), "\xe2");
}

TEST_F(UtMsgStore, ATemplateOfAHundredMegabytesIsKept)
{
    constexpr std::size_t k_size = 100'000'000;
    files_.raw_file("tool.xml", std::string(k_tool_head) + "<messages><msg uid='0001' text='" +
                                    std::string(k_size, 'x') + "'/></messages></messageFile>");
    EXPECT_EQ(text_of("3000001").size(), k_size);
}

// ---- files that the index does not name

TEST_F(UtMsgStore, AFileOutsideTheIndexIsEnteredUnderItsNameAndItsFid)
{
    files_.file("free", "500", {{"0001", "Info", "text"}});
    msgFileCache* const entry = store::create_xml(db(), "free");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->m_key, "free");
    EXPECT_STREQ(entry->m_fid, "500");
    EXPECT_EQ(store::find(db(), "free"), entry);
    EXPECT_EQ(store::find(db(), "500"), entry);
    EXPECT_EQ(text_of("5000001"), "text");
    EXPECT_EQ(msgManager("free").getFID(), "500");
}

TEST_F(UtMsgStore, AFileOutsideTheIndexThatIsMissingHasNoEntry)
{
    EXPECT_EQ(store::create_xml(db(), nullptr), nullptr);
    EXPECT_EQ(store::create(db(), nullptr), nullptr);
    EXPECT_EQ(store::create(db(), "free"), nullptr);
    EXPECT_EQ(own_status(), "message file <free> does not exist");
    EXPECT_EQ(store::find(db(), "free"), nullptr);
    EXPECT_EQ(msgManager("free").getFID(), "");
}

TEST_F(UtMsgStore, AFileOutsideTheIndexThatIsMalformedThrows)
{
    for (const char* bytes :
         {"<other name='free' fid='500'/>", "<messageFile name='free'/>", "<messageFile fid='500'/>"}) {
        files_.raw_file("free.xml", bytes);
        db().resetErrorStatus();
        EXPECT_EQ(thrown_by([&] { store::create_xml(db(), "free"); }), -3) << bytes;
        EXPECT_EQ(own_status(), "message files <free> has no FID defined");
        EXPECT_TRUE(files_.debug_says("message files <free> has no FID defined"));
        EXPECT_EQ(thrown_by([&] { msgManager("free"); }), -3) << bytes;
    }
    files_.file("free", "500", {});
    EXPECT_NE(store::create(db(), "free"), nullptr);
}

TEST_F(UtMsgStore, AFileOutsideTheIndexMayNotTakeAFidThatIsThere)
{
    files_.file("free", "300", {});
    constexpr const char* k_text =
        "message files <free> has FID <300> conflicted with a FID defined in index file";
    EXPECT_EQ(store::create_xml(db(), "free"), nullptr);
    EXPECT_EQ(own_status(), k_text);
    EXPECT_TRUE(files_.debug_says(k_text));
    EXPECT_EQ(store::find(db(), "free"), nullptr);
    EXPECT_EQ(msgManager("free").getFID(), "");
}

TEST_F(UtMsgStore, AFileOfTheIndexIsNotMadeASecondTime)
{
    files_.file("tool", "301", {{"0001", "Info", "text"}});
    msgFileCache* const entry = store::find(db(), "tool");
    EXPECT_EQ(store::create_xml(db(), "tool"), nullptr);
    EXPECT_EQ(store::find(db(), "300"), entry);
    EXPECT_EQ(text_of("3000001"), "text");
    EXPECT_EQ(store::find(db(), "301"), nullptr);
}

// ---- messages

TEST_F(UtMsgStore, TheUidsOfAFileAreCollected)
{
    files_.raw_file("tool.xml", std::string(k_tool_head) +
                                    "<messages><msg uid='0002'/><msg uid='0001'/><other uid='9'/><msg/>"
                                    "<msg uid='0002'/><msg uid='x'/></messages><msg uid='7'/></messageFile>");
    files_.file("free", "500", {{"0042"}});
    std::vector<int> uids{99};
    EXPECT_EQ(db().getMessages("tool", uids), 4);
    EXPECT_THAT(uids, ElementsAre(2, 1, 2, 0));
    EXPECT_EQ(db().getMessages("300", uids), 4);
    EXPECT_EQ(db().getMessages("free", uids), 1);
    EXPECT_THAT(uids, ElementsAre(42));
    EXPECT_EQ(db().getMessages("missing", uids), 0);
    EXPECT_THAT(uids, IsEmpty());
    EXPECT_EQ(db().getMessages(nullptr, uids), 0);
}

TEST_F(UtMsgStore, TheFilesAreListedByTheirNames)
{
    std::vector<std::string> names{"left over"};
    EXPECT_EQ(db().getMessageFiles(names), 2);
    EXPECT_THAT(names, UnorderedElementsAre("common", "tool"));
    files_.file("free", "500", {});
    store::create(db(), "free");
    EXPECT_EQ(db().getMessageFiles(names), 3);
    EXPECT_THAT(names, UnorderedElementsAre("common", "tool", "free"));
}

TEST_F(UtMsgStore, ARecordIsMadeOnce)
{
    msgCache* const made = store::record(db(), "3000001");
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->msgID(), "3000001");
    EXPECT_EQ(made->m_element, nullptr);
    EXPECT_EQ(store::record(db(), "3000001"), made);
}

TEST_F(UtMsgStore, AMessageIsBoundToTheFirstOfItsUid)
{
    files_.tool({{"0001", "Info", "first"}, {"0001", "Info", "second"}, {"001", "Info", "short"}});
    msgCache* const record = store::create_message(db(), "3000001", nullptr);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->msgString(), "first");
    EXPECT_EQ(store::record(db(), "3000001"), record);
    EXPECT_FALSE(files_.debug_says("this is unexpected flow"));
    EXPECT_EQ(store::create_message(db(), "3000001", record), record);
    EXPECT_TRUE(files_.debug_says("this is unexpected flow"));
    EXPECT_STREQ(record->msgString(), "first");
}

TEST_F(UtMsgStore, AMidThatCannotBeOneHasNoRecord)
{
    for (const char* mid : {"", "1", "0003", "123456780001"}) {  // a FID has seven characters at most
        files_.restart();
        EXPECT_EQ(store::create_message(db(), mid, nullptr), nullptr) << mid;
        EXPECT_TRUE(files_.debug_says("msgDbManager::createMsgInCache input msgId is invalid")) << mid;
        EXPECT_THAT(answers(mid, MSGDB_TEXT, 0), IsEmpty());
        EXPECT_TRUE(files_.debug_says("message MID=<" + std::string(mid) + "> is not defined")) << mid;
    }
    std::vector<std::string> out{"left over"};
    EXPECT_EQ(db().queryMsgDB(nullptr, MSGDB_TEXT, out), 0);
    EXPECT_THAT(out, IsEmpty());
}

TEST_F(UtMsgStore, AFidMayHaveOneToSevenCharacters)
{
    files_.index({{"long", "1234567"}, {"short", "7"}});
    files_.file("long", "1234567", {{"0001", "Info", "long"}});
    files_.file("short", "7", {{"abcd", "Info", "short"}});
    EXPECT_EQ(text_of("12345670001"), "long");
    EXPECT_EQ(text_of("7abcd"), "short");
}

TEST_F(UtMsgStore, AMessageOfAnUnknownFileKeepsTheRecordThatItHas)
{
    EXPECT_EQ(store::create_message(db(), "8880001", nullptr), nullptr);
    EXPECT_TRUE(files_.debug_says("message file with FID=<888>does not exist in message file cache"));
    msgCache existing("8880001");
    EXPECT_EQ(store::create_message(db(), "8880001", &existing), &existing);
    EXPECT_THAT(answers("8880001", MSGDB_TEXT, 0), IsEmpty());
}

TEST_F(UtMsgStore, AMessageThatIsNotDefinedIsSearchedAgainAtItsNextUse)
{
    files_.tool({{"0001", "Info", "text"}});
    EXPECT_EQ(text_of("3000002"), "none");
    EXPECT_TRUE(files_.debug_says("message MID=<3000002> is not defined"));
    msgCache* const record = store::record(db(), "3000002");
    EXPECT_EQ(record->m_element, nullptr);
    ASSERT_NE(db().newMsgDB("3000002", "new"), nullptr);
    EXPECT_EQ(text_of("3000002"), "new");
    EXPECT_EQ(store::record(db(), "3000002"), record);
}

TEST_F(UtMsgStore, AFileWithoutMessagesDefinesNone)
{
    files_.raw_file("tool.xml",
                    "<messageFile name='tool' fid='300'><msg uid='0001' text='x'/></messageFile>");
    EXPECT_EQ(text_of("3000001"), "none");
    EXPECT_TRUE(files_.debug_says("message MID=<3000001> is not defined"));
}

TEST_F(UtMsgStore, AFileThatIsNotXmlAnswersForNoMessage)
{
    files_.tool({{"0001", "Info", "text"}});
    msgFileCache* const entry = store::find_xml(db(), "tool");
    entry->m_fileElement = nullptr;
    EXPECT_NE(store::create_message(db(), "3000001", nullptr), nullptr);
    EXPECT_TRUE(files_.debug_says("unexpected condition"));
    EXPECT_EQ(text_of("3000001"), "none");
}

// ---- queries

TEST_F(UtMsgStore, EachItemOfAQueryIsAnswered)
{
    files_.tool({{"0001", "warn", "the text", "level=\"1\" alias=\"the alias\"",
                  "<help web=\"the web\" online=\"the help\" datasheet=\"the sheet\"/>"
                  "<navigation><fun menu=\"one\" cmd=\"go\"/><fun menu=\"two\" cmd=\"run\"/></navigation>"}});
    const struct {
        eMessageDB_Data item;
        std::vector<std::string> out;
    } rows[] = {
        {MSGDB_TEXT, {"the text"}},
        {MSGDB_INFO_COUNT, {"0"}},
        {MSGDB_ONLINE_ID, {"the help"}},
        {MSGDB_WEB_ID, {"the web"}},
        {MSGDB_TYPE, {"Warning"}},
        {MSGDB_LEVEL, {"1"}},
        {MSGDB_NAVIGATION, {"one", "two"}},
        {MSGDB_ALIAS, {"the alias"}},
        {MSGDB_FILE_OWNER, {}},
        {MSGDB_FILE_DESCRIPTION, {}},
        {MSGDB_FILE_FID, {}},
        {MSGDB_FILE_NAME, {}},
        {MSGDB_DATASHEET, {"the sheet"}},
        {MSGDB_XML_TYPE, {"Warning"}},
        {static_cast<eMessageDB_Data>(0), {}},
        {static_cast<eMessageDB_Data>(15), {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(answers("3000001", row.item, static_cast<int>(row.out.size())), row.out) << row.item;
    std::vector<std::string> out;
    EXPECT_EQ(store::query(db(), 3000001, MSGDB_TEXT, out), 1);
    EXPECT_THAT(out, ElementsAre("the text"));
}

TEST_F(UtMsgStore, AMessageThatSaysNothingAnswersLittle)
{
    files_.tool({{"0001"}});
    for (const auto item : {MSGDB_TEXT, MSGDB_ONLINE_ID, MSGDB_WEB_ID, MSGDB_LEVEL, MSGDB_NAVIGATION,
                            MSGDB_ALIAS, MSGDB_DATASHEET})
        EXPECT_THAT(answers("3000001", item, 0), IsEmpty()) << item;
    EXPECT_THAT(answers("3000001", MSGDB_INFO_COUNT, 1), ElementsAre("0"));
    EXPECT_THAT(answers("3000001", MSGDB_TYPE, 1), ElementsAre("Status"));
    EXPECT_THAT(answers("3000001", MSGDB_XML_TYPE, 1), ElementsAre("Status"));
}

TEST_F(UtMsgStore, AnEmptyTypeIsAnAnswer)
{
    files_.tool({{"0001", "", "x"}, {"0002", "x", "x"}});
    for (const char* mid : {"3000001", "3000002"})
        for (const auto item : {MSGDB_TYPE, MSGDB_XML_TYPE})
            EXPECT_THAT(answers(mid, item, 1), ElementsAre("")) << mid << ' ' << item;
}

TEST_F(UtMsgStore, ASettingChangesTheTypeOfOneItemAlone)
{
    files_.tool({{"0001", "Warning", "x"}});
    db().setMsgType("3000001", MSG_ERROR, false);
    EXPECT_THAT(answers("3000001", MSGDB_TYPE, 1), ElementsAre("Error"));
    EXPECT_THAT(answers("3000001", MSGDB_XML_TYPE, 1), ElementsAre("Warning"));
}

TEST_F(UtMsgStore, ADefinitionInMemoryAnswersInPlaceOfAFile)
{
    msgCache* const record = store::record(db(), "3000001");
    record->m_record = new msgInDb;
    EXPECT_THAT(answers("3000001", MSGDB_TEXT, 0), IsEmpty());
    record->m_record->m_text = "in memory";
    EXPECT_EQ(text_of("3000001"), "in memory");
    EXPECT_THAT(answers("3000001", MSGDB_TYPE, 1), ElementsAre("Info"));
    EXPECT_THAT(answers("3000001", MSGDB_LEVEL, 1), ElementsAre("1"));
    EXPECT_FALSE(files_.debug_says("message file"));  // no file was asked for
}

// ---- writing

namespace {

/// The working directory for the time of a block.
class working_directory {
public:
    explicit working_directory(const std::string& path) : before_(std::filesystem::current_path())
    {
        std::filesystem::current_path(path);
    }
    ~working_directory() { std::filesystem::current_path(before_); }
    working_directory(const working_directory&) = delete;
    working_directory& operator=(const working_directory&) = delete;

private:
    std::filesystem::path before_;
};

}  // namespace

TEST_F(UtMsgStore, ANewMessageFileIsMadeInMemoryAndInTheIndex)
{
    const working_directory here(files_.path());
    store::build_index(db());
    const std::unique_ptr<msgFileCache> made(db().newMsgFile("fresh", "600", "young"));
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->m_key, "fresh");
    EXPECT_STREQ(made->m_fid, "600");
    EXPECT_STREQ(made->m_alias, "young");
    EXPECT_EQ(store::find(db(), "fresh"), nullptr);

    constexpr const char* k_document =
        "<?xml version=\"1.0\" ?>\n"
        "<messageFile vendor=\"Velmora Semiconductor Corporation\" name=\"fresh\" "
        "fid=\"600\" alias=\"young\">\n"
        "    <description text=\"no description is provided\" />\n"
        "    <owner text=\"no owner\" />\n"
        "    <messages />\n"
        "</messageFile>\n";
    EXPECT_EQ(file_bytes("c:\\newlyCreate.xml"), k_document);
    EXPECT_EQ(file_bytes("c:\\newlyCreateMsgFile.xml"), k_document);
    EXPECT_EQ(db().exportMessageIndexFile("index.xml"), 1);
    EXPECT_THAT(file_bytes("index.xml"), HasSubstr("<msgFile name=\"fresh\" fid=\"600\" alias=\"young\" />"));
    EXPECT_EQ(file_bytes("c:\\testIndex.xml"), file_bytes("index.xml"));
}

TEST_F(UtMsgStore, ANewMessageFileNeedsNoAlias)
{
    const working_directory here(files_.path());
    store::build_index(db());
    const std::unique_ptr<msgFileCache> made(db().newMsgFile("fresh", "600", nullptr));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->m_alias, nullptr);
    EXPECT_EQ(made->m_fileElement->Attribute("alias"), nullptr);
}

TEST_F(UtMsgStore, ANewMessageFileThatCannotBeSavedIsMadeAllTheSame)
{
    std::filesystem::create_directories(files_ / "locked/c:\\testIndex.xml");
    std::filesystem::create_directories(files_ / "locked/c:\\newlyCreate.xml");
    std::filesystem::create_directories(files_ / "locked/c:\\newlyCreateMsgFile.xml");
    const working_directory here(files_ / "locked");
    store::build_index(db());
    EXPECT_NE(std::unique_ptr<msgFileCache>(db().newMsgFile("fresh", "600", nullptr)), nullptr);
}

TEST_F(UtMsgStore, ANewMessageFileMayTakeNoNameThatIsThere)
{
    const working_directory here(files_.path());
    EXPECT_EQ(db().newMsgFile("fresh", "600", nullptr), nullptr);
    EXPECT_TRUE(files_.debug_says("No XML message index file was loaded"));
    store::build_index(db());
    const struct {
        const char* name;
        const char* fid;
        const char* alias;
        const char* text;
    } rows[] = {
        {"tool", "600", "x", "tool duplicated name"},    {"300", "600", "x", "300 duplicated name"},
        {"fresh", "300", "x", "300 duplicated FID"},     {"fresh", "common", "x", "common duplicated FID"},
        {"fresh", "600", "100", "100 duplicated alias"}, {"fresh", "600", "tool", "tool duplicated alias"},
        {nullptr, "600", "x", " duplicated name"},       {"fresh", nullptr, "x", " duplicated FID"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(db().newMsgFile(row.name, row.fid, row.alias), nullptr) << row.text;
        EXPECT_TRUE(files_.debug_says(row.text)) << row.text;
    }
    EXPECT_FALSE(std::filesystem::exists("c:\\testIndex.xml"));
}

TEST_F(UtMsgStore, ANewMessageIsAStatusInItsFile)
{
    files_.tool({{"0001", "Info", "old"}});
    store::find_xml(db(), "tool");
    const msgCache* const made = db().newMsgDB("3000002", "new");
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->msgID(), "3000002");
    EXPECT_EQ(text_of("3000002"), "new");
    EXPECT_THAT(answers("3000002", MSGDB_XML_TYPE, 1), ElementsAre("Status"));
    std::vector<int> uids;
    db().getMessages("tool", uids);
    EXPECT_THAT(uids, ElementsAre(1, 2));
}

TEST_F(UtMsgStore, ANewMessageOfAUidThatIsThereTakesTheRecord)
{
    files_.tool({{"0001", "Info", "old"}});
    EXPECT_EQ(text_of("3000001"), "old");
    const msgCache* const record = store::record(db(), "3000001");
    EXPECT_EQ(db().newMsgDB("3000001", "new"), record);
    EXPECT_EQ(text_of("3000001"), "new");
}

TEST_F(UtMsgStore, ANewMessageWithoutATextHasNone)
{
    files_.tool({});
    store::find_xml(db(), "tool");
    EXPECT_NE(db().newMsgDB("3000001", nullptr), nullptr);
    EXPECT_EQ(text_of("3000001"), "none");
}

TEST_F(UtMsgStore, ANewMessageNeedsAFileThatIsLoaded)
{
    files_.tool({});
    EXPECT_EQ(db().newMsgDB(nullptr, "x"), nullptr);
    EXPECT_EQ(db().newMsgDB("123", "x"), nullptr);
    EXPECT_TRUE(files_.debug_says("msgDbManager::newMsgDB input msgId is invalid"));
    store::build_index(db());
    for (const char* mid : {"0001", "8880001", "123456789990001"}) {
        EXPECT_EQ(db().newMsgDB(mid, "x"), nullptr) << mid;
        EXPECT_TRUE(files_.debug_says("The message file does not exist; cannot create new message")) << mid;
    }
    EXPECT_EQ(db().newMsgDB("3000001", "x"), nullptr);
    EXPECT_TRUE(files_.debug_says("The message file does not have XML file; cannot create new message"));
    store::find_xml(db(), "tool");
    EXPECT_NE(db().newMsgDB("3000001", "x"), nullptr);
}

TEST_F(UtMsgStore, TheTextOfAMessageIsReplaced)
{
    files_.tool({{"0001", "Info", "old"}});
    msgCache* const record = db().updateMsgString("3000001", "new");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(text_of("3000001"), "new");
    EXPECT_EQ(db().updateMsgString("3000001", nullptr), record);
    EXPECT_EQ(text_of("3000001"), "new");
}

TEST_F(UtMsgStore, TheTypeOfAMessageIsReplacedAndItsLevelUnlessItIsZero)
{
    files_.tool({{"0001", "Info", "x", "level=\"2\""}});
    ASSERT_NE(db().updateMsgType("3000001", "Warning", 0), nullptr);
    EXPECT_THAT(answers("3000001", MSGDB_XML_TYPE, 1), ElementsAre("Warning"));
    EXPECT_THAT(answers("3000001", MSGDB_LEVEL, 1), ElementsAre("2"));
    ASSERT_NE(db().updateMsgType("3000001", "Error", 1), nullptr);
    EXPECT_THAT(answers("3000001", MSGDB_XML_TYPE, 1), ElementsAre("Error"));
    EXPECT_THAT(answers("3000001", MSGDB_LEVEL, 1), ElementsAre("1"));
    ASSERT_NE(db().updateMsgType("3000001", nullptr, 2), nullptr);
    EXPECT_THAT(answers("3000001", MSGDB_XML_TYPE, 1), ElementsAre("Error"));
}

TEST_F(UtMsgStore, OnlyAMessageOfAFileIsUpdated)
{
    files_.tool({{"0001", "Info", "x"}});
    EXPECT_EQ(db().updateMsgString("8880001", "x"), nullptr);
    EXPECT_TRUE(files_.debug_says("unexpected flow: message <8880001> is not defined"));
    EXPECT_EQ(db().updateMsgType("8880002", "Error", 1), nullptr);
    EXPECT_TRUE(files_.debug_says("unexpected flow: message <8880002> is not defined"));
    EXPECT_EQ(db().updateMsgString("3000009", "x"), nullptr);
    EXPECT_TRUE(files_.debug_says("unexpected flow: message <3000009> is not XML format"));
    store::record(db(), "3000008")->m_record = new msgInDb;
    EXPECT_EQ(db().updateMsgType("3000008", "Error", 1), nullptr);
    EXPECT_TRUE(files_.debug_says("unexpected flow: message <3000008> is not XML format"));
    EXPECT_EQ(db().updateMsgString(nullptr, "x"), nullptr);
    EXPECT_EQ(db().updateMsgType(nullptr, "Error", 1), nullptr);
}
