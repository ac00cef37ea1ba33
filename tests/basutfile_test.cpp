// tests/basutfile_test.cpp
#include "basutfile.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "basutstream.h"
#include "child_process.h"
#include "fake_coder.h"
#include "message_capture.h"
#include "msgman.h"
#include "platform.h"
#include "scoped_environment.h"
#include "stream_tools.h"
#include "temp_directory.h"

namespace {

using ketriope::platform::operations;
using ketriope::platform::os;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string k_packed_signature = "\x5A\x5A\xA5\xA5\xC3\xC3\x71";
const std::string k_gca_signature = "\x5B\x5B\xA6\xA6\xC4\xC4\x72";
const std::string k_gcb_signature = "\x5C\x5C\xA7\xA7\xC5\xC5\x73";

constexpr UT_ACCESS mask(int bits)
{
    return static_cast<UT_ACCESS>(bits);
}

/// Operations of the test in place of those in use, for the time of a block.
class replaced_operations : public operations {
public:
    replaced_operations() : operations(os()), before_(os()) { ketriope::platform::use_operations(this); }
    ~replaced_operations() { ketriope::platform::use_operations(&before_); }
    replaced_operations(const replaced_operations&) = delete;
    replaced_operations& operator=(const replaced_operations&) = delete;

private:
    const operations& before_;
};

int buffer_length(const UT_STREAM& stream)
{
    return static_cast<int>(dumped(stream)["Length of the transparent buffer"]);
}
int start_offset(const UT_STREAM& stream)
{
    return static_cast<int>(dumped(stream)["Start offset"]);
}

bool is_open(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) != -1;
}

std::string rest_of(UT_STREAM& stream)
{
    std::string bytes;
    for (std::string piece; !(piece = read_text(stream, 1000)).empty();) bytes += piece;
    return bytes;
}

/// A manager of the test's own, a directory for its files, and all that it reports.
class FileManager : public testing::Test {
protected:
    /// The internal reports so far, without the lines that name their sites.
    std::vector<std::string> reports() const { return lines_of("128", "ERROR - "); }
    std::vector<std::string> status_lines() const { return lines_of("16", ""); }

    std::string path(const std::string& name) const { return place_ / name; }
    UT_STREAM* open(const std::string& name, int access, unsigned char truncate = 0)
    {
        return files_->open(path(name).c_str(), mask(access), truncate);
    }
    UT_STREAM* open(const std::string& name, UT_STREAM& stream, unsigned char truncate = 0)
    {
        return files_->open(path(name).c_str(), &stream, truncate);
    }
    /// Opens thirty files named "f0" to "f29" for reading.
    std::vector<UT_STREAM*> fill_the_table()
    {
        std::vector<UT_STREAM*> streams;
        for (int i = 0; i < 30; ++i) {
            write_file(path('f' + std::to_string(i)), "x");
            streams.push_back(open('f' + std::to_string(i), 1));
            EXPECT_NE(streams.back(), nullptr);
        }
        return streams;
    }

    temp_directory place_;
    message_capture capture_;
    std::unique_ptr<UT_FILEMANAGER> files_ = std::make_unique<UT_FILEMANAGER>();

private:
    std::vector<std::string> lines_of(const std::string& severity, const std::string& label) const
    {
        std::vector<std::string> lines;
        for (const post& shown : capture_.posts())
            if (shown.number == severity && shown.text.compare(0, label.size(), label) == 0)
                lines.push_back(shown.text.substr(label.size()));
        return lines;
    }
};

// ---- opening plain files

TEST_F(FileManager, WhatIsWrittenReachesTheFileAtCloseAndIsReadBack)
{
    UT_STREAM* out = open("a", 2, 1);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->getaccess(), 2);
    EXPECT_EQ(out->is_access_compressed(), 0);
    EXPECT_EQ(buffer_length(*out), 4096);
    EXPECT_EQ(start_offset(*out), 0);
    write_text(*out, "abc\n");
    EXPECT_EQ(file_bytes(path("a")), "");
    EXPECT_EQ(files_->close(out), 1);
    EXPECT_EQ(file_bytes(path("a")), "abc\n");

    UT_STREAM* in = open("a", 1);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->getaccess(), 1);
    EXPECT_EQ(buffer_length(*in), 4096);
    EXPECT_EQ(start_offset(*in), 0);
    EXPECT_EQ(rest_of(*in), "abc\n");
    EXPECT_EQ(files_->close(in), 1);
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, ANewFileHasThePermissions0666LessTheMask)
{
    const ::mode_t before = ::umask(0027);
    files_->close(open("a", 2, 1));
    ::umask(before);
    struct stat found {};
    ASSERT_EQ(::stat(path("a").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0640u);
}

TEST_F(FileManager, TruncationRemovesTheFileFirstSoAnotherNameKeepsTheContent)
{
    write_file(path("a"), "old content");
    std::filesystem::create_hard_link(path("a"), path("b"));
    UT_STREAM* out = open("a", 2, 1);
    write_text(*out, "new");
    files_->close(out);
    EXPECT_EQ(file_bytes(path("a")), "new");
    EXPECT_EQ(file_bytes(path("b")), "old content");
    EXPECT_EQ(files_->geterror(), 0);
}

TEST_F(FileManager, WithoutTruncationWritingStartsOverTheOldBytes)
{
    write_file(path("a"), "old content");
    UT_STREAM* out = open("a", 2);
    write_text(*out, "new");
    files_->close(out);
    EXPECT_EQ(file_bytes(path("a")), "new content");
}

TEST_F(FileManager, TruncationMeansNothingToAReader)
{
    write_file(path("a"), "abc");
    UT_STREAM* in = open("a", 1, 1);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(rest_of(*in), "abc");
}

TEST_F(FileManager, TruncationNeitherRemovesNorHarmsADevice)
{
    ASSERT_NE(::symlink("/dev/null", path("null").c_str()), -1);
    UT_STREAM* out = open("null", 2, 1);
    ASSERT_NE(out, nullptr);
    files_->close(out);
    EXPECT_TRUE(std::filesystem::is_symlink(path("null")));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(FileManager, AFileThatIsNotThereGivesNullAndTheReason)
{
    EXPECT_EQ(open("none", 1), nullptr);
    EXPECT_EQ(files_->geterror(), ENOENT);
    files_->clearerror();
    EXPECT_EQ(files_->geterror(), 0);
    EXPECT_EQ(open("none/a", 2, 1), nullptr);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, ADirectoryIsNotOpenedAndNotRemoved)
{
    std::filesystem::create_directory(path("d"));
    for (const int access : {1, 2, 6}) {
        files_->clearerror();
        EXPECT_EQ(open("d", access, 1), nullptr);
        EXPECT_EQ(files_->geterror(), 13);
    }
    EXPECT_TRUE(std::filesystem::is_directory(path("d")));
}

TEST_F(FileManager, ANullNameGivesNull)
{
    UT_STREAM stream(UT_ACCESS_READ, 4096, nullptr);
    EXPECT_EQ(files_->open(nullptr, UT_ACCESS_READ, 0), nullptr);
    EXPECT_EQ(files_->open(nullptr, &stream, 0), nullptr);
    EXPECT_EQ(files_->open("x", static_cast<UT_STREAM*>(nullptr), 0), nullptr);
    EXPECT_EQ(files_->geterror(), 0);
}

TEST_F(FileManager, NamesOfTenThousandCharactersFailCleanly)
{
    const std::string name(10'000, 'n');
    EXPECT_EQ(open(name, 1), nullptr);
    EXPECT_EQ(files_->geterror(), ENAMETOOLONG);
    EXPECT_EQ(open(name, 2, 1), nullptr);
    UT_STREAM stream(::dup(1), UT_ACCESS_WRITE, 4096, nullptr);
    EXPECT_EQ(open(name, stream), &stream);
    const std::string listed = stdout_of([&] { files_->dumpopenfiles(); });
    EXPECT_THAT(listed, HasSubstr(name + " : write \n"));
}

TEST_F(FileManager, ADescriptorOfTheManagerIsClosedInEveryChild)
{
    UT_STREAM* stream = open("a", 2, 1);
    EXPECT_EQ(::fcntl(stream->getfid(), F_GETFD), FD_CLOEXEC);
}

// ---- signatures

struct form_row {
    const char* name;
    std::string head;  ///< signature, and version bytes for packed data
    int bit;
    int start;
};
const form_row k_forms[] = {
    {"packed", k_packed_signature + "11", 8, 9},
    {"GCA", k_gca_signature, 16, 7},
    {"GCB", k_gcb_signature, 32, 7},
};

TEST_F(FileManager, TheSignatureSettlesTheFormWhicheverIsAsked)
{
    for (const form_row& form : k_forms) {
        write_file(path("a"), form.head);
        for (const int asked : {1, 9, 17, 33, 49}) {
            SCOPED_TRACE(std::string(form.name) + " opened with " + std::to_string(asked));
            UT_STREAM* in = open("a", asked);
            ASSERT_NE(in, nullptr);
            EXPECT_EQ(in->getaccess(), 1 | form.bit);
            EXPECT_NE(in->is_compressed(), 0);
            EXPECT_EQ(buffer_length(*in), 16384);
            EXPECT_EQ(start_offset(*in), form.start);
            EXPECT_EQ(::lseek(in->getfid(), 0, SEEK_CUR), form.start);
            files_->close(in);
        }
    }
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, TheVersionBytesOfPackedDataAreRead)
{
    write_file(path("a"), k_packed_signature + "25");
    UT_STREAM* in = open("a", 1);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->get_huf_version(), '2');
    EXPECT_EQ(in->get_pak_version(), '5');
}

TEST_F(FileManager, PackedDataWithoutTheVersionBytesIsReportedAndRefused)
{
    const int next = ::dup(0);
    ::close(next);
    for (const char* versions : {"", "1"}) {
        capture_.clear();
        write_file(path("a"), k_packed_signature + versions);
        EXPECT_EQ(open("a", 9), nullptr);
        EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Can not read the vesion. Cannot open file '" +
                                           path("a") + "'."));
    }
    EXPECT_FALSE(is_open(next));
    fill_the_table();  // no slot was lost
}

