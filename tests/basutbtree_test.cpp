// tests/basutbtree_test.cpp
#include "basutbtree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <new>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "message_capture.h"
#include "msgman.h"
#include "tree_model.h"
#include "virtual_slots.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tree_model::open_tree;
using tree_model::operation;
using tree_model::pair;

int by_text(void* data, const char* key)
{
    return std::strcmp(static_cast<const char*>(data), key);
}

void* as_data(const char* text)
{
    return const_cast<char*>(text);
}

/// A tree of texts, which are their own keys, with nodes that may be looked at.
class text_tree : public UT_BTR_TREE {
public:
    text_tree(std::initializer_list<const char*> texts = {}) : UT_BTR_TREE(by_text)
    {
        for (const char* text : texts) s_add(text, nullptr);
    }
    using UT_BTR_TREE::root_;

    /// "b=(c=,a=)": a node, its balance as `<`, `>` or `=`, its left and its right side.
    std::string shape() const { return shape(root_); }

private:
    static std::string shape(const UT_BTR_NODE* node)
    {
        if (node == nullptr) return "";
        const std::string here = std::string(static_cast<const char*>(node->data)) + "><="[node->balance];
        if (node->left == nullptr && node->right == nullptr) return here;
        return here + "(" + shape(node->left) + "," + shape(node->right) + ")";
    }
};

std::vector<std::string> walk(UT_BTR_TREE& tree, UT_BTR_TRAV_TYPE order)
{
    std::vector<std::string> seen;
    tree.traverse(
        [](void** slot, void* arg) {
            static_cast<std::vector<std::string>*>(arg)->emplace_back(static_cast<const char*>(*slot));
        },
        &seen, order);
    return seen;
}

// ---- the class

#if defined(TEST_KNOWS_SLOTS)
TEST(UtBtrTree, ItsOperationsStandBehindThoseOfAStoreInTheirOrder)
{
    EXPECT_EQ(slot_of(&UT_BTR_TREE::s_add), 2U);
    EXPECT_EQ(slot_of(&UT_BTR_TREE::s_find), 3U);
    EXPECT_EQ(slot_of(&UT_BTR_TREE::s_remove), 4U);
    EXPECT_EQ(slot_of(&UT_BTR_TREE::del_func), 5U);
    EXPECT_EQ(slot_of(&UT_BTR_TREE::comp_func), 6U);
}
#endif

TEST(UtBtrTree, TheFieldsOfANodeStandInTheirOrder)
{
    EXPECT_EQ(offsetof(UT_BTR_NODE, right), 0U);
    EXPECT_EQ(offsetof(UT_BTR_NODE, left), sizeof(void*));
    EXPECT_EQ(offsetof(UT_BTR_NODE, data), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(UT_BTR_NODE, balance), 3 * sizeof(void*));
    EXPECT_TRUE((std::is_same_v<decltype(UT_BTR_NODE::balance), ut_long>));
}

TEST(UtBtrTree, HoldsItsFieldsInTheirOrder)
{
    struct fields {
        void* slots;
        UT_BTR_NODE* root;
        int (*compare)(void*, const char*);
        std::uint32_t count;
        unsigned char owner;
    };
    static_assert(sizeof(UT_BTR_TREE) == sizeof(fields));
    fields seen{};
    const text_tree tree{"1", "2"};
    std::memcpy(&seen, static_cast<const void*>(&tree), sizeof seen);
    EXPECT_EQ(seen.root, tree.root_);
    EXPECT_EQ(seen.compare, by_text);
    EXPECT_EQ(seen.count, 2U);
    EXPECT_EQ(seen.owner, 0);
    const UT_BTR_TREE owner(static_cast<unsigned char>(7));
    std::memcpy(&seen, static_cast<const void*>(&owner), sizeof seen);
    EXPECT_EQ(seen.compare, nullptr);
    EXPECT_EQ(seen.owner, 7);
}

TEST(UtBtrTree, NoNodeComesFromAPool)
{
    const text_tree tree{"a"};
    EXPECT_EQ(UT_BTR_NODE::mem, nullptr);
}

TEST(UtBtrTree, IsAnOwnerOnlyWhenMadeAsOne)
{
    EXPECT_FALSE(UT_BTR_TREE(by_text).is_owner());
    EXPECT_FALSE(UT_BTR_TREE().is_owner());
    EXPECT_FALSE(UT_BTR_TREE(static_cast<unsigned char>(0)).is_owner());
    EXPECT_TRUE(UT_BTR_TREE(static_cast<unsigned char>(1)).is_owner());
}

