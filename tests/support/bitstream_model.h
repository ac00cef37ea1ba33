// tests/support/bitstream_model.h: what a UT_BITSTREAM is, told bit by bit, and calls that go to both.
//
// It shares nothing with the library: one truth value per bit written, and no bytes.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "basutbitstream.h"

struct bitstream_model {
    std::deque<bool> bits;  ///< from the first byte of the buffer to the write position
    std::int64_t read_at = 0;

    void put(std::uint64_t value, std::int64_t count)
    {
        for (std::int64_t i = 0; i < count; ++i) bits.push_back(i < 32 && (value >> i & 1U) != 0);
    }
    std::uint32_t get(std::int64_t count)
    {
        std::uint32_t value = 0;
        for (std::int64_t i = 0; i < count; ++i, ++read_at) {
            const bool inside = read_at >= 0 && read_at < total();
            if (i < 32 && inside && bits[static_cast<std::size_t>(read_at)]) value |= 1U << i;
        }
        return value;
    }
    std::int64_t total() const { return static_cast<std::int64_t>(bits.size()); }
    void flush()
    {
        if (read_at < 0 || read_at / 8 > total() / 8) return;
        bits.erase(bits.begin(), bits.begin() + read_at / 8 * 8);
        read_at %= 8;
    }
};

/// One call to a stream and to its model, chosen by `operation`; false when they answer differently.
inline bool same_step(UT_BITSTREAM& stream, bitstream_model& model, unsigned int operation,
                      std::uint32_t value, int count)
{
    switch (operation % 14) {
    case 0:
    case 1:
    case 2: stream.putubits(value | ~0UL << 32, count); return model.put(value, count), true;
    case 3: stream.putbit(static_cast<char>(value % 3)); return model.put(value % 3 != 0, 1), true;
    case 4: stream.putshort(static_cast<short>(value)); return model.put(value & 0xFFFFU, 16), true;
    case 5: stream.putlong(static_cast<std::int32_t>(value)); return model.put(value, 32), true;
    case 6:
    case 7:
    case 8: return stream.getubits(count) == model.get(count);
    case 9: return stream.getbit() == static_cast<int>(model.get(1));
    case 10: return stream.getlong() == static_cast<std::int32_t>(model.get(32));
    case 11: {
        const std::vector<unsigned char> block(static_cast<std::size_t>(std::max(count, 0)) / 8 + 1,
                                               static_cast<unsigned char>(value));
        stream.putblock(block.data(), count);
        for (int i = 0; i < count; ++i) model.put(value >> i % 8 & 1U, 1);
        return true;
    }
    case 12: {
        std::vector<unsigned char> block((static_cast<std::size_t>(std::max(count, 0)) + 7) / 8, 0xFF);
        stream.getblock(block.data(), count);
        for (int i = 0; i < count; i += 8)
            if (block[static_cast<std::size_t>(i) / 8] != model.get(std::min(8, count - i))) return false;
        return true;
    }
    default: break;
    }
    if (value % 4 != 0) {
        stream.flush();
        model.flush();
        return true;
    }
    UT_BSTATE state;
    stream.getstate(state);
    if (8 * state.byte + state.bit != model.read_at) return false;
    model.read_at = static_cast<std::int64_t>(value / 4 % 4'096) - 64;
    state.byte = (model.read_at + 64) / 8 - 8;
    state.bit = static_cast<int>((model.read_at + 64) % 8);
    stream.setstate(state);
    return true;
}

/// True when positions and content are alike.
inline bool same(UT_BITSTREAM& stream, const bitstream_model& model)
{
    if (stream.totalbits() != model.total() || stream.numremainingbits() != model.total() - model.read_at ||
        stream.anybitsleft() != (model.total() != model.read_at))
        return false;
    const unsigned char* const data = stream.getdata();
    for (std::size_t i = 0; i < (model.bits.size() + 7) / 8 * 8; ++i)
        if ((data[i / 8] >> i % 8 & 1) != (i < model.bits.size() && model.bits[i] ? 1 : 0)) return false;
    return true;
}
