#include "operations/Diffusion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "operations/DiffusionWith.h"
#include "reference/PlainDiffusion.h"
#include "support/Random.h"
#include "support/TestImages.h"

using korvane_reference::PlainEdgeEnhancingDiffusion;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using qvox::InstructionSet;
using qvox::EdgeEnhancingDiffusion;
using qvox::EdgeEnhancingDiffusionWith;

namespace {

using Image = qvox::VoxelImage<std::uint16_t>;

struct Parameters {
    float sigmaPx = 5.0f;
    float contrast = 0.005f;
    float timeStep = 0.05f;
    std::uint64_t iterations = 20;
};

/// What detection uses at this scale.
Parameters AtScale(double scale) {
    return {static_cast<float>(5 * scale), 0.005f, 0.05f, static_cast<std::uint64_t>(20 * scale)};
}

Image Diffused(Image image, const Parameters& p = {}) {
    EdgeEnhancingDiffusion(image, p.sigmaPx, p.contrast, p.timeStep, p.iterations);
    return image;
}

Image PlainlyDiffused(Image image, const Parameters& p = {}) {
    PlainEdgeEnhancingDiffusion(image, p.sigmaPx, p.contrast, p.timeStep, p.iterations);
    return image;
}

int LargestDifference(const Image& a, const Image& b) {
    EXPECT_TRUE(a.SameSizes(b));
    int largest = 0;
    for (std::uint64_t i = 0; i < a.VoxelCount(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

double Mean(const Image& image) {
    double sum = 0;
    for (const std::uint16_t v : image) sum += v;
    return sum / static_cast<double>(image.VoxelCount());
}

double Deviation(const Image& image, std::uint64_t firstColumn, std::uint64_t endColumn) {
    double sum = 0;
    double squares = 0;
    double count = 0;
    for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
        for (std::uint64_t x = firstColumn; x < endColumn; ++x) {
            sum += image(x, y);
            squares += static_cast<double>(image(x, y)) * image(x, y);
            ++count;
        }
    }
    return std::sqrt(std::max(0.0, squares / count - sum / count * sum / count));
}

/// Noise whose neighbouring voxels are alike over about `length` voxels: box means, stretched to the full range.
Image SmoothNoise(std::mt19937& random, std::uint64_t width, std::uint64_t height, int length) {
    Image noise = RandomImage<std::uint16_t>(random, width, height, 0, 65535);
    Image smooth = noise;
    const auto w = static_cast<int>(width);
    const auto h = static_cast<int>(height);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            int sum = 0;
            int count = 0;
            for (int yy = std::max(0, y - length); yy <= std::min(h - 1, y + length); ++yy) {
                for (int xx = std::max(0, x - length); xx <= std::min(w - 1, x + length); ++xx) {
                    sum += noise(static_cast<std::uint64_t>(xx), static_cast<std::uint64_t>(yy));
                    ++count;
                }
            }
            const int stretched = 32768 + (sum / count - 32768) * (2 * length + 1) / 2;
            smooth(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) =
                static_cast<std::uint16_t>(std::clamp(stretched, 0, 65535));
        }
    }
    return smooth;
}

/// Dark rings and bright discs under noise; a few voxels are 0, as those of the brightest grey level come in.
Image Discs(std::mt19937& random, std::uint64_t width, std::uint64_t height, int noiseLevel) {
    Image image = RandomImage<std::uint16_t>(random, width, height, 30000 - noiseLevel, 30000 + noiseLevel);
    for (int disc = 0; disc < 6; ++disc) {
        const double cx = korvane_test::UniformDouble(random) * static_cast<double>(width);
        const double cy = korvane_test::UniformDouble(random) * static_cast<double>(height);
        const double radius = 3 + 12 * korvane_test::UniformDouble(random);
        for (std::uint64_t y = 0; y < height; ++y) {
            for (std::uint64_t x = 0; x < width; ++x) {
                const double r = std::hypot(static_cast<double>(x) - cx, static_cast<double>(y) - cy);
                if (r < radius) image(x, y) = static_cast<std::uint16_t>(image(x, y) + 1500);
                if (std::abs(r - radius) < 1.5) image(x, y) = static_cast<std::uint16_t>(image(x, y) / 2);
            }
        }
    }
    image[static_cast<std::uint64_t>(korvane_test::UniformDouble(random) * static_cast<double>(image.VoxelCount() - 1))] = 0;
    return image;
}

Image Checkerboard(std::uint64_t width, std::uint64_t height, std::uint64_t square) {
    Image image;
    image.Resize(width, height, 1);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) image(x, y) = (x / square + y / square) % 2 == 0 ? 0 : 65535;
    }
    return image;
}

