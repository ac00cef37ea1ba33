// tests/basuthuff_test.cpp
#include "basuthuff.h"

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "allocation_faults.h"
#include "basutpakio.h"
#include "memory_device.h"
#include "message_capture.h"
#include "msgman.h"
#include "stream_tools.h"

namespace {

using namespace std::string_literals;

/// The code of a word, read off the tree from the leaf up.
std::string code_of(const UTHUF_NODE* root, unsigned long word)
{
    std::string code;
    const UTHUF_NODE* leaf = nullptr;
    const std::function<void(const UTHUF_NODE*)> find = [&](const UTHUF_NODE* node) {
        if (node->is_leaf()) {
            if (node->word == word) leaf = node;
            return;
        }
        find(node->left);
        find(node->right);
    };
    if (root != nullptr) find(root);
    for (const UTHUF_NODE* node = leaf; node != nullptr && node->parent != nullptr; node = node->parent)
        code.insert(code.begin(), node == node->parent->right ? '1' : '0');
    return code;
}

std::vector<std::string> codes_of(const UTHUF_TREE& tree, unsigned long words)
{
    std::vector<std::string> codes;
    for (unsigned long word = 0; word < words; ++word) codes.push_back(code_of(tree.root(), word));
    return codes;
}

/// What a tree writes for these words.
template <class Tree>
std::string written(long words, const std::function<void(Tree&)>& work)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        Tree tree(words, &bits, 0);
        work(tree);
    }
    return device.stored;
}

void expect_consistent(const UTHUF_NODE* node)
{
    if (node->is_leaf()) return;
    EXPECT_EQ(node->weight, node->left->weight + node->right->weight);
    for (const UTHUF_NODE* child : {node->left, node->right}) {
        EXPECT_EQ(child->parent, node);
        EXPECT_EQ(child->depth, node->depth + 1);
        expect_consistent(child);
    }
}

// ---- the shape

TEST(UthufTree, TheFirstTwoWordsStandWithTheLaterOneLeftAndTheThirdGoesRight)
{
    UTHUF_TREE tree(3, nullptr, 0);
    EXPECT_EQ(codes_of(tree, 3), (std::vector<std::string>{"10", "0", "11"}));
    EXPECT_EQ(tree.root()->weight, 3);
    EXPECT_EQ(tree.root()->depth, 0);
    EXPECT_EQ(tree.root()->parent, nullptr);
    expect_consistent(tree.root());
}

TEST(UthufTree, HasTheShapesOfTheGoldenList)
{
    std::ifstream list(TEST_SOURCE_DIR "/golden/packed_shapes.txt");
    int cases = 0;
    for (unsigned long words = 0; list >> words; ++cases) {
        UTHUF_TREE tree(static_cast<long>(words), nullptr, 0);
        for (unsigned long word = 0; word < words; ++word) {
            long weight = 0;
            list >> weight;
            tree.setprobability(word, weight);
            EXPECT_EQ(tree.getprobability(word), weight);
        }
        tree.rebuild();
        std::vector<std::string> expected(words);
        for (std::string& code : expected) list >> code;
        if (words == 1) expected = {""};
        EXPECT_EQ(codes_of(tree, words), expected) << cases;
        expect_consistent(tree.root());
    }
    EXPECT_EQ(cases, 20);
}

TEST(UthufTree, AWeightChangesTheShapeNotBeforeTheRebuild)
{
    UTHUF_TREE tree(4, nullptr, 0);
    const std::vector<std::string> before = codes_of(tree, 4);
    for (unsigned long word = 0; word < 4; ++word) tree.setprobability(word, 8 >> word);
    EXPECT_EQ(codes_of(tree, 4), before);
    EXPECT_EQ(tree.root()->weight, 4);
    tree.rebuild();
    EXPECT_NE(codes_of(tree, 4), before);
    EXPECT_EQ(tree.root()->weight, 15);
}

