// output_file.cpp
#include "output_file.h"

#include <cerrno>
#include <cstdio>

#include "basutfile.h"
#include "console.h"
#include "reason.h"

namespace ketriope::tool {
namespace {

bool report_failure(const char* name, const std::string& reason)
{
    report_error("Cannot write '" + printable(name) + "': " + reason + ".");
    return false;
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

/// Writes and closes. Returns 0, or the `errno` of the first failure.
int fill(std::FILE* file, const std::string& content)
{
    errno = 0;
    const bool whole = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    const bool flushed = std::fflush(file) == 0;
    const int error = whole && flushed ? 0 : errno;
    return std::fclose(file) == 0 || error != 0 ? error : errno;
}

}  // namespace

bool write_file(const char* name, const std::string& content)
{
    if (ut_file.isdir(name) != 0) return report_failure(name, reason_of(EISDIR));
    if (ut_file.exist(name) != 0 && ut_file.isfile(name) == 0)
        return report_failure(name, "it is neither a file nor a directory");
    std::string other;
    std::FILE* const file = open_beside(name, other);
    if (file == nullptr) return report_failure(name, reason_of(errno));
    int error = fill(file, content);
    // The file manager's own renaming takes the old file away first; here there is never none.
    if (error == 0 && std::rename(other.c_str(), name) != 0) error = errno;
    if (error == 0) return true;
    std::remove(other.c_str());
    return report_failure(name, reason_of(error));
}

}  // namespace ketriope::tool
