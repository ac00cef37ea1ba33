// tests/ketriope_catalogue_test.cpp: the commands `catalogue` and `explain` as their parent process sees
// them.
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_process.h"

using std::string_literals::operator""s;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string repeated(std::string_view text, std::size_t times)
{
    std::string all;
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

class KetriopeCatalogue : public tool_test {
protected:
    /// Writes an index of these lines below the root; the first is line 3 of the file.
    void index(const std::string& lines) const
    {
        file("msgdata/msgindex.xml",
             "<?xml version=\"1.0\"?>\n<messageIndexFile>\n" + lines + "</messageIndexFile>\n");
    }
    /// Writes the message file "tool" of these lines; the first is line 4 of the file.
    void messages(const std::string& lines) const
    {
        file("msgdata/tool.xml",
             "<?xml version=\"1.0\"?>\n<messageFile name=\"tool\" fid=\"300\">\n<messages>\n" + lines +
                 "</messages>\n</messageFile>\n");
    }
    void only_tool() const { index("<msgFile name=\"tool\" fid=\"300\"/>\n"); }

    child_result check() const { return tool({"catalogue", "check", path("")}); }
    /// What `catalogue check` says of these lines of a message file, each behind its "<file>:".
    std::string faults_of(const std::string& lines) const
    {
        only_tool();
        messages(lines);
        return faults(check().out, path("msgdata/tool.xml"));
    }
    std::string faults_of_index(const std::string& lines) const
    {
        index(lines);
        messages("");
        return faults(check().out, path("msgdata/msgindex.xml"));
    }
    /// The program on the root of this test.
    child_result here(const words& arguments, child_environment changes = {}) const
    {
        root_ = path("");
        changes.emplace_back("FOUNDRY", root_.c_str());
        return tool(arguments, changes);
    }

private:
    static std::string faults(const std::string& out, const std::string& name)
    {
        std::string found;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with(name + ':')) found += line.substr(name.size() + 1) + '\n';
        return found;
    }

    mutable std::string root_;
};

/// A good message, but for what is put in place of its text.
std::string with_text(const std::string& text)
{
    return "<msg uid=\"0001\" type=\"Error\" text=\"" + text + "\"/>\n";
}

// ---- check

