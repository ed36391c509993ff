#include "ComparisonOverlay.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Korvane {

namespace {

constexpr int kMarkRadiusPx = 4;

/// True for the pixels of a mark, by their distance from its middle.
using MarkShape = bool (*)(int dx, int dy);

bool Ring(int dx, int dy) {
    const int square = dx * dx + dy * dy;
    return square >= 8 && square <= 16;
}
bool Cross(int dx, int dy) { return std::abs(dx) == std::abs(dy); }
bool Diamond(int dx, int dy) { return std::abs(dx) + std::abs(dy) == kMarkRadiusPx; }

struct Look {
    qvox::Rgb8 colour;
    MarkShape mark;
};
constexpr Look kMatched{{0, 158, 115}, Ring};
constexpr Look kExtra{{204, 121, 167}, Cross};
constexpr Look kMissed{{230, 159, 0}, Diamond};

void DrawMark(ColourPicture& picture, const LabelAnchor& anchor, const Look& look) {
    for (int dy = -kMarkRadiusPx; dy <= kMarkRadiusPx; ++dy) {
        for (int dx = -kMarkRadiusPx; dx <= kMarkRadiusPx; ++dx) {
            const std::int64_t x = static_cast<std::int64_t>(anchor.x) + dx;
            const std::int64_t y = static_cast<std::int64_t>(anchor.y) + dy;
            const bool isInside = x >= 0 && y >= 0 && x < static_cast<std::int64_t>(picture.SizeX()) &&
                                  y < static_cast<std::int64_t>(picture.SizeY());
            if (isInside && look.mark(dx, dy)) {
                picture(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = look.colour;
            }
        }
    }
}

/// Draws the labels that are set in `drawn`.
void DrawLabels(ColourPicture& picture, const qvox::LabelImage& labels, const std::vector<bool>& drawn,
                const Look& look) {
    for (const ContourVoxel& voxel : ContourVoxels(labels, WholeImage(labels))) {
        if (drawn[voxel.label]) picture(voxel.x, voxel.y) = look.colour;
    }
    for (const LabelAnchor& anchor : LabelAnchors(labels)) {
        if (drawn[anchor.label]) DrawMark(picture, anchor, look);
    }
}

}  // namespace

ColourPicture PaintComparison(const qvox::VoxelImage<float>& image, const qvox::LabelImage& truth,
                              const qvox::LabelImage& found, const LabelComparison& comparison) {
    ColourPicture picture = PaintPosition(image, found, LabelStyle::kNone);
    std::vector<bool> matched(65536, false);
    std::vector<bool> extra(65536, false);
    std::vector<bool> missed(65536, false);
    for (const ObjectMatch& match : comparison.matching.matches) {
        matched[comparison.objects.found[match.found].label] = true;
    }
    for (const std::size_t object : comparison.matching.extra) extra[comparison.objects.found[object].label] = true;
    for (const std::size_t object : comparison.matching.missed) missed[comparison.objects.truth[object].label] = true;
    DrawLabels(picture, found, matched, kMatched);
    DrawLabels(picture, found, extra, kExtra);
    DrawLabels(picture, truth, missed, kMissed);
    return picture;
}

}  // namespace Korvane
