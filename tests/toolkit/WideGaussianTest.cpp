#include "operations/WideGaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "reference/PlainUncutGaussian.h"
#include "reference/PlainWideGaussian.h"
#include "support/Random.h"

using korvane_reference::PlainUncutGaussian;
using korvane_reference::PlainWideGaussian;
using qvox::InstructionSet;
using qvox::WideGaussian;
using qvox::WidestInstructionSet;

namespace {

using Sizes = std::vector<std::pair<std::size_t, std::size_t>>;

constexpr double kLargestError = 1e-6;  // of the range
const std::vector<double> kSigmas{2.25, 2.5, 3.0, 4.2, 5.0, 7.9, 10.0, 21.0, 33.3, 50.0, 127.0, 200.0, 500.0};

std::vector<float> Noise(std::mt19937& random, std::size_t count, float low = -0.5f, float high = 0.5f) {
    std::vector<float> plane(count);
    for (float& value : plane) value = korvane_test::Uniform(random, low, high);
    return plane;
}

std::ptrdiff_t Filled(std::size_t width) {
    constexpr std::ptrdiff_t kBlock = WideGaussian::kBlock;
    return (static_cast<std::ptrdiff_t>(width) + kBlock - 1) / kBlock * kBlock;
}

/// How a test makes the result: in strips of columns and some rows at a time, as the diffusion asks for them.
struct Way {
    InstructionSet set = WidestInstructionSet();
    qvox::PartRunner run = qvox::RunOneByOne;
    std::ptrdiff_t rows = qvox::WideGaussianRows::kMostRows;
    std::ptrdiff_t stripColumns = 1 << 20;
};

std::vector<float> Smoothed(const std::vector<float>& plane, std::size_t width, double sigma, const Way& way = {}) {
    const auto columns = static_cast<std::ptrdiff_t>(width);
    const auto height = static_cast<std::ptrdiff_t>(plane.size()) / columns;
    const std::ptrdiff_t stride = Filled(width) + WideGaussian::kBlock;
    std::vector<float> filled(static_cast<std::size_t>(stride * height), 7e6f);
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::copy_n(plane.data() + y * columns, columns, filled.data() + y * stride);
    }
    WideGaussian gaussian({columns, height, stride}, sigma, way.set);
    gaussian.Prepare(filled.data(), way.run);
    std::vector<float> result(filled.size());
    for (std::ptrdiff_t x = 0; x < columns; x += way.stripColumns) {
        qvox::WideGaussianRows strip(gaussian, x, std::min(way.stripColumns, columns - x));
        for (std::ptrdiff_t y = 0; y < height; y += way.rows) {
            const std::ptrdiff_t rows = std::min(way.rows, height - y);
            std::vector<float*> out;
            for (std::ptrdiff_t i = 0; i < rows; ++i) out.push_back(result.data() + (y + i) * stride + x);
            strip.Make(y, rows, out.data());
        }
    }
    std::vector<float> packed;
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        packed.insert(packed.end(), result.begin() + y * stride, result.begin() + y * stride + columns);
    }
    return packed;
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

double LargestDifference(const std::vector<float>& a, const std::vector<double>& b) {
    double largest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        largest = std::max(largest, std::fabs(static_cast<double>(a[i]) - b[i]));
    }
    return largest;
}

void ExpectNearTheUncutGaussian(const std::vector<float>& plane, std::size_t width, double sigma, double range) {
    const std::vector<double> exact =
        korvane_reference::SmoothedBothWays({plane.begin(), plane.end()}, PlainUncutGaussian(width, sigma),
                                            PlainUncutGaussian(plane.size() / width, sigma));
    ASSERT_LE(LargestDifference(Smoothed(plane, width, sigma), exact), kLargestError * range)
        << width << " x " << plane.size() / width << ", sigma " << sigma;
}