TEST_F(KetriopeCatalogue, CheckOfTheShippedMessagesFindsNoFault)
{
    for (const char* root : {TOOL_FOUNDRY, TEST_SOURCE_DIR "/../data", TEST_SOURCE_DIR "/../data/msgdata",
                             TEST_SOURCE_DIR "/../examples/demo"}) {
        const child_result result = tool({"catalogue", "check", root});
        EXPECT_THAT(result.out, StartsWith("0 faults in ")) << root;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST_F(KetriopeCatalogue, CheckCountsFilesAndMessages)
{
    only_tool();
    messages(with_text("a") + "<msg uid=\"0002\" type=\"Info\" text=\"b\"/>\n");
    EXPECT_EQ(check().out, "0 faults in 2 files with 2 messages\n");
    messages(with_text(""));
    const child_result result = check();
    EXPECT_EQ(result.out, path("msgdata/tool.xml") +
                              ":4: message 0001 has no text\n\n1 fault in 2 files with 1 message\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 1);
}

TEST_F(KetriopeCatalogue, CheckTellsTheLineOfEachFaultyEntry)
{
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"<msg type=\"Error\" text=\"a\"/>\n", "4: an entry has no uid\n"},
        {"<msg uid=\"\" type=\"Error\" text=\"a\"/>\n", "4: an entry has no uid\n"},
        {"<msg uid=\"0001\" text=\"a\"/>\n", "4: message 0001 has no type\n"},
        {"<msg uid=\"0001\" type=\"Error\"/>\n", "4: message 0001 has no text\n"},
        {"\n\n<msg/>\n", "6: an entry has no uid\n6: an entry has no type\n6: an entry has no text\n"},
        {"<msg uid=\"001\" type=\"e\" text=\"a\"/>\n", "4: message 001: its number has to be four digits\n"},
        {"<msg uid=\"00011\" type=\"e\" text=\"a\"/>\n",
         "4: message 00011: its number has to be four digits\n"},
        {"<msg uid=\"00x1\" type=\"e\" text=\"a\"/>\n",
         "4: message 00x1: its number has to be four digits\n"},
        {"<msg uid=\"0001\"\n type=\"x\" text=\"a\"/>\n",
         "5: message 0001 has the type 'x', which is none\n"},
        {"<msg uid=\"0001\" type=\"Wrong\" text=\"a\"/>\n",
         "4: message 0001 has the type 'Wrong', which is read as Warning\n"},
        {"<msg uid=\"0001\" type=\"WARNING\" text=\"a\" level=\"3\"/>\n",
         "4: message 0001 has the level '3', which is neither 1 nor 2\n"},
        {"<msg uid=\"0001\" type=\"Info\" text=\"a\" level=\"3\"/>\n", ""},
        {with_text("a") + "\n" + with_text("b"), "6: '0001' is a key already, in line 4\n"},
    };
    for (const auto& [lines, faults] : k_cases) EXPECT_EQ(faults_of(lines), faults) << lines;
    for (const char* type : {"E", "critical", "Warn", "INFO", "s", "debug"})
        EXPECT_EQ(faults_of("<msg uid=\"0001\" type=\""s + type + "\" text=\"a\"/>\n"), "");
}

TEST_F(KetriopeCatalogue, CheckKnowsEveryConversion)
{
    for (const char* text : {"$$s",       "$$d",    "$$i",      "$$u",    "$$x",
                             "$$X",       "$$c",    "$$f",      "$$ld",   "$$lu",
                             "$$5d",      "$$-5s",  "$$05d",    "$$.3f",  "$$8.3f",
                             "$$-08.3ld", "$$.10s", "$$99999s", "$$s$$d", "100 % of $ 5 \\n\\t\\ %s",
                             "$",         "a$"})
        EXPECT_EQ(faults_of(with_text(text)), "") << text;
}

TEST_F(KetriopeCatalogue, CheckRefusesWhatThePostWouldMakeNoSenseOf)
{
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"$$e", "'$$e' is an unknown conversion"},
        {"$$ s", "'$$ ' is an unknown conversion"},
        {"$$5%", "'$$5%' is an unknown conversion"},
        {"a $$", "'$$' has no conversion"},
        {"a $$5.", "'$$5.' has no conversion"},
        {"$$l", "'$$l' lacks d or u behind the l"},
        {"$$lx", "'$$l' lacks d or u behind the l"},
        {"$$5-d", "'$$5-d' is in no order that sprintf takes"},
        {"$$1.2.3f", "'$$1.2.3f' is in no order that sprintf takes"},
        {"$$.-3f", "'$$.-3f' is in no order that sprintf takes"},
        {"$$05s", "'$$05s' fills a text with zeros, which sprintf refuses"},
        {"$$0c", "'$$0c' fills a text with zeros, which sprintf refuses"},
        {"$$.2c", "'$$.2c' has a precision for a character, which sprintf refuses"},
        {"$$100000d", "'$$100000d' asks for more than 99999 characters"},
        {"$$.123456f", "'$$.123456f' asks for more than 99999 characters"},
    };
    for (const auto& [text, fault] : k_cases)
        EXPECT_EQ(faults_of(with_text(text)), "4: message 0001: " + fault + "\n") << text;
    EXPECT_EQ(faults_of(with_text("$$$$s")), "4: message 0001: '$$$' is an unknown conversion\n");
    EXPECT_EQ(faults_of(with_text("$$e and $$q")), "4: message 0001: '$$e' is an unknown conversion\n"
                                                   "4: message 0001: '$$q' is an unknown conversion\n");
}

TEST_F(KetriopeCatalogue, CheckKnowsTheBoundsOfAText)
{
    EXPECT_EQ(faults_of(with_text(repeated("$$s", 128))), "");
    EXPECT_EQ(faults_of(with_text(repeated("$$s", 129))),
              "4: message 0001: the text has more than 128 arguments\n");
    EXPECT_EQ(faults_of(with_text(std::string(2024, 'x'))), "");
    EXPECT_EQ(faults_of(with_text(std::string(2025, 'x'))),
              "4: message 0001: the text has more than 2024 characters\n");
    EXPECT_EQ(faults_of(with_text(std::string(2023, 'x') + "\\n")), "") << "a line end is one character";
    EXPECT_EQ(faults_of(with_text(std::string(2023, 'x') + "\\q")),
              "4: message 0001: the text has more than 2024 characters\n");
}

