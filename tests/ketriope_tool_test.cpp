// tests/ketriope_tool_test.cpp: the companion program as its parent process sees it.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tool_process.h"

namespace fs = std::filesystem;
using std::string_literals::operator""s;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using KetriopeTool = tool_test;

namespace {

std::string description(const std::string& name, const std::string& form, const std::string& size,
                        const std::string& lines, const std::string& longest, const std::string& unprintable)
{
    return name + "\n  form           " + form + "\n  size on disk   " + size + "\n  lines          " +
           lines + "\n  longest line   " + longest + "\n  unprintable    " + unprintable + "\n";
}

// ---- info

TEST_F(KetriopeTool, InfoTellsFormSizeLinesLongestLineAndUnprintableBytes)
{
    const std::string name = file("a.txt", "one\nthree\tfour\nlast\n");
    const child_result result = tool({"info", name});
    EXPECT_EQ(result.out, description(name, "plain", "20 bytes", "3", "10 bytes, line 2", "none"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeTool, InfoCountsNeitherLfNorCrLfToALine)
{
    const std::string name = file("dos.txt", "abc\r\n\r\nabcd\r\n");
    EXPECT_EQ(tool({"info", name}).out,
              description(name, "plain", "13 bytes", "3", "4 bytes, line 3", "none"));
}

TEST_F(KetriopeTool, InfoNamesTheFirstOfTheLongestLines)
{
    const std::string name = file("a.txt", "x\nyy\nzz\n");
    EXPECT_EQ(tool({"info", name}).out,
              description(name, "plain", "8 bytes", "3", "2 bytes, line 2", "none"));
}

TEST_F(KetriopeTool, InfoCountsALastLineWithoutAnEnd)
{
    const std::string name = file("open.txt", "a\nbcd");
    EXPECT_EQ(
        tool({"info", name}).out,
        description(name, "plain", "5 bytes", "2, the last one without an end", "3 bytes, line 2", "none"));
}

TEST_F(KetriopeTool, InfoTakesACarriageReturnElsewhereAsPartOfTheLine)
{
    const std::string name = file("cr.txt", "a\rb\r\nc\r");
    EXPECT_EQ(
        tool({"info", name}).out,
        description(name, "plain", "7 bytes", "2, the last one without an end", "3 bytes, line 1", "none"));
}

TEST_F(KetriopeTool, InfoOfOneByteSpeaksOfOneByte)
{
    const std::string name = file("one.txt", "x");
    EXPECT_EQ(tool({"info", name}).out, description(name, "plain", "1 byte", "1, the last one without an end",
                                                    "1 byte, line 1", "none"));
}

TEST_F(KetriopeTool, InfoTellsOffsetAndValueOfTheFirstUnprintableByte)
{
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"ab\0cd\x01\n"s, "0x00 at offset 2"}, {"\x1b[m\n", "0x1B at offset 0"},
        {"ab\n\x7f", "0x7F at offset 3"},      {"~ \xe9\n", "0xE9 at offset 2"},
        {"\f\n", "0x0C at offset 0"},          {" ~\t\r\n", "none"},
    };
    for (const auto& [content, unprintable] : k_cases) {
        const std::string name = file("a.txt", content);
        EXPECT_THAT(tool({"info", name}).out, EndsWith("  unprintable    " + unprintable + "\n"));
    }
}

TEST_F(KetriopeTool, InfoReadsLinesOfAnyLengthAndAcrossAllBorders)
{
    for (const std::size_t length :
         std::vector<std::size_t>{4095, 4096, 65534, 65535, 65536, 65537, 1000003}) {
        const std::string name = file("long.txt", std::string(length, 'x') + "\r\nab\n\x01");
        EXPECT_EQ(tool({"info", name}).out,
                  description(name, "plain", std::to_string(length + 6) + " bytes",
                              "3, the last one without an end", std::to_string(length) + " bytes, line 1",
                              "0x01 at offset " + std::to_string(length + 5)));
    }
}

TEST_F(KetriopeTool, InfoOfNothingButNulsIsOneLongLine)
{
    const std::string name = file("nuls", std::string(70000, '\0'));
    EXPECT_EQ(tool({"info", name}).out,
              description(name, "plain", "70000 bytes", "1, the last one without an end",
                          "70000 bytes, line 1", "0x00 at offset 0"));
}

TEST_F(KetriopeTool, InfoWarnsOfAnEmptyFile)
{
    const std::string name = file("empty", "");
    const child_result result = tool({"info", name});
    EXPECT_EQ(result.out, description(name, "plain", "0 bytes", "0", "none", "none"));
    EXPECT_EQ(result.err, warning("'" + name + "' is empty."));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeTool, InfoTellsTheFormOfACompressedFileBySignature)
{
    struct {
        std::string content, form, blocks;
    } const k_cases[]{
        {"\x5a\x5a\xa5\xa5\xc3\xc3\x71"
         "11",
         "packed", "0"},
        {"\x5b\x5b\xa6\xa6\xc4\xc4\x72", "GCA", "0"},
        {"\x5b\x5b\xa6\xa6\xc4\xc4\x72"
         "...",
         "GCA", "0, cut short"},
        {"\x5c\x5c\xa7\xa7\xc5\xc5\x73"
         "....",
         "GCB", "0, cut short"},
    };
    for (const auto& [content, form, blocks] : k_cases) {
        const std::string name = file("a." + form, content);
        const child_result result = tool({"info", name});
        EXPECT_THAT(result.out,
                    StartsWith(name + "\n  form           " + form + "\n  size on disk   " +
                               std::to_string(content.size()) +
                               " bytes\n  content        0 bytes\n  blocks         " + blocks + "\n"));
        const std::string cut =
            blocks == "0" ? "" : warning("'" + name + "' ends too early: what comes before that was read.");
        EXPECT_EQ(result.err, warning("'" + name + "' is empty.") + cut);
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST_F(KetriopeTool, InfoSaysThatPackedDataEndBehindTheirSignature)
{
    const std::string name = file("cut", "\x5a\x5a\xa5\xa5\xc3\xc3\x71");
    const child_result result = tool({"info", name});
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, EndsWith(error("Cannot read '" + name + "': it ends behind its signature.")));
    EXPECT_EQ(result.exit_status, 2);
}

TEST_F(KetriopeTool, InfoTakesAShortOrWrongSignatureAsText)
{
    for (const std::string& content : {"\x5a\x5a\xa5\xa5\xc3\xc3"s, "\x5a\x5a\xa5\xa5\xc3\xc3\x72 "s}) {
        const std::string name = file("almost", content);
        EXPECT_THAT(tool({"info", name}).out, HasSubstr("  form           plain\n"));
    }
}

TEST_F(KetriopeTool, InfoOfSeveralFilesIsAParagraphEach)
{
    const std::string one = file("one", "1\n");
    const std::string two = file("two", "22\n");
    const child_result result = tool({"info", one, path("missing"), two});
    EXPECT_EQ(result.out, description(one, "plain", "2 bytes", "1", "1 byte, line 1", "none") + "\n" +
                              description(two, "plain", "3 bytes", "1", "2 bytes, line 1", "none"));
    EXPECT_EQ(result.err, error("Cannot read '" + path("missing") + "': there is no such file."));
    EXPECT_EQ(result.exit_status, 2);
}

// ---- files that cannot be read

TEST_F(KetriopeTool, SaysWhyAFileCannotBeReadAndGoesOn)
{
    const std::string good = file("good", "x\n");
    const std::string queue = path("queue");
    ASSERT_EQ(::mkfifo(queue.c_str(), 0600), 0);
    fs::create_symlink("circle", path("circle"));
    const std::string endless(10000, 'n');
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {path(""), "it is a directory"},
        {path("missing"), "there is no such file"},
        {"", "there is no such file"},
        {good + "/below", "a part of its path is not a directory"},
        {endless, "its name is too long"},
        {path("circle"), "its path runs in a circle of links"},
        {queue, "it is neither a file nor a directory"},
        {"/dev/null", "it is neither a file nor a directory"},
    };
    for (const auto& [name, reason] : k_cases) {
        const child_result info = tool({"info", name, good});
        EXPECT_EQ(info.err, error("Cannot read '" + name + "': " + reason + "."));
        EXPECT_THAT(info.out, StartsWith(good + "\n"));
        EXPECT_EQ(info.exit_status, 2);
        const child_result grep = tool({"grep", "x", name, good});
        EXPECT_EQ(grep.err, info.err);
        EXPECT_EQ(grep.out, good + ":1:1-1: x\n\n  1 of 1 lines   " + good + "\n");
        EXPECT_EQ(grep.exit_status, 2);
    }
}

TEST_F(KetriopeTool, SaysThatAFileMustNotBeRead)
{
    const std::string secret = file("secret", "x\n");
    fs::permissions(secret, fs::perms::none);
    const child_result result = tool_under({child_program("unprivileged_child")}, {"info", secret});
    if (result.exit_status == 125) GTEST_SKIP() << "root keeps its rights here";
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, error("Cannot read '" + secret + "': permission denied."));
    EXPECT_EQ(result.exit_status, 2);
}

