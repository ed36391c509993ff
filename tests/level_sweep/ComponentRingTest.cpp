#include "network/ComponentRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "ChangingSets.h"

namespace {

using korvane_test::Between;
using level_sweep::BitGrid;

TEST(ComponentRing, HasThePixelsThatShareASideWithTheComponent) {
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = Between(random, 1, 200);
        const int height = Between(random, 1, 30);
        const BitGrid grid(width, height);
        level_sweep::ComponentRing ring(grid, height);
        for (int step = 0; step < 3; ++step) {
            cv::Mat component = cv::Mat::zeros(height, width, CV_8U);
            cv::circle(component, {Between(random, 0, width - 1), Between(random, 0, height - 1)},
                       Between(random, 0, 70), cv::Scalar(1), Between(random, 0, 1) == 0 ? 1 : cv::FILLED);
            if (cv::countNonZero(component) == 0) continue;
            std::vector<level_sweep::WordPixels<level_sweep::BitGrid>> parts;
            for (int y = 0; y < height; ++y) {
                for (int x0 = 0; x0 < width; x0 += 64) {
                    BitGrid::Word pixels = 0;
                    for (int x = x0; x < std::min(x0 + 64, width); ++x) {
                        if (component.at<uchar>(y, x) != 0) pixels |= BitGrid::Bit(x);
                    }
                    if (pixels != 0) parts.push_back({grid.WordAt(x0, y), pixels});
                }
            }
            ring.Set(parts);
            cv::Mat expected;
            cv::dilate(component, expected, cv::getStructuringElement(cv::MORPH_CROSS, {3, 3}));
            const level_sweep::PixelBox& words = ring.Words();
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    if (component.at<uchar>(y, x) != 0) continue;
                    const int column = x / 64;
                    const bool isInBox = column >= words.x0 && column <= words.x1 && y >= words.y0 && y <= words.y1;
                    const bool isInRing = isInBox && (ring.In(column, y) & BitGrid::Bit(x)) != 0;
                    ASSERT_EQ(isInRing, expected.at<uchar>(y, x) != 0) << "column " << x << ", row " << y;
                }
            }
        }
    }
}

}  // namespace
