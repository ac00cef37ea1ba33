// segments.cpp: `ketriope segments` and `ketriope extract`: what is in an indexed file.
#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "basutfile.h"
#include "basutifile.h"
#include "basutstream.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "output_file.h"
#include "progress.h"
#include "reason.h"

namespace ketriope::tool {
namespace {

/// An indexed file that is read. What stands in the way is reported as the other commands do it.
class indexed_file : public UT_IFILE {
public:
    explicit indexed_file(const char* name) : shown_name_(printable(name))
    {
        if (!can_be_read(name)) return;
        ut_file.clearerror();
        is_open_ = load(name) != 0;
        if (!is_open_) return;
        is_cut_short_ = directory_is_cut();
        if (is_cut_short_)
            report_warning("'" + shown_name_ +
                           "' lacks a part of its directory: what is missing shows as 0.");
    }
    ~indexed_file() override
    {
        if (getfname() != nullptr) unload();
    }
    indexed_file(const indexed_file&) = delete;
    indexed_file& operator=(const indexed_file&) = delete;

    bool is_open() const { return is_open_; }
    /// True where entries are missing, in whole or in part; it was reported.
    bool is_cut_short() const { return is_cut_short_; }
    const std::string& shown_name() const { return shown_name_; }

    void openerror() override { report_unreadable(shown_name_, reason_of(ut_file.geterror())); }
    void version_mismatch(unsigned char) override
    {
        report_unreadable(shown_name_, "it is no indexed file, or one that was not completed");
    }
    void revision_mismatch(unsigned char revision) override
    {
        report_warning("'" + shown_name_ + "' has revision " + std::to_string(revision) +
                       ": it may hold what this version does not know.");
    }

private:
    bool directory_is_cut();

    std::string shown_name_;
    bool is_open_ = false;
    bool is_cut_short_ = false;
};

/// The library takes what lies behind the end of a file for zeros: so this asks whether the directory, as
/// long as it is by its entries, is all there.
bool indexed_file::directory_is_cut()
{
    constexpr long k_offset_of_directory = 6, k_numbers = 16;
    long length = 0;
    UT_IFILESEGINFO info;
    while (getnextseginfo(info, 0) != 0)
        length += static_cast<long>(std::string_view(info.getname()).size()) + 1 + k_numbers;
    resetseginfo();
    UT_STREAM* const in = ut_file.open(getfname(), UT_ACCESS_READ, 0);
    if (in == nullptr) return false;
    int offset = 0;
    const bool whole = in->skip(k_offset_of_directory) == k_offset_of_directory &&
                       in->read(offset) == static_cast<int>(sizeof offset) && in->setfoffset(offset) != 0 &&
                       in->skip(length) == length;
    ut_file.close(in);
    return !whole;
}

/// Numbers in a column, to the right.
class column {
public:
    explicit column(const char* head) : width_(std::string_view(head).size()), head_(head) {}

    void add(long number)
    {
        cells_.push_back(std::to_string(number));
        width_ = std::max(width_, cells_.back().size());
    }
    std::string head() const { return aligned(head_); }
    std::string cell(std::size_t line) const { return aligned(cells_[line]); }

private:
    std::string aligned(const std::string& text) const
    {
        return std::string(width_ - text.size(), ' ') + text;
    }

    std::size_t width_;
    std::string head_;
    std::vector<std::string> cells_;
};

void show_directory(indexed_file& file)
{
    std::array<column, 3> columns{column("size"), column("type"), column("data")};
    std::vector<std::string> names;
    UT_IFILESEGINFO info;
    while (file.getnextseginfo(info, 0) != 0) {
        columns[0].add(info.getsize());
        columns[1].add(info.gettype());
        columns[2].add(info.getdata());
        names.push_back(printable(info.getname()));
    }
    print(file.shown_name() + '\n' +
          row("data version",
              std::to_string(file.getdataversion()) + '.' + std::to_string(file.getdatarevision())) +
          row("segments", std::to_string(names.size())));
    if (names.empty()) return;
    const auto line = [&](const auto& cell, const std::string& name) {
        std::string text;
        for (const column& each : columns) text += "  " + cell(each);
        print(text + "  " + name + '\n');
    };
    print("\n");
    line([](const column& each) { return each.head(); }, "name");
    for (std::size_t i = 0; i < names.size(); ++i)
        line([i](const column& each) { return each.cell(i); }, names[i]);
}

outcome run_segments(const request& asked)
{
    indexed_file file(asked.operands[0]);
    if (!file.is_open()) return outcome::failed;
    show_directory(file);
    return file.is_cut_short() ? outcome::negative : outcome::done;
}

/// Writes the next `size` bytes of `in` to `out`, and returns how many there were.
long copy_segment(UT_STREAM& in, long size, output_file& out, progress& bar)
{
    std::vector<unsigned char> piece(65'536);
    long done = 0;
    while (done < size) {
        const long wanted = std::min(size - done, static_cast<long>(piece.size()));
        const long got = in.read(piece.data(), static_cast<int>(wanted));
        if (got < 1 ||
            !out.write({reinterpret_cast<const char*>(piece.data()), static_cast<std::size_t>(got)}))
            break;
        done += got;
        bar.reached(done);
    }
    return done;
}

outcome run_extract(const request& asked)
{
    indexed_file file(asked.operands[0]);
    if (!file.is_open()) return outcome::failed;
    UT_IFILESEGINFO info;
    UT_STREAM* const in = file.getdataseg(asked.operands[1], -1, &info);
    const std::string segment = "segment '" + printable(asked.operands[1]) + "'";
    if (in == nullptr) {
        report_error("'" + file.shown_name() + "' has no " + segment + ".");
        return outcome::failed;
    }
    output_file out(asked.operands[2], UT_ACCESS{});
    if (out.failed()) return outcome::failed;
    long done = 0;
    {
        progress bar(file.shown_name(), info.getsize());
        done = copy_segment(*in, info.getsize(), out, bar);
    }
    if (in->geterror() != 0) {
        report_unreadable(file.shown_name(), reason_of(in->geterror()));
        return outcome::failed;
    }
    if (!out.finish()) return outcome::failed;
    print(printable(asked.operands[2]) + ": " + counted(static_cast<ut_uint64>(done), "byte") + '\n');
    if (done == info.getsize()) return file.is_cut_short() ? outcome::negative : outcome::done;
    report_warning("'" + file.shown_name() + "' ends within " + segment + ": what is there was read.");
    return outcome::negative;
}

constexpr char k_segments_details[] =
    R"(Lists the segments of an indexed file in the order of its directory, with their
size in bytes, and the type and the number that the tool gave them. Where the
file was cut, the entries that are missing show as 0, which is told.
)";

constexpr char k_extract_details[] =
    R"(Writes one segment of an indexed file to another file, which is plain. Where
several have the name, it is the first. The new file gets its name when it is
complete, as with 'ketriope pack'.
)";

}  // namespace

constinit const command k_segments{
    .name = "segments",
    .operands = "<file>",
    .summary = "list what is in an indexed file",
    .details = k_segments_details,
    .least = 1,
    .most = 1,
    .run = run_segments,
};

constinit const command k_extract{
    .name = "extract",
    .operands = "<file> <segment> <out>",
    .summary = "write one segment to a file",
    .details = k_extract_details,
    .least = 3,
    .most = 3,
    .run = run_extract,
};

}  // namespace ketriope::tool
