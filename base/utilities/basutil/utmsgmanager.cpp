// utmsgmanager.cpp: the facade of the message database: its start and stop, its rules for numbers, and
// the critical section around each call.
#include "utmsgmanager.h"

#include <atomic>
#include <cstdlib>
#include <utility>

#include "free_list.h"
#include "msgdebug.h"
#include "msgelement.h"
#include "msgmid.h"
#include "msgsection.h"
#include "msgtemplate.h"
#include "msgtypes.h"
#include "platform.h"
#include "startup.h"

using ketriope::k_uid_characters;
using ketriope::message_section;
using ketriope::section_guard;

namespace {

constexpr const char* k_no_category = "000";
constexpr const char* k_no_file = "this object has no message file loaded";

/// The database, made if there is none: a report may come when the first one has ended.
msgDbManager& database()
{
    return *msgDbManager::initMsgDbManager(nullptr);
}

/// Runs `work` on the database within its critical section.
template <class Work>
auto locked(Work work)
{
    const section_guard section(message_section());
    return work(database());
}

void debug(const std::string& text, int line = __builtin_LINE())
{
    ketriope::write_debug_line(text.c_str(), "utmsgmanager", line);
}

/// Puts the call-back of a type aside while it runs, so that a message posted from within it does not
/// enter it again; it is put back on every way out.
class callback_aside {
public:
    explicit callback_aside(eMessage_Type type) : type_(type), function_(exchanged(nullptr)) {}
    ~callback_aside()
    {
        if (function_ != nullptr) exchanged(function_);
    }
    callback_aside(const callback_aside&) = delete;
    callback_aside& operator=(const callback_aside&) = delete;

    void call(int sid, const char* mid) const
    {
        if (function_ != nullptr) function_(sid, mid);
    }

private:
    msgTypeCallback exchanged(msgTypeCallback function) const
    {
        return locked([&](msgDbManager& db) { return db.exchangeTypeCallback(type_, function); });
    }

    eMessage_Type type_;
    msgTypeCallback function_;
};

constinit ketriope::free_list blocks{sizeof(msgManager)};

}  // namespace

/// What the debug channel is told of a MID that cannot be one: words in front of it and behind it.
struct msgManager::complaint {
    const char* before = "msgID <";
    const char* behind = "> is not valid";
};

// ---- life

constinit int msgManager::m_initialized = 0;
constinit msgManager* msgManager::msgManagerInitPtr = nullptr;

void* msgManager::operator new(std::size_t size)
{
    return blocks.take(size);
}

void msgManager::operator delete(void* object, std::size_t size) noexcept
{
    blocks.give(object, size);
}

msgManager::msgManager() : m_fid(k_no_category)
{
    msgManagerInitSetting(0);
}

msgManager::msgManager(const char* category)
{
    msgManagerInitSetting(0);
    if (category == nullptr) return;
    const section_guard section(message_section());
    msgDbManager& db = database();
    m_file = db.findMsgFileCache(category);
    if (m_file == nullptr) m_file = db.createMsgFileCache(category);
    if (m_file != nullptr && m_file->m_fid != nullptr) m_fid = m_file->m_fid;
}

msgManager::msgManager(int) {}

void msgManager::endMessages()
{
    // Both are null when the terminate handler has been here before the exit handler; the second goes last,
    // so that nobody ends the process while another thread still completes the logs.
    const std::atomic_ref<msgManager*> held(msgManagerInitPtr);
    if (msgDbManager::findUniqueDbManager() == nullptr && held.load() == nullptr) return;
    const ketriope::section_lock section = ketriope::section_in_time();
    if (!section) return;  // logs without their end lines, then; all posted lines are in them
    if (msgDbManager* const ending = msgDbManager::findUniqueDbManager()) {
        msgDbManager::setUniqueDbManager(nullptr);
        ending->forceClosed();
        delete ending;
    }
    delete held.exchange(nullptr);
}

namespace {

/// The exit handler.
void end_with_the_process()
{
    ketriope::note_exit_begun();
    msgManager::endMessages();
}

}  // namespace

