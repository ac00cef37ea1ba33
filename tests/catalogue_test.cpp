// tests/catalogue_test.cpp: the messages that the product ships, and that every site of the sources posts
// one of them with the arguments that its template asks for.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml.h>

#include "ascii.h"
#include "message_files.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

const std::string k_root = std::string(TEST_SOURCE_DIR) + "/..";

struct catalogue_row {
    const char* category;
    const char* uid;
    const char* mid;
    const char* type;
    const char* text;
};

constexpr catalogue_row k_rows[] = {
    {"common", "0000", "1000000", "Error", "Internal error in $$s at line $$d: $$s"},
    {"common", "0001", "1000001", "Error", "Memory allocation failed in $$s at line $$d."},
    {"common", "9990", "1009990", "Error", "$$s"},
    {"common", "9991", "1009991", "Warning", "$$s"},
    {"common", "9992", "1009992", "Info", "$$s"},
    {"common", "9993", "1009993", "Status", "$$s"},
    {"framework", "1100", "1011100", "Error", "UT_STROBJ has zero reference count."},
    {"framework", "1101", "1011101", "Error", "UT_STROBJ has NULL buffer"},
    {"framework", "1102", "1011102", "Error", "UT_STROBJ buffer is not terminated correctly"},
    {"framework", "1103", "1011103", "Error", "Bogus offset reading packed data."},
    {"framework", "1104", "1011104", "Error", "No file is open to unload."},
    {"framework", "1105", "1011105", "Error", "Failed to open file $$s"},
    {"framework", "1106", "1011106", "Error", "Nodes list sanity error 2."},
    {"framework", "1107", "1011107", "Error", "Nodes list sanity error 3."},
    {"framework", "1108", "1011108", "Error", "Unable to open command file \"$$s\""},
    {"framework", "1400", "1011400", "Warning", "Can not open unknown ASD file for writing.\\n"},
    {"framework", "1401", "1011401", "Warning", "Cannot open writable file '$$s.asd'.\\n"},
    {"framework", "1402", "1011402", "Warning", "Cannot open writable file '$$s_$$s.asd'.\\n"},
    {"framework", "1406", "1011406", "Warning", "UT_REGEXP: Regular Expression internal foulup"},
    {"framework", "1409", "1011409", "Warning", "UT_IFILE destroyed but file \"$$s\" not closed."},
    {"framework", "1410", "1011410", "Warning", "File \"$$s\" was not closed before file \"$$s\" was opened"},
    {"framework", "1411", "1011411", "Warning",
     "File \"$$s\" was not closed before file \"$$s\" was created"},
    {"framework", "1412", "1011412", "Warning",
     "Revision $$d does not match current revision $$d for file \"$$s\"."},
    {"framework", "1413", "1011413", "Warning", "path '$$s/$$s' ignored  -- exceeds length limit of $$d"},
    {"framework", "1414", "1011414", "Warning",
     "Unable to open $$s.  Did you specify the correct architecture name?"},
    {"framework", "1415", "1011415", "Warning", "UT_REGEXP: Regular Expression corrupted pointers"},
};

// ---- the shipped files as they stand

struct message_entry {
    std::string type;
    std::string level;
    std::string text;
    std::string online;
    std::string help;
};
using catalogue = std::map<std::string, message_entry>;  ///< by MID

std::string text_of(const char* text)
{
    return text != nullptr ? text : "";
}

/// Adds the messages of one shipped file.
void add_file(const std::string& name, const std::string& fid, catalogue& all)
{
    TiXmlDocument document;
    ASSERT_TRUE(document.LoadFile((k_root + "/data/msgdata/" + name + ".xml").c_str()))
        << document.ErrorDesc();
    const TiXmlElement* const file = document.FirstChildElement("messageFile");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(text_of(file->Attribute("vendor")), "Velmora Semiconductor Corporation");
    EXPECT_EQ(text_of(file->Attribute("name")), name);
    EXPECT_EQ(text_of(file->Attribute("fid")), fid);
    const TiXmlElement* each = file->FirstChildElement("messages")->FirstChildElement("msg");
    for (; each != nullptr; each = each->NextSiblingElement("msg")) {
        const TiXmlElement* const help = each->FirstChildElement("help");
        ASSERT_NE(help, nullptr) << text_of(each->Attribute("uid"));
        const message_entry entry{text_of(each->Attribute("type")), text_of(each->Attribute("level")),
                                  text_of(each->Attribute("text")), text_of(help->Attribute("online")),
                                  text_of(help->GetText())};
        EXPECT_TRUE(all.emplace(fid + text_of(each->Attribute("uid")), entry).second) << "a number twice";
    }
}