TEST_F(KetriopeCatalogue, CheckLooksThroughTheIndex)
{
    const std::string good = "<msgFile name=\"tool\" fid=\"300\" alias=\"t\"/>\n";
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"<msgFile fid=\"300\"/>\n", "3: an entry has no name\n"},
        {"<msgFile name=\"tool\"/>\n", "3: file 'tool' has no fid\n"},
        {"<msgFile name=\"tool\" fid=\"3x\"/>\n", "3: the fid '3x' has to be one to seven digits\n"},
        {"<msgFile name=\"tool\" fid=\"12345678\"/>\n",
         "3: the fid '12345678' has to be one to seven digits\n"},
        {"<msgFile name=\"tool\" fid=\"000\"/>\n", "3: the fid '000' is that of no file\n"},
        {good + good, "4: 'tool' is a key already, in line 3\n4: '300' is a key already, in line 3\n"
                      "4: 't' is a key already, in line 3\n"},
        {good + "\n<msgFile name=\"t\" fid=\"301\"/>\n", "5: 't' is a key already, in line 3\n"},
        {"<msgFile name=\"300\" fid=\"300\" alias=\"300\"/>\n", ""},
        {good, ""},
    };
    for (const auto& [lines, faults] : k_cases) EXPECT_EQ(faults_of_index(lines), faults) << lines;
}

TEST_F(KetriopeCatalogue, CheckComparesAFileWithItsEntryInTheIndex)
{
    only_tool();
    const std::string name =
        file("msgdata/tool.xml", "<messageFile name=\"tul\" fid=\"301\"><messages/></messageFile>");
    EXPECT_THAT(check().out, StartsWith(name + ":1: the name is 'tul', and 'tool' in the index\n" + name +
                                        ":1: the fid is '301', and '300' in the index\n"));
    file("msgdata/tool.xml", "\n<messageFile/>");
    EXPECT_THAT(check().out,
                StartsWith(name + ":2: the file has no name\n" + name + ":2: the file has no fid\n" + name +
                           ":2: there is no element messages\n"));
    file("msgdata/tool.xml", "<messageFiles/>");
    EXPECT_THAT(check().out, StartsWith(name + ":1: there is no element messageFile\n"));
    EXPECT_EQ(check().exit_status, 1);
}

TEST_F(KetriopeCatalogue, CheckTellsWhereAFileIsNoDocument)
{
    const std::string index_name =
        file("msgdata/msgindex.xml", "<messageIndexFile>\n<msgFile name='a' name/>\n");
    EXPECT_EQ(check().out,
              index_name + ":2: Error reading Attributes.\n\n1 fault in 1 file with 0 messages\n");
    EXPECT_EQ(check().exit_status, 1);
    only_tool();
    const std::string name = file("msgdata/tool.xml", repeated("<a>\n", 100000));
    EXPECT_EQ(check().out, name + ":501: Error: the elements are nested too deep.\n\n"
                                  "1 fault in 2 files with 0 messages\n");
    file("msgdata/tool.xml", "");
    EXPECT_THAT(check().out, StartsWith(name));
    EXPECT_EQ(check().exit_status, 1);
}

TEST_F(KetriopeCatalogue, CheckSaysWhichFileCannotBeReadAndGoesOn)
{
    const child_result none = check();
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, error("Cannot read '" + path("msgindex.xml") + "': there is no such file."));
    EXPECT_EQ(none.exit_status, 2);
    index("<msgFile name=\"gone\" fid=\"301\"/>\n<msgFile name=\"tool\" fid=\"300\"/>\n");
    messages(with_text("$$e"));
    const child_result result = check();
    EXPECT_EQ(result.err, error("Cannot read '" + path("msgdata/gone.xml") + "': there is no such file."));
    EXPECT_THAT(result.out,
                EndsWith("'$$e' is an unknown conversion\n\n1 fault in 2 files with 1 message\n"));
    EXPECT_EQ(result.exit_status, 2);
    std::filesystem::create_directories(path("msgdata/gone.xml"));
    EXPECT_EQ(check().err, error("Cannot read '" + path("msgdata/gone.xml") + "': it is a directory."));
}

TEST_F(KetriopeCatalogue, CheckReadsTheDirectoryItIsGivenAndNoOther)
{
    const child_result result = tool({"catalogue", "check", path("")}, {{"ENV", TOOL_FOUNDRY}});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.exit_status, 2);
}

TEST_F(KetriopeCatalogue, CheckShowsFaultsInOneLine)
{
    EXPECT_EQ(faults_of("<msg uid=\"0&#xA;1\" type=\"\x1b\xe9\" text=\"a\"/>\n"),
              "4: message 0 1: its number has to be four digits\n"
              "4: message 0 1 has the type '<1B><E9>', which is none\n");
}

// ---- list

