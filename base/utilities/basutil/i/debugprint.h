/// \file i/debugprint.h
/// A writer of debug traces that indents its lines.
///
/// Threads: no locks; a writer belongs to one thread at a time.
#pragma once
#include "uttypes.h"
#include <ostream>
#include <string>

class UT_STROBJ;

class UT_EXPORT UT_DEBUG_PRINT {
public:
    /// Writes to standard output, at depth 0, by three blanks for each step; all flags are set.
    UT_DEBUG_PRINT();
    UT_DEBUG_PRINT(const UT_DEBUG_PRINT&) = default;
    UT_DEBUG_PRINT& operator=(const UT_DEBUG_PRINT&) = default;
    /// Flushes the stream.
    virtual ~UT_DEBUG_PRINT();

    /// Formats, as `UT_STROBJ::str_format` does, and writes, with the indent in front of each line.
    ///
    /// A text that does not end in a line feed leaves its line open, and the next one continues it. An
    /// empty line is indented, too. The stream is flushed at the end, unless there was nothing to write.
    UT_PRINTF_LIKE(2, 3) void output(const char* format, ...);

    /// Makes `n` blanks the step of the indent.
    void setindentsize(unsigned n);
    /// Writes the indent of the current depth here and now; the line counts as begun.
    void indent();
    /// Ends the line.
    void newline();
    void tab(unsigned n);    ///< `n` steps more
    void untab(unsigned n);  ///< `n` steps less, down to 0
    void tabto(unsigned n);  ///< `n` steps
    void flush();

    /// True when one of the bits of `mask` is set in the flags.
    bool matchflags(unsigned long mask) const { return (flags_ & mask) != 0; }
    /// The depth in steps, of which 16 bits are told.
    short getdepth() const { return static_cast<short>(depth_); }
    unsigned long getflags() const { return flags_; }
    void setflags(unsigned long flags) { flags_ = flags; }
    void setflags(long flags) { flags_ = static_cast<unsigned long>(flags); }
    std::ostream* getostream() const { return out_; }
    /// Ownership: the stream stays the caller's; null drops what is written.
    void setostream(std::ostream* out) { out_ = out; }

private:
    void write(const UT_STROBJ& text, bool ends_line);

    unsigned long flags_ = ~0UL;
    int depth_ = 0;
    bool at_line_start_ = true;
    std::ostream* out_;
    std::string step_ = "   ";
};