void msgManager::msgManagerInitSetting(int)
{
    const std::atomic_ref<int> initialized(m_initialized);
    if (initialized.load(std::memory_order_acquire) == 1) return;
    const section_guard section(message_section());
    if (initialized.load(std::memory_order_relaxed) == 1) return;  // by another thread, or from within
    initialized.store(1, std::memory_order_release);
    std::atexit(end_with_the_process);
    ketriope::take_uncaught_exceptions();
    database();
    const std::atomic_ref<msgManager*> held(msgManagerInitPtr);
    if (held.load() == nullptr) held.store(new msgManager(0));
}

int msgManager::reNew()
{
    m_counters = {};
    return 1;
}

int msgManager::getMsgMID(const char* category, const char* uid)
{
    if (category == nullptr || uid == nullptr) return 0;
    return locked([&](msgDbManager& db) {
        const msgFileCache* const file = db.findMsgFileCache(category);
        return file != nullptr && file->m_fid != nullptr ? std::atoi(file->m_fid) * 10'000 + std::atoi(uid)
                                                         : 0;
    });
}

/// Makes a whole MID of one that may be that of this object's file alone. False, with a line in the debug
/// channel, for what is none.
bool msgManager::whole_mid(const char* mid, std::string& whole, const complaint& otherwise) const
{
    if (m_fid.empty()) {
        debug(k_no_file);
        return false;
    }
    whole = mid != nullptr ? mid : "";
    if (whole.size() < k_uid_characters) {
        debug(otherwise.before + whole + otherwise.behind);
        return false;
    }
    if (whole.size() == k_uid_characters) whole.insert(0, m_fid);
    return true;
}

// ---- posting

int msgManager::post_list(unsigned flags, const char* mid, const std::string* first, ut_va_list args)
{
    std::string whole;
    if (!whole_mid(mid, whole, {"caller provided invalid message ID=<", ">"})) return 0;
    if (ketriope::debug_channel_listens()) debug("post message <" + whole + "> using const char* mid");
    std::vector<std::string> dynamic;
    std::vector<std::string> navigation;
    if (first != nullptr) dynamic.push_back(*first);
    return post_whole(whole, dynamic, navigation, flags, [&](msgDbManager& db, const char* words) {
        ketriope::expand_arguments(words, args, dynamic.size(), dynamic);
        db.m_spent = &dynamic;
    });
}

/// Posts a message whose arguments are complete once `prepare` has seen its template.
template <class Prepare>
int msgManager::post_whole(const std::string& mid, std::vector<std::string>& dynamic,
                           std::vector<std::string>& navigation, unsigned flags, Prepare prepare)
{
    int sid = 0;
    eMessage_Type type{};
    msgCallback callback = nullptr;
    msgPostFunction function = nullptr;
    bool of_type = false;  // the type has a call-back
    std::string text;
    std::vector<std::string> reduced;
    {
        const section_guard section(message_section());
        msgDbManager& db = database();
        const auto [message, words] = db.find_worded(mid.c_str());
        if (message == nullptr) return 0;
        struct nothing_spent {
            msgDbManager& db;
            ~nothing_spent() { db.m_spent = nullptr; }
        } const at_the_end{db};
        prepare(db, words);
        sid = db.postMsg(mid.c_str(), dynamic, navigation, flags);
        const msgPosted* const post = db.retrieveMsgPosted(sid);
        if (post == nullptr || post->m_msgSymId_sym == nullptr) return sid;
        type = db.type_of(*message);
        m_counters.count(type);
        if (post->m_display == 0 || type == 0) return sid;
        callback = db.findCallbackMsgFun();
        function = db.findPostMsgFun();
        of_type = db.findCallbackMsgFun(type) != nullptr;
        if (callback != nullptr || function != nullptr) {
            reduced = post->m_dynamic;
            if (db.m_shown.sid == sid)
                text = db.m_shown.text;
            else
                db.composedMessageDisplay(mid.c_str(), reduced, text, 0, false);
        }
    }
    if (callback != nullptr)
        callback(sid, mid.c_str(), type, text, reduced, navigation);
    else if (function != nullptr)
        function(sid, type, text);
    if (of_type) callback_aside(type).call(sid, mid.c_str());
    return sid;
}

int msgManager::postMsg(int mid, ...)
{
    ut_va_list args;
    va_start(args, mid);
    const int sid = post_list(0, ketriope::mid_text(mid).c_str(), nullptr, args);
    va_end(args);
    return sid;
}