TEST(UthufTree, WordsItDoesNotHaveHaveNoWeight)
{
    UTHUF_TREE tree(2, nullptr, 0);
    EXPECT_EQ(tree.getprobability(1), 1);
    EXPECT_EQ(tree.getprobability(2), 0);
    EXPECT_EQ(tree.getprobability(~0ul), 0);
    tree.setprobability(2, 7);
    tree.setprobability(~0ul, 7);
    EXPECT_EQ(tree.getprobability(2), 0);
}

TEST(UthufTree, WeightsOfAnySizeDoNoHarm)
{
    UTHUF_TREE tree(5, nullptr, 0);
    for (unsigned long word = 0; word < 5; ++word) tree.setprobability(word, 0x7FFFFFFF);
    tree.rebuild();
    EXPECT_EQ(codes_of(tree, 5).size(), 5u);
}

class adding_tree : public UTHUF_TREE {
public:
    using UTHUF_TREE::UTHUF_TREE;
    void build_by_hand()
    {
        clear();
        for (ut_long word = 0; word < words(); ++word) addnode(leaf(word));
    }
};

TEST(UthufTree, NodesAddedOneByOneMakeTheSameTreeWithItsDepths)
{
    adding_tree tree(100, nullptr, 0);
    for (unsigned long word = 0; word < 100; ++word)
        tree.setprobability(word, static_cast<long>(word * word % 37));
    tree.rebuild();
    const std::vector<std::string> rebuilt = codes_of(tree, 100);
    tree.build_by_hand();
    EXPECT_EQ(codes_of(tree, 100), rebuilt);
    expect_consistent(tree.root());
}

// ---- words as bits

TEST(UthufTree, AWordIsItsPathFromTheRoot)
{
    const std::string bytes = written<UTHUF_TREE>(3, [](UTHUF_TREE& tree) {
        for (const unsigned long word : {0u, 1u, 2u, 1u}) tree.putword(word);
    });
    EXPECT_EQ(bytes, "\x19"s);  // 1 0, 0, 1 1, 0 from the lowest bit up
    memory_device device(bytes);
    UT_PAKIO bits(&device);
    UTHUF_TREE tree(3, &bits, 0);
    for (const unsigned long word : {0u, 1u, 2u, 1u}) EXPECT_EQ(tree.getword(), word);
    EXPECT_EQ(tree.getbs(), &bits);
}

TEST(UthufTree, PathsLongerThanAnyNumberAreWhole)
{
    constexpr unsigned long k_words = 200;
    const auto lean = [](UTHUF_TREE& tree) {  // halves, and then nothing: a path of some 150 branches
        for (unsigned long word = 0; word < k_words; ++word)
            tree.setprobability(word, word < 30 ? 1 << (30 - word) : 0);
        tree.rebuild();
    };
    std::size_t longest = 0;
    std::string expected;
    const std::string bytes = written<UTHUF_TREE>(k_words, [&](UTHUF_TREE& tree) {
        lean(tree);
        for (unsigned long word = 0; word < k_words; ++word) {
            tree.putword(word);
            expected += code_of(tree.root(), word);
            longest = std::max(longest, code_of(tree.root(), word).size());
        }
    });
    EXPECT_GT(longest, 64u);
    ASSERT_EQ(bytes.size(), (expected.size() + 7) / 8);
    memory_device device(bytes);
    UT_PAKIO bits(&device);
    for (const char bit : expected) ASSERT_EQ(bits.getbit(), bit == '1');
    memory_device again(bytes);
    UT_PAKIO same_bits(&again);
    UTHUF_TREE tree(k_words, &same_bits, 0);
    lean(tree);
    for (unsigned long word = 0; word < k_words; ++word) ASSERT_EQ(tree.getword(), word);
}

TEST(UthufTree, TheOnlyWordNeedsNoBits)
{
    EXPECT_EQ(written<UTHUF_TREE>(1, [](UTHUF_TREE& tree) { tree.putword(0); }), "");
    memory_device device;
    UT_PAKIO bits(&device);
    UTHUF_TREE tree(1, &bits, 0);
    EXPECT_EQ(tree.getword(), 0u);
    EXPECT_FALSE(bits.is_end_of_pakio());
}

