#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "CandidateDetection.h"
#include "reference/PlainCandidateDetection.h"
#include "support/EdgeMaps.h"

namespace {

constexpr std::array<float, 7> kScales{0.05f, 0.1f, 0.2f, 0.3f, 0.5f, 1.0f, 2.0f};
constexpr std::array<float, 4> kClusterSizes{0.1f, 0.3f, 1.0f, 1.9f};

class TraceKeeper : public Korvane::DetectionObserver {
public:
    void Trace(const std::string& line) override { lines.push_back(line); }
    std::vector<std::string> lines;
};

/// Whole numbers and fractions drawn from one seed, the same on every machine.
class Draw {
public:
    explicit Draw(std::uint32_t seed) : random_(seed) {}
    int Between(int low, int high) {
        return low + static_cast<int>(Seed() % static_cast<std::uint32_t>(high - low + 1));
    }
    bool OneIn(int n) { return Between(1, n) == 1; }
    std::uint32_t Seed() { return static_cast<std::uint32_t>(random_()); }
    template <typename List>
    auto OneOf(const List& list) {
        return list[static_cast<std::size_t>(Between(0, static_cast<int>(list.size()) - 1))];
    }

private:
    std::mt19937 random_;
};

cv::Size RandomSize(Draw& draw) {
    cv::Size size(draw.Between(1, 20), draw.Between(1, 20));
    if (draw.OneIn(4)) size = cv::Size(draw.Between(1, 44), draw.Between(1, 44));
    if (draw.OneIn(12)) size.width = 1;
    if (draw.OneIn(12)) size.height = 1;
    if (draw.OneIn(40)) size = cv::Size(draw.Between(45, 90), draw.Between(45, 90));
    return size;
}

template <typename Change>
void ForEachValue(cv::Mat& map, Change change) {
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            float& value = map.at<float>(y, x);
            value = change(value);
        }
    }
}

cv::Mat RandomPicture(Draw& draw, cv::Size size) {
    if (draw.OneIn(2)) {
        constexpr std::array<double, 5> sigmas{0.0, 0.7, 1.2, 2.0, 3.5};
        return korvane_test::NoisePicture(size.width, size.height, draw.OneOf(sigmas), draw.Seed());
    }
    korvane_test::DiscPicture look;
    look.discsPerMegapixel = draw.Between(500, 6500);
    look.smallestRadiusPx = 3.0;
    look.largestRadiusPx = draw.Between(4, 15);
    look.noise = 0.1 * draw.Between(0, 4);
    look.blurSigmaPx = 0.5 * draw.Between(1, 4);
    return korvane_test::PictureOfDiscs(size.width, size.height, look, draw.Seed());
}

/// Plateaus, values that are levels themselves, values beyond 0 .. 1, NaN and constants, now and then.
void Disturb(Draw& draw, cv::Mat& edges) {
    if (draw.OneIn(4)) {
        const auto steps = static_cast<float>(draw.Between(2, 13));
        ForEachValue(edges, [&](float v) { return std::round(v * steps) / steps; });
    }
    if (draw.OneIn(4)) {
        ForEachValue(edges, [](float v) { return v * v; });
    }
    if (draw.OneIn(3)) {
        const auto strongest = 0.1f * static_cast<float>(draw.Between(3, 8));
        ForEachValue(edges, [&](float v) { return std::sqrt(v) * strongest; });
    }
    if (draw.OneIn(25)) {
        ForEachValue(edges, [](float v) {
            float level = 1.0f;
            for (int k = static_cast<int>(v * 200.0f); k > 0; --k) level = level - 0.005f;
            return level;
        });
    }
    if (draw.OneIn(10)) {
        constexpr std::array<float, 3> odd{std::numeric_limits<float>::quiet_NaN(), 1.7f, -0.4f};
        for (int i = draw.Between(1, 10); i > 0; --i) {
            edges.at<float>(draw.Between(0, edges.rows - 1), draw.Between(0, edges.cols - 1)) = draw.OneOf(odd);
        }
    }
    if (draw.OneIn(50)) edges = cv::Scalar(0.25 * draw.Between(0, 4));
}

::testing::AssertionResult SameBits(const cv::Mat& plain, const cv::Mat& shipped) {
    for (int y = 0; y < plain.rows; ++y) {
        for (int x = 0; x < plain.cols; ++x) {
            if (std::memcmp(plain.ptr<float>(y) + x, shipped.ptr<float>(y) + x, sizeof(float)) != 0) {
                return ::testing::AssertionFailure()
                       << "first difference at column " << x << ", row " << y << ": plain " << plain.at<float>(y, x)
                       << ", shipped " << shipped.at<float>(y, x);
            }
        }
    }
    return ::testing::AssertionSuccess();
}

