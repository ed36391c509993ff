#include "OverlayGeometry.h"

#include <cmath>

#include "LabelColours.h"

namespace Korvane {

namespace {

int Centred(std::uint64_t anchor, float scale, int extent, int shift) {
    const int half = extent / 2;
    return static_cast<int>(static_cast<float>(anchor) * scale - static_cast<float>(half) + static_cast<float>(shift));
}

std::int64_t OnScreen(std::uint64_t coordinate, float factor, int start) {
    return std::llround(static_cast<float>(coordinate) * factor) - start;
}

}  // namespace

qvox::Rgb8 ToolColour(std::uint16_t currentLabel) {
    return currentLabel == 0 ? qvox::Rgb8{255, 255, 255} : LabelColour(currentLabel);
}

LabelDrawing DrawingOf(LabelStyle style, float zoomFactor) {
    if (style == LabelStyle::kContours && zoomFactor < 1.0f) return {LabelStyle::kNone, true};
    return {style, false};
}

void PlotContourVoxels(const std::vector<ContourVoxel>& voxels, const ViewState& view, ColourPicture& picture) {
    const float factor = ZoomFactor(view.zoomLevel);
    const auto width = static_cast<std::int64_t>(picture.SizeX());
    const auto height = static_cast<std::int64_t>(picture.SizeY());
    for (const ContourVoxel& voxel : voxels) {
        const std::int64_t x = OnScreen(voxel.x, factor, view.start.x);
        const std::int64_t y = OnScreen(voxel.y, factor, view.start.y);
        if (x < 0 || y < 0 || x >= width || y >= height) continue;
        picture(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = LabelColour(voxel.label);
    }
}

ToolOutline OutlineAt(const ViewState& view, const EditingState& state, const ClientPoint& pointer) {
    return {PixelAt(ClientToImage(view, pointer)), state.mode == DrawingMode::kBrush ? state.brushRadiusPx : 1};
}

std::vector<Pixel> ContourLine(const EditingState& state, const qvox::LabelImage& labels) {
    std::vector<Pixel> line;
    line.reserve(state.contourPoints.size());
    for (const std::uint64_t point : state.contourPoints) {
        const auto at = labels.Coordinates(point);
        line.push_back({static_cast<std::int64_t>(at[0]), static_cast<std::int64_t>(at[1])});
    }
    return line;
}

NumberPlace PlaceNumber(const LabelAnchor& anchor, float scale, const ClientSize& extent) {
    return {{Centred(anchor.x, scale, extent.width, 1), Centred(anchor.y, scale, extent.height, 1)},
            {Centred(anchor.x, scale, extent.width, 0), Centred(anchor.y, scale, extent.height, 0)}};
}

}  // namespace Korvane