catalogue shipped()
{
    catalogue all;
    add_file("common", "100", all);
    add_file("framework", "101", all);
    return all;
}

/// How many arguments a template asks for.
std::size_t conversions_of(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find("$$"); at != text.npos; at = text.find("$$", at + 2)) ++count;
    return count;
}

// ---- the sites of the sources

enum class token_kind : unsigned char { word, text, number, mark };

struct token {
    token_kind kind;
    std::string spelled;  ///< of a text what is between its quotes, escapes as they stand
    int line;
};

/// The tokens of a source; comments and single characters are left out.
class lexer {
public:
    explicit lexer(std::string_view source) : rest_(source) {}

    std::vector<token> all()
    {
        std::vector<token> tokens;
        while (!rest_.empty()) next(tokens);
        return tokens;
    }

private:
    void next(std::vector<token>& tokens)
    {
        if (rest_.starts_with("//")) {
            take(rest_.find('\n'));
        } else if (rest_.starts_with("/*")) {
            take(end_of("*/"));
        } else if (rest_.starts_with("R\"")) {
            const std::size_t open = rest_.find('(');
            const std::string close = ")" + std::string(rest_.substr(2, open - 2)) + "\"";
            const std::string whole = take(end_of(close));
            tokens.push_back(
                {token_kind::text, whole.substr(open + 1, whole.size() - open - 1 - close.size()), line_});
        } else if (rest_[0] == '"' || rest_[0] == '\'') {
            const bool is_text = rest_[0] == '"';
            const std::string whole = take(end_of_quoted());
            if (is_text) tokens.push_back({token_kind::text, whole.substr(1, whole.size() - 2), line_});
        } else if (is_word(rest_[0])) {
            const bool is_number = ketriope::is_digit(rest_[0]);
            std::size_t length = 0;
            while (length < rest_.size() && (is_word(rest_[length]) || (is_number && rest_[length] == '\'')))
                ++length;
            tokens.push_back({is_number ? token_kind::number : token_kind::word, take(length), line_});
        } else {
            const std::string mark = take(1);
            if (!ketriope::is_space(mark[0])) tokens.push_back({token_kind::mark, mark, line_});
        }
    }
    std::string take(std::size_t length)
    {
        std::string taken(rest_.substr(0, length));
        rest_.remove_prefix(taken.size());
        line_ += static_cast<int>(std::count(taken.begin(), taken.end(), '\n'));
        return taken;
    }
    std::size_t end_of(std::string_view mark) const
    {
        const std::size_t at = rest_.find(mark, 2);
        return at == rest_.npos ? at : at + mark.size();
    }
    std::size_t end_of_quoted() const
    {
        for (std::size_t at = 1; at < rest_.size(); ++at) {
            if (rest_[at] == '\\')
                ++at;
            else if (rest_[at] == rest_[0])
                return at + 1;
        }
        return rest_.size();
    }
    static bool is_word(char c) { return ketriope::is_letter(c) || ketriope::is_digit(c) || c == '_'; }

    std::string_view rest_;
    int line_ = 1;
};

using token_list = std::vector<token>;
using argument_list = std::vector<token_list>;

/// The arguments behind the opening bracket at `at`.
argument_list arguments_at(const token_list& tokens, std::size_t at)
{
    argument_list arguments;
    int depth = 0;
    for (; at < tokens.size(); ++at) {
        const token& each = tokens[at];
        const bool is_mark = each.kind == token_kind::mark;
        if (is_mark && std::string_view("({[").find(each.spelled) != std::string_view::npos && depth++ == 0)
            continue;
        if (is_mark && std::string_view(")}]").find(each.spelled) != std::string_view::npos && --depth == 0)
            break;
        if (arguments.empty()) arguments.emplace_back();
        if (is_mark && each.spelled == "," && depth == 1)
            arguments.emplace_back();
        else
            arguments.back().push_back(each);
    }
    return arguments;
}

/// The texts of an argument in one, as the compiler joins them.
std::string joined_texts(const token_list& argument)
{
    std::string all;
    for (const token& each : argument)
        if (each.kind == token_kind::text) all += each.spelled;
    return all;
}

bool is_number_of_message(const std::string& text, std::size_t digits)
{
    return text.size() == digits && std::ranges::all_of(text, ketriope::is_digit);
}

