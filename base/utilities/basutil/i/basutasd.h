/// \file i/basutasd.h
/// Support dumps: a small text file beside a tool's output that shows an engineer how the tool ran.
///
/// It has the form of an initialisation file: sections, comments and `key = value;` lines, each ended by
/// CR LF. Every line is on disk when the call that writes it returns, so that a crash leaves all of them.
/// A null text counts as "".
/// Errors: a dump that could not be opened is told once, as a warning, and all its operations are silent
/// from then on, as they are behind its end.
/// Threads: no locks; a dump belongs to one thread at a time.
#pragma once
#include "uttypes.h"

class UT_STREAM;

class UT_EXPORT UT_ASD {
public:
    /// A dump in the file "BASE.asd", which is overwritten.
    ///
    /// Errors: message 1401, and `finish` runs: the tool's current dump goes with the new one.
    explicit UT_ASD(const char* base);
    /// A dump in the file "BASE_TOOL.asd", whose first section is "Daideix " and the tool in upper case.
    ///
    /// Errors: message 1402, and `finish` runs, as above.
    UT_ASD(const char* base, const char* tool);
    UT_ASD(const UT_ASD&) = default;  // shallow on purpose, as is assignment: only one may be destroyed
    UT_ASD& operator=(const UT_ASD&) = default;

    // The order of these declarations is the order of the slots.

    /// Closes the file, then destroys what `ut_asdman` points at, and clears that pointer.
    ///
    /// Lifetime: that is this dump, as a rule, which must then come from `new`; it is not to be touched
    /// afterwards.
    virtual void finish();
    /// Writes "[NAME]".
    virtual void section(const char* name);
    /// Writes "; TEXT".
    virtual void comment(const char* text);
    /// Writes the text as a line.
    virtual void data(const char* text);
    /// Writes "KEY = NUMBER;", of the number its low 32 bits.
    virtual void data(const char* key, long number);
    /// Writes "KEY = VALUE;".
    virtual void data(const char* key, const char* value);
    /// Closes the file.
    virtual ~UT_ASD() noexcept(false);

protected:
    /// Opens "BASE_TOOL.asd" and begins it, as the constructor with these arguments does. A file that was
    /// open before is closed.
    void init(const char* base, const char* tool);
    /// Writes the text, each of its line feeds as CR LF, and hands it to the system.
    void write_line(const char* line);

private:
    bool open(const char* name);
    void close();

    UT_STREAM* stream_ = nullptr;      ///< null: nothing is written
    unsigned char first_section_ = 0;  ///< no section was begun yet
    unsigned char started_ = 0;        ///< the file was opened, be it closed by now
};

/// The tool's current dump; the tool puts it there and `UT_ASD::finish` destroys it.
extern UT_EXPORT UT_ASD* ut_asdman;
