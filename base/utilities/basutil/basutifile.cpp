// basutifile.cpp
#include "basutifile.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "basutfile.h"
#include "basutform.h"
#include "basutstr.h"
#include "basutstream.h"
#include "contract.h"
#include "msgman.h"
#include "startup.h"

using ketriope::contract_failed;
using ketriope::numbered_message;

namespace {

constexpr auto k_error = ketriope::numbered::legacy::error;
constexpr const char* k_module = "basutifile";

constexpr unsigned char k_version = 2;
constexpr unsigned char k_revision = 0;
constexpr int k_header_bytes = 128;
constexpr int k_most_counted = 65'536;  ///< by the field of the header, and one more
constexpr int k_most_segments = 131'069;
constexpr int k_longest_name = 256;  ///< that a reader takes, with its NUL
constexpr ut_int64 k_near = 4096;    ///< bytes ahead that are read rather than sought

constexpr int k_to_read = 1;
constexpr int k_to_write = 2;

ut_long filed(ut_int64 number)
{
    return static_cast<ut_long>(number);
}

const char* text_of(const char* text)
{
    return text != nullptr ? text : "";
}

}  // namespace

// ---- entries

UT_IFILEDIR::UT_IFILEDIR(const char* name, long offset, long size, long type, long data)
    : name_(ut_strdup(text_of(name))), offset_(filed(offset)), size_(filed(size)), type_(filed(type)),
      data_(filed(data))
{
}

UT_IFILEDIR::~UT_IFILEDIR()
{
    std::free(name_);
}

UT_IFILESEGINFO::UT_IFILESEGINFO(const UT_IFILESEGINFO& other)
    : name_(ut_strdup(other.name_)), size_(other.size_), type_(other.type_), data_(other.data_),
      entry_(other.entry_)
{
}

UT_IFILESEGINFO& UT_IFILESEGINFO::operator=(const UT_IFILESEGINFO& other)
{
    UT_IFILESEGINFO copy(other);
    std::swap(name_, copy.name_);
    size_ = other.size_;
    type_ = other.type_;
    data_ = other.data_;
    entry_ = other.entry_;
    return *this;
}

UT_IFILESEGINFO::~UT_IFILESEGINFO()
{
    std::free(name_);
}

void UT_IFILESEGINFO::setname(const char* name)
{
    std::free(std::exchange(name_, ut_strdup(name)));
}

LIST_UT_IFILEDIR::~LIST_UT_IFILEDIR()
{
    freelist();
}

void LIST_UT_IFILEDIR::freedata(void* data)
{
    delete static_cast<UT_IFILEDIR*>(data);
}

void LIST_UT_IFILEDIR::printdata(void* data)
{
    ut_status(zeoform("%s\n", static_cast<UT_IFILEDIR*>(data)->getname()));
}

unsigned char LIST_UT_IFILEDIR::finddata(void* data, void* key)
{
    if (key == nullptr) return 0;
    return std::strcmp(static_cast<UT_IFILEDIR*>(data)->getname(), static_cast<const char*>(key)) == 0;
}

int LIST_UT_IFILEDIR::compdata(void* a, void* b)
{
    return std::strcmp(static_cast<UT_IFILEDIR*>(a)->getname(), static_cast<UT_IFILEDIR*>(b)->getname());
}

// ---- a file's beginning and end

struct UT_IFILE::entry_release {
    void operator()(UT_IFILEDIR* entry) const noexcept { delete entry; }
};

UT_IFILE::UT_IFILE() = default;

