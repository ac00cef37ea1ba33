// tests/process/ketriope_log_child.cpp: a run that writes a message log, and ends as it is told.
#include <csignal>
#include <string>

#include "utmsgmanager.h"

/// <log> <posts> [kill]
int main(int argc, char** argv)
{
    msgManager messages("framework");
    messages.disableMsgType(MSG_ALL);  // the log takes them all the same
    messages.startMsgLogFile(argv[1], MSG_ALL);
    const int posts = std::stoi(argv[2]);
    for (int i = 0; i < posts; ++i) {
        messages.postMsg("1412", i, 0, "a \"b\" <c> & 'd'\n\te.net");
        if (i % 10 == 0) messages.postMsg("1105", "x.v");
    }
    if (argc > 3) std::raise(SIGKILL);
    return 0;
}
