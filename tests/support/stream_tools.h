// tests/support/stream_tools.h: descriptors, streams and their bytes, as the tests of the streams need them.
#pragma once
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "basutfile.h"
#include "basutstream.h"
#include "message_capture.h"
#include "platform.h"
#include "temp_directory.h"

/// An open file that is closed with the test.
class descriptor {
public:
    explicit descriptor(int number) : number_(number) {}
    descriptor(const std::string& path, unsigned flags)
        : number_(ketriope::platform::os().open(path.c_str(), flags))
    {
    }
    ~descriptor() { close(); }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;

    operator int() const { return number_; }
    void close()
    {
        if (number_ >= 0) ketriope::platform::os().close(number_);
        number_ = -1;
    }

private:
    int number_;
};

inline constexpr unsigned k_to_read = ketriope::platform::open_read;
inline constexpr unsigned k_to_write =
    ketriope::platform::open_write | ketriope::platform::open_create | ketriope::platform::open_truncate;

inline const unsigned char* bytes_of(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}
inline unsigned char* bytes_of(std::string& text)
{
    return reinterpret_cast<unsigned char*>(text.data());
}

inline int write_text(UT_STREAM& stream, std::string_view text)
{
    return stream.write(bytes_of(text), static_cast<int>(text.size()));
}

/// What a read of up to `count` bytes brings.
inline std::string read_text(UT_STREAM& stream, int count)
{
    std::string text(static_cast<std::size_t>(count), '\0');
    text.resize(static_cast<std::size_t>(stream.read(bytes_of(text), count)));
    return text;
}

/// How often `ut_file` can open this file: 30 times when it has nothing open.
inline int free_slots(const std::string& path)
{
    std::vector<UT_STREAM*> streams;
    while (streams.size() < 30) {
        UT_STREAM* const stream = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        if (stream == nullptr) break;
        streams.push_back(stream);
    }
    for (UT_STREAM* const stream : streams) ut_file.close(stream);
    return static_cast<int>(streams.size());
}

/// A text of `length` bytes in which no two stretches are alike for long, with no NUL and no white space.
inline std::string varied_text(std::size_t length)
{
    std::string text(length, '\0');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>('!' + (i * i + i / 93) % 93);
    return text;
}

/// The ten numbers of `dump`, by their labels without the colon.
inline std::map<std::string, long> dumped(const UT_STREAM& stream)
{
    std::map<std::string, long> numbers;
    std::istringstream lines(stdout_of([&] { stream.dump(); }));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(':');
        numbers[line.substr(0, colon)] = std::stol(line.substr(colon + 1));
    }
    return numbers;
}

/// How many reports have `text` in them.
inline int reports_of(const message_capture& capture, std::string_view text)
{
    int count = 0;
    for (const post& made : capture.posts()) count += made.text.find(text) != std::string::npos;
    return count;
}

/// A report as it was before it was folded into lines.
inline std::string unfolded(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; ++at)
        text.replace(at, text.find_first_not_of("\n ", at) - at, " ");
    return text;
}

/// The operations that a device keeps for its own kind.
template <class Device>
class opened : public Device {
public:
    using Device::destroy_me;
    using Device::Device;
    using Device::get_data;
    using Device::get_io_mode;
    using Device::get_offset;
    using Device::read_version;
    using Device::set_data;
    using Device::set_io_mode;
    using Device::set_offset;
    using Device::write_version;
};
using open_stream = opened<UT_STREAM>;

/// Expects `work` to break a contract: posted for `module` with `text` and thrown as -1 where the database
/// is in charge, and ending the process with 1 where it is not.
template <class Work>
void expect_contract(const char* module, const char* text, Work work)
{
    message_capture capture;
    try {
        work();
        ADD_FAILURE() << "nothing was thrown";
    } catch (int thrown) {
        EXPECT_EQ(thrown, -1);
    }
    EXPECT_EQ(capture.last(), (post{"common", "0000", module, text}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string shown = unfolded(stderr_of([&] { exit_value = capture.exit_value_of(work); }));
    EXPECT_EQ(exit_value, 1);
    EXPECT_NE(shown.find(text), std::string::npos) << shown;
}

/// A test that writes a file through a stream, or reads one.
class stream_file_test : public testing::Test {
protected:
    /// The bytes of a file that `work` wrote.
    std::string written(const auto& work, std::size_t buffer = 2048)
    {
        {
            const descriptor file(path, k_to_write);
            open_stream stream(file, UT_ACCESS_WRITE, buffer, nullptr);
            work(stream);
            stream.flush();
        }
        return file_bytes(path);
    }
    /// Gives `work` a stream of these bytes.
    void read_back(const std::string& bytes, const auto& work, std::size_t buffer = 2048)
    {
        write_file(path, bytes);
        const descriptor file(path, k_to_read);
        open_stream stream(file, UT_ACCESS_READ, buffer, nullptr);
        work(stream);
    }

    const temp_directory directory;
    const std::string path = directory / "bytes";
};
