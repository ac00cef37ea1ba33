// utmsgpost.cpp: the way of a post through the message database: whether it is shown, its record, its
// text, and its delivery to console and streams. Logs are in utmsglog.cpp.
#include "utmsgdbmanager.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "ascii.h"
#include "basutstr.h"
#include "basutstream.h"
#include "hanging_indent.h"
#include "msgman.h"
#include "msgmid.h"
#include "msgposts.h"
#include "msgsection.h"
#include "msgtemplate.h"
#include "msgtypes.h"
#include "platform.h"

namespace {

constexpr const char* k_error_mid = "1009990";
constexpr const char* k_warning_mid = "1009991";
constexpr const char* k_info_mid = "1009992";
constexpr const char* k_other_mid = "1009993";
constexpr const char* k_obsolete_mid = "00000000";  // eight zeros
constexpr int k_folding_format = 3;                 ///< and above
constexpr int k_fold_width = 75;
constexpr std::size_t k_usual_text = 120;  ///< characters of most messages

const char* variable(const char* name)
{
    return ketriope::platform::os().environment(name);
}

int number_in(const char* name, int otherwise)
{
    const char* const text = variable(name);
    return text != nullptr ? std::atoi(text) : otherwise;
}

/// Odd: labels in capitals. 3 and above: the text is folded. 0 stands for a value that is not known, so a
/// variable of 0 is read anew at each message, and counts as even.
constinit std::atomic<int> known_format{0};

int display_format()
{
    if (known_format == 0) known_format = number_in("QVS_MSGMGR_FORMAT", 1);
    return known_format;
}

bool shows_mid()
{
    static const int shown = number_in("QVS_SHELL_MESSAGE_ID", 1);
    return shown >= 1;
}

bool is_error(int type)
{
    return type == MSG_ERROR || type == MSG_UT_ERROR || type == MSG_UT_FATAL || type == MSG_UT_INTERNAL;
}

bool is_odd(int value)
{
    return (value & 1) != 0;
}

/// Appends what stands in front of the text of a message.
void append_label(std::string& out, int type, std::string_view mid, int format)
{
    if (const ketriope::message_type* row = ketriope::type_row(type);
        row != nullptr && row->capitals != nullptr) {
        out += is_odd(format) ? row->capitals : row->name;
        if (!mid.empty() && shows_mid()) out.append(" <").append(mid).append(">");
        out += " - ";
    }
    const char* const program = ut_msgman != nullptr ? ut_msgman->getprogname() : nullptr;
    if (type != MSG_STATUS && program != nullptr && *program != '\0') out.append(program).append(": ");
}

/// The lists of destinations that this thread is serving. What is reported meanwhile does not go to
/// them: a stream that fails reports it, and would be served with that report again.
enum : unsigned { k_files = 1, k_streams = 2, k_ut_streams = 4 };
thread_local constinit unsigned being_served = 0;

class serving {
public:
    explicit serving(unsigned lists) : before_(std::exchange(being_served, being_served | lists)) {}
    ~serving() { being_served = before_; }
    serving(const serving&) = delete;
    serving& operator=(const serving&) = delete;

private:
    unsigned before_;
};

void write_whole(std::FILE* file, const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), file);
    std::fflush(file);
}

/// Calls `write` for each of `list` that is still in it when its turn comes. A destination that fails,
/// posts, or changes the list while it is served, does no harm to the others.
template <class Sink, class Write>
void serve(unsigned which, const std::vector<Sink*>& list, Write write)
{
    if (list.empty() || (being_served & which) != 0) return;
    const serving guard(which);
    const std::vector<Sink*> now = list;
    for (Sink* sink : now) {
        if (std::ranges::find(list, sink) == list.end()) continue;
        try {
            write(*sink);
        } catch (...) {  // a destination must not end a run
        }
    }
}

constexpr std::size_t k_longest_argument = 500;

/// True for an argument that the reduction leaves as it is.
bool stays_whole(const std::string& argument)
{
    return argument.size() <= k_longest_argument && argument.find('\0') == std::string::npos;
}

/// The number, and the type from then on, under which text of the legacy manager is kept.
const char* bridge_of(int& type)
{
    if (is_error(type)) {
        type = MSG_ERROR;
        return k_error_mid;
    }
    return type == MSG_WARNING ? k_warning_mid : type == MSG_INFO ? k_info_mid : k_other_mid;
}

}  // namespace

// ---- the post