int msgManager::postMsg(const char* mid, ...)
{
    ut_va_list args;
    va_start(args, mid);
    const int sid = post_list(0, mid, nullptr, args);
    va_end(args);
    return sid;
}

int msgManager::postMessage(unsigned flags, int mid, ...)
{
    ut_va_list args;
    va_start(args, mid);
    const int sid = post_list(flags, ketriope::mid_text(mid).c_str(), nullptr, args);
    va_end(args);
    return sid;
}

int msgManager::postMessage(unsigned flags, const char* mid, ...)
{
    ut_va_list args;
    va_start(args, mid);
    const int sid = post_list(flags, mid, nullptr, args);
    va_end(args);
    return sid;
}

int msgManager::postMsgVaList(const char* mid, ut_va_list args)
{
    return post_list(0, mid, nullptr, args);
}

int msgManager::postMsgVaList(unsigned flags, const char* mid, ut_va_list args)
{
    return post_list(flags, mid, nullptr, args);
}

int msgManager::postMsgVaList(const char* mid, std::string& first, ut_va_list args)
{
    return post_list(0, mid, &first, args);
}

int msgManager::postMsg(std::string& mid, unsigned flags)
{
    std::vector<std::string> dynamic;
    return postMsg(mid, dynamic, flags);
}

int msgManager::postMsg(std::string& mid, std::vector<std::string>& dynamic, unsigned flags)
{
    std::vector<std::string> navigation;
    return postMsg(mid, dynamic, navigation, flags);
}

int msgManager::postMsg(std::string& mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation, unsigned flags)
{
    std::string whole;
    if (!whole_mid(mid.c_str(), whole, {"caller provided msgID <", "> is not valid"})) return 0;
    return post_whole(whole, dynamic, navigation, flags, [](msgDbManager&, const char*) {});
}

int msgManager::postUtMsgMgr(eMessage_Type type, const char* text, int newline)
{
    const int sid = database().postUtMsgMgr(type, text, newline);
    if (text == nullptr) return sid;
    msgPostFunction function = nullptr;
    std::string shown = text;
    {
        const section_guard section(message_section());
        msgDbManager& db = database();
        if (db.findCallbackMsgFun() == nullptr) function = db.findPostMsgFun();
        if (function == nullptr) return sid;
        if (const msgPosted* post = db.retrieveMsgPosted(sid)) {
            std::vector<std::string> dynamic = post->m_dynamic;
            const char* const mid = post->m_msgSymId_sym->c_str();
            type = db.findMsgType(mid);
            db.composedMessageDisplay(mid, dynamic, shown, 0, false);
        }
    }
    function(sid, type, shown);
    return sid;
}

// ---- error status

int msgManager::postErrorStatus(const char* mid, ...)
{
    std::string words;
    std::string whole;
    if (!whole_mid(mid, whole, {"invalid message ID <", ">"})) return 0;
    query_text(whole.c_str(), MSGDB_TEXT, words);
    std::vector<std::string> dynamic;
    std::vector<std::string> navigation;
    ut_va_list args;
    va_start(args, mid);
    ketriope::expand_arguments(words, args, 0, dynamic);
    va_end(args);
    return postErrorStatus(whole.c_str(), dynamic, navigation);
}

int msgManager::postErrorStatus(const char* mid, std::vector<std::string>& dynamic,
                                std::vector<std::string>& navigation)
{
    std::string whole;
    if (!whole_mid(mid, whole, {"invalid message ID <", ">"})) return 0;
    return locked([&](msgDbManager& db) {
        if (db.find_worded(whole.c_str()).message == nullptr) {
            debug("message ID <" + whole + "> is not valid; it has no message string defined");
            return 0;
        }
        db.postErrorStatus(whole.c_str(), dynamic, navigation);
        return -1;
    });
}

int msgManager::postErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                                std::vector<std::string>& navigation)
{
    return postErrorStatus(mid.c_str(), dynamic, navigation);
}

int msgManager::findErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                                std::vector<std::string>& navigation)
{
    return locked([&](msgDbManager& db) { return db.findErrorStatus(mid, dynamic, navigation); });
}

void msgManager::resetErrorStatus()
{
    locked([](msgDbManager& db) { db.resetErrorStatus(); });
}

// ---- call-backs

void msgManager::setCallbackMsgFun(msgCallback function)
{
    locked([&](msgDbManager& db) { db.setCallbackMsgFun(function); });
}

