/// \file utproduct.h
/// What the product says of itself and of its maker: configuration, in one place.
#pragma once

namespace ketriope {

inline constexpr const char* k_vendor = "Velmora Semiconductor";
inline constexpr const char* k_support_phones = "1-800-555-0142, or +1-503-555-0143";
inline constexpr const char* k_support_mail = "techsupport@velmora.example";

}  // namespace ketriope
