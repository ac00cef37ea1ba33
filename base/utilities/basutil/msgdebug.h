/// \file msgdebug.h
/// The debug channel of the message database, silent by default.
#pragma once

namespace ketriope {

/// False while a line for the channel would go nowhere, so that it need not be made.
bool debug_channel_listens() noexcept;

/// Gives a line to the channel, with the place that it comes from. Threads: takes no lock.
void write_debug_line(const char* text, const char* file, int line);

}  // namespace ketriope
