// utmsgstore.cpp: the part of the message database that knows what messages exist.
#include "utmsgdbmanager.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "basutstr.h"
#include "msgelement.h"
#include "msgmid.h"
#include "msgterminate.h"
#include "msgxml.h"
#include "platform.h"

using ketriope::mid_halves;
using ketriope::split_mid;

namespace {

constexpr const char* k_own_mid = "0000000";  ///< of the message system's own trouble

constexpr int k_no_index = -1;
constexpr int k_no_file_element = -2;
constexpr int k_no_file_number = -3;

const char* variable(const char* name)
{
    return ketriope::platform::os().environment(name);
}

/// A path of several names below a root.
std::string joined(std::string root, std::initializer_list<std::string_view> names)
{
    for (const std::string_view name : names) root.append(1, ketriope::platform::k_separator).append(name);
    return root;
}

bool can_be_read(const std::string& path)
{
    std::FILE* const file = ketriope::platform::os().open_stream(path.c_str(), "r");
    if (file == nullptr) return false;
    std::fclose(file);
    return true;
}

TiXmlElement* add_child(TiXmlNode& parent, const char* name)
{
    auto* element = new TiXmlElement(name);  // the tree owns it
    parent.LinkEndChild(element);
    return element;
}

}  // namespace

// ---- trouble of the database's own

void msgDbManager::debug(const std::string& text, int line)
{
    postDebugMsg(text.c_str(), "utmsgdbmanager", line);
}

/// Keeps `text` for the handler of a failure.
void msgDbManager::keep_own_status(const std::string& text)
{
    std::vector<std::string> dynamic{text};
    std::vector<std::string> navigation;
    postErrorStatus(k_own_mid, dynamic, navigation);
}

void msgDbManager::fail(int code, const std::string& text)
{
    debug(text);
    keep_own_status(text);
    msg_throw(code);
}

// ---- where the files are

const char* msgDbManager::getMsgSrcDir()
{
    if (!m_sourceDir.empty()) return m_sourceDir.c_str();
    for (const char* name : {"ENV", "FOUNDRY"}) {
        const char* const root = variable(name);
        if (root == nullptr) continue;
        const std::string path = joined(root, {"msgdata", "msgindex.xml"});
        if (!can_be_read(path)) continue;
        m_sourceDir = path.substr(0, path.find_last_of("/\\"));
        return m_sourceDir.c_str();
    }
    if (const char* root = variable("TOOLRTF")) {
        // Not cut to its directory, as the others are: installations that set nothing else find no index.
        const std::string path = joined(root, {"orvfpga", "msgdata", "msgindex.xml"});
        if (can_be_read(path)) m_sourceDir = path;
    }
    if (m_sourceDir.empty()) m_sourceDir = ".";
    return m_sourceDir.c_str();
}

TiXmlDocument* msgDbManager::loadMsgFileXML(const char* name)
{
    std::string last;  // what was said of the last attempt
    const auto attempt = [&](const std::string& path) -> TiXmlDocument* {
        auto document = ketriope::load_xml(path);
        last = document ? "successfully load message file <" + path + ">"
                        : "message file <" + std::string(name) + "> does not exist";
        debug(last);
        return document.release();
    };

    if (const char* path = variable(("MSG_" + std::string(name)).c_str())) {
        auto document = ketriope::load_xml(path);
        last = document ? "successfully load message file <" + std::string(path) + ">"
                        : "message file <" + std::string(name) +
                              ">, based on environment variable setting, does not exist";
        debug(last);
        if (!document) keep_own_status(last);
        return document.release();
    }
    const std::string file = std::string(name) + ".xml";
    if (TiXmlDocument* found = attempt(joined(getMsgSrcDir(), {file}))) return found;
    for (const char* root : {variable("ENV"), variable("FOUNDRY")}) {
        if (root == nullptr) continue;
        if (TiXmlDocument* found = attempt(joined(root, {"msgdata", file}))) return found;
    }
    if (const char* root = variable("TOOLRTF")) {
        for (const char* part : {"data", "orvfpga"})
            if (TiXmlDocument* found = attempt(joined(root, {part, "msgdata", file}))) return found;
    }
    keep_own_status(last);
    return nullptr;
}

// ---- the index

