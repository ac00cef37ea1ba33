/// \file i/utmsgmanager.h
/// How tools and the library speak to the message database.
///
/// A `msgManager` is a small object that binds one category, that is one message file: a site makes one
/// on the stack, posts, and drops it; a tool may keep one for its counters.
///
/// Numbers: a MID of four characters is a message of this object's file; a longer one names file and
/// message, and so does an integer, printed with seven digits. A SID, the serial number of a post, is
/// positive. Fewer than four characters, an object without a file and a SID that is not known give 0, -1,
/// null or an empty result, and a line in the debug channel.
/// Errors: only the loading of files throws: the `int` -1 for a missing index, -2 or -3 for a malformed
/// message file.
/// Threads: any thread may call; each member holds the critical section of the database for as long as
/// it reads or changes it, and call-backs run outside of it on the posting thread. The counters of an
/// object are not protected.
#pragma once
#include <cstddef>
#include <cstdio>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "utmsgdbmanager.h"
#include "utmsgtypes.h"
#include "uttypes.h"

class UT_EXPORT msgManager {
public:
    /// An object of no category, for messages whose whole MID is given.
    msgManager();
    /// An object of the category of that name. One whose file is not found has no FID, and posts nothing.
    explicit msgManager(const char* category);
    msgManager(const msgManager&) = default;
    msgManager& operator=(const msgManager&) = default;
    ~msgManager() = default;

    /// Objects made with `new` come from a list of those that were deleted before.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

    /// Puts the five counters of this object back to 0. Returns 1.
    int reNew();
    /// The MID of a message as a number; 0 if either is null or there is no such file.
    int getMsgMID(const char* category, const char* uid);

    // ---- posting: the SID of the post; 0 for a message that is not known

    /// Posts a message; behind its number stand the arguments that its template asks for.
    int postMsg(int mid, ...);
    int postMsg(const char* mid, ...);
    /// The same with a word that `retrieveMsgFlag` gives back.
    int postMessage(unsigned flags, int mid, ...);
    int postMessage(unsigned flags, const char* mid, ...);
    int postMsgVaList(const char* mid, ut_va_list args);
    int postMsgVaList(unsigned flags, const char* mid, ut_va_list args);
    /// `first` is the first argument of the template; the list begins with the second.
    int postMsgVaList(const char* mid, std::string& first, ut_va_list args);
    int postMsg(std::string& mid, unsigned flags = 0);
    int postMsg(std::string& mid, std::vector<std::string>& dynamic, unsigned flags = 0);
    int postMsg(std::string& mid, std::vector<std::string>& dynamic, std::vector<std::string>& navigation,
                unsigned flags);
    /// Takes a finished line of the legacy manager.
    int postUtMsgMgr(eMessage_Type type, const char* text, int newline);

    // ---- error status: kept and not shown, until a handler of the failure asks for it

