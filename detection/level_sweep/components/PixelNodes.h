#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "LargePages.h"
#include "bits/Pixels.h"

namespace level_sweep {

/// One number per pixel of a map: of an open pixel the number of its component, of a closed pixel its parent in a
/// union-find forest. Everything outside the map is one more closed node. A node is the pixel's offset, row by row.
///
/// Which pixels are open is known to the owner, who asks for components of open nodes and for roots of closed ones.
class PixelNodes {
public:
    PixelNodes(int width, int height)
        : width_(width),
          height_(height),
          outside_(width * height),
          values_(qvox::MakeLargePageArray<std::int32_t>(static_cast<std::size_t>(outside_) + 1)) {
        values_[static_cast<std::size_t>(outside_)] = outside_;
    }

    std::int32_t Outside() const { return outside_; }
    bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
    std::int32_t NodeAt(int x, int y) const { return Contains(x, y) ? y * width_ + x : outside_; }
    PixelPosition PositionOf(std::int32_t node) const { return {node % width_, node / width_}; }

    std::int32_t& operator[](std::int32_t node) { return values_[static_cast<std::size_t>(node)]; }
    std::int32_t operator[](std::int32_t node) const { return values_[static_cast<std::size_t>(node)]; }
    /// Gives all nodes from `first` to `last` the same number.
    void Fill(std::int32_t first, std::int32_t last, std::int32_t number) {
        std::fill(values_.get() + first, values_.get() + last + 1, number);
    }

    /// The root of a closed node; halves the way to it.
    std::int32_t Root(std::int32_t node) {
        std::int32_t* parent = values_.get();
        while (parent[node] != node) {
            parent[node] = parent[parent[node]];
            node = parent[node];
        }
        return node;
    }
    /// Joins the trees of two closed nodes. The lower root becomes the root of both and is returned.
    std::int32_t Unite(std::int32_t a, std::int32_t b) {
        a = Root(a);
        b = Root(b);
        const std::int32_t root = std::min(a, b);
        values_[static_cast<std::size_t>(std::max(a, b))] = root;
        return root;
    }

    const std::int32_t* Address(std::int32_t node) const { return values_.get() + node; }

private:
    int width_;
    int height_;
    std::int32_t outside_;
    qvox::LargePageArray<std::int32_t> values_;
};

}  // namespace level_sweep
