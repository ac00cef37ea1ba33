// ketriope_storage_child <file>: writes a file in blocks and flushes it after each line.
#include "basutfile.h"
#include "basutstream.h"

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    UT_STREAM* const out = ut_file.open(argv[1], UT_ACCESS_WRITE | UT_ACCESS_GCA, 1);
    if (out == nullptr) return 1;
    for (const char* line : {"first\n", "second\n", "third\n"}) {
        for (const char* c = line; *c != '\0'; ++c) out->write(*c);
        out->flush();
    }
    return ut_file.close(out) != 0 ? 0 : 1;
}