// A map with many values that are levels of the second phase, which begin at the percentile: such a pixel starts no
// removal at its level but follows one, then or at the next level, where its own turn comes.
void CompareWhereManyValuesAreLevels(std::uint32_t seed) {
    constexpr float percentage = 97.5f;
    Draw draw(seed);
    const cv::Size size(draw.Between(10, 40), draw.Between(10, 40));
    cv::Mat edges = RandomPicture(draw, size);
    const auto strongest = 0.1f * static_cast<float>(draw.Between(2, 6));
    ForEachValue(edges, [&](float v) { return v * strongest; });
    const float upper = Korvane::EdgePercentile(edges, percentage);
    ForEachValue(edges, [&](float v) {
        if (v >= upper - 1.0f / 65536.0f || draw.OneIn(3)) return v;  // these make the percentile what it is
        float level = upper;
        while (level > v) level = level - 0.005f;
        return level;
    });
    ASSERT_EQ(Korvane::EdgePercentile(edges, percentage), upper) << "seed " << seed;
    Korvane::DetectionObserver silent;
    cv::Mat plain = cv::Mat::zeros(size, CV_32F);
    cv::Mat shipped = cv::Mat::zeros(size, CV_32F);
    const float scale = draw.OneOf(kScales);
    const float clusterSize = draw.OneOf(kClusterSizes);
    korvane_reference::PlainDetectCandidates(edges, plain, scale, clusterSize, silent);
    Korvane::DetectCandidates(edges, shipped, scale, clusterSize, silent);
    ASSERT_TRUE(SameBits(plain, shipped)) << "seed " << seed;
}

TEST(CandidateDetectionDifferential, MapsEqualThePlainFormWhereManyValuesAreLevels) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) CompareWhereManyValuesAreLevels(seed);
}

// One in a thousand of these maps has a pixel of exactly the level next to pixels that were just cleared or erased, and
// would show that a removal began at it.
TEST(CandidateDetectionDifferential, APixelOfTheLevelNextToErasedOnesStartsNoRemoval) {
    CompareWhereManyValuesAreLevels(961);
}

// Where a network is cleared, the removal looks for what begins there in words of 64 pixels. In this map two pixels
// stand there that are not connected, one at the first bit of a word, and a removal begins at both.
TEST(CandidateDetectionDifferential, RemovalsThatBeginAtTheFirstBitOfAWordEqualThePlainForm) {
    Draw draw(110855);
    const cv::Size size(draw.Between(14, 40), draw.Between(14, 40));
    cv::Mat edges = RandomPicture(draw, size);
    if (draw.OneIn(2)) edges = korvane_test::EdgeMapOf(edges);
    if (draw.OneIn(2)) {
        const auto strongest = 0.1f * static_cast<float>(draw.Between(2, 8));
        ForEachValue(edges, [&](float v) { return v * strongest; });
    }
    ASSERT_EQ(draw.Between(0, 3), 1) << "the map is another one";
    const float upper = Korvane::EdgePercentile(edges, 97.5f);
    ForEachValue(edges, [&](float v) {
        if (v >= upper - 1.0f / 65536.0f || draw.OneIn(3)) return v;
        float level = upper;
        while (level > v) level = level - 0.005f;
        return level;
    });
    // Behind its own reflection, so that the pixels lie at columns 63 to 65, and in a row of more than 64 words.
    for (const int place : {47, 48, 49, 4144}) {
        cv::Mat map(edges.rows, place + edges.cols, CV_32F);
        edges.copyTo(map.colRange(place, map.cols));
        for (int y = 0; y < map.rows; ++y) {
            for (int x = 0; x < place; ++x) {
                map.at<float>(y, x) = edges.at<float>(y, std::min(edges.cols, place - x) - 1);
            }
        }
        Korvane::DetectionObserver silent;
        cv::Mat plain = cv::Mat::zeros(map.size(), CV_32F);
        cv::Mat shipped = plain.clone();
        korvane_reference::PlainDetectCandidates(map, plain, 0.05f, 0.1f, silent);
        Korvane::DetectCandidates(map, shipped, 0.05f, 0.1f, silent);
        ASSERT_TRUE(SameBits(plain, shipped)) << "place " << place;
    }
}

