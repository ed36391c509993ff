#include "files/JeolXml.h"

#include <algorithm>
#include <pugixml.hpp>
#include <string_view>

#include "files/LengthUnit.h"
#include "files/TextLines.h"

namespace qvox {

namespace {

// The parsed tree takes up to eighteen times the text.
constexpr std::size_t kLongestXml = std::size_t{2} << 20;

std::optional<double> NanometresPerUnit(const ResolutionTags& tags) {
    if (tags.unit.value_or(2) == 2) return 25.4e6;
    if (tags.unit == 3) return 1e7;
    return std::nullopt;
}

}  // namespace

JeolFinding ReadJeolXml(const char* data, std::size_t size, const ResolutionTags& tags) {
    JeolFinding finding;
    if (size == 0 || size > kLongestXml) return finding;
    const char* end = std::find(data, data + size, '\0');
    const std::string_view text(data, static_cast<std::size_t>(end - data));
    if (TrimmedView(text).substr(0, 1) != "<" || text.find("<TemReporter") == std::string_view::npos) return finding;
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size(), pugi::parse_minimal | pugi::parse_escapes)) return finding;
    const pugi::xml_node root = document.child("TemReporter");
    if (!root) return finding;
    finding.isJeol = true;

    const pugi::xml_node system = root.child("ImageFormingSystem");
    const std::string mode = Trimmed(system.child_value("ModeString"));
    if (mode != "MAG") {
        finding.reason = "the JEOL description is not of a magnified image (mode \"" + mode.substr(0, 20) + "\")";
        return finding;
    }
    finding.reason = "the JEOL description gives no valid magnification";
    const std::optional<double> magnification = DecimalNumber(system.child_value("SelectorValue"));
    const std::string unit = Trimmed(system.child_value("SelectorUnitString"));
    if (!magnification || (!unit.empty() && unit != "X")) return finding;
    const std::optional<double> nanometres = NanometresPerUnit(tags);
    if (!nanometres || !tags.x) {
        finding.reason = "the JEOL description needs resolution entries with a unit";
        return finding;
    }
    finding.size = CheckedPixelSize(*nanometres / *tags.x / *magnification,
                                    *nanometres / tags.y.value_or(*tags.x) / *magnification);
    if (finding.size) finding.reason.clear();
    return finding;
}

VendorAnswer ReadJeolDescription(const VendorPage& page, std::uint32_t) {
    const JeolFinding finding = ReadJeolXml(page.Description().data(), page.Description().size(), page.Tags());
    if (!finding.isJeol) return {};
    return {VendorAnswer::Presence::kPresent, finding.size, finding.reason};
}

}  // namespace qvox
