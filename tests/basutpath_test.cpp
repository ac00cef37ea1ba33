// tests/basutpath_test.cpp
#include "basutpath.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Where a result points: at the start of the rest of the path, or nowhere.
constexpr const char* k_none = nullptr;

struct part_case {
    const char* path;
    const char* text;
    const char* rest;  ///< what stands at the result, or k_none
};

using part_function = char* (*)(const char*, char*);

void expect_parts(part_function part, const std::vector<part_case>& cases)
{
    for (const part_case& wanted : cases) {
        SCOPED_TRACE(std::string("\"") + wanted.path + "\"");
        std::array<char, 64> out{};
        out.fill('#');
        const char* result = part(wanted.path, out.data());
        EXPECT_STREQ(out.data(), wanted.text);
        EXPECT_EQ(part(wanted.path, nullptr), result);
        if (wanted.rest == k_none) {
            EXPECT_EQ(result, nullptr);
            continue;
        }
        const std::string path = wanted.path;
        ASSERT_EQ(result, wanted.path + path.size() - std::string(wanted.rest).size());
        EXPECT_STREQ(result, wanted.rest);
    }
}

TEST(UtPath, ExtensionStandsBehindTheLastDotOfTheLastComponent)
{
    expect_parts(ut_pathgetext, {{"top.v", "v", "v"},
                                 {"a/b.tar.gz", "gz", "gz"},
                                 {"a.b/c", "", k_none},
                                 {"a/b", "", k_none},
                                 {"a.", "", ""},
                                 {".rc", "rc", "rc"},
                                 {"a/.rc", "rc", "rc"},
                                 {".", "", ""},
                                 {"..", "", ""},
                                 {"a.b/", "", k_none},
                                 {"a\\b.c\\d", "c\\d", "c\\d"},
                                 {"", "", k_none}});
}

TEST(UtPath, RootIsThePathWithoutItsExtension)
{
    expect_parts(ut_pathgetroot, {{"top.v", "top", "v"},
                                  {"a/b.tar.gz", "a/b.tar", "gz"},
                                  {"a.b/c", "a.b/c", k_none},
                                  {"a/b", "a/b", k_none},
                                  {"a.", "a", ""},
                                  {".rc", "", "rc"},
                                  {"..", ".", ""},
                                  {"x/..", "x/.", ""},
                                  {"", "", k_none}});
}

TEST(UtPath, BaseIsTheLastComponentWithoutItsExtension)
{
    expect_parts(ut_pathgetbase, {{"a/top.v", "top", "top.v"},
                                  {"top", "top", "top"},
                                  {"a/b.tar.gz", "b.tar", "b.tar.gz"},
                                  {"x/..", "..", ".."},
                                  {"..", "..", ".."},
                                  {"x/.", ".", "."},
                                  {".", ".", "."},
                                  {"...", "..", "..."},
                                  {".rc", "", ".rc"},
                                  {"a.b/", "", ""},
                                  {"/", "", ""},
                                  {"", "", ""}});
}

TEST(UtPath, TailIsTheLastComponent)
{
    expect_parts(ut_pathgettail, {{"a/b/top.v", "top.v", "top.v"},
                                  {"top.v", "top.v", "top.v"},
                                  {"a/", "", ""},
                                  {"/a", "a", "a"},
                                  {"a\\b", "a\\b", "a\\b"},
                                  {"", "", ""}});
}

TEST(UtPath, HeadStandsInFrontOfTheLastSlash)
{
    expect_parts(ut_pathgethead, {{"a/b/top.v", "a/b", "top.v"},
                                  {"top.v", "", k_none},
                                  {"/a", "", "a"},
                                  {"a/", "a", ""},
                                  {"a//b", "a/", "b"},
                                  {"/", "", ""},
                                  {"", "", k_none}});
}

TEST(UtPath, ANullPathGivesNullAndAClearedText)
{
    for (part_function part :
         {ut_pathgetext, ut_pathgetroot, ut_pathgetbase, ut_pathgettail, ut_pathgethead}) {
        char out[] = "old";
        EXPECT_EQ(part(nullptr, out), nullptr);
        EXPECT_STREQ(out, "");
        EXPECT_EQ(part(nullptr, nullptr), nullptr);
    }
}

TEST(UtPath, LongPathsAreNotCut)
{
    const std::string name(10'000, 'n');
    const std::string path = name + "/" + name + "." + name;
    std::vector<char> out(path.size() + 1);
    ut_pathgetroot(path.c_str(), out.data());
    EXPECT_EQ(std::string(out.data()), name + "/" + name);
    ut_pathgetext(path.c_str(), out.data());
    EXPECT_EQ(std::string(out.data()), name);
}

TEST(UtPath, InternalFormHasSlashesAndLowerCase)
{
    char path[] = "C:\\Dir\\File";
    EXPECT_EQ(ut_internal_path(path), path);
    EXPECT_STREQ(path, "c:/dir/file");
    char other[] = "\xC4/@[`{Z";
    EXPECT_STREQ(ut_internal_path(other), "\xC4/@[`{z");
    char empty[] = "";
    EXPECT_EQ(ut_internal_path(empty), empty);
    EXPECT_EQ(ut_internal_path(nullptr), nullptr);
}

TEST(UtPath, ExternalFormHasBackslashesAndKeepsTheCase)
{
    char path[] = "c:/Dir/File";
    EXPECT_EQ(ut_external_path(path), path);
    EXPECT_STREQ(path, "c:\\Dir\\File");
    EXPECT_EQ(ut_external_path(nullptr), nullptr);
}

TEST(UtPath, DosAcceptsTheseNames)
{
    for (const char* path :
         {"a", "a.b", "a.b.c", "c:", "Z:", "c:/a", "c:a", "/a", ".", "..", "...", "../a/./b.c", "a.", "a b",
          "*", "?", "~!#$%&'()+,-;=@[]^_`{}", "a.verylongextension/andaverylongname"})
        EXPECT_TRUE(ut_pathisdos(path)) << path;
}

TEST(UtPath, DosRefusesTheseNames)
{
    for (const char* path : {"",      "a/",   "/",    "c:/",   "a//b",   "//a",    ".rc", "a/.rc",
                             ".rc/a", "a\\b", "ab:c", "1:",    "c::",    "cc:",    "a\"", "<a",
                             "a>",    "a|b",  "a\tb", "a\x7f", "a.\x80", "\xE4/b", "a.<", ":"})
        EXPECT_FALSE(ut_pathisdos(path)) << path;
    EXPECT_FALSE(ut_pathisdos(nullptr));
}

}  // namespace
