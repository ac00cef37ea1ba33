// tests/support/scoped_operations.h: other operations of the system for the time of a block.
#pragma once
#include "platform.h"

/// Puts a copy of the table in use there in its place; what is assigned in `table` counts at once.
class scoped_operations {
public:
    scoped_operations() { ketriope::platform::use_operations(&table); }
    ~scoped_operations() { ketriope::platform::use_operations(before_); }
    scoped_operations(const scoped_operations&) = delete;
    scoped_operations& operator=(const scoped_operations&) = delete;

private:
    const ketriope::platform::operations* before_ = &ketriope::platform::os();

public:
    ketriope::platform::operations table = *before_;
};
