/// \file i/msgman.h
/// The legacy message manager: free text with a severity, folded to the console or handed to the
/// message database, and the free functions that go through the global one.
///
/// `UT_MSGMAN::m_msgFlow` chooses who owns the output: at 1, its default, the database takes each
/// finished line (the console is used while no database is installed); at any other value the class
/// writes to the console by itself.
/// Text is never a format: `%` has no meaning in it.
/// Threads: no locks; the class belongs to the main thread.
#pragma once
#include "uttypes.h"
#include <ostream>
#include <string>

/// What a message is. The label that stands in front of an internal or fatal one is "ERROR".
enum UT_MSGTYPE : int {
    UT_MSG_ERROR = 0,
    UT_MSG_WARNING = 1,
    UT_MSG_STATUS = 2,  ///< no label, and the only type besides debug that goes to standard output
    UT_MSG_DEBUG = 3,
    UT_MSG_INTERNAL = 4,  ///< followed by an INTERNAL CODE line and a support line
    UT_MSG_FATAL = 5,     ///< the same, and the process ends
    UT_MSG_INFO = 6
};

class UT_EXPORT UT_MSGMAN {
protected:
    // The order of these declarations is the order of the slots, which derived classes in the tools
    // were compiled against; so protected and public operations take turns.

    /// Folds `text` and writes it to the console; nothing while the suppress flag is set.
    virtual void write(const char* text);
    /// Returns `text` cleaned and folded into lines, and their number in `count`.
    /// Ownership: released by `ut_strdelstrings`.
    virtual char** format(const char* text, short* count);
    virtual void debug(const char* text, long data);

public:
    virtual ~UT_MSGMAN();

    /// Flushes and ends the process with the exit value.
    ///
    /// `QVS_MSG_ABORT_CORE` in the environment asks for a core image instead; `QVS_MSG_ABORT_RETURN`
    /// makes the operation return.
    virtual void abort();
    /// Flushes standard output and standard error, unless the suppress flag is set.
    virtual void flush();
    /// Nothing here; a graphical tool's manager shows the text.
    virtual void guimsg(const char* text, long data);
    virtual void status(const char* text, long data);
    /// Reports an error, counts it and keeps its text in the print buffer.
    virtual void error(const char* text, long data);
    /// Reports a warning, counts it and keeps its text in the print buffer.
    virtual void warning(const char* text, long data);
    virtual void info(const char* text, long data);
    /// Reports a fault of the program itself; control returns.
    /// `pkg`, `mod`, `line` and `rev` name the site and show in the INTERNAL CODE line.
    virtual void internal(const char* text, const char* pkg, const char* mod, short line, const char* rev,
                          long data);
    /// The same, and the process ends with `exitValue`.
    virtual void fatal(const char* text, const char* pkg, const char* mod, short line, const char* rev,
                       int exitValue, long data);

    /// Ends the line and flushes, whatever manipulator is given: it is not called.
    virtual UT_MSGMAN& operator<<(std::ostream& (*manipulator)(std::ostream&));
    virtual UT_MSGMAN& operator<<(void* value);
    virtual UT_MSGMAN& operator<<(unsigned char value);
    virtual UT_MSGMAN& operator<<(char value);
    virtual UT_MSGMAN& operator<<(ut_uint64 value);
    virtual UT_MSGMAN& operator<<(unsigned long value);
    virtual UT_MSGMAN& operator<<(long value);
    virtual UT_MSGMAN& operator<<(unsigned short value);
    virtual UT_MSGMAN& operator<<(short value);
    virtual UT_MSGMAN& operator<<(unsigned int value);
    virtual UT_MSGMAN& operator<<(int value);
    /// Writes the characters to standard output in both flows: no line end, no folding, no flush.
    virtual UT_MSGMAN& operator<<(const char* text);

    /// Takes `m_msgFlow` from `QVS_M_MSGFLOW` and the line width from `QVS_MSG_WIDTH`, if these are set.
    UT_MSGMAN();
    /// Shallow on purpose, as is assignment: a copy shares the four strings of its source, and only one
    /// of the two may be destroyed.
    UT_MSGMAN(const UT_MSGMAN&) = default;
    UT_MSGMAN& operator=(const UT_MSGMAN&) = default;

    /// The operation behind all the others: keeps the arguments, composes the line, hands it over, and
    /// ends the process if the type is fatal or the abort flag is set.
    ///
    /// A null `text` does nothing. A type outside 0 to 6 is reported as an internal message.
    void message(UT_MSGTYPE type, const char* text, const char* pkg, const char* mod, short line,
                 const char* rev, long data);

    /// The name shown between label and text; null for none. The argument is copied.
    void setprogname(const char* name);
    const char* getprogname() const { return program_name_; }
    const char* getpkgname() const { return package_name_; }
    const char* getmodname() const { return module_name_; }
    const char* getrcsrev() const { return revision_; }

