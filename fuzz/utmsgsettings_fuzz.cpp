// fuzz/utmsgsettings_fuzz.cpp: any settings file is read or refused; one that is refused changes nothing, and
// what one sets is saved and read back. The same bytes serve as help and as navigation data.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_check.h"
#include "message_directory.h"

namespace {

/// All that is set, by number.
struct settings {
    explicit settings(msgDbManager& db)
    {
        for (const bool internal : {false, true}) {
            std::vector<int> numbers;
            std::vector<eMessage_Type> found;
            FUZZ_CHECK(static_cast<std::size_t>(db.findMsgTypeSetting(numbers, found, internal)) ==
                       found.size());
            for (std::size_t i = 0; i < numbers.size(); ++i)
                types.emplace_back(numbers[i], found[i] + internal * 1000);
        }
        std::vector<std::pair<int, int>> found;
        for (const bool internal : {false, true}) {
            db.findMsgDisplayCnt(found, internal);
            counts.insert(counts.end(), found.begin(), found.end());
        }
        warnings = db.isMsgTypePrintable(MSG_WARNING);
        infos = db.isMsgTypePrintable(MSG_INFO);
    }
    bool operator==(const settings&) const = default;

    std::vector<std::pair<int, int>> types;
    std::vector<std::pair<int, int>> counts;
    bool warnings;
    bool infos;
};

msgDbManager& database_with_a_setting()
{
    msgDbManager& db = fresh_database();
    db.setMsgType("3000001", MSG_CRITICAL, true);
    db.disableMsg("3000001", 7);
    return db;
}

void check_settings(const message_directory& directory, std::string_view bytes)
{
    const std::string path = directory.write("in.xml", bytes);
    msgDbManager& db = database_with_a_setting();
    const settings before(db);
    const int read = db.setMsgSetting(path.c_str());
    const settings after(db);
    FUZZ_CHECK(read == 1 || (read == 0 && after == before));
    for (const auto& [number, type] : after.types) {
        const int plain = type % 1000;
        FUZZ_CHECK(plain == 1 || plain == 2 || plain == 4 || plain == 8 || plain == 16);
    }
    for (const auto& [number, count] : after.counts) FUZZ_CHECK(count >= 0);

    const std::string out = directory.path_of("out.xml");
    FUZZ_CHECK(db.saveMsgSetting(out.c_str()) == 1);
    // A number with an entity of a character in it is written as it stands, and read as that character.
    if (bytes.find('&') != bytes.npos) return;
    msgDbManager& again = fresh_database();
    FUZZ_CHECK(again.setMsgSetting(out.c_str()) == 1);
    FUZZ_CHECK(settings(again) == after);
}

void check_help(const message_directory& directory, std::string_view bytes)
{
    directory.write("msgdata/helpid.xml", bytes);
    directory.write("msgdata/navigation.xml", bytes);
    msgDbManager& db = fresh_database();
    for (const char* mid : {"3000001", "3000002", "300", "2147483647", "-1", "x", ""}) {
        std::vector<const char*> out;
        const int count = db.queryMsgHelpDB(mid, out);
        FUZZ_CHECK((count == 0 || count == 3) && static_cast<std::size_t>(count) == out.size());
        std::vector<std::string> menus;
        std::vector<std::string> commands;
        std::vector<std::string> indexes;
        const int functions = db.queryMsgNavigationTools(mid, menus, commands, indexes);
        FUZZ_CHECK(static_cast<std::size_t>(functions) == menus.size());
        FUZZ_CHECK(menus.size() == commands.size() && menus.size() == indexes.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const message_directory directory;
    directory.write("msgdata/msgindex.xml",
                    "<messageIndexFile><msgFile name='tool' fid='300'/></messageIndexFile>");
    directory.write("msgdata/tool.xml",
                    "<messageFile name='tool' fid='300'><messages><msg uid='0001' type='E'/>"
                    "<msg uid='0002' type='W'/></messages></messageFile>");
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    check_settings(directory, bytes);
    check_help(directory, bytes);
    return 0;
}
