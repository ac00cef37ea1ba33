// basutpak.cpp
#include "basutpak.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "bit_window.h"
#include "contract.h"
#include "match_finder.h"
#include "packed_codes.h"
#include "startup.h"
#include "word_tables.h"

using namespace ketriope;

namespace ketriope {

/// What a block consists of, until its weights are known.
struct packed_tokens {
    struct coded {
        std::uint16_t word;
        std::uint16_t extra;
    };
    std::vector<coded> words;
    std::vector<coded> offsets;  ///< one for each length among the words
    std::array<ut_long, k_literal_words> literal_counts{};
    std::array<ut_long, k_offset_words> offset_counts{};

    void add_literal(unsigned char byte)
    {
        words.push_back({byte, 0});
        ++literal_counts[byte];
    }
    void add_match(ut_long offset, ut_long length)
    {
        const std::size_t code = length_code(length);
        const std::size_t word = k_first_length_word + code;
        words.push_back({static_cast<std::uint16_t>(word),
                         static_cast<std::uint16_t>(length - k_length_codes[code].base)});
        ++literal_counts[word];
        const std::size_t offset_class = value_class(offset);
        offsets.push_back({static_cast<std::uint16_t>(offset_class),
                           static_cast<std::uint16_t>(offset - k_value_classes[offset_class].base)});
        ++offset_counts[offset_class];
    }
};

}  // namespace ketriope

namespace {

constexpr site k_site{.module = "basutpak"};
constexpr site k_inconsistent{.module = "basutpak", .exit_value = 2};

constexpr char k_version = '1';
constexpr ut_long k_most_at_once = 1 << 30;
constexpr ut_long k_most_dropped = 1 << 16;  ///< bytes in front of the window before it is moved

ut_long bounded(long length)
{
    return static_cast<ut_long>(std::clamp<long>(length, 0, k_most_at_once));
}

/// The version byte, which is looked at before the trees look at theirs.
char known_version(char version)
{
    if (version == 0) return k_version;
    if (version != k_version) contract_failed(k_site, "Unknown compression type.");
    return version;
}

}  // namespace

UTPAK_BUCKET::~UTPAK_BUCKET()
{
    // One by one: a chain may be longer than a stack is deep.
    while (next != nullptr) {
        UTPAK_BUCKET* const behind = std::exchange(next->next, nullptr);
        delete std::exchange(next, behind);
    }
}

// ---- construction and end

UTPAK_DATA::UTPAK_DATA(UT_IO_DEVICE* device, char pak_version, char huf_version)
    : UT_PAKIO(device), version_(known_version(pak_version)),
      weights_(std::make_unique<UTHUF_ADAPTIVE_TREE>(k_weight_words, this, huf_version)),
      literals_(std::make_unique<UTHUF_TREE>(k_literal_words, this, huf_version)),
      offsets_(std::make_unique<UTHUF_TREE>(k_offset_words, this, huf_version))
{
}

UTPAK_DATA::~UTPAK_DATA() noexcept(false)
{
    // The base writes out what is left, also when this raises.
    std::free(std::exchange(window_, nullptr));
    if (positions_) put_end();
}

void UTPAK_DATA::getversion(char& pak_version, char& huf_version) const
{
    pak_version = version_;
    huf_version = literals_->getversion();
}

// ---- the window

/// Gives the window room for `end` bytes, and some more that the inner loops touch.
void UTPAK_DATA::grow_window(ut_long end)
{
    const ut_long needed = dropped_ + end + content_view::k_slack;
    if (needed > capacity_) {
        void* const memory = std::realloc(window_, static_cast<std::size_t>(needed));
        if (memory == nullptr) throw std::bad_alloc();
        window_ = static_cast<unsigned char*>(memory);
        capacity_ = needed;
    }
}

