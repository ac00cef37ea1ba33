/// \file startup.h
/// Start and stop of the library: what the rest may ask about them.
#pragma once

namespace ketriope {

/// True while the start-up initialisers build the global objects.
bool starting_up() noexcept;

/// Ends the process with `exit_value`: through the exit handlers, or at once and with the standard
/// streams flushed when those are running already, since they may run only once.
///
/// Threads: safe from several at once; the first runs the handlers, and the next one ends them.
void leave_process(int exit_value);

/// Makes `msg_terminate` the terminate handler, until the library is unloaded.
void take_uncaught_exceptions() noexcept;

/// True once the global objects have ended, those of every copy of the library in the process.
bool has_ended() noexcept;

/// True once the process has begun to end.
bool exit_has_begun() noexcept;

/// Says that the process has begun to end; told by the exit handlers and by the end of `ut_file`.
void note_exit_begun() noexcept;

}  // namespace ketriope
