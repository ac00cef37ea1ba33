/// \file input_file.h
/// A file as the commands read it: through the file manager and its streams, whatever its form.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "uttypes.h"

class UT_STREAM;

namespace ketriope::tool {

/// True unless it is a directory or a device, which is reported.
bool can_be_read(const char* name);

/// Reports that a file cannot be read, and why.
void report_unreadable(const std::string& shown_name, const std::string& reason);

class input_file {
public:
    /// Opens the file. Errors: what stands in the way is reported, and `is_open` is false.
    explicit input_file(const char* name);
    ~input_file();
    input_file(const input_file&) = delete;
    input_file& operator=(const input_file&) = delete;

    bool is_open() const { return stream_ != nullptr; }
    /// The name as it is printed.
    const std::string& shown_name() const { return shown_name_; }
    /// How the content is stored, by the file's signature: "plain", "packed", "GCA" or "GCB".
    const char* form() const;
    bool is_compressed() const;
    /// Units: bytes on disk.
    ut_int64 size() const;
    /// How much of the file was read so far. Units: bytes on disk.
    ut_int64 bytes_read() const;
    /// Compressed blocks that were read so far.
    ut_uint64 blocks() const;
    /// True when compressed data ended before their own end.
    bool is_cut_short() const;
    /// Says so.
    void warn_of_cut() const;

    /// Returns the next bytes of the content; none at its end and after a failure.
    ///
    /// Lifetime: until the next call. Errors: reported, once, and `failed` is true from then on.
    std::string_view next();
    bool failed() const { return failed_; }
    /// Reports that the file cannot be read, and why.
    void fail(const std::string& reason);

private:
    void open();
    void read_over_short_blocks();

    std::string name_;
    std::string shown_name_;
    UT_STREAM* stream_ = nullptr;
    std::vector<unsigned char> piece_;
    std::string ahead_;  ///< content that was read when the file was opened
    bool failed_ = false;
};

/// The lines of a file, of any length and with any bytes in them.
class line_reader {
public:
    explicit line_reader(input_file& file) : file_(file) {}

    /// Steps to the next line; false at the end, and after a failure of the file.
    bool next();
    /// The line without its end, which is LF or CR LF. A NUL stands behind it.
    /// Lifetime: until the next step.
    std::string_view line() const { return {held_.data() + begin_, end_ - begin_}; }

private:
    bool fill();

    input_file& file_;
    std::string held_;       ///< the line, what was read behind it, and what is left of the lines before
    std::size_t begin_ = 0;  ///< of the line
    std::size_t end_ = 0;    ///< of the line, its end left out
    std::size_t rest_ = 0;   ///< where the next line begins
};

}  // namespace ketriope::tool
