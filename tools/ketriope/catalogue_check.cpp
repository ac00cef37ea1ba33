// catalogue_check.cpp: `ketriope catalogue check`.
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "basutfile.h"
#include "command.h"
#include "console.h"
#include "input_file.h"
#include "msgxml.h"
#include "template_check.h"

namespace ketriope::tool {
namespace {

constexpr std::string_view k_digits = "0123456789";
constexpr std::size_t k_uid_digits = 4;
constexpr std::size_t k_most_fid_digits = 7;
constexpr std::string_view k_no_file = "000";  ///< what an object without a category holds
constexpr std::string_view k_types[] = {"Error", "Critical", "Warning", "Info", "Status", "Debug"};

bool is_number(std::string_view text)
{
    return !text.empty() && text.find_first_not_of(k_digits) == std::string_view::npos;
}

constexpr char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// True if `name` is the beginning of `whole`, whatever the case.
bool begins(std::string_view name, std::string_view whole)
{
    const auto same = [](char one, char other) { return lower(one) == lower(other); };
    return name.size() <= whole.size() && std::ranges::equal(name, whole.substr(0, name.size()), same);
}

/// The attribute of that name; null if there is none.
const TiXmlAttribute* attribute(const TiXmlElement& element, std::string_view name)
{
    const TiXmlAttribute* each = element.FirstAttribute();
    while (each != nullptr && each->Name() != name) each = each->Next();
    return each;
}

/// Runs `take` on each child of that name.
void for_each(const TiXmlElement& parent, const char* name, auto take)
{
    const TiXmlElement* each = parent.FirstChildElement(name);
    for (; each != nullptr; each = each->NextSiblingElement(name)) take(*each);
}

/// A file that is looked through, with the faults that were found in it.
class checked_file {
public:
    /// Errors: `root` is null. A file that cannot be read is reported, and `failed` true; one that is no
    /// document, or has another root, is a fault.
    checked_file(const std::string& path, const char* root_name);

    const TiXmlElement* root() const { return root_; }
    bool failed() const { return failed_; }
    const std::string& path() const { return path_; }
    std::size_t faults() const { return faults_; }

