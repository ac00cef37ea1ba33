// longest: shows the longest line of a file, packed or plain, with its length in front.
#include <ketriope.h>

int main(int argc, char** argv)
{
    ut_msgman->setprogname("longest");
    UT_STREAM* in = argc == 2 ? ut_file.open(argv[1], UT_ACCESS_READ, 0) : nullptr;
    if (in == nullptr) {
        ut_error("Give me one file that I can read.");
        return 2;
    }
    UT_STROBJ line, longest;
    while (!in->geteof()) {
        line.read_line(*in, '\n');
        if (line.length() > longest.length()) longest = line;  // shares the text, copies nothing
    }
    ut_file.close(in);
    ut_status(zeoform("%d: %s", static_cast<int>(longest.length()), longest.getstring()));
}