TEST(WideGaussian, IsTheUncutGaussianToAMillionthOfTheRangeInNoise) {
    std::mt19937 random(1);
    for (const auto& [width, height] :
         Sizes{{1, 1}, {1, 2}, {2, 1}, {3, 5}, {7, 40}, {16, 16}, {64, 33}, {100, 90}, {300, 17}, {13, 290}}) {
        for (const double sigma : kSigmas) {
            std::vector<float> plane = Noise(random, width * height);
            ExpectNearTheUncutGaussian(plane, width, sigma, 1.0);
            for (float& value : plane) value = value < 0.0f ? -32767.5f : 32767.5f;
            ExpectNearTheUncutGaussian(plane, width, sigma, 65535.0);
        }
    }
}

// Along one axis: the response to every single pixel, so that the sum over pixels bounds the error in every image.
// Along both axes the error is at most that of both together.
TEST(WideGaussian, IsTheUncutGaussianToAMillionthOfTheRangeOfEveryImage) {
    for (const std::size_t pixels : {1u, 2u, 5u, 18u, 97u, 240u}) {
        for (const double sigma : kSigmas) {
            std::vector<double> error(pixels, 0.0);
            const PlainUncutGaussian exact(pixels, sigma);
            for (std::size_t i = 0; i < pixels; ++i) {
                std::vector<float> line(pixels, 0.0f);
                line[i] = 1.0f;
                const std::vector<float> alongX = Smoothed(line, pixels, sigma);
                const std::vector<float> alongY = Smoothed(line, 1, sigma);
                for (std::size_t x = 0; x < pixels; ++x) {
                    const double worse = std::max(std::fabs(static_cast<double>(alongX[x]) - exact.Weight(x, i)),
                                                  std::fabs(static_cast<double>(alongY[x]) - exact.Weight(x, i)));
                    error[x] += worse;
                }
            }
            // Values lie within half the range around its middle.
            ASSERT_LE(*std::max_element(error.begin(), error.end()) / 2.0, kLargestError / 2.0)
                << pixels << " pixels, sigma " << sigma;
        }
    }
}

TEST(WideGaussian, IsTheUncutGaussianInWavesOfEveryLength) {
    constexpr std::size_t kPixels = 211;
    for (const double sigma : {2.25, 5.0, 11.0, 40.0}) {
        for (const double length : {2.0, 2.5, 3.1, 4.0, 5.7, 8.0, 12.0, 20.0, 45.0}) {
            std::vector<float> wave;
            for (std::size_t i = 0; i < kPixels; ++i) {
                const double phase = 6.283185307 * (static_cast<double>(i) + 0.3) / length;
                wave.push_back(std::sin(phase) < 0.0 ? -0.5f : 0.5f);
            }
            ExpectNearTheUncutGaussian(wave, kPixels, sigma, 1.0);
            ExpectNearTheUncutGaussian(wave, 1, sigma, 1.0);
        }
    }
}

TEST(WideGaussian, EqualsThePlainFormBitForBitOverRandomSizesAndSigmas) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        std::mt19937 random(seed);
        const std::size_t width = 1 + random() % (seed % 4 == 0 ? 300 : 70);
        const std::size_t height = 1 + random() % (seed % 3 == 0 ? 300 : 50);
        const double sigma = std::exp(korvane_test::UniformDouble(random) * std::log(500.0 / 2.25)) * 2.2501;
        const std::vector<float> plane = Noise(random, width * height, -3.0f, 40.0f);
        ASSERT_TRUE(SameBits(PlainWideGaussian::Smoothed(plane, width, sigma), Smoothed(plane, width, sigma)))
            << width << " x " << height << ", sigma " << sigma << ", seed " << seed;
    }
}

TEST(WideGaussian, EqualsThePlainFormBitForBitInWideAndTallImages) {
    std::mt19937 random(3);
    for (const auto& [width, height] : Sizes{{2500, 3}, {1, 1300}, {513, 40}, {1030, 18}, {40, 700}}) {
        for (const double sigma : {2.25, 4.7, 21.0, 90.0}) {
            const std::vector<float> plane = Noise(random, width * height);
            ASSERT_TRUE(SameBits(PlainWideGaussian::Smoothed(plane, width, sigma), Smoothed(plane, width, sigma)))
                << width << " x " << height << ", sigma " << sigma;
        }
    }
}

