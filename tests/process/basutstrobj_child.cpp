// tests/process/basutstrobj_child.cpp: formats text before main, and when its thread's objects are gone.
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "basutstrobj.h"

namespace {

void show(const char* when, int number, const char* word)
{
    const UT_STROBJ text("%d %s %.2f", number, word, number + 0.5);
    std::printf("%s: %s\n", when, text.getstring(true));
    std::fflush(stdout);
}

/// Ends after everything that is made later in its thread.
struct speaks_at_its_end {
    const char* when;
    int number;
    const char* word;
    ~speaks_at_its_end() { show(when, number, word); }
};

const speaks_at_its_end at_the_very_end{"static destructor", 5, "five"};
const bool spoken = (show("static constructor", 1, "one"), true);

/// The speaker is made before the objects that its words need, so it ends after them.
void speak_in_a_thread()
{
    thread_local const speaks_at_its_end at_thread_end{"end of a thread", 3, "three"};
    if (at_thread_end.number == 3) (void)UT_STROBJ("%d", 0).getstring(true);
}

}  // namespace

int main()
{
    std::atexit([] { show("exit handler", 4, "four"); });
    show("main", 2, "two");
    std::thread(speak_in_a_thread).join();
    return spoken ? 0 : 1;
}
