#include "operations/FloodFill.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "operations/OperationChecks.h"

namespace qvox {

namespace {

/// One past the last voxel of the run of `value` that begins at x.
std::uint64_t RunEnd(const std::uint16_t* row, std::uint64_t x, std::uint64_t width, std::uint16_t value) {
    const std::uint64_t constant = value * std::uint64_t{0x0001000100010001u};
    for (; x + 8 <= width; x += 8) {
        std::uint64_t quads[2];
        std::memcpy(quads, row + x, sizeof(quads));
        if (((quads[0] ^ constant) | (quads[1] ^ constant)) != 0) break;
    }
    while (x < width && row[x] == value) ++x;
    return x;
}

/// Fills one region of one plane.
class RunFill {
public:
    RunFill(std::uint16_t* plane, std::uint64_t width, std::uint64_t height, std::uint16_t oldValue,
            std::uint16_t newValue)
        : plane_(plane), width_(width), height_(height), oldValue_(oldValue), newValue_(newValue) {}

    void Fill(std::uint64_t x, std::uint64_t y) {
        const Run run = FillRun(plane_ + y * width_, x);
        Push(Widened(run), y, Side::kAbove);
        Push(Widened(run), y, Side::kBelow);
        while (!stack_.empty()) {
            const Task task = stack_.back();
            stack_.pop_back();
            Visit(task);
        }
    }

private:
    struct Run {
        std::uint64_t left;
        std::uint64_t right;  ///< included
    };
    enum class Side : std::uint64_t { kAbove = 0, kBelow = 1 };
    /// A stretch of a row in which each voxel touches a filled run of the row it was come from.
    struct Task {
        Run stretch;
        std::uint64_t rowAndSide;  ///< 2 * row + the side of the filled row that it lies on
    };

    Run Widened(const Run& run) const {
        return {run.left - (run.left > 0 ? 1 : 0), std::min(run.right + 1, width_ - 1)};
    }

    void Push(const Run& stretch, std::uint64_t fromRow, Side side) {
        if (side == Side::kAbove ? fromRow == 0 : fromRow + 1 == height_) return;
        const std::uint64_t row = side == Side::kAbove ? fromRow - 1 : fromRow + 1;
        stack_.push_back({stretch, 2 * row + static_cast<std::uint64_t>(side)});
    }

    /// Fills the whole run around x, where the row still has the old value.
    Run FillRun(std::uint16_t* row, std::uint64_t x) {
        std::uint64_t left = x;
        while (left > 0 && row[left - 1] == oldValue_) --left;
        const std::uint64_t end = RunEnd(row, x, width_, oldValue_);
        std::fill(row + left, row + end, newValue_);
        return {left, end - 1};
    }

    /// Fills the runs that reach into the stretch. Where one is longer than the stretch, the row it was come from is
    /// looked at beyond the stretch too.
    void Visit(const Task& task) {
        const std::uint64_t y = task.rowAndSide / 2;
        const Side side = static_cast<Side>(task.rowAndSide % 2);
        const Side back = side == Side::kAbove ? Side::kBelow : Side::kAbove;
        std::uint16_t* row = plane_ + y * width_;
        for (std::uint64_t x = task.stretch.left; x <= task.stretch.right; ++x) {
            if (row[x] != oldValue_) continue;
            const Run run = FillRun(row, x);
            const Run touched = Widened(run);
            Push(touched, y, side);
            if (touched.left < task.stretch.left) Push({touched.left, task.stretch.left - 1}, y, back);
            if (touched.right > task.stretch.right) Push({task.stretch.right + 1, touched.right}, y, back);
            x = run.right;
        }
    }

    std::uint16_t* plane_;
    std::uint64_t width_;
    std::uint64_t height_;
    std::uint16_t oldValue_;
    std::uint16_t newValue_;
    std::vector<Task> stack_;
};

}  // namespace

void FloodFillLabel(VoxelImage<std::uint16_t>& image, std::uint16_t value, std::uint64_t x, std::uint64_t y,
                    std::uint64_t z, Neighbourhood8) {
    RequireVoxels("FloodFillLabel", image);
    if (x >= image.SizeX() || y >= image.SizeY() || z >= image.SizeZ()) {
        throw ToolkitError("FloodFillLabel: the seed (" + std::to_string(x) + ", " + std::to_string(y) + ", " +
                           std::to_string(z) + ") lies outside the image of " + DescribeSizes(image) + ".");
    }
    const std::uint16_t oldValue = image(x, y, z);
    if (oldValue == value) return;
    RunFill(image.Row(0, z), image.SizeX(), image.SizeY(), oldValue, value).Fill(x, y);
}

}  // namespace qvox
