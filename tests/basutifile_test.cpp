// tests/basutifile_test.cpp
#include "basutifile.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "basutstream.h"
#include "indexed_model.h"
#include "message_capture.h"
#include "msgdatabase.h"
#include "msgman.h"
#include "scoped_environment.h"
#include "scoped_operations.h"
#include "stream_tools.h"
#include "temp_directory.h"
#include "virtual_slots.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using indexed_model::entry;

const std::string k_golden = TEST_SOURCE_DIR "/golden/";
constexpr unsigned char k_uncached = 0, k_cached = 1;
const UT_ACCESS k_reading = UT_ACCESS_READ;
const UT_ACCESS k_writing = UT_ACCESS_WRITE;

/// Takes note of what it cannot open or read, and goes on.
class lenient_file : public UT_IFILE {
public:
    void version_mismatch(unsigned char version) override { versions.push_back(version); }
    void revision_mismatch(unsigned char revision) override { revisions.push_back(revision); }
    void openerror() override { ++open_errors; }

    std::vector<int> versions;
    std::vector<int> revisions;
    int open_errors = 0;
};

/// Keeps with which value the legacy manager is told to end the process, and lives on.
class surviving_manager final : public UT_MSGMAN {
public:
    surviving_manager() : before_(std::exchange(ut_msgman, this)) {}
    ~surviving_manager() override { ut_msgman = before_; }
    void fatal(const char*, const char*, const char*, short, const char*, int exit_value, long) override
    {
        exit_values.push_back(exit_value);
    }
    std::vector<int> exit_values;

private:
    UT_MSGMAN* before_;
};

void put(UT_IFILE& file, const std::string& name, std::string_view content, long type = 0, long data = 0)
{
    UT_STREAM* const stream = file.putdataseg(name.c_str(), type, data);
    ASSERT_NE(stream, nullptr) << name;
    EXPECT_EQ(write_text(*stream, content), static_cast<int>(content.size()));
    EXPECT_TRUE(file.enddataseg());
}

/// All entries in the order of the file, but for their offsets.
std::vector<entry> listed(UT_IFILE& file)
{
    std::vector<entry> entries;
    UT_IFILESEGINFO info;
    file.resetseginfo();
    while (file.getnextseginfo(info, 0))
        entries.push_back({info.getname(), 0, static_cast<std::int32_t>(info.getsize()),
                           static_cast<std::int32_t>(info.gettype()),
                           static_cast<std::int32_t>(info.getdata())});
    return entries;
}

/// The bytes of a segment, as many as its entry tells; nothing if it cannot be had.
std::optional<std::string> content_of(UT_IFILE& file, const std::string& name, long type = -1)
{
    UT_IFILESEGINFO info;
    UT_STREAM* const stream = file.getdataseg(name.c_str(), type, &info);
    if (stream == nullptr) return std::nullopt;
    std::string content = read_text(*stream, static_cast<int>(info.getsize()));
    EXPECT_TRUE(file.enddataseg());
    return content;
}

/// What the model says, without the offsets, which the class does not tell.
std::vector<entry> without_offsets(std::vector<entry> entries)
{
    for (entry& each : entries) each.offset = 0;
    return entries;
}

std::string without_blanks(std::string text)
{
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    return text;
}

/// Tells whether `work` shows `text` on the legacy route, however that folds it.
template <class Work>
testing::AssertionResult shows_on_the_legacy_route(const std::string& text, Work work)
{
    const int flow = std::exchange(UT_MSGMAN::m_msgFlow, 0);
    std::string errors;
    const std::string shown = stdout_of([&] { errors = stderr_of(work); }) + errors;
    UT_MSGMAN::m_msgFlow = flow;
    if (without_blanks(shown).find(without_blanks(text)) != std::string::npos)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << shown;
}

class UtIfile : public testing::Test {
protected:
    /// A file of three segments.
    void write_three(const std::string& path)
    {
        UT_IFILE file;
        ASSERT_TRUE(file.create(path.c_str()));
        file.setdataversion(3);
        file.setdatarevision(0x8F);
        put(file, "netlist", "module top;\nendmodule\n", 1, 42);
        put(file, "empty", "", -1, INT32_MIN);
        put(file, "every byte", every_byte(), INT32_MAX, 0);
        ASSERT_TRUE(file.unload());
    }
    static std::string every_byte()
    {
        std::string bytes;
        for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
        return bytes;
    }

    temp_directory temp_;
    const std::string path_ = temp_ / "design.idx";
    message_capture capture_;
};

// ---- what programs were compiled against

#if defined(TEST_KNOWS_SLOTS)
TEST_F(UtIfile, TheVirtualOperationsKeepTheirPlaces)
{
    EXPECT_EQ(slot_of(&UT_IFILE::putdataseg), 2U);  // behind the destructor
    EXPECT_EQ(slot_of(&UT_IFILE::version_mismatch), 3U);
    EXPECT_EQ(slot_of(&UT_IFILE::revision_mismatch), 4U);
    EXPECT_EQ(slot_of(&UT_IFILE::openerror), 5U);
    EXPECT_EQ(slot_of(&LIST_UT_IFILEDIR::freedata), 2U);
    EXPECT_EQ(slot_of(&LIST_UT_IFILEDIR::printdata), 3U);
    EXPECT_EQ(slot_of(&LIST_UT_IFILEDIR::finddata), 4U);
    EXPECT_EQ(slot_of(&LIST_UT_IFILEDIR::compdata), 5U);
}
#endif

TEST_F(UtIfile, EntriesAreMadeByTheClassesHereAlone)
{
    EXPECT_FALSE((std::is_constructible_v<UT_IFILEDIR, const char*, long, long, long, long>));
    EXPECT_FALSE(std::is_destructible_v<UT_IFILEDIR>);
    EXPECT_EQ(sizeof(UT_IFILEDIR), sizeof(char*) + 16);
    EXPECT_TRUE(std::has_virtual_destructor_v<UT_IFILE>);
}

TEST_F(UtIfile, StartsWithNoFile)
{
    UT_IFILE file;
    EXPECT_EQ(file.getfname(), nullptr);
    EXPECT_EQ(file.getaccess(), k_reading);
    EXPECT_EQ(file.getrealnumsegs(), 0);
    EXPECT_EQ(file.getnumsegs(), 0);
    EXPECT_EQ(file.getversion() + file.getrevision() + file.getdataversion() + file.getdatarevision(), 0);
    EXPECT_EQ(file.putdataseg("a", 0, 0), nullptr);
    EXPECT_EQ(file.getdataseg("a", -1, nullptr), nullptr);
    EXPECT_FALSE(file.enddataseg());
    EXPECT_TRUE(capture_.posts().empty());
}

// ---- the bytes

