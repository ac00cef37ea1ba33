// utmsglog.cpp: the XML logs of the message database, its registered streams, and its debug channel.
#include "utmsgdbmanager.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "environment.h"
#include "msgdebug.h"
#include "platform.h"

namespace {

/// The type of a post line. Status, and all that has no name here, ends in a blank: readers of logs know it.
const char* quoted_type(int type)
{
    switch (type) {
    case MSG_ERROR:
    case MSG_UT_ERROR:
    case MSG_UT_FATAL:
    case MSG_UT_INTERNAL: return "\"Error\"";
    case MSG_CRITICAL: return "\"Critical\"";
    case MSG_WARNING: return "\"Warning\"";
    case MSG_INFO: return "\"Info\"";
    case MSG_DEBUG: return "\"Debug\"";
    default: return "\"Status\" ";
    }
}

void append_escaped(std::string& out, std::string_view text)
{
    constexpr std::string_view k_special = "\t\n\"&'<>";
    constexpr std::string_view k_escapes[] = {"&#x9;", "&#xA;", "&quot;", "&amp;", "&apos;", "&lt;", "&gt;"};
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find_first_of(k_special), text.size());
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) return;
        out.append(k_escapes[k_special.find(text[0])]);
        text.remove_prefix(1);
    }
}

void append_argument(std::string& out, std::size_t index, std::string_view text)
{
    out.append("arg").append(std::to_string(index)).append("=\"");
    append_escaped(out, text);
    out.append("\" ");
}

/// Takes the first `entry` off a list; false if it is not there.
template <class T>
bool take_off(std::vector<T*>& list, const T* entry)
{
    const auto found = std::ranges::find(list, entry);
    if (found == list.end()) return false;
    list.erase(found);
    return true;
}

/// The name of the debug file, in the first of the directories that the environment tells.
std::string debug_file_name()
{
    std::string directory = ".";
    for (const char* name : {"temp", "tmp", "TEMP", "TMP"}) {
        if (const char* value = ketriope::platform::os().environment(name)) {
            directory = value;
            break;
        }
    }
    return directory + ketriope::platform::k_separator + "qvs_msgmgr_debug.txt";
}

}  // namespace

// ---- logs

unsigned int msgDbManager::startMsgLogFile(const char* path, eMessage_Type mask)
{
    std::FILE* const file = path != nullptr ? ketriope::platform::os().open_stream(path, "w") : nullptr;
    if (file == nullptr) {
        std::vector<std::string> dynamic{path != nullptr ? path : ""};
        std::vector<std::string> navigation;
        // A number without its file half: this has only ever reached the debug channel.
        postMsg("0003", dynamic, navigation, 0);
        return 0;
    }
    auto log = std::make_shared<logFileCache>();
    log->m_name = path;
    log->m_file = file;
    log->m_types = mask;
    std::string version;
    std::string date;
    dl_Environment environment;
    environment.findVersion(version);
    environment.findLocalTime(date, nullptr);
    std::fprintf(file,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<messageLogFile name=\"%s\" version=\"%s\" date=\"%s\" "
                 "vendor=\"Velmora Semiconductor Corporation\" >\n"
                 "  <postMsgs>\n",
                 path, version.c_str(), date.c_str());
    std::fflush(file);
    const unsigned int id = log->m_id;
    m_logs[id] = std::move(log);
    return id;
}

void msgDbManager::finishMsgLogFile(unsigned int id)
{
    const auto found = m_logs.find(id);
    if (found == m_logs.end()) return;
    found->second->finish();
    m_logs.erase(found);
}

void msgDbManager::forceClosed()
{
    for (auto& [id, log] : m_logs) log->finish();
    m_logs.clear();
}