Image BinaryNoise(std::mt19937& random, std::uint64_t width, std::uint64_t height) {
    Image image = RandomImage<std::uint16_t>(random, width, height, 0, 1);
    for (std::uint16_t& v : image) v = static_cast<std::uint16_t>(v * 65535);
    return image;
}

/// Left half dark, right half bright, uniform noise on both.
Image NoisyStep(std::mt19937& random, int noiseLevel) {
    Image image = RandomImage<std::uint16_t>(random, 96, 96, -noiseLevel + 20000, noiseLevel + 20000);
    for (std::uint64_t y = 0; y < 96; ++y) {
        for (std::uint64_t x = 48; x < 96; ++x) image(x, y) = static_cast<std::uint16_t>(image(x, y) + 25000);
    }
    return image;
}

Image FlippedX(const Image& image) {
    Image flipped = image;
    for (std::uint64_t y = 0; y < image.SizeY(); ++y) std::reverse(flipped.Row(y), flipped.Row(y) + image.SizeX());
    return flipped;
}

Image FlippedY(const Image& image) {
    Image flipped = image;
    for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
        std::copy(image.Row(y), image.Row(y) + image.SizeX(), flipped.Row(image.SizeY() - 1 - y));
    }
    return flipped;
}

Image Transposed(const Image& image) {
    Image transposed;
    transposed.Resize(image.SizeY(), image.SizeX(), 1);
    for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < image.SizeX(); ++x) transposed(y, x) = image(x, y);
    }
    return transposed;
}

TEST(Diffusion, KeepsAConstantImage) {
    for (const int value : {0, 1, 255, 32767, 65535}) {
        std::mt19937 random(1);
        const Image constant = RandomImage<std::uint16_t>(random, 37, 70, value, value);
        EXPECT_TRUE(SameVoxels(constant, Diffused(constant))) << value;
        EXPECT_TRUE(SameVoxels(constant, Diffused(constant, {5.0f, 0.0f, 3.0f, 9}))) << value;
    }
}

TEST(Diffusion, WithoutIterationsOrTimeChangesNothing) {
    std::mt19937 random(2);
    const Image image = RandomImage<std::uint16_t>(random, 33, 17, 0, 65535);
    EXPECT_TRUE(SameVoxels(image, Diffused(image, {5.0f, 0.005f, 0.05f, 0})));
    EXPECT_TRUE(SameVoxels(image, Diffused(image, {5.0f, 0.005f, 0.0f, 20})));
}

TEST(Diffusion, KeepsTheMeanWithinRounding) {
    std::mt19937 random(3);
    for (const double scale : {0.2, 1.0, 2.0}) {
        // Grey levels away from both ends, so that nothing is clamped.
        const Image image = RandomImage<std::uint16_t>(random, 75, 61, 20000, 45000);
        // The voxels' own roundings have a deviation of 0.29 grey levels; their mean over 4575 voxels one of 0.0043.
        EXPECT_NEAR(Mean(Diffused(image, AtScale(scale))), Mean(image), 0.03) << scale;
    }
}

TEST(Diffusion, StaysWithinTheBoundOfTheMixedTermBeyondTheRange) {
    std::mt19937 random(4);
    for (const int length : {0, 1, 3}) {
        Image image =
            length == 0 ? RandomImage<std::uint16_t>(random, 64, 64, 0, 65535) : SmoothNoise(random, 64, 64, length);
        for (std::uint16_t& v : image) v = static_cast<std::uint16_t>(20000 + v / 3);
        std::uint16_t low = 0;
        std::uint16_t high = 0;
        image.ValueRange(low, high);
        for (const float timeStep : {0.05f, 0.25f}) {
            std::uint16_t lowAfter = 0;
            std::uint16_t highAfter = 0;
            const double bound = static_cast<double>(timeStep) / 2 * (high - low) + 0.51;
            Diffused(image, {1.0f, 0.005f, timeStep, 1}).ValueRange(lowAfter, highAfter);
            EXPECT_GE(lowAfter, low - bound) << length;
            EXPECT_LE(highAfter, high + bound) << length;
        }
        std::uint16_t lowAfter = 0;
        std::uint16_t highAfter = 0;
        Diffused(image).ValueRange(lowAfter, highAfter);
        EXPECT_GE(lowAfter, low) << "the time steps of detection do not leave the range of noise, length " << length;
        EXPECT_LE(highAfter, high) << length;
    }
}

