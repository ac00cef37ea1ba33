/// \file msgposts.h
/// The posts of the message database by their serial numbers.
#pragma once
#include <array>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "utmsgdbmanager.h"

/// Records in blocks of consecutive numbers, since the numbers rise one by one. A record stays where it is.
class msgDbManager::post_table {
public:
    /// A new record of the message `mid` under `sid`, in the place of an older one.
    msgPosted& make(int sid, const dl_Symbol& mid)
    {
        block& home = block_of(sid);
        msgPosted& post = home.posts[place_in(sid)];
        if (post.m_sid == 0)
            ++home.used;
        else
            forget(post);
        post.m_sid = sid;
        if (post.m_msgSymId_sym == nullptr)
            post.m_msgSymId_sym = new dl_Symbol(mid);
        else
            *post.m_msgSymId_sym = mid;
        return post;
    }
    msgPosted* find(int sid)
    {
        if (sid <= 0) return nullptr;
        block* const home =
            latest_ != nullptr && latest_number_ == number_of(sid) ? latest_ : known_block(sid);
        if (home == nullptr) return nullptr;
        msgPosted& post = home->posts[place_in(sid)];
        return post.m_sid == sid ? &post : nullptr;
    }
    void clear()
    {
        erase_if([](const msgPosted&) { return true; });
    }

    /// Calls `work` for each record, in no particular order.
    template <class Work>
    void for_each(Work work)
    {
        for (const auto& [number, each] : blocks_)
            for (msgPosted& post : each->posts)
                if (post.m_sid != 0) work(post);
    }
    template <class Unwanted>
    void erase_if(Unwanted unwanted)
    {
        latest_ = nullptr;
        for (auto each = blocks_.begin(); each != blocks_.end();) {
            block& home = *each->second;
            for (msgPosted& post : home.posts) {
                if (post.m_sid == 0 || !unwanted(post)) continue;
                forget(post);
                --home.used;
            }
            if (home.used != 0) {
                ++each;
                continue;
            }
            if (spare_.size() < k_most_spare) spare_.push_back(std::move(each->second));
            each = blocks_.erase(each);
        }
    }

private:
    static constexpr unsigned k_block = 64;
    static constexpr std::size_t k_most_spare = 64;

    struct block {
        std::array<msgPosted, k_block> posts;  ///< with the number 0 in free places
        int used = 0;
    };

    static std::size_t place_in(int sid) { return static_cast<unsigned>(sid) % k_block; }
    static unsigned number_of(int sid) { return static_cast<unsigned>(sid) / k_block; }
    /// Makes a place free. Its symbol stays for the next post there.
    static void forget(msgPosted& post)
    {
        post.m_sid = 0;
        post.m_flags = 0;
        post.m_display = 0;
        std::vector<std::string>().swap(post.m_dynamic);
        for (dl_Symbol* each : post.m_navigation) delete each;
        std::vector<dl_Symbol*>().swap(post.m_navigation);
    }
    block* known_block(int sid) const
    {
        const auto found = blocks_.find(number_of(sid));
        return found != blocks_.end() ? found->second.get() : nullptr;
    }
    block& block_of(int sid)
    {
        if (latest_ != nullptr && latest_number_ == number_of(sid)) return *latest_;
        std::unique_ptr<block>& place = blocks_[number_of(sid)];
        if (!place && !spare_.empty()) {
            place = std::move(spare_.back());
            spare_.pop_back();
        }
        if (!place) place = std::make_unique<block>();
        latest_ = place.get();
        latest_number_ = number_of(sid);
        return *latest_;
    }

    std::unordered_map<unsigned, std::unique_ptr<block>> blocks_;
    std::vector<std::unique_ptr<block>> spare_;  ///< a few empty ones, for tools that forget often
    block* latest_ = nullptr;                    ///< the block of the latest post
    unsigned latest_number_ = 0;
};
