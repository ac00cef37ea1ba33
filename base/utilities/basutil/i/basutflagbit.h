/// \file i/basutflagbit.h
/// Sets of 8 and of 16 flags, in one byte and in two.
///
/// Threads: no locks; a set belongs to one thread at a time. The first sets may be made in several threads.
#pragma once
#include <atomic>

#include "uttypes.h"

namespace ketriope {

/// What the two have in common: flags in a word, by their numbers from 0 on. `Set` has the masks, so that
/// there is one table for all modules of a process.
template <class Set, class Word>
class flag_word {
public:
    /// All flags are clear.
    flag_word() { fill_masks(); }

    /// A number past the last flag has no effect.
    void setFlag(unsigned int flag) { flags_ = static_cast<Word>(flags_ | mask(flag)); }
    void clearFlag(unsigned int flag) { flags_ = static_cast<Word>(flags_ & ~mask(flag)); }
    /// False for a number past the last flag.
    bool isFlagSet(unsigned int flag) const { return (flags_ & mask(flag)) != 0; }
    void clearAllFlags() { flags_ = 0; }

protected:
    static constexpr unsigned int k_flags = 8 * sizeof(Word);

private:
    static unsigned int mask(unsigned int flag)
    {
        return flag < k_flags ? Set::_flag_index[flag].load(std::memory_order_relaxed) : 0U;
    }
    /// Without a lock: threads that meet here store the same numbers.
    static void fill_masks()
    {
        if (Set::_flag_index_init.load(std::memory_order_acquire)) return;
        for (unsigned int flag = 0; flag < k_flags; ++flag)
            Set::_flag_index[flag].store(static_cast<Word>(1U << flag), std::memory_order_relaxed);
        Set::_flag_index_init.store(true, std::memory_order_release);
    }

    Word flags_ = 0;
};

}  // namespace ketriope

class UT_EXPORT UT_FLAGBIT8 : public ketriope::flag_word<UT_FLAGBIT8, std::uint8_t> {
    friend flag_word;

    static std::atomic<std::uint8_t> _flag_index[k_flags];  ///< 1 << i, from the first construction on
    static std::atomic<bool> _flag_index_init;
};

class UT_EXPORT UT_FLAGBIT16 : public ketriope::flag_word<UT_FLAGBIT16, std::uint16_t> {
    friend flag_word;

    static std::atomic<std::uint16_t> _flag_index[k_flags];  ///< as above
    static std::atomic<bool> _flag_index_init;
};
