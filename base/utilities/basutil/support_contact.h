/// \file support_contact.h
/// Whom a person may call about an internal error: configuration of the product.
#pragma once

namespace ketriope {
inline constexpr const char* k_support_phones[] = {"1-800-555-0142", "1-408-555-0177"};
inline constexpr const char* k_support_mail = "support@velmora.example";
}  // namespace ketriope
