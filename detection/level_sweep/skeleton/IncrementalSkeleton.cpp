#include "skeleton/IncrementalSkeleton.h"

namespace level_sweep {

IncrementalSkeleton::IncrementalSkeleton(int width, int height)
    : width_(width),
      height_(height),
      set_(width, height),
      grid_(width, height),
      lines_(grid_.Words()),
      isEnd_(grid_.Words()),
      isNoted_(grid_.Words()) {}

void IncrementalSkeleton::Update() {
    lineChanges_.clear();
    endChanges_.clear();
    set_.Update([&](int x, int y, const PixelBlock& changed) {
        std::size_t word = grid_.WordAt(x, y);
        for (const Word pixels : changed.rows) {
            if (pixels != 0) {
                lines_[word] ^= pixels;
                lineChanges_.push_back({word, pixels});
            }
            ++word;
        }
    });
    for (const WordPixels<ColumnGrid>& change : lineChanges_) {
        LookForEndsAround(change.word, change.pixels);
    }
    for (const std::size_t word : lookForEnds_) {
        LookForEnds(word);
    }
    lookForEnds_.clear();
}

void IncrementalSkeleton::LookForEndsAround(std::size_t word, Word changed) {
    const Word beside = changed | changed << 1 | changed >> 1;
    for (const std::size_t near : {word - 1, word, word + 1}) {
        LookForEndsIn(near, beside);
        if ((changed & 1u) != 0) {
            LookForEndsIn(near - grid_.ColumnStride(), Word{1} << 63);
        }
        if ((changed >> 63) != 0) {
            LookForEndsIn(near + grid_.ColumnStride(), 1);
        }
    }
}

void IncrementalSkeleton::LookForEndsIn(std::size_t word, Word changed) {
    if (((lines_[word] | isEnd_[word]) & changed) != 0 && isNoted_[word] == 0) {
        isNoted_[word] = 1;
        lookForEnds_.push_back(word);
    }
}

void IncrementalSkeleton::LookForEnds(std::size_t word) {
    isNoted_[word] = 0;
    const Word now = LineEnds(word);
    const Word changed = now ^ isEnd_[word];
    if (changed != 0) {
        isEnd_[word] = now;
        endChanges_.push_back({word, changed});
    }
}

IncrementalSkeleton::Word IncrementalSkeleton::LineEnds(std::size_t word) const {
    Word one = 0;
    Word more = 0;
    const auto count = [&](Word neighbours) {
        more |= one & neighbours;
        one |= neighbours;
    };
    for (const std::size_t near : {word - 1, word, word + 1}) {
        const Word centre = lines_[near];
        count(centre << 1 | lines_[near - grid_.ColumnStride()] >> 63);
        count(centre >> 1 | lines_[near + grid_.ColumnStride()] << 63);
        if (near != word) {
            count(centre);
        }
    }
    const Word ends = lines_[word] & one & ~more;
    return ends != 0 ? ends & OffTheBorder(word) : 0;
}

// Those pixels of a word that are not at the picture's border.
IncrementalSkeleton::Word IncrementalSkeleton::OffTheBorder(std::size_t word) const {
    const int x0 = grid_.FirstXOf(word);
    const int y = grid_.RowOf(word);
    Word inside = y == 0 || y == height_ - 1 ? 0 : ~Word{0};
    inside &= x0 == 0 ? ~Word{1} : ~Word{0};
    return width_ - 1 < x0 + 64 ? inside & ~ColumnGrid::Bit(width_ - 1) : inside;
}

}  // namespace level_sweep
