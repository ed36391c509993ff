#include "ReportText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace Korvane {

namespace {

std::string NumberText(std::optional<double> value, std::chars_format format, int precision) {
    if (!value || !std::isfinite(*value)) return "";
    // The largest double has 309 digits before the point.
    std::array<char, 340> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), *value, format, precision).ptr;
    return {text.data(), end};
}

}  // namespace

std::string FixedText(std::optional<double> value, int decimals) {
    return NumberText(value, std::chars_format::fixed, decimals);
}

std::string TableNumber(std::optional<double> value) { return NumberText(value, std::chars_format::general, 7); }

std::string IntervalText(const std::optional<Interval>& interval, int decimals) {
    if (!interval) return "";
    return FixedText(interval->low, decimals) + " to " + FixedText(interval->high, decimals);
}

std::string CsvField(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (const char c : field) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

std::string CsvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) line += (&field == fields.data() ? "" : ",") + CsvField(field);
    return line + "\r\n";
}

std::string Base64(const std::string& bytes) {
    static constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t left = bytes.size() - i;
        const auto at = [&](std::size_t k) { return std::uint32_t{static_cast<unsigned char>(bytes[i + k])}; };
        const std::uint32_t group = (at(0) << 16U) | (left > 1 ? at(1) << 8U : 0U) | (left > 2 ? at(2) : 0U);
        text += kDigits[group >> 18U];
        text += kDigits[(group >> 12U) & 63U];
        text += left > 1 ? kDigits[(group >> 6U) & 63U] : '=';
        text += left > 2 ? kDigits[group & 63U] : '=';
    }
    return text;
}

std::string Counted(std::size_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string DiameterText(const std::string& column) {
    if (column == "diameter_nm") return "diameter of the circle of the label's area";
    if (column == "edge_diameter_nm") return "diameter at the steepest place of the edge";
    if (column == "rim_diameter_nm") return "diameter at the middle of the rim";
    if (column == "feret_max_nm") return "largest Feret diameter";
    if (column == "feret_min_nm") return "smallest Feret diameter";
    return column;
}

}  // namespace Korvane
