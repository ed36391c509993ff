#include "InformationBar.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "support/AnnotatedPhantoms.h"

namespace {

using Korvane::FindInformationBars;
using Korvane::InformationBars;
using korvane_test::Addition;
using korvane_test::Depth;
using korvane_test::MakeAnnotatedPhantom;
using korvane_test::ToImage;

/// An image with a bar of so many rows below it, and some writing in it.
cv::Mat WithBarBelow(std::uint32_t seed, Depth depth, int rows, float level, float ink) {
    const cv::Mat image = MakeAnnotatedPhantom(seed, depth, Addition::kNothing).image;
    cv::Mat whole(image.rows + rows, image.cols, CV_32F, cv::Scalar(static_cast<double>(level)));
    image.copyTo(whole.rowRange(0, image.rows));
    cv::putText(whole, "HV 80 kV   Mag 25000 x   200 nm", {10, image.rows + rows - 10}, cv::FONT_HERSHEY_SIMPLEX, 0.6,
                static_cast<double>(ink), 2);
    return whole;
}

TEST(FindInformationBars, TellsTheRowsOfABarBelowOrAbove) {
    for (std::uint32_t seed = 1; seed <= 10; ++seed) {
        for (const Depth depth : {Depth::k8Bit, Depth::k16Bit}) {
            const float most = depth == Depth::k8Bit ? 255.0f : 65535.0f;
            cv::Mat below = WithBarBelow(seed, depth, 40, 0.0f, most);
            EXPECT_EQ(FindInformationBars(ToImage(below)).bottomRows, 40) << seed;
            EXPECT_EQ(FindInformationBars(ToImage(below)).topRows, 0) << seed;
            below = WithBarBelow(seed, depth, 33, most, 0.0f);
            EXPECT_EQ(FindInformationBars(ToImage(below)).bottomRows, 33) << seed;
            cv::Mat above;
            cv::flip(below, above, 0);
            EXPECT_EQ(FindInformationBars(ToImage(above)).topRows, 33) << seed;
            EXPECT_EQ(FindInformationBars(ToImage(above)).bottomRows, 0) << seed;
        }
    }
}

TEST(FindInformationBars, IsSilentOnVesiclesDirtGridsAndWriting) {
    for (std::uint32_t seed = 1; seed <= 30; ++seed) {
        for (const Depth depth : {Depth::k8Bit, Depth::k16Bit}) {
            for (const Addition addition : {Addition::kNothing, Addition::kDirt, Addition::kBarAndText}) {
                const auto phantom = MakeAnnotatedPhantom(seed, depth, addition);
                EXPECT_TRUE(FindInformationBars(ToImage(phantom.image)).Empty()) << seed << NameOf(addition);
            }
        }
    }
}

/// An image of 100 x 100 values that are all different, with a bar of rows of one level below it.
cv::Mat Ground(int barRows) {
    cv::Mat image(100, 100, CV_32F);
    for (int i = 0; i < 100 * 100; ++i)
        image.at<float>(i / 100, i % 100) = 1000.0f + static_cast<float>(i * 7919 % 10007);
    if (barRows > 0) image.rowRange(100 - barRows, 100) = 0.0;
    return image;
}

TEST(FindInformationBars, HasTheRowsSharesAndSizesOfABar) {
    const auto rows = [](const cv::Mat& image) { return FindInformationBars(ToImage(image)).bottomRows; };
    // From 8 rows to four tenths of the image.
    EXPECT_EQ(rows(Ground(7)), 0);
    EXPECT_EQ(rows(Ground(8)), 8);
    EXPECT_EQ(rows(Ground(40)), 40);
    EXPECT_EQ(rows(Ground(41)), 0);
    // A row may be writing up to six tenths, as long as the bar is not on the mean up to four.
    cv::Mat image = Ground(10);
    Ground(0)(cv::Rect(0, 95, 60, 1)).copyTo(image(cv::Rect(0, 95, 60, 1)));
    EXPECT_EQ(rows(image), 10);
    Ground(0)(cv::Rect(0, 95, 61, 1)).copyTo(image(cv::Rect(0, 95, 61, 1)));
    EXPECT_EQ(rows(image), 0);
    image = Ground(10);
    Ground(0)(cv::Rect(0, 91, 50, 8)).copyTo(image(cv::Rect(0, 91, 50, 8)));
    EXPECT_EQ(rows(image), 10);
    Ground(0)(cv::Rect(0, 93, 51, 1)).copyTo(image(cv::Rect(0, 93, 51, 1)));
    EXPECT_EQ(rows(image), 0);
    // Its level covers at most a quarter of the eight rows beyond it, behind two that are passed over.
    image = Ground(10);
    image(cv::Rect(0, 80, 25, 8)) = 0.0;
    EXPECT_EQ(rows(image), 10);
    image(cv::Rect(30, 87, 1, 1)) = 0.0;
    EXPECT_EQ(rows(image), 0);
    image = Ground(10);
    image(cv::Rect(0, 88, 30, 2)) = 0.0;
    image(cv::Rect(0, 79, 100, 1)) = 0.0;
    EXPECT_EQ(rows(image), 10);
}

TEST(FindInformationBars, LeavesAnImageOfOneLevelAndASmallOneAlone) {
    EXPECT_TRUE(FindInformationBars(qvox::VoxelImage<float>()).Empty());
    EXPECT_TRUE(FindInformationBars(ToImage(cv::Mat(100, 100, CV_32F, cv::Scalar(3.0)))).Empty());
    cv::Mat low(20, 100, CV_32F, cv::Scalar(0.0));
    low.rowRange(0, 10) = 5.0;
    EXPECT_TRUE(FindInformationBars(ToImage(low)).Empty());
}

}  // namespace
