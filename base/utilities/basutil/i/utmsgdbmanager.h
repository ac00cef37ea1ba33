/// \file i/utmsgdbmanager.h
/// The message database: what messages exist, how each is shown, and where it goes.
///
/// One instance serves the process; tools speak to it through `msgManager`. The messages stand in XML
/// files, one per category, which an index file names. Nothing is loaded before a message asks for it.
/// Trouble of the database itself goes to the debug channel (`postDebugMsg`), silent by default, and to
/// the error status: it is never reported as a message.
/// Errors: a missing index throws the `int` -1, a malformed message file -2 or -3.
/// Threads: the members named here take no lock unless they say so; `msgManager` holds the critical
/// section around them, and leaves it before it calls out.
#pragma once
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <tinyxml.h>

#include "utmsgrecords.h"
#include "utmsgtypes.h"
#include "uttypes.h"

class UT_STREAM;

/// Called for each post in place of the console.
using msgCallback = int (*)(int sid, const char* mid, eMessage_Type type, std::string& text,
                            std::vector<std::string>& dynamic, std::vector<std::string>& navigation);
/// Called for each post in place of the console, with the text as it would be shown.
using msgPostFunction = int (*)(int sid, eMessage_Type type, std::string& text);
/// Called behind each post of one type.
using msgTypeCallback = int (*)(int sid, const char* mid);

/// Posts by severity, in the order error, critical, warning, info, status.
struct UT_EXPORT msgCounters {
    unsigned int m_posted[5] = {};
    /// Adds one for the types 1, 2, 4, 8 and 16; any other counts nowhere.
    void count(int type);
};

class UT_EXPORT msgDbManager {
public:
    // The order of the virtual operations is the order of the slots.

    /// Of an older generation: prints that it is obsolete, then delivers the text. Returns -1.
    virtual int postMsg(eMessage_Type type, const char* text);
    /// Posts a message: records it under the next SID, decides whether it is shown, and delivers it.
    ///
    /// `dynamic` are the arguments of its template, one string each; long ones are reduced.
    /// Returns the SID; -1 for a debug message that is held back and for a message that cannot be made.
    virtual int postMsg(const char* mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation, unsigned int flags);
    virtual ~msgDbManager();

    msgDbManager();
    /// Member by member: a copy shares the records of its source.
    msgDbManager(const msgDbManager&) = default;
    msgDbManager& operator=(const msgDbManager&) = default;

    // ---- the one instance

    /// Returns it, made if there is none; `dir`, if not null, is then the directory of the message files.
    static msgDbManager* initMsgDbManager(const char* dir);
    static msgDbManager* findUniqueDbManager();
    static void setUniqueDbManager(msgDbManager* manager);

    /// The critical section: recursive, and shared by all that reaches the store. Both return 1.
    int msgEnterCriticalSection();
    int msgLeaveCriticalSection();

    // ---- what messages exist

    /// Replaces `uids` by the UIDs of a file, named by name or FID, and returns their number; the file is
    /// loaded if need be.
    int getMessages(const char* fileKey, std::vector<int>& uids);
    /// Replaces `names` by the names of all known files, in no particular order, and returns their number.
    int getMessageFiles(std::vector<std::string>& names);
    /// Saves the index; 0 if none is loaded, or it cannot be written.
    int exportMessageIndexFile(const char* path);
    /// Makes a new message file in memory and enters it in the index document, not in the tables.
    /// Ownership: the caller's. Null if one of the three names is taken.
    msgFileCache* newMsgFile(const char* name, const char* fid, const char* alias);
    /// Adds a message of type Status to a file that is loaded; null if that cannot be.
    msgCache* newMsgDB(const char* mid, const char* text);
    /// Replaces the template of a message; null if there is no such message in a file.
    msgCache* updateMsgString(const char* mid, const char* text);
    /// Replaces the type, and the level unless it is 0.
    msgCache* updateMsgType(const char* mid, const char* typeName, int level);
    /// Replaces `out` by one item of a message; returns how much there is, 0 for none.
    int queryMsgDB(const char* mid, eMessageDB_Data item, std::vector<std::string>& out);

    // ---- posting

