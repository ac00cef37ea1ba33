// log.cpp: `ketriope log`.
#include <string>
#include <string_view>

#include "catalogue.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "log_report.h"
#include "message_log.h"
#include "output_file.h"

namespace ketriope::tool {
namespace {

log_row row_of(catalogue& texts, const logged_post& post, ut_uint64 count)
{
    return {.mid = printable(post.mid),
            .type = post.type,
            .count = count,
            .text = texts.text_of(post.mid, post.arguments),
            .line = post.line};
}

/// What is wrong with the log, in whole sentences.
std::vector<std::string> notes_on(const message_log& log)
{
    std::vector<std::string> notes;
    if (!log.has_head()) notes.emplace_back("The log has no head.");
    if (log.odd().count > 0)
        notes.push_back(counted(log.odd().count, "line") +
                        " of the log could not be understood, the first is line " +
                        std::to_string(log.odd().first) + ".");
    if (!log.has_end())
        notes.emplace_back(
            "The log has no end lines: the run goes on, or it was killed. All posts up to then are there.");
    return notes;
}

log_report report_on(const message_log& log, const std::string& name)
{
    catalogue texts;
    if (!texts.is_open()) texts.tell_missing(report_warning);
    log_report report{.name = name,
                      .date = log.date(),
                      .version = log.version(),
                      .posts = log.posts(),
                      .by_type = {},
                      .by_number = {},
                      .ends = {},
                      .notes = notes_on(log)};
    for (std::size_t type = 0; type < k_log_types.size(); ++type)
        if (const ut_uint64 count = log.posts_of(type); count > 0)
            report.by_type.push_back({.mid = {}, .type = type, .count = count, .text = {}});
    for (const logged_number& each : log.numbers())
        report.by_number.push_back(row_of(texts, each.first, each.count));
    if (log.posts() > 0) report.ends = {row_of(texts, *log.first(), 1), row_of(texts, *log.last(), 1)};
    return report;
}

outcome run(const request& asked)
{
    input_file file(asked.operands[0]);
    if (!file.is_open()) return outcome::failed;
    const message_log log(file);
    if (file.failed()) return outcome::failed;
    if (!log.is_log()) {
        file.fail("it is no message log");
        return outcome::failed;
    }
    const log_report report = report_on(log, file.shown_name());
    if (asked.option_value == nullptr) {
        print(text_of(report));
    } else {
        if (!write_file(asked.option_value, page_of(report))) return outcome::failed;
        print(printable(asked.option_value) + ": " + counted(report.posts, "post") + '\n');
    }
    for (const std::string& note : report.notes) report_warning(note);
    return report.notes.empty() ? outcome::done : outcome::negative;
}

constexpr char k_details[] =
    R"(Reads a message log back: what a run reported, counted by type and by number
with a bar for each count, the most frequent number first, with the text of its
first post; then the first post and the last one, with their lines in the log.
Texts come from the messages in reach (see 'ketriope help catalogue list');
without them the arguments stand alone.

  -html <page>   write that as a page for a browser instead, which needs no
                 other file. A file of that name is replaced when the page is
                 complete, and stays as it was when it cannot be

A log that lacks its end lines, as one of a run that was killed, is read as far
as it goes, and so is one with lines that are damaged. Both are told.
)";

}  // namespace

constinit const command k_log{
    .name = "log",
    .operands = "<file> [-html <page>]",
    .summary = "count what a message log tells",
    .details = k_details,
    .least = 1,
    .most = 1,
    .run = run,
    .option = "-html",
};

}  // namespace ketriope::tool
