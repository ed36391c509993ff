#include "DisplayRange.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "GreyLevels.h"
#include "OverlayGeometry.h"
#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"

namespace {

using namespace Korvane;

qvox::VoxelImage<float> Image(std::uint64_t width, std::uint64_t height) {
    qvox::VoxelImage<float> image;
    image.Resize(width, height, 1);
    std::fill(image.begin(), image.end(), 0.0f);
    return image;
}

TEST(DisplayRange, StepsUndoEachOtherAndStayInBounds) {
    DisplayRange range;
    std::vector<DisplayRange> passed{range};
    for (int i = 0; i < 8; ++i) passed.push_back(range = Brighter(range));
    EXPECT_EQ(passed[1], (DisplayRange{0.0, 99.5}));
    EXPECT_EQ(Brighter(range), range) << "the end";
    for (int i = 7; i >= 0; --i) EXPECT_EQ(range = Darker(range), passed[static_cast<std::size_t>(i)]);
    EXPECT_EQ(range = Darker(range), (DisplayRange{0.5, 100.0}));
    EXPECT_EQ(Brighter(range), DisplayRange());
    // From ends that are no steps.
    EXPECT_EQ(Brighter({3.3, 97.0}), (DisplayRange{2.0, 97.0}));
    EXPECT_EQ(Darker({3.3, 97.0}), (DisplayRange{3.3, 98.0}));
    EXPECT_EQ(Bounded({-5.0, 300.0}), DisplayRange());
    EXPECT_EQ(Bounded({60.0, 20.0}), (DisplayRange{60.0, 61.0}));
    EXPECT_EQ(Bounded({200.0, 20.0}), (DisplayRange{99.0, 100.0}));
}

TEST(DisplayRange, PercentilesAreThoseOfTheSortedValues) {
    std::mt19937 random(4);
    qvox::VoxelImage<float> image = Image(150, 90);
    for (float& value : image) value = korvane_test::Uniform(random, -40.0f, 900.0f);
    const IntensityDistribution intensities(image);
    std::vector<float> sorted(image.begin(), image.end());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(intensities.Percentile(0.0), sorted.front());
    EXPECT_EQ(intensities.Percentile(100.0), sorted.back());
    for (const double percent : {0.5, 1.0, 10.0, 50.0, 98.0, 99.5}) {
        const auto at = static_cast<std::size_t>(percent / 100.0 * static_cast<double>(sorted.size()));
        EXPECT_NEAR(intensities.Percentile(percent), sorted[at], 940.0 / 65536.0 * 2.0 + 0.2) << percent;
    }
    const std::vector<std::uint64_t> counts = intensities.Counts(256);
    EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}), image.VoxelCount());
    EXPECT_EQ(intensities.Place(sorted.front()), 0.0);
    EXPECT_EQ(intensities.Place(sorted.back()), 1.0);
}

TEST(DisplayRange, ImagesWithoutSpreadOrWithoutNumbersHaveOne) {
    qvox::VoxelImage<float> image = Image(4, 4);
    std::fill(image.begin(), image.end(), 7.0f);
    const IntensityDistribution even(image);
    EXPECT_EQ(even.Percentile(0.0), 7.0f);
    EXPECT_EQ(even.Percentile(50.0), 7.0f);
    EXPECT_EQ(even.Percentile(100.0), 7.0f);
    std::fill(image.begin(), image.end(), std::numeric_limits<float>::quiet_NaN());
    image[3] = std::numeric_limits<float>::infinity();
    const IntensityDistribution none(image);
    EXPECT_EQ(none.Percentile(50.0), 0.0f);
    EXPECT_EQ(none.Counts(256).size(), 256u);
    GreyPicture grey;
    ConvertRangeToGrey(image, none.Percentile(1.0), none.Percentile(99.0), grey);
    EXPECT_EQ(grey[0], 0);
    EXPECT_EQ(grey[3], 255);
}

TEST(DisplayRange, GreyLevelsRunFromBlackToWhiteAndEndThere) {
    qvox::VoxelImage<float> image = Image(9, 1);
    const std::vector<float> values{-1e30f, 9.0f, 10.0f, 11.0f, 15.0f, 19.99f, 20.0f, 21.0f, 1e30f};
    std::copy(values.begin(), values.end(), image.begin());
    GreyPicture grey;
    ConvertRangeToGrey(image, 10.0f, 20.0f, grey);
    EXPECT_EQ(std::vector<int>(grey.begin(), grey.end()), (std::vector<int>{0, 0, 0, 25, 127, 254, 255, 255, 255}));
}

TEST(FittedZoom, IsTheLargestLevelThatShowsTheWholeImage) {
    ViewState view;
    view.client = {500, 400};
    for (const auto& [width, height] : {std::pair{500, 400}, {100, 80}, {4096, 4096}, {3, 3}, {100000, 5}}) {
        view.imageWidth = static_cast<std::uint64_t>(width);
        view.imageHeight = static_cast<std::uint64_t>(height);
        view.zoomLevel = FittedZoomLevel(view);
        const auto fits = [&](int level) {
            ViewState tried = view;
            tried.zoomLevel = level;
            const ClientSize size = VirtualSize(tried);
            return size.width <= 500 && size.height <= 400;
        };
        EXPECT_TRUE(fits(view.zoomLevel) || view.zoomLevel == kMinZoomLevel) << width;
        EXPECT_TRUE(view.zoomLevel == kMaxZoomLevel || !fits(view.zoomLevel + 1)) << width;
    }
}

