/// \file progress.h
/// How far long work has come, for somebody who waits.
#pragma once
#include <string>

#include "uttypes.h"

namespace ketriope::tool {

/// A bar on the terminal while it lives, and nothing where standard error is no terminal.
///
/// Work on less than 4 MiB is too short for one.
class progress {
public:
    /// `what` is being done with `total` bytes.
    progress(std::string what, ut_int64 total);
    /// Takes the bar away.
    ~progress();
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    /// Draws the bar anew when it has grown by a percent.
    void reached(ut_int64 bytes);

private:
    std::string what_;
    ut_int64 total_;
    bool shown_;
    int percent_ = -1;
};

}  // namespace ketriope::tool
