#pragma once

#include <optional>
#include <string>

namespace qvox {

/// Micrometres per unit of length, from any of the spellings that writers of image files use ("nm", "µm" with either
/// mu, as the escape \u00B5m or as the Latin-1 byte, "um", "u", "micron", "mm", "cm", "m", "inch", "Å" ...); nothing
/// for "pixel", an empty text or an unknown one. Surrounding blanks do not count.
std::optional<double> MicrometresPerUnit(const std::string& unit);

/// The whole text as a decimal number, "." whatever the locale; nothing when it is something else.
std::optional<double> DecimalNumber(const std::string& text);

/// The text without blanks, tabs and line ends at both ends.
std::string Trimmed(const std::string& text);

}  // namespace qvox
