#include "BranchTraces.h"
#include "NeighbourGroups.h"

namespace Korvane {
namespace {

// A pixel and the eight around it are bits of a code, rows top to bottom, columns left to right.
constexpr unsigned kCentre = 1u << 4;
constexpr Step StepTo(int i) { return {i % 3 - 1, i / 3 - 1}; }

constexpr std::array<Step, 9> kSteps{StepTo(0), StepTo(1), StepTo(2), StepTo(3), StepTo(4),
                                     StepTo(5), StepTo(6), StepTo(7), StepTo(8)};

PixelPosition Beside(PixelPosition at, int step) {
    const Step& by = kSteps[static_cast<std::size_t>(step)];
    return {at.x + by.dx, at.y + by.dy};
}

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

// Which of the pixels around are of a line and there for the trace of an end.
inline unsigned BranchTraces::OpenAround(PixelPosition around, Rank end) const {
    const int bit = around.x & 63;
    if (bit == 0 || bit == 63) {
        return OpenAtSide(around, end);
    }
    const Lines* at = &lines_[grid_.WordAt(around.x, around.y)];
    const auto three = [&](Word words) { return static_cast<unsigned>(words >> (bit - 1) & 7u); };
    const unsigned left = three(at[-1].left) | three(at[0].left) << 3 | three(at[1].left) << 6;
    if (three(at[-1].taken | at[0].taken | at[1].taken) == 0) {
        return left;
    }
    return left | TakenBefore(three(at[-1].taken) | three(at[0].taken) << 3 | three(at[1].taken) << 6, around, end);
}

// The same for a pixel at the side of a word.
unsigned BranchTraces::OpenAtSide(PixelPosition around, Rank end) const {
    const bool isLeft = (around.x & 63) == 0;
    const auto three = [&](const Lines& at, const Lines& beside, Word Lines::*kind) {
        const Word bits = isLeft ? at.*kind << 1 | beside.*kind >> 63 : at.*kind >> 62 | beside.*kind << 2;
        return static_cast<unsigned>(bits & 7u);
    };
    unsigned left = 0;
    unsigned taken = 0;
    for (int row = 0; row < 3; ++row) {
        const Lines* at = &lines_[grid_.WordAt(around.x, around.y)] + row - 1;
        const Lines* beside = isLeft ? at - grid_.Strip() : at + grid_.Strip();
        left |= three(*at, *beside, &Lines::left) << 3 * row;
        taken |= three(*at, *beside, &Lines::taken) << 3 * row;
    }
    return left | TakenBefore(taken, around, end);
}

// Those of the pixels taken around one that an end further up took.
inline unsigned BranchTraces::TakenBefore(unsigned taken, PixelPosition around, Rank end) const {
    unsigned before = 0;
    for (; taken != 0; taken &= taken - 1) {
        const int i = __builtin_ctz(taken);
        const PixelPosition at = Beside(around, i);
        before |= (owner_[OwnerAt(at.x, at.y)] < end ? 1u : 0u) << i;
    }
    return before;
}

// Which of the pixels around are beyond the picture: they count as there.
inline unsigned BranchTraces::BeyondAround(PixelPosition around) const {
    if (around.x > 0 && around.x + 1 < width_ && around.y > 0 && around.y + 1 < height_) {
        return 0;
    }
    unsigned beyond = 0;
    for (int i = 0; i < 9; ++i) {
        const PixelPosition at = Beside(around, i);
        beyond |= (at.x < 0 || at.x >= width_ || at.y < 0 || at.y >= height_ ? 1u : 0u) << i;
    }
    return beyond;
}

// What a trace of an end before this one took is taken from it, and that trace made again later on. No end is taken by
// the trace of another: it would have to come from the end's only neighbour, and then nothing lies ahead.
inline bool BranchTraces::Take(PixelPosition at, Rank end) {
    const Word bit = StripGrid::Bit(at.x);
    const std::size_t word = grid_.WordAt(at.x, at.y);
    Lines& lines = lines_[word];
    Rank& owner = owner_[OwnerAt(at.x, at.y)];
    if ((lines.left & bit) == 0) {
        if ((lines.mine & bit) != 0) {
            return false;
        }
        Rob(owner);
        lines.taken &= ~bit;
        lines.touched &= ~bit;
    }
    if (lines.mine == 0) {
        taken_.push_back(word);
    }
    owner = end;
    lines.left &= ~bit;
    lines.mine |= bit;
    return true;
}

void BranchTraces::Rob(Rank end) {
    const PixelPosition at = PositionOf(end);
    ends_[grid_.WordAt(at.x, at.y)].robbed |= StripGrid::Bit(at.x);
    Touch(at.x, at.y);
}

// From the pixel on that comes after what path_ has.
void BranchTraces::Follow(PixelPosition from, Rank rank) {
    PixelPosition at = from;
    unsigned open = OpenAround(at, rank) & ~kCentre;
    while (true) {
        if (Take(at, rank)) {
            path_.Add(at.x, at.y);
        }
        ++counts_.back();
        int step = -1;
        unsigned openAtNext = 0;
        for (; open != 0; open &= open - 1) {
            const int look = __builtin_ctz(open);
            const PixelPosition near = Beside(at, look);
            const unsigned openThere = OpenAround(near, rank) & ~kCentre;
            // The next pixel of a line has one thing around it: what lies ahead.
            if (kIsOneGroup[openThere | BeyondAround(near)]) {
                if (step >= 0) {
                    stack_.push_back(Beside(at, step));
                }
                step = look;
                openAtNext = openThere;
            }
        }
        if (step >= 0) {
            at = Beside(at, step);
            open = openAtNext;
            continue;
        }
        if (stack_.empty()) {
            return;
        }
        counts_.push_back(0);
        at = stack_.back();
        stack_.pop_back();
        open = OpenAround(at, rank) & ~kCentre;
    }
}

}  // namespace Korvane
