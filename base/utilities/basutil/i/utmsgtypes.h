/// \file i/utmsgtypes.h
/// The severities of the message database, and the items that a message can be asked for.
#pragma once

class UT_MSGMAN;

/// What a message is: bits, so that a mask may name several. The values stand in programs and files.
enum eMessage_Type : int {
    MSG_ERROR = 1,
    MSG_CRITICAL = 2,
    MSG_WARNING = 4,
    MSG_INFO = 8,
    MSG_STATUS = 16,
    MSG_UT_ERROR = 32,      ///< an error of the legacy manager; shown as "Error"
    MSG_UT_FATAL = 64,      ///< a fatal one; shown as "Error"
    MSG_UT_INTERNAL = 128,  ///< an internal one; shown as "Error"
    MSG_DEBUG = 256,        ///< shown only while `QVS_SHOW_DEBUG_MESSAGE` is set
    MSG_ALL = 511
};

constexpr eMessage_Type operator|(eMessage_Type one, eMessage_Type other) noexcept
{
    return static_cast<eMessage_Type>(static_cast<int>(one) | static_cast<int>(other));
}

/// One item of a query. 9 to 12 are those of a message file.
enum eMessageDB_Data : int {
    MSGDB_TEXT = 1,
    MSGDB_INFO_COUNT = 2,
    MSGDB_ONLINE_ID = 3,
    MSGDB_WEB_ID = 4,
    MSGDB_TYPE = 5,  ///< the name of the type, user settings applied
    MSGDB_LEVEL = 6,
    MSGDB_NAVIGATION = 7,
    MSGDB_ALIAS = 8,
    MSGDB_FILE_OWNER = 9,
    MSGDB_FILE_DESCRIPTION = 10,
    MSGDB_FILE_FID = 11,
    MSGDB_FILE_NAME = 12,
    MSGDB_DATASHEET = 13,
    MSGDB_XML_TYPE = 14  ///< the name of the type as the file has it
};
