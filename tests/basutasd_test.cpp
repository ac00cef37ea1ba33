// tests/basutasd_test.cpp
#include "basutasd.h"

#include <climits>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "basutstream.h"
#include "full_disk.h"
#include "message_capture.h"
#include "scoped_environment.h"
#include "stream_tools.h"
#include "temp_directory.h"
#include "virtual_slots.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Asd : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(ut_asdman, nullptr); }

    temp_directory directory;
    std::string base = directory / "run";
};

/// A dump that keeps what is written, and whether it has gone.
class watched : public UT_ASD {
public:
    watched(const char* base, bool& gone) : UT_ASD(base), gone_(gone) {}
    ~watched() noexcept(false) override { gone_ = true; }
    using UT_ASD::init;
    using UT_ASD::write_line;

private:
    bool& gone_;
};

void write_all(UT_ASD& dump)
{
    dump.comment("first run");
    dump.data("effort", 5L);
    dump.data("offset", long{INT_MIN});
    dump.data("part", "zv-100");
    dump.data("free text");
    dump.data("");
    dump.section("Two");
    dump.comment("100%");
    dump.data("key", "a\nb");
}

TEST_F(Asd, WritesTheGoldenFile)
{
    UT_ASD dump(base.c_str(), "par");
    write_all(dump);
    EXPECT_EQ(file_bytes(base + "_par.asd"), file_bytes(std::string(TEST_SOURCE_DIR) + "/golden/dump.asd"));
}

TEST_F(Asd, EveryLineIsInTheFileWhenItsCallReturns)
{
    UT_ASD dump(base.c_str());
    const std::string name = base + ".asd";
    EXPECT_EQ(file_bytes(name), "");  // no tool, and so no section
    dump.section("A");
    EXPECT_EQ(file_bytes(name), "[A]\r\n");
    dump.comment("c");
    EXPECT_EQ(file_bytes(name), "[A]\r\n; c\r\n");
    dump.data("k", 1L);
    EXPECT_EQ(file_bytes(name), "[A]\r\n; c\r\nk = 1;\r\n");
}

