/// \file i/exceptions.h
/// The exception classes that tools throw by value and that report themselves.
///
/// Nothing in the library throws them. The three share layout and code and have no common base: the type
/// says what a tool does in its catch clause, leave the program, or report and go on.
/// Ownership: the two strings of an exception are never released, since exceptions are copied member by
/// member and are in general the end of a run.
#pragma once
#include "uttypes.h"

namespace ketriope {

/// What an exception carries.
struct UT_EXPORT exception_record {
    char* file_name = nullptr;
    int file_line = -1;
    char* message = nullptr;
    int error_code = 0;

    void set_message(const char* file, int line, const char* text);
    void dump() const;
};

}  // namespace ketriope

/// A fault that a tool reports.
class UT_EXPORT UT_EXCEPTION {
public:
    UT_EXCEPTION() = default;
    /// Keeps copies of both strings; null stays null, and a negative line is kept as -1.
    UT_EXCEPTION(int errorCode, const char* fileName, int fileLine, const char* message);

    /// Replaces where it happened and what. The strings of before are not released: copies may hold them.
    void setMessage(const char* fileName, int fileLine, const char* message);
    int getErrorCode() const { return record_.error_code; }
    void setErrorCode(int errorCode) { record_.error_code = errorCode; }
    const char* getFileName() const { return record_.file_name; }
    int getFileLine() const { return record_.file_line; }
    const char* getMessage() const { return record_.message; }

    /// Writes the message to `ut_msgman`, behind the place where it happened if
    /// `QVS_REPORT_EXCEPTION_LOCATION` was set at the first call in the process, and flushes.
    void dumpMessage() const;

private:
    ketriope::exception_record record_;
};

/// A fault after which a tool leaves the program. Its operations are those of UT_EXCEPTION.
class UT_EXPORT UT_EXCEPTION_EXIT {
public:
    UT_EXCEPTION_EXIT(int errorCode, const char* fileName, int fileLine, const char* message);
    void setMessage(const char* fileName, int fileLine, const char* message);
    int getErrorCode() const { return record_.error_code; }
    void setErrorCode(int errorCode) { record_.error_code = errorCode; }
    const char* getFileName() const { return record_.file_name; }
    int getFileLine() const { return record_.file_line; }
    const char* getMessage() const { return record_.message; }
    void dumpMessage() const;

private:
    ketriope::exception_record record_;
};

/// A fault after which a tool goes on. Its operations are those of UT_EXCEPTION.
class UT_EXPORT UT_EXCEPTION_CONTINUE {
public:
    UT_EXCEPTION_CONTINUE(int errorCode, const char* fileName, int fileLine, const char* message);
    void setMessage(const char* fileName, int fileLine, const char* message);
    int getErrorCode() const { return record_.error_code; }
    void setErrorCode(int errorCode) { record_.error_code = errorCode; }
    const char* getFileName() const { return record_.file_name; }
    int getFileLine() const { return record_.file_line; }
    const char* getMessage() const { return record_.message; }
    void dumpMessage() const;

private:
    ketriope::exception_record record_;
};
