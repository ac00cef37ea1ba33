/// \file i/utmsgrecords.h
/// The records of the message database: files, messages, settings, posts and logs.
///
/// Words: a message file has a number, its FID; a message has within it a number of four characters,
/// its UID; both together are the MID, "1011413". A post has a serial number, its SID.
/// Threads: no locks; the records are the database's, which the critical section guards.
#pragma once
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "dlsymbol.h"
#include "utmsgtypes.h"
#include "uttypes.h"

/// One known message file. The index makes two entries for it: one under its name, which holds the
/// document, and one under its FID, which points to the former.
class UT_EXPORT msgFileCache {
public:
    msgFileCache();
    /// Keeps a copy of `key`, the name or the FID of the file.
    explicit msgFileCache(const char* key);
    msgFileCache(const msgFileCache&) = delete;
    msgFileCache& operator=(const msgFileCache&) = delete;
    /// Deletes the document, too.
    ~msgFileCache();

    /// Replaces `out` by the UIDs of the messages as numbers, and returns how many there are.
    int getMessageUIDs(std::vector<int>& out);
    /// Returns the items 8 to 12 of a file that is loaded; null for one that is not, and for other items.
    /// Lifetime: that of the entry.
    const char* getKeyData(eMessageDB_Data item);

    char* m_key;    ///< owned
    char* m_fid;    ///< owned; null if the index has none
    char* m_alias;  ///< owned; null if the index has none
    std::string m_description;
    std::string m_owner;
    void* m_otherDocument;        ///< counts as loaded when set, which the library never does
    TiXmlDocument* m_document;    ///< owned; null until the file is read
    TiXmlElement* m_fileElement;  ///< `messageFile` of the document
    msgFileCache* m_mainEntry;    ///< null in the entry under the name

    /// True when there is a document, or the slot beside it is used.
    bool isLoaded() const { return m_document != nullptr || m_otherDocument != nullptr; }
};

/// The definition of a message that is held in memory and not in a file.
class UT_EXPORT msgInDb {
public:
    const char* m_text = nullptr;
    const char* m_onlineId = nullptr;
    const char* m_webId = nullptr;
    const char* m_navigationTool = nullptr;
    const char* m_alias = nullptr;
    int m_level = 1;
    int m_type = MSG_INFO;
};

/// What a user, or the tool itself, has set for one message.
class UT_EXPORT msgSetting {
public:
    static constexpr int k_no_limit = -1;
    static constexpr int k_no_type = MSG_ALL;

    msgSetting() = default;
    msgSetting(const msgSetting&) = default;
    msgSetting& operator=(const msgSetting&) = default;
    /// Puts count and type back to their defaults.
    ~msgSetting();

    bool m_internal = false;              ///< set by the tool, not by the user
    int m_displayCount = k_no_limit;      ///< 0 hidden, n shown n more times
    int m_type = k_no_type;               ///< takes the place of the message's own type
    std::vector<std::string> m_disabled;  ///< merged arguments for which the message is hidden
};

/// One message, kept for the life of the database once it was looked up.
class UT_EXPORT msgCache {
public:
    explicit msgCache(const char* mid);
    msgCache(const msgCache&) = delete;
    msgCache& operator=(const msgCache&) = delete;
    /// Deletes the definition and the setting.
    ~msgCache();

    const char* msgID() const { return m_mid.c_str(); }
    // Each answers from the message's element, else from its definition; null where there is nothing.
    // Lifetime: that of the record.
    const char* msgString() const;
    const char* msgAlias() const;
    const char* msgWebId() const;
    const char* msgOnLineId() const;
    const char* msgDataSheet() const;
    /// 1 or 2; 0 for a missing or another level. (`msgType` tells a warning without one as "2".)
    int msgLevel() const;
    /// Replaces both by the menus and commands of the message; returns the number of menus.
    int msgNavigationTool(std::vector<std::string>& menus, std::vector<std::string>& commands) const;
    /// Returns the type, with its name in `name`, and for a warning from a file its level in `level`.
    ///
    /// With `useSetting` a type that was set goes before the message's own. A type of no name is
    /// returned as it is, with an empty name; an unknown letter in the file gives 0.
    int msgType(std::string& name, std::string& level, bool useSetting) const;

    /// The type with the setting applied, as `msgType` returns it.
    int shownType() const;
    /// True for a message of a file, or one with a definition.
    bool isDefined() const { return m_element != nullptr || m_record != nullptr; }

    /// Decides whether a post with these arguments is shown: 0 means no, anything else yes.
    ///
    /// With `decrement` the post is counted, in the setting's limit or in the print count.
    int msgIsPrintable(std::vector<std::string>& dynamic, int decrement);
    /// Sets the switch of every severity in `types`: 0 hides, 1 shows, -1 is the default, which shows.
    static void msgTypeSetPrintable(int types, int value);
    /// Tells the switch of the lowest severity of `types` that has one: true unless that is 0.
    static bool msgTypePrintable(int types);

    /// The setting, made if there is none.
    msgSetting& setting();

    std::string m_mid;
    msgInDb* m_record = nullptr;           ///< owned; null for a message of a file
    msgSetting* m_setting = nullptr;       ///< owned; null until one is made
    TiXmlElement* m_element = nullptr;     ///< its `msg` in the file's document; null until found
    std::multiset<std::string> m_printed;  ///< merged arguments, one entry for each time they were shown
    dl_Symbol m_symbol;                    ///< the MID, for the posts of this message

    static int g_ErrorPrint;
    static int g_CriticalPrint;
    static int g_WarningPrint;
    static int g_InfoPrint;
    static int g_StatusPrint;
    static int g_PrintCount;  ///< how often each text of a message is shown; negative for no limit
    static bool g_msgDisplayCntDisabled;  ///< the limits of the settings do not count down

private:
    int ownType() const;
};

/// One post.
class UT_EXPORT msgPosted {
public:
    msgPosted() = default;
    msgPosted(const msgPosted&) = delete;
    msgPosted& operator=(const msgPosted&) = delete;
    ~msgPosted();

    dl_Symbol* m_msgSymId_sym = nullptr;  ///< owned: the MID
    int m_sid = 0;
    unsigned int m_flags = 0;              ///< the caller's
    std::vector<std::string> m_dynamic;    ///< the arguments, long ones reduced
    std::vector<dl_Symbol*> m_navigation;  ///< owned
    int m_display = 0;                     ///< 0: it was not shown
};

/// One open log.
class UT_EXPORT logFileCache {
public:
    /// Takes the next handle.
    logFileCache();
    logFileCache(const logFileCache&) = delete;
    logFileCache& operator=(const logFileCache&) = delete;
    /// Flushes and closes the file, if it is open.
    ~logFileCache();

    /// Writes the end lines and closes the file, once.
    void finish();

    std::string m_name;           ///< the path
    std::FILE* m_file = nullptr;  ///< owned
    int m_types = 7;              ///< the severities that it takes
    unsigned int m_id;            ///< the caller's handle

    static unsigned int logFileCacheId;  ///< the next handle
};
