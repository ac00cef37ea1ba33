// tests/support/temp_directory.h: a directory below TEMP that goes with the test, and whole files.
#pragma once
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

/// Its name is that of the running test and process, so tests that run side by side do not meet.
class temp_directory {
public:
    temp_directory() : path_(std::filesystem::path(std::getenv("TEMP")) / own_name())
    {
        std::filesystem::create_directories(path_);
    }
    ~temp_directory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temp_directory(const temp_directory&) = delete;
    temp_directory& operator=(const temp_directory&) = delete;

    std::string path() const { return path_.string(); }
    /// The path of `name` in it.
    std::string operator/(std::string_view name) const { return (path_ / name).string(); }

private:
    static std::string own_name()
    {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::string name =
            std::string(test->test_suite_name()) + '.' + test->name() + '.' + std::to_string(::getpid());
        std::ranges::replace(name, '/', '-');  // of a test with a parameter
        return name;
    }

    std::filesystem::path path_;
};

inline void write_file(const std::string& path, std::string_view bytes)
{
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string file_bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
