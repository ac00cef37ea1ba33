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
  0   all was done; for grep: something matched
  1   grep matched nothing
  2   a file could not be read, standard output could not be written, or the
      command line makes no sense

environment
  TEMP      a directory that can be written to; without it no tool starts
  FOUNDRY   the root of the installation
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

outcome run(operand_list operands)
{
    if (operands.empty()) {
        show_overview();
        return outcome::done;
    }
    const command* const which = find_command(operands[0]);
    if (which == nullptr) {
        report_unknown(operands[0]);
        return outcome::failed;
    }
    print("usage: ketriope " + call_of(*which) + "\n\n" + which->details);
    return outcome::done;
}

}  // namespace

constinit const command k_help{
    .name = "help",
    .operands = "[<command>]",
    .summary = "tell how the program, or one command, is used",
    .details = "Tells how the program is used, or one of its commands.\n",
    .least = 0,
    .most = 1,
    .run = run,
};

}  // namespace ketriope::tool
