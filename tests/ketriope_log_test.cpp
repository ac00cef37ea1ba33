// tests/ketriope_log_test.cpp: the command `log` as its parent process sees it.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tool_process.h"

namespace fs = std::filesystem;
using std::string_literals::operator""s;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* k_head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                               "<messageLogFile name=\"run.xml\" version=\"Zirvane 1.0\" date=\"a day\" "
                               "vendor=\"Velmora Semiconductor Corporation\" >\n"
                               "  <postMsgs>\n";
constexpr const char* k_end = "  </postMsgs>\n</messageLogFile>\n";
constexpr const char* k_cut =
    "The log has no end lines: the run goes on, or it was killed. All posts up to then are "
    "there.";

/// A line of a log; `arguments` as they stand there.
std::string post(const std::string& mid, const std::string& type, const words& arguments = {})
{
    std::string line = "    <postMsg mid=\"" + mid + "\" type=\"" + type + "\" dynamic=\"" +
                       std::to_string(arguments.size()) + "\" navigation=\"0\" ";
    for (std::size_t i = 0; i < arguments.size(); ++i)
        line += "arg" + std::to_string(i) + "=\"" + arguments[i] + "\" ";
    return line + " />\n";
}

std::string repeated(const std::string& text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

/// What the program tells of a log behind its head of four rows.
std::string tables(const std::string& out)
{
    const std::size_t begin = out.find("\nby type\n");
    return begin == std::string::npos ? "" : out.substr(begin);
}

class KetriopeLog : public tool_test {
protected:
    std::string log(const std::string& lines) const { return file("run.xml", k_head + lines + k_end); }

    std::string bytes(const std::string& name) const
    {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    /// The names of the files of the test's directory.
    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& each : fs::directory_iterator(path(""))) names.push_back(each.path().filename());
        return names;
    }
};

// ---- as text

