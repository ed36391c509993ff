#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>

#include "RegionFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

// ImageJ's RoiDecoder: a header of 64 bytes, numbers most significant byte first, then coordinates.
constexpr std::size_t kHeaderBytes = 64;
constexpr std::size_t kTypeAt = 6;
constexpr std::size_t kBoundsAt = 8;
constexpr std::size_t kCountAt = 16;
constexpr std::size_t kCompositeAt = 36;
constexpr std::size_t kOptionsAt = 50;
constexpr std::uint16_t kVersion = 227;
constexpr std::uint16_t kSubPixel = 128;
constexpr std::uint8_t kPolygonType = 0;
constexpr std::uint8_t kRectangleType = 1;  // with a composite behind it
constexpr std::uint8_t kTracedType = 8;
// The decoder takes 16-bit numbers above 60,535 for negative ones.
constexpr double kLargestCoordinate = 60000.0;
constexpr std::size_t kMostPoints = 65535;
constexpr float kMoveTo = 0.0f;
constexpr float kLineTo = 1.0f;
constexpr float kClose = 4.0f;

class Bytes {
public:
    void Put16(std::size_t at, std::uint16_t value) {
        text_[at] = static_cast<char>(value >> 8);
        text_[at + 1] = static_cast<char>(value & 0xFF);
    }
    void Put32(std::size_t at, std::uint32_t value) {
        Put16(at, static_cast<std::uint16_t>(value >> 16));
        Put16(at + 2, static_cast<std::uint16_t>(value & 0xFFFF));
    }
    void Set(std::size_t at, std::uint8_t value) { text_[at] = static_cast<char>(value); }
    void Add16(double value) {
        text_.resize(text_.size() + 2);
        Put16(text_.size() - 2, static_cast<std::uint16_t>(value));
    }
    void AddFloat(double value) {
        const auto number = static_cast<float>(value);
        std::uint32_t bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        text_.resize(text_.size() + 4);
        Put32(text_.size() - 4, bits);
    }
    std::string Text() const { return text_; }

private:
    std::string text_ = std::string("Iout") + std::string(kHeaderBytes - 4, '\0');
};

/// From the centre of the first pixel to its corner.
double FromCorner(double coordinate) { return coordinate + 0.5; }

struct Bounds {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;
};

Bounds BoundsOf(const ImageRegion& region) {
    const CurvePoint& first = region.polygons.front().exterior.front();
    Bounds bounds{first.x, first.y, first.x, first.y};
    for (const OutlinePolygon& polygon : region.polygons) {
        for (const CurvePoint& point : polygon.exterior) {
            bounds.left = std::min(bounds.left, point.x);
            bounds.top = std::min(bounds.top, point.y);
            bounds.right = std::max(bounds.right, point.x);
            bounds.bottom = std::max(bounds.bottom, point.y);
        }
    }
    const auto whole = [](double low, double high) {
        return std::pair{std::max(0.0, std::floor(FromCorner(low))), std::max(0.0, std::ceil(FromCorner(high)))};
    };
    std::tie(bounds.left, bounds.right) = whole(bounds.left, bounds.right);
    std::tie(bounds.top, bounds.bottom) = whole(bounds.top, bounds.bottom);
    if (std::max(bounds.right, bounds.bottom) > kLargestCoordinate) {
        throw qvox::ToolkitError("The region '" + region.name + "' lies beyond the 60000 pixels of ImageJ's regions.");
    }
    return bounds;
}

bool RunsAlongPixels(const ClosedCurve& curve) {
    return std::all_of(curve.begin(), curve.end(), [](const CurvePoint& point) {
        return FromCorner(point.x) == std::floor(FromCorner(point.x)) &&
               FromCorner(point.y) == std::floor(FromCorner(point.y));
    });
}

void AddPolygon(Bytes& bytes, const ClosedCurve& curve, const Bounds& bounds) {
    const bool isTraced = RunsAlongPixels(curve);
    bytes.Set(kTypeAt, isTraced ? kTracedType : kPolygonType);
    bytes.Put16(kCountAt, static_cast<std::uint16_t>(curve.size()));
    for (const CurvePoint& point : curve) bytes.Add16(std::max(0.0, std::floor(FromCorner(point.x)) - bounds.left));
    for (const CurvePoint& point : curve) bytes.Add16(std::max(0.0, std::floor(FromCorner(point.y)) - bounds.top));
    if (isTraced) return;
    bytes.Put16(kOptionsAt, kSubPixel);
    for (const CurvePoint& point : curve) bytes.AddFloat(FromCorner(point.x));
    for (const CurvePoint& point : curve) bytes.AddFloat(FromCorner(point.y));
}

std::uint32_t AddRing(Bytes& bytes, const ClosedCurve& ring) {
    for (std::size_t i = 0; i < ring.size(); ++i) {
        bytes.AddFloat(static_cast<double>(i == 0 ? kMoveTo : kLineTo));
        bytes.AddFloat(FromCorner(ring[i].x));
        bytes.AddFloat(FromCorner(ring[i].y));
    }
    bytes.AddFloat(static_cast<double>(kClose));
    return static_cast<std::uint32_t>(3 * ring.size() + 1);
}

void AddComposite(Bytes& bytes, const ImageRegion& region) {
    bytes.Set(kTypeAt, kRectangleType);
    std::uint32_t numbers = 0;
    for (const OutlinePolygon& polygon : region.polygons) {
        numbers += AddRing(bytes, polygon.exterior);
        for (const ClosedCurve& hole : polygon.holes) numbers += AddRing(bytes, hole);
    }
    bytes.Put32(kCompositeAt, numbers);
}

}  // namespace

std::string ImageJRegion(const ImageRegion& region) {
    const Bounds bounds = BoundsOf(region);
    Bytes bytes;
    bytes.Put16(4, kVersion);
    const double sides[] = {bounds.top, bounds.left, bounds.bottom, bounds.right};
    for (std::size_t i = 0; i < 4; ++i) bytes.Put16(kBoundsAt + 2 * i, static_cast<std::uint16_t>(sides[i]));
    const OutlinePolygon& first = region.polygons.front();
    if (region.polygons.size() == 1 && first.holes.empty() && first.exterior.size() <= kMostPoints) {
        AddPolygon(bytes, first.exterior, bounds);
    } else {
        AddComposite(bytes, region);
    }
    return bytes.Text();
}

}  // namespace Korvane
