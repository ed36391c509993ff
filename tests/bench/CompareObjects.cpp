// Compares the objects that two runs of `korvane-batch detect --stages DIR/stages -o DIR` found in the same images:
//     compare_objects DIR OTHER_DIR
// Prints a row for each image in which an object changed, and a summary. An object is unchanged where the other run has
// one of exactly its pixels. A decision of detection compares the edge map with a level (DetectionLevels); a row states
// how many pixels of the edge map lie on different sides of a level in the two runs, and how far the farthest of those
// values is from the level. Levels are 0.005 apart.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "NominalSizes.h"
#include "VoxelImage.h"
#include "files/ImageFile.h"

namespace {

namespace fs = std::filesystem;
using Counts = std::map<std::uint16_t, std::uint64_t>;

struct Objects {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    std::uint64_t changed = 0;       // of those before: other pixels, or gone
    std::uint64_t appeared = 0;      // after, without a partner before
    double leastOverlap = 1.0;       // intersection over union of changed objects that have a partner
    double largestAreaChange = 0.0;  // of the same, in shares of the area
};

Counts Areas(const qvox::LabelImage& labels) {
    Counts areas;
    for (const std::uint16_t label : labels) {
        if (label != 0) ++areas[label];
    }
    return areas;
}

// An object's partner is the one that it shares most pixels with, if more than half of the union.
Objects Compared(const qvox::LabelImage& before, const qvox::LabelImage& after) {
    if (!before.SameSizes(after)) throw std::runtime_error("The label images have different sizes.");
    const Counts areas = Areas(before);
    const Counts otherAreas = Areas(after);
    std::map<std::pair<std::uint16_t, std::uint16_t>, std::uint64_t> shared;
    for (std::uint64_t i = 0; i < before.VoxelCount(); ++i) {
        if (before[i] != 0 && after[i] != 0) ++shared[{before[i], after[i]}];
    }
    Objects objects;
    objects.before = areas.size();
    objects.after = otherAreas.size();
    std::uint64_t partners = 0;
    std::uint64_t same = 0;
    for (const auto& [pair, pixels] : shared) {
        const auto area = static_cast<double>(areas.at(pair.first));
        const auto otherArea = static_cast<double>(otherAreas.at(pair.second));
        const double overlap = static_cast<double>(pixels) / (area + otherArea - static_cast<double>(pixels));
        if (overlap <= 0.5) continue;
        ++partners;
        if (overlap >= 1.0) ++same;
        objects.leastOverlap = std::min(objects.leastOverlap, overlap);
        objects.largestAreaChange = std::max(objects.largestAreaChange, std::fabs(otherArea / area - 1.0));
    }
    objects.changed = objects.before - same;
    objects.appeared = objects.after - partners;
    return objects;
}

struct Decisions {
    double largestDifference = 0.0;  // of the edge map anywhere
    std::uint64_t pixels = 0;        // on different sides of a level
    double farthest = 0.0;           // of the value before of such a pixel from the level
};

Decisions Crossed(const qvox::VoxelImage<float>& before, const qvox::VoxelImage<float>& after) {
    if (!before.SameSizes(after)) throw std::runtime_error("The edge maps have different sizes.");
    std::vector<float> levels;
    for (float level = Korvane::kFirstLevel; level >= Korvane::kLowestLevel; level -= Korvane::kLevelStep) {
        levels.push_back(level);
    }
    std::reverse(levels.begin(), levels.end());
    Decisions decisions;
    for (std::uint64_t i = 0; i < before.VoxelCount(); ++i) {
        const float a = before[i];
        const float b = after[i];
        const double difference = std::fabs(static_cast<double>(a) - static_cast<double>(b));
        decisions.largestDifference = std::max(decisions.largestDifference, difference);
        const auto level = std::upper_bound(levels.begin(), levels.end(), std::min(a, b));
        if (level == levels.end() || *level > std::max(a, b)) continue;
        ++decisions.pixels;
        decisions.farthest =
            std::max(decisions.farthest, std::fabs(static_cast<double>(a) - static_cast<double>(*level)));
    }
    return decisions;
}

template <typename T>
qvox::VoxelImage<T> Loaded(const fs::path& path) {
    qvox::VoxelImage<T> image;
    qvox::LoadImageFile(path.string(), image, qvox::StoredValues());
    return image;
}

int Compare(const fs::path& before, const fs::path& after) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(before)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("seg_", 0) == 0) names.push_back(name.substr(4));
    }
    std::sort(names.begin(), names.end());
    std::printf(
        "| image | objects | changed | appeared | least overlap | largest change of area | pixels across a level | "
        "farthest from it | largest difference |\n|---|---|---|---|---|---|---|---|---|\n");
    std::uint64_t images = 0;
    std::uint64_t edgeImages = 0;
    Objects all;
    double largest = 0.0;
    for (const std::string& name : names) {
        const Objects objects =
            Compared(Loaded<std::uint16_t>(before / ("seg_" + name)), Loaded<std::uint16_t>(after / ("seg_" + name)));
        const std::string edges = "stages/edges_" + name;
        const Decisions decisions = Crossed(Loaded<float>(before / edges), Loaded<float>(after / edges));
        all.before += objects.before;
        all.changed += objects.changed;
        all.appeared += objects.appeared;
        largest = std::max(largest, decisions.largestDifference);
        edgeImages += decisions.largestDifference > 0.0 ? 1 : 0;
        if (objects.changed == 0 && objects.appeared == 0) continue;
        ++images;
        std::printf("| %s | %llu, %llu | %llu | %llu | %.4f | %.2f %% | %llu | %.6f | %.6f |\n", name.c_str(),
                    static_cast<unsigned long long>(objects.before), static_cast<unsigned long long>(objects.after),
                    static_cast<unsigned long long>(objects.changed), static_cast<unsigned long long>(objects.appeared),
                    objects.leastOverlap, 100.0 * objects.largestAreaChange,
                    static_cast<unsigned long long>(decisions.pixels), decisions.farthest, decisions.largestDifference);
    }
    std::printf(
        "\nOf %zu images with %llu objects, %llu changed an object: %llu objects changed, %llu appeared. "
        "Edge maps of %llu images differ, by %.6f at most.\n",
        names.size(), static_cast<unsigned long long>(all.before), static_cast<unsigned long long>(images),
        static_cast<unsigned long long>(all.changed), static_cast<unsigned long long>(all.appeared),
        static_cast<unsigned long long>(edgeImages), largest);
    return names.empty() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "compare_objects DIR OTHER_DIR\n";
        return 2;
    }
    try {
        return Compare(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "compare_objects: " << error.what() << "\n";
        return 1;
    }
}
