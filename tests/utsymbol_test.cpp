// tests/utsymbol_test.cpp
#include "utsymbol.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "utstringpool.h"

namespace {

static_assert(sizeof(utSymbol) == sizeof(void*));

int references(const char* text)
{
    utStringHashPool& pool = *utStringHashPool::getGlobalPool();
    const int count = pool.getReferenceElement(text)->refCount - 1;
    pool.delReference(text);
    return count;
}

TEST(UtSymbol, HoldsAReferenceToItsPooledText)
{
    std::string text = "net";
    {
        const utSymbol one(text.c_str()), two("net");
        text = "pin";
        EXPECT_STREQ(one.c_str(), "net");
        EXPECT_EQ(one.c_str(), two.c_str());
        EXPECT_EQ(references("net"), 2);
        EXPECT_TRUE(one == two);
        EXPECT_FALSE(one != two);
        EXPECT_TRUE(one != utSymbol("Net"));
    }
    EXPECT_EQ(references("net"), 0);
}

TEST(UtSymbol, WithoutATextHoldsNothing)
{
    const utSymbol none, null(nullptr), empty("");
    EXPECT_EQ(none.c_str(), nullptr);
    EXPECT_EQ(null.c_str(), nullptr);
    EXPECT_TRUE(none == null);
    EXPECT_FALSE(none == empty);
    EXPECT_STREQ(empty.c_str(), "");
}

TEST(UtSymbol, AssignmentTakesOneReferenceAndDropsTheOther)
{
    utSymbol symbol("one");
    symbol = "two";
    EXPECT_EQ(references("one"), 0);
    EXPECT_EQ(references("two"), 1);
    symbol = symbol.c_str();
    EXPECT_STREQ(symbol.c_str(), "two");
    EXPECT_EQ(references("two"), 1);
    symbol = nullptr;
    EXPECT_EQ(symbol.c_str(), nullptr);
    EXPECT_EQ(references("two"), 0);
    symbol = "three";
    EXPECT_STREQ(symbol.c_str(), "three");
}

TEST(UtSymbol, CopiesHoldReferencesOfTheirOwn)
{
    utSymbol symbol("copied");
    {
        const utSymbol copy = symbol;
        EXPECT_TRUE(copy == symbol);
        EXPECT_EQ(references("copied"), 2);
        symbol = "other";
        EXPECT_STREQ(copy.c_str(), "copied");
        symbol = copy;
        EXPECT_EQ(references("other"), 0);
    }
    const utSymbol& same = symbol;
    symbol = same;
    EXPECT_STREQ(symbol.c_str(), "copied");
    EXPECT_EQ(references("copied"), 1);
    const utSymbol none;
    symbol = none;
    EXPECT_EQ(symbol.c_str(), nullptr);
    EXPECT_EQ(references("copied"), 0);
}

TEST(UtSymbol, ComparesItsCharactersByBytes)
{
    const utSymbol symbol("ABC"), none;
    EXPECT_EQ(symbol.compareTo("ABC"), 0);
    EXPECT_LT(symbol.compareTo("abc"), 0);
    EXPECT_GT(symbol.compareTo("AB"), 0);
    EXPECT_LT(symbol.compareTo("\xff"), 0);
    EXPECT_GT(symbol.compareTo(nullptr), 0);
    EXPECT_EQ(none.compareTo(nullptr), 0);
    EXPECT_EQ(none.compareTo(""), 0);
    EXPECT_LT(none.compareTo("a"), 0);
}

TEST(UtSymbol, AReleasedBlockIsTheNextOneHandedOut)
{
    auto* const first = new utSymbol("a");
    auto* const second = new utSymbol("b");
    delete first;
    delete second;
    const std::unique_ptr<utSymbol> third(new utSymbol("c")), fourth(new utSymbol("d"));
    EXPECT_EQ(third.get(), second);
    EXPECT_EQ(fourth.get(), first);
    EXPECT_EQ(references("a"), 0);
    delete static_cast<utSymbol*>(nullptr);
}

/// Destroyed behind everything that is made later, the pool among it.
const struct last_of_all {
    std::vector<utSymbol> symbols;
} late;

TEST(UtSymbol, MayBeTheLastToGo)
{
    const_cast<last_of_all&>(late).symbols.emplace_back("late");
    EXPECT_STREQ(late.symbols.front().c_str(), "late");
}

}  // namespace