    UT_MSGTYPE getmsgtype() const { return type_; }
    void setmsgtype(UT_MSGTYPE type) { type_ = type; }
    short getlinenbr() const { return line_; }
    void setlinenbr(short line) { line_ = line; }
    int getexitval() const { return exit_value_; }
    void setexitval(int value) { exit_value_ = value; }
    /// The caller's word, of which 32 bits are kept.
    long getdata() const { return data_; }
    void setdata(long data) { data_ = static_cast<ut_long>(data); }
    unsigned char getclean() const { return clean_; }
    void setclean(unsigned char flag) { clean_ = flag; }
    unsigned char getabortflag() const { return abort_; }
    void setabortflag(unsigned char flag) { abort_ = flag; }
    short getmaxlinewidth() const { return width_; }
    void setmaxlinewidth(short width) { width_ = width; }
    /// Drops the console output of this object when `flag` is 1, and switches the display of all
    /// severities of the message database off with it; any other value switches them on.
    void setSuppressFlag(unsigned char flag);
    unsigned char getSuppressFlag() const { return suppress_; }
    unsigned char get_write_to_buf() const { return write_to_buffer_; }
    void set_write_to_buf(unsigned char flag) { write_to_buffer_ = flag; }
    int get_num_errors() const { return errors_; }
    int get_num_warnings() const { return warnings_; }
    /// Every error and warning so far, a line each.
    std::string get_print_buffer() const { return print_buffer_; }

    static int m_msgFlow;  ///< 1: the message database owns the output

protected:
    void setpkgname(const char* name);
    void setmodname(const char* name);
    /// Keeps `1.6` of "$Revision: 1.6 $", "0.0" of one without a number, and other text as it is.
    void setrcsrev(const char* text);

private:
    struct kind;
    void take_site(const char* pkg, const char* mod, short line, const char* rev, long data);
    std::string labelled(const kind& of, const char* text) const;
    void emit(const kind& of, const std::string& text);
    void emit_internal_code(const kind& of, std::string& dialog);
    void count_report(const char* label, const char* text, int& counter);

    UT_MSGTYPE type_ = UT_MSG_STATUS;
    char* package_name_ = nullptr;
    char* program_name_ = nullptr;
    char* module_name_ = nullptr;
    char* revision_ = nullptr;
    short line_ = -1;
    int exit_value_ = -1;
    ut_long data_ = 0;
    short width_ = 76;
    unsigned char clean_ = 1;
    unsigned char abort_ = 0;
    unsigned char suppress_ = 0;
    unsigned char write_to_buffer_ = 0;
    int errors_ = 0;
    int warnings_ = 0;
    std::string print_buffer_;
};

/// The manager that all free functions go through, read at every call; a tool may put its own here.
/// Lifetime: made at library load, and never destroyed.
extern UT_EXPORT UT_MSGMAN* ut_msgman;

/// Reports an error: number 1009990 of the database, or else `error` of `ut_msgman` if there is one.
UT_EXPORT void ut_error(const char* text);
/// Reports a warning: number 1009991 of the database, or else `warning` of `ut_msgman` if there is one.
UT_EXPORT void ut_warning(const char* text);
/// Reports an information: number 1009992 of the database, or else `info` of `ut_msgman` if there is one.
UT_EXPORT void ut_info(const char* text);
/// Reports a status by `ut_msgman`, which must be there, in both flows.
UT_EXPORT void ut_status(const char* text);
/// Gives text to a graphical tool's manager; the base class does nothing with it.
UT_EXPORT void ut_guimsg(const char* text);
/// Reports an error and ends the process with the exit value that `ut_msgman` holds.
UT_EXPORT void ut_userfatal(const char* text);
/// Reports an error and ends the process with `exitValue`.
UT_EXPORT void ut_userfatal(const char* text, int exitValue);
/// Writes the current and the peak memory of the process to `ut_msgman`, in units of 2^20 bytes.
UT_EXPORT void ut_report_memory_usage();
/// Writes the current memory of the process in bytes, with a label, when `INTERNAL_MEMUSAGE` is 2 or more.
/// The variable is read at the first call; a null label writes nothing.
UT_EXPORT void ut_dumpmem(const char* label);

// The flat entries have plain names in the shared library, for callers of other languages.
extern "C" {
/// `status`, `warning` and `error` of `ut_msgman` directly, in both flows.
UT_EXPORT void ut_c_status(const char* text);
UT_EXPORT void ut_c_warning(const char* text);
UT_EXPORT void ut_c_error(const char* text);
/// `error`, then `abort`, of `ut_msgman`.
UT_EXPORT void ut_c_userfatal(const char* text);
/// Does nothing; a place for a debugger to stop at.
UT_EXPORT void ut_c_debugfn();
}
