// grep.cpp: `ketriope grep`.
#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "basutregexp.h"
#include "basutstrobj.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "uttypes.h"

namespace ketriope::tool {
namespace {

/// How many lines of a file match, of how many.
struct tally {
    std::string name;
    ut_uint64 matching = 0;
    ut_uint64 lines = 0;
};

/// Makes `text` the line with all its bytes. A NUL stands behind the line.
void store(UT_STROBJ& text, std::string_view line)
{
    text = line.data();
    if (text.length() == line.size()) return;
    std::string without_nuls(line);  // a counted string takes them one by one
    std::ranges::replace(without_nuls, '\0', ' ');
    text = without_nuls.c_str();
    for (std::size_t at = line.find('\0'); at < line.size(); at = line.find('\0', at + 1)) text[at] = '\0';
}

/// The match as columns from 1, "7-12"; an empty one as the column that it stands in front of.
std::string columns(std::size_t begin, std::size_t end)
{
    const std::string first = std::to_string(begin + 1);
    return begin == end ? first : first + '-' + std::to_string(end);
}

void show(const tally& at, std::string_view line, const UT_STRKEYS& keys)
{
    const auto begin = static_cast<std::size_t>(keys.key_start(0));
    const auto end = static_cast<std::size_t>(keys.key_end(0));
    print(at.name + ':' + std::to_string(at.lines) + ':' + columns(begin, end) + ": " +
          printable(line.substr(0, begin)) + highlighted(printable(line.substr(begin, end - begin))) +
          printable(line.substr(end)) + '\n');
}

/// Shows the lines of a file that match; it has none if it is not open.
tally search(input_file& file, const UT_REGEXP& pattern)
try {
    tally found{.name = file.shown_name()};
    UT_STROBJ text;
    for (line_reader reader(file); reader.next();) {
        ++found.lines;
        store(text, reader.line());
        const UT_STRKEYS keys = text.match_reg_exp(pattern);
        if (keys.num_keys() == 0) continue;
        ++found.matching;
        show(found, reader.line(), keys);
    }
    return found;
} catch (const std::bad_alloc&) {
    file.fail("a line of it is too long for the memory");
    return {};
}

/// Writes a row for each file, and one for all where there are several, with the numbers in columns.
void show_tallies(std::vector<tally> rows)
{
    if (rows.empty()) return;
    if (rows.size() > 1) {
        tally all{.name = "in " + std::to_string(rows.size()) + " files"};
        for (const tally& row : rows) {
            all.matching += row.matching;
            all.lines += row.lines;
        }
        rows.push_back(all);
    }
    const std::size_t width = std::to_string(rows.back().lines).size();  // no row has more
    const auto number = [width](ut_uint64 value) {
        const std::string digits = std::to_string(value);
        return std::string(width - digits.size(), ' ') + digits;
    };
    std::string text;
    for (const tally& row : rows)
        text += "  " + number(row.matching) + " of " + number(row.lines) + " lines   " + row.name + '\n';
    print((rows.back().matching > 0 ? "\n" : "") + text);
}

outcome run(const request& asked)
{
    const operand_list operands = asked.operands;
    const UT_REGEXP pattern{UT_STROBJ(operands[0])};
    if (!pattern.ok()) {
        report_error("'" + printable(operands[0]) + "' is no pattern: " + pattern.error().getstring() + '.');
        return outcome::failed;
    }
    bool failed = false;
    std::vector<tally> found;
    for (const char* name : operands.subspan(1)) {
        input_file file(name);
        const tally row = search(file, pattern);
        failed = failed || file.failed();
        if (file.failed()) continue;
        if (row.lines == 0) report_warning("'" + row.name + "' is empty.");
        found.push_back(row);
    }
    show_tallies(found);
    if (failed) return outcome::failed;
    const auto matches = [](const tally& row) { return row.matching > 0; };
    return std::ranges::any_of(found, matches) ? outcome::done : outcome::negative;
}

constexpr char k_details[] = R"(Shows each line that matches, as

  <file>:<line>:<first>-<last>: <text>

where first and last are the columns of the leftmost match, in bytes from 1; an
empty match shows as the one column that it stands in front of. A terminal shows
the match in colour. Bytes other than blank to '~' and tab come as their number,
<0A>. The last rows count the lines that match, by file and in all.

A pattern is alternatives separated by |; an alternative is a sequence of
  x      that character, or \x where x has a meaning: ^ $ . [ ( ) | ? + * \
  .      any character
  [a-z]  a character of a set, [^a-z] one outside it
  (...)  a group
each of which may be followed by * (any number), + (one or more) or ? (none or
one). ^ is the start of the line. $ is its end, which is found only behind a
character that matches, or on an empty line: $ alone passes by all others.
A NUL in the line ends the match that is tried.
)";

}  // namespace

constinit const command k_grep{
    .name = "grep",
    .operands = "<pattern> <file> {<more>}",
    .summary = "show lines that match a pattern",
    .details = k_details,
    .least = 2,
    .most = k_any_number,
    .run = run,
};

}  // namespace ketriope::tool
