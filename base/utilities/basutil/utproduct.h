/// \file utproduct.h
/// What the product says of itself and of its maker: configuration, in one place.
#pragma once

namespace ketriope {

inline constexpr const char* k_vendor = "Velmora Semiconductor";
inline constexpr const char* k_support_phones = "1-800-555-0142, or +1-503-555-0143";
inline constexpr const char* k_support_mail = "techsupport@velmora.example";

inline constexpr const char* k_suite = "Orlenta Software";  ///< in the version that the suite shows
inline constexpr const char* k_tools = "Zirvane";           ///< in the version that logs and reports show

/// The notice about the library, line by line.
inline constexpr const char* k_notice[] = {
    "ketriope base utilities",
    "Copyright (c) Velmora Semiconductor Corporation.",
    "All rights reserved.",
    "Part of the Orlenta Software suite.",
    "See the licence that came with this product.",
};

}  // namespace ketriope
