#include "BurntInMarks.h"

#include <algorithm>

#include "Calibration.h"
#include "CommandTexts.h"

namespace Korvane {

namespace {

/// Characters of a line of writing are no farther apart than this many times their height.
constexpr std::int64_t kHeightsBetween = 1;

bool AreClose(const PixelBox& a, const PixelBox& b) {
    const std::int64_t reach = kHeightsBetween * std::min(a.height, b.height);
    return a.x < b.x + b.width + reach && b.x < a.x + a.width + reach && a.y < b.y + b.height + reach &&
           b.y < a.y + a.height + reach;
}

PixelBox Around(const PixelBox& a, const PixelBox& b) {
    const std::int64_t x = std::min(a.x, b.x);
    const std::int64_t y = std::min(a.y, b.y);
    return {x, y, std::max(a.x + a.width, b.x + b.width) - x, std::max(a.y + a.height, b.y + b.height) - y};
}

/// One box for pieces that lie close to each other: a person looks for the writing, not for its characters.
std::vector<PixelBox> Gathered(const std::vector<Annotation>& pieces) {
    std::vector<PixelBox> boxes;
    for (const Annotation& piece : pieces) {
        PixelBox box = piece.box;
        // A box that grew may reach others that were too far away before.
        for (std::size_t i = 0; i < boxes.size();) {
            if (!AreClose(box, boxes[i])) {
                ++i;
                continue;
            }
            box = Around(box, boxes[i]);
            boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(i));
            i = 0;
        }
        boxes.push_back(box);
    }
    return boxes;
}

}  // namespace

BurntInMarks MarksOf(const BurntIn& burntIn, std::uint64_t width, std::uint64_t height) {
    BurntInMarks marks;
    marks.text = BurntInText(burntIn.bars, burntIn.annotations);
    marks.barLengthsPx = BarLengthsPx(burntIn.annotations.pieces);
    const auto top = static_cast<std::uint64_t>(burntIn.bars.topRows);
    const auto bottom = static_cast<std::uint64_t>(burntIn.bars.bottomRows);
    if (top > 0) marks.boxes.push_back({0, 0, width, top});
    if (bottom > 0) marks.boxes.push_back({0, height - bottom, width, bottom});
    for (const PixelBox& box : Gathered(burntIn.annotations.pieces)) {
        marks.boxes.push_back({static_cast<std::uint64_t>(box.x), static_cast<std::uint64_t>(box.y),
                               static_cast<std::uint64_t>(box.width), static_cast<std::uint64_t>(box.height)});
    }
    return marks;
}

}  // namespace Korvane