TEST(UtBtrTree, StartsEmpty)
{
    UT_BTR_TREE tree(by_text);
    EXPECT_EQ(tree.get_count(), 0U);
    EXPECT_EQ(tree.get_root(), nullptr);
    EXPECT_EQ(tree.find("a"), nullptr);
    EXPECT_EQ(tree.remove("a"), nullptr);
    EXPECT_THAT(walk(tree, UT_BTR_LEFT_NODE_RIGHT), IsEmpty());
    tree.flush(nullptr);
}

// ---- the slots and the count

TEST(UtBtrTree, AddGivesTheSlotThatTheCallerFills)
{
    UT_BTR_TREE tree(by_text);
    void** const slot = tree.add("a");
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(*slot, nullptr);
    *slot = as_data("a");
    EXPECT_EQ(tree.add("a"), slot);
    EXPECT_EQ(tree.find("a"), slot);
    EXPECT_EQ(tree.get_root(), slot);
    EXPECT_EQ(tree.get_count(), 1U);
}

TEST(UtBtrTree, ASlotOfNullCountsAgain)
{
    UT_BTR_TREE tree([](void*, const char*) { return 0; });
    void** const slot = tree.add("a");
    EXPECT_EQ(tree.get_count(), 1U);
    EXPECT_EQ(tree.add("a"), slot);
    EXPECT_EQ(tree.get_count(), 2U);
    EXPECT_EQ(tree.remove("a"), nullptr);  // and null data are not counted down
    EXPECT_EQ(tree.get_count(), 2U);
    EXPECT_EQ(tree.get_root(), nullptr);
}

TEST(UtBtrTree, RemoveGivesTheDataBack)
{
    text_tree tree{"a", "b", "c"};
    const char* const kept = static_cast<const char*>(tree.s_find("b"));
    EXPECT_EQ(tree.remove("b"), kept);
    EXPECT_EQ(tree.remove("b"), nullptr);
    EXPECT_EQ(tree.find("b"), nullptr);
    EXPECT_EQ(tree.get_count(), 2U);
}

TEST(UtBtrTree, NullKeysFindNothingAndStoreNothing)
{
    text_tree tree{"a"};
    EXPECT_EQ(tree.add(nullptr), nullptr);
    EXPECT_EQ(tree.find(nullptr), nullptr);
    EXPECT_EQ(tree.remove(nullptr), nullptr);
    EXPECT_EQ(tree.s_find(nullptr), nullptr);
    EXPECT_EQ(tree.s_remove(nullptr), nullptr);
    EXPECT_FALSE(tree.s_add(nullptr, as_data("x")));
    EXPECT_EQ(tree.shape(), "a=");
    EXPECT_EQ(tree.get_count(), 1U);
}

TEST(UtBtrTree, IsUsedThroughTheInterfaceOfAStore)
{
    text_tree tree;
    UT_STORE& store = tree;
    const std::string key = "key";
    const std::string data = "key";
    EXPECT_TRUE(store.s_add(key.c_str(), nullptr));
    EXPECT_EQ(store.s_find("key"), key.c_str());  // without data the key is the data
    EXPECT_TRUE(store.s_add("key", as_data(data.c_str())));
    EXPECT_EQ(store.s_find("key"), data.c_str());  // in place of what was there
    EXPECT_EQ(tree.get_count(), 1U);
    EXPECT_EQ(store.s_remove("key"), data.c_str());
    EXPECT_EQ(store.s_find("key"), nullptr);
    EXPECT_EQ(store.s_remove("key"), nullptr);
}

// ---- shapes: the left side holds the larger keys

TEST(UtBtrTree, AdditionsRotate)
{
    EXPECT_EQ((text_tree{"1", "2"}.shape()), "1<(2=,)");
    EXPECT_EQ((text_tree{"2", "1"}.shape()), "2>(,1=)");
    EXPECT_EQ((text_tree{"1", "2", "3"}.shape()), "2=(3=,1=)");
    EXPECT_EQ((text_tree{"3", "2", "1"}.shape()), "2=(3=,1=)");
    EXPECT_EQ((text_tree{"1", "3", "2"}.shape()), "2=(3=,1=)");
    EXPECT_EQ((text_tree{"3", "1", "2"}.shape()), "2=(3=,1=)");
}

