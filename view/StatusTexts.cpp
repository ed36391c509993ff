#include "StatusTexts.h"

#include <charconv>
#include <cmath>

namespace Korvane {

namespace {

constexpr double kNmPerUm = 1000.0;

bool Known(float pxPerUm) { return std::isfinite(pxPerUm) && pxPerUm > 0.0f; }

std::string PixelNm(float pxPerUm) {
    // The longest text: 1000 nm over the smallest float has 49 digits before the point.
    std::array<char, 64> text{};
    const double nm = kNmPerUm / static_cast<double>(pxPerUm);
    const auto end = std::to_chars(text.data(), text.data() + text.size(), nm, std::chars_format::fixed, 1);
    return std::string(text.data(), end.ptr);
}

std::string ShortNumber(double number) {
    std::array<char, 64> text{};
    constexpr int kDigits = 6;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, kDigits);
    return std::string(text.data(), end.ptr);
}

std::string PixelSize(const qvox::PixelResolution& resolution) {
    if (!Known(resolution.x) || !Known(resolution.y)) return "Pixel size: unknown";
    return "Pixel size: " + PixelNm(resolution.x) + "x" + PixelNm(resolution.y) + " nm";
}

}  // namespace

std::string PointerText(const PointerFacts& facts) {
    std::string text = std::to_string(facts.at.x) + ", " + std::to_string(facts.at.y) + ": grey " +
                       ShortNumber(static_cast<double>(facts.grey));
    if (facts.label != 0) text += ", label " + std::to_string(facts.label);
    return text;
}

std::string RangeText(const DisplayRange& range) {
    return "from percentile " + ShortNumber(range.lowPercent) + " to " + ShortNumber(range.highPercent);
}

StatusFields StatusTexts(const StatusFacts& facts) {
    const bool contour = facts.mode == DrawingMode::kContour;
    return {PixelSize(facts.resolution), "Label: " + std::to_string(facts.currentLabel),
            "Radius: " + std::to_string(contour ? 1 : facts.brushRadiusPx),
            "Objects: " + std::to_string(facts.objectCount), contour ? "Mode: Contour" : "Mode: Brush"};
}

StatusFields StatusTextsWithoutPosition() {
    return {"Pixel size: -", "Label: -", "Radius: -", "Objects: -", "Mode: -"};
}

std::wstring PositionTitle(std::size_t index, std::size_t count, const std::wstring& path) {
    return L"Position [" + std::to_wstring(index + 1) + L"/" + std::to_wstring(count) + L"] - " + path;
}

}  // namespace Korvane
