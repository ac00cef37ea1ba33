// tests/support/list_model.h: what the lists and the bags do, told by standard containers.
//
// A pair holds an object of the library and its model. Each step makes one call of both; what they answer
// must be the same. A step returns "", or the name of the call on which they differ.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "basutblist.h"
#include "basutlist.h"

namespace list_model {

/// What the lists hold: some items are equal to others.
struct item {
    int value;
};

/// The items that a byte can name; the last one is none.
inline item* item_of(unsigned number)
{
    static std::array<item, 7> items{{{3}, {1}, {2}, {1}, {3}, {0}, {2}}};
    return number % 8 < items.size() ? &items[number % 8] : nullptr;
}

// ---- UT_LIST

/// The list of the library, with items for data.
class item_list final : public UT_LIST {
public:
    item_list() = default;
    item_list(const item_list&) = delete;
    item_list& operator=(const item_list&) = delete;
    ~item_list() override { freelist(); }
    void freedata(void* data) override { freed_.push_back(static_cast<item*>(data)); }
    unsigned char finddata(void* data, void* key) override
    {
        return key != nullptr && static_cast<item*>(data)->value == static_cast<item*>(key)->value;
    }
    int compdata(void* a, void* b) override
    {
        return static_cast<item*>(a)->value - static_cast<item*>(b)->value;
    }
    const std::vector<item*>& freed() const { return freed_; }

private:
    std::vector<item*> freed_;
};

/// The same over `std::list`, call by call.
class model_of_list {
public:
    using place = std::list<item*>::iterator;

    bool append(item* data) { return add(items_.end(), data); }
    bool push(item* data) { return add(items_.begin(), data); }
    bool insert(item* data)
    {
        if (cursor_ == nowhere) return false;
        return add(cursor_ == before_first ? items_.begin() : std::next(at_), data);
    }
    bool insert(item* after, item* data)
    {
        if (after == nullptr || data == nullptr) return false;
        if (cursor_ == on_item && *at_ == after) return insert(data);
        const place found = std::ranges::find(items_, after);
        return found != items_.end() && add(std::next(found), data);
    }
    bool mergesort(item* data)
    {
        if (data == nullptr) return false;
        const auto above = [&](const item* each) { return each->value > data->value; };
        if (items_.empty() || !above(items_.back())) return append(data);
        return add(std::ranges::find_if(items_, above), data);
    }
    item* pop() { return items_.empty() ? nullptr : take(items_.begin()); }
    item* popend() { return items_.empty() ? nullptr : take(std::prev(items_.end())); }
    bool remove(item* data, bool free_it)
    {
        const place found = std::ranges::find(items_, data);
        if (data == nullptr || found == items_.end()) return false;
        take(found);
        if (free_it) freed_.push_back(data);
        return true;
    }
    bool remove(bool free_it) { return cursor_ == on_item && remove(*at_, free_it); }
    void reset() { cursor_ = before_first; }
    item* getnext()
    {
        if (cursor_ == nowhere) return nullptr;
        stand(cursor_ == before_first ? items_.begin() : std::next(at_));
        return cursor_ == on_item ? *at_ : nullptr;
    }
    item* peeknext() const
    {
        if (cursor_ == nowhere) return nullptr;
        const std::list<item*>::const_iterator next =
            cursor_ == before_first ? items_.begin() : std::next(at_);
        return next != items_.end() ? *next : nullptr;
    }
    item* find(const item* key)
    {
        const place found = std::ranges::find_if(
            items_, [&](const item* each) { return key != nullptr && each->value == key->value; });
        if (found == items_.end()) return nullptr;
        stand(found);
        return *found;
    }
    int count() const { return static_cast<int>(items_.size()); }
    void sort()
    {
        items_.sort([](const item* a, const item* b) { return a->value < b->value; });
        reset();
    }
    void freelist()
    {
        freed_.insert(freed_.end(), items_.begin(), items_.end());
        items_.clear();
        reset();
    }
    const std::list<item*>& items() const { return items_; }
    const std::vector<item*>& freed() const { return freed_; }

private:
    bool add(place before, item* data)
    {
        if (data != nullptr) items_.insert(before, data);
        return data != nullptr;
    }
    item* take(place from)
    {
        item* const data = *from;
        const bool stood_there = cursor_ == on_item && at_ == from;
        const place next = items_.erase(from);
        if (stood_there) stand(next);
        return data;
    }
    void stand(place here)
    {
        cursor_ = here != items_.end() ? on_item : nowhere;
        at_ = here;
    }

