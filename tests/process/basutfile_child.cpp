// tests/process/basutfile_child.cpp: a tool that uses the file manager of the process.
//
// Arguments: what to do, and the names it needs.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "basutfile.h"
#include "basutstream.h"

namespace {

/// Opens a file, writes to it and leaves it open.
void leave_open(const std::string& name)
{
    UT_STREAM* stream = ut_file.open(name.c_str(), UT_ACCESS_WRITE, 1);
    if (stream != nullptr) stream->writeline(name.c_str());
}

/// Works when the library has ended already, since it was loaded before this object was made.
struct late_object {
    std::string name;
    ~late_object()
    {
        if (name.empty()) return;
        UT_STREAM* stream = ut_file.open(name.c_str(), UT_ACCESS_WRITE, 1);
        stream->writeline("late");
        std::printf("closed late: %d\n", ut_file.close(stream));
        std::fflush(stdout);
    }
};
late_object late;

void open_too_many(const std::string& name)
{
    leave_open(name);
    for (int i = 1; i <= 30; ++i) {
        UT_STREAM* stream = ut_file.open(name.c_str(), UT_ACCESS_READ, 0);
        if (stream == nullptr) std::printf("refused after %d\n", i);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string& task = arguments[0];
    const std::vector<std::string> names(arguments.begin() + 1, arguments.end());
    if (task == "leave open" || task == "exit")
        for (const std::string& name : names) leave_open(name);
    if (task == "temporary")
        for (const std::string& name : names) ut_file.addtmpnam(name.c_str());
    if (task == "late") late.name = names[0];
    if (task == "too many") open_too_many(names[0]);
    if (task == "exit") std::exit(3);
    std::puts("ran");
    return 0;
}