TEST(Diffusion, FlipsAndTransposesWithTheImage) {
    std::mt19937 random(5);
    for (const auto& [width, height] :
         std::vector<std::pair<std::uint64_t, std::uint64_t>>{{50, 83}, {16, 64}, {71, 15}}) {
        for (const int length : {0, 2}) {
            const Image image = SmoothNoise(random, width, height, length);
            const Image expected = Diffused(image);
            EXPECT_LE(LargestDifference(expected, FlippedX(Diffused(FlippedX(image)))), 1);
            EXPECT_LE(LargestDifference(expected, FlippedY(Diffused(FlippedY(image)))), 1);
            EXPECT_LE(LargestDifference(expected, Transposed(Diffused(Transposed(image)))), 1);
        }
    }
}

TEST(Diffusion, LowersNoiseAndKeepsTheSlopeOfAStep) {
    std::mt19937 random(6);
    const Image image = NoisyStep(random, 3000);
    const Image diffused = Diffused(image);
    EXPECT_LT(Deviation(diffused, 4, 36), Deviation(image, 4, 36) / 3);
    EXPECT_LT(Deviation(diffused, 60, 92), Deviation(image, 60, 92) / 3);
    double slope = 0;
    for (std::uint64_t y = 0; y < 96; ++y) slope += (diffused(48, y) - diffused(47, y)) / 96.0;
    EXPECT_GT(slope, 0.95 * 25000);
    // The same time of plain isotropic diffusion, for which a large contrast stands, flattens the step.
    const Image blurred = Diffused(image, {5.0f, 100.0f, 0.05f, 20});
    double blurredSlope = 0;
    for (std::uint64_t y = 0; y < 96; ++y) blurredSlope += (blurred(48, y) - blurred(47, y)) / 96.0;
    EXPECT_LT(blurredSlope, 0.5 * 25000);
}

TEST(Diffusion, SmoothsAlongADiagonalEdgeAndNotAcrossIt) {
    Image image;
    image.Resize(80, 80, 1);
    std::mt19937 random(7);
    for (std::uint64_t y = 0; y < 80; ++y) {
        for (std::uint64_t x = 0; x < 80; ++x)
            image(x, y) = static_cast<std::uint16_t>((x + y < 80 ? 20000 : 45000) + korvane_test::UniformInt(random, -3000, 3000));
    }
    const Image diffused = Diffused(image);
    double bright = 0;
    double dark = 0;
    double squares = 0;
    for (std::uint64_t y = 15; y < 65; ++y) {
        bright += diffused(81 - y, y) / 50.0;
        dark += diffused(78 - y, y) / 50.0;
    }
    for (std::uint64_t y = 15; y < 65; ++y)
        squares += (diffused(81 - y, y) - bright) * (diffused(81 - y, y) - bright) / 50.0;
    EXPECT_GT(bright - dark, 0.8 * 25000);
    EXPECT_LT(std::sqrt(squares), 3000 / std::sqrt(3.0) / 1.5);
}

TEST(Diffusion, EqualsThePlainFormWithinOneGreyLevelOverSizes) {
    for (const unsigned seed : {11u, 12u}) {
        std::mt19937 random(seed);
        for (const std::uint64_t width : {1u, 2u, 3u, 7u, 15u, 16u, 17u, 33u, 64u, 65u, 131u}) {
            for (const std::uint64_t height : {1u, 2u, 15u, 16u, 17u, 18u, 19u, 33u, 75u}) {
                const Image image = SmoothNoise(random, width, height, static_cast<int>(seed % 2) * 2);
                const Parameters p = seed == 11 ? AtScale(0.3) : Parameters{1.2f, 0.01f, 0.1f, 4};
                ASSERT_LE(LargestDifference(PlainlyDiffused(image, p), Diffused(image, p)), 1)
                    << width << " x " << height << ", seed " << seed;
            }
        }
    }
}

TEST(Diffusion, EqualsThePlainFormWithinOneGreyLevelInWidePictures) {
    std::mt19937 random(21);
    for (const std::uint64_t width : {1023u, 1024u, 1025u, 1041u, 2049u, 3201u}) {
        const Image noise = SmoothNoise(random, width, 6, static_cast<int>(width % 3));
        for (const Parameters& p : {Parameters{5.0f, 0.005f, 0.05f, 6}, Parameters{2.0f, 1.0f, 2.0f, 3},
                                    Parameters{0.0f, 0.3f, 50.0f, 2}, Parameters{30.0f, 0.005f, 0.05f, 2}}) {
            ASSERT_LE(LargestDifference(PlainlyDiffused(noise, p), Diffused(noise, p)), 1)
                << width << " columns at sigma " << p.sigmaPx;
        }
    }
}

