// Compares what is shipped, on one to three threads, with its plain form on random pictures until the time is up:
// soak MINUTES [FIRST_SEED]
// Every picture has a seed of its own; the first that differs is named with its seed and ends the run.

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "DetectionDriver.h"
#include "NominalSizes.h"
#include "support/GradientMagnitude.h"
#include "SeededSegmentation.h"
#include "operations/Erosion.h"
#include "operations/HoleFilling.h"
#include "operations/Watershed.h"
#include "level_sweep/SweepForms.h"
#include "reference/PlainCandidateDetection.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainDetection.h"
#include "reference/PlainErosion.h"
#include "reference/PlainGradientMagnitude.h"
#include "reference/PlainHoleFilling.h"
#include "reference/PlainSeededSegmentation.h"
#include "reference/PlainWatershed.h"
#include "support/MatTools.h"
#include "support/Phantoms.h"
#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"

namespace {

using qvox::LabelImage;
using qvox::VoxelImage;

class Choice {
public:
    explicit Choice(std::uint32_t seed) : random_(seed) {}
    int Between(int low, int high) {
        return low + static_cast<int>(random_() % static_cast<std::uint32_t>(high - low + 1));
    }
    bool OneIn(int n) { return Between(1, n) == 1; }
    std::uint32_t Seed() { return static_cast<std::uint32_t>(random_()); }
    float Fraction() { return korvane_test::Uniform(random_); }
    qvox::PartRunner Threads() { return korvane_test::RunOnThreads(static_cast<unsigned>(Between(1, 3))); }

private:
    std::mt19937 random_;
};

/// That of 20 to 0.15 nm per pixel, each factor as often as the others.
float AnyScale(Choice& choice) { return 0.0744f * std::exp(4.896f * choice.Fraction()); }

/// Mostly small; widths around multiples of vector lengths, single rows and columns among them.
cv::Size RandomSize(Choice& choice) {
    constexpr std::array<int, 12> odd{1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 64, 65};
    const int kind = choice.Between(0, 99);
    if (kind == 0) return {choice.Between(100, 200), choice.Between(100, 200)};
    if (kind <= 4) return {choice.Between(60, 110), choice.Between(60, 110)};
    if (kind <= 30) return {odd[static_cast<std::size_t>(choice.Between(0, 11))], choice.Between(1, 70)};
    if (kind <= 35) return {choice.Between(1, 200), 1};
    return {choice.Between(1, 48), choice.Between(1, 48)};
}

cv::Mat RandomEdges(Choice& choice, cv::Size size) {
    constexpr std::array<double, 6> correlations{0.0, 0.7, 1.2, 2.0, 3.5, 8.0};
    const double correlation = correlations[static_cast<std::size_t>(choice.Between(0, 5))];
    cv::Mat edges;
    switch (choice.Between(0, 2)) {
        case 0:
            edges = korvane_test::SmoothNoise(choice.Seed(), size.width, size.height, correlation);
            break;
        case 1:
            edges = korvane_test::RidgeNoise(choice.Seed(), size.width, size.height, correlation);
            break;
        default: {
            korvane_test::VesicleOptions look;
            look.count = choice.Between(1, 14);
            look.smallestRadiusPx = 3.0f;
            look.largestRadiusPx = static_cast<float>(choice.Between(4, 20));
            look.noise = 0.1f * choice.Fraction();
            edges = korvane_test::VesicleEdges(choice.Seed(), size.width, size.height, look);
        }
    }
    if (choice.OneIn(5)) edges = korvane_test::WithGreyLevels(edges, choice.Between(2, 30));
    if (choice.OneIn(3)) edges = edges.mul(edges);
    if (choice.OneIn(20))
        edges = korvane_test::Sprinkled(edges, choice.Seed(), static_cast<std::uint32_t>(choice.Between(3, 200)));
    if (choice.OneIn(30)) edges = edges * static_cast<double>(choice.Between(5, 15)) / 10.0;
    if (choice.OneIn(80)) edges = korvane_test::Constant(size.width, size.height, choice.Fraction());
    return edges;
}

float RandomScale(Choice& choice) {
    return choice.OneIn(4) ? 0.05f + 1.95f * choice.Fraction() : 0.05f * std::exp(2.5f * choice.Fraction());
}

bool Same(const cv::Mat& plain, const cv::Mat& shipped, const char* stage) {
    const auto same = korvane_test::SameMaps(plain, shipped);
    if (!same) std::printf("%s: %s\n", stage, same.message());
    return same;
}

template <typename T>
bool Same(const VoxelImage<T>& plain, const VoxelImage<T>& shipped, const char* stage) {
    const auto same = korvane_test::SameVoxels(plain, shipped);
    if (!same) std::printf("%s: %s\n", stage, same.message());
    return same;
}

class TraceKeeper : public Korvane::DetectionObserver {
public:
    void Trace(const std::string& line) override { lines.push_back(line); }
    std::vector<std::string> lines;
};

bool StagesAgree(Choice& choice) {
    const cv::Mat edges = RandomEdges(choice, RandomSize(choice));
    const float scale = RandomScale(choice);
    const float clusterSize = choice.OneIn(3) ? (choice.OneIn(2) ? 0.1f : 1.9f) : 0.1f + 1.8f * choice.Fraction();
    const float areaFraction = choice.OneIn(3) ? (choice.OneIn(2) ? 0.0f : 1.0f) : 0.5f * choice.Fraction();
    const qvox::PartRunner run = choice.Threads();
    cv::Mat plain = cv::Mat::zeros(edges.size(), CV_32F);
    cv::Mat shipped = plain.clone();
    TraceKeeper plainTrace;
    TraceKeeper shippedTrace;
    korvane_reference::PlainDetectCandidates(edges, plain, scale, clusterSize, plainTrace);
    Korvane::DetectCandidates(edges, shipped, scale, clusterSize, shippedTrace, run);
    if (!Same(plain, shipped, "candidates")) return false;
    if (plainTrace.lines != shippedTrace.lines) return std::printf("the traces differ\n"), false;

    cv::Mat mask;
    cv::Mat(plain == 2.0).convertTo(mask, CV_32F, 1.0 / 255.0);
    cv::Mat plainFiltered = cv::Mat::zeros(edges.size(), CV_8U);
    cv::Mat filtered = plainFiltered.clone();
    korvane_reference::PlainFilterCandidates(mask, plainFiltered, scale, areaFraction);
    Korvane::FilterCandidates(mask, filtered, scale, areaFraction, run);
    if (!Same(plainFiltered, filtered, "filtered")) return false;
    const cv::Mat blobs = korvane_test::Above(edges, 0.3f + 0.4f * choice.Fraction());
    cv::Mat foreground;
    blobs.convertTo(foreground, CV_8U, 255.0);
    cv::Mat gradient;
    Korvane::GradientMagnitude(edges, gradient, run);
    return Same(korvane_reference::PlainSeparateClusters(plainFiltered, scale),
                Korvane::SeparateClusters(filtered, scale, run), "separated") &&
           Same(korvane_reference::PlainSeparateClusters(foreground, scale),
                Korvane::SeparateClusters(foreground, scale, run), "separated, any map") &&
           Same(korvane_reference::PlainGradientMagnitude(edges.clone()).clone(), gradient,
                "gradient");
}

bool SweepsAgree(Choice& choice) {
    const cv::Mat edges = RandomEdges(choice, RandomSize(choice));
    cv::Mat start = korvane_test::Above(edges, 0.2f + 0.5f * choice.Fraction());
    if (choice.OneIn(2)) start = 1.0 - start;
    for (int i = start.rows * start.cols / 40; i > 0; --i) {
        start.at<float>(choice.Between(0, start.rows - 1), choice.Between(0, start.cols - 1)) =
            static_cast<float>(choice.Between(0, 1));
    }
    const float scale = RandomScale(choice);
    const float clusterSize = 0.1f + 1.8f * choice.Fraction();
    std::vector<cv::Mat> maps;
    std::vector<cv::Mat> candidates;
    for (const korvane_test::SweepForm& form : korvane_test::SweepForms()) {
        maps.push_back(start.clone());
        candidates.push_back(cv::Mat::zeros(start.size(), CV_32F));
        form.run(maps.back(), candidates.back(), scale, clusterSize);
    }
    return Same(maps[0], maps[1], "component map") && Same(candidates[0], candidates[1], "candidate map of a sweep");
}

VoxelImage<float> ToImage(const cv::Mat& map) {
    VoxelImage<float> image;
    image.Resize(static_cast<std::uint64_t>(map.cols), static_cast<std::uint64_t>(map.rows), 1);
    for (int y = 0; y < map.rows; ++y) {
        std::copy_n(map.ptr<float>(y), map.cols, image.Row(static_cast<std::uint64_t>(y)));
    }
    return image;
}

LabelImage RandomSeeds(Choice& choice, const VoxelImage<float>& raw) {
    LabelImage seeds;
    seeds.Resize(raw.SizeX(), raw.SizeY(), 1);
    seeds.Zero();
    for (int i = choice.Between(1, 12); i > 0; --i) {
        seeds[choice.Seed() % seeds.VoxelCount()] =
            static_cast<std::uint16_t>(choice.OneIn(5) ? 20000 : choice.Between(1, 9));
    }
    return seeds;
}

bool OperationsAgree(Choice& choice) {
    const VoxelImage<float> relief = ToImage(RandomEdges(choice, RandomSize(choice)));
    const LabelImage seeds = RandomSeeds(choice, relief);
    LabelImage basins;
    const qvox::PartRunner run = choice.Threads();
    qvox::WatershedFromMarkers(relief, seeds, basins, qvox::Neighbourhood8{}, run);
    if (!Same(korvane_reference::PlainWatershed(relief, seeds), basins, "watershed")) return false;
    VoxelImage<std::uint16_t> grey;
    VoxelImage<bool> mask;
    grey.Resize(relief.SizeX(), relief.SizeY(), 1);
    mask.Resize(relief.SizeX(), relief.SizeY(), 1);
    for (std::uint64_t i = 0; i < relief.VoxelCount(); ++i) {
        grey[i] =
            relief[i] > 0.0f && relief[i] < 1.0f ? static_cast<std::uint16_t>(relief[i] * 65535.0f) : std::uint16_t{0};
        mask[i] = relief[i] > 0.3f;
    }
    VoxelImage<std::uint16_t> filled;
    qvox::FillHoles(grey, filled);
    VoxelImage<bool> eroded;
    const int radius = choice.Between(0, 20);
    qvox::ErodeMask(mask, eroded, radius, run);
    return Same(korvane_reference::PlainHoleFilling(grey), filled, "hole filling") &&
           Same(korvane_reference::PlainErosion(mask, radius), eroded, "erosion");
}

bool WholeAgrees(Choice& choice) {
    korvane_test::VesicleOptions look;
    look.count = choice.Between(1, 10);
    look.smallestRadiusPx = 4.0f;
    look.largestRadiusPx = static_cast<float>(choice.Between(5, 20));
    look.noise = 0.15f * choice.Fraction();
    const cv::Mat picture = korvane_test::Vesicles(choice.Seed(), choice.Between(2, 120), choice.Between(2, 120), look);
    const VoxelImage<float> raw = ToImage(picture);
    const float resolution = Korvane::kReferenceResolution * AnyScale(choice);
    const qvox::PartRunner run = choice.Threads();
    Korvane::AnalysisParameters parameters;
    parameters.roundnessThreshold = choice.OneIn(4) ? 0.0f : choice.Fraction();
    parameters.areaFraction = 0.4f * choice.Fraction();
    parameters.relativeExosomeSize = 0.1f + 1.8f * choice.Fraction();
    Korvane::DetectionObserver silent;
    LabelImage plain;
    LabelImage shipped;
    korvane_reference::PlainDetectExosomes(raw, plain, parameters, resolution, silent);
    Korvane::DetectExosomes(raw, shipped, parameters, resolution, silent, run);
    if (!Same(plain, shipped, "labels")) return false;
    LabelImage plainSeeds = RandomSeeds(choice, raw);
    LabelImage seeds(plainSeeds);
    const float diameterUm = 0.1f * choice.Fraction();
    korvane_reference::PlainSegmentFromSeeds(raw, plainSeeds, resolution, diameterUm);
    Korvane::SegmentFromSeeds(raw, seeds, resolution, diameterUm, run);
    return Same(plainSeeds, seeds, "seeded segmentation");
}

bool Agrees(std::uint32_t seed) {
    Choice choice(seed);
    if (seed % 8 == 7) return WholeAgrees(choice);
    if (seed % 8 == 6) return OperationsAgree(choice);
    return seed % 4 == 1 ? SweepsAgree(choice) : StagesAgree(choice);
}

}  // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::strtod(argv[1], nullptr) : 0.0;
    if (!(minutes > 0.0)) {
        std::fprintf(stderr, "usage: soak MINUTES [FIRST_SEED]\n");
        return 2;
    }
    std::uint32_t seed = argc > 2 ? static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 1;
    const std::uint32_t first = seed;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double, std::ratio<60>>(minutes);
    while (std::chrono::steady_clock::now() < end) {
        bool agrees = false;
        try {
            agrees = Agrees(seed);
        } catch (const std::exception& error) {
            std::printf("%s\n", error.what());
        }
        if (!agrees) {
            std::printf("FAILED at seed %u; the %u pictures before it were the same.\n", seed, seed - first);
            return 1;
        }
        ++seed;
        if ((seed - first) % 10000 == 0) {
            std::printf("%u pictures so far\n", seed - first);
            std::fflush(stdout);
        }
    }
    std::printf("%u pictures, seeds %u to %u: not one difference.\n", seed - first, first, seed - 1);
    return 0;
}
