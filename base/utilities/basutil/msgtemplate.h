/// \file msgtemplate.h
/// The templates of messages: `$$`, flags, and a conversion for each argument.
///
/// A template is read twice, by two sets of rules that differ in odd cases; catalogues have been written
/// against both. Expansion turns the arguments of a call into text; composition puts text in place.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "uttypes.h"

namespace ketriope {

/// Appends to `out` one text for each argument that `text` asks for, formatted by its conversion.
///
/// The first `skip` places of the template take nothing from the list. A conversion that is not known
/// adds nothing, so that those behind it move up. At most 128 places are looked at.
void expand_arguments(std::string_view text, ut_va_list arguments, std::size_t skip,
                      std::vector<std::string>& out);

/// Appends `text` to `out` with the k-th argument in place of the k-th `$$`, as it stands; "" for one that
/// is missing.
///
/// A backslash with `n` or `t` stands for a line feed or a tab. What comes behind the first 2,024
/// characters of the template, as they are then, is left out.
void compose_text(std::string_view text, const std::vector<std::string>& arguments, std::string& out);

}  // namespace ketriope
