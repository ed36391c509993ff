#include "Thumbnail.h"

#include <gtest/gtest.h>

#include "ReportText.h"

namespace Korvane {
namespace {

/// Grey levels that rise from left to right, 2 nm per pixel.
qvox::VoxelImage<float> Ramp(std::uint64_t width, std::uint64_t height) {
    qvox::VoxelImage<float> image;
    image.Resize(width, height, 1);
    image.SetResolution({500.0f, 500.0f, 1.0f});
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) image.Row(y)[x] = static_cast<float>(x);
    }
    return image;
}

TEST(ThumbnailSvg, ShowsOutlinesNumbersAndAScaleBarAtTheSmallSize) {
    const ClosedCurve square{{99.5, 49.5}, {139.5, 49.5}, {139.5, 89.5}, {99.5, 89.5}};
    const std::vector<ThumbnailObject> objects{{7, 119.5, 69.5, square, true}, {8, 20.0, 20.0, {}, false}};
    const std::string svg = ThumbnailSvg(Ramp(400, 200), objects, 100, "a & b");
    EXPECT_NE(svg.find("viewBox=\"0 0 100 50\""), std::string::npos);
    EXPECT_NE(svg.find("aria-label=\"a &amp; b\""), std::string::npos);
    EXPECT_NE(svg.find("href=\"data:image/png;base64,iVBOR"), std::string::npos);
    EXPECT_NE(svg.find("<polygon class=\"counted\" points=\"25.0,12.5 "), std::string::npos);
    EXPECT_NE(svg.find("<text class=\"counted\" x=\"30.0\" y=\"20.5\">7</text>"), std::string::npos);
    EXPECT_NE(svg.find("<text class=\"other\""), std::string::npos);
    // 800 nm in 100 px: 200 nm are at most a third of it.
    EXPECT_NE(svg.find("h25.0\""), std::string::npos);
    EXPECT_NE(svg.find(">200 nm</text>"), std::string::npos);
}

TEST(ThumbnailSvg, ShowsHighPixelsHigh) {
    qvox::VoxelImage<float> image = Ramp(50, 20);
    image.SetResolution({500.0f, 250.0f, 1.0f});
    EXPECT_NE(ThumbnailSvg(image, {}, 100, "").find("viewBox=\"0 0 50 40\""), std::string::npos);
}

TEST(ThumbnailWidth, ShrinksWithTheNumberOfImages) {
    EXPECT_EQ(ThumbnailWidth(1), 480u);
    EXPECT_EQ(ThumbnailWidth(500), 240u);
}

}  // namespace
}  // namespace Korvane