void msgManager::setCallbackMsgFun(msgTypeCallback function, eMessage_Type type)
{
    locked([&](msgDbManager& db) { db.setCallbackMsgFun(function, type); });
}

msgCallback msgManager::findCallbackMsgFun()
{
    return locked([](msgDbManager& db) { return db.findCallbackMsgFun(); });
}

void msgManager::setPostMsgFun(msgPostFunction function)
{
    locked([&](msgDbManager& db) { db.setPostMsgFun(function); });
}

msgPostFunction msgManager::findPostMsgFun()
{
    return locked([](msgDbManager& db) { return db.findPostMsgFun(); });
}

// ---- text without a post

int msgManager::formatString(const char* text, std::string& out, int width)
{
    return locked([&](msgDbManager& db) { return db.formatString(text, out, width); });
}

std::string msgManager::queryMsgDisplayStr(const char* mid)
{
    std::vector<std::string> dynamic;
    std::string text;
    queryMsgDisplayString(mid, dynamic, text, 0, false);
    return text;
}

std::string msgManager::queryMsgDisplayStrVaList(const char* mid, ut_va_list args, bool bare)
{
    std::string words;
    std::string text;
    if (queryMsgString(mid, words) == 0) return text;
    std::vector<std::string> dynamic;
    ketriope::expand_arguments(words, args, 0, dynamic);
    queryMsgDisplayString(mid, dynamic, text, 0, bare);
    return text;
}

const char* msgManager::queryMsgDisplayString(const char* mid, std::vector<std::string>& dynamic,
                                              std::string& out, int type, bool bare)
{
    out.clear();
    std::string whole;
    if (!whole_mid(mid, whole, {})) return nullptr;
    return locked(
        [&](msgDbManager& db) { return db.composedMessageDisplay(whole.c_str(), dynamic, out, type, bare); });
}

// ---- queries

int msgManager::queryMsgDB(const char* mid, eMessageDB_Data item, std::vector<std::string>& out)
{
    out.clear();
    std::string whole;
    if (!whole_mid(mid, whole, {})) return 0;
    return locked([&](msgDbManager& db) { return db.queryMsgDB(whole.c_str(), item, out); });
}

/// The one text of an item.
int msgManager::query_text(const char* mid, eMessageDB_Data item, std::string& out)
{
    std::vector<std::string> texts;
    const int count = queryMsgDB(mid, item, texts);
    out = texts.empty() ? "" : texts.front();
    return count;
}

int msgManager::queryMsgString(const char* mid, std::string& out)
{
    return query_text(mid, MSGDB_TEXT, out);
}

int msgManager::queryMsgAlias(const char* mid, std::string& out)
{
    return query_text(mid, MSGDB_ALIAS, out);
}

int msgManager::queryMsgOnlineId(const char* mid, std::string& out)
{
    return query_text(mid, MSGDB_ONLINE_ID, out);
}

int msgManager::queryMsgWebId(const char* mid, std::string& out)
{
    return query_text(mid, MSGDB_WEB_ID, out);
}

eMessage_Type msgManager::query_type(const char* mid, eMessageDB_Data item)
{
    std::string name;
    query_text(mid, item, name);
    const ketriope::message_type* const row = ketriope::type_by_name(name);
    return row != nullptr ? static_cast<eMessage_Type>(row->type) : MSG_ALL;
}

eMessage_Type msgManager::queryMsgXmlType(const char* mid)
{
    return query_type(mid, MSGDB_XML_TYPE);
}

eMessage_Type msgManager::queryMsgType(const char* mid)
{
    return query_type(mid, MSGDB_TYPE);
}

int msgManager::queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                        std::vector<std::string>& commands, std::vector<std::string>& indexes)
{
    std::string whole;
    if (!whole_mid(mid, whole, {})) return 0;
    return locked([&](msgDbManager& db) {
        return db.queryMsgNavigationTools(whole.c_str(), menus, commands, indexes);
    });
}

int msgManager::queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                        std::vector<std::string>& commands)
{
    std::vector<std::string> indexes;
    return queryMsgNavigationTools(mid, menus, commands, indexes);
}

int msgManager::queryMsgHelpDB(const char* mid, std::vector<const char*>& out)
{
    std::string whole;
    if (!whole_mid(mid, whole, {})) return 0;
    return locked([&](msgDbManager& db) { return db.queryMsgHelpDB(whole.c_str(), out); });
}

