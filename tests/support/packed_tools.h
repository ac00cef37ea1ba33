// tests/support/packed_tools.h: content through the packer and back, without a file.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "basutpak.h"
#include "memory_device.h"

/// Puts a content through `pak`, `block` bytes at a time, without the end mark.
inline void pack_into(UTPAK_DATA& packer, std::string content, std::size_t block)
{
    for (std::size_t at = 0; at < content.size(); at += block)
        packer.pak(content.data() + at, static_cast<long>(std::min(block, content.size() - at)));
}

/// What follows the 9 bytes in a packed file.
inline std::string packed(const std::string& content, std::size_t block = 16'384)
{
    memory_device device;
    {
        UTPAK_DATA packer(&device, 0, 0);
        pack_into(packer, content, block);
    }
    return device.stored;
}

/// What a reader gives, asked for `piece` bytes at a time, until it gives nothing or `most` are there.
inline void append_unpacked(UTPAK_DATA& packer, std::size_t piece, std::size_t most, std::string& content)
{
    std::string part(piece, '\0');
    while (content.size() < most) {
        const long got = packer.unpak(part.data(), static_cast<long>(piece));
        if (got < 1) return;
        content.append(part, 0, static_cast<std::size_t>(got));
    }
}
inline std::string unpacked(UTPAK_DATA& packer, std::size_t piece)
{
    std::string content;
    append_unpacked(packer, piece, std::string::npos, content);
    return content;
}
inline std::string unpacked(const std::string& stored, std::size_t piece = 16'384)
{
    memory_device device(stored);
    UTPAK_DATA packer(&device, 0, 0);
    return unpacked(packer, piece);
}