/// Looks at every site of one source, and tells what is wrong with it.
class site_walker {
public:
    site_walker(const catalogue& known, std::string name, std::string_view source)
        : known_(known), name_(std::move(name)), tokens_(lexer(source).all())
    {
        find_constants();
        for (std::size_t at = 0; at < tokens_.size(); ++at) look_at(at);
    }
    const std::vector<std::string>& faults() const { return faults_; }
    int sites() const { return sites_; }

private:
    /// Remembers `numbered NAME{...}`.
    void find_constants()
    {
        for (std::size_t at = 0; at + 2 < tokens_.size(); ++at)
            if (tokens_[at].spelled == "numbered" && tokens_[at + 1].kind == token_kind::word &&
                tokens_[at + 2].spelled == "{")
                for (const token_list& part : arguments_at(tokens_, at + 2)) {
                    token_list& all = constants_[tokens_[at + 1].spelled];
                    all.insert(all.end(), part.begin(), part.end());
                }
    }
    void look_at(std::size_t at)
    {
        const token& here = tokens_[at];
        if (here.kind == token_kind::text && is_number_of_message(here.spelled, 7)) look_at_mid(here);
        if (here.kind != token_kind::word || at + 1 >= tokens_.size() || tokens_[at + 1].spelled != "(")
            return;
        const argument_list arguments = arguments_at(tokens_, at + 1);
        if (here.spelled == "numbered_message")
            look_at_numbered(here, arguments);
        else if (here.spelled == "postMsg" || here.spelled == "postErrorStatus")
            look_at_post(here, arguments, 0);
        else if (here.spelled == "postMessage")
            look_at_post(here, arguments, 1);
    }

    /// A whole MID, wherever it stands.
    void look_at_mid(const token& here)
    {
        if (here.spelled == "0000000") return;  // the message system's own, never looked up
        ++sites_;
        if (!known_.contains(here.spelled)) fault(here, here.spelled + " is not in the catalogue");
    }

    void look_at_numbered(const token& here, const argument_list& arguments)
    {
        if (arguments.empty() || arguments[0].empty() || arguments[0][0].spelled == "const")
            return;  // a declaration
        ++sites_;
        const token_list& which =
            arguments[0][0].spelled == "{" ? arguments[0] : constants_[arguments[0].back().spelled];
        std::string number;
        std::string category = "framework";
        bool is_error = false;
        for (const token& each : which) {
            if (each.kind == token_kind::text)
                (is_number_of_message(each.spelled, 4) ? number : category) = each.spelled;
            is_error = is_error || each.spelled.ends_with("error");
        }
        const message_entry* const entry = find(here, number, category);
        if (entry == nullptr) return;
        const std::string format = arguments.size() > 1 ? joined_texts(arguments[1]) : "";
        check_count(here, number, *entry, arguments.size() - std::min<std::size_t>(arguments.size(), 2));
        if (as_template(format) != entry->text) fault(here, number + " has another text: " + format);
        if (entry->type != (is_error ? "Error" : "Warning")) fault(here, number + " has another type");
    }

    /// A post of `numbers[place]`, if that is a number as it stands.
    void look_at_post(const token& here, const argument_list& arguments, std::size_t place)
    {
        if (arguments.size() <= place || arguments[place].size() != 1) return;
        const token& mid = arguments[place][0];
        if (mid.kind == token_kind::word || mid.kind == token_kind::mark) return;
        ++sites_;
        if (mid.spelled == "0003") return;  // this one only ever reached the debug channel
        const message_entry* const entry = find(here, mid.spelled, "");
        if (entry != nullptr) check_count(here, mid.spelled, *entry, arguments.size() - place - 1);
    }

    /// The message of a number of four digits or seven; without a category that of any file.
    const message_entry* find(const token& here, const std::string& number, const std::string& category)
    {
        const std::map<std::string, std::vector<std::string>> fids{
            {"common", {"100"}}, {"framework", {"101"}}, {"", {"", "100", "101"}}};
        const auto files = fids.find(category);
        for (const std::string& fid : files != fids.end() ? files->second : std::vector<std::string>{}) {
            const auto found = known_.find(fid + number);
            if (found != known_.end()) return &found->second;
        }
        fault(here, category + " \"" + number + "\" is not in the catalogue");
        return nullptr;
    }

