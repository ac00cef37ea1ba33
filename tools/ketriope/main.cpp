// main.cpp: the companion program of the library.
#include <algorithm>
#include <new>

#include "arguments.h"
#include "console.h"
#include "msgman.h"

using ketriope::tool::outcome;

int main(int argc, char** argv)
{
    std::set_new_handler(nullptr);  // a file too large for the memory is told, and the next one read
    ut_msgman->setprogname("ketriope");
    outcome end = outcome::failed;
    if (const auto line = ketriope::tool::read_arguments(argc, argv))
        end = std::max(line->chosen->run(line->asked), line->at_best);
    if (!ketriope::tool::finish_output()) end = outcome::failed;
    return static_cast<int>(end);
}