TEST_F(KetriopeTool, SaysThatReadingFailed)
{
    const std::string unreadable = "/proc/self/mem";  // opens, and then gives no byte at its start
    const child_result info = tool({"info", unreadable});
    EXPECT_EQ(info.out, unreadable + "\n  form           plain\n  size on disk   0 bytes\n");
    EXPECT_EQ(info.err, error("Cannot read '" + unreadable + "': the device failed."));
    EXPECT_EQ(info.exit_status, 2);
    const child_result grep = tool({"grep", "x", unreadable});
    EXPECT_EQ(grep.out, "");
    EXPECT_EQ(grep.err, info.err);
    EXPECT_EQ(grep.exit_status, 2);
}

TEST_F(KetriopeTool, ShowsNamesInOneLineAndTakesNoneAsAFormat)
{
    const std::string name = file("a\n\x1b%n%s 100%", "x\n");
    const std::string shown = path("a<0A><1B>%n%s 100%");
    EXPECT_EQ(tool({"info", name}).out,
              description(shown, "plain", "2 bytes", "1", "1 byte, line 1", "none"));
    EXPECT_EQ(tool({"grep", "x", name}).out, shown + ":1:1-1: x\n\n  1 of 1 lines   " + shown + "\n");
    EXPECT_EQ(tool({"info", name + "?"}).err, error("Cannot read '" + shown + "?': there is no such file."));
}

