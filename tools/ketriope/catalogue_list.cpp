// catalogue_list.cpp: `ketriope catalogue list`.
#include "basutform.h"
#include "catalogue.h"
#include "command.h"
#include "console.h"
#include "utmsgrecords.h"

namespace ketriope::tool {
namespace {

/// A file and its messages, one line each.
std::string listing(catalogue& all, const catalogue_file& file)
{
    std::string text =
        file.name + " (" + file.fid + ")" + (file.description.empty() ? "" : "  ") + file.description + '\n';
    for (const std::string& mid : file.mids) {
        const msgCache* const message = all.find(mid);
        if (message == nullptr) continue;  // it has no text, so nothing posts it
        text += "  " + printable(mid) + zeoform("  %-8s  ", type_of(*message).c_str()) +
                one_line(message->msgString()) + '\n';
    }
    return text;
}

outcome run(const request&)
{
    catalogue all;
    if (!all.is_open()) {
        all.tell_missing(report_error);
        return outcome::failed;
    }
    bool failed = false;
    std::string between;
    for (const catalogue_file& file : all.files(failed)) {
        print(between + listing(all, file));
        between = "\n";
    }
    return failed ? outcome::failed : outcome::done;
}

constexpr char k_details[] = R"(Lists the messages in reach, by file and number, as

  <file> (<number of the file>)  <what it is about>
    <number>  <type>  <text>

where $$s, $$d and the like stand for arguments. In reach are the files that the
index msgdata/msgindex.xml below ENV, or else below FOUNDRY, names.
)";

}  // namespace

constinit const command k_catalogue_list{
    .name = "catalogue list",
    .operands = "",
    .summary = "list the messages in reach",
    .details = k_details,
    .least = 0,
    .most = 0,
    .run = run,
};

}  // namespace ketriope::tool