void UTPAK_DATA::shrinkunpacked()
{
    const ut_long shift = std::min(end_ - k_window_size, processed_);
    if (shift < 1) return;
    end_ -= shift;
    processed_ -= shift;
    dropped_ += shift;
    if (positions_) positions_->move_down(shift);
    if (dropped_ < k_most_dropped) return;
    std::memmove(window_, window(), static_cast<std::size_t>(end_));
    dropped_ = 0;
}

long UTPAK_DATA::gethash(long position) const
{
    if (position < 0 || position >= end_ - 2) return -1;
    return static_cast<long>(triple_hash(window() + position));
}

unsigned char UTPAK_DATA::findlongestmatch(long position, long& match_position, long& match_length) const
{
    byte_match found;
    if (positions_ && gethash(position) >= 0)
        found = positions_->find_any({window(), end_}, static_cast<ut_long>(position));
    match_position = found.position;
    match_length = found.length;
    return found.length > 0;
}

UTPAK_BUCKET* UTPAK_DATA::getnewbucket(UTPAK_BUCKET* next, long position)
{
    if (!free_buckets_) return new UTPAK_BUCKET(next, position);
    UTPAK_BUCKET* const bucket = free_buckets_.release();
    free_buckets_.reset(std::exchange(bucket->next, next));
    bucket->position = static_cast<ut_long>(position);
    return bucket;
}

void UTPAK_DATA::freebuckets(UTPAK_BUCKET* first)
{
    if (first == nullptr) return;
    UTPAK_BUCKET* last = first;
    while (last->next != nullptr) last = last->next;
    last->next = free_buckets_.release();
    free_buckets_.reset(first);
}

// ---- packing

void UTPAK_DATA::pak(char* data, long length)
{
    const auto* from = reinterpret_cast<const unsigned char*>(data);
    do {
        const ut_long piece = bounded(length);
        pak_block(from, piece);
        from += piece;
        length -= piece;
    } while (length > 0);
}

void UTPAK_DATA::pak_block(const unsigned char* data, ut_long length)
{
    packed_tokens tokens;
    tokens.words.reserve(static_cast<std::size_t>(length));
    tokens.offsets.reserve(static_cast<std::size_t>(length / k_least_match) + 1);
    if (!positions_) positions_ = std::make_unique<match_finder>();
    const ut_long begin = end_;
    grow_window(begin + length);
    if (length > 0) std::memcpy(window() + begin, data, static_cast<std::size_t>(length));
    end_ += length;
    processed_ = end_;
    std::memset(window() + end_, 0, content_view::k_slack);

    const struct shrinking {  // also when the device raises, so that the window stays small
        UTPAK_DATA& packer;
        ~shrinking() { packer.shrinkunpacked(); }
    } at_the_end{*this};
    positions_->grow({window(), end_}, begin);
    tokens.literal_counts[k_table_word] = 1;
    find_tokens(begin, tokens);
    const auto set_weights = [](UTHUF_TREE& tree, const auto& counts) {
        for (std::size_t word = 0; word < counts.size(); ++word)
            tree.setprobability(word, std::min(counts[word], k_most_weight));
    };
    set_weights(*literals_, tokens.literal_counts);
    set_weights(*offsets_, tokens.offset_counts);
    put_weights();
    literals_->rebuild();
    offsets_->rebuild();
    put_tokens(tokens);
    ++blocks_;
}

