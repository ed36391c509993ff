#include "Annotations.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "support/AnnotatedPhantoms.h"

namespace {

using korvane_test::Addition;
using korvane_test::AnnotatedPhantom;
using korvane_test::Depth;
using korvane_test::MakeAnnotatedPhantom;
using korvane_test::ToImage;
using Korvane::Annotation;
using Korvane::Annotations;
using Korvane::FindAnnotations;

int WarnedOf(Depth depth, Addition addition, int count) {
    int warned = 0;
    for (int i = 0; i < count; ++i) {
        const auto phantom = MakeAnnotatedPhantom(static_cast<std::uint32_t>(i + 1), depth, addition);
        warned += FindAnnotations(ToImage(phantom.image)).Empty() ? 0 : 1;
    }
    return warned;
}

/// Vesicles of 16 bits, with a bright bar at (30, 320), 130 long and 6 thick.
cv::Mat WithBar(float level, const cv::Rect& bar = {30, 320, 130, 6}) {
    cv::Mat image = MakeAnnotatedPhantom(5, Depth::k16Bit, Addition::kNothing).image;
    cv::rectangle(image, bar, level, cv::FILLED);
    return image;
}

TEST(FindAnnotations, TellsTheBarOfACameraImageAndItsPixels) {
    const Annotations found = FindAnnotations(ToImage(WithBar(65535.0f)));
    ASSERT_EQ(found.pieces.size(), 1u);
    EXPECT_EQ(found.pieces[0].kind, Annotation::Kind::kScaleBar);
    EXPECT_EQ(found.pieces[0].barLengthPx, 130);
    EXPECT_EQ(found.PixelCount(), 780u);
    const auto [x, y, width, height] = found.Bounds();
    EXPECT_EQ(x, 30);
    EXPECT_EQ(y, 320);
    EXPECT_EQ(width, 130);
    EXPECT_EQ(height, 6);
    EXPECT_TRUE(found.mask(30, 320));
    EXPECT_TRUE(found.mask(159, 325));
    EXPECT_FALSE(found.mask(29, 320));
    EXPECT_FALSE(found.mask(160, 325));
}

TEST(FindAnnotations, LooksAtSmallImagesToo) {
    // Part of the image, with all of the bar in it.
    const cv::Mat part = WithBar(65535.0f)(cv::Rect(20, 250, 200, 110)).clone();
    const Annotations found = FindAnnotations(ToImage(part));
    ASSERT_EQ(found.pieces.size(), 1u);
    EXPECT_EQ(found.pieces[0].barLengthPx, 130);
}

TEST(FindAnnotations, TakesStandingAndDarkBarsToo) {
    const Annotations standing = FindAnnotations(ToImage(WithBar(65535.0f, {380, 60, 5, 100})));
    ASSERT_EQ(standing.pieces.size(), 1u);
    EXPECT_EQ(standing.pieces[0].barLengthPx, 100);
    const Annotations dark = FindAnnotations(ToImage(WithBar(0.0f)));
    ASSERT_EQ(dark.pieces.size(), 1u);
    EXPECT_EQ(dark.pieces[0].barLengthPx, 130);
}

TEST(FindAnnotations, DoesNotTakeAStripWithSoftEdgesOrAcrossTheImageForABar) {
    cv::Mat soft = WithBar(65535.0f);
    cv::GaussianBlur(soft, soft, cv::Size(-1, -1), 4.0);
    EXPECT_TRUE(FindAnnotations(ToImage(soft)).Empty());
    EXPECT_TRUE(FindAnnotations(ToImage(WithBar(65535.0f, {0, 100, 420, 20}))).Empty());
}

TEST(FindAnnotations, WarnsOfWhatIsWrittenInCameraImages) {
    constexpr int kCount = 40;
    EXPECT_GE(WarnedOf(Depth::k16Bit, Addition::kBar, kCount), kCount * 19 / 20);
    EXPECT_GE(WarnedOf(Depth::k16Bit, Addition::kBarAndText, kCount), kCount * 19 / 20);
    EXPECT_GE(WarnedOf(Depth::k16Bit, Addition::kText, kCount), kCount * 17 / 20);
    EXPECT_GE(WarnedOf(Depth::k8Bit, Addition::kBarAndText, kCount), kCount * 17 / 20);
}

TEST(FindAnnotations, IsSilentOnVesiclesAndGridsAndNearlyAlwaysOnDirt) {
    constexpr int kCount = 40;
    for (const Depth depth : {Depth::k8Bit, Depth::k16Bit}) {
        EXPECT_EQ(WarnedOf(depth, Addition::kNothing, kCount), 0);
        EXPECT_EQ(WarnedOf(depth, Addition::kGrid, kCount), 0);
        EXPECT_LE(WarnedOf(depth, Addition::kDirt, kCount), 1);
    }
}

TEST(FindAnnotations, CoversNearlyAllOfTextBesideABar) {
    double covered = 0.0;
    constexpr int kCount = 20;
    for (std::uint32_t seed = 1; seed <= kCount; ++seed) {
        const AnnotatedPhantom phantom = MakeAnnotatedPhantom(seed, Depth::k16Bit, Addition::kBarAndText);
        const Annotations found = FindAnnotations(ToImage(phantom.image));
        if (found.Empty()) continue;  // one dark bar of low contrast
        int hit = 0;
        for (int y = 0; y < phantom.drawn.rows; ++y) {
            for (int x = 0; x < phantom.drawn.cols; ++x) {
                const bool isFound = found.mask(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
                hit += isFound && phantom.drawn(y, x) != 0 ? 1 : 0;
            }
        }
        covered += static_cast<double>(hit) / cv::countNonZero(phantom.drawn);
    }
    EXPECT_GT(covered / kCount, 0.9);
}

TEST(FindAnnotations, FindsNothingInImagesThatItDoesNotLookAt) {
    EXPECT_TRUE(FindAnnotations(qvox::VoxelImage<float>()).Empty());
    EXPECT_TRUE(FindAnnotations(ToImage(cv::Mat(50, 60, CV_32F, cv::Scalar(7.0)))).Empty());
    cv::Mat undefined = WithBar(65535.0f);
    undefined.at<float>(3, 3) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(FindAnnotations(ToImage(undefined)).Empty());
    qvox::VoxelImage<float> stack;
    stack.Resize(40, 40, 2);
    stack.Zero();
    stack(5, 5) = 1.0f;
    EXPECT_TRUE(FindAnnotations(stack).Empty());
}

}  // namespace
