/// \file i/msgterminate.h
/// How the library gives up on a call, and what happens when nobody catches it.
#pragma once
#include <string>

#include "uttypes.h"

/// Throws `code` by value. The library throws -1 for a broken contract and for a missing index of messages,
/// -2 and -3 for a malformed message file.
///
/// Errors: a tool may catch the `int` and go on; uncaught, it ends the process.
[[noreturn]] UT_EXPORT void msg_throw(int code);

/// Writes a crash dump and stores its path in `path`; 0, with `path` as it was, where the system has none.
UT_EXPORT int msgCreateMiniDump(std::string& path);

/// The terminate handler that the first `msgManager` installs: tells what failed on standard output,
/// completes the message logs, and ends the process with the exit value 999.
[[noreturn]] UT_EXPORT void msg_terminate();
