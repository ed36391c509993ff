#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "LabelChanges.h"
#include "LabelEditing.h"
#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// Pixels of one image that a person marked as not part of the specimen: bars and writing that were not found. Kept as
/// runs, so that memory grows with the outline of what is marked.
class HandMarks {
public:
    /// Pixels begin <= x < end of one row.
    struct Run {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    /// Ascending; neither overlapping nor adjacent.
    using Runs = std::vector<Run>;

    enum class Stroke { kMark, kErase };

    /// A part of a stroke: the brush goes straight from one point to the other.
    struct Dab {
        Pixel from;
        Pixel to;
        int radiusPx = kMinBrushRadiusPx;
        Stroke stroke = Stroke::kMark;
        std::uint64_t width = 0;  ///< of the image
        std::uint64_t height = 0;
    };

    bool Empty() const { return rows_.empty(); }
    std::uint64_t PixelCount() const;
    /// The rows that hold marks.
    const std::map<std::uint64_t, Runs>& Rows() const { return rows_; }
    /// The smallest rectangle around all of them; of width 0 without any.
    PixelRectangle Bounds() const;

    /// Marks what the brush covers, or erases it, clipped to the image: the discs of LabelEditing's PaintDisc along the
    /// line. Adds what changed to `changes`, 1 for marked and 0 for not. Returns the rectangle that may have changed.
    PixelRectangle Paint(const Dab& dab, LabelChanges& changes);

    /// Takes changes back, or makes them again.
    void Apply(const LabelChanges& changes, ChangeDirection direction, std::uint64_t width);

    /// As a mask of these sizes, true where marked.
    qvox::VoxelImage<bool> Mask(std::uint64_t width, std::uint64_t height) const;
    /// The marks that a mask of one plane stands for.
    static HandMarks FromMask(const qvox::VoxelImage<bool>& mask);

    /// What replacing these marks by others changes.
    LabelChanges DifferenceTo(const HandMarks& others, std::uint64_t width) const;

private:
    /// Makes a part of a row marked or not; `changes`: where it is given, it gets what changed.
    void Set(std::uint64_t y, const Run& part, Stroke stroke, std::uint64_t width, LabelChanges* changes);

    std::map<std::uint64_t, Runs> rows_;  ///< none without a run
};

}  // namespace Korvane
