// tests/support/message_capture.cpp
#include "message_capture.h"

#include <cstdio>
#include <iostream>

#include <gtest/gtest.h>

#include "msgman.h"

namespace {

struct process_end {
    int value;
};

[[noreturn]] void throw_process_end(int value)
{
    throw process_end{value};
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const post& shown)
{
    return out << '{' << shown.category << ' ' << shown.number << ' ' << shown.module << " \"" << shown.text
               << "\"}";
}

message_capture::message_capture()
    : database_before_(ketriope::install_database(this)), flow_before_(UT_MSGMAN::m_msgFlow),
      operations_(ketriope::platform::native())
{
    UT_MSGMAN::m_msgFlow = 1;
    operations_.end_process = throw_process_end;
    operations_.end_process_now = throw_process_end;
    operations_.abort_process = [] { throw_process_end(-134); };
    ketriope::platform::use_operations(&operations_);
}

message_capture::~message_capture()
{
    ketriope::platform::use_operations(nullptr);
    UT_MSGMAN::m_msgFlow = flow_before_;
    ketriope::install_database(database_before_);
}

void message_capture::use_legacy_flow()
{
    UT_MSGMAN::m_msgFlow = 0;
}

int message_capture::exit_value_of(const std::function<void()>& work)
{
    try {
        work();
    } catch (const process_end& end) {
        return end.value;
    }
    return -999;
}

void message_capture::post_contract(const char* module, int, const char* text)
{
    posts_.push_back({"common", "0000", module, text});
}

void message_capture::post_numbered(const char* category, const char* number, ut_va_list)
{
    posts_.push_back({category, number, "", ""});
}

void message_capture::post_text(const char* mid, const char* text)
{
    posts_.push_back({"", mid, "", text});
}

void message_capture::post_finished(int severity, const char* text)
{
    posts_.push_back({"", std::to_string(severity), "", text});
}

void message_capture::show_types(int severities, bool on)
{
    switches_.emplace_back(severities, on);
}

std::string stdout_of(const std::function<void()>& work)
{
    testing::internal::CaptureStdout();
    work();
    std::fflush(stdout);
    std::cout.flush();
    return testing::internal::GetCapturedStdout();
}

std::string stderr_of(const std::function<void()>& work)
{
    testing::internal::CaptureStderr();
    work();
    std::fflush(stderr);
    std::cerr.flush();
    return testing::internal::GetCapturedStderr();
}
