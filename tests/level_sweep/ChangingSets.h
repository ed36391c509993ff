#pragma once

#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>

#include "bits/BitGrid.h"
#include "bits/ColumnGrid.h"
#include "skeleton/IncrementalSkeleton.h"
#include "support/EdgeMaps.h"

/// Sets of pixels, 1.0 in a float map, that change step by step.
namespace korvane_test {

inline int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

inline cv::Mat RandomSet(std::mt19937& random, int width, int height) {
    const cv::Mat noise =
        NoisePicture(width, height, 0.5 * Between(random, 1, 6), static_cast<std::uint32_t>(random()));
    cv::Mat set;
    cv::threshold(noise, set, 0.1 * Between(random, 3, 7), 1.0, cv::THRESH_BINARY);
    return set;
}

/// Notes for what is kept of a set how that set, held in `known`, becomes `wanted`.
template <typename Kept>
void ChangeTo(const cv::Mat& wanted, cv::Mat& known, Kept& kept) {
    const level_sweep::BitGrid grid(wanted.cols, wanted.rows);
    for (int y = 0; y < wanted.rows; ++y) {
        for (int x = 0; x < wanted.cols; ++x) {
            const bool now = wanted.at<float>(y, x) == 1.0f;
            const bool before = known.at<float>(y, x) == 1.0f;
            if (now && !before) kept.Add(grid.WordAt(x, y), level_sweep::BitGrid::Bit(x));
            if (!now && before) kept.Remove(grid.WordAt(x, y), level_sweep::BitGrid::Bit(x));
        }
    }
    known = wanted.clone();
}

/// Changes a wide set, solid but for a few holes, by discs: thinning it takes up to a hundred steps.
inline void ChangeByDiscs(std::mt19937& random, cv::Mat& set) {
    for (int i = Between(random, 1, 3); i > 0; --i) {
        const cv::Point at(Between(random, 0, set.cols - 1), Between(random, 0, set.rows - 1));
        const int largest = Between(random, 0, 3) == 0 ? 50 : 4;
        cv::circle(set, at, Between(random, 0, largest), cv::Scalar(Between(random, 0, 1)), cv::FILLED);
    }
}

inline bool IsLine(const level_sweep::IncrementalSkeleton& skeleton, int x, int y) {
    return (skeleton.LinesIn(skeleton.Grid().WordAt(x, y)) & level_sweep::ColumnGrid::Bit(x)) != 0;
}

inline bool IsEnd(const level_sweep::IncrementalSkeleton& skeleton, int x, int y) {
    return (skeleton.EndsIn(skeleton.Grid().WordAt(x, y)) & level_sweep::ColumnGrid::Bit(x)) != 0;
}

}  // namespace korvane_test
