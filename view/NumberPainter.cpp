#include "NumberPainter.h"

#include <algorithm>
#include <cstddef>

namespace Korvane {

namespace {

std::uint8_t Mixed(std::uint8_t coverage, std::uint8_t colour, std::uint8_t before) {
    return static_cast<std::uint8_t>((coverage * colour + (255 - coverage) * before + 127) / 255);
}

}  // namespace

void StampText(ColourPicture& painted, std::int64_t x, std::int64_t y, const TextMask& mask, const qvox::Rgb8& colour) {
    const std::int64_t left = x - mask.margin;
    const std::int64_t top = y - mask.margin;
    const std::int64_t firstX = std::max<std::int64_t>(left, 0);
    const std::int64_t firstY = std::max<std::int64_t>(top, 0);
    const std::int64_t endX = std::min(left + mask.width, static_cast<std::int64_t>(painted.SizeX()));
    const std::int64_t endY = std::min(top + mask.height, static_cast<std::int64_t>(painted.SizeY()));
    for (std::int64_t py = firstY; py < endY; ++py) {
        const std::uint8_t* cover =
            mask.coverage.data() + static_cast<std::size_t>(3 * ((py - top) * mask.width + firstX - left));
        qvox::Rgb8* out = painted.Row(static_cast<std::uint64_t>(py)) + firstX;
        for (std::int64_t px = firstX; px < endX; ++px, cover += 3, ++out) {
            if ((cover[0] | cover[1] | cover[2]) == 0) continue;
            *out = {Mixed(cover[0], colour.r, out->r), Mixed(cover[1], colour.g, out->g),
                    Mixed(cover[2], colour.b, out->b)};
        }
    }
}

std::vector<LabelAnchor> ChangedAnchors(const std::vector<LabelAnchor>& before, const std::vector<LabelAnchor>& after) {
    std::vector<LabelAnchor> changed;
    auto old = before.begin();
    auto now = after.begin();
    while (old != before.end() || now != after.end()) {
        if (now == after.end() || (old != before.end() && old->label < now->label)) {
            changed.push_back(*old++);
        } else if (old == before.end() || now->label < old->label) {
            changed.push_back(*now++);
        } else {
            if (old->x != now->x || old->y != now->y) changed.insert(changed.end(), {*old, *now});
            ++old;
            ++now;
        }
    }
    return changed;
}

}  // namespace Korvane
