#include "ObjectMeasures.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "MeasuredObject.h"

namespace Korvane {

namespace {

/// Mean, deviation and range in two passes over the label's box, each in raster order.
void MeasureGrey(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels, ObjectMeasures& object) {
    const LabelExtent& extent = object.extent;
    const auto forEach = [&](const auto& visit) {
        for (std::uint64_t y = extent.minY; y <= extent.maxY; ++y) {
            const std::uint16_t* const row = labels.Row(y);
            const float* const grey = image.Row(y);
            for (std::uint64_t x = extent.minX; x <= extent.maxX; ++x) {
                if (row[x] == extent.label) visit(static_cast<double>(grey[x]));
            }
        }
    };
    const double count = static_cast<double>(extent.pixels);
    double sum = 0.0;
    object.greyMin = std::numeric_limits<double>::infinity();
    object.greyMax = -std::numeric_limits<double>::infinity();
    forEach([&](double grey) {
        sum += grey;
        object.greyMin = std::min(object.greyMin, grey);
        object.greyMax = std::max(object.greyMax, grey);
    });
    object.greyMean = sum / count;
    if (!std::isfinite(object.greyMean)) object.greyMin = object.greyMax = object.greyMean;
    double squares = 0.0;
    forEach([&](double grey) { squares += (grey - object.greyMean) * (grey - object.greyMean); });
    object.greySd = extent.pixels > 1 ? std::sqrt(squares / (count - 1.0)) : 0.0;
}

double ShareOf(const qvox::VoxelImage<std::uint8_t>& excluded, const qvox::LabelImage& labels,
               const LabelExtent& extent) {
    std::uint64_t pixels = 0;
    for (std::uint64_t y = extent.minY; y <= extent.maxY; ++y) {
        const std::uint16_t* const row = labels.Row(y);
        const std::uint8_t* const isExcluded = excluded.Row(y);
        for (std::uint64_t x = extent.minX; x <= extent.maxX; ++x)
            pixels += row[x] == extent.label && isExcluded[x] != 0 ? 1 : 0;
    }
    return static_cast<double>(pixels) / static_cast<double>(extent.pixels);
}

/// Distances of the centroids. They are sorted by x, so that only neighbours within the best distance so far are met.
void MeasureNeighbours(std::vector<ObjectMeasures>& objects) {
    std::vector<std::size_t> order(objects.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return objects[a].xNm != objects[b].xNm ? objects[a].xNm < objects[b].xNm : a < b;
    });
    for (std::size_t i = 0; i < order.size(); ++i) {
        ObjectMeasures& object = objects[order[i]];
        double best = std::numeric_limits<double>::infinity();
        const auto meet = [&](std::size_t other) {
            const double dx = objects[order[other]].xNm - object.xNm;
            const double dy = objects[order[other]].yNm - object.yNm;
            if (dx * dx >= best) return false;
            best = std::min(best, dx * dx + dy * dy);
            return true;
        };
        for (std::size_t k = i + 1; k < order.size() && meet(k);) ++k;
        for (std::size_t k = i; k > 0 && meet(k - 1);) --k;
        if (std::isfinite(best)) object.neighbourDistanceNm = std::sqrt(best);
    }
}

/// Area, perimeter and number of the pieces, those of the table, added up in its order.
void AddPieces(const qvox::LabelImage& labels, std::vector<ObjectMeasures>& objects) {
    for (const MeasuredObject& piece : MeasureObjects(labels)) {
        const auto found = std::lower_bound(
            objects.begin(), objects.end(), piece.label,
            [](const ObjectMeasures& object, std::uint16_t label) { return object.extent.label < label; });
        ++found->pieces;
        found->areaNm2 += piece.areaNm2;
        found->perimeterNm += piece.perimeterNm;
    }
}

}  // namespace

std::vector<ObjectMeasures> MeasureEverything(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                              const EdgeProfileOptions& options) {
    const std::vector<LabelExtent> extents = LabelExtents(labels);
    std::vector<EdgeMeasurement> edges = MeasureEdges(image, labels, extents, options);
    const PixelScale scale = ScaleOf(labels.Resolution());
    std::vector<ObjectMeasures> objects(extents.size());
    for (std::size_t i = 0; i < extents.size(); ++i) {
        if (options.beforeEachObject) options.beforeEachObject();
        ObjectMeasures& object = objects[i];
        object.extent = extents[i];
        object.edge = std::move(edges[i]);
        object.moments = MomentsOf(labels, extents[i]);
        object.xNm = object.moments.xPx * scale.widthNm;
        object.yNm = object.moments.yPx * scale.heightNm;
        object.hull = HullOf(labels, extents[i]);
        object.touchesEdge = LiesNearFrame(extents[i], options.part.value_or(WholePart(labels)));
        MeasureGrey(image, labels, object);
        if (options.excluded != nullptr) object.filledShare = ShareOf(*options.excluded, labels, extents[i]);
    }
    AddPieces(labels, objects);
    MeasureNeighbours(objects);
    return objects;
}

}  // namespace Korvane