int msgManager::queryMsgFile(eMessageDB_Data item, std::string& out)
{
    const char* const text =
        locked([&](msgDbManager&) { return m_file != nullptr ? m_file->getKeyData(item) : nullptr; });
    out = text != nullptr ? text : "";
    return text != nullptr ? 1 : 0;
}

// ---- posted records

namespace {

/// Runs `work` on the record of a post; 0, with a line in the debug channel, if there is none.
template <class Work>
int with_post(int sid, const char* complaint, Work work)
{
    return locked([&](msgDbManager& db) {
        msgPosted* const post = db.retrieveMsgPosted(sid);
        if (post == nullptr) {
            debug(sid == 0 || sid == -1 ? "Invalid message SID==0 or -1 is provided" : complaint);
            return 0;
        }
        return work(db, *post);
    });
}

constexpr const char* k_unknown_sid = "caller provides non-existing msgSID";

}  // namespace

int msgManager::retrieveAllMsgPosted(std::vector<int>& sids)
{
    return locked([&](msgDbManager& db) { return db.retrieveAllMsgPosted(sids); });
}

int msgManager::retrieveLatestMsgPosted()
{
    return locked([](msgDbManager& db) { return db.retrieveLatestMsgPosted(); });
}

unsigned int msgManager::retrieveMsgFlag(int sid)
{
    unsigned int flags = 0;
    with_post(sid, k_unknown_sid, [&](msgDbManager&, const msgPosted& post) {
        flags = post.m_flags;
        return 1;
    });
    return flags;
}

int msgManager::retrieveMsgID(int sid, std::string& mid)
{
    mid.clear();
    return with_post(sid, k_unknown_sid, [&](msgDbManager&, const msgPosted& post) {
        if (post.m_msgSymId_sym == nullptr) {
            std::fprintf(stderr, "Assertion `msg->m_msgSymId_sym' failed: utmsgmanager:%d\n", __LINE__);
            ketriope::platform::os().abort_process();
            return 0;
        }
        mid = post.m_msgSymId_sym->c_str();
        return 1;
    });
}

int msgManager::retrieveMsgString(int sid, std::string& out)
{
    out.clear();
    return with_post(sid, k_unknown_sid, [&](msgDbManager& db, const msgPosted& post) {
        std::vector<std::string> dynamic = post.m_dynamic;
        const char* const mid = post.m_msgSymId_sym != nullptr ? post.m_msgSymId_sym->c_str() : "";
        if (db.composedMessageDisplay(mid, dynamic, out, 0, false) != nullptr) return 1;
        debug("fails to compose messsage for caller provided msgSID");
        return 0;
    });
}

eMessage_Type msgManager::retrieveMsgType(int sid, std::string& name)
{
    name.clear();
    eMessage_Type type = MSG_ALL;
    with_post(sid, k_unknown_sid, [&](msgDbManager& db, const msgPosted& post) {
        if (post.m_msgSymId_sym == nullptr) return 0;
        type = db.findMsgType(post.m_msgSymId_sym->c_str());
        if (ketriope::counted_type(type) != nullptr) name = ketriope::name_of_type(type);
        return 1;
    });
    return type;
}

int msgManager::retrieveMsgDynamicInfo(int sid, std::vector<std::string>& dynamic)
{
    dynamic.clear();
    return with_post(sid, "caller provides an invalid msgSID", [&](msgDbManager&, const msgPosted& post) {
        dynamic = post.m_dynamic;
        return static_cast<int>(dynamic.size());
    });
}

int msgManager::retrieveMsgNavigationInfo(int sid, std::vector<std::string>& navigation)
{
    navigation.clear();
    return with_post(sid, "caller provides an invalid msgSID", [&](msgDbManager&, const msgPosted& post) {
        for (const dl_Symbol* each : post.m_navigation) navigation.emplace_back(each->c_str());
        return static_cast<int>(navigation.size());
    });
}

int msgManager::setMsgNavigationInfo(int sid, std::vector<std::string>& navigation)
{
    return with_post(sid, "fails to locate posted message", [&](msgDbManager&, msgPosted& post) {
        for (const std::string& each : navigation) post.m_navigation.push_back(new dl_Symbol(each.c_str()));
        return 1;
    });
}

