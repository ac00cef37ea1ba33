// basutbtree.cpp
#include "basutbtree.h"

#include <array>
#include <ostream>
#include <string>
#include <utility>

#include "contract.h"
#include "prefetch.h"

UT_FASTMEM* UT_BTR_NODE::mem = nullptr;

namespace {

constexpr ketriope::site k_comp_func{.module = "basutbtree"};

/// One side of a node. All that is done to one side is done to the other in the mirror.
struct side {
    UT_BTR_NODE* UT_BTR_NODE::*child;
    UT_BTR_NODE* UT_BTR_NODE::*other_child;
    ut_long heavy;        ///< the balance of a node whose this side is higher
    ut_long other_heavy;  ///< and whose other side is

    constexpr side other() const { return {other_child, child, other_heavy, heavy}; }
};
constexpr side k_left{&UT_BTR_NODE::left, &UT_BTR_NODE::right, UT_BTR_NODE::k_left_heavy,
                      UT_BTR_NODE::k_right_heavy};
constexpr side k_right = k_left.other();

/// Lets the memory of the next two steps come while the data of a node are compared: what will be compared
/// at either child, and the children of both.
void fetch_ahead(const UT_BTR_NODE& node)
{
    for (const UT_BTR_NODE* child : {node.left, node.right}) {
        if (child == nullptr) continue;
        ketriope::prefetch(child->data);
        ketriope::prefetch(child->left);
        ketriope::prefetch(child->right);
    }
}

/// Makes the child on the `high` side the root of the subtree; the balances are left to the caller.
void rotate(UT_BTR_NODE** link, const side& high)
{
    UT_BTR_NODE* const node = *link;
    UT_BTR_NODE* const child = node->*high.child;
    node->*high.child = child->*high.other_child;
    child->*high.other_child = node;
    *link = child;
}

/// Makes the inner grandchild on the `high` side the root of the subtree. Of the two that come below it,
/// one is left with the lower of its sides. The grandchild ends even.
void rotate_twice(UT_BTR_NODE** link, const side& high)
{
    UT_BTR_NODE* const node = *link;
    UT_BTR_NODE* const child = node->*high.child;
    rotate(&(node->*high.child), high.other());
    rotate(link, high);
    UT_BTR_NODE* const root = *link;
    node->balance = root->balance == high.heavy ? high.other_heavy : UT_BTR_NODE::k_even;
    child->balance = root->balance == high.other_heavy ? high.heavy : UT_BTR_NODE::k_even;
    root->balance = UT_BTR_NODE::k_even;
}

/// Settles the node behind `link` when its side `grown` has become one level higher. True when the whole
/// subtree has.
bool settle_growth(UT_BTR_NODE** link, const side& grown)
{
    UT_BTR_NODE* const node = *link;
    if (node->balance == UT_BTR_NODE::k_even) {
        node->balance = grown.heavy;
        return true;
    }
    UT_BTR_NODE* const child = node->*grown.child;
    if (node->balance == grown.other_heavy) {
        node->balance = UT_BTR_NODE::k_even;
    } else if (child->balance == grown.heavy) {
        rotate(link, grown);
        node->balance = child->balance = UT_BTR_NODE::k_even;
    } else {
        rotate_twice(link, grown);
    }
    return false;
}

/// Settles the node behind `link` when its side `lowered` has become one level lower. True when the whole
/// subtree has.
bool settle_loss(UT_BTR_NODE** link, const side& lowered)
{
    const side high = lowered.other();
    UT_BTR_NODE* const node = *link;
    if (node->balance == UT_BTR_NODE::k_even) {
        node->balance = high.heavy;
        return false;
    }
    UT_BTR_NODE* const child = node->*high.child;
    if (node->balance == lowered.heavy) {
        node->balance = UT_BTR_NODE::k_even;
    } else if (child->balance == lowered.heavy) {
        rotate_twice(link, high);
    } else {
        rotate(link, high);
        const bool was_even = child->balance == UT_BTR_NODE::k_even;
        node->balance = was_even ? high.heavy : UT_BTR_NODE::k_even;
        child->balance = was_even ? lowered.heavy : UT_BTR_NODE::k_even;
        return !was_even;
    }
    return true;
}

/// The links that were followed from the root down.
class way {
public:
    void push(UT_BTR_NODE** link) { links_[depth_++] = link; }

    /// Settles the nodes on the way back from `link`, behind which a node was put in or taken out, for as
    /// long as their subtrees change their heights.
    template <class Settle>
    void settle_back(UT_BTR_NODE** link, Settle settle)
    {
        while (depth_ > 0) {
            UT_BTR_NODE** const above = links_[--depth_];
            if (!settle(above, link == &(*above)->left ? k_left : k_right)) return;
            link = above;
        }
    }

private:
    // A balanced tree of all the nodes that 64 bits can address is lower than this.
    std::array<UT_BTR_NODE**, 90> links_;
    std::size_t depth_ = 0;
};

/// Frees the nodes of a subtree, each behind its left and its right side and after a visit to its slot.
/// What is still there when a visit throws is a tree.
template <class Visit>
void free_nodes(UT_BTR_NODE*& root, const Visit& visit)
{
    if (root == nullptr) return;
    free_nodes(root->left, visit);
    free_nodes(root->right, visit);
    visit(&root->data);
    delete std::exchange(root, nullptr);
}

enum class step : unsigned char { left, node, right };
using steps = std::array<step, 3>;
constexpr std::array k_orders = {
    steps{step::left, step::node, step::right}, steps{step::left, step::right, step::node},
    steps{step::right, step::node, step::left}, steps{step::right, step::left, step::node},
    steps{step::node, step::left, step::right}, steps{step::node, step::right, step::left}};

/// Visits the nodes of a subtree in the order of `order`, each with its depth.
template <class Visit>
void walk(UT_BTR_NODE* node, const steps& order, int depth, const Visit& visit)
{
    if (node == nullptr) return;
    for (const step next : order) {
        switch (next) {
        case step::left: walk(node->left, order, depth + 1, visit); break;
        case step::node: visit(*node, depth); break;
        case step::right: walk(node->right, order, depth + 1, visit); break;
        }
    }
}

const char* shown(ut_long balance)
{
    if (balance == UT_BTR_NODE::k_even) return "EQUAL\n";
    return balance == UT_BTR_NODE::k_left_heavy ? "LEFT\n" : "RIGHT\n";
}

}  // namespace