TEST(WideGaussian, GivesTheSameBitsWithEveryInstructionSet) {
    std::mt19937 random(4);
    for (const InstructionSet set : {InstructionSet::kBaseline, InstructionSet::kAvx2, InstructionSet::kAvx512}) {
        if (!qvox::RunsHere(set)) continue;
        for (const auto& [width, height] : Sizes{{1, 1}, {1, 40}, {40, 1}, {63, 90}, {150, 220}, {600, 35}}) {
            for (const double sigma : {2.25, 5.0, 12.0, 70.0}) {
                const std::vector<float> plane = Noise(random, width * height);
                Way way;
                way.set = set;
                const std::vector<float> expected = PlainWideGaussian::Smoothed(plane, width, sigma);
                ASSERT_TRUE(SameBits(expected, Smoothed(plane, width, sigma, way)))
                    << width << " x " << height << ", sigma " << sigma << ", variant " << static_cast<int>(set);
            }
        }
    }
}

/// Shares the parts out between so many threads.
qvox::PartRunner OnThreads(std::size_t threads) {
    return [threads](std::size_t count, const std::function<void(std::size_t)>& part) {
        std::vector<std::thread> running;
        for (std::size_t t = 0; t < threads; ++t) {
            running.emplace_back([&, t] {
                for (std::size_t i = t; i < count; i += threads) part(i);
            });
        }
        for (std::thread& thread : running) thread.join();
    };
}

TEST(WideGaussian, GivesTheSameBitsForAnyNumberOfThreadsAndStrips) {
    std::mt19937 random(5);
    for (const auto& [width, height] : Sizes{{1500, 300}, {280, 211}, {3, 700}}) {
        for (const double sigma : {3.0, 21.0}) {
            const std::vector<float> plane = Noise(random, width * height);
            const std::vector<float> expected = Smoothed(plane, width, sigma);
            for (const std::size_t threads : {1u, 2u, 3u}) {
                Way way;
                way.run = OnThreads(threads);
                way.rows = static_cast<std::ptrdiff_t>(threads) * 6 - 1;
                way.stripColumns = 16 * static_cast<std::ptrdiff_t>(threads);
                ASSERT_TRUE(SameBits(expected, Smoothed(plane, width, sigma, way)))
                    << width << " x " << height << ", sigma " << sigma << ", " << threads << " threads";
            }
        }
    }
    std::size_t parts = 0;
    Way way;
    way.run = [&parts](std::size_t count, const std::function<void(std::size_t)>& part) {
        parts = std::max(parts, count);
        for (std::size_t i = count; i-- > 0;) part(i);
    };
    const std::vector<float> plane = Noise(random, std::size_t{1500} * 300);
    EXPECT_TRUE(SameBits(Smoothed(plane, 1500, 3.0), Smoothed(plane, 1500, 3.0, way)));
    EXPECT_GE(parts, 3u);
}

TEST(WideGaussian, PreparesOnePlaneAfterAnotherAndBeginsAnew) {
    std::mt19937 random(6);
    const std::vector<float> first = Noise(random, std::size_t{64} * 50);
    const std::vector<float> second = Noise(random, std::size_t{64} * 50, 1e5f, 2e5f);
    WideGaussian gaussian({64, 50, 64}, 6.0, WidestInstructionSet());
    gaussian.Prepare(second.data(), qvox::RunOneByOne);
    gaussian.Prepare(first.data(), qvox::RunOneByOne);
    std::vector<float> row(64);
    float* out = row.data();
    qvox::WideGaussianRows rows(gaussian, 0, 64);
    rows.Make(40, 1, &out);
    rows.Begin();
    rows.Make(20, 1, &out);
    const std::vector<float> expected = Smoothed(first, 64, 6.0);
    EXPECT_TRUE(std::equal(row.begin(), row.end(), expected.begin() + 20 * 64));
}

}  // namespace
