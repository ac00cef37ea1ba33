/// \file i/msgterminate.h
/// How the library gives up on a call: a plain `int`, thrown.
#pragma once
#include "uttypes.h"

/// Throws `code` by value. The library throws -1 for a broken contract.
///
/// Errors: a tool may catch the `int` and go on; uncaught, it ends the process.
[[noreturn]] UT_EXPORT void msg_throw(int code);