TEST_F(UtIfile, WritesTheGoldenFiles)
{
    write_three(path_);
    EXPECT_EQ(file_bytes(path_), file_bytes(k_golden + "indexed_three.idx"));

    UT_IFILE file;
    file.create(path_.c_str());
    EXPECT_TRUE(file.unload());
    EXPECT_EQ(file_bytes(path_), file_bytes(k_golden + "indexed_empty.idx"));

    std::string many;
    for (int i = 0; i < 20; ++i) many += every_byte();
    file.create(path_.c_str());
    file.setdataversion(255);
    file.setdatarevision(0x3F);
    put(file, "first", "what was here first", 1, 10);
    put(file, "second", many, 2, 20);
    put(file, "first", "what came later", 3, 30);
    EXPECT_TRUE(file.unload());
    EXPECT_EQ(file_bytes(path_), file_bytes(k_golden + "indexed_rewritten.idx"));

    file.create(path_.c_str());
    put(file, "", "of no name", 0, 0);
    put(file, std::string(255, 'n'), "of the longest name", 0, 1);
    put(file, every_byte().substr(128), "of high bytes", 0, 2);
    put(file, "top/core[0].alu:carry", "of a path", 0, 3);
    EXPECT_TRUE(file.unload());
    EXPECT_EQ(file_bytes(path_), file_bytes(k_golden + "indexed_names.idx"));
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtIfile, ReadsTheGoldenFiles)
{
    for (const char* name :
         {"indexed_empty.idx", "indexed_three.idx", "indexed_rewritten.idx", "indexed_names.idx"}) {
        const std::string bytes = file_bytes(k_golden + name);
        const auto expected = indexed_model::file::read(bytes);
        ASSERT_TRUE(expected) << name;
        UT_IFILE file;
        ASSERT_TRUE(file.load((k_golden + name).c_str()));
        EXPECT_EQ(file.getversion(), 2);
        EXPECT_EQ(file.getrevision(), 0);
        EXPECT_EQ(file.getdataversion(), expected->data_version);
        EXPECT_EQ(file.getdatarevision(), expected->data_revision);
        EXPECT_EQ(listed(file), without_offsets(expected->entries)) << name;
        for (const entry& each : expected->entries)
            EXPECT_EQ(content_of(file, each.name, each.type), expected->content(each)) << each.name;
        EXPECT_TRUE(file.unload());
    }
}

TEST_F(UtIfile, AFileWithoutSegmentsHasItsDirectoryAtOnce)
{
    UT_IFILE file;
    file.create(path_.c_str());
    file.unload();
    const std::string bytes = file_bytes(path_);
    EXPECT_EQ(bytes.size(), 128U);
    EXPECT_EQ(bytes.substr(0, 10), "\2\0\0\0\0\0\0\0\0\x80"s);
}

TEST_F(UtIfile, CreateLeavesAHeaderOfZerosUntilUnload)
{
    for (const unsigned char cache : {k_uncached, k_cached}) {
        UT_IFILE file;
        file.setfilecache(cache);
        EXPECT_TRUE(file.create(path_.c_str()));
        EXPECT_EQ(file_bytes(path_), std::string(128, '\0'));
        EXPECT_EQ(file.getversion(), 0);
        EXPECT_EQ(file.getaccess(), k_writing);
        EXPECT_STREQ(file.getfname(), path_.c_str());
        EXPECT_TRUE(file.unload());
        EXPECT_EQ(file.getfname(), nullptr);
    }
}

TEST_F(UtIfile, TheCacheChangesNoByte)
{
    write_three(path_);
    const std::string cached = file_bytes(path_);
    UT_IFILE file;
    file.setfilecache(0);
    file.create(path_.c_str());
    file.setdataversion(3);
    file.setdatarevision(0x8F);
    put(file, "netlist", "module top;\nendmodule\n", 1, 42);
    put(file, "empty", "", -1, INT32_MIN);
    put(file, "every byte", every_byte(), INT32_MAX, 0);
    file.unload();
    EXPECT_EQ(file_bytes(path_), cached);
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(content_of(file, "every byte"), every_byte());
    EXPECT_EQ(content_of(file, "netlist"), "module top;\nendmodule\n");
    EXPECT_TRUE(file.unload());
}

TEST_F(UtIfile, TheCallersBitSixIsDropped)
{
    UT_IFILE file;
    file.create(path_.c_str());
    file.setdatarevision(0xFF);
    EXPECT_EQ(file.getdatarevision(), 0xBF);
    put(file, "a", "b");
    file.unload();
    EXPECT_EQ(file_bytes(path_)[3], '\xBF');
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(file.getrealnumsegs(), 1);
    EXPECT_EQ(file.getdatarevision(), 0xBF);
    file.unload();
}

TEST_F(UtIfile, ASegmentWrittenAnewGoesBehindAllOthers)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "old a", 1, 1);
    put(file, "b", "only b", 2, 2);
    put(file, "a", "new a!", 3, 3);
    EXPECT_EQ(file.getrealnumsegs(), 2);
    file.unload();
    const std::string bytes = file_bytes(path_);
    EXPECT_EQ(bytes.substr(128, 17), "old aonly bnew a!");
    EXPECT_EQ(bytes.substr(6, 4), "\0\0\0\x91"s);  // behind the new a, though b is listed last
    file.load(path_.c_str());
    EXPECT_EQ(listed(file), (std::vector<entry>{{"a", 0, 6, 3, 3}, {"b", 0, 6, 2, 2}}));
    EXPECT_EQ(content_of(file, "a"), "new a!");
    EXPECT_EQ(content_of(file, "b"), "only b");
    file.unload();
}

TEST_F(UtIfile, TheEndOfASegmentPutsItsBytesIntoTheFile)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "content");
    EXPECT_EQ(file_bytes(path_), std::string(128, '\0') + "content");
    put(file, "b", " and more");
    EXPECT_EQ(file_bytes(path_), std::string(128, '\0') + "content and more");
    file.unload();
}

TEST_F(UtIfile, ASegmentThatIsNotEndedHasSizeNothingAndIsWrittenOver)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "first", 1, 1);
    write_text(*file.putdataseg("b", 2, 2), "lost");
    write_text(*file.putdataseg("a", 3, 3), "lost, too");
    put(file, "c", "kept", 4, 4);
    file.unload();
    const std::string bytes = file_bytes(path_);
    const auto written = indexed_model::file::read(bytes);
    EXPECT_EQ(written->entries,
              (std::vector<entry>{{"a", 133, 0, 3, 3}, {"b", 133, 0, 2, 2}, {"c", 133, 4, 4, 4}}));
    EXPECT_EQ(written->content(written->entries[2]), "kept");
}

TEST_F(UtIfile, WhatIsWrittenBehindTheEndOfASegmentBelongsToNone)
{
    UT_IFILE file;
    file.create(path_.c_str());
    UT_STREAM* const stream = file.putdataseg("a", 0, 0);
    write_text(*stream, "content");
    EXPECT_TRUE(file.enddataseg());
    write_text(*stream, "stray");
    EXPECT_TRUE(file.enddataseg());
    put(file, "b", "next");
    file.unload();
    const auto written = indexed_model::file::read(file_bytes(path_));
    EXPECT_EQ(written->entries, (std::vector<entry>{{"a", 128, 7, 0, 0}, {"b", 140, 4, 0, 0}}));
}

