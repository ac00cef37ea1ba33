/// \file i/utgetenv.h
/// The environment look-up of the suite.
#pragma once
#include "uttypes.h"

/// Returns the value of the environment variable `name`, or null if it is not set.
///
/// The name may be masked by `ut_strencode`; a plain one is taken as it is.
/// Ownership: the text is the environment's. Threads: as safe as the runtime's `getenv`.
UT_EXPORT const char* ut_getenv(const char* name);