UT_BTR_TREE::UT_BTR_TREE(int (*compare)(void* data, const char* key)) : compare_(compare), owner_(0) {}

UT_BTR_TREE::UT_BTR_TREE(unsigned char owner) : compare_(nullptr), owner_(owner) {}

UT_BTR_TREE::~UT_BTR_TREE()
{
    flush(nullptr);
}

void** UT_BTR_TREE::add(const char* key)
{
    if (key == nullptr) return nullptr;
    way taken;
    UT_BTR_NODE** const link = follow(key, [&](UT_BTR_NODE** passed) { taken.push(passed); });
    UT_BTR_NODE* node = *link;
    if (node == nullptr) {
        *link = node = new UT_BTR_NODE{nullptr, nullptr, nullptr, UT_BTR_NODE::k_even};
        taken.settle_back(link, settle_growth);
    }
    if (node->data == nullptr) ++count_;
    return &node->data;
}

void** UT_BTR_TREE::find(const char* key)
{
    if (key == nullptr) return nullptr;
    UT_BTR_NODE* const node = *follow(key, [](UT_BTR_NODE**) {});
    return node != nullptr ? &node->data : nullptr;
}

void* UT_BTR_TREE::remove(const char* key)
{
    if (key == nullptr) return nullptr;
    way taken;
    UT_BTR_NODE** link = follow(key, [&](UT_BTR_NODE** passed) { taken.push(passed); });
    UT_BTR_NODE* const node = *link;
    if (node == nullptr) return nullptr;
    void* const data = node->data;
    if (node->left != nullptr && node->right != nullptr) {  // it takes the data of its neighbour, who goes
        taken.push(std::exchange(link, &node->left));
        while ((*link)->right != nullptr) taken.push(std::exchange(link, &(*link)->right));
        node->data = (*link)->data;
    }
    UT_BTR_NODE* const gone = *link;
    *link = gone->right == nullptr ? gone->left : gone->right;
    delete gone;
    taken.settle_back(link, settle_loss);
    if (data != nullptr) --count_;
    return data;
}

void UT_BTR_TREE::traverse(slot_function fn, void* arg, UT_BTR_TRAV_TYPE order)
{
    const auto place = static_cast<std::size_t>(order);
    if (fn == nullptr || place >= k_orders.size()) return;
    walk(root_, k_orders[place], 1, [&](UT_BTR_NODE& node, int) { fn(&node.data, arg); });
}

void UT_BTR_TREE::flush(slot_function fn)
{
    struct nodes {  // out of the tree already: what is called here may look at the tree, or throw
        UT_BTR_NODE* root;
        ~nodes()
        {
            free_nodes(root, [](void**) {});
        }
    } taken{std::exchange(root_, nullptr)};
    count_ = 0;
    free_nodes(taken.root, [&](void** slot) {
        if (fn == nullptr) {
            if (owner_ != 0) del_func(*slot);
        } else if (*slot != nullptr) {
            fn(slot, nullptr);
        }
    });
}

void UT_BTR_TREE::dump(std::ostream& out, void (*print)(std::ostream& out, void* data),
                       unsigned char show_balance)
{
    walk(root_, k_orders[UT_BTR_LEFT_NODE_RIGHT], 1, [&](const UT_BTR_NODE& node, int depth) {
        if (print != nullptr)
            print(out, node.data);
        else
            out << "   Data = " << node.data;
        if (show_balance != 0)
            out << "      depth = " << std::to_string(depth) << ", balance = " << shown(node.balance);
    });
    out << '\n';
}

bool UT_BTR_TREE::s_add(const void* key, void* data)
{
    void** const slot = add(static_cast<const char*>(key));
    if (slot == nullptr) return false;
    *slot = data != nullptr ? data : const_cast<void*>(key);
    return true;
}

void* UT_BTR_TREE::s_find(const void* key)
{
    void** const slot = find(static_cast<const char*>(key));
    return slot != nullptr ? *slot : nullptr;
}

void* UT_BTR_TREE::s_remove(const void* key)
{
    return remove(static_cast<const char*>(key));
}

void UT_BTR_TREE::del_func(void* /*data*/) {}

int UT_BTR_TREE::comp_func(void* /*data*/, const char* /*key*/)
{
    ketriope::contract_failed(k_comp_func, "This function must be defined in the derived class.");
    return 1;
}

int UT_BTR_TREE::internal_cmp(void* data, const char* key)
{
    return compare_ != nullptr ? compare_(data, key) : comp_func(data, key);
}

/// Follows `key` down to the link behind which its node stands, or would stand. `passed` is called with each
/// link on the way there.
template <class Passed>
UT_BTR_NODE** UT_BTR_TREE::follow(const char* key, Passed passed)
{
    UT_BTR_NODE** link = &root_;
    while (UT_BTR_NODE* const node = *link) {
        fetch_ahead(*node);
        const int c = internal_cmp(node->data, key);
        if (c == 0) break;
        passed(link);
        link = c < 0 ? &node->left : &node->right;
    }
    return link;
}
