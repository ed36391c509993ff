// Electron micrographs with hand-drawn instance masks, where the folder with them is at hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "DetectionDriver.h"
#include "files/ImageFile.h"
#include "support/TestData.h"

namespace {

using qvox::LabelImage;
using qvox::VoxelImage;

const std::string kFolder = korvane_test::TestData("real").string() + "/";

/// Pixels per micrometre at which the pictures' objects have the pipeline's nominal size.
constexpr float kNominal = 672.0f;

VoxelImage<float> LoadPicture(const std::string& path) {
    VoxelImage<std::uint8_t> read;
    qvox::LoadImageFile(path, read);
    VoxelImage<float> image;
    image.Resize(read.SizeX(), read.SizeY(), 1);
    std::copy(read.begin(), read.end(), image.begin());
    return image;
}

bool TouchesBorder(const LabelImage& labels, std::uint16_t value) {
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        if (labels[i] == value && labels.OnBorder(i)) return true;
    }
    return false;
}

/// Drawn objects, not cut by the border, that share at least half of their union with one found object.
std::pair<std::size_t, std::size_t> FoundOfWhole(const LabelImage& drawn, const LabelImage& found) {
    std::map<std::uint16_t, std::size_t> drawnArea;
    std::map<std::uint16_t, std::size_t> foundArea;
    std::map<std::pair<std::uint16_t, std::uint16_t>, std::size_t> shared;
    for (std::uint64_t i = 0; i < drawn.VoxelCount(); ++i) {
        ++drawnArea[drawn[i]];
        ++foundArea[found[i]];
        ++shared[{drawn[i], found[i]}];
    }
    std::size_t whole = 0;
    for (const auto& [value, area] : drawnArea) whole += value != 0 && !TouchesBorder(drawn, value);
    std::set<std::uint16_t> matched;
    for (const auto& [pair, area] : shared) {
        if (pair.first == 0 || pair.second == 0 || TouchesBorder(drawn, pair.first)) continue;
        if (2 * area >= drawnArea[pair.first] + foundArea[pair.second] - area) matched.insert(pair.first);
    }
    return {matched.size(), whole};
}

struct Expectation {
    const char* name;
    double recall;  ///< measured, less two objects
};

class RealPictures : public ::testing::TestWithParam<Expectation> {};

TEST_P(RealPictures, MostDrawnObjectsAreFound) {
    KORVANE_NEED_TEST_DATA("real");
    const std::string base = kFolder + GetParam().name;
    const VoxelImage<float> raw = LoadPicture(base + ".tif");
    LabelImage drawn;
    qvox::LoadImageFile(base + "_labels.tif", drawn);
    LabelImage found;
    Korvane::DetectionObserver silent;
    Korvane::DetectExosomes(raw, found, Korvane::AnalysisParameters{}, kNominal, silent);
    const auto [matched, whole] = FoundOfWhole(drawn, found);
    std::printf("%s: %zu of %zu whole objects found\n", GetParam().name, matched, whole);
    ASSERT_GT(whole, 0u);
    EXPECT_GE(static_cast<double>(matched), GetParam().recall * static_cast<double>(whole));
}

INSTANTIATE_TEST_SUITE_P(, RealPictures,
                         ::testing::Values(Expectation{"0a30487a4e", 0.88}, Expectation{"e8e39c913a", 0.88},
                                           Expectation{"04dbda93f9", 0.92}, Expectation{"53025d5189", 0.89},
                                           Expectation{"b4ab2ea927", 0.82}, Expectation{"36de69b2c0", 0.73}),
                         [](const auto& picture) { return std::string("Picture") + picture.param.name; });

}  // namespace
