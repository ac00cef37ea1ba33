// startup.cpp: builds the global objects, in this order, and ends them in the reverse one.
//
//   1. the message database is put in charge; it is made when the first message needs it; streams get
//      their compressors
//   2. ut_msgman   on the heap, and never destroyed: a report may come after all else has ended
//   3. ut_memmgr   installs the new-handler; never destroyed
//   4. the pools   sm_memmngr with the classes of ut_stringmem and of bit vectors; never destroyed, as
//                  late destructors give their elements back
//   5. the default growth step of arrays is read from the environment, and kept
//   6. ut_file     checks TEMP when it is built; at the end it closes what is still open, and deletes
//                  the temporary files
//
// The report of the peak of memory, for which nothing needs to be built, is the very last of the end.
//
// No other unit has a global that needs a constructor to run: what the constructors here can reach is
// constant-initialised or made on first use.
#include "startup.h"

#include <atomic>
#include <cstdio>
#include <new>

#include "basutbitvec.h"
#include "basutfile.h"
#include "basutmemmgr.h"
#include "basutmemusage.h"
#include "basutsmallmem.h"
#include "basutstrobj.h"
#include "coders.h"
#include "data_coder.h"
#include "growth_step.h"
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
constinit UT_MEM_USAGE UT_MEM_USAGE::_memUsage;  // the first here, and so the last to end
constinit UT_MSGMAN* ut_msgman = nullptr;

namespace ketriope {
namespace {

/// Where an object is built at load. It is never destroyed, since a static destructor of a tool may come
/// after ours and still use it.
template <class T>
union built_at_load {
    constexpr built_at_load() noexcept : nothing() {}
    constexpr ~built_at_load() {}
    built_at_load(const built_at_load&) = delete;
    built_at_load& operator=(const built_at_load&) = delete;

    char nothing;
    T object;
};

constinit built_at_load<UT_MEMMGR> memory_manager;
constinit built_at_load<UT_SM_SMALLMEM> string_pool;
constinit built_at_load<UT_FILEMANAGER> file_manager;

static_assert(sizeof(UT_STROBJ) <= 140, "no pool takes a larger size");

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
        new (&memory_manager.object) UT_MEMMGR;
        new (&string_pool.object) UT_SM_SMALLMEM(sizeof(UT_STROBJ), 0);
        build_bit_vector_pool();
        default_growth_step();
        ketriope_shared.files = new (&file_manager.object) UT_FILEMANAGER;
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

bool has_ended() noexcept
{
    return ketriope_shared.copies == 0;
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

constinit UT_MEMMGR& ut_memmgr = ketriope::memory_manager.object;
constinit UT_SM_SMALLMEM& ut_stringmem = ketriope::string_pool.object;
constinit UT_FILEMANAGER& ut_file = ketriope::file_manager.object;
