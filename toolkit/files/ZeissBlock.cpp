#include "files/ZeissBlock.h"

#include <string>
#include <string_view>

#include "files/LengthUnit.h"
#include "files/TextLines.h"

namespace qvox {

namespace {

std::optional<PixelSizeNm> FromLine(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view value = TrimmedView(line.substr(equals + 1));
    const std::size_t blank = value.find(' ');
    if (blank == std::string_view::npos) return std::nullopt;
    const std::optional<double> number = DecimalNumber(std::string(value.substr(0, blank)));
    const std::optional<double> micrometres = MicrometresPerUnit(std::string(value.substr(blank)));
    if (!number || !micrometres) return std::nullopt;
    const double nm = *number * *micrometres * 1000.0;
    return CheckedPixelSize(nm, nm);
}

}  // namespace

std::optional<PixelSizeNm> PixelSizeFromZeiss(const char* data, std::size_t size) {
    std::optional<std::string> image;
    std::optional<std::string> screen;
    TextLines lines(data, size);
    for (std::string_view line; lines.Next(line);) {
        std::optional<std::string>* wanted = nullptr;
        if (line == "AP_IMAGE_PIXEL_SIZE") wanted = &image;
        if (line == "AP_PIXEL_SIZE") wanted = &screen;
        if (wanted != nullptr && !*wanted && lines.Next(line)) *wanted = line;
    }
    if (image) return FromLine(*image);
    return screen ? FromLine(*screen) : std::nullopt;
}

}  // namespace qvox