UT_IFILE::~UT_IFILE() noexcept(false)
{
    std::exception_ptr failure;
    const auto attempt = [&failure](auto step) {
        try {
            step();
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    };
    attempt([this] {
        if (name_ != nullptr && mode_ == k_to_write)
            numbered_message({"1409"}, "UT_IFILE destroyed but file \"%s\" not closed.", name_);
    });
    attempt([this] { close_stream(); });
    std::free(name_);
    if (failure && std::uncaught_exceptions() == 0) std::rethrow_exception(failure);
}

/// Takes over `name`, and starts afresh but for the list of entries. A stream that is open stays so: it is
/// the manager's from now on.
void UT_IFILE::begin(const char* name, int mode)
{
    std::free(std::exchange(name_, ut_strdup(name)));
    by_name_.clear();
    version_ = revision_ = data_version_ = data_revision_ = 0;
    mode_ = mode;
    next_free_ = k_header_bytes;
    stream_ = nullptr;
    current_ = nullptr;
}

unsigned char UT_IFILE::create(const char* name)
{
    name = text_of(name);
    if (name_ != nullptr)
        numbered_message({"1411"}, R"(File "%s" was not closed before file "%s" was created)", name_, name);
    begin(name, k_to_write);
    stream_ = ut_file.open(name_, UT_ACCESS_WRITE, 1);
    if (stream_ == nullptr) {
        openerror();
        return 0;
    }
    for (int i = 0; i < k_header_bytes; ++i) stream_->writebyte(0);
    if (cache_ != 0)
        stream_->flush();
    else
        close_stream();
    return 1;
}

unsigned char UT_IFILE::load(const char* name)
{
    name = text_of(name);
    if (name_ != nullptr)
        numbered_message({"1410"}, R"(File "%s" was not closed before file "%s" was opened)", name_, name);
    begin(name, k_to_read);
    stream_ = ut_file.open(name_, UT_ACCESS_READ, 1);  // without the write bit nothing is truncated
    if (stream_ == nullptr) {
        openerror();
        return 0;
    }
    version_ = stream_->readbyte();
    revision_ = stream_->readbyte();
    if (version_ != k_version) {
        if (cache_ == 0) close_stream();
        version_mismatch(version_);
        return 0;
    }
    if (revision_ != k_revision) revision_mismatch(revision_);
    data_version_ = stream_->readbyte();
    data_revision_ = stream_->readbyte();
    readsegdir();
    if (cache_ == 0) close_stream();
    return 1;
}

unsigned char UT_IFILE::unload()
{
    if (name_ == nullptr) {
        numbered_message({"1104", k_error}, "No file is open to unload.");
        return 0;
    }
    if (mode_ == k_to_write && !write_directory()) return 0;
    close_stream();
    by_name_.clear();
    entries_.freelist();
    current_ = nullptr;
    std::free(std::exchange(name_, nullptr));
    return 1;
}

/// Opens the file that is held once more. False only where something stands in for the end of the process.
bool UT_IFILE::reopen(UT_ACCESS access)
{
    stream_ = ut_file.open(name_, access, 0);
    if (stream_ != nullptr) return true;
    numbered_message({"1105", k_error}, "Failed to open file %s", name_);
    ketriope::leave_process(1);
    return false;
}

void UT_IFILE::close_stream()
{
    if (stream_ != nullptr) ut_file.close(std::exchange(stream_, nullptr));
}

// ---- the directory

/// Reads it from behind the first four bytes of the header. A file that ends early gives empty entries, and
/// one that cannot have its directory where it says so gives none.
void UT_IFILE::readsegdir()
{
    int segments = stream_->readushort();
    if ((data_revision_ & k_file_bit) != 0) segments += k_most_counted;
    if (stream_->setfoffset(stream_->readint()) == 0) return;
    std::array<char, k_longest_name> name;
    for (; segments > 0; --segments) {
        const int length = stream_->readkey(name.data(), k_longest_name, "");
        name[static_cast<std::size_t>(std::min(length, k_longest_name - 1))] = '\0';
        const long offset = stream_->readlong();
        const long size = stream_->readlong();
        const long type = stream_->readlong();
        const long data = stream_->readlong();
        add(new_entry(new UT_IFILEDIR(name.data(), offset, size, type, data)),
            by_name_.end());  // names come in order, as a rule
    }
}

/// Writes the header and the directory. Errors: false, reported, for more segments than a file can have. The
/// first bytes are written before that is seen, so such a file reads as one without segments: it always did.
bool UT_IFILE::write_directory()
{
    if (stream_ != nullptr)
        stream_->seekstart();
    else if (!reopen(UT_ACCESS_WRITE))
        return false;
    stream_->writebyte(k_version);
    stream_->writebyte(k_revision);
    stream_->writebyte(data_version_);
    const int segments = entries_.count();
    unsigned char revision = getdatarevision();
    if (segments >= k_most_counted) {
        revision |= k_file_bit;
        ut_status(zeoform("Datarevision: 0x%x, Segs no: %d  written: %d", revision, segments,
                          segments % k_most_counted));
    }
    if (segments > k_most_segments) {
        contract_failed(
            {.module = k_module, .exit_value = 1},
            zeoform("Bad number of segments found\n   numsegs=%d.  Cannot write file %s\n", segments, name_));
        return false;
    }
    const ut_long offset = directory_offset();
    stream_->writebyte(revision);
    stream_->writeushort(static_cast<unsigned short>(segments % k_most_counted));
    stream_->writeint(offset);
    stream_->setfoffset(offset);
    entries_.reset();
    while (const auto* const entry = static_cast<const UT_IFILEDIR*>(entries_.getnext())) {
        stream_->writestring(entry->name_);
        for (const ut_long number : {entry->offset_, entry->size_, entry->type_, entry->data_})
            stream_->writeint(number);
    }
    return true;
}

/// The place behind the last entry's segment, and behind every byte that was written: the last entry's need
/// not be the last one in the file once another was written anew.
ut_long UT_IFILE::directory_offset()
{
    ut_int64 behind_last = k_header_bytes;
    entries_.reset();
    while (const auto* const entry = static_cast<const UT_IFILEDIR*>(entries_.getnext()))
        behind_last = ut_int64{entry->offset_} + entry->size_;
    return filed(std::max(behind_last, ut_int64{next_free_}));
}

/// Puts `entry` into the list and, at `place` or near it, into the map, unless that has one of this name.
/// Where memory is exhausted, it goes into neither.
UT_IFILEDIR* UT_IFILE::add(new_entry entry, name_map::const_iterator place)
{
    name_map one;
    one.emplace(entry->name_, entry.get());
    entries_.append(entry.get());
    by_name_.insert(place, one.extract(one.begin()));
    return entry.release();
}

/// The first entry of this name; null for none, and for no name.
UT_IFILEDIR* UT_IFILE::find(const char* name) const
{
    const auto found = name != nullptr ? by_name_.find(std::string_view(name)) : by_name_.end();
    return found != by_name_.end() ? found->second : nullptr;
}

// ---- segments

UT_IFILEDIR* UT_IFILE::newfdir(const char* name, long type, long data)
{
    if (name == nullptr) return nullptr;
    return add(new_entry(new UT_IFILEDIR(name, next_free_, 0, type, data)),
               by_name_.lower_bound(std::string_view(name)));
}

UT_STREAM* UT_IFILE::putdataseg(const char* name, long type, long data)
{
    const bool in_work = cache_ == 0 && stream_ != nullptr;
    if (name_ == nullptr || mode_ != k_to_write || name == nullptr || in_work) return nullptr;
    const std::string_view key = name;
    const auto place = by_name_.lower_bound(key);
    UT_IFILEDIR* entry = nullptr;
    if (place != by_name_.end() && place->first == key) {
        entry = place->second;
        entry->offset_ = next_free_;
        entry->size_ = 0;
        entry->type_ = filed(type);
        entry->data_ = filed(data);
    } else {
        entry = add(new_entry(new UT_IFILEDIR(name, next_free_, 0, type, data)), place);
    }
    if (stream_ == nullptr && !reopen(UT_ACCESS_WRITE)) return nullptr;
    current_ = entry;
    go_to(entry->offset_);
    return stream_;
}

unsigned char UT_IFILE::enddataseg()
{
    if (stream_ == nullptr) return 0;
    stream_->flush();
    if (mode_ == k_to_write) {
        next_free_ = filed(stream_->getfoffset());
        if (current_ != nullptr) current_->size_ = filed(ut_int64{next_free_} - current_->offset_);
        current_ = nullptr;
    }
    if (cache_ == 0) close_stream();
    return 1;
}

UT_STREAM* UT_IFILE::getdataseg(const char* name, long type, UT_IFILESEGINFO* info)
{
    const bool in_work = cache_ == 0 && stream_ != nullptr;
    if (name_ == nullptr || mode_ != k_to_read || name == nullptr || in_work) return nullptr;
    const bool remembered =
        info != nullptr && info->entry_ != nullptr && std::strcmp(info->entry_->name_, name) == 0;
    const UT_IFILEDIR* const entry = remembered ? info->entry_ : find(name);
    if (entry == nullptr) return nullptr;
    if (filed(type) != -1 && filed(type) != entry->type_) return nullptr;
    if (info != nullptr) info->fill(*entry);
    if (stream_ == nullptr && !reopen(UT_ACCESS_READ)) return nullptr;
    go_to(entry->offset_);
    return stream_;
}

/// Brings the stream to `offset`. A place that cannot be is the end.
///
/// Most segments follow each other, which saves a call into the system: a reader reads on where it is a
/// little way ahead, and in a compressed file, where any seek reads all from the start, however far it is.
void UT_IFILE::go_to(ut_long offset)
{
    const bool compressed = stream_->is_access_compressed() != 0;
    const ut_int64 ahead = ut_int64{offset} - stream_->getfoffset();
    const bool read_on = mode_ == k_to_read && ahead >= 0 && (ahead <= k_near || compressed);
    const bool write_on = mode_ == k_to_write && ahead == 0 && !compressed;
    if ((read_on || write_on) && stream_->geteof() == 0 && stream_->skip(static_cast<long>(ahead)) == ahead)
        return;
    if (stream_->setfoffset(offset) == 0) stream_->seekend();
}

unsigned char UT_IFILE::getseginfo(const char* name, UT_IFILESEGINFO& info) const
{
    return info.fill_or_clear(find(name));
}

unsigned char UT_IFILE::getnextseginfo(UT_IFILESEGINFO& info, unsigned char keep)
{
    auto* const entry = static_cast<UT_IFILEDIR*>(entries_.getnext());
    if (entry != nullptr) info.entry_ = keep != 0 ? entry : nullptr;
    return info.fill_or_clear(entry);
}

void UT_IFILESEGINFO::fill(const UT_IFILEDIR& entry)
{
    setname(entry.name_);
    size_ = entry.size_;
    type_ = entry.type_;
    data_ = entry.data_;
}

/// Takes what `entry` tells; for null the name "" and nothing else. True for an entry.
unsigned char UT_IFILESEGINFO::fill_or_clear(const UT_IFILEDIR* entry)
{
    if (entry == nullptr) {
        setname("");
        return 0;
    }
    fill(*entry);
    return 1;
}

// ---- reports

void UT_IFILE::version_mismatch(unsigned char version)
{
    contract_failed(
        {.module = k_module, .exit_value = 2},
        zeoform("Incompatible versions. Version %d does not match current version %d for file \"%s\".",
                version, k_version, text_of(name_)));
}

void UT_IFILE::revision_mismatch(unsigned char revision)
{
    numbered_message({"1412"}, "Revision %d does not match current revision %d for file \"%s\".", revision,
                     k_revision, text_of(name_));
}

void UT_IFILE::openerror()
{
    const char* const name = text_of(name_);
    if (mode_ == k_to_read)
        contract_failed({.module = k_module, .exit_value = 3},
                        zeoform("Unable to open file \"%s\" for input.", name));
    else if (mode_ == k_to_write)
        contract_failed({.module = k_module, .exit_value = 4},
                        zeoform("Unable to open file \"%s\" for output.", name));
    else
        contract_failed({.module = k_module, .exit_value = 5}, zeoform("Unable to open file \"%s\".", name));
}