    void fault(int line, const std::string& what);
    /// The value of an attribute that must be there; "" and a fault if it is not.
    std::string_view needed(const TiXmlElement& element, const char* name, const std::string& of_what);

private:
    std::string path_;
    std::unique_ptr<TiXmlDocument> document_;
    const TiXmlElement* root_ = nullptr;
    std::size_t faults_ = 0;
    bool failed_ = false;
};

checked_file::checked_file(const std::string& path, const char* root_name) : path_(path)
{
    failed_ = !input_file(path.c_str()).is_open();
    if (failed_) return;
    xml_fault why;
    document_ = load_xml(path, &why);
    if (document_ == nullptr)
        fault(why.line, why.what);
    else if (root_ = document_->FirstChildElement(root_name); root_ == nullptr)
        fault(1, std::string("there is no element ") + root_name);
}

void checked_file::fault(int line, const std::string& what)
{
    ++faults_;
    const std::string place = line > 0 ? ':' + std::to_string(line) : "";
    print(printable(path_) + place + ": " + one_line(what) + '\n');
}

std::string_view checked_file::needed(const TiXmlElement& element, const char* name,
                                      const std::string& of_what)
{
    const char* const value = element.Attribute(name);
    if (value != nullptr && *value != '\0') return value;
    fault(element.Row(), of_what + " has no " + name);
    return "";
}

/// Keys that must be different, each with the line that has it.
class key_list {
public:
    explicit key_list(checked_file& file) : file_(file) {}
    void add(std::string_view key, int line)
    {
        if (key.empty()) return;
        const auto [found, is_new] = lines_.try_emplace(std::string(key), line);
        if (!is_new)
            file_.fault(line, "'" + std::string(key) + "' is a key already, in line " +
                                  std::to_string(found->second));
    }

private:
    checked_file& file_;
    std::map<std::string, int> lines_;
};

// ---- messages

void check_type(checked_file& file, const TiXmlElement& message, const std::string& name)
{
    const std::string_view type = file.needed(message, "type", name);
    if (type.empty()) return;
    const int line = attribute(message, "type")->Row();
    const std::string shown = name + " has the type '" + std::string(type) + "', which is ";
    const auto* const known =
        std::ranges::find_if(k_types, [&](std::string_view each) { return begins(type.substr(0, 1), each); });
    if (known == std::end(k_types)) return file.fault(line, shown + "none");
    if (!begins(type, *known)) return file.fault(line, shown + "read as " + std::string(*known));
    const TiXmlAttribute* const level = attribute(message, "level");
    if (*known != "Warning" || level == nullptr) return;
    const std::string_view value = level->Value();
    if (value != "1" && value != "2")
        file.fault(level->Row(),
                   name + " has the level '" + std::string(value) + "', which is neither 1 nor 2");
}

void check_message(checked_file& file, const TiXmlElement& message, key_list& uids)
{
    const std::string_view uid = file.needed(message, "uid", "an entry");
    const std::string name = uid.empty() ? "an entry" : "message " + std::string(uid);
    if (!uid.empty() && (uid.size() != k_uid_digits || !is_number(uid)))
        file.fault(message.Row(), name + ": its number has to be four digits");
    uids.add(uid, message.Row());
    check_type(file, message, name);
    const std::string_view text = file.needed(message, "text", name);
    if (text.empty()) return;
    const int line = attribute(message, "text")->Row();
    for (std::string& fault : template_faults(text)) file.fault(line, fault.insert(0, name + ": "));
}

/// Looks through a message file. Returns the number of its messages.
std::size_t check_messages(checked_file& file, std::string_view name, std::string_view fid)
{
    const TiXmlElement* const root = file.root();
    if (root == nullptr) return 0;
    const auto compare = [&](const char* which, std::string_view in_index) {
        const std::string_view own = file.needed(*root, which, "the file");
        if (!own.empty() && own != in_index)
            file.fault(root->Row(), std::string("the ") + which + " is '" + std::string(own) + "', and '" +
                                        std::string(in_index) + "' in the index");
    };
    compare("name", name);
    compare("fid", fid);
    const TiXmlElement* const messages = root->FirstChildElement("messages");
    if (messages == nullptr) {
        file.fault(root->Row(), "there is no element messages");
        return 0;
    }
    key_list uids(file);
    std::size_t count = 0;
    for_each(*messages, "msg", [&](const TiXmlElement& message) {
        check_message(file, message, uids);
        ++count;
    });
    return count;
}

// ---- the index

/// A message file that the index names.
struct index_entry {
    std::string name;
    std::string fid;
};

index_entry check_entry(checked_file& index, const TiXmlElement& element, key_list& keys)
{
    const std::string name(index.needed(element, "name", "an entry"));
    const std::string fid(index.needed(element, "fid", name.empty() ? "an entry" : "file '" + name + "'"));
    if (!fid.empty() && (!is_number(fid) || fid.size() > k_most_fid_digits))
        index.fault(element.Row(), "the fid '" + fid + "' has to be one to seven digits");
    if (fid == k_no_file) index.fault(element.Row(), "the fid '000' is that of no file");
    keys.add(name, element.Row());
    if (fid != name) keys.add(fid, element.Row());
    if (const char* alias = element.Attribute("alias"); alias != nullptr && alias != name && alias != fid)
        keys.add(alias, element.Row());
    return {name, fid};
}

/// The files that the index names; those named twice count once.
std::vector<index_entry> check_index(checked_file& index)
{
    std::map<std::string, index_entry> by_name;
    std::vector<index_entry> entries;
    if (index.root() == nullptr) return entries;
    key_list keys(index);
    for_each(*index.root(), "msgFile", [&](const TiXmlElement& element) {
        index_entry entry = check_entry(index, element, keys);
        if (!entry.name.empty() && by_name.try_emplace(entry.name, entry).second)
            entries.push_back(std::move(entry));
    });
    return entries;
}

outcome run(const request& asked)
{
    std::string directory = asked.operands[0];
    while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
    if (ut_file.exist((directory + "/msgdata/msgindex.xml").c_str()) != 0) directory += "/msgdata";
    checked_file index(directory + "/msgindex.xml", "messageIndexFile");
    bool failed = index.failed();
    std::size_t faults = 0;
    std::size_t files = failed ? 0 : 1;
    std::size_t messages = 0;
    for (const index_entry& entry : check_index(index)) {
        checked_file file(directory + '/' + entry.name + ".xml", "messageFile");
        failed = failed || file.failed();
        if (file.failed()) continue;
        ++files;
        messages += check_messages(file, entry.name, entry.fid);
        faults += file.faults();
    }
    faults += index.faults();
    if (files > 0)
        print((faults > 0 ? "\n" : "") + counted(faults, "fault") + " in " + counted(files, "file") +
              " with " + counted(messages, "message") + '\n');
    if (failed) return outcome::failed;
    return faults > 0 ? outcome::negative : outcome::done;
}

constexpr char k_details[] =
    R"(Looks through the message files of a directory: its index msgindex.xml, or that
of its directory msgdata, and each file that the index names. A fault is told as

  <file>:<line>: <what it is>

Faults are: a file that is no such document; keys that two entries have; entries
without name, fid, uid, type or text; a uid that is not four digits; a type or a
level that there is not; a name or fid other than in the index; and texts with
  an unknown conversion, such as $$e, or none behind $$
  width and precision that sprintf would refuse, such as $$5-d or $$05s
  more than 128 arguments, or more than 2024 characters
)";

}  // namespace

constinit const command k_catalogue_check{
    .name = "catalogue check",
    .operands = "<directory>",
    .summary = "look for faults in message files",
    .details = k_details,
    .least = 1,
    .most = 1,
    .run = run,
};

}  // namespace ketriope::tool
