// msgterminate.cpp
#include "msgterminate.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "msgsection.h"
#include "platform.h"
#include "startup.h"
#include "utmsgmanager.h"
#include "utproduct.h"

namespace {

constexpr int k_exit_value = 999;
constexpr const char* k_own_mid = "0000000";  ///< its words are the first argument, not a template

/// What is known of the failure.
struct failure {
    std::string mid;
    std::string text;
};

failure find_failure()
{
    failure found;
    std::vector<std::string> dynamic;
    std::vector<std::string> navigation;
    msgManager messages;
    if (messages.findErrorStatus(found.mid, dynamic, navigation) != 0) {
        if (found.mid != k_own_mid)
            messages.queryMsgDisplayString(found.mid.c_str(), dynamic, found.text, 0, false);
        else if (!dynamic.empty())
            found.text = dynamic.front();
        return found;
    }
    std::string name;
    const int sid = messages.retrieveLatestMsgPosted();
    if (sid != 0 && messages.retrieveMsgType(sid, name) == MSG_ERROR) messages.retrieveMsgID(sid, found.mid);
    return found;
}

/// Looking for it may load message files, and fail in turn; then that failure is what there is to tell.
failure find_failure_safely()
{
    const ketriope::section_lock section = ketriope::section_in_time();
    if (!section) return {};  // a thread is stuck in it, and would keep us, too
    for (int tries = 0; tries < 2; ++tries) {
        try {
            return find_failure();
        } catch (...) {
        }
    }
    return {};
}

void report(const failure& what, const std::string& dump)
{
    std::fputs("\n\nException Condition", stdout);
    if (!what.mid.empty()) std::printf(" ID=%s", what.mid.c_str());
    if (!dump.empty())
        std::printf(": core file %s is generated", dump.c_str());
    else
        std::fputs(": process is terminated", stdout);
    if (!what.text.empty()) std::printf("\n%s", what.text.c_str());
    std::printf("\nFor support, contact %s technical support\n\tat %s\n\t%s\n", ketriope::k_vendor,
                ketriope::k_support_phones, ketriope::k_support_mail);
    std::fflush(stdout);
    std::fflush(stderr);
}

}  // namespace

namespace {

constinit std::terminate_handler handler_before = nullptr;

/// Code that was unloaded must not be called. This runs in front of the destructors of our static objects
/// when the library is unloaded, and behind them at the end of the process, which keeps its handler: other
/// threads may still fail.
[[gnu::destructor]] void give_uncaught_exceptions_back() noexcept
{
    if (ketriope::exit_has_begun() || handler_before == nullptr) return;
    if (std::get_terminate() == msg_terminate) std::set_terminate(handler_before);
}

}  // namespace

void ketriope::take_uncaught_exceptions() noexcept
{
    if (std::get_terminate() != msg_terminate) handler_before = std::set_terminate(msg_terminate);
}

void msg_throw(int code)
{
    throw code;
}

int msgCreateMiniDump(std::string& path)
{
    const auto& os = ketriope::platform::os();
    std::string name;
    if (!os.temporary_directory(name)) name = ".\\";
    name += "qvs_zirvane_" + std::to_string(os.process_number()) + ".dmp";
    if (!os.write_crash_dump(name.c_str())) return 0;
    path = name;
    return 1;
}

void msg_terminate()
{
    const failure what = find_failure_safely();
    std::string dump;
    if (msgCreateMiniDump(dump) == 0) dump.clear();
    report(what, dump);
    msgManager::endMessages();
    ketriope::leave_process(k_exit_value);
    std::abort();  // not reached: the process has ended
}
