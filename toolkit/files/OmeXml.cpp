#include "files/OmeXml.h"

#include <charconv>
#include <cstring>
#include <optional>
#include <pugixml.hpp>

#include "files/LengthUnit.h"

namespace qvox {

namespace {

// The parsed tree takes up to eighteen times the text.
constexpr std::size_t kLongestXml = std::size_t{2} << 20;

bool IsNamed(const pugi::xml_node& node, const char* name) {
    const char* colon = std::strchr(node.name(), ':');
    return std::strcmp(colon == nullptr ? node.name() : colon + 1, name) == 0;
}

pugi::xml_node Child(const pugi::xml_node& parent, const char* name) {
    return parent.find_child([name](const pugi::xml_node& node) { return IsNamed(node, name); });
}

float Axis(const pugi::xml_node& pixels, const std::string& attribute) {
    const std::optional<double> size = DecimalNumber(pixels.attribute(attribute.c_str()).value());
    const pugi::xml_attribute unit = pixels.attribute((attribute + "Unit").c_str());
    const std::optional<double> micrometres = unit.empty() ? 1.0 : MicrometresPerUnit(unit.value());
    if (!size || !micrometres || !(*size > 0.0)) return 0.0f;
    return PixelsPerMicrometre(1.0 / *size, *micrometres);
}

// A height that is missing, or 0, is the width.
float Height(const pugi::xml_node& pixels, float width) {
    const pugi::xml_attribute height = pixels.attribute("PhysicalSizeY");
    if (!height || DecimalNumber(height.value()) == 0.0) return width;
    return Axis(pixels, "PhysicalSizeY");
}

std::uint64_t Count(const pugi::xml_node& pixels, const char* attribute) {
    const char* text = pixels.attribute(attribute).value();
    std::uint32_t count = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), count);
    return error == std::errc() && *end == '\0' && count > 0 ? count : 1;
}

StackLayout Stack(const pugi::xml_node& pixels) {
    StackLayout stack{Count(pixels, "SizeZ"), 1};
    const std::string order = pixels.attribute("DimensionOrder").value();
    const std::size_t z = order.find('Z');
    if (z == std::string::npos) return stack;
    if (order.find('C') < z) stack.pageStride *= Count(pixels, "SizeC");
    if (order.find('T') < z) stack.pageStride *= Count(pixels, "SizeT");
    return stack;
}

}  // namespace

OmeFinding ReadOmeXml(const std::string& description) {
    OmeFinding finding;
    if (description.find('<') != description.find_first_not_of(" \t\r\n\xEF\xBB\xBF")) return finding;
    if (description.size() > kLongestXml || description.find("OME") == std::string::npos) return finding;
    pugi::xml_document document;
    if (!document.load_buffer(description.data(), description.size(), pugi::parse_minimal | pugi::parse_escapes)) {
        return finding;
    }
    const pugi::xml_node root = Child(document, "OME");
    if (!root) return finding;
    finding.isOme = true;
    const pugi::xml_node pixels =
        Child(Child(root, "Image"), "Pixels");  // absent where another file has the description
    finding.stack = Stack(pixels);
    PixelResolution& found = finding.size.resolution;
    found.x = Axis(pixels, "PhysicalSizeX");
    found.y = Height(pixels, found.x);
    found.z = Axis(pixels, "PhysicalSizeZ");
    if (found.x <= 0.0f && found.y <= 0.0f) {
        finding.size = {{}, "the OME-XML description gives no physical size"};
    } else {
        finding.size.note = "OME-XML description: PhysicalSizeX and PhysicalSizeY";
    }
    return finding;
}

}  // namespace qvox
