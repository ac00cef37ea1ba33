// tests/basutptrfil_test.cpp
#include "basutptrfil.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "full_disk.h"
#include "message_capture.h"
#include "pointer_model.h"
#include "scoped_environment.h"
#include "stream_tools.h"
#include "temp_directory.h"

namespace {

using testing::ElementsAre;

/// An address of another process.
void* old_address(std::uintptr_t value)
{
    return reinterpret_cast<void*>(value);
}

/// Which places still wait, in the order of the walk.
std::vector<void**> waiting(UT_PTRFIXTABLE& table)
{
    std::vector<void**> places;
    while (void** const place = table.checkptrs()) places.push_back(place);
    return places;
}

class PtrFixTable : public testing::Test {
protected:
    UT_PTRFIXTABLE table;
    std::array<int, 8> objects{};  ///< whose addresses are new ones
};

TEST_F(PtrFixTable, AReferenceThatComesFirstIsPatchedWhenItsTargetIsRegistered)
{
    void* place = old_address(0x100);
    void* another = old_address(0x100);
    table.fixptr(&place);
    table.fixptr(&another);
    EXPECT_EQ(place, old_address(0x100));
    table.registerptr(old_address(0x100), &objects[0]);
    EXPECT_EQ(place, &objects[0]);
    EXPECT_EQ(another, &objects[0]);
    EXPECT_EQ(table.checkptrs(), nullptr);
}

TEST_F(PtrFixTable, AReferenceThatComesLaterIsPatchedAtOnce)
{
    table.registerptr(old_address(0x100), &objects[0]);
    void* place = old_address(0x100);
    table.fixptr(&place);
    EXPECT_EQ(place, &objects[0]);
}

TEST_F(PtrFixTable, TheSameRegistrationTwiceIsHarmless)
{
    table.registerptr(old_address(0x100), &objects[0]);
    table.registerptr(old_address(0x100), &objects[0]);
    void* place = old_address(0x100);
    table.fixptr(&place);
    EXPECT_EQ(place, &objects[0]);
}

TEST_F(PtrFixTable, AnotherNewAddressBreaksTheContractOnBothRoutesAndTheFirstStays)
{
    table.registerptr(old_address(0x100), &objects[0]);
    for (int* const other : {&objects[1], static_cast<int*>(nullptr)}) {
        message_capture capture;
        EXPECT_THROW(table.registerptr(old_address(0x100), other), int);
        EXPECT_EQ(capture.last(), (post{"common", "0000", "basutptrfil", "Pointer already registered."}));
        capture.use_legacy_flow();
        stderr_of([&] {
            EXPECT_EQ(capture.exit_value_of([&] { table.registerptr(old_address(0x100), other); }), 19);
        });
    }
    void* place = old_address(0x100);
    table.fixptr(&place);
    EXPECT_EQ(place, &objects[0]);
}

TEST_F(PtrFixTable, ANullNewAddressLeavesThePlacesWaiting)
{
    void* place = old_address(0x100);
    table.registerptr(old_address(0x100), nullptr);
    table.fixptr(&place);
    table.registerptr(old_address(0x100), nullptr);
    EXPECT_EQ(place, old_address(0x100));
    EXPECT_THAT(waiting(table), ElementsAre(&place));
    table.registerptr(old_address(0x100), &objects[0]);
    EXPECT_EQ(place, &objects[0]);
}

TEST_F(PtrFixTable, NullPointersAndNullPlacesAreLeftAlone)
{
    void* place = nullptr;
    table.fixptr(&place);
    table.fixptr(nullptr);
    table.registerptr(nullptr, &objects[0]);
    EXPECT_EQ(place, nullptr);
    table.fixptr(&place);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(table.checkptrs(), nullptr);
}

TEST_F(PtrFixTable, CheckptrsOnAnEmptyTableGivesNullAgainAndAgain)
{
    for (int i = 0; i < 3; ++i) EXPECT_EQ(table.checkptrs(), nullptr);
}

TEST_F(PtrFixTable, TwoAddressesInOneBucketDoNotDisturbEachOther)
{
    // 0x4000 * 4 apart in the low bits, with nothing carried into the other summands but one.
    const std::uintptr_t first = 0x100;
    const std::uintptr_t high = first + (std::uintptr_t{1} << 40);  // the low 32 bits alone count
    ASSERT_EQ(model_bucket(first), model_bucket(high));
    void* one = old_address(first);
    void* other = old_address(high);
    table.fixptr(&one);
    table.fixptr(&other);
    table.registerptr(old_address(high), &objects[1]);
    EXPECT_EQ(one, old_address(first));
    EXPECT_EQ(other, &objects[1]);
    table.registerptr(old_address(first), &objects[0]);
    EXPECT_EQ(one, &objects[0]);
}

TEST_F(PtrFixTable, TheWalkGoesByBucketsTheYoungestAddressFirstAndPlacesInTheirOrder)
{
    const std::uintptr_t low = 0x4, middle = 0x40, last = 0xfffc;  // buckets 1, 16 and 63 + 16383 - 16384
    ASSERT_EQ(model_bucket(low), 1u);
    ASSERT_EQ(model_bucket(middle), 16u);
    ASSERT_EQ(model_bucket(last), (63u + 16383u) % 16384u);
    const std::uintptr_t young = middle + (std::uintptr_t{1} << 32);
    std::array<void*, 6> places{old_address(last),   old_address(middle), old_address(low),
                                old_address(middle), old_address(young),  old_address(young)};
    for (void*& place : places) table.fixptr(&place);
    EXPECT_THAT(waiting(table),
                ElementsAre(&places[2], &places[4], &places[5], &places[1], &places[3], &places[0]));
    // A finished walk begins anew.
    EXPECT_EQ(table.checkptrs(), &places[2]);
}

TEST_F(PtrFixTable, TheBucketIsASumOfFourPartsOfTheLowHalf)
{
    struct in_bucket {
        std::uintptr_t address;
        std::uint32_t bucket;
    };
    // In the order of the walk; within a bucket the youngest, which is named last, comes first.
    constexpr in_bucket k_walk[] = {{0x1'0000'0000, 0}, {0xec, 59},      {0xffff'fffc, 60}, {0xf4, 61},
                                    {0x3fc, 255},       {1u << 10, 257}, {1u << 18, 257},   {1u << 26, 257},
                                    {0x404, 258},       {0x8000, 8'224}, {0xf000, 15'420},  {0xff00, 16'383}};
    std::vector<void*> places;
    for (const in_bucket& each : k_walk) {
        ASSERT_EQ(model_bucket(each.address), each.bucket);
        places.insert(places.begin(), old_address(each.address));
    }
    for (void*& place : places) table.fixptr(&place);
    for (int walk = 0; walk < 2; ++walk) {
        std::vector<void*> walked;
        for (void** const place : waiting(table)) walked.push_back(*place);
        EXPECT_EQ(walked, std::vector<void*>(places.rbegin(), places.rend()));
    }
}

TEST_F(PtrFixTable, TheWalkGoesOnWhereArraysVanishUnderIt)
{
    std::array<void*, 4> places{old_address(0x40), old_address(0x40), old_address(0x80), old_address(0x80)};
    for (void*& place : places) table.fixptr(&place);
    EXPECT_EQ(table.checkptrs(), &places[0]);
    table.registerptr(old_address(0x40), &objects[0]);
    EXPECT_EQ(table.checkptrs(), &places[2]);
    table.registerptr(old_address(0x80), &objects[1]);
    EXPECT_EQ(table.checkptrs(), nullptr);
}

TEST_F(PtrFixTable, FlushForgetsEverythingAndTheWalkBeginsAnew)
{
    std::array<void*, 3> places{old_address(0x40), old_address(0x40), old_address(0x80)};
    for (void*& place : places) table.fixptr(&place);
    EXPECT_EQ(table.checkptrs(), &places[0]);
    table.flush_fixtable();
    void* in_front = old_address(0x4);
    table.fixptr(&in_front);
    EXPECT_EQ(table.checkptrs(), &in_front);
    table.flush_fixtable();
    EXPECT_EQ(table.checkptrs(), nullptr);
    table.registerptr(old_address(0x40), &objects[0]);
    EXPECT_EQ(places[0], old_address(0x40));
    table.flush_fixtable();
    table.registerptr(old_address(0x40), &objects[1]);  // no contradiction any more
    void* place = old_address(0x40);
    table.fixptr(&place);
    EXPECT_EQ(place, &objects[1]);
}

TEST_F(PtrFixTable, ManyAddressesOfOneBucketAreAllFound)
{
    constexpr std::uintptr_t k_count = 20'000;
    std::vector<void*> places;
    for (std::uintptr_t i = 0; i < k_count; ++i) places.push_back(old_address(0x40 + (i << 32)));
    std::vector<char> targets(k_count);
    for (void*& place : places) table.fixptr(&place);
    for (std::uintptr_t i = 0; i < k_count; ++i)
        table.registerptr(old_address(0x40 + (i << 32)), &targets[i]);
    for (std::uintptr_t i = 0; i < k_count; ++i) ASSERT_EQ(places[i], &targets[i]);
    EXPECT_EQ(table.checkptrs(), nullptr);
}

TEST_F(PtrFixTable, DoesWhatItsModelDoesInAHundredThousandRandomOperations)
{
    std::mt19937 random(44);
    pointer_model model;
    const auto next = [&random](std::size_t count) { return random() % count; };
    for (int i = 0; i < 100'000; ++i) ASSERT_TRUE(pointer_step(table, model, next)) << "operation " << i;
}

TEST_F(PtrFixTable, AFailedAllocationLeavesWhatIsKnown)
{
    for (long n = 0;; ++n) {
        UT_PTRFIXTABLE fresh;
        std::array<void*, 20> places{};
        for (std::size_t i = 0; i < places.size(); ++i) places[i] = old_address(0x40 * (1 + i / 2));
        const message_capture capture;
        bool hit = false;
        std::size_t fixed = 0;
        {
            allocation_faults faults(n, 1);
            try {
                for (; fixed < places.size(); ++fixed) fresh.fixptr(&places[fixed]);
            } catch (const std::bad_alloc&) {
            } catch (int) {  // the arrays report it
            }
            hit = faults.hit();
        }
        if (!hit) break;
        for (std::uintptr_t i = 0; i < places.size() / 2; ++i)
            fresh.registerptr(old_address(0x40 * (1 + i)), &objects[0]);
        for (std::size_t i = 0; i < fixed; ++i) ASSERT_EQ(places[i], &objects[0]) << n << ' ' << i;
        EXPECT_EQ(fresh.checkptrs(), nullptr);
    }
}

/// What is registered with a copy resolves what its source was asked for.
template <class Table, class... Arguments>
void expect_shared_chains(Arguments... arguments)
{
    // One of the two is never destroyed.
    alignas(Table) std::byte memory[sizeof(Table)];
    Table table(arguments...);
    auto* const copy = new (memory) Table(table);
    int object = 0;
    void* place = old_address(0x40);
    table.fixptr(&place);
    copy->registerptr(old_address(0x40), &object);
    EXPECT_EQ(place, &object);
    *copy = table;
}

TEST(PtrFixTableCopies, ACopySharesTheChains)
{
    expect_shared_chains<UT_PTRFIXTABLE>();
}

// ---- files

struct node {
    std::int32_t number = 0;
    node* next = nullptr;
};

/// The reader that a tool would write for a file of nodes; gives the places that never were resolved.
std::vector<void**> read_nodes(UT_PTRFILE& in, std::deque<node>& nodes)
{
    for (;;) {
        void* own = nullptr;
        if (in.readptr(own) != 8) break;
        node& read = nodes.emplace_back();
        in.registerptr(own, &read);
        in.read(read.number);
        void* next = nullptr;
        in.readptr(next);
        read.next = static_cast<node*>(next);
        in.fixptr(reinterpret_cast<void**>(&read.next));
    }
    std::vector<void**> dangling;
    while (void** const place = in.checkptrs()) dangling.push_back(place);
    return dangling;
}

class PtrFile : public testing::Test {
protected:
    std::string written(const auto& work)
    {
        UT_PTRFILE out(UT_ACCESS_WRITE);
        EXPECT_EQ(ut_file.open(path.c_str(), &out, 1), &out);
        work(out);
        ut_file.close(&out);
        return file_bytes(path);
    }
    void read_back(const std::string& bytes, const auto& work)
    {
        std::filesystem::remove(path);
        write_file(path, bytes);
        UT_PTRFILE in(UT_ACCESS_READ);
        ASSERT_EQ(ut_file.open(path.c_str(), &in, 0), &in);
        work(in);
        ut_file.close(&in);
    }

    temp_directory directory;
    std::string path = directory / "graph";
};

const std::string k_golden = std::string(TEST_SOURCE_DIR) + "/golden/graph.ptr";

TEST_F(PtrFile, HasABufferOf4096AndTheGlobalManagerAsOwner)
{
    const UT_PTRFILE stream(UT_ACCESS_WRITE);
    EXPECT_EQ(dumped(stream)["Length of the transparent buffer"], 4096);
    EXPECT_EQ(stream.getaccess(), UT_ACCESS_WRITE);
    auto opened_one = std::make_unique<UT_PTRFILE>(UT_ACCESS_WRITE);
    ASSERT_NE(ut_file.open(path.c_str(), opened_one.get(), 1), nullptr);
    UT_STREAM* const address = opened_one.get();
    opened_one.reset();  // it leaves the manager's table, so that nothing is there to close
    EXPECT_EQ(ut_file.close(address), 0);
}

TEST_F(PtrFile, ACopySharesTheTable)
{
    expect_shared_chains<UT_PTRFILE>(UT_ACCESS_READ);
}

TEST_F(PtrFile, APointerIsEightBytesMostSignificantFirst)
{
    EXPECT_EQ(written([](UT_PTRFILE& out) {
                  EXPECT_EQ(out.writeptr(old_address(0x0102030405060708)), 8);
                  EXPECT_EQ(out.writeptr(nullptr), 8);
              }),
              std::string("\1\2\3\4\5\6\7\10\0\0\0\0\0\0\0\0", 16));
}

TEST_F(PtrFile, WritesTheGoldenFile)
{
    EXPECT_EQ(written([](UT_PTRFILE& out) {
                  const auto row = [&out](std::uintptr_t own, int number, std::uintptr_t next) {
                      out.writeptr(old_address(own));
                      out.write(number);
                      out.writeptr(old_address(next));
                  };
                  row(0x00007ffe12345670, 1, 0x1000);
                  row(0x1000, 2, 0xffffffff00001000);
                  row(0xffffffff00001000, 3, 0x00007ffe12345670);
                  row(0x20, 4, 0);
              }),
              file_bytes(k_golden));
}

TEST_F(PtrFile, ReadsTheGoldenFile)
{
    read_back(file_bytes(k_golden), [](UT_PTRFILE& in) {
        std::deque<node> nodes;
        EXPECT_THAT(read_nodes(in, nodes), ElementsAre());
        ASSERT_EQ(nodes.size(), 4u);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(nodes[static_cast<std::size_t>(i)].number, i + 1);
            EXPECT_EQ(nodes[static_cast<std::size_t>(i)].next, &nodes[static_cast<std::size_t>((i + 1) % 3)]);
        }
        EXPECT_EQ(nodes[3].next, nullptr);
        in.flush_fixtable();
        EXPECT_EQ(in.checkptrs(), nullptr);
    });
}

TEST_F(PtrFile, AShortPointerKeepsItsMostSignificantBytesAndTheRestIsZero)
{
    read_back("\1\2\3", [](UT_PTRFILE& in) {
        void* pointer = &in;
        EXPECT_EQ(in.readptr(pointer), 3);
        EXPECT_EQ(pointer, old_address(0x0102030000000000));
        pointer = &in;
        EXPECT_EQ(in.readptr(pointer), 0);
        EXPECT_EQ(pointer, nullptr);
    });
}

TEST_F(PtrFile, AFileCutAnywhereGivesTheWholeObjectsAndNamesWhatDangles)
{
    const std::string whole = file_bytes(k_golden);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        read_back(whole.substr(0, length), [&](UT_PTRFILE& in) {
            std::deque<node> nodes;
            const auto dangling = read_nodes(in, nodes);
            EXPECT_EQ(nodes.size(), (length + 12) / 20) << length;
            EXPECT_LE(dangling.size(), nodes.size()) << length;
            EXPECT_EQ(in.geterror(), 0);
        });
    }
}

TEST_F(PtrFile, AnyByteMayBeDifferentAndNoPlaceIsLost)
{
    const std::string whole = file_bytes(k_golden);
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string bytes = whole;
        bytes[at] = static_cast<char>(~bytes[at]);
        read_back(bytes, [&](UT_PTRFILE& in) {
            std::deque<node> nodes;
            const auto dangling = read_nodes(in, nodes);
            ASSERT_EQ(nodes.size(), 4u) << at;
            // Each place has an object of this process, or null, or is told to dangle.
            for (node& read : nodes) {
                const bool known = std::ranges::any_of(nodes, [&](node& each) { return &each == read.next; });
                const bool dangles = std::ranges::count(dangling, reinterpret_cast<void**>(&read.next)) == 1;
                EXPECT_EQ(known || read.next == nullptr, !dangles) << at;
            }
        });
    }
}

TEST_F(PtrFile, ATableThatNeverResolvesIsWalkedAndForgotten)
{
    read_back(std::string(8'000, '\x5a'), [](UT_PTRFILE& in) {
        std::vector<void*> places(1'000);
        for (void*& place : places) {
            ASSERT_EQ(in.readptr(place), 8);
            in.fixptr(&place);
        }
        for (int walk = 0; walk < 2; ++walk) {
            for (void*& place : places) ASSERT_EQ(in.checkptrs(), &place);
            ASSERT_EQ(in.checkptrs(), nullptr);
        }
        in.flush_fixtable();
        EXPECT_EQ(in.checkptrs(), nullptr);
    });
}

TEST_F(PtrFile, RandomGraphsComeBackInEveryForm)
{
    std::mt19937 random(7);
    const char* const algorithms[] = {nullptr, "GCA", "GCB"};
    for (int round = 0; round < 60; ++round) {
        const scoped_environment mandatory("QVS_COMP_MAND", round % 3 == 0 ? nullptr : "yes");
        const scoped_environment algorithm("QVS_COMP_ALG", algorithms[round % 3]);
        const message_capture capture;  // of the lines that tell of the compression
        std::vector<node> nodes(random() % 3'000);
        for (node& each : nodes) {
            each.number = static_cast<std::int32_t>(random());
            if (random() % 8 != 0) each.next = &nodes[random() % nodes.size()];
        }
        const std::string bytes = written([&](UT_PTRFILE& out) {
            for (node& each : nodes) {
                out.writeptr(&each);
                out.write(each.number);
                out.writeptr(each.next);
            }
        });
        read_back(bytes, [&](UT_PTRFILE& in) {
            std::deque<node> read;
            EXPECT_THAT(read_nodes(in, read), ElementsAre());
            ASSERT_EQ(read.size(), nodes.size());
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                ASSERT_EQ(read[i].number, nodes[i].number);
                const node* const expected = nodes[i].next;
                ASSERT_EQ(read[i].next, expected == nullptr
                                            ? nullptr
                                            : &read[static_cast<std::size_t>(expected - nodes.data())]);
            }
        });
    }
}

TEST_F(PtrFile, PackedDataIsReportedAndItsVersionBytesAreLeft)
{
    write_file(path, "\x5A\x5A\xA5\xA5\xC3\xC3\x71"
                     "11 packed");
    const message_capture capture;
    UT_PTRFILE in(UT_ACCESS_READ);
    ASSERT_EQ(ut_file.open(path.c_str(), &in, 0), &in);
    EXPECT_EQ(reports_of(capture, "Illegal mixing file modes"), 1);
    EXPECT_EQ(dumped(in)["Length of the transparent buffer"], 16'384);
    EXPECT_EQ(read_text(in, 3), "11 ");
    ut_file.close(&in);
}

TEST_F(PtrFile, AFullDiskShowsInTheStream)
{
    for (int allowed = 0; allowed < 3; ++allowed) {
        const full_disk disk(allowed);
        UT_PTRFILE out(UT_ACCESS_WRITE);
        ASSERT_NE(ut_file.open(path.c_str(), &out, 1), nullptr);
        for (int i = 0; i < 3 * 4096 / 8; ++i) out.writeptr(&out);
        EXPECT_EQ(out.geterror(), ENOSPC) << allowed;
        ut_file.clearerror();
        ut_file.close(&out);
        EXPECT_EQ(ut_file.geterror(), ENOSPC);
        ut_file.clearerror();
        EXPECT_EQ(file_bytes(path).size(), static_cast<std::size_t>(allowed) * 4096);
    }
}

}  // namespace
