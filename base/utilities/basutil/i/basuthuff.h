/// \file i/basuthuff.h
/// Trees of words whose shape is a file format: a word is stored as its path from the root.
///
/// The shapes are not those of the shortest codes. A leaf is put in by walking down from the root, guided by
/// weights, and the order of the insertions counts. Bit 0 takes the left child, bit 1 the right one.
/// Ownership: the `UT_PAKIO` stays the caller's, and outlives the tree.
/// Threads: no locks; a tree belongs to its stream.
#pragma once
#include <memory>

#include "uttypes.h"

class UT_PAKIO;

/// A node without a left child is a leaf.
struct UT_EXPORT UTHUF_NODE {
    UTHUF_NODE* parent = nullptr;
    UTHUF_NODE* left = nullptr;
    union {
        UTHUF_NODE* right = nullptr;
        unsigned long word;  ///< of a leaf
    };
    ut_long weight = 0;
    UTHUF_NODE** position = nullptr;  ///< in the list of an adaptive tree
    ut_long depth = 0;                ///< of the root: 0

    bool is_leaf() const { return left == nullptr; }
};

/// A tree whose weights are given, and which takes a shape from them when it is told to.
class UT_EXPORT UTHUF_TREE {
public:
    /// A tree of `words` words, each of weight 1. A version of 0 means "1".
    ///
    /// Errors: another version breaks the contract, exit value 19.
    UTHUF_TREE(long words, UT_PAKIO* bits, char version);
    UTHUF_TREE(const UTHUF_TREE&) = delete;
    UTHUF_TREE& operator=(const UTHUF_TREE&) = delete;

    /// Writes a word. Errors: one that the tree does not have breaks the contract, exit value 19.
    void putword(unsigned long word);
    /// Reads a word. Beyond the end of the input all bits are 0, and the word is that of the leftmost leaf.
    unsigned long getword();
    /// Gives the tree the shape that its weights make: the words are put in again, in ascending order.
    void rebuild();

    /// 0 for a word that the tree does not have.
    long getprobability(unsigned long word) const;
    /// Sets a weight; the shape stays until `rebuild`. Nothing for a word that the tree does not have.
    void setprobability(unsigned long word, long weight);
    char getversion() const { return version_; }
    UT_PAKIO* getbs() const { return bits_; }
    /// For those who turn the shape into tables. Lifetime: until the next `rebuild`.
    const UTHUF_NODE* root() const { return root_; }

protected:
    /// Puts a leaf of this tree in, once.
    void addnode(UTHUF_NODE* leaf);
    /// Leaves no inner node.
    void clear();
    ut_long words() const { return words_; }
    UTHUF_NODE* leaf(ut_long word) const { return nodes_.get() + word; }

    /// Sets the depth of every node under `top` from its own.
    static void deepen(UTHUF_NODE* top);
    /// Puts `now` under the parent of `before`, in place of it; the parent's pointer alone changes.
    static void replace_child(const UTHUF_NODE* before, UTHUF_NODE* now);

    char version_;
    UT_PAKIO* bits_;
    UTHUF_NODE* root_ = nullptr;

private:
    UTHUF_NODE* insert(UTHUF_NODE* leaf);
    UTHUF_NODE* join(UTHUF_NODE* left, UTHUF_NODE* right, UTHUF_NODE* in_place_of);
    void put_path(const UTHUF_NODE* node);

    ut_long words_;
    std::unique_ptr<UTHUF_NODE[]> nodes_;  ///< the leaves, by their words, and behind them the inner nodes
    ut_long inner_nodes_ = 0;              ///< in use
};

/// A tree that follows the words that go through it: reader and writer change theirs alike.
class UT_EXPORT UTHUF_ADAPTIVE_TREE : public UTHUF_TREE {
public:
    UTHUF_ADAPTIVE_TREE(long words, UT_PAKIO* bits, char version);

    /// Counts a word that was just sent or received, which changes the shape behind it.
    void count(unsigned long word);

protected:
    /// Makes all weights an eighth, and the tree anew.
    void rescale();
    /// For debugging: looks whether the list ascends in weight, and whether each node knows its place.
    ///
    /// Errors: message 1106, and the process ends with 2; message 1107, and it ends with 1.
    void check_list() const;

    ut_long list_size_;                    ///< one less than twice the words
    std::unique_ptr<UTHUF_NODE*[]> list_;  ///< all nodes, in ascending order of weight

private:
    ut_long list_from_leaves_up();
    ut_long list_while_built();
    void order_list();
    UTHUF_NODE** last_of_run(UTHUF_NODE* node);
    static void exchange_in_list(UTHUF_NODE* one, UTHUF_NODE* other);
    static void exchange_in_tree(UTHUF_NODE* one, UTHUF_NODE* other);
};
