// log_page.cpp: a message log as a page.
#include <algorithm>
#include <string_view>

#include "basutform.h"
#include "console.h"
#include "log_report.h"

namespace ketriope::tool {
namespace {

constexpr char k_head[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>
:root { color-scheme: light dark; --ink: #1f2933; --soft: #52606d; --paper: #ffffff; --line: #e4e7eb;
  --Error: #c0392b; --Critical: #8e44ad; --Warning: #c77700; --Info: #2f7ac0; --Status: #3f8f5f;
  --Debug: #7b8794; --other: #7b8794; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #d7dde4; --soft: #9aa5b1; --paper: #1c2127; --line: #323a43;
    --Error: #e0675c; --Critical: #b98ad0; --Warning: #e5b95c; --Info: #6aa9e0; --Status: #6cbf8c; } }
body { margin: 2rem auto; max-width: 64rem; padding: 0 1rem; color: var(--ink); background: var(--paper);
  font: 15px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.3rem; overflow-wrap: anywhere; }
h2 { font-size: 1rem; margin: 2rem 0 .5rem; }
.facts, .note { color: var(--soft); }
.note { border-left: 4px solid var(--Warning); padding-left: .8rem; }
table { width: 100%; border-collapse: collapse; }
td, th { padding: .25rem .6rem .25rem 0; border-bottom: 1px solid var(--line); text-align: left; vertical-align: top; }
th { color: var(--soft); font-weight: normal; }
.count { text-align: right; font-variant-numeric: tabular-nums; }
.mid, .text { font-family: ui-monospace, monospace; font-size: .9em; }
.text { overflow-wrap: anywhere; white-space: pre-wrap; }
.bar { width: 30%; }
.bar div { height: .8em; margin-top: .35em; min-width: 2px; border-radius: 2px; }
)";

/// The text with the characters that mean something to a browser made harmless.
std::string escaped(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&': safe += "&amp;"; break;
        case '<': safe += "&lt;"; break;
        case '>': safe += "&gt;"; break;
        case '"': safe += "&quot;"; break;
        case '\'': safe += "&#39;"; break;
        default: safe += c;
        }
    }
    return safe;
}

/// A cell whose content is harmless already.
std::string cell(const char* kind, const std::string& content)
{
    return std::string("<td class=\"") + kind + "\">" + content + "</td>";
}

std::string bar(const log_row& row, ut_uint64 greatest)
{
    const double share = 100.0 * static_cast<double>(row.count) / static_cast<double>(greatest);
    return cell("bar", R"(<div class=")" + std::string(k_log_types[row.type]) +
                           zeoform(R"(" style="width: %.1f%%"></div>)", share));
}

std::string type_cell(const log_row& row)
{
    return cell("type", std::string(k_log_types[row.type]));
}

/// The colour of the bars of each type.
std::string colours()
{
    std::string text;
    for (const std::string_view each : k_log_types)
        text.append(".").append(each).append(" { background: var(--").append(each).append("); }\n");
    return text;
}

std::string table(const char* title, const char* head, const std::vector<log_row>& rows, auto cells)
{
    std::string text = std::string("<h2>") + title + "</h2>\n<table>\n<tr>" + head + "</tr>\n";
    for (const log_row& each : rows) text += "<tr>" + cells(each) + "</tr>\n";
    return text + "</table>\n";
}

std::string tables(const log_report& report)
{
    ut_uint64 greatest = 1;
    for (const log_row& each : report.by_type) greatest = std::max(greatest, each.count);
    const auto count = [](const log_row& each) { return cell("count", std::to_string(each.count)); };
    const auto what = [](const log_row& each) {
        return cell("mid", escaped(each.mid)) + type_cell(each) + cell("text", escaped(each.text));
    };
    const ut_uint64 most = report.by_number.front().count;
    return table("By type", "<th>type</th><th class=\"count\">posts</th><th></th>", report.by_type,
                 [&](const log_row& each) { return type_cell(each) + count(each) + bar(each, greatest); }) +
           table("By number, the most frequent first",
                 "<th class=\"count\">posts</th><th></th><th>number</th><th>type</th><th>the first of "
                 "them</th>",
                 report.by_number,
                 [&](const log_row& each) { return count(each) + bar(each, most) + what(each); }) +
           table("First and last", "<th class=\"count\">line</th><th>number</th><th>type</th><th>post</th>",
                 report.ends,
                 [&](const log_row& each) { return cell("count", std::to_string(each.line)) + what(each); });
}

}  // namespace

std::string page_of(const log_report& report)
{
    const std::string name = escaped(report.name);
    std::string facts = counted(report.posts, "post");
    for (const std::string& each : {report.date, report.version})
        if (!each.empty()) facts += ", " + escaped(each);
    std::string page = k_head + colours() + "</style>\n<title>" + name + "</title>\n</head>\n<body>\n<h1>" +
                       name + "</h1>\n<p class=\"facts\">" + facts + "</p>\n";
    for (const std::string& note : report.notes) page += "<p class=\"note\">" + escaped(note) + "</p>\n";
    if (report.posts > 0) page += tables(report);
    return page + "</body>\n</html>\n";
}

}  // namespace ketriope::tool