/// The three balances that the node may have which a double rotation puts on top.
TEST(UtBtrTree, DoubleRotationsSettleTheBalances)
{
    EXPECT_EQ((text_tree{"2", "1", "5", "3", "6", "4"}.shape()), "3=(5=(6=,4=),2>(,1=))");
    EXPECT_EQ((text_tree{"3", "1", "5", "4", "6", "35"}.shape()), "4=(5<(6=,),3=(35=,1=))");
    EXPECT_EQ((text_tree{"5", "6", "2", "1", "4", "3"}.shape()), "4=(5<(6=,),2=(3=,1=))");
    EXPECT_EQ((text_tree{"4", "5", "2", "1", "3", "35"}.shape()), "3=(4=(5=,35=),2>(,1=))");
}

TEST(UtBtrTree, ARemovedNodeWithTwoSidesTakesTheNextLargerData)
{
    text_tree tree{"4", "2", "6", "1", "3", "5", "7"};
    EXPECT_EQ(tree.shape(), "4=(6=(7=,5=),2=(3=,1=))");
    tree.remove("4");
    EXPECT_EQ(tree.shape(), "5=(6<(7=,),2=(3=,1=))");
    tree.remove("5");  // the left child has no right child: its data move up
    EXPECT_EQ(tree.shape(), "6>(7=,2=(3=,1=))");
    tree.remove("6");
    EXPECT_EQ(tree.shape(), "2<(7>(,3=),1=)");
    tree.remove("1");
    EXPECT_EQ(tree.shape(), "3=(7=,2=)");
}

TEST(UtBtrTree, WalksRunInTheirSixOrders)
{
    text_tree tree{"2", "1", "3"};
    EXPECT_THAT(walk(tree, UT_BTR_LEFT_NODE_RIGHT), ElementsAre("3", "2", "1"));
    EXPECT_THAT(walk(tree, UT_BTR_LEFT_RIGHT_NODE), ElementsAre("3", "1", "2"));
    EXPECT_THAT(walk(tree, UT_BTR_RIGHT_NODE_LEFT), ElementsAre("1", "2", "3"));
    EXPECT_THAT(walk(tree, UT_BTR_RIGHT_LEFT_NODE), ElementsAre("1", "3", "2"));
    EXPECT_THAT(walk(tree, UT_BTR_NODE_LEFT_RIGHT), ElementsAre("2", "3", "1"));
    EXPECT_THAT(walk(tree, UT_BTR_NODE_RIGHT_LEFT), ElementsAre("2", "1", "3"));
    EXPECT_THAT(walk(tree, static_cast<UT_BTR_TRAV_TYPE>(6)), IsEmpty());
    EXPECT_THAT(walk(tree, static_cast<UT_BTR_TRAV_TYPE>(-1)), IsEmpty());
    tree.traverse(nullptr, nullptr, UT_BTR_LEFT_NODE_RIGHT);
}

TEST(UtBtrTree, TheOrdersHaveTheirNumbers)
{
    EXPECT_EQ(int{UT_BTR_LEFT_NODE_RIGHT}, 0);
    EXPECT_EQ(int{UT_BTR_LEFT_RIGHT_NODE}, 1);
    EXPECT_EQ(int{UT_BTR_RIGHT_NODE_LEFT}, 2);
    EXPECT_EQ(int{UT_BTR_RIGHT_LEFT_NODE}, 3);
    EXPECT_EQ(int{UT_BTR_NODE_LEFT_RIGHT}, 4);
    EXPECT_EQ(int{UT_BTR_NODE_RIGHT_LEFT}, 5);
}

TEST(UtBtrTree, AWalkMayChangeTheData)
{
    text_tree tree{"2", "1", "3"};
    static const char* const k_same[] = {"1", "2", "3"};
    tree.traverse([](void** slot, void*) { *slot = as_data(k_same[*static_cast<const char*>(*slot) - '1']); },
                  nullptr, UT_BTR_LEFT_NODE_RIGHT);
    EXPECT_EQ(tree.s_find("1"), k_same[0]);
    EXPECT_EQ(tree.s_find("3"), k_same[2]);
}

// ---- comparing

TEST(UtBtrTree, AComparisonThatLiesDoesNoHarm)
{
    std::mt19937 random(33);
    static std::mt19937* source;
    source = &random;
    UT_BTR_TREE tree([](void*, const char*) { return static_cast<int>((*source)() % 5) - 2; });
    int data = 0;
    for (int i = 0; i < 20'000; ++i) {
        if (random() % 2 == 0)
            *tree.add("x") = &data;
        else
            tree.remove("x");
        tree.find("x");
    }
    tree.flush(nullptr);
    EXPECT_EQ(tree.get_root(), nullptr);
}

