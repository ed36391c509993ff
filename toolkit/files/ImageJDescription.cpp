#include "files/ImageJDescription.h"

#include <tiff.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "files/LengthUnit.h"

namespace qvox {

namespace {

// ImageJ writes a dozen; a map of a million takes far more memory than its text.
constexpr std::size_t kMostEntries = 10000;

std::string ValueOf(const Description& entries, const std::string& key) {
    const auto at = entries.find(key);
    return at == entries.end() ? "" : at->second;
}

// A count of planes; 1 for what is absent or no sensible number.
std::uint64_t CountOf(const Description& entries, const std::string& key) {
    const std::string text = Trimmed(ValueOf(entries, key));
    std::uint32_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    return error == std::errc() && end == text.data() + text.size() && count > 0 ? count : 1;
}

}  // namespace

bool IsImageJDescription(const std::string& description) { return description.compare(0, 7, "ImageJ=") == 0; }

Description ImageJEntries(const std::string& description) {
    Description entries;
    std::size_t at = 0;
    while (at < description.size() && entries.size() < kMostEntries) {
        const std::size_t end = std::min(description.find('\n', at), description.size());
        const std::size_t equals = description.find('=', at);
        if (equals < end) {
            std::string value = description.substr(equals + 1, end - equals - 1);
            if (!value.empty() && value.back() == '\r') value.pop_back();
            entries.emplace(description.substr(at, equals - at), std::move(value));
        }
        at = end + 1;
    }
    return entries;
}

ResolutionFinding ResolutionFromImageJ(const Description& entries, const ResolutionTags& tags) {
    const std::string unit = Trimmed(ValueOf(entries, "unit"));
    if (unit.empty()) return {{}, "the ImageJ description has no unit"};
    const std::optional<double> sizeX = MicrometresPerUnit(unit);
    if (!sizeX) return {{}, "the unit \"" + unit.substr(0, 40) + "\" of the ImageJ description is no length"};
    if (!tags.x) return {{}, "the ImageJ description has a unit, but the file has no resolution entry"};
    const std::string unitY = Trimmed(ValueOf(entries, "yunit"));
    const std::optional<double> sizeY = unitY.empty() ? sizeX : MicrometresPerUnit(unitY);
    // ImageJ's own exception: micrometres beside entries per centimetre.
    const double perCm = tags.unit == RESUNIT_CENTIMETER && *sizeX == 1.0 ? 10000.0 : 1.0;

    PixelResolution found;
    found.x = PixelsPerMicrometre(tags.x, *sizeX * perCm);
    if (sizeY) found.y = PixelsPerMicrometre(tags.y ? tags.y : tags.x, *sizeY * perCm);
    if (found.x <= 0.0f && found.y <= 0.0f) return {{}, "the resolution entry is not a valid number"};
    const auto isPrintSize = [](const std::optional<double>& size, float pixelsPerUm) {
        return size && *size == 25400.0 && pixelsPerUm > 0.0f && pixelsPerUm < 1.0f;
    };
    if (isPrintSize(sizeX, found.x) || isPrintSize(sizeY, found.y)) {
        return {{}, "the ImageJ description's inches give a print resolution, coarser than 1 um per pixel"};
    }
    const std::optional<double> spacing = DecimalNumber(ValueOf(entries, "spacing"));
    const std::string unitZ = Trimmed(ValueOf(entries, "zunit"));
    const std::optional<double> sizeZ = unitZ.empty() ? sizeX : MicrometresPerUnit(unitZ);
    if (spacing && sizeZ && std::abs(*spacing) > 0.0) {
        found.z = PixelsPerMicrometre(1.0 / std::abs(*spacing), *sizeZ);
    }
    return {found, "ImageJ description: resolution entry in pixels per " + unit.substr(0, 40)};
}

StackLayout StackFromImageJ(const Description& entries) {
    const std::uint64_t channels = CountOf(entries, "channels");
    const std::uint64_t slices = CountOf(entries, "slices");
    const std::uint64_t frames = CountOf(entries, "frames");
    if (channels == 1 && slices == 1 && frames == 1) return {CountOf(entries, "images"), 1};
    return {slices, channels};  // channels vary fastest, then slices, then frames
}

}  // namespace qvox
