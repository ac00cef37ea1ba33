// exceptions.cpp
#include "exceptions.h"

#include <algorithm>

#include "basutform.h"
#include "basutstr.h"
#include "msgman.h"
#include "utgetenv.h"

namespace {

ketriope::exception_record recorded(int code, const char* file, int line, const char* text)
{
    ketriope::exception_record record;
    record.set_message(file, line, text);
    record.error_code = code;
    return record;
}

}  // namespace

void ketriope::exception_record::set_message(const char* file, int line, const char* text)
{
    file_name = ut_strdup(file);
    file_line = std::max(line, -1);
    message = ut_strdup(text);
}

void ketriope::exception_record::dump() const
{
    static const char* const with_location = ut_getenv("QVS_REPORT_EXCEPTION_LOCATION");
    if (with_location != nullptr && file_name != nullptr)
        *ut_msgman << zeoform("!!!EXCEPTION!!! - Exception happened at %s:%d", file_name, file_line)
                   << std::endl;
    if (message != nullptr)
        *ut_msgman << zeoform(with_location != nullptr ? "\t%s" : "!!!EXCEPTION!!! - %s", message)
                   << std::endl;
    ut_msgman->flush();
}

UT_EXCEPTION::UT_EXCEPTION(int errorCode, const char* fileName, int fileLine, const char* message)
    : record_(recorded(errorCode, fileName, fileLine, message))
{
}

void UT_EXCEPTION::setMessage(const char* fileName, int fileLine, const char* message)
{
    record_.set_message(fileName, fileLine, message);
}

void UT_EXCEPTION::dumpMessage() const
{
    record_.dump();
}

UT_EXCEPTION_EXIT::UT_EXCEPTION_EXIT(int errorCode, const char* fileName, int fileLine, const char* message)
    : record_(recorded(errorCode, fileName, fileLine, message))
{
}

void UT_EXCEPTION_EXIT::setMessage(const char* fileName, int fileLine, const char* message)
{
    record_.set_message(fileName, fileLine, message);
}

void UT_EXCEPTION_EXIT::dumpMessage() const
{
    record_.dump();
}

UT_EXCEPTION_CONTINUE::UT_EXCEPTION_CONTINUE(int errorCode, const char* fileName, int fileLine,
                                             const char* message)
    : record_(recorded(errorCode, fileName, fileLine, message))
{
}

void UT_EXCEPTION_CONTINUE::setMessage(const char* fileName, int fileLine, const char* message)
{
    record_.set_message(fileName, fileLine, message);
}

void UT_EXCEPTION_CONTINUE::dumpMessage() const
{
    record_.dump();
}
