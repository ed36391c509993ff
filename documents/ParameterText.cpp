#include "ParameterText.h"

#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

namespace Korvane {

namespace {

std::optional<double> NumberFromText(const wxString& text) {
    std::string digits = wxString(text).Trim(true).Trim(false).utf8_string();
    if (const std::size_t comma = digits.find(','); comma != std::string::npos) digits[comma] = '.';
    const char* first = digits.data();
    const char* const end = first + digits.size();
    // A sign that from_chars does not know.
    if (first != end && *first == '+' && first + 1 != end && first[1] != '-') ++first;
    double value = 0.0;
    const std::from_chars_result read = std::from_chars(first, end, value);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return value;
}

}  // namespace

std::optional<double> PositiveNumberFromText(const wxString& text) {
    const std::optional<double> number = NumberFromText(text);
    return number && *number > 0.0 && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<float> ParameterFromText(const wxString& text, const ParameterRange& range) {
    const std::optional<double> typed = NumberFromText(text);
    if (!typed) return std::nullopt;
    const double value = *typed;
    const auto number = static_cast<float>(value);
    if (!(number >= range.minimum && number <= range.maximum)) return std::nullopt;
    // The quotient is rounded as the text was: the two are equal exactly when no decimal is lost.
    double unit = 1.0;
    for (int i = 0; i < range.decimals; ++i) unit *= 10.0;
    if (std::round(value * unit) / unit != value) return std::nullopt;
    // "-0" is in the range and would be shown with its sign.
    return number == 0.0f ? 0.0f : number;
}

std::string ParametersText(const AnalysisParameters& parameters) {
    std::string text;
    for (const ParameterRange& range : kParameterRanges) {
        std::string label = range.label;
        label.pop_back();
        text += (text.empty() ? "" : ", ") + label + " " +
                wxString::FromCDouble(static_cast<double>(parameters.*range.field), range.decimals).utf8_string();
    }
    return text;
}

}  // namespace Korvane
