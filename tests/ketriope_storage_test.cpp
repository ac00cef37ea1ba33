// tests/ketriope_storage_test.cpp: the commands of the companion program that change how a file is stored.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_process.h"

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string bytes_at(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Lines that compress well, and are all different.
std::string lines(int count)
{
    std::string text;
    for (int i = 0; i < count; ++i) text += "net n" + std::to_string(i) + " has a driver and a load\n";
    return text;
}

struct form {
    const char* option;
    const char* name;
    const char* signature;
};
constexpr form k_forms[] = {{"-packed", "packed", "\x5A\x5A\xA5\xA5\xC3\xC3\x71"},
                            {"-gca", "GCA", "\x5B\x5B\xA6\xA6\xC4\xC4\x72"},
                            {"-gcb", "GCB", "\x5C\x5C\xA7\xA7\xC5\xC5\x73"}};

class KetriopeStorage : public tool_test {
protected:
    /// The names of the files in the directory.
    std::vector<std::string> names() const
    {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(fs::path(path("x")).parent_path()))
            all.push_back(entry.path().filename().string());
        std::ranges::sort(all);
        return all;
    }
};

TEST_F(KetriopeStorage, PacksInEachFormAndUnpacksAgain)
{
    const std::string content = lines(4'000) + std::string("\0\xff\r\n", 4);
    const std::string from = file("from", content), to = path("to"), back = path("back");
    for (const form& each : k_forms) {
        const child_result packed = tool({"pack", each.option, from, to});
        EXPECT_EQ(packed.err, "");
        EXPECT_EQ(packed.exit_status, 0);
        const std::string stored = bytes_at(to);
        EXPECT_THAT(stored, StartsWith(each.signature));
        EXPECT_LT(stored.size(), content.size() / 3);
        EXPECT_THAT(packed.out,
                    StartsWith(to + ": " + std::to_string(content.size()) + " bytes, stored in "));
        EXPECT_THAT(packed.out, EndsWith(" %\n"));

        const child_result unpacked = tool({"unpack", to, back});
        EXPECT_EQ(unpacked.out, back + ": " + std::to_string(content.size()) + " bytes\n");
        EXPECT_EQ(unpacked.err, "");
        EXPECT_EQ(unpacked.exit_status, 0);
        EXPECT_EQ(bytes_at(back), content);
        EXPECT_EQ(tool({"cat", to}).out, content);
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"back", "from", "to"}));
}

TEST_F(KetriopeStorage, PackWithoutAnOptionTakesTheSuitesOwnForm)
{
    const std::string from = file("from", lines(10));
    EXPECT_EQ(tool({"pack", from, path("to")}).exit_status, 0);
    EXPECT_THAT(bytes_at(path("to")), StartsWith(k_forms[0].signature));
}

TEST_F(KetriopeStorage, PackTakesACompressedFileForItsContent)
{
    const std::string content = lines(500);
    EXPECT_EQ(tool({"pack", "-gca", file("from", content), path("one")}).exit_status, 0);
    EXPECT_EQ(tool({"pack", "-gcb", path("one"), path("two")}).exit_status, 0);
    EXPECT_THAT(bytes_at(path("two")), StartsWith(k_forms[2].signature));
    EXPECT_EQ(tool({"cat", path("two")}).out, content);
}

TEST_F(KetriopeStorage, UnpackCopiesAPlainFile)
{
    const std::string content = lines(3);
    EXPECT_EQ(tool({"unpack", file("from", content), path("to")}).exit_status, 0);
    EXPECT_EQ(bytes_at(path("to")), content);
}

TEST_F(KetriopeStorage, TheEnvironmentDoesNotChangeTheForm)
{
    const child_environment forced{{"QVS_COMP_MAND", "yes"}, {"QVS_COMP_ALG", "GCB"}};
    const std::string content = lines(30), from = file("from", content);
    EXPECT_EQ(tool({"pack", "-gca", from, path("to")}, forced).exit_status, 0);
    EXPECT_THAT(bytes_at(path("to")), StartsWith(k_forms[1].signature));
    EXPECT_EQ(tool({"unpack", path("to"), path("back")}, forced).exit_status, 0);
    EXPECT_EQ(bytes_at(path("back")), content);
}

