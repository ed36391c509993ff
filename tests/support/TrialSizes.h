#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace korvane_test {

/// Widths and heights that small images are tried in: single rows and columns, odd and even, around vector lengths.
inline std::vector<std::pair<std::uint64_t, std::uint64_t>> TrialSizes() {
    return {{1, 1},  {1, 7}, {7, 1},   {2, 2},   {2, 16},  {3, 3},   {3, 40},
            {40, 3}, {7, 7}, {16, 16}, {33, 17}, {17, 33}, {64, 31}, {31, 64}};
}

/// Runs `trial(width, height, seed)` for every width with every height and another seed each, which failures name.
/// Ends after the first fatal failure.
template <typename Trial>
void ForEachSizeAndSeed(Trial trial) {
    unsigned seed = 1;
    for (const std::uint64_t width : {1u, 2u, 3u, 7u, 9u, 15u, 16u, 17u, 18u, 33u, 64u, 100u}) {
        for (const std::uint64_t height : {1u, 2u, 3u, 7u, 16u, 33u, 60u}) {
            SCOPED_TRACE(::testing::Message() << width << " x " << height << ", seed " << seed);
            trial(width, height, seed++);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

}  // namespace korvane_test
