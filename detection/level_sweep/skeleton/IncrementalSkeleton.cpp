#include "skeleton/IncrementalSkeleton.h"

#include "Assert.h"

namespace level_sweep {

IncrementalSkeleton::IncrementalSkeleton(int width, int height)
    : width_(width),
      height_(height),
      history_(width, height),
      grid_(width, height),
      lines_(grid_.Words()),
      ends_(grid_.Words()),
      isNoted_(grid_.Words()) {}

void IncrementalSkeleton::Update() {
    lineChanges_.clear();
    endChanges_.clear();
    history_.Update([&](int x, int y, const PixelBlock& changed) {
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
        NoteWordsAround(change.word, change.pixels);
    }
    for (const std::size_t word : notedWords_) {
        UpdateEnds(word);
    }
    notedWords_.clear();
}

void IncrementalSkeleton::NoteWordsAround(std::size_t word, Word changed) {
    const Word near = DilateRow(changed);
    for (const std::size_t row : {word - 1, word, word + 1}) {
        NoteWord(row, near);
        if ((changed & 1u) != 0) {
            NoteWord(row - grid_.ColumnStride(), Word{1} << 63);
        }
        if ((changed >> 63) != 0) {
            NoteWord(row + grid_.ColumnStride(), 1);
        }
    }
}

void IncrementalSkeleton::NoteWord(std::size_t word, Word nearChanges) {
    if (((lines_[word] | ends_[word]) & nearChanges) != 0 && isNoted_[word] == 0) {
        isNoted_[word] = 1;
        notedWords_.push_back(word);
    }
}

void IncrementalSkeleton::UpdateEnds(std::size_t word) {
    isNoted_[word] = 0;
    const Word ends = FindEnds(word);
    const Word changed = ends ^ ends_[word];
    if (changed != 0) {
        ends_[word] = ends;
        endChanges_.push_back({word, changed});
    }
}

IncrementalSkeleton::Word IncrementalSkeleton::FindEnds(std::size_t word) const {
    Word one = 0;
    Word more = 0;
    const auto count = [&](Word neighbours) {
        more |= one & neighbours;
        one |= neighbours;
    };
    for (const std::size_t row : {word - 1, word, word + 1}) {
        const Word centre = lines_[row];
        count(centre << 1 | lines_[row - grid_.ColumnStride()] >> 63);
        count(centre >> 1 | lines_[row + grid_.ColumnStride()] << 63);
        if (row != word) {
            count(centre);
        }
    }
    const Word ends = lines_[word] & one & ~more;
    return ends != 0 ? ends & OffTheBorder(word) : 0;
}

// The pixels of a word that are not at the image's border: an end has all its neighbours in the image.
IncrementalSkeleton::Word IncrementalSkeleton::OffTheBorder(std::size_t word) const {
    const int x0 = grid_.FirstXOf(word);
    const int y = grid_.RowOf(word);
    Word inside = y == 0 || y == height_ - 1 ? 0 : ~Word{0};
    inside &= x0 == 0 ? ~Word{1} : ~Word{0};
    return width_ - 1 < x0 + 64 ? inside & ~ColumnGrid::Bit(width_ - 1) : inside;
}

void IncrementalSkeleton::CheckInvariants() const {
    history_.CheckInvariants();
    KORVANE_ASSERT(notedWords_.empty());  // 3
    history_.ForEachRemaining([&](int x, int y, const PixelBlock& remaining) {
        const Word inside = width_ - x >= 64 ? ~Word{0} : ~(~Word{0} << (width_ - x));
        for (int i = 0; i < kBlockRows && y + i < height_; ++i) {
            const std::size_t word = grid_.WordAt(x, y + i);
            KORVANE_ASSERT(lines_[word] == (remaining[static_cast<std::size_t>(i)] & inside));  // 1
            KORVANE_ASSERT(ends_[word] == FindEnds(word));                                      // 2
            KORVANE_ASSERT(isNoted_[word] == 0);                                                // 3
        }
    });
}

}  // namespace level_sweep