TEST_F(KetriopeCatalogue, ListShowsFilesByNumberWithTheirMessages)
{
    index("<msgFile name=\"later\" fid=\"1000\"/>\n<msgFile name=\"tool\" fid=\"300\"/>\n");
    messages(
        "<msg uid=\"0002\" type=\"w\" text=\"b $$s\\n\"/>\n<msg uid=\"0001\" type=\"Critical\" text=\"a\"/>\n"
        "<msg uid=\"0002\" type=\"e\" text=\"second\"/>\n<msg uid=\"0003\" type=\"e\"/>\n"
        "<msg uid=\"0004\" type=\"x\" text=\"odd&#xA;lines\"/>\n<msg text=\"no number\"/>\n");
    file("msgdata/later.xml", "<messageFile name=\"later\" fid=\"1000\"><description text=\"Of later\"/>"
                              "<messages><msg uid=\"0001\" text=\"c\"/></messages></messageFile>");
    const child_result result = here({"catalogue", "list"});
    EXPECT_EQ(result.out, "tool (300)  no description\n"
                          "  3000002  Warning   b $$s\\n\n"
                          "  3000001  Critical  a\n"
                          "  3000004  ?         odd lines\n"
                          "\n"
                          "later (1000)  Of later\n"
                          "  10000001  Status    c\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeCatalogue, ListSaysWhatCannotBeReadAndShowsTheRest)
{
    index("<msgFile name=\"gone\" fid=\"301\"/>\n<msgFile name=\"no_root\" fid=\"302\"/>\n"
          "<msgFile name=\"no_fid\" fid=\"303\"/>\n<msgFile name=\"tool\" fid=\"300\"/>\n");
    messages(with_text("a"));
    file("msgdata/no_root.xml", "<x/>");
    file("msgdata/no_fid.xml", "<messageFile name=\"no_fid\"/>");
    const child_result result = here({"catalogue", "list"});
    EXPECT_EQ(result.out, "tool (300)  no description\n  3000001  Error     a\n");
    EXPECT_EQ(result.err,
              error("The messages of 'gone' cannot be read: message file <gone> does not exist.") +
                  error("The messages of 'no_fid' cannot be read: message file <no_fid> has no fid or name "
                        "defined.") +
                  error("The messages of 'no_root' cannot be read: message file <no_root> does not have tag "
                        "<messageFile>."));
    EXPECT_EQ(result.exit_status, 2);
}

TEST_F(KetriopeCatalogue, WithoutACatalogueListAndExplainSayWhereItIsLookedFor)
{
    const std::string message =
        error("There is no catalogue in reach: fails to load message index file msgindex.xml. "
              "Set FOUNDRY to the root of an installation.");
    for (const words& arguments : {words{"catalogue", "list"}, words{"explain", "1009990"}}) {
        const child_result result = here(arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, message);
        EXPECT_EQ(result.exit_status, 2);
    }
}

TEST_F(KetriopeCatalogue, EnvGoesBeforeFoundry)
{
    only_tool();
    messages(with_text("mine"));
    const std::string root = path("");
    EXPECT_EQ(tool({"catalogue", "list"}, {{"ENV", root.c_str()}}).out,
              "tool (300)  no description\n  3000001  Error     mine\n");
}

// ---- explain

TEST_F(KetriopeCatalogue, ExplainTellsAllThatAMessageHas)
{
    only_tool();
    messages("<msg uid=\"0007\" type=\"Warning\" level=\"1\" text=\"no $$s\" alias=\"T7\">"
             "<help web=\"http://w\" online=\"o7\" datasheet=\"d7\">" +
             repeated("word ", 20) + "end.</help></msg>\n");
    const child_result result = here({"explain", "3000007"});
    EXPECT_EQ(result.out,
              "3000007\n\n"
              "  no $$s\n\n"
              "  word word word word word word word word word word word word word word word\n"
              "  word word word word word end.\n\n"
              "  type           Warning, level 1\n"
              "  file           tool (300): no description\n"
              "  changed by     a user's setting, or the tool: its type, whether and how often it is shown\n"
              "                 a user may also hide all of type Warning\n"
              "  online help    o7\n"
              "  web help       http://w\n"
              "  data sheet     d7\n"
              "  alias          T7\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exit_status, 0);
}

TEST_F(KetriopeCatalogue, ExplainLeavesOutWhatThereIsNot)
{
    only_tool();
    messages("<msg uid=\"0007\" text=\"done\"/>\n");
    EXPECT_EQ(
        here({"explain", "3000007"}).out,
        "3000007\n\n  done\n\n  type           Status\n  file           tool (300): no description\n"
        "  changed by     a user's setting, or the tool: its type, whether and how often it is shown\n");
}

TEST_F(KetriopeCatalogue, ExplainTellsWhatTheHelpDataAdd)
{
    only_tool();
    messages("<msg uid=\"0007\" type=\"e\" text=\"done\"/>\n");
    file("msgdata/helpid.xml", "<helpidFile><help mid=\"3000001\" range=\"3000009\" href=\"page.html\" "
                               "datasheet=\"sheet.pdf\"/></helpidFile>");
    EXPECT_THAT(here({"explain", "3000007"}).out,
                EndsWith("shown\n  help page      page.html\n  data sheet     sheet.pdf\n"));
}

TEST_F(KetriopeCatalogue, ExplainTellsWhoMayChangeAMessage)
{
    const std::string usual =
        "  changed by     a user's setting, or the tool: its type, whether and how often it is shown\n";
    const std::string finished =
        "                 but not where a tool hands over a finished line: that is always shown\n";
    EXPECT_THAT(
        tool({"explain", "1000000"}).out,
        HasSubstr(
            "  changed by     a user's setting: its type. It is told when a run ends, and never hidden\n"));
    EXPECT_THAT(tool({"explain", "1009990"}).out, HasSubstr(usual + finished + "  online"));
    EXPECT_THAT(tool({"explain", "1009992"}).out,
                HasSubstr(usual + finished + "                 a user may also hide all of type Info\n"));
    EXPECT_THAT(tool({"explain", "1011100"}).out, HasSubstr(usual + "  online"));
    only_tool();
    messages("<msg uid=\"0007\" type=\"Debug\" text=\"step\"/>\n");
    EXPECT_THAT(here({"explain", "3000007"}).out,
                EndsWith(usual + "                 it is shown only while QVS_SHOW_DEBUG_MESSAGE is set\n"));
}

TEST_F(KetriopeCatalogue, ExplainOfWhatIsNoMessageSaysSo)
{
    only_tool();
    messages("<msg uid=\"0003\" type=\"e\"/>\n");
    const std::vector<std::pair<std::string, std::string>> k_cases{
        {"3000001", "There is no message '3000001'."},
        {"3000003", "There is no message '3000003'."},  // its file has it without a text
        {"9990001", "There is no message '9990001'."},
        {"0000000", "There is no message '0000000'."},
        {"1413", "There is no message '1413'. A number has seven digits, those of its file first."},
        {"", "There is no message ''. A number has seven digits, those of its file first."},
        {"%s\x1b", "There is no message '%s<1B>'. A number has seven digits, those of its file first."},
        {std::string(5000, '1'), "There is no message '" + std::string(5000, '1') + "'."},
    };
    for (const auto& [mid, text] : k_cases) {
        const child_result result = here({"explain", mid});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, warning(text));
        EXPECT_EQ(result.exit_status, 1);
    }
}

TEST_F(KetriopeCatalogue, ExplainSurvivesAMalformedFile)
{
    only_tool();
    for (const char* content :
         {"", "<x/>", "<messageFile/>", "<messageFile name='a' fid='300'/>", "<a><a>"}) {
        file("msgdata/tool.xml", content);
        const child_result result = here({"explain", "3000001"});
        EXPECT_EQ(result.err, warning("There is no message '3000001'.")) << content;
        EXPECT_EQ(result.exit_status, 1);
    }
}

TEST_F(KetriopeCatalogue, ExplainFoldsALongText)
{
    only_tool();
    messages(with_text(repeated("long ", 30) + "end"));
    std::istringstream lines(here({"explain", "3000001"}).out);
    for (std::string line; std::getline(lines, line) && !line.starts_with("  type");)
        EXPECT_LE(line.size(), 78U);
}

// ---- the page that is made from the messages

TEST_F(KetriopeCatalogue, ThePageOfAllMessagesHasEachNumberWithItsText)
{
    std::ifstream stream(TEST_SOURCE_DIR "/../docs/messages.md");
    const std::string page{std::istreambuf_iterator<char>(stream), {}};
    std::istringstream lines(tool({"catalogue", "list"}).out);
    int found = 0;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("  ")) continue;
        ++found;
        EXPECT_THAT(page, HasSubstr("\n### " + line.substr(2, 7) + "\n"));
        EXPECT_THAT(page, HasSubstr("\n" + line.substr(line.find_first_not_of(' ', 19)) + "\n")) << line;
    }
    EXPECT_GE(found, 26);
}

}  // namespace
