// tests/process/first_message_child.cpp: two threads make the first object of the message database at once.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

#include "utmsgmanager.h"

namespace {

std::atomic<int> ready = 0;

struct first_post {
    msgDbManager* database = nullptr;
    int sid = 0;

    void run()
    {
        for (++ready; ready < 2;) {}
        msgManager messages("common");
        database = msgDbManager::findUniqueDbManager();
        sid = messages.postMsg("9990", "x");
    }
};

}  // namespace

int main()
{
    first_post a;
    first_post b;
    std::thread first([&] { a.run(); });
    std::thread second([&] { b.run(); });
    first.join();
    second.join();
    if (a.database != nullptr && a.database == b.database && msgManager::m_initialized == 1)
        std::puts("one database, started once");
    std::printf("serial numbers %d and %d\n", std::min(a.sid, b.sid), std::max(a.sid, b.sid));
    return 0;
}
