#pragma once

#include <cstdint>
#include <vector>

#include "ZeroedArray.h"

namespace Korvane {

/// The lines, one pixel wide, that thinning (Guo and Hall, 1989) leaves of a set of pixels, kept up while the set
/// changes.
///
/// Thinning runs in subiterations; whether one removes a pixel depends on which of its eight neighbours are still
/// there. So the whole of a thinning is told by one number per pixel: the subiteration that removes it.
///
///     the set       removed in subiteration (- stays)
///     #########     1 1 1 1 1 1 1 1 1
///     #########     1 - - - - - - - 2
///     #########     2 2 2 2 2 2 2 2 2
///
/// A pixel's number follows from its neighbours' numbers that are smaller. Where the set changes, numbers are worked
/// out again in the order of the subiterations, and on to neighbours only where a number came out different: the result
/// is that of thinning the whole set anew, the cost that of the neighbourhood that really changes. Beyond the picture
/// everything counts as set and is never removed.
class NetworkSkeleton {
public:
    using Time = std::uint16_t;
    static constexpr Time kAbsent = 0;      ///< not in the set
    static constexpr Time kPruned = 65533;  ///< for the pruning: a pixel of a line that is taken away for the moment
    static constexpr Time kLine = 65534;    ///< never removed
    static constexpr Time kBeyond = 65535;  ///< beyond the picture

    NetworkSkeleton(int width, int height);

    Time* At(int x, int y) { return &times_[Index(x, y)]; }
    const Time* At(int x, int y) const { return &times_[Index(x, y)]; }
    std::ptrdiff_t Stride() const { return stride_; }

    /// Changes of the set: noted first, then worked in all at once by Update. Each pixel at most once between updates.
    void Add(int x, int y);
    void Remove(int x, int y);
    void Update();

    /// Columns, ascending, of the line pixels of row y with exactly one line neighbour, those at the border excepted.
    const std::vector<int>& EndsInRow(int y) const { return ends_[static_cast<std::size_t>(y)]; }

    /// The same by index from At(-1, -1): whether a pixel is such an end, those of which the last update changed that,
    /// and all of which it changed whether they are of a line. Pixels may come more than once, others among the latter.
    bool IsEndAt(std::int32_t pixel) const { return isEnd_[static_cast<std::size_t>(pixel)] != 0; }
    const std::vector<std::int32_t>& EndChanges() const { return endChanges_; }
    const std::vector<std::int32_t>& LineChanges() const { return lineChanges_; }

private:
    std::size_t Index(int x, int y) const { return static_cast<std::size_t>((y + 1) * stride_ + x + 1); }
    void Queue(std::int32_t pixel, std::uint32_t time);
    void QueueAround(std::int32_t pixel, Time changedFrom);
    void WorkOut(std::int32_t pixel, Time from);
    Time RemovalTime(std::int32_t pixel, std::uint32_t from) const;
    void UpdateEndsAround(std::int32_t pixel);
    bool IsEnd(std::int32_t pixel) const;

    int width_;
    int height_;
    std::ptrdiff_t stride_;
    ZeroedArray<Time> times_;      // one more pixel on every side
    ZeroedArray<Time> queuedFor_;  // time for which a pixel was queued last and still is; or 0
    ZeroedArray<std::uint8_t> isEnd_;
    std::vector<std::vector<std::int32_t>> queue_;  // per time
    std::vector<std::int32_t> lineChanged_;         // since the last update
    std::vector<std::int32_t> lineChanges_;         // up to the last update
    std::vector<std::int32_t> endChanges_;
    std::vector<std::vector<int>> ends_;
};

}  // namespace Korvane