/// Cuts what is new in the window into literals and matches.
void UTPAK_DATA::find_tokens(ut_long begin, packed_tokens& tokens) const
{
    const content_view content{window(), end_};
    const auto same_triple = [&](ut_long position) {
        return std::memcmp(content.bytes + position, content.bytes + position + 1, k_least_match) == 0;
    };
    byte_match ahead;  // what the look at the next position has found, if it counts
    bool is_known = false;
    for (ut_long position = begin; position < end_;) {
        const byte_match here = is_known ? ahead : positions_->find(content, position);
        is_known = false;
        bool literal = here.length < k_least_match;
        if (!literal && here.length < k_most_match) {
            const byte_match next = positions_->find(content, position + 1);
            literal = next.length >= here.length;
            // The step to the next position makes this one known, which is news only for a run.
            is_known = literal && !same_triple(position);
            ahead = next;
        }
        ut_long steps = 1;
        if (literal) {
            tokens.add_literal(content.bytes[position]);
        } else {
            tokens.add_match(position - here.position, here.length);
            steps = here.length;
        }
        // The last two bytes have no hash, and stay unknown also when more content comes.
        for (; steps > 0; --steps, ++position)
            if (position < end_ - 2) positions_->enter(content, position);
    }
}

/// Announces a table in the tree as it stands, and sends the weights of the next one.
void UTPAK_DATA::put_weights()
{
    literals_->putword(k_table_word);
    for (ut_long word = 0; word < k_literal_words; ++word)
        put_weight(*literals_, static_cast<unsigned long>(word));
    for (ut_long word = 0; word < k_offset_words; ++word)
        put_weight(*offsets_, static_cast<unsigned long>(word));
}

void UTPAK_DATA::put_weight(const UTHUF_TREE& tree, unsigned long word)
{
    const auto weight = static_cast<ut_long>(tree.getprobability(word));
    const std::size_t code = value_class(weight);
    weights_->putword(code);
    weights_->count(code);
    putbits(static_cast<unsigned long>(weight - k_value_classes[code].base), k_value_classes[code].bits);
}

void UTPAK_DATA::put_tokens(const packed_tokens& tokens)
{
    const word_bits<k_literal_words> literals(*literals_);
    const word_bits<k_offset_words> offsets(*offsets_);
    auto offset = tokens.offsets.begin();
    for (const packed_tokens::coded& token : tokens.words) {
        literals.put(*this, token.word);
        if (token.word < k_first_length_word || offset == tokens.offsets.end()) continue;
        putbits(token.extra, k_length_codes[token.word - k_first_length_word].bits);
        offsets.put(*this, offset->word);
        putbits(offset->extra, k_value_classes[offset->word].bits);
        ++offset;
    }
    if (offset != tokens.offsets.end()) contract_failed(k_inconsistent, "Offset buffer count inconsistent.");
}

void UTPAK_DATA::put_end()
{
    literals_->putword(k_table_word);
    weights_->putword(k_end_class);
    weights_->count(k_end_class);
}

// ---- unpacking

long UTPAK_DATA::unpak(char* out, long length)
{
    if (ended_ != 0 || length < 1) return 0;
    const ut_long target = processed_ + bounded(length);
    grow_window(target + k_most_match);
    if (!tables_) {
        tables_ = std::make_unique<unpacking_tables>();
        tables_->literals.take(*literals_);
        tables_->offsets.take(*offsets_);
    }
    while (end_ < target) {
        unpak_tokens(target);
        if (end_ < target && !unpak_token()) break;
    }
    const ut_long count = std::min(target, end_) - processed_;
    if (out != nullptr) std::memcpy(out, window() + processed_, static_cast<std::size_t>(count));
    processed_ += count;
    shrinkunpacked();
    return count;
}

/// Reads what comes next, bit by bit; false where the content or the input ends.
bool UTPAK_DATA::unpak_token()
{
    const unsigned long word = literals_->getword();
    if (is_end_of_pakio() != 0) return false;
    if (word == k_table_word) return get_weights();
    if (word > k_table_word) return get_match(word);
    window()[end_++] = static_cast<unsigned char>(word);
    return true;
}

