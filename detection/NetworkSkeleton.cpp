#include "NetworkSkeleton.h"

#include <algorithm>

namespace Korvane {

// The conditions of ThinningRemoval.h, a bit per pixel; p2 .. p9 clockwise from north.
BitGrid::Word ThinningStep::Left(const WordNeighbourhood& around, int step) {
    using Word = BitGrid::Word;
    const Word p2 = around.north, p3 = around.northEast, p4 = around.east, p5 = around.southEast;
    const Word p6 = around.south, p7 = around.southWest, p8 = around.west, p9 = around.northWest;
    const Word c34 = p3 | p4, c56 = p5 | p6, c78 = p7 | p8, c92 = p9 | p2;
    const Word from2 = ~p2 & c34, from4 = ~p4 & c56, from6 = ~p6 & c78, from8 = ~p8 & c92;
    const Word oneCrossing = ((from2 ^ from4) & ~(from6 | from8)) | ((from6 ^ from8) & ~(from2 | from4));
    const Word c23 = p2 | p3, c45 = p4 | p5, c67 = p6 | p7, c89 = p8 | p9;
    const Word twoOfFirst = (c92 & c34) | (c56 & c78) | ((c92 | c34) & (c56 | c78));
    const Word twoOfSecond = (c23 & c45) | (c67 & c89) | ((c23 | c45) & (c67 | c89));
    const Word fourOfBoth = c92 & c34 & c56 & c78 & c23 & c45 & c67 & c89;
    const Word kept = step % 2 != 0 ? (p6 | p7 | ~p9) & p8 : (p2 | p3 | ~p5) & p4;
    return around.centre & ~(oneCrossing & twoOfFirst & twoOfSecond & ~fourOfBoth & ~kept);
}

NetworkSkeleton::NetworkSkeleton(int width, int height)
    : width_(width),
      height_(height),
      stride_(width + 2),
      set_(width, height),
      codes_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height + 2)),
      isEnd_(set_.Grid().Words()),
      isNoted_(set_.Grid().Words()) {
    std::fill_n(&codes_[Index(-1, -1)], stride_, kBeyond);
    std::fill_n(&codes_[Index(-1, height)], stride_, kBeyond);
    for (int y = 0; y < height; ++y) {
        codes_[Index(-1, y)] = kBeyond;
        codes_[Index(width, y)] = kBeyond;
    }
}

void NetworkSkeleton::Update() {
    lineChanges_.clear();
    endChanges_.clear();
    set_.Update([&](std::int32_t word, BitGrid::Word leftBefore, int) {
        const BitGrid::Word changed = leftBefore ^ set_.Left(word);
        if (changed != 0) {
            LinesChanged(word, changed);
        }
    });
    for (const std::int32_t word : lookForEnds_) {
        LookForEnds(word);
    }
    lookForEnds_.clear();
}

void NetworkSkeleton::LinesChanged(std::int32_t word, BitGrid::Word changed) {
    const int wordsPerRow = set_.Grid().WordsPerRow();
    const int y = word / wordsPerRow;
    const int column = word - y * wordsPerRow;
    const BitGrid::Word lines = set_.Left(word);
    const std::size_t index = Index(column * 64, y);
    for (BitGrid::Word left = changed; left != 0; left &= left - 1) {
        const auto bit = static_cast<std::size_t>(BitGrid::Lowest(left));
        codes_[index + bit] = (lines >> bit & 1u) != 0 ? Code{kLine} : Code{0};
        lineChanges_.push_back(static_cast<std::int32_t>(index + bit));
    }
    const int first = (changed & 1u) != 0 ? std::max(column - 1, 0) : column;
    const int last = (changed >> 63) != 0 ? std::min(column + 1, wordsPerRow - 1) : column;
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v) {
        for (int near = v * wordsPerRow + first; near <= v * wordsPerRow + last; ++near) {
            std::uint8_t& isNoted = isNoted_[static_cast<std::size_t>(near)];
            if (isNoted == 0) {
                isNoted = 1;
                lookForEnds_.push_back(near);
            }
        }
    }
}

void NetworkSkeleton::LookForEnds(std::int32_t word) {
    isNoted_[static_cast<std::size_t>(word)] = 0;
    const int y = word / set_.Grid().WordsPerRow();
    const int column = word - y * set_.Grid().WordsPerRow();
    const BitGrid::Word now = LineEnds(column, y);
    BitGrid::Word changed = now ^ isEnd_[static_cast<std::size_t>(word)];
    isEnd_[static_cast<std::size_t>(word)] = now;
    for (; changed != 0; changed &= changed - 1) {
        endChanges_.push_back(static_cast<std::int32_t>(Index(column * 64 + BitGrid::Lowest(changed), y)));
    }
}

BitGrid::Word NetworkSkeleton::LineEnds(int column, int y) const {
    using Word = BitGrid::Word;
    const int wordsPerRow = set_.Grid().WordsPerRow();
    const std::int32_t word = y * wordsPerRow + column;
    Word candidates = set_.Left(word);
    if (y == 0 || y == height_ - 1 || candidates == 0) {
        return 0;
    }
    candidates &= column == 0 ? ~Word{1} : ~Word{0};
    candidates &= column == wordsPerRow - 1 ? ~BitGrid::Bit(width_ - 1) : ~Word{0};
    Word one = 0;
    Word more = 0;
    const auto count = [&](Word neighbours) {
        more |= one & neighbours;
        one |= neighbours;
    };
    for (const std::int32_t near : {word - wordsPerRow, word, word + wordsPerRow}) {
        const Word centre = set_.Left(near);
        count(centre << 1 | (column > 0 ? set_.Left(near - 1) >> 63 : 0));
        count(centre >> 1 | (column + 1 < wordsPerRow ? set_.Left(near + 1) << 63 : 0));
        if (near != word) {
            count(centre);
        }
    }
    return candidates & one & ~more;
}

}  // namespace Korvane
