/// \file msgposts.h
/// The posts of the message database by their serial numbers.
#pragma once
#include <array>
#include <memory>
#include <unordered_map>

#include "utmsgdbmanager.h"

/// Records in blocks of consecutive numbers, since the numbers rise one by one. A record stays where it is.
class msgDbManager::post_table {
public:
    /// A new record under `sid`, in the place of an older one.
    msgPosted& make(int sid)
    {
        block& home = block_of(sid);
        msgPosted& post = home.posts[place_in(sid)];
        if (post.m_sid == 0)
            ++home.used;
        else
            renew(post);
        post.m_sid = sid;
        return post;
    }
    msgPosted* find(int sid)
    {
        const auto found = blocks_.find(sid / k_block);
        if (sid <= 0 || found == blocks_.end()) return nullptr;
        msgPosted& post = found->second->posts[place_in(sid)];
        return post.m_sid == sid ? &post : nullptr;
    }
    void clear() { blocks_.clear(); }

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
        std::erase_if(blocks_, [&](const auto& entry) {
            block& each = *entry.second;
            for (msgPosted& post : each.posts) {
                if (post.m_sid == 0 || !unwanted(post)) continue;
                renew(post);
                --each.used;
            }
            return each.used == 0;
        });
    }

private:
    static constexpr int k_block = 64;

    struct block {
        std::array<msgPosted, k_block> posts;  ///< with the number 0 in free places
        int used = 0;
    };

    static std::size_t place_in(int sid) { return static_cast<std::size_t>(sid % k_block); }
    static void renew(msgPosted& post)
    {
        std::destroy_at(&post);
        std::construct_at(&post);
    }
    block& block_of(int sid)
    {
        std::unique_ptr<block>& place = blocks_[sid / k_block];
        if (!place) place = std::make_unique<block>();
        return *place;
    }

    std::unordered_map<int, std::unique_ptr<block>> blocks_;
};
