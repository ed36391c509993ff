// Prints how well edge profiles measure: the figures of docs/MEASUREMENTS.md. First phantoms, with labels of the size
// that detection makes and with detected labels; then, with a folder of NAME.tif and NAME_labels.tif (drawn by hand) as
// argument, detected objects against the drawn ones. The time is per image pixel.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "DetectionDriver.h"
#include "EdgeProfiles.h"
#include "PixelScale.h"
#include "files/ImageFile.h"
#include "operations/Shape.h"
#include "support/RimPhantoms.h"

namespace {

using Korvane::EdgeMeasurement;
using Korvane::LabelExtent;
using Korvane::RimKind;
using korvane_test::RimPhantom;
using korvane_test::RimShape;
using qvox::LabelImage;

using GreyImage = qvox::VoxelImage<float>;

constexpr float kPixelsPerUm = 672.0f;  // the objects of all images here have detection's nominal size then
constexpr double kLeastOverlap = 0.5;   // intersection over union of a detected and a drawn object

class Silent : public Korvane::DetectionObserver {};

LabelImage Detected(const GreyImage& image) {
    LabelImage labels;
    labels.SetResolution({kPixelsPerUm, kPixelsPerUm, 0.0f});
    Silent observer;
    Korvane::DetectExosomes(image, labels, {}, kPixelsPerUm, observer);
    return labels;
}

struct Errors {
    std::vector<double> percent;
    int objects = 0;
    int unmeasured = 0;
    int rims = 0;

