// fuzz/utmsgstore_fuzz.cpp: any index and any message file are read as the parser reads them, or refused, and
// every question then has the same answer again.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <tinyxml.h>

#include "fuzz_check.h"
#include "message_directory.h"
#include "msgxml.h"

using texts = std::vector<std::string>;

namespace {

constexpr std::string_view k_separator = "\n----\n";  ///< between the index and the message file
constexpr std::size_t k_most_asked = 8;               ///< files, and messages of each

std::string printed(const TiXmlDocument& document)
{
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.Str();
}

/// The guarded reading agrees with the parser's own, wherever that is safe to try.
void check_reading(const std::string& path, std::string_view bytes)
{
    const auto document = ketriope::load_xml(path);
    const bool is_plain = std::ranges::all_of(bytes, [](char c) { return c > '\0'; });
    if (!is_plain) return;
    TiXmlDocument peer;
    if (document)
        FUZZ_CHECK(peer.LoadFile(path.c_str()) && printed(*document) == printed(peer));
    else if (std::ranges::count(bytes, '<') <= 500 && bytes.find("<?") == bytes.npos)
        FUZZ_CHECK(!peer.LoadFile(path.c_str()));
}

/// What `work` throws; 0 for nothing. Nothing but the three codes of the store may fly.
template <class Work>
int thrown_by(Work work)
{
    try {
        work();
    } catch (int code) {
        FUZZ_CHECK(code == -1 || code == -2 || code == -3);
        return code;
    }
    return 0;
}

/// All that a message answers.
texts answers_of(msgDbManager& db, const std::string& mid)
{
    texts all;
    for (int item = 0; item <= 15; ++item) {
        texts out;
        const int count = db.queryMsgDB(mid.c_str(), static_cast<eMessageDB_Data>(item), out);
        FUZZ_CHECK(static_cast<std::size_t>(count) == out.size());
        if (item == MSGDB_TYPE || item == MSGDB_XML_TYPE) {
            const std::set<std::string> names{"", "Error", "Critical", "Warning", "Info", "Status", "Debug"};
            for (const std::string& name : out) FUZZ_CHECK(names.contains(name));
        }
        all.insert(all.end(), out.begin(), out.end());
    }
    return all;
}

/// All that the database knows, asked through every door; what it throws, where it throws.
texts told_by(msgDbManager& db)
{
    texts all;
    texts names;
    if (const int code = thrown_by(
            [&] { FUZZ_CHECK(static_cast<std::size_t>(db.getMessageFiles(names)) == names.size()); }))
        return {std::to_string(code)};
    std::ranges::sort(names);
    FUZZ_CHECK(std::ranges::adjacent_find(names) == names.end());
    names.resize(std::min(names.size(), k_most_asked));
    for (const std::string& name : names) {
        std::vector<int> uids;
        all.push_back(name + std::to_string(thrown_by([&] {
                          FUZZ_CHECK(static_cast<std::size_t>(db.getMessages(name.c_str(), uids)) ==
                                     uids.size());
                      })));
        uids.resize(std::min(uids.size(), k_most_asked));
        for (const int uid : uids) all.push_back(std::to_string(uid));
    }
    for (const char* mid : {"3000001", "3000002", "300ab", "1000000", "0000001", "12345670001"})
        all.push_back(mid + std::to_string(thrown_by([&] {
                          const texts answers = answers_of(db, mid);
                          all.insert(all.end(), answers.begin(), answers.end());
                      })));
    return all;
}

void check_editing(msgDbManager& db)
{
    thrown_by([&] {
        if (db.newMsgDB("3000777", "new $$s") == nullptr) return;
        texts out;
        FUZZ_CHECK(db.queryMsgDB("3000777", MSGDB_TEXT, out) == 1 && out[0] == "new $$s");
        FUZZ_CHECK(db.updateMsgString("3000777", "other") != nullptr);
        FUZZ_CHECK(db.updateMsgType("3000777", "Warning", 1) != nullptr);
        FUZZ_CHECK(db.queryMsgDB("3000777", MSGDB_TEXT, out) == 1 && out[0] == "other");
        FUZZ_CHECK(db.queryMsgDB("3000777", MSGDB_XML_TYPE, out) == 1 && out[0] == "Warning");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const message_directory directory;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t middle = std::min(input.find(k_separator), input.size());
    const std::string_view index = input.substr(0, middle);
    const std::string_view file = input.substr(std::min(middle + k_separator.size(), input.size()));
    check_reading(directory.write("msgdata/msgindex.xml", index), index);
    check_reading(directory.write("msgdata/tool.xml", file), file);

    const texts told = told_by(fresh_database());
    FUZZ_CHECK(told_by(*msgDbManager::findUniqueDbManager()) == told);
    check_editing(*msgDbManager::findUniqueDbManager());
    FUZZ_CHECK(told_by(fresh_database()) == told);

    // Whatever the files are, good ones are read in their place.
    directory.write("msgdata/msgindex.xml",
                    "<messageIndexFile><msgFile name='tool' fid='300'/></messageIndexFile>");
    directory.write("msgdata/tool.xml",
                    "<messageFile name='tool' fid='300'><messages><msg uid='0001' text='good'/>"
                    "</messages></messageFile>");
    texts out;
    FUZZ_CHECK(fresh_database().queryMsgDB("3000001", MSGDB_TEXT, out) == 1 && out[0] == "good");
    return 0;
}
