#include "branches/PathTracer.h"

#include "branches/PatchComponents.h"

namespace level_sweep {

// The pixels of a 3 x 3 patch that lie beyond the image.
unsigned PathTracer::BeyondAround(int x, int y) const {
    unsigned beyond = 0;
    for (int i = 0; i < 9; ++i) {
        const int nearX = x + kPatch[static_cast<std::size_t>(i)].dx;
        const int nearY = y + kPatch[static_cast<std::size_t>(i)].dy;
        beyond |= (nearX < 0 || nearX >= width_ || nearY < 0 || nearY >= height_ ? 1u : 0u) << i;
    }
    return beyond;
}

inline bool PathTracer::IsOneComponent(unsigned open, const LinePixels::Place& centre) const {
    const bool isInside = static_cast<unsigned>(centre.x - 1) < static_cast<unsigned>(width_ - 2) &&
                          static_cast<unsigned>(centre.y - 1) < static_cast<unsigned>(height_ - 2);
    return kIsOneComponent[isInside ? open : open | BeyondAround(centre.x, centre.y)];
}

// A pixel that a later path took is lost to that one, which is then traced again. No path takes the end of another: it
// would have to come from the end's only neighbour, and once that is taken the end has nothing else adjacent.
inline void PathTracer::Take(const LinePixels::Place& place, Rank end) {
    const LinePixels::Word bit = ColumnGrid::Bit(place.x);
    const LinePixels::Lines& lines = *place.lines;
    if ((lines.remaining & bit) == 0) {
        if ((lines.current & bit) != 0) {
            return;
        }
        losingEnds_.push_back(lines_.OwnerOf(place.x, place.y));
    }
    if (lines.current == 0) {
        words_.push_back(lines_.WordOf(place));
    }
    lines_.Take(place, end);
    path_.Add(place.x, place.y);
}

void PathTracer::Trace(PixelPosition from, Rank end) {
    losingEnds_.clear();
    LinePixels::Place at = lines_.PlaceOf(from);
    unsigned open = lines_.OpenAround(at, end) & ~kPatchCentre;
    std::int32_t count = counts_.back();
    while (true) {
        Take(at, end);
        ++count;
        bool continues = false;
        LinePixels::Place next = at;
        unsigned openAroundNext = 0;
        for (; open != 0; open &= open - 1) {
            const LinePixels::Place near = lines_.PlaceNear(at, __builtin_ctz(open));
            const unsigned openAroundNear = lines_.OpenAround(near, end) & ~kPatchCentre;
            if (IsOneComponent(openAroundNear, near)) {
                if (continues) {
                    waiting_.push_back({next.x, next.y});
                }
                continues = true;
                next = near;
                openAroundNext = openAroundNear;
            }
        }
        if (continues) {
            at = next;
            open = openAroundNext;
            continue;
        }
        counts_.back() = count;
        if (waiting_.empty()) {
            return;
        }
        counts_.push_back(0);
        count = 0;
        at = lines_.PlaceOf(waiting_.back());
        waiting_.pop_back();
        open = lines_.OpenAround(at, end) & ~kPatchCentre;
    }
}

void PathTracer::Complete() {
    for (const std::size_t word : words_) {
        lines_.CompletePath(word);
    }
    words_.clear();
}

}  // namespace level_sweep
