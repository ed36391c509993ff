#include "operations/Line.h"

#include <algorithm>

#include "operations/OperationChecks.h"

namespace qvox {

namespace {

// Differences of two 64-bit coordinates, and products of two such, need more than 64 bits.
using Wide = __int128;
using Unsigned = unsigned __int128;

/// One coordinate of the line, as a function of the step: start ± round(step * length / steps), halves away from start.
class Axis {
public:
    Axis(std::int64_t start, std::int64_t end, std::uint64_t size)
        : start_(start),
          direction_(end < start ? -1 : 1),
          length_(static_cast<Unsigned>(direction_ * (Wide{end} - Wide{start}))),
          size_(size) {}

    Unsigned Length() const { return length_; }

    /// The steps at which this axis, being the longest, lies inside the image: first and one past the last.
    void ClipSteps(Unsigned& first, Unsigned& past) const {
        const Wide toLow = direction_ > 0 ? -start_ : start_ - (Wide{size_} - 1);
        const Wide toHigh = toLow + Wide{size_};
        first = toLow > 0 ? static_cast<Unsigned>(toLow) : 0;
        past = toHigh > 0 ? std::min(static_cast<Unsigned>(toHigh), length_ + 1) : 0;
    }

    void MoveTo(Unsigned step, Unsigned steps) {
        steps_ = steps == 0 ? 1 : steps;
        offset_ = static_cast<Wide>(step * length_ / steps_);
        remainder_ = step * length_ % steps_;
    }

    void Advance() {
        remainder_ += length_;
        if (remainder_ >= steps_) {
            remainder_ -= steps_;
            ++offset_;
        }
    }

    Wide Position() const { return start_ + direction_ * (offset_ + (2 * remainder_ >= steps_ ? 1 : 0)); }
    bool Inside() const { return Position() >= 0 && Position() < Wide{size_}; }
    std::uint64_t Coordinate() const { return static_cast<std::uint64_t>(Position()); }

private:
    Wide start_;
    Wide direction_;
    Unsigned length_;
    std::uint64_t size_;
    Unsigned steps_ = 1;
    Wide offset_ = 0;
    Unsigned remainder_ = 0;
};

}  // namespace

void DrawLine(VoxelImage<std::uint16_t>& image, const std::array<std::int64_t, 3>& start,
              const std::array<std::int64_t, 3>& end, std::uint16_t value) {
    RequireVoxels("DrawLine", image);
    std::array<Axis, 3> axes{
        {{start[0], end[0], image.SizeX()}, {start[1], end[1], image.SizeY()}, {start[2], end[2], image.SizeZ()}}};
    const Axis& longest = *std::max_element(axes.begin(), axes.end(),
                                            [](const Axis& a, const Axis& b) { return a.Length() < b.Length(); });
    const Unsigned steps = longest.Length();
    Unsigned first = 0;
    Unsigned past = 0;
    longest.ClipSteps(first, past);
    if (first >= past) return;
    for (Axis& axis : axes) axis.MoveTo(first, steps);
    for (Unsigned step = first; step < past; ++step) {
        if (axes[0].Inside() && axes[1].Inside() && axes[2].Inside()) {
            image(axes[0].Coordinate(), axes[1].Coordinate(), axes[2].Coordinate()) = value;
        }
        for (Axis& axis : axes) axis.Advance();
    }
}

}  // namespace qvox
