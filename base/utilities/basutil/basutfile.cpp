// basutfile.cpp: the table of open files. The file-system helpers are in basutfileops.cpp.
#include "basutfile.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <string_view>
#include <utility>

#include "basutform.h"
#include "basutstream.h"
#include "contract.h"
#include "msgman.h"
#include "platform.h"
#include "storage_form.h"
#include "utgetenv.h"

using ketriope::internal_report;
using ketriope::platform::os;

namespace {

constexpr ketriope::site k_site{.module = "basutfile"};
constexpr int k_unusable_temp = 19;  ///< exit value of a process that cannot start
constexpr UT_ACCESS k_at_end = UT_ACCESS_WRITE | UT_ACCESS_APPEND;
constexpr UT_ACCESS k_general = UT_ACCESS_GCA | UT_ACCESS_GCB;
constexpr UT_ACCESS k_compressed = UT_ACCESS_PACKED | k_general;
constexpr std::size_t k_plain_buffer = 4096;
constexpr std::size_t k_compressed_buffer = 16'384;

constexpr bool has_any(UT_ACCESS access, UT_ACCESS bits) noexcept
{
    return (access & bits) != 0;
}

constexpr bool has_all(UT_ACCESS access, UT_ACCESS bits) noexcept
{
    return (access & bits) == bits;
}

/// True when the environment wants compression where nobody asked for it.
bool compression_is_mandatory()
{
    const char* value = ut_getenv("QVS_COMP_MAND");
    if (value == nullptr) return false;
    const std::string_view text = value;
    return text == "yes" || text == "YES";
}

/// The mask for a file that is to be opened with `access`, after the environment has had its say.
///
/// A form that it chooses replaces the whole mask, so a file opened for appending is then written from
/// its start.
UT_ACCESS chosen_access(UT_ACCESS access)
{
    if (!has_any(access, UT_ACCESS_WRITE)) return access;
    const bool asked = has_any(access, k_compressed);
    if (!asked && !compression_is_mandatory()) return access;
    const char* value = ut_getenv("QVS_COMP_ALG");
    const std::string_view algorithm = value != nullptr ? value : asked ? "" : "GCA";
    if (algorithm == "GCA") {
        ut_status("Comp Mode: GCA");
        return UT_ACCESS_WRITE | UT_ACCESS_GCA;
    }
    if (algorithm == "GCB") {
        ut_status("Comp Mode: GCB");
        return UT_ACCESS_WRITE | UT_ACCESS_GCB;
    }
    return access;
}

/// A switch of the small-block heap of old: still read, once per process, and without effect.
void read_heap_switch()
{
    [[maybe_unused]] static const char* const value = ut_getenv("QVS_WIN2K_SBH");
}

}  // namespace

/// A file on its way into the table. Its descriptor is closed again if it does not get there.
struct UT_FILEMANAGER::opening {
    opening(const char* file_name, UT_ACCESS wanted, UT_STREAM* callers) noexcept
        : name(file_name), access(wanted), stream(callers),
          descriptor(callers != nullptr ? callers->getfid() : -1)
    {
    }
    opening(const opening&) = delete;
    opening& operator=(const opening&) = delete;
    ~opening()
    {
        if (opened_here) os().close(descriptor);
    }

    bool open_descriptor(bool truncate);
    bool recognise();
    void report_raw_stream() const;
    void fit_stream(UT_FILEMANAGER* owner);
    bool make_stream(UT_FILEMANAGER* owner);

    const char* name;
    UT_ACCESS access;   ///< the compressor bits become those of the form found
    UT_STREAM* stream;  ///< the caller's; null until one is made
    int descriptor;
    bool opened_here = false;  ///< the descriptor is not a caller's, and in no slot yet
    UT_ACCESS found{};         ///< the bit that a signature stood for
};

/// Errors: false, with the reason in `errno`.
bool UT_FILEMANAGER::opening::open_descriptor(bool truncate)
{
    using namespace ketriope::platform;
    unsigned flags = has_any(access, UT_ACCESS_READ) ? open_read : open_write | open_create;
    const bool cut = truncate && has_any(access, UT_ACCESS_WRITE);
    if (cut) flags |= open_truncate;
    file_status status;
    const bool there = os().status(name, status);
    if (there && status.kind == file_kind::directory) {
        errno = EACCES;
        return false;
    }
    // What is there goes, so that another name of the same file keeps the old content. A device stays.
    if (cut && (!there || status.kind == file_kind::file)) os().remove_file(name);
    descriptor = os().open(name, flags);
    opened_here = descriptor >= 0;
    return opened_here;
}

