// utmsgsettings.cpp: how a person changes messages: settings, their file, statistics and help data.
#include "utmsgdbmanager.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string_view>

#include "environment.h"
#include "msgmid.h"
#include "msgtypes.h"
#include "msgxml.h"
#include "platform.h"

namespace {

using file_closer = decltype([](std::FILE* file) { std::fclose(file); });
using file_holder = std::unique_ptr<std::FILE, file_closer>;

file_holder open_for_writing(const char* path)
{
    return file_holder(path != nullptr ? ketriope::platform::os().open_stream(path, "w") : nullptr);
}

std::string_view text_of(const char* text)
{
    return text != nullptr ? std::string_view(text) : std::string_view();
}

int number_of(const msgCache& message)
{
    return std::atoi(message.msgID());
}

}  // namespace

// ---- settings

int msgDbManager::setMsgType(const char* mid, eMessage_Type type, bool internal)
{
    msgCache* const message = findMsg(mid);
    if (message == nullptr) return 0;
    message->setting().m_type = type;
    message->setting().m_internal = internal;
    return type;
}

/// The messages that have a setting, in the order of their MIDs: the same settings write the same file.
std::vector<msgCache*> msgDbManager::messages_with_setting() const
{
    std::vector<msgCache*> found;
    for (const auto& [mid, message] : m_messages)
        if (message->m_setting != nullptr) found.push_back(message.get());
    std::ranges::sort(found, {}, &msgCache::m_mid);
    return found;
}

int msgDbManager::resetMsgType(const char* mid)
{
    for (msgCache* message : messages_with_setting())
        if (mid == nullptr || message->m_mid == mid) message->m_setting->m_type = msgSetting::k_no_type;
    return 1;
}

/// Gives each message that has a setting with that flag to `take`.
template <class Take>
void msgDbManager::for_each_setting(bool internal, Take take)
{
    for (const msgCache* message : messages_with_setting())
        if (message->m_setting->m_internal == internal) take(*message, *message->m_setting);
}

int msgDbManager::findMsgTypeSetting(std::vector<int>& mids, std::vector<eMessage_Type>& types, bool internal)
{
    mids.clear();
    types.clear();
    for_each_setting(internal, [&](const msgCache& message, const msgSetting& setting) {
        if (setting.m_type == msgSetting::k_no_type) return;
        mids.push_back(number_of(message));
        types.push_back(static_cast<eMessage_Type>(setting.m_type));
    });
    return static_cast<int>(mids.size());
}

int msgDbManager::findMsgDisabledSetting(std::vector<int>& mids, bool internal)
{
    mids.clear();
    for_each_setting(internal, [&](const msgCache& message, const msgSetting& setting) {
        if (setting.m_displayCount == 0) mids.push_back(number_of(message));
    });
    return static_cast<int>(mids.size());
}

int msgDbManager::findMsgDisplayCnt(std::vector<std::pair<int, int>>& out, bool internal)
{
    out.clear();
    for_each_setting(internal, [&](const msgCache& message, const msgSetting& setting) {
        if (setting.m_displayCount >= 0) out.emplace_back(number_of(message), setting.m_displayCount);
    });
    return static_cast<int>(out.size());
}

void msgDbManager::disableMsg(const char* mid, int count)
{
    if (msgCache* message = findMsg(mid)) message->setting().m_displayCount = count;
}

void msgDbManager::disableMsg(std::string& mid, int count)
{
    disableMsg(mid.c_str(), count);
}

void msgDbManager::disableMsg(const char* mid, std::vector<std::string>& dynamic)
{
    msgCache* const message = findMsg(mid);
    if (message == nullptr) return;
    std::string merged;
    mergeDynamicInfo(dynamic, merged);
    std::vector<std::string>& hidden = message->setting().m_disabled;
    if (std::ranges::find(hidden, merged) == hidden.end()) hidden.push_back(merged);
}

