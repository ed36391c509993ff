#include "OverlayPainting.h"

#include "DrawnText.h"
#include "OverlayGeometry.h"
#include "PixelScale.h"
#include "RimLines.h"
#include "ScaleBar.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr qvox::Rgb8 kBlack{0, 0, 0};
constexpr qvox::Rgb8 kWhite{255, 255, 255};

ColourPicture PaintObjects(const Position& position, OverlayLook look, const EdgeProfileOptions& profiles) {
    const auto paint = [&](const qvox::LabelImage& labels, LabelStyle style) {
        return PaintPosition(position.image, labels, style);
    };
    switch (look) {
        case OverlayLook::kRegions:
            return paint(position.labels, LabelStyle::kRegions);
        case OverlayLook::kRims:
            return paint(RimLines(position, profiles), LabelStyle::kRegions);
        case OverlayLook::kRaw:
            return paint(position.labels, LabelStyle::kNone);
        case OverlayLook::kContours:
            break;
    }
    return paint(position.labels, LabelStyle::kContours);
}

void PaintNumbers(ColourPicture& painted, const qvox::LabelImage& labels) {
    for (const LabelAnchor& anchor : LabelAnchors(labels)) {
        const TextMask text = DrawText(std::to_string(anchor.label), kNumberHeightPx);
        const NumberPlace place = PlaceNumber(anchor, 1.0f, text.extent);
        StampText(painted, place.shadow.x, place.shadow.y, text, kBlack);
        StampText(painted, place.text.x, place.text.y, text, kWhite);
    }
}

}  // namespace

ColourPicture PaintOverlayOf(const Position& position, const OverlayStyle& style, const EdgeProfileOptions& profiles) {
    ColourPicture painted = PaintObjects(position, style.look, profiles);
    if (style.numbers) PaintNumbers(painted, position.labels);
    if (style.scaleBar) {
        const qvox::PixelResolution& resolution = position.image.Resolution();
        if (!IsDefined(resolution.x)) throw qvox::ToolkitError("No scale bar: the pixel size is not known");
        const auto bar = PlaceScaleBar(painted.SizeX(), painted.SizeY(), ScaleOf(resolution).widthNm);
        if (!bar) throw qvox::ToolkitError("No scale bar: the image has no room for it");
        PaintScaleBar(painted, *bar, DrawText(bar->text, bar->textHeightPx));
    }
    return painted;
}

}  // namespace Korvane
