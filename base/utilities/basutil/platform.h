/// \file platform.h
/// Every operation of the operating system that the library needs, in neutral types.
///
/// One table of functions, filled by `platform_posix.cpp` or `platform_win32.cpp`. All units call
/// through `os()`, so that a test can put another function in any place for the time of a test.
/// Errors: an operation that fails leaves its reason in `errno`, as the C runtime does.
/// Threads: the table is read without a lock; it is replaced only by tests, from one thread.
#pragma once
#include "uttypes.h"
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace ketriope::platform {

#if defined(_WIN32)
inline constexpr char k_separator = '\\';  ///< what the system puts between the names of a path
#else
inline constexpr char k_separator = '/';  ///< what the system puts between the names of a path
#endif

enum class file_kind : unsigned char { file, directory, other };

/// What the system knows of a name. The two permissions are the owner's bits, so that the answer does
/// not depend on who asks.
struct file_status {
    file_kind kind = file_kind::other;
    std::int64_t size = 0;      ///< bytes
    std::int64_t modified = 0;  ///< seconds since 1970
    bool owner_may_read = false;
    bool owner_may_write = false;
};

/// How a file is opened; the values are or-ed. Files are binary, and closed in every child process.
enum open_flags : unsigned {
    open_read = 1,
    open_write = 2,
    open_create = 4,    ///< make it with the permissions 0666, less the process's mask
    open_truncate = 8,  ///< cut it to nothing
    open_fresh = 16,    ///< fail if it exists
};

enum class seek_from : unsigned char { start, here, end };

/// Memory of this process in bytes; both 0 where the system does not tell, and peak >= current.
struct memory_use {
    std::uint64_t current = 0;
    std::uint64_t peak = 0;
};

/// Processor time of this process in microseconds.
struct cpu_times {
    std::int64_t user = 0;
    std::int64_t system = 0;
};

/// The account that this process runs under.
struct account {
    std::string name;
    std::string home;
    long id = -1;
};

struct operations {
    // How the process ends, and what it was started with.
    void (*end_process)(int exit_value);      ///< runs the exit handlers: the one way out
    void (*end_process_now)(int exit_value);  ///< runs none of them: for one that is ending already
    void (*abort_process)();                  ///< a core image, where the system makes one
    const char* (*environment)(const char* name);

    // Files, by descriptor: -1 and `errno` on failure.
    int (*open)(const char* name, unsigned flags);
    int (*close)(int descriptor);
    std::int64_t (*read)(int descriptor, void* out, std::size_t count);  ///< may bring less; 0 at the end
    std::int64_t (*write)(int descriptor, const void* from, std::size_t count);  ///< less only on failure
    std::int64_t (*seek)(int descriptor, std::int64_t offset, seek_from origin);

    /// A stream of the C runtime, opened as `fopen` does and closed in every child process.
    std::FILE* (*open_stream)(const char* name, const char* mode);

    // Files and directories, by name: false and `errno` on failure.
    bool (*status)(const char* name, file_status& out);
    bool (*remove_file)(const char* name);  ///< never a directory
    bool (*rename_file)(const char* from, const char* to);
    bool (*make_directory)(const char* name);
    bool (*remove_directory)(const char* name);
    bool (*change_directory)(const char* name);
    bool (*current_directory)(std::string& out);
    bool (*temporary_name)(const char* directory, const char* prefix, std::string& out);  ///< not in use yet

    // Directory scan, in the system's order, without "." and "..".
    void* (*open_directory)(const char* name);  ///< null on failure; given back to close_directory
    bool (*next_entry)(void* scan, std::string& name);
    void (*close_directory)(void* scan);

    // Console and dialogs.
    void (*poll_keyboard)();                                   ///< gives the console a chance; reads nothing
    bool (*show_dialog)(const char* title, const char* text);  ///< false where there are no dialogs

    // Clocks and figures of this process.
    std::int64_t (*wall_clock)();  ///< seconds since 1970
    bool (*local_time)(std::int64_t when, std::tm& out);
    bool (*utc_time)(std::int64_t when, std::tm& out);
    bool (*process_times)(cpu_times& out);  ///< false leaves `out` as it was
    memory_use (*process_memory)();
    int (*process_number)();
    bool (*program_path)(std::string& out);
    unsigned long (*system_version)();  ///< the words of the system's version call; below 0x80000000 here

    // Accounts and host.
    bool (*user_account)(account& out);
    bool (*host_name)(std::string& out);

    // Child processes.
    bool (*start_detached)(const char* command_line);
    int (*spawn_and_wait)(const char* const* argv);  ///< the exit code; -1 and `errno` if not started
    bool (*exit_code_of)(int process, int& code);    ///< 259 while it runs; false if it is not ours

    // Crash dumps.
    bool (*temporary_directory)(std::string& out);  ///< with a separator at its end
    bool (*write_crash_dump)(const char* name);     ///< false where the system has no such thing

    // Numbers and times as the "C" locale has them, whatever locale the tool has set.
    int (*format_real)(char* out, std::size_t size, const char* specification, double value);
    int (*format_list)(char* out, std::size_t size, const char* format, ut_va_list arguments);  ///< vsnprintf
    double (*parse_real)(const char* text, char** end);
    /// The length of the text; 0, with `out` undefined, if it does not fit with its terminator.
    std::size_t (*format_time)(char* out, std::size_t size, const char* format, const std::tm& when);
};

/// The table of the system that this library was built for.
const operations& native() noexcept;

/// The table in use.
const operations& os() noexcept;

/// For tests: puts `table` in use until it is called again; null brings the native one back.
void use_operations(const operations* table) noexcept;

}  // namespace ketriope::platform
