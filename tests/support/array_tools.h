// tests/support/array_tools.h: what the tests of the arrays share.
#pragma once
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "message_capture.h"
#include "msgman.h"

/// Keeps what the legacy manager is told to be fatal, and lives on.
class surviving_manager final : public UT_MSGMAN {
public:
    surviving_manager() : before_(std::exchange(ut_msgman, this)) {}
    ~surviving_manager() override { ut_msgman = before_; }
    void fatal(const char* text, const char*, const char* module, short, const char*, int exit_value,
               long) override
    {
        reports.push_back(std::string(module) + ": " + text);
        EXPECT_EQ(exit_value, 19);
    }
    std::vector<std::string> reports;

private:
    UT_MSGMAN* before_;
};

/// Expects `work` to break the contract with `text`: thrown, fatal with 19, or survived without harm.
inline void expect_broken(const std::string& module, const std::string& text,
                          const std::function<void()>& work)
{
    message_capture capture;
    EXPECT_THROW(work(), int) << text;
    EXPECT_EQ(capture.last(), (post{"common", "0000", module, text}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string err = stderr_of([&] { exit_value = capture.exit_value_of(work); });
    EXPECT_EQ(exit_value, 19);
    EXPECT_NE(err.find(text), std::string::npos) << err;
    surviving_manager manager;
    capture.use_legacy_flow();
    work();
    EXPECT_EQ(manager.reports, std::vector<std::string>{module + ": " + text});
}
