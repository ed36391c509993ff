#include "branches/BranchPaths.h"
#include "branches/NeighbourGroups.h"

namespace level_sweep {
namespace {

// A pixel and the eight around it are bits of a code, rows top to bottom, columns left to right.
constexpr unsigned kCentre = 1u << 4;
constexpr Step StepTo(int i) { return {i % 3 - 1, i / 3 - 1}; }

constexpr std::array<Step, 9> kSteps{StepTo(0), StepTo(1), StepTo(2), StepTo(3), StepTo(4),
                                     StepTo(5), StepTo(6), StepTo(7), StepTo(8)};

constexpr std::array<bool, 512> MakeIsOneGroup() {
    std::array<bool, 512> table{};
    for (unsigned code = 0; code < 512; ++code) {
        table[code] = kNeighbourGroups[(code & 15u) | (code >> 5 << 4)] == 1;
    }
    return table;
}

// Whether what there is around a pixel hangs together, and is not nothing.
constexpr std::array<bool, 512> kIsOneGroup = MakeIsOneGroup();

}  // namespace

inline BranchPaths::Place BranchPaths::PlaceOf(PixelPosition at) {
    return {&lines_[grid_.WordAt(at.x, at.y)], at.x, at.y};
}

inline BranchPaths::Place BranchPaths::PlaceBeside(const Place& place, int step) const {
    const Step& by = kSteps[static_cast<std::size_t>(step)];
    Place beside{place.lines + by.dy, place.x + by.dx, place.y + by.dy};
    if (((beside.x ^ place.x) & 64) != 0) {
        beside.lines = by.dx < 0 ? beside.lines - grid_.ColumnStride() : beside.lines + grid_.ColumnStride();
    }
    return beside;
}

// Which of the pixels around are of a line and there for the trace of an end.
inline unsigned BranchPaths::OpenAround(const Place& around, Rank end) const {
    const Lines* at = around.lines;
    const int bit = around.x & 63;
    if (bit == 0 || bit == 63) {
        return OpenAtSide(around.lines, around.x, around.y, end);
    }
    const auto three = [&](Word words) { return static_cast<unsigned>(words >> (bit - 1) & 7u); };
    const unsigned left = three(at[-1].left) | three(at[0].left) << 3 | three(at[1].left) << 6;
    if (three(at[-1].taken | at[0].taken | at[1].taken) == 0) {
        return left;
    }
    return left | TakenBefore(three(at[-1].taken) | three(at[0].taken) << 3 | three(at[1].taken) << 6, around.x,
                              around.y, end);
}

// The same for a pixel at the side of a word.
unsigned BranchPaths::OpenAtSide(const Lines* lines, int x, int y, Rank end) const {
    const bool isLeft = (x & 63) == 0;
    const auto three = [&](const Lines& at, const Lines& beside, Word Lines::*kind) {
        const Word bits = isLeft ? at.*kind << 1 | beside.*kind >> 63 : at.*kind >> 62 | beside.*kind << 2;
        return static_cast<unsigned>(bits & 7u);
    };
    unsigned left = 0;
    unsigned taken = 0;
    for (int row = 0; row < 3; ++row) {
        const Lines* at = lines + row - 1;
        const Lines* beside = isLeft ? at - grid_.ColumnStride() : at + grid_.ColumnStride();
        left |= three(*at, *beside, &Lines::left) << 3 * row;
        taken |= three(*at, *beside, &Lines::taken) << 3 * row;
    }
    return left | TakenBefore(taken, x, y, end);
}

// Those of the pixels taken around one that an end further up took.
inline unsigned BranchPaths::TakenBefore(unsigned taken, int x, int y, Rank end) const {
    unsigned before = 0;
    for (; taken != 0; taken &= taken - 1) {
        const int i = __builtin_ctz(taken);
        const Step& step = kSteps[static_cast<std::size_t>(i)];
        before |= (owner_[OwnerAt(x + step.dx, y + step.dy)] < end ? 1u : 0u) << i;
    }
    return before;
}

// Which of the pixels around are beyond the picture: they count as there.
unsigned BranchPaths::BeyondAround(int x, int y) const {
    unsigned beyond = 0;
    for (int i = 0; i < 9; ++i) {
        const int besideX = x + kSteps[static_cast<std::size_t>(i)].dx;
        const int besideY = y + kSteps[static_cast<std::size_t>(i)].dy;
        beyond |= (besideX < 0 || besideX >= width_ || besideY < 0 || besideY >= height_ ? 1u : 0u) << i;
    }
    return beyond;
}

// What a trace of an end before this one took is taken from it, and that trace made again later on. No end is taken by
// the trace of another: it would have to come from the end's only neighbour, and then nothing lies ahead.
inline void BranchPaths::Take(const Place& place, Rank end) {
    const Word bit = ColumnGrid::Bit(place.x);
    Lines& lines = *place.lines;
    Rank& owner = owner_[OwnerAt(place.x, place.y)];
    if ((lines.left & bit) == 0) {
        if ((lines.mine & bit) != 0) {
            return;
        }
        Rob(owner);
        lines.taken &= ~bit;
        lines.touched &= ~bit;
    }
    if (lines.mine == 0) {
        taken_.push_back(static_cast<std::size_t>(place.lines - lines_.data()));
    }
    owner = end;
    lines.left &= ~bit;
    lines.mine |= bit;
    path_.Add(place.x, place.y);
}

void BranchPaths::Rob(Rank end) {
    const PixelPosition at = PositionOf(end);
    ends_[grid_.WordAt(at.x, at.y)].robbed |= ColumnGrid::Bit(at.x);
    Touch(at.x, at.y);
}

// From the pixel on that comes after what path_ has.
void BranchPaths::Follow(PixelPosition from, Rank rank) {
    const auto insideX = static_cast<unsigned>(width_ - 2);
    const auto insideY = static_cast<unsigned>(height_ - 2);
    const auto isOneGroup = [&](unsigned open, const Place& around) {
        const bool isInside =
            static_cast<unsigned>(around.x - 1) < insideX && static_cast<unsigned>(around.y - 1) < insideY;
        return kIsOneGroup[isInside ? open : open | BeyondAround(around.x, around.y)];
    };
    Place at = PlaceOf(from);
    unsigned open = OpenAround(at, rank) & ~kCentre;
    std::int32_t count = counts_.back();
    while (true) {
        Take(at, rank);
        ++count;
        bool goesOn = false;
        Place next = at;
        unsigned openAtNext = 0;
        for (; open != 0; open &= open - 1) {
            const Place near = PlaceBeside(at, __builtin_ctz(open));
            const unsigned openThere = OpenAround(near, rank) & ~kCentre;
            // The next pixel of a line has one thing around it: what lies ahead.
            if (isOneGroup(openThere, near)) {
                if (goesOn) {
                    stack_.push_back({next.x, next.y});
                }
                goesOn = true;
                next = near;
                openAtNext = openThere;
            }
        }
        if (goesOn) {
            at = next;
            open = openAtNext;
            continue;
        }
        counts_.back() = count;
        if (stack_.empty()) {
            return;
        }
        counts_.push_back(0);
        count = 0;
        at = PlaceOf(stack_.back());
        stack_.pop_back();
        open = OpenAround(at, rank) & ~kCentre;
    }
}

}  // namespace level_sweep
