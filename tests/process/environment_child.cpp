// tests/process/environment_child.cpp: prints what the environment of the process answers.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "environment.h"

namespace {

void print_version(dl_Environment& environment)
{
    std::string whole;
    std::string major;
    std::string minor;
    std::string build;
    std::string patch;
    environment.findVersion(whole);
    environment.findVersion(major, minor, build, patch);
    std::printf("%s|%s|%s|%s|%s\n", whole.c_str(), major.c_str(), minor.c_str(), build.c_str(),
                patch.c_str());
}

void print_version_twice(dl_Environment& environment, const char* file)
{
    print_version(environment);
    std::ofstream(file) << "MajorVersion=99\nPatchNumber=99\n";
    dl_Environment other;
    print_version(other);
}

void print_roots(dl_Environment& environment)
{
    std::printf("%s %s\n", environment.findFoundry(), environment.findInstallationRoot());
    ::setenv("FOUNDRY", "/later", 1);
    std::printf("%s %s\n", environment.findFoundry(), environment.findInstallationRoot());
}

void print_overflow(dl_Environment& environment)
{
    std::string out;
    environment.format(out, "%s", std::string(1024, 'x').c_str());
    std::puts("not reached");
}

}  // namespace

int main(int count, char** argv)
{
    const std::string asked = argv[1];
    dl_Environment environment;
    if (asked == "version") print_version(environment);
    if (asked == "version twice" && count > 2) print_version_twice(environment, argv[2]);
    if (asked == "roots") print_roots(environment);
    if (asked == "overflow") print_overflow(environment);
    return 0;
}
