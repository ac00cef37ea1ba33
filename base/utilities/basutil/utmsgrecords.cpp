// utmsgrecords.cpp: the records of the message database, and what a single message answers.
#include "utmsgrecords.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "ascii.h"
#include "basutstr.h"
#include "msgelement.h"
#include "msgtypes.h"
#include "utmsgdbmanager.h"

using ketriope::message_type;

namespace {

/// The attribute of an element that may be missing.
const char* attribute(const TiXmlElement* element, const char* name)
{
    return element != nullptr ? element->Attribute(name) : nullptr;
}

const TiXmlElement* child(const TiXmlElement* element, const char* name)
{
    return element != nullptr ? element->FirstChildElement(name) : nullptr;
}

/// What a file says of itself in a child, within it or in its attribute.
const char* told_by_child(const TiXmlElement* file, const std::string& stored, const char* name)
{
    if (!stored.empty()) return stored.c_str();
    const TiXmlElement* const found = child(file, name);
    const char* const inside = found != nullptr ? found->GetText() : nullptr;
    return inside != nullptr ? inside : attribute(found, "text");
}

const char* stored_or(const char* stored, const TiXmlElement* file, const char* name)
{
    return stored != nullptr ? stored : attribute(file, name);
}

/// The type that an attribute names by its first letter, in either case; 0 for another letter.
int type_of_letter(const char* text)
{
    const message_type* const row = ketriope::type_by_letter(*text);
    return row != nullptr ? row->type : 0;
}

}  // namespace

// ---- files

msgFileCache::msgFileCache() : msgFileCache(nullptr) {}

msgFileCache::msgFileCache(const char* key)
    : m_key(ut_strdup(key)), m_fid(nullptr), m_alias(nullptr), m_otherDocument(nullptr), m_document(nullptr),
      m_fileElement(nullptr), m_mainEntry(nullptr)
{
}

msgFileCache::~msgFileCache()
{
    for (char* owned : {m_key, m_fid, m_alias}) std::free(owned);
    delete m_document;
}

int msgFileCache::getMessageUIDs(std::vector<int>& out)
{
    out.clear();
    const TiXmlElement* each = ketriope::first_message(m_fileElement);
    for (; each != nullptr; each = each->NextSiblingElement("msg"))
        if (const char* uid = each->Attribute("uid")) out.push_back(std::atoi(uid));
    return static_cast<int>(out.size());
}

const char* msgFileCache::getKeyData(eMessageDB_Data item)
{
    if (!isLoaded()) return nullptr;
    switch (item) {
    case MSGDB_ALIAS: return stored_or(m_alias, m_fileElement, "alias");
    case MSGDB_FILE_OWNER: return told_by_child(m_fileElement, m_owner, "owner");
    case MSGDB_FILE_DESCRIPTION: return told_by_child(m_fileElement, m_description, "description");
    case MSGDB_FILE_FID: return stored_or(m_fid, m_fileElement, "fid");
    case MSGDB_FILE_NAME: return stored_or(m_key, m_fileElement, "name");
    default: return nullptr;
    }
}

// ---- settings, posts, logs

msgSetting::~msgSetting()
{
    m_displayCount = k_no_limit;
    m_type = k_no_type;
}

msgPosted::~msgPosted()
{
    delete m_msgSymId_sym;
    for (dl_Symbol* each : m_navigation) delete each;
}

constinit unsigned int logFileCache::logFileCacheId = 1;

logFileCache::logFileCache() : m_id(std::atomic_ref<unsigned int>(logFileCacheId).fetch_add(1)) {}

logFileCache::~logFileCache()
{
    if (m_file != nullptr) std::fclose(m_file);
}

void logFileCache::finish()
{
    if (m_file == nullptr) return;
    std::fputs("  </postMsgs>\n</messageLogFile>\n", m_file);
    std::fclose(m_file);
    m_file = nullptr;
}

void msgCounters::count(int type)
{
    if (const message_type* row = ketriope::counted_type(type)) ++m_posted[row - ketriope::k_message_types];
}

// ---- messages

constinit int msgCache::g_ErrorPrint = -1;
constinit int msgCache::g_CriticalPrint = -1;
constinit int msgCache::g_WarningPrint = -1;
constinit int msgCache::g_InfoPrint = -1;
constinit int msgCache::g_StatusPrint = -1;
constinit int msgCache::g_PrintCount = -1;
constinit bool msgCache::g_msgDisplayCntDisabled = false;

namespace {

/// The switch of each severity that has one, in the order of their bits.
constexpr std::array<int*, ketriope::k_counted_types> k_switches{
    &msgCache::g_ErrorPrint, &msgCache::g_CriticalPrint, &msgCache::g_WarningPrint, &msgCache::g_InfoPrint,
    &msgCache::g_StatusPrint};

}  // namespace

