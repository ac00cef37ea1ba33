// input_file.cpp
#include "input_file.h"

#include <cerrno>

#include "basutfile.h"
#include "basutstream.h"
#include "console.h"
#include "reason.h"

using namespace std::string_literals;

namespace ketriope::tool {
namespace {

constexpr std::size_t k_piece = 65536;

}  // namespace

void report_unreadable(const std::string& shown_name, const std::string& reason)
{
    report_error("Cannot read '" + shown_name + "': " + reason + ".");
}

bool can_be_read(const char* name)
{
    const bool is_directory = ut_file.isdir(name) != 0;
    if (!is_directory && (ut_file.exist(name) == 0 || ut_file.isfile(name) != 0)) return true;
    report_unreadable(printable(name),
                      is_directory ? "it is a directory" : "it is neither a file nor a directory");
    return false;
}

input_file::input_file(const char* name) : name_(name), shown_name_(printable(name))
{
    failed_ = !can_be_read(name);
    if (!failed_) open();
}

input_file::~input_file()
{
    if (stream_ != nullptr) ut_file.close(stream_);
}

void input_file::open()
{
    ut_file.clearerror();
    stream_ = ut_file.open(name_.c_str(), UT_ACCESS_READ, 0);
    if (stream_ != nullptr) return read_over_short_blocks();
    const int error = ut_file.geterror();  // packed data without a version are reported, and leave none
    fail(error != 0 ? reason_of(error) : "it ends behind its signature");
}

/// A stream ends behind a block that is shorter than its buffer, as a flush in mid-file leaves one. Read
/// in pieces, which a seek away from the start brings about, it goes on over them.
void input_file::read_over_short_blocks()
{
    if ((stream_->getaccess() & (UT_ACCESS_GCA | UT_ACCESS_GCB)) == 0) return;
    unsigned char first = 0;
    if (stream_->peek(&first, 1) != 1) return;
    ahead_.assign(1, static_cast<char>(first));
    stream_->setfoffset(1);
}

void input_file::fail(const std::string& reason)
{
    failed_ = true;
    report_unreadable(shown_name_, reason);
}

const char* input_file::form() const
{
    const int access = stream_->getaccess();
    if ((access & UT_ACCESS_PACKED) != 0) return "packed";
    if ((access & UT_ACCESS_GCA) != 0) return "GCA";
    if ((access & UT_ACCESS_GCB) != 0) return "GCB";
    return "plain";
}

bool input_file::is_compressed() const
{
    return stream_->is_access_compressed() != 0;
}

ut_int64 input_file::bytes_read() const
{
    return stream_->get_rawoffset();
}

ut_uint64 input_file::blocks() const
{
    return stream_->get_block_count();
}

bool input_file::is_cut_short() const
{
    return stream_->is_cut_short() != 0;
}

void input_file::warn_of_cut() const
{
    report_warning("'" + shown_name_ + "' ends too early: what comes before that was read.");
}

ut_int64 input_file::size() const
{
    return ut_file.getsize(name_.c_str());
}

std::string_view input_file::next()
{
    if (failed_) return {};
    piece_.resize(k_piece);
    const std::size_t known = ahead_.copy(reinterpret_cast<char*>(piece_.data()), ahead_.size());
    ahead_.clear();
    const int count = stream_->read(piece_.data() + known, static_cast<int>(k_piece - known));
    if (const int error = stream_->geterror(); error != 0) {
        fail(error == ENOTSUP
                 ? "its content is stored in the form "s + form() + ", which this version cannot decode"
                 : reason_of(error));
        return {};
    }
    return {reinterpret_cast<const char*>(piece_.data()), known + static_cast<std::size_t>(count)};
}

bool line_reader::next()
{
    begin_ = rest_;
    std::size_t feed = held_.find('\n', begin_);
    while (feed == std::string::npos) {
        const std::size_t searched = held_.size() - begin_;
        if (!fill()) break;
        feed = held_.find('\n', begin_ + searched);
    }
    if (file_.failed()) return false;
    if (feed == std::string::npos) {  // the last line may lack its end
        end_ = rest_ = held_.size();
        return begin_ < end_;
    }
    end_ = feed > begin_ && held_[feed - 1] == '\r' ? feed - 1 : feed;
    held_[end_] = '\0';
    rest_ = feed + 1;
    return true;
}

/// Gets more of the file behind the line, and drops the lines before it.
bool line_reader::fill()
{
    const std::string_view more = file_.next();
    if (more.empty()) return false;
    held_.erase(0, begin_);
    begin_ = 0;
    held_.append(more);
    return true;
}

}  // namespace ketriope::tool
