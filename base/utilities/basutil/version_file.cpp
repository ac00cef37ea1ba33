// version_file.cpp
#include "version_file.h"

#include "basutstream.h"
#include "platform.h"

namespace ketriope {
namespace {

constexpr int k_piece = 255;  ///< bytes read at a time
constexpr std::size_t k_npos = std::string_view::npos;

struct version_key {
    std::string_view name;
    std::optional<std::string> version_numbers::*value;
    bool must_have_value;  ///< where a line without one is passed over
};

constexpr version_key k_keys[] = {
    {"MajorVersion", &version_numbers::major, false},
    {"MinorVersion", &version_numbers::minor, false},
    {"BuildNumber", &version_numbers::build, true},
    {"PatchNumber", &version_numbers::patch, true},
};

/// The text of `line`: up to its line feed, the carriage return in front of that, or a NUL.
std::string_view text_of(std::string_view line) noexcept
{
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
    }
    return line.substr(0, line.find('\0'));
}

void take_piece(std::string_view piece, version_numbers& numbers)
{
    for (const version_key& key : k_keys) {
        if (numbers.*key.value) continue;
        const std::size_t at = piece.find(key.name);
        if (at == k_npos) continue;
        const std::string_view rest = piece.substr(at + key.name.size());
        if (rest.starts_with('=') && (rest.size() > 1 || !key.must_have_value))
            numbers.*key.value = rest.substr(1);
    }
}

void take_line(std::string_view line, version_numbers& numbers)
{
    for (const version_key& key : k_keys) {
        const std::string sought = std::string(key.name) + '=';
        const std::size_t at = line.find(sought);
        if (at != k_npos && !(numbers.*key.value)) numbers.*key.value = line.substr(at + sought.size());
    }
}

}  // namespace

std::string version_file_below(std::string_view root)
{
    return std::string(root) + platform::k_separator + "data" + platform::k_separator + "orvsys.ini";
}

version_numbers read_version_pieces(UT_STREAM& stream)
{
    version_numbers numbers;
    char piece[k_piece];
    while (!numbers.complete()) {
        const int count = stream.readkey(piece, k_piece, "\n");
        if (count <= 0) break;
        take_piece(text_of({piece, static_cast<std::size_t>(count)}), numbers);
    }
    return numbers;
}

version_numbers read_version_lines(std::string_view content)
{
    version_numbers numbers;
    while (!content.empty() && !numbers.complete()) {
        const std::size_t end = content.find('\n');
        const std::string_view line = content.substr(0, end == k_npos ? end : end + 1);
        take_line(text_of(line), numbers);
        content.remove_prefix(line.size());
    }
    return numbers;
}

}  // namespace ketriope
