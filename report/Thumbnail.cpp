#include "Thumbnail.h"

#include <algorithm>
#include <cmath>

#include "InlineSvg.h"
#include "PixelScale.h"
#include "PngEncoding.h"
#include "ReportText.h"

namespace Korvane {

namespace {

using SmallImage = qvox::VoxelImage<std::uint8_t>;

/// Every pixel of the small image is the mean of those under it.
std::vector<float> Means(const qvox::VoxelImage<float>& image, unsigned width, unsigned height) {
    const std::uint64_t columns = image.SizeX();
    const std::uint64_t rows = image.SizeY();
    std::vector<float> means;
    means.reserve(std::size_t{width} * height);
    std::vector<double> sums(width);
    for (std::uint64_t y = 0; y < height; ++y) {
        const std::uint64_t firstRow = y * rows / height;
        const std::uint64_t endRow = std::max(firstRow + 1, (y + 1) * rows / height);
        std::fill(sums.begin(), sums.end(), 0.0);
        for (std::uint64_t row = firstRow; row < endRow; ++row) {
            const float* const values = image.Row(row);
            for (std::uint64_t x = 0; x < width; ++x) {
                const std::uint64_t first = x * columns / width;
                const std::uint64_t end = std::max(first + 1, (x + 1) * columns / width);
                double sum = 0.0;
                for (std::uint64_t i = first; i < end; ++i) sum += static_cast<double>(values[i]);
                sums[x] += sum / static_cast<double>((end - first) * (endRow - firstRow));
            }
        }
        for (const double sum : sums) means.push_back(static_cast<float>(sum));
    }
    return means;
}

SmallImage Reduced(const qvox::VoxelImage<float>& image, unsigned widthPx) {
    const PixelScale scale = ScaleOf(image.Resolution());
    const auto width = static_cast<unsigned>(std::min<std::uint64_t>(widthPx, image.SizeX()));
    const double exactHeight = static_cast<double>(width) * static_cast<double>(image.SizeY()) * scale.heightNm /
                               (static_cast<double>(image.SizeX()) * scale.widthNm);
    const auto height = static_cast<unsigned>(std::clamp(std::floor(exactHeight + 0.5), 1.0, 8.0 * widthPx));
    const std::vector<float> means = Means(image, width, height);
    std::vector<float> ordered;
    std::copy_if(means.begin(), means.end(), std::back_inserter(ordered), [](float v) { return std::isfinite(v); });
    std::sort(ordered.begin(), ordered.end());
    const float low = ordered.empty() ? 0.0f : ordered[ordered.size() / 100];
    const float high = ordered.empty() ? 1.0f : ordered[ordered.size() - 1 - ordered.size() / 100];
    const float span = high > low ? high - low : 1.0f;
    SmallImage small;
    small.Resize(width, height, 1);
    std::transform(means.begin(), means.end(), small.begin(), [&](float mean) {
        // 64 levels: the eye sees no difference in a thumbnail, and the file is half as large.
        const float level = std::isfinite(mean) ? std::clamp((mean - low) / span, 0.0f, 1.0f) : 0.0f;
        return static_cast<std::uint8_t>(std::floor(level * 63.0f + 0.5f) * 255.0f / 63.0f);
    });
    return small;
}

/// A polygon whose corners lie some two pixels of the thumbnail apart.
std::string PolygonText(const ClosedCurve& outline, double xScale, double yScale) {
    double length = 0.0;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const CurvePoint& a = outline[i];
        const CurvePoint& b = outline[(i + 1) % outline.size()];
        length += std::sqrt((b.x - a.x) * (b.x - a.x) * xScale * xScale + (b.y - a.y) * (b.y - a.y) * yScale * yScale);
    }
    const int corners = static_cast<int>(std::clamp(length / 2.0, 8.0, 96.0));
    std::string text;
    for (const CurvePoint& point : Resampled(outline, corners)) {
        text += (text.empty() ? "" : " ") + FixedText((point.x + 0.5) * xScale, 1) + "," +
                FixedText((point.y + 0.5) * yScale, 1);
    }
    return text;
}

/// A bar of 1, 2 or 5 times a power of ten nanometres, at most a third of the width.
std::string ScaleBar(double thumbnailNm, std::uint64_t width, std::uint64_t height) {
    double length = 0.0;
    for (const double unit : {1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7}) {
        for (const double times : {1.0, 2.0, 5.0}) {
            if (times * unit <= thumbnailNm / 3.0) length = times * unit;
        }
    }
    if (length <= 0.0) return "";
    const double pixels = length / thumbnailNm * static_cast<double>(width);
    const std::string y = FixedText(static_cast<double>(height) - 6.0, 1);
    return "<path class=\"bar\" d=\"M6," + y + "h" + FixedText(pixels, 1) + "\"/><text class=\"bar\" x=\"6\" y=\"" +
           FixedText(static_cast<double>(height) - 12.0, 1) + "\">" + TableNumber(length) + " nm</text>";
}

}  // namespace

std::string ThumbnailSvg(const qvox::VoxelImage<float>& image, const std::vector<ThumbnailObject>& objects,
                         unsigned widthPx, const std::string& title) {
    const SmallImage small = Reduced(image, widthPx);
    const std::string width = std::to_string(small.SizeX());
    const std::string height = std::to_string(small.SizeY());
    std::string svg = "<svg class=\"thumbnail\" role=\"img\" aria-label=\"" + HtmlText(title) + "\" width=\"" + width +
                      "\" height=\"" + height + "\" viewBox=\"0 0 " + width + " " + height + "\"><image width=\"" +
                      width + "\" height=\"" + height + "\" href=\"data:image/png;base64," + Base64(EncodePng(small)) +
                      "\"/>";
    const double xScale = static_cast<double>(small.SizeX()) / static_cast<double>(image.SizeX());
    const double yScale = static_cast<double>(small.SizeY()) / static_cast<double>(image.SizeY());
    for (const ThumbnailObject& object : objects) {
        const std::string kind = object.isCounted ? "counted" : "other";
        if (!object.outline.empty()) {
            svg += "<polygon class=\"" + kind + "\" points=\"" + PolygonText(object.outline, xScale, yScale) + "\"/>";
        }
        svg += "<text class=\"" + kind + "\" x=\"" + FixedText((object.xPx + 0.5) * xScale, 1) + "\" y=\"" +
               FixedText((object.yPx + 0.5) * yScale + 3.0, 1) + "\">" + std::to_string(object.label) + "</text>";
    }
    const double widthNm = static_cast<double>(image.SizeX()) * ScaleOf(image.Resolution()).widthNm;
    return svg + ScaleBar(widthNm, small.SizeX(), small.SizeY()) + "</svg>";
}

unsigned ThumbnailWidth(std::size_t images) { return images <= 24 ? 480 : images <= 120 ? 320 : 240; }

}  // namespace Korvane
