#include "files/FeiBlock.h"

#include <string>
#include <string_view>

#include "files/LengthUnit.h"
#include "files/TextLines.h"

namespace qvox {

namespace {

constexpr double kNanometresPerMetre = 1e9;

}  // namespace

std::optional<PixelSizeNm> PixelSizeFromFei(const char* data, std::size_t size) {
    std::optional<std::string> width;
    std::optional<std::string> height;
    bool inScan = false;
    TextLines lines(data, size);
    for (std::string_view line; lines.Next(line);) {
        if (!line.empty() && line.front() == '[') inScan = line == "[Scan]";
        const std::size_t equals = line.find('=');
        if (!inScan || equals == std::string_view::npos) continue;
        const std::string_view key = TrimmedView(line.substr(0, equals));
        if (key == "PixelWidth" && !width) width = line.substr(equals + 1);
        if (key == "PixelHeight" && !height) height = line.substr(equals + 1);
    }
    if (!width || !height) return std::nullopt;
    const std::optional<double> x = DecimalNumber(*width);
    const std::optional<double> y = DecimalNumber(*height);
    if (!x || !y) return std::nullopt;
    return CheckedPixelSize(*x * kNanometresPerMetre, *y * kNanometresPerMetre);
}

}  // namespace qvox