TEST(UthufTree, BeyondTheEndIsTheLeftmostWord)
{
    memory_device device;
    UT_PAKIO bits(&device);
    UTHUF_TREE tree(3, &bits, 0);
    EXPECT_EQ(tree.getword(), 1u);
    EXPECT_TRUE(bits.is_end_of_pakio());
}

TEST(UthufTree, WithoutWordsThereIsNothing)
{
    UTHUF_TREE tree(0, nullptr, 0);
    EXPECT_EQ(tree.root(), nullptr);
    EXPECT_EQ(tree.getword(), 0u);
    tree.rebuild();
    UTHUF_TREE negative(-3, nullptr, 0);
    EXPECT_EQ(negative.root(), nullptr);
}

/// Expects `work` to break a contract of the trees on both routes; 19 is the exit value.
void expect_broken(const std::string& text, const std::function<void()>& work)
{
    message_capture capture;
    EXPECT_THROW(work(), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basuthuff", text}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string shown = unfolded(stderr_of([&] { exit_value = capture.exit_value_of(work); }));
    EXPECT_EQ(exit_value, 19);
    EXPECT_NE(shown.find(text), std::string::npos) << shown;
}

TEST(UthufTree, AWordThatItDoesNotHaveBreaksTheContract)
{
    for (const unsigned long word : {3ul, ~0ul})
        expect_broken("Value out of range to UTHUF_TREE::putword.", [word] {
            UTHUF_TREE tree(3, nullptr, 0);
            tree.putword(word);
        });
}

TEST(UthufTree, OnlyVersion1IsKnown)
{
    EXPECT_EQ(UTHUF_TREE(2, nullptr, 0).getversion(), '1');
    EXPECT_EQ(UTHUF_TREE(2, nullptr, '1').getversion(), '1');
    for (const char version : {'0', '2', '\1'})
        expect_broken("Unknown Huffman compression type.",
                      [version] { UTHUF_TREE tree(2, nullptr, version); });
}

// ---- the adaptive tree

/// Shows what is kept for derived classes.
class open_adaptive_tree : public UTHUF_ADAPTIVE_TREE {
public:
    using UTHUF_ADAPTIVE_TREE::check_list;
    using UTHUF_ADAPTIVE_TREE::list_;
    using UTHUF_ADAPTIVE_TREE::list_size_;
    using UTHUF_ADAPTIVE_TREE::rescale;
    using UTHUF_ADAPTIVE_TREE::UTHUF_ADAPTIVE_TREE;
};

/// The numbers of the golden program.
class numbers {
public:
    explicit numbers(std::uint64_t seed) : state_(seed) {}
    unsigned long below(unsigned long limit)
    {
        state_ = state_ * 6'364'136'223'846'793'005u + 1'442'695'040'888'963'407u;
        return static_cast<unsigned long>((state_ >> 33) % limit);
    }

private:
    std::uint64_t state_;
};

TEST(UthufAdaptiveTree, WritesAndReadsTheGoldenSequences)
{
    std::ifstream list(TEST_SOURCE_DIR "/golden/packed_adaptions.txt");
    unsigned long words = 0;
    unsigned long count = 0;
    unsigned long seed = 0;
    unsigned long checksum = 0;
    int cases = 0;
    for (; list >> std::dec >> words >> count >> seed >> std::hex >> checksum; ++cases) {
        const auto each_word = [&](const auto& visit) {
            numbers random(seed);
            for (unsigned long i = 0; i < count; ++i) visit(random.below(1 + random.below(words)));
        };
        const std::string bytes =
            written<open_adaptive_tree>(static_cast<long>(words), [&](open_adaptive_tree& tree) {
                each_word([&](unsigned long word) {
                    tree.putword(word);
                    tree.count(word);
                });
                tree.check_list();
                expect_consistent(tree.root());
            });
        EXPECT_EQ(crc32(0, bytes_of(bytes), static_cast<unsigned>(bytes.size())), checksum) << cases;

        memory_device device(bytes);
        UT_PAKIO bits(&device);
        UTHUF_ADAPTIVE_TREE tree(static_cast<long>(words), &bits, 0);
        each_word([&](unsigned long word) {
            ASSERT_EQ(tree.getword(), word);
            tree.count(word);
        });
    }
    EXPECT_EQ(cases, 7);
}

TEST(UthufAdaptiveTree, RescalesWhenTheRootWeighs2048)
{
    open_adaptive_tree tree(32, nullptr, 0);
    for (int i = 0; i < 2015; ++i) tree.count(5);
    EXPECT_EQ(tree.getprobability(5), 2016);
    EXPECT_EQ(tree.root()->weight, 2047);
    tree.count(5);
    EXPECT_EQ(tree.getprobability(5), 2017 / 8);
    EXPECT_EQ(tree.getprobability(6), 1);
    EXPECT_EQ(tree.root()->weight, 2017 / 8 + 31);
    tree.check_list();
    expect_consistent(tree.root());
}

TEST(UthufAdaptiveTree, CountsOnlyItsWords)
{
    open_adaptive_tree tree(3, nullptr, 0);
    tree.count(3);
    tree.count(~0ul);
    EXPECT_EQ(tree.root()->weight, 3);
    EXPECT_EQ(tree.list_size_, 5);
}

TEST(UthufAdaptiveTree, WithoutWordsItsListCannotBeBuilt)
{
    expect_broken("Error building nodes array.", [] { UTHUF_ADAPTIVE_TREE tree(0, nullptr, 0); });
}

/// Lives through broken contracts of the legacy route, as a tool may.
class surviving_manager : public UT_MSGMAN {
public:
    void fatal(const char*, const char*, const char*, short, const char*, int, long) override {}
};

TEST(UthufAdaptiveTree, WithoutWordsItsTreeCannotBeBuilt)
{
    message_capture capture;
    capture.use_legacy_flow();
    surviving_manager survivor;
    UT_MSGMAN* const before = std::exchange(ut_msgman, &survivor);
    auto tree = std::make_unique<open_adaptive_tree>(0, nullptr, 0);
    tree->count(0);
    tree->check_list();
    ut_msgman = before;
    UT_MSGMAN::m_msgFlow = 1;
    EXPECT_THROW(tree->rescale(), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basuthuff", "Error building tree."}));
}

/// Expects the check of the list to post `number`, and to end the process with `value` on both routes.
void expect_disorder(const char* number, const char* text, int value, void (*disturb)(open_adaptive_tree&))
{
    open_adaptive_tree tree(4, nullptr, 0);
    tree.check_list();
    disturb(tree);
    message_capture capture;
    EXPECT_EQ(capture.exit_value_of([&] { tree.check_list(); }), value);
    EXPECT_EQ(capture.posts(), (std::vector<post>{{"framework", number, "", ""}}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string shown =
        stderr_of([&] { exit_value = capture.exit_value_of([&] { tree.check_list(); }); });
    EXPECT_EQ(exit_value, value);
    EXPECT_NE(shown.find(text), std::string::npos) << shown;
}

TEST(UthufAdaptiveTree, TheCheckOfTheListTellsOfDisorder)
{
    expect_disorder("1106", "Nodes list sanity error 2.", 2,
                    [](open_adaptive_tree& tree) { tree.setprobability(0, 100); });
    expect_disorder("1107", "Nodes list sanity error 3.", 1,
                    [](open_adaptive_tree& tree) { tree.list_[0]->position = &tree.list_[1]; });
}

TEST(UthufAdaptiveTree, AFailedAllocationLeavesNothingBehind)
{
    long failures = 0;
    for (;; ++failures) {
        const allocation_faults faults(failures, 1);
        try {
            const UTHUF_ADAPTIVE_TREE tree(32, nullptr, 0);
        } catch (const std::bad_alloc&) {
        }
        if (!faults.hit()) break;
    }
    EXPECT_EQ(failures, 2);
}

}  // namespace
