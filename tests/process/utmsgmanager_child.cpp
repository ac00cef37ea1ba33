// tests/process/utmsgmanager_child.cpp: messages of a process that reads its environment once, and ends.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "utmsgmanager.h"

namespace {

const char* log_path = nullptr;

void post_warning()
{
    msgManager("tool").postMsg("0004", "x");
}

void post_types()
{
    msgManager tool("tool");
    for (const char* uid : {"0001", "0002", "0004", "0008", "0016", "0256", "0099"}) tool.postMsg(uid, "x");
}

void post_long()
{
    std::string words = "word";
    for (int i = 0; i < 19; ++i) words += " word";
    msgManager("tool").postMsg("0008", words.c_str());
}

void change_format()
{
    msgManager tool("tool");
    tool.postMsg("0004", "a");
    ::setenv("QVS_MSGMGR_FORMAT", "1", 1);
    tool.postMsg("0004", "b");
}

void compose_bare()
{
    msgManager tool("tool");
    std::vector<std::string> dynamic{"x"};
    std::string text;
    tool.queryMsgDisplayString("0004", dynamic, text, 0, true);
    std::printf("[%s]", text.c_str());
    tool.queryMsgDisplayString("0004", dynamic, text, 0, false);
    tool.queryMsgDisplayString("0004", dynamic, text, 0, true);
    std::printf("[%s]", text.c_str());
}

void post_to_log()
{
    msgManager tool("tool");
    tool.startMsgLogFile(log_path, MSG_ALL);
    tool.postMsg("0008", "x");
}

/// Posts when all exit handlers of the library have run.
void post_late()
{
    static const struct late {
        ~late() { msgManager("tool").postMsg("0008", "late"); }
    } at_the_end;
    msgManager tool("tool");
    tool.startMsgLogFile(log_path, MSG_ALL);
    tool.postMsg("0008", "early");
}

void start_at_once()
{
    std::atomic<int> waiting = 0;
    std::atomic<msgDbManager*> seen[8] = {};
    std::atomic<int> sids[8] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            ++waiting;
            while (waiting < 8) std::this_thread::yield();
            msgManager tool("tool");
            tool.setPostMsgFun([](int, eMessage_Type, std::string&) { return 0; });
            sids[i] = tool.postMsg("0008", "x");
            seen[i] = msgDbManager::findUniqueDbManager();
        });
    for (std::thread& each : threads) each.join();
    std::printf("databases %zu sids %zu\n", std::set<msgDbManager*>(std::begin(seen), std::end(seen)).size(),
                std::set<int>(std::begin(sids), std::end(sids)).size());
}

void exit_while_posting()
{
    msgManager tool("tool");
    tool.startMsgLogFile(log_path, MSG_ALL);
    static std::atomic<int> posted = 0;
    for (int i = 0; i < 4; ++i)
        std::thread([] {
            msgManager own("tool");
            for (;;) {
                own.postMsg("0008", "x");
                ++posted;
            }
        }).detach();
    while (posted < 100) ::usleep(100);
    std::exit(3);
}

const std::map<std::string, void (*)()> k_scenarios{
    {"warning", post_warning}, {"types", post_types},   {"long", post_long},
    {"change", change_format}, {"bare", compose_bare},  {"log", post_to_log},
    {"late", post_late},       {"race", start_at_once}, {"exit", exit_while_posting},
};

}  // namespace

int main(int, char** argv)
{
    log_path = argv[2];
    k_scenarios.at(argv[1])();
    return 0;
}
