// tests/support/scoped_environment.h: an environment variable for the time of a block.
#pragma once
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

/// Sets `name` to `value`, or takes it away for null, and puts back what was there.
class scoped_environment {
public:
    scoped_environment(const char* name, const char* value) : name_(name)
    {
        if (const char* before = std::getenv(name)) before_ = before;
        assign(value);
    }
    ~scoped_environment() { assign(before_ ? before_->c_str() : nullptr); }
    scoped_environment(const scoped_environment&) = delete;
    scoped_environment& operator=(const scoped_environment&) = delete;

private:
    void assign(const char* value) const
    {
        if (value != nullptr)
            ::setenv(name_.c_str(), value, 1);
        else
            ::unsetenv(name_.c_str());
    }

    std::string name_;
    std::optional<std::string> before_;
};

/// The time zone of the process is `zone` for the time of a block.
class scoped_zone {
public:
    explicit scoped_zone(const char* zone) : variable_("TZ", zone) { ::tzset(); }

private:
    struct runtime {
        ~runtime() { ::tzset(); }
    } told_last_;  // destroyed when the variable is back
    scoped_environment variable_;
};
