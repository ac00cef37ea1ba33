// tests/basutstrobj_test.cpp
#include "basutstrobj.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "basutregexp.h"
#include "child_process.h"
#include "masking.h"
#include "message_capture.h"
#include "msgman.h"
#include "strobj_tools.h"

// A test asks for more memory than there is, and wants the answer of `malloc`.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

using namespace std::string_literals;

constexpr ut_uint64 k_all_ones = ~ut_uint64{0};

// Construction.

TEST(UtStrobj, StartsEmptyInABlockOfFifteenBytes)
{
    const UT_STROBJ fresh;
    EXPECT_EQ(fresh.length(), 0U);
    EXPECT_STREQ(fresh.getstring(), "");
    EXPECT_EQ(share_of(fresh), 19U);
    EXPECT_EQ(room_of(fresh), 10U);
}

TEST(UtStrobj, EveryOtherEmptyStringHasAnExactBlock)
{
    const UT_STROBJ text("abc");
    EXPECT_EQ(room_of(UT_STROBJ("")), 0U);
    EXPECT_EQ(room_of(UT_STROBJ(static_cast<const char*>(nullptr))), 0U);
    EXPECT_EQ(room_of(UT_STROBJ(0, 'c', 1)), 0U);
    EXPECT_EQ(room_of(text.left(0)), 0U);
    EXPECT_EQ(share_of(UT_STROBJ("")), 9U);
}

TEST(UtStrobj, ConstructsFromACStringInAnExactBlock)
{
    const UT_STROBJ text("hello");
    EXPECT_EQ(text_of(text), "hello");
    EXPECT_EQ(room_of(text), 0U);
    EXPECT_EQ(text.getstring()[5], '\0');
}

TEST(UtStrobj, ConstructsFromACountAndACharacter)
{
    EXPECT_EQ(text_of(UT_STROBJ(3, 'x', 1)), "xxx");
    EXPECT_EQ(text_of(UT_STROBJ(3, 'x', -7)), "xxx");
    const UT_STROBJ unset(4, 'x', 0);
    EXPECT_EQ(text_of(unset), "\0\0\0\0"s);
    EXPECT_EQ(unset.getstring()[4], '\0');
    EXPECT_EQ(UT_STROBJ(0, 'x', 1).length(), 0U);
}

TEST(UtStrobj, ACountThatNoMemoryCanHoldFailsAsExhaustedMemory)
{
    EXPECT_THROW(UT_STROBJ(k_all_ones, 'x', 1), std::bad_alloc);
    EXPECT_THROW(UT_STROBJ(k_all_ones - 4, 'x', 1), std::bad_alloc);
    EXPECT_THROW(UT_STROBJ("abc").left_justify(k_all_ones, ' '), std::bad_alloc);
}

int handler_calls = 0;

TEST(UtStrobj, ExhaustedMemoryCallsTheNewHandler)
{
    handler_calls = 0;
    const std::new_handler before = std::set_new_handler([] {
        ++handler_calls;
        if (handler_calls == 3) std::set_new_handler(nullptr);
    });
    EXPECT_THROW(UT_STROBJ(ut_uint64{1} << 62U, 'x', 1), std::bad_alloc);
    std::set_new_handler(before);
    EXPECT_EQ(handler_calls, 3);
}

TEST(UtStrobj, ACopySharesTheBlock)
{
    const UT_STROBJ text("hello");
    const ut_uint64 alone = share_of(text);
    {
        const UT_STROBJ copy(text);
        EXPECT_EQ(copy.getstring(), text.getstring());
        EXPECT_EQ(share_of(text), alone / 2);
        const UT_STROBJ third(copy);
        EXPECT_EQ(share_of(third), alone / 3);
    }
    EXPECT_EQ(share_of(text), alone);
}

TEST(UtStrobj, ObjectsComeFromTheGeneralHeapOrStandWhereTheCallerWants)
{
    const std::unique_ptr<UT_STROBJ> made(new UT_STROBJ("abc"));
    EXPECT_EQ(*made, "abc");
    alignas(UT_STROBJ) unsigned char place[sizeof(UT_STROBJ)];
    auto* placed = new (place) UT_STROBJ("abc");
    EXPECT_EQ(static_cast<void*>(placed), static_cast<void*>(place));
    placed->~UT_STROBJ();
}

TEST(UtStrobj, IsAPlainClassOfModestSize)
{
    EXPECT_FALSE(std::is_polymorphic_v<UT_STROBJ>);
    EXPECT_LE(sizeof(UT_STROBJ), 140U);
}

// Assignment.

TEST(UtStrobj, AssignmentSharesAndReleases)
{
    UT_STROBJ a("one");
    const UT_STROBJ old(a);
    const UT_STROBJ b("two");
    a = b;
    EXPECT_EQ(a.getstring(), b.getstring());
    EXPECT_EQ(open_string(old).get_num_refs(), 2);  // `old` and the object that looks
}

TEST(UtStrobj, AssignmentOfASuffixOfTheSameBlockTakesItsView)
{
    UT_STROBJ a("abcdef");
    const UT_STROBJ tail = a.right_from(4);
    const ut_uint64 shared = share_of(a);
    a = tail;
    EXPECT_EQ(a, "ef");
    EXPECT_EQ(share_of(a), shared);  // still two sharers
    const UT_STROBJ& self = a;
    a = self;
    EXPECT_EQ(a, "ef");
    EXPECT_EQ(share_of(a), shared);
}

TEST(UtStrobj, AssignmentOfACStringKeepsABlockThatHasTheRoom)
{
    UT_STROBJ a("abcdef");
    const char* end = end_of(a);
    a = "xy";
    EXPECT_EQ(a, "xy");
    EXPECT_EQ(end_of(a), end);
    EXPECT_EQ(room_of(a), 4U);
    a = "123456";
    EXPECT_EQ(a, "123456");
    EXPECT_EQ(end_of(a), end);
    EXPECT_EQ(room_of(a), 0U);
    a = static_cast<const char*>(nullptr);
    EXPECT_EQ(a.length(), 0U);
    EXPECT_STREQ(a.getstring(), "");
    EXPECT_EQ(end_of(a), end);
}

