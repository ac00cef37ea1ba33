/// \file msgdatabase.h
/// The seam between the legacy messages and the message database.
///
/// The lower floors post through this interface and never name the database's classes. While no
/// database is installed every report goes the legacy way.
#pragma once
#include "startup.h"
#include "uttypes.h"

namespace ketriope {

class message_database {
public:
    /// Posts a broken contract: "common" 0000 with its module, line and text, kept as the error status.
    virtual void post_contract(const char* module, int line, const char* text) = 0;
    /// Posts a catalogued message of a category by its four-digit number.
    virtual void post_numbered(const char* category, const char* number, ut_va_list arguments) = 0;
    /// Posts free text under one of the four seven-digit numbers kept for it.
    virtual void post_text(const char* mid, const char* text) = 0;
    /// Hands over a finished line of the legacy manager with its severity bit.
    virtual void post_finished(int severity, const char* text) = 0;
    /// Switches the display of severities on or off.
    virtual void show_types(int severities, bool on) = 0;

protected:
    ~message_database() = default;
};

/// The installed database, or null.
message_database* installed_database() noexcept;

/// Puts `database` in charge, or none; returns the one before. It is not owned.
message_database* install_database(message_database* database) noexcept;

/// True when `UT_MSGMAN::m_msgFlow` gives the output to a database and there is one.
bool database_in_charge() noexcept;

/// Says that the database could not take a report of the start-up: for the rest of the start-up it is not
/// in charge.
void note_database_refused() noexcept;

/// Lets `post` speak to the database in charge. The result is false when there is none, and the caller
/// then goes the legacy way; so it is, too, for a report of the start-up that the database refuses by a
/// throw, since a tool that cannot start must still say why.
template <class Post>
bool posted_to_database(Post post)
{
    if (!database_in_charge()) return false;
    if (!starting_up()) {
        post(*installed_database());
        return true;
    }
    try {
        post(*installed_database());
        return true;
    } catch (int) {
        note_database_refused();
        return false;
    }
}

}  // namespace ketriope
