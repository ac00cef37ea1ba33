// basutfileops.cpp: the file-system helpers of the file manager. The table of open files is in
// basutfile.cpp.
#include "basutfile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <span>
#include <string_view>

#include "basutform.h"
#include "basutstr.h"
#include "basutstream.h"
#include "contract.h"
#include "platform.h"
#include "storage_form.h"
#include "utgetenv.h"

using ketriope::platform::file_kind;
using ketriope::platform::file_status;
using ketriope::platform::os;

namespace {

constexpr ketriope::site k_no_directory{.module = "basutfile", .exit_value = 69};
constexpr ketriope::numbered k_path_ignored{.number = "1413"};
constexpr UT_ACCESS k_access_at_end = static_cast<UT_ACCESS>(UT_ACCESS_WRITE | UT_ACCESS_APPEND);
constexpr int k_longest_found = 1024;  ///< bytes of what `find` builds, with its `/` and its end
constexpr std::size_t k_time_text = 26;
constexpr long k_line_end = 2;  ///< bytes of CR LF

using piece = std::array<unsigned char, 4096>;

const char* text_or_empty(const char* text) noexcept
{
    return text != nullptr ? text : "";
}

/// Sets `errno` where the system did not fail, but the name is not what was asked for.
bool granted(bool wish) noexcept
{
    if (!wish) errno = EACCES;
    return wish;
}

/// A descriptor that closes itself.
class descriptor_holder {
public:
    explicit descriptor_holder(int descriptor) noexcept : descriptor_(descriptor) {}
    descriptor_holder(const descriptor_holder&) = delete;
    descriptor_holder& operator=(const descriptor_holder&) = delete;
    ~descriptor_holder()
    {
        if (descriptor_ >= 0) os().close(descriptor_);
    }
    int get() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

/// A stream of the manager's that closes itself, when an exception passes by, too.
class stream_holder {
public:
    stream_holder(UT_FILEMANAGER& manager, UT_STREAM* stream) noexcept : manager_(manager), stream_(stream) {}
    stream_holder(const stream_holder&) = delete;
    stream_holder& operator=(const stream_holder&) = delete;
    ~stream_holder() noexcept(false) { manager_.close(stream_); }
    explicit operator bool() const noexcept { return stream_ != nullptr; }
    UT_STREAM* operator->() const noexcept { return stream_; }
    UT_STREAM& operator*() const noexcept { return *stream_; }

private:
    UT_FILEMANAGER& manager_;
    UT_STREAM* stream_;
};

/// Copies what is left of one descriptor to another; what the copy of a file makes of failures is told
/// at `UT_FILEMANAGER::copy`.
struct copied {
    bool whole;  ///< false: `errno` has the reason
    bool any;    ///< the first read brought bytes
};
copied copy_bytes(int from, int to)
{
    piece bytes;
    copied result{.whole = true, .any = false};
    for (;;) {
        const std::int64_t count = os().read(from, bytes.data(), bytes.size());
        if (count <= 0) return {count == 0, result.any};
        result.any = true;
        if (os().write(to, bytes.data(), static_cast<std::size_t>(count)) != count) return {false, true};
    }
}

/// How many bytes `append` takes from a source at most. For a plain file this is what stands in it now,
/// so that appending a file to itself comes to an end; anything else is read as long as it gives bytes.
std::int64_t content_limit(const UT_STREAM& source, const char* name)
{
    file_status found;
    const bool measured = source.is_access_compressed() == 0 && os().status(name, found) &&
                          found.kind == file_kind::file && found.size > 0;
    return measured ? found.size : std::numeric_limits<std::int64_t>::max();
}

/// Local time in the form that the C runtime gives it, whatever the locale; "?" if there is none.
void write_time(std::int64_t when, bool known, std::span<char, k_time_text> out)
{
    constexpr std::array k_days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array k_months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm t{};
    if (known && os().local_time(when, t))
        std::snprintf(out.data(), out.size(), "%s %s%3d %.2d:%.2d:%.2d %d",
                      k_days[static_cast<std::size_t>(t.tm_wday)],
                      k_months[static_cast<std::size_t>(t.tm_mon)], t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec,
                      1900 + t.tm_year);
    else
        std::snprintf(out.data(), out.size(), "?");
}

}  // namespace

unsigned char UT_FILEMANAGER::noted(bool done)
{
    if (!done) error_ = errno;
    return done ? 1 : 0;
}

// ---- files and directories

unsigned char UT_FILEMANAGER::remove(const char* name)
{
    return noted(os().remove_file(text_or_empty(name)));
}

unsigned char UT_FILEMANAGER::rename(const char* from, const char* to)
{
    remove(to);  // its failure is recorded, but only the renaming counts
    return noted(os().rename_file(text_or_empty(from), text_or_empty(to)));
}

unsigned char UT_FILEMANAGER::copy(const char* from, const char* to)
{
    file_status found;
    if (!os().status(text_or_empty(from), found)) {
        error_ = ENOENT;
        return 0;
    }
    if (noted(granted(found.kind != file_kind::directory)) == 0) return 0;
    const descriptor_holder source(os().open(from, ketriope::platform::open_read));
    if (noted(source.get() >= 0) == 0) return 0;
    using namespace ketriope::platform;
    const descriptor_holder target(os().open(text_or_empty(to), open_write | open_create | open_truncate));
    if (noted(target.get() >= 0) == 0) return 0;
    const copied result = copy_bytes(source.get(), target.get());
    return noted(result.whole) != 0 || result.any;
}

unsigned char UT_FILEMANAGER::mkdir(const char* name)
{
    return noted(os().make_directory(text_or_empty(name)));
}

unsigned char UT_FILEMANAGER::rmdir(const char* name)
{
    return noted(os().remove_directory(text_or_empty(name)));
}

unsigned char UT_FILEMANAGER::chdir(const char* name)
{
    return noted(os().change_directory(text_or_empty(name)));
}

unsigned char UT_FILEMANAGER::getcwd(char* buffer, unsigned short length)
{
    constexpr std::string_view k_automounted = "/tmp_mnt/net/";
    constexpr std::size_t k_automounter = 8;  // "/tmp_mnt"
    if (buffer == nullptr || length < 2) return 0;
    std::string path;
    if (noted(os().current_directory(path)) == 0) {
        ketriope::contract_failed(k_no_directory, "unable to get the current working directory path - "
                                                  "probable cause: 'pwd' - permission denied");
        return 0;
    }
    if (path.starts_with(k_automounted)) path.erase(0, k_automounter);
    if (path.size() >= length) {
        const std::string text =
            "current working directory '" + path + "' exceeds length limit of " + std::to_string(length);
        ketriope::contract_failed(k_no_directory, text.c_str());
        return 0;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return 1;
}

// ---- appending

UT_STREAM* UT_FILEMANAGER::open_at_end(const char* name, UT_ACCESS access, long back)
{
    file_status found;
    const bool there = os().status(text_or_empty(name), found);
    UT_STREAM* stream = add_ofile(name, access, nullptr, 0);
    if (stream != nullptr && there && found.size > 0)
        stream->setfoffset(static_cast<long>(std::max<std::int64_t>(found.size - back, 0)));
    return stream;
}

unsigned char UT_FILEMANAGER::append_file(const char* from, const char* to, UT_ACCESS access)
{
    const stream_holder source(*this, add_ofile(from, UT_ACCESS_READ, nullptr, 1));
    if (!source) return 0;
    std::int64_t left = content_limit(*source, from);
    const stream_holder target(*this, open_at_end(to, access, 0));
    if (!target) return 0;
    piece bytes;
    while (left > 0) {
        const int wanted = static_cast<int>(std::min<std::int64_t>(left, bytes.size()));
        const int count = source->read(bytes.data(), wanted);
        if (count <= 0) break;
        target->write(bytes.data(), count);
        left -= count;
    }
    return finished(*target);
}

unsigned char UT_FILEMANAGER::append_text(const char* text, const char* to, UT_ACCESS access, long back)
{
    const stream_holder target(*this, open_at_end(to, access, back));
    if (!target) return 0;
    target->writeline(text_or_empty(text));
    return finished(*target);
}

/// Writes out what `stream` holds; the result tells whether all of it reached the file.
unsigned char UT_FILEMANAGER::finished(UT_STREAM& stream)
{
    stream.flush();
    if (stream.geterror() != 0) error_ = stream.geterror();
    return stream.geterror() == 0;
}

unsigned char UT_FILEMANAGER::append(const char* from, const char* to)
{
    return append_file(from, to, UT_ACCESS_WRITE);
}

unsigned char UT_FILEMANAGER::appendplus(const char* from, const char* to)
{
    return append_file(from, to, k_access_at_end);
}

unsigned char UT_FILEMANAGER::appendline(const char* text, const char* to)
{
    return append_text(text, to, UT_ACCESS_WRITE, 0);
}

unsigned char UT_FILEMANAGER::appendstring(const char* text, const char* to)
{
    return append_text(text, to, k_access_at_end, k_line_end);
}

// ---- names

const char* UT_FILEMANAGER::find(const char* name, const char** paths, int count, char* result)
{
    if (name == nullptr || paths == nullptr || result == nullptr) return nullptr;
    for (int i = 0; i < count && paths[i] != nullptr; ++i) {
        const std::string_view path = paths[i];
        if (path.size() + std::strlen(name) + 2 > k_longest_found) {
            ketriope::numbered_message(k_path_ignored, "path '%s/%s' ignored  -- exceeds length limit of %d",
                                       paths[i], name, k_longest_found);
            continue;
        }
        const bool joined = path.empty() || path.ends_with('/') || *name == '/';
        const std::string whole = std::string(path).append(joined ? "" : "/").append(name);
        file_status found;
        if (noted(os().status(whole.c_str(), found)) == 0) continue;
        std::memcpy(result, whole.c_str(), whole.size() + 1);
        return paths[i];
    }
    return nullptr;
}

char* UT_FILEMANAGER::tmpnam(char* buffer)
{
    static std::string& last = *new std::string;  // outlives every static object of a tool
    const char* directory = ut_getenv("TEMP");
    if (directory == nullptr) return buffer;
    std::string name;
    if (noted(os().temporary_name(directory, "zeo_", name)) == 0) return nullptr;
    std::replace(name.begin(), name.end(), '\\', '/');
    if (buffer == nullptr) {
        last = name;
        return last.data();
    }
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return buffer;
}

unsigned char UT_FILEMANAGER::addtmpnam(const char* name)
{
    if (name == nullptr || temporary_count_ == k_slots) return 0;
    temporary_names_[temporary_count_++] = name;
    return 1;
}

unsigned char UT_FILEMANAGER::remtmpnam(const char* name)
{
    std::string* const end = temporary_names_ + temporary_count_;
    std::string* const found = std::find(temporary_names_, end, std::string_view(text_or_empty(name)));
    if (found == end) return 0;
    std::string& gone = temporary_names_[--temporary_count_];
    found->swap(gone);
    gone.clear();
    return 1;
}

unsigned char UT_FILEMANAGER::isabsolute(const char* name)
{
    const auto is_separator = [](char c) { return c == '/' || c == '\\'; };
    const std::string_view text = text_or_empty(name);
    if (!text.empty() && is_separator(text[0])) return 1;
    if (text.size() < 3 || text[1] != ':' || !is_separator(text[2])) return 0;
    return (text[0] >= 'a' && text[0] <= 'z') || (text[0] >= 'A' && text[0] <= 'Z');
}

unsigned char UT_FILEMANAGER::makedospath(char* path)
{
    ut_strreplacechar(path, '/', '\\');
    return path != nullptr;
}

unsigned char UT_FILEMANAGER::makeunixpath(char* path)
{
    ut_strreplacechar(path, '\\', '/');
    return path != nullptr;
}

// ---- what the system knows of a name

unsigned char UT_FILEMANAGER::exist(const char* name)
{
    file_status found;
    return noted(os().status(text_or_empty(name), found));
}

unsigned char UT_FILEMANAGER::isdir(const char* name)
{
    file_status found;
    return noted(os().status(text_or_empty(name), found) && granted(found.kind == file_kind::directory));
}

unsigned char UT_FILEMANAGER::isfile(const char* name)
{
    file_status found;
    return noted(os().status(text_or_empty(name), found) && granted(found.kind == file_kind::file));
}

unsigned char UT_FILEMANAGER::canread(const char* name)
{
    file_status found;
    return noted(os().status(text_or_empty(name), found) && granted(found.owner_may_read));
}

unsigned char UT_FILEMANAGER::canwrite(const char* name)
{
    using namespace ketriope::platform;
    file_status found;
    if (os().status(text_or_empty(name), found)) return noted(granted(found.owner_may_write));
    const int descriptor = os().open(text_or_empty(name), open_write | open_create | open_fresh);
    if (noted(descriptor >= 0) == 0) return 0;
    os().close(descriptor);
    os().remove_file(name);
    return 1;
}

long UT_FILEMANAGER::getsize(const char* name)
{
    file_status found;
    const bool known = os().status(text_or_empty(name), found) && granted(found.kind != file_kind::directory);
    return noted(known) != 0 ? static_cast<long>(found.size) : -1;
}

long UT_FILEMANAGER::getrsize(const char* name)
{
    const descriptor_holder file(os().open(text_or_empty(name), ketriope::platform::open_read));
    if (file.get() < 0 || ketriope::read_file_head(file.get()).form == UT_ACCESS{}) return getsize(name);
    const stream_holder stream(*this, add_ofile(name, UT_ACCESS_READ, nullptr, 0));
    if (!stream) return -1;
    piece bytes;
    while (stream->get_data(bytes.data(), bytes.size()) > 0) {}
    return stream->get_offset();
}

unsigned char UT_FILEMANAGER::getdatetime(const char* name, ut_int64& seconds)
{
    file_status found;
    if (noted(os().status(text_or_empty(name), found)) == 0) return 0;
    seconds = found.modified;
    return 1;
}

char* UT_FILEMANAGER::asciidatetime(const char* name)
{
    char text[k_time_text];
    return zeoform("%s", asciidatetime(name, text));
}

char* UT_FILEMANAGER::asciidatetime(const char* name, char* buffer)
{
    ut_int64 seconds = 0;
    const bool known = getdatetime(name, seconds) != 0;
    write_time(seconds, known, std::span<char, k_time_text>(buffer, k_time_text));
    return buffer;
}