// Wide pictures are worked on in strips of columns: where two meet, voxels come out as near to the exact value as
// elsewhere.
TEST(Diffusion, LeavesNoSeamsInWidePictures) {
    std::mt19937 random(22);
    const Image noise = SmoothNoise(random, 1500, 32, 0);
    // A step so long that the rows' systems couple over dozens of columns.
    const Parameters p{2.0f, 1.0f, 2.0f, 3};
    const Image plain = PlainlyDiffused(noise, p);
    const Image diffused = Diffused(noise, p);
    constexpr std::uint64_t blockColumns = 16;
    for (std::uint64_t first = 0; first < noise.SizeX(); first += blockColumns) {
        int differing = 0;
        for (std::uint64_t y = 0; y < noise.SizeY(); ++y) {
            for (std::uint64_t x = first; x < std::min(first + blockColumns, noise.SizeX()); ++x) {
                differing += plain(x, y) != diffused(x, y) ? 1 : 0;
            }
        }
        EXPECT_LE(differing, 4) << "of 512, from column " << first;
    }
}

TEST(Diffusion, EqualsThePlainFormWithinOneGreyLevelOverScales) {
    std::mt19937 random(13);
    // Sigma 0.25 to 50: below and above the sigma from which the smoothing is another one.
    for (const double scale : {0.05, 0.1, 0.37, 0.69, 0.71, 1.0, 1.4, 2.0, 4.25, 7.0, 10.0}) {
        for (const int length : {0, 1, 3}) {
            const Image noise = SmoothNoise(random, 61, 90, length);
            EXPECT_LE(LargestDifference(PlainlyDiffused(noise, AtScale(scale)), Diffused(noise, AtScale(scale))), 1)
                << "noise of length " << length << " at scale " << scale;
        }
        const Image discs = Discs(random, 72, 85, 4000);
        EXPECT_LE(LargestDifference(PlainlyDiffused(discs, AtScale(scale)), Diffused(discs, AtScale(scale))), 1)
            << "discs at scale " << scale;
    }
}

TEST(Diffusion, EqualsThePlainFormWithinOneGreyLevelInExtremePictures) {
    std::mt19937 random(14);
    std::vector<Image> images;
    images.push_back(BinaryNoise(random, 96, 80));
    images.push_back(BinaryNoise(random, 31, 130));
    for (const std::uint64_t square : {1u, 2u, 5u, 9u, 20u}) images.push_back(Checkerboard(67, 90, square));
    images.push_back(BinaryNoise(random, 200, 1));
    images.push_back(BinaryNoise(random, 1, 200));
    Image dot = RandomImage<std::uint16_t>(random, 60, 60, 0, 0);
    dot(30, 20) = 65535;
    images.push_back(dot);
    for (const Parameters& p : {Parameters{}, Parameters{2.0f, 0.02f, 0.2f, 10}, Parameters{0.0f, 0.3f, 0.05f, 20}}) {
        for (std::size_t i = 0; i < images.size(); ++i) {
            EXPECT_LE(LargestDifference(PlainlyDiffused(images[i], p), Diffused(images[i], p)), 1)
                << "picture " << i << " at sigma " << p.sigmaPx;
        }
    }
}

TEST(Diffusion, EqualsThePlainFormWithLongTimeSteps) {
    // The columns' systems couple over many rows, over the whole picture in the last.
    std::mt19937 random(15);
    for (const float timeStep : {0.5f, 2.0f, 50.0f}) {
        const Image image = SmoothNoise(random, 40, 300, 4);
        const Parameters p{1.0f, 1.0f, timeStep, 2};
        EXPECT_LE(LargestDifference(PlainlyDiffused(image, p), Diffused(image, p)), 1) << timeStep;
    }
}

TEST(Diffusion, SmoothingWiderThanThePictureWorks) {
    std::mt19937 random(16);
    const Image image = RandomImage<std::uint16_t>(random, 5, 9, 0, 65535);
    const Parameters p{20.0f, 0.005f, 0.05f, 5};
    EXPECT_LE(LargestDifference(PlainlyDiffused(image, p), Diffused(image, p)), 1);
}