/// Reads the signature, if there is one, and settles the form. Errors: false, reported.
bool UT_FILEMANAGER::opening::recognise()
{
    const ketriope::file_head head = ketriope::read_file_head(descriptor);
    if (!head.has_bytes) return true;  // nothing there that could contradict the mask
    if (head.form != UT_ACCESS{}) {
        found = head.form;
        access = static_cast<UT_ACCESS>(access & ~k_compressed) | found;
        if (stream != nullptr && has_any(found, k_general)) stream->take_form(access, k_compressed_buffer);
        return true;
    }
    if (has_any(access, k_compressed)) {
        internal_report(
            k_site, zeoform("UT_FILEMANAGER: Illegal mixing of file modes. Cannot open file '%s'.", name));
        return false;
    }
    if (os().seek(descriptor, 0, ketriope::platform::seek_from::start) != 0) {
        internal_report(k_site, zeoform("UT_FILEMANAGER: Can not seek to the beginning of the file. Cannot "
                                        "open file '%s'.",
                                        name));
        return false;
    }
    return true;
}

/// A caller's stream that was made for plain bytes does not suit a compressed file; it is used even so.
void UT_FILEMANAGER::opening::report_raw_stream() const
{
    if (stream == nullptr || !has_any(access, k_compressed) || stream->get_io_mode() != UT_IO_RAW) return;
    internal_report(k_site,
                    zeoform("UT_FILEMANAGER: Illegal mixing file modes. Cannot open file '%s'.", name));
}

/// Gives a caller's stream its descriptor and, for a compressed file, mask and buffer. A raw one stays
/// raw. The version bytes of packed data are left to the caller.
void UT_FILEMANAGER::opening::fit_stream(UT_FILEMANAGER* owner)
{
    if (has_any(access, k_compressed)) {
        const bool raw = stream->get_io_mode() == UT_IO_RAW;
        stream->take_form(access, k_compressed_buffer);
        if (raw) stream->set_io_mode(UT_IO_RAW);
    }
    stream->attach(descriptor, owner);
}

/// Errors: false for packed data without version bytes, reported.
bool UT_FILEMANAGER::opening::make_stream(UT_FILEMANAGER* owner)
{
    const std::size_t length = has_any(access, k_compressed) ? k_compressed_buffer : k_plain_buffer;
    stream = new UT_STREAM(descriptor, access, length, owner);
    if (found != UT_ACCESS_PACKED || stream->read_version(descriptor) != 0) return true;
    internal_report(k_site, zeoform("UT_FILEMANAGER: Can not read the vesion. Cannot open file '%s'.", name));
    stream->disown();
    delete std::exchange(stream, nullptr);
    return false;
}

UT_FILEMANAGER::UT_FILEMANAGER() : trace_(ut_getenv("QVS_FILE_TRACE") != nullptr)
{
    read_heap_switch();
    const char* temp = ut_getenv("TEMP");
    if (temp != nullptr && canwrite(temp) != 0) return;
    if (ut_msgman == nullptr) ut_msgman = new UT_MSGMAN;
    ut_userfatal(temp == nullptr
                     ? "Environment variable 'TEMP' not defined or points at a non-existant directory.  "
                       "Please define it to a temporary directory location for temporary files."
                     : "Environment variable 'TEMP' is set to a non-writable location.  "
                       "Please define it to a temporary directory location for temporary files.",
                 k_unusable_temp);
}

UT_FILEMANAGER::~UT_FILEMANAGER() noexcept(false)
{
    close_all();
}

UT_STREAM* UT_FILEMANAGER::open(const char* name, UT_ACCESS access, unsigned char truncate)
{
    return add_ofile(name, access, nullptr, truncate);
}

UT_STREAM* UT_FILEMANAGER::open(const char* name, UT_STREAM* stream, unsigned char truncate)
{
    return stream != nullptr ? add_ofile(name, stream->getaccess(), stream, truncate) : nullptr;
}

