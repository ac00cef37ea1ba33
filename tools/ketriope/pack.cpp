// pack.cpp: `ketriope pack`, `ketriope unpack` and `ketriope cat`: content from one form into another.
#include <array>
#include <string>
#include <string_view>

#include "basutfile.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "output_file.h"
#include "progress.h"

namespace ketriope::tool {
namespace {

/// The forms that a file can be asked for.
struct asked_form {
    const char* flag;
    UT_ACCESS bit;
};
constexpr std::array<asked_form, 3> k_forms{
    {{"-packed", UT_ACCESS_PACKED}, {"-gca", UT_ACCESS_GCA}, {"-gcb", UT_ACCESS_GCB}}};
constexpr std::array<const char*, 3> k_flags{k_forms[0].flag, k_forms[1].flag, k_forms[2].flag};

UT_ACCESS form_of(const char* flag)
{
    for (const asked_form& each : k_forms)
        if (flag != nullptr && std::string_view(each.flag) == flag) return each.bit;
    return k_forms[0].bit;
}

/// Hands all content of `in` to `take`, and returns how much; stops where `take` says false.
ut_uint64 pass_content(input_file& in, const auto& take)
{
    ut_uint64 size = 0;
    for (std::string_view piece = in.next(); !piece.empty(); piece = in.next()) {
        size += piece.size();
        if (!take(piece)) break;
    }
    if (in.is_cut_short()) in.warn_of_cut();
    return size;
}

/// Writes the content of the file `from` to the file `to`, in a form, and tells of both sizes.
outcome convert(const char* from, const char* to, UT_ACCESS form)
{
    input_file in(from);
    if (!in.is_open()) return outcome::failed;
    output_file out(to, form);
    if (out.failed()) return outcome::failed;
    ut_uint64 size = 0;
    {
        progress bar(in.shown_name(), in.size());
        size = pass_content(in, [&](std::string_view piece) {
            bar.reached(in.bytes_read());
            return out.write(piece);
        });
    }
    if (in.failed() || !out.finish()) return outcome::failed;
    const auto stored = static_cast<ut_uint64>(ut_file.getsize(to));
    const std::string share = share_of(stored, size);
    print(printable(to) + ": " + counted(size, "byte") +
          (form == UT_ACCESS{} || share.empty() ? "" : ", stored in " + share) + '\n');
    return in.is_cut_short() ? outcome::negative : outcome::done;
}

outcome run_pack(const request& asked)
{
    return convert(asked.operands[0], asked.operands[1], form_of(asked.flag));
}

outcome run_unpack(const request& asked)
{
    return convert(asked.operands[0], asked.operands[1], UT_ACCESS{});
}

outcome run_cat(const request& asked)
{
    input_file in(asked.operands[0]);
    if (!in.is_open()) return outcome::failed;
    pass_content(in, [](std::string_view piece) {
        print_content(piece);
        return true;
    });
    if (in.failed()) return outcome::failed;
    return in.is_cut_short() ? outcome::negative : outcome::done;
}

constexpr char k_pack_details[] =
    R"(Writes the content of a file, in whatever form it is stored, to another file:

  -packed   in the suite's own form; so it is without an option, too
  -gca      in blocks that zlib compresses
  -gcb      in blocks that bzip2 compresses

The new file is written under another name beside its own and gets its name when
it is complete. So a file of that name stays as it was when the run is
interrupted. A terminal shows how far the work has come.
)";

constexpr char k_unpack_details[] =
    R"(Writes the content of a file to another file, which is plain. The form of the
first is told by its signature; a plain one is copied. The new file gets its
name when it is complete, as with 'ketriope pack'.

A file that ends too early is unpacked as far as it goes, which is told.
)";

constexpr char k_cat_details[] =
    R"(Writes the content of a file, in whatever form it is stored, to standard output,
byte by byte as it is.
)";

}  // namespace

constinit const command k_pack{
    .name = "pack",
    .operands = "[-packed|-gca|-gcb] <in> <out>",
    .summary = "compress a file",
    .details = k_pack_details,
    .least = 2,
    .most = 2,
    .run = run_pack,
    .flags = k_flags,
};

constinit const command k_unpack{
    .name = "unpack",
    .operands = "<in> <out>",
    .summary = "expand a file",
    .details = k_unpack_details,
    .least = 2,
    .most = 2,
    .run = run_unpack,
};

constinit const command k_cat{
    .name = "cat",
    .operands = "<file>",
    .summary = "show the content of a file",
    .details = k_cat_details,
    .least = 1,
    .most = 1,
    .run = run_cat,
};

}  // namespace ketriope::tool