int msgDbManager::postMsg(int mid, std::vector<std::string>& dynamic, std::vector<std::string>& navigation,
                          unsigned int flags)
{
    return postMsg(ketriope::mid_text(mid).c_str(), dynamic, navigation, flags);
}

int msgDbManager::postMsg(const char* mid, std::vector<std::string>& dynamic,
                          std::vector<std::string>& navigation, unsigned int flags)
{
    msgCache* const message = findMsg(mid);
    if (message == nullptr) {
        debug("unable to create message in message cache");
        return -1;
    }
    m_shown.sid = 0;
    std::vector<std::string> reduced = reduced_arguments(dynamic);
    const int display = message->msgIsPrintable(reduced, 1);
    const msgPosted& post = record_post(message->m_symbol, std::move(reduced), navigation, flags, display);
    const int sid = post.m_sid;
    if (display == 0 && m_logs.empty()) return sid;  // nobody is told
    const int type = message->shownType();
    if (display != 0 && type == MSG_DEBUG && variable("QVS_SHOW_DEBUG_MESSAGE") == nullptr) return -1;

    // All that the record is asked for comes first: a stream that is served may forget the posts.
    const bool piped = display != 0 && m_piping == 1 && type != MSG_STATUS;
    const bool on_console = display != 0 && !piped && shows_on_console();
    std::string line;
    if (piped || has_log_for(type)) line = log_line(mid, type, post.m_dynamic, post.m_navigation);
    std::string text;
    if (display != 0) m_counters.count(type);
    if (on_console || (display != 0 && has_streams())) {
        compose_display(*message, post.m_dynamic, type, false, text);
        if (!on_console) m_shown = {sid, text};  // for whom the facade tells of it
        text += '\n';
    }
    if (piped) write_whole(stdout, line);
    if (on_console) write_whole(is_error(type) ? stderr : stdout, text);
    if (display != 0) write_to_streams(text, true);
    write_to_logs(type, line);
    return sid;
}

/// The arguments with the long ones reduced; taken out of `dynamic` where that is spent.
std::vector<std::string> msgDbManager::reduced_arguments(std::vector<std::string>& dynamic) const
{
    std::vector<std::string> reduced;
    if (&dynamic == m_spent && std::ranges::all_of(dynamic, stays_whole))
        reduced.swap(dynamic);
    else
        dynamicDataReduction(dynamic, reduced);
    return reduced;
}

/// Keeps a post under the next SID.
msgPosted& msgDbManager::record_post(const dl_Symbol& mid, std::vector<std::string> dynamic,
                                     const std::vector<std::string>& navigation, unsigned int flags,
                                     int display)
{
    if (++m_lastSid == std::numeric_limits<std::int32_t>::max()) m_lastSid = 1;
    msgPosted& post = m_posts->make(m_lastSid, mid);
    post.m_flags = flags;
    post.m_dynamic = std::move(dynamic);
    post.m_navigation.reserve(navigation.size());
    for (const std::string& each : navigation) post.m_navigation.push_back(new dl_Symbol(each.c_str()));
    post.m_display = display;
    return post;
}

bool msgDbManager::has_streams() const
{
    return !m_streams.empty() || !m_utStreams.empty() || !m_logFiles.empty();
}

/// Writes a finished text to the registered streams, and to the files unless these are left out.
void msgDbManager::write_to_streams(const std::string& text, bool with_files)
{
    if (with_files) serve(k_files, m_logFiles, [&](std::FILE& file) { write_whole(&file, text); });
    serve(k_streams, m_streams, [&](std::ostream& stream) {
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    });
    serve(k_ut_streams, m_utStreams, [&](UT_STREAM& stream) {
        if (stream.stackPos() == 0) stream << text.c_str();  // a suspended one takes no messages
    });
}

// ---- the text

/// A message and its template; both null, with a line in the debug channel, for one that is not known.
msgDbManager::worded_message msgDbManager::find_worded(const char* mid)
{
    const msgCache* const message = findMsg(mid);
    if (message == nullptr) debug("message MID=<" + std::string(mid) + "> is not defined");
    const char* const words = message != nullptr ? message->msgString() : nullptr;
    return {words != nullptr ? message : nullptr, words};
}

const char* msgDbManager::composedMessageDisplay(const char* mid, std::vector<std::string>& dynamic,
                                                 std::string& out, int type, bool bare)
{
    const msgCache* const message = findMsg(mid);
    if (message == nullptr) {
        debug("message is not existed in message cache");
        return nullptr;
    }
    compose_display(*message, dynamic, type, bare, out);
    return out.c_str();
}