    int postMsg(int mid, std::vector<std::string>& dynamic, std::vector<std::string>& navigation,
                unsigned int flags);
    /// Of an older generation: prints that it is obsolete, and does nothing. Returns -1.
    int postMsg(const char*, const char*, const char*, const char*, const char*, const char*,
                std::vector<std::string>*);
    /// Takes a finished line of the legacy manager, outside the rules for catalogued messages.
    ///
    /// Returns its SID, or -1 for a status text and all else that is not recorded. It takes the critical
    /// section by itself, and leaves it while it calls out.
    int postUtMsgMgr(eMessage_Type type, const char* text, int newline);

    /// Keeps a message for who handles the failure; nothing is shown.
    void postErrorStatus(const char* mid, std::vector<std::string>& dynamic,
                         std::vector<std::string>& navigation);
    /// Replaces the three by what is kept; returns the length of the MID, 0 for nothing.
    int findErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation);
    void resetErrorStatus();

    /// Composes the text of a message as it is shown: its label, its template with the arguments in
    /// place, folded if `QVS_MSGMGR_FORMAT` says so. `type` 0 takes the message's own; `bare` leaves the
    /// label out. Returns the text of `out`; null if there is no such message.
    const char* composedMessageDisplay(const char* mid, std::vector<std::string>& dynamic, std::string& out,
                                       int type, bool bare);
    /// Folds a text at `width`, each line ending in a line feed. Returns the length of `out`.
    int formatString(const char* text, std::string& out, int width);

    void setCallbackMsgFun(msgCallback function);
    /// One function for each of the types 1, 2, 4, 8 and 16; other types are ignored.
    void setCallbackMsgFun(msgTypeCallback function, eMessage_Type type);
    msgCallback findCallbackMsgFun() const { return m_callback; }
    msgTypeCallback findCallbackMsgFun(eMessage_Type type);
    /// Puts another function, or none, in the place of a type's call-back and returns the one before.
    msgTypeCallback exchangeTypeCallback(eMessage_Type type, msgTypeCallback function);
    void setPostMsgFun(msgPostFunction function);
    msgPostFunction findPostMsgFun() const { return m_postFunction; }

    /// The record of a post; null if there is none. Lifetime: until `resetMsgBuffer`.
    msgPosted* retrieveMsgPosted(int sid);
    /// Replaces `sids` by those of all recorded posts, in no particular order; returns their number.
    int retrieveAllMsgPosted(std::vector<int>& sids);
    int retrieveLatestMsgPosted() const { return m_lastSid; }
    /// Forgets all posts for MSG_ALL; else those whose type's name begins as a type of the mask does.
    void resetMsgBuffer(eMessage_Type types);

    /// Shown posts of the process, by severity.
    const msgCounters& shownPosts() const { return m_counters; }
    unsigned int getErrorPosted() const { return m_counters.m_posted[0]; }
    unsigned int getCriticalPosted() const { return m_counters.m_posted[1]; }
    unsigned int getWarningPosted() const { return m_counters.m_posted[2]; }
    unsigned int getInfoPosted() const { return m_counters.m_posted[3]; }
    unsigned int getStatusPosted() const { return m_counters.m_posted[4]; }

    // ---- destinations; none of the streams and files is owned

    /// Opens an XML log for the severities of `mask`. Returns its handle, 0 if it cannot be opened.
    unsigned int startMsgLogFile(const char* path, eMessage_Type mask);
    /// Completes a log and closes it; an unknown handle does nothing.
    void finishMsgLogFile(unsigned int id);
    /// Completes and closes all logs.
    void forceClosed();
    /// Standard output is refused in silence: the console is served anyway.
    void addstream(std::ostream& stream);
    void delstream(std::ostream& stream);
    void addUTstream(void* stream);
    void delUTstream(void* stream);
    void addMsgLogFile(std::FILE* file);
    void delMsgLogFile(std::FILE* file);
    /// 1 writes the log line of each post to standard output in place of its text.
    void setMsgPiping(int flag) { m_piping = flag; }
    /// The debug channel of the message system. `QVS_MSGMGR_DEBUG` is 3 when unset, which writes nothing;
    /// 1 writes to standard output, 2 to "qvs_msgmgr_debug.txt", too. It takes no lock.
    void postDebugMsg(const char* text, const char* file, int line);

    // ---- settings, statistics, help

    /// Gives a message another type; `internal` says that the tool wants it, not the user. Returns the
    /// type, 0 for a message that cannot be.
    int setMsgType(const char* mid, eMessage_Type type, bool internal);
    /// Takes the type of a message back, that of all messages for null. Returns 1.
    int resetMsgType(const char* mid);
    // The settings with that flag, by number; each replaces what its vectors hold, and returns the count.
    int findMsgTypeSetting(std::vector<int>& mids, std::vector<eMessage_Type>& types, bool internal);
    int findMsgDisabledSetting(std::vector<int>& mids, bool internal);
    /// Pairs of a number and how often the message is still shown.
    int findMsgDisplayCnt(std::vector<std::pair<int, int>>& out, bool internal);
    /// Shows a message `count` more times; 0 hides it.
    void disableMsg(const char* mid, int count);
    void disableMsg(std::string& mid, int count);
    /// Hides the posts of a message that have these arguments.
    void disableMsg(const char* mid, std::vector<std::string>& dynamic);
    /// Shows a message without limit; the arguments for which it is hidden stay. Null: all messages, and
    /// whatever their arguments.
    void enableMsg(const char* mid);
    void enableMsg(std::string& mid);
    void enableMsg(const char* mid, std::vector<std::string>& dynamic);
    /// The type of a message with its setting applied, MSG_STATUS for one that is not known; 0, with a
    /// line in the debug channel, for a type of no name.
    eMessage_Type findMsgType(const char* mid);
    /// Writes the settings to a file, in the order of the numbers; 0 if it cannot be opened.
    int saveMsgSetting(const char* path);
    /// Reads such a file: 1, or 0 for null and for a file that cannot be read. A faulty entry is told to the
    /// debug channel, and the others count. `fid` goes in front of a MID of four characters.
    int setMsgSetting(const char* path, const std::string& fid = {});
    /// Writes "number=posts" for each message posted, below "[section]". Returns how many messages; 0, and
    /// no file, for none, and 0 if it cannot be opened.
    int saveMsgStatistic(const char* section, const char* path);
    void disableMsgType(int types);
    void enableMsgType(int types);
    void resetMsgTypePrintable(int types);
    bool isMsgTypePrintable(int types) const;
    void setPrintCount(int count);
    /// Appends the attributes "href", "web" and "datasheet" of the help data for a message, null where one
    /// is missing, and returns the size of `out`. Lifetime: that of the database.
    int queryMsgHelpDB(const char* mid, std::vector<const char*>& out);
    /// Replaces the three by the functions that the navigation data has for a message; a missing index reads
    /// "both". Returns how many.
    int queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                std::vector<std::string>& commands, std::vector<std::string>& indexes);
    int queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                std::vector<std::string>& commands);

    static msgDbManager* m_uniqueMsgDbMgr;
    static std::FILE* g_debugFile;  ///< null until the debug channel is opened