/// The line of a post. An argument ends at its first NUL there, as there is no way to write one.
std::string msgDbManager::log_line(const char* mid, int type, const std::vector<std::string>& dynamic,
                                   const std::vector<dl_Symbol*>& navigation)
{
    std::string line = "    <postMsg mid=\"";
    line.append(mid).append("\" type=").append(quoted_type(type));
    line.append(" dynamic=\"").append(std::to_string(dynamic.size()));
    line.append("\" navigation=\"").append(std::to_string(navigation.size())).append("\" ");
    std::size_t index = 0;
    for (const std::string& each : dynamic) append_argument(line, index++, each.c_str());
    for (const dl_Symbol* each : navigation) append_argument(line, index++, each->c_str());
    return line.append(" />\n");
}

bool msgDbManager::has_log_for(int type) const
{
    return std::ranges::any_of(m_logs, [&](const auto& each) { return (each.second->m_types & type) != 0; });
}

void msgDbManager::write_to_logs(int type, const std::string& line)
{
    if (line.empty()) return;
    for (const auto& [id, log] : m_logs) {
        if ((log->m_types & type) == 0 || log->m_file == nullptr) continue;  // finished by a copy of us
        std::fwrite(line.data(), 1, line.size(), log->m_file);
        std::fflush(log->m_file);
    }
}

// ---- registered streams and files

void msgDbManager::addstream(std::ostream& stream)
{
    if (&stream != &std::cout) m_streams.push_back(&stream);
}

void msgDbManager::delstream(std::ostream& stream)
{
    if (!take_off(m_streams, &stream)) debug("cannot locate caller provided ostream");
}

void msgDbManager::addUTstream(void* stream)
{
    if (stream != nullptr) m_utStreams.push_back(static_cast<UT_STREAM*>(stream));
}

void msgDbManager::delUTstream(void* stream)
{
    if (!take_off(m_utStreams, static_cast<UT_STREAM*>(stream)))
        debug("cannot locate caller provided UT_STREAM");
}

void msgDbManager::addMsgLogFile(std::FILE* file)
{
    if (file != nullptr) m_logFiles.push_back(file);
}

void msgDbManager::delMsgLogFile(std::FILE* file)
{
    if (!take_off(m_logFiles, file)) debug("cannot locate caller provided FILE*");
}

// ---- the debug channel

namespace {

constexpr int k_unread = 0;
constexpr int k_console = 1;
constexpr int k_console_and_file = 2;
constexpr int k_silent = 3;

constinit std::atomic<int> debug_mode{k_unread};

std::atomic_ref<std::FILE*> debug_file()
{
    return std::atomic_ref<std::FILE*>(msgDbManager::g_debugFile);
}

/// Where the lines go. A variable of 0 settles nothing, and is read again at each call.
int settled_mode()
{
    int mode = k_unread;
    // Who comes first reads it; to all others the channel is silent until that is done.
    if (!debug_mode.compare_exchange_strong(mode, k_silent)) return mode;
    const char* const asked = ketriope::platform::os().environment("QVS_MSGMGR_DEBUG");
    if (asked == nullptr) return k_silent;
    mode = std::atoi(asked);
    if (mode == k_console_and_file && debug_file().load() == nullptr)
        debug_file().store(ketriope::platform::os().open_stream(debug_file_name().c_str(), "w"));
    debug_mode = mode;
    return mode;
}

}  // namespace

bool ketriope::debug_channel_listens() noexcept
{
    const int mode = debug_mode.load(std::memory_order_relaxed);
    return (mode >= k_unread && mode < k_silent) || debug_file().load(std::memory_order_relaxed) != nullptr;
}

void ketriope::write_debug_line(const char* text, const char* file, int line)
{
    const int mode = settled_mode();
    if (std::FILE* const out = debug_file().load()) {
        std::fprintf(out, "%s <%s:%d>\n", text, file, line);
        std::fflush(out);
    }
    if (mode == k_console || mode == k_console_and_file) {
        std::printf("%s\n", text);
        std::fflush(stdout);
    }
}

void msgDbManager::postDebugMsg(const char* text, const char* file, int line)
{
    ketriope::write_debug_line(text, file, line);
}
