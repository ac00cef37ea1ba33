// tests/support/message_files.h: a message database of the test's own, on files that the test writes.
#pragma once
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

#include "msgman.h"
#include "scoped_environment.h"
#include "temp_directory.h"
#include "utmsgdbmanager.h"
#include "utmsgmanager.h"

/// One `msg` of a message file, its values as they stand in the file. Null leaves an attribute out.
struct message_row {
    const char* uid;
    const char* type = nullptr;
    const char* text = nullptr;
    const char* more = "";    ///< further attributes
    const char* inside = "";  ///< elements within it
};

/// One `msgFile` of an index. Null leaves an attribute out.
struct index_row {
    const char* name;
    const char* fid;
    const char* alias = nullptr;
};

/// While one lives, the database of the process is a fresh one that finds its files below `FOUNDRY`, a
/// directory of the test's own: an index that names "common" (100) and "tool" (300), "common" with its
/// four messages for text, and what the test adds. Afterwards all is as it was, the switches included.
///
/// What the debug channel is told is kept for the test to see.
class message_files {
public:
    message_files() : foundry_("FOUNDRY", root_.path().c_str())
    {
        std::filesystem::create_directories(root_ / "msgdata");
        index({{"common", "100"}, {"tool", "300"}});
        file("common", "100",
             {{"9990", "Error", "$$s"},
              {"9991", "Warning", "$$s", "level=\"2\""},
              {"9992", "Info", "$$s"},
              {"9993", "Status", "$$s"}});
        msgManager start_up;
        before_ = msgDbManager::findUniqueDbManager();
        debug_before_ = msgDbManager::g_debugFile;
        flow_before_ = UT_MSGMAN::m_msgFlow;
        put_fresh_one();
        default_switches();
    }
    ~message_files()
    {
        drop_database();
        msgDbManager::setUniqueDbManager(before_);
        msgDbManager::g_debugFile = debug_before_;
        UT_MSGMAN::m_msgFlow = flow_before_;
        default_switches();
    }
    message_files(const message_files&) = delete;
    message_files& operator=(const message_files&) = delete;

    msgDbManager& database() { return *msgDbManager::initMsgDbManager(nullptr); }
    /// Forgets all that was loaded, posted and set.
    void restart()
    {
        drop_database();
        put_fresh_one();
        default_switches();
    }

    std::string path() const { return root_.path(); }
    /// The path of `name` in the root.
    std::string operator/(std::string_view name) const { return root_ / name; }

    // ---- files below msgdata

    void raw_file(const std::string& name, std::string_view bytes)
    {
        write_file(root_ / ("msgdata/" + name), bytes);
    }
    void remove(const std::string& name) { std::filesystem::remove(root_ / ("msgdata/" + name)); }

    void index(std::initializer_list<index_row> rows)
    {
        std::string xml = "<?xml version=\"1.0\"?>\n<messageIndexFile>\n";
        for (const index_row& row : rows)
            xml += "  <msgFile" + attribute("name", row.name) + attribute("fid", row.fid) +
                   attribute("alias", row.alias) + " />\n";
        raw_file("msgindex.xml", xml + "</messageIndexFile>\n");
    }
    /// Writes `name`.xml.
    void file(const char* name, const char* fid, std::initializer_list<message_row> rows)
    {
        std::string xml = "<?xml version=\"1.0\"?>\n<messageFile" + attribute("name", name) +
                          attribute("fid", fid) + ">\n<messages>\n";
        for (const message_row& row : rows)
            xml += "  <msg" + attribute("uid", row.uid) + attribute("type", row.type) +
                   attribute("text", row.text) + " " + row.more + ">" + row.inside + "</msg>\n";
        raw_file(std::string(name) + ".xml", xml + "</messages>\n</messageFile>\n");
    }
    /// Writes the messages of "tool", whose MIDs are 300 and the UID.
    void tool(std::initializer_list<message_row> rows) { file("tool", "300", rows); }

    // ---- the debug channel

    /// All lines so far, each with the place that it came from.
    std::string debug_text() const
    {
        if (msgDbManager::g_debugFile != nullptr) std::fflush(msgDbManager::g_debugFile);
        return file_bytes(root_ / "debug.txt");
    }
    bool debug_says(std::string_view words) const { return debug_text().find(words) != std::string::npos; }

private:
    static std::string attribute(const char* name, const char* value)
    {
        return value != nullptr ? std::string(" ") + name + "=\"" + value + "\"" : "";
    }
    static void default_switches()
    {
        msgCache::msgTypeSetPrintable(MSG_ALL, -1);
        msgCache::g_PrintCount = -1;
        msgCache::g_msgDisplayCntDisabled = false;
    }
    void put_fresh_one()
    {
        msgDbManager::setUniqueDbManager(new msgDbManager);
        msgDbManager::g_debugFile = std::fopen((root_ / "debug.txt").c_str(), "we");
    }
    static void drop_database()
    {
        delete msgDbManager::findUniqueDbManager();  // closes the debug file, too
        msgDbManager::setUniqueDbManager(nullptr);
    }

    temp_directory root_;
    scoped_environment foundry_;
    scoped_environment env_{"ENV", nullptr};
    scoped_environment toolrtf_{"TOOLRTF", nullptr};
    msgDbManager* before_ = nullptr;
    std::FILE* debug_before_ = nullptr;
    int flow_before_ = 1;
};
