#include "components/InitialComponents.h"

#include <algorithm>

namespace level_sweep {
namespace {

/// Links runs row by row. Open runs form trees as well until they are numbered: the lower offset becomes the root, so a
/// component's root is its first pixel in raster order.
class RunLinks {
public:
    RunLinks(const BitPlane& open, PixelNodes& nodes)
        : open_(open), nodes_(nodes), width_(open.Width()), height_(open.Height()) {}

    void LinkRow(int y) {
        const std::int32_t rowStart = y * width_;
        for (int x = 0; x < width_;) {
            const bool isOpen = open_.Has(x, y);
            const PixelRun run{y, x, EndOfRun(x, y) - 1};
            const std::int32_t node = rowStart + run.x0;
            x = run.x1 + 1;
            nodes_.Fill(node, rowStart + run.x1, node);
            if (isOpen) {
                if (y > 0) {
                    UniteWithRun(node, {y - 1, run.x0, run.x1}, [&](std::int32_t word) { return open_[word]; });
                }
                continue;
            }
            if (y > 0) {
                const PixelRun wider{y - 1, std::max(run.x0 - 1, 0), std::min(run.x1 + 1, width_ - 1)};
                UniteWithRun(node, wider, [&](std::int32_t word) { return ~open_[word]; });
            }
            if (y == 0 || y == height_ - 1 || run.x0 == 0 || x == width_) {
                nodes_.Unite(node, nodes_.Outside());
            }
        }
    }

    /// A root comes first in raster order: what links to it finds its number already there.
    void NumberRow(int y, InitialComponents& components) {
        for (int x = 0; x < width_;) {
            const int end = EndOfRun(x, y);
            if (open_.Has(x, y)) {
                const std::int32_t first = y * width_ + x;
                std::int32_t number = nodes_[first];
                if (number == first) {
                    number = static_cast<std::int32_t>(components.area.size());
                    components.area.push_back(0);
                    components.firstPixels.push_back(first);
                } else {
                    number = nodes_[number];
                }
                nodes_.Fill(first, first + end - x - 1, number);
                components.area[static_cast<std::size_t>(number)] += end - x;
            }
            x = end;
        }
    }

private:
    // The column after a run of pixels that are all open or all closed.
    int EndOfRun(int x, int y) const {
        const Word flip = open_.Has(x, y) ? ~Word{0} : 0;
        Word others = (open_[open_.Grid().WordAt(x, y)] ^ flip) & ~Word{0} << (x & 63);
        for (x &= ~63; others == 0 && x + 64 < width_;) {
            x += 64;
            others = open_[open_.Grid().WordAt(x, y)] ^ flip;
        }
        return others == 0 ? width_ : std::min(x + LowestBit(others), width_);
    }

    // Unites a node with the pixels of a run; pixelsOf(word) selects those of a word.
    template <typename PixelsOf>
    void UniteWithRun(std::int32_t node, const PixelRun& run, PixelsOf pixelsOf) {
        const BitGrid& grid = open_.Grid();
        Word before = 0;
        grid.ForEachWord(run, [&](std::int32_t word, Word bits) {
            const Word pixels = pixelsOf(word) & bits;
            const std::int32_t start = run.y * width_ + (word - grid.WordAt(0, run.y)) * 64;
            for (Word first = pixels & ~(pixels << 1 | before >> 63); first != 0; first &= first - 1) {
                nodes_.Unite(node, start + LowestBit(first));
            }
            before = pixels;
        });
    }

    const BitPlane& open_;
    PixelNodes& nodes_;
    int width_;
    int height_;
};

}  // namespace

InitialComponents NumberComponents(const BitPlane& open, PixelNodes& nodes) {
    RunLinks links(open, nodes);
    for (int y = 0; y < open.Height(); ++y) {
        links.LinkRow(y);
    }
    InitialComponents components;
    for (int y = 0; y < open.Height(); ++y) {
        links.NumberRow(y, components);
    }
    return components;
}

}  // namespace level_sweep