TEST_F(UtIfile, AnEntryWithoutASegmentHasSizeNothing)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "content");
    const UT_IFILEDIR* const made = file.newfdir("later", 5, 6);
    EXPECT_STREQ(made->getname(), "later");
    EXPECT_EQ(made->gettype(), 5);
    EXPECT_EQ(made->getdata(), 6);
    EXPECT_EQ(file.newfdir(nullptr, 0, 0), nullptr);
    put(file, "b", "more");
    file.unload();
    file.load(path_.c_str());
    EXPECT_EQ(listed(file),
              (std::vector<entry>{{"a", 0, 7, 0, 0}, {"later", 0, 0, 5, 6}, {"b", 0, 4, 0, 0}}));
    EXPECT_EQ(content_of(file, "later"), "");
    file.unload();
}

TEST_F(UtIfile, NumbersHaveThirtyTwoBits)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "", 0x80000000L, 0xFFFFFFFFL);
    put(file, "b", "", 0x1'0000'0007L, -1);
    file.unload();
    file.load(path_.c_str());
    EXPECT_EQ(listed(file), (std::vector<entry>{{"a", 0, 0, INT32_MIN, -1}, {"b", 0, 0, 7, -1}}));
    EXPECT_NE(file.getdataseg("a", 0x80000000L, nullptr), nullptr);
    EXPECT_NE(file.getdataseg("a", INT32_MIN, nullptr), nullptr);
    EXPECT_NE(file.getdataseg("b", 7, nullptr), nullptr);
    EXPECT_EQ(file.getdataseg("b", 8, nullptr), nullptr);
    file.unload();
}

// ---- many segments

TEST_F(UtIfile, The65537thSegmentSetsBitSix)
{
    UT_IFILE file;
    file.create(path_.c_str());
    file.setdatarevision(0x01);
    std::vector<std::string> names;
    for (int i = 0; i < 65'535; ++i) names.push_back(std::to_string(i));
    for (const std::string& name : names) file.newfdir(name.c_str(), 0, 0);
    EXPECT_EQ(file.getnumsegs(), 65'535);
    file.newfdir("one more", 0, 0);
    EXPECT_EQ(file.getnumsegs(), 0);
    EXPECT_EQ(file.getrealnumsegs(), 65'536);
    file.newfdir("two more", 7, 8);
    EXPECT_EQ(file.getnumsegs(), 1);
    EXPECT_EQ(file.getdatarevision(), 0x01);
    EXPECT_TRUE(file.unload());
    EXPECT_EQ(reports_of(capture_, "Datarevision: 0x41, Segs no: 65537  written: 1"), 1);
    EXPECT_EQ(capture_.posts().size(), 1U);
    EXPECT_EQ(file_bytes(path_).substr(0, 6), "\2\0\0\x41\0\1"s);
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(file.getrealnumsegs(), 65'537);
    EXPECT_EQ(file.getnumsegs(), 1);
    EXPECT_EQ(file.getdatarevision(), 0x01);
    UT_IFILESEGINFO info;
    EXPECT_TRUE(file.getseginfo("two more", info));
    EXPECT_EQ(info.getdata(), 8);
    EXPECT_TRUE(file.unload());
}

TEST_F(UtIfile, TheFirstCountThatTheFieldDoesNotHoldSetsTheBit)
{
    struct limit {
        int segments;
        std::string header;
        int told;
    };
    for (const limit& at : {limit{65'535, "\2\0\0\0\xFF\xFF"s, 0}, limit{65'536, "\2\0\0\x40\0\0"s, 1}}) {
        UT_IFILE file;
        file.create(path_.c_str());
        for (int i = 0; i < at.segments; ++i) file.newfdir("", 0, 0);
        EXPECT_TRUE(file.unload());
        EXPECT_EQ(capture_.posts().size(), static_cast<std::size_t>(at.told));
        EXPECT_EQ(reports_of(capture_, "Datarevision: 0x40, Segs no: 65536  written: 0"), at.told);
        EXPECT_EQ(file_bytes(path_).substr(0, 6), at.header);
        file.load(path_.c_str());
        EXPECT_EQ(file.getrealnumsegs(), at.segments);
        EXPECT_EQ(file.getnumsegs(), at.segments % 65'536);
        file.unload();
    }
}

TEST_F(UtIfile, TooManySegmentsBreakTheContract)
{
    lenient_file file;
    file.create(path_.c_str());
    for (int i = 0; i < 131'069; ++i) file.newfdir("", 0, 0);
    EXPECT_TRUE(file.unload());
    EXPECT_EQ(reports_of(capture_, "Segs no: 131069  written: 65533"), 1);
    file.load(path_.c_str());
    EXPECT_EQ(file.getrealnumsegs(), 131'069);
    file.unload();

    file.create(path_.c_str());
    for (int i = 0; i < 131'070; ++i) file.newfdir("", 0, 0);
    capture_.clear();
    EXPECT_THROW(file.unload(), int);
    EXPECT_EQ(capture_.last(),
              (post{"common", "0000", "basutifile",
                    "Bad number of segments found\n   numsegs=131070.  Cannot write file " + path_ + "\n"}));
    EXPECT_STREQ(file.getfname(), path_.c_str());
    capture_.use_legacy_flow();
    EXPECT_EQ(capture_.exit_value_of([&] { file.unload(); }), 1);
}

TEST_F(UtIfile, TheFirstBytesOfAFileWithTooManySegmentsAreWrittenAllTheSame)
{
    {
        UT_IFILE file;
        file.create(path_.c_str());
        file.setdataversion(9);
        for (int i = 0; i < 131'070; ++i) file.newfdir("", 0, 0);
        EXPECT_THROW(file.unload(), int);
    }
    EXPECT_EQ(file_bytes(path_), "\2\0\x9"s + std::string(125, '\0'));
    UT_IFILE file;
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(file.getrealnumsegs(), 0);
    EXPECT_TRUE(file.unload());
}

// ---- names

TEST_F(UtIfile, ALongNameIsWrittenWholeAndReadUpTo255Bytes)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, std::string(300, 'x'), "content", 1, 2);
    file.unload();
    const std::string bytes = file_bytes(path_);
    EXPECT_NE(bytes.find(std::string(300, 'x') + '\0'), std::string::npos);
    file.load(path_.c_str());
    const std::vector<entry> seen = listed(file);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].name, std::string(255, 'x'));
    EXPECT_EQ(seen, without_offsets(indexed_model::file::read(bytes)->entries));  // out of step
    file.unload();
}

TEST_F(UtIfile, AsLongANameAsAReaderTakesIsFoundAgain)
{
    const std::string name(255, 'y');
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, name, "content");
    put(file, "next", "one");
    file.unload();
    file.load(path_.c_str());
    EXPECT_EQ(content_of(file, name), "content");
    EXPECT_EQ(content_of(file, "next"), "one");
    file.unload();
}

TEST_F(UtIfile, OfTwoEntriesOfOneNameTheFirstIsFoundAndBothAreListed)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "first", 1);
    put(file, "b", "second", 2);
    file.newfdir("a", 3, 3);
    put(file, "a", "first anew", 4);
    file.unload();
    file.load(path_.c_str());
    EXPECT_EQ(listed(file), (std::vector<entry>{{"a", 0, 10, 4, 0}, {"b", 0, 6, 2, 0}, {"a", 0, 0, 3, 3}}));
    EXPECT_EQ(content_of(file, "a"), "first anew");
    EXPECT_FALSE(content_of(file, "a", 3));
    file.unload();
}

// ---- asking

TEST_F(UtIfile, ASegmentIsGivenForItsTypeOrForAllOnes)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    EXPECT_NE(file.getdataseg("netlist", 1, nullptr), nullptr);
    EXPECT_NE(file.getdataseg("netlist", -1, nullptr), nullptr);
    EXPECT_NE(file.getdataseg("netlist", 0xFFFFFFFFL, nullptr), nullptr);
    EXPECT_EQ(file.getdataseg("netlist", 2, nullptr), nullptr);
    EXPECT_EQ(file.getdataseg("nothing", -1, nullptr), nullptr);
    EXPECT_EQ(file.getdataseg(nullptr, -1, nullptr), nullptr);
    EXPECT_EQ(file.putdataseg("netlist", 1, 1), nullptr);
    EXPECT_EQ(file.getaccess(), k_reading);
    file.unload();
    EXPECT_EQ(file.getdataseg("netlist", -1, nullptr), nullptr);
}

TEST_F(UtIfile, ARefusedTypeLeavesTheInfoAlone)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    UT_IFILESEGINFO info;
    EXPECT_EQ(file.getdataseg("netlist", 9, &info), nullptr);
    EXPECT_STREQ(info.getname(), "");
    EXPECT_NE(file.getdataseg("netlist", 1, &info), nullptr);
    EXPECT_STREQ(info.getname(), "netlist");
    EXPECT_EQ(info.getsize(), 22);
    EXPECT_EQ(info.gettype(), 1);
    EXPECT_EQ(info.getdata(), 42);
    EXPECT_EQ(info.getifileDir(), nullptr);
    info.setdata(7);
    EXPECT_EQ(info.getdata(), 7);
    file.unload();
}