TEST_F(FileManager, APlainFileContradictsAMaskWithACompressorBit)
{
    const int next = ::dup(0);
    ::close(next);
    for (const std::string content : {"plain text", "x"})
        for (const int asked : {9, 17, 33}) {
            capture_.clear();
            write_file(path("a"), content);
            EXPECT_EQ(open("a", asked), nullptr);
            EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Illegal mixing of file modes. Cannot open "
                                               "file '" +
                                               path("a") + "'."));
        }
    EXPECT_FALSE(is_open(next));
    fill_the_table();
}

TEST_F(FileManager, TheReportNamesItsSite)
{
    write_file(path("a"), "plain text");
    open("a", 9);
    EXPECT_THAT(capture_.last().text, HasSubstr("INTERNAL CODE : ut:basutfile:"));
}

TEST_F(FileManager, AllButTheLastByteOfASignatureIsPlainText)
{
    for (const form_row& form : k_forms)
        for (const std::string& tail : {std::string(), std::string("?"), std::string("\0\0", 2)}) {
            const std::string content = form.head.substr(0, 6) + tail;
            write_file(path("a"), content);
            UT_STREAM* in = open("a", 1);
            ASSERT_NE(in, nullptr);
            EXPECT_EQ(in->getaccess(), 1);
            EXPECT_EQ(rest_of(*in), content);
            files_->close(in);
        }
}

TEST_F(FileManager, AFileWithoutBytesIsPlainOrOfTheFormThatIsAsked)
{
    write_file(path("a"), "");
    for (const int asked : {1, 9, 17, 33}) {
        UT_STREAM* in = open("a", asked);
        ASSERT_NE(in, nullptr);
        EXPECT_EQ(in->getaccess(), asked);
        EXPECT_EQ(buffer_length(*in), asked == 1 ? 4096 : 16384);
        EXPECT_EQ(start_offset(*in), 0);
        EXPECT_EQ(in->get_pak_version(), 0);
        EXPECT_EQ(rest_of(*in), "");
        files_->close(in);
    }
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, AFileThatCannotGoBackToItsStartIsReportedAndRefused)
{
    write_file(path("a"), "plain text");
    replaced_operations table;
    table.seek = [](int, std::int64_t, ketriope::platform::seek_from) -> std::int64_t { return -1; };
    EXPECT_EQ(open("a", 1), nullptr);
    EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Can not seek to the beginning of the file. Cannot "
                                       "open file '" +
                                       path("a") + "'."));
}

TEST_F(FileManager, ASignatureThatComesByteByByteIsSeen)
{
    write_file(path("a"), k_gcb_signature);
    replaced_operations table;
    table.read = [](int descriptor, void* out, std::size_t) {
        return ketriope::platform::native().read(descriptor, out, 1);
    };
    UT_STREAM* in = open("a", 1);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->getaccess(), 33);
}

TEST_F(FileManager, AFileForWritingIsOfTheAskedFormWithoutAStartOffset)
{
    for (const int asked : {10, 18, 34}) {
        UT_STREAM* out = open("a", asked, 1);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(out->getaccess(), asked);
        EXPECT_EQ(buffer_length(*out), 16384);
        EXPECT_EQ(start_offset(*out), 0);
        files_->close(out);
    }
}

// ---- appending

TEST_F(FileManager, AppendingStartsAtTheEnd)
{
    write_file(path("a"), "abc");
    UT_STREAM* out = open("a", 6);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->getaccess(), 6);
    EXPECT_EQ(out->getfoffset(), 3);
    write_text(*out, "def");
    files_->close(out);
    EXPECT_EQ(file_bytes(path("a")), "abcdef");
}

TEST_F(FileManager, AppendingTakesEveryFileAsPlain)
{
    for (const form_row& form : k_forms) {
        write_file(path("a"), form.head);
        UT_STREAM* out = open("a", 6);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(out->getaccess(), 6);
        EXPECT_EQ(start_offset(*out), 0);
        write_text(*out, "def");
        files_->close(out);
        EXPECT_EQ(file_bytes(path("a")), form.head + "def");
    }
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, AppendingWithACompressorBitReportsTwiceAndStandsAtTheStart)
{
    for (const int asked : {14, 22, 38}) {
        write_file(path("a"), "abc");
        capture_.clear();
        UT_STREAM* out = open("a", asked);
        ASSERT_NE(out, nullptr);
        EXPECT_THAT(reports(),
                    ElementsAre("UT_STREAM: Invalid start offset.", "UT_STREAM: Invalid start offset."));
        EXPECT_EQ(::lseek(out->getfid(), 0, SEEK_CUR), 0);
        files_->close(out);
    }
}

// ---- compression that the environment wants

struct wish {
    int asked;
    const char* mandatory;  ///< QVS_COMP_MAND; null: not set
    const char* algorithm;  ///< QVS_COMP_ALG
    int given;
};

TEST_F(FileManager, TheEnvironmentMayReplaceTheMaskOfAWriter)
{
    constexpr wish k_wishes[] = {
        {2, nullptr, nullptr, 2}, {2, "yes", nullptr, 18},  {2, "YES", nullptr, 18},
        {2, "Yes", nullptr, 2},   {2, "", nullptr, 2},      {2, "1", "GCA", 2},
        {2, "yes", "GCA", 18},    {2, "yes", "GCB", 34},    {2, "yes", "", 2},
        {2, "yes", "zip", 2},     {2, nullptr, "GCA", 2},   {2, "no", "GCB", 2},
        {6, "yes", nullptr, 18},  {6, "yes", "GCB", 34},    {6, nullptr, "GCB", 6},
        {10, nullptr, "GCB", 34}, {10, "yes", nullptr, 10}, {18, "yes", nullptr, 18},
        {34, "yes", nullptr, 34}, {34, nullptr, "GCA", 18}, {18, "no", "GCB", 34},
        {10, nullptr, "gca", 10}, {10, nullptr, "", 10},
    };
    for (const wish& row : k_wishes) {
        SCOPED_TRACE(testing::Message() << row.asked << ' ' << (row.mandatory ? row.mandatory : "unset")
                                        << ' ' << (row.algorithm ? row.algorithm : "unset"));
        const scoped_environment mandatory("QVS_COMP_MAND", row.mandatory);
        const scoped_environment algorithm("QVS_COMP_ALG", row.algorithm);
        capture_.clear();
        UT_STREAM* out = open("a", row.asked, 1);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(out->getaccess(), row.given);
        const bool told = row.algorithm != nullptr || row.mandatory != nullptr;
        if (told && row.given == 18 && !(row.asked == 18 && row.algorithm == nullptr))
            EXPECT_THAT(status_lines(), ElementsAre("Comp Mode: GCA"));
        else if (told && row.given == 34 && !(row.asked == 34 && row.algorithm == nullptr))
            EXPECT_THAT(status_lines(), ElementsAre("Comp Mode: GCB"));
        else
            EXPECT_THAT(status_lines(), IsEmpty());
        files_->close(out);
    }
}

TEST_F(FileManager, TheEnvironmentLeavesReadersAlone)
{
    const scoped_environment mandatory("QVS_COMP_MAND", "yes");
    const scoped_environment algorithm("QVS_COMP_ALG", "GCB");
    write_file(path("a"), "plain");
    UT_STREAM* in = open("a", 1);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->getaccess(), 1);
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, AForcedFormDropsTheAppendBitAndWritesFromTheStart)
{
    const scoped_environment mandatory("QVS_COMP_MAND", "yes");
    write_file(path("a"), "old");
    UT_STREAM* out = open("a", 6);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(::lseek(out->getfid(), 0, SEEK_CUR), 0);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(FileManager, TheStatusLineComesBeforeTheNameAndTheTableAreLookedAt)
{
    const scoped_environment mandatory("QVS_COMP_MAND", "yes");
    EXPECT_EQ(files_->open(nullptr, UT_ACCESS_WRITE, 0), nullptr);
    EXPECT_THAT(status_lines(), ElementsAre("Comp Mode: GCA"));
    fill_the_table();
    stdout_of([&] { EXPECT_EQ(open("a", 2, 1), nullptr); });
    EXPECT_THAT(status_lines(), ElementsAre("Comp Mode: GCA", "Comp Mode: GCA"));
}

// ---- the table

TEST_F(FileManager, TheThirtyFirstOpenFailsAfterAListOfTheThirty)
{
    const std::vector<UT_STREAM*> streams = fill_the_table();
    UT_STREAM* last = &*streams.back();
    std::string expected = "Open files list:\n";
    for (int i = 0; i < 30; ++i) expected += path('f' + std::to_string(i)) + " : read  \n";
    write_file(path("one more"), "x");
    const std::string shown = stdout_of([&] { EXPECT_EQ(open("one more", 1), nullptr); });
    EXPECT_EQ(shown, expected);
    EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Too many opened files!  Cannot open file '" +
                                       path("one more") + "'."));
    EXPECT_EQ(files_->close(last), 1);
    EXPECT_NE(open("one more", 1), nullptr);
}

