// progress.cpp
#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "console.h"

namespace ketriope::tool {
namespace {

constexpr ut_int64 k_worth_a_bar = ut_int64{4} << 20;  ///< bytes
constexpr int k_width = 40;                            ///< of the bar, in characters

}  // namespace

progress::progress(std::string what, ut_int64 total)
    : what_(std::move(what)), total_(total), shown_(total >= k_worth_a_bar && reports_are_seen())
{
    if (shown_) reached(0);
}

progress::~progress()
{
    if (shown_) std::fputs("\r\033[K", stderr);
}

void progress::reached(ut_int64 bytes)
{
    if (!shown_) return;
    const int percent = static_cast<int>(std::clamp<ut_int64>(bytes, 0, total_) * 100 / total_);
    if (std::exchange(percent_, percent) == percent) return;
    const auto filled = static_cast<std::size_t>(percent * k_width / 100);
    std::string bar(k_width, ' ');
    std::fill_n(bar.begin(), filled, '#');
    std::fprintf(stderr, "\r%s [%s] %3d %%", what_.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
}

}  // namespace ketriope::tool