void msgManager::resetMsgBuffer(eMessage_Type types)
{
    locked([&](msgDbManager& db) { db.resetMsgBuffer(types); });
}

// ---- settings

int msgManager::findMsgTypeSetting(std::vector<int>& mids, std::vector<eMessage_Type>& types, bool internal)
{
    return locked([&](msgDbManager& db) { return db.findMsgTypeSetting(mids, types, internal); });
}

int msgManager::setMsgSetting(const char* path)
{
    return locked([&](msgDbManager& db) {
        const int read = db.setMsgSetting(path, m_fid);
        if (read != 0) s_msgSettingFile() = path;
        return read;
    });
}

int msgManager::setMsgType(const char* mid, eMessage_Type type, bool internal)
{
    std::string whole;
    if (!whole_mid(mid, whole, {})) return 0;
    return locked([&](msgDbManager& db) { return db.setMsgType(whole.c_str(), type, internal); });
}

int msgManager::resetMsgType(const char* mid)
{
    std::string whole;
    if (mid != nullptr && !whole_mid(mid, whole, {})) return 0;
    return locked(
        [&](msgDbManager& db) { return db.resetMsgType(mid != nullptr ? whole.c_str() : nullptr); });
}

int msgManager::saveMsgSetting(const char* path)
{
    return locked([&](msgDbManager& db) { return db.saveMsgSetting(path); });
}

void msgManager::disableMsg(const char* mid, int count)
{
    std::string whole;
    if (whole_mid(mid, whole, {})) locked([&](msgDbManager& db) { db.disableMsg(whole, count); });
}

void msgManager::disableMsg(std::string& mid, int count)
{
    disableMsg(mid.c_str(), count);
}

void msgManager::disableMsg(const char* mid, std::vector<std::string>& dynamic)
{
    std::string whole;
    if (whole_mid(mid, whole, {})) locked([&](msgDbManager& db) { db.disableMsg(whole.c_str(), dynamic); });
}

void msgManager::enableMsg(const char* mid)
{
    std::string whole;
    if (mid != nullptr && !whole_mid(mid, whole, {})) return;
    locked([&](msgDbManager& db) { db.enableMsg(mid != nullptr ? whole.c_str() : nullptr); });
}

void msgManager::enableMsg(std::string& mid)
{
    enableMsg(mid.c_str());
}

void msgManager::enableMsg(const char* mid, std::vector<std::string>& dynamic)
{
    std::string whole;
    if (whole_mid(mid, whole, {})) locked([&](msgDbManager& db) { db.enableMsg(whole.c_str(), dynamic); });
}

int msgManager::findMsgDisabledSetting(std::vector<int>& mids, bool internal)
{
    return locked([&](msgDbManager& db) { return db.findMsgDisabledSetting(mids, internal); });
}

int msgManager::findMsgDisplayCnt(std::vector<std::pair<int, int>>& out, bool internal)
{
    return locked([&](msgDbManager& db) { return db.findMsgDisplayCnt(out, internal); });
}

eMessage_Type msgManager::findMsgType(const char* mid)
{
    std::string whole;
    if (!whole_mid(mid, whole, {})) return eMessage_Type{};
    return locked([&](msgDbManager& db) { return db.findMsgType(whole.c_str()); });
}

void msgManager::disableMsgType(int types)
{
    locked([&](msgDbManager& db) { db.disableMsgType(types); });
}

void msgManager::enableMsgType(int types)
{
    locked([&](msgDbManager& db) { db.enableMsgType(types); });
}

void msgManager::resetMsgTypePrintable(int types)
{
    locked([&](msgDbManager& db) { db.resetMsgTypePrintable(types); });
}

bool msgManager::isMsgTypePrintable(int types)
{
    return locked([&](msgDbManager& db) { return db.isMsgTypePrintable(types); });
}

void msgManager::setPrintCount(int count)
{
    locked([&](msgDbManager& db) { db.setPrintCount(count); });
}

void msgManager::resetPrintCount()
{
    setPrintCount(-1);
}

void msgManager::setMsgDisplayCntDisabled(bool disabled)
{
    const section_guard section(message_section());
    msgCache::g_msgDisplayCntDisabled = disabled;
}

// ---- destinations

