// basutfileencode.cpp
#include "basutfileencode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "basutfile.h"
#include "basutpath.h"
#include "basutstr.h"

namespace {

constexpr std::string_view k_magic("\x06\x1e\x43\x00\x09", 5);
constexpr std::string_view k_pack_name = "zeodata.etc";
constexpr std::size_t k_longest_pack_name = 259;
constexpr std::size_t k_longest_number = 10;  ///< digits of an offset
constexpr long k_most_content = std::numeric_limits<ut_long>::max();
constexpr int k_content_step = 4096;

// ---- the transform

/// What a scrambled byte differs by at a position in its part of the file.
constexpr unsigned char mask_at(std::size_t position)
{
    return static_cast<unsigned char>((static_cast<std::uint32_t>(position) + 1) * 0x9e37'79b1U >> 24);
}

/// Scrambles plain bytes, or brings scrambled ones back.
void scramble(std::span<unsigned char> part)
{
    for (std::size_t i = 0; i < part.size(); ++i) part[i] ^= mask_at(i);
}

void scramble(std::string& part)
{
    scramble({reinterpret_cast<unsigned char*>(part.data()), part.size()});
}

// ---- streams

struct closing {
    void operator()(UT_STREAM* stream) const noexcept
    {
        try {
            ut_file.close(stream);
        } catch (...) {  // left early because of a report already: one is enough
        }
    }
};
using open_file = std::unique_ptr<UT_STREAM, closing>;

open_file to_read(const char* name)
{
    return open_file(ut_file.open(name, UT_ACCESS_READ, 0));
}

open_file to_write(const char* name)
{
    return open_file(ut_file.open(name, UT_ACCESS_WRITE, 1));
}

/// True if all of it went out; the stream is closed either way.
bool completed(open_file file)
{
    const bool done = file->flush() != 0 && file->geterror() == 0;
    return ut_file.close(file.release()) != 0 && done;
}

bool put(UT_STREAM& out, std::string_view bytes)
{
    const auto count = static_cast<int>(bytes.size());
    return out.write(reinterpret_cast<const unsigned char*>(bytes.data()), count) == count;
}

/// The next `count` bytes, or as many as there are.
std::string taken(UT_STREAM& in, long count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    const int got = in.read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count));
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

std::string taken_at(UT_STREAM& in, long position, long count)
{
    return in.setfoffset(position) != 0 ? taken(in, count) : std::string();
}

/// All that is left; nothing if it is too much or cannot be read.
std::optional<std::string> rest_of(UT_STREAM& in)
{
    std::string bytes;
    for (std::string piece; !(piece = taken(in, k_content_step)).empty(); bytes += piece)
        if (bytes.size() > static_cast<std::size_t>(k_most_content)) return std::nullopt;
    return in.geterror() == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

std::string peeked(UT_STREAM& in, std::size_t count)
{
    std::string bytes(count, '\0');
    const int got = in.peek(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count));
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

/// Steps over the magic; false if there is none.
bool take_magic(UT_STREAM& in)
{
    if (peeked(in, k_magic.size()) != k_magic) return false;
    in.skip(k_magic.size());
    return true;
}

// ---- the first line and the catalog

/// A number that is nothing but digits, and that an offset can have.
std::optional<ut_long> offset_of(std::string_view digits)
{
    std::uint32_t value = 0;  // which no sign stands in front of
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value > k_most_content)
        return std::nullopt;
    return static_cast<ut_long>(value);
}

/// The offset that the first line names, which is stepped over; nothing if it is no such line.
std::optional<ut_long> take_first_line(UT_STREAM& in, bool scrambled)
{
    std::string line = peeked(in, k_longest_number);
    if (scrambled) scramble(line);
    const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
    line = taken(in, static_cast<long>(digits) + 1);
    if (scrambled) scramble(line);
    if (!line.ends_with('\n')) return std::nullopt;
    return offset_of(std::string_view(line).substr(0, digits));
}

/// The next line without its line feed; nothing if there is none that is complete.
std::optional<std::string_view> next_line(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

struct extent {
    ut_long start;
    ut_long end;
    long length() const { return long{end} - start; }
};

/// Where the member is that a catalog names; nothing if it does not, or contradicts itself before.
std::optional<extent> extent_of(std::string_view member, std::string_view catalog, ut_long catalog_offset)
{
    extent where{0, 0};
    while (const auto name = next_line(catalog)) {
        const auto number = next_line(catalog);
        const auto end = number ? offset_of(*number) : std::nullopt;
        if (!end || *end < where.end || *end > catalog_offset) return std::nullopt;
        where = {where.end, *end};
        if (*name == member) return where;
    }
    return std::nullopt;
}

}  // namespace

// ---- construction and end

UT_FILEENCODE::UT_FILEENCODE(const char* pack_file, unsigned char catalog)
    : content_(k_content_step), catalog_mode_(catalog), names_(1, 1)
{
    pack_file_ = ut_strdup(pack_file);
}

UT_FILEENCODE::~UT_FILEENCODE()
{
    forget_members();
    std::free(pack_file_);
}

// ---- files

unsigned char UT_FILEENCODE::dump(const char* name, unsigned char encode)
{
    open_file out = to_write(name);
    if (out == nullptr) return 0;
    if (state_ == k_to_be_created && catalog_mode_ != 0) enter_own();
    const bool scrambled = encode != 0;
    bool done = !scrambled || put(*out, k_magic);
    if (done) done = catalog_mode_ != 0 ? put_pack(*out, scrambled) : put_part(*out, 0, size(), scrambled);
    return completed(std::move(out)) && done;
}

unsigned char UT_FILEENCODE::load(const char* name, unsigned char direct)
{
    state_ = k_loaded;
    forget_members();
    content_.empty();
    bool found = false;
    if (const open_file single = direct != 0 ? to_read(name) : nullptr) {
        const bool scrambled = take_magic(*single);
        const auto bytes = rest_of(*single);
        found = bytes && append(*bytes);
        if (scrambled) decodebuff();
    } else if (name != nullptr && choose_pack(name)) {
        if (const open_file pack = to_read(pack_file_)) {
            const bool scrambled = take_magic(*pack);
            found = take_member(*pack, ut_pathgettail(name, nullptr), scrambled);
            if (scrambled) decodebuff();
        }
    }
    move_to(0);
    return found;
}

unsigned char UT_FILEENCODE::catalog(const char* from, const char* to)
{
    const open_file in = to_read(from);
    if (in == nullptr) return 0;
    const bool scrambled = take_magic(*in);
    auto bytes = rest_of(*in);
    if (!bytes) return 0;
    if (scrambled) scramble(*bytes);
    open_file out = to_write(to);
    if (out == nullptr || !append(*bytes) || !enter(ut_pathgettail(from, nullptr))) return 0;
    const bool done = (!scrambled || put(*out, k_magic)) && put_pack(*out, scrambled);
    return completed(std::move(out)) && done;
}

/// Settles which pack `name` is in; false if its own name would be too long.
bool UT_FILEENCODE::choose_pack(const char* name)
{
    if (pack_file_ != nullptr) return true;
    std::string pack(name, static_cast<const char*>(ut_pathgettail(name, nullptr)));
    pack += k_pack_name;
    if (pack.size() > k_longest_pack_name) return false;
    pack_file_ = ut_strdup(pack.c_str());
    return true;
}

/// Makes the content that of a member, still scrambled where the pack is.
bool UT_FILEENCODE::take_member(UT_STREAM& in, std::string_view name, bool scrambled)
{
    const auto catalog_offset = take_first_line(in, scrambled);
    if (!catalog_offset) return false;
    const long first = in.getfoffset();
    const long catalog_size = ut_file.getrsize(pack_file_) - first - *catalog_offset;
    if (catalog_size < 0 || catalog_size > k_most_content) return false;
    std::string catalog = taken_at(in, first + *catalog_offset, catalog_size);
    if (scrambled) scramble(catalog);
    const auto where = extent_of(name, catalog, *catalog_offset);
    if (!where) return false;
    const std::string member = taken_at(in, first + where->start, where->length());
    return member.size() == static_cast<std::size_t>(where->length()) && append(member);
}

/// Writes first line, members and catalog.
bool UT_FILEENCODE::put_pack(UT_STREAM& out, bool scrambled)
{
    std::string first_line = std::to_string(size()) + '\n';
    std::string catalog;
    for (long i = 0; i < count_; ++i)
        catalog.append(names_[i]).append(1, '\n').append(std::to_string(ends_[i])).append(1, '\n');
    if (scrambled) {
        scramble(first_line);
        scramble(catalog);
    }
    return put(out, first_line) && put_members(out, scrambled) && put(out, catalog);
}

/// Writes the content, what no member has at its end, too.
bool UT_FILEENCODE::put_members(UT_STREAM& out, bool scrambled)
{
    long start = 0;
    for (long i = 0; i < count_; start = ends_[i++])
        if (!put_part(out, start, ends_[i], scrambled)) return false;
    return put_part(out, start, size(), scrambled);
}

bool UT_FILEENCODE::put_part(UT_STREAM& out, long start, long end, bool scrambled)
{
    if (!scrambled) return put(out, text(start, end));
    struct scrambled_meanwhile {
        UT_FILEENCODE& file;
        long start, length;
        scrambled_meanwhile(UT_FILEENCODE& its, long from, long count) : file(its), start(from), length(count)
        {
            file.encodebuff(start, length);
        }
        ~scrambled_meanwhile() { file.decodebuff(start, length); }
    } const part(*this, start, end - start);
    return put(out, text(start, end));
}

// ---- members and content

/// Enters the content behind the last member as one more.
bool UT_FILEENCODE::enter(const char* name)
{
    if (names_.getaddr(count_) == nullptr || ends_.getaddr(count_) == nullptr) return false;
    names_[count_] = ut_strdup(name);
    ends_[count_] = static_cast<ut_long>(size());
    ++count_;
    return true;
}

/// Enters the content under the pack's own name; a second time, the member grows instead.
void UT_FILEENCODE::enter_own()
{
    const char* const name = pack_file_ != nullptr ? ut_pathgettail(pack_file_, nullptr) : "";
    if (count_ > 0 && std::strcmp(names_[count_ - 1], name) == 0)
        ends_[count_ - 1] = static_cast<ut_long>(size());
    else
        enter(name);
}

void UT_FILEENCODE::forget_members()
{
    for (char* const name : names_) std::free(name);
    names_.empty();
    ends_.empty();
    count_ = 0;
}

bool UT_FILEENCODE::append(std::string_view bytes)
{
    const long before = size();
    if (bytes.size() > static_cast<std::size_t>(k_most_content - before)) return false;
    if (bytes.empty()) return true;
    if (content_.getaddr(before + static_cast<long>(bytes.size()) - 1) == nullptr) return false;
    bytes.copy(reinterpret_cast<char*>(&content_[before]), bytes.size());
    move_to(position_);
    return true;
}

void UT_FILEENCODE::encodebuff()
{
    encodebuff(0, size());
}

void UT_FILEENCODE::encodebuff(long start, long length)
{
    scramble({content_.begin() + start, static_cast<std::size_t>(length)});
}

void UT_FILEENCODE::decodebuff()
{
    decodebuff(0, size());
}

void UT_FILEENCODE::decodebuff(long start, long length)
{
    encodebuff(start, length);  // the mask undoes itself
}

std::string_view UT_FILEENCODE::text(long start, long end) const
{
    return {reinterpret_cast<const char*>(content_.begin()) + start, static_cast<std::size_t>(end - start)};
}

// ---- reading and writing

void UT_FILEENCODE::move_to(long position)
{
    position_ = static_cast<std::int32_t>(position);
    eof_ = position_ >= size();
}

unsigned char UT_FILEENCODE::setfoffset(long position)
{
    if (position < 0 || position > size()) return 0;
    move_to(position);
    return 1;
}

long UT_FILEENCODE::peek(char* out, long n) const
{
    return static_cast<long>(ahead(n).copy(out, k_most_content));
}

/// Takes up to `n` bytes through one of `ends`.
std::string_view UT_FILEENCODE::take_through(std::string_view ends, long n)
{
    const std::string_view seen = ahead(n);
    const std::size_t ended = seen.find_first_of(ends);
    const std::string_view bytes = ended != std::string_view::npos ? seen.substr(0, ended + 1) : seen;
    move_to(position_ + static_cast<long>(bytes.size()));
    return bytes;
}

long UT_FILEENCODE::readline(char* out, long n)
{
    if (n < 1) return 0;
    std::string_view line = take_through("\n", n - 1);
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
    }
    out[line.copy(out, line.size())] = '\0';
    return static_cast<long>(std::strlen(out));
}

long UT_FILEENCODE::readkey(char* out, long n, ketriope::stream_key key)
{
    const std::string_view ends(key.first(), key.count());
    const std::string_view bytes = take_through(ends, n);
    const auto stored = static_cast<long>(bytes.copy(out, bytes.size()));
    const bool ended = stored > 0 && ends.find(bytes.back()) != std::string_view::npos;
    if (stored == 0 || stored == n || ended) return stored;
    out[stored] = '\0';
    return stored + 1;
}

long UT_FILEENCODE::writeline(const char* line)
{
    if (line == nullptr) return 0;
    const std::string ended = std::string(line) + '\n';
    return append(ended) ? static_cast<long>(ended.size()) : 0;
}