int msgDbManager::buildIndexTableXML()
{
    if (m_index) {
        debug("why call buildIndexTableXML; index file was loaded already");
        return 1;
    }
    const std::string path = joined(getMsgSrcDir(), {"msgindex.xml"});
    m_index = ketriope::load_xml(path);
    if (!m_index) fail(k_no_index, "fails to load message index file msgindex.xml.");
    debug("successfully load message index file " + path);
    m_indexRoot = m_index->FirstChildElement("messageIndexFile");
    if (m_indexRoot == nullptr) return 0;

    int count = 0;
    TiXmlElement* each = m_indexRoot->FirstChildElement("msgFile");
    for (; each != nullptr; each = each->NextSiblingElement("msgFile"), count += 2) {
        const char* const name = each->Attribute("name");
        const char* const fid = each->Attribute("fid");
        if (name == nullptr || fid == nullptr)
            debug("Index file has invalid entry [" + std::to_string(count + 1) + "]");
        else if (find_entry(name) != nullptr || find_entry(fid) != nullptr)
            debug("Entry <" + std::string(name) + "> has information duplicated with other entry");
        else
            enter(std::make_shared<msgFileCache>(name), fid, each->Attribute("alias"));
    }
    return count;
}

void msgDbManager::buildIndexTable()
{
    buildIndexTableXML();
}

msgFileCache* msgDbManager::find_entry(const char* key) const
{
    const auto found = m_files.find(key);
    return found != m_files.end() ? found->second.get() : nullptr;
}

/// Puts a file into the table, under its name and under its FID, neither of which is there. A file whose
/// name is its FID has one entry.
void msgDbManager::enter(std::shared_ptr<msgFileCache> main, const char* fid, const char* alias)
{
    main->m_fid = ut_strdup(fid);
    main->m_alias = ut_strdup(alias);
    auto numbered = std::make_shared<msgFileCache>(fid);
    numbered->m_fid = ut_strdup(fid);
    numbered->m_alias = ut_strdup(alias);
    numbered->m_mainEntry = main.get();
    const std::string name = main->m_key;
    m_files.try_emplace(name, std::move(main));
    m_files.try_emplace(fid, std::move(numbered));
}

// ---- message files

namespace {

const char* text_of_child(TiXmlElement& file, const char* name, const char* otherwise)
{
    const TiXmlElement* const found = file.FirstChildElement(name);
    const char* const text = found != nullptr ? found->Attribute("text") : nullptr;
    return text != nullptr ? text : otherwise;
}

}  // namespace

/// The entry under the name of a file, which is the one with the document; null for an unknown file.
msgFileCache* msgDbManager::main_entry(const char* fidOrName)
{
    if (!m_index) buildIndexTable();
    msgFileCache* const entry = fidOrName != nullptr ? find_entry(fidOrName) : nullptr;
    return entry != nullptr && entry->m_mainEntry != nullptr ? entry->m_mainEntry : entry;
}

/// Reads the document of a file; false if there is none. A malformed one is thrown away, so that the next
/// look-up reads it again.
bool msgDbManager::load(msgFileCache& entry)
{
    std::unique_ptr<TiXmlDocument> document(loadMsgFileXML(entry.m_key));
    if (!document) return false;
    const std::string name = entry.m_key;
    TiXmlElement* const file = document->FirstChildElement("messageFile");
    if (file == nullptr)
        fail(k_no_file_element, "message file <" + name + "> does not have tag <messageFile>");
    if (file->Attribute("name") == nullptr || file->Attribute("fid") == nullptr)
        fail(k_no_file_number, "message file <" + name + "> has no fid or name defined");
    entry.m_document = document.release();
    entry.m_fileElement = file;
    return true;
}

msgFileCache* msgDbManager::findMsgFileCacheXML(const char* fidOrName)
{
    msgFileCache* const entry = main_entry(fidOrName);
    return entry != nullptr && (entry->m_document != nullptr || load(*entry)) ? entry : nullptr;
}

msgFileCache* msgDbManager::findMsgFileCache(const char* fidOrName)
{
    msgFileCache* const entry = main_entry(fidOrName);
    if (entry == nullptr || entry->isLoaded() || !load(*entry)) return entry;
    entry->m_owner = text_of_child(*entry->m_fileElement, "owner", "no owner");
    entry->m_description = text_of_child(*entry->m_fileElement, "description", "no description");
    return entry;
}

msgFileCache* msgDbManager::createMsgFileCacheXML(const char* name)
{
    if (name == nullptr) return nullptr;
    if (!m_index) buildIndexTable();
    auto entry = std::make_shared<msgFileCache>(name);
    entry->m_document = loadMsgFileXML(name);
    if (entry->m_document == nullptr) return nullptr;
    entry->m_fileElement = entry->m_document->FirstChildElement("messageFile");
    TiXmlElement* const file = entry->m_fileElement;
    const char* const fid = file != nullptr ? file->Attribute("fid") : nullptr;
    if (fid == nullptr || file->Attribute("name") == nullptr)
        fail(k_no_file_number, "message files <" + std::string(name) + "> has no FID defined");
    if (find_entry(fid) != nullptr || find_entry(name) != nullptr) {
        const std::string text = "message files <" + std::string(name) + "> has FID <" + fid +
                                 "> conflicted with a FID defined in index file";
        debug(text);
        keep_own_status(text);
        return nullptr;
    }
    msgFileCache* const made = entry.get();
    enter(std::move(entry), fid, file->Attribute("alias"));
    return made;
}

