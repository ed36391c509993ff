#include "files/ResolutionTags.h"

#include <tiffio.h>

#include <cfloat>
#include <cmath>
#include <cstdio>

namespace qvox {

namespace {

std::string Number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    for (char& c : text) {
        if (c == ',') c = '.';
    }
    return text;
}

}  // namespace

ResolutionTags ReadResolutionTags(tiff* file) {
    ResolutionTags tags;
    float value = 0.0f;
    std::uint16_t unit = 0;
    if (TIFFGetField(file, TIFFTAG_XRESOLUTION, &value) == 1) tags.x = static_cast<double>(value);
    // The library knows one mark for both entries: of an absent y beside an x it says that it is there and 0.
    const bool hasY = TIFFGetField(file, TIFFTAG_YRESOLUTION, &value) == 1 && value != 0.0f;
    if (hasY) tags.y = static_cast<double>(value);
    if (TIFFGetField(file, TIFFTAG_RESOLUTIONUNIT, &unit) == 1) tags.unit = unit;
    return tags;
}

float PixelsPerMicrometre(std::optional<double> pixelsPerUnit, double micrometresPerUnit) {
    if (!pixelsPerUnit) return 0.0f;
    const double value = *pixelsPerUnit / micrometresPerUnit;
    if (!(value >= static_cast<double>(FLT_MIN)) || !(value <= static_cast<double>(FLT_MAX))) return 0.0f;
    return static_cast<float>(value);
}

ResolutionFinding ResolutionFromTags(const ResolutionTags& tags) {
    if (!tags.x && !tags.y) return {{}, "the file has no resolution entry"};
    const int unit = tags.unit.value_or(RESUNIT_INCH);
    if (unit != RESUNIT_INCH && unit != RESUNIT_CENTIMETER) {
        return {{}, "the resolution entry has no unit of length"};
    }
    const double micrometres = unit == RESUNIT_INCH ? 25400.0 : 10000.0;
    PixelResolution found;
    found.x = PixelsPerMicrometre(tags.x, micrometres);
    found.y = PixelsPerMicrometre(tags.y ? tags.y : tags.x, micrometres);
    const std::string written = Number(tags.x.value_or(0.0)) + " x " + Number(tags.y.value_or(tags.x.value_or(0.0))) +
                                (unit == RESUNIT_INCH ? " pixels per inch" : " pixels per cm") +
                                (tags.unit ? "" : ", the unit not being written");
    if (found.x <= 0.0f && found.y <= 0.0f) return {{}, "the resolution entry is not a valid number (" + written + ")"};
    const bool coarseX = found.x > 0.0f && found.x < 1.0f;
    const bool coarseY = found.y > 0.0f && found.y < 1.0f;
    if (coarseX || coarseY) {
        return {{}, "the resolution entry is a print resolution, coarser than 1 um per pixel (" + written + ")"};
    }
    return {found, "resolution entry: " + written};
}

}  // namespace qvox