unsigned char UT_FILEMANAGER::close(UT_STREAM* stream)
{
    return rm_ofile(stream);
}

void UT_FILEMANAGER::close_all()
{
    std::exception_ptr raised;
    for (const slot& used : slots_) {
        if (used.stream == nullptr) continue;
        try {
            rm_ofile(used.stream);
        } catch (...) {
            if (!raised) raised = std::current_exception();
        }
    }
    while (temporary_count_ > 0) remove(std::exchange(temporary_names_[--temporary_count_], {}).c_str());
    if (raised) std::rethrow_exception(raised);
}

void UT_FILEMANAGER::dumpopenfiles()
{
    *ut_msgman << "Open files list:\n";
    for (const slot& used : slots_) {
        if (used.stream == nullptr) continue;
        const bool writes = used.stream->getaccess() == UT_ACCESS_WRITE;
        *ut_msgman << used.name.c_str() << (writes ? " : write \n" : " : read  \n");
    }
    ut_msgman->flush();
}

/// The slot of `stream`; for null the first free one. Null if there is none.
UT_FILEMANAGER::slot* UT_FILEMANAGER::find_ofile(UT_STREAM* stream)
{
    slot* const found = std::ranges::find(slots_, stream, &slot::stream);
    return found != std::end(slots_) ? found : nullptr;
}

UT_STREAM* UT_FILEMANAGER::add_ofile(const char* name, UT_ACCESS access, UT_STREAM* stream,
                                     unsigned char truncate)
{
    opening file(name, chosen_access(access), stream);
    if (stream != nullptr && has_any(file.access, k_general))
        stream->take_form(file.access, k_compressed_buffer);
    slot* const free = find_ofile(nullptr);
    if (free == nullptr) {
        internal_report(k_site, zeoform("UT_FILEMANAGER: Too many opened files!  Cannot open file '%s'.",
                                        name != nullptr ? name : ""));
        dumpopenfiles();
        return nullptr;
    }
    if (name == nullptr) return nullptr;
    if (file.descriptor < 0) {
        if (noted(file.open_descriptor(truncate != 0)) == 0) return nullptr;
        const bool may_be_signed = has_any(file.access, UT_ACCESS_READ) || has_all(file.access, k_at_end);
        if (may_be_signed && !file.recognise()) return nullptr;
    }
    file.report_raw_stream();
    // Asks for its memory before there is a stream that could be lost.
    slot entry{.descriptor = file.descriptor, .name = name, .is_callers = stream != nullptr};
    if (stream != nullptr)
        file.fit_stream(this);
    else if (!file.make_stream(this))
        return nullptr;
    entry.stream = file.stream;
    *free = std::move(entry);
    file.opened_here = false;
    if (has_all(file.access, k_at_end)) file.stream->seekend();
    if (file.found == UT_ACCESS_PACKED) file.stream->adjust_compress_foffset();
    if (has_any(file.found, k_general)) file.stream->adjust_compress_gc_foffset();
    if (trace_) ut_status(zeoform("Open file \"%s\"", name));
    return file.stream;
}

unsigned char UT_FILEMANAGER::rm_ofile(UT_STREAM* stream)
{
    slot* const found = stream != nullptr ? find_ofile(stream) : nullptr;
    if (found == nullptr) return 0;
    const slot closing = std::exchange(*found, {});        // free, whatever comes of the rest
    while (slot* again = find_ofile(stream)) *again = {};  // a caller's stream that was handed in twice
    try {
        stream->flush();
        stream->destroy_me();
    } catch (...) {
        let_go(closing);
        throw;
    }
    let_go(closing);
    return 1;
}

/// Closes the descriptor, and puts the stream back or destroys it, unless it is being destroyed already.
void UT_FILEMANAGER::let_go(const slot& closing)
{
    UT_STREAM* const stream = closing.stream;
    if (stream->geterror() != 0) error_ = stream->geterror();
    noted(os().close(closing.descriptor) == 0);
    if (stream->owner() != this) return;
    stream->disown();
    if (closing.is_callers)
        stream->init(stream->buffer_length(), stream->getaccess(), 1);
    else
        delete stream;
}