msgFileCache* msgDbManager::createMsgFileCache(const char* name)
{
    return createMsgFileCacheXML(name);
}

int msgDbManager::getMessages(const char* fileKey, std::vector<int>& uids)
{
    uids.clear();
    if (fileKey == nullptr) return 0;
    msgFileCache* file = findMsgFileCache(fileKey);
    if (file == nullptr) file = createMsgFileCacheXML(fileKey);
    return file != nullptr ? file->getMessageUIDs(uids) : 0;
}

int msgDbManager::getMessageFiles(std::vector<std::string>& names)
{
    names.clear();
    if (!m_index) buildIndexTable();
    for (const auto& [key, entry] : m_files)
        if (entry->m_mainEntry == nullptr) names.push_back(key);
    return static_cast<int>(names.size());
}

int msgDbManager::exportMessageIndexFile(const char* path)
{
    return m_index && path != nullptr && m_index->SaveFile(path) ? 1 : 0;
}

// ---- messages

msgCache* msgDbManager::find_record(const char* mid) const
{
    const auto found = m_messages.find(mid);
    return found != m_messages.end() ? found->second.get() : nullptr;
}

msgCache* msgDbManager::_getMsgInCache(const char* mid)
{
    std::shared_ptr<msgCache>& record = m_messages[mid];
    if (!record) record = std::make_shared<msgCache>(mid);
    return record.get();
}

msgCache* msgDbManager::createMsgInCache(const char* mid, msgCache* existing)
{
    const mid_halves halves = split_mid(mid);
    if (halves.uid.empty()) {
        debug("msgDbManager::createMsgInCache input msgId is invalid");
        return nullptr;
    }
    msgFileCache* const file = findMsgFileCacheXML(halves.fid.c_str());
    if (file == nullptr) {
        debug("message file with FID=<" + halves.fid + ">does not exist in message file cache");
        return existing;
    }
    msgCache* const record = existing != nullptr ? existing : _getMsgInCache(mid);
    if (record->m_element != nullptr) {
        debug("this is unexpected flow");
        record->m_element = nullptr;
    }
    if (file->m_fileElement == nullptr)
        debug("unexpected condition");
    else
        record->m_element = ketriope::find_message(file->m_fileElement, halves.uid);
    if (record->m_element == nullptr) debug("message MID=<" + std::string(mid) + "> is not defined");
    return record;
}

msgCache* msgDbManager::findMsg(const char* mid)
{
    if (mid == nullptr) return nullptr;
    if (m_latest != nullptr && m_latest->isDefined() && m_latest->m_mid == mid) return m_latest;
    if (!m_index) buildIndexTable();
    msgCache* const record = find_record(mid);
    m_latest = record != nullptr && record->isDefined() ? record : createMsgInCache(mid, record);
    return m_latest;
}

int msgDbManager::queryMsgDB(int mid, eMessageDB_Data item, std::vector<std::string>& out)
{
    return queryMsgDB(ketriope::mid_text(mid).c_str(), item, out);
}

int msgDbManager::queryMsgDB(const char* mid, eMessageDB_Data item, std::vector<std::string>& out)
{
    out.clear();
    const msgCache* const message = findMsg(mid);
    if (message == nullptr) {
        debug("message MID=<" + std::string(mid != nullptr ? mid : "") + "> is not defined");
        return 0;
    }
    const auto answer = [&out](const char* text) {
        if (text != nullptr) out.emplace_back(text);
        return text != nullptr ? 1 : 0;
    };
    const auto type_name = [&](bool with_settings) {
        std::string name;
        std::string level;
        message->msgType(name, level, with_settings);
        return answer(name.c_str());
    };
    switch (item) {
    case MSGDB_TEXT: return answer(message->msgString());
    case MSGDB_INFO_COUNT: return answer("0");
    case MSGDB_ONLINE_ID: return answer(message->msgOnLineId());
    case MSGDB_WEB_ID: return answer(message->msgWebId());
    case MSGDB_TYPE: return type_name(true);
    case MSGDB_LEVEL: {
        const int level = message->msgLevel();
        return answer(level == 1 ? "1" : level == 2 ? "2" : nullptr);
    }
    case MSGDB_NAVIGATION: {
        std::vector<std::string> commands;
        return message->msgNavigationTool(out, commands);
    }
    case MSGDB_ALIAS: return answer(message->msgAlias());
    case MSGDB_DATASHEET: return answer(message->msgDataSheet());
    case MSGDB_XML_TYPE: return type_name(false);
    default: return 0;  // the items of a file
    }
}