TEST_F(UtIfile, NothingIsReadFromAFileThatIsBeingWritten)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "b");
    EXPECT_EQ(file.getdataseg("a", -1, nullptr), nullptr);
    EXPECT_EQ(file.putdataseg(nullptr, 0, 0), nullptr);
    UT_IFILESEGINFO info;
    EXPECT_TRUE(file.getseginfo("a", info));  // but the entry is there
    EXPECT_EQ(info.getsize(), 1);
    file.unload();
    EXPECT_EQ(file.putdataseg("a", 0, 0), nullptr);
    EXPECT_FALSE(file.getseginfo("a", info));
    EXPECT_EQ(file.getrealnumsegs(), 0);
}

TEST_F(UtIfile, GetseginfoClearsTheNameOfWhatIsNotThere)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    UT_IFILESEGINFO info;
    EXPECT_TRUE(file.getseginfo("every byte", info));
    EXPECT_EQ(info.getsize(), 256);
    EXPECT_EQ(info.gettype(), INT32_MAX);
    EXPECT_FALSE(file.getseginfo("nothing", info));
    EXPECT_STREQ(info.getname(), "");
    EXPECT_EQ(info.getsize(), 256);  // the name alone
    EXPECT_FALSE(file.getseginfo(nullptr, info));
    file.unload();
}

TEST_F(UtIfile, TheWalkStaysAtTheEndUntilReset)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    UT_IFILESEGINFO info;
    for (const char* name : {"netlist", "empty", "every byte"}) {
        EXPECT_TRUE(file.getnextseginfo(info, 1));
        EXPECT_STREQ(info.getname(), name);
        ASSERT_NE(info.getifileDir(), nullptr);
        EXPECT_STREQ(info.getifileDir()->getname(), name);
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(file.getnextseginfo(info, 0));
        EXPECT_STREQ(info.getname(), "");
        EXPECT_STREQ(info.getifileDir()->getname(), "every byte");
    }
    file.resetseginfo();
    EXPECT_TRUE(file.getnextseginfo(info, 0));
    EXPECT_STREQ(info.getname(), "netlist");
    EXPECT_EQ(info.getifileDir(), nullptr);
    file.unload();
}

TEST_F(UtIfile, ARememberedEntryReachesTheSecondOfOneName)
{
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "first", 1);
    file.newfdir("a", 2, 2);
    file.unload();
    file.load(path_.c_str());
    UT_IFILESEGINFO info;
    file.getnextseginfo(info, 1);
    file.getnextseginfo(info, 1);
    EXPECT_NE(file.getdataseg(info.getname(), 2, &info), nullptr);  // the name is the info's own
    EXPECT_STREQ(info.getname(), "a");
    EXPECT_EQ(info.getsize(), 0);
    EXPECT_EQ(file.getdataseg("a", 1, &info), nullptr);
    info.setifileDir(nullptr);
    EXPECT_NE(file.getdataseg("a", 1, &info), nullptr);
    file.unload();
}

TEST_F(UtIfile, ARememberedEntryOfAnotherNameIsPassedOver)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    UT_IFILESEGINFO info;
    file.getnextseginfo(info, 1);
    EXPECT_NE(file.getdataseg("every byte", -1, &info), nullptr);
    EXPECT_EQ(info.getsize(), 256);
    EXPECT_STREQ(info.getifileDir()->getname(), "netlist");
    file.unload();
    const UT_IFILESEGINFO kept(info);  // the entry is gone, and nobody looks at it
    EXPECT_STREQ(kept.getname(), "every byte");
}

TEST_F(UtIfile, AnInfoIsAValue)
{
    write_three(path_);
    UT_IFILE file;
    file.load(path_.c_str());
    UT_IFILESEGINFO one;
    file.getseginfo("netlist", one);
    UT_IFILESEGINFO other(one);
    file.getseginfo("every byte", one);
    EXPECT_STREQ(other.getname(), "netlist");
    EXPECT_EQ(other.getdata(), 42);
    other = one;
    EXPECT_STREQ(other.getname(), "every byte");
    const UT_IFILESEGINFO& self = other;
    other = self;
    EXPECT_STREQ(other.getname(), "every byte");
    EXPECT_EQ(other.getsize(), 256);
    file.getnextseginfo(one, 1);
    const UT_IFILESEGINFO with_entry(one);
    EXPECT_EQ(with_entry.getifileDir(), one.getifileDir());
    other = with_entry;
    EXPECT_NE(other.getifileDir(), nullptr);
    EXPECT_EQ(other.getifileDir(), one.getifileDir());
    other = UT_IFILESEGINFO();
    EXPECT_STREQ(other.getname(), "");
    file.unload();
}

