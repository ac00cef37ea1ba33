/// \file free_list.h
/// Blocks of one size that a class of high turnover hands out again instead of giving them back.
#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <thread>

namespace ketriope {

/// Behind a class's `operator new` and `operator delete`; constant-initialised, and never destroyed.
///
/// Objects of another size, those of derived classes, go to the heap and back.
/// Threads: safe from several at once.
class free_list {
public:
    /// A list for blocks of `size` bytes, of which it keeps no more than `most`.
    constexpr explicit free_list(std::size_t size, std::size_t most = SIZE_MAX) noexcept
        : size_(size), most_(most)
    {
    }
    free_list(const free_list&) = delete;
    free_list& operator=(const free_list&) = delete;

    void* take(std::size_t size)
    {
        if (size == size_) {
            const turn held(busy_);
            if (first_ != nullptr) {
                link* const block = first_;
                first_ = block->next;
                --kept_;
                return block;
            }
        }
        return ::operator new(size);
    }

    void give(void* block, std::size_t size) noexcept
    {
        if (block == nullptr) return;
        if (size != size_ || !keep(block)) ::operator delete(block);
    }

private:
    struct link {
        link* next;
    };

    /// One thread's turn at the list. It lasts for a few instructions, so who comes meanwhile does not sleep.
    class turn {
    public:
        explicit turn(std::atomic_flag& busy) noexcept : busy_(busy)
        {
            while (busy_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
        }
        ~turn() { busy_.clear(std::memory_order_release); }
        turn(const turn&) = delete;
        turn& operator=(const turn&) = delete;

    private:
        std::atomic_flag& busy_;
    };

    bool keep(void* block) noexcept
    {
        const turn held(busy_);
        if (kept_ == most_) return false;
        first_ = new (block) link{first_};
        ++kept_;
        return true;
    }

    std::size_t size_;  ///< of a block; no less than that of a pointer
    std::size_t most_;
    std::size_t kept_ = 0;
    link* first_ = nullptr;
    std::atomic_flag busy_;
};

}  // namespace ketriope
