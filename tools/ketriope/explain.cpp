// explain.cpp: `ketriope explain`.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <tinyxml.h>

#include "basutstr.h"
#include "catalogue.h"
#include "command.h"
#include "console.h"
#include "utmsgrecords.h"

namespace ketriope::tool {
namespace {

constexpr short k_width = 76;
constexpr std::string_view k_contract_mid = "1000000";  ///< kept as the reason of an end, and never posted
constexpr std::string_view k_bridge_mids[] = {"1009990", "1009991", "1009992", "1009993"};

/// The text folded and indented, as a paragraph of its own; "" for none.
std::string paragraph(const std::string& text)
{
    if (text.empty()) return "";
    short count = 0;
    char** const lines = ut_strbreakstring(text.c_str(), k_width, &count, 0);
    std::string folded;
    for (short i = 0; i < count; ++i) folded.append("  ").append(lines[i]).append("\n");
    ut_strdelstrings(lines, count);
    return folded + '\n';
}

/// A row for what is there.
std::string row_of(const char* label, const char* value)
{
    return value != nullptr && *value != '\0' ? row(label, one_line(value)) : "";
}

/// The text within the element `help`.
std::string help_text(const msgCache& message)
{
    const TiXmlElement* const help =
        message.m_element != nullptr ? message.m_element->FirstChildElement("help") : nullptr;
    const char* const text = help != nullptr ? help->GetText() : nullptr;
    return text != nullptr ? one_line(text) : "";
}

/// Who may change the message, as rows.
std::string changes(const msgCache& message)
{
    const std::string_view mid = message.m_mid;
    if (mid == k_contract_mid)
        return row("changed by", "a user's setting: its type. It is told when a run ends, and never hidden");
    std::string rows =
        row("changed by", "a user's setting, or the tool: its type, whether and how often it is shown");
    if (std::ranges::find(k_bridge_mids, mid) != std::end(k_bridge_mids))
        rows += row("", "but not where a tool hands over a finished line: that is always shown");
    const std::string type = type_of(message);
    if (type == "Warning" || type == "Info")
        rows += row("", std::string("a user may also hide all of type ") + type);
    if (type == "Debug") rows += row("", "it is shown only while QVS_SHOW_DEBUG_MESSAGE is set");
    return rows;
}

/// What the help data file of the installation adds, as rows.
std::string help_data(const std::vector<const char*>& items)
{
    constexpr const char* k_labels[] = {"help page", "web page", "data sheet"};
    std::string rows;
    for (std::size_t i = 0; i < items.size() && i < std::size(k_labels); ++i)
        rows += row_of(k_labels[i], items[i]);
    return rows;
}

outcome run(const request& asked)
{
    const std::string mid = asked.operands[0];
    catalogue all;
    if (!all.is_open()) {
        all.tell_missing(report_error);
        return outcome::failed;
    }
    const msgCache* const message = all.find(mid);
    if (message == nullptr) {
        const std::string hint =
            fid_of(mid).empty() ? " A number has seven digits, those of its file first." : "";
        report_warning("There is no message '" + printable(mid) + "'." + hint);
        return outcome::negative;
    }
    const catalogue_file file = all.file_of(mid);
    print(printable(mid) + '\n' + '\n' + paragraph(one_line(message->msgString())) +
          paragraph(help_text(*message)) + row("type", type_and_level(*message)) +
          row("file", file.name + " (" + file.fid + "): " + file.description) + changes(*message) +
          row_of("online help", message->msgOnLineId()) + row_of("web help", message->msgWebId()) +
          row_of("data sheet", message->msgDataSheet()) + row_of("alias", message->msgAlias()) +
          help_data(all.help_data_of(mid)));
    return outcome::done;
}

constexpr char k_details[] =
    R"(Tells of the message with that number, which has seven digits and stands in
its label, "WARNING <1011413> - ...": the text, where $$s, $$d and the like
stand for arguments, what it means and what to do, and

  type           Error, Critical, Warning, Info, Status or Debug
  file           the message file that it is in, and the number of that file
  changed by     what a user's setting, or one of the tool, may change
  online help, web help, data sheet, alias
                 as far as the message file has them
  help page, web page, data sheet
                 as far as the help data of the installation has them
)";

}  // namespace

constinit const command k_explain{
    .name = "explain",
    .operands = "<number>",
    .summary = "tell what a message means",
    .details = k_details,
    .least = 1,
    .most = 1,
    .run = run,
};

}  // namespace ketriope::tool