TEST(UtStrobj, AssignmentOfACStringTakesAnExactBlockWhenTheOldOneIsTooSmallOrShared)
{
    UT_STROBJ a("abc");
    a = "abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(a, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(room_of(a), 0U);
    const UT_STROBJ sharer(a);
    a = "x";
    EXPECT_EQ(a, "x");
    EXPECT_EQ(room_of(a), 0U);
    EXPECT_EQ(sharer, "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(room_of(sharer), 0U);
}

TEST(UtStrobj, AssignmentOfTheOwnTextPointerDoesNothing)
{
    UT_STROBJ a = string_of("ab\0cd"s);
    a = a.getstring();
    EXPECT_EQ(text_of(a), "ab\0cd"s);
}

TEST(UtStrobj, AssignmentOfAPartOfTheOwnTextSurvives)
{
    UT_STROBJ a("abcdef");
    a = a.getstring() + 2;
    EXPECT_EQ(a, "cdef");
    UT_STROBJ middle = string_of("abc\0ef"s);
    middle = middle.getstring() + 1;
    EXPECT_EQ(text_of(middle), "bc");
    UT_STROBJ shared("abcdef");
    const UT_STROBJ sharer(shared);
    shared = shared.getstring() + 4;
    EXPECT_EQ(shared, "ef");
    EXPECT_EQ(sharer, "abcdef");
}

// Building.

TEST(UtStrobj, AFreshStringTakesTenCharactersWithoutANewBlock)
{
    UT_STROBJ s;
    const char* end = end_of(s);
    s += "abcdefghij";
    EXPECT_EQ(end_of(s), end);
    EXPECT_EQ(s, "abcdefghij");
    EXPECT_EQ(room_of(s), 0U);
    s += "k";
    EXPECT_EQ(s, "abcdefghijk");
    EXPECT_EQ(room_of(s), 0U);
    EXPECT_EQ(area_of(s), 11U);
}

TEST(UtStrobj, AppendsStringsCStringsAndCharacters)
{
    UT_STROBJ s("a");
    EXPECT_EQ(&(s += UT_STROBJ("bc")), &s);
    EXPECT_EQ(&(s += "de"), &s);
    EXPECT_EQ(&(s += 'f'), &s);
    EXPECT_EQ(s, "abcdef");
    s += static_cast<const char*>(nullptr);
    s += "";
    s += UT_STROBJ();
    EXPECT_EQ(s, "abcdef");
    EXPECT_STREQ(s.append("g"), "abcdefg");
    const char* text = s.append("h");
    EXPECT_EQ(text, s.getstring());
}

TEST(UtStrobj, ANulBecomesPartOfTheTextByACharacter)
{
    UT_STROBJ s;
    s += 'a';
    s += '\0';
    s += 'b';
    EXPECT_EQ(text_of(s), "a\0b"s);
    s += string_of("\0c"s);
    EXPECT_EQ(text_of(s), "a\0b\0c"s);
}

TEST(UtStrobj, AppendingNothingDoesNotSplitASharedBlock)
{
    UT_STROBJ a("abc");
    const UT_STROBJ b(a);
    a += "";
    a.prepend("");
    EXPECT_TRUE(share_text(a, b));
}

TEST(UtStrobj, AppendingToASharedBlockLeavesTheSharerAlone)
{
    UT_STROBJ a;
    const UT_STROBJ b(a);
    a += "abc";
    EXPECT_EQ(a, "abc");
    EXPECT_EQ(b, "");
    EXPECT_EQ(room_of(a), 0U);
}

TEST(UtStrobj, AppendsItselfAndPartsOfItself)
{
    UT_STROBJ in_place;  // with room
    in_place += "abc";
    in_place += in_place;
    EXPECT_EQ(in_place, "abcabc");
    in_place += in_place.getstring() + 4;
    EXPECT_EQ(in_place, "abcabcbc");
    UT_STROBJ exact("abc");
    exact += exact;
    EXPECT_EQ(exact, "abcabc");
    exact += exact.getstring() + 5;
    EXPECT_EQ(exact, "abcabcc");
    const UT_STROBJ sharer(exact);
    exact += exact;
    EXPECT_EQ(exact, "abcabccabcabcc");
    EXPECT_EQ(sharer, "abcabcc");
}

TEST(UtStrobj, PrependsIntoTheFrontRoomWithoutMovingTheText)
{
    UT_STROBJ s;
    s += "def";
    const char* end = end_of(s);
    EXPECT_EQ(&s.prepend("c"), &s);
    s.prepend(UT_STROBJ("ab"));
    EXPECT_EQ(s, "abcdef");
    EXPECT_EQ(end_of(s), end);
    EXPECT_EQ(room_of(s), 4U);
    s.prepend("12345");
    EXPECT_EQ(s, "12345abcdef");
    EXPECT_EQ(room_of(s), 0U);
    s.prepend(static_cast<const char*>(nullptr));
    EXPECT_EQ(s, "12345abcdef");
}

TEST(UtStrobj, PrependsItselfAndPartsOfItself)
{
    UT_STROBJ in_place;
    in_place += "abc";
    in_place.prepend(in_place);
    EXPECT_EQ(in_place, "abcabc");
    in_place.prepend(in_place.getstring() + 4);
    EXPECT_EQ(in_place, "bcabcabc");
    UT_STROBJ exact("ab");
    exact.prepend(exact);
    EXPECT_EQ(exact, "abab");
}

TEST(UtStrobj, ConcatenationGivesExactStrings)
{
    const UT_STROBJ a("ab");
    const UT_STROBJ sum = a + UT_STROBJ("cd") + "ef" + 'g';
    EXPECT_EQ(sum, "abcdefg");
    EXPECT_EQ(room_of(sum), 0U);
    EXPECT_EQ("x" + a, "xab");
    EXPECT_EQ(room_of("x" + a), 0U);
    EXPECT_EQ(a + static_cast<const char*>(nullptr), "ab");
    EXPECT_EQ(static_cast<const char*>(nullptr) + a, "ab");
    EXPECT_FALSE(share_text(a + "", a));
    EXPECT_EQ(text_of(string_of("a\0"s) + string_of("\0b"s)), "a\0\0b"s);
    EXPECT_EQ(text_of(a + '\0'), "ab\0"s);
}

// Access.

TEST(UtStrobj, LengthCountsNulsAndStrlenStopsAtTheFirst)
{
    const UT_STROBJ s = string_of("ab\0cd"s);
    EXPECT_EQ(s.length(), 5U);
    EXPECT_EQ(s.strlen(), 2U);
    EXPECT_EQ(UT_STROBJ().strlen(), 0U);
}

TEST(UtStrobj, SubscriptReadsAndGivesNulOutside)
{
    const UT_STROBJ s("abc");
    EXPECT_EQ(s[0], 'a');
    EXPECT_EQ(s[2], 'c');
    EXPECT_EQ(s[3], '\0');
    EXPECT_EQ(s[k_all_ones], '\0');
    UT_STROBJ writable("abc");
    EXPECT_EQ(static_cast<char>(writable[1]), 'b');
    EXPECT_EQ(static_cast<char>(writable[writable.length()]), '\0');
}

TEST(UtStrobj, WritingThroughASubscriptSplitsASharedBlock)
{
    UT_STROBJ a("abc");
    const UT_STROBJ b(a);
    a[1] = 'X';
    EXPECT_EQ(a, "aXc");
    EXPECT_EQ(b, "abc");
    EXPECT_EQ(share_of(a), 4U + 3 + 5);
    EXPECT_EQ(share_of(b), 4U + 3 + 5);
}

TEST(UtStrobj, WritingAnEqualCharacterDoesNotSplitTheBlock)
{
    UT_STROBJ a("abc");
    const UT_STROBJ b(a);
    a[1] = 'b';
    EXPECT_TRUE(share_text(a, b));
}

TEST(UtStrobj, WritingOutsideIsIgnored)
{
    UT_STROBJ a("abc");
    const UT_STROBJ b(a);
    a[3] = 'x';
    a[k_all_ones] = 'x';
    EXPECT_EQ(a, "abc");
    EXPECT_TRUE(share_text(a, b));
}

TEST(UtStrobj, ASubscriptCanBeAssignedToAnother)
{
    UT_STROBJ a("abc");
    a[0] = a[2];
    EXPECT_EQ(a, "cbc");
    a[0] = a[1] = 'z';
    EXPECT_EQ(a, "zzc");
    a[1] = '\0';
    EXPECT_EQ(text_of(a), "z\0c"s);
}

TEST(UtStrobj, NotTellsTheEmptyString)
{
    EXPECT_TRUE(!UT_STROBJ());
    EXPECT_FALSE(!UT_STROBJ("a"));
    EXPECT_FALSE(!string_of("\0"s));
}

TEST(UtStrobj, BoundsEndAtTheLength)
{
    const open_string s("abc");
    EXPECT_TRUE(s.check_bounds(2));
    EXPECT_FALSE(s.check_bounds(3));
    EXPECT_FALSE(s.check_bounds(k_all_ones));
    EXPECT_FALSE(s.check_bounds_inline_error(2));
    EXPECT_TRUE(s.check_bounds_inline_error(3));
}

TEST(UtStrobj, TenCopiedTextsStayGoodWhateverHappensToTheirSources)
{
    std::vector<const char*> texts;
    for (char c = 'a'; c < 'a' + 10; ++c) {
        UT_STROBJ s(5, c, 1);
        texts.push_back(s.getstring(true));
        s.toupper();
    }
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(texts[i], std::string(5, static_cast<char>('a' + i)));
}

TEST(UtStrobj, ACopiedTextSharesTheBlockUntilTheEleventhCall)
{
    open_string s("abc");
    const char* text = s.getstring(true);
    EXPECT_EQ(text, s.getstring());
    EXPECT_EQ(s.get_num_refs(), 2);
    for (int i = 0; i < 9; ++i) (void)UT_STROBJ("x").getstring(true);
    EXPECT_EQ(s.get_num_refs(), 2);
    (void)UT_STROBJ("x").getstring(true);
    EXPECT_EQ(s.get_num_refs(), 1);
    EXPECT_EQ(s.getstring(false), s.getstring());
    EXPECT_EQ(s.get_num_refs(), 1);
}

TEST(UtStrobj, EachThreadHasItsOwnRing)
{
    UT_STROBJ s("mine");
    const char* text = s.getstring(true);
    std::thread([] {
        for (int i = 0; i < 20; ++i) (void)UT_STROBJ("other").getstring(true);
    }).join();
    s = "changed";
    EXPECT_STREQ(text, "mine");
}

TEST(UtStrobj, StrdupGivesAHeapCopyUpToTheFirstNul)
{
    char* copy = string_of("ab\0cd"s).strdup();
    EXPECT_STREQ(copy, "ab");
    std::free(copy);
}

// Substrings and shaping.

TEST(UtStrobj, LeftCopiesAPrefixAndSharesTheWhole)
{
    const UT_STROBJ s("abcdef");
    EXPECT_EQ(s.left(2), "ab");
    EXPECT_FALSE(share_text(s.left(2), s));
    EXPECT_EQ(room_of(s.left(2)), 0U);
    EXPECT_TRUE(share_text(s.left(6), s));
    EXPECT_TRUE(share_text(s.left(k_all_ones), s));
}

TEST(UtStrobj, RightAndRightFromShareTheirSuffix)
{
    const UT_STROBJ s("abcdef");
    EXPECT_EQ(s.right(2), "ef");
    EXPECT_TRUE(share_text(s.right(2), s));
    EXPECT_EQ(s.right(0), "");
    EXPECT_EQ(s.right(6), "abcdef");
    EXPECT_EQ(s.right(k_all_ones), "abcdef");
    EXPECT_EQ(s.right_from(0), "abcdef");
    EXPECT_EQ(s.right_from(2), "cdef");
    EXPECT_TRUE(share_text(s.right_from(2), s));
    EXPECT_EQ(s.right_from(6), "");
    EXPECT_EQ(s.right_from(7), "abcdef");
    EXPECT_EQ(s.right_from(k_all_ones), "abcdef");
}

TEST(UtStrobj, MidFallsBackToTheStart)
{
    const UT_STROBJ s("abc");
    EXPECT_EQ(s.mid(1, 1), "b");
    EXPECT_EQ(s.mid(1, k_all_ones), "bc");
    EXPECT_EQ(s.mid(100, 2), "ab");
    EXPECT_EQ(s.mid(3, 2), "ab");
    EXPECT_EQ(s.mid(k_all_ones, k_all_ones), "abc");
    EXPECT_EQ(s.mid(1, 0), "");
    EXPECT_EQ(UT_STROBJ("").mid(0, 1), "");
    EXPECT_TRUE(share_text(s.mid(1, 2), s));
}

TEST(UtStrobj, CutFallsBackToTheStart)
{
    const UT_STROBJ s("abc");
    EXPECT_EQ(s.cut(1, 1), "ac");
    EXPECT_EQ(s.cut(1, k_all_ones), "a");
    EXPECT_EQ(s.cut(7, 2), "c");
    EXPECT_EQ(s.cut(3, 2), "c");
    EXPECT_EQ(s.cut(0, 0), "abc");
    EXPECT_EQ(UT_STROBJ("").cut(0, 5), "");
}

TEST(UtStrobj, InsertCutsThePositionToTheLength)
{
    const UT_STROBJ s("abc");
    EXPECT_EQ(s.insert(1, "XY"), "aXYbc");
    EXPECT_EQ(s.insert(0, "X"), "Xabc");
    EXPECT_EQ(s.insert(3, "X"), "abcX");
    EXPECT_EQ(s.insert(k_all_ones, "X"), "abcX");
    EXPECT_EQ(room_of(s.insert(1, "X")), 0U);
}

TEST(UtStrobj, CaseIsThatOfAsciiLettersOnly)
{
    const std::string text = "aZ[`{@\xE4\xC4\xFF"s;
    EXPECT_EQ(text_of(UT_STROBJ(text.c_str()).upper()), "AZ[`{@\xE4\xC4\xFF");
    EXPECT_EQ(text_of(UT_STROBJ(text.c_str()).lower()), "az[`{@\xE4\xC4\xFF");
    UT_STROBJ s("aBc");
    const UT_STROBJ sharer(s);
    s.toupper();
    EXPECT_EQ(s, "ABC");
    s.tolower();
    EXPECT_EQ(s, "abc");
    EXPECT_EQ(sharer, "aBc");
}

TEST(UtStrobj, JustifiesInAFieldAndSharesWhatFillsItAlready)
{
    const UT_STROBJ s("ab");
    EXPECT_EQ(s.left_justify(5, '.'), "ab...");
    EXPECT_EQ(s.right_justify(5, '.'), "...ab");
    EXPECT_EQ(s.center_justify(5, '.'), ".ab..");
    EXPECT_EQ(s.center_justify(6, '.'), "..ab..");
    EXPECT_EQ(s.center_justify(3, '.'), "ab.");
    EXPECT_EQ(text_of(s.left_justify(3, '\0')), "ab\0"s);
    for (const ut_uint64 n : {0U, 1U, 2U}) {
        EXPECT_TRUE(share_text(s.left_justify(n, '.'), s));
        EXPECT_TRUE(share_text(s.right_justify(n, '.'), s));
        EXPECT_TRUE(share_text(s.center_justify(n, '.'), s));
    }
}

TEST(UtStrobj, TrimsCharactersOfASet)
{
    const UT_STROBJ s(" \tab c\t ");
    EXPECT_EQ(s.trim_front(" \t"), "ab c\t ");
    EXPECT_TRUE(share_text(s.trim_front(" \t"), s));
    EXPECT_EQ(s.trim_back(" \t"), " \tab c");
    EXPECT_EQ(s.trim(" \t"), "ab c");
    EXPECT_EQ(s.trim("x"), s);
    EXPECT_TRUE(share_text(s.trim("x"), s));
    EXPECT_EQ(UT_STROBJ("   ").trim_back(" "), "");
    EXPECT_EQ(UT_STROBJ("   ").trim_front(" "), "");
    EXPECT_EQ(UT_STROBJ("   ").trim(" "), "");
    EXPECT_EQ(UT_STROBJ("").trim(" "), "");
}

TEST(UtStrobj, NulIsAMemberOfEverySet)
{
    const UT_STROBJ s = string_of("\0a\0b\0"s);
    EXPECT_EQ(text_of(s.trim_front("")), "a\0b\0"s);
    EXPECT_EQ(text_of(s.trim_back(nullptr)), "\0a\0b"s);
    EXPECT_EQ(text_of(s.trim("x")), "a\0b"s);
    EXPECT_EQ(s.find_delim(""), 0U);
    EXPECT_EQ(s.find_delim("", 1), 2U);
    EXPECT_EQ(s.find_delim(nullptr, 3), 4U);
    EXPECT_EQ(s.find_non_delim(""), 1U);
    EXPECT_EQ(s.find_non_delim("a"), 3U);
}

TEST(UtStrobj, ReplaceBeginsAtItsStart)
{
    const UT_STROBJ s("abab");
    EXPECT_EQ(s.replace('a', 'x'), "xbxb");
    EXPECT_EQ(s.replace('a', 'x', 1), "abxb");
    EXPECT_TRUE(share_text(s.replace('a', 'x', 4), s));
    EXPECT_TRUE(share_text(s.replace('a', 'x', k_all_ones), s));
    EXPECT_EQ(s, "abab");
}

TEST(UtStrobj, MapTakesItsStartAsAGuardOnly)
{
    UT_STROBJ s("aa");
    s.mapInPlace("a", "b", 1);
    EXPECT_EQ(s, "bb");
    s.mapInPlace("b", "c", 2);
    EXPECT_EQ(s, "bb");
    EXPECT_EQ(UT_STROBJ("aa").map("a", "b", 1), "bb");
    EXPECT_EQ(UT_STROBJ("aa").map("a", "b", 2), "aa");
}

TEST(UtStrobj, MapPairsTheSetsByPosition)
{
    const UT_STROBJ s("abcabc");
    EXPECT_EQ(s.map("abc", "xy"), "xycxyc");
    EXPECT_EQ(s.map("aab", "xyz"), "xzcxzc");  // the first of two counts
    EXPECT_EQ(s.map("ab", "ba"), "bacbac");
    EXPECT_EQ(s.map(nullptr, "x"), "abcabc");
    EXPECT_EQ(s.map("a", nullptr), "abcabc");
    EXPECT_EQ(text_of(string_of("a\0b"s).map("", "x")), "a\0b"s);
    EXPECT_EQ(s, "abcabc");
}

TEST(UtStrobj, MapTakesStringsForEitherSet)
{
    const UT_STROBJ s("ab");
    const UT_STROBJ from("ab");
    const UT_STROBJ to("xy");
    EXPECT_EQ(s.map("ab", to), "xy");
    EXPECT_EQ(s.map(from, "xy"), "xy");
    EXPECT_EQ(s.map(from, to), "xy");
    EXPECT_EQ(text_of(string_of("a\0"s).map(string_of("\0"s), "n")), "an");
    EXPECT_EQ(text_of(s.map("b", string_of("\0"s))), "a\0"s);
    UT_STROBJ in_place("ab");
    in_place.mapInPlace("ab", to);
    EXPECT_EQ(in_place, "xy");
    in_place.mapInPlace(UT_STROBJ("x"), "1");
    EXPECT_EQ(in_place, "1y");
    in_place.mapInPlace(UT_STROBJ("y"), UT_STROBJ("2"));
    EXPECT_EQ(in_place, "12");
    in_place.mapInPlace(in_place, UT_STROBJ("ab"));
    EXPECT_EQ(in_place, "ab");
}

TEST(UtStrobj, MapInPlaceSplitsASharedBlock)
{
    UT_STROBJ a("aa");
    const UT_STROBJ b(a);
    a.mapInPlace("a", "b");
    EXPECT_EQ(b, "aa");
}

TEST(UtStrobj, PrintableShowsOtherCharactersByNumber)
{
    EXPECT_EQ(UT_STROBJ("a\nb\x1F\x7F").printable(), "a<0A>b<1F><7F>");
    EXPECT_EQ(UT_STROBJ("\x80\xE9\xFF").printable(), "<FF><FF><FF>");
    EXPECT_EQ(string_of("\0"s).printable(), "<00>");
    EXPECT_EQ(room_of(UT_STROBJ("a\n").printable()), 0U);
    const UT_STROBJ plain(" ~aZ<>");
    EXPECT_TRUE(share_text(plain.printable(), plain));
    EXPECT_EQ(UT_STROBJ("").printable(), "");
}

// Searching.

/// What `find` is to give, written down step by step.
ut_uint64 expected_find(const std::string& text, const std::string& pattern, ut_uint64 start)
{
    const std::uint32_t modulus = 16711921;
    const auto number = [](char c) { return static_cast<std::uint32_t>(static_cast<signed char>(c)); };
    const ut_uint64 length = text.size();
    const ut_uint64 m = pattern.size();
    if (start >= length || m > length - start) return length;
    if (m == length - start) return text.compare(start, m, pattern) == 0 ? 0 : length;
    std::uint32_t h = 1;
    for (ut_uint64 i = 1; i < m; ++i) h = h * 256 % modulus;
    std::uint32_t p = 0;
    std::uint32_t w = 0;
    for (ut_uint64 i = 0; i < m; ++i) {
        p = (p * 256 + number(pattern[i])) % modulus;
        w = (w * 256 + number(text[start + i])) % modulus;
    }
    if (p == w) return start;
    const std::string terminated = text + '\0';
    for (ut_uint64 i = 0;;) {
        if (terminated.substr(start + i, m) == pattern) return start + i;
        if (i > length - m - start) return length;
        ++i;
        w = ((w - number(terminated[start + i - 1]) * h + 0xF100) * 256 +
             number(terminated[start + i - 1 + m])) %
            modulus;
        if (w == p) return start + i;
    }
}

TEST(UtStrobj, FindGivesPositionsAndTheLengthForNothing)
{
    const UT_STROBJ s("abcde");
    EXPECT_EQ(s.find("cd", 2), 2U);
    EXPECT_EQ(s.find("cd"), 2U);
    EXPECT_EQ(s.find("x"), 5U);
    EXPECT_EQ(s.find("a", 1), 5U);
    EXPECT_EQ(s.find("abcdef"), 5U);
    EXPECT_EQ(s.find("a", k_all_ones), 5U);
    EXPECT_EQ(s.find("e"), 4U);
}

TEST(UtStrobj, FindOfAllThatIsLeftGivesZero)
{
    EXPECT_EQ(UT_STROBJ("abcd").find("cd", 2), 0U);
    EXPECT_EQ(UT_STROBJ("abcd").find("xx", 2), 4U);
    EXPECT_EQ(UT_STROBJ("abcd").find("abcd"), 0U);
}

TEST(UtStrobj, FindOfNothingGivesTheStartIfThatIsInside)
{
    EXPECT_EQ(UT_STROBJ("abc").find("", 0), 0U);
    EXPECT_EQ(UT_STROBJ("abc").find("", 2), 2U);
    EXPECT_EQ(UT_STROBJ("abc").find("", 3), 3U);
    EXPECT_EQ(UT_STROBJ("").find(""), 0U);
    EXPECT_EQ(UT_STROBJ("").find("a"), 0U);
}

TEST(UtStrobj, FindTrustsAnEqualHash)
{
    // "badU" is "abcd" plus the modulus, byte for byte.
    EXPECT_EQ(UT_STROBJ("badU+").find("abcd"), 0U);
    EXPECT_EQ(UT_STROBJ("xbadU+").find("abcd", 1), 1U);
    EXPECT_EQ(UT_STROBJ("badU").find("abcd"), 4U);  // all that is left is compared by bytes
    EXPECT_EQ(UT_STROBJ("byeiz").find("kdx"), 1U);  // rolling from "bye" gives the hash of "kdx"
}

TEST(UtStrobj, FindLooksAtOneWindowPastTheLast)
{
    EXPECT_EQ(UT_STROBJ("xyab").find(string_of("b\0"s)), 3U);
    EXPECT_EQ(UT_STROBJ("xyab").find(string_of("a\0"s)), expected_find("xyab", "a\0"s, 0));
}

TEST(UtStrobj, FindKeepsItsCollisions)
{
    std::mt19937 random(20240614);
    const std::string alphabet = "ab\x80\xFF\0"s;
    const auto draw = [&](std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) text += alphabet[random() % alphabet.size()];
        return text;
    };
    for (int round = 0; round < 20'000; ++round) {
        const std::string text = draw(random() % 24);
        const std::string pattern = draw(random() % 5);
        const ut_uint64 start = random() % 26;
        ASSERT_EQ(string_of(text).find(string_of(pattern), start), expected_find(text, pattern, start))
            << "text " << testing::PrintToString(text) << " pattern " << testing::PrintToString(pattern)
            << " start " << start;
    }
}

