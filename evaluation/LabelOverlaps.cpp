#include "LabelOverlaps.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "LabelExtents.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// Objects in ascending order of label; index[label] is the place of each.
std::vector<EvaluatedObject> ObjectsOf(const qvox::LabelImage& labels, std::vector<std::size_t>& index) {
    std::vector<EvaluatedObject> objects;
    index.assign(65536, 0);
    for (const LabelExtent& extent : LabelExtents(labels)) {
        index[extent.label] = objects.size();
        const ObjectPlace place =
            LiesNearFrame(extent, WholePart(labels)) ? ObjectPlace::kAtEdge : ObjectPlace::kInside;
        objects.push_back({extent.label, extent.pixels, place});
    }
    return objects;
}

}  // namespace

LabelOverlaps FindOverlaps(const qvox::LabelImage& truth, const qvox::LabelImage& found) {
    if (!truth.SameSizes(found)) {
        const auto sizes = [](const qvox::LabelImage& labels) {
            return std::to_string(labels.SizeX()) + " x " + std::to_string(labels.SizeY());
        };
        throw qvox::ToolkitError("Comparison of labels: the true labels have " + sizes(truth) +
                                 " pixels, those that were found " + sizes(found) + ".");
    }
    if (truth.SizeZ() > 1) throw qvox::ToolkitError("Comparison of labels: the labels have several planes.");
    LabelOverlaps result;
    std::vector<std::size_t> truthIndex;
    std::vector<std::size_t> foundIndex;
    result.truth = ObjectsOf(truth, truthIndex);
    result.found = ObjectsOf(found, foundIndex);
    // Pairs come in runs along a row: each run is one look-up.
    std::map<std::pair<std::size_t, std::size_t>, std::uint64_t> shared;
    const std::uint16_t* const t = truth.begin();
    const std::uint16_t* const f = found.begin();
    const std::uint64_t count = truth.VoxelCount();
    for (std::uint64_t i = 0; i < count;) {
        std::uint64_t end = i + 1;
        while (end < count && t[end] == t[i] && f[end] == f[i]) ++end;
        if (t[i] != 0 && f[i] != 0) shared[{truthIndex[t[i]], foundIndex[f[i]]}] += end - i;
        i = end;
    }
    result.overlaps.reserve(shared.size());
    for (const auto& [pair, pixels] : shared) result.overlaps.push_back({pair.first, pair.second, pixels});
    return result;
}

double IntersectionOverUnion(const LabelOverlaps& objects, const ObjectOverlap& overlap) {
    const std::uint64_t both = objects.truth[overlap.truth].pixels + objects.found[overlap.found].pixels;
    return static_cast<double>(overlap.pixels) / static_cast<double>(both - overlap.pixels);
}

bool FoundAtEdge(const LabelOverlaps& objects, std::size_t found) {
    const EvaluatedObject& object = objects.found[found];
    if (object.place == ObjectPlace::kAtEdge) return true;
    return std::any_of(objects.overlaps.begin(), objects.overlaps.end(), [&](const ObjectOverlap& overlap) {
        return overlap.found == found && overlap.pixels * 2 > object.pixels &&
               objects.truth[overlap.truth].place == ObjectPlace::kAtEdge;
    });
}

}  // namespace Korvane