TEST_F(Asd, OverwritesWhatWasThere)
{
    write_file(base + "_t.asd", std::string(1'000, 'x'));
    const UT_ASD dump(base.c_str(), "t");
    EXPECT_EQ(file_bytes(base + "_t.asd"), "[Daideix T]\r\n");
}

TEST_F(Asd, TheToolIsInUpperCaseInTheSectionAloneAndLettersAreThoseOfAscii)
{
    const UT_ASD dump(base.c_str(), "my_Tool\xe4");
    EXPECT_EQ(file_bytes(base + "_my_Tool\xe4.asd"), "[Daideix MY_TOOL\xe4]\r\n");
}

TEST_F(Asd, NumbersAreCutTo32BitsAndNullTextsAreEmpty)
{
    UT_ASD dump(base.c_str());
    dump.data("k", 0x1'8000'0000L);
    dump.data("k", 0xffff'ffffL);
    dump.data("k", static_cast<const char*>(nullptr));
    dump.data(nullptr);
    dump.section(nullptr);
    dump.comment(nullptr);
    EXPECT_EQ(file_bytes(base + ".asd"), "k = -2147483648;\r\nk = -1;\r\nk = ;\r\n\r\n[]\r\n; \r\n");
}

TEST_F(Asd, FinishDestroysTheDumpThatIsTheCurrentOne)
{
    bool gone = false;
    auto* const dump = new watched(base.c_str(), gone);
    ut_asdman = dump;
    dump->data("text");
    dump->finish();
    EXPECT_TRUE(gone);
    EXPECT_EQ(ut_asdman, nullptr);
    EXPECT_EQ(file_bytes(base + ".asd"), "text\r\n");
}

TEST_F(Asd, FinishOfAnotherDumpClosesBothAndTheOperationsBehindItAreSilent)
{
    bool gone = false, kept = false;
    ut_asdman = new watched((base + "1").c_str(), gone);
    watched dump((base + "2").c_str(), kept);
    dump.data("text");
    dump.finish();
    EXPECT_TRUE(gone);
    EXPECT_FALSE(kept);
    write_all(dump);
    dump.write_line("line\n");
    dump.finish();
    EXPECT_EQ(file_bytes(base + "2.asd"), "text\r\n");
}

TEST_F(Asd, TheDestructorClosesTheFileAndLeavesTheCurrentDump)
{
    const auto next_descriptor = [] { return int{descriptor("/dev/null", k_to_read)}; };
    bool gone = false;
    ut_asdman = new watched(base.c_str(), gone);
    const int before = next_descriptor();
    {
        const UT_ASD dump((base + "2").c_str());
        EXPECT_NE(next_descriptor(), before);
    }
    EXPECT_EQ(next_descriptor(), before);
    EXPECT_FALSE(gone);
    ut_asdman->finish();
    EXPECT_TRUE(gone);
}

TEST_F(Asd, ADumpThatIsBegunAnewClosesItsFirstFile)
{
    bool gone = false;
    {
        watched dump(base.c_str(), gone);
        dump.data("first");
        dump.init(base.c_str(), "t");
        dump.data("second");
    }
    EXPECT_EQ(free_slots(base + ".asd"), 30);
    EXPECT_EQ(file_bytes(base + ".asd"), "first\r\n");
    EXPECT_EQ(file_bytes(base + "_t.asd"), "[Daideix T]\r\nsecond\r\n");
}

struct failing {
    const char* number;
    const char* text;
    void (*make)(const std::string& base);
};

const failing k_failing[] = {
    {"1401", "Cannot open writable file '%/no/such.asd'.\n",
     [](const std::string& base) { UT_ASD((base + "/no/such").c_str()).data("silent"); }},
    {"1402", "Cannot open writable file '%/no/such_par.asd'.\n",
     [](const std::string& base) {
         write_all(*std::make_unique<UT_ASD>((base + "/no/such").c_str(), "par"));
     }},
};

TEST_F(Asd, AFileThatCannotBeOpenedIsAWarningOnBothRoutes)
{
    for (const failing& row : k_failing) {
        message_capture capture;
        row.make(directory.path());
        EXPECT_THAT(capture.posts(), ElementsAre(post{"framework", row.number, "", ""}));
        capture.use_legacy_flow();
        std::string shown, on_output;
        on_output = stdout_of([&] { shown = stderr_of([&] { row.make(directory.path()); }); });
        shown = on_output + shown;
        std::string text = row.text;
        text.replace(text.find('%'), 1, directory.path());
        EXPECT_EQ(shown.find("WARNING - "), 0u) << shown;
        for (std::string* words : {&shown, &text})  // a long name is folded
            std::erase_if(*words, [](char c) { return c == ' ' || c == '\n'; });
        EXPECT_NE(shown.find(text), std::string::npos) << shown;
    }
    ut_file.clearerror();
}

TEST_F(Asd, ADumpThatCannotBeOpenedTakesTheCurrentOneWithIt)
{
    for (const failing& row : k_failing) {
        const message_capture capture;
        bool gone = false;
        ut_asdman = new watched(base.c_str(), gone);
        row.make(directory.path());
        EXPECT_TRUE(gone);
        EXPECT_EQ(ut_asdman, nullptr);
    }
    ut_file.clearerror();
}

TEST_F(Asd, NullNamesCountAsEmpty)
{
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    {
        const UT_ASD dump(nullptr);
        const UT_ASD other(nullptr, nullptr);
    }
    EXPECT_EQ(file_bytes(".asd"), "");
    EXPECT_EQ(file_bytes("_.asd"), "[Daideix ]\r\n");
    std::filesystem::current_path(before);
}

TEST_F(Asd, UnderMandatoryCompressionTheDumpIsACompressedFile)
{
    const scoped_environment mandatory("QVS_COMP_MAND", "yes");
    const scoped_environment algorithm("QVS_COMP_ALG", nullptr);
    const message_capture capture;
    {
        UT_ASD dump(base.c_str());
        dump.data("text");
    }
    EXPECT_EQ(file_bytes(base + ".asd").substr(0, 7), "\x5B\x5B\xA6\xA6\xC4\xC4\x72");
    UT_STREAM* const in = ut_file.open((base + ".asd").c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(read_text(*in, 100), "text\r\n");
    ut_file.close(in);
}

TEST_F(Asd, AFailedAllocationLeavesNothingOpen)
{
    for (long n = 0;; ++n) {
        const message_capture capture;
        bool hit = false;
        {
            allocation_faults faults(n, 1);
            try {
                UT_ASD dump(base.c_str(), "par");
                write_all(dump);
            } catch (const std::bad_alloc&) {
            }
            hit = faults.hit();
        }
        if (!hit) break;
    }
    EXPECT_EQ(free_slots(base + "_par.asd"), 30);
}

TEST_F(Asd, AFullDiskEndsNothing)
{
    UT_ASD dump(base.c_str());
    dump.data("before");
    {
        const full_disk disk;
        dump.data("lost");
    }
    dump.data("behind");
    EXPECT_EQ(file_bytes(base + ".asd"), "before\r\nbehind\r\n");
}

TEST_F(Asd, TheOperationsMayBeReplaced)
{
    struct counting : UT_ASD {
        using UT_ASD::UT_ASD;
        void section(const char* name) override { calls.push_back(name); }
        void comment(const char* text) override { calls.push_back(text); }
        void data(const char* text) override { calls.push_back(text); }
        void data(const char* key, long) override { calls.push_back(key); }
        void data(const char* key, const char*) override { calls.push_back(key); }
        void finish() override { calls.push_back("finish"); }
        std::vector<std::string> calls;
    } dump(base.c_str());
    UT_ASD& face = dump;
    write_all(face);
    face.finish();
    EXPECT_THAT(dump.calls, ElementsAre("first run", "effort", "offset", "part", "free text", "", "Two",
                                        "100%", "key", "finish"));
    EXPECT_EQ(file_bytes(base + ".asd"), "");
}

#if defined(TEST_KNOWS_SLOTS)
TEST_F(Asd, TheOperationsHaveTheirSlots)
{
    EXPECT_EQ(slot_of(&UT_ASD::finish), 0u);
    EXPECT_EQ(slot_of(&UT_ASD::section), 1u);
    EXPECT_EQ(slot_of(&UT_ASD::comment), 2u);
    EXPECT_EQ(slot_of(static_cast<void (UT_ASD::*)(const char*)>(&UT_ASD::data)), 3u);
    EXPECT_EQ(slot_of(static_cast<void (UT_ASD::*)(const char*, long)>(&UT_ASD::data)), 4u);
    EXPECT_EQ(slot_of(static_cast<void (UT_ASD::*)(const char*, const char*)>(&UT_ASD::data)), 5u);
}
#endif

TEST_F(Asd, ACopySharesTheStream)
{
    // One of the two is never destroyed.
    alignas(UT_ASD) std::byte memory[sizeof(UT_ASD)];
    UT_ASD dump(base.c_str());
    auto* const copy = new (memory) UT_ASD(dump);
    copy->data("by the copy");
    dump.data("by the source");
    EXPECT_EQ(file_bytes(base + ".asd"), "by the copy\r\nby the source\r\n");
}

}  // namespace
