/// \file line_copy.h
/// Finds the end of a line and copies the line in one pass.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ketriope {

/// Bytes looked at in one step.
inline constexpr std::size_t k_line_block = 32;

/// Which of the next 32 bytes is a line feed or a NUL, the first one in the lowest bit.
inline std::uint32_t line_marks(const unsigned char* block) noexcept
{
#if defined(__SSE2__)
    const auto marks = [block](int half) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block) + half);
        const __m128i line_feeds = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n'));
        const __m128i nuls = _mm_cmpeq_epi8(bytes, _mm_setzero_si128());
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_or_si128(line_feeds, nuls)));
    };
    return marks(0) | marks(1) << 16;
#else
    std::uint32_t marks = 0;
    for (std::size_t i = 0; i < k_line_block; ++i)
        if (block[i] == '\n' || block[i] == '\0') marks |= std::uint32_t{1} << i;
    return marks;
#endif
}

/// Copies the bytes in front of the first line feed or NUL, and nothing else; returns how many, `count`
/// where there is neither.
///
/// The last step of a line ends exactly where the line does and goes over the one before it, since a
/// branch on how much is left would be guessed wrongly for nearly every line.
inline std::size_t copy_to_line_mark(const unsigned char* from, std::size_t count, char* out) noexcept
{
    std::size_t done = 0;
    for (; done + k_line_block <= count; done += k_line_block) {
        if (const std::uint32_t marks = line_marks(from + done)) {
            const std::size_t length = done + static_cast<std::size_t>(std::countr_zero(marks));
            if (length >= k_line_block)
                std::memcpy(out + length - k_line_block, from + length - k_line_block, k_line_block);
            else
                std::memcpy(out, from, length);
            return length;
        }
        std::memcpy(out + done, from + done, k_line_block);
    }
    for (; done < count && from[done] != '\n' && from[done] != '\0'; ++done)
        out[done] = static_cast<char>(from[done]);
    return done;
}

}  // namespace ketriope
