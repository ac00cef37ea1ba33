// info.cpp: `ketriope info`.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "basutform.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "progress.h"
#include "uttypes.h"

namespace ketriope::tool {
namespace {

/// True for what a text is made of.
constexpr bool is_text(char c) noexcept
{
    return is_printable(c) || c == '\n' || c == '\r';
}

/// What the content of a file looks like, found out piece by piece.
class survey {
public:
    void add(std::string_view piece);
    /// Takes in a last line that has no end. Nothing is added behind it.
    void finish();

    bool empty() const { return size_ == 0; }
    ut_uint64 size() const { return size_; }
    std::string lines() const;
    std::string longest_line() const;
    std::string first_unprintable() const;

private:
    void end_line();
    void look_for_unprintable(std::string_view piece);

    ut_uint64 size_ = 0;
    ut_uint64 lines_ = 0;
    ut_uint64 length_ = 0;  ///< of the line in hand
    ut_uint64 longest_ = 0;
    ut_uint64 longest_at_ = 0;  ///< its number, from 1
    bool return_last_ = false;  ///< the line in hand ends in a CR so far
    bool open_end_ = false;     ///< the last line has no end
    struct odd_byte {
        ut_uint64 offset;
        unsigned char value;
    };
    std::optional<odd_byte> unprintable_;
};

void survey::add(std::string_view piece)
{
    if (!unprintable_) look_for_unprintable(piece);
    size_ += piece.size();
    while (!piece.empty()) {
        const std::size_t feed = std::min(piece.find('\n'), piece.size());
        if (feed > 0) return_last_ = piece[feed - 1] == '\r';
        length_ += feed;
        if (feed == piece.size()) return;
        if (return_last_) --length_;
        end_line();
        piece.remove_prefix(feed + 1);
    }
}

void survey::end_line()
{
    ++lines_;
    if (length_ > longest_ || lines_ == 1) {
        longest_ = length_;
        longest_at_ = lines_;
    }
    length_ = 0;
    return_last_ = false;
}

void survey::finish()
{
    open_end_ = length_ > 0;
    if (open_end_) end_line();
}

void survey::look_for_unprintable(std::string_view piece)
{
    const char* const end = piece.data() + piece.size();
    const char* const odd = std::find_if_not(piece.data(), end, is_text);
    if (odd == end) return;
    unprintable_ = {size_ + static_cast<ut_uint64>(odd - piece.data()), static_cast<unsigned char>(*odd)};
}

std::string survey::lines() const
{
    return std::to_string(lines_) + (open_end_ ? ", the last one without an end" : "");
}

std::string survey::longest_line() const
{
    if (lines_ == 0) return "none";
    return counted(longest_, "byte") + ", line " + std::to_string(longest_at_);
}

std::string survey::first_unprintable() const
{
    if (!unprintable_) return "none";
    return zeoform("0x%02X at offset ", unprintable_->value) + std::to_string(unprintable_->offset);
}

/// The rows about what a compressor made of the content; none for a plain file.
std::string storage_rows(const input_file& file, ut_uint64 size)
{
    if (!file.is_compressed()) return {};
    const std::string share = share_of(static_cast<ut_uint64>(file.size()), size);
    return row("content", counted(size, "byte") + (share.empty() ? "" : ", stored in " + share)) +
           row("blocks", std::to_string(file.blocks()) + (file.is_cut_short() ? ", cut short" : ""));
}

/// Writes all there is to tell of an open file; false if its content could not be read.
bool describe(input_file& file)
{
    survey content;
    {
        progress bar(file.shown_name(), file.size());
        for (std::string_view piece = file.next(); !piece.empty(); piece = file.next()) {
            content.add(piece);
            bar.reached(file.bytes_read());
        }
    }
    content.finish();
    std::string text = file.shown_name() + '\n' + row("form", file.form()) +
                       row("size on disk", counted(static_cast<ut_uint64>(file.size()), "byte"));
    if (!file.failed())
        text += storage_rows(file, content.size()) + row("lines", content.lines()) +
                row("longest line", content.longest_line()) + row("unprintable", content.first_unprintable());
    print(text);
    if (!file.failed() && content.empty()) report_warning("'" + file.shown_name() + "' is empty.");
    if (file.is_cut_short()) file.warn_of_cut();
    return !file.failed();
}

outcome run(const request& asked)
{
    outcome end = outcome::done;
    bool first = true;
    for (const char* name : asked.operands) {
        input_file file(name);
        if (file.is_open() && !std::exchange(first, false)) print("\n");
        if (!file.is_open() || !describe(file)) end = outcome::failed;
    }
    return end;
}

constexpr char k_details[] = R"(Tells of each file:

  form           how it is stored, as its first bytes say: plain, packed, GCA
                 or GCB
  size on disk
  content        of a compressed file: its size, and the share that is stored
  blocks         of a compressed file
  lines          which end in LF or CR LF
  longest line   its length without its end, and the first line that has it
  unprintable    the first byte other than blank to '~', tab, LF and CR, and its
                 offset from the start of the content
)";

}  // namespace

constinit const command k_info{
    .name = "info",
    .operands = "<file> {<more>}",
    .summary = "tell form, size and lines of files",
    .details = k_details,
    .least = 1,
    .most = k_any_number,
    .run = run,
};

}  // namespace ketriope::tool