TEST_F(FileManager, AFullTableAndANullNameAreReportedWithAnEmptyName)
{
    fill_the_table();
    stdout_of([&] { EXPECT_EQ(files_->open(nullptr, UT_ACCESS_READ, 0), nullptr); });
    EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Too many opened files!  Cannot open file ''."));
}

TEST_F(FileManager, OnlyAMaskOfExactlyTwoIsListedAsWrite)
{
    for (const int access : {2, 6, 10, 18, 34}) ASSERT_NE(open(std::to_string(access), access, 1), nullptr);
    capture_.clear();
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }),
              "Open files list:\n" + path("2") + " : write \n" + path("6") + " : read  \n" + path("10") +
                  " : read  \n" + path("18") + " : read  \n" + path("34") + " : read  \n");
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, AFreeSlotIsUsedAgain)
{
    write_file(path("a"), "x");
    for (int i = 0; i < 100; ++i) {
        UT_STREAM* in = open("a", 1);
        ASSERT_NE(in, nullptr);
        EXPECT_EQ(files_->close(in), 1);
    }
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, CloseOfAStreamThatIsNotInTheTableTouchesNothing)
{
    const int descriptor = ::dup(0);
    {
        UT_STREAM foreign(descriptor, UT_ACCESS_READ, 4096, nullptr);
        EXPECT_EQ(files_->close(&foreign), 0);
        EXPECT_EQ(foreign.getfid(), descriptor);
    }
    EXPECT_TRUE(is_open(descriptor));
    ::close(descriptor);
    EXPECT_EQ(files_->close(nullptr), 0);
}

TEST_F(FileManager, CloseTellsWhatCouldNotBeWritten)
{
    UT_STREAM* out = files_->open("/dev/full", UT_ACCESS_WRITE, 0);
    ASSERT_NE(out, nullptr);
    write_text(*out, "abc");
    EXPECT_EQ(files_->close(out), 1);
    EXPECT_EQ(files_->geterror(), ENOSPC);
}

TEST_F(FileManager, ADescriptorThatDoesNotCloseIsTold)
{
    UT_STREAM* out = open("a", 2, 1);
    const int descriptor = out->getfid();
    ::close(descriptor);
    EXPECT_EQ(files_->close(out), 1);
    EXPECT_EQ(files_->geterror(), EBADF);
}

TEST_F(FileManager, TheTraceNamesEachFileThatIsOpened)
{
    write_file(path("a %s"), "x");
    {
        const scoped_environment trace("QVS_FILE_TRACE", "");  // set is what counts
        files_ = std::make_unique<UT_FILEMANAGER>();
    }
    open("a %s", 1);
    open("none", 1);
    EXPECT_THAT(status_lines(), ElementsAre("Open file \"" + path("a %s") + "\""));
}

// ---- streams of the caller's

TEST_F(FileManager, ACallersStreamIsPutBackAtCloseAndMayBeOpenedAgain)
{
    UT_STREAM stream(UT_ACCESS_WRITE, 3000, nullptr);
    for (const char* name : {"a", "b"}) {
        ASSERT_EQ(open(name, stream, 1), &stream);
        const int descriptor = stream.getfid();
        EXPECT_TRUE(is_open(descriptor));
        EXPECT_EQ(buffer_length(stream), 3000);
        write_text(stream, name);
        EXPECT_EQ(files_->close(&stream), 1);
        EXPECT_FALSE(is_open(descriptor));
        EXPECT_EQ(stream.getfid(), -1);
        EXPECT_EQ(stream.getaccess(), 2);
        EXPECT_EQ(buffer_length(stream), 3000);
        EXPECT_EQ(file_bytes(path(name)), name);
        EXPECT_EQ(files_->close(&stream), 0);
    }
}

TEST_F(FileManager, ACallersStreamMayOutliveTheManager)
{
    UT_STREAM stream(UT_ACCESS_WRITE, 3000, nullptr);
    ASSERT_EQ(open("a", stream, 1), &stream);
    write_text(stream, "abc");
    files_.reset();
    EXPECT_EQ(stream.getfid(), -1);
    EXPECT_EQ(file_bytes(path("a")), "abc");
}

TEST_F(FileManager, ACallersStreamWithADescriptorIsOnlyEntered)
{
    const int descriptor = ::open(path("a").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    UT_STREAM stream(descriptor, UT_ACCESS_WRITE, 4096, nullptr);
    ASSERT_EQ(open("never made", stream, 1), &stream);
    EXPECT_FALSE(std::filesystem::exists(path("never made")));
    EXPECT_EQ(stream.getfid(), descriptor);
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }),
              "Open files list:\n" + path("never made") + " : write \n");
    write_text(stream, "abc");
    EXPECT_EQ(files_->close(&stream), 1);
    EXPECT_FALSE(is_open(descriptor));
    EXPECT_EQ(file_bytes(path("a")), "abc");
}

TEST_F(FileManager, TheSignatureOfACallersDescriptorIsNotLookedAt)
{
    write_file(path("a"), k_gca_signature + "rest");
    UT_STREAM stream(::open(path("a").c_str(), O_RDONLY | O_CLOEXEC), UT_ACCESS_READ, 4096, nullptr);
    ASSERT_EQ(open("a", stream), &stream);
    EXPECT_EQ(stream.getaccess(), 1);
    EXPECT_EQ(rest_of(stream), k_gca_signature + "rest");
}

TEST_F(FileManager, ACallersDescriptorIsFollowedToItsEndForAppending)
{
    write_file(path("a"), "abc");
    UT_STREAM stream(::open(path("a").c_str(), O_WRONLY | O_CLOEXEC), mask(6), 4096, nullptr);
    ASSERT_EQ(open("a", stream), &stream);
    write_text(stream, "def");
    files_->close(&stream);
    EXPECT_EQ(file_bytes(path("a")), "abcdef");
}