protected:
    /// The directory of the message files, found once: "msgdata" below `ENV` or `FOUNDRY`, where there is
    /// an index; "." where none is found.
    const char* getMsgSrcDir();
    /// Loads the index and enters its files. Returns twice the number of its entries, 0 for an index
    /// without a root; 1, with a line in the debug channel, if it is loaded already.
    int buildIndexTableXML();
    void buildIndexTable();
    /// Reads `name`.xml from the first place that has it, or from what the variable "MSG_" and the name
    /// tells. Ownership: the caller's. Null, with an error status, if there is none.
    TiXmlDocument* loadMsgFileXML(const char* name);
    /// The entry of a file by name or FID; null for a file that the index does not name, or that cannot be
    /// read.
    msgFileCache* findMsgFileCacheXML(const char* fidOrName);
    /// As the former, with owner and description; a file that cannot be read gives an entry without a
    /// document.
    msgFileCache* findMsgFileCache(const char* fidOrName);
    /// Makes an entry for a file that the index does not name; null if there is no such file, or its FID
    /// is taken.
    msgFileCache* createMsgFileCacheXML(const char* name);
    msgFileCache* createMsgFileCache(const char* name);
    /// The record of a message, made if there is none.
    msgCache* _getMsgInCache(const char* mid);
    /// Searches a message in its file and binds it to its record, made if `existing` is null.
    ///
    /// Returns `existing` if the file is not known; null for a MID that cannot be one. A message that its
    /// file does not define has a record without an element.
    msgCache* createMsgInCache(const char* mid, msgCache* existing);
    int queryMsgDB(int mid, eMessageDB_Data item, std::vector<std::string>& out);

    int m_lastSid = 0;  ///< of the latest post