TEST_F(KetriopeLog, CountsByTypeAndNumberWithABarForEach)
{
    const std::string name =
        log(repeated(post("1011409", "Warning", {"b.net"}), 2) + post("1011105", "Error", {"x.v"}) +
            post("1011409", "Warning", {"a.net"}) + post("1009992", "Info", {"read"}));
    const child_result result = tool({"log", name});
    EXPECT_EQ(result.out,
              name + "\n"
                     "  started        a day\n"
                     "  version        Zirvane 1.0\n"
                     "  posts          5\n"
                     "\n"
                     "by type\n"
                     "  Error     1  #############\n"
                     "  Warning   3  ########################################\n"
                     "  Info      1  #############\n"
                     "\n"
                     "by number, the most frequent first\n"
                     "  1011409  Warning   3  ####################  UT_IFILE destroyed but file \"b.net\" "
                     "not closed.\n"
                     "  1009992  Info      1  #######               read\n"
                     "  1011105  Error     1  #######               Failed to open file x.v\n"
                     "\n"
                     "first and last\n"
                     "  line 4  1011409  Warning   UT_IFILE destroyed but file \"b.net\" not closed.\n"
                     "  line 8  1009992  Info      read\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeLog, KnowsEveryTypeThatALogHas)
{
    std::string lines;
    for (const char* type : {"Debug", "Status\" ", "Info", "Warning", "Critical", "Error", "Else"}) {
        std::string line = post("1009993", "T");
        line.replace(line.find("T\""), 2, type + std::string(type == "Status\" "s ? "" : "\""));
        lines += line;
    }
    const std::string bar = "  1  ########################################\n";
    EXPECT_THAT(tables(tool({"log", log(lines)}).out),
                StartsWith("\nby type\n  Error   " + bar + "  Critical" + bar + "  Warning " + bar +
                           "  Info    " + bar + "  Status  " + bar + "  Debug   " + bar + "  other   " +
                           bar));
}

TEST_F(KetriopeLog, CountsANumberWithTwoTypesTwice)
{
    const std::string out =
        tool({"log", log(post("1011409", "Error", {"a"}) + repeated(post("1011409", "Warning", {"b"}), 2))})
            .out;
    EXPECT_THAT(out, HasSubstr("\n  1011409  Warning   2  #"));
    EXPECT_THAT(out, HasSubstr("\n  1011409  Error     1  #"));
}

TEST_F(KetriopeLog, TheShortestBarIsOneSign)
{
    const std::string out =
        tool({"log", log(repeated(post("1009993", "Status", {"s"}), 1000) + post("1009990", "Error", {"e"}))})
            .out;
    EXPECT_THAT(out, HasSubstr("\n  Error        1  #\n"));
    EXPECT_THAT(out, HasSubstr("\n  Status    1000  ########################################\n"));
}

TEST_F(KetriopeLog, ReadsArgumentsAsTheyWereBeforeTheyWereLogged)
{
    const std::string out =
        tool({"log",
              log(post("1009992", "Info", {"&lt;a&gt; &amp;&#x9;&quot;b&quot;&#xA;&apos;c&apos; \x80\x01"}))})
            .out;
    EXPECT_THAT(out, HasSubstr("#  <a> & \"b\" 'c' <80><01>\n")) << "a line each, and printable";
}

TEST_F(KetriopeLog, TakesNavigationForNoArgument)
{
    const std::string out =
        tool({"log",
              log("    <postMsg mid=\"9990001\" type=\"Info\" dynamic=\"1\" navigation=\"1\" arg0=\"a\" "
                  "arg1=\"menu\"  />\n")})
            .out;
    EXPECT_THAT(out, EndsWith("  line 4  9990001  Info      a\n"));
}

TEST_F(KetriopeLog, ShowsTheArgumentsOfMessagesThatAreNotInTheCatalogue)
{
    const child_result result = tool({"log", log(post("9990001", "Error", {"one", "two"}))});
    EXPECT_THAT(result.out, EndsWith("  line 4  9990001  Error     one, two\n"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeLog, WithoutACatalogueItWarnsAndShowsArguments)
{
    const std::string name = log(post("1011105", "Error", {"x.v"}));
    const child_result result = tool({"log", name}, {{"FOUNDRY", nullptr}});
    EXPECT_THAT(result.out, EndsWith("  line 4  1011105  Error     x.v\n"));
    EXPECT_EQ(result.err,
              warning("There is no catalogue in reach: fails to load message index file msgindex.xml. Set "
                      "FOUNDRY to the root of an installation."));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeLog, TheTextIsNotFoldedWhateverTheFormatOfMessages)
{
    const std::string name = log(post("1011105", "Error", {std::string(200, 'x')}));
    EXPECT_EQ(tool({"log", name}, {{"QVS_MSGMGR_FORMAT", "3"}}).out, tool({"log", name}).out);
}

TEST_F(KetriopeLog, ALogWithoutPostsIsShort)
{
    const std::string name = log("");
    const child_result result = tool({"log", name});
    EXPECT_EQ(result.out,
              name + "\n  started        a day\n  version        Zirvane 1.0\n  posts          0\n");
    EXPECT_EQ(result.exit_status, 0);
}

// ---- logs that are not whole

TEST_F(KetriopeLog, ReadsALogWithoutItsEnd)
{
    const std::string name = file("run.xml", k_head + post("1009992", "Info", {"a"}));
    const child_result result = tool({"log", name});
    EXPECT_THAT(result.out, EndsWith("  line 4  1009992  Info      a\n"));
    EXPECT_EQ(result.err, warning(k_cut));
    EXPECT_EQ(result.exit_status, 1);
}

TEST_F(KetriopeLog, ReadsALogThatIsCutWithinALine)
{
    const std::string whole =
        k_head + post("1009992", "Info", {"a"}) + post("1009992", "Info", {"b"}) + k_end;
    const std::size_t second = whole.rfind("    <postMsg");
    for (std::size_t size = std::string(k_head).size(); size < whole.size(); ++size) {
        const child_result result = tool({"log", file("run.xml", whole.substr(0, size))});
        const bool within = size > second + 4 && size < whole.find("/>", second) + 2;
        EXPECT_EQ(result.err.find("1 line of the log could not be understood, the first is line 5.") !=
                      std::string::npos,
                  within)
            << size << result.err;
        EXPECT_EQ(result.exit_status, size + 1 < whole.size() ? 1 : 0) << size;
        size += size % 3 == 0 ? 5 : 0;  // a few of them do
    }
}

TEST_F(KetriopeLog, ReadsTheLogOfARunThatWasKilled)
{
    const std::string name = path("killed.xml");
    const child_result run =
        run_child(child_program("ketriope_log_child"), {name, "100", "kill"}, k_plain_environment);
    EXPECT_EQ(run.signal, 9);
    const child_result result = tool({"log", name});
    EXPECT_THAT(result.out, HasSubstr("\n  posts          110\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  Error      10  ####\n  Warning   100  ####"));
    EXPECT_THAT(result.out,
                HasSubstr(" Revision 0 does not match current revision 0 for file \"a \"b\" <c> & 'd'  e.net"
                          "\".\n"));
    EXPECT_EQ(result.err, warning(k_cut));
    EXPECT_EQ(result.exit_status, 1);
}

TEST_F(KetriopeLog, ReadsTheLogOfARunThatEnded)
{
    const std::string name = path("ended.xml");
    run_child(child_program("ketriope_log_child"), {name, "20"}, k_plain_environment);
    const child_result result = tool({"log", name});
    EXPECT_THAT(result.out, HasSubstr("\n  posts          22\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  version        Zirvane (64-bit) "));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeLog, PassesOverLinesThatAreNone)
{
    const std::vector<std::string> k_odd{
        "nonsense\n",
        "    <postMsg mid=\"1\" type=\"Info\" dynamic=\"0\" navigation=\"0\" \n",
        "    <postMsg mid=\"1\" mid=\"2\" type=\"Info\" dynamic=\"0\"/>\n",
        "    <postMsg type=\"Info\" dynamic=\"0\"/>\n",
        "    <postMsg mid=\"1\" type=\"Info dynamic=\"0\"/>\n",
        "    <postMsg mid=\"1\" type=\"&#;\" dynamic=\"&#x;\" & />\n",
        "    <postMsg " + repeated("<a>", 100000) + "/>\n",
        "    <postMsg mid=\"1\" " + repeated("a=\"\" ", 100000) + "/>\n",
        "    <postMsg mid=\"1\0\" type=\"Info\"/>\n"s,
        std::string(100, '\0') + "\n",
        "<postMsg />\n",
    };
    const std::string good = post("1009992", "Info", {"a"});
    for (const std::string& odd : k_odd) {
        const child_result result = tool({"log", log(good + odd + good + odd)});
        EXPECT_THAT(result.out, HasSubstr("\n  posts          2\n")) << odd.substr(0, 80);
        EXPECT_EQ(result.err, warning("2 lines of the log could not be understood, the first is line 5."))
            << odd.substr(0, 80);
        EXPECT_EQ(result.exit_status, 1);
    }
}

TEST_F(KetriopeLog, TakesNonsenseInAPostForWhatItIs)
{
    const child_result result =
        tool({"log", log("<postMsg mid=\"\x1b\xe9%s\" type=\"\" dynamic=\"-1\" arg0=\"a\"/>\n"
                         "<postMsg mid=\"99999999999999\" dynamic=\"2000000000\" arg0=\"a\"/>\n")});
    EXPECT_THAT(result.out, EndsWith("\n  line 4  <1B><E9>%s  other     \n"
                                     "  line 5  99999999999999  other     a\n"));
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeLog, AHeadThatIsMissingOrDamagedIsNoObstacle)
{
    const std::string posts = post("1009992", "Info", {"a"}) + k_end;
    const child_result none = tool({"log", file("run.xml", posts)});
    EXPECT_THAT(none.out, HasSubstr("\n  posts          1\n"));
    EXPECT_EQ(none.err, warning("The log has no head."));
    EXPECT_EQ(none.exit_status, 1);
    // Its name is not escaped, so a path may damage it.
    const child_result odd = tool(
        {"log", file("run.xml", "<messageLogFile name=\"a\"b&c.xml\" version=\"v\" date=\"d\" >\n" + posts)});
    EXPECT_THAT(odd.out, HasSubstr("\n  posts          1\n"));
    EXPECT_EQ(odd.err, "");
}

TEST_F(KetriopeLog, TwoLogsInOneFileAreCountedTogether)
{
    const std::string one = k_head + post("1009992", "Info", {"a"});
    EXPECT_THAT(tool({"log", file("run.xml", one + k_end + one + k_end)}).out,
                HasSubstr("posts          2\n"));
    EXPECT_EQ(tool({"log", file("run.xml", one + k_end + one)}).err, warning(k_cut));
}

TEST_F(KetriopeLog, WhatIsNoLogIsRefused)
{
    for (const std::string& content : {""s, "words\n"s, "<?xml version=\"1.0\"?>\n<messageFile/>\n"s,
                                       std::string(100000, '\0'), std::string(k_end)}) {
        const std::string name = file("run.xml", content);
        const child_result result = tool({"log", name});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, error("Cannot read '" + name + "': it is no message log."));
        EXPECT_EQ(result.exit_status, 2);
    }
}

TEST_F(KetriopeLog, SaysWhyALogCannotBeRead)
{
    EXPECT_EQ(tool({"log", path("none")}).err,
              error("Cannot read '" + path("none") + "': there is no such file."));
    EXPECT_EQ(tool({"log", path("")}).err, error("Cannot read '" + path("") + "': it is a directory."));
    const child_result page = tool({"log", path("none"), "-html", path("page.html")});
    EXPECT_EQ(page.exit_status, 2);
    EXPECT_TRUE(files().empty());
}

TEST_F(KetriopeLog, ReadsAHugeLogInLittleMemory)
{
    const std::string name = path("huge.xml");
    {
        std::ofstream out(name, std::ios::binary);
        out << k_head;
        const std::string some = repeated(post("1011105", "Error", {std::string(400, 'x')}), 1000);
        for (int i = 0; i < 100; ++i) out << some;
        out << k_end;
    }
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const child_result result = tool({"log", name});
#else
    const child_result result =
        tool_under({"/bin/sh", "-c", "ulimit -v 60000; exec \"$@\"", "sh"}, {"log", name});
#endif
    EXPECT_THAT(result.out, HasSubstr("\n  posts          100000\n"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

// ---- as a page

TEST_F(KetriopeLog, WritesOnePageThatNeedsNothingElse)
{
    const std::string name = log(repeated(post("1011105", "Error", {"&lt;b&gt;&amp;&apos;x&quot;"}), 2) +
                                 post("1009992", "Info", {"a"}));
    const child_result result = tool({"log", name, "-html", path("page.html")});
    EXPECT_EQ(result.out, path("page.html") + ": 3 posts\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
    const std::string page = bytes("page.html");
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>\n"));
    EXPECT_THAT(page, EndsWith("</html>\n"));
    EXPECT_THAT(page, HasSubstr("<meta charset=\"utf-8\">"));
    EXPECT_THAT(page, HasSubstr("3 posts, a day, Zirvane 1.0"));
    EXPECT_THAT(page,
                HasSubstr("<td class=\"type\">Error</td><td class=\"count\">2</td><td class=\"bar\"><div "
                          "class=\"Error\" style=\"width: 100.0%\"></div></td>"));
    EXPECT_THAT(page, HasSubstr("<div class=\"Info\" style=\"width: 50.0%\"></div>"));
    EXPECT_THAT(page, HasSubstr("Failed to open file &lt;b&gt;&amp;&#39;x&quot;</td>"));
    EXPECT_THAT(page, Not(HasSubstr("<b>")));
    for (const char* outside : {"http", "src=", "href=", "@import", "url(", "<script"})
        EXPECT_THAT(page, Not(HasSubstr(outside))) << outside;
    EXPECT_THAT(files(), testing::UnorderedElementsAre("run.xml", "page.html"));
}

TEST_F(KetriopeLog, TheOptionMayStandBeforeTheFile)
{
    const std::string name = log(post("1009992", "Info", {"a"}));
    EXPECT_EQ(tool({"log", "-html", path("one.html"), name}).exit_status, 0);
    EXPECT_EQ(tool({"log", name, "-html", path("two.html")}).exit_status, 0);
    EXPECT_EQ(bytes("one.html"), bytes("two.html")) << "the same log gives the same bytes";
    const std::string dashed = file("-html", bytes("run.xml"));
    EXPECT_EQ(tool({"log", "--", dashed}).exit_status, 0);
}

TEST_F(KetriopeLog, APageOfADamagedLogSaysSo)
{
    const std::string name = file("run.xml", k_head + "<x>\n"s);
    const child_result result = tool({"log", name, "-html", path("page.html")});
    EXPECT_EQ(result.exit_status, 1);
    const std::string page = bytes("page.html");
    EXPECT_THAT(
        page,
        HasSubstr("<p class=\"note\">1 line of the log could not be understood, the first is line 4.</p>"));
    EXPECT_THAT(page, HasSubstr("<p class=\"note\">The log has no end lines: "));
    EXPECT_THAT(page, Not(HasSubstr("<table>"))) << "there are no posts";
}

TEST_F(KetriopeLog, APageReplacesAFileOnlyWhenItIsComplete)
{
    const std::string name = log(repeated(post("1009992", "Info", {std::string(400, 'x')}), 3));
    const std::string page = file("page.html", "old");
    // No file may grow beyond one block of 512 bytes.
    const child_result result = tool_under({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh"},
                                           {"log", name, "-html", page});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, error("Cannot write '" + page + "': it grows larger than a file may be."));
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(bytes("page.html"), "old");
    EXPECT_THAT(files(), testing::UnorderedElementsAre("run.xml", "page.html"));
    EXPECT_EQ(tool({"log", name, "-html", page}).exit_status, 0);
    EXPECT_THAT(bytes("page.html"), StartsWith("<!DOCTYPE html>"));
}

TEST_F(KetriopeLog, APageLeavesTheUnfinishedOnesOfOthersAlone)
{
    const std::string name = log(post("1009992", "Info", {"a"}));
    file("page.html.part", "of another run");
    EXPECT_EQ(tool({"log", name, "-html", path("page.html")}).exit_status, 0);
    EXPECT_EQ(bytes("page.html.part"), "of another run");
    EXPECT_THAT(files(), testing::UnorderedElementsAre("run.xml", "page.html", "page.html.part"));
}

TEST_F(KetriopeLog, APageThatCannotBeWrittenSaysWhy)
{
    const std::string name = log(post("1009992", "Info", {"a"}));
    const std::string queue = path("queue");
    ASSERT_EQ(::mkfifo(queue.c_str(), 0600), 0);
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {path(""), "it is a directory"},
        {"/dev/full", "it is neither a file nor a directory"},
        {queue, "it is neither a file nor a directory"},
        {path("none/page.html"), "there is no such file"},
        {name + "/page.html", "a part of its path is not a directory"},
        {path(std::string(300, 'n')), "its name is too long"},
    };
    for (const auto& [page, reason] : k_cases) {
        const child_result result = tool({"log", name, "-html", page});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, error("Cannot write '" + page + "': " + reason + "."));
        EXPECT_EQ(result.exit_status, 2);
    }
}

TEST_F(KetriopeLog, APageIsPlainWhateverIsForcedOnOtherFiles)
{
    const std::string name = log(post("1009992", "Info", {"a"}));
    const child_result result =
        tool({"log", name, "-html", path("page.html")}, {{"QVS_COMP_MAND", "yes"}, {"QVS_COMP_ALG", "GCA"}});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(bytes("page.html"), StartsWith("<!DOCTYPE html>"));
}

}  // namespace