void msgManager::setMsgPiping(int flag)
{
    locked([&](msgDbManager& db) { db.setMsgPiping(flag); });
}

unsigned int msgManager::startMsgLogFile(const char* path, eMessage_Type mask)
{
    return locked([&](msgDbManager& db) { return db.startMsgLogFile(path, mask); });
}

void msgManager::finishMsgLogFile(unsigned int id)
{
    locked([&](msgDbManager& db) { db.finishMsgLogFile(id); });
}

void msgManager::addMsgLogFile(std::FILE* file)
{
    locked([&](msgDbManager& db) { db.addMsgLogFile(file); });
}

void msgManager::delMsgLogFile(std::FILE* file)
{
    locked([&](msgDbManager& db) { db.delMsgLogFile(file); });
}

void msgManager::addUTstream(void* stream)
{
    locked([&](msgDbManager& db) { db.addUTstream(stream); });
}

void msgManager::delUTstream(void* stream)
{
    locked([&](msgDbManager& db) { db.delUTstream(stream); });
}

void msgManager::addstream(std::ostream& stream)
{
    locked([&](msgDbManager& db) { db.addstream(stream); });
}

void msgManager::delstream(std::ostream& stream)
{
    locked([&](msgDbManager& db) { db.delstream(stream); });
}

void msgManager::postDebugMsg(const char* text, const char* file, int line)
{
    ketriope::write_debug_line(text, file, line);
}

// ---- counters

unsigned int msgManager::posted(int own, std::size_t index)
{
    if (own != 0) return m_counters.m_posted[index];
    return locked([&](msgDbManager& db) { return db.shownPosts().m_posted[index]; });
}

unsigned int msgManager::getErrorPosted(int own)
{
    return posted(own, 0);
}

unsigned int msgManager::getCriticalPosted(int own)
{
    return posted(own, 1);
}

unsigned int msgManager::getWarningPosted(int own)
{
    return posted(own, 2);
}

unsigned int msgManager::getInfoPosted(int own)
{
    return posted(own, 3);
}

unsigned int msgManager::getStatusPosted(int own)
{
    return posted(own, 4);
}

// ---- statistics and the numbers of other message systems

int msgManager::saveMsgStatistic(const char* section, const char* path)
{
    return locked([&](msgDbManager& db) { return db.saveMsgStatistic(section, path); });
}

// Made on first use and never destroyed, since a message may come after all else has ended.

std::string& msgManager::s_msgSettingFile()
{
    static std::string& path = *new std::string;
    return path;
}

msgManager::outer_ids& msgManager::m_verificMsgIDMap()
{
    static outer_ids& map = *new outer_ids;
    return map;
}

std::map<std::string, std::string>& msgManager::m_synpMsgIDMap()
{
    static auto& map = *new std::map<std::string, std::string>;
    return map;
}

void msgManager::storeVerificMsgID(std::string a, std::string b, std::string c, unsigned int d)
{
    if (a.empty() || b.empty() || c.empty()) return;
    const section_guard section(message_section());
    m_verificMsgIDMap()[a][b] = {c, d};
}

msgManager::outer_ids msgManager::retrieveVerificMsgIDs()
{
    const section_guard section(message_section());
    return m_verificMsgIDMap();
}

void msgManager::clearVerificMsgIDs()
{
    const section_guard section(message_section());
    m_verificMsgIDMap().clear();
}

std::string msgManager::queryInternalMsgId(const char* externalId)
{
    if (externalId == nullptr || *externalId == '\0') {
        debug("msgManager::queryInternalMsgId input extMsgId is invalid");
        return "";
    }
    const section_guard section(message_section());
    auto& known = m_synpMsgIDMap();
    if (const auto found = known.find(externalId); found != known.end()) return found->second;
    TiXmlElement* const file = m_file != nullptr ? m_file->m_fileElement : nullptr;
    const TiXmlElement* each = ketriope::first_message(file);
    for (; each != nullptr; each = each->NextSiblingElement("msg")) {
        const char* const eid = each->Attribute("eid");
        const char* const uid = each->Attribute("uid");
        if (eid != nullptr && uid != nullptr) known[eid] = m_fid + uid;
    }
    const auto found = known.find(externalId);
    return found != known.end() ? found->second : "";
}