TEST(UtBtrTree, AComparisonThatThrowsLeavesTheTreeAsItWas)
{
    text_tree texts{"4", "2", "6", "1", "3"};
    static int left;
    UT_BTR_TREE tree([](void* data, const char* key) {
        if (left-- == 0) throw std::runtime_error("enough");
        return by_text(data, key);
    });
    left = 100;
    for (const char* text : {"4", "2", "6", "1", "3"}) tree.s_add(text, nullptr);
    for (int after = 0; after < 2; ++after) {
        left = after;
        EXPECT_THROW(tree.add("0"), std::runtime_error);
        left = after;
        EXPECT_THROW(tree.remove("3"), std::runtime_error);
        left = after;
        EXPECT_THROW(tree.find("3"), std::runtime_error);
    }
    left = 100;
    EXPECT_EQ(walk(tree, UT_BTR_NODE_LEFT_RIGHT), walk(texts, UT_BTR_NODE_LEFT_RIGHT));
    EXPECT_EQ(tree.get_count(), 5U);
}

TEST(UtBtrTree, ATreeThatCannotCompareBreaksTheContractOnBothRoutes)
{
    UT_BTR_TREE tree;
    *tree.add("a") = as_data("a");
    message_capture capture;
    const post expected{"common", "0000", "basutbtree",
                        "This function must be defined in the derived class."};
    EXPECT_THROW(tree.find("a"), int);
    EXPECT_EQ(capture.last(), expected);
    capture.clear();
    EXPECT_THROW(tree.add("a"), int);
    EXPECT_EQ(capture.last(), expected);
    EXPECT_EQ(tree.get_count(), 1U);
    capture.use_legacy_flow();
    EXPECT_EQ(capture.exit_value_of([&] { tree.remove("a"); }), 19);
    EXPECT_EQ(tree.get_count(), 1U);
}

/// Survives a broken contract, as a derived manager of a tool may.
class surviving_manager final : public UT_MSGMAN {
public:
    void fatal(const char*, const char*, const char*, short, const char*, int, long) override {}
};

TEST(UtBtrTree, ATreeThatCannotCompareTakesEveryKeyForASmallerOneWhenTheReportReturns)
{
    message_capture capture;
    capture.use_legacy_flow();
    surviving_manager surviving;
    UT_MSGMAN* const before = std::exchange(ut_msgman, &surviving);
    {
        UT_BTR_TREE tree;
        *tree.add("a") = as_data("a");
        *tree.add("b") = as_data("b");
        EXPECT_THAT(walk(tree, UT_BTR_NODE_RIGHT_LEFT), ElementsAre("a", "b"));
        EXPECT_THAT(walk(tree, UT_BTR_RIGHT_NODE_LEFT), ElementsAre("b", "a"));
        EXPECT_EQ(tree.find("a"), nullptr);
        EXPECT_EQ(tree.comp_func(nullptr, "a"), 1);
    }
    ut_msgman = before;
}

// ---- flush

std::vector<std::string>& texts_seen()
{
    static std::vector<std::string> texts;
    return texts;
}

void see(void** slot, void* arg)
{
    texts_seen().emplace_back(arg == nullptr ? static_cast<const char*>(*slot) : "an argument");
}

class owning_tree : public UT_BTR_TREE {
public:
    explicit owning_tree(unsigned char owner = 1) : UT_BTR_TREE(owner) {}
    int comp_func(void* data, const char* key) override { return data == nullptr ? 0 : by_text(data, key); }
    void del_func(void* data) override
    {
        texts_seen().emplace_back(data != nullptr ? static_cast<const char*>(data) : "null");
    }
};

TEST(UtBtrTree, FlushCallsTheFunctionForDataThatAreNotNullBehindBothSides)
{
    owning_tree tree;  // its own function is not called
    for (const char* text : {"2", "1", "3"}) tree.s_add(text, nullptr);
    *tree.find("3") = nullptr;
    texts_seen().clear();
    tree.flush(see);
    EXPECT_THAT(texts_seen(), ElementsAre("1", "2"));
    EXPECT_EQ(tree.get_count(), 0U);
    EXPECT_EQ(tree.get_root(), nullptr);
}

