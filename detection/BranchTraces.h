#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <vector>

#include "BranchPruning.h"
#include "NetworkSkeleton.h"
#include "ZeroedArray.h"

namespace Korvane {

/// The traces of the open branches of a skeleton, from their ends inwards, as PruneBranches makes them, kept up while
/// the skeleton changes.
///
/// Ends are traced from the last one to the first, each on what the ones before it left. So whether a line's pixel is
/// there for a trace is told by the end whose trace took it: it is, when that end comes before the tracing one in
/// raster order. Where lines change, the traces that come within two pixels of the change are made again, last one
/// first, and then those that come within two pixels of what these take or leave.
class BranchTraces {
public:
    /// Borrows the skeleton, of a picture of this size, for its lifetime.
    BranchTraces(const NetworkSkeleton& skeleton, int width, int height);

    /// To be called after every update of the skeleton.
    void Update();

    /// Whether some trace takes this pixel of a line away.
    bool IsPruned(int x, int y) const { return owner_[Index(x, y)] != 0; }

    /// Marks branches longer than `limitPx` among the ends in the box for which isWanted(x, y) holds; whose lines no
    /// other ends' traces may reach. Cost: the ends in the rows of the box.
    template <typename IsWanted>
    MarkedBranches Marked(const PixelBox& box, int limitPx, IsWanted isWanted);

private:
    /// An end and the pixels counted until the first of its lines ended.
    struct End {
        int x;
        std::int32_t count;
        std::int32_t trace;
        bool forks;  // further counts are with the trace
    };
    struct Trace {
        std::vector<std::int32_t> pixels;  // those that the trace took
        std::vector<std::int32_t> counts;  // one for each line that ended
    };
    struct FoundEnd {
        PixelPosition at;
        const End* end;
    };

    std::size_t Index(int x, int y) const { return static_cast<std::size_t>((y + 1) * stride_ + x + 1); }
    bool IsLine(std::int32_t pixel) const { return codes_[pixel] == NetworkSkeleton::kLine; }
    bool IsThere(std::int32_t pixel, std::int32_t end) const {
        return codes_[pixel] >= NetworkSkeleton::kLine && owner_[static_cast<std::size_t>(pixel)] < end;
    }
    bool GoesOn(std::int32_t pixel, std::int32_t end) const;
    void Touch(std::int32_t end);
    void TouchTracesOf(std::int32_t pixel, std::int32_t before);
    void TouchTracesAround(std::int32_t pixel, std::int32_t before);
    unsigned TakenInFive(std::int32_t first) const;
    void SetOwner(std::int32_t pixel, std::int32_t end);
    void Release(std::int32_t end, const Trace& trace);
    void Retrace(std::int32_t end);
    void Follow(std::int32_t end, Trace& trace);
    End* FindEnd(std::int32_t end);
    void AddEnd(std::int32_t end);
    void RemoveEnd(std::int32_t end);
    MarkedBranches MarkFound(int limitPx);

    const NetworkSkeleton& skeleton_;
    const NetworkSkeleton::Code* codes_;  // by index
    std::int32_t stride_;
    ZeroedArray<std::int32_t> owner_;  // index of the end whose trace took the pixel; or 0
    ZeroedArray<std::uint8_t> taken_;  // a bit per pixel: owner_ is not 0
    ZeroedArray<std::uint8_t> state_;
    std::vector<std::vector<End>> ends_;  // per row, by column
    std::vector<Trace> traces_;
    std::vector<std::int32_t> unused_;  // traces without an end
    std::priority_queue<std::int32_t> toRetrace_;
    std::vector<std::int32_t> stack_;
    std::vector<std::int32_t> takenBefore_;
    std::vector<FoundEnd> found_;
};

template <typename IsWanted>
MarkedBranches BranchTraces::Marked(const PixelBox& box, int limitPx, IsWanted isWanted) {
    found_.clear();
    for (int y = box.y0; y <= box.y1; ++y) {
        for (const End& end : ends_[static_cast<std::size_t>(y)]) {
            if (end.x >= box.x0 && end.x <= box.x1 && isWanted(end.x, y)) {
                found_.push_back({{end.x, y}, &end});
            }
        }
    }
    return MarkFound(limitPx);
}

}  // namespace Korvane
