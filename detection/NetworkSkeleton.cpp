#include "NetworkSkeleton.h"

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
      set_(width, height),
      grid_(width, height),
      lines_(grid_.Words()),
      isEnd_(grid_.Words()),
      isNoted_(grid_.Words()) {}

void NetworkSkeleton::Update() {
    lineChanges_.clear();
    endChanges_.clear();
    set_.Update([&](std::int32_t word, BitGrid::Word leftBefore, int) {
        const BitGrid::Word changed = leftBefore ^ set_.Left(word);
        if (changed != 0) {
            LinesChanged(word, changed);
        }
    });
    for (const WordPixels& change : lineChanges_) {
        LookForEndsAround(change.word, change.pixels);
    }
    for (const std::size_t word : lookForEnds_) {
        LookForEnds(word);
    }
    lookForEnds_.clear();
}

void NetworkSkeleton::LinesChanged(std::int32_t word, Word changed) {
    const int wordsPerRow = set_.Grid().WordsPerRow();
    const int y = word / wordsPerRow;
    const std::size_t at = grid_.WordAt((word - y * wordsPerRow) * 64, y);
    lines_[at] ^= changed;
    lineChanges_.push_back({at, changed});
}

void NetworkSkeleton::LookForEndsAround(std::size_t word, Word changed) {
    const Word beside = changed | changed << 1 | changed >> 1;
    for (const std::size_t near : {word - 1, word, word + 1}) {
        LookForEndsIn(near, beside);
        if ((changed & 1u) != 0) {
            LookForEndsIn(near - grid_.Strip(), Word{1} << 63);
        }
        if ((changed >> 63) != 0) {
            LookForEndsIn(near + grid_.Strip(), 1);
        }
    }
}

void NetworkSkeleton::LookForEndsIn(std::size_t word, Word changed) {
    if (((lines_[word] | isEnd_[word]) & changed) != 0 && isNoted_[word] == 0) {
        isNoted_[word] = 1;
        lookForEnds_.push_back(word);
    }
}

void NetworkSkeleton::LookForEnds(std::size_t word) {
    isNoted_[word] = 0;
    const Word now = LineEnds(word);
    const Word changed = now ^ isEnd_[word];
    if (changed != 0) {
        isEnd_[word] = now;
        endChanges_.push_back({word, changed});
    }
}

NetworkSkeleton::Word NetworkSkeleton::LineEnds(std::size_t word) const {
    Word one = 0;
    Word more = 0;
    const auto count = [&](Word neighbours) {
        more |= one & neighbours;
        one |= neighbours;
    };
    for (const std::size_t near : {word - 1, word, word + 1}) {
        const Word centre = lines_[near];
        count(centre << 1 | lines_[near - grid_.Strip()] >> 63);
        count(centre >> 1 | lines_[near + grid_.Strip()] << 63);
        if (near != word) {
            count(centre);
        }
    }
    const Word ends = lines_[word] & one & ~more;
    return ends != 0 ? ends & OffTheBorder(word) : 0;
}

// Those pixels of a word that are not at the picture's border.
NetworkSkeleton::Word NetworkSkeleton::OffTheBorder(std::size_t word) const {
    const int x0 = grid_.LeftOf(word);
    const int y = grid_.RowOf(word);
    Word inside = y == 0 || y == height_ - 1 ? 0 : ~Word{0};
    inside &= x0 == 0 ? ~Word{1} : ~Word{0};
    return width_ - 1 < x0 + 64 ? inside & ~StripGrid::Bit(width_ - 1) : inside;
}

}  // namespace Korvane
