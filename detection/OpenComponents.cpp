#include "OpenComponents.h"

#include <algorithm>
#include <string>

#include "ToolkitError.h"

namespace Korvane {
namespace {

// Clockwise from north; even ones share a side with the centre.
constexpr std::array<int, 8> kStepX{0, 1, 1, 1, 0, -1, -1, -1};
constexpr std::array<int, 8> kStepY{-1, -1, 0, 1, 1, 1, 0, -1};

/// What surrounds a pixel: `count` groups of open pixels that share a side with it, and the gap of closed pixels before
/// each, as ring indices. An open corner between two closed sides makes no group: it shares no side with the centre,
/// and the two touch diagonally.
struct Surroundings {
    std::uint8_t count = 0;
    std::array<std::uint8_t, 4> open{};
    std::array<std::uint8_t, 4> gap{};
};

constexpr Surroundings MakeSurroundings(unsigned closed) {
    Surroundings result;
    unsigned start = 0;
    while (start < 7 && (closed >> start & 1u) == 0u) {
        ++start;
    }
    unsigned lastClosed = start;
    bool fresh = true;
    for (unsigned k = 1; k <= 8; ++k) {
        const unsigned i = (start + k) % 8;
        if ((closed >> i & 1u) != 0u) {
            lastClosed = i;
            fresh = true;
        } else if (i % 2 == 0 && fresh) {
            result.open[result.count] = static_cast<std::uint8_t>(i);
            result.gap[result.count] = static_cast<std::uint8_t>(lastClosed);
            ++result.count;
            fresh = false;
        }
    }
    return result;
}

constexpr std::array<Surroundings, 256> MakeSurroundingsTable() {
    std::array<Surroundings, 256> table{};
    for (unsigned closed = 0; closed < 256; ++closed) {
        table[closed] = MakeSurroundings(closed);
    }
    return table;
}

constexpr std::array<Surroundings, 256> kSurroundings = MakeSurroundingsTable();

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

OpenComponents::OpenComponents(const CodePlane& map, PixelCode open, std::int64_t limit)
    : map_(map),
      open_(open),
      limit_(limit),
      grid_(map.width, map.height),
      openPixels_(grid_.Words()),
      reached_(grid_.Words()) {
    const std::int64_t pixels = static_cast<std::int64_t>(map.width) * map.height;
    if (pixels >= INT32_MAX) {
        throw qvox::ToolkitError("Candidate detection: a picture of " + std::to_string(map.width) + " x " +
                                 std::to_string(map.height) + " pixels is too large; at most 2147483646 pixels are");
    }
    beyond_ = static_cast<std::int32_t>(pixels);
    link_.resize(static_cast<std::size_t>(pixels) + 1);
    link_.back() = beyond_;
    for (int y = 0; y < map_.height; ++y) {
        LinkRow(y);
    }
    NumberComponents();
}

std::int32_t OpenComponents::NodeAt(int x, int y) const { return Inside(x, y) ? y * map_.width + x : beyond_; }

std::int32_t OpenComponents::Find(std::int32_t node) {
    std::int32_t* link = link_.data();
    while (link[node] != node) {
        link[node] = link[link[node]];
        node = link[node];
    }
    return node;
}

// The lower offset becomes the root: where all are pixels of one component, that is its first in raster order.
void OpenComponents::Unite(std::int32_t a, std::int32_t b) {
    a = Find(a);
    b = Find(b);
    link_[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
}

void OpenComponents::LinkRow(int y) {
    const PixelCode* row = map_.Row(y);
    for (int x = 0; x < map_.width;) {
        const bool open = row[x] == open_;
        const int x0 = x;
        const std::int32_t root = y * map_.width + x0;
        while (x < map_.width && (row[x] == open_) == open) {
            link_[static_cast<std::size_t>(y * map_.width + x)] = root;
            ++x;
        }
        const PixelRun run{y, x0, x - 1};
        if (open) {
            grid_.ForEachWord(
                run, [&](std::int32_t word, Word bits) { openPixels_[static_cast<std::size_t>(word)] |= bits; });
            if (y > 0) {
                UniteWithRow(run, y - 1, 0);
            }
            continue;
        }
        UniteWithRow(run, y - 1, 1);
        if (y == map_.height - 1 || x0 == 0 || x == map_.width) {
            Unite(root, beyond_);
        }
    }
}

// Unites a run with the pixels of its kind, open or closed, in a row next to it.
void OpenComponents::UniteWithRow(const PixelRun& run, int y, int reach) {
    const std::int32_t root = run.y * map_.width + run.x0;
    if (y < 0 || y >= map_.height) {
        Unite(root, beyond_);
        return;
    }
    const bool open = map_.At(run.x0, run.y) == open_;
    const PixelCode* row = map_.Row(y);
    const int last = std::min(run.x1 + reach, map_.width - 1);
    bool inside = false;
    for (int x = std::max(run.x0 - reach, 0); x <= last; ++x) {
        const bool same = (row[x] == open_) == open;
        if (same && !inside) {
            Unite(root, y * map_.width + x);
        }
        inside = same;
    }
}

std::int32_t OpenComponents::NewNumber() {
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
void OpenComponents::NumberComponents() {
    for (std::int32_t pixel = 0; pixel < beyond_; ++pixel) {
        if (!IsOpen(pixel)) {
            continue;
        }
        std::int32_t& link = link_[static_cast<std::size_t>(pixel)];
        if (link == pixel) {
            link = NewNumber();
            firstPixels_.push_back(pixel);
        } else {
            link = link_[static_cast<std::size_t>(link)];
        }
        ++area_[static_cast<std::size_t>(link)];
    }
}

// Bit 0 for the pixel to the west, bit 1 for the pixel itself, bit 2 for the pixel to the east.
unsigned OpenComponents::OpenFromWestToEast(int x, int y) const {
    if (y < 0 || y >= map_.height) {
        return 0;
    }
    const Word* word = &openPixels_[static_cast<std::size_t>(grid_.WordAt(x, y))];
    const int bit = x & 63;
    Word pixels = bit > 0 ? *word >> (bit - 1) : *word << 1 | (x > 0 ? word[-1] >> 63 : 0);
    if (bit == 63 && x + 1 < map_.width) {
        pixels |= (word[1] & 1u) << 2;
    }
    return static_cast<unsigned>(pixels & 7u);
}

unsigned OpenComponents::ClosedAround(int x, int y) const {
    const unsigned north = OpenFromWestToEast(x, y - 1);
    const unsigned middle = OpenFromWestToEast(x, y);
    const unsigned south = OpenFromWestToEast(x, y + 1);
    const unsigned open = north >> 1 | (middle & 4u) | (south & 4u) << 1 | (south & 2u) << 3 | (south & 1u) << 5 |
                          (middle & 1u) << 6 | (north & 1u) << 7;
    return ~open & 255u;
}

void OpenComponents::Remove(int x, int y) {
    const std::int32_t pixel = y * map_.width + x;
    const unsigned closed = ClosedAround(x, y);
    const Surroundings& around = kSurroundings[closed];
    const std::int32_t number = link_[static_cast<std::size_t>(pixel)];
    openPixels_[static_cast<std::size_t>(grid_.WordAt(x, y))] &= ~BitGrid::Bit(x);
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
            closed == 0 ? pixel : link_[static_cast<std::size_t>(neighbour(around.gap[0]))];
        if (around.count == 0) {
            link_[static_cast<std::size_t>(pixel)] = link_[static_cast<std::size_t>(neighbour(0))];
        }
        return;
    }
    link_[static_cast<std::size_t>(pixel)] = pixel;
    std::array<std::int32_t, 4> gapRoots{};
    for (std::size_t g = 0; g < around.count; ++g) {
        gapRoots[g] = Find(neighbour(around.gap[g]));
    }
    const std::array<int, 4> sideOf = SidesOf(gapRoots, around.count);
    int sides = 0;
    for (std::size_t g = 0; g < around.count; ++g) {
        Unite(pixel, gapRoots[g]);
        if (sideOf[g] == static_cast<int>(g)) {
            const int u = x + kStepX[around.open[g]];
            const WordPart start{grid_.WordAt(u, y + kStepY[around.open[g]]), BitGrid::Bit(u)};
            sides_[static_cast<std::size_t>(sides++)].waiting.assign(1, start);
        }
    }
    if (sides > 1) {
        Separate(sides, number, pixel);
    }
}

// The last side to finish is never walked to its end and keeps the number.
void OpenComponents::Separate(int sides, std::int32_t number, std::int32_t pixel) {
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
        for (const WordPart& part : side.reached) {
            reached_[static_cast<std::size_t>(part.word)] = 0;
        }
        side.reached.clear();
    }
    if (anySmall || IsSmall(number)) {
        lookAt_.push_back(pixel);
    }
}

// Goes on by what hangs together with waiting pixels in their word.
void OpenComponents::Advance(Side& side) {
    const WordPart at = side.waiting.back();
    side.waiting.pop_back();
    const auto free = [&](std::int32_t word) {
        return openPixels_[static_cast<std::size_t>(word)] & ~reached_[static_cast<std::size_t>(word)];
    };
    const Word open = free(at.word);
    Word pixels = at.pixels & open;
    if (pixels == 0) {
        return;
    }
    for (Word before = 0; before != pixels;) {
        before = pixels;
        pixels |= (pixels << 1 | pixels >> 1) & open;
    }
    reached_[static_cast<std::size_t>(at.word)] |= pixels;
    side.reached.push_back({at.word, pixels});
    const auto go = [&](std::int32_t word, Word wanted) {
        if ((wanted & free(word)) != 0) {
            side.waiting.push_back({word, wanted});
        }
    };
    const int wordsPerRow = grid_.WordsPerRow();
    const int y = at.word / wordsPerRow;
    const int column = at.word - y * wordsPerRow;
    if (y > 0) {
        go(at.word - wordsPerRow, pixels);
    }
    if ((pixels & 1u) != 0 && column > 0) {
        go(at.word - 1, Word{1} << 63);
    }
    if ((pixels >> 63) != 0 && column + 1 < wordsPerRow) {
        go(at.word + 1, 1);
    }
    if (y + 1 < map_.height) {
        go(at.word + wordsPerRow, pixels);
    }
}

std::int32_t OpenComponents::NumberSide(const Side& side) {
    const std::int32_t number = NewNumber();
    std::int32_t area = 0;
    for (const WordPart& part : side.reached) {
        const int y = part.word / grid_.WordsPerRow();
        std::int32_t* link =
            &link_[static_cast<std::size_t>(y * map_.width + (part.word - y * grid_.WordsPerRow()) * 64)];
        for (Word left = part.pixels; left != 0; left &= left - 1) {
            link[BitGrid::Lowest(left)] = number;
            ++area;
        }
    }
    area_[static_cast<std::size_t>(number)] = area;
    return number;
}

const std::vector<TakenComponent>& OpenComponents::TakeSmall(PixelCode code) {
    taken_.clear();
    for (const std::int32_t pixel : firstPixels_) {
        TakeIfSmall(pixel, code);
    }
    // The last removed pixel next to a component that is small now found it small.
    for (const std::int32_t pixel : lookAt_) {
        const int x = pixel % map_.width;
        const int y = pixel / map_.width;
        for (unsigned i = 0; i < 8; i += 2) {
            if (Inside(x + kStepX[i], y + kStepY[i])) {
                TakeIfSmall(NodeAt(x + kStepX[i], y + kStepY[i]), code);
            }
        }
    }
    firstPixels_ = {};
    lookAt_.clear();
    std::sort(taken_.begin(), taken_.end(),
              [](const TakenComponent& a, const TakenComponent& b) { return a.first < b.first; });
    return taken_;
}

void OpenComponents::TakeIfSmall(std::int32_t pixel, PixelCode code) {
    if (!IsOpen(pixel)) {
        return;
    }
    const std::int32_t number = link_[static_cast<std::size_t>(pixel)];
    if (!IsSmall(number)) {
        return;
    }
    TakenComponent component{pixel, area_[static_cast<std::size_t>(number)], {}};
    flood_.Fill(map_, pixel % map_.width, pixel / map_.width, code, Connectivity::k4, component.runs);
    for (const PixelRun& run : component.runs) {
        const std::int32_t root = run.y * map_.width + run.x0;
        component.first = std::min(component.first, root);
        std::fill_n(link_.begin() + root, run.x1 - run.x0 + 1, root);
        grid_.ForEachWord(run,
                          [&](std::int32_t word, Word bits) { openPixels_[static_cast<std::size_t>(word)] &= ~bits; });
    }
    for (const PixelRun& run : component.runs) {
        JoinClosed(run);
    }
    unused_.push_back(number);
    taken_.push_back(std::move(component));
}

void OpenComponents::JoinClosed(const PixelRun& run) {
    const std::int32_t root = run.y * map_.width + run.x0;
    Unite(root, NodeAt(run.x0 - 1, run.y));
    Unite(root, NodeAt(run.x1 + 1, run.y));
    UniteWithRow(run, run.y - 1, 1);
    UniteWithRow(run, run.y + 1, 1);
}

}  // namespace Korvane