// ---- writing

msgFileCache* msgDbManager::newMsgFile(const char* name, const char* fid, const char* alias)
{
    const auto refused = [this](const char* value, const char* why) {
        debug(std::string(value != nullptr ? value : "") + why);
        return nullptr;
    };
    const auto taken = [this](const char* key) { return key != nullptr && find_entry(key) != nullptr; };
    if (!m_index || m_indexRoot == nullptr) return refused("", "No XML message index file was loaded");
    if (name == nullptr || taken(name)) return refused(name, " duplicated name");
    if (fid == nullptr || taken(fid)) return refused(fid, " duplicated FID");
    if (taken(alias)) return refused(alias, " duplicated alias");

    const auto name_it = [&](TiXmlElement& element) {
        element.SetAttribute("name", name);
        element.SetAttribute("fid", fid);
        if (alias != nullptr) element.SetAttribute("alias", alias);
    };
    name_it(*add_child(*m_indexRoot, "msgFile"));
    auto document = std::make_unique<TiXmlDocument>();
    document->LinkEndChild(new TiXmlDeclaration("1.0", "", ""));
    TiXmlElement* const file = add_child(*document, "messageFile");
    file->SetAttribute("vendor", "Velmora Semiconductor Corporation");
    name_it(*file);
    add_child(*file, "description")->SetAttribute("text", "no description is provided");
    add_child(*file, "owner")->SetAttribute("text", "no owner");
    add_child(*file, "messages");
    // Copies for diagnosis; people who maintain the files look for them under these very names.
    m_index->SaveFile("c:\\testIndex.xml");
    document->SaveFile("c:\\newlyCreate.xml");
    document->SaveFile("c:\\newlyCreateMsgFile.xml");

    auto entry = std::make_unique<msgFileCache>(name);
    entry->m_fid = ut_strdup(fid);
    entry->m_alias = ut_strdup(alias);
    entry->m_document = document.release();
    entry->m_fileElement = file;
    return entry.release();
}

msgCache* msgDbManager::newMsgDB(const char* mid, const char* text)
{
    if (mid == nullptr) return nullptr;
    if (std::strlen(mid) < ketriope::k_uid_characters) {
        debug("msgDbManager::newMsgDB input msgId is invalid");
        return nullptr;
    }
    const mid_halves halves = split_mid(mid);
    msgFileCache* const entry = find_entry(halves.fid.c_str());
    if (entry == nullptr) {
        debug("The message file does not exist; cannot create new message");
        return nullptr;
    }
    msgFileCache* const main = entry->m_mainEntry != nullptr ? entry->m_mainEntry : entry;
    TiXmlElement* const file = main->m_fileElement;
    TiXmlElement* const messages = file != nullptr ? file->FirstChildElement("messages") : nullptr;
    if (messages == nullptr) {
        debug("The message file does not have XML file; cannot create new message");
        return nullptr;
    }
    TiXmlElement* const element = add_child(*messages, "msg");
    element->SetAttribute("uid", halves.uid.c_str());
    element->SetAttribute("type", "Status");
    if (text != nullptr) element->SetAttribute("text", text);
    msgCache* const record = createMsgInCache(mid, find_record(mid));
    if (record != nullptr) record->m_element = element;
    return record;
}

/// The record of a message that stands in a file; null, with a line in the debug channel, for any other.
msgCache* msgDbManager::find_editable(const char* mid)
{
    msgCache* const record = findMsg(mid);
    if (record == nullptr)
        debug("unexpected flow: message <" + std::string(mid != nullptr ? mid : "") + "> is not defined");
    else if (record->m_element == nullptr)
        debug("unexpected flow: message <" + std::string(mid) + "> is not XML format");
    return record != nullptr && record->m_element != nullptr ? record : nullptr;
}

msgCache* msgDbManager::updateMsgString(const char* mid, const char* text)
{
    msgCache* const record = find_editable(mid);
    if (record != nullptr && text != nullptr) record->m_element->SetAttribute("text", text);
    return record;
}

msgCache* msgDbManager::updateMsgType(const char* mid, const char* typeName, int level)
{
    msgCache* const record = find_editable(mid);
    if (record == nullptr) return nullptr;
    if (typeName != nullptr) record->m_element->SetAttribute("type", typeName);
    if (level != 0) record->m_element->SetAttribute("level", level);
    return record;
}