TEST(UtStrobj, FindAgreesWithItsStepsOnLongTexts)
{
    std::mt19937 random(7);
    std::string text;
    for (int i = 0; i < 20'000; ++i) text += static_cast<char>(random() % 256);
    for (const std::size_t at : {0U, 1U, 500U, 19'980U, 19'990U})
        EXPECT_EQ(string_of(text).find(string_of(text.substr(at, 10))),
                  expected_find(text, text.substr(at, 10), 0));
    EXPECT_EQ(string_of(text).find("absent words"), expected_find(text, "absent words", 0));
}

TEST(UtStrobj, FindsCharactersForwards)
{
    const UT_STROBJ s = string_of("ab\0ab"s);
    EXPECT_EQ(s.find_char('b'), 1U);
    EXPECT_EQ(s.find_char('b', 1), 1U);
    EXPECT_EQ(s.find_char('b', 2), 4U);
    EXPECT_EQ(s.find_char('\0'), 2U);
    EXPECT_EQ(s.find_char('\0', 3), 5U);  // the terminator is no character
    EXPECT_EQ(s.find_char('x'), 5U);
    EXPECT_EQ(s.find_char('a', k_all_ones), 5U);
}

TEST(UtStrobj, FindsCharactersBackwards)
{
    const UT_STROBJ s("abcab");
    EXPECT_EQ(s.reverse_find_char('b'), 4U);
    EXPECT_EQ(s.reverse_find_char('b', 4), 4U);
    EXPECT_EQ(s.reverse_find_char('b', 3), 1U);
    EXPECT_EQ(s.reverse_find_char('b', 5), 4U);
    EXPECT_EQ(s.reverse_find_char('a', 0), 0U);
    EXPECT_EQ(s.reverse_find_char('b', 0), 5U);
    EXPECT_EQ(s.reverse_find_char('x'), 5U);
    EXPECT_EQ(UT_STROBJ("").reverse_find_char('a'), 0U);
}

TEST(UtStrobj, FindsDelimiters)
{
    const UT_STROBJ s("key = value");
    EXPECT_EQ(s.find_delim(" ="), 3U);
    EXPECT_EQ(s.find_delim(" =", 4), 4U);
    EXPECT_EQ(s.find_delim("#"), 11U);
    EXPECT_EQ(s.find_delim(" ", k_all_ones), 11U);
    EXPECT_EQ(s.find_non_delim("key"), 3U);
    EXPECT_EQ(s.find_non_delim(" =", 3), 6U);
    EXPECT_EQ(s.find_non_delim("key =valu"), 11U);
    EXPECT_EQ(s.find_non_delim(" ", 11), 11U);
    EXPECT_EQ(UT_STROBJ("\xFF").find_delim("\xFF"), 0U);
}

// Regular expressions.

TEST(UtStrobj, KeysGiveAndReplaceTheirSpans)
{
    const UT_STROBJ s("one=two");
    const UT_STRKEYS keys = s.match_reg_exp("([a-z]*)=([a-z]*)");
    ASSERT_EQ(keys.num_keys(), 3);
    EXPECT_EQ(s.get_key(keys, 0), "one=two");
    EXPECT_EQ(s.get_key(keys, 2), "two");
    EXPECT_EQ(s.replace_key(keys, 1, "1"), "1=two");
    EXPECT_EQ(s.replace_key(keys, 2, ""), "one=");
    for (const int k : {-1, 3, 20}) {
        EXPECT_EQ(s.get_key(keys, k), "");
        EXPECT_TRUE(share_text(s.replace_key(keys, k, "x"), s));
    }
}

TEST(UtStrobj, AKeyThatIsNotSetIsEmptyAndReplacedAtTheEnd)
{
    const UT_STROBJ s("xbx");
    const UT_STRKEYS keys = s.match_reg_exp("(a)|(b)");
    ASSERT_EQ(keys.num_keys(), 3);
    EXPECT_EQ(keys.key_start(1), 0xFFFFFFFFU);
    EXPECT_EQ(s.get_key(keys, 1), "");
    EXPECT_EQ(s.replace_key(keys, 1, "<>"), "xbx<>");
}

TEST(UtStrobj, KeysOfAnotherTextFallBackToItsStart)
{
    const UT_STRKEYS keys = UT_STROBJ("01234ab").match_reg_exp("ab");
    ASSERT_EQ(keys.key_start(0), 5U);
    EXPECT_EQ(UT_STROBJ("abcd").get_key(keys, 0), "ab");
    EXPECT_EQ(UT_STROBJ("abcd").replace_key(keys, 0, "<>"), "cd<>");
}

TEST(UtStrobj, AnEmptyKeyAtTheEndIsReplacedThere)
{
    const UT_STROBJ s("abc");
    const UT_STRKEYS keys = s.match_reg_exp("x*", 3);
    ASSERT_EQ(keys.key_start(0), 3U);
    EXPECT_EQ(s.get_key(keys, 0), "");
    EXPECT_EQ(s.replace_key(keys, 0, "<>"), "abc<>");
}

TEST(UtStrobj, MatchesCompiledAndUncompiledExpressions)
{
    const UT_STROBJ s("abcabc");
    EXPECT_EQ(s.match_reg_exp(UT_REGEXP("c")).key_start(0), 2U);
    EXPECT_EQ(s.match_reg_exp(UT_REGEXP("c"), 3).key_start(0), 5U);
    EXPECT_EQ(s.match_reg_exp(UT_STROBJ("c"), 3).key_start(0), 5U);
    EXPECT_EQ(s.match_reg_exp("c").num_keys(), 1);
    const message_capture capture;
    EXPECT_EQ(s.match_reg_exp("(").num_keys(), 0);
    EXPECT_TRUE(capture.posts().empty());
}

// Comparison.

TEST(UtStrobj, ComparesAllBytesOfTwoStringsAsUnsigned)
{
    const UT_STROBJ a("abc");
    EXPECT_EQ(a.strcmp(UT_STROBJ("abc")), 0);
    EXPECT_LT(a.strcmp(UT_STROBJ("abd")), 0);
    EXPECT_GT(a.strcmp(UT_STROBJ("abb")), 0);
    EXPECT_EQ(a.strcmp(UT_STROBJ("abcd")), -1);
    EXPECT_EQ(a.strcmp(UT_STROBJ("ab")), 1);
    EXPECT_GT(UT_STROBJ("\x80").strcmp(UT_STROBJ("a")), 0);
    EXPECT_LT(string_of("a\0b"s).strcmp(string_of("a\0c"s)), 0);
    EXPECT_EQ(string_of("a\0"s).strcmp(UT_STROBJ("a")), 1);
}

TEST(UtStrobj, ComparesWithACStringUpToTheFirstNul)
{
    const UT_STROBJ a("abc");
    EXPECT_EQ(a.strcmp("abc"), 0);
    EXPECT_EQ(a.strcmp("abz"), -1);
    EXPECT_EQ(a.strcmp("aba"), 1);
    EXPECT_EQ(a.strcmp("abcd"), -1);
    EXPECT_EQ(a.strcmp("ab"), 1);
    EXPECT_EQ(UT_STROBJ("\x80").strcmp("a"), 1);
    EXPECT_EQ(string_of("a\0b"s).strcmp("a"), 0);
    EXPECT_EQ(a.strcmp(static_cast<const char*>(nullptr)), 1);
    EXPECT_EQ(UT_STROBJ("").strcmp(static_cast<const char*>(nullptr)), 0);
}

TEST(UtStrobj, OperatorsFollowTheComparison)
{
    const UT_STROBJ a("abc");
    const UT_STROBJ b("abd");
    EXPECT_TRUE(a == UT_STROBJ("abc") && a == a && !(a == b) && a != b && !(a != a));
    EXPECT_TRUE(a < b && a <= b && a <= a && b > a && b >= a && a >= a);
    EXPECT_FALSE(b < a || b <= a || a > b || a >= b || a < a || a > a);
    EXPECT_TRUE(a == "abc" && a != "abd" && a < "abd" && a <= "abc" && a > "abb" && a >= "abc");
    EXPECT_FALSE(a == "abd" || a != "abc" || a < "abc" || a <= "abb" || a > "abc" || a >= "abd");
    const UT_STROBJ with_nul = string_of("a\0b"s);
    EXPECT_TRUE(with_nul == "a");
    EXPECT_FALSE(with_nul == UT_STROBJ("a"));
}

// Editing in place.

TEST(UtStrobj, TruncationMovesTheTextUpToItsTerminator)
{
    UT_STROBJ s("abcdef");
    const char* end = end_of(s);
    s.truncate_last(2);
    EXPECT_EQ(s, "abcd");
    EXPECT_EQ(end_of(s), end);
    EXPECT_EQ(room_of(s), 2U);
    s.truncate_from(1);
    EXPECT_EQ(s, "a");
    EXPECT_EQ(end_of(s), end);
    s.truncate_last(1);
    EXPECT_EQ(s, "");
    EXPECT_EQ(room_of(s), 6U);
}

TEST(UtStrobj, TruncationOfNothingChangesNothing)
{
    UT_STROBJ s("abc");
    const UT_STROBJ sharer(s);
    s.truncate_last(0);
    s.truncate_last(4);
    s.truncate_last(k_all_ones);
    s.truncate_from(3);
    s.truncate_from(k_all_ones);
    EXPECT_EQ(s, "abc");
    EXPECT_TRUE(share_text(s, sharer));
}

TEST(UtStrobj, TruncationSplitsASharedBlock)
{
    UT_STROBJ s("abc");
    const UT_STROBJ sharer(s);
    s.truncate_from(0);
    EXPECT_EQ(s, "");
    EXPECT_EQ(sharer, "abc");
}

TEST(UtStrobj, ChopNarrowsTheViewOfASharedBlock)
{
    UT_STROBJ s("abcdef");
    const UT_STROBJ sharer(s);
    s.chop_before(4);
    EXPECT_EQ(s, "ef");
    EXPECT_TRUE(share_text(s, sharer));
    s.chop_before(0);
    s.chop_before(3);
    s.chop_before(k_all_ones);
    EXPECT_EQ(s, "ef");
    s.chop_before(2);
    EXPECT_EQ(s, "");
    EXPECT_EQ(sharer, "abcdef");
}

TEST(UtStrobj, MaskingIsInverseAndSetsEveryHighBit)
{
    std::string all;
    for (int c = 0; c < 128; ++c) all += static_cast<char>(c);
    UT_STROBJ s = string_of(all + all + all);
    const UT_STROBJ sharer(s);
    s.encode();
    EXPECT_EQ(s.length(), 384U);
    for (const char c : text_of(s)) EXPECT_GE(static_cast<unsigned char>(c), 0x80U);
    EXPECT_EQ(text_of(sharer), all + all + all);
    s.decode();
    EXPECT_EQ(text_of(s), all + all + all);
}

TEST(UtStrobj, MaskingHidesTheText)
{
    UT_STROBJ s("PASSWORD");
    s.encode();
    std::string low_bits;
    for (const char c : text_of(s)) low_bits += static_cast<char>(c & 0x7F);
    for (std::size_t i = 0; i < low_bits.size(); ++i) EXPECT_NE(low_bits[i], "PASSWORD"[i]);
}

TEST(UtStrobj, DecodeLeavesPlainTextButTakesAnOwnBlock)
{
    UT_STROBJ s("plain");
    const UT_STROBJ sharer(s);
    s.decode();
    EXPECT_EQ(s, "plain");
    EXPECT_FALSE(share_text(s, sharer));
    UT_STROBJ empty("");
    empty.encode();
    empty.decode();
    EXPECT_EQ(empty, "");
}

TEST(Masking, WorksByteForByte)
{
    for (std::uint64_t i = 0; i < 300; ++i) {
        const char c = static_cast<char>(i % 128);
        EXPECT_TRUE(ketriope::is_masked(ketriope::masked(c, i)));
        EXPECT_EQ(ketriope::unmasked(ketriope::masked(c, i), i), c);
    }
    EXPECT_FALSE(ketriope::is_masked('a'));
}

// Output.

TEST(UtStrobj, OutputShowsAnEmbeddedNulAsAStarAndHonoursNoWidth)
{
    std::ostringstream out;
    out << UT_STROBJ("abc") << '|' << string_of("a\0b\0"s) << '|' << UT_STROBJ() << '|' << std::setw(9)
        << UT_STROBJ("x");
    EXPECT_EQ(out.str(), "abc|a*b*||x");
}

// The count of sharers.

TEST(UtStrobj, CountsItsSharers)
{
    open_string s("abc");
    EXPECT_EQ(s.get_num_refs(), 1);
    EXPECT_TRUE(s.is_only_ref());
    {
        const open_string other(s);
        EXPECT_EQ(s.get_num_refs(), 2);
        EXPECT_FALSE(s.is_only_ref());
    }
    EXPECT_EQ(s.incr_num_refs(), 2);
    EXPECT_EQ(s.incr_num_refs(), 3);
    EXPECT_EQ(s.decr_num_refs(), 2);
    s.set_num_refs(1);
    EXPECT_EQ(s.get_num_refs(), 1);
}

TEST(UtStrobj, MakeWriteableTakesAnOwnExactBlockIfShared)
{
    open_string s("abcdef");
    s.chop_before(3);
    const char* before = s.getstring();
    EXPECT_TRUE(s.make_writeable());
    EXPECT_EQ(s.getstring(), before);
    const open_string sharer(s);
    EXPECT_TRUE(s.make_writeable());
    EXPECT_NE(s.getstring(), before);
    EXPECT_EQ(s, "def");
    EXPECT_EQ(room_of(s), 0U);
    EXPECT_EQ(s.get_num_refs(), 1);
    EXPECT_EQ(sharer.get_num_refs(), 1);
    EXPECT_EQ(sharer, "def");
}

open_string without_block()
{
    open_string s("abc");
    s.delete_string();
    return s;
}

TEST(UtStrobj, ANullBufferCountsAsEmptyWithoutRoom)
{
    open_string s = without_block();
    EXPECT_EQ(s.get_num_refs(), 0);
    EXPECT_EQ(s.incr_num_refs(), 0);
    EXPECT_EQ(s.decr_num_refs(), 0);
    EXPECT_TRUE(s.is_only_ref());
    EXPECT_TRUE(s.make_writeable());
    EXPECT_EQ(s.length(), 0U);
    EXPECT_STREQ(s.getstring(), "");
    EXPECT_EQ(s.sizeme(), sizeof(UT_STROBJ));
    EXPECT_EQ(s, "");
    EXPECT_EQ(s.strcmp(UT_STROBJ("a")), -1);
    EXPECT_EQ(s + "a", "a");
    EXPECT_EQ(s.find("a"), 0U);
    EXPECT_EQ(s.upper(), "");
}

TEST(UtStrobj, ANullBufferIsReplacedByAnExactOne)
{
    const auto check = [](const UT_STROBJ& s, const char* text) {
        EXPECT_EQ(s, text);
        EXPECT_EQ(room_of(s), 0U);
    };
    open_string s = without_block();
    s = "";
    check(s, "");
    s = without_block();
    s = static_cast<const char*>(nullptr);
    check(s, "");
    s = without_block();
    s = "abc";
    check(s, "abc");
    s = without_block();
    s += "abc";
    check(s, "abc");
    s = without_block();
    s.prepend("abc");
    check(s, "abc");
    s = without_block();
    s.str_format("%s", "");
    EXPECT_EQ(area_of(s), 32U);
}

TEST(UtStrobj, ALargerBufferIsZeroFilledAndKeepsCountAndText)
{
    char* block = open_string::make_larger_buffer(nullptr, 0, 3);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::string(block + 4, 4), "\0\0\0\0"s);
    std::memcpy(block + 4, "abc", 3);
    block[0] = 7;
    block = open_string::make_larger_buffer(block, 3, 8);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 7);
    EXPECT_EQ(std::string(block + 4, 9), "abc\0\0\0\0\0\0"s);
    EXPECT_EQ(open_string::make_larger_buffer(block, 3, k_all_ones), nullptr);
    EXPECT_EQ(std::string(block + 4, 3), "abc");
    std::free(block);
}

