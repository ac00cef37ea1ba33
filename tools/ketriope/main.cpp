// main.cpp: the companion program of the library.
#include <algorithm>

#include "arguments.h"
#include "console.h"
#include "msgman.h"

using ketriope::tool::outcome;

int main(int argc, char** argv)
{
    ut_msgman->setprogname("ketriope");
    outcome end = outcome::failed;
    if (const auto line = ketriope::tool::read_arguments(argc, argv))
        end = std::max(line->chosen->run(line->asked), line->at_best);
    if (!ketriope::tool::finish_output()) end = outcome::failed;
    return static_cast<int>(end);
}