TEST_F(FileManager, ACallersStreamTakesTheFormThatTheEnvironmentForces)
{
    const scoped_environment mandatory("QVS_COMP_MAND", "yes");
    UT_STREAM stream(UT_ACCESS_WRITE, 2048, nullptr);
    ASSERT_EQ(open("a", stream, 1), &stream);
    EXPECT_EQ(stream.getaccess(), 18);
    EXPECT_NE(stream.is_compressed(), 0);
    EXPECT_EQ(buffer_length(stream), 16384);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(FileManager, ACallersStreamIsFittedToTheGeneralFormThatIsFound)
{
    for (const int asked : {1, 9, 17, 33})
        for (const form_row& form : {k_forms[1], k_forms[2]}) {
            capture_.clear();
            write_file(path("a"), form.head);
            UT_STREAM stream(mask(asked), 2048, nullptr);
            ASSERT_EQ(open("a", stream), &stream);
            EXPECT_EQ(stream.getaccess(), 1 | form.bit);
            EXPECT_NE(stream.is_compressed(), 0);
            EXPECT_EQ(buffer_length(stream), 16384);
            EXPECT_EQ(start_offset(stream), 7);
            EXPECT_THAT(reports(), IsEmpty());
            files_->close(&stream);
        }
}

TEST_F(FileManager, ACallersPackedStreamStandsAtTheVersionBytes)
{
    write_file(path("a"), k_packed_signature + "25");
    for (const int asked : {9, 17, 33}) {  // whatever decoder it was made for, it takes the right one
        UT_STREAM stream(mask(asked), 2048, nullptr);
        ASSERT_EQ(open("a", stream), &stream);
        EXPECT_EQ(stream.getaccess(), 9);
        EXPECT_NE(stream.is_compressed(), 0);
        EXPECT_EQ(buffer_length(stream), 16384);
        EXPECT_EQ(start_offset(stream), 9);
        EXPECT_EQ(::lseek(stream.getfid(), 0, SEEK_CUR), 7);
        EXPECT_EQ(stream.get_pak_version(), 0);
        EXPECT_EQ(stream.get_huf_version(), 0);
        files_->close(&stream);
    }
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(FileManager, ACallersRawStreamOnPackedDataIsReportedAndStaysRaw)
{
    const std::string data(50'000, '\x7f');  // more than its first buffer could hold
    write_file(path("a"), k_packed_signature + "11" + data);
    UT_STREAM stream(UT_ACCESS_READ, 2048, nullptr);
    ASSERT_EQ(open("a", stream), &stream);
    EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Illegal mixing file modes. Cannot open file '" +
                                       path("a") + "'."));
    EXPECT_EQ(stream.getaccess(), 9);
    EXPECT_EQ(stream.is_compressed(), 0);
    EXPECT_EQ(buffer_length(stream), 16384);
    EXPECT_EQ(rest_of(stream), "11" + data);
}

TEST_F(FileManager, ACallersStreamKeepsTheFormItMet)
{
    write_file(path("packed"), k_gca_signature);
    write_file(path("plain"), "plain text");
    UT_STREAM stream(UT_ACCESS_READ, 2048, nullptr);
    ASSERT_EQ(open("packed", stream), &stream);
    files_->close(&stream);
    EXPECT_EQ(stream.getaccess(), 17);
    EXPECT_EQ(open("plain", stream), nullptr);
    EXPECT_THAT(reports(), ElementsAre("UT_FILEMANAGER: Illegal mixing of file modes. Cannot open file '" +
                                       path("plain") + "'."));
    EXPECT_EQ(stream.getfid(), -1);
}

TEST_F(FileManager, ACallersStreamThatEndsWhileOpenLeavesTheTable)
{
    int descriptor = -1;
    {
        UT_STREAM stream(UT_ACCESS_WRITE, 4096, nullptr);
        ASSERT_EQ(open("a", stream, 1), &stream);
        descriptor = stream.getfid();
        write_text(stream, "lost: only close writes out");
    }
    EXPECT_FALSE(is_open(descriptor));
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
    EXPECT_EQ(file_bytes(path("a")), "");
}

TEST_F(FileManager, AStreamOfTheManagersThatIsDeletedLeavesTheTable)
{
    UT_STREAM* stream = open("a", 2, 1);
    const int descriptor = stream->getfid();
    delete stream;
    EXPECT_FALSE(is_open(descriptor));
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, ACallersStreamThatIsHandedInTwiceIsClosedOnce)
{
    UT_STREAM stream(UT_ACCESS_WRITE, 4096, nullptr);
    ASSERT_EQ(open("a", stream, 1), &stream);
    ASSERT_EQ(open("b", stream, 1), &stream);
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_EQ(files_->close(&stream), 1);
    EXPECT_EQ(files_->close(&stream), 0);
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, AStreamMadeWithOneAsItsOwnerBelongsToTheManagerOfTheProcess)
{
    auto* stream = new UT_STREAM(UT_ACCESS_WRITE, 4096, reinterpret_cast<UT_FILEMANAGER*>(1));
    ASSERT_EQ(ut_file.open(path("a").c_str(), stream, 1), stream);
    const int descriptor = stream->getfid();
    delete stream;
    EXPECT_FALSE(is_open(descriptor));
}

// ---- content that goes through a compressor

/// `content` as the stand-in for the compressors stores it, behind what leads the file.
std::string stored(const form_row& form, std::string content)
{
    for (char& byte : content) byte = static_cast<char>(byte ^ fake_coders::k_mask);
    return form.head + content;
}

TEST_F(FileManager, CloseCompletesWhatACompressorHolds)
{
    fake_coders coders;
    UT_STREAM* out = open("a", 10, 1);
    write_text(*out, "abc");
    EXPECT_EQ(files_->close(out), 1);
    EXPECT_EQ(file_bytes(path("a")), stored(k_forms[0], "abc") + ".");
    EXPECT_THAT(coders.living, IsEmpty());

    UT_STREAM callers(mask(10), 2048, nullptr);
    open("b", callers, 1);
    write_text(callers, "abc");
    files_->close(&callers);
    EXPECT_EQ(file_bytes(path("b")), file_bytes(path("a")));
    EXPECT_THAT(coders.living, IsEmpty());
}

TEST_F(FileManager, TheEndCompletesWhatACompressorHolds)
{
    fake_coders coders;
    write_text(*open("a", 10, 1), "abc");
    files_.reset();
    EXPECT_EQ(file_bytes(path("a")), stored(k_forms[0], "abc") + ".");
}

TEST_F(FileManager, ACompressorThatRaisesLeavesNothingOpen)
{
    fake_coders coders;
    coders.finish_raises = true;
    UT_STREAM* out = open("a", 10, 1);
    const int descriptor = out->getfid();
    write_text(*out, "abc");
    EXPECT_THROW(files_->close(out), int);
    EXPECT_FALSE(is_open(descriptor));
    EXPECT_THAT(coders.living, IsEmpty());
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, ACallersPackedStreamHasRoomForWhatItReads)
{
    fake_coders coders;
    const std::string content = varied_text(50'000);
    write_file(path("a"), stored(k_forms[0], content));
    UT_STREAM stream(mask(9), 2048, nullptr);
    ASSERT_EQ(open("a", stream), &stream);
    EXPECT_EQ(stream.seekstart(), 1);  // beyond the version bytes
    EXPECT_EQ(rest_of(stream), content);
}

TEST_F(FileManager, GetrsizeReadsACompressedFileWhole)
{
    fake_coders coders;
    for (const form_row& form : k_forms)
        for (const std::size_t size : {1u, 4096u, 50'000u}) {
            write_file(path("a"), stored(form, varied_text(size)));
            EXPECT_EQ(files_->getrsize(path("a").c_str()), static_cast<long>(size)) << form.name;
        }
    EXPECT_THAT(coders.reads, testing::Each(4096u));
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, AppendTakesTheContentOfACompressedFile)
{
    fake_coders coders;
    const std::string content = varied_text(50'000);
    for (const form_row& form : k_forms) {
        write_file(path("from"), stored(form, content));
        write_file(path("to"), "old");
        EXPECT_EQ(files_->append(path("from").c_str(), path("to").c_str()), 1);
        EXPECT_EQ(file_bytes(path("to")), "old" + content);
        EXPECT_EQ(files_->appendplus(path("from").c_str(), path("to").c_str()), 1);
        EXPECT_EQ(file_bytes(path("to")), "old" + content + content);
    }
}

// ---- the end

TEST_F(FileManager, TheEndFlushesAndClosesEveryStream)
{
    std::vector<int> descriptors;
    for (const std::string name : {"a", "b", "c"}) {
        UT_STREAM* out = open(name, 2, 1);
        write_text(*out, "content of " + name);
        descriptors.push_back(out->getfid());
    }
    files_.reset();
    for (const int descriptor : descriptors) EXPECT_FALSE(is_open(descriptor));
    EXPECT_EQ(file_bytes(path("b")), "content of b");
}

TEST_F(FileManager, TheEndDeletesTheTemporaryFilesAndTellsOfFailures)
{
    write_file(path("a"), "x");
    write_file(path("b"), "x");
    for (const char* name : {"a", "none", "b"}) EXPECT_EQ(files_->addtmpnam(path(name).c_str()), 1);
    files_->close_all();
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->remtmpnam(path("a").c_str()), 0);
}

TEST_F(FileManager, AfterCloseAllTheManagerIsAsNew)
{
    fill_the_table();
    files_->close_all();
    files_->close_all();
    const std::vector<UT_STREAM*> streams = fill_the_table();
    EXPECT_EQ(rest_of(*streams.front()), "x");
}

class stream_that_raises : public UT_STREAM {
public:
    stream_that_raises() : UT_STREAM(UT_ACCESS_WRITE, 2048, nullptr) {}
    int set_rawdata(unsigned char*, int) override { throw -1; }
};

TEST_F(FileManager, WhatOneStreamRaisesAtTheEndComesWhenTheOthersAreClosed)
{
    stream_that_raises bad;
    ASSERT_EQ(open("bad", bad, 1), &bad);
    write_text(bad, "x");
    UT_STREAM* good = open("good", 2, 1);
    write_text(*good, "good");
    write_file(path("temporary"), "x");
    files_->addtmpnam(path("temporary").c_str());
    EXPECT_THROW(delete files_.release(), int);
    EXPECT_EQ(bad.getfid(), -1);
    EXPECT_EQ(file_bytes(path("good")), "good");
    EXPECT_FALSE(std::filesystem::exists(path("temporary")));
}

TEST_F(FileManager, WhatAStreamRaisesAtCloseLeavesTheTableInOrder)
{
    stream_that_raises bad;
    ASSERT_EQ(open("bad", bad, 1), &bad);
    const int descriptor = bad.getfid();
    write_text(bad, "x");
    EXPECT_THROW(files_->close(&bad), int);
    EXPECT_FALSE(is_open(descriptor));
    EXPECT_EQ(files_->close(&bad), 0);
    ASSERT_EQ(open("bad", bad, 1), &bad);
    EXPECT_EQ(files_->close(&bad), 1);
}

// ---- the check of TEMP

constexpr const char* k_no_temp =
    "Environment variable 'TEMP' not defined or points at a non-existant directory.  Please define it to a "
    "temporary directory location for temporary files.";
constexpr const char* k_bad_temp =
    "Environment variable 'TEMP' is set to a non-writable location.  Please define it to a temporary "
    "directory location for temporary files.";

TEST_F(FileManager, WithoutTempTheProcessEndsWith19)
{
    const scoped_environment temp("TEMP", nullptr);
    EXPECT_EQ(capture_.exit_value_of([] { const UT_FILEMANAGER other; }), 19);
    EXPECT_EQ(capture_.last(), (post{"", "1009990", "", k_no_temp}));
}

TEST_F(FileManager, ATempThatCannotBeWrittenEndsTheProcessWith19)
{
    std::filesystem::create_directory(path("read only"));
    ASSERT_EQ(::chmod(path("read only").c_str(), 0555), 0);
    for (const std::string& value : {std::string(), path("read only"), path("none/none"), path("none/")}) {
        SCOPED_TRACE(value);
        capture_.clear();
        const scoped_environment temp("TEMP", value.c_str());
        EXPECT_EQ(capture_.exit_value_of([] { const UT_FILEMANAGER other; }), 19);
        EXPECT_EQ(capture_.last(), (post{"", "1009990", "", k_bad_temp}));
    }
}

TEST_F(FileManager, ATempThatIsNotThereWillDoIfItCouldBeMade)
{
    const scoped_environment temp("TEMP", path("not yet").c_str());
    EXPECT_EQ(capture_.exit_value_of([] { const UT_FILEMANAGER other; }), -999);
    EXPECT_FALSE(std::filesystem::exists(path("not yet")));
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, TheReportOfTempMakesAMessageManagerIfThereIsNone)
{
    UT_MSGMAN* const before = std::exchange(ut_msgman, nullptr);
    const scoped_environment flow("QVS_M_MSGFLOW", "0");
    const scoped_environment temp("TEMP", nullptr);
    int value = 0;
    const std::string err =
        stderr_of([&] { value = capture_.exit_value_of([] { const UT_FILEMANAGER other; }); });
    EXPECT_EQ(value, 19);
    EXPECT_THAT(err, HasSubstr("ERROR - Environment variable 'TEMP' not defined"));
    delete std::exchange(ut_msgman, before);
}

TEST_F(FileManager, TheOldHeapSwitchIsNotReadAgain)
{
    static int reads = 0;
    reads = 0;
    replaced_operations table;
    table.environment = [](const char* name) {
        if (std::string(name) == "QVS_WIN2K_SBH") ++reads;
        return ketriope::platform::native().environment(name);
    };
    const UT_FILEMANAGER other;
    EXPECT_EQ(reads, 0);  // the start of the process did
}

// ---- files and directories

TEST_F(FileManager, RemoveDeletesFilesOnly)
{
    write_file(path("a"), "x");
    std::filesystem::create_directory(path("d"));
    EXPECT_EQ(files_->remove(path("a").c_str()), 1);
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    EXPECT_EQ(files_->geterror(), 0);
    EXPECT_EQ(files_->remove(path("a").c_str()), 0);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->remove(path("d").c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(path("d")));
    EXPECT_EQ(files_->remove(nullptr), 0);
}

TEST_F(FileManager, RenameReplacesTheTarget)
{
    write_file(path("a"), "new");
    write_file(path("b"), "old");
    EXPECT_EQ(files_->rename(path("a").c_str(), path("b").c_str()), 1);
    EXPECT_EQ(files_->geterror(), 0);
    EXPECT_EQ(file_bytes(path("b")), "new");
    EXPECT_FALSE(std::filesystem::exists(path("a")));
}

TEST_F(FileManager, RenameToANewNameSucceedsThoughThereWasNothingToRemove)
{
    write_file(path("a"), "x");
    EXPECT_EQ(files_->rename(path("a").c_str(), path("b").c_str()), 1);
    EXPECT_EQ(files_->geterror(), ENOENT);  // of the removal
    EXPECT_EQ(file_bytes(path("b")), "x");
}

TEST_F(FileManager, RenameOfWhatIsNotThereCostsTheTarget)
{
    write_file(path("b"), "old");
    EXPECT_EQ(files_->rename(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_EQ(files_->rename(nullptr, nullptr), 0);
}

TEST_F(FileManager, CopyCopiesEveryByteOverWhatWasThere)
{
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 100'000u}) {
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7);
        write_file(path("a"), bytes);
        write_file(path("b"), std::string(200'000, 'o'));
        EXPECT_EQ(files_->copy(path("a").c_str(), path("b").c_str()), 1);
        EXPECT_EQ(file_bytes(path("b")), bytes);
    }
    EXPECT_EQ(files_->geterror(), 0);
}

TEST_F(FileManager, CopyTellsWhatCannotBeOpened)
{
    write_file(path("a"), "x");
    EXPECT_EQ(files_->copy(path("none").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), 2);
    EXPECT_EQ(files_->copy((path("a") + "/x").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), 2);  // whatever the system's reason
    EXPECT_EQ(files_->copy(place_.path().c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), 13);
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_EQ(files_->copy(path("a").c_str(), place_.path().c_str()), 0);
    EXPECT_EQ(files_->geterror(), EISDIR);
    EXPECT_EQ(files_->copy(nullptr, path("b").c_str()), 0);
    EXPECT_EQ(files_->copy(path("a").c_str(), nullptr), 0);
}

TEST_F(FileManager, CopyToAFullDeviceStopsAndLeavesTheResultOfTheFirstRead)
{
    write_file(path("a"), "x");
    EXPECT_EQ(files_->copy(path("a").c_str(), "/dev/full"), 1);
    EXPECT_EQ(files_->geterror(), ENOSPC);
}

TEST_F(FileManager, CopyOfWhatCannotBeReadFails)
{
    write_file(path("a"), "x");
    replaced_operations table;
    table.read = [](int, void*, std::size_t) -> std::int64_t {
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(files_->copy(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), EIO);
}

TEST_F(FileManager, DirectoriesAreMadeEnteredAndRemoved)
{
    const std::filesystem::path before = std::filesystem::current_path();
    EXPECT_EQ(files_->mkdir(path("d").c_str()), 1);
    EXPECT_EQ(files_->mkdir(path("d").c_str()), 0);
    EXPECT_EQ(files_->geterror(), EEXIST);
    EXPECT_EQ(files_->chdir(path("d").c_str()), 1);
    EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(path("d")));
    std::filesystem::current_path(before);
    EXPECT_EQ(files_->rmdir(path("d").c_str()), 1);
    EXPECT_EQ(files_->rmdir(path("d").c_str()), 0);
    EXPECT_EQ(files_->chdir(path("d").c_str()), 0);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->mkdir(nullptr), 0);
    EXPECT_EQ(files_->rmdir(nullptr), 0);
    EXPECT_EQ(files_->chdir(nullptr), 0);
}

// ---- the working directory

constexpr const char* k_no_directory = "unable to get the current working directory path - probable cause: "
                                       "'pwd' - permission denied";

TEST_F(FileManager, GetcwdStoresTheWorkingDirectory)
{
    const std::string expected = std::filesystem::current_path().string();
    std::array<char, 4096> buffer{};
    EXPECT_EQ(files_->getcwd(buffer.data(), 4096), 1);
    EXPECT_EQ(buffer.data(), expected);
    EXPECT_EQ(files_->getcwd(buffer.data(), static_cast<unsigned short>(expected.size() + 1)), 1);
}

TEST_F(FileManager, GetcwdBelowALengthOfTwoDoesNothing)
{
    char buffer[] = "kept";
    EXPECT_EQ(files_->getcwd(buffer, 0), 0);
    EXPECT_EQ(files_->getcwd(buffer, 1), 0);
    EXPECT_EQ(files_->getcwd(nullptr, 4), 0);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_THAT(capture_.posts(), IsEmpty());
}

TEST_F(FileManager, ADirectoryAsLongAsTheBufferBreaksTheContractOnBothRoutes)
{
    replaced_operations table;
    table.current_directory = [](std::string& out) {
        out = "/abc/def";
        return true;
    };
    std::array<char, 9> buffer{};
    EXPECT_EQ(files_->getcwd(buffer.data(), 9), 1);
    EXPECT_STREQ(buffer.data(), "/abc/def");
    buffer[0] = '?';
    EXPECT_THROW(files_->getcwd(buffer.data(), 8), int);
    EXPECT_EQ(capture_.last(), (post{"common", "0000", "basutfile",
                                     "current working directory '/abc/def' exceeds length limit of 8"}));
    capture_.use_legacy_flow();
    int value = 0;
    const std::string err =
        stderr_of([&] { value = capture_.exit_value_of([&] { files_->getcwd(buffer.data(), 2); }); });
    EXPECT_EQ(value, 69);
    EXPECT_THAT(err, HasSubstr("ERROR - current working directory '/abc/def' exceeds length limit of 2\n"));
    EXPECT_THAT(err, HasSubstr("INTERNAL CODE : ut:basutfile:"));
    EXPECT_EQ(buffer[0], '?');
}

TEST_F(FileManager, AMissingDirectoryBreaksTheContractOnBothRoutes)
{
    replaced_operations table;
    table.current_directory = [](std::string&) {
        errno = EACCES;
        return false;
    };
    char buffer[10] = "kept";
    EXPECT_THROW(files_->getcwd(buffer, 10), int);
    EXPECT_EQ(capture_.last(), (post{"common", "0000", "basutfile", k_no_directory}));
    EXPECT_EQ(files_->geterror(), EACCES);
    capture_.use_legacy_flow();
    stderr_of([&] { EXPECT_EQ(capture_.exit_value_of([&] { files_->getcwd(buffer, 10); }), 69); });
    EXPECT_STREQ(buffer, "kept");
}

TEST_F(FileManager, ThePrefixOfTheAutomounterIsLeftOut)
{
    static const char* directory = nullptr;
    replaced_operations table;
    table.current_directory = [](std::string& out) {
        out = directory;
        return true;
    };
    const std::pair<const char*, const char*> rows[] = {
        {"/tmp_mnt/net/host/x", "/net/host/x"},
        {"/tmp_mnt/net", "/tmp_mnt/net"},
        {"/tmp_mnt/home", "/tmp_mnt/home"},
        {"/x/tmp_mnt/net/y", "/x/tmp_mnt/net/y"},
    };
    for (const auto& [told, expected] : rows) {
        directory = told;
        std::array<char, 100> buffer{};
        EXPECT_EQ(files_->getcwd(buffer.data(), 100), 1);
        EXPECT_STREQ(buffer.data(), expected);
    }
    directory = "/tmp_mnt/net/a";  // "/net/a" is what has to fit
    std::array<char, 7> exact{};
    EXPECT_EQ(files_->getcwd(exact.data(), 7), 1);
}

// ---- appending files and lines

TEST_F(FileManager, AppendPutsOneFileBehindAnother)
{
    using operation = unsigned char (UT_FILEMANAGER::*)(const char*, const char*);
    for (const operation append : {&UT_FILEMANAGER::append, &UT_FILEMANAGER::appendplus})
        for (const std::size_t size : {0u, 1u, 4096u, 10'000u}) {
            std::filesystem::remove(path("to"));
            const std::string bytes(size, 'n');
            write_file(path("from"), bytes);
            EXPECT_EQ((*files_.*append)(path("from").c_str(), path("to").c_str()), 1);  // made
            EXPECT_EQ((*files_.*append)(path("from").c_str(), path("to").c_str()), 1);  // found
            EXPECT_EQ(file_bytes(path("to")), bytes + bytes);
            EXPECT_EQ(file_bytes(path("from")), bytes);
        }
    EXPECT_EQ(files_->geterror(), 0);
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, AFileAppendedToItselfDoubles)
{
    const std::string bytes(10'000, 'x');
    write_file(path("a"), bytes);
    EXPECT_EQ(files_->append(path("a").c_str(), path("a").c_str()), 1);
    EXPECT_EQ(file_bytes(path("a")), bytes + bytes);
}

TEST_F(FileManager, AppendTellsWhatCannotBeOpenedOrWritten)
{
    write_file(path("a"), "x");
    EXPECT_EQ(files_->append(path("none").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_EQ(files_->append(path("a").c_str(), place_.path().c_str()), 0);
    EXPECT_EQ(files_->geterror(), 13);
    EXPECT_EQ(files_->append(path("a").c_str(), "/dev/full"), 0);
    EXPECT_EQ(files_->geterror(), ENOSPC);
    EXPECT_EQ(stdout_of([&] { files_->dumpopenfiles(); }), "Open files list:\n");
}

TEST_F(FileManager, AppendlineAddsALine)
{
    EXPECT_EQ(files_->appendline("one %s", path("a").c_str()), 1);
    EXPECT_EQ(files_->appendline("two", path("a").c_str()), 1);
    EXPECT_EQ(files_->appendline("", path("a").c_str()), 1);
    EXPECT_EQ(files_->appendline(nullptr, path("a").c_str()), 1);
    EXPECT_EQ(file_bytes(path("a")), "one %s\r\ntwo\r\n\r\n\r\n");
    EXPECT_EQ(files_->appendline("x", place_.path().c_str()), 0);
}

TEST_F(FileManager, AppendstringContinuesTheLastLine)
{
    EXPECT_EQ(files_->appendstring("one", path("a").c_str()), 1);
    EXPECT_EQ(files_->appendstring(" and more", path("a").c_str()), 1);
    EXPECT_EQ(files_->appendline("two", path("a").c_str()), 1);
    EXPECT_EQ(file_bytes(path("a")), "one and more\r\ntwo\r\n");
}

TEST_F(FileManager, AppendstringToLessThanALineEndWritesFromTheStart)
{
    for (const char* old : {"", "x", "xy"}) {
        write_file(path("a"), old);
        EXPECT_EQ(files_->appendstring("new", path("a").c_str()), 1);
        EXPECT_EQ(file_bytes(path("a")), "new\r\n");
    }
    write_file(path("a"), "xyz");
    EXPECT_EQ(files_->appendstring("new", path("a").c_str()), 1);
    EXPECT_EQ(file_bytes(path("a")), "xnew\r\n");
}

// ---- find

TEST_F(FileManager, FindGivesTheFirstEntryThatHasTheName)
{
    for (const char* directory : {"one", "two", "three"}) std::filesystem::create_directory(path(directory));
    write_file(path("two/a"), "x");
    write_file(path("three/a"), "x");
    const std::string one = path("one");
    const std::string two = path("two");
    const std::string three = path("three");
    const char* paths[] = {one.c_str(), two.c_str(), three.c_str(), nullptr, two.c_str()};
    char result[1024] = "kept";
    EXPECT_EQ(files_->find("a", paths, 5, result), paths[1]);
    EXPECT_EQ(result, two + "/a");
    EXPECT_EQ(files_->geterror(), ENOENT);  // of the first entry
    EXPECT_EQ(files_->find("none", paths, 5, result), nullptr);
    EXPECT_EQ(result, two + "/a");
    EXPECT_EQ(files_->find("a", paths, 1, result), nullptr);
    EXPECT_EQ(files_->find("a", paths + 3, 2, result), nullptr);  // a null ends the list
    EXPECT_EQ(files_->find("two", &paths[0], 0, result), nullptr);
    EXPECT_EQ(files_->find("a", paths, -1, result), nullptr);
}

TEST_F(FileManager, FindRefusesNulls)
{
    const char* paths[] = {"/"};
    char result[1024] = "kept";
    EXPECT_EQ(files_->find(nullptr, paths, 1, result), nullptr);
    EXPECT_EQ(files_->find("tmp", nullptr, 1, result), nullptr);
    EXPECT_EQ(files_->find("tmp", paths, 1, nullptr), nullptr);
    EXPECT_STREQ(result, "kept");
}

TEST_F(FileManager, FindPutsASlashOnlyWhereOneIsMissing)
{
    write_file(path("a"), "x");
    const std::string directory = place_.path();
    const std::string ended = directory + "/";
    const std::string whole = path("a");
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {directory, "a", whole}, {ended, "a", whole},         {directory, "/a", whole},
        {"", whole, whole},      {ended, "/a", ended + "/a"},
    };
    for (const auto& [entry, name, expected] : rows) {
        const char* paths[] = {entry.c_str()};
        char result[1024] = "";
        EXPECT_EQ(files_->find(name.c_str(), paths, 1, result), paths[0]);
        EXPECT_EQ(result, expected);
    }
}

TEST_F(FileManager, FindCountsDirectoriesAsFound)
{
    std::filesystem::create_directory(path("d"));
    const std::string directory = place_.path();
    const char* paths[] = {directory.c_str()};
    char result[1024] = "";
    EXPECT_EQ(files_->find("d", paths, 1, result), paths[0]);
}

/// The directory by a path of exactly `length` characters.
std::string stretched(const std::string& directory, std::size_t length)
{
    std::string path = directory;
    if ((length - path.size()) % 2 != 0) path += '/';
    while (path.size() < length) path += "/.";
    return path;
}

TEST_F(FileManager, FindTriesA1024thCharacterAndReportsMore)
{
    write_file(path("a"), "x");
    const std::string longest = stretched(place_.path(), 1024 - 2 - 1);
    const std::string too_long = stretched(place_.path(), 1024 - 2 - 1 + 1);
    const char* paths[] = {too_long.c_str(), longest.c_str()};
    char result[1024] = "";
    EXPECT_EQ(files_->find("a", paths, 2, result), paths[1]);
    EXPECT_EQ(result, longest + "/a");
    EXPECT_THAT(capture_.posts(), ElementsAre(post{"framework", "1413", "", ""}));
}

/// Keeps the arguments of the numbered messages that it gets.
class argument_keeper final : public ketriope::message_database {
public:
    void post_numbered(const char* category, const char* number, ut_va_list arguments) override
    {
        const std::string first = va_arg(arguments, const char*);
        const std::string second = va_arg(arguments, const char*);
        kept = std::string(category) + ' ' + number + ' ' + std::to_string(first.size()) + ' ' + second +
               ' ' + std::to_string(va_arg(arguments, int));
    }
    void post_contract(const char*, int, const char*) override {}
    void post_text(const char*, const char*) override {}
    void post_finished(int, const char*) override {}
    void show_types(int, bool) override {}

    std::string kept;
};

TEST_F(FileManager, FindGivesTheDatabaseThePathTheNameAndTheLimit)
{
    const std::string too_long(1'020, 'p');
    const char* paths[] = {too_long.c_str()};
    char result[1024] = "";
    argument_keeper keeper;
    ketriope::message_database* const before = ketriope::install_database(&keeper);
    EXPECT_EQ(files_->find("0123456789", paths, 1, result), nullptr);
    ketriope::install_database(before);
    EXPECT_EQ(keeper.kept, "framework 1413 1020 0123456789 1024");
    EXPECT_EQ(files_->geterror(), 0);
}

TEST_F(FileManager, FindReportsALongPathInWordsAndGoesOn)
{
    capture_.use_legacy_flow();
    write_file(path("0123456789"), "x");
    const std::string too_long(1'020, 'p');
    const std::string directory = place_.path();
    const char* paths[] = {too_long.c_str(), directory.c_str()};
    char result[1024] = "";
    const short width = ut_msgman->getmaxlinewidth();
    ut_msgman->setmaxlinewidth(32'000);
    const std::string err =
        stderr_of([&] { EXPECT_EQ(files_->find("0123456789", paths, 2, result), paths[1]); });
    ut_msgman->setmaxlinewidth(width);
    EXPECT_EQ(err, "WARNING - path '" + too_long + "/0123456789' ignored  -- exceeds length limit of 1024\n");
}

// ---- temporary names

TEST_F(FileManager, TmpnamGivesANameBelowTempThatIsNotInUse)
{
    const scoped_environment temp("TEMP", place_.path().c_str());
    const scoped_environment other("TMPDIR", "/nowhere");
    char first[1024] = "";
    char second[1024] = "";
    EXPECT_EQ(files_->tmpnam(first), first);
    EXPECT_EQ(files_->tmpnam(second), second);
    EXPECT_THAT(first, testing::StartsWith(path("zeo_")));
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_STRNE(first, second);
}

TEST_F(FileManager, TmpnamOfNullUsesTheBufferOfTheProcess)
{
    const std::string first = files_->tmpnam(nullptr);
    const char* const shared = files_->tmpnam(nullptr);
    EXPECT_NE(shared, first);
    UT_FILEMANAGER other;
    const std::string third = other.tmpnam(nullptr);
    EXPECT_EQ(shared, third);  // the same buffer
}

TEST_F(FileManager, TmpnamTurnsBackslashesToSlashes)
{
    const scoped_environment temp("TEMP", "C:\\suite\\temp");
    EXPECT_THAT(files_->tmpnam(nullptr), testing::StartsWith("C:/suite/temp/zeo_"));
}

TEST_F(FileManager, TmpnamWithoutTempGivesItsArgumentBack)
{
    const scoped_environment temp("TEMP", nullptr);
    char buffer[] = "kept";
    EXPECT_EQ(files_->tmpnam(buffer), buffer);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(files_->tmpnam(nullptr), nullptr);
}

TEST_F(FileManager, TmpnamThatFindsNoNameGivesNull)
{
    replaced_operations table;
    table.temporary_name = [](const char*, const char*, std::string&) {
        errno = EEXIST;
        return false;
    };
    char buffer[] = "kept";
    EXPECT_EQ(files_->tmpnam(buffer), nullptr);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(files_->geterror(), EEXIST);
}

TEST_F(FileManager, TheListOfTemporaryNamesHasThirtyEntries)
{
    for (int i = 0; i < 30; ++i) EXPECT_EQ(files_->addtmpnam(path('t' + std::to_string(i)).c_str()), 1);
    EXPECT_EQ(files_->addtmpnam(path("t30").c_str()), 0);
    EXPECT_EQ(files_->remtmpnam(path("t30").c_str()), 0);
    EXPECT_EQ(files_->remtmpnam(path("t7").c_str()), 1);
    EXPECT_EQ(files_->remtmpnam(path("t7").c_str()), 0);
    EXPECT_EQ(files_->addtmpnam(nullptr), 0);
    EXPECT_EQ(files_->remtmpnam(nullptr), 0);
    EXPECT_EQ(files_->addtmpnam(path("t30").c_str()), 1);
    for (int i = 0; i <= 30; ++i) EXPECT_EQ(files_->remtmpnam(path('t' + std::to_string(i)).c_str()), i != 7);
}

TEST_F(FileManager, ANameTakenOffTheListIsNotDeleted)
{
    for (const char* name : {"a", "b", "c"}) {
        write_file(path(name), "x");
        std::string text = path(name);
        files_->addtmpnam(text.c_str());
        text.assign(text.size(), '?');  // the list has a copy
    }
    EXPECT_EQ(files_->remtmpnam(path("a").c_str()), 1);
    files_.reset();
    EXPECT_TRUE(std::filesystem::exists(path("a")));
    EXPECT_FALSE(std::filesystem::exists(path("b")));
    EXPECT_FALSE(std::filesystem::exists(path("c")));
}

// ---- what a name stands for

TEST_F(FileManager, ExistIsdirAndIsfileGoByTheKind)
{
    write_file(path("a"), "x");
    std::filesystem::create_directory(path("d"));
    struct row {
        std::string name;
        int exists, is_directory, is_file;
    };
    const row rows[] = {{path("a"), 1, 0, 1},
                        {path("d"), 1, 1, 0},
                        {"/dev/null", 1, 0, 0},
                        {path("none"), 0, 0, 0},
                        {"", 0, 0, 0}};
    for (const auto& [name, exists, is_directory, is_file] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(files_->exist(name.c_str()), exists);
        EXPECT_EQ(files_->isdir(name.c_str()), is_directory);
        EXPECT_EQ(files_->isfile(name.c_str()), is_file);
    }
    EXPECT_EQ(files_->exist(nullptr), 0);
    EXPECT_EQ(files_->isdir(nullptr), 0);
    EXPECT_EQ(files_->isfile(nullptr), 0);
}

TEST_F(FileManager, WhatIsNotAsAskedGivesError13AndWhatIsNotThereItsOwn)
{
    write_file(path("a"), "x");
    std::filesystem::create_directory(path("d"));
    const auto error_of = [&](auto query, const std::string& name) {
        files_->clearerror();
        EXPECT_EQ((*files_.*query)(name.c_str()), 0);
        return files_->geterror();
    };
    EXPECT_EQ(error_of(&UT_FILEMANAGER::isdir, path("a")), 13);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::isfile, path("d")), 13);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::isdir, path("none")), ENOENT);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::isfile, path("none")), ENOENT);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::exist, path("none")), ENOENT);
    ASSERT_EQ(::chmod(path("a").c_str(), 0), 0);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::canread, path("a")), 13);
    EXPECT_EQ(error_of(&UT_FILEMANAGER::canwrite, path("a")), 13);
}

