// basuthuff.cpp
#include "basuthuff.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "basutpakio.h"
#include "contract.h"
#include "startup.h"

namespace {

constexpr ketriope::site k_site{.module = "basuthuff"};

constexpr char k_version = '1';
constexpr unsigned k_bits_at_once = 32;
constexpr ut_long k_weight_limit = 2048;  ///< a root of this weight makes an adaptive tree rescale
constexpr int k_rescale_shift = 3;

/// A sum of weights. A caller's own may be any, so it wraps.
ut_long sum(ut_long one, ut_long other)
{
    return static_cast<ut_long>(static_cast<std::uint32_t>(one) + static_cast<std::uint32_t>(other));
}

std::size_t node_count(ut_long words)
{
    return words > 0 ? 2 * static_cast<std::size_t>(words) - 1 : 0;
}

/// The one order that the adaptive trees of reader and writer share, that of equal weights included: a
/// quicksort with a moving hole.
void sort_by_weight(UTHUF_NODE** first, std::ptrdiff_t count)
{
    while (count > 1) {
        std::ptrdiff_t hole = count / 2;
        UTHUF_NODE* const pivot = first[hole];
        for (std::ptrdiff_t i = 0; i < count;) {
            if (i > hole && first[i]->weight < pivot->weight) {
                first[hole] = first[i];
                first[i] = first[hole + 1];
                ++hole;
            } else if (i < hole && first[i]->weight > pivot->weight) {
                first[hole] = first[i];
                first[i] = first[hole - 1];
                --hole;
                continue;  // another node stands at `i` now
            }
            ++i;
        }
        first[hole] = pivot;
        const std::ptrdiff_t behind = count - hole - 1;
        if (hole < behind) {  // the shorter part by recursion, so that the stack stays small
            sort_by_weight(first, hole);
            first += hole + 1;
            count = behind;
        } else {
            sort_by_weight(first + hole + 1, behind);
            count = hole;
        }
    }
}

}  // namespace

// ---- the tree

UTHUF_TREE::UTHUF_TREE(long words, UT_PAKIO* bits, char version)
    : version_(version != 0 ? version : k_version), bits_(bits),
      words_(static_cast<ut_long>(std::max(words, 0L))),
      nodes_(std::make_unique<UTHUF_NODE[]>(node_count(words_)))
{
    if (version_ != k_version) ketriope::contract_failed(k_site, "Unknown Huffman compression type.");
    for (ut_long word = 0; word < words_; ++word) {
        leaf(word)->word = static_cast<unsigned long>(word);
        leaf(word)->weight = 1;
    }
    rebuild();
}

long UTHUF_TREE::getprobability(unsigned long word) const
{
    return word < static_cast<unsigned long>(words_) ? nodes_[word].weight : 0;
}

void UTHUF_TREE::setprobability(unsigned long word, long weight)
{
    if (word < static_cast<unsigned long>(words_)) nodes_[word].weight = static_cast<ut_long>(weight);
}

void UTHUF_TREE::clear()
{
    inner_nodes_ = 0;
    root_ = nullptr;
}

void UTHUF_TREE::rebuild()
{
    clear();
    for (ut_long word = 0; word < words_; ++word) insert(leaf(word));
    if (root_ != nullptr) deepen(root_);  // once for all, and not again for every insertion
}

void UTHUF_TREE::addnode(UTHUF_NODE* leaf)
{
    deepen(insert(leaf));
}

/// Returns the top of what is new: the leaf, or the inner node over it.
UTHUF_NODE* UTHUF_TREE::insert(UTHUF_NODE* leaf)
{
    if (root_ == nullptr) {
        leaf->parent = nullptr;
        leaf->depth = 0;
        return root_ = leaf;
    }
    if (root_->is_leaf()) return join(leaf, root_, root_);
    UTHUF_NODE* node = root_;
    for (;;) {
        UTHUF_NODE* const lighter = node->left->weight >= node->right->weight ? node->right : node->left;
        node->weight = sum(node->weight, leaf->weight);
        if (lighter->is_leaf() || lighter->weight <= leaf->weight) return join(lighter, leaf, lighter);
        node = lighter;
    }
}