void msgDbManager::enableMsg(const char* mid)
{
    if (mid == nullptr) {
        for (msgCache* message : messages_with_setting()) {
            message->m_setting->m_displayCount = msgSetting::k_no_limit;
            message->m_setting->m_disabled.clear();
        }
        return;
    }
    const msgCache* const message = find_record(mid);
    if (message != nullptr && message->m_setting != nullptr)
        message->m_setting->m_displayCount = msgSetting::k_no_limit;
}

void msgDbManager::enableMsg(std::string& mid)
{
    enableMsg(mid.c_str());
}

void msgDbManager::enableMsg(const char* mid, std::vector<std::string>& dynamic)
{
    const msgCache* const message = mid != nullptr ? find_record(mid) : nullptr;
    if (message == nullptr || message->m_setting == nullptr) return;
    std::string merged;
    mergeDynamicInfo(dynamic, merged);
    std::erase(message->m_setting->m_disabled, merged);
}

eMessage_Type msgDbManager::findMsgType(const char* mid)
{
    const msgCache* const message = findMsg(mid);
    // As for a message that its file does not define.
    return message != nullptr ? type_of(*message) : MSG_STATUS;
}

eMessage_Type msgDbManager::type_of(const msgCache& message)
{
    const int type = message.shownType();
    if (message.m_setting != nullptr && message.m_setting->m_type != msgSetting::k_no_type)
        return static_cast<eMessage_Type>(type);
    // The name decides: what the legacy manager calls an error is one.
    const ketriope::message_type* const row = ketriope::type_by_name(ketriope::name_of_type(type));
    if (row == nullptr) debug("unexpected error");
    return static_cast<eMessage_Type>(row != nullptr ? row->type : 0);
}

// ---- severities and counts

void msgDbManager::disableMsgType(int types)
{
    msgCache::msgTypeSetPrintable(types, 0);
}

void msgDbManager::enableMsgType(int types)
{
    msgCache::msgTypeSetPrintable(types, 1);
}

void msgDbManager::resetMsgTypePrintable(int types)
{
    msgCache::msgTypeSetPrintable(types, -1);
}

bool msgDbManager::isMsgTypePrintable(int types) const
{
    return msgCache::msgTypePrintable(types);
}

void msgDbManager::setPrintCount(int count)
{
    for (auto& [mid, message] : m_messages) message->m_printed.clear();
    msgCache::g_PrintCount = count;
}

// ---- the file of a user's settings

namespace {

/// What the line of one message says behind its number; "" for nothing.
std::string told_by(const msgSetting& setting)
{
    std::string text;
    if (ketriope::counted_type(setting.m_type) != nullptr) {
        text.append(" type=\"").append(ketriope::name_of_type(setting.m_type)).append("\"");
        if (setting.m_internal) text.append(" internal=\"true\"");
    }
    if (setting.m_displayCount == 0) text.append(" disabled=\"true\"");
    if (setting.m_displayCount > 0)
        text.append(" cnt=\"").append(std::to_string(setting.m_displayCount)).append("\"");
    return text;
}

}  // namespace

int msgDbManager::saveMsgSetting(const char* path)
{
    const file_holder file = open_for_writing(path);
    if (!file) return 0;
    std::string version;
    std::string date;
    dl_Environment environment;
    environment.findVersion(version);
    environment.findLocalTime(date, nullptr);
    std::fprintf(file.get(),
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<userSetting name=\"%s\" version=\"%s\" date=\"%s\" "
                 "vendor=\"Velmora Semiconductor Corporation\" >\n",
                 path, version.c_str(), date.c_str());
    for (const msgCache* message : messages_with_setting()) {
        const std::string told = told_by(*message->m_setting);
        if (told.empty()) continue;
        std::string mid;  // a settings file may have named any
        TiXmlBase::EncodeString(message->m_mid, &mid);
        std::fprintf(file.get(), "  <msg mid=\"%s\"%s />\n", mid.c_str(), told.c_str());
    }
    if (msgCache::g_WarningPrint == 0)
        std::fputs("  <msg mtype=\"warning\" disabled=\"true\" />\n", file.get());
    if (msgCache::g_InfoPrint == 0) std::fputs("  <msg mtype=\"info\" disabled=\"true\" />\n", file.get());
    std::fputs("</userSetting>\n", file.get());
    return 1;
}

