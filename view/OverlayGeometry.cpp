#include "OverlayGeometry.h"

#include <algorithm>

#include "LabelColours.h"

namespace Korvane {

namespace {

int Centred(std::uint64_t anchor, float scale, int extent, int shift) {
    const int half = extent / 2;
    return static_cast<int>(static_cast<float>(anchor) * scale - static_cast<float>(half) + static_cast<float>(shift));
}

}  // namespace

qvox::Rgb8 ToolColour(std::uint16_t currentLabel) {
    return currentLabel == 0 ? qvox::Rgb8{255, 255, 255} : LabelColour(currentLabel);
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

PixelRectangle ContourTip(const EditingState& state, const qvox::LabelImage& labels) {
    const std::vector<std::uint64_t>& points = state.contourPoints;
    if (points.empty()) return {};
    const auto tip = labels.Coordinates(points.back());
    const auto before = labels.Coordinates(points[points.size() > 1 ? points.size() - 2 : 0]);
    const std::uint64_t x = std::min(tip[0], before[0]);
    const std::uint64_t y = std::min(tip[1], before[1]);
    return {x, y, std::max(tip[0], before[0]) - x + 1, std::max(tip[1], before[1]) - y + 1};
}

NumberPlace PlaceNumber(const LabelAnchor& anchor, float scale, const ClientSize& extent) {
    return {{Centred(anchor.x, scale, extent.width, 1), Centred(anchor.y, scale, extent.height, 1)},
            {Centred(anchor.x, scale, extent.width, 0), Centred(anchor.y, scale, extent.height, 0)}};
}

PixelRectangle BoxOfLabel(const qvox::LabelImage& labels, std::uint16_t label) {
    std::uint64_t left = labels.SizeX();
    std::uint64_t right = 0;
    std::uint64_t top = labels.SizeY();
    std::uint64_t bottom = 0;
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        const std::uint16_t* const row = labels.Row(y);
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            if (row[x] != label) continue;
            left = std::min(left, x);
            right = std::max(right, x + 1);
            top = std::min(top, y);
            bottom = y + 1;
        }
    }
    return right == 0 ? PixelRectangle{} : PixelRectangle{left, top, right - left, bottom - top};
}

int ZoomLevelFor(const PixelRectangle& part, const ViewState& view) {
    ViewState around = view;
    around.imageWidth = 2 * part.width;
    around.imageHeight = 2 * part.height;
    return FittedZoomLevel(around);
}

ClientPoint StartCentring(const PixelRectangle& part, const ViewState& view) {
    const auto zoom = static_cast<double>(ZoomFactor(view.zoomLevel));
    const auto start = [zoom](std::uint64_t from, std::uint64_t length, int client) {
        return static_cast<int>((static_cast<double>(from) + static_cast<double>(length) / 2.0) * zoom) - client / 2;
    };
    return {start(part.x, part.width, view.client.width), start(part.y, part.height, view.client.height)};
}

}  // namespace Korvane
