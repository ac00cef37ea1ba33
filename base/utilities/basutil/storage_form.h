/// \file storage_form.h
/// The forms in which a file may be stored other than plain, and the signature that tells each.
#pragma once
#include <array>

#include "basutio.h"

namespace ketriope {

using file_signature = std::array<unsigned char, 7>;

struct storage_form {
    UT_ACCESS bit;  ///< in the mask of a stream on such a file
    file_signature signature;
};

inline constexpr storage_form k_packed_form{UT_ACCESS_PACKED, {0x5A, 0x5A, 0xA5, 0xA5, 0xC3, 0xC3, 0x71}};
inline constexpr storage_form k_gca_form{UT_ACCESS_GCA, {0x5B, 0x5B, 0xA6, 0xA6, 0xC4, 0xC4, 0x72}};
inline constexpr storage_form k_gcb_form{UT_ACCESS_GCB, {0x5C, 0x5C, 0xA7, 0xA7, 0xC5, 0xC5, 0x73}};

/// What the first bytes of a file tell.
struct file_head {
    bool has_bytes = false;  ///< false, too, for a descriptor that cannot be read
    UT_ACCESS form{};        ///< the bit of its form, 0 for a plain file
};

/// Reads up to 7 bytes from where the descriptor stands; it is left behind them.
file_head read_file_head(int descriptor);

}  // namespace ketriope
