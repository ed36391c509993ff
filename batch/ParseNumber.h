#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string>

namespace Korvane {

/// The whole text as a finite number, with "." as the decimal point in every locale.
template <typename T>
std::optional<T> ParseNumber(const std::string& text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

}  // namespace Korvane
