/// \file i/utmsgcapture.h
/// For tests of tools: the posts between two points, by number, type and arguments.
///
/// A test says what a tool reports, without a look at the console:
/// \code
/// TEST(Reader, WarnsOfAFileThatItCannotFind)
/// {
///     ketriope::post_capture capture;
///     EXPECT_FALSE(read_design("nowhere.v"));
///     EXPECT_TRUE(capture.has("3000012", {"nowhere.v"}));
///     EXPECT_EQ(capture.count(MSG_WARNING), 1U);
///     EXPECT_EQ(capture.count(), 1U);  // and nothing else
/// }
/// \endcode
#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "utmsgtypes.h"
#include "uttypes.h"

namespace ketriope {

/// What one post was.
struct captured_post {
    int sid;
    std::string mid;                     ///< "3000012"
    eMessage_Type type;                  ///< with the settings as they are when the capture is asked
    std::vector<std::string> arguments;  ///< those of the template; of more than 500 characters the ends
};

/// Sees what is posted from its construction on: posts that are shown, and those that a setting hides.
///
/// It only reads the records of the message database, so nothing changes for the tool. Not recorded, and
/// so not seen, are what goes to the console by the legacy manager alone, its status lines, and an error
/// status that no post follows. `resetMsgBuffer` takes posts away from the capture, too.
/// Errors: a type that cannot be told, since the message's file is missing, is MSG_ALL.
/// Threads: posts of all threads are seen; the object belongs to one thread at a time.
/// Cost: each question looks at all posts that are recorded.
class UT_EXPORT post_capture {
public:
    post_capture();

    /// Forgets what was posted so far, and begins anew.
    void restart();
    /// Sets the second point: what is posted from here on is not seen. Without it the capture goes on.
    void stop();

    /// The posts in their order; with `mid`, its seven digits, those of that number.
    std::vector<captured_post> posts() const;
    std::vector<captured_post> posts(const std::string& mid) const;

    /// How many there are: in all, of a number, of the severities in a mask.
    std::size_t count() const;
    std::size_t count(const std::string& mid) const;
    std::size_t count(eMessage_Type types) const;

    /// True if the number was posted, with these very arguments.
    bool has(const std::string& mid) const;
    bool has(const std::string& mid, const std::vector<std::string>& arguments) const;

private:
    std::vector<int> sids() const;

    int before_;     ///< the last post before the first point
    int last_ = -1;  ///< the last post before the second point; -1 while there is none
};

}  // namespace ketriope
