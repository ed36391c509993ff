#include "Thumbnail.h"

#include <gtest/gtest.h>

#include <string>

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
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] += static_cast<float>(i / 50 * 7 % 20);
    const std::string svg = ThumbnailSvg(image, {}, 100, "");
    EXPECT_NE(svg.find("viewBox=\"0 0 50 40\""), std::string::npos);
    // As an image of square pixels in which every row comes twice.
    qvox::VoxelImage<float> doubled = Ramp(50, 40);
    for (std::uint64_t i = 0; i < doubled.VoxelCount(); ++i) doubled[i] = image(i % 50, i / 50 / 2);
    EXPECT_EQ(svg, ThumbnailSvg(doubled, {}, 100, ""));
}

/// What the text of the scale bar says in a thumbnail that is so many nanometres wide; 0 without one.
double BarNm(double thumbnailNm) {
    qvox::VoxelImage<float> image = Ramp(100, 20);
    const auto perUm = static_cast<float>(100.0 * 1000.0 / thumbnailNm);
    image.SetResolution({perUm, perUm, 1.0f});
    const std::string svg = ThumbnailSvg(image, {}, 100, "");
    const std::size_t end = svg.find(" nm</text>");
    return end == std::string::npos ? 0.0 : std::stod(svg.substr(svg.rfind('>', end) + 1));
}

TEST(ThumbnailSvg, HasAScaleBarOfTheLongestRoundLengthThatIsAtMostAThirdOfTheWidth) {
    double shorter = 0.0;
    for (std::string zeros; zeros.size() < 9; zeros += '0') {
        for (const char* const digit : {"1", "2", "5"}) {
            const double length = std::stod(digit + zeros) / 10.0;
            EXPECT_EQ(BarNm(3.0 * 1.01 * length), length);
            EXPECT_EQ(BarNm(3.0 * 0.99 * length), shorter);
            shorter = length;
        }
    }
}

TEST(ThumbnailSvg, IsTheMeanOfThePixelsUnderEachOfItsOwn) {
    // Rows of 0 and 2 alternate on the left and rows of 1 lie on the right: at half the size both are the same grey.
    qvox::VoxelImage<float> image = Ramp(40, 40);
    qvox::VoxelImage<float> small = Ramp(20, 20);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        const float x = static_cast<float>(i % 40 / 2);
        image[i] = x + (i % 40 < 20 ? i / 40 % 2 == 0 ? -1.0f : 1.0f : 0.0f);
    }
    image.SetResolution({1000.0f, 1000.0f, 1.0f});
    EXPECT_EQ(ThumbnailSvg(image, {}, 20, ""), ThumbnailSvg(small, {}, 20, ""));
}

TEST(ThumbnailSvg, LeavesOneInAHundredAtEachEndOutOfItsRange) {
    for (const auto& [width, leftOut] : {std::pair{199u, 1u}, {200u, 2u}}) {
        for (const float far : {-1000.0f, 1000.0f}) {
            qvox::VoxelImage<float> image = Ramp(width, 1);
            const std::string ramp = ThumbnailSvg(image, {}, width, "");
            for (unsigned i = 0; i <= leftOut; ++i) {
                image[far < 0.0f ? i : width - 1 - i] = far;
                EXPECT_EQ(ThumbnailSvg(image, {}, width, "") == ramp, i < leftOut) << width << ' ' << i << ' ' << far;
            }
        }
    }
}

TEST(ThumbnailWidth, ShrinksWithTheNumberOfImages) {
    EXPECT_EQ(ThumbnailWidth(1), 480u);
    EXPECT_EQ(ThumbnailWidth(500), 240u);
}

}  // namespace
}  // namespace Korvane
