#include "components/LockstepSearch.h"

#include <algorithm>

namespace level_sweep {

void LockstepSearch::FinishAllButOne(std::size_t count, BitPlane& open) {
    for (std::size_t unfinished = count; unfinished > 1;) {
        for (std::size_t i = 0; i < count && unfinished > 1; ++i) {
            Side& side = sides_[i];
            if (!side.IsFinished()) {
                Advance(side, open);
                unfinished -= side.IsFinished() ? std::size_t{1} : 0;
            }
        }
    }
}

void LockstepSearch::Restore(std::size_t side, BitPlane& open) {
    for (const Part& part : sides_[side].reached) {
        open[part.word] |= part.pixels;
    }
    sides_[side].reached.clear();
    sides_[side].waiting.clear();
}

std::vector<LockstepSearch::Part> LockstepSearch::Extract(PixelPosition at, BitPlane& open) {
    Side& side = sides_[0];
    Start(0, open, at);
    while (!side.IsFinished()) {
        Advance(side, open);
    }
    std::sort(side.reached.begin(), side.reached.end(),
              [](const Part& a, const Part& b) { return a.word < b.word; });
    std::vector<Part> parts;
    for (const Part& part : side.reached) {
        if (parts.empty() || parts.back().word != part.word) {
            parts.push_back(part);
        } else {
            parts.back().pixels |= part.pixels;
        }
    }
    side.reached.clear();
    return parts;
}

void LockstepSearch::Advance(Side& side, BitPlane& open) {
    const Part at = side.waiting.back();
    side.waiting.pop_back();
    const Word pixels = RunsContaining(at.pixels, open[at.word]);
    if (pixels == 0) {
        return;
    }
    open[at.word] &= ~pixels;
    side.reached.push_back({at.word, pixels});
    const auto add = [&](std::int32_t word, Word wanted) {
        if ((wanted & open[word]) != 0) {
            side.waiting.push_back({word, wanted});
        }
    };
    const int wordsPerRow = open.Grid().WordsPerRow();
    add(at.word - wordsPerRow, pixels);
    if ((pixels & 1u) != 0 && at.word % wordsPerRow > 0) {
        add(at.word - 1, Word{1} << 63);
    }
    if ((pixels >> 63) != 0 && (at.word + 1) % wordsPerRow > 0) {
        add(at.word + 1, 1);
    }
    add(at.word + wordsPerRow, pixels);
}

}  // namespace level_sweep