TEST_F(KetriopeTool, MoreFilesThanMayBeOpenAtOnceAreNoTrouble)
{
    words arguments{"grep", "x"};
    for (int i = 0; i < 40; ++i) arguments.push_back(file("f" + std::to_string(i), "x\n"));
    const child_result result = tool(arguments);
    EXPECT_THAT(result.out, EndsWith("  40 of 40 lines   in 40 files\n"));
    EXPECT_EQ(result.exit_status, 0);
}

// ---- grep

TEST_F(KetriopeTool, GrepShowsFileLineColumnsAndTextOfEachMatch)
{
    const std::string name = file("a.log", "slack 1.2\nnothing\n  slack 33.4 ns\n");
    const child_result result = tool({"grep", "slack [0-9.]+", name});
    EXPECT_EQ(result.out, name + ":1:1-9: slack 1.2\n" + name +
                              ":3:3-12:   slack 33.4 ns\n\n  2 of 3 lines   " + name + "\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeTool, GrepThatMatchesNothingStillCounts)
{
    const std::string name = file("a.log", "one\ntwo\n");
    const child_result result = tool({"grep", "three", name});
    EXPECT_EQ(result.out, "  0 of 2 lines   " + name + "\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 1);
}

TEST_F(KetriopeTool, GrepCountsByFileAndInAllInColumns)
{
    std::string many;
    for (int i = 0; i < 120; ++i) many += i % 10 == 0 ? "hit\n" : "miss\n";
    const std::string one = file("one", many);
    const std::string two = file("two", "miss\n");
    const child_result result = tool({"grep", "hit", one, two});
    EXPECT_THAT(result.out, StartsWith(one + ":1:1-3: hit\n" + one + ":11:1-3: hit\n"));
    EXPECT_THAT(result.out,
                EndsWith(one + ":111:1-3: hit\n\n   12 of 120 lines   " + one + "\n    0 of   1 lines   " +
                         two + "\n   12 of 121 lines   in 2 files\n"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeTool, GrepCountsOnlyFilesThatCouldBeRead)
{
    const std::string one = file("one", "x\n");
    const child_result result = tool({"grep", "y", path("missing"), one, path("")});
    EXPECT_EQ(result.out, "  0 of 1 lines   " + one + "\n");
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(tool({"grep", "y", path("missing")}).out, "");
}

TEST_F(KetriopeTool, GrepLeavesLineEndsOutOfTheLine)
{
    const std::string name = file("mixed.txt", "abc\r\nabc\nabc\r");
    EXPECT_EQ(tool({"grep", "bc$", name}).out,
              name + ":1:2-3: abc\n" + name + ":2:2-3: abc\n\n  2 of 3 lines   " + name + "\n");
    EXPECT_EQ(tool({"grep", "c.$", name}).out, name + ":3:3-4: abc<0D>\n\n  1 of 3 lines   " + name + "\n");
}

TEST_F(KetriopeTool, GrepShowsWhereAnEmptyMatchStands)
{
    const std::string name = file("a", "yy\n\n");
    EXPECT_EQ(tool({"grep", "x*", name}).out,
              name + ":1:1: yy\n" + name + ":2:1: \n\n  2 of 2 lines   " + name + "\n");
}

TEST_F(KetriopeTool, GrepTakesNulsAndControlCharactersAsPartOfTheLine)
{
    const std::string name = file("odd", "ab\0cd\0\x1b[7mx\xe9\ty\n"s);
    const std::string shown = ": ab<00>cd<00><1B>[7mx<E9>\ty\n\n  1 of 1 lines   " + name + "\n";
    EXPECT_EQ(tool({"grep", "[cd]+", name}).out, name + ":1:4-5" + shown);
    EXPECT_EQ(tool({"grep", "ab", name}).out, name + ":1:1-2" + shown);
    EXPECT_EQ(tool({"grep", "y", name}).out, name + ":1:14-14" + shown);
    EXPECT_EQ(tool({"grep", "b.c", name}).exit_status, 1);
}

TEST_F(KetriopeTool, GrepOfALongBinaryLineEnds)
{
    const std::string name = file("nuls", std::string(300000, '\0') + "needle");
    const child_result result = tool({"grep", "needle", name});
    EXPECT_THAT(result.out, StartsWith(name + ":1:300001-300006: <00><00>"));
    EXPECT_THAT(result.out, EndsWith("<00>needle\n\n  1 of 1 lines   " + name + "\n"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeTool, GrepFindsWhatStandsAtTheEndOfALongLine)
{
    for (const std::size_t length : std::vector<std::size_t>{4093, 65533, 65534, 65535, 65536, 200001}) {
        const std::string text = std::string(length, 'x') + "end";
        const std::string name = file("long", "first\n" + text + "\nlast");
        EXPECT_EQ(tool({"grep", "end", name}).out, name + ":2:" + std::to_string(length + 1) + "-" +
                                                       std::to_string(length + 3) + ": " + text +
                                                       "\n\n  1 of 3 lines   " + name + "\n");
        EXPECT_EQ(tool({"grep", "^last$", name}).out,
                  name + ":3:1-4: last\n\n  1 of 3 lines   " + name + "\n");
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they need more memory than this
TEST_F(KetriopeTool, GrepSaysThatALineIsTooLongForTheMemory)
{
    const std::string name = file("endless", "");
    fs::resize_file(name, std::uintmax_t{1} << 30);
    const std::string good = file("good", "x\n");
    const child_result result =
        tool_under({"/bin/sh", "-c", "ulimit -v 400000; exec \"$@\"", "sh"}, {"grep", "x", name, good});
    EXPECT_EQ(result.err, error("Cannot read '" + name + "': a line of it is too long for the memory."));
    EXPECT_EQ(result.out, good + ":1:1-1: x\n\n  1 of 1 lines   " + good + "\n");
    EXPECT_EQ(result.exit_status, 2);
}
#endif

TEST_F(KetriopeTool, GrepWarnsOfAnEmptyFile)
{
    const std::string name = file("empty", "");
    const child_result result = tool({"grep", "x*", name});
    EXPECT_EQ(result.out, "  0 of 0 lines   " + name + "\n");
    EXPECT_EQ(result.err, warning("'" + name + "' is empty."));
    EXPECT_EQ(result.exit_status, 1);
}

TEST_F(KetriopeTool, GrepFindsItsLinesInACompressedFile)
{
    const std::string name = file("a", "one\ntwo\nthree\n");
    for (const char* form : {"-packed", "-gca", "-gcb"}) {
        const std::string stored = path("stored");
        EXPECT_EQ(tool({"pack", form, name, stored}).exit_status, 0);
        const child_result result = tool({"grep", "t", stored});
        EXPECT_EQ(result.out,
                  stored + ":2:1-1: two\n" + stored + ":3:1-1: three\n\n  2 of 3 lines   " + stored + "\n");
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST_F(KetriopeTool, GrepOfWhatIsNoPatternSaysWhyAndReadsNothing)
{
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"(a", "regular expression has unmatched unmatched ( )'s"},
        {"a**", "regular expression has nested *?+"},
        {"[a", "regular expression has unmatched []'s"},
        {"+", "regular expression has ?+* that follows nothing"},
    };
    for (const auto& [pattern, message] : k_cases) {
        const child_result result = tool({"grep", pattern, path("missing")});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, error("'" + pattern + "' is no pattern: " + message + "."));
        EXPECT_EQ(result.exit_status, 2);
    }
}

TEST_F(KetriopeTool, GrepTakesAPatternThatBeginsWithADashBehindTwoDashes)
{
    const std::string name = file("a", "a -x b\n");
    EXPECT_EQ(tool({"grep", "--", "-x", name}).out,
              name + ":1:3-4: a -x b\n\n  1 of 1 lines   " + name + "\n");
    const child_result without = tool({"grep", "-x", name});
    EXPECT_EQ(without.err, error("'grep' has no option '-x'; an operand that begins with '-' stands behind "
                                 "'--'. Try 'ketriope help grep'."));
    EXPECT_EQ(without.exit_status, 2);
}

TEST_F(KetriopeTool, GrepColoursTheMatchOnATerminalOnly)
{
    const std::string name = file("a", "a hit here\n");
    const std::string tallies = "\n  1 of 1 lines   " + name + "\n";
    const std::string coloured = name + ":1:3-5: a \033[1;31mhit\033[m here\n" + tallies;
    const std::string bare = name + ":1:3-5: a hit here\n" + tallies;
    const words arguments{"grep", "hit", name};
    const words terminal{child_program("pty_child")};
    EXPECT_EQ(tool_under(terminal, arguments, {{"TERM", "xterm"}}).out, coloured);
    EXPECT_EQ(tool_under(terminal, arguments, {{"TERM", "xterm"}, {"NO_COLOR", ""}}).out, coloured);
    EXPECT_EQ(tool_under(terminal, arguments, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}).out, bare);
    EXPECT_EQ(tool_under(terminal, arguments, {{"TERM", "dumb"}}).out, bare);
    EXPECT_EQ(tool_under(terminal, arguments, {{"TERM", nullptr}}).out, bare);
    EXPECT_EQ(tool(arguments, {{"TERM", "xterm"}}).out, bare);
}

// ---- the command line

TEST_F(KetriopeTool, HelpShowsTheCommandsTheExitStatusAndTheEnvironment)
{
    const child_result help = tool({"--help"});
    EXPECT_EQ(help.exit_status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, HasSubstr("\n  info <file> {<more>}                  tell form"));
    EXPECT_THAT(help.out, HasSubstr("\n  grep <pattern> <file> {<more>}        show lines"));
    EXPECT_THAT(help.out, HasSubstr("\n  0   all was done"));
    EXPECT_THAT(help.out, HasSubstr("\n  1   the answer is no: grep matched nothing, "));
    EXPECT_THAT(help.out, HasSubstr("\n  2   a file could not be read"));
    EXPECT_THAT(help.out, HasSubstr("\n  TEMP "));
    for (const words& same : {words{"-h"}, words{"help"}, words{"help", "--help"}, words{"help", "-h"}})
        EXPECT_EQ(tool(same).exit_status, 0);
    EXPECT_EQ(tool({"-h"}).out, help.out);
    EXPECT_EQ(tool({"help"}).out, help.out);
}

TEST_F(KetriopeTool, NoWordAtAllShowsTheHelpAndCountsAsFailed)
{
    const child_result result = tool({});
    EXPECT_EQ(result.out, tool({"--help"}).out);
    EXPECT_EQ(result.exit_status, 2);
}

TEST_F(KetriopeTool, HelpOfACommandBeginsWithItsUsage)
{
    const child_result info = tool({"help", "info"});
    EXPECT_THAT(info.out, StartsWith("usage: ketriope info <file> {<more>}\n\n"));
    EXPECT_EQ(info.exit_status, 0);
    EXPECT_EQ(tool({"info", "--help"}).out, info.out);
    EXPECT_EQ(tool({"info", "-h"}).out, info.out);
    EXPECT_THAT(tool({"help", "grep"}).out, StartsWith("usage: ketriope grep <pattern> <file> {<more>}\n\n"));
    const std::string list = tool({"help", "catalogue", "list"}).out;
    EXPECT_THAT(list, StartsWith("usage: ketriope catalogue list\n\n"));
    EXPECT_EQ(tool({"catalogue", "list", "--help"}).out, list);
    const std::string both = tool({"help", "catalogue"}).out;
    EXPECT_THAT(both, StartsWith("usage: ketriope catalogue check <directory>\n\n"));
    EXPECT_THAT(both, EndsWith("\n" + list));
    EXPECT_EQ(tool({"catalogue", "--help"}).out, both);
    EXPECT_EQ(tool({"help", "help"}).out, "usage: ketriope help [<command>]\n\n"
                                          "Tells how the program is used, or one of its commands.\n");
    EXPECT_EQ(tool({"help", "version"}).out, "usage: ketriope version\n\n"
                                             "Tells the version, which is that of the library, too.\n");
}

TEST_F(KetriopeTool, HelpFitsIntoEightyColumns)
{
    for (const words& arguments :
         {words{"--help"}, words{"help", "info"}, words{"help", "grep"}, words{"help", "catalogue"},
          words{"help", "explain"}, words{"help", "log"}, words{"help", "pack"}, words{"help", "unpack"},
          words{"help", "cat"}, words{"help", "segments"}, words{"help", "extract"}}) {
        std::istringstream lines(tool(arguments).out);
        for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(KetriopeTool, VersionIsOneLine)
{
    for (const char* word : {"--version", "version"}) {
        const child_result result = tool({word});
        EXPECT_EQ(result.out, "ketriope " TOOL_VERSION "\n");
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST_F(KetriopeTool, WhatMakesNoSenseIsReportedWithAWayOut)
{
    const std::vector<std::pair<words, std::string>> k_cases{
        {{"frob"}, "There is no command 'frob'. Try 'ketriope --help'."},
        {{""}, "There is no command ''. Try 'ketriope --help'."},
        {{"a\x1b%s"}, "There is no command 'a<1B>%s'. Try 'ketriope --help'."},
        {{"--frob"}, "There is no option '--frob'. Try 'ketriope --help'."},
        {{"help", "frob"}, "There is no command 'frob'. Try 'ketriope --help'."},
        {{"info"}, "'info' needs <file> {<more>}. Try 'ketriope help info'."},
        {{"info", "--"}, "'info' needs <file> {<more>}. Try 'ketriope help info'."},
        {{"grep"}, "'grep' needs <pattern> <file> {<more>}. Try 'ketriope help grep'."},
        {{"grep", "x"}, "'grep' needs <pattern> <file> {<more>}. Try 'ketriope help grep'."},
        {{"help", "info", "grep"}, "There is no command 'info grep'. Try 'ketriope --help'."},
        {{"help", "catalogue", "frob"}, "There is no command 'catalogue frob'. Try 'ketriope --help'."},
        {{"help", "info", "a", "b"}, "'help' has no use for 'b'. Try 'ketriope help help'."},
        {{"catalogue"}, "'catalogue' needs a further word. Try 'ketriope help catalogue'."},
        {{"catalogue", "frob"}, "'catalogue' has no use for 'frob'. Try 'ketriope help catalogue'."},
        {{"catalogue", "check"}, "'catalogue check' needs <directory>. Try 'ketriope help catalogue check'."},
        {{"catalogue", "list", "x"},
         "'catalogue list' has no use for 'x'. Try 'ketriope help catalogue list'."},
        {{"catalogue list"}, "There is no command 'catalogue list'. Try 'ketriope --help'."},
        {{"cat"}, "'cat' needs <file>. Try 'ketriope help cat'."},
        {{"cata"}, "There is no command 'cata'. Try 'ketriope --help'."},
        {{"pack", "a"}, "'pack' needs [-packed|-gca|-gcb] <in> <out>. Try 'ketriope help pack'."},
        {{"pack", "-gca", "-gcb", "a", "b"},
         "'pack' takes one of its options -packed, -gca, -gcb. Try 'ketriope help pack'."},
        {{"unpack", "-gca", "a", "b"},
         "'unpack' has no option '-gca'; an operand that begins with '-' stands behind '--'. Try 'ketriope "
         "help unpack'."},
        {{"log"}, "'log' needs <file> [-html <page>]. Try 'ketriope help log'."},
        {{"log", "a", "b"}, "'log' has no use for 'b'. Try 'ketriope help log'."},
        {{"log", "a", "-html"}, "'log' needs a value behind '-html'. Try 'ketriope help log'."},
        {{"log", "-html", "a", "-html", "b", "c"}, "'log' takes '-html' once. Try 'ketriope help log'."},
        {{"log", "a", "-htm"},
         "'log' has no option '-htm'; an operand that begins with '-' stands behind '--'. Try 'ketriope help "
         "log'."},
        {{"info", "a", "-x"},
         "'info' has no option '-x'; an operand that begins with '-' stands behind '--'. Try 'ketriope help "
         "info'."},
        {{"version", "x"}, "'version' has no use for 'x'. Try 'ketriope help version'."},
    };
    for (const auto& [arguments, message] : k_cases) {
        const child_result result = tool(arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, error(message));
        EXPECT_EQ(result.exit_status, 2);
    }
}

// ---- where the output goes

TEST_F(KetriopeTool, SaysThatStandardOutputIsFullOrClosed)
{
    const std::string name = file("a", "x\n");
    const std::string big = file("b", std::string(100000, 'x'));
    const std::string message = error("Standard output could not be written: what it got is not complete.");
    for (const char* script : {"exec \"$@\" >/dev/full", "exec \"$@\" >&-"}) {
        for (const words& arguments :
             {words{"info", name}, words{"grep", "x", name}, words{"grep", "x", big}, words{"--version"}}) {
            const child_result result = tool_under({"/bin/sh", "-c", script, "sh"}, arguments);
            EXPECT_EQ(result.err, message) << script;
            EXPECT_EQ(result.exit_status, 2) << script;
        }
    }
}

TEST_F(KetriopeTool, KeepsResultsAndReportsInTheirOrder)
{
    const std::string one = file("one", "x\n");
    const std::string two = file("two", "x\n");
    const child_result result =
        tool_under({"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"}, {"grep", "x", one, path("missing"), two});
    EXPECT_THAT(result.out,
                StartsWith(one + ":1:1-1: x\n" +
                           error("Cannot read '" + path("missing") + "': there is no such file.") + two +
                           ":1:1-1: x\n"));
}

TEST_F(KetriopeTool, ReportsGoThroughTheDatabaseInOneLineAndNeedNoCatalogue)
{
    const std::string word = "frobnicate-with-a-rather-long-name-that-fills-most-of-a-line";
    for (const char* root : {TOOL_FOUNDRY, "/nowhere"}) {
        const child_result result = tool({word}, {{"QVS_MSG_WIDTH", nullptr}, {"FOUNDRY", root}});
        EXPECT_EQ(result.err, error("There is no command '" + word + "'. Try 'ketriope --help'."));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(KetriopeTool, ReportsOfTheConsoleAreFoldedAsThoseOfTheWholeSuite)
{
    const child_result result = tool({"frobnicate-with-a-rather-long-name-that-fills-most-of-a-line"},
                                     {{"QVS_MSG_WIDTH", nullptr}, {"QVS_M_MSGFLOW", "0"}});
    EXPECT_EQ(result.err, "ERROR - ketriope: There is no command\n"
                          "        'frobnicate-with-a-rather-long-name-that-fills-most-of-a-line'. Try\n"
                          "        'ketriope --help'.\n");
}

TEST_F(KetriopeTool, WritesTheSameBytesUnderEveryLocale)
{
    const std::string name = file("a", "\xe9 12345 x\n");
    for (const words& arguments : {words{"info", name}, words{"grep", "x", name}, words{"--help"}}) {
        const std::string expected = tool(arguments, {{"LC_ALL", "C"}}).out;
        for (const char* locale : {"de_DE.UTF-8", "tr_TR.UTF-8", "C.UTF-8", "nowhere"})
            EXPECT_EQ(tool(arguments, {{"LC_ALL", locale}, {"LANG", locale}}).out, expected);
    }
}

// ---- the script that starts the program

TEST_F(KetriopeTool, LauncherRunsTheProgramWithoutAnyEnvironmentOfTheSuite)
{
    const child_environment k_bare{{"TEMP", nullptr}, {"FOUNDRY", nullptr}, {"TMPDIR", nullptr}};
    const child_result result = run_child(TOOL_LAUNCHER, {"--version"}, k_bare);
    EXPECT_EQ(result.out, "ketriope " TOOL_VERSION "\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(run_child(TOOL_LAUNCHER, {"frob"}, k_bare).exit_status, 2);
    EXPECT_EQ(tool({"--version"}, {{"TEMP", nullptr}}).exit_status, 19) << "the library stays strict";
}

TEST_F(KetriopeTool, LauncherSetsWhatIsUnsetAndHandsOnItsWords)
{
    // A root with a blank in its name, a program that tells what it got, and a link to the launcher.
    fs::create_directories(path("a root/bin"));
    const std::string launcher = path("a root/bin/ketriope");
    fs::copy_file(TOOL_LAUNCHER, launcher);
    script("a root/libexec/ketriope/ketriope",
           "printf '%s\\n' \"$TEMP\" \"$FOUNDRY\" \"$#\" \"$@\"; exit 7\n");
    fs::create_symlink(launcher, path("link"));
    const std::string root = fs::canonical(path("a root")).string();

    const child_result unset =
        run_child(launcher, {"a b", "", "*"}, {{"TEMP", nullptr}, {"FOUNDRY", nullptr}, {"TMPDIR", nullptr}});
    EXPECT_EQ(unset.out, "/tmp\n" + root + "\n3\na b\n\n*\n");
    EXPECT_EQ(unset.exit_status, 7);
    const child_result tmpdir =
        run_child(path("link"), {}, {{"TEMP", nullptr}, {"FOUNDRY", nullptr}, {"TMPDIR", "/else where"}});
    EXPECT_EQ(tmpdir.out, "/else where\n" + root + "\n0\n");
    const child_result set =
        run_child(launcher, {}, {{"TEMP", ""}, {"FOUNDRY", "/chosen"}, {"TMPDIR", "/elsewhere"}});
    EXPECT_EQ(set.out, "\n/chosen\n0\n");
}

// ---- the pages about the program, with the demonstration files

TEST_F(KetriopeTool, TheInstalledHelpFileSaysWhatTheProgramSays)
{
    for (const std::string& root : {std::string(TOOL_FOUNDRY), TEST_SOURCE_DIR "/.."s}) {
        std::ifstream stream(root + "/data/ketriope.usg");
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(text, tool({"--help"}).out) << root;
    }
}

/// The command lines that a page shows behind "$ ", each with what stands below it in its block.
std::vector<std::pair<std::string, std::string>> shown_commands(const std::string& page)
{
    std::vector<std::pair<std::string, std::string>> commands;
    bool in_command = false;
    std::ifstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("$ "))
            commands.emplace_back(line.substr(2), "");
        else if (in_command && !line.starts_with("```"))
            commands.back().second += line + '\n';
        in_command = line.starts_with("$ ") || (in_command && !line.starts_with("```"));
    }
    return commands;
}

TEST_F(KetriopeTool, PrintsWhatItsPageShows)
{
    const std::string top = TEST_SOURCE_DIR "/..";
    const auto commands = shown_commands(top + "/docs/tool.md");
    EXPECT_GE(commands.size(), 6U);
    for (const auto& [command, output] : commands) {
        const std::string here = "cd '" + top + "' && PATH='" +
                                 fs::path(TOOL_LAUNCHER).parent_path().string() + "':$PATH && " + command;
        EXPECT_EQ(run_child("/bin/sh", {"-c", here}, k_plain_environment).out, output) << command;
    }
}

}  // namespace
