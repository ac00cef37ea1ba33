// tests/process/basutform_child.cpp: formats text at every time of a program's life.
#include <cstdio>
#include <cstdlib>

#include "basutform.h"
#include "basutstr.h"

namespace {

void show(const char* when, int number)
{
    std::printf("%s %s %s\n", when, zeoform("%d", number), ut_strdecode("plain"));
}

struct early_and_late {
    early_and_late() { show("constructor", 1); }
    ~early_and_late() { show("destructor", 5); }
};

/// Made before the rings of the thread, and so ended after them.
struct outlives_the_rings {
    int number = 0;
    ~outlives_the_rings() { show("thread object", number); }
};

thread_local outlives_the_rings thread_object;
const early_and_late global;

}  // namespace

int main()
{
    thread_object.number = 3;
    std::atexit([] { show("exit handler", 4); });
    show("main", 2);
    return 0;
}