TEST_F(UtIfile, SegmentsAreReadInAnyOrder)
{
    std::mt19937 random(43'001);
    std::map<std::string, std::string> contents;
    UT_IFILE file;
    file.create(path_.c_str());
    for (int i = 0; i < 60; ++i) {
        const std::string name = "segment " + std::to_string(i);
        contents[name] = varied_text(random() % (i % 3 == 0 ? 12'000 : 60));
        put(file, name, contents[name]);
    }
    file.unload();
    file.load(path_.c_str());
    for (int i = 0; i < 2'000; ++i) {
        const std::string name = "segment " + std::to_string(random() % 60);
        UT_STREAM* const stream = file.getdataseg(name.c_str(), -1, nullptr);
        ASSERT_NE(stream, nullptr);
        const auto part = contents[name].size() / (1 + random() % 3);
        ASSERT_EQ(read_text(*stream, static_cast<int>(part)), contents[name].substr(0, part)) << name;
        if (random() % 2 == 0) file.enddataseg();
    }
    file.unload();
}

// ---- the cache

TEST_F(UtIfile, WithoutTheCacheOneSegmentIsInWorkAtATime)
{
    UT_IFILE file;
    file.setfilecache(0);
    file.create(path_.c_str());
    EXPECT_NE(file.putdataseg("a", 0, 0), nullptr);
    EXPECT_EQ(file.putdataseg("b", 0, 0), nullptr);
    EXPECT_EQ(file.getrealnumsegs(), 1);
    EXPECT_TRUE(file.enddataseg());
    EXPECT_FALSE(file.enddataseg());
    EXPECT_NE(file.putdataseg("b", 0, 0), nullptr);
    EXPECT_TRUE(file.enddataseg());
    file.unload();
    file.load(path_.c_str());
    EXPECT_NE(file.getdataseg("a", -1, nullptr), nullptr);
    EXPECT_EQ(file.getdataseg("b", -1, nullptr), nullptr);
    EXPECT_TRUE(file.enddataseg());
    EXPECT_NE(file.getdataseg("b", -1, nullptr), nullptr);
    file.unload();
}

int open_streams;

/// Counts the descriptors that are open while it lives.
class stream_count {
public:
    stream_count()
    {
        open_streams = 0;
        operations_.table.open = [](const char* name, unsigned flags) {
            const int descriptor = ketriope::platform::native().open(name, flags);
            if (descriptor >= 0) ++open_streams;
            return descriptor;
        };
        operations_.table.close = [](int descriptor) {
            --open_streams;
            return ketriope::platform::native().close(descriptor);
        };
    }

private:
    scoped_operations operations_;
};

TEST_F(UtIfile, ManyFilesWithoutTheCacheNeedNoStreams)
{
    std::vector<std::unique_ptr<UT_IFILE>> files;
    for (int i = 0; i < 50; ++i) {
        files.push_back(std::make_unique<UT_IFILE>());
        files.back()->setfilecache(0);
        ASSERT_TRUE(files.back()->create((path_ + std::to_string(i)).c_str()));
        put(*files.back(), "a", std::to_string(i));
    }
    for (auto& each : files) EXPECT_TRUE(each->unload());
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(files[static_cast<std::size_t>(i)]->load((path_ + std::to_string(i)).c_str()));
        EXPECT_EQ(content_of(*files[static_cast<std::size_t>(i)], "a"), std::to_string(i));
    }
    for (auto& each : files) EXPECT_TRUE(each->unload());
}

TEST_F(UtIfile, EveryStreamIsClosedAgain)
{
    const stream_count counted;
    for (const unsigned char cache : {k_uncached, k_cached}) {
        lenient_file file;
        file.setfilecache(cache);
        file.create(path_.c_str());
        EXPECT_EQ(open_streams, cache);
        put(file, "a", "b");
        file.unload();
        EXPECT_EQ(open_streams, 0);
        file.load(path_.c_str());
        EXPECT_EQ(open_streams, cache);
        content_of(file, "a");
        EXPECT_EQ(open_streams, cache);
        file.unload();
        EXPECT_EQ(open_streams, 0);
        write_file(path_, "\3\0\0\0"s);
        EXPECT_FALSE(file.load(path_.c_str()));  // of another version
        EXPECT_EQ(open_streams, cache);
        EXPECT_TRUE(file.unload());
        EXPECT_EQ(open_streams, 0);
        {
            UT_IFILE forgotten;
            forgotten.setfilecache(cache);
            forgotten.create(path_.c_str());
            forgotten.putdataseg("a", 0, 0);
            EXPECT_EQ(open_streams, 1);
        }
        EXPECT_EQ(open_streams, 0);
    }
}

// ---- reports

TEST_F(UtIfile, NothingToUnloadIsMessage1104)
{
    UT_IFILE file;
    EXPECT_FALSE(file.unload());
    EXPECT_EQ(capture_.last(), (post{"framework", "1104", "", ""}));
    EXPECT_TRUE(shows_on_the_legacy_route("ERROR - No file is open to unload.", [&] { file.unload(); }));
}

TEST_F(UtIfile, AFileStillHeldIsMessage1411Or1410)
{
    const std::string other = temp_ / "other.idx";
    UT_IFILE file;
    file.create(path_.c_str());
    EXPECT_TRUE(file.create(other.c_str()));
    EXPECT_EQ(capture_.last(), (post{"framework", "1411", "", ""}));
    EXPECT_TRUE(file.unload());
    EXPECT_TRUE(file.load(other.c_str()));
    EXPECT_TRUE(file.load(file.getfname()));  // the name may be its own
    EXPECT_EQ(capture_.last(), (post{"framework", "1410", "", ""}));
    EXPECT_STREQ(file.getfname(), other.c_str());
    EXPECT_EQ(capture_.posts().size(), 2U);
    EXPECT_TRUE(shows_on_the_legacy_route("WARNING - File \"" + other + "\" was not closed before file \"" +
                                              other + "\" was opened",
                                          [&] { file.load(other.c_str()); }));
    EXPECT_TRUE(shows_on_the_legacy_route("WARNING - File \"" + other + "\" was not closed before file \"" +
                                              path_ + "\" was created",
                                          [&] { file.create(path_.c_str()); }));
    file.unload();
}

TEST_F(UtIfile, TheListOfAFileStillHeldStays)
{
    const std::string other = temp_ / "other.idx";
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "of the first file", 1, 2);
    file.create(other.c_str());
    EXPECT_EQ(file.getrealnumsegs(), 1);
    UT_IFILESEGINFO info;
    EXPECT_FALSE(file.getseginfo("a", info));  // by name it is forgotten
    put(file, "a", "of the second", 3, 4);
    EXPECT_EQ(file.getrealnumsegs(), 2);
    EXPECT_TRUE(file.unload());
    ut_file.close_all();  // the first file's stream is the manager's now
    EXPECT_EQ(file_bytes(path_).substr(0, 145), std::string(128, '\0') + "of the first file");
    const auto written = indexed_model::file::read(file_bytes(other));
    EXPECT_EQ(written->entries, (std::vector<entry>{{"a", 128, 17, 1, 2}, {"a", 128, 13, 3, 4}}));
    file.load(other.c_str());
    EXPECT_EQ(file.getrealnumsegs(), 2);
    file.unload();
}

TEST_F(UtIfile, TheDirectoryStandsBehindTheLastEntryOfAFileStillHeld)
{
    const std::string other = temp_ / "other.idx";
    UT_IFILE file;
    file.create(path_.c_str());
    put(file, "a", "of the first file", 1, 2);
    file.putdataseg("b", 3, 4);
    file.create(other.c_str());
    EXPECT_TRUE(file.enddataseg());  // not of "b", whose file is no more in hand
    UT_IFILESEGINFO info;
    while (file.getnextseginfo(info, 0)) {}  // the walk is at its end when the directory is written
    EXPECT_TRUE(file.unload());
    ut_file.close_all();
    const auto written = indexed_model::file::read(file_bytes(other));
    EXPECT_EQ(written->entries, (std::vector<entry>{{"a", 128, 17, 1, 2}, {"b", 145, 0, 3, 4}}));
    EXPECT_EQ(file_bytes(other).substr(6, 4), "\0\0\0\x91"s);
}

TEST_F(UtIfile, AFileThatCannotBeOpenedBreaksTheContract)
{
    const std::string nowhere = temp_ / "no/such/file";
    UT_IFILE file;
    EXPECT_THROW(file.load(nowhere.c_str()), int);
    EXPECT_EQ(capture_.last(),
              (post{"common", "0000", "basutifile", "Unable to open file \"" + nowhere + "\" for input."}));
    EXPECT_STREQ(file.getfname(), nowhere.c_str());
    EXPECT_TRUE(file.unload());
    EXPECT_THROW(file.create(nowhere.c_str()), int);
    EXPECT_EQ(capture_.last(),
              (post{"common", "0000", "basutifile", "Unable to open file \"" + nowhere + "\" for output."}));
    EXPECT_THROW(file.create(nullptr), int);  // and 1411, as the name is held
    EXPECT_EQ(capture_.posts().end()[-2], (post{"framework", "1411", "", ""}));
    EXPECT_STREQ(file.getfname(), "");
    EXPECT_TRUE(file.create(path_.c_str()));
    EXPECT_TRUE(file.unload());
    capture_.use_legacy_flow();
    EXPECT_EQ(capture_.exit_value_of([&] { file.load(nowhere.c_str()); }), 3);
    EXPECT_EQ(capture_.exit_value_of([&] { file.create(nowhere.c_str()); }), 4);
    EXPECT_EQ(capture_.exit_value_of([&] { file.load(temp_.path().c_str()); }), 3);  // a directory
}

TEST_F(UtIfile, OfAnUnknownModeTheErrorNamesNoPurpose)
{
    UT_IFILE file;
    file.create(path_.c_str());
    file.unload();
    // The mode stands in front of the next free offset, 128.
    auto* const bytes = reinterpret_cast<unsigned char*>(&file);
    const std::int32_t fields[2] = {2, 128};
    std::size_t at = 0;
    while (std::memcmp(bytes + at, fields, sizeof fields) != 0) {
        at += sizeof(std::int32_t);
        ASSERT_LT(at + sizeof fields, sizeof file);
    }
    const std::int32_t unknown = 7;
    std::memcpy(bytes + at, &unknown, sizeof unknown);
    EXPECT_THROW(file.openerror(), int);
    EXPECT_EQ(capture_.last().text, "Unable to open file \"\".");
    capture_.use_legacy_flow();
    EXPECT_EQ(capture_.exit_value_of([&] { file.openerror(); }), 5);
}

TEST_F(UtIfile, ASoftenedOpenErrorGivesFalse)
{
    lenient_file file;
    EXPECT_FALSE(file.load((temp_ / "nothing").c_str()));
    EXPECT_FALSE(file.create((temp_ / "no/such/file").c_str()));
    EXPECT_EQ(file.open_errors, 2);
    EXPECT_EQ(capture_.last(), (post{"framework", "1411", "", ""}));
    EXPECT_EQ(file.getaccess(), k_writing);
}

TEST_F(UtIfile, WhereTheRunGoesOnBehindAReportTheResultIsFalse)
{
    write_file(path_, "\x07");
    const std::string nowhere = temp_ / "no/such/file";
    capture_.use_legacy_flow();
    surviving_manager manager;
    UT_IFILE file;
    EXPECT_FALSE(file.load(path_.c_str()));
    EXPECT_TRUE(file.unload());
    EXPECT_FALSE(file.load(nowhere.c_str()));
    EXPECT_TRUE(file.unload());
    EXPECT_FALSE(file.create(nowhere.c_str()));
    EXPECT_EQ(manager.exit_values, (std::vector<int>{2, 3, 4}));
    stdout_of([&] { stderr_of([&] { EXPECT_TRUE(file.create(path_.c_str())); }); });
    for (int i = 0; i < 131'070; ++i) file.newfdir("", 0, 0);
    stdout_of([&] { EXPECT_FALSE(file.unload()); });
    EXPECT_EQ(manager.exit_values.back(), 1);
    EXPECT_STREQ(file.getfname(), path_.c_str());
    EXPECT_EQ(file_bytes(path_), std::string(128, '\0'));
    stdout_of([&] { stderr_of([&] { EXPECT_TRUE(file.create(path_.c_str())); }); });
}

TEST_F(UtIfile, AnotherVersionBreaksTheContract)
{
    write_file(path_, "\x07\0\0\0\0\0\0\0\0\x80"s);
    UT_IFILE file;
    EXPECT_THROW(file.load(path_.c_str()), int);
    const std::string text =
        "Incompatible versions. Version 7 does not match current version 2 for file \"" + path_ + "\".";
    EXPECT_EQ(capture_.last(), (post{"common", "0000", "basutifile", text}));
    EXPECT_STREQ(file.getfname(), path_.c_str());
    EXPECT_EQ(file.getaccess(), k_reading);
    EXPECT_TRUE(file.unload());
    capture_.use_legacy_flow();
    EXPECT_EQ(capture_.exit_value_of([&] { file.load(path_.c_str()); }), 2);
}

TEST_F(UtIfile, ASoftenedVersionMismatchGivesFalse)
{
    write_file(path_, "\0"s);
    lenient_file file;
    EXPECT_FALSE(file.load(path_.c_str()));
    EXPECT_EQ(file.versions, std::vector<int>{0});
    EXPECT_EQ(file.getrealnumsegs(), 0);
    EXPECT_TRUE(file.unload());
    EXPECT_TRUE(capture_.posts().empty());
}

TEST_F(UtIfile, AnotherRevisionIsMessage1412AndTheLoadGoesOn)
{
    std::string bytes = file_bytes(k_golden + "indexed_three.idx");
    bytes[1] = 5;
    write_file(path_, bytes);
    UT_IFILE file;
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(capture_.last(), (post{"framework", "1412", "", ""}));
    EXPECT_EQ(file.getrevision(), 5);
    EXPECT_EQ(content_of(file, "every byte"), every_byte());
    file.unload();
    EXPECT_TRUE(shows_on_the_legacy_route(
        "WARNING - Revision 5 does not match current revision 0 for file \"" + path_ + "\".",
        [&] { file.load(path_.c_str()); }));
    file.unload();
    lenient_file lenient;
    EXPECT_TRUE(lenient.load(path_.c_str()));
    EXPECT_EQ(lenient.revisions, std::vector<int>{5});
    lenient.unload();
}

TEST_F(UtIfile, DestroyingAFileBeingWrittenIsMessage1409)
{
    {
        UT_IFILE file;
        file.create(path_.c_str());
        put(file, "a", "b");
    }
    EXPECT_EQ(capture_.last(), (post{"framework", "1409", "", ""}));
    EXPECT_EQ(file_bytes(path_), std::string(128, '\0') + "b");  // no directory, no version
    capture_.clear();
    write_three(path_);
    {
        UT_IFILE file;
        file.load(path_.c_str());
    }
    EXPECT_TRUE(capture_.posts().empty());
    EXPECT_TRUE(
        shows_on_the_legacy_route("WARNING - UT_IFILE destroyed but file \"" + path_ + "\" not closed.", [&] {
            UT_IFILE file;
            file.create(path_.c_str());
        }));
}

/// Raises instead of posting.
class raising_database final : public ketriope::message_database {
public:
    raising_database() : before_(ketriope::install_database(this)) {}
    ~raising_database() { ketriope::install_database(before_); }
    raising_database(const raising_database&) = delete;
    raising_database& operator=(const raising_database&) = delete;

    void post_contract(const char*, int, const char*) override { throw -1; }
    void post_numbered(const char*, const char*, ut_va_list) override { throw -1; }
    void post_text(const char*, const char*) override { throw -1; }
    void post_finished(int, const char*) override { throw -1; }
    void show_types(int, bool) override {}

private:
    ketriope::message_database* before_;
};

TEST_F(UtIfile, AReportThatRaisesLeavesTheDestructorWhenAllIsLetGo)
{
    const raising_database database;
    const stream_count counted;
    const auto forget_one = [this] {
        UT_IFILE file;
        file.create(path_.c_str());
    };
    EXPECT_THROW(forget_one(), int);
    EXPECT_EQ(open_streams, 0);
    const auto fail_with_one = [this] {
        UT_IFILE file;
        file.create(path_.c_str());
        throw std::string("another failure is on its way");
    };
    EXPECT_THROW(fail_with_one(), std::string);
    EXPECT_EQ(open_streams, 0);
}

TEST_F(UtIfile, AFileThatCannotBeOpenedAgainEndsTheProcess)
{
    UT_IFILE file;
    file.setfilecache(0);
    file.create(path_.c_str());
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(capture_.exit_value_of([&] { file.putdataseg("a", 0, 0); }), 1);
    EXPECT_EQ(capture_.last(), (post{"framework", "1105", "", ""}));
    EXPECT_EQ(capture_.exit_value_of([&] { file.unload(); }), 1);
    EXPECT_EQ(capture_.last(), (post{"framework", "1105", "", ""}));
    std::filesystem::remove(path_);
    EXPECT_TRUE(file.unload());

    write_three(path_);
    file.load(path_.c_str());
    std::filesystem::remove(path_);
    EXPECT_EQ(capture_.exit_value_of([&] { file.getdataseg("netlist", -1, nullptr); }), 1);
    EXPECT_EQ(capture_.last(), (post{"framework", "1105", "", ""}));
    int value = 0;
    EXPECT_TRUE(shows_on_the_legacy_route("ERROR - Failed to open file " + path_, [&] {
        value = capture_.exit_value_of([&] { file.getdataseg("netlist", -1, nullptr); });
    }));
    EXPECT_EQ(value, 1);
    file.unload();
}

TEST_F(UtIfile, UnderForcedCompressionNoFileCanBeRead)
{
    {
        const scoped_environment forced("QVS_COMP_MAND", "yes");
        UT_IFILE file;
        EXPECT_TRUE(file.create(path_.c_str()));
        capture_.clear();
        put(file, "a", "content");
        EXPECT_GT(reports_of(capture_, "ERROR - UT_STREAM: Invalid start offset."), 0);  // of the seek
        EXPECT_TRUE(file.unload());
    }
    lenient_file file;
    EXPECT_FALSE(file.load(path_.c_str()) && content_of(file, "a") == "content");
    file.unload();
}

// ---- the list of entries

TEST_F(UtIfile, TheListKnowsItsEntriesByName)
{
    UT_IFILE file;
    file.create(path_.c_str());
    void* const b = file.newfdir("b", 0, 0);
    void* const a = file.newfdir("a", 0, 0);
    void* const high = file.newfdir("\xE9", 0, 0);
    struct open_list : LIST_UT_IFILEDIR {
        void freedata(void*) override {}  // they belong to the file
        ~open_list() override { UT_LIST::freelist(); }
    } list;
    for (void* each : {high, b, a}) list.append(each);
    std::string key = "b";
    EXPECT_EQ(list.find(key.data()), b);
    key = "c";
    EXPECT_EQ(list.find(key.data()), nullptr);
    EXPECT_EQ(list.find(nullptr), nullptr);
    list.sort();
    EXPECT_EQ(list.getnext(), a);
    EXPECT_EQ(list.getnext(), b);
    EXPECT_EQ(list.getnext(), high);  // by unsigned bytes
    capture_.clear();
    list.printlist(0);
    ASSERT_EQ(capture_.posts().size(), 3U);
    EXPECT_EQ(capture_.posts()[0].text, "a\n");
    file.unload();
}

// ---- copies and memory

TEST_F(UtIfile, ACopySharesEverything)
{
    auto* const source = new (std::malloc(sizeof(UT_IFILE))) UT_IFILE;
    source->create(path_.c_str());
    put(*source, "a", "b");
    {
        UT_IFILE copy(*source);
        EXPECT_EQ(copy.getfname(), source->getfname());
        EXPECT_TRUE(copy.unload());
    }
    // The source is never destroyed; its map alone is its own.
    static auto& kept = *new std::vector<UT_IFILE*>;
    kept.push_back(source);
    EXPECT_EQ(indexed_model::file::read(file_bytes(path_))->entries.size(), 1U);
}

TEST_F(UtIfile, EveryAllocationMayFailOnce)
{
    write_three(path_);
    const std::string other = temp_ / "other.idx";
    for (long n = 0;; ++n) {
        lenient_file file;
        bool hit = false;
        bool failed = false;
        {
            const allocation_faults faults(n, 1);
            try {
                UT_IFILESEGINFO info;
                file.load(path_.c_str());
                file.getnextseginfo(info, 1);
                file.getdataseg("every byte", -1, &info);
                const UT_IFILESEGINFO copy(info);
                file.unload();
                file.create(other.c_str());
                file.putdataseg("a", 1, 2);
                file.enddataseg();
                file.newfdir("b", 3, 4);
                file.unload();
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            hit = faults.hit();
        }
        if (file.getfname() != nullptr) file.unload();
        if (!hit) {
            EXPECT_FALSE(failed);
            break;
        }
    }
}

TEST_F(UtIfile, AnEntryThatCannotBeMadeIsNowhere)
{
    UT_IFILE file;
    file.create(path_.c_str());
    for (long n = 0;; ++n) {
        bool hit = false;
        {
            const allocation_faults faults(n, 1);
            try {
                file.newfdir("a name that is too long for the string itself", 0, 0);
            } catch (const std::bad_alloc&) {
            }
            hit = faults.hit();
        }
        UT_IFILESEGINFO info;
        EXPECT_EQ(file.getrealnumsegs(), hit ? 0 : 1);
        EXPECT_EQ(file.getseginfo("a name that is too long for the string itself", info), hit ? 0 : 1);
        if (!hit) break;
    }
    file.unload();
}

// ---- full disks

long writes_left;

TEST_F(UtIfile, AFullDiskIsToldByTheManagerWhicheverWriteMeetsIt)
{
    write_three(path_);
    const std::string whole = file_bytes(path_);
    for (const unsigned char cache : {k_uncached, k_cached}) {
        bool complete = false;
        for (long allowed = 0; !complete; ++allowed) {
            {
                writes_left = allowed;
                scoped_operations operations;
                operations.table.write = [](int descriptor, const void* from, std::size_t count) {
                    if (--writes_left >= 0)
                        return ketriope::platform::native().write(descriptor, from, count);
                    errno = ENOSPC;
                    return std::int64_t{-1};
                };
                ut_file.clearerror();
                UT_IFILE file;
                file.setfilecache(cache);
                EXPECT_TRUE(file.create(path_.c_str()));
                file.setdataversion(3);
                file.setdatarevision(0x8F);
                for (const char* name : {"netlist", "empty", "every byte"}) {
                    UT_STREAM* const stream = file.putdataseg(name, 1, 2);
                    ASSERT_NE(stream, nullptr);
                    write_text(*stream, std::string_view(name) == "empty" ? "" : varied_text(9'000));
                    file.enddataseg();
                }
                EXPECT_TRUE(file.unload());
                complete = writes_left >= 0;
            }
            EXPECT_EQ(ut_file.geterror(), complete ? 0 : ENOSPC) << allowed;
            lenient_file file;
            if (file.load(path_.c_str())) listed(file);
            file.unload();
            ASSERT_LT(allowed, 100);
        }
    }
    ut_file.clearerror();
}

// ---- damaged files

/// Loads the bytes as a file, lists it and reads its segments, and compares with what the model says.
void expect_as_model(const std::string& path, const std::string& bytes, const std::string& what)
{
    std::filesystem::remove(path);  // a disk is slow to cut what it has just written
    write_file(path, bytes);
    const auto expected = indexed_model::file::read(bytes);
    lenient_file file;
    ASSERT_EQ(file.load(path.c_str()) != 0, expected.has_value()) << what;
    if (expected) {
        ASSERT_EQ(listed(file), without_offsets(expected->entries)) << what;
        ASSERT_EQ(file.getdatarevision(), expected->data_revision) << what;
        UT_IFILESEGINFO info;
        file.resetseginfo();
        for (const entry& each : expected->entries) {
            file.getnextseginfo(info, 1);
            UT_STREAM* const stream = file.getdataseg(each.name.c_str(), -1, &info);
            ASSERT_NE(stream, nullptr) << what;
            const int most = std::min(each.size, 100'000);
            ASSERT_EQ(read_text(*stream, std::max(most, 0)), expected->content(each)) << what;
            if (each.offset < -1) {
                ASSERT_EQ(stream->geterror(), EINVAL) << what;
            }
        }
    }
    file.unload();
}

TEST_F(UtIfile, AFileCutAtAnyByteIsReadAsFarAsItGoes)
{
    for (const char* name : {"indexed_three.idx", "indexed_names.idx"}) {
        const std::string whole = file_bytes(k_golden + name);
        for (std::size_t length = 0; length <= whole.size(); ++length)
            expect_as_model(path_, whole.substr(0, length), name + (" cut at " + std::to_string(length)));
    }
}

TEST_F(UtIfile, AFileWithAnyByteFlippedIsReadAsItStands)
{
    const std::string whole = file_bytes(k_golden + "indexed_three.idx");
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const unsigned flip : {0x01U, 0x40U, 0x80U, 0xFFU}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ flip);
            expect_as_model(path_, damaged, "byte " + std::to_string(at) + " with " + std::to_string(flip));
        }
    }
}

std::string with_bytes(std::string whole, std::size_t at, std::string_view bytes)
{
    return whole.replace(at, bytes.size(), bytes);
}

TEST_F(UtIfile, ForgedNumbersAreReadAsTheyStand)
{
    const std::string whole = file_bytes(k_golden + "indexed_three.idx");
    const std::size_t first_name = whole.rfind("netlist");
    const std::size_t first_numbers = first_name + 8;
    for (const std::string_view number :
         {"\xFF\xFF\xFF\xFF"sv, "\x80\0\0\0"sv, "\x7F\xFF\xFF\xFF"sv, "\0\0\0\0"sv, "\0\0\1\xDF"sv}) {
        const std::string shown = testing::PrintToString(number);
        expect_as_model(path_, with_bytes(whole, 6, number), "directory at " + shown);
        expect_as_model(path_, with_bytes(whole, first_numbers, number), "segment at " + shown);
        expect_as_model(path_, with_bytes(whole, first_numbers + 4, number), "segment of " + shown);
    }
    expect_as_model(path_, with_bytes(whole, first_name, "neutral"), "another name");
    expect_as_model(path_, with_bytes(whole, first_name, "every\0.."sv), "a shorter name");
    expect_as_model(path_, whole.substr(0, first_name) + std::string(600, 'n'), "a name without end");
    expect_as_model(path_, whole.substr(0, first_name) + std::string(256, 'n'), "a name without end, 256");
    expect_as_model(path_, whole.substr(0, first_name) + std::string(255, 'n'), "a name without end, 255");
}

TEST_F(UtIfile, ACountBeyondTheFileGivesEmptyEntries)
{
    std::string bytes(200, '\0');
    bytes[0] = 2;
    bytes.replace(3, 7, "\x40\xFF\xFD\0\0\0\xC8"sv);  // 131069 entries behind the end
    write_file(path_, bytes);
    UT_IFILE file;
    EXPECT_TRUE(file.load(path_.c_str()));
    EXPECT_EQ(file.getrealnumsegs(), 131'069);
    UT_IFILESEGINFO info;
    EXPECT_TRUE(file.getseginfo("", info));
    EXPECT_EQ(info.getsize(), 0);
    EXPECT_TRUE(file.unload());
}

// ---- random contents

TEST_F(UtIfile, TenThousandRandomContentsComeBack)
{
    std::mt19937 random(43'002);
    const std::string noise = varied_text(40'000);
    for (int i = 0; i < 10'000; ++i) {
        indexed_model::writer expected;
        const unsigned char cache = random() % 8 != 0;
        const auto data_version = static_cast<unsigned char>(random());
        const auto data_revision = static_cast<unsigned char>(random());
        {
            UT_IFILE file;
            file.setfilecache(cache);
            ASSERT_TRUE(file.create(path_.c_str()));
            for (auto segments = random() % 6; segments > 0; --segments) {
                const std::string name = varied_text(random() % 4) + std::to_string(random() % 5);
                const auto type = static_cast<std::int32_t>(random());
                const auto data = static_cast<std::int32_t>(random());
                const std::string_view content =
                    std::string_view(noise).substr(random() % 20'000, random() % (i % 50 == 0 ? 20'000 : 90));
                expected.put(name, type, data, content);
                put(file, name, content, type, data);
            }
            file.setdataversion(data_version);
            file.setdatarevision(data_revision);
            ASSERT_TRUE(file.unload());
        }
        const std::string bytes = file_bytes(path_);
        ASSERT_EQ(bytes, expected.finished(data_version, data_revision)) << i;
        UT_IFILE file;
        file.setfilecache(cache);
        ASSERT_TRUE(file.load(path_.c_str()));
        ASSERT_EQ(listed(file), without_offsets(expected.entries)) << i;
        for (const entry& each : expected.entries)
            ASSERT_EQ(
                content_of(file, each.name, each.type),
                bytes.substr(static_cast<std::size_t>(each.offset), static_cast<std::size_t>(each.size)));
        file.unload();
    }
}

}  // namespace
