// msgbridge.cpp
#include "msgbridge.h"

#include <cstdlib>

#include "msgterminate.h"
#include "startup.h"
#include "utmsgmanager.h"

namespace ketriope {
namespace {

class bridge final : public message_database {
public:
    void post_contract(const char* module, int line, const char* text) override
    {
        msgManager messages("common");
        messages.postErrorStatus("0000", module, line, text);
    }
    void post_numbered(const char* category, const char* number, ut_va_list arguments) override
    {
        msgManager messages(category);
        messages.postMsgVaList(number, arguments);
    }
    void post_text(const char* mid, const char* text) override
    {
        msgManager messages;
        const int sid = messages.postMsg(std::atoi(mid), text);
        // An installation may lack the file alone. A tool that cannot start says why even so.
        if (sid == 0 && starting_up()) msg_throw(-1);
    }
    void post_finished(int severity, const char* text) override
    {
        msgManager messages;
        messages.postUtMsgMgr(static_cast<eMessage_Type>(severity), text, 1);
    }
    void show_types(int severities, bool on) override
    {
        msgManager messages;
        if (on)
            messages.enableMsgType(severities);
        else
            messages.disableMsgType(severities);
    }
};

constinit bridge the_bridge;

}  // namespace

message_database& message_bridge() noexcept
{
    return the_bridge;
}

}  // namespace ketriope