TEST(ZoomToObject, ShowsItsBoxInTheMiddle) {
    qvox::LabelImage labels;
    labels.Resize(300, 200, 1);
    labels.Zero();
    EXPECT_EQ(BoxOfLabel(labels, 5).width, 0u);
    labels(120, 60) = 5;
    labels(129, 79) = 5;
    labels(10, 10) = 4;
    const PixelRectangle box = BoxOfLabel(labels, 5);
    EXPECT_EQ(box.x, 120u);
    EXPECT_EQ(box.y, 60u);
    EXPECT_EQ(box.width, 10u);
    EXPECT_EQ(box.height, 20u);
    ViewState view;
    view.client = {200, 200};
    view.imageWidth = 300;
    view.imageHeight = 200;
    view.zoomLevel = ZoomLevelFor(box, view);
    EXPECT_EQ(view.zoomLevel, 8) << "4.3: twice the box is 40 high, 172 pixels of the window";
    const ClientPoint start = StartCentring(box, view);
    view.start = start;
    const ImagePoint middle = ClientToImage(view, {100, 100});
    EXPECT_NEAR(middle.x, 125.0f, 0.5f);
    EXPECT_NEAR(middle.y, 70.0f, 0.5f);
}

/// Images with every kind of value, among them some that have no grey level.
qvox::VoxelImage<float> OddImage(std::mt19937& random) {
    qvox::VoxelImage<float> image = Image(static_cast<std::uint64_t>(korvane_test::UniformInt(random, 1, 70)),
                                          static_cast<std::uint64_t>(korvane_test::UniformInt(random, 1, 9)));
    const int kind = korvane_test::UniformInt(random, 0, 4);
    for (float& value : image) {
        value = static_cast<float>(korvane_test::UniformInt(random, -500, 500)) * (kind == 1 ? 1e36f : 0.37f);
        if (kind == 2 && korvane_test::UniformInt(random, 0, 5) == 0) value = std::numeric_limits<float>::quiet_NaN();
        if (kind == 3 && korvane_test::UniformInt(random, 0, 90) == 0) value = std::numeric_limits<float>::infinity();
        if (kind == 4) value = korvane_test::UniformInt(random, 0, 1) == 0 ? 0.0f : -0.0f;
    }
    if (korvane_test::UniformInt(random, 0, 9) == 0) {
        std::fill(image.begin(), image.end(), std::numeric_limits<float>::quiet_NaN());
    }
    return image;
}

TEST(GreyLevels, AreTheSameOnAnyNumberOfThreads) {
    std::mt19937 random(3);
    auto image = korvane_test::RandomImage<float>(random, 1100, 1000, 0, 255);
    // The ends of the range lie in different parts, behind values that are none.
    for (std::uint64_t i = 0; i < 5; ++i) image[i] = std::numeric_limits<float>::quiet_NaN();
    image(700, 10) = -40.0f;
    image(1099, 999) = 400.0f;
    image(3, 500) = std::numeric_limits<float>::quiet_NaN();
    GreyPicture wanted;
    ConvertToGrey(image, wanted);
    std::vector<std::uint64_t> columns(image.SizeX());
    std::iota(columns.begin(), columns.end(), std::uint64_t{0});
    korvane_test::ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        const GreyLevels levels(image, run);
        std::vector<std::uint8_t> row(columns.size());
        for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
            levels.Sample(y, columns, row.data());
            ASSERT_TRUE(std::equal(row.begin(), row.end(), wanted.Row(y))) << threads << ", " << y;
        }
    });
}

TEST(GreyLevels, AreThoseOfTheImageThatIsConvertedAsAWhole) {
    for (unsigned seed = 0; seed < 600; ++seed) {
        std::mt19937 random(seed);
        const qvox::VoxelImage<float> image = OddImage(random);
        const float black = static_cast<float>(korvane_test::UniformInt(random, -300, 300)) * 0.5f;
        const float white = black + static_cast<float>(korvane_test::UniformInt(random, 0, 300)) * 0.5f;
        GreyPicture whole;
        ConvertToGrey(image, whole);
        GreyPicture range;
        ConvertRangeToGrey(image, black, white, range);
        std::vector<std::uint64_t> columns;
        for (std::uint64_t x = 0; x < image.SizeX(); ++x) {
            for (int i = korvane_test::UniformInt(random, 0, 12); i > 0; --i) columns.push_back(x);
        }
        std::vector<std::uint8_t> levels(columns.size());
        const auto expectRowsOf = [&](const GreyPicture& wanted, const GreyLevels& sampled) {
            ASSERT_EQ(sampled.SizeX(), image.SizeX());
            ASSERT_EQ(sampled.SizeY(), image.SizeY());
            for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
                sampled.Sample(y, columns, levels.data());
                for (std::size_t i = 0; i < columns.size(); ++i) {
                    ASSERT_EQ(levels[i], wanted(columns[i], y)) << "seed " << seed << ", " << columns[i] << ", " << y;
                }
            }
        };
        expectRowsOf(whole, GreyLevels(image));
        expectRowsOf(range, GreyLevels(image, black, white));
        expectRowsOf(range, GreyLevels(range));
    }
}

}  // namespace