/// Reads literals and matches up to `target` while they are near their trees' roots, sound, and not at the
/// end of the buffer; whatever else comes next is left to `unpak_token`.
void UTPAK_DATA::unpak_tokens(ut_long target)
{
    bit_window bits(register_, current_, bytes_left_);
    while (end_ < target && bits.fill()) {
        const found_word found = tables_->literals[bits.bits()];
        if (found.bits == 0 || found.word == k_table_word) return;
        if (found.word > k_table_word) {
            if (!unpak_match(bits, found)) return;
        } else {
            bits.take(found.bits);
            window()[end_++] = static_cast<unsigned char>(found.word);
        }
    }
}

/// Takes a match of up to 41 bits off the window; false, with nothing taken, where it is for `unpak_token`.
inline bool UTPAK_DATA::unpak_match(bit_window& bits, found_word found)
{
    const code_range lengths = k_length_codes[found.word - k_first_length_word];
    const unsigned before = found.bits + static_cast<unsigned>(lengths.bits);
    const found_word offset = tables_->offsets[bits.bits() >> before];
    if (offset.bits == 0) return false;
    const code_range offsets = k_value_classes[offset.word];
    const auto distance = static_cast<ut_long>(offsets.base + bits.value(before + offset.bits, offsets.bits));
    if (distance == 0 || distance > end_) return false;
    const auto length = static_cast<ut_long>(lengths.base + bits.value(found.bits, lengths.bits));
    bits.take(before + offset.bits + offsets.bits);
    append_match(distance, length);
    return true;
}

/// Reads the rest of a match.
bool UTPAK_DATA::get_match(unsigned long word)
{
    const code_range lengths = k_length_codes[word - k_first_length_word];
    const auto length = static_cast<ut_long>(lengths.base + getbits(lengths.bits));
    if (is_end_of_pakio() != 0) return false;
    const unsigned long offset_class = offsets_->getword();
    if (is_end_of_pakio() != 0) return false;
    const code_range offsets = k_value_classes[offset_class];
    const auto offset = static_cast<ut_long>(offsets.base + getbits(offsets.bits));
    if (is_end_of_pakio() != 0) return false;
    if (offset == 0 || offset > end_) {
        refuse_offset();
        return false;
    }
    append_match(offset, length);
    return true;
}

void UTPAK_DATA::refuse_offset()
{
    ended_ = 1;  // should the process go on, then without what follows
    numbered_message({.number = "1103", .route = numbered::legacy::error},
                     "Bogus offset reading packed data.");
    leave_process(1);
}

void UTPAK_DATA::append_match(ut_long offset, ut_long length)
{
    unsigned char* to = window() + end_;
    end_ += length;
    if (offset < content_view::k_slack) {  // the match repeats its own first bytes
        for (const unsigned char* const end = to + length; to < end; ++to) *to = *(to - offset);
        return;
    }
    // The slack behind the window takes what the last step copies too much.
    for (; length > 0; length -= content_view::k_slack, to += content_view::k_slack)
        std::memcpy(to, to - offset, content_view::k_slack);
}

/// Reads a table of weights, or the end mark; false where there are no tokens behind it.
bool UTPAK_DATA::get_weights()
{
    for (ut_long word = 0; word < k_literal_words; ++word)
        if (!get_weight(*literals_, static_cast<unsigned long>(word))) return false;
    for (ut_long word = 0; word < k_offset_words; ++word)
        if (!get_weight(*offsets_, static_cast<unsigned long>(word))) return false;
    literals_->rebuild();
    offsets_->rebuild();
    tables_->literals.take(*literals_);
    tables_->offsets.take(*offsets_);
    ++blocks_;
    return true;
}

bool UTPAK_DATA::get_weight(UTHUF_TREE& tree, unsigned long word)
{
    const unsigned long code = weights_->getword();
    if (is_end_of_pakio() != 0) return false;
    weights_->count(code);
    if (code == k_end_class) {
        ended_ = 1;
        return false;
    }
    const unsigned long extra = getbits(k_value_classes[code].bits);
    if (is_end_of_pakio() != 0) return false;
    tree.setprobability(word, static_cast<long>(k_value_classes[code].base + extra));
    return true;
}
