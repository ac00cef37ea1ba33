// tests/process/foundry_child.cpp: prints what the installation's free functions answer.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundry.h"

namespace {

void print(const char* text)
{
    std::puts(text != nullptr ? text : "(null)");
}

void print_version()
{
    std::string version = "old";
    const int length = ut_get_version_information(version);
    std::printf("%s (%d)\n", version.c_str(), length);
}

}  // namespace

int main(int, char** argv)
{
    const std::string asked = argv[1];
    if (asked == "version") print_version();
    if (asked == "version twice") {
        print_version();
        ::setenv("FOUNDRY", "/somewhere/else", 1);
        print_version();
    }
    if (asked == "root") print(UT_FOUNDRY::getFoundry(0));
    if (asked == "check") print(UT_FOUNDRY::getFoundry(1));
    return 0;
}
