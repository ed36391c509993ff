#pragma once

#include <cstdint>

namespace Korvane {

inline constexpr int kMinZoomLevel = -13;
inline constexpr int kMaxZoomLevel = 13;
inline constexpr float kZoomBase = 1.2f;
inline constexpr int kKeyboardScrollStepPx = 50;  ///< client pixels per press of an arrow key

/// A point of the canvas, in client pixels: of the window, or of the whole scrolled area for a view start.
struct ClientPoint {
    int x = 0;
    int y = 0;
};
inline bool operator==(const ClientPoint& a, const ClientPoint& b) { return a.x == b.x && a.y == b.y; }

/// A size in client pixels.
struct ClientSize {
    int width = 0;
    int height = 0;
};
inline bool operator==(const ClientSize& a, const ClientSize& b) { return a.width == b.width && a.height == b.height; }

/// A point of the image, in voxels; voxel (i, j) covers [i, i + 1) x [j, j + 1).
struct ImagePoint {
    float x = 0.0f;
    float y = 0.0f;
};

/// The part of an image that the canvas shows. Image sizes of 0 mean that no image is shown.
struct ViewState {
    int zoomLevel = 0;
    ClientPoint start;  ///< the extent scrolled out at the left and the top, in client pixels
    ClientSize client;  ///< the visible area
    std::uint64_t imageWidth = 0;
    std::uint64_t imageHeight = 0;
};

/// The level within kMinZoomLevel .. kMaxZoomLevel.
int ClampZoomLevel(int level);

/// Client pixels per voxel at a level: kZoomBase to its power, in single precision. The level is clamped.
float ZoomFactor(int level);

/// The scrolled area: image size times zoom factor in single precision, truncated.
ClientSize VirtualSize(const ViewState& view);

/// Whether a point lies in the client area.
bool PointerInside(const ClientSize& client, const ClientPoint& pointer);

/// (start + pointer) / zoom factor in single precision.
ImagePoint ClientToImage(const ViewState& view, const ClientPoint& pointer);

/// Where the view must start after a change of zoom so that the image point under the pointer stays: the point is
/// rounded up to a whole voxel, the new start is truncated. A pointer outside the client area counts as the centre
/// (halves rounded down). The scrolled widget may have to clamp the result: it can be negative, or beyond the end.
ClientPoint RescaledStart(const ViewState& view, float newFactor, const ClientPoint& pointer);

/// A start as a scrolled widget takes it: not negative, and not so far that less than a client area is left to show.
ClientPoint ClampStart(const ViewState& view, const ClientPoint& start);

/// The outcome of a change of zoom, to be handed to the scrolled widget in this order.
struct ZoomChange {
    int level = 0;
    float factor = 1.0f;
    ClientSize virtualSize;
    ClientPoint start;  ///< not clamped to what the widget can scroll to
};

/// The change that a requested level makes. Levels out of range are clamped, and the rescaling is done also when the
/// level stays. Without an image, size and start are 0 and nothing is to be scrolled.
ZoomChange ChangeZoom(const ViewState& view, int requestedLevel, const ClientPoint& pointer);

/// The largest level at which the whole image is visible without scrolling; kMinZoomLevel where none is small enough.
int FittedZoomLevel(const ViewState& view);

enum class ScrollDirection { kLeft, kRight, kUp, kDown };

/// Where an arrow key scrolls to, not clamped.
ClientPoint KeyboardScrolled(const ViewState& view, ScrollDirection direction);

enum class WheelAxis { kVertical, kHorizontal };

/// How many levels to zoom by for one event of the wheel: one, in the direction of its rotation, however far that was;
/// none for a rotation of 0 or about the horizontal axis.
int WheelSteps(int rotation, WheelAxis axis);

/// The client size of a frame that shows an image without scrolling, if the screen allows: along each axis the smaller
/// of 85 % of the screen (truncated) and the image with a margin of 4.
ClientSize FittedClientSize(const ClientSize& screen, std::uint64_t imageWidth, std::uint64_t imageHeight);

}  // namespace Korvane