    void check_count(const token& here, const std::string& number, const message_entry& entry,
                     std::size_t count)
    {
        const std::size_t wanted = conversions_of(entry.text);
        if (count != wanted)
            fault(here, number + " is posted with " + std::to_string(count) + " arguments, not " +
                            std::to_string(wanted));
    }

    static std::string as_template(const std::string& format)
    {
        std::string text;
        for (std::size_t i = 0; i < format.size(); ++i) {
            if (format[i] == '%')
                text += "$$";
            else if (format[i] != '\\' || i + 1 == format.size() || format[i + 1] != '"')
                text += format[i];
        }
        return text;
    }
    void fault(const token& here, const std::string& text)
    {
        faults_.push_back(name_ + ":" + std::to_string(here.line) + ": " + text);
    }

    const catalogue& known_;
    std::string name_;
    token_list tokens_;
    std::map<std::string, token_list> constants_;
    std::vector<std::string> faults_;
    int sites_ = 0;
};

class Catalogue : public testing::Test {
protected:
    std::vector<std::string> faults_of(std::string_view source)
    {
        return site_walker(known_, "s", source).faults();
    }

    const catalogue known_ = shipped();
};

}  // namespace

// ---- what is shipped

TEST_F(Catalogue, HasEachMessageWithItsTypeLevelAndTemplate)
{
    for (const catalogue_row& row : k_rows) {
        const auto found = known_.find(row.mid);
        ASSERT_NE(found, known_.end()) << row.mid;
        EXPECT_EQ(found->second.type, row.type) << row.mid;
        EXPECT_EQ(found->second.level, std::string_view(row.type) == "Warning" ? "2" : "") << row.mid;
        EXPECT_EQ(found->second.text, row.text) << row.mid;
        EXPECT_EQ(found->second.online, std::string(row.category) + "-" + row.uid);
        EXPECT_GT(found->second.help.size(), 30U) << row.mid << " helps nobody";
    }
    EXPECT_EQ(known_.size(), std::size(k_rows));
}

TEST_F(Catalogue, AsksOnlyForTextsAndForNumbers)
{
    for (const auto& [mid, entry] : known_)
        for (std::size_t at = entry.text.find("$$"); at != std::string::npos;
             at = entry.text.find("$$", at + 2))
            EXPECT_THAT(entry.text.substr(at + 2, 1), testing::AnyOf("s", "d")) << mid;
}

TEST_F(Catalogue, AnswersThroughTheDatabase)
{
    message_files files;
    const scoped_environment foundry("FOUNDRY", (k_root + "/data").c_str());
    files.restart();
    std::vector<std::string> names;
    EXPECT_EQ(files.database().getMessageFiles(names), 2);
    EXPECT_THAT(names, UnorderedElementsAre("common", "framework"));
    for (const catalogue_row& row : k_rows) {
        msgManager messages(row.category);
        EXPECT_EQ(messages.getFID() + row.uid, row.mid);
        EXPECT_EQ(messages.getMsgMID(row.category, row.uid), std::atoi(row.mid));
        std::string text;
        EXPECT_EQ(messages.queryMsgString(row.uid, text), 1);
        EXPECT_EQ(text, row.text);
        std::vector<std::string> type;
        EXPECT_EQ(messages.queryMsgDB(row.mid, MSGDB_XML_TYPE, type), 1);
        EXPECT_THAT(type, ElementsAre(row.type));
    }
    std::string told;
    for (const auto item : {MSGDB_FILE_OWNER, MSGDB_FILE_DESCRIPTION})
        for (const char* category : {"common", "framework"})
            EXPECT_EQ(msgManager(category).queryMsgFile(item, told), 1);
    for (const char* trouble : {"does not exist", "invalid entry", "duplicated"})
        EXPECT_FALSE(files.debug_says(trouble)) << trouble;
}

TEST_F(Catalogue, KeepsTheNumbersOfFilesThatAreNotItsOwn)
{
    TiXmlDocument index;
    ASSERT_TRUE(index.LoadFile((k_root + "/data/msgdata/msgindex.xml").c_str()));
    const TiXmlElement* each = index.FirstChildElement("messageIndexFile")->FirstChildElement("msgFile");
    std::map<std::string, std::string> fids;
    for (; each != nullptr; each = each->NextSiblingElement("msgFile"))
        fids[each->Attribute("name")] = each->Attribute("fid");
    EXPECT_EQ(fids, (std::map<std::string, std::string>{{"common", "100"}, {"framework", "101"}}));
}

