#include "components/ShrinkingComponents.h"

#include <algorithm>
#include <utility>

namespace level_sweep {
namespace {

// Clockwise from north; even ones share a side with the centre.
constexpr std::array<int, 8> kStepX{0, 1, 1, 1, 0, -1, -1, -1};
constexpr std::array<int, 8> kStepY{-1, -1, 0, 1, 1, 1, 0, -1};

/// What surrounds a pixel: `count` groups of open pixels that share a side with it, and of the gap of closed pixels
/// before each one pixel, as ring indices. An open corner between two closed sides makes no group: it shares no side
/// with the centre, and the two touch diagonally.
struct Surroundings {
    std::uint8_t count = 0;
    std::uint8_t anyClosed = 0;
    std::uint8_t asksAbove = 0;  // the pixel of a gap is in the row above
    std::uint8_t asksBelow = 0;
    std::array<std::uint8_t, 4> open{};
    std::array<std::uint8_t, 4> gap{};
};

// What is known of pixels in the same row is near to each other.
constexpr unsigned Nearer(unsigned a, unsigned b) { return b == 2 || b == 6 ? b : a; }

constexpr Surroundings MakeSurroundings(unsigned closed) {
    Surroundings result;
    result.anyClosed = closed != 0u ? 1 : 0;
    unsigned start = 0;
    while (start < 7 && (closed >> start & 1u) == 0u) {
        ++start;
    }
    unsigned closedOne = start;
    bool fresh = true;
    for (unsigned k = 1; k <= 8; ++k) {
        const unsigned i = (start + k) % 8;
        if ((closed >> i & 1u) != 0u) {
            closedOne = fresh ? Nearer(closedOne, i) : i;
            fresh = true;
        } else if (i % 2 == 0 && fresh) {
            result.open[result.count] = static_cast<std::uint8_t>(i);
            result.gap[result.count] = static_cast<std::uint8_t>(closedOne);
            ++result.count;
            fresh = false;
        }
    }
    // The last gap is the first as well; without a group all sides are closed.
    result.gap[0] = static_cast<std::uint8_t>(result.count == 0 ? closedOne : Nearer(result.gap[0], closedOne));
    for (unsigned g = 0; g == 0 || g < result.count; ++g) {
        const unsigned gap = result.gap[g];
        result.asksAbove |= result.anyClosed != 0 && (gap == 7 || gap <= 1) ? 1 : 0;
        result.asksBelow |= result.anyClosed != 0 && gap >= 3 && gap <= 5 ? 1 : 0;
    }
    return result;
}

/// By the open pixels among the nine, row by row from west to east, the first in bit 0.
constexpr std::array<Surroundings, 512> MakeSurroundingsTable() {
    constexpr std::array<unsigned, 8> bitOf{1, 2, 5, 8, 7, 6, 3, 0};  // clockwise from north
    std::array<Surroundings, 512> table{};
    for (unsigned open = 0; open < 512; ++open) {
        unsigned closed = 0;
        for (unsigned i = 0; i < 8; ++i) {
            closed |= (~open >> bitOf[i] & 1u) << i;
        }
        table[open] = MakeSurroundings(closed);
    }
    return table;
}

constexpr std::array<Surroundings, 512> kSurroundings = MakeSurroundingsTable();

/// Gaps g and h cut the groups apart when their closed pixels hang together: on the way around the centre, the groups
/// g .. h-1 lie on one side, the others on the other. Gives each group the index of the first group on its side.
std::array<int, 4> SidesOf(const std::array<std::int32_t, 4>& gapRoots, int count) {
    std::array<int, 4> sideOf{0, 1, 2, 3};
    for (int j = 1; j < count; ++j) {
        for (int i = 0; i < j && sideOf[static_cast<std::size_t>(j)] == j; ++i) {
            bool apart = false;
            for (int g = 0; g < count; ++g) {
                for (int h = g + 1; h < count; ++h) {
                    const bool iWithin = i >= g && i < h;
                    const bool jWithin = j >= g && j < h;
                    apart = apart || (iWithin != jWithin &&
                                      gapRoots[static_cast<std::size_t>(g)] == gapRoots[static_cast<std::size_t>(h)]);
                }
            }
            if (!apart) {
                sideOf[static_cast<std::size_t>(j)] = i;
            }
        }
    }
    return sideOf;
}

}  // namespace

ShrinkingComponents::ShrinkingComponents(BitPlane open, std::int64_t limit)
    : open_(std::move(open)),
      grid_(open_.Grid()),
      width_(open_.Width()),
      height_(open_.Height()),
      limit_(limit),
      beyond_(width_ * height_),
      link_(qvox::MakeLargePageArray<std::int32_t>(static_cast<std::size_t>(beyond_) + 1)) {
    link_[static_cast<std::size_t>(beyond_)] = beyond_;
    for (int y = 0; y < height_; ++y) {
        LinkRow(y);
    }
    NumberComponents();
}

std::int32_t ShrinkingComponents::Find(std::int32_t node) {
    std::int32_t* link = link_.get();
    while (link[node] != node) {
        link[node] = link[link[node]];
        node = link[node];
    }
    return node;
}

// The lower offset becomes the root: where all are pixels of one component, that is its first in raster order.
void ShrinkingComponents::Unite(std::int32_t a, std::int32_t b) {
    a = Find(a);
    b = Find(b);
    link_[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
}

void ShrinkingComponents::LinkRow(int y) {
    const std::int32_t rowStart = y * width_;
    for (int x = 0; x < width_;) {
        const bool isOpen = open_.Has(x, y);
        const PixelRun run{y, x, EndOfRun(x, y) - 1};
        x = run.x1 + 1;
        std::fill(link_.get() + rowStart + run.x0, link_.get() + rowStart + x, rowStart + run.x0);
        if (isOpen) {
            if (y > 0) {
                UniteWithRun(rowStart + run.x0, {y - 1, run.x0, run.x1},
                             [&](std::int32_t word) { return open_[word]; });
            }
            continue;
        }
        UniteWithClosed(run, y - 1);
        if (y == height_ - 1 || run.x0 == 0 || x == width_) {
            Unite(rowStart + run.x0, beyond_);
        }
    }
}

// The column after a stretch of pixels that are all open or all closed.
int ShrinkingComponents::EndOfRun(int x, int y) const {
    const Word flip = open_.Has(x, y) ? ~Word{0} : 0;
    Word others = (open_[grid_.WordAt(x, y)] ^ flip) & ~Word{0} << (x & 63);
    for (x &= ~63; others == 0 && x + 64 < width_;) {
        x += 64;
        others = open_[grid_.WordAt(x, y)] ^ flip;
    }
    return others == 0 ? width_ : std::min(x + BitGrid::LowestBit(others), width_);
}

// Unites a closed run with the closed pixels that it touches in a row next to it.
void ShrinkingComponents::UniteWithClosed(const PixelRun& run, int y) {
    if (y < 0 || y >= height_) {
        Unite(run.y * width_ + run.x0, beyond_);
        return;
    }
    const PixelRun wider{y, std::max(run.x0 - 1, 0), std::min(run.x1 + 1, width_ - 1)};
    UniteWithRun(run.y * width_ + run.x0, wider, [&](std::int32_t word) { return ~open_[word]; });
}

// Unites a node with the pixels of a run; pixelsOf(word) tells which of a word.
template <typename PixelsOf>
void ShrinkingComponents::UniteWithRun(std::int32_t node, const PixelRun& run, PixelsOf pixelsOf) {
    Word before = 0;
    grid_.ForEachWord(run, [&](std::int32_t word, Word bits) {
        const Word pixels = pixelsOf(word) & bits;
        const std::int32_t start = run.y * width_ + (word - grid_.WordAt(0, run.y)) * 64;
        for (Word first = pixels & ~(pixels << 1 | before >> 63); first != 0; first &= first - 1) {
            Unite(node, start + BitGrid::LowestBit(first));
        }
        before = pixels;
    });
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

// In raster order a component's root comes first: what links to it finds its number already there.
void ShrinkingComponents::NumberComponents() {
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_;) {
            const int end = EndOfRun(x, y);
            if (open_.Has(x, y)) {
                const std::int32_t first = y * width_ + x;
                const std::int32_t root = link_[static_cast<std::size_t>(first)];
                const std::int32_t number = root == first ? NewNumber() : link_[static_cast<std::size_t>(root)];
                if (root == first) {
                    firstPixels_.push_back(first);
                }
                std::fill_n(link_.get() + first, end - x, number);
                area_[static_cast<std::size_t>(number)] += end - x;
            }
            x = end;
        }
    }
}

// Pixels that are removed one after the other lie all over the picture, and so does what is known of them.
// Inlined by force: as a function it would seem to do nothing, and calls of it be left out.
inline __attribute__((always_inline)) void ShrinkingComponents::FetchAhead(const PixelPosition& at) const {
    const std::int32_t* link = &link_[static_cast<std::size_t>(at.y * width_ + at.x)];
    const Surroundings& around = kSurroundings[open_.Neighbourhood(at.x, at.y)];
    __builtin_prefetch(link, 1);
    if (around.asksAbove != 0 && at.y > 0) {
        __builtin_prefetch(link - width_, 1);
    }
    if (around.asksBelow != 0 && at.y + 1 < height_) {
        __builtin_prefetch(link + width_, 1);
    }
}

void ShrinkingComponents::Remove(const std::vector<PixelPosition>& pixels) {
    constexpr std::size_t ahead = 16;
    for (std::size_t i = 0; i < std::min(ahead, pixels.size()); ++i) {
        FetchAhead(pixels[i]);
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        if (i + ahead < pixels.size()) {
            FetchAhead(pixels[i + ahead]);
        }
        Remove(pixels[i]);
    }
}

void ShrinkingComponents::Remove(const PixelPosition& at) {
    const int x = at.x;
    const int y = at.y;
    const std::int32_t pixel = y * width_ + x;
    const Surroundings& around = kSurroundings[open_.Neighbourhood(x, y)];
    const std::int32_t number = link_[static_cast<std::size_t>(pixel)];
    open_.Remove(x, y);
    if (--area_[static_cast<std::size_t>(number)] == 0) {
        unused_.push_back(number);
    }
    if (IsSmall(number)) {
        lookAt_.push_back(pixel);
    }
    const auto neighbour = [&](unsigned i) { return NodeAt(x + kStepX[i], y + kStepY[i]); };
    if (around.count <= 1) {
        // One gap, or sides that are all closed: what is closed around the pixel hangs together already.
        link_[static_cast<std::size_t>(pixel)] =
            around.anyClosed == 0 ? pixel : link_[static_cast<std::size_t>(neighbour(around.gap[0]))];
        return;
    }
    std::array<std::int32_t, 4> gapRoots{};
    bool anyEqual = false;
    for (std::size_t g = 0; g < around.count; ++g) {
        gapRoots[g] = Find(neighbour(around.gap[g]));
        for (std::size_t h = 0; h < g; ++h) {
            anyEqual = anyEqual || gapRoots[g] == gapRoots[h];
        }
    }
    const std::int32_t root = *std::min_element(gapRoots.begin(), gapRoots.begin() + around.count);
    link_[static_cast<std::size_t>(pixel)] = root;
    for (std::size_t g = 0; g < around.count; ++g) {
        link_[static_cast<std::size_t>(gapRoots[g])] = root;
    }
    if (!anyEqual) {
        return;
    }
    const std::array<int, 4> sideOf = SidesOf(gapRoots, around.count);
    int sides = 0;
    for (std::size_t g = 0; g < around.count; ++g) {
        if (sideOf[g] == static_cast<int>(g)) {
            const int u = x + kStepX[around.open[g]];
            const WordPixels<BitGrid> start{grid_.WordAt(u, y + kStepY[around.open[g]]), BitGrid::Bit(u)};
            sides_[static_cast<std::size_t>(sides++)].waiting.assign(1, start);
        }
    }
    if (sides > 1) {
        Separate(sides, number, pixel);
    }
}

// The last side to finish is never walked to its end and keeps the number.
void ShrinkingComponents::Separate(int sides, std::int32_t number, std::int32_t pixel) {
    for (int left = sides; left > 1;) {
        for (int i = 0; i < sides && left > 1; ++i) {
            Side& side = sides_[static_cast<std::size_t>(i)];
            if (!side.Finished()) {
                Advance(side);
                left -= side.Finished() ? 1 : 0;
            }
        }
    }
    bool anySmall = false;
    for (int i = 0; i < sides; ++i) {
        Side& side = sides_[static_cast<std::size_t>(i)];
        if (side.Finished()) {
            const std::int32_t own = NumberSide(side);
            area_[static_cast<std::size_t>(number)] -= area_[static_cast<std::size_t>(own)];
            anySmall = anySmall || IsSmall(own);
        }
        for (const WordPixels<BitGrid>& part : side.reached) {
            open_[part.word] |= part.pixels;
        }
        side.reached.clear();
    }
    if (anySmall || IsSmall(number)) {
        lookAt_.push_back(pixel);
    }
}

// Goes on by what hangs together with waiting pixels in their word. What is reached is taken out of the open pixels, so
// that one look tells what is still to be reached.
void ShrinkingComponents::Advance(Side& side) {
    const WordPixels<BitGrid> at = side.waiting.back();
    side.waiting.pop_back();
    const Word pixels = RunsContaining(at.pixels, open_[at.word]);
    if (pixels == 0) {
        return;
    }
    open_[at.word] &= ~pixels;
    side.reached.push_back({at.word, pixels});
    const auto go = [&](std::int32_t word, Word wanted) {
        if ((wanted & open_[word]) != 0) {
            side.waiting.push_back({word, wanted});
        }
    };
    const int wordsPerRow = grid_.WordsPerRow();
    go(at.word - wordsPerRow, pixels);
    if ((pixels & 1u) != 0 && at.word % wordsPerRow > 0) {
        go(at.word - 1, Word{1} << 63);
    }
    if ((pixels >> 63) != 0 && (at.word + 1) % wordsPerRow > 0) {
        go(at.word + 1, 1);
    }
    go(at.word + wordsPerRow, pixels);
}

std::int32_t ShrinkingComponents::NumberSide(const Side& side) {
    const std::int32_t number = NewNumber();
    std::int32_t area = 0;
    for (const WordPixels<BitGrid>& part : side.reached) {
        std::int32_t* link = &link_[static_cast<std::size_t>(NodeOfWord(part.word))];
        ForEachRun(part.pixels, [&](int first, int last) {
            std::fill(link + first, link + last + 1, number);
            area += last - first + 1;
        });
    }
    area_[static_cast<std::size_t>(number)] = area;
    return number;
}

const std::vector<TakenComponent>& ShrinkingComponents::TakeSmall() {
    taken_.clear();
    for (const std::int32_t pixel : firstPixels_) {
        TakeIfSmall(pixel % width_, pixel / width_);
    }
    // The last removed pixel next to a component that is small now found it small.
    for (const std::int32_t pixel : lookAt_) {
        const int x = pixel % width_;
        const int y = pixel / width_;
        for (unsigned i = 0; i < 8; i += 2) {
            if (Inside(x + kStepX[i], y + kStepY[i])) {
                TakeIfSmall(x + kStepX[i], y + kStepY[i]);
            }
        }
    }
    firstPixels_ = {};
    lookAt_.clear();
    std::sort(taken_.begin(), taken_.end(),
              [](const TakenComponent& a, const TakenComponent& b) { return a.first < b.first; });
    return taken_;
}

void ShrinkingComponents::TakeIfSmall(int x, int y) {
    if (!open_.Has(x, y)) {
        return;
    }
    const std::int32_t number = link_[static_cast<std::size_t>(y * width_ + x)];
    if (!IsSmall(number)) {
        return;
    }
    TakenComponent component{0, area_[static_cast<std::size_t>(number)], {}};
    FloodFrom(x, y, component.parts);
    const WordPixels<BitGrid>& first = component.parts.front();
    component.first = NodeOfWord(first.word) + BitGrid::LowestBit(first.pixels);
    Close(component);
    unused_.push_back(number);
    taken_.push_back(std::move(component));
}

// Takes the component of a pixel out of the open ones and puts it into raster order.
void ShrinkingComponents::FloodFrom(int x, int y, std::vector<WordPixels<BitGrid>>& parts) {
    Side& side = sides_[0];
    side.waiting.assign(1, {grid_.WordAt(x, y), BitGrid::Bit(x)});
    while (!side.Finished()) {
        Advance(side);
    }
    std::sort(side.reached.begin(), side.reached.end(),
              [](const WordPixels<BitGrid>& a, const WordPixels<BitGrid>& b) { return a.word < b.word; });
    // A word may have been reached more than once.
    for (const WordPixels<BitGrid>& part : side.reached) {
        if (parts.empty() || parts.back().word != part.word) {
            parts.push_back(part);
        } else {
            parts.back().pixels |= part.pixels;
        }
    }
    side.reached.clear();
}

// The pixels of a component that is not open any more hang together, and with each closed pixel that they touch.
void ShrinkingComponents::Close(const TakenComponent& component) {
    for (const WordPixels<BitGrid>& part : component.parts) {
        std::int32_t* link = &link_[static_cast<std::size_t>(NodeOfWord(part.word))];
        ForEachRun(part.pixels,
                   [&](int first, int last) { std::fill(link + first, link + last + 1, component.first); });
    }
    std::int32_t root = component.first;
    const auto join = [&](std::int32_t node) {
        node = Find(node);
        if (node != root) {
            link_[static_cast<std::size_t>(std::max(node, root))] = std::min(node, root);
            root = std::min(node, root);
        }
    };
    const std::int32_t wordsPerRow = grid_.WordsPerRow();
    const auto joinClosedIn = [&](std::int32_t word, std::int32_t start, Word pixels) {
        const Word closed = pixels & ~open_[word];
        for (Word first = closed & ~(closed << 1); first != 0; first &= first - 1) {
            join(start + BitGrid::LowestBit(first));
        }
    };
    for (const WordPixels<BitGrid>& part : component.parts) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        const Word last = column == wordsPerRow - 1 ? BitGrid::Bit(width_ - 1) : 0;
        if (y == 0 || y == height_ - 1 || (part.pixels & last) != 0 || (column == 0 && (part.pixels & 1u) != 0)) {
            join(beyond_);
        }
        const Word beside = last == 0 ? ~Word{0} : last | (last - 1);
        for (std::int32_t v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
            const std::int32_t word = v * wordsPerRow + column;
            const std::int32_t start = v * width_ + column * 64;
            joinClosedIn(word, start, (part.pixels | part.pixels << 1 | part.pixels >> 1) & beside);
            if ((part.pixels & 1u) != 0 && column > 0) {
                joinClosedIn(word - 1, start - 64, Word{1} << 63);
            }
            if (part.pixels >> 63 != 0 && last == 0) {
                joinClosedIn(word + 1, start + 64, 1);
            }
        }
    }
}

}  // namespace level_sweep
