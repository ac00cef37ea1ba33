// version.cpp: `ketriope version`.
#include "command.h"
#include "console.h"

namespace ketriope::tool {
namespace {

outcome run(const request&)
{
    print("ketriope " KETRIOPE_VERSION "\n");
    return outcome::done;
}

}  // namespace

constinit const command k_version{
    .name = "version",
    .operands = "",
    .summary = "tell the version",
    .details = "Tells the version, which is that of the library, too.\n",
    .least = 0,
    .most = 0,
    .run = run,
};

}  // namespace ketriope::tool
