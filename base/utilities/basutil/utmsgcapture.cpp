// utmsgcapture.cpp
#include "utmsgcapture.h"

#include <algorithm>
#include <optional>

#include "utmsgmanager.h"

namespace ketriope {
namespace {

eMessage_Type type_of(msgManager& messages, int sid)
{
    try {
        std::string name;
        return messages.retrieveMsgType(sid, name);
    } catch (int) {  // there is no catalogue, and only the legacy manager has posted
        return MSG_ALL;
    }
}

/// The post of that number; none if another thread has taken its record away meanwhile.
std::optional<captured_post> find_post(int sid)
{
    msgManager messages;
    captured_post post{.sid = sid, .mid = {}, .type = MSG_ALL, .arguments = {}};
    if (messages.retrieveMsgID(sid, post.mid) == 0) return std::nullopt;
    post.type = type_of(messages, sid);
    messages.retrieveMsgDynamicInfo(sid, post.arguments);
    return post;
}

std::size_t size_of(const std::vector<captured_post>& posts, auto wanted)
{
    return static_cast<std::size_t>(std::ranges::count_if(posts, wanted));
}

}  // namespace

post_capture::post_capture() : before_(msgManager().retrieveLatestMsgPosted()) {}

void post_capture::restart()
{
    before_ = msgManager().retrieveLatestMsgPosted();
    last_ = -1;
}

void post_capture::stop()
{
    last_ = msgManager().retrieveLatestMsgPosted();
}

/// The recorded posts between the two points, in their order.
std::vector<int> post_capture::sids() const
{
    msgManager messages;
    const int last = last_ >= 0 ? last_ : messages.retrieveLatestMsgPosted();
    std::vector<int> found;
    messages.retrieveAllMsgPosted(found);
    // Behind the highest number they begin again with 1.
    const bool began_again = last < before_;
    std::erase_if(found, [&](int sid) {
        return began_again ? sid > last && sid <= before_ : sid <= before_ || sid > last;
    });
    std::ranges::sort(found, {}, [&](int sid) { return std::pair(sid <= before_, sid); });
    return found;
}

std::vector<captured_post> post_capture::posts() const
{
    std::vector<captured_post> found;
    for (const int sid : sids())
        if (auto post = find_post(sid)) found.push_back(*std::move(post));
    return found;
}

std::vector<captured_post> post_capture::posts(const std::string& mid) const
{
    std::vector<captured_post> found = posts();
    std::erase_if(found, [&](const captured_post& post) { return post.mid != mid; });
    return found;
}

std::size_t post_capture::count() const
{
    return sids().size();
}

std::size_t post_capture::count(const std::string& mid) const
{
    return posts(mid).size();
}

std::size_t post_capture::count(eMessage_Type types) const
{
    return size_of(
        posts(), [&](const captured_post& post) { return post.type != MSG_ALL && (post.type & types) != 0; });
}

bool post_capture::has(const std::string& mid) const
{
    return count(mid) > 0;
}

bool post_capture::has(const std::string& mid, const std::vector<std::string>& arguments) const
{
    return size_of(posts(mid), [&](const captured_post& post) { return post.arguments == arguments; }) > 0;
}

}  // namespace ketriope
