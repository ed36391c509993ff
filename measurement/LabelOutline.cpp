#include "LabelOutline.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "Assert.h"

namespace Korvane {

namespace {

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

/// The sides of a label's pixels that bound it, as steps between the corners of the grid. The label lies to the right
/// of a step, as seen by who walks it.
class BoundarySteps {
public:
    BoundarySteps(const qvox::LabelImage& labels, const LabelExtent& extent)
        : labels_(labels),
          extent_(extent),
          width_(static_cast<std::size_t>(extent.maxX - extent.minX) + 2),
          height_(static_cast<std::size_t>(extent.maxY - extent.minY) + 2),
          steps_(width_ * height_, 0),
          place_(width_ * height_, kNowhere) {
        for (std::size_t y = 0; y + 1 < height_; ++y) {
            for (std::size_t x = 0; x + 1 < width_; ++x) AddPixel(x, y);
        }
    }

    /// The rings that the steps form, each a list of corners; where a ring would pass a corner twice, it is two.
    std::vector<std::vector<std::size_t>> Rings() {
        std::vector<std::vector<std::size_t>> rings;
        for (std::size_t corner = 0; corner < steps_.size(); ++corner) {
            while (steps_[corner] != 0) Follow(corner, rings);
        }
        return rings;
    }

    CurvePoint PointOf(std::size_t corner) const {
        const std::size_t row = corner / width_;
        return {static_cast<double>(extent_.minX + corner - row * width_) - 0.5,
                static_cast<double>(extent_.minY + row) - 0.5};
    }

private:
    enum Direction { kEast, kSouth, kWest, kNorth };

    bool IsInside(std::size_t x, std::size_t y) const {
        // Also false left of and above the box: the numbers wrap around.
        return x + 1 < width_ && y + 1 < height_ && labels_(extent_.minX + x, extent_.minY + y) == extent_.label;
    }
    void Add(std::size_t x, std::size_t y, Direction direction) {
        steps_[y * width_ + x] = static_cast<std::uint8_t>(steps_[y * width_ + x] | 1u << direction);
    }
    void AddPixel(std::size_t x, std::size_t y) {
        if (!IsInside(x, y)) return;
        if (y == 0 || !IsInside(x, y - 1)) Add(x, y, kEast);
        if (!IsInside(x + 1, y)) Add(x + 1, y, kSouth);
        if (!IsInside(x, y + 1)) Add(x + 1, y + 1, kWest);
        if (x == 0 || !IsInside(x - 1, y)) Add(x, y + 1, kNorth);
    }
    std::size_t Neighbour(std::size_t corner, int direction) const {
        switch (direction) {
            case kEast:
                return corner + 1;
            case kSouth:
                return corner + width_;
            case kWest:
                return corner - 1;
            default:
                return corner - width_;
        }
    }

    /// Takes the steps of one walk away, from a corner until it is back there.
    void Follow(std::size_t start, std::vector<std::vector<std::size_t>>& rings) {
        std::vector<std::size_t> path{start};
        place_[start] = 0;
        // A walk that has no direction yet takes the first there is.
        int heading = kNorth;
        do {
            const std::size_t corner = path.back();
            // To the right first: that keeps to the pixel of the step before, so parts that only share a corner part.
            for (const int turn : {1, 0, 3, 2}) {
                const int direction = (heading + turn) % 4;
                if ((steps_[corner] >> direction & 1) == 0) continue;
                heading = direction;
                break;
            }
            KORVANE_ASSERT((steps_[corner] >> heading & 1) != 0);
            steps_[corner] = static_cast<std::uint8_t>(steps_[corner] & ~(1u << heading));
            const std::size_t next = Neighbour(corner, heading);
            if (place_[next] == kNowhere) {
                place_[next] = path.size();
                path.push_back(next);
                continue;
            }
            const auto from = path.begin() + static_cast<std::ptrdiff_t>(place_[next]);
            rings.emplace_back(from, path.end());
            for (auto gone = from + 1; gone != path.end(); ++gone) place_[*gone] = kNowhere;
            path.erase(from + 1, path.end());
        } while (path.size() > 1);
        place_[start] = kNowhere;
    }

    const qvox::LabelImage& labels_;
    const LabelExtent& extent_;
    std::size_t width_;  // of the grid of corners
    std::size_t height_;
    std::vector<std::uint8_t> steps_;  // a bit for each direction that a step leaves a corner in
    std::vector<std::size_t> place_;   // of a corner in the path that is followed
};

/// The ring's points, those between steps of one direction left out.
ClosedCurve CornersOf(const BoundarySteps& boundary, const std::vector<std::size_t>& ring) {
    ClosedCurve curve;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const CurvePoint before = boundary.PointOf(ring[(i + ring.size() - 1) % ring.size()]);
        const CurvePoint here = boundary.PointOf(ring[i]);
        const CurvePoint after = boundary.PointOf(ring[(i + 1) % ring.size()]);
        if (here.x - before.x == after.x - here.x && here.y - before.y == after.y - here.y) continue;
        curve.push_back(here);
    }
    return curve;
}

/// Even and odd crossings of the ray to the right.
bool Holds(const ClosedCurve& curve, const CurvePoint& point) {
    bool isInside = false;
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const CurvePoint& a = curve[i];
        const CurvePoint& b = curve[(i + 1) % curve.size()];
        // Every side is upright or level.
        if (a.x == b.x && a.x > point.x && (a.y > point.y) != (b.y > point.y)) isInside = !isInside;
    }
    return isInside;
}

/// The middle of a pixel of the label at the first side of a ring: to its right.
CurvePoint PixelBeside(const ClosedCurve& ring) {
    const CurvePoint& a = ring[0];
    const CurvePoint& b = ring[1];
    const double length = std::fabs(b.x - a.x) + std::fabs(b.y - a.y);
    const double dx = (b.x - a.x) / length;
    const double dy = (b.y - a.y) / length;
    return {a.x + 0.5 * dx - 0.5 * dy, a.y + 0.5 * dy + 0.5 * dx};
}

}  // namespace

std::vector<OutlinePolygon> OutlinesOf(const qvox::LabelImage& labels, const LabelExtent& extent) {
    BoundarySteps boundary(labels, extent);
    std::vector<OutlinePolygon> polygons;
    std::vector<ClosedCurve> holes;
    for (const std::vector<std::size_t>& ring : boundary.Rings()) {
        ClosedCurve curve = CornersOf(boundary, ring);
        if (SignedArea(curve) > 0.0) {
            polygons.push_back({std::move(curve), {}});
        } else {
            holes.push_back(std::move(curve));
        }
    }
    for (ClosedCurve& hole : holes) {
        // A part may lie in a hole of another: the smallest that holds the pixel is its own.
        OutlinePolygon* owner = nullptr;
        const CurvePoint pixel = PixelBeside(hole);
        for (OutlinePolygon& polygon : polygons) {
            if (!Holds(polygon.exterior, pixel)) continue;
            if (owner == nullptr || SignedArea(polygon.exterior) < SignedArea(owner->exterior)) owner = &polygon;
        }
        KORVANE_ASSERT(owner != nullptr);
        owner->holes.push_back(std::move(hole));
    }
    return polygons;
}

}  // namespace Korvane
