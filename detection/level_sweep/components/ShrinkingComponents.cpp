#include "components/ShrinkingComponents.h"

#include <algorithm>
#include <array>
#include <utility>

#include "components/InitialComponents.h"
#include "components/PixelSurroundings.h"

namespace level_sweep {

ShrinkingComponents::ShrinkingComponents(BitPlane open, std::int64_t limit)
    : open_(std::move(open)), limit_(limit), nodes_(open_.Width(), open_.Height()) {
    InitialComponents components = NumberComponents(open_, nodes_);
    area_ = std::move(components.area);
    firstPixels_ = std::move(components.firstPixels);
}

std::int32_t ShrinkingComponents::NewNumber() {
    if (unused_.empty()) {
        area_.push_back(0);
        return static_cast<std::int32_t>(area_.size()) - 1;
    }
    const std::int32_t number = unused_.back();
    unused_.pop_back();
    area_[static_cast<std::size_t>(number)] = 0;
    return number;
}

// Pixels that are removed one after the other lie all over the map, and so do their nodes.
// Inlined by force: a function that only fetches ahead seems to do nothing, and calls of it would be left out.
inline __attribute__((always_inline)) void ShrinkingComponents::Prefetch(const PixelPosition& at) const {
    const int width = open_.Width();
    const std::int32_t* node = nodes_.Address(at.y * width + at.x);
    const PixelSurroundings& around = kSurroundings[open_.Neighbourhood(at.x, at.y)];
    __builtin_prefetch(node, 1);
    if (around.needsRowAbove != 0 && at.y > 0) {
        __builtin_prefetch(node - width, 1);
    }
    if (around.needsRowBelow != 0 && at.y + 1 < open_.Height()) {
        __builtin_prefetch(node + width, 1);
    }
}

void ShrinkingComponents::Remove(const std::vector<PixelPosition>& pixels) {
    constexpr std::size_t ahead = 16;
    for (std::size_t i = 0; i < std::min(ahead, pixels.size()); ++i) {
        Prefetch(pixels[i]);
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        if (i + ahead < pixels.size()) {
            Prefetch(pixels[i + ahead]);
        }
        Remove(pixels[i]);
    }
}

void ShrinkingComponents::Remove(const PixelPosition& at) {
    const std::int32_t pixel = at.y * open_.Width() + at.x;
    const PixelSurroundings& around = kSurroundings[open_.Neighbourhood(at.x, at.y)];
    const std::int32_t number = nodes_[pixel];
    open_.Remove(at.x, at.y);
    if (--area_[static_cast<std::size_t>(number)] == 0) {
        unused_.push_back(number);
    }
    if (IsSmall(number)) {
        toInspect_.push_back(pixel);
    }
    const auto neighbour = [&](unsigned i) { return nodes_.NodeAt(at.x + kRingX[i], at.y + kRingY[i]); };
    if (around.count <= 1) {
        // One gap, or all sides closed: the closed pixels of the ring are connected already.
        nodes_[pixel] = around.anyClosed == 0 ? pixel : nodes_[neighbour(around.gap[0])];
        return;
    }
    std::array<std::int32_t, 4> gapRoots{};
    bool anyEqual = false;
    for (std::size_t g = 0; g < around.count; ++g) {
        gapRoots[g] = nodes_.Root(neighbour(around.gap[g]));
        for (std::size_t h = 0; h < g; ++h) {
            anyEqual = anyEqual || gapRoots[g] == gapRoots[h];
        }
    }
    const std::int32_t root = *std::min_element(gapRoots.begin(), gapRoots.begin() + around.count);
    nodes_[pixel] = root;
    for (std::size_t g = 0; g < around.count; ++g) {
        nodes_[gapRoots[g]] = root;
    }
    if (!anyEqual) {
        return;
    }
    const std::array<int, 4> sideOf = SidesOfGroups(gapRoots, around.count);
    std::size_t sides = 0;
    for (std::size_t g = 0; g < around.count; ++g) {
        if (sideOf[g] == static_cast<int>(g)) {
            search_.Start(sides++, open_, {at.x + kRingX[around.open[g]], at.y + kRingY[around.open[g]]});
        }
    }
    if (sides > 1) {
        Separate(sides, number, pixel);
    }
}

// The side that is not finished keeps the number.
void ShrinkingComponents::Separate(std::size_t sides, std::int32_t number, std::int32_t pixel) {
    search_.FinishAllButOne(sides, open_);
    bool anySmall = false;
    for (std::size_t i = 0; i < sides; ++i) {
        if (search_.At(i).IsFinished()) {
            const std::int32_t own = NumberSide(search_.At(i));
            area_[static_cast<std::size_t>(number)] -= area_[static_cast<std::size_t>(own)];
            anySmall = anySmall || IsSmall(own);
        }
        search_.Restore(i, open_);
    }
    if (anySmall || IsSmall(number)) {
        toInspect_.push_back(pixel);
    }
}

std::int32_t ShrinkingComponents::NumberSide(const LockstepSearch::Side& side) {
    const std::int32_t number = NewNumber();
    std::int32_t area = 0;
    for (const WordPixels<BitGrid>& part : side.reached) {
        const std::int32_t node = NodeOfWord(part.word);
        ForEachRun(part.pixels, [&](int first, int last) {
            nodes_.Fill(node + first, node + last, number);
            area += last - first + 1;
        });
    }
    area_[static_cast<std::size_t>(number)] = area;
    return number;
}

// A component that is small now was found small when its last pixel left: next to that pixel it is looked for.
const std::vector<TakenComponent>& ShrinkingComponents::TakeSmall() {
    taken_.clear();
    for (const std::int32_t pixel : firstPixels_) {
        TakeIfSmall(nodes_.PositionOf(pixel));
    }
    for (const std::int32_t pixel : toInspect_) {
        const PixelPosition at = nodes_.PositionOf(pixel);
        for (unsigned i = 0; i < 8; i += 2) {
            if (nodes_.Contains(at.x + kRingX[i], at.y + kRingY[i])) {
                TakeIfSmall({at.x + kRingX[i], at.y + kRingY[i]});
            }
        }
    }
    firstPixels_ = {};
    toInspect_.clear();
    std::sort(taken_.begin(), taken_.end(),
              [](const TakenComponent& a, const TakenComponent& b) { return a.first < b.first; });
    return taken_;
}

void ShrinkingComponents::TakeIfSmall(PixelPosition at) {
    if (!open_.Has(at.x, at.y)) {
        return;
    }
    const std::int32_t number = nodes_[at.y * open_.Width() + at.x];
    if (!IsSmall(number)) {
        return;
    }
    TakenComponent component{0, area_[static_cast<std::size_t>(number)], search_.Extract(at, open_)};
    const WordPixels<BitGrid>& first = component.parts.front();
    component.first = NodeOfWord(first.word) + LowestBit(first.pixels);
    Close(component);
    area_[static_cast<std::size_t>(number)] = 0;
    unused_.push_back(number);
    taken_.push_back(std::move(component));
}

// The pixels of a component that is no longer open are connected, and with the closed pixels that they touch. One pixel
// of each run of closed ones is joined: those of a hole may stay a tree of their own, since no component that borders on
// the hole borders on anything beyond it.
void ShrinkingComponents::Close(const TakenComponent& component) {
    for (const WordPixels<BitGrid>& part : component.parts) {
        const std::int32_t node = NodeOfWord(part.word);
        ForEachRun(part.pixels,
                   [&](int first, int last) { nodes_.Fill(node + first, node + last, component.first); });
    }
    std::int32_t root = component.first;
    for (const WordPixels<BitGrid>& part : component.parts) {
        root = JoinClosedAround(part, root);
    }
}

// Joins a root with the closed pixels in and around some pixels of a word, and with the outside of the map if they lie
// at its border. Returns the root of all.
std::int32_t ShrinkingComponents::JoinClosedAround(const WordPixels<BitGrid>& part, std::int32_t root) {
    const auto join = [&](std::int32_t node) {
        node = nodes_.Root(node);
        if (node != root) {
            nodes_[std::max(node, root)] = std::min(node, root);
            root = std::min(node, root);
        }
    };
    const auto joinClosedIn = [&](std::int32_t word, std::int32_t start, Word pixels) {
        const Word closed = pixels & ~open_[word];
        for (Word first = closed & ~(closed << 1); first != 0; first &= first - 1) {
            join(start + LowestBit(first));
        }
    };
    const std::int32_t wordsPerRow = open_.Grid().WordsPerRow();
    const int height = open_.Height();
    const auto [column, y] = open_.Grid().PositionOf(part.word);
    const Word last = column == wordsPerRow - 1 ? BitGrid::Bit(open_.Width() - 1) : 0;
    if (y == 0 || y == height - 1 || (part.pixels & last) != 0 || (column == 0 && (part.pixels & 1u) != 0)) {
        join(nodes_.Outside());
    }
    const Word inside = last == 0 ? ~Word{0} : last | (last - 1);
    for (std::int32_t v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
        const std::int32_t word = v * wordsPerRow + column;
        const std::int32_t start = v * open_.Width() + column * 64;
        joinClosedIn(word, start, DilateRow(part.pixels) & inside);
        if ((part.pixels & 1u) != 0 && column > 0) {
            joinClosedIn(word - 1, start - 64, Word{1} << 63);
        }
        if (part.pixels >> 63 != 0 && last == 0) {
            joinClosedIn(word + 1, start + 64, 1);
        }
    }
    return root;
}

}  // namespace level_sweep