TEST(Diffusion, GivesTheSameBitsWithEveryInstructionSet) {
    std::mt19937 random(17);
    // Sets differ in how many rows they solve at once: 16 or 32.
    for (const InstructionSet variant : {InstructionSet::kAvx2, InstructionSet::kAvx512}) {
        if (!qvox::RunsHere(variant)) continue;
        for (const auto& [width, height] : std::vector<std::pair<std::uint64_t, std::uint64_t>>{
                 {1, 1}, {1, 40}, {40, 1}, {63, 90}, {128, 65}, {150, 220}, {1100, 35}, {2500, 3}, {37, 15}, {38, 16},
                 {39, 17}, {70, 31}, {70, 32}, {70, 33}, {41, 47}, {42, 48}, {43, 49}, {50, 64}}) {
            for (const Parameters& p : {AtScale(0.4), Parameters{}, Parameters{0.0f, 0.3f, 0.3f, 3}}) {
                const Image image = SmoothNoise(random, width, height, static_cast<int>(width % 3));
                Image baseline = image;
                EdgeEnhancingDiffusionWith(InstructionSet::kBaseline, baseline, p.sigmaPx, p.contrast, p.timeStep,
                                           p.iterations);
                Image other = image;
                EdgeEnhancingDiffusionWith(variant, other, p.sigmaPx, p.contrast, p.timeStep, p.iterations);
                ASSERT_TRUE(SameVoxels(baseline, other))
                    << width << " x " << height << ", variant " << static_cast<int>(variant);
            }
        }
    }
}

TEST(Diffusion, GivesTheSameBitsWhateverRunsItsParts) {
    std::mt19937 random(23);
    const Image image = SmoothNoise(random, 2500, 40, 1);
    const Image expected = Diffused(image);
    const auto diffusedBy = [&](const qvox::PartRunner& run) {
        Image result = image;
        EdgeEnhancingDiffusion(result, 5.0f, 0.005f, 0.05f, 20, run);
        return result;
    };
    std::size_t parts = 0;
    const Image backwards = diffusedBy([&](std::size_t count, const std::function<void(std::size_t)>& part) {
        parts = count;
        for (std::size_t i = count; i-- > 0;) part(i);
    });
    EXPECT_GT(parts, 1u);
    EXPECT_TRUE(SameVoxels(expected, backwards));
    const Image atOnce = diffusedBy([](std::size_t count, const std::function<void(std::size_t)>& part) {
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < count; ++i) threads.emplace_back(part, i);
        for (std::thread& thread : threads) thread.join();
    });
    EXPECT_TRUE(SameVoxels(expected, atOnce));
}

TEST(Diffusion, TreatsPlanesOneByOne) {
    std::mt19937 random(18);
    const Image first = RandomImage<std::uint16_t>(random, 20, 30, 0, 65535);
    const Image second = RandomImage<std::uint16_t>(random, 20, 30, 1000, 2000);
    Image both;
    both.Resize(20, 30, 2);
    std::copy(first.begin(), first.end(), both.Row(0, 0));
    std::copy(second.begin(), second.end(), both.Row(0, 1));
    const Image diffused = Diffused(both);
    const Image firstDiffused = Diffused(first);
    const Image secondDiffused = Diffused(second);
    EXPECT_TRUE(std::equal(firstDiffused.begin(), firstDiffused.end(), diffused.Row(0, 0)));
    EXPECT_TRUE(std::equal(secondDiffused.begin(), secondDiffused.end(), diffused.Row(0, 1)));
}

std::string Complaint(const Parameters& p, Image image) {
    const Image before = image;
    try {
        EdgeEnhancingDiffusion(image, p.sigmaPx, p.contrast, p.timeStep, p.iterations);
    } catch (const qvox::ToolkitError& error) {
        EXPECT_TRUE(SameVoxels(before, image));
        return error.what();
    }
    return "";
}

TEST(Diffusion, RefusesWhatItCannotWorkWith) {
    const Image image = korvane_test::Draw<std::uint16_t>({"12", "34"});
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Complaint({}, Image()), "EdgeEnhancingDiffusion: the image is empty.");
    EXPECT_EQ(Complaint({-1.0f, 0.005f, 0.05f, 20}, image),
              "EdgeEnhancingDiffusion: the standard deviation must lie between 0 and 100000 px, it is -1.000000.");
    EXPECT_EQ(Complaint({5.0f, -0.5f, 0.05f, 20}, image),
              "EdgeEnhancingDiffusion: the contrast must be a number and not negative, it is -0.500000.");
    EXPECT_EQ(Complaint({5.0f, 0.005f, -0.5f, 20}, image),
              "EdgeEnhancingDiffusion: the time step must be a number and not negative, it is -0.500000.");
    for (const float bad : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_NE(Complaint({bad, 0.005f, 0.05f, 20}, image).find("standard deviation"), std::string::npos);
        EXPECT_NE(Complaint({5.0f, bad, 0.05f, 20}, image).find("contrast"), std::string::npos);
        EXPECT_NE(Complaint({5.0f, 0.005f, bad, 0}, image).find("time step"), std::string::npos);
    }
}

}  // namespace
