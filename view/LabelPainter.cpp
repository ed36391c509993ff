#include "LabelPainter.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "ContourRow.h"
#include "GreyLevels.h"
#include "LabelCensus.h"
#include "LabelColours.h"
#include "files/StoredDescription.h"

namespace Korvane {

namespace {

using qvox::LabelImage;
using qvox::Rgb8;
using qvox::ToolkitError;

std::string SizeText(std::uint64_t width, std::uint64_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

void RequirePart(const LabelImage& labels, const PixelRectangle& part) {
    if (labels.SizeZ() > 1) throw ToolkitError("Painting labels: the image has several planes.");
    const bool inside = part.x <= labels.SizeX() && part.width <= labels.SizeX() - part.x && part.y <= labels.SizeY() &&
                        part.height <= labels.SizeY() - part.y;
    if (inside) return;
    throw ToolkitError("Painting labels: the part " + SizeText(part.width, part.height) + " at " +
                       std::to_string(part.x) + ", " + std::to_string(part.y) + " does not lie in the image of " +
                       SizeText(labels.SizeX(), labels.SizeY()) + ".");
}

void PaintGrey(const std::uint8_t* grey, std::uint64_t width, Rgb8* out) {
    for (std::uint64_t x = 0; x < width; ++x) out[x] = {grey[x], grey[x], grey[x]};
}

/// Colours the voxels of a row whose mark is not 0. Marks are sparse or come in runs, so four are tested at once.
void PaintMarked(const std::uint16_t* marks, const std::uint16_t* labels, std::uint64_t width, Rgb8* out) {
    std::uint64_t x = 0;
    while (x < width) {
        if (x + 4 <= width && (marks[x] | marks[x + 1] | marks[x + 2] | marks[x + 3]) == 0) {
            x += 4;
            continue;
        }
        if (marks[x] != 0) out[x] = LabelColour(labels[x]);
        ++x;
    }
}

}  // namespace

void ConvertToGrey(const qvox::VoxelImage<float>& raw, GreyPicture& grey) {
    grey.CopyPropertiesFrom(raw);
    grey.Resize(raw.SizeX(), raw.SizeY(), raw.SizeZ());
    if (raw.Empty()) return;
    float min = 0.0f;
    float max = 0.0f;
    raw.ValueRange(min, max);
    const float range = max - min;
    const float* in = raw.begin();
    std::uint8_t* out = grey.begin();
    const std::uint64_t count = raw.VoxelCount();
    for (std::uint64_t i = 0; i < count; ++i) {
        out[i] = WholeRangeLevel(in[i], min, range);
    }
}

void PaintLabels(const GreyPicture& grey, const LabelImage& labels, LabelStyle style, const PixelRectangle& part,
                 ColourPicture& painted) {
    if (!grey.SameSizes(labels)) {
        throw ToolkitError("Painting labels: the image of " + SizeText(grey.SizeX(), grey.SizeY()) +
                           " and the label image of " + SizeText(labels.SizeX(), labels.SizeY()) + " differ in size.");
    }
    RequirePart(labels, part);
    const bool anything = part.width > 0 && part.height > 0;
    painted.Resize(anything ? part.width : 0, anything ? part.height : 0, anything ? 1 : 0);
    if (!anything) return;
    ContourRow contour(labels, part.x, part.width);
    for (std::uint64_t row = 0; row < part.height; ++row) {
        const std::uint64_t y = part.y + row;
        const std::uint16_t* label = labels.Row(y) + part.x;
        Rgb8* out = painted.Row(row);
        PaintGrey(grey.Row(y) + part.x, part.width, out);
        if (style == LabelStyle::kRegions) PaintMarked(label, label, part.width, out);
        if (style == LabelStyle::kContours) PaintMarked(contour.At(y).data(), label, part.width, out);
    }
}

ColourPicture PaintPosition(const qvox::VoxelImage<float>& raw, const LabelImage& labels, LabelStyle style) {
    GreyPicture grey;
    ConvertToGrey(raw, grey);
    ColourPicture painted;
    painted.SetResolution(raw.Resolution());
    qvox::Description description;
    qvox::SetOrientation(description, qvox::OrientationOf(raw.Metadata()));
    painted.SetMetadata(std::move(description));
    PaintLabels(grey, labels, style, WholeImage(labels), painted);
    return painted;
}

std::vector<ContourVoxel> ContourVoxels(const LabelImage& labels, const PixelRectangle& part) {
    RequirePart(labels, part);
    std::vector<ContourVoxel> voxels;
    if (part.width == 0 || part.height == 0) return voxels;
    ContourRow contour(labels, part.x, part.width);
    for (std::uint64_t y = part.y; y < part.y + part.height; ++y) {
        contour.ForEach(y, [&](std::uint64_t x, std::uint64_t row, std::uint16_t label) {
            voxels.push_back({x, row, label});
        });
    }
    return voxels;
}

std::vector<LabelAnchor> LabelAnchors(const LabelImage& labels) {
    LabelCensus census;
    census.Ensure(labels);
    return census.Anchors();
}

}  // namespace Korvane