    void Add(const EdgeMeasurement& edge, const std::optional<double>& value, double truth) {
        ++objects;
        if (!value) {
            ++unmeasured;
            return;
        }
        rims += edge.kind == RimKind::kRim;
        percent.push_back(100.0 * (*value / truth - 1.0));
    }
};

/// Linear between the ordered values, the first at 0 and the last at 1.
double Quantile(std::vector<double> values, double share) {
    if (values.empty()) return std::nan("");
    std::sort(values.begin(), values.end());
    const double place = share * static_cast<double>(values.size() - 1);
    const auto low = static_cast<std::size_t>(place);
    const std::size_t high = std::min(low + 1, values.size() - 1);
    return values[low] + (place - static_cast<double>(low)) * (values[high] - values[low]);
}

double Spread(const Errors& errors) {
    std::vector<double> sizes;
    for (const double e : errors.percent) sizes.push_back(std::fabs(e));
    return Quantile(sizes, 0.95);
}

void Print(const std::string& name, const Errors& errors) {
    std::printf("| %-30s | %3d | %3d | %3d | %+6.2f | %5.2f |\n", name.c_str(), errors.objects, errors.unmeasured,
                errors.rims, Quantile(errors.percent, 0.5), Spread(errors));
}

void PrintHead() {
    std::printf("| objects | n | not measured | with rim | median %% | p95 %% |\n|---|---|---|---|---|---|\n");
}

/// The detected object that overlaps the phantom's best, or none.
LabelImage DetectedVesicle(const GreyImage& image, const RimPhantom& phantom) {
    LabelImage labels = Detected(image);
    const auto middle =
        labels(static_cast<std::uint64_t>(phantom.centreX), static_cast<std::uint64_t>(phantom.centreY));
    for (std::uint16_t& label : labels) label = middle != 0 && label == middle ? 1 : 0;
    return labels;
}

void Phantoms(const char* source, bool isDetected) {
    const std::vector<std::pair<RimShape, const char*>> shapes{{RimShape::kBand, "rim, a band"},
                                                               {RimShape::kGaussian, "rim, a Gaussian line"},
                                                               {RimShape::kNone, "no rim"},
                                                               {RimShape::kSphere, "no rim, sphere"}};
    constexpr int kPerShape = 70;
    std::mt19937 random(7);
    Errors all;
    std::printf("\nPhantoms, %s: rim diameter against the truth.\n\n", source);
    PrintHead();
    for (const auto& [shape, name] : shapes) {
        Errors errors;
        for (int i = 0; i < kPerShape; ++i) {
            const RimPhantom phantom = korvane_test::RandomRimPhantom(random, shape);
            const GreyImage image = Render(phantom, random);
            LabelImage labels = SmallLabel(phantom, random);
            if (isDetected) labels = DetectedVesicle(image, phantom);
            labels.SetResolution({1000.0f, 1000.0f, 0.0f});
            const std::vector<LabelExtent> extents = Korvane::LabelExtents(labels);
            const double area = extents.empty() ? 0.0 : static_cast<double>(extents[0].pixels);
            if (std::sqrt(area / 3.141592653589793) < 0.5 * phantom.radiusPx) continue;  // not found
            const EdgeMeasurement edge = Korvane::MeasureEdges(image, labels, extents).front();
            errors.Add(edge, edge.rimDiameterNm, 2.0 * phantom.radiusPx);
            if (shape != RimShape::kSphere) all.Add(edge, edge.rimDiameterNm, 2.0 * phantom.radiusPx);
        }
        Print(name, errors);
    }
    Print("all but spheres", all);
}

/// Drawn objects by detected label: of those that overlap enough, with the whole of the drawn object in the image.
std::map<std::uint16_t, double> DrawnDiameters(const LabelImage& drawn, const LabelImage& labels) {
    std::map<std::uint16_t, double> area;
    std::map<std::uint16_t, bool> isCut;
    std::map<std::uint16_t, double> detectedArea;
    std::map<std::pair<std::uint16_t, std::uint16_t>, double> common;
    for (std::uint64_t i = 0; i < drawn.VoxelCount(); ++i) {
        if (drawn[i] != 0) ++area[drawn[i]];
        if (drawn[i] != 0 && drawn.OnBorder(i)) isCut[drawn[i]] = true;
        if (labels[i] != 0) ++detectedArea[labels[i]];
        if (drawn[i] != 0 && labels[i] != 0) ++common[{labels[i], drawn[i]}];
    }
    std::map<std::uint16_t, double> diameters;
    for (const auto& [pair, pixels] : common) {
        const double overlap = pixels / (detectedArea[pair.first] + area[pair.second] - pixels);
        if (overlap >= kLeastOverlap && !isCut[pair.second]) {
            diameters[pair.first] = qvox::EquivalentDiameter(area[pair.second]);
        }
    }
    return diameters;
}

GreyImage LoadGrey(const std::string& path) {
    qvox::VoxelImage<std::uint8_t> stored;
    qvox::LoadImageFile(path, stored);
    GreyImage image;
    image.Resize(stored.SizeX(), stored.SizeY(), 1);
    std::copy(stored.begin(), stored.end(), image.begin());
    return image;
}

void DrawnByHand(const std::filesystem::path& folder) {
    std::printf("\nDetected objects against those drawn by hand.\n\n");
    PrintHead();
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    Errors all;
    std::vector<double> medians;
    for (const auto& file : files) {
        const std::filesystem::path mask = folder / (file.stem().string() + "_labels.tif");
        if (!std::filesystem::exists(mask)) continue;
        const GreyImage image = LoadGrey(file);
        LabelImage drawn;
        qvox::LoadImageFile(mask, drawn);
        const LabelImage labels = Detected(image);
        const std::vector<LabelExtent> extents = Korvane::LabelExtents(labels);
        const std::clock_t start = std::clock();
        constexpr int kRuns = 20;
        std::vector<EdgeMeasurement> edges;
        for (int run = 0; run < kRuns; ++run) edges = Korvane::MeasureEdges(image, labels, extents);
        const double timeNs = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC * 1e9;
        const std::map<std::uint16_t, double> truth = DrawnDiameters(drawn, labels);
        Errors rims;
        Errors flanks;
        Errors labelled;
        const double pixelNm = Korvane::ScaleOf(labels.Resolution()).widthNm;
        for (std::size_t i = 0; i < edges.size(); ++i) {
            const auto found = truth.find(extents[i].label);
            if (found == truth.end()) continue;
            rims.Add(edges[i], edges[i].rimDiameterNm, found->second * pixelNm);
            all.Add(edges[i], edges[i].rimDiameterNm, found->second * pixelNm);
            flanks.Add(edges[i], edges[i].edgeDiameterNm, found->second * pixelNm);
            labelled.Add(edges[i], qvox::EquivalentDiameter(static_cast<double>(extents[i].pixels)), found->second);
        }
        const std::string name = file.stem().string();
        Print(name + ", rim", rims);
        Print(name + ", flank", flanks);
        Print(name + ", label", labelled);
        medians.push_back(std::fabs(Quantile(rims.percent, 0.5)));
        std::fprintf(stderr, "%s: %zu labels, %.1f ns per image pixel\n", name.c_str(), edges.size(),
                     timeNs / kRuns / static_cast<double>(image.VoxelCount()));
    }
    Print("all, rim", all);
    double sum = 0.0;
    for (const double median : medians) sum += median;
    if (!medians.empty()) std::printf("\nMean of the |medians|: %.2f %%\n", sum / static_cast<double>(medians.size()));
}

}  // namespace

int main(int argc, char** argv) {
    Phantoms("labels drawn too small by up to a fifth", false);
    Phantoms("detected labels", true);
    if (argc > 1) DrawnByHand(argv[1]);
}
