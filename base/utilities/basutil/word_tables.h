/// \file word_tables.h
/// What a tree of words says, in tables: for the inner loops of the packer.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

#include "basuthuff.h"
#include "packed_codes.h"

namespace ketriope {

/// A word that was looked up.
struct found_word {
    std::uint16_t word;
    std::uint8_t bits;  ///< 0: it has more than the table shows
};

/// The word at the front of a few bits, for words near the root.
class word_lookup {
public:
    static constexpr unsigned k_bits = 11;

    void take(const UTHUF_TREE& tree)
    {
        entries_.fill({});
        fill(tree.root(), 0, 0);
    }
    found_word operator[](std::uint64_t bits) const { return entries_[bits & (k_size - 1)]; }

private:
    static constexpr std::size_t k_size = std::size_t{1} << k_bits;

    void fill(const UTHUF_NODE* node, std::size_t path, unsigned depth)
    {
        if (node->is_leaf()) {
            const found_word found{static_cast<std::uint16_t>(node->word), static_cast<std::uint8_t>(depth)};
            for (std::size_t i = path; i < k_size; i += std::size_t{1} << depth) entries_[i] = found;
        } else if (depth < k_bits) {
            fill(node->left, path, depth + 1);
            fill(node->right, path | std::size_t{1} << depth, depth + 1);
        }
    }

    std::array<found_word, k_size> entries_;
};

/// Both trees of a block, as its reader needs them.
class unpacking_tables {
public:
    word_lookup literals;
    word_lookup offsets;
};

/// The bits of each word, for words of up to 32 of them.
template <ut_long Words>
class word_bits {
public:
    explicit word_bits(UTHUF_TREE& tree) : tree_(tree)
    {
        if (tree.root() != nullptr) fill(tree.root(), 0, 0);
    }
    void put(UT_PAKIO& out, std::uint16_t word) const
    {
        const entry& found = entries_[word];
        if (found.count > 0)
            out.putbits(found.bits, found.count);
        else
            tree_.putword(word);
    }

private:
    static constexpr unsigned k_most_bits = 32;
    struct entry {
        std::uint32_t bits = 0;
        std::uint32_t count = 0;  ///< 0: more than fit
    };

    void fill(const UTHUF_NODE* node, std::uint32_t path, unsigned depth)
    {
        if (node->is_leaf()) {
            entries_[node->word] = {path, depth};
        } else if (depth < k_most_bits) {
            fill(node->left, path, depth + 1);
            fill(node->right, path | std::uint32_t{1} << depth, depth + 1);
        }
    }

    UTHUF_TREE& tree_;
    std::array<entry, Words> entries_{};
};

}  // namespace ketriope