TEST(UtBtrTree, FlushOfAnOwnerReleasesTheDataOfEveryNode)
{
    owning_tree tree;
    for (const char* text : {"2", "1", "3"}) tree.s_add(text, nullptr);
    *tree.find("3") = nullptr;
    texts_seen().clear();
    tree.flush(nullptr);
    EXPECT_THAT(texts_seen(), ElementsAre("null", "1", "2"));
    EXPECT_EQ(tree.get_count(), 0U);
    EXPECT_EQ(tree.get_root(), nullptr);
    tree.flush(nullptr);
    EXPECT_EQ(texts_seen().size(), 3U);
}

TEST(UtBtrTree, FlushOfATreeThatOwnsNothingReleasesNothing)
{
    owning_tree tree(0);
    tree.s_add("1", nullptr);
    texts_seen().clear();
    tree.flush(nullptr);
    EXPECT_THAT(texts_seen(), IsEmpty());
    EXPECT_EQ(tree.get_root(), nullptr);
    EXPECT_EQ(tree.get_count(), 0U);
}

TEST(UtBtrTree, TheDestructorReleasesNoData)
{
    texts_seen().clear();
    {
        owning_tree tree;
        tree.s_add("1", nullptr);
    }
    EXPECT_THAT(texts_seen(), IsEmpty());
}

TEST(UtBtrTree, TheDefaultOfDelFuncDoesNothing)
{
    UT_BTR_TREE tree(static_cast<unsigned char>(1));
    int data = 0;
    *tree.add("a") = &data;
    tree.flush(nullptr);
    EXPECT_EQ(data, 0);
    EXPECT_EQ(tree.get_root(), nullptr);
}

TEST(UtBtrTree, AFlushThatThrowsFreesTheNodesEvenSo)
{
    text_tree tree{"4", "2", "6", "1", "3", "5", "7"};
    static int calls;
    calls = 0;
    EXPECT_THROW(tree.flush([](void**, void*) {
        if (++calls == 3) throw 1;
    }),
                 int);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(tree.get_root(), nullptr);
    EXPECT_EQ(tree.get_count(), 0U);
    tree.s_add("1", nullptr);
    EXPECT_EQ(tree.shape(), "1=");
}

// ---- dump

std::string dumped(UT_BTR_TREE& tree, void (*print)(std::ostream&, void*), unsigned char show_balance)
{
    std::ostringstream out;
    out << std::hex << std::showbase;  // a caller's own settings
    tree.dump(out, print, show_balance);
    return out.str();
}

void print_text(std::ostream& out, void* data)
{
    out << '<' << static_cast<const char*>(data) << '>';
}

TEST(UtBtrTree, ADumpRunsFromLeftToRightWithDepthsAndBalances)
{
    text_tree tree{"2", "1", "4", "3"};
    EXPECT_EQ(dumped(tree, print_text, 1), "<4>      depth = 2, balance = RIGHT\n"
                                           "<3>      depth = 3, balance = EQUAL\n"
                                           "<2>      depth = 1, balance = LEFT\n"
                                           "<1>      depth = 2, balance = EQUAL\n"
                                           "\n");
    EXPECT_EQ(dumped(tree, print_text, 0), "<4><3><2><1>\n");
}

TEST(UtBtrTree, ADumpShowsPointersWhenNothingElsePrints)
{
    text_tree tree{"1"};
    std::ostringstream pointer;
    pointer << tree.s_find("1");
    EXPECT_EQ(dumped(tree, nullptr, 0), "   Data = " + pointer.str() + "\n");
    EXPECT_EQ(dumped(tree, nullptr, 1),
              "   Data = " + pointer.str() + "      depth = 1, balance = EQUAL\n\n");
}

TEST(UtBtrTree, ADumpOfAnEmptyTreeIsALineFeed)
{
    UT_BTR_TREE tree(by_text);
    EXPECT_EQ(dumped(tree, nullptr, 1), "\n");
}

TEST(UtBtrTree, ADepthOfTwoDigitsIsDecimal)
{
    std::vector<std::string> texts;
    for (int i = 0; i < 1'000; ++i) texts.push_back(std::to_string(1'000 + i));
    text_tree tree;
    for (const std::string& text : texts) tree.s_add(text.c_str(), nullptr);
    EXPECT_THAT(dumped(tree, print_text, 1), testing::HasSubstr("depth = 10, "));
}

TEST(UtBtrTree, ADumpAfterOneThatThrewIsWhole)
{
    text_tree tree{"2", "1"};
    const auto refuse = [](std::ostream&, void*) { throw 1; };
    EXPECT_THROW(dumped(tree, refuse, 1), int);
    EXPECT_EQ(dumped(tree, print_text, 0), "<2><1>\n");
}

