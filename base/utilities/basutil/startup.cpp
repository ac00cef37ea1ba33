// startup.cpp: builds the global objects, in this order, and ends them in the reverse one.
//
//   1. the message database is put in charge; it is made when the first message needs it; streams get
//      their compressors
//   2. ut_msgman   on the heap, and never destroyed: a report may come after all else has ended
//   3. ut_file     checks TEMP when it is built; at the end it closes what is still open, and deletes
//                  the temporary files
//
// No other unit has a global that needs a constructor to run: what the constructors here can reach is
// constant-initialised or made on first use.
#include "startup.h"

#include <atomic>
#include <cstdio>
#include <new>

#include "basutfile.h"
#include "coders.h"
#include "data_coder.h"
#include "msgbridge.h"
#include "msgdatabase.h"
#include "msgman.h"
#include "platform.h"

/// What the copies of the library in one process share. Where the loader binds a second copy's names to
/// the first one's, this name is among them: the second copy then finds the globals built, and only the
/// last to go ends them.
extern "C" UT_EXPORT struct ketriope_shared_globals {
    int copies;
    UT_FILEMANAGER* files;
} ketriope_shared;

constinit ketriope_shared_globals ketriope_shared{0, nullptr};
constinit UT_MSGMAN* ut_msgman = nullptr;

namespace ketriope {
namespace {

constinit bool building = false;
constinit std::atomic<bool> exit_begun = false;

class start_and_stop {
public:
    start_and_stop()
    {
        install_database(&message_bridge());  // for our own code; the database itself is shared
        install_coders(&stream_coder);
        if (ketriope_shared.copies++ > 0) return;
        building = true;
        ut_msgman = new UT_MSGMAN;
        // In place, and its destructor never runs: a later static destructor may still call it.
        alignas(UT_FILEMANAGER) static std::byte memory[sizeof(UT_FILEMANAGER)];
        ketriope_shared.files = new (memory) UT_FILEMANAGER;
        building = false;
    }
    ~start_and_stop()
    {
        note_exit_begun();
        if (--ketriope_shared.copies > 0) return;
        ketriope_shared.files->close_all();
    }
    start_and_stop(const start_and_stop&) = delete;
    start_and_stop& operator=(const start_and_stop&) = delete;
};

const start_and_stop run;

}  // namespace

bool starting_up() noexcept
{
    return building;
}

bool exit_has_begun() noexcept
{
    return exit_begun;
}

void note_exit_begun() noexcept
{
    exit_begun = true;
}

void leave_process(int exit_value)
{
    if (!exit_begun.exchange(true)) {
        const struct goes_on {  // where a test stands in for the end of the process
            ~goes_on() { exit_begun = false; }
        } after_all;
        return platform::os().end_process(exit_value);
    }
    std::fflush(stdout);
    std::fflush(stderr);
    platform::os().end_process_now(exit_value);
}

}  // namespace ketriope

UT_FILEMANAGER& ut_file = *ketriope_shared.files;
