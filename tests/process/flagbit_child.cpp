// tests/process/flagbit_child.cpp: reads and changes sets of flags that another module has made, while it has
// made none itself.
#include <cstdio>
#include <memory>

#include "flagbit_maker.h"

namespace {

template <class Flags>
void show(const std::unique_ptr<Flags>& flags)
{
    flags->clearFlag(3);
    flags->setFlag(0);
    const Flags copy(*flags);
    for (unsigned int flag = 0; flag < 8 * sizeof(Flags); ++flag)
        std::putchar(copy.isFlagSet(flag) ? '1' : '0');
    std::putchar('\n');
}

}  // namespace

int main()
{
    show(std::unique_ptr<UT_FLAGBIT8>(make_8()));
    show(std::unique_ptr<UT_FLAGBIT16>(make_16()));
    return 0;
}