int msgDbManager::setMsgSetting(const char* path, const std::string& fid)
{
    if (path == nullptr) return 0;
    const auto document = ketriope::load_xml(path);
    if (!document) {
        debug("fails to load user setting file " + std::string(path));
        return 0;
    }
    TiXmlElement* const root = document->FirstChildElement("userSetting");
    TiXmlElement* each = root != nullptr ? root->FirstChildElement("msg") : nullptr;
    for (; each != nullptr; each = each->NextSiblingElement("msg")) read_setting(*each, fid);
    return 1;
}

/// One entry: its type, whether it is disabled, its count. A faulty one of the three is reported, and the
/// others count.
void msgDbManager::read_setting(const TiXmlElement& entry, const std::string& fid)
{
    const char* mid = entry.Attribute("mid");
    std::string whole;
    if (text_of(mid).size() == ketriope::k_uid_characters) mid = whole.append(fid).append(mid).c_str();
    if (const char* type = entry.Attribute("type")) {
        const ketriope::message_type* const row = ketriope::type_by_letter(*type);
        if (row == nullptr || ketriope::counted_type(row->type) == nullptr)
            debug("incorrect message type specified in user setting file");
        else
            setMsgType(mid, static_cast<eMessage_Type>(row->type),
                       text_of(entry.Attribute("internal")) == "true");
    }
    read_disabled(entry.Attribute("disabled"), mid, text_of(entry.Attribute("mtype")));
    if (const char* text = entry.Attribute("cnt")) {
        const int count = std::atoi(text);
        if (count < 0)
            debug("incorrect message cnt specified in user setting file");
        else
            disableMsg(mid, count);
    }
}

void msgDbManager::read_disabled(const char* disabled, const char* mid, std::string_view type_name)
{
    const std::string_view value = text_of(disabled);
    const bool hides = value == "true" || value == "TRUE";
    const bool shows = disabled == nullptr || value == "false" || value == "FALSE";
    if (!hides && !shows) return debug("incorrect message disabled specified in user setting file");
    if (mid != nullptr) return hides ? disableMsg(mid, 0) : enableMsg(mid);
    if (disabled == nullptr) return;
    const int types = type_name == "warning" ? int{MSG_WARNING} : type_name == "info" ? int{MSG_INFO} : 0;
    if (types == 0) return debug("incorrect message type specified in user setting file");
    if (hides)
        disableMsgType(types);
    else
        resetMsgTypePrintable(types);
}

// ---- statistics

int msgDbManager::saveMsgStatistic(const char* section, const char* path)
{
    if (path == nullptr) return 0;
    std::vector<int> sids;
    retrieveAllMsgPosted(sids);
    std::map<int, int> posts;  // ordered, so that the same run writes the same file
    for (const int sid : sids) {
        const msgPosted* const post = retrieveMsgPosted(sid);
        if (sid == 0 || sid == -1)
            debug("Invalid message SID==0 or -1 is provided");
        else if (post == nullptr || post->m_msgSymId_sym == nullptr)
            debug("caller provided msgSID is unable to retrieve a posted message");
        else
            ++posts[std::atoi(post->m_msgSymId_sym->c_str())];
    }
    if (posts.empty()) return 0;
    const file_holder file = open_for_writing(path);
    if (!file) return 0;
    std::fprintf(file.get(), "[%s]\n", section != nullptr ? section : "");
    for (const auto& [mid, count] : posts) std::fprintf(file.get(), "%d=%d\n", mid, count);
    return static_cast<int>(posts.size());
}

// ---- help and navigation

/// Elements of a data file, each with the range of numbers that it tells about. A range may be large, so
/// it is not spread out.
struct msgDbManager::help_table {
    struct range {
        int last;
        const TiXmlElement* element;
    };
    std::unique_ptr<TiXmlDocument> document;
    std::map<int, range> by_first;  ///< ranges do not overlap

    /// Enters what of `first` to `last` is not taken yet; false if part of it was.
    bool enter(int first, int last, const TiXmlElement* element);
    const TiXmlElement* find(int number) const;
    const TiXmlElement* find_message(const char* mid) const;
};