void msgDbManager::compose_display(const msgCache& message, const std::vector<std::string>& dynamic, int type,
                                   bool bare, std::string& out)
{
    out.clear();
    out.reserve(k_usual_text);
    if (!bare) {
        append_label(out, type != 0 ? type : message.shownType(), message.m_mid, display_format());
    }
    const char* const words = message.msgString();
    ketriope::compose_text(words != nullptr ? words : "", dynamic, out);
    // A text without a label does not ask for the format: it is folded once another has.
    if (known_format.load(std::memory_order_relaxed) >= k_folding_format)
        formatString(std::exchange(out, {}).c_str(), out, k_fold_width);
}

int msgDbManager::formatString(const char* text, std::string& out, int width)
{
    std::string cleaned = text != nullptr ? text : "";
    ut_strcleanstring(cleaned.data());
    short count = 0;
    const int fitting = std::clamp<int>(width, 0, std::numeric_limits<short>::max());
    char** const lines = ut_strbreakstring(cleaned.c_str(), static_cast<short>(fitting), &count,
                                           ketriope::hanging_indent(cleaned));
    out.clear();
    for (short i = 0; i < count; ++i) out.append(lines[i]).append(1, '\n');
    ut_strdelstrings(lines, count);
    return static_cast<int>(out.size());
}

// ---- text of the legacy manager

int msgDbManager::postUtMsgMgr(eMessage_Type type, const char* text, int newline)
{
    if (text == nullptr) {
        debug("msgDbManager::postUtMsgMgr msgString==0");
        return 0;
    }
    int kept_type = type;
    const char* const mid = bridge_of(kept_type);
    std::string whole = text;
    const std::string line = type == MSG_STATUS && newline == 0 ? whole : whole + "\n";
    int sid = -1;
    msgCallback callback = nullptr;
    {
        const ketriope::section_guard section(ketriope::message_section());
        if (mid != k_other_mid) sid = record_post(mid, {unlabelled(whole)}, {}, 0, 0).m_sid;
        callback = m_callback;
        if (shows_on_console()) write_whole(type == MSG_STATUS ? stdout : stderr, line);
    }
    std::exception_ptr thrown;  // goes on when the streams and logs have got their line
    if (callback != nullptr) {  // outside of the section, so that it may post
        std::vector<std::string> dynamic;
        std::vector<std::string> navigation;
        try {
            callback(sid, mid, static_cast<eMessage_Type>(kept_type), whole, dynamic, navigation);
        } catch (...) {
            thrown = std::current_exception();
        }
    }
    {
        const ketriope::section_guard section(ketriope::message_section());
        const std::string log = has_log_for(kept_type) ? log_line(mid, kept_type, {text}, {}) : "";
        write_to_streams(line, false);
        write_to_logs(kept_type, log);
    }
    if (thrown) std::rethrow_exception(thrown);
    return sid;
}

/// The text behind a leading label of the legacy manager; the whole where there is none.
std::string msgDbManager::unlabelled(const std::string& text)
{
    const auto same = [](char a, char b) { return a == ketriope::to_upper(b); };
    for (const std::string_view label : {"WARNING - ", "ERROR - ", "INFO - "})
        if (text.size() >= label.size() && std::equal(label.begin(), label.end(), text.begin(), same))
            return text.substr(label.size());
    debug("unexpected message type");
    return text;
}

// ---- operations of an older generation

int msgDbManager::postMsg(eMessage_Type type, const char* text)
{
    write_whole(stdout,
                "obsoleted function msgDbManager::postMsg  (eMsgType msgType, const char* msgString)\n");
    std::string words = text != nullptr ? text : "";
    if (m_callback != nullptr) {
        std::vector<std::string> dynamic;
        std::vector<std::string> navigation;
        m_callback(-1, k_obsolete_mid, type, words, dynamic, navigation);
    } else if (m_postFunction != nullptr) {
        m_postFunction(-1, type, words);
    } else {
        write_whole((type & MSG_ERROR) != 0 ? stderr : stdout, words + "\n");
    }
    return -1;
}

int msgDbManager::postMsg(const char*, const char*, const char*, const char*, const char*, const char*,
                          std::vector<std::string>*)
{
    write_whole(stdout, "obsoleted function msgDbManager::postMsg 5\n");
    return -1;
}

// ---- error status