    /// Returns -1 when the message was kept, 0 when it is not known.
    int postErrorStatus(const char* mid, ...);
    int postErrorStatus(const char* mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation);
    int postErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation);
    int findErrorStatus(std::string& mid, std::vector<std::string>& dynamic,
                        std::vector<std::string>& navigation);
    void resetErrorStatus();

    // ---- call-backs

    void setCallbackMsgFun(msgCallback function);
    void setCallbackMsgFun(msgTypeCallback function, eMessage_Type type);
    msgCallback findCallbackMsgFun();
    void setPostMsgFun(msgPostFunction function);
    msgPostFunction findPostMsgFun();

    // ---- text without a post

    int formatString(const char* text, std::string& out, int width);
    /// The text of a message as a post would show it; "" for a message that is not known.
    std::string queryMsgDisplayStr(const char* mid);
    std::string queryMsgDisplayStrVaList(const char* mid, ut_va_list args, bool bare);
    const char* queryMsgDisplayString(const char* mid, std::vector<std::string>& dynamic, std::string& out,
                                      int type, bool bare);

    // ---- queries

    int queryMsgDB(const char* mid, eMessageDB_Data item, std::vector<std::string>& out);
    int queryMsgString(const char* mid, std::string& out);
    int queryMsgAlias(const char* mid, std::string& out);
    int queryMsgOnlineId(const char* mid, std::string& out);
    int queryMsgWebId(const char* mid, std::string& out);
    /// The type as the file has it; MSG_ALL for one without a name.
    eMessage_Type queryMsgXmlType(const char* mid);
    /// The type with the user's settings applied; MSG_ALL for one without a name.
    eMessage_Type queryMsgType(const char* mid);
    int queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                std::vector<std::string>& commands, std::vector<std::string>& indexes);
    int queryMsgNavigationTools(const char* mid, std::vector<std::string>& menus,
                                std::vector<std::string>& commands);
    int queryMsgHelpDB(const char* mid, std::vector<const char*>& out);
    /// One of the items 9 to 12 of this object's file.
    int queryMsgFile(eMessageDB_Data item, std::string& out);

    // ---- posted records

    int retrieveAllMsgPosted(std::vector<int>& sids);
    int retrieveLatestMsgPosted();
    unsigned int retrieveMsgFlag(int sid);
    int retrieveMsgID(int sid, std::string& mid);
    /// Composes a post again, in the display format of now.
    int retrieveMsgString(int sid, std::string& out);
    /// The type of a post and its name; MSG_ALL and "" for a post that is not found.
    eMessage_Type retrieveMsgType(int sid, std::string& name);
    int retrieveMsgDynamicInfo(int sid, std::vector<std::string>& dynamic);
    int retrieveMsgNavigationInfo(int sid, std::vector<std::string>& navigation);
    /// Appends navigation strings to a post.
    int setMsgNavigationInfo(int sid, std::vector<std::string>& navigation);
    void resetMsgBuffer(eMessage_Type types);

    // ---- settings

    int findMsgTypeSetting(std::vector<int>& mids, std::vector<eMessage_Type>& types, bool internal);
    int setMsgSetting(const char* path);
    int setMsgType(const char* mid, eMessage_Type type, bool internal = false);
    int resetMsgType(const char* mid);
    int saveMsgSetting(const char* path);
    void disableMsg(const char* mid, int count);
    void disableMsg(std::string& mid, int count);
    void disableMsg(const char* mid, std::vector<std::string>& dynamic);
    void enableMsg(const char* mid);
    void enableMsg(std::string& mid);
    void enableMsg(const char* mid, std::vector<std::string>& dynamic);
    int findMsgDisabledSetting(std::vector<int>& mids, bool internal);
    int findMsgDisplayCnt(std::vector<std::pair<int, int>>& out, bool internal);
    eMessage_Type findMsgType(const char* mid);
    void disableMsgType(int types);
    void enableMsgType(int types);
    void resetMsgTypePrintable(int types);
    bool isMsgTypePrintable(int types);
    void setPrintCount(int count);
    void resetPrintCount();
    static void setMsgDisplayCntDisabled(bool disabled);

    // ---- destinations

    void setMsgPiping(int flag);
    unsigned int startMsgLogFile(const char* path, eMessage_Type mask);
    void finishMsgLogFile(unsigned int id);
    void addMsgLogFile(std::FILE* file);
    void delMsgLogFile(std::FILE* file);
    void addUTstream(void* stream);
    void delUTstream(void* stream);
    void addstream(std::ostream& stream);
    void delstream(std::ostream& stream);
    /// Takes no lock.
    void postDebugMsg(const char* text, const char* file, int line);

    // ---- counters: of this object, or with `own` 0 the shown posts of the process

    unsigned int getErrorPosted(int own);
    unsigned int getCriticalPosted(int own);
    unsigned int getWarningPosted(int own);
    unsigned int getInfoPosted(int own);
    unsigned int getStatusPosted(int own);

    // ---- statistics and the numbers of other message systems

    int saveMsgStatistic(const char* section, const char* path);
    using outer_ids = std::map<std::string, std::map<std::string, std::pair<std::string, unsigned int>>>;
    void storeVerificMsgID(std::string a, std::string b, std::string c, unsigned int d);
    outer_ids retrieveVerificMsgIDs();
    void clearVerificMsgIDs();
    std::string queryInternalMsgId(const char* externalId);
    std::string queryExternalMsgId(const char* mid);
    bool saveSynpMsgFilterFile(const char* path);

    // ---- editing the store

    int getMessages(std::vector<int>& uids);
    int exportMessageIndexFile(const char* path);
    /// Saves the document of this object's file; 0 if there is none.
    int exportMessageFile(const char* path);
    int newMsgDB(const char* mid, const char* text);
    int updateMsgString(const char* mid, const char* text);
    int updateMsgType(const char* mid, const char* typeName, int level);
    /// Binds this object to a new file, which lives as long as the database; null if a name is taken.
    msgManager* newMsgFile(const char* name, const char* fid, const char* alias);

    /// Retired: prints that it is, and returns 1.
    int updateMsgDB();
    /// Retired: return 0.
    int updateMsgFile();
    int queryMsgInfoCount();

    /// Completes all logs and ends the database; a report that comes later makes a new one, which stays.
    static void endMessages();

    /// The FID of this object's file, "000" for an object of no category.
    const std::string& getFID() const { return m_fid; }

    static int m_initialized;              ///< 1 once start-up has run
    static msgManager* msgManagerInitPtr;  ///< held for the life of the process

protected:
    /// Start-up: the exit handler, the terminate handler, the database.
    void msgManagerInitSetting(int);

private:
    /// An empty object, made during start-up.
    explicit msgManager(int);

    struct complaint;
    bool whole_mid(const char* mid, std::string& whole, const complaint& otherwise) const;
    int post_list(unsigned flags, const char* mid, const std::string* first, ut_va_list args);
    template <class Prepare>
    int post_whole(const std::string& mid, std::vector<std::string>& dynamic,
                   std::vector<std::string>& navigation, unsigned flags, Prepare prepare);
    int query_text(const char* mid, eMessageDB_Data item, std::string& out);
    eMessage_Type query_type(const char* mid, eMessageDB_Data item);
    unsigned int posted(int own, std::size_t index);

    static std::string& s_msgSettingFile();  ///< the file of settings that was read last
    static outer_ids& m_verificMsgIDMap();
    static std::map<std::string, std::string>& m_synpMsgIDMap();  ///< MIDs by another tool's numbers

    std::string m_fid;
    msgFileCache* m_file = nullptr;
    msgCounters m_counters;
};
