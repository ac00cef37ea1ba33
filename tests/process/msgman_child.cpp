// tests/process/msgman_child.cpp: ends, or does not, as its argument says.
#include <cstdio>
#include <map>
#include <string>

#include "msgman.h"

namespace {

void dump_memory()
{
    ut_dumpmem("here");
    ut_dumpmem(nullptr);
    ut_dumpmem("again");
}

void fatal_by_user()
{
    ut_userfatal("u", 5);
    std::puts("back");
}

const std::map<std::string, void (*)()> k_scenarios{
    {"error", [] { ut_error("x"); }},
    {"fatal", [] { ut_msgman->fatal("dead", "p", "m", 1, "r", 42, 0); }},
    {"userfatal", [] { ut_userfatal("u"); }},
    {"userfatal5", fatal_by_user},
    {"c_userfatal", [] { ut_c_userfatal("u"); }},
    {"dumpmem", dump_memory},
    {"flow", [] { std::printf("%d\n", UT_MSGMAN::m_msgFlow); }},
};

}  // namespace

int main(int, char** argv)
{
    k_scenarios.at(argv[1])();
    return 0;
}
