// tests/process/flagbit_maker.h
#pragma once
#include "basutflagbit.h"

/// Sets with flag 3 and the last one set. Ownership: the caller's, to delete.
UT_FLAGBIT8* make_8();
UT_FLAGBIT16* make_16();
