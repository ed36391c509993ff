#include "ViewTransform.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace Korvane {

namespace {

constexpr std::uint64_t kFitMarginPx = 4;

/// Truncates; what no int can hold becomes the nearest one, NaN 0.
int Truncated(float value) {
    constexpr float kLimit = 2147483648.0f;
    if (value >= kLimit) return std::numeric_limits<int>::max();
    if (value <= -kLimit) return std::numeric_limits<int>::min();
    return value == value ? static_cast<int>(value) : 0;
}

int Sum(int a, int b) {
    const std::int64_t sum = std::int64_t{a} + b;
    return static_cast<int>(
        std::clamp<std::int64_t>(sum, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

int ScaledSize(std::uint64_t size, float factor) { return Truncated(static_cast<float>(size) * factor); }

float ToImage(int start, int pointer, float factor) {
    return static_cast<float>(std::int64_t{start} + pointer) / factor;
}

int RescaledStart(int start, int pointer, float oldFactor, float newFactor) {
    const float point = std::ceil(ToImage(start, pointer, oldFactor));
    return Truncated(point * newFactor - static_cast<float>(pointer));
}

bool ShowsImage(const ViewState& view) { return view.imageWidth > 0 && view.imageHeight > 0; }

int Fitted(int screen, std::uint64_t image) {
    const auto most = static_cast<std::uint64_t>(std::max(screen, 0)) * 85 / 100;
    return static_cast<int>(image < most ? std::min(most, image + kFitMarginPx) : most);
}

}  // namespace

int ClampZoomLevel(int level) { return std::clamp(level, kMinZoomLevel, kMaxZoomLevel); }

float ZoomFactor(int level) {
    // The C library's power may differ between processors in the last bit.
    const int clamped = ClampZoomLevel(level);
    double factor = 1.0;
    for (int i = 0; i < std::abs(clamped); ++i) factor *= static_cast<double>(kZoomBase);
    return static_cast<float>(clamped < 0 ? 1.0 / factor : factor);
}

ClientSize VirtualSize(const ViewState& view) {
    const float factor = ZoomFactor(view.zoomLevel);
    return {ScaledSize(view.imageWidth, factor), ScaledSize(view.imageHeight, factor)};
}

bool PointerInside(const ClientSize& client, const ClientPoint& pointer) {
    return pointer.x >= 0 && pointer.y >= 0 && pointer.x < client.width && pointer.y < client.height;
}

ImagePoint ClientToImage(const ViewState& view, const ClientPoint& pointer) {
    const float factor = ZoomFactor(view.zoomLevel);
    return {ToImage(view.start.x, pointer.x, factor), ToImage(view.start.y, pointer.y, factor)};
}

ClientPoint RescaledStart(const ViewState& view, float newFactor, const ClientPoint& pointer) {
    const ClientPoint fixed =
        PointerInside(view.client, pointer) ? pointer : ClientPoint{view.client.width / 2, view.client.height / 2};
    const float oldFactor = ZoomFactor(view.zoomLevel);
    return {RescaledStart(view.start.x, fixed.x, oldFactor, newFactor),
            RescaledStart(view.start.y, fixed.y, oldFactor, newFactor)};
}

ClientPoint ClampStart(const ViewState& view, const ClientPoint& start) {
    const ClientSize size = VirtualSize(view);
    return {std::clamp(start.x, 0, std::max(0, size.width - view.client.width)),
            std::clamp(start.y, 0, std::max(0, size.height - view.client.height))};
}

ZoomChange ChangeZoom(const ViewState& view, int requestedLevel, const ClientPoint& pointer) {
    ZoomChange change;
    change.level = ClampZoomLevel(requestedLevel);
    change.factor = ZoomFactor(change.level);
    if (!ShowsImage(view)) return change;
    ViewState zoomed = view;
    zoomed.zoomLevel = change.level;
    change.virtualSize = VirtualSize(zoomed);
    change.start = RescaledStart(view, change.factor, pointer);
    return change;
}

int FittedZoomLevel(const ViewState& view) {
    ViewState tried = view;
    for (tried.zoomLevel = kMaxZoomLevel; tried.zoomLevel > kMinZoomLevel; --tried.zoomLevel) {
        const ClientSize size = VirtualSize(tried);
        if (size.width <= view.client.width && size.height <= view.client.height) break;
    }
    return tried.zoomLevel;
}

ClientPoint KeyboardScrolled(const ViewState& view, ScrollDirection direction) {
    ClientPoint start = view.start;
    switch (direction) {
        case ScrollDirection::kLeft:
            start.x = Sum(start.x, -kKeyboardScrollStepPx);
            break;
        case ScrollDirection::kRight:
            start.x = Sum(start.x, kKeyboardScrollStepPx);
            break;
        case ScrollDirection::kUp:
            start.y = Sum(start.y, -kKeyboardScrollStepPx);
            break;
        case ScrollDirection::kDown:
            start.y = Sum(start.y, kKeyboardScrollStepPx);
            break;
    }
    return start;
}

int WheelSteps(int rotation, WheelAxis axis) {
    if (axis != WheelAxis::kVertical) return 0;
    return rotation > 0 ? 1 : rotation < 0 ? -1 : 0;
}

ClientSize FittedClientSize(const ClientSize& screen, std::uint64_t imageWidth, std::uint64_t imageHeight) {
    return {Fitted(screen.width, imageWidth), Fitted(screen.height, imageHeight)};
}

}  // namespace Korvane
