#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"
#include "branches/PathCode.h"
#include "branches/RasterOrder.h"

namespace level_sweep {

/// The ends of lines, each with the path that was last traced from it, found by words of a ColumnGrid.
///
/// Invariants:
/// 1. The list of a word has one path for each of its ends, and no other.
/// 2. Every path is in a list or unused.
/// 3. Long paths, and no others, have their codes in longPaths_.
class PathStore {
public:
    using Word = ColumnGrid::Word;
    using Rank = RasterOrder::Rank;

    /// A cache line.
    struct alignas(64) Path {
        static constexpr std::size_t kCodesAtHand = 47;
        std::size_t size;  // of the codes; 0 before the path is traced first
        Rank end;
        std::int32_t next;                               // path of another end of the same word: index + 1, or 0
        bool forks;                                      // has more than one count
        std::array<PathCode::Code, kCodesAtHand> codes;  // of shorter paths
    };

    PathStore(const ColumnGrid& grid, const RasterOrder& order) : grid_(grid), order_(order), words_(grid.Words()) {}

    Word EndsIn(std::size_t word) const { return words_[word].ends; }
    /// The path of an end of the word. Valid until an end is added.
    Path& PathOf(std::size_t word, Rank end);
    void Add(std::size_t word, Rank end);
    void Remove(std::size_t word, Rank end);

    const PathCode::Code* CodesOf(const Path& path) const {
        return path.size <= Path::kCodesAtHand ? path.codes.data() : longPaths_.find(path.end)->second.data();
    }
    void Keep(Path& path, const PathCode& codes, std::size_t counts);

    /// The path of this end has lost pixels to others since it was traced.
    void NoteLoss(std::size_t word, int x) { words_[word].lostPixels |= ColumnGrid::Bit(x); }
    /// Whether it has, since this was asked last.
    bool TakeLoss(std::size_t word, int x) {
        const Word lost = words_[word].lostPixels & ColumnGrid::Bit(x);
        words_[word].lostPixels ^= lost;
        return lost != 0;
    }

    void PrefetchWord(std::size_t word) const { __builtin_prefetch(&words_[word]); }
    void PrefetchPath(std::size_t word) const {
        if (words_[word].first != 0) {
            __builtin_prefetch(&paths_[static_cast<std::size_t>(words_[word].first - 1)]);
        }
    }

    /// Calls visit(path) for every path.
    template <typename Visit>
    void ForEachPath(Visit visit) const {
        for (std::size_t word = 0; word < words_.size(); ++word) {
            for (std::int32_t number = words_[word].first; number != 0;) {
                const Path& path = paths_[static_cast<std::size_t>(number - 1)];
                visit(path);
                number = path.next;
            }
        }
    }
    void CheckInvariants() const;

private:
    struct alignas(32) Ends {
        Word ends;
        Word lostPixels;     // ends of paths that have lost pixels
        std::int32_t first;  // path of an end of this word: index + 1, or 0
    };

    void Forget(const Path& path);

    ColumnGrid grid_;
    RasterOrder order_;
    ZeroedArray<Ends> words_;
    std::vector<Path> paths_;
    std::vector<std::int32_t> unused_;
    std::unordered_map<Rank, std::vector<PathCode::Code>> longPaths_;
};

}  // namespace level_sweep
