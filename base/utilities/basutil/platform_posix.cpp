// platform_posix.cpp: the operations on POSIX systems. It includes no public header but the shared
// types, so that the names of the system stay in this file.
#include "platform.h"

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <locale.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

namespace ketriope::platform {
namespace {

/// Repeats a call that a signal interrupted.
template <class Call>
auto unless_interrupted(Call call) noexcept
{
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

// ---- process end and environment

void end_process(int exit_value)
{
    std::exit(exit_value);
}

void end_process_now(int exit_value)
{
    std::_Exit(exit_value);
}

void abort_process()
{
    std::abort();
}

const char* environment(const char* name)
{
    return std::getenv(name);
}

// ---- files by descriptor

int open_file(const char* name, unsigned flags)
{
    const bool reads = (flags & open_read) != 0;
    const bool writes = (flags & open_write) != 0;
    int mode = O_CLOEXEC | (writes ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY);
    if (flags & open_create) mode |= O_CREAT;
    if (flags & open_truncate) mode |= O_TRUNC;
    if (flags & open_fresh) mode |= O_EXCL;
    return unless_interrupted([&] { return ::open(name, mode, 0666); });
}

int close_file(int descriptor)
{
    // Not repeated after a signal: the descriptor is gone by then, and its number may be another's.
    return ::close(descriptor);
}

std::int64_t read_file(int descriptor, void* out, std::size_t count)
{
    return unless_interrupted([&] { return ::read(descriptor, out, count); });
}

std::int64_t write_file(int descriptor, const void* from, std::size_t count)
{
    const auto* next = static_cast<const char*>(from);
    std::size_t done = 0;
    do {
        const ssize_t wrote =
            unless_interrupted([&] { return ::write(descriptor, next + done, count - done); });
        if (wrote < 0) return done == 0 ? -1 : static_cast<std::int64_t>(done);
        done += static_cast<std::size_t>(wrote);
    } while (done < count);
    return static_cast<std::int64_t>(done);
}

std::int64_t seek_file(int descriptor, std::int64_t offset, seek_from origin)
{
    constexpr int k_whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    return ::lseek(descriptor, offset, k_whence[static_cast<int>(origin)]);
}

std::FILE* open_stream(const char* name, const char* mode)
{
    return std::fopen(name, (std::string(mode) + 'e').c_str());  // `e`: close-on-exec
}

// ---- files and directories by name

bool status_of(const char* name, file_status& out)
{
    struct stat found {};
    if (::stat(name, &found) != 0) return false;
    out.kind = S_ISREG(found.st_mode)   ? file_kind::file
               : S_ISDIR(found.st_mode) ? file_kind::directory
                                        : file_kind::other;
    out.size = found.st_size;
    out.modified = found.st_mtime;
    out.owner_may_read = (found.st_mode & S_IRUSR) != 0;
    out.owner_may_write = (found.st_mode & S_IWUSR) != 0;
    return true;
}

bool remove_file(const char* name)
{
    return ::unlink(name) == 0;  // `remove` would delete an empty directory, too
}

bool rename_file(const char* from, const char* to)
{
    return ::rename(from, to) == 0;
}

bool make_directory(const char* name)
{
    return ::mkdir(name, 0777) == 0;
}

bool remove_directory(const char* name)
{
    return ::rmdir(name) == 0;
}

bool change_directory(const char* name)
{
    return ::chdir(name) == 0;
}

bool current_directory(std::string& out)
{
    const std::unique_ptr<char, decltype(&std::free)> found(::getcwd(nullptr, 0), &std::free);
    if (!found) return false;
    out = found.get();
    return true;
}

bool temporary_name(const char* directory, const char* prefix, std::string& out)
{
    static constinit std::uint32_t calls = 0;
    constexpr int k_tries = 10'000;
    for (int i = 0; i < k_tries; ++i) {
        char tail[32];
        std::snprintf(tail, sizeof tail, "%d_%u", static_cast<int>(::getpid()), ++calls);
        const std::string name = std::string(directory) + k_separator + prefix + tail;
        struct stat found {};
        if (::lstat(name.c_str(), &found) != 0 && errno == ENOENT) {
            out = name;
            return true;
        }
    }
    return false;
}

// ---- directory scan

void* open_directory(const char* name)
{
    return ::opendir(name);
}

bool next_entry(void* scan, std::string& name)
{
    while (const dirent* entry = ::readdir(static_cast<DIR*>(scan))) {
        name = entry->d_name;
        if (name != "." && name != "..") return true;
    }
    return false;
}

void close_directory(void* scan)
{
    ::closedir(static_cast<DIR*>(scan));
}

// ---- console and dialogs

void poll_keyboard() {}

bool show_dialog(const char*, const char*)
{
    return false;
}

// ---- clocks and figures

std::int64_t wall_clock()
{
    return ::time(nullptr);
}

bool local_time(std::int64_t when, std::tm& out)
{
    const ::time_t seconds = when;
    return ::localtime_r(&seconds, &out) != nullptr;
}

bool utc_time(std::int64_t when, std::tm& out)
{
    const ::time_t seconds = when;
    return ::gmtime_r(&seconds, &out) != nullptr;
}

std::int64_t to_microseconds(const ::timeval& time)
{
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_usec;
}

bool process_times(cpu_times& out)
{
    ::rusage use{};
    if (::getrusage(RUSAGE_SELF, &use) != 0) return false;
    out = {to_microseconds(use.ru_utime), to_microseconds(use.ru_stime)};
    return true;
}

/// The figure of a row such as "VmRSS:     1234 kB", in bytes; 0 if there is none.
std::uint64_t status_row(const char* rows, const char* label)
{
    const char* const row = std::strstr(rows, label);
    return row != nullptr ? std::strtoull(row + std::strlen(label), nullptr, 10) * 1024 : 0;
}

memory_use process_memory()
{
    // The resource usage call is no substitute: its peak is inherited from the parent process.
    const int descriptor = open_file("/proc/self/status", open_read);
    if (descriptor < 0) return {};
    char rows[8192];  // not from the heap, whose end may be what is looked into
    const std::int64_t count = read_file(descriptor, rows, sizeof rows - 1);
    close_file(descriptor);
    rows[count > 0 ? count : 0] = '\0';
    memory_use use{status_row(rows, "\nVmRSS:"), status_row(rows, "\nVmHWM:")};
    if (use.peak < use.current) use.peak = use.current;  // the two rows are not one instant's
    return use;
}

int process_number()
{
    return ::getpid();
}

bool program_path(std::string& out)
{
    std::string path(PATH_MAX, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) return false;
    path.resize(static_cast<std::size_t>(length));
    out = path;
    return true;
}

unsigned long system_version()
{
    return 0;  // any value below 0x80000000 names the one machine type of this platform
}

// ---- accounts and host

bool user_account(account& out)
{
    std::vector<char> text(16'384);
    ::passwd row{};
    ::passwd* found = nullptr;
    const int error = ::getpwuid_r(::geteuid(), &row, text.data(), text.size(), &found);
    if (error != 0 || found == nullptr) {
        errno = error != 0 ? error : ENOENT;
        return false;
    }
    out.name = row.pw_name;
    out.home = row.pw_dir;
    out.id = static_cast<long>(row.pw_uid);
    return true;
}

bool host_name(std::string& out)
{
    char name[256] = "";
    if (::gethostname(name, sizeof name - 1) != 0) return false;
    out = name;
    return true;
}

// ---- child processes

/// Waits for `process` and gives its exit code; 128 and the number for one that a signal ended.
int exit_code_from(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool start_detached(const char* command_line)
{
    const pid_t starter = ::fork();
    if (starter < 0) return false;
    if (starter == 0) {  // the child of a child belongs to the system, which clears up after it
        ::setsid();
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl("/bin/sh", "sh", "-c", command_line, static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::_exit(child < 0 ? 1 : 0);
    }
    int status = 0;
    unless_interrupted([&] { return ::waitpid(starter, &status, 0); });
    return exit_code_from(status) == 0;
}

int spawn_and_wait(const char* const* argv)
{
    pid_t child = 0;
    const int error =
        ::posix_spawnp(&child, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ);
    if (error != 0) {
        errno = error;
        return -1;
    }
    int status = 0;
    if (unless_interrupted([&] { return ::waitpid(child, &status, 0); }) == -1) return -1;
    return exit_code_from(status);
}

bool exit_code_of(int process, int& code)
{
    constexpr int k_still_running = 259;
    int status = 0;
    const pid_t seen = unless_interrupted([&] { return ::waitpid(process, &status, WNOHANG); });
    if (seen < 0) return false;
    code = seen == 0 ? k_still_running : exit_code_from(status);
    return true;
}

// ---- crash dumps

bool temporary_directory(std::string& out)
{
    const char* named = std::getenv("TMPDIR");
    out = named != nullptr && *named != '\0' ? named : "/tmp";
    if (out.back() != k_separator) out += k_separator;
    return true;
}

bool write_crash_dump(const char*)
{
    return false;
}

// ---- numbers and times in the "C" locale

::locale_t c_locale()
{
    static const ::locale_t made = ::newlocale(LC_ALL_MASK, "C", nullptr);  // for the process
    return made;
}

/// Formats in the "C" locale for as long as it lives, in this thread alone.
class in_c_locale {
public:
    in_c_locale() : before_(::uselocale(c_locale())) {}
    ~in_c_locale() { ::uselocale(before_); }
    in_c_locale(const in_c_locale&) = delete;
    in_c_locale& operator=(const in_c_locale&) = delete;

private:
    ::locale_t before_;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // formats come from the callers

int format_real(char* out, std::size_t size, const char* specification, double value)
{
    const in_c_locale numbers;
    return std::snprintf(out, size, specification, value);
}

int format_list(char* out, std::size_t size, const char* format, ut_va_list arguments)
{
    const in_c_locale numbers;
    return std::vsnprintf(out, size, format, arguments);
}

#pragma GCC diagnostic pop

double parse_real(const char* text, char** end)
{
    return ::strtod_l(text, end, c_locale());
}

std::size_t format_time(char* out, std::size_t size, const char* format, const std::tm& when)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the format is the caller's
    return ::strftime_l(out, size, format, &when, c_locale());
#pragma GCC diagnostic pop
}

constexpr operations k_native{
    .end_process = end_process,
    .end_process_now = end_process_now,
    .abort_process = abort_process,
    .environment = environment,
    .open = open_file,
    .close = close_file,
    .read = read_file,
    .write = write_file,
    .seek = seek_file,
    .open_stream = open_stream,
    .status = status_of,
    .remove_file = remove_file,
    .rename_file = rename_file,
    .make_directory = make_directory,
    .remove_directory = remove_directory,
    .change_directory = change_directory,
    .current_directory = current_directory,
    .temporary_name = temporary_name,
    .open_directory = open_directory,
    .next_entry = next_entry,
    .close_directory = close_directory,
    .poll_keyboard = poll_keyboard,
    .show_dialog = show_dialog,
    .wall_clock = wall_clock,
    .local_time = local_time,
    .utc_time = utc_time,
    .process_times = process_times,
    .process_memory = process_memory,
    .process_number = process_number,
    .program_path = program_path,
    .system_version = system_version,
    .user_account = user_account,
    .host_name = host_name,
    .start_detached = start_detached,
    .spawn_and_wait = spawn_and_wait,
    .exit_code_of = exit_code_of,
    .temporary_directory = temporary_directory,
    .write_crash_dump = write_crash_dump,
    .format_real = format_real,
    .format_list = format_list,
    .parse_real = parse_real,
    .format_time = format_time,
};

}  // namespace

const operations& native() noexcept
{
    return k_native;
}

}  // namespace ketriope::platform