TEST(UtStrobj, ReportsItsSizeFourBytesTooLargeAndSharesIt)
{
    EXPECT_EQ(share_of(UT_STROBJ()), 14U + 5);
    EXPECT_EQ(share_of(UT_STROBJ("abc")), 4U + 3 + 5);
    open_string s("abcd");  // 13 for the block
    s.set_num_refs(0);
    EXPECT_EQ(share_of(s), 13U);
    s.set_num_refs(2);
    EXPECT_EQ(share_of(s), 6U);
    s.set_num_refs(3);
    EXPECT_EQ(share_of(s), 4U);
    s.set_num_refs(1);
}

// The check.

std::vector<post> posts_of_check(const UT_STROBJ& s, bool report = true)
{
    const message_capture capture;
    EXPECT_FALSE(s.checkme(report));
    return capture.posts();
}

/// A string whose terminator is overwritten while it lives.
class broken_string : public open_string {
public:
    broken_string() : open_string("abc") { set_terminator('x'); }
    ~broken_string() { set_terminator('\0'); }

private:
    void set_terminator(char c) { const_cast<char*>(getstring())[3] = c; }
};

const post k_no_count{"framework", "1100", "", ""};
const post k_no_buffer{"framework", "1101", "", ""};
const post k_no_end{"framework", "1102", "", ""};

