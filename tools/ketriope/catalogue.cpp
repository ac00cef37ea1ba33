// catalogue.cpp
#include "catalogue.h"

#include <algorithm>
#include <set>

#include "console.h"

namespace ketriope::tool {
namespace {

constexpr std::size_t k_uid_characters = 4;

std::string text_or_nothing(const char* text)
{
    return text != nullptr ? one_line(text) : "";
}

catalogue_file describe(msgFileCache& file)
{
    return {.name = text_or_nothing(file.getKeyData(MSGDB_FILE_NAME)),
            .fid = text_or_nothing(file.getKeyData(MSGDB_FILE_FID)),
            .description = text_or_nothing(file.getKeyData(MSGDB_FILE_DESCRIPTION)),
            .mids = {}};
}

/// The numbers of the messages of a file.
std::vector<std::string> mids_of(const msgFileCache& file)
{
    std::vector<std::string> mids;
    std::set<std::string> seen;
    const TiXmlElement* const messages = file.m_fileElement->FirstChildElement("messages");
    const TiXmlElement* each = messages != nullptr ? messages->FirstChildElement("msg") : nullptr;
    for (; each != nullptr; each = each->NextSiblingElement("msg")) {
        const char* const uid = each->Attribute("uid");
        if (uid != nullptr && seen.insert(uid).second) mids.push_back(std::string(file.m_fid) + uid);
    }
    return mids;
}

}  // namespace

std::string fid_of(const std::string& mid)
{
    return mid.size() > k_uid_characters ? mid.substr(0, mid.size() - k_uid_characters) : "";
}

std::string type_of(const msgCache& message)
{
    std::string name;
    std::string level;
    message.msgType(name, level, false);
    return name.empty() ? "?" : name;
}

std::string type_and_level(const msgCache& message)
{
    std::string name;
    std::string level;
    const int type = message.msgType(name, level, false);
    return type_of(message) + (type == MSG_WARNING ? ", level " + one_line(level) : "");
}

catalogue::catalogue()
{
    try {
        std::vector<std::string> names;
        getMessageFiles(names);
        open_ = true;
    } catch (int) {
        note_trouble();
    }
}

/// Keeps what the database said of its own trouble.
void catalogue::note_trouble()
{
    std::string mid;
    std::vector<std::string> arguments;
    std::vector<std::string> navigation;
    findErrorStatus(mid, arguments, navigation);
    why_ = arguments.empty() ? "" : one_line(arguments[0]);
}

void catalogue::tell_missing(void (*report)(const std::string& text)) const
{
    report("There is no catalogue in reach: " + why_ + " Set FOUNDRY to the root of an installation.");
}

/// The entry of a file with its document; null, with `why_`, if it cannot be read.
msgFileCache* catalogue::load(const std::string& key)
{
    try {
        msgFileCache* const file = findMsgFileCache(key.c_str());
        if (file != nullptr && file->m_fileElement != nullptr) return file;
    } catch (int) {
    }
    note_trouble();
    return nullptr;
}

std::vector<catalogue_file> catalogue::files(bool& failed)
{
    std::vector<std::string> names;
    getMessageFiles(names);
    std::ranges::sort(names);
    std::vector<catalogue_file> found;
    for (const std::string& name : names) {
        msgFileCache* const file = load(name);
        if (file == nullptr) {
            failed = true;
            report_error("The messages of '" + printable(name) + "' cannot be read: " + why_ + ".");
            continue;
        }
        found.push_back(describe(*file));
        found.back().mids = mids_of(*file);
    }
    std::ranges::sort(found, {},
                      [](const catalogue_file& file) { return std::pair(file.fid.size(), file.fid); });
    return found;
}

const msgCache* catalogue::find(const std::string& mid)
{
    if (!open_ || load(fid_of(mid)) == nullptr) return nullptr;
    msgCache* const message = _getMsgInCache(mid.c_str());
    if (message->m_element == nullptr) createMsgInCache(mid.c_str(), message);
    return message->msgString() != nullptr ? message : nullptr;
}

catalogue_file catalogue::file_of(const std::string& mid)
{
    msgFileCache* const file = load(fid_of(mid));
    return file != nullptr ? describe(*file) : catalogue_file{};
}

std::string catalogue::text_of(const std::string& mid, std::vector<std::string> arguments)
{
    std::string text;
    if (find(mid) != nullptr) {
        composedMessageDisplay(mid.c_str(), arguments, text, 0, true);
    } else {
        for (const std::string& each : arguments) text.append(text.empty() ? "" : ", ").append(each);
    }
    return one_line(text);
}

std::vector<const char*> catalogue::help_data_of(const std::string& mid)
{
    std::vector<const char*> items;
    queryMsgHelpDB(mid.c_str(), items);
    return items;
}

}  // namespace ketriope::tool
