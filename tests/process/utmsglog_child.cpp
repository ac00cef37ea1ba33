// tests/process/utmsglog_child.cpp: what a process sees of logs and the debug channel once in its life.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <fcntl.h>

#include "utmsgmanager.h"

namespace {

void write_debug_lines(const char*)
{
    msgManager messages;
    messages.postDebugMsg("first", "a", 1);
    const char* const mode = std::getenv("QVS_MSGMGR_DEBUG");
    if (mode != nullptr && std::atoi(mode) == 0) ::setenv("QVS_MSGMGR_DEBUG", "1", 1);
    messages.postDebugMsg("second", "b", 22);
}

/// Descriptors that a child process would inherit.
int inherited()
{
    int count = 0;
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        const int flags = ::fcntl(descriptor, F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++count;
    }
    return count;
}

void start_first_log(const char* path)
{
    const int before = inherited();
    msgManager messages;
    std::printf("handle %u\n", messages.startMsgLogFile(path, MSG_ALL));
    messages.postDebugMsg("opens the file", "a", 1);
    const bool opened = msgDbManager::g_debugFile != nullptr;
    std::printf("closed in children: %s\n", opened && inherited() == before ? "yes" : "no");
}

void post_and_die(const char* path)
{
    msgManager messages("tool");
    messages.startMsgLogFile(path, MSG_ALL);
    for (int i = 0; i < 100; ++i) messages.postMsg("0016", i);
    std::raise(SIGKILL);
}

const std::map<std::string, void (*)(const char*)> k_scenarios{
    {"debug", write_debug_lines},
    {"first", start_first_log},
    {"killed", post_and_die},
};

}  // namespace

int main(int, char** argv)
{
    k_scenarios.at(argv[1])(argv[2]);
    return 0;
}
