/// \file msgtypes.h
/// One table of the severities: their names, first letters and labels.
#pragma once
#include <cstddef>
#include <string_view>

#include "ascii.h"
#include "utmsgtypes.h"

namespace ketriope {

struct message_type {
    int type;
    const char* name;      ///< in files and displays
    const char* capitals;  ///< the word of its label; null for a type without one
};

/// The types that are counted come first, in the order of their bits and of all counters.
inline constexpr message_type k_message_types[] = {
    {MSG_ERROR, "Error", "ERROR"},       {MSG_CRITICAL, "Critical", "CRITICAL"},
    {MSG_WARNING, "Warning", "WARNING"}, {MSG_INFO, "Info", "INFO"},
    {MSG_STATUS, "Status", nullptr},     {MSG_DEBUG, "Debug", "DEBUG"},
    {MSG_UT_ERROR, "Error", nullptr},    {MSG_UT_FATAL, "Error", nullptr},
    {MSG_UT_INTERNAL, "Error", nullptr},
};
inline constexpr std::size_t k_counted_types = 5;

/// The row of a type; null for a value that is none.
constexpr const message_type* type_row(int type) noexcept
{
    for (const message_type& row : k_message_types)
        if (row.type == type) return &row;
    return nullptr;
}

/// The row of a type that is counted; its place in the table is its counter's.
constexpr const message_type* counted_type(int type) noexcept
{
    const message_type* const row = type_row(type);
    return row != nullptr && row < k_message_types + k_counted_types ? row : nullptr;
}

/// The name of a type; "" for a value that is none.
constexpr const char* name_of_type(int type) noexcept
{
    const message_type* const row = type_row(type);
    return row != nullptr ? row->name : "";
}

/// The row whose name begins with that letter, in either case.
constexpr const message_type* type_by_letter(char letter) noexcept
{
    for (const message_type& row : k_message_types)
        if (row.name[0] == to_upper(letter)) return &row;
    return nullptr;
}

/// The row of that very name.
constexpr const message_type* type_by_name(std::string_view name) noexcept
{
    for (const message_type& row : k_message_types)
        if (name == row.name) return &row;
    return nullptr;
}

static_assert(k_message_types[k_counted_types - 1].type == MSG_STATUS &&
              k_message_types[k_counted_types].type == MSG_DEBUG);

}  // namespace ketriope
