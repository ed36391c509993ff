#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "branches/LinePixels.h"
#include "branches/PathCode.h"

namespace level_sweep {

/// Traces the path of one end at a time.
///
/// Rules of tracing:
/// - A path takes the pixel it is at away from the lines and counts it.
/// - It then looks at the line pixels adjacent to it, rows top to bottom, columns left to right. The path continues to
///   those whose 3 x 3 patch has exactly one 8-connected component. The patch is read after the pixel was taken, its
///   centre does not count, and pixels beyond the image count as set. So a path stops before a junction, which has two
///   components around it, and before a pixel that has nothing else adjacent.
/// - Where it continues to more than one pixel the path forks. The last pixel found is taken next, and the others wait:
///   last in, first out. A pixel that two branches of a fork found is counted twice.
/// - Where it continues to none, a line ends: counting starts again, at 0, with the last pixel that waits.
/// - The path is complete when no pixel waits. It then has a count for each line that ended: one, or more with a fork.
class PathTracer {
public:
    using Rank = LinePixels::Rank;
    /// Borrows the lines, of an image of this size, for its lifetime.
    PathTracer(LinePixels& lines, int width, int height) : lines_(lines), width_(width), height_(height) {}

    /// A new path starts at an end.
    void Start(PixelPosition end) {
        path_.Begin(end);
        counts_.assign(1, 0);
    }
    /// A path starts with the `pixels` pixels that these codes hold, already taken, the last of which is `last`.
    void Start(const PathCode::Code* codes, std::size_t size, PixelPosition last, std::int32_t pixels) {
        path_.Begin(codes, size, last);
        counts_.assign(1, pixels);
    }
    /// Continues the path, which is that of `end`, with the pixel `from`. All that it takes becomes current.
    void Trace(PixelPosition from, Rank end);

    const PathCode& Path() const { return path_; }
    const std::vector<std::int32_t>& Counts() const { return counts_; }
    /// The words with current pixels.
    const std::vector<std::size_t>& Words() const { return words_; }
    /// The ends of later paths from which it took pixels, some more than once.
    const std::vector<Rank>& LosingEnds() const { return losingEnds_; }

    /// All current pixels are taken from now on.
    void Complete();

private:
    void Take(const LinePixels::Place& place, Rank end);
    unsigned BeyondAround(int x, int y) const;
    bool IsOneComponent(unsigned open, const LinePixels::Place& centre) const;

    LinePixels& lines_;
    int width_;
    int height_;
    PathCode path_;
    std::vector<std::int32_t> counts_;
    std::vector<PixelPosition> waiting_;
    std::vector<std::size_t> words_;
    std::vector<Rank> losingEnds_;
};

}  // namespace level_sweep
