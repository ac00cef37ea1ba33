// tests/basuthmatrix_test.cpp
#include "basuthmatrix.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"

namespace {

/// All counters of a matrix of `size` things; those of a pair stand under the larger number first.
std::vector<std::vector<int>> counters(const UT_HMATRIX& matrix, int size)
{
    std::vector<std::vector<int>> all(static_cast<std::size_t>(size));
    for (int high = 0; high < size; ++high)
        for (int low = 0; low < high; ++low)
            all[static_cast<std::size_t>(high)].push_back(matrix.get(high, low));
    return all;
}

TEST(UtHmatrix, HoldsItsFieldsInTheirOrder)
{
    struct fields {
        std::int32_t size;
        const signed char* cells;
    };
    static_assert(sizeof(UT_HMATRIX) == sizeof(fields));
    UT_HMATRIX matrix(4);
    signed char number = 0;
    for (const auto& [i, j] :
         std::vector<std::pair<int, int>>{{0, 1}, {0, 2}, {1, 2}, {0, 3}, {1, 3}, {2, 3}})
        matrix.set(i, j, ++number);
    fields seen{};
    std::memcpy(&seen, static_cast<const void*>(&matrix), sizeof seen);
    EXPECT_EQ(seen.size, 4);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(seen.cells[i], i + 1);
}

TEST(UtHmatrix, StartsWithAllCountersAtZero)
{
    const UT_HMATRIX matrix(4);
    EXPECT_EQ(counters(matrix, 4), (std::vector<std::vector<int>>{{}, {0}, {0, 0}, {0, 0, 0}}));
}

TEST(UtHmatrix, BothOrdersOfAPairAreOneCell)
{
    UT_HMATRIX matrix(6);
    EXPECT_EQ(matrix.inc(2, 5), 0);
    EXPECT_EQ(matrix.get(5, 2), 1);
    EXPECT_EQ(matrix.inc(5, 2), 1);
    EXPECT_EQ(matrix.dec(2, 5), 2);
    EXPECT_EQ(matrix.get(2, 5), 1);
    matrix.set(5, 2, -7);
    EXPECT_EQ(matrix.get(2, 5), -7);
}

TEST(UtHmatrix, EveryPairHasACellOfItsOwn)
{
    constexpr int k_size = 16;  // 120 cells, so that a signed byte tells them apart
    UT_HMATRIX matrix(k_size);
    signed char number = 0;
    for (int i = 0; i < k_size; ++i)
        for (int j = 0; j < i; ++j) matrix.set(i, j, ++number);
    number = 0;
    for (int i = 0; i < k_size; ++i)
        for (int j = 0; j < i; ++j) EXPECT_EQ(matrix.get(j, i), ++number);
}

TEST(UtHmatrix, CountersWrap)
{
    UT_HMATRIX matrix(2);
    matrix.set(0, 1, 127);
    EXPECT_EQ(matrix.inc(0, 1), 127);
    EXPECT_EQ(matrix.get(0, 1), -128);
    EXPECT_EQ(matrix.dec(0, 1), -128);
    EXPECT_EQ(matrix.get(0, 1), 127);
}

TEST(UtHmatrix, TheDiagonalIsTheFirstCellOfTheNextRow)
{
    UT_HMATRIX matrix(4);
    matrix.set(2, 2, 9);
    EXPECT_EQ(matrix.get(3, 0), 9);
    matrix.inc(0, 0);
    EXPECT_EQ(matrix.get(1, 0), 1);
    matrix.set(3, 3, 5);  // of no row
    EXPECT_EQ(counters(matrix, 4), (std::vector<std::vector<int>>{{}, {1}, {0, 0}, {9, 0, 0}}));
}

TEST(UtHmatrix, IndexesOutsideReadZeroAndStoreNothing)
{
    UT_HMATRIX matrix(3);
    for (const auto& [i, j] : std::vector<std::pair<int, int>>{{-1, 0},
                                                               {0, -1},
                                                               {3, 0},
                                                               {0, 3},
                                                               {3, 3},
                                                               {-1, -1},
                                                               {2'147'483'647, 1},
                                                               {-2'147'483'647 - 1, 2}}) {
        matrix.set(i, j, 1);
        EXPECT_EQ(matrix.inc(i, j), 0);
        EXPECT_EQ(matrix.dec(i, j), 0);
        EXPECT_EQ(matrix.get(i, j), 0);
    }
    EXPECT_EQ(counters(matrix, 3), (std::vector<std::vector<int>>{{}, {0}, {0, 0}}));
}

TEST(UtHmatrix, BothFormsOfClearSetAllToZero)
{
    UT_HMATRIX matrix(3);
    for (int round = 0; round < 2; ++round) {
        matrix.set(1, 0, 1);
        matrix.set(2, 1, 2);
        if (round == 0)
            matrix.clear();
        else
            matrix.clear(2L);  // the argument is no row
        EXPECT_EQ(counters(matrix, 3), (std::vector<std::vector<int>>{{}, {0}, {0, 0}}));
    }
}

TEST(UtHmatrix, SmallOnesHaveNoCells)
{
    UT_HMATRIX matrices[] = {UT_HMATRIX(1), UT_HMATRIX(0), UT_HMATRIX(-5),
                             UT_HMATRIX(std::numeric_limits<int>::min()), UT_HMATRIX()};
    for (UT_HMATRIX& matrix : matrices) {
        matrix.clear();
        matrix.clear(1L);
        EXPECT_EQ(matrix.get(0, 1), 0);
        EXPECT_EQ(matrix.inc(1, 0), 0);
        EXPECT_EQ(matrix.get(1, 0), 0);
    }
}

TEST(UtHmatrix, AnAssignedOneSharesTheCells)
{
    UT_HMATRIX matrix(3);
    alignas(UT_HMATRIX) std::byte memory[sizeof(UT_HMATRIX)];
    auto& other = *new (memory) UT_HMATRIX;  // never destroyed: the cells are freed once
    other = matrix;
    other.inc(1, 2);
    EXPECT_EQ(matrix.get(1, 2), 1);
    EXPECT_EQ(other.get(2, 1), 1);
}

TEST(UtHmatrix, AgreesWithAModelOverAHundredThousandSteps)
{
    constexpr int k_size = 9;
    std::mt19937 random(3'309);
    UT_HMATRIX matrix(k_size);
    std::array<std::array<int, k_size>, k_size> model{};  // both cells of a pair
    for (int step = 0; step < 100'000; ++step) {
        const auto i = static_cast<std::size_t>(random() % k_size);
        const auto j = static_cast<std::size_t>((i + 1 + random() % (k_size - 1)) % k_size);
        const int row = static_cast<int>(i), column = static_cast<int>(j);
        int value = model[i][j];
        switch (random() % 8) {
        case 0:
            matrix.set(row, column, static_cast<signed char>(value = static_cast<int>(random() % 256) - 128));
            break;
        case 1:
        case 2:
        case 3: ASSERT_EQ(matrix.inc(row, column), value++) << step; break;
        case 4:
        case 5:
        case 6: ASSERT_EQ(matrix.dec(row, column), value--) << step; break;
        default: ASSERT_EQ(matrix.get(row, column), value) << step; break;
        }
        model[i][j] = model[j][i] = value > 127 ? -128 : value < -128 ? 127 : value;
        if (step % 5'000 != 0) continue;
        matrix.clear();
        model = {};
    }
}

TEST(UtHmatrix, ExhaustedMemoryThrowsWhereNoHandlerEndsTheProcess)
{
    const std::new_handler before = std::set_new_handler(nullptr);
    bool thrown = false;
    {
        const allocation_faults faults(0, 1);
        try {
            const UT_HMATRIX matrix(5);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }
    std::set_new_handler(before);
    EXPECT_TRUE(thrown);
}

}  // namespace