    std::list<item*> items_;
    enum { before_first, on_item, nowhere } cursor_ = before_first;
    place at_;
    std::vector<item*> freed_;
};

class list_pair {
public:
    std::string step(unsigned operation, unsigned argument)
    {
        item* const data = item_of(argument);
        item* const other = item_of(argument / 8);
        const bool flag = argument >= 128;
        if (model_.count() == k_most_items) return same("popend", ours_.popend() == model_.popend());
        switch (operation % 18) {
        case 0: return same("append", is(ours_.append(data)) == model_.append(data));
        case 1: return same("pushend", is(ours_.pushend(data)) == model_.append(data));
        case 2: return same("push", is(ours_.push(data)) == model_.push(data));
        case 3: return same("insert", is(ours_.insert(data)) == model_.insert(data));
        case 4:
        case 5: return same("insert behind", is(ours_.insert(other, data)) == model_.insert(other, data));
        case 6: return same("mergesort", is(ours_.mergesort(data)) == model_.mergesort(data));
        case 7: return same("pop", ours_.pop() == model_.pop());
        case 8: return same("popend", ours_.popend() == model_.popend());
        case 9: return same("remove", is(ours_.remove(data, flag)) == model_.remove(data, flag));
        case 10: return same("remove at cursor", is(ours_.remove(flag)) == model_.remove(flag));
        case 11: ours_.reset(); return model_.reset(), "";
        case 12:
        case 13: return same("getnext", ours_.getnext() == model_.getnext());
        case 14: return same("peeknext", ours_.peeknext() == model_.peeknext());
        case 15: return same("find", ours_.find(data) == model_.find(data));
        case 16: return same("count", ours_.count() == model_.count());
        default: return step_of_all(argument);
        }
    }

    /// Compares all elements and all that was freed, and puts the cursors before the first.
    std::string compare()
    {
        ours_.reset();
        model_.reset();
        for (item* each : model_.items())
            if (ours_.getnext() != each) return "elements";
        if (ours_.getnext() != nullptr) return "end";
        ours_.reset();
        return same("freed", ours_.freed() == model_.freed());
    }

private:
    static constexpr int k_most_items = 100;

    static bool is(unsigned char success) { return success != 0; }
    static std::string same(const char* call, bool holds) { return holds ? "" : call; }

    std::string step_of_all(unsigned argument)
    {
        if (argument % 8 != 0) {
            ours_.sort();
            model_.sort();
        } else {
            ours_.freelist();
            model_.freelist();
        }
        return same("count", ours_.count() == model_.count());
    }

    item_list ours_;
    model_of_list model_;
};

// ---- UT_BLIST and UT_BLISTS

/// The blocks of a bag, and one iterator's place in them.
struct model_of_bag {
    struct iterator {
        std::size_t block = 0;
        std::size_t next = 0;
        bool has_block = false;
    };
    struct place {
        std::size_t block;
        std::size_t slot;
        bool operator==(const place&) const = default;
    };
    static constexpr place k_none{SIZE_MAX, SIZE_MAX};

    explicit model_of_bag(std::size_t slots_of_a_block) : slots(slots_of_a_block) {}

    place append(item* data)
    {
        ++count;
        std::size_t slot = slots;
        if (!blocks.empty()) {
            const auto occupied =
                std::find_if(blocks.back().rbegin(), blocks.back().rend(), [](item* at) { return at; });
            slot = static_cast<std::size_t>(blocks.back().rend() - occupied);
        }
        if (slot == slots) {
            blocks.emplace_back(slots, nullptr);
            slot = 0;
        }
        blocks.back()[slot] = data;
        return {blocks.size() - 1, slot};
    }
    place find(const item* data, place hint) const
    {
        if (hint.block < blocks.size() && hint.slot < slots && blocks[hint.block][hint.slot] == data)
            return hint;
        for (std::size_t block = 0; block < blocks.size(); ++block)
            for (std::size_t slot = 0; slot < slots; ++slot)
                if (blocks[block][slot] == data) return {block, slot};
        return k_none;
    }
    bool remove(const item* data, place hint)
    {
        const place found = data != nullptr ? find(data, hint) : k_none;
        if (found == k_none) return false;
        blocks[found.block][found.slot] = nullptr;
        --count;
        return true;
    }
    void reset(iterator& at) const { at = {0, 0, !blocks.empty()}; }
    item* next(iterator& at) const
    {
        if (!at.has_block) return nullptr;
        const std::size_t begun_at = at.next;
        for (; at.block < blocks.size(); ++at.block, at.next = 0)
            while (at.next < slots)
                if (item* const data = blocks[at.block][at.next++]) return data;
        at.block = blocks.size() - 1;
        at.next = begun_at;
        return nullptr;
    }

    std::size_t slots;
    std::size_t count = 0;
    std::vector<std::vector<item*>> blocks;
};

template <class Bag, class Iterator>
class bag_pair {
public:
    explicit bag_pair(unsigned char slots)
        : ours_(std::make_unique<Bag>(slots)), model_(std::max<std::size_t>(slots, 1))
    {
    }
    bag_pair(const bag_pair&) = delete;
    bag_pair& operator=(const bag_pair&) = delete;
    ~bag_pair()
    {
        iterators_.clear();  // before their bag
        clear();             // so that the statistics are level
    }