TEST(CandidateDetectionDifferential, MapsAndTraceEqualThePlainFormOnRandomPictures) {
    int withCandidates = 0;
    for (std::uint32_t seed = 1; seed <= 1000; ++seed) {
        Draw draw(seed);
        const cv::Size size = RandomSize(draw);
        const float scale = draw.OneOf(kScales);
        const float clusterSize = draw.OneOf(kClusterSizes);
        cv::Mat edges = RandomPicture(draw, size);
        if (draw.OneIn(2)) edges = korvane_test::EdgeMapOf(edges);
        Disturb(draw, edges);
        const cv::Mat before = edges.clone();

        TraceKeeper plainTrace;
        TraceKeeper shippedTrace;
        cv::Mat plain = cv::Mat::zeros(size, CV_32F);
        cv::Mat shipped = cv::Mat::zeros(size, CV_32F);
        korvane_reference::PlainDetectCandidates(edges, plain, scale, clusterSize, plainTrace);
        ASSERT_TRUE(SameBits(before, edges)) << "plain form changed its input, seed " << seed;
        Korvane::DetectCandidates(edges, shipped, scale, clusterSize, shippedTrace);
        ASSERT_TRUE(SameBits(before, edges)) << "input changed, seed " << seed;
        ASSERT_TRUE(SameBits(plain, shipped)) << "seed " << seed << ", " << size.width << " x " << size.height
                                              << ", scale " << scale << ", cluster size " << clusterSize;
        ASSERT_EQ(plainTrace.lines, shippedTrace.lines) << "seed " << seed;
        withCandidates += cv::countNonZero(plain == 2.0) > 0 ? 1 : 0;
    }
    EXPECT_GT(withCandidates, 600);
}

/// Large enough for networks that many components touch one after the other, over many levels.
struct LargeCase {
    explicit LargeCase(std::uint32_t seed, int smallest, int largest) {
        Draw draw(seed);
        const cv::Size size(draw.Between(smallest, largest), draw.Between(smallest, largest));
        constexpr std::array<float, 6> scales{0.05f, 0.1f, 0.15f, 0.3f, 0.6f, 2.0f};
        scale = draw.OneOf(scales);
        clusterSize = draw.OneOf(kClusterSizes);
        if (draw.OneIn(2)) {
            constexpr std::array<double, 4> sigmas{1.0, 1.5, 2.5, 4.0};
            edges = korvane_test::NoisePicture(size.width, size.height, draw.OneOf(sigmas), draw.Seed());
        } else {
            edges = RandomPicture(draw, size);
        }
        if (!draw.OneIn(4)) edges = korvane_test::EdgeMapOf(edges);
        Disturb(draw, edges);
    }
    cv::Mat edges;
    float scale = 1.0f;
    float clusterSize = 1.0f;
};

::testing::AssertionResult EqualsPlainForm(const LargeCase& picture) {
    TraceKeeper trace;
    cv::Mat plain = cv::Mat::zeros(picture.edges.size(), CV_32F);
    cv::Mat shipped = plain.clone();
    korvane_reference::PlainDetectCandidates(picture.edges, plain, picture.scale, picture.clusterSize, trace);
    Korvane::DetectCandidates(picture.edges, shipped, picture.scale, picture.clusterSize, trace);
    return SameBits(plain, shipped);
}

/// The suite takes a few pictures; KORVANE_SOAK_SECONDS lets the test go on with others for that long.
TEST(CandidateDetectionDifferential, LargePicturesWhoseNetworksAreTouchedAgainAndAgainEqualThePlainForm) {
    const char* soak = std::getenv("KORVANE_SOAK_SECONDS");
    const char* first = std::getenv("KORVANE_SOAK_SEED");
    const auto seconds = std::chrono::seconds(soak != nullptr ? std::atoi(soak) : 0);
    const auto start = std::chrono::steady_clock::now();
    std::uint32_t seed = first != nullptr ? static_cast<std::uint32_t>(std::atoi(first)) : 1;
    int pictures = 0;
    for (; pictures < 10 || std::chrono::steady_clock::now() - start < seconds; ++pictures, ++seed) {
        const LargeCase picture(seed, 64, soak != nullptr ? 300 : 130);
        ASSERT_TRUE(EqualsPlainForm(picture))
            << "seed " << seed << ", " << picture.edges.cols << " x " << picture.edges.rows << ", scale "
            << picture.scale << ", cluster size " << picture.clusterSize;
    }
    std::cout << pictures << " large pictures without a difference\n";
}

}  // namespace