/// A new inner node over the two, which takes the place of a node in the tree.
UTHUF_NODE* UTHUF_TREE::join(UTHUF_NODE* left, UTHUF_NODE* right, UTHUF_NODE* in_place_of)
{
    UTHUF_NODE* const inner = nodes_.get() + words_ + inner_nodes_++;
    *inner = {};
    inner->parent = in_place_of->parent;
    inner->left = left;
    inner->right = right;
    inner->weight = sum(left->weight, right->weight);
    if (inner->parent == nullptr) {
        root_ = inner;
    } else {
        replace_child(in_place_of, inner);
        inner->depth = inner->parent->depth + 1;
    }
    left->parent = inner;
    right->parent = inner;
    return inner;
}

void UTHUF_TREE::replace_child(const UTHUF_NODE* before, UTHUF_NODE* now)
{
    UTHUF_NODE* const parent = before->parent;
    (parent->left == before ? parent->left : parent->right) = now;
}

void UTHUF_TREE::deepen(UTHUF_NODE* top)
{
    // From node to node without a stack: down to the left, and up until there is a right side to go down.
    UTHUF_NODE* node = top;
    for (;;) {
        while (!node->is_leaf()) {
            node->left->depth = node->depth + 1;
            node = node->left;
        }
        while (node != top && node == node->parent->right) node = node->parent;
        if (node == top) return;
        node->parent->right->depth = node->depth;
        node = node->parent->right;
    }
}

// ---- words as bits

void UTHUF_TREE::putword(unsigned long word)
{
    if (word >= static_cast<unsigned long>(words_)) {
        ketriope::contract_failed(k_site, "Value out of range to UTHUF_TREE::putword.");
        return;
    }
    put_path(leaf(static_cast<ut_long>(word)));
}

/// Writes the branches from the root to `node`, collected on the way up.
void UTHUF_TREE::put_path(const UTHUF_NODE* node)
{
    unsigned long branches = 0;
    unsigned count = 0;
    while (node->parent != nullptr && count < k_bits_at_once) {
        branches = branches << 1 | (node == node->parent->right ? 1U : 0U);
        ++count;
        node = node->parent;
    }
    if (node->parent != nullptr) put_path(node);  // what is nearer to the root goes first
    bits_->putbits(branches, count);
}

unsigned long UTHUF_TREE::getword()
{
    if (root_ == nullptr) return 0;
    const UTHUF_NODE* node = root_;
    while (!node->is_leaf()) node = bits_->getbit() != 0 ? node->right : node->left;
    return node->word;
}

// ---- the adaptive tree

UTHUF_ADAPTIVE_TREE::UTHUF_ADAPTIVE_TREE(long words, UT_PAKIO* bits, char version)
    : UTHUF_TREE(words, bits, version), list_size_(2 * this->words() - 1),
      list_(std::make_unique<UTHUF_NODE*[]>(node_count(this->words())))
{
    if (list_from_leaves_up() != list_size_) {
        ketriope::contract_failed(k_site, "Error building nodes array.");
        return;
    }
    order_list();
}

/// Lists each leaf and the nodes above it that are not listed yet, and returns the count.
///
/// Not the same order as in `list_while_built`, and both are what the files were written with.
ut_long UTHUF_ADAPTIVE_TREE::list_from_leaves_up()
{
    ut_long count = 0;
    for (ut_long word = 0; word < words(); ++word)
        for (UTHUF_NODE* node = leaf(word); node != nullptr && node->position == nullptr;
             node = node->parent) {
            list_[static_cast<std::size_t>(count)] = node;
            node->position = &list_[static_cast<std::size_t>(count++)];
        }
    return count;
}