    std::string step(unsigned operation, unsigned argument)
    {
        item* const data = item_of(argument);
        const bool full = model_.blocks.size() * model_.slots > k_most_slots;
        switch (operation % 16) {
        case 0:
        case 1:
        case 2:
        case 3: return full ? clear() : append(data);
        case 4:
        case 5:
        case 6: return remove(data, argument / 8);
        case 7: return find(data, argument / 8);
        case 8: return begin();
        case 9:
            if (!iterators_.empty()) iterators_.pop_back();
            return "";
        case 10:
            for (auto& each : iterators_) each->reset(model_);
            return "";
        case 11: return argument == 0 ? clear() : "";
        default: break;
        }
        if (iterators_.empty()) return "";
        auto& chosen = *iterators_[argument % iterators_.size()];
        return same("l_next", chosen.ours.l_next() == model_.next(chosen.model));
    }

    /// Compares all elements, the count and the statistics.
    std::string compare()
    {
        std::vector<void*> expected;
        for (const auto& block : model_.blocks)
            for (item* each : block)
                if (each != nullptr) expected.push_back(each);
        Iterator all(ours_.get());
        for (void* each : expected)
            if (all.l_next() != each) return "elements";
        if (all.l_next() != nullptr) return "end";
        if (ours_->get_count() != model_.count) return "get_count";
        const std::size_t bytes = model_.blocks.size() * (model_.slots + 1) * 8;
        return same("get_total_mem", Bag::get_total_mem() - memory_before_ == bytes + sizeof(Bag));
    }

private:
    static constexpr std::size_t k_most_slots = 600;
    static constexpr bool k_tells_positions = std::is_same_v<Bag, UT_BLIST>;

    struct both_iterators {
        both_iterators(Bag* bag, const model_of_bag& blocks) : ours(bag) { blocks.reset(model); }
        void reset(const model_of_bag& blocks)
        {
            ours.reset();
            blocks.reset(model);
        }
        Iterator ours;
        model_of_bag::iterator model;
    };

    static std::string same(const char* call, bool holds) { return holds ? "" : call; }

    std::string append(item* data)
    {
        if constexpr (k_tells_positions) {
            UT_BLIST_BLINK* link = nullptr;
            int index = -1;
            ours_->l_append(data, &link, &index);
            if (data == nullptr) return same("l_append of null", link == nullptr && index == -1);
            const model_of_bag::place put = model_.append(data);
            if (put.block == links_.size()) links_.push_back(link);
            last_put_ = put;
            return same("l_append", links_[put.block] == link && static_cast<std::size_t>(index) == put.slot);
        } else {
            ours_->l_append(data);
            if (data != nullptr) model_.append(data);
            return same("l_append", ours_->get_count() == model_.count);
        }
    }

    /// A hint of the kind that `choice` names: a good one, none, or an index outside its block.
    model_of_bag::place hint(unsigned choice) const
    {
        if (links_.empty() || choice % 4 == 0) return model_of_bag::k_none;
        if (choice % 4 == 1) return {choice % links_.size(), model_.slots + choice};
        if (choice % 4 == 2) return {choice % links_.size(), choice % model_.slots};
        return last_put_;
    }
    UT_BLIST_BLINK* link_of(model_of_bag::place where) const
    {
        return where.block < links_.size() ? links_[where.block] : nullptr;
    }

    std::string find(item* data, unsigned choice)
    {
        const model_of_bag::place where = hint(choice);
        const bool expected = model_.find(data, where) != model_of_bag::k_none;
        if constexpr (k_tells_positions)
            return same("l_find",
                        (ours_->l_find(data, link_of(where), static_cast<int>(where.slot)) != 0) == expected);
        else
            return same("l_find", (ours_->l_find(data) != 0) == expected);
    }

    std::string remove(item* data, unsigned choice)
    {
        const model_of_bag::place where = hint(choice);
        const bool expected = model_.remove(data, where);
        if constexpr (k_tells_positions)
            return same("l_remove", (ours_->l_remove(data, link_of(where), static_cast<int>(where.slot)) !=
                                     0) == expected);
        else
            return same("l_remove", (ours_->l_remove(data) != 0) == expected);
    }

    std::string begin()
    {
        if (iterators_.size() < 4)
            iterators_.push_back(std::make_unique<both_iterators>(ours_.get(), model_));
        return "";
    }

    std::string clear()
    {
        ours_->clear();
        model_.blocks.clear();
        model_.count = 0;
        links_.clear();
        last_put_ = model_of_bag::k_none;
        for (auto& each : iterators_) each->reset(model_);
        return same("clear", ours_->get_count() == 0);
    }

    std::uint32_t memory_before_ = Bag::get_total_mem();
    std::unique_ptr<Bag> ours_;
    model_of_bag model_;
    std::vector<UT_BLIST_BLINK*> links_;  ///< of the blocks in order
    model_of_bag::place last_put_ = model_of_bag::k_none;
    std::vector<std::unique_ptr<both_iterators>> iterators_;
};

}  // namespace list_model