// ---- copies and memory

TEST(UtBtrTree, ACopySharesTheNodes)
{
    text_tree tree{"2", "1", "3"};
    // Never destroyed: the nodes are freed once.
    alignas(text_tree) std::byte memory[2 * sizeof(text_tree)];
    auto& copy = *new (memory) text_tree(tree);
    EXPECT_EQ(copy.root_, tree.root_);
    EXPECT_EQ(copy.get_count(), 3U);
    EXPECT_EQ(copy.find("1"), tree.find("1"));
    auto& assigned = *new (memory + sizeof(text_tree)) text_tree;
    assigned = tree;
    EXPECT_EQ(assigned.root_, tree.root_);
    EXPECT_EQ(assigned.get_count(), 3U);
    EXPECT_EQ(assigned.find("1"), tree.find("1"));
}

TEST(UtBtrTree, ANodeThatCannotBeMadeLeavesTheTreeAsItWas)
{
    const std::new_handler before = std::set_new_handler(nullptr);
    const std::array<const char*, 6> texts = {"1", "2", "3", "4", "5", "6"};
    for (long failing = 0;; ++failing) {
        text_tree tree;
        long thrown = -1;
        bool hit = false;
        {
            const allocation_faults faults(failing, 1);
            for (std::size_t i = 0; i < texts.size(); ++i) {
                try {
                    tree.s_add(texts[i], nullptr);
                } catch (const std::bad_alloc&) {
                    thrown = static_cast<long>(i--);  // and once more
                }
            }
            hit = faults.hit();
        }
        EXPECT_EQ(tree.shape(), "4=(5<(6=,),2=(3=,1=))");
        EXPECT_EQ(tree.get_count(), 6U);
        if (!hit) break;
        EXPECT_EQ(thrown, failing);
    }
    std::set_new_handler(before);
}

// ---- beside the model

TEST(UtBtrTree, EveryOrderOfEightAdditionsGivesTheRightTree)
{
    std::array<int, 8> order;
    std::iota(order.begin(), order.end(), 0);
    do {
        pair both(false, 8);
        for (const int key : order) {
            const char* const wrong = both.step(operation::s_add_key, key);
            ASSERT_EQ(wrong, nullptr) << wrong << ": " << testing::PrintToString(order);
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

/// From the empty tree on, tries every addition and every removal at every tree that these lead to: all
/// orders of any number of steps with eight keys are made of these.
TEST(UtBtrTree, EveryStepFromEveryTreeOfEightKeysGivesTheRightTree)
{
    constexpr int k_keys = 8;
    using steps = std::vector<std::pair<operation, int>>;
    std::deque<steps> ways{{}};
    std::set<std::string> shapes{"-"};
    for (; !ways.empty(); ways.pop_front()) {
        for (const operation what : {operation::s_add_key, operation::remove}) {
            for (int key = 0; key < k_keys; ++key) {
                steps way = ways.front();
                way.emplace_back(what, key);
                pair both(false, k_keys);
                for (const auto& [operation, of_key] : way) {
                    const char* const wrong = both.step(operation, of_key);
                    ASSERT_EQ(wrong, nullptr) << wrong << ": " << testing::PrintToString(way);
                }
                if (shapes.insert(tree_model::shape(both.model())).second) ways.push_back(way);
            }
        }
    }
    // Balanced trees of 0 to 8 nodes: 1, 1, 2, 1, 4, 6, 4, 17, 32; times the choices of their keys.
    EXPECT_EQ(shapes.size(), 1U + 8 + 2 * 28 + 56 + 4 * 70 + 6 * 56 + 4 * 28 + 17 * 8 + 32);
}

TEST(UtBtrTree, AgreesWithAModelOverAHundredThousandSteps)
{
    constexpr int k_keys = 400;
    std::mt19937 random(33'003);
    for (const bool owner : {false, true}) {
        pair both(owner, k_keys);
        for (int i = 0; i < 50'000; ++i) {
            auto what = static_cast<operation>(random() % tree_model::k_operations);
            const bool rare = what >= operation::traverse;
            if (rare && random() % 100 != 0) what = random() % 2 == 0 ? operation::add : operation::remove;
            const char* const wrong = both.step(what, static_cast<int>(random() % k_keys));
            ASSERT_EQ(wrong, nullptr) << wrong << ", operation " << static_cast<int>(what) << ", step " << i;
        }
    }
}

}  // namespace