TEST_F(FileManager, PermissionsAreThoseOfTheOwnerWhoeverAsks)
{
    write_file(path("a"), "x");
    struct row {
        ::mode_t mode;
        int read, write;
    };
    for (const auto& [mode, read, write] :
         {row{0600, 1, 1}, row{0477, 1, 0}, row{0277, 0, 1}, row{0077, 0, 0}}) {
        ASSERT_EQ(::chmod(path("a").c_str(), mode), 0);
        EXPECT_EQ(files_->canread(path("a").c_str()), read);
        EXPECT_EQ(files_->canwrite(path("a").c_str()), write);
    }
    EXPECT_EQ(file_bytes(path("a")), ::geteuid() == 0 ? "x" : "");
}

TEST_F(FileManager, CanwriteMakesAFileThatIsNotThereAndRemovesIt)
{
    EXPECT_EQ(files_->canwrite(path("a").c_str()), 1);
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    EXPECT_EQ(files_->geterror(), 0);
    EXPECT_EQ(files_->canwrite(path("none/a").c_str()), 0);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->canread(path("a").c_str()), 0);
    EXPECT_EQ(files_->canwrite(""), 0);
    EXPECT_EQ(files_->canwrite(nullptr), 0);
    EXPECT_EQ(files_->canread(nullptr), 0);
}