TEST(UtStrobj, ASoundStringPassesTheCheck)
{
    const message_capture capture;
    EXPECT_TRUE(UT_STROBJ("abc").checkme(true));
    EXPECT_TRUE(UT_STROBJ().checkme(false));
    EXPECT_TRUE(UT_STROBJ("%d", 1).checkme(true));
    EXPECT_TRUE(capture.posts().empty());
}

TEST(UtStrobj, TheCheckPostsEachFaultInItsOrder)
{
    EXPECT_EQ(posts_of_check(without_block()), (std::vector{k_no_count, k_no_buffer}));
    open_string uncounted("abc");
    uncounted.set_num_refs(0);
    EXPECT_EQ(posts_of_check(uncounted), (std::vector{k_no_count}));
    uncounted.set_num_refs(1);
    broken_string broken;
    EXPECT_EQ(posts_of_check(broken), (std::vector{k_no_end}));
    broken.set_num_refs(0);
    EXPECT_EQ(posts_of_check(broken), (std::vector{k_no_count, k_no_end}));
    broken.set_num_refs(1);
}

TEST(UtStrobj, TheCheckIsSilentWhenNotToReport)
{
    EXPECT_TRUE(posts_of_check(without_block(), false).empty());
    EXPECT_TRUE(posts_of_check(broken_string(), false).empty());
}

