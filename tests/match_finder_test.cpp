// tests/match_finder_test.cpp
#include "match_finder.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "stream_tools.h"

namespace {

using ketriope::byte_match;
using ketriope::content_view;
using ketriope::match_finder;

/// The stated walk over buckets of positions.
class bucket_model {
public:
    void push(std::size_t at) { buckets_[hash(at)].push_back(at); }
    std::pair<long, long> longest(std::size_t at) const
    {
        std::pair<long, long> best{-1, 0};
        if (at + 3 > content.size()) return best;
        const auto bucket = buckets_.find(hash(at));
        if (bucket == buckets_.end()) return best;
        const std::size_t limit = std::min<std::size_t>(321, content.size() - at);
        for (auto candidate = bucket->second.rbegin(); candidate != bucket->second.rend(); ++candidate) {
            if (at - *candidate >= 32'768) break;
            std::size_t count = 0;
            while (count < limit && content[*candidate + count] == content[at + count]) ++count;
            if (static_cast<long>(count) <= best.second) continue;
            best = {static_cast<long>(*candidate), static_cast<long>(count)};
            if (count >= 7 || count == limit) break;
        }
        return best;
    }

    std::string content;

private:
    std::size_t hash(std::size_t at) const
    {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(content[at + i]); };
        return static_cast<std::size_t>((byte(0) << 4 ^ byte(1)) << 4 ^ byte(2));
    }

    std::map<std::size_t, std::vector<std::size_t>> buckets_;
};

/// Enters and asks as a packer does, in blocks of random sizes, and compares with the walk.
void compare_with_walk(std::mt19937& random, unsigned letters, std::uint32_t base)
{
    match_finder finder(base);
    bucket_model model;
    std::string content;
    std::map<long, int> lengths;
    for (int block = 0; block < 60; ++block) {
        const std::size_t begin = content.size();
        const std::size_t size = random() % 30;
        for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(random() % letters * 17);
        std::string memory = content + std::string(8, '?');
        const content_view view{bytes_of(memory), static_cast<ut_long>(content.size())};
        finder.grow(view, static_cast<ut_long>(begin));
        model.content = content;
        for (std::size_t at = begin; at < content.size(); ++at) {
            const auto expected = model.longest(at);
            const byte_match any = finder.find_any(view, static_cast<ut_long>(at));
            ASSERT_EQ((std::pair<long, long>{any.position, any.length}), expected) << block << ' ' << at;
            const byte_match found = finder.find(view, static_cast<ut_long>(at));
            ASSERT_EQ(found.length, expected.second >= 3 ? expected.second : 0);
            ++lengths[std::min(expected.second, 8L)];
            if (at + 2 < content.size()) {
                finder.enter(view, static_cast<ut_long>(at));
                model.push(at);
            }
        }
    }
    if (letters == 2) {
        EXPECT_GT(lengths[8], 0);
    }
}

TEST(MatchFinder, FindsWhatAWalkOverTheBucketsFinds)
{
    std::mt19937 random(6);
    for (int run = 0; run < 40; ++run)
        for (const unsigned letters : {2u, 4u, 15u, 256u}) compare_with_walk(random, letters, 32'768);
}

TEST(MatchFinder, LooksBack32767BytesAndNoFurther)
{
    std::mt19937 random(9);
    const std::string word = "a word that comes again";
    for (const std::size_t distance : {32'766u, 32'767u, 32'768u, 32'769u}) {
        std::string memory = word;
        while (memory.size() < distance) memory += static_cast<char>(128 + random() % 128);
        const auto again = static_cast<ut_long>(distance);
        memory += word;
        const auto end = static_cast<ut_long>(memory.size());
        memory += std::string(8, '?');
        const content_view view{bytes_of(memory), end};
        match_finder finder;
        for (ut_long at = 0; at < again; ++at) finder.enter(view, at);
        const byte_match found = finder.find_any(view, again);
        EXPECT_EQ(found.position, distance < 32'768 ? 0 : -1) << distance;
        EXPECT_EQ(found.length, distance < 32'768 ? static_cast<ut_long>(word.size()) : 0) << distance;
    }
}

TEST(MatchFinder, FindsWhatStandsBehindCollisionsHoweverSmallTheBlocks)
{
    std::mt19937 random(10);
    match_finder finder;
    bucket_model model;
    std::string memory;
    int found = 0;
    for (ut_long end = 0; end < 33'000;) {
        const ut_long begin = end;
        const ut_long size = static_cast<ut_long>(1 + random() % 6);
        memory.resize(static_cast<std::size_t>(begin));
        if (begin < 25'000)
            for (ut_long i = 0; i < size; ++i) memory += static_cast<char>(random());
        else  // bytes of the noise before
            memory += memory.substr(random() % 25'000, static_cast<std::size_t>(size));
        end += size;
        model.content = memory;
        memory += std::string(8, '?');
        const content_view view{bytes_of(memory), end};
        finder.grow(view, begin);
        for (ut_long at = begin; at + 2 < end; ++at) {
            const auto expected = model.longest(static_cast<std::size_t>(at));
            const byte_match any = finder.find_any(view, at);
            ASSERT_EQ((std::pair<long, long>{any.position, any.length}), expected) << at;
            found += expected.second >= 4;
            finder.enter(view, at);
            model.push(static_cast<std::size_t>(at));
        }
    }
    EXPECT_GT(found, 1'000);
}

TEST(MatchFinder, IsTheSameWhenItsNumbersAreHigh)
{
    std::mt19937 random(7);
    compare_with_walk(random, 3, (1u << 30) - 100);
}

TEST(MatchFinder, ForgetsNothingWhenItCountsFromALowNumberAgain)
{
    const std::string once = varied_text(200);
    const std::string memory = once + once + std::string(8, '?');
    const content_view view{bytes_of(memory), 400};
    match_finder finder((1u << 30) - 1'000);
    for (ut_long at = 0; at < 200; ++at) finder.enter(view, at);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(finder.find(view, 200).position, 0) << i;
        EXPECT_EQ(finder.find(view, 200).length, 200) << i;
        finder.move_down(400);  // as if as much had been used up
        for (ut_long at = 0; at < 200; ++at) finder.enter(view, at);
    }
}

}  // namespace
