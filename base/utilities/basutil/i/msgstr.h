/// \file i/msgstr.h
/// A message manager that writes to any number of streams in place of the console.
///
/// Where `UT_MSGMAN` writes to the console by itself, the streams take each message instead: a tool that
/// wants the console, too, adds standard output or standard error. Where the message database owns the
/// output, messages take its way; it knows the streams as well and serves each of them once.
/// Ownership: the streams stay their owners'. They outlive the manager, or are taken off before they go:
/// its destructor does not take them off the lists of the database.
/// Threads: no locks; the class belongs to the main thread.
#pragma once
#include <ostream>

#include "msgman.h"
#include "uttypes.h"

class UT_STREAM;

class UT_EXPORT UT_MSGSTR : public UT_MSGMAN {
protected:
    // The new operations at the end stand in the order of their slots.

    /// Gives `text`, folded into lines, to every stream; nothing while the suppress flag is set.
    ///
    /// Errors: a stream that throws is passed over, and what a `UT_STREAM` reports meanwhile does not go
    /// to the streams of that kind.
    void write(const char* text) override;

public:
    UT_MSGSTR();
    /// Shallow on purpose, as is assignment: a copy shares the lists of its source, and only one of the
    /// two may be destroyed.
    UT_MSGSTR(const UT_MSGSTR&) = default;
    UT_MSGSTR& operator=(const UT_MSGSTR&) = default;
    ~UT_MSGSTR() override;

    /// The one of the process, made on first use.
    /// Lifetime: never destroyed.
    static UT_MSGSTR* getInstance();

    /// Flushes every stream, but for the suspended ones; not the console.
    void flush() override;

    /// Gives the characters to every stream as they are, in both flows; the console gets none.
    UT_MSGMAN& operator<<(const char* text) override;
    /// The others end in the one for text, and a manipulator in a line feed and `flush`.
    using UT_MSGMAN::operator<<;

    /// Suspends every `UT_STREAM` of the list once more: it takes no messages until each `saveStatus` has
    /// its `restoreStatus`. One that was entered twice is suspended twice.
    virtual void saveStatus();
    virtual void restoreStatus();
    /// Enters a stream here and in the database; one that is there already is entered again.
    /// Errors: exhausted memory, and a list of 32767 entries, break the contract, exit value 19.
    virtual void addstream(UT_STREAM& stream);
    /// Enters a stream here and in the database, unless it is here already. The database takes all but
    /// standard output.
    virtual void addstream(std::ostream& stream);
    /// Takes the first entry of a stream off the list, if there is one, and off that of the database.
    virtual void delstream(UT_STREAM& stream);
    /// The same. Errors: a stream that is not in the list is reported by `internal` of `ut_msgman`.
    virtual void delstream(std::ostream& stream);
    virtual void setclean(unsigned char flag);

private:
    void write_lines(const char* text);

    static UT_MSGSTR* instance;

    unsigned char raw_ = 0;  ///< set while a text goes out as it is
    short ostream_count_ = 0;
    short stream_count_ = 0;
    std::ostream** ostreams_;  ///< owned: by `malloc` and `realloc`
    UT_STREAM** streams_;      ///< owned: by `malloc` and `realloc`
};
