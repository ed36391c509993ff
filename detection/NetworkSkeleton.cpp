#include "NetworkSkeleton.h"

#include <algorithm>

namespace Korvane {

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
    set_.Update([&](std::int32_t word, BitGrid::Word leftBefore) {
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
