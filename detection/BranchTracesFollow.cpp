#include "BranchTraces.h"
#include "NeighbourGroups.h"

namespace Korvane {
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

inline BranchTraces::Place BranchTraces::PlaceOf(PixelPosition at) {
    return {&lines_[grid_.WordAt(at.x, at.y)], at.x & 63, at.x, at.y};
}

inline BranchTraces::Place BranchTraces::PlaceBeside(const Place& place, int step) const {
    const Step& by = kSteps[static_cast<std::size_t>(step)];
    Place beside{place.lines + by.dy, place.bit + by.dx, place.x + by.dx, place.y + by.dy};
    if ((beside.bit & ~63) != 0) {
        beside.lines = beside.bit < 0 ? beside.lines - grid_.Strip() : beside.lines + grid_.Strip();
        beside.bit &= 63;
    }
    return beside;
}

// Which of the pixels around are of a line and there for the trace of an end.
inline unsigned BranchTraces::OpenAround(const Place& place, Rank end) const {
    const Lines* at = place.lines;
    const int bit = place.bit;
    if (bit == 0 || bit == 63) {
        return OpenAtSide(place, end);
    }
    const auto three = [&](Word words) { return static_cast<unsigned>(words >> (bit - 1) & 7u); };
    const unsigned left = three(at[-1].left) | three(at[0].left) << 3 | three(at[1].left) << 6;
    if (three(at[-1].taken | at[0].taken | at[1].taken) == 0) {
        return left;
    }
    return left | TakenBefore(three(at[-1].taken) | three(at[0].taken) << 3 | three(at[1].taken) << 6, place, end);
}

// The same for a pixel at the side of a word.
unsigned BranchTraces::OpenAtSide(const Place& place, Rank end) const {
    const bool isLeft = place.bit == 0;
    const auto three = [&](const Lines& at, const Lines& beside, Word Lines::*kind) {
        const Word bits = isLeft ? at.*kind << 1 | beside.*kind >> 63 : at.*kind >> 62 | beside.*kind << 2;
        return static_cast<unsigned>(bits & 7u);
    };
    unsigned left = 0;
    unsigned taken = 0;
    for (int row = 0; row < 3; ++row) {
        const Lines* at = place.lines + row - 1;
        const Lines* beside = isLeft ? at - grid_.Strip() : at + grid_.Strip();
        left |= three(*at, *beside, &Lines::left) << 3 * row;
        taken |= three(*at, *beside, &Lines::taken) << 3 * row;
    }
    return left | TakenBefore(taken, place, end);
}

// Those of the pixels taken around one that an end further up took.
inline unsigned BranchTraces::TakenBefore(unsigned taken, const Place& around, Rank end) const {
    unsigned before = 0;
    for (; taken != 0; taken &= taken - 1) {
        const int i = __builtin_ctz(taken);
        const Step& step = kSteps[static_cast<std::size_t>(i)];
        before |= (owner_[OwnerAt(around.x + step.dx, around.y + step.dy)] < end ? 1u : 0u) << i;
    }
    return before;
}

// Which of the pixels around are beyond the picture: they count as there.
unsigned BranchTraces::BeyondAround(int aroundX, int aroundY) const {
    unsigned beyond = 0;
    for (int i = 0; i < 9; ++i) {
        const int x = aroundX + kSteps[static_cast<std::size_t>(i)].dx;
        const int y = aroundY + kSteps[static_cast<std::size_t>(i)].dy;
        beyond |= (x < 0 || x >= width_ || y < 0 || y >= height_ ? 1u : 0u) << i;
    }
    return beyond;
}

// What a trace of an end before this one took is taken from it, and that trace made again later on. No end is taken by
// the trace of another: it would have to come from the end's only neighbour, and then nothing lies ahead.
inline void BranchTraces::Take(const Place& place, Rank end) {
    const Word bit = Word{1} << place.bit;
    Lines& lines = *place.lines;
    Rank& owner = owner_[OwnerAt(place.x, place.y)];
    const auto word = static_cast<std::size_t>(place.lines - lines_.data());
    Word before = word - before_.first < kNotedRows ? before_.pixels[word - before_.first] & bit : 0;
    if ((lines.left & bit) == 0) {
        if ((lines.mine & bit) != 0) {
            return;
        }
        before = 0;
        Rob(owner);
        lines.taken &= ~bit;
    }
    if (taken_.empty() || taken_.back().word != word) {
        taken_.emplace_back().word = word;
    }
    taken_.back().pixels |= bit ^ before;
    owner = end;
    lines.left &= ~bit;
    lines.mine |= bit;
    path_.Add(place.x, place.y);
}

void BranchTraces::Rob(Rank end) {
    const PixelPosition at = PositionOf(end);
    ends_[grid_.WordAt(at.x, at.y)].robbed |= StripGrid::Bit(at.x);
    Touch(at.x, at.y);
}

void BranchTraces::Follow(PixelPosition end, Rank rank) {
    path_.Begin(end);
    counts_.assign(1, 0);
    Place at = PlaceOf(end);
    unsigned open = OpenAround(at, rank) & ~kCentre;
    while (true) {
        Take(at, rank);
        ++counts_.back();
        int step = -1;
        unsigned openAtNext = 0;
        for (; open != 0; open &= open - 1) {
            const int look = __builtin_ctz(open);
            const Place near = PlaceBeside(at, look);
            const unsigned openThere = OpenAround(near, rank) & ~kCentre;
            const unsigned beyond = IsAtBorder(near.x, near.y) ? BeyondAround(near.x, near.y) : 0;
            // The next pixel of a line has one thing around it: what lies ahead.
            if (kIsOneGroup[openThere | beyond]) {
                if (step >= 0) {
                    const Place other = PlaceBeside(at, step);
                    stack_.push_back({other.x, other.y});
                }
                step = look;
                openAtNext = openThere;
            }
        }
        if (step >= 0) {
            at = PlaceBeside(at, step);
            open = openAtNext;
            continue;
        }
        if (stack_.empty()) {
            return;
        }
        counts_.push_back(0);
        at = PlaceOf(stack_.back());
        stack_.pop_back();
        open = OpenAround(at, rank) & ~kCentre;
    }
}

}  // namespace Korvane