bool msgDbManager::help_table::enter(int first, int last, const TiXmlElement* element)
{
    bool all_free = true;
    std::int64_t at = first;
    while (at <= last) {
        auto next = by_first.upper_bound(static_cast<int>(at));
        if (next != by_first.begin()) {
            const int taken_to = std::prev(next)->second.last;
            if (taken_to >= at) {
                all_free = false;
                at = std::int64_t{taken_to} + 1;
                continue;
            }
        }
        const int free_to = next != by_first.end() ? std::min(last, next->first - 1) : last;
        by_first.emplace_hint(next, static_cast<int>(at), range{free_to, element});
        at = std::int64_t{free_to} + 1;
    }
    return all_free;
}

const TiXmlElement* msgDbManager::help_table::find(int number) const
{
    const auto next = by_first.upper_bound(number);
    if (next == by_first.begin()) return nullptr;
    const range& entry = std::prev(next)->second;
    return number <= entry.last ? entry.element : nullptr;
}

/// By the whole number, else by that of the file.
const TiXmlElement* msgDbManager::help_table::find_message(const char* mid) const
{
    if (mid == nullptr) return nullptr;
    const TiXmlElement* const found = find(std::atoi(mid));
    const std::string fid = ketriope::split_mid(mid).fid;
    return found != nullptr || fid.empty() ? found : find(std::atoi(fid.c_str()));
}

/// The table of a data file, read on first use.
msgDbManager::help_table& msgDbManager::help_data(std::shared_ptr<help_table>& table, const char* file_name,
                                                  const char* root_name, const char* entry_name,
                                                  const char* duplicated)
{
    if (table) return *table;
    table = std::make_shared<help_table>();
    table->document.reset(loadMsgFileXML(file_name));
    const TiXmlElement* const root =
        table->document ? table->document->FirstChildElement(root_name) : nullptr;
    const TiXmlElement* each = root != nullptr ? root->FirstChildElement(entry_name) : nullptr;
    for (; each != nullptr; each = each->NextSiblingElement(entry_name)) {
        const char* const mid = each->Attribute("mid");
        const char* const number = mid != nullptr ? mid : each->Attribute("fid");
        if (number == nullptr) continue;
        const int first = std::atoi(number);
        const char* const range = mid != nullptr ? each->Attribute("range") : nullptr;
        const int last = range != nullptr ? std::max(first, std::atoi(range)) : first;
        if (!table->enter(first, last, each)) debug(duplicated);
    }
    return *table;
}

int msgDbManager::queryMsgHelpDB(const char* mid, std::vector<const char*>& out)
{
    const help_table& table =
        help_data(m_help, "helpid", "helpidFile", "help", "Duplicated help data defined");
    if (const TiXmlElement* entry = table.find_message(mid))
        for (const char* name : {"href", "web", "datasheet"}) out.push_back(entry->Attribute(name));
    return static_cast<int>(out.size());
}

int msgDbManager::queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                          std::vector<std::string>& commands,
                                          std::vector<std::string>& indexes)
{
    menus.clear();
    commands.clear();
    indexes.clear();
    const help_table& table = help_data(m_navigation, "navigation", "navigationFile", "navigation",
                                        "Duplicated navigation data defined");
    const TiXmlElement* const entry = table.find_message(mid);
    const TiXmlElement* each = entry != nullptr ? entry->FirstChildElement("fun") : nullptr;
    for (; each != nullptr; each = each->NextSiblingElement("fun")) {
        const char* const menu = each->Attribute("menu");
        const char* const command = each->Attribute("cmd");
        if (menu == nullptr || command == nullptr) {
            debug("Incorrect novigation data");
            continue;
        }
        const char* const index = each->Attribute("index");
        menus.emplace_back(menu);
        commands.emplace_back(command);
        indexes.emplace_back(index != nullptr ? index : "both");
    }
    return static_cast<int>(menus.size());
}

int msgDbManager::queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                          std::vector<std::string>& commands)
{
    std::vector<std::string> indexes;
    return queryMsgNavigationTools(mid, menus, commands, indexes);
}