TEST(FileManagerNames, AnAbsoluteNameBeginsWithASlashOrADrive)
{
    for (const char* name : {"/", "\\", "/a", "\\a", "C:/", "z:\\x", "A:\\"})
        EXPECT_EQ(UT_FILEMANAGER::isabsolute(name), 1) << name;
    for (const char* name :
         {"", "a", "a/b", "C:", "C:x", "1:/", "CC:/", ":/", "./a", "[:/", "@:\\", "\xE4:/"})
        EXPECT_EQ(UT_FILEMANAGER::isabsolute(name), 0) << name;
    EXPECT_EQ(UT_FILEMANAGER::isabsolute(nullptr), 0);
}

TEST_F(FileManager, PathsAreTurnedBothWays)
{
    char path[] = "a/b\\c/";
    EXPECT_EQ(files_->makedospath(path), 1);
    EXPECT_STREQ(path, "a\\b\\c\\");
    EXPECT_EQ(files_->makeunixpath(path), 1);
    EXPECT_STREQ(path, "a/b/c/");
    EXPECT_EQ(files_->makedospath(nullptr), 0);
    EXPECT_EQ(files_->makeunixpath(nullptr), 0);
}

TEST_F(FileManager, GetsizeGivesTheBytesOnDisk)
{
    write_file(path("a"), "12345");
    EXPECT_EQ(files_->getsize(path("a").c_str()), 5);
    EXPECT_EQ(files_->getsize(place_.path().c_str()), -1);
    EXPECT_EQ(files_->geterror(), 13);
    EXPECT_EQ(files_->getsize(path("none").c_str()), -1);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->getsize(nullptr), -1);
    std::filesystem::resize_file(path("a"), 5'000'000'000);  // a hole
    EXPECT_EQ(files_->getsize(path("a").c_str()), 5'000'000'000);
}

TEST_F(FileManager, GetrsizeGivesWhatAReaderGets)
{
    write_file(path("plain"), "12345");
    EXPECT_EQ(files_->getrsize(path("plain").c_str()), 5);
    write_file(path("short"), k_gca_signature.substr(0, 6));
    EXPECT_EQ(files_->getrsize(path("short").c_str()), 6);
    for (const form_row& form : k_forms) {
        write_file(path("packed"), form.head);
        EXPECT_EQ(files_->getrsize(path("packed").c_str()), 0) << form.name;
    }
    EXPECT_EQ(files_->getrsize(place_.path().c_str()), -1);
    EXPECT_EQ(files_->geterror(), 13);
    EXPECT_EQ(files_->getrsize(path("none").c_str()), -1);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->getrsize(nullptr), -1);
    write_file(path("broken"), k_packed_signature);
    EXPECT_EQ(files_->getrsize(path("broken").c_str()), -1);
    fill_the_table();                                       // every stream was closed again
    EXPECT_EQ(files_->getrsize(path("plain").c_str()), 5);  // and no slot is needed for a plain file
}

