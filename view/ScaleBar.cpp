#include "ScaleBar.h"

#include <algorithm>
#include <cmath>

namespace Korvane {

namespace {

constexpr qvox::Rgb8 kBlack{0, 0, 0};
constexpr qvox::Rgb8 kWhite{255, 255, 255};
constexpr double kLongestShare = 0.25;
constexpr double kShortestPx = 4.0;
constexpr int kSmallestTextPx = 13;  // as the numbers of objects

std::string LengthText(double nm) {
    const bool isMicrometres = nm >= 1000.0;
    const double number = isMicrometres ? nm / 1000.0 : nm;
    std::string digits = std::to_string(std::llround(number * 1000.0));
    if (number >= 1.0) {
        digits.resize(digits.size() - 3);  // whole numbers: 1, 2 or 5 and zeros
    } else {
        digits = "0." + std::string(3 - digits.size(), '0') + digits;
        while (digits.back() == '0') digits.pop_back();
    }
    return digits + (isMicrometres ? " \xC2\xB5m" : " nm");
}

void FillRectangle(ColourPicture& painted, const PixelRectangle& part, const qvox::Rgb8& colour) {
    for (std::uint64_t y = part.y; y < part.y + part.height; ++y)
        std::fill_n(painted.Row(y) + part.x, part.width, colour);
}

}  // namespace

std::optional<ScaleBar> PlaceScaleBar(std::uint64_t width, std::uint64_t height, double pixelWidthNm) {
    const double longestNm = kLongestShare * static_cast<double>(width) * pixelWidthNm;
    constexpr double kShortestNm = 0.001;
    if (!(longestNm >= kShortestNm) || !std::isfinite(longestNm)) return std::nullopt;
    ScaleBar bar;
    const double power = std::pow(10.0, std::floor(std::log10(longestNm)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (step * power <= longestNm) bar.lengthNm = step * power;
    }
    const double lengthPx = bar.lengthNm / pixelWidthNm;
    const std::uint64_t margin = std::max<std::uint64_t>(4, std::min(width, height) / 40);
    bar.bar.width = static_cast<std::uint64_t>(std::llround(lengthPx));
    bar.bar.height = std::max<std::uint64_t>(3, std::min(width, height) / 130);
    bar.textHeightPx = std::max(kSmallestTextPx, static_cast<int>(std::min<std::uint64_t>(height, 100'000) / 32));
    bar.textGap = 2;
    const std::uint64_t needed = margin + bar.bar.height + static_cast<std::uint64_t>(2 * bar.textHeightPx);
    if (lengthPx < kShortestPx || height < needed || width < bar.bar.width + 2 * margin) return std::nullopt;
    bar.bar.x = width - margin - bar.bar.width;
    bar.bar.y = height - margin - bar.bar.height;
    bar.text = LengthText(bar.lengthNm);
    return bar;
}

void PaintScaleBar(ColourPicture& painted, const ScaleBar& bar, const TextMask& text) {
    FillRectangle(painted, {bar.bar.x - 1, bar.bar.y - 1, bar.bar.width + 2, bar.bar.height + 2}, kBlack);
    FillRectangle(painted, bar.bar, kWhite);
    const std::int64_t free = static_cast<std::int64_t>(bar.bar.width) - text.extent.width;
    // A text wider than its bar stays inside the image.
    const std::int64_t rightmost = static_cast<std::int64_t>(painted.SizeX()) - text.extent.width - 2;
    const std::int64_t x = std::min(static_cast<std::int64_t>(bar.bar.x) + free / 2, rightmost);
    const std::int64_t y = static_cast<std::int64_t>(bar.bar.y) - bar.textGap - text.extent.height;
    StampText(painted, x + 1, y + 1, text, kBlack);
    StampText(painted, x, y, text, kWhite);
}

}  // namespace Korvane
