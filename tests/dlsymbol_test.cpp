// tests/dlsymbol_test.cpp
#include "dlsymbol.h"

#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

static_assert(sizeof(dl_Symbol) == sizeof(void*));

struct null_symbol : dl_Symbol {
    null_symbol() = default;
};

TEST(DlSymbol, OneTextHasOneEntry)
{
    std::string text = "net";
    const dl_Symbol one(text.c_str());
    text = "pin";
    const dl_Symbol two("net");
    EXPECT_TRUE(one == two);
    EXPECT_EQ(one.c_str(), two.c_str());
    EXPECT_STREQ(one.c_str(), "net");
    EXPECT_FALSE(one == dl_Symbol("Net"));
    EXPECT_FALSE(one == dl_Symbol(""));
}

TEST(DlSymbol, ComparesByBytes)
{
    const dl_Symbol symbol("ABC");
    EXPECT_EQ(symbol.compare("ABC", 0), 0);
    EXPECT_LT(symbol.compare("abc", 0), 0);
    EXPECT_GT(symbol.compare("AB", 0), 0);
    EXPECT_LT(symbol.compare("ABCD", 0), 0);
    EXPECT_LT(symbol.compare("\xff", 0), 0);
    EXPECT_EQ(symbol.compare(dl_Symbol("ABC"), 0), 0);
    EXPECT_LT(symbol.compare(dl_Symbol("abc"), 0), 0);
}

TEST(DlSymbol, ComparesWithoutCaseIfAsked)
{
    const dl_Symbol symbol("ABC");
    EXPECT_EQ(symbol.compare("abc", 1), 0);
    EXPECT_EQ(symbol.compare("aBc", -1), 0);
    EXPECT_EQ(symbol.compare(dl_Symbol("abc"), 1), 0);
    EXPECT_LT(symbol.compare("abd", 1), 0);
    EXPECT_GT(symbol.compare("AB", 1), 0);
    EXPECT_GT(symbol.compare("A[", 1), 0);  // as lower case: 'b' lies behind '[', 'B' in front of it
    EXPECT_NE(dl_Symbol("\xc4").compare("\xe4", 1), 0);
}

TEST(DlSymbol, ANullHandleHasNoTextAndComparesAsEmpty)
{
    const null_symbol none;
    EXPECT_EQ(none.c_str(), nullptr);
    EXPECT_EQ(none.compare("", 0), 0);
    EXPECT_EQ(none.compare(static_cast<const char*>(nullptr), 1), 0);
    EXPECT_LT(none.compare("a", 0), 0);
    EXPECT_GT(dl_Symbol("a").compare(none, 0), 0);
    EXPECT_EQ(dl_Symbol("").compare(none, 0), 0);
    EXPECT_FALSE(dl_Symbol("") == none);
    EXPECT_TRUE(none == null_symbol());
}

TEST(DlSymbol, ANullTextIsAnEmptyOne)
{
    const dl_Symbol symbol(nullptr);
    EXPECT_STREQ(symbol.c_str(), "");
    EXPECT_TRUE(symbol == dl_Symbol(""));
}

TEST(DlSymbol, AssignmentMovesTheHandle)
{
    dl_Symbol symbol("one");
    symbol = "two";
    EXPECT_TRUE(symbol == dl_Symbol("two"));
    symbol = symbol.c_str();
    EXPECT_STREQ(symbol.c_str(), "two");
    null_symbol late;
    static_cast<dl_Symbol&>(late) = "three";
    EXPECT_STREQ(late.c_str(), "three");
}

TEST(DlSymbol, CopiesAreHandlesOnTheSameEntry)
{
    dl_Symbol symbol("copied");
    const dl_Symbol copy = symbol;
    EXPECT_TRUE(copy == symbol);
    symbol = "other";
    EXPECT_STREQ(copy.c_str(), "copied");
    symbol = copy;
    EXPECT_TRUE(copy == symbol);
    const null_symbol none;
    const dl_Symbol copy_of_none = none;
    EXPECT_EQ(copy_of_none.c_str(), nullptr);
}

TEST(DlSymbol, ATextOutlivesItsHandles)
{
    const char* text = nullptr;
    {
        const dl_Symbol symbol("outlives");
        text = symbol.c_str();
    }
    EXPECT_STREQ(text, "outlives");
    EXPECT_EQ(dl_Symbol("outlives").c_str(), text);
}

TEST(DlSymbol, AReleasedBlockIsTheNextOneHandedOut)
{
    auto* const first = new dl_Symbol("a");
    auto* const second = new dl_Symbol("b");
    delete first;
    delete second;
    const std::unique_ptr<dl_Symbol> third(new dl_Symbol("c"));
    const std::unique_ptr<dl_Symbol> fourth(new dl_Symbol("d"));
    EXPECT_EQ(third.get(), second);
    EXPECT_EQ(fourth.get(), first);
    EXPECT_STREQ(third->c_str(), "c");
    delete static_cast<dl_Symbol*>(nullptr);
}

TEST(DlSymbol, ALargerClassTakesNoBlockOfTheList)
{
    struct wide : dl_Symbol {
        wide() : dl_Symbol("wide") {}
        std::array<char, 1000> more{};
    };
    auto* const narrow = new dl_Symbol("a");
    delete narrow;
    const auto one = std::make_unique<wide>();
    one->more.fill('x');
    const std::unique_ptr<dl_Symbol> again(new dl_Symbol("b"));
    EXPECT_EQ(again.get(), narrow);
    EXPECT_STREQ(one->c_str(), "wide");
}

TEST(DlSymbol, ThreadsShareTheTable)
{
    constexpr int k_threads = 8;
    std::array<const char*, k_threads> texts{};
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i) {
        threads.emplace_back([i, &texts] {
            for (int round = 0; round < 500; ++round) {
                const std::unique_ptr<dl_Symbol> own(new dl_Symbol(std::to_string(round).c_str()));
                const dl_Symbol copy = *own;
                if (round == 321) texts[static_cast<std::size_t>(i)] = copy.c_str();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const char* text : texts) EXPECT_EQ(text, dl_Symbol("321").c_str());
}

}  // namespace