msgCache::msgCache(const char* mid) : m_mid(mid), m_symbol(mid) {}

msgCache::~msgCache()
{
    delete m_record;
    delete m_setting;
}

const char* msgCache::msgString() const
{
    if (m_element != nullptr) return m_element->Attribute("text");
    return m_record != nullptr ? m_record->m_text : nullptr;
}

const char* msgCache::msgAlias() const
{
    if (m_element != nullptr) return m_element->Attribute("alias");
    return m_record != nullptr ? m_record->m_alias : nullptr;
}

const char* msgCache::msgWebId() const
{
    if (m_element != nullptr) return attribute(child(m_element, "help"), "web");
    return m_record != nullptr ? m_record->m_webId : nullptr;
}

const char* msgCache::msgOnLineId() const
{
    if (m_element != nullptr) return attribute(child(m_element, "help"), "online");
    return m_record != nullptr ? m_record->m_onlineId : nullptr;
}

const char* msgCache::msgDataSheet() const
{
    return attribute(child(m_element, "help"), "datasheet");
}

int msgCache::msgLevel() const
{
    if (m_element == nullptr) return m_record != nullptr ? m_record->m_level : 0;
    const char* const text = m_element->Attribute("level");
    const int level = text != nullptr ? std::atoi(text) : 0;
    return level == 1 || level == 2 ? level : 0;
}

int msgCache::msgNavigationTool(std::vector<std::string>& menus, std::vector<std::string>& commands) const
{
    menus.clear();
    commands.clear();
    const auto text_of = [](const char* text) { return text != nullptr ? text : ""; };
    if (m_element == nullptr && m_record != nullptr && m_record->m_navigationTool != nullptr)
        menus.emplace_back(m_record->m_navigationTool);
    const TiXmlElement* each = child(child(m_element, "navigation"), "fun");
    for (; each != nullptr; each = each->NextSiblingElement("fun")) {
        menus.emplace_back(text_of(each->Attribute("menu")));
        commands.emplace_back(text_of(each->Attribute("cmd")));
    }
    return static_cast<int>(menus.size());
}

int msgCache::ownType() const
{
    if (m_element == nullptr)
        return m_record != nullptr && m_record->m_type != msgSetting::k_no_type ? m_record->m_type
                                                                                : int{MSG_STATUS};
    const char* const written = m_element->Attribute("type");
    return written != nullptr ? type_of_letter(written) : int{MSG_STATUS};
}

int msgCache::shownType() const
{
    const bool is_set = m_setting != nullptr && m_setting->m_type != msgSetting::k_no_type;
    return is_set ? m_setting->m_type : ownType();
}

int msgCache::msgType(std::string& name, std::string& level, bool useSetting) const
{
    const bool is_set = useSetting && m_setting != nullptr && m_setting->m_type != msgSetting::k_no_type;
    const int type = is_set ? m_setting->m_type : ownType();
    const char* const written = !is_set && type == MSG_WARNING ? attribute(m_element, "level") : nullptr;
    name = ketriope::name_of_type(type);
    level = written != nullptr ? written : "2";
    return type;
}

int msgCache::msgIsPrintable(std::vector<std::string>& dynamic, int decrement)
{
    std::string merged;  // made where it counts
    if (m_setting != nullptr) {
        const auto& hidden = m_setting->m_disabled;
        if (!hidden.empty() && !dynamic.empty()) {
            mergeDynamicInfo(dynamic, merged);
            if (std::ranges::find(hidden, merged) != hidden.end()) return 0;
        }
        const int count = m_setting->m_displayCount;
        if (count > 0 && decrement != 0 && !g_msgDisplayCntDisabled) --m_setting->m_displayCount;
        // Any other count is the answer: one below -1 shows always, whatever the switches say.
        if (count != msgSetting::k_no_limit) return count;
    }
    const message_type* const row = ketriope::counted_type(shownType());
    if (row != nullptr && *k_switches[static_cast<std::size_t>(row - ketriope::k_message_types)] == 0)
        return 0;
    if (g_PrintCount < 0) return -1;
    mergeDynamicInfo(dynamic, merged);
    if (m_printed.count(merged) >= static_cast<std::size_t>(g_PrintCount)) return 0;
    m_printed.insert(merged);
    return -1;
}

void msgCache::msgTypeSetPrintable(int types, int value)
{
    for (std::size_t i = 0; i < k_switches.size(); ++i)
        if ((types & ketriope::k_message_types[i].type) != 0) *k_switches[i] = value;
}

bool msgCache::msgTypePrintable(int types)
{
    for (std::size_t i = 0; i < k_switches.size(); ++i)
        if ((types & ketriope::k_message_types[i].type) != 0) return *k_switches[i] != 0;
    return true;
}

msgSetting& msgCache::setting()
{
    if (m_setting == nullptr) m_setting = new msgSetting;
    return *m_setting;
}