void msgDbManager::postErrorStatus(const char* mid, std::vector<std::string>& dynamic,
                                   std::vector<std::string>& navigation)
{
    try {
        if (!m_errorStatus) m_errorStatus = std::make_shared<msgPosted>();
    } catch (const std::bad_alloc&) {
        return debug("fails to allocate memeory space");
    }
    delete std::exchange(m_errorStatus->m_msgSymId_sym, new dl_Symbol(mid));
    m_errorStatus->m_dynamic = dynamic;
    // Entries are replaced where there are some, and none are added: a status has none to begin with.
    auto& kept = m_errorStatus->m_navigation;
    for (std::size_t i = 0; i < std::min(kept.size(), navigation.size()); ++i)
        *kept[i] = navigation[i].c_str();
}

int msgDbManager::findErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                                  std::vector<std::string>& navigation)
{
    mid.clear();
    dynamic.clear();
    navigation.clear();
    if (!m_errorStatus) return 0;
    if (m_errorStatus->m_msgSymId_sym != nullptr) mid = m_errorStatus->m_msgSymId_sym->c_str();
    dynamic = m_errorStatus->m_dynamic;
    for (const dl_Symbol* each : m_errorStatus->m_navigation) navigation.emplace_back(each->c_str());
    return static_cast<int>(mid.size());
}

void msgDbManager::resetErrorStatus()
{
    if (!m_errorStatus) return;
    delete std::exchange(m_errorStatus->m_msgSymId_sym, nullptr);
    m_errorStatus->m_dynamic.clear();
    for (dl_Symbol* each : m_errorStatus->m_navigation) delete each;
    m_errorStatus->m_navigation.clear();
}

// ---- call-backs

void msgDbManager::setCallbackMsgFun(msgCallback function)
{
    if (m_callback != nullptr) debug("existing callback function will be overwritten");
    m_callback = function;
}

/// The place of the call-back of a type; null for a type that has none.
msgTypeCallback* msgDbManager::type_callback(int type)
{
    const ketriope::message_type* const row = ketriope::counted_type(type);
    return row != nullptr ? &m_typeCallbacks[row - ketriope::k_message_types] : nullptr;
}

void msgDbManager::setCallbackMsgFun(msgTypeCallback function, eMessage_Type type)
{
    msgTypeCallback* const place = type_callback(type);
    if (place == nullptr) return;
    if (*place != nullptr) debug("existing callback function will be overwritten");
    *place = function;
}

msgTypeCallback msgDbManager::exchangeTypeCallback(eMessage_Type type, msgTypeCallback function)
{
    msgTypeCallback* const place = type_callback(type);
    return place != nullptr ? std::exchange(*place, function) : nullptr;
}

msgTypeCallback msgDbManager::findCallbackMsgFun(eMessage_Type type)
{
    const msgTypeCallback* const place = type_callback(type);
    return place != nullptr ? *place : nullptr;
}

void msgDbManager::setPostMsgFun(msgPostFunction function)
{
    if (m_postFunction != nullptr) debug("existing destination function will be overwritten");
    m_postFunction = function;
}

// ---- posted records

msgPosted* msgDbManager::retrieveMsgPosted(int sid)
{
    return m_posts->find(sid);
}

int msgDbManager::retrieveAllMsgPosted(std::vector<int>& sids)
{
    sids.clear();
    m_posts->for_each([&](const msgPosted& post) { sids.push_back(post.m_sid); });
    return static_cast<int>(sids.size());
}

void msgDbManager::resetMsgBuffer(eMessage_Type types)
{
    if (types == MSG_ALL) return m_posts->clear();
    m_posts->erase_if([&](const msgPosted& post) {
        const dl_Symbol* const mid = post.m_msgSymId_sym;
        const msgCache* const message = mid != nullptr ? findMsg(mid->c_str()) : nullptr;
        if (message == nullptr) return false;
        const char* const name = ketriope::name_of_type(message->shownType());
        const ketriope::message_type* const row = ketriope::type_by_letter(*name);
        return row != nullptr && (types & row->type) != 0;
    });
}

// ---- arguments

int mergeDynamicInfo(std::vector<std::string>& args, std::string& out)
{
    out.clear();
    for (const std::string& each : args) out.append(1, ' ').append(each);
    return static_cast<int>(out.size());
}

int dynamicDataReduction(std::vector<std::string>& in, std::vector<std::string>& out)
{
    constexpr std::size_t k_head = 325;
    constexpr std::size_t k_tail = 165;
    out.clear();
    out.reserve(in.size());
    for (const std::string& each : in) {
        if (each.size() > k_longest_argument)
            out.push_back(each.substr(0, k_head) + "   ....   " + each.substr(each.size() - k_tail));
        else
            out.emplace_back(each.c_str());  // up to its first NUL
    }
    return 1;
}