/// Keeps the errors that the legacy manager is given.
class error_keeper : public UT_MSGMAN {
public:
    error_keeper() : before_(std::exchange(ut_msgman, this)) {}
    ~error_keeper() override { ut_msgman = before_; }
    void error(const char* text, long) override { texts.emplace_back(text); }
    std::vector<std::string> texts;

private:
    UT_MSGMAN* before_;
};

TEST(UtStrobj, TheCheckGivesItsTextsToTheLegacyManager)
{
    message_capture capture;
    capture.use_legacy_flow();
    error_keeper keeper;
    capture.use_legacy_flow();  // the keeper's construction may have read the environment
    EXPECT_FALSE(without_block().checkme(true));
    EXPECT_FALSE(broken_string().checkme(true));
    EXPECT_EQ(keeper.texts,
              (std::vector<std::string>{"UT_STROBJ has zero reference count.", "UT_STROBJ has NULL buffer",
                                        "UT_STROBJ buffer is not terminated correctly"}));
    EXPECT_TRUE(capture.posts().empty());
}

// Threads and the end of the process.

TEST(UtStrobj, SeveralThreadsMayAssignAndAppendToOneObject)
{
    UT_STROBJ target;
    const UT_STROBJ sources[] = {"one", "three", "fifteen"};
    std::vector<std::thread> threads;
    for (const UT_STROBJ& source : sources)
        threads.emplace_back([&target, &source] {
            for (int i = 0; i < 2'000; ++i) target = source;
        });
    for (std::thread& thread : threads) thread.join();
    const std::set<std::string> possible{"one", "three", "fifteen"};
    EXPECT_TRUE(possible.contains(text_of(target)));

    target = "";
    threads.clear();
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&target] {
            for (int i = 0; i < 300; ++i) target += "x";
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(text_of(target), std::string(900, 'x'));
}

TEST(UtStrobj, FormatsAndCopiesAfterTheThreadsObjectsAreGone)
{
    const child_result result = run_child(child_program("basutstrobj_child"));
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "static constructor: 1 one 1.50\n"
                          "main: 2 two 2.50\n"
                          "end of a thread: 3 three 3.50\n"
                          "exit handler: 4 four 4.50\n"
                          "static destructor: 5 five 5.50\n");
    EXPECT_EQ(result.err, "");
}

}  // namespace
