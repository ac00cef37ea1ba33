// A tool of somebody else's, built from nothing but what is installed. What it prints is in expected.txt.
#include <ketriope.h>

#include <cstdio>
#include <string>

namespace {

/// An int that the library throws is caught on this side of its border.
int caught_across_the_border(int thrown)
{
    try {
        msg_throw(thrown);
    } catch (int code) {
        return code;
    }
}

/// Writes a file, reads it back, and gives its only line.
UT_STROBJ line_through_a_file(const char* text)
{
    const std::string name = ut_file.tmpnam(nullptr);
    UT_STREAM* out = ut_file.open(name.c_str(), UT_ACCESS_WRITE, 1);
    if (out == nullptr) return "";
    *out << text << 42 << std::endl;
    ut_file.close(out);

    UT_STREAM* in = ut_file.open(name.c_str(), UT_ACCESS_READ, 0);
    if (in == nullptr) return "";
    char line[64];
    in->readline(line, sizeof line);
    ut_file.close(in);
    ut_file.remove(name.c_str());
    return line;
}

/// A manager of the stranger's own: the library's reports come here through its virtual operations.
class counting_manager : public UT_MSGMAN {
public:
    int written = 0;

protected:
    void write(const char* text) override
    {
        ++written;
        UT_MSGMAN::write(text);
    }
};

}  // namespace

int main()
{
    UT_MSGMAN::m_msgFlow = 0;
    ut_status(zeoform("caught %d", caught_across_the_border(-7)));

    const UT_STROBJ line = line_through_a_file("answer ");
    ut_status(zeoform("read \"%s\" of %ld characters", line.getstring(), static_cast<long>(line.length())));
    ut_status((line.left(6).upper() + "!").getstring());

    counting_manager manager;
    UT_MSGMAN* const before = ut_msgman;
    ut_msgman = &manager;
    ut_status("100% of %s and %n as they are");
    ut_msgman = before;
    std::printf("written by the stranger's manager: %d\n", manager.written);
    return 0;
}