TEST_F(KetriopeStorage, InfoTellsShareAndBlocks)
{
    const std::string from = file("from", std::string(40'000, 'x') + '\n');
    for (const form& each : k_forms) {
        const std::string to = path("to");
        EXPECT_EQ(tool({"pack", each.option, from, to}).exit_status, 0);
        const child_result info = tool({"info", to});
        EXPECT_THAT(info.out, StartsWith(to + "\n  form           " + each.name + "\n  size on disk   " +
                                         std::to_string(fs::file_size(to)) +
                                         " bytes\n  content        40001 bytes, stored in "));
        EXPECT_THAT(info.out, HasSubstr(" %\n  blocks         3\n  lines          1\n"));
        EXPECT_EQ(info.exit_status, 0);
    }
}

TEST_F(KetriopeStorage, AFileOfManyFlushesIsReadToItsEnd)
{
    // As a tool writes one that flushes its log: each block is shorter than a buffer.
    const child_result wrote = run_child(child_program("ketriope_storage_child"), {path("log")});
    ASSERT_EQ(wrote.exit_status, 0);
    EXPECT_EQ(tool({"cat", path("log")}).out, "first\nsecond\nthird\n");
    EXPECT_THAT(tool({"info", path("log")}).out, HasSubstr("\n  blocks         3\n  lines          3\n"));
}

TEST_F(KetriopeStorage, AFileThatEndsTooEarlyIsUnpackedAsFarAsItGoes)
{
    const std::string content = lines(4'000);
    const std::string from = file("from", content);
    for (const form& each : k_forms) {
        EXPECT_EQ(tool({"pack", each.option, from, path("whole")}).exit_status, 0);
        const std::string stored = bytes_at(path("whole"));
        const std::string cut = file("cut", stored.substr(0, stored.size() / 2));
        const std::string told = warning("'" + cut + "' ends too early: what comes before that was read.");
        const child_result unpacked = tool({"unpack", cut, path("to")});
        EXPECT_EQ(unpacked.err, told);
        EXPECT_EQ(unpacked.exit_status, 1);
        const std::string got = bytes_at(path("to"));
        EXPECT_EQ(got, content.substr(0, got.size()));
        EXPECT_GT(got.size(), content.size() / 10);
        const child_result shown = tool({"cat", cut});
        EXPECT_EQ(shown.out, got);
        EXPECT_EQ(shown.err, told);
        EXPECT_EQ(shown.exit_status, 1);
        const child_result info = tool({"info", cut});
        EXPECT_THAT(info.out, HasSubstr(", cut short\n"));
        EXPECT_EQ(info.err, told);
    }
}

TEST_F(KetriopeStorage, AFailureLeavesTheOldFile)
{
    const std::string old = file("old", "what was there");
    const child_result missing = tool({"pack", path("no such file"), old});
    EXPECT_EQ(missing.err, error("Cannot read '" + path("no such file") + "': there is no such file."));
    EXPECT_EQ(missing.exit_status, 2);
    const child_result directory = tool({"pack", old, fs::path(old).parent_path().string()});
    EXPECT_THAT(directory.err, HasSubstr("it is a directory"));
    EXPECT_EQ(directory.exit_status, 2);
    EXPECT_EQ(bytes_at(old), "what was there");
    EXPECT_EQ(names(), std::vector<std::string>{"old"});
}

TEST_F(KetriopeStorage, AFullDiskLeavesTheOldFile)
{
    std::mt19937 random(5);
    std::string content(400'000, '\0');
    for (char& byte : content) byte = static_cast<char>(random());
    const std::string from = file("from", content), old = file("old", "what was there");
    // A limit of the process on the size of files stands for the full disk.
    const words limited{"/bin/sh", "-c", "ulimit -f 100; trap '' XFSZ; exec \"$0\" \"$@\""};
    for (const words& command :
         {words{"pack", "-packed"}, words{"pack", "-gca"}, words{"pack", "-gcb"}, words{"unpack"}}) {
        words arguments = command;
        arguments.insert(arguments.end(), {from, old});
        const child_result result = tool_under(limited, arguments);
        EXPECT_THAT(result.err, HasSubstr("Cannot write '" + old + "': it grows larger than a file may be."));
        EXPECT_EQ(result.exit_status, 2);
        EXPECT_EQ(bytes_at(old), "what was there");
        EXPECT_EQ(names(), (std::vector<std::string>{"from", "old"}));
    }
}

TEST_F(KetriopeStorage, DamagedPackedDataLeaveTheOldFile)
{
    const std::string old = file("old", "what was there");
    const std::string from = file("from", lines(4'000));
    EXPECT_EQ(tool({"pack", "-packed", from, path("stored")}).exit_status, 0);
    std::string stored = bytes_at(path("stored"));
    int ended_by_the_library = 0;
    for (std::size_t at = 9; at < stored.size(); at += 199) {
        std::string damaged = stored;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        const child_result result = tool({"unpack", file("damaged", damaged), old});
        const bool told = result.err.find("Bogus offset reading packed data.") != std::string::npos;
        ended_by_the_library += told;
        EXPECT_TRUE(!told || bytes_at(old) == "what was there") << at;
        file("old", "what was there");
        EXPECT_EQ(names(), (std::vector<std::string>{"damaged", "from", "old", "stored"})) << at;
    }
    EXPECT_GT(ended_by_the_library, 0);
}

TEST_F(KetriopeStorage, SegmentsListsTheDirectoryInColumns)
{
    EXPECT_EQ(run_child(child_program("ketriope_storage_child"), {path("log"), path("indexed")}).exit_status,
              0);
    const child_result result = tool({"segments", path("indexed")});
    EXPECT_EQ(result.out, path("indexed") + "\n  data version   7.3\n  segments       3\n\n"
                                            "  size  type  data  name\n"
                                            "     5     1    -1  head\n"
                                            "     0    20     0  \n"
                                            "  1000   300  4000  a name<0A>of two lines\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeStorage, ExtractWritesOneSegment)
{
    EXPECT_EQ(run_child(child_program("ketriope_storage_child"), {path("log"), path("indexed")}).exit_status,
              0);
    const child_result head = tool({"extract", path("indexed"), "head", path("out")});
    EXPECT_EQ(head.out, path("out") + ": 5 bytes\n");
    EXPECT_EQ(head.exit_status, 0);
    EXPECT_EQ(bytes_at(path("out")), "HEAD.");
    EXPECT_EQ(tool({"extract", path("indexed"), "", path("out")}).out, path("out") + ": 0 bytes\n");
    EXPECT_EQ(bytes_at(path("out")), "");
    EXPECT_EQ(tool({"extract", path("indexed"), "a name\nof two lines", path("out")}).exit_status, 0);
    EXPECT_EQ(bytes_at(path("out")), std::string(1'000, 'x'));

    const child_result missing = tool({"extract", path("indexed"), "tail", path("out")});
    EXPECT_EQ(missing.err, error("'" + path("indexed") + "' has no segment 'tail'."));
    EXPECT_EQ(missing.exit_status, 2);
    EXPECT_EQ(bytes_at(path("out")), std::string(1'000, 'x'));
}

TEST_F(KetriopeStorage, ASegmentThatIsCutIsTold)
{
    EXPECT_EQ(run_child(child_program("ketriope_storage_child"), {path("log"), path("indexed")}).exit_status,
              0);
    std::string bytes = bytes_at(path("indexed"));
    const std::size_t size_of_head = bytes.find("head") + 5 + 4;  // behind its name and its offset
    bytes[size_of_head + 1] = '\x7F';
    const std::string forged = file("forged", bytes);
    const child_result result = tool({"extract", forged, "head", path("out")});
    EXPECT_EQ(result.err, warning("'" + forged + "' ends within segment 'head': what is there was read."));
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(bytes_at(path("out")), bytes.substr(128));
}

TEST_F(KetriopeStorage, ADirectoryThatIsCutIsTold)
{
    EXPECT_EQ(run_child(child_program("ketriope_storage_child"), {path("log"), path("indexed")}).exit_status,
              0);
    const std::string whole = bytes_at(path("indexed"));
    const std::size_t directory = whole.find("head");
    const auto expect_told = [&](const std::string& bytes, const std::string& what) {
        const std::string cut = file("cut", bytes);
        const std::string told =
            warning("'" + cut + "' lacks a part of its directory: what is missing shows as 0.");
        const child_result listed = tool({"segments", cut});
        EXPECT_EQ(listed.err, told) << what;
        EXPECT_EQ(listed.exit_status, 1) << what;
        EXPECT_THAT(listed.out, StartsWith(cut + "\n  data version")) << what;
    };
    for (const std::size_t length : {std::size_t{3}, std::size_t{9}, std::size_t{100}, directory - 1,
                                     directory, directory + 3, directory + 20, whole.size() - 1})
        expect_told(whole.substr(0, length), std::to_string(length));
    for (const char* const nowhere : {"\x7F", "\xF0"}) {
        std::string forged = whole;
        expect_told(forged.replace(6, 1, nowhere), nowhere);
    }

    const std::string cut = file("cut", whole.substr(0, directory + 21));  // behind the first entry
    const child_result head = tool({"extract", cut, "head", path("out")});
    EXPECT_THAT(head.err, HasSubstr("lacks a part of its directory"));
    EXPECT_EQ(head.exit_status, 1);
    EXPECT_EQ(bytes_at(path("out")), "HEAD.");
    EXPECT_EQ(tool({"extract", cut, "a name\nof two lines", path("out")}).exit_status, 2);

    // What is there in full is not told, in whatever form.
    for (const char* const form : {"-packed", "-gca", "-gcb"}) {
        EXPECT_EQ(tool({"pack", form, path("indexed"), path("stored")}).exit_status, 0);
        const child_result listed = tool({"segments", path("stored")});
        EXPECT_EQ(listed.err, "");
        EXPECT_EQ(listed.exit_status, 0);
        EXPECT_EQ(tool({"extract", path("stored"), "a name\nof two lines", path("out")}).exit_status, 0);
        EXPECT_EQ(bytes_at(path("out")), std::string(1'000, 'x'));
    }
}

TEST_F(KetriopeStorage, WhatIsNoIndexedFileIsTold)
{
    for (const std::string& content : {std::string(), std::string("text"), std::string(200, '\0')}) {
        const std::string name = file("other", content);
        const child_result result = tool({"segments", name});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err,
                  error("Cannot read '" + name + "': it is no indexed file, or one that was not completed."));
        EXPECT_EQ(result.exit_status, 2);
    }
    EXPECT_EQ(tool({"segments", path("none")}).err,
              error("Cannot read '" + path("none") + "': there is no such file."));
    const std::string directory = fs::path(path("x")).parent_path().string();
    EXPECT_EQ(tool({"segments", directory}).err,
              error("Cannot read '" + directory + "': it is a directory."));
}

TEST_F(KetriopeStorage, LongWorkShowsABarOnATerminalOnly)
{
    const std::string from = file("from", std::string(5 << 20, 'x'));
    const words terminal{child_program("pty_child"), "-reports"};
    const child_result seen = tool_under(terminal, {"pack", "-gca", from, path("to")});
    EXPECT_THAT(seen.out, HasSubstr("\r" + from + " [" + std::string(40, ' ') + "]   0 %"));
    EXPECT_THAT(seen.out, HasSubstr(" [" + std::string(20, '#') + std::string(20, ' ') + "]  5"));
    EXPECT_THAT(seen.out, HasSubstr("\r\033[K"));
    EXPECT_EQ(tool({"pack", "-gca", from, path("to")}).err, "");
    const child_result described = tool_under(terminal, {"info", from});
    EXPECT_THAT(described.out, StartsWith("\r" + from + " [" + std::string(40, ' ') + "]   0 %"));
    EXPECT_THAT(described.out, HasSubstr("]  50 %"));
    EXPECT_THAT(described.out, HasSubstr("\r\033[K"));
    EXPECT_EQ(tool({"info", from}).err, "");
    const std::string small = file("small", lines(10));
    EXPECT_THAT(tool_under(terminal, {"pack", "-gca", small, path("to")}).out, testing::Not(HasSubstr("[")));
}

}  // namespace