private:
    friend class msgManager;

    class post_table;  ///< by SID

    struct help_table;  ///< numbers of messages, with the element that tells about them

    // the store
    [[noreturn]] void fail(int code, const std::string& text);
    void keep_own_status(const std::string& text);
    void debug(const std::string& text, int line = __builtin_LINE());
    msgFileCache* find_entry(const char* key) const;
    void enter(std::shared_ptr<msgFileCache> main, const char* fid, const char* alias);
    msgFileCache* main_entry(const char* fidOrName);
    bool load(msgFileCache& entry);
    msgCache* find_record(const char* mid) const;
    msgCache* findMsg(const char* mid);
    msgCache* find_editable(const char* mid);

    // posting
    msgPosted& record_post(const dl_Symbol& mid, std::vector<std::string> dynamic,
                           const std::vector<std::string>& navigation, unsigned int flags, int display);
    std::vector<std::string> reduced_arguments(std::vector<std::string>& dynamic) const;
    struct worded_message {
        const msgCache* message;
        const char* words;
    };
    worded_message find_worded(const char* mid);
    eMessage_Type type_of(const msgCache& message);
    std::string unlabelled(const std::string& text);
    void compose_display(const msgCache& message, const std::vector<std::string>& dynamic, int type,
                         bool bare, std::string& out);
    bool shows_on_console() const { return m_callback == nullptr && m_postFunction == nullptr; }
    bool has_streams() const;
    void write_to_streams(const std::string& text, bool with_files);
    msgTypeCallback* type_callback(int type);

    // logs
    static std::string log_line(const char* mid, int type, const std::vector<std::string>& dynamic,
                                const std::vector<dl_Symbol*>& navigation);
    bool has_log_for(int type) const;
    void write_to_logs(int type, const std::string& line);

    // settings and help
    std::vector<msgCache*> messages_with_setting() const;
    template <class Take>
    void for_each_setting(bool internal, Take take);
    void read_setting(const TiXmlElement& entry, const std::string& fid);
    void read_disabled(const char* disabled, const char* mid, std::string_view type_name);
    help_table& help_data(std::shared_ptr<help_table>& table, const char* file_name, const char* root_name,
                          const char* entry_name, const char* duplicated);

    std::unordered_map<std::string, std::shared_ptr<msgCache>> m_messages;  ///< by MID
    msgCache* m_latest = nullptr;  ///< the message that was found last
    std::unordered_map<std::string, std::shared_ptr<msgFileCache>> m_files;  ///< by name and by FID
    std::vector<std::shared_ptr<msgFileCache>> m_newFiles;  ///< those that a `msgManager` has made
    std::string m_sourceDir;
    std::shared_ptr<TiXmlDocument> m_index;
    TiXmlElement* m_indexRoot = nullptr;

    msgCallback m_callback = nullptr;
    msgPostFunction m_postFunction = nullptr;
    msgTypeCallback m_typeCallbacks[5] = {};
    std::shared_ptr<post_table> m_posts;
    /// Arguments that their owner has no more use for: the post may keep them instead of a copy.
    const std::vector<std::string>* m_spent = nullptr;
    struct shown_post {
        int sid = 0;
        std::string text;
    };
    shown_post m_shown;  ///< the text of the latest post that streams got and the console did not
    std::shared_ptr<msgPosted> m_errorStatus;
    std::vector<std::ostream*> m_streams;
    std::vector<UT_STREAM*> m_utStreams;
    std::vector<std::FILE*> m_logFiles;
    int m_piping = 0;
    msgCounters m_counters;
    std::unordered_map<unsigned int, std::shared_ptr<logFileCache>> m_logs;  ///< by handle

    std::shared_ptr<help_table> m_help;
    std::shared_ptr<help_table> m_navigation;
};

/// Joins arguments, a blank in front of each, into `out`; returns its length.
UT_EXPORT int mergeDynamicInfo(std::vector<std::string>& args, std::string& out);
/// Replaces `out` by the arguments with those of more than 500 characters cut in their middle. Returns 1.
UT_EXPORT int dynamicDataReduction(std::vector<std::string>& in, std::vector<std::string>& out);
