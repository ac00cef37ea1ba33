// tests/support/tree_model.h: what a balanced tree must be, found from the heights of its sides, and a
// tree of the library that is driven beside it.
//
// The model shares nothing with the library: it knows no balances, but measures every side anew, and what
// it says of a node's balance follows from that.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "basutbtree.h"

namespace tree_model {

struct node;
using link = std::unique_ptr<node>;

struct node {
    int key;
    void* data = nullptr;
    link left;  ///< the larger keys
    link right;
};

inline int height(const link& root)
{
    return root ? 1 + std::max(height(root->left), height(root->right)) : 0;
}

inline int balance_of(int left, int right)
{
    return left > right ? 1 : left < right ? 0 : 2;
}

inline int balance(const node& root)
{
    return balance_of(height(root.left), height(root.right));
}

/// What stands on `side` becomes the root of the subtree, and the root goes to its `other` side.
inline void turn(link& root, link node::*side, link node::*other)
{
    link child = std::move((*root).*side);
    (*root).*side = std::move((*child).*other);
    (*child).*other = std::move(root);
    root = std::move(child);
}

/// Makes a subtree balanced whose two sides are, and whose heights differ by no more than two.
inline void mend(link& root)
{
    const int lean = height(root->left) - height(root->right);
    if (lean > 1) {
        if (balance(*root->left) == 0) turn(root->left, &node::right, &node::left);
        turn(root, &node::left, &node::right);
    } else if (lean < -1) {
        if (balance(*root->right) == 1) turn(root->right, &node::left, &node::right);
        turn(root, &node::right, &node::left);
    }
}

inline link& side_of(node& root, int key)
{
    return key > root.key ? root.left : root.right;
}

/// The node of `key`, made if it is not there.
inline node& add(link& root, int key)
{
    if (!root) {
        root = std::make_unique<node>(node{key, nullptr, nullptr, nullptr});
        return *root;
    }
    if (root->key == key) return *root;
    node& found = add(side_of(*root, key), key);
    mend(root);
    return found;
}

/// Takes the rightmost node out; its key and data go to `emptied`.
inline void take_rightmost(link& root, node& emptied)
{
    if (root->right) {
        take_rightmost(root->right, emptied);
        return mend(root);
    }
    emptied.key = root->key;
    emptied.data = root->data;
    root = link(std::move(root->left));
}

inline void remove(link& root, int key)
{
    if (!root) return;
    if (root->key != key)
        remove(side_of(*root, key), key);
    else if (root->left && root->right)
        take_rightmost(root->left, *root);
    else
        root = link(std::move(root->left ? root->left : root->right));
    if (root) mend(root);
}

/// The node of `key`, or null; `met` counts the nodes on the way to it.
inline node* find(const link& root, int key, int& met)
{
    if (!root) return nullptr;
    ++met;
    return root->key == key ? root.get() : find(side_of(*root, key), key, met);
}

/// The nodes in one of the six orders, each with its depth.
using visits = std::vector<std::pair<const node*, int>>;
inline void visit(const link& root, int order, int depth, visits& out)
{
    if (!root) return;
    const auto left = [&] { visit(root->left, order, depth + 1, out); };
    const auto right = [&] { visit(root->right, order, depth + 1, out); };
    const auto here = [&] { out.emplace_back(root.get(), depth); };
    switch (order) {
    case 0: left(), here(), right(); break;
    case 1: left(), right(), here(); break;
    case 2: right(), here(), left(); break;
    case 3: right(), left(), here(); break;
    case 4: here(), left(), right(); break;
    case 5: here(), right(), left(); break;
    default: break;
    }
}

/// "5(3,1)": a node and its two sides; "-" for none.
inline std::string shape(const link& root)
{
    if (!root) return "-";
    std::string result = std::to_string(root->key);
    if (root->left || root->right) result += "(" + shape(root->left) + "," + shape(root->right) + ")";
    return result;
}

/// The height of both trees if they are the same in shape, data and balances, or else -1.
inline int common_height(const link& expected, const UT_BTR_NODE* given)
{
    if (!expected || given == nullptr) return !expected && given == nullptr ? 0 : -1;
    const int left = common_height(expected->left, given->left);
    const int right = common_height(expected->right, given->right);
    const bool same =
        left >= 0 && right >= 0 && expected->data == given->data && given->balance == balance_of(left, right);
    return same ? 1 + std::max(left, right) : -1;
}

/// A tree whose nodes may be looked at. Its data are texts, and it keeps account of what it calls.
class open_tree : public UT_BTR_TREE {
public:
    /// An owner compares by the virtual function, and another one by the function that is handed over.
    explicit open_tree(bool owner)
        : UT_BTR_TREE(owner ? UT_BTR_TREE(static_cast<unsigned char>(1)) : UT_BTR_TREE(compare))
    {
    }
    using UT_BTR_TREE::root_;