// ---- times

void set_modified(const std::string& path, std::time_t when)
{
    const std::array<::timespec, 2> times{::timespec{when, 0}, ::timespec{when, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

TEST_F(FileManager, GetdatetimeGivesTheSecondsOfTheLastChange)
{
    write_file(path("a"), "x");
    set_modified(path("a"), 5'000'000'000);
    ut_int64 seconds = -1;
    EXPECT_EQ(files_->getdatetime(path("a").c_str(), seconds), 1);
    EXPECT_EQ(seconds, 5'000'000'000);
    EXPECT_EQ(files_->getdatetime(path("none").c_str(), seconds), 0);
    EXPECT_EQ(seconds, 5'000'000'000);
    EXPECT_EQ(files_->geterror(), ENOENT);
    EXPECT_EQ(files_->getdatetime(nullptr, seconds), 0);
}

TEST_F(FileManager, AsciidatetimeGivesTheTimeOfTheRuntimeWithoutItsLineFeed)
{
    write_file(path("a"), "x");
    for (const std::time_t when : {0L, 1'000'000'000L, 1'709'208'000L, 5'000'000'000L}) {
        set_modified(path("a"), when);
        std::string expected = std::ctime(&when);
        expected.pop_back();
        EXPECT_EQ(files_->asciidatetime(path("a").c_str()), expected);
        char buffer[26] = "";
        EXPECT_EQ(files_->asciidatetime(path("a").c_str(), buffer), buffer);
        EXPECT_EQ(buffer, expected);
    }
}

TEST_F(FileManager, AsciidatetimeOfWhatCannotBeReadIsAQuestionMark)
{
    EXPECT_STREQ(files_->asciidatetime(path("none").c_str()), "?");
    EXPECT_EQ(files_->geterror(), ENOENT);
    char buffer[26] = "kept";
    EXPECT_EQ(files_->asciidatetime(nullptr, buffer), buffer);
    EXPECT_STREQ(buffer, "?");
}

TEST_F(FileManager, AsciidatetimeOfAYearWithFiveDigitsFitsTheBuffer)
{
    replaced_operations table;
    table.status = [](const char*, ketriope::platform::file_status& out) {
        out.modified = 999'999'999'999;  // year 33658
        return true;
    };
    char buffer[26] = "";
    files_->asciidatetime("x", buffer);
    EXPECT_EQ(std::string(buffer).size(), 25u);
    EXPECT_THAT(buffer, testing::EndsWith(" 33658"));
}

// ---- the manager of the process, from its start to its end

/// The words of a report, whatever lines it was folded into.
std::string words_of(const std::string& text)
{
    std::string words;
    for (const char c : text) {
        const bool blank = c == ' ' || c == '\n';
        if (!blank || (!words.empty() && words.back() != ' ')) words += blank ? ' ' : c;
    }
    return words;
}

class FileManagerProcess : public testing::Test {
protected:
    child_result run(std::vector<std::string> arguments, const child_environment& changes = {}) const
    {
        return run_child(child_program("basutfile_child"), arguments, changes);
    }
    std::string path(const std::string& name) const { return place_ / name; }

    /// Keeps a long name in one line, wherever the build stands.
    static constexpr std::pair<const char*, const char*> k_wide{"QVS_MSG_WIDTH", "32767"};

    temp_directory place_;
};

TEST_F(FileManagerProcess, DoesNotStartWithoutTemp)
{
    for (const char* flow : {"0", "1"}) {
        const child_result result = run({"nothing"}, {{"TEMP", nullptr}, {"QVS_M_MSGFLOW", flow}});
        EXPECT_EQ(result.exit_status, 19);
        EXPECT_EQ(words_of(result.err), words_of(std::string("ERROR - ") + k_no_temp + "\n"));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(FileManagerProcess, DoesNotStartWithAnUnusableTemp)
{
    for (const std::string& value : {std::string(), path("none/none")}) {
        const child_result result = run({"nothing"}, {{"TEMP", value.c_str()}, {"TMPDIR", "/tmp"}});
        EXPECT_EQ(result.exit_status, 19);
        EXPECT_EQ(words_of(result.err), words_of(std::string("ERROR - ") + k_bad_temp + "\n"));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(FileManagerProcess, StartsWithATempThatCouldBeMade)
{
    const child_result result = run({"nothing"}, {{"TEMP", path("not yet").c_str()}});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "ran\n");
    EXPECT_EQ(result.err, "");
    EXPECT_FALSE(std::filesystem::exists(path("not yet")));
}

TEST_F(FileManagerProcess, WritesAndClosesAtItsEndWhatWasLeftOpen)
{
    const child_result result = run({"leave open", path("a"), path("b")});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(file_bytes(path("a")), path("a") + "\r\n");
    EXPECT_EQ(file_bytes(path("b")), path("b") + "\r\n");
}

TEST_F(FileManagerProcess, DoesSoWhenItLeavesByExit)
{
    const child_result result = run({"exit", path("a")});
    EXPECT_EQ(result.exit_status, 3);
    EXPECT_EQ(file_bytes(path("a")), path("a") + "\r\n");
}

TEST_F(FileManagerProcess, DeletesItsTemporaryFilesAtTheEnd)
{
    write_file(path("a"), "x");
    write_file(path("b"), "x");
    EXPECT_EQ(run({"temporary", path("a"), path("b"), path("none")}).exit_status, 0);
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    EXPECT_FALSE(std::filesystem::exists(path("b")));
}

TEST_F(FileManagerProcess, LeavesAManagerThatAToolsLastObjectsMayUse)
{
    const child_result result = run({"late", path("a")});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "ran\nclosed late: 1\n");
    EXPECT_EQ(file_bytes(path("a")), "late\r\n");
}

TEST_F(FileManagerProcess, TellsOfTheFormThatTheEnvironmentForces)
{
    const child_result by_default = run({"leave open", path("a")}, {{"QVS_COMP_MAND", "yes"}});
    EXPECT_EQ(by_default.exit_status, 0);
    EXPECT_EQ(by_default.out, "Comp Mode: GCA\nran\n");
    const child_result by_name =
        run({"leave open", path("a")}, {{"QVS_COMP_MAND", "YES"}, {"QVS_COMP_ALG", "GCB"}});
    EXPECT_EQ(by_name.out, "Comp Mode: GCB\nran\n");
}

TEST_F(FileManagerProcess, TracesTheFilesItOpens)
{
    const std::string name = path("100% %n %s");
    const child_result result = run({"leave open", name}, {{"QVS_FILE_TRACE", ""}, k_wide});
    EXPECT_EQ(result.out, "Open file \"" + name + "\"\nran\n");
    EXPECT_EQ(run({"leave open", name}).out, "ran\n");
}

TEST_F(FileManagerProcess, ListsItsFilesWhenTheTableIsFull)
{
    const std::string name = path("a");
    const child_result result = run({"too many", name}, {k_wide});
    std::string expected = "Open files list:\n" + name + " : write \n";
    for (int i = 1; i < 30; ++i) expected += name + " : read  \n";
    EXPECT_EQ(result.out, expected + "refused after 30\nran\n");
    EXPECT_THAT(result.err, HasSubstr("ERROR - UT_FILEMANAGER: Too many opened files!  Cannot open file '" +
                                      name + "'."));
    EXPECT_THAT(result.err, HasSubstr("INTERNAL CODE : ut:basutfile:"));
}

}  // namespace
