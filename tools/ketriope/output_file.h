/// \file output_file.h
/// A file that is there whole, or not at all.
#pragma once
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "basutstream.h"

namespace ketriope::tool {

/// Written under another name beside its own, which it gets when it is complete.
///
/// So whoever reads it meanwhile has the old content, and a failure, or an end of the run, leaves it. A file
/// of that name is replaced; a directory or device is not. One may be under way at a time.
class output_file {
public:
    /// Begins a file in the form that the bits of `form` say: plain, packed, or in blocks. No variable of the
    /// environment makes it another.
    /// Errors: reported, and `failed` is true.
    output_file(const char* name, UT_ACCESS form);
    /// What is not complete is gone.
    ~output_file();
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    bool failed() const { return failed_; }
    /// Errors, of both: false, reported once.
    bool write(std::string_view content);
    /// Completes the file and gives it its name.
    bool finish();

private:
    /// Its compressors are ended while the stream still lives and can tell what came of it.
    class stream : public UT_STREAM {
    public:
        using UT_STREAM::destroy_me;
        using UT_STREAM::UT_STREAM;
    };

    bool fail(int error);
    bool fail(const std::string& reason);
    /// Does a piece of the writing; what it breaks on the way is a failure of the file.
    bool attempt(const auto& work);
    int close();

    std::string name_;
    std::string other_;  ///< the name it has until it is complete
    std::FILE* file_ = nullptr;
    std::unique_ptr<stream> stream_;
    bool failed_ = false;
};

/// Writes a plain file at once. Errors: false, reported, and the other name is gone again.
bool write_file(const char* name, const std::string& content);

}  // namespace ketriope::tool