    int comp_func(void* data, const char* key) override { return compare(data, key); }
    void del_func(void* data) override { released().push_back(data); }

    /// Data that were forgotten stand for every key.
    static int compare(void* data, const char* key)
    {
        ++comparisons();
        return data == nullptr ? 0 : std::strcmp(static_cast<const char*>(data), key);
    }
    static int& comparisons()
    {
        static int count = 0;
        return count;
    }
    static std::vector<void*>& released()
    {
        static std::vector<void*> data;
        return data;
    }
};

enum class operation : unsigned char {
    add,
    s_add,
    s_add_key,
    find,
    remove,
    s_remove,
    forget_and_add,
    forget_and_remove,
    traverse,
    dump,
    flush,
    flush_with
};
constexpr unsigned k_operations = static_cast<unsigned>(operation::flush_with) + 1;

/// A tree of the library and its model, which take the same steps.
class pair {
public:
    pair(bool owner, int keys) : tree_(owner), owner_(owner)
    {
        for (int key = 0; key < keys; ++key) {
            text& name = names_.emplace_back();
            std::snprintf(name.data(), name.size(), "%05d", key);
        }
        others_ = names_;
    }

    /// Takes a step with one of the keys. Null when both agree, else what they disagree about.
    const char* step(operation what, int key)
    {
        open_tree::comparisons() = 0;
        open_tree::released().clear();
        const char* const wrong = result_of(what, key);
        if (wrong != nullptr) return wrong;
        if (common_height(model_, tree_.root_) < 0) return "the shape, a balance or the data of a node";
        if (tree_.get_root() != (model_ ? &tree_.root_->data : nullptr)) return "the root's slot";
        return tree_.get_count() == count_ ? nullptr : "the count";
    }

    const link& model() const { return model_; }

private:
    using text = std::array<char, 12>;

    const char* result_of(operation what, int key)
    {
        const char* const name = names_[static_cast<std::size_t>(key)].data();
        void* const other = others_[static_cast<std::size_t>(key)].data();
        switch (what) {
        case operation::add: return added(key, tree_.add(name), other);
        case operation::s_add: return stored(key, tree_.s_add(name, other), other);
        case operation::s_add_key: return stored(key, tree_.s_add(name, nullptr), const_cast<char*>(name));
        case operation::find: return found(key, name);
        case operation::remove: return removed(key, tree_.remove(name));
        case operation::s_remove: return removed(key, tree_.s_remove(name));
        case operation::forget_and_add:
            return forget(key, name) ? added(key, tree_.add(name), other) : nullptr;
        case operation::forget_and_remove:
            return forget(key, name) ? removed(key, tree_.remove(name)) : nullptr;
        case operation::traverse: return walked();
        case operation::dump: return dumped();
        case operation::flush: return flushed(nullptr);
        case operation::flush_with:
            return flushed([](void** slot, void* arg) {
                open_tree::released().push_back(arg == nullptr ? *slot : nullptr);
            });
        }
        return "the operation";
    }

