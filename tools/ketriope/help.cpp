// help.cpp: `ketriope help`.
#include <algorithm>
#include <string>

#include "arguments.h"
#include "command.h"
#include "console.h"

namespace ketriope::tool {
namespace {

constexpr char k_head[] = R"(ketriope looks into the files of the suite.

usage: ketriope <command> <operands>
       ketriope --help
       ketriope --version

commands
)";

constexpr char k_foot[] = R"(
'ketriope help <command>' tells more of each.

exit status
  0   all was done, and well
  1   the answer is no: grep matched nothing, the catalogue has faults, the
      message is not in it, the log is damaged or has no end, a compressed or
      indexed file is damaged or ends too early
  2   a file could not be read or written, standard output could not be written,
      or the command line makes no sense

environment
  TEMP      a directory that can be written to; without it no tool starts
  FOUNDRY   the root of the installation; its messages are in msgdata
  ENV       a root whose messages go before those of FOUNDRY
  NO_COLOR  when it is not empty, nothing is coloured on a terminal
The script that starts the program sets TEMP (to TMPDIR, or else to /tmp) and
FOUNDRY when they are unset.
)";

void show_overview()
{
    std::size_t width = 0;
    for (const command* one : all_commands()) width = std::max(width, call_of(*one).size());
    std::string text = k_head;
    for (const command* one : all_commands()) {
        std::string call = call_of(*one);
        call.resize(width, ' ');
        text.append("  ").append(call).append("   ").append(one->summary).append("\n");
    }
    print(text + k_foot);
}

outcome run(const request& asked)
{
    if (asked.operands.empty()) {
        show_overview();
        return outcome::done;
    }
    std::string name = asked.operands[0];
    if (asked.operands.size() > 1) name.append(1, ' ').append(asked.operands[1]);
    const auto found = find_commands(name);
    if (found.empty()) {
        report_unknown(name);
        return outcome::failed;
    }
    for (const command* which : found)
        print((which != found.front() ? "\n" : "") + ("usage: ketriope " + call_of(*which)) + "\n\n" +
              which->details);
    return outcome::done;
}

}  // namespace

constinit const command k_help{
    .name = "help",
    .operands = "[<command>]",
    .summary = "tell how the program is used",
    .details = "Tells how the program is used, or one of its commands.\n",
    .least = 0,
    .most = 2,
    .run = run,
};

}  // namespace ketriope::tool
