/// \file message_log.h
/// An XML message log, read back.
///
/// A log is read line by line, as it was written: one element for each post. So neither its size nor its
/// end matters, and a line that is damaged does no harm to the others.
#pragma once
#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "uttypes.h"

namespace ketriope::tool {

class input_file;

/// The names of the types in a log, in the order in which they are told; behind them all that is none.
inline constexpr std::array<std::string_view, 7> k_log_types{"Error",  "Critical", "Warning", "Info",
                                                             "Status", "Debug",    "other"};

/// One post.
struct logged_post {
    std::string mid;
    std::size_t type = 0;                ///< place in `k_log_types`
    std::vector<std::string> arguments;  ///< of its template
    ut_uint64 line = 0;                  ///< in the file, from 1
};

/// The posts of one number and type.
struct logged_number {
    ut_uint64 count = 0;
    logged_post first;
};

/// Lines of a log that are not as they should be.
struct odd_lines {
    ut_uint64 count = 0;
    ut_uint64 first = 0;  ///< from 1
};

class message_log {
public:
    /// Reads all of the file. Errors: it has `failed`, and the log is not to be used.
    explicit message_log(input_file& file);

    /// True if a line of it is a log's.
    bool is_log() const { return has_head_ || posts_ > 0; }
    /// True if the log was closed: a run that was killed leaves one without its end lines.
    bool has_end() const { return has_end_; }
    bool has_head() const { return has_head_; }
    const odd_lines& odd() const { return odd_; }

    /// Of its head, as they stand there: "" where there is none.
    const std::string& date() const { return date_; }
    const std::string& version() const { return version_; }

    ut_uint64 posts() const { return posts_; }
    ut_uint64 posts_of(std::size_t type) const { return by_type_[type]; }
    const std::optional<logged_post>& first() const { return first_; }
    const std::optional<logged_post>& last() const { return last_; }
    /// The numbers, the most frequent first; of the same count by number and type.
    std::vector<logged_number> numbers() const;

private:
    void read_line(std::string_view line, ut_uint64 number);
    bool read_head(const std::string& line);
    bool read_post(const std::string& line, ut_uint64 number);

    bool has_head_ = false;
    bool has_end_ = false;
    odd_lines odd_;
    std::string date_;
    std::string version_;
    ut_uint64 posts_ = 0;
    std::array<ut_uint64, k_log_types.size()> by_type_{};
    std::map<std::pair<std::string, std::size_t>, logged_number> by_number_;
    std::optional<logged_post> first_;
    std::optional<logged_post> last_;
};

}  // namespace ketriope::tool
