// output_file.cpp
#include "output_file.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#if defined(_WIN32)
#include <io.h>
#endif

#include "basutfile.h"
#include "console.h"
#include "reason.h"

namespace ketriope::tool {
namespace {

constexpr std::size_t k_buffer = 16384;  ///< of the stream, and so the content of a block

/// The unfinished file of a run that ends in the middle, as at damaged data in what is read.
std::string& under_way()
{
    static std::string& name = *new std::string;  // still there when the exit handlers run
    return name;
}

void remove_unfinished()
{
    if (!under_way().empty()) std::remove(under_way().c_str());
}

/// A new file beside `name`, and its name. Null, with `errno`, if there can be none.
std::FILE* open_beside(const std::string& name, std::string& other)
{
    constexpr int k_tries = 100;  // an earlier run may have been killed, or another one be at work
    for (int i = 0; i < k_tries; ++i) {
        other = name + ".part" + (i > 0 ? std::to_string(i) : "");
        std::FILE* const file = std::fopen(other.c_str(), "wbx");
        if (file != nullptr || errno != EEXIST) return file;
    }
    return nullptr;
}

int descriptor_of(std::FILE* file)
{
#if defined(_WIN32)
    return ::_fileno(file);
#else
    return ::fileno(file);
#endif
}

}  // namespace

output_file::output_file(const char* name, UT_ACCESS form) : name_(name)
{
    if (ut_file.isdir(name) != 0) {
        fail(EISDIR);
    } else if (ut_file.exist(name) != 0 && ut_file.isfile(name) == 0) {
        fail("it is neither a file nor a directory");
    } else if ((file_ = open_beside(name_, other_)) == nullptr) {
        fail(errno);
    } else {
        static const int registered = std::atexit(remove_unfinished);
        static_cast<void>(registered);
        under_way() = other_;
        stream_ = std::make_unique<stream>(descriptor_of(file_), form | UT_ACCESS_WRITE, k_buffer, nullptr);
    }
}

output_file::~output_file()
{
    if (other_.empty() || file_ == nullptr) return;
    close();
    std::remove(other_.c_str());
    under_way().clear();
}

/// Lets go of stream and file; the result is the `errno` of what failed, or 0.
int output_file::close()
{
    try {
        stream_->destroy_me();  // which may raise, as the destructor then does not
    } catch (int) {             // the failure was reported, or there was none to report
    }
    stream_.reset();
    return std::fclose(std::exchange(file_, nullptr)) == 0 ? 0 : errno;
}

bool output_file::fail(const std::string& reason)
{
    if (!failed_) report_error("Cannot write '" + printable(name_) + "': " + reason + ".");
    failed_ = true;
    return false;
}

bool output_file::fail(int error)
{
    return fail(reason_of(error));
}

bool output_file::attempt(const auto& work)
{
    bool done = false;
    try {
        done = work();
    } catch (int) {  // compressed data that could not be written; the stream has the reason
    }
    if (done && stream_->geterror() == 0) return true;
    return fail(stream_->geterror());
}

bool output_file::write(std::string_view content)
{
    if (failed_) return false;
    const auto count = static_cast<int>(content.size());
    return attempt([&] {
        return stream_->write(reinterpret_cast<const unsigned char*>(content.data()), count) == count;
    });
}

bool output_file::finish()
{
    const bool written = !failed_ && attempt([&] {
        const bool flushed = stream_->flush() != 0;
        stream_->destroy_me();
        return flushed;
    });
    if (!written) return false;
    if (const int error = close(); error != 0) fail(error);
    // The file manager's own renaming takes the old file away first; here there is never none.
    if (!failed_ && std::rename(other_.c_str(), name_.c_str()) != 0) fail(errno);
    if (failed_) std::remove(other_.c_str());
    under_way().clear();
    return !failed_;
}

bool write_file(const char* name, const std::string& content)
{
    output_file file(name, UT_ACCESS{});
    return file.write(content) && file.finish();
}

}  // namespace ketriope::tool
