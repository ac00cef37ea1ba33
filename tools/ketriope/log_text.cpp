// log_text.cpp: a message log as text.
#include <algorithm>

#include "console.h"
#include "log_report.h"

namespace ketriope::tool {
namespace {

constexpr std::size_t k_type_bar = 40;  ///< columns of the longest bar
constexpr std::size_t k_number_bar = 20;

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string right(ut_uint64 number, std::size_t width)
{
    const std::string digits = std::to_string(number);
    return std::string(width - std::min(digits.size(), width), ' ') + digits;
}

/// A bar that is never empty, and full for the greatest count.
std::string bar(ut_uint64 count, ut_uint64 greatest, std::size_t columns)
{
    const ut_uint64 length = (2 * count * columns + greatest) / (2 * greatest);  // rounded
    return std::string(std::max(length, ut_uint64{1}), '#');
}

std::string type_name(const log_row& row)
{
    return padded(std::string(k_log_types[row.type]), 8);
}

/// How wide a column of these texts, or counts, has to be.
std::size_t widest(const std::vector<log_row>& rows, auto length)
{
    std::size_t width = 0;
    for (const log_row& each : rows) width = std::max(width, length(each));
    return width;
}

/// The rows of a table, with a bar in each.
std::string table(const std::vector<log_row>& rows, std::size_t columns)
{
    ut_uint64 greatest = 1;
    for (const log_row& each : rows) greatest = std::max(greatest, each.count);
    const std::size_t numbers = widest(rows, [](const log_row& each) { return each.mid.size(); });
    const std::size_t digits = std::to_string(greatest).size();
    std::string text;
    for (const log_row& each : rows) {
        std::string line = "  " + (numbers > 0 ? padded(each.mid, numbers) + "  " : "") + type_name(each) +
                           "  " + right(each.count, digits) + "  ";
        const std::string drawn = bar(each.count, greatest, columns);
        text += line + (each.text.empty() ? drawn : padded(drawn, columns) + "  " + each.text) + '\n';
    }
    return text;
}

}  // namespace

std::string text_of(const log_report& report)
{
    std::string text = report.name + '\n';
    if (!report.date.empty()) text += row("started", report.date);
    if (!report.version.empty()) text += row("version", report.version);
    text += row("posts", std::to_string(report.posts));
    if (report.posts == 0) return text;
    text += "\nby type\n" + table(report.by_type, k_type_bar) + "\nby number, the most frequent first\n" +
            table(report.by_number, k_number_bar) + "\nfirst and last\n";
    const std::size_t digits = std::to_string(report.ends.back().line).size();
    for (const log_row& each : report.ends)
        text += "  line " + right(each.line, digits) + "  " + each.mid + "  " + type_name(each) + "  " +
                each.text + '\n';
    return text;
}

}  // namespace ketriope::tool