TEST_F(Catalogue, ComesWithAVersion)
{
    const std::string file = file_bytes(k_root + "/data/orvsys.ini");
    for (const char* key : {"\nMajorVersion=", "\nMinorVersion=", "\nBuildNumber=", "\nPatchNumber="})
        EXPECT_THAT(file, HasSubstr(key));
}

// ---- what the sources post

TEST_F(Catalogue, HoldsWhatEverySitePosts)
{
    int sites = 0;
    for (const char* directory : {"/base", "/tools"})
        for (const auto& each : std::filesystem::recursive_directory_iterator(k_root + directory)) {
            const std::string extension = each.path().extension();
            if (extension != ".cpp" && extension != ".h") continue;
            const site_walker walker(known_, each.path(), file_bytes(each.path()));
            sites += walker.sites();
            EXPECT_THAT(walker.faults(), IsEmpty());
        }
    EXPECT_GE(sites, 15) << "sites are not found any more";
}

TEST_F(Catalogue, FindsASiteWithANumberThatIsNotInIt)
{
    EXPECT_THAT(faults_of("void f() {\n  numbered_message({\"1999\"}, \"x\");\n}"),
                ElementsAre("s:2: framework \"1999\" is not in the catalogue"));
    EXPECT_THAT(
        faults_of("constexpr ketriope::numbered k_x{.number = \"1998\"}; numbered_message(k_x, \"x\");"),
        ElementsAre(HasSubstr("1998")));
    EXPECT_THAT(faults_of("numbered_message(k_unknown, \"x\");"),
                ElementsAre(HasSubstr("is not in the catalogue")));
    EXPECT_THAT(faults_of("numbered_message({.number = \"1105\", .category = \"common\"}, \"x\");"),
                ElementsAre(HasSubstr("common \"1105\"")));
    EXPECT_THAT(faults_of("m.postMsg(\"1777\"); m.postMsg(1011777); m.postErrorStatus(\"0002\", a);"
                          "m.postMessage(1, \"1776\", a); const char* k = \"1009994\";"),
                testing::SizeIs(5));
}

TEST_F(Catalogue, FindsASiteWithAnotherCountOfArguments)
{
    EXPECT_THAT(faults_of("numbered_message({\"1105\", k_error}, \"Failed to open file %s\", a, f(b, c));"),
                ElementsAre("s:1: 1105 is posted with 2 arguments, not 1"));
    EXPECT_THAT(faults_of("m.postMsg(\"1402\", \"a\");"),
                ElementsAre("s:1: 1402 is posted with 1 arguments, not 2"));
    EXPECT_THAT(faults_of("m.postErrorStatus(\"0000\", module, line);"), testing::SizeIs(1));
    EXPECT_THAT(faults_of("m.postMessage(7, 1009990);"), testing::SizeIs(1));
}

TEST_F(Catalogue, FindsASiteWithAnotherTextOrType)
{
    EXPECT_THAT(faults_of("numbered_message({\"1105\", k_error}, \"Failed to open %s\", a);"),
                ElementsAre(HasSubstr("1105 has another text")));
    EXPECT_THAT(faults_of("numbered_message({\"1105\", k_error}, \"Failed to open file %d\", a);"),
                ElementsAre(HasSubstr("1105 has another text")));
    EXPECT_THAT(faults_of("numbered_message({\"1105\"}, \"Failed to open file %s\", a);"),
                ElementsAre(HasSubstr("1105 has another type")));
}

TEST_F(Catalogue, HasNothingToSayOfSitesThatAreRight)
{
    EXPECT_THAT(faults_of(R"(
        // numbered_message({"1999"}, "in a comment");
        /* m.postMsg("1999"); */
        UT_PRINTF_LIKE(2, 3) void numbered_message(const numbered& which, const char* format, ...);
        constexpr numbered k_not_closed{"1410", numbered::legacy::warning, "framework"};
        char quote = '"';
        numbered_message(k_not_closed, "File \"%s\" was not closed before "
                                       "file \"%s\" was opened", old_name(), f(x, "1999"));
        numbered_message({"1400"}, "Can not open unknown ASD file for writing.\n");
        numbered_message({.number = "1108", .route = numbered::legacy::error},
                         "Unable to open command file \"%s\"", name);
        m.postErrorStatus("0000", module, line, text);
        m.postMsg("0001", module, {1, 2}[0]); m.postMsg(mid, a, b, c); m.postMsg(1'009'990 + 0);
        report("1009991", text);
        const char* own = "0000000";
    )"),
                IsEmpty());
}
