// The sample pictures are drawn with known vesicles: what detection finds in them is held to that truth.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "DetectionDriver.h"
#include "files/ImageFile.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "support/TestData.h"

namespace {

using qvox::LabelImage;
using qvox::VoxelImage;

struct TrueVesicle {
    double x;
    double y;
    double radiusPx;
    double diameterNm;
};

struct Found {
    double x;
    double y;
    double diameterNm;
};

struct Score {
    std::size_t trueCount = 0;
    std::size_t foundCount = 0;
    std::size_t matched = 0;
    double medianDiameterRatio = 0;
};

const std::string kSamples = korvane_test::SourceFile("samples").string() + "/";

std::map<std::string, std::vector<TrueVesicle>> ReadTruth() {
    std::map<std::string, std::vector<TrueVesicle>> truth;
    std::ifstream file(kSamples + "ground_truth.tsv");
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string name;
        TrueVesicle vesicle{};
        std::getline(fields, name, '\t');
        if (fields >> vesicle.x >> vesicle.y >> vesicle.radiusPx >> vesicle.diameterNm) truth[name].push_back(vesicle);
    }
    return truth;
}

template <typename T>
VoxelImage<float> LoadAsFloat(const std::string& path) {
    VoxelImage<T> read;
    qvox::LoadImageFile(path, read);
    VoxelImage<float> image;
    image.Resize(read.SizeX(), read.SizeY(), read.SizeZ());
    image.CopyPropertiesFrom(read);
    std::copy(read.begin(), read.end(), image.begin());
    return image;
}

VoxelImage<float> LoadSample(const std::string& path) {
    switch (qvox::ProbeVoxelType(path)) {
        case qvox::VoxelType::kUint8:
            return LoadAsFloat<std::uint8_t>(path);
        case qvox::VoxelType::kUint16:
            return LoadAsFloat<std::uint16_t>(path);
        default:
            return LoadAsFloat<float>(path);
    }
}

std::vector<Found> Measure(const LabelImage& labels) {
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    std::map<std::uint16_t, Found> sums;
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            Found& sum = sums[components.Identifiers()(x, y)];
            sum.x += static_cast<double>(x);
            sum.y += static_cast<double>(y);
        }
    }
    std::vector<Found> found;
    for (const qvox::ComponentRecord& record : components.Components()) {
        const Found& sum = sums[record.identifier];
        const double count = static_cast<double>(record.voxelCount);
        const double areaUm2 = qvox::EstimateShape(components, record.identifier, qvox::ShapeMeasure::kArea);
        found.push_back({sum.x / count, sum.y / count, 1000.0 * std::sqrt(4.0 * areaUm2 / 3.141592653589793)});
    }
    return found;
}

// A found object belongs to the true vesicle whose disc holds its centre; each true vesicle is found once at most.
Score Compare(const std::vector<TrueVesicle>& truth, const std::vector<Found>& found) {
    Score score;
    score.trueCount = truth.size();
    score.foundCount = found.size();
    std::vector<bool> taken(found.size(), false);
    std::vector<double> ratios;
    for (const TrueVesicle& vesicle : truth) {
        std::size_t best = found.size();
        double nearest = vesicle.radiusPx;
        for (std::size_t i = 0; i < found.size(); ++i) {
            const double distance = std::hypot(found[i].x - vesicle.x, found[i].y - vesicle.y);
            if (!taken[i] && distance < nearest) {
                nearest = distance;
                best = i;
            }
        }
        if (best == found.size()) continue;
        taken[best] = true;
        ratios.push_back(found[best].diameterNm / vesicle.diameterNm);
    }
    score.matched = ratios.size();
    if (!ratios.empty()) {
        std::sort(ratios.begin(), ratios.end());
        score.medianDiameterRatio = ratios[ratios.size() / 2];
    }
    return score;
}

TEST(Samples, DetectionFindsTheVesiclesWithTheirDiametersInEverySample) {
    const auto truth = ReadTruth();
    ASSERT_GE(truth.size(), 4u);
    for (const auto& [name, vesicles] : truth) {
        SCOPED_TRACE(name);
        const VoxelImage<float> raw = LoadSample(kSamples + name);
        LabelImage labels;
        labels.CopyPropertiesFrom(raw);
        Korvane::DetectionObserver silent;
        Korvane::DetectExosomes(raw, labels, Korvane::AnalysisParameters{}, raw.Resolution().x, silent);
        const Score score = Compare(vesicles, Measure(labels));
        std::printf("%s: %zu vesicles, %zu objects, %zu matched, median diameter ratio %.3f\n", name.c_str(),
                    score.trueCount, score.foundCount, score.matched, score.medianDiameterRatio);
        EXPECT_GE(static_cast<double>(score.matched), 0.9 * static_cast<double>(score.trueCount));
        EXPECT_GE(static_cast<double>(score.matched), 0.9 * static_cast<double>(score.foundCount));
        EXPECT_NEAR(score.medianDiameterRatio, 1.0, 0.05);
    }
}

}  // namespace
