/// \file i/basutbtree.h
/// A height-balanced binary tree (an AVL tree), keyed through a comparison of data with a key.
///
/// Shape: a node keeps its data and nothing else, so the data must tell their key. The comparison is
/// called with a node's data and a key. Below 0 it leads to the left and above 0 to the right: with one
/// that orders the usual way the left side holds the larger keys, and a walk from left to right goes from
/// the largest to the smallest.
/// Lifetime: the address of a data slot is good until the next removal or flush; a removal moves data
/// from one node to another.
/// Ownership: the data stay the caller's, unless the tree is an owner and is flushed. A copy shares the
/// nodes of its source, and only one of the two may be used further and destroyed.
/// Threads: no locks; a tree belongs to one thread at a time.
#pragma once
#include "basutstore.h"
#include "uttypes.h"
#include <cstdint>
#include <iosfwd>

class UT_FASTMEM;

/// A node of a tree.
struct UT_EXPORT UT_BTR_NODE {
    static constexpr ut_long k_right_heavy = 0;
    static constexpr ut_long k_left_heavy = 1;
    static constexpr ut_long k_even = 2;

    UT_BTR_NODE* right;
    UT_BTR_NODE* left;
    void* data;
    ut_long balance;  ///< which side is higher, by one level: one of the three above

    static UT_FASTMEM* mem;  ///< stays null: nodes come from the general heap
};

/// In which order a walk visits a node and its two sides.
enum UT_BTR_TRAV_TYPE : int {
    UT_BTR_LEFT_NODE_RIGHT = 0,
    UT_BTR_LEFT_RIGHT_NODE = 1,
    UT_BTR_RIGHT_NODE_LEFT = 2,
    UT_BTR_RIGHT_LEFT_NODE = 3,
    UT_BTR_NODE_LEFT_RIGHT = 4,
    UT_BTR_NODE_RIGHT_LEFT = 5
};

class UT_EXPORT UT_BTR_TREE : public UT_STORE {
public:
    /// What a walk calls for each node, with the address of its data slot; it may change the data, but
    /// neither add to the tree nor remove from it.
    using slot_function = void (*)(void** slot, void* arg);

    /// An empty tree that compares by `compare`, and does not own its data.
    explicit UT_BTR_TREE(int (*compare)(void* data, const char* key));
    /// An empty tree that compares by `comp_func` of the derived class. With a non-zero `owner`, `flush`
    /// releases the data by `del_func`.
    explicit UT_BTR_TREE(unsigned char owner = 0);
    UT_BTR_TREE(const UT_BTR_TREE&) = default;  // shallow on purpose, as is assignment: see above
    UT_BTR_TREE& operator=(const UT_BTR_TREE&) = default;
    /// Frees the nodes. The data are not released: at this place `del_func` is no longer the derived
    /// class's, which calls `flush` in its own destructor if it wants that.
    ~UT_BTR_TREE() override;

    /// The address of the data slot under `key`, in a new node if the key is not there; null for a null key.
    ///
    /// The slot of a new node holds null until the caller stores its data there, and so must be filled
    /// before the next call compares. The count goes up by one whenever the slot holds null, and so does
    /// not for a key whose data are there.
    /// Errors: exhausted memory throws `std::bad_alloc`, unless a new-handler ends the process first.
    void** add(const char* key);
    /// The address of the data slot under `key`; null if there is none, and for a null key.
    void** find(const char* key);
    /// Takes the node of `key` out and returns its data; null if there is none, and for a null key. The
    /// count goes down by one unless the data were null.
    void* remove(const char* key);

    /// Calls `fn` for every node, in the order given. An order outside the six, and a null `fn`, do nothing.
    void traverse(slot_function fn, void* arg, UT_BTR_TRAV_TYPE order);
    /// Takes out and frees all nodes, each behind its left and its right side. `fn`, if not null, is called
    /// with the slot of each node whose data are not null, and null; without one, an owner calls
    /// `del_func` with the data of each node.
    ///
    /// Errors: what `fn` or `del_func` throws comes out. The nodes are freed even so, and their data are
    /// left to the caller.
    void flush(slot_function fn);
    /// Writes all nodes from left to right, then a line feed. A node is what `print` writes of its data, or
    /// without one "   Data = " and the pointer; with `show_balance` there follow its depth, 1 for the root,
    /// and which of its sides is higher.
    void dump(std::ostream& out, void (*print)(std::ostream& out, void* data), unsigned char show_balance);

    /// How many null slots `add` has given out, less the data that `remove` returned.
    std::uint32_t get_count() const { return count_; }
    /// The address of the root's data slot; null for an empty tree.
    void** get_root() { return root_ != nullptr ? &root_->data : nullptr; }
    bool is_owner() const { return owner_ != 0; }

    /// Stores `data`, or the key itself if `data` is null, in place of what was there. False for a null key.
    bool s_add(const void* key, void* data) override;
    void* s_find(const void* key) override;
    void* s_remove(const void* key) override;
    /// Releases `data`, for a tree that owns them. This one does nothing.
    virtual void del_func(void* data);
    /// Compares when no function was given to the constructor: 0 for a match, below 0 if the key belongs to
    /// the left of `data`.
    ///
    /// Errors: this one breaks the contract, exit value 19: the derived class must define it.
    virtual int comp_func(void* data, const char* key);

protected:
    UT_BTR_NODE* root_ = nullptr;  ///< for derived classes that walk the nodes themselves

private:
    int internal_cmp(void* data, const char* key);
    template <class Passed>
    UT_BTR_NODE** follow(const char* key, Passed passed);

    int (*compare_)(void* data, const char* key);
    std::uint32_t count_ = 0;
    unsigned char owner_;
};
