// basutstrfold.cpp: the folding of text into lines.
#include "basutstr.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string_view>
#include <utility>

#include "heap_text.h"

namespace {

constexpr int k_least_text = 10;  ///< columns that a line has beside its indent
constexpr int k_spare_width = 3;  ///< columns that an indent must leave of the width as given
constexpr std::size_t k_spare_lines = 500;
constexpr std::size_t k_npos = std::string_view::npos;

struct columns {
    std::size_t width;   ///< of a line, its indent included
    std::size_t indent;  ///< of all lines but the first
};

columns usable(int width, int indent) noexcept
{
    if (indent < 0 || indent > width - k_spare_width) indent = 0;
    return {static_cast<std::size_t>(std::max(width, indent + k_least_text)),
            static_cast<std::size_t>(indent)};
}

/// Where the text of a line ends, and where the next line begins: behind the end for the last one.
struct line_end {
    std::size_t end;
    std::size_t next;
};

/// Measures the line that begins at `begin` and has room for `room` characters.
line_end measure(std::string_view text, std::size_t begin, std::size_t room) noexcept
{
    std::size_t last_break = k_npos;
    for (std::size_t at = begin;; ++at) {
        const bool closes = at == text.size() || text[at] == '\n';
        if (closes || text[at] == ' ') last_break = at;  // first, so that a blank may end a full line
        if (!closes && at - begin < room) continue;
        return last_break == k_npos ? line_end{at, at} : line_end{last_break, last_break + 1};
    }
}

/// Lines on their way to the caller; they are released if one more cannot be had.
///
/// The array grows with them: a report of exhausted memory is folded, too, in the little that is left.
class line_array {
public:
    line_array() = default;
    ~line_array() { ut_strdelstrings(lines_, count_); }
    line_array(const line_array&) = delete;
    line_array& operator=(const line_array&) = delete;

    void add(std::string_view text, std::size_t indent)
    {
        const auto count = static_cast<std::size_t>(count_);
        if (count == 0 || std::has_single_bit(count)) {
            void* const grown = std::realloc(lines_, 2 * std::max(count, std::size_t{1}) * sizeof(char*));
            if (grown == nullptr) throw std::bad_alloc();
            lines_ = static_cast<char**>(grown);
        }
        lines_[count] = ketriope::heap_copy(text, indent).release();
        ++count_;
    }
    char** release(short& count) noexcept
    {
        count = count_;
        return std::exchange(lines_, nullptr);
    }

private:
    char** lines_ = nullptr;  ///< with room for twice the last power of two that the count has passed
    short count_ = 0;
};

}  // namespace

char** ut_strbreakstring(const char* text, short width, short* count, short indent)
{
    const std::string_view all = text != nullptr ? text : "";
    const columns shape = usable(width, indent);
    const std::size_t most_lines =
        std::min<std::size_t>(all.size() / shape.width + k_spare_lines, std::numeric_limits<short>::max());
    line_array lines;
    std::size_t begin = 0;
    for (std::size_t made = 0; made < most_lines && begin <= all.size(); ++made) {
        const std::size_t stands_in = made == 0 ? 0 : shape.indent;
        const line_end line = measure(all, begin, shape.width - stands_in);
        lines.add(all.substr(begin, line.end - begin), stands_in);
        begin = line.next;
    }
    return lines.release(*count);
}

void ut_strdelstrings(char** strings, short count)
{
    if (strings == nullptr) return;
    for (short i = 0; i < count; ++i) std::free(strings[i]);
    std::free(strings);
}