    int nodes_met(int key) const
    {
        int met = 0;
        (void)tree_model::find(model_, key, met);
        return met;
    }

    const char* added(int key, void** slot, void* data)
    {
        if (open_tree::comparisons() != nodes_met(key)) return "the comparisons of an addition";
        node& here = tree_model::add(model_, key);
        if (*slot != here.data) return "the slot of an addition";
        if (here.data == nullptr) ++count_;
        if (here.data == nullptr) *slot = here.data = data;
        return tree_.find(static_cast<const char*>(data)) == slot ? nullptr : "the address of a slot";
    }
    const char* stored(int key, bool result, void* data)
    {
        node& here = tree_model::add(model_, key);
        if (here.data == nullptr) ++count_;
        here.data = data;
        return result ? nullptr : "the result of s_add";
    }
    const char* found(int key, const char* name)
    {
        int met = 0;
        const node* const here = tree_model::find(model_, key, met);
        void** const slot = tree_.find(name);
        if (open_tree::comparisons() != met) return "the comparisons of a search";
        if ((slot != nullptr ? *slot : nullptr) != (here != nullptr ? here->data : nullptr)) return "find";
        return tree_.s_find(name) == (here != nullptr ? here->data : nullptr) ? nullptr : "s_find";
    }
    const char* removed(int key, void* result)
    {
        int met = 0;
        const node* const here = tree_model::find(model_, key, met);
        if (open_tree::comparisons() != met) return "the comparisons of a removal";
        if (result != (here != nullptr ? here->data : nullptr)) return "the data of a removal";
        if (result != nullptr) --count_;
        tree_model::remove(model_, key);
        return nullptr;
    }
    /// Takes the data of a key out of its node, which stays. False if there is none.
    bool forget(int key, const char* name)
    {
        int met = 0;
        node* const here = tree_model::find(model_, key, met);
        if (here == nullptr) return false;
        *tree_.find(name) = here->data = nullptr;
        open_tree::comparisons() = 0;
        return true;
    }

    std::vector<void*> data_in_order(int order) const
    {
        visits nodes;
        visit(model_, order, 1, nodes);
        std::vector<void*> data;
        for (const auto& [here, depth] : nodes) data.push_back(here->data);
        return data;
    }
    const char* walked()
    {
        for (int order = -1; order <= 6; ++order) {
            std::vector<void*> seen;
            tree_.traverse(
                [](void** slot, void* arg) { static_cast<std::vector<void*>*>(arg)->push_back(*slot); },
                &seen, static_cast<UT_BTR_TRAV_TYPE>(order));
            if (seen != data_in_order(order)) return "the order of a walk";
        }
        return nullptr;
    }
    const char* dumped()
    {
        static constexpr std::array k_balances = {"RIGHT", "LEFT", "EQUAL"};
        std::ostringstream expected;
        visits nodes;
        visit(model_, 0, 1, nodes);
        for (const auto& [here, depth] : nodes)
            expected << "   Data = " << here->data << "      depth = " << depth
                     << ", balance = " << k_balances[static_cast<std::size_t>(balance(*here))] << '\n';
        expected << '\n';
        std::ostringstream given;
        tree_.dump(given, nullptr, 1);
        return given.str() == expected.str() ? nullptr : "the dump";
    }
    const char* flushed(UT_BTR_TREE::slot_function fn)
    {
        const std::vector<void*> expected =
            fn != nullptr || owner_ ? data_in_order(UT_BTR_LEFT_RIGHT_NODE) : std::vector<void*>();
        tree_.flush(fn);
        model_.reset();
        count_ = 0;
        return open_tree::released() == expected ? nullptr : "what a flush releases";
    }

    std::vector<text> names_;
    std::vector<text> others_;  ///< the same texts at other addresses
    open_tree tree_;
    bool owner_;
    link model_;
    std::uint32_t count_ = 0;
};

}  // namespace tree_model