std::string msgManager::queryExternalMsgId(const char* mid)
{
    const ketriope::mid_halves halves = ketriope::split_mid(mid != nullptr ? mid : "");
    return locked([&](msgDbManager& db) -> std::string {
        const msgFileCache* const file =
            halves.fid.empty() ? nullptr : db.findMsgFileCache(halves.fid.c_str());
        if (file == nullptr || file->m_fileElement == nullptr) {
            debug("msgManager::queryExternalMsgId input msgId is invalid");
            return "";
        }
        const TiXmlElement* const message = ketriope::find_message(file->m_fileElement, halves.uid);
        const char* const eid = message != nullptr ? message->Attribute("eid") : nullptr;
        return eid != nullptr ? eid : "";
    });
}

bool msgManager::saveSynpMsgFilterFile(const char* path)
{
    constexpr const char* k_synthesis_fid = "201";
    if (path == nullptr) return false;
    std::vector<int> mids;
    std::vector<eMessage_Type> types;
    findMsgTypeSetting(mids, types, false);
    std::string errors;
    std::string warnings;
    const auto add = [](std::string& list, const char* option, const std::string& id) {
        if (id.empty()) return;  // nothing that the synthesis tool would know
        if (list.empty()) list = option;
        list.append(" ").append(id);
    };
    for (std::size_t i = 0; i < mids.size(); ++i) {
        const std::string mid = ketriope::mid_text(mids[i]);
        if (!mid.starts_with(k_synthesis_fid)) continue;
        const std::string id = queryExternalMsgId(mid.c_str());
        if (types[i] == MSG_WARNING) add(warnings, "-warning", id);
        if (types[i] == MSG_ERROR) add(errors, "-error", id);
    }
    std::FILE* const file = ketriope::platform::os().open_stream(path, "w");
    if (file == nullptr) return false;
    for (const std::string& list : {errors, warnings})
        if (!list.empty()) std::fprintf(file, "message_override %s\n", list.c_str());
    std::fclose(file);
    return true;
}

// ---- editing the store

int msgManager::getMessages(std::vector<int>& uids)
{
    uids.clear();
    if (m_file == nullptr) return 0;
    return locked([&](msgDbManager& db) { return db.getMessages(m_fid.c_str(), uids); });
}

int msgManager::exportMessageIndexFile(const char* path)
{
    return locked([&](msgDbManager& db) { return db.exportMessageIndexFile(path); });
}

int msgManager::exportMessageFile(const char* path)
{
    return locked([&](msgDbManager&) {
        const bool has_document = m_file != nullptr && m_file->m_document != nullptr;
        return has_document && path != nullptr && m_file->m_document->SaveFile(path) ? 1 : 0;
    });
}

int msgManager::newMsgDB(const char* mid, const char* text)
{
    std::string whole;
    if (!whole_mid(mid, whole, {"caller provided invalid message ID=<", ">"})) return 0;
    return locked([&](msgDbManager& db) { return db.newMsgDB(whole.c_str(), text) != nullptr ? 1 : 0; });
}

int msgManager::updateMsgString(const char* mid, const char* text)
{
    std::string whole;
    if (!whole_mid(mid, whole, {"caller provided invalid message ID=<", ">"})) return 0;
    return locked(
        [&](msgDbManager& db) { return db.updateMsgString(whole.c_str(), text) != nullptr ? 1 : 0; });
}

int msgManager::updateMsgType(const char* mid, const char* typeName, int level)
{
    std::string whole;
    if (!whole_mid(mid, whole, {"caller provided invalid message ID=<", ">"})) return 0;
    return locked([&](msgDbManager& db) {
        return db.updateMsgType(whole.c_str(), typeName, level) != nullptr ? 1 : 0;
    });
}

msgManager* msgManager::newMsgFile(const char* name, const char* fid, const char* alias)
{
    return locked([&](msgDbManager& db) -> msgManager* {
        std::shared_ptr<msgFileCache> made(db.newMsgFile(name, fid, alias));
        if (made == nullptr) return nullptr;
        m_file = made.get();
        db.m_newFiles.push_back(std::move(made));
        return this;
    });
}

int msgManager::updateMsgDB()
{
    std::fputs("msgManager::updateMsgDB is obsoleted\n", stdout);
    return 1;
}

int msgManager::updateMsgFile()
{
    return 0;
}

int msgManager::queryMsgInfoCount()
{
    return 0;
}