/// Builds the tree and lists each leaf with the node that came over it, and returns the count.
ut_long UTHUF_ADAPTIVE_TREE::list_while_built()
{
    ut_long count = 0;
    for (ut_long word = 0; word < words(); ++word) {
        addnode(leaf(word));
        list_[static_cast<std::size_t>(count++)] = leaf(word);
        if (UTHUF_NODE* const parent = leaf(word)->parent; parent != nullptr)
            list_[static_cast<std::size_t>(count++)] = parent;
    }
    return count;
}

void UTHUF_ADAPTIVE_TREE::order_list()
{
    sort_by_weight(list_.get(), list_size_);
    for (ut_long i = 0; i < list_size_; ++i) {
        UTHUF_NODE*& node = list_[static_cast<std::size_t>(i)];
        node->position = &node;
    }
}

void UTHUF_ADAPTIVE_TREE::count(unsigned long word)
{
    if (word >= static_cast<unsigned long>(words())) return;
    for (UTHUF_NODE* node = leaf(static_cast<ut_long>(word)); node != root_; node = node->parent) {
        UTHUF_NODE** const last = last_of_run(node);
        if (node->position != last) {
            UTHUF_NODE* const other = *last;
            exchange_in_list(node, other);
            exchange_in_tree(node, other);
        }
        node->weight = sum(node->weight, 1);
    }
    root_->weight = sum(root_->weight, 1);
    if (root_->weight >= k_weight_limit) rescale();
}

/// The last place among those of the node's weight, with the one of them that is nearest to the root put
/// there; of several such the last.
///
/// The node itself may be moved by that. The root's weight is larger than any other.
UTHUF_NODE** UTHUF_ADAPTIVE_TREE::last_of_run(UTHUF_NODE* node)
{
    UTHUF_NODE** const begin = list_.get();
    UTHUF_NODE** const end = begin + list_size_;
    UTHUF_NODE** place = node->position;
    while (place != begin && (*(place - 1))->weight == node->weight) --place;
    UTHUF_NODE* nearest = *place;
    while (place + 1 != end && (*(place + 1))->weight == node->weight) {
        ++place;
        if ((*place)->depth <= nearest->depth) nearest = *place;
    }
    if (nearest != *place) exchange_in_list(nearest, *place);
    return place;
}

void UTHUF_ADAPTIVE_TREE::exchange_in_list(UTHUF_NODE* one, UTHUF_NODE* other)
{
    std::swap(*one->position, *other->position);
    std::swap(one->position, other->position);
}

void UTHUF_ADAPTIVE_TREE::exchange_in_tree(UTHUF_NODE* one, UTHUF_NODE* other)
{
    if (one->parent == other->parent) return std::swap(one->parent->left, one->parent->right);
    replace_child(one, other);
    replace_child(other, one);
    std::swap(one->parent, other->parent);
    if (one->depth == other->depth) return;
    std::swap(one->depth, other->depth);
    deepen(one);
    deepen(other);
}

void UTHUF_ADAPTIVE_TREE::rescale()
{
    for (ut_long word = 0; word < words(); ++word)
        leaf(word)->weight = std::max<ut_long>(leaf(word)->weight >> k_rescale_shift, 1);
    clear();
    if (list_while_built() != list_size_) {
        ketriope::contract_failed(k_site, "Error building tree.");
        return;
    }
    order_list();
}

void UTHUF_ADAPTIVE_TREE::check_list() const
{
    constexpr auto k_error = ketriope::numbered::legacy::error;
    for (ut_long i = 0; i < list_size_; ++i) {
        UTHUF_NODE* const* const place = &list_[static_cast<std::size_t>(i)];
        if (i + 1 < list_size_ && place[0]->weight > place[1]->weight) {
            ketriope::numbered_message({.number = "1106", .route = k_error}, "Nodes list sanity error 2.");
            ketriope::leave_process(2);
        }
        if ((*place)->position != place) {
            ketriope::numbered_message({.number = "1107", .route = k_error}, "Nodes list sanity error 3.");
            ketriope::leave_process(1);
        }
    }
}
