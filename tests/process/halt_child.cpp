// tests/process/halt_child.cpp: polls, as its argument says, until the end that its handler asks for.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "halt.h"

namespace {

void stop()
{
    std::puts("handler");
    ut_haltobj.sethaltvalue(1);
}

/// Keeps the handler before main and before the library's own globals may count on theirs.
const bool set_early = (ut_haltobj.sethandler(stop), ut_haltobj.setnotify(), true);

void poll_with_input_waiting()
{
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[0], STDIN_FILENO) < 0 || ::write(ends[1], "typed\n", 6) != 6) return;
    ::close(ends[1]);
    ut_haltobj.sethandler(nullptr);
    ut_halted();
    char line[20] = "";
    if (std::fgets(line, sizeof line, stdin) != nullptr) std::fputs(line, stdout);
}

}  // namespace

int main(int, char** argv)
{
    const std::string poll = argv[1];
    if (poll == "input") return poll_with_input_waiting(), 0;
    std::atexit([] { std::puts("normal end"); });
    if (poll == "checkhalt") ut_haltobj.checkhalt();
    if (poll == "checkhalt_pl") ut_haltobj.checkhalt_pl();
    if (poll == "ut_halted") ut_halted();
    return set_early ? 3 : 4;
}
