// ketriope_storage_child <file> [<indexed>]: writes a file in blocks and flushes it after each line, and an
// indexed file.
#include <string>

#include "basutfile.h"
#include "basutifile.h"
#include "basutstream.h"

namespace {

bool put(UT_IFILE& file, const char* name, long type, long data, const std::string& content)
{
    UT_STREAM* const out = file.putdataseg(name, type, data);
    if (out == nullptr) return false;
    out->write(reinterpret_cast<const unsigned char*>(content.data()), static_cast<int>(content.size()));
    return file.enddataseg() != 0;
}

bool write_indexed(const char* name)
{
    UT_IFILE file;
    if (file.create(name) == 0) return false;
    file.setdataversion(7);
    file.setdatarevision(3);
    return put(file, "head", 1, -1, "HEAD.") && put(file, "", 20, 0, "") &&
           put(file, "a name\nof two lines", 300, 4'000, std::string(1'000, 'x')) && file.unload() != 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    if (argc > 2 && !write_indexed(argv[2])) return 1;
    UT_STREAM* const out = ut_file.open(argv[1], UT_ACCESS_WRITE | UT_ACCESS_GCA, 1);
    if (out == nullptr) return 1;
    for (const char* line : {"first\n", "second\n", "third\n"}) {
        for (const char* c = line; *c != '\0'; ++c) out->write(*c);
        out->flush();
    }
    return ut_file.close(out) != 0 ? 0 : 1;
}
