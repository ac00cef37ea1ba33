// tests/process/flagbit_maker.cpp: a library of a tool, which keeps its names to itself but for two.
#include "flagbit_maker.h"

namespace {

template <class Flags>
Flags* made()
{
    auto* const flags = new Flags;
    flags->setFlag(3);
    flags->setFlag(8 * sizeof(Flags) - 1);
    return flags;
}

}  // namespace

__attribute__((visibility("default"))) UT_FLAGBIT8* make_8()
{
    return made<UT_FLAGBIT8>();
}

__attribute__((visibility("default"))) UT_FLAGBIT16* make_16()
{
    return made<UT_FLAGBIT16>();
}
