/// \file version_file.h
/// The file "data/orvsys.ini" of an installation, which says what version it is.
///
/// It is read by two rules that agree on the files that the installer writes, and on the key that wins:
/// the first one with a value of that rule.
#pragma once
#include <optional>
#include <string>
#include <string_view>

class UT_STREAM;

namespace ketriope {

struct version_numbers {
    std::optional<std::string> major;
    std::optional<std::string> minor;
    std::optional<std::string> build;
    std::optional<std::string> patch;

    bool complete() const noexcept { return major && minor && build && patch; }
};

/// The version file below `root`: "data/orvsys.ini", with the separators of the system.
std::string version_file_below(std::string_view root);

/// Reads up to the four keys or the end, by pieces of at most 255 bytes.
///
/// A line that is longer falls apart: a key that the end of a piece cuts is not found, and a value ends
/// there. A key counts where it first stands in its piece, with `=` right behind it; build and patch
/// number must have a value, too.
version_numbers read_version_pieces(UT_STREAM& stream);

/// Takes what `content`, a whole file, says by lines of any length: a value is what stands behind the
/// first "MajorVersion=" of a line, and likewise; it may be empty.
version_numbers read_version_lines(std::string_view content);

}  // namespace ketriope
