/// \file log_report.h
/// A message log as it is told: as text with a bar for each count, or as a page.
#pragma once
#include <string>
#include <vector>

#include "message_log.h"

namespace ketriope::tool {

/// One row with a bar.
struct log_row {
    std::string mid;  ///< "" in a row of a type
    std::size_t type = 0;
    ut_uint64 count = 0;
    std::string text;  ///< the first post; "" in a row of a type
    ut_uint64 line = 0;
};

/// All that is told of a log. Texts are printable, and in one line each.
struct log_report {
    std::string name;
    std::string date;
    std::string version;
    ut_uint64 posts = 0;
    std::vector<log_row> by_type;    ///< those that there are
    std::vector<log_row> by_number;  ///< the most frequent first
    std::vector<log_row> ends;       ///< the first post and the last one; none in a log without posts
    std::vector<std::string> notes;  ///< what is wrong with the log
};

/// The report as text, in whole lines.
std::string text_of(const log_report& report);

/// The report as one HTML page that needs no other file. The same report gives the same bytes.
std::string page_of(const log_report& report);

}  // namespace ketriope::tool
